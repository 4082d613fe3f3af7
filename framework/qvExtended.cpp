#include "qvExtended.h"

#include <cfloat>
#include <cmath>
#include <cstring>

namespace {

constexpr int ExponentBias = 16383;
constexpr int ExponentMax = 0x7FFF;

#if LDBL_MANT_DIG == 64 && LDBL_MAX_EXP == 16384 && defined(__BYTE_ORDER__) \
    && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
constexpr bool NativeX87 = true;
#else
constexpr bool NativeX87 = false;
#endif

void Store(TQVExtended &target, std::uint64_t mantissa, unsigned signAndExponent)
{
    for (int i = 0; i < 8; ++i)
        target.Bytes[i] = static_cast<unsigned char>(mantissa >> (8 * i));
    target.Bytes[8] = static_cast<unsigned char>(signAndExponent);
    target.Bytes[9] = static_cast<unsigned char>(signAndExponent >> 8);
}

} // namespace

TQVExtended TQVExtended::FromLongDouble(long double value)
{
    if constexpr (NativeX87) {
        TQVExtended result;
        std::memcpy(result.Bytes, &value, sizeof result.Bytes);
        return result;
    } else {
        return Encode(value);
    }
}

long double TQVExtended::ToLongDouble() const
{
    if constexpr (NativeX87) {
        long double value = 0.0L;
        std::memcpy(&value, Bytes, sizeof Bytes);
        return value;
    } else {
        return Decode();
    }
}

TQVExtended TQVExtended::Encode(long double value)
{
    TQVExtended result;
    const unsigned sign = std::signbit(value) ? 0x8000u : 0u;
    if (std::isnan(value)) {
        Store(result, 0xC000000000000000ull, sign | ExponentMax);
        return result;
    }
    if (std::isinf(value)) {
        Store(result, 0x8000000000000000ull, sign | ExponentMax);
        return result;
    }
    if (value == 0.0L) {
        Store(result, 0, sign);
        return result;
    }

    int exponent = 0;
    const long double fraction = std::frexp(std::fabs(value), &exponent); // in [0.5, 1)
    int biased = exponent - 1 + ExponentBias;
    long double scaled;
    if (biased > 0) {
        scaled = std::nearbyint(std::ldexp(fraction, 64)); // [2^63, 2^64]
        if (scaled >= std::ldexp(1.0L, 64)) {
            scaled = std::ldexp(1.0L, 63);
            ++biased;
        }
    } else {
        // Denormal range: the exponent field is 0 and the value is mantissa * 2^(1-bias-63).
        scaled = std::nearbyint(std::ldexp(std::fabs(value), ExponentBias - 1 + 63));
        biased = 0;
        if (scaled >= std::ldexp(1.0L, 63))
            biased = 1;
    }
    if (biased >= ExponentMax) {
        Store(result, 0x8000000000000000ull, sign | ExponentMax);
        return result;
    }
    Store(result, static_cast<std::uint64_t>(scaled), sign | static_cast<unsigned>(biased));
    return result;
}

long double TQVExtended::Decode() const
{
    std::uint64_t mantissa = 0;
    for (int i = 7; i >= 0; --i)
        mantissa = (mantissa << 8) | Bytes[i];
    const unsigned signAndExponent = Bytes[8] | (static_cast<unsigned>(Bytes[9]) << 8);
    const bool negative = (signAndExponent & 0x8000u) != 0;
    const int biased = static_cast<int>(signAndExponent & 0x7FFFu);

    long double magnitude;
    if (biased == ExponentMax) {
        magnitude = (mantissa << 1) == 0 ? HUGE_VALL : std::nanl("");
    } else {
        const int shift = (biased == 0 ? 1 : biased) - ExponentBias - 63;
        magnitude = std::ldexp(static_cast<long double>(mantissa), shift);
    }
    return negative ? -magnitude : magnitude;
}
