#include "qvMLSTrigger.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <QtCore/QScopeGuard>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define QV_HAVE_AVX512_SCAN 1
#endif

// Positions are 1-based, as the trigger's documentation counts them: sample i of a block
// is x[i - 1], position p of the store is store[p - 1].

// The scans test chunks of samples with vector operations first and look at single samples
// only inside a chunk that holds a hit. The scan is compiled once per instruction set, each
// time with the compiler's generic vectors of the set's register width, and picked at run
// time. The helpers are all inlined into the scan, so no vector crosses a call and the
// calling convention for wide vectors does not matter.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace {

#define QV_INLINE [[gnu::always_inline]] inline

using QVFloats4 = float __attribute__((vector_size(16)));
using QVFloats8 = float __attribute__((vector_size(32)));

template <typename V>
constexpr int Lanes = int(sizeof(V) / sizeof(float));
// Samples tested at once before looking closer.
constexpr int ChunkSamples = 64;
template <typename V>
constexpr int ChunkVectors = ChunkSamples / Lanes<V>;

template <typename V>
QV_INLINE V Load(const float *x)
{
    V v;
    std::memcpy(&v, x, sizeof v);
    return v;
}

template <typename V>
QV_INLINE V Splat(float value)
{
    if constexpr (std::is_same_v<V, float>)
        return value;
    else
        return V{} + value;
}

QV_INLINE bool Not(bool b)
{
    return !b;
}

template <typename Mask>
QV_INLINE Mask Not(const Mask &m)
{
    return ~m;
}

template <typename Mask>
QV_INLINE bool Any(const Mask &mask)
{
    std::uint64_t words[sizeof(Mask) / sizeof(std::uint64_t)];
    std::memcpy(words, &mask, sizeof words);
    std::uint64_t any = 0;
    for (std::uint64_t w : words)
        any |= w;
    return any != 0;
}

#ifdef QV_HAVE_AVX512_SCAN
#define QV_AVX512 [[gnu::target("avx512f"), gnu::always_inline]] inline
#endif

// Sample conditions, for one sample (giving a bool), for a generic vector of samples (a
// vector mask) and, where available, for 16 samples in an AVX-512 register (a bit mask).
// The negated conditions hold for NaN, as the scalar ones do.
struct Above
{
    float Limit;
    template <typename V>
    QV_INLINE auto operator()(const V &v) const { return v > Splat<V>(Limit); }
#ifdef QV_HAVE_AVX512_SCAN
    QV_AVX512 __mmask16 Mask(__m512 v) const { return _mm512_cmp_ps_mask(v, _mm512_set1_ps(Limit), _CMP_GT_OQ); }
#endif
};
struct NotAbove
{
    float Limit;
    template <typename V>
    QV_INLINE auto operator()(const V &v) const { return Not(v > Splat<V>(Limit)); }
#ifdef QV_HAVE_AVX512_SCAN
    QV_AVX512 __mmask16 Mask(__m512 v) const { return _mm512_cmp_ps_mask(v, _mm512_set1_ps(Limit), _CMP_NGT_UQ); }
#endif
};
struct Below
{
    float Limit;
    template <typename V>
    QV_INLINE auto operator()(const V &v) const { return v < Splat<V>(Limit); }
#ifdef QV_HAVE_AVX512_SCAN
    QV_AVX512 __mmask16 Mask(__m512 v) const { return _mm512_cmp_ps_mask(v, _mm512_set1_ps(Limit), _CMP_LT_OQ); }
#endif
};
struct NotBelow
{
    float Limit;
    template <typename V>
    QV_INLINE auto operator()(const V &v) const { return Not(v < Splat<V>(Limit)); }
#ifdef QV_HAVE_AVX512_SCAN
    QV_AVX512 __mmask16 Mask(__m512 v) const { return _mm512_cmp_ps_mask(v, _mm512_set1_ps(Limit), _CMP_NLT_UQ); }
#endif
};
struct Between
{
    float Low, High;
    template <typename V>
    QV_INLINE auto operator()(const V &v) const
    {
        if constexpr (std::is_same_v<V, float>)
            return v > Low && v < High;
        else
            return (v > Splat<V>(Low)) & (v < Splat<V>(High)); // lane masks
    }
#ifdef QV_HAVE_AVX512_SCAN
    QV_AVX512 __mmask16 Mask(__m512 v) const
    {
        return _mm512_mask_cmp_ps_mask(_mm512_cmp_ps_mask(v, _mm512_set1_ps(Low), _CMP_GT_OQ), v,
                                       _mm512_set1_ps(High), _CMP_LT_OQ);
    }
#endif
};

// First position p in [from, count] where the chunk test `hit(p)` of the samples p to
// p + Chunk - 1 fires, or where fewer than a chunk remain; count + 1 when no chunk fires.
// The last samples are tested in a chunk that overlaps the one before.
template <int Chunk, typename ChunkHit>
QV_INLINE int SkipChunks(int from, int count, ChunkHit hit)
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

// Chunk tests for SkipChunks.
template <typename V, typename Pred>
struct TQVPredChunk
{
    const float *X;
    Pred Test;
    QV_INLINE bool operator()(int at) const
    {
        const float *chunk = X + (at - 1);
        auto hits = Test(Load<V>(chunk));
        for (int k = 1; k < ChunkVectors<V>; ++k)
            hits |= Test(Load<V>(chunk + k * Lanes<V>));
        return Any(hits);
    }
};

template <typename V, bool Rising, typename Level>
struct TQVSlopeChunk
{
    const float *X;
    float Slope;
    Level Test;
    QV_INLINE auto Rough(const float *at) const
    {
        const V v = Load<V>(at);
        const V d = v - Load<V>(at - 1);
        return Rising ? d >= Splat<V>(Slope) : d <= Splat<V>(Slope);
    }
    QV_INLINE bool operator()(int at) const
    {
        const float *chunk = X + (at - 1);
        auto hits = Rough(chunk);
        for (int k = 1; k < ChunkVectors<V>; ++k)
            hits |= Rough(chunk + k * Lanes<V>);
        return Any(hits);
    }
};

#ifdef QV_HAVE_AVX512_SCAN

// The chunk skipping of SkipChunks with the chunk tests above, on 16-sample registers and bit
// masks. Called, not inlined, from the generic scan: only scalars cross the call.
struct TQVAvx512
{
};

// The chunk loop of SkipChunks, written out (a lambda would not inherit the target). After
// the first chunk the chunks start on 64-byte boundaries of `x`, so that their loads do not
// split cache lines; a chunk overlapping the one before is harmless.
template <typename ChunkHit>
[[gnu::target("avx512f"), gnu::always_inline]] inline int SkipChunks512(const float *x, int from, int count,
                                                                        ChunkHit hit)
{
    if (count - from + 1 < ChunkSamples || hit(from))
        return from;
    constexpr int PerLine = 64 / int(sizeof(float));
    int i = from + PerLine - int(reinterpret_cast<std::uintptr_t>(x + (from - 1)) / sizeof(float) % PerLine);
    for (; i <= count - ChunkSamples + 1; i += ChunkSamples) {
        if (hit(i))
            return i;
    }
    return i <= count && hit(count - ChunkSamples + 1) ? i : count + 1;
}

// Whether any of four masks has a bit set, in the mask registers.
QV_AVX512 bool Any(__mmask16 a, __mmask16 b, __mmask16 c, __mmask16 d)
{
    return !_kortestz_mask16_u8(_kor_mask16(a, b), _kor_mask16(c, d));
}

template <typename Pred>
struct TQVPredChunk512
{
    const float *X;
    Pred Test;
    QV_AVX512 bool operator()(int at) const
    {
        const float *chunk = X + (at - 1);
        return Any(Test.Mask(_mm512_loadu_ps(chunk)), Test.Mask(_mm512_loadu_ps(chunk + 16)),
                   Test.Mask(_mm512_loadu_ps(chunk + 32)), Test.Mask(_mm512_loadu_ps(chunk + 48)));
    }
};

template <bool Rising>
struct TQVSlopeChunk512
{
    const float *X;
    __m512 Slope;
    QV_AVX512 __mmask16 Rough(__m512 v, __m512 previous) const
    {
        return _mm512_cmp_ps_mask(_mm512_sub_ps(v, previous), Slope, Rising ? _CMP_GE_OQ : _CMP_LE_OQ);
    }
    // The previous samples of a register: the last of `before` and the first 15 of `v`.
    QV_AVX512 static __m512 Shifted(__m512 v, __m512 before)
    {
        const __m512i w = _mm512_castps_si512(v);
        return _mm512_castsi512_ps(_mm512_mask_alignr_epi32(w, __mmask16(0xFFFF), w, _mm512_castps_si512(before), 15));
    }
    QV_AVX512 bool operator()(int at) const
    {
        const float *chunk = X + (at - 1);
        const __m512 a = _mm512_loadu_ps(chunk), b = _mm512_loadu_ps(chunk + 16);
        const __m512 c = _mm512_loadu_ps(chunk + 32), d = _mm512_loadu_ps(chunk + 48);
        return Any(Rough(a, _mm512_loadu_ps(chunk - 1)), Rough(b, Shifted(b, a)), Rough(c, Shifted(c, b)),
                   Rough(d, Shifted(d, c)));
    }
};

template <typename Pred>
[[gnu::target("avx512f")]] int SkipPredChunks512(const float *x, int from, int count, Pred pred)
{
    return SkipChunks512(x, from, count, TQVPredChunk512<Pred>{x, pred});
}

template <bool Rising>
[[gnu::target("avx512f")]] int SkipSlopeChunks512(const float *x, int from, int count, float slope)
{
    return SkipChunks512(x, from, count, TQVSlopeChunk512<Rising>{x, _mm512_set1_ps(slope)});
}

#endif

// First i in [from, count] with pred(sample i), or count + 1.
template <typename V, typename Pred>
QV_INLINE int FindFirst(const float *x, int from, int count, Pred pred)
{
    int start;
#ifdef QV_HAVE_AVX512_SCAN
    if constexpr (std::is_same_v<V, TQVAvx512>)
        start = SkipPredChunks512(x, from, count, pred);
    else
#endif
        start = SkipChunks<ChunkSamples>(from, count, TQVPredChunk<V, Pred>{x, pred});
    for (int i = start; i <= count; ++i) {
        if (pred(x[i - 1]))
            return i;
    }
    return count + 1;
}

template <bool Rising>
QV_INLINE bool SlopeHit(float v, float p, float slope)
{
    const long double d = static_cast<long double>(v) - static_cast<long double>(p);
    return Rising ? d >= slope : d <= slope;
}

// The slope loop: the first i in [from, count] whose sample passes `level` and whose
// difference to the previous sample passes the slope test, or count + 1. Every sample
// passed over becomes the previous sample; the first one compares with `previous` as it
// came in. The difference is tested in extended precision; the float difference is only a
// pre-filter, and never misses a hit, since rounding to float is monotonic and the slope
// is itself a float.
template <typename V, bool Rising, typename Level>
QV_INLINE int SlopeScan(const float *x, int from, int count, float slope, float &previous, Level level)
{
    if (from > count)
        return from;
    if (level(x[from - 1]) && SlopeHit<Rising>(x[from - 1], previous, slope))
        return from;
    int start;
#ifdef QV_HAVE_AVX512_SCAN
    if constexpr (std::is_same_v<V, TQVAvx512>)
        start = SkipSlopeChunks512<Rising>(x, from + 1, count, slope);
    else
#endif
        start = SkipChunks<ChunkSamples>(from + 1, count, TQVSlopeChunk<V, Rising, Level>{x, slope, level});
    for (int i = start; i <= count; ++i) {
        if (level(x[i - 1]) && SlopeHit<Rising>(x[i - 1], x[i - 2], slope)) {
            previous = x[i - 2];
            return i;
        }
    }
    previous = x[count - 1];
    return count + 1;
}

template <typename V, typename Level>
QV_INLINE int SlopeScan(const float *x, int from, int count, float slope, float &previous, Level level)
{
    if (slope >= 0.0f)
        return SlopeScan<V, true>(x, from, count, slope, previous, level);
    return SlopeScan<V, false>(x, from, count, slope, previous, level);
}

struct TQVScanSetup
{
    TQVMLSTrigger::TQVTriggerType Type;
    float Low, High, Slope;
};

// The position the scan reaches from `idx` (see TQVMLSTrigger::Scan).
template <typename V>
QV_INLINE int ScanBody(const float *x, int count, int idx, const TQVScanSetup &s, float &previous)
{
    switch (s.Type) {
    case TQVMLSTrigger::trtPos:
        return FindFirst<V>(x, FindFirst<V>(x, idx, count, NotAbove{s.Low}), count, Above{s.Low});
    case TQVMLSTrigger::trtNeg:
        return FindFirst<V>(x, FindFirst<V>(x, idx, count, NotBelow{s.Low}), count, Below{s.Low});
    case TQVMLSTrigger::trtPosSlope:
        return SlopeScan<V>(x, FindFirst<V>(x, idx, count, NotAbove{s.Low}), count, s.Slope, previous, Above{s.Low});
    case TQVMLSTrigger::trtRangeSlope:
        return SlopeScan<V>(x, idx, count, s.Slope, previous, Between{s.Low, s.High});
    case TQVMLSTrigger::trtNegSlope:
        return SlopeScan<V>(x, idx, count, s.Slope, previous, Below{s.Low});
    case TQVMLSTrigger::trtOff:
        break;
    }
    return idx;
}

using TQVScanFunction = int (*)(const float *, int, int, const TQVScanSetup &, float &);

int ScanPortable(const float *x, int count, int idx, const TQVScanSetup &s, float &previous)
{
    return ScanBody<QVFloats4>(x, count, idx, s, previous);
}

#if defined(__x86_64__) || defined(__i386__)
__attribute__((target("avx2"))) int ScanAvx2(const float *x, int count, int idx, const TQVScanSetup &s, float &previous)
{
    return ScanBody<QVFloats8>(x, count, idx, s, previous);
}

int ScanAvx512(const float *x, int count, int idx, const TQVScanSetup &s, float &previous)
{
    return ScanBody<TQVAvx512>(x, count, idx, s, previous);
}

#endif

// The scan for `path`, or null when this processor lacks the instruction set.
TQVScanFunction ScanFor(TQVMLSTrigger::TQVScanPath path)
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    if (path == TQVMLSTrigger::scpAvx512)
        return __builtin_cpu_supports("avx512f") ? ScanAvx512 : nullptr;
    if (path == TQVMLSTrigger::scpAvx2)
        return __builtin_cpu_supports("avx2") ? ScanAvx2 : nullptr;
#endif
    return path == TQVMLSTrigger::scpPortable ? ScanPortable : nullptr;
}

TQVScanFunction BestScan()
{
    for (auto path : {TQVMLSTrigger::scpAvx512, TQVMLSTrigger::scpAvx2})
        if (const TQVScanFunction scan = ScanFor(path))
            return scan;
    return ScanPortable;
}

std::atomic<TQVScanFunction> ActiveScan{BestScan()};

// OR over the 64-bit words of a block's slots, each ANDed with its mask word: nonzero when
// a masked pointer is set. The slots are read as bytes, the padding included; the mask
// clears everything but the pointers.
using TQVMaskedOrFunction = std::uint64_t (*)(const void *, const std::uint64_t *, std::size_t);

std::uint64_t MaskedOrPortable(const void *channels, const std::uint64_t *mask, std::size_t words)
{
    const auto *bytes = static_cast<const unsigned char *>(channels);
    std::uint64_t any = 0;
    for (std::size_t i = 0; i < words; ++i) {
        std::uint64_t word;
        std::memcpy(&word, bytes + i * sizeof word, sizeof word);
        any |= word & mask[i];
    }
    return any;
}

#ifdef QV_HAVE_AVX512_SCAN
[[gnu::target("avx512f")]] std::uint64_t MaskedOrAvx512(const void *channels, const std::uint64_t *mask, std::size_t words)
{
    const auto *bytes = static_cast<const unsigned char *>(channels);
    __m512i any = _mm512_setzero_si512();
    std::size_t i = 0;
    for (; i + 8 <= words; i += 8) {
        // any | (slots & mask)
        any = _mm512_ternarylogic_epi64(any, _mm512_loadu_si512(bytes + i * 8), _mm512_loadu_si512(mask + i), 0xF8);
    }
    const std::uint64_t rest = MaskedOrPortable(bytes + i * 8, mask + i, words - i);
    return std::uint64_t(_mm512_test_epi64_mask(any, any)) | rest;
}
#endif

TQVMaskedOrFunction SelectMaskedOr()
{
#ifdef QV_HAVE_AVX512_SCAN
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f"))
        return MaskedOrAvx512;
#endif
    return MaskedOrPortable;
}

} // namespace

TQVMLSTrigger::TQVMLSTrigger(QObject *owner)
    : TQVMLSBase(owner)
    , m_one(1.0L)
{
    MarkChannelsWithoutStore();
}

TQVMLSTrigger::~TQVMLSTrigger() = default;

void TQVMLSTrigger::SetTriggerType(TQVTriggerType type)
{
    if (type < trtPos || type > trtOff)
        return;
    m_triggerType = type;
}

void TQVMLSTrigger::SetTriggerChannel(int channel)
{
    if (channel < 0 || channel > QVMaxChannel)
        return;
    m_triggerChannel = channel;
}

void TQVMLSTrigger::SetBufferSize(int size)
{
    if (size <= 2 || size == m_bufferSize)
        return;
    m_bufferSize = size;
    m_sizeChanged = true;
    if (size <= m_preTrigger)
        m_preTrigger = size - 1;
    ResetAssembly();
    UpdateLinks();
}

void TQVMLSTrigger::SetPreTrigger(int samples)
{
    if (samples == m_preTrigger)
        return;
    // Deliberately the previous pre-trigger length, not the new one.
    if (samples >= m_bufferSize) {
        m_bufferSize = int(std::min<qint64>(qint64(m_preTrigger) + 1, INT_MAX));
        m_sizeChanged = true;
    }
    m_preTrigger = samples;
    ResetAssembly();
}

bool TQVMLSTrigger::SelectScanPath(TQVScanPath path)
{
    const TQVScanFunction scan = ScanFor(path);
    if (scan)
        ActiveScan.store(scan, std::memory_order_relaxed);
    return scan != nullptr;
}

void TQVMLSTrigger::StartSingleShot()
{
    m_shotDone = false;
}

void TQVMLSTrigger::Reset()
{
    ResetAssembly();
    m_shotDone = false;
}

TQVMLSTrigger::TQVTriggerState TQVMLSTrigger::GetTriggerState()
{
    TQVTriggerState state = qvtsFillPreTrigger;
    if (m_fillingTrigger)
        state = qvtsFillTrigger;
    else if (EffectivePreTrigger() < 1 || m_preTriggerFilled)
        state = (m_singleShot && m_shotDone) || m_triggered ? qvtsTriggerDone : qvtsWaitForTrigger;
    m_triggered = false;
    return state;
}

QString TQVMLSTrigger::IncompatibleSourceMessage() const
{
    return QVLoadResString(TQVResString::TriggerNeedsContinuous);
}

void TQVMLSTrigger::AdjustSettings(TQVMeasureSourceSettings &settings) const
{
    if (settings.BlockLength > 0) {
        settings.XSpan = static_cast<long double>(m_bufferSize) / static_cast<long double>(settings.BlockLength)
            * static_cast<long double>(settings.XSpan);
    }
}

void TQVMLSTrigger::MLSOnChangedState(TQVMeasureLink *, TQVMeasureSourceState state)
{
    if (state == mssRun)
        return;
    // The stream is interrupted: a partly assembled block is abandoned.
    m_shotDone = false;
    m_preTriggerFilled = false;
    m_fillingTrigger = false;
    m_position = 1;
}

void TQVMLSTrigger::ResetAssembly()
{
    m_previous = 1.0f;
    m_position = 1;
    m_preTriggerFilled = false;
    m_triggered = false;
    m_fillingTrigger = false;
}

int TQVMLSTrigger::EffectivePreTrigger() const
{
    // PreTrigger reaches BufferSize or more only through the SetPreTrigger rule; the
    // assembly then works with as many pre-trigger samples as the store has room for.
    return std::clamp(m_preTrigger, 0, std::max(m_bufferSize - 1, 0));
}

void TQVMLSTrigger::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    // A block sent from inside a handler of our own output would overwrite the store that
    // the handlers are reading.
    if (Delivering())
        return;
    const QVDescArraySingle &trigger = data.Channels[m_triggerChannel];
    if (!QVHasData(trigger) || m_bufferSize < 1)
        return;
    Redimension(data);
    if (m_singleShot && m_shotDone)
        return;

    const int count = trigger.Count;
    const int pre = EffectivePreTrigger();
    int idx = 1;
    bool more = true;
    while (more) {
        more = false;
        if (m_fillingTrigger)
            FillTrigger(data, count, idx);
        else if (pre < 1 || m_preTriggerFilled)
            WaitForTrigger(data, count, pre, idx, more);
        else
            FillPreTrigger(data, count, pre, idx, more);
    }
}

void TQVMLSTrigger::Redimension(const TQVDescArraySingle &data)
{
    // Quick test for the steady state, where every store has the current size: only a
    // channel without a store that now brings data changes anything. Its pointer is
    // enough to rule that out for most channels.
    static const TQVMaskedOrFunction maskedOr = SelectMaskedOr();
    const bool pointers = maskedOr(data.Channels, m_withoutStore.data(), m_withoutStore.size()) != 0;
    bool change = m_sizeChanged;
    for (int c = 0; c < QVChannelSlots && pointers && !change; ++c)
        change = m_store[std::size_t(c)].empty() && QVHasData(data.Channels[c]);
    if (change) {
        const std::size_t size = std::size_t(m_bufferSize);
        bool reallocated = false;
        m_activeCount = 0;
        for (int c = 0; c < QVChannelSlots; ++c) {
            std::vector<float> &store = m_store[std::size_t(c)];
            if (store.size() != size) {
                if (!QVHasData(data.Channels[c])) {
                    std::vector<float>().swap(store);
                } else {
                    std::vector<float>(size).swap(store);
                    reallocated = true;
                }
            }
            if (!store.empty())
                m_active[std::size_t(m_activeCount++)] = c;
        }
        MarkChannelsWithoutStore();
        m_sizeChanged = false;
        if (reallocated)
            ResetAssembly();
    }
    m_output.HeaderValueA = data.HeaderValueA;
    m_output.HeaderValueB = m_one;
    m_output.HeaderWord = data.HeaderWord;
}

void TQVMLSTrigger::MarkChannelsWithoutStore()
{
    unsigned char bytes[sizeof m_withoutStore] = {};
    for (int c = 0; c < QVChannelSlots; ++c) {
        if (m_store[std::size_t(c)].empty()) {
            std::memset(bytes + c * sizeof(QVDescArraySingle) + offsetof(QVDescArraySingle, Data), 0xff,
                        sizeof(QVDescArraySingle::Data));
        }
    }
    std::memcpy(m_withoutStore.data(), bytes, sizeof bytes);
}

void TQVMLSTrigger::FillPreTrigger(const TQVDescArraySingle &data, int count, int pre, int &idx, bool &more)
{
    const qint64 avail = qint64(count) - idx + m_position;
    if (avail >= pre) {
        const int samples = pre - m_position + 1;
        CopyToStore(data, idx, m_position, samples);
        idx += samples;
        m_position = pre + 1;
        m_preTriggerFilled = true;
        more = avail > pre;
    } else {
        const int samples = count - idx + 1;
        CopyToStore(data, idx, m_position, samples);
        m_position += samples;
    }
}

void TQVMLSTrigger::WaitForTrigger(const TQVDescArraySingle &data, int count, int pre, int &idx, bool &more)
{
    const int reached = Scan(data.Channels[m_triggerChannel].Data, count, idx);
    // A hit on the last sample of the block does not count; the scan resumes with the next.
    const bool found = reached < count;
    if (pre > 0)
        SlideWindow(data, idx, (found ? reached : count + 1) - idx, pre);
    if (found) {
        idx = reached;
        m_fillingTrigger = true;
        more = true;
    }
}

void TQVMLSTrigger::FillTrigger(const TQVDescArraySingle &data, int count, int &idx)
{
    const qint64 avail = qint64(count) - idx + m_position;
    if (avail < m_bufferSize) {
        const int samples = count - idx + 1;
        CopyToStore(data, idx, m_position, samples);
        m_position += samples;
        return;
    }
    CopyToStore(data, idx, m_position, m_bufferSize - m_position + 1);

    // The slots are set afresh for every output, whatever a handler did to them before.
    QVClearChannels(m_output);
    for (int k = 0; k < m_activeCount; ++k) {
        const int c = m_active[std::size_t(k)];
        m_output.Channels[c] = QVDescArraySingle{m_store[std::size_t(c)].data(), m_bufferSize};
    }

    // The rest of this input block is dropped: the next pre-trigger fill starts with the
    // next block. Whatever a handler raises, the output counts as delivered; the handlers
    // read the output as the links do, so a block fed back meanwhile is dropped.
    DeliveryScope scope(this);
    const auto finish = qScopeGuard([&] {
        if (!scope.SourceAlive())
            return;
        m_shotDone = true;
        m_triggered = true;
        m_preTriggerFilled = false;
        m_position = 1;
        m_fillingTrigger = false;
    });
    if (OnTrigger)
        OnTrigger(m_output);
    if (!scope.SourceAlive())
        return;
    emit Triggered(m_output);
    if (scope.SourceAlive())
        DeliverData(m_output);
}

int TQVMLSTrigger::Scan(const float *x, int count, int idx)
{
    return ActiveScan.load(std::memory_order_relaxed)(x, count, idx, TQVScanSetup{m_triggerType, m_limit, m_limitHigh, m_slope}, m_previous);
}

void TQVMLSTrigger::CopyToStore(const TQVDescArraySingle &data, int idx, int position, int samples)
{
    samples = std::min(samples, m_bufferSize - position + 1);
    if (samples <= 0 || idx < 1 || position < 1)
        return;
    // Every store in use gets the samples; a channel with fewer samples than the trigger
    // channel, or none in this block, contributes zeros for the ones it lacks.
    for (int k = 0; k < m_activeCount; ++k) {
        const int c = m_active[std::size_t(k)];
        float *target = m_store[std::size_t(c)].data() + (position - 1);
        const QVDescArraySingle &in = data.Channels[c];
        const int have = QVHasData(in) ? std::clamp(in.Count - (idx - 1), 0, samples) : 0;
        if (have > 0)
            std::memcpy(target, in.Data + (idx - 1), std::size_t(have) * sizeof(float));
        if (have < samples)
            std::fill(target + have, target + samples, 0.0f);
    }
}

void TQVMLSTrigger::SlideWindow(const TQVDescArraySingle &data, int idx, int samples, int pre)
{
    if (samples <= 0)
        return;
    if (samples >= pre) {
        CopyToStore(data, idx + samples - pre, 1, pre);
        return;
    }
    const std::size_t kept = std::size_t(pre - samples);
    for (int k = 0; k < m_activeCount; ++k) {
        float *store = m_store[std::size_t(m_active[std::size_t(k)])].data();
        std::memmove(store, store + samples, kept * sizeof(float));
    }
    CopyToStore(data, idx, pre - samples + 1, samples);
}
