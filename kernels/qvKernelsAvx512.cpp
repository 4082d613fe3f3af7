// The AVX-512 path: 64-byte vectors and mask registers for the trigger scans, the masked OR,
// the sum of squares and the filter lanes; the FFT steps are those of the AVX2 path. As
// there, every function that uses the instruction set carries it as its own target.

#include "kernels/qvKernelDispatch_p.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include <algorithm>
#include <iterator>

#include "kernels/qvFilterKernels_p.h"
#include "kernels/qvScanKernels_p.h"
#include "kernels/qvSumKernels_p.h"

#define QV_AVX512 [[gnu::target("avx512f"), gnu::always_inline]] inline

namespace QVKernels {
namespace {

[[gnu::target("avx512f")]] double SumOfSquaresAvx512(const float *x, int n)
{
    __m512d acc[8];
    for (__m512d &a : acc)
        a = _mm512_setzero_pd();
    int i = 0;
    for (; i + 64 <= n; i += 64) {
        for (int k = 0; k < 8; ++k) {
            const __m512d v = _mm512_maskz_cvtps_pd(__mmask8(0xFF), _mm256_loadu_ps(x + i + 8 * k));
            acc[k] = _mm512_fmadd_pd(v, v, acc[k]);
        }
    }
    for (int width = 4; width > 0; width /= 2) {
        for (int k = 0; k < width; ++k)
            acc[k] = _mm512_add_pd(acc[k], acc[k + width]);
    }
    alignas(64) double lanes[8];
    _mm512_store_pd(lanes, acc[0]);
    const double sum = ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) + ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
    return i < n ? sum + SumOfSquaresLanes(x + i, n - i) : sum;
}

// The sample conditions of the scans for 16 samples in a register, as bit masks.
QV_AVX512 __mmask16 Mask(const Scan::Above &p, __m512 v)
{
    return _mm512_cmp_ps_mask(v, _mm512_set1_ps(p.Limit), _CMP_GT_OQ);
}
QV_AVX512 __mmask16 Mask(const Scan::NotAbove &p, __m512 v)
{
    return _mm512_cmp_ps_mask(v, _mm512_set1_ps(p.Limit), _CMP_NGT_UQ);
}
QV_AVX512 __mmask16 Mask(const Scan::Below &p, __m512 v)
{
    return _mm512_cmp_ps_mask(v, _mm512_set1_ps(p.Limit), _CMP_LT_OQ);
}
QV_AVX512 __mmask16 Mask(const Scan::NotBelow &p, __m512 v)
{
    return _mm512_cmp_ps_mask(v, _mm512_set1_ps(p.Limit), _CMP_NLT_UQ);
}
QV_AVX512 __mmask16 Mask(const Scan::Between &p, __m512 v)
{
    return _mm512_mask_cmp_ps_mask(_mm512_cmp_ps_mask(v, _mm512_set1_ps(p.Low), _CMP_GT_OQ), v,
                                   _mm512_set1_ps(p.High), _CMP_LT_OQ);
}

// The chunk loop of SkipChunks, written out (a lambda would not inherit the target). After
// the first chunk the chunks start on 64-byte boundaries of `x`, so that their loads do not
// split cache lines; a chunk overlapping the one before is harmless.
template <typename ChunkHit>
QV_AVX512 int SkipChunks512(const float *x, int from, int count, ChunkHit hit)
{
    if (count - from + 1 < Scan::ChunkSamples || hit(from))
        return from;
    constexpr int PerLine = 64 / int(sizeof(float));
    int i = from + PerLine - int(reinterpret_cast<std::uintptr_t>(x + (from - 1)) / sizeof(float) % PerLine);
    for (; i <= count - Scan::ChunkSamples + 1; i += Scan::ChunkSamples) {
        if (hit(i))
            return i;
    }
    return i <= count && hit(count - Scan::ChunkSamples + 1) ? i : count + 1;
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
        return Any(Mask(Test, _mm512_loadu_ps(chunk)), Mask(Test, _mm512_loadu_ps(chunk + 16)),
                   Mask(Test, _mm512_loadu_ps(chunk + 32)), Mask(Test, _mm512_loadu_ps(chunk + 48)));
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

// The chunk skipping of the generic scan on 16-sample registers and bit masks. Called, not
// inlined, from the scan: only scalars cross the call.
struct TQVAvx512Chunks
{
    template <typename Pred>
    [[gnu::always_inline]] static int SkipPred(const float *x, int from, int count, Pred pred)
    {
        return SkipPredChunks512(x, from, count, pred);
    }
    template <bool Rising>
    [[gnu::always_inline]] static int SkipSlope(const float *x, int from, int count, float slope)
    {
        return SkipSlopeChunks512<Rising>(x, from, count, slope);
    }
};

int ScanAvx512(const float *x, int count, int from, const TQVScanSetup &setup, float &previous)
{
    return Scan::ScanBody<TQVAvx512Chunks>(x, count, from, setup, previous);
}

[[gnu::target("avx512f")]] std::uint64_t MaskedOrAvx512(const void *channels, const std::uint64_t *mask,
                                                        std::size_t words)
{
    const auto *bytes = static_cast<const unsigned char *>(channels);
    __m512i any = _mm512_setzero_si512();
    std::size_t i = 0;
    for (; i + 8 <= words; i += 8) {
        // any | (slots & mask)
        any = _mm512_ternarylogic_epi64(any, _mm512_loadu_si512(bytes + i * 8), _mm512_loadu_si512(mask + i), 0xF8);
    }
    const std::uint64_t rest = Scan::MaskedOrWords(bytes + i * 8, mask + i, words - i);
    return std::uint64_t(_mm512_test_epi64_mask(any, any)) | rest;
}

[[gnu::target("avx512f")]] void ToDoublesAvx512(const float *samples, int n, double *x)
{
    std::fill(x - MaxLanes, x, 0.0);
    int k = 0;
    for (; k + 8 <= n; k += 8)
        _mm512_storeu_pd(x + k, _mm512_maskz_cvtps_pd(__mmask8(0xFF), _mm256_loadu_ps(samples + k)));
    for (; k < n; ++k)
        x[k] = samples[k];
    std::fill(x + n, x + n + MaxLanes, 0.0);
}

[[gnu::target("avx512f")]] void FirLanesAvx512(const float *h, int taps, const double *line, int n, double bound,
                                               float *out)
{
    Filter::FirLanes<8>(h, taps, line, n, bound, out);
}
[[gnu::target("avx512f")]] void RCLowAvx512(const TQVRCSetup &s, double &state, float *data, int count)
{
    Filter::RCLanes<8, false, ToDoublesAvx512>(s, state, data, count);
}
[[gnu::target("avx512f")]] void RCHighAvx512(const TQVRCSetup &s, double &state, float *data, int count)
{
    Filter::RCLanes<8, true, ToDoublesAvx512>(s, state, data, count);
}
template <int Output>
[[gnu::target("avx512f")]] int SvfAvx512(const TQVSvfSetup &s, double &band, double &low, float *data, int count)
{
    return Filter::SvfLanes<8, Output, ToDoublesAvx512>(s, band, low, data, count);
}

} // namespace

const TQVKernelTable *Avx512Table()
{
    static const TQVKernelTable table = [] {
        TQVKernelTable t = *Avx2Table();
        t.SumOfSquares = SumOfSquaresAvx512;
        t.TriggerScan = ScanAvx512;
        t.MaskedOr = MaskedOrAvx512;
        t.FirLanes = FirLanesAvx512;
        t.RCLanes = t.SvfLanes = 8;
        t.RCLow = RCLowAvx512;
        t.RCHigh = RCHighAvx512;
        t.Svf[0] = SvfAvx512<0>;
        t.Svf[1] = SvfAvx512<1>;
        t.Svf[2] = SvfAvx512<2>;
        t.Svf[3] = SvfAvx512<3>;
        return t;
    }();
    return &table;
}

const TQVKernelTable *Avx512SplitTable()
{
    static const TQVKernelTable table = [] {
        TQVKernelTable t = *Avx512Table();
        const TQVKernelTable &narrow = *Avx2Table();
        t.SumOfSquares = narrow.SumOfSquares;
        t.SvfLanes = narrow.SvfLanes;
        std::copy(std::begin(narrow.Svf), std::end(narrow.Svf), std::begin(t.Svf));
        return t;
    }();
    return &table;
}

} // namespace QVKernels

#else

const QVKernels::TQVKernelTable *QVKernels::Avx512Table()
{
    return nullptr;
}

const QVKernels::TQVKernelTable *QVKernels::Avx512SplitTable()
{
    return nullptr;
}

#endif
