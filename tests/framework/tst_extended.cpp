#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "framework/qvExtended.h"

namespace {

// Independent reading of the 80-bit format: mantissa with explicit integer bit, 15-bit
// exponent biased by 16383, sign in the top bit.
long double ReferenceDecode(const unsigned char *bytes)
{
    unsigned long long mantissa = 0;
    for (int i = 7; i >= 0; --i)
        mantissa = (mantissa << 8) | bytes[i];
    const int exponent = (bytes[8] | (bytes[9] << 8)) & 0x7FFF;
    const bool negative = (bytes[9] & 0x80) != 0;
    long double value = static_cast<long double>(mantissa);
    for (int i = 0; i < 63; ++i)
        value /= 2.0L;
    int e = (exponent == 0 ? 1 : exponent) - 16383;
    value = std::ldexp(value, e);
    return negative ? -value : value;
}

std::vector<long double> SampleValues()
{
    std::vector<long double> values = {
        0.0L, 1.0L, -1.0L, 0.1L, -0.1L, 1.0L / 3.0L, 48000.0L, 1.0e-300L, -1.0e300L,
        3.14159265358979323846264338327950288L, LDBL_MAX, -LDBL_MAX, LDBL_MIN,
        std::numeric_limits<long double>::denorm_min(), LDBL_MIN / 3.0L, 1.0L + LDBL_EPSILON,
    };
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
    std::uniform_int_distribution<int> exponent(-16000, 16000);
    for (int i = 0; i < 2000; ++i) {
        long double v = static_cast<long double>(mantissa(random)) + mantissa(random) * 1e-17L;
        values.push_back(std::ldexp(v, exponent(random)));
    }
    return values;
}

} // namespace

// The native and the portable path give the same ten bytes, which decode independently to the value.
TEST(Extended, StorageIsTenBytesAndBothPathsRoundTripExactly)
{
    for (long double value : SampleValues()) {
        const TQVExtended stored = value;
        const TQVExtended portable = TQVExtended::Encode(value);
        EXPECT_EQ(static_cast<long double>(stored), value) << static_cast<double>(value);
        EXPECT_EQ(ReferenceDecode(stored.Bytes), value) << static_cast<double>(value);
        EXPECT_EQ(std::memcmp(stored.Bytes, portable.Bytes, 10), 0) << static_cast<double>(value);
        EXPECT_EQ(portable.Decode(), value) << static_cast<double>(value);
    }
}

TEST(Extended, KnownEncodings)
{
    // 1.0 is mantissa 0x8000000000000000 with exponent 0x3FFF; -2.0 sets the sign, exponent 0x4000.
    const TQVExtended one = 1.0L;
    const unsigned char oneBytes[10] = {0, 0, 0, 0, 0, 0, 0, 0x80, 0xFF, 0x3F};
    EXPECT_EQ(std::memcmp(one.Bytes, oneBytes, 10), 0);
    const TQVExtended minusTwo = -2.0L;
    const unsigned char minusTwoBytes[10] = {0, 0, 0, 0, 0, 0, 0, 0x80, 0x00, 0xC0};
    EXPECT_EQ(std::memcmp(minusTwo.Bytes, minusTwoBytes, 10), 0);
}

TEST(Extended, SpecialValues)
{
    const long double inf = std::numeric_limits<long double>::infinity();
    for (const TQVExtended &x : {TQVExtended::FromLongDouble(inf), TQVExtended::Encode(inf)}) {
        EXPECT_EQ(x.ToLongDouble(), inf);
        EXPECT_EQ(x.Decode(), inf);
    }
    const TQVExtended minusInf = TQVExtended::Encode(-inf);
    EXPECT_EQ(minusInf.Decode(), -inf);

    const long double nan = std::numeric_limits<long double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(TQVExtended::Encode(nan).Decode()));
    EXPECT_TRUE(std::isnan(TQVExtended(nan).ToLongDouble()));

    const TQVExtended minusZero = TQVExtended::Encode(-0.0L);
    EXPECT_EQ(minusZero.Decode(), 0.0L);
    EXPECT_TRUE(std::signbit(minusZero.Decode()));
}
