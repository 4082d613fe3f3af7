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

// Beyond the reference decoder: infinities, NaN and the sign of zero, bit for bit both ways.
TEST(Extended, SpecialValues)
{
    const long double inf = std::numeric_limits<long double>::infinity();
    for (long double v : {inf, -inf, -0.0L, std::numeric_limits<long double>::quiet_NaN()}) {
        const TQVExtended native = v, portable = TQVExtended::Encode(v);
        EXPECT_EQ(std::memcmp(native.Bytes, portable.Bytes, 10), 0) << double(v);
        for (long double back : {native.ToLongDouble(), portable.Decode(), TQVExtended::FromLongDouble(v).Decode()})
            EXPECT_EQ(std::memcmp(&back, &v, 10), 0) << double(v);
    }
}
