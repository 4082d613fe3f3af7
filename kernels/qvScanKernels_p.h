#pragma once

// The trigger scans, generic over the way whole chunks of samples are tested: included by
// the per-path files, whose entry points instantiate them. Everything here is inlined into
// those entry points (no vector crosses a call) and has internal linkage.
//
// The scans test chunks of samples with vector operations first and look at single
// samples only inside a chunk that holds a hit.

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kernels/qvKernels.h"

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

#define QV_SCAN_INLINE [[gnu::always_inline]] inline

namespace QVKernels {
namespace {
namespace Scan {

using QVFloats4 = float __attribute__((vector_size(16)));
using QVFloats8 = float __attribute__((vector_size(32)));

template <typename V>
constexpr int ScanLanes = int(sizeof(V) / sizeof(float));
// Samples tested at once before looking closer.
constexpr int ChunkSamples = 64;
template <typename V>
constexpr int ChunkVectors = ChunkSamples / ScanLanes<V>;

template <typename V>
QV_SCAN_INLINE V ScanLoad(const float *x)
{
    V v;
    std::memcpy(&v, x, sizeof v);
    return v;
}

template <typename V>
QV_SCAN_INLINE V Splat(float value)
{
    if constexpr (std::is_same_v<V, float>)
        return value;
    else
        return V{} + value;
}

QV_SCAN_INLINE bool Not(bool b)
{
    return !b;
}

template <typename Mask>
QV_SCAN_INLINE Mask Not(const Mask &m)
{
    return ~m;
}

template <typename Mask>
QV_SCAN_INLINE bool Any(const Mask &mask)
{
    std::uint64_t words[sizeof(Mask) / sizeof(std::uint64_t)];
    std::memcpy(words, &mask, sizeof words);
    std::uint64_t any = 0;
    for (std::uint64_t w : words)
        any |= w;
    return any != 0;
}

// Sample conditions, for one sample (giving a bool) and for a generic vector of samples (a
// vector mask). The negated conditions hold for NaN, as the scalar ones do.
struct Above
{
    float Limit;
    template <typename V>
    QV_SCAN_INLINE auto operator()(const V &v) const { return v > Splat<V>(Limit); }
};
struct NotAbove
{
    float Limit;
    template <typename V>
    QV_SCAN_INLINE auto operator()(const V &v) const { return Not(v > Splat<V>(Limit)); }
};
struct Below
{
    float Limit;
    template <typename V>
    QV_SCAN_INLINE auto operator()(const V &v) const { return v < Splat<V>(Limit); }
};
struct NotBelow
{
    float Limit;
    template <typename V>
    QV_SCAN_INLINE auto operator()(const V &v) const { return Not(v < Splat<V>(Limit)); }
};
struct Between
{
    float Low, High;
    template <typename V>
    QV_SCAN_INLINE auto operator()(const V &v) const
    {
        if constexpr (std::is_same_v<V, float>)
            return v > Low && v < High;
        else
            return (v > Splat<V>(Low)) & (v < Splat<V>(High)); // lane masks
    }
};

// First position p in [from, count] where the chunk test `hit(p)` of the samples p to
// p + Chunk - 1 fires, or where fewer than a chunk remain; count + 1 when no chunk fires.
// The last samples are tested in a chunk that overlaps the one before.
template <int Chunk, typename ChunkHit>
QV_SCAN_INLINE int SkipChunks(int from, int count, ChunkHit hit)
{
    if (count - from + 1 < Chunk)
        return from;
    int i = from;
    for (; i <= count - Chunk + 1; i += Chunk) {
        if (hit(i))
            return i;
    }
    return i <= count && hit(count - Chunk + 1) ? i : count + 1;
}

template <typename V, typename Pred>
struct TQVPredChunk
{
    const float *X;
    Pred Test;
    QV_SCAN_INLINE bool operator()(int at) const
    {
        const float *chunk = X + (at - 1);
        auto hits = Test(ScanLoad<V>(chunk));
        for (int k = 1; k < ChunkVectors<V>; ++k)
            hits |= Test(ScanLoad<V>(chunk + k * ScanLanes<V>));
        return Any(hits);
    }
};

template <typename V, bool Rising>
struct TQVSlopeChunk
{
    const float *X;
    float Slope;
    QV_SCAN_INLINE auto Rough(const float *at) const
    {
        const V v = ScanLoad<V>(at);
        const V d = v - ScanLoad<V>(at - 1);
        return Rising ? d >= Splat<V>(Slope) : d <= Splat<V>(Slope);
    }
    QV_SCAN_INLINE bool operator()(int at) const
    {
        const float *chunk = X + (at - 1);
        auto hits = Rough(chunk);
        for (int k = 1; k < ChunkVectors<V>; ++k)
            hits |= Rough(chunk + k * ScanLanes<V>);
        return Any(hits);
    }
};

// Chunk skipping with the compiler's generic vectors of type V; a path with its own
// (AVX-512 bit masks) provides the same two functions.
template <typename V>
struct TQVVectorChunks
{
    template <typename Pred>
    QV_SCAN_INLINE static int SkipPred(const float *x, int from, int count, Pred pred)
    {
        return SkipChunks<ChunkSamples>(from, count, TQVPredChunk<V, Pred>{x, pred});
    }
    template <bool Rising>
    QV_SCAN_INLINE static int SkipSlope(const float *x, int from, int count, float slope)
    {
        return SkipChunks<ChunkSamples>(from, count, TQVSlopeChunk<V, Rising>{x, slope});
    }
};

// First i in [from, count] with pred(sample i), or count + 1.
template <typename Chunks, typename Pred>
QV_SCAN_INLINE int FindFirst(const float *x, int from, int count, Pred pred)
{
    const int start = Chunks::SkipPred(x, from, count, pred);
    for (int i = start; i <= count; ++i) {
        if (pred(x[i - 1]))
            return i;
    }
    return count + 1;
}

template <bool Rising>
QV_SCAN_INLINE bool SlopeHit(float v, float p, float slope)
{
    const long double d = static_cast<long double>(v) - static_cast<long double>(p);
    return Rising ? d >= slope : d <= slope;
}

// The slope loop: the first i in [from, count] whose sample passes `level` and whose
// difference to the previous sample passes the slope test, or count + 1. Every sample
// passed over becomes the previous sample; the first one compares with `previous` as it
// came in. The float difference is only a pre-filter, and never misses a hit, since
// rounding to float is monotonic and the slope is itself a float.
template <typename Chunks, bool Rising, typename Level>
QV_SCAN_INLINE int SlopeScan(const float *x, int from, int count, float slope, float &previous, Level level)
{
    if (from > count)
        return from;
    if (level(x[from - 1]) && SlopeHit<Rising>(x[from - 1], previous, slope))
        return from;
    const int start = Chunks::template SkipSlope<Rising>(x, from + 1, count, slope);
    for (int i = start; i <= count; ++i) {
        if (level(x[i - 1]) && SlopeHit<Rising>(x[i - 1], x[i - 2], slope)) {
            previous = x[i - 2];
            return i;
        }
    }
    previous = x[count - 1];
    return count + 1;
}

template <typename Chunks, typename Level>
QV_SCAN_INLINE int SlopeScan(const float *x, int from, int count, float slope, float &previous, Level level)
{
    if (slope >= 0.0f)
        return SlopeScan<Chunks, true>(x, from, count, slope, previous, level);
    return SlopeScan<Chunks, false>(x, from, count, slope, previous, level);
}

template <typename Chunks>
QV_SCAN_INLINE int ScanBody(const float *x, int count, int from, const TQVScanSetup &s, float &previous)
{
    switch (s.Kind) {
    case TQVScanKind::Rising:
        return FindFirst<Chunks>(x, FindFirst<Chunks>(x, from, count, NotAbove{s.Low}), count, Above{s.Low});
    case TQVScanKind::Falling:
        return FindFirst<Chunks>(x, FindFirst<Chunks>(x, from, count, NotBelow{s.Low}), count, Below{s.Low});
    case TQVScanKind::RisingSlope:
        return SlopeScan<Chunks>(x, FindFirst<Chunks>(x, from, count, NotAbove{s.Low}), count, s.Slope, previous,
                                 Above{s.Low});
    case TQVScanKind::InRangeSlope:
        return SlopeScan<Chunks>(x, from, count, s.Slope, previous, Between{s.Low, s.High});
    case TQVScanKind::FallingSlope:
        return SlopeScan<Chunks>(x, from, count, s.Slope, previous, Below{s.Low});
    }
    return from;
}

// The masked OR word by word (the slots are read as bytes, the padding included).
inline std::uint64_t MaskedOrWords(const void *bytes, const std::uint64_t *mask, std::size_t words)
{
    const auto *b = static_cast<const unsigned char *>(bytes);
    std::uint64_t any = 0;
    for (std::size_t i = 0; i < words; ++i) {
        std::uint64_t word;
        std::memcpy(&word, b + i * sizeof word, sizeof word);
        any |= word & mask[i];
    }
    return any;
}

} // namespace Scan
} // namespace
} // namespace QVKernels
