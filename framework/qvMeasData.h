#pragma once

// Binary records shared with the host's acquisition sources. Their layouts are contracts:
// header offsets 0, 16, 28, 32; a settings record of 304 bytes; on targets with 32-bit
// pointers an 8-byte channel slot and a 552-byte block. Free of Qt on purpose, so that the
// layout can be checked by compiling this header alone for a 32-bit target.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qvExtended.h"

/// Highest channel index of a block; a block has QVChannelSlots slots (0 to 64).
constexpr int QVMaxChannel = 64;
constexpr int QVChannelSlots = QVMaxChannel + 1;

/// \brief One channel slot: a contiguous array of samples owned by the sender.
struct QVDescArraySingle
{
    float *Data;
    std::int32_t Count;
};

/// \brief The measurement data block passed by reference from a source to its links.
struct TQVDescArraySingle
{
    TQVExtended HeaderValueA;
    std::uint8_t PaddingA[6];
    TQVExtended HeaderValueB;
    std::uint8_t PaddingB[2];
    std::int32_t HeaderWord;
    QVDescArraySingle Channels[QVChannelSlots];
};

/// \brief What a source currently delivers; filled by `GetSettings` into the caller's record.
struct TQVMeasureSourceSettings
{
    TQVExtended XStart;
    std::uint8_t PaddingA[6];
    TQVExtended XSpan;
    std::uint8_t PaddingB[2];
    std::int32_t ChannelCount;
    float RangeMin;
    float RangeMax;
    std::int32_t BlockLength;
    std::uint8_t HostArea[256];
    std::int32_t HarmonizedBlockLength;
};

static_assert(offsetof(TQVDescArraySingle, HeaderValueA) == 0);
static_assert(offsetof(TQVDescArraySingle, HeaderValueB) == 16);
static_assert(offsetof(TQVDescArraySingle, HeaderWord) == 28);
static_assert(offsetof(TQVDescArraySingle, Channels) == 32);
static_assert(offsetof(QVDescArraySingle, Count) == sizeof(void *));
static_assert(sizeof(TQVDescArraySingle) == 32 + QVChannelSlots * sizeof(QVDescArraySingle));
static_assert(sizeof(void *) != 4 || sizeof(QVDescArraySingle) == 8);
static_assert(sizeof(void *) != 4 || sizeof(TQVDescArraySingle) == 552);

static_assert(offsetof(TQVMeasureSourceSettings, XStart) == 0);
static_assert(offsetof(TQVMeasureSourceSettings, XSpan) == 16);
static_assert(offsetof(TQVMeasureSourceSettings, ChannelCount) == 28);
static_assert(offsetof(TQVMeasureSourceSettings, RangeMin) == 32);
static_assert(offsetof(TQVMeasureSourceSettings, RangeMax) == 36);
static_assert(offsetof(TQVMeasureSourceSettings, BlockLength) == 40);
static_assert(offsetof(TQVMeasureSourceSettings, HostArea) == 44);
static_assert(offsetof(TQVMeasureSourceSettings, HarmonizedBlockLength) == 300);
static_assert(sizeof(TQVMeasureSourceSettings) == 304);

/// True when the slot carries samples: a pointer and a count of at least one.
inline bool QVHasData(const QVDescArraySingle &slot)
{
    return slot.Data != nullptr && slot.Count >= 1;
}

/// Sets every channel slot to null pointer and zero count; the header is kept.
inline void QVClearChannels(TQVDescArraySingle &block)
{
    // One block fill: a slot loop leaves the padding and costs as much as the samples
    // of a short block.
    std::memset(static_cast<void *>(block.Channels), 0, sizeof block.Channels);
}

/// Starts a stage's own block: the header of `from` and every slot empty.
inline void QVCopyHeader(TQVDescArraySingle &to, const TQVDescArraySingle &from)
{
    std::memcpy(static_cast<void *>(&to), &from, offsetof(TQVDescArraySingle, Channels));
    QVClearChannels(to);
}

/// Cleared settings, as a source without valid data reports them. `BlockLength` and
/// `HostArea` stay as the caller had them.
inline void QVClearSettings(TQVMeasureSourceSettings &settings)
{
    settings.XStart = 0.0L;
    settings.XSpan = 0.0L;
    settings.ChannelCount = 0;
    settings.RangeMin = 0.0f;
    settings.RangeMax = 0.0f;
    settings.HarmonizedBlockLength = 0;
}

/// Settings are valid only with a channel count and a span that are both non-zero.
inline bool QVSettingsValid(const TQVMeasureSourceSettings &settings)
{
    return settings.ChannelCount != 0 && settings.XSpan != 0.0L;
}
