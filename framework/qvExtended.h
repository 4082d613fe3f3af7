#pragma once

// 80-bit extended float as stored in binary records: 64-bit mantissa with explicit
// integer bit, 15-bit biased exponent, sign; 10 bytes, little endian, no alignment.
// Deliberately free of Qt so that the record layouts can be compiled for any target.

#include <cstdint>

#if defined(VELMORA_CORE_BUILD)
#  define QV_EXTENDED_EXPORT __attribute__((visibility("default")))
#else
#  define QV_EXTENDED_EXPORT
#endif

/// \brief 10-byte storage of an 80-bit extended float; converts to and from `long double`.
struct TQVExtended
{
    unsigned char Bytes[10];

    TQVExtended() = default;
    TQVExtended(long double value) { *this = FromLongDouble(value); }
    TQVExtended &operator=(long double value) { return *this = FromLongDouble(value); }
    operator long double() const { return ToLongDouble(); }

    QV_EXTENDED_EXPORT static TQVExtended FromLongDouble(long double value);
    QV_EXTENDED_EXPORT long double ToLongDouble() const;

    /// Portable conversions through sign, exponent and mantissa; used where `long double`
    /// is not the x87 format, and kept callable so that both paths can be compared.
    QV_EXTENDED_EXPORT static TQVExtended Encode(long double value);
    QV_EXTENDED_EXPORT long double Decode() const;
};

static_assert(sizeof(TQVExtended) == 10, "extended storage must be 10 bytes");
static_assert(alignof(TQVExtended) == 1, "extended storage must not be aligned");
