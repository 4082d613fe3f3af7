// The AVX2 path: 32-byte vectors, with FMA where the results allow it. Every function that
// uses the instruction set carries it as its own target, and the generic code it inlines has
// internal linkage, so no instruction of it reaches code that runs on other processors.

#include "kernels/qvKernelDispatch_p.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include "kernels/qvFFTKernels_p.h"
#include "kernels/qvFilterKernels_p.h"
#include "kernels/qvScanKernels_p.h"
#include "kernels/qvSumKernels_p.h"

namespace QVKernels {
namespace {

[[gnu::target("avx2,fma")]] double SumOfSquaresAvx2(const float *x, int n)
{
    // Eight accumulators of four lanes keep both FMA units busy.
    __m256d acc[8];
    for (__m256d &a : acc)
        a = _mm256_setzero_pd();
    int i = 0;
    for (; i + 32 <= n; i += 32) {
        for (int k = 0; k < 8; ++k) {
            const __m256d v = _mm256_cvtps_pd(_mm_loadu_ps(x + i + 4 * k));
            acc[k] = _mm256_fmadd_pd(v, v, acc[k]);
        }
    }
    for (int width = 4; width > 0; width /= 2) {
        for (int k = 0; k < width; ++k)
            acc[k] = _mm256_add_pd(acc[k], acc[k + width]);
    }
    alignas(32) double lanes[4];
    _mm256_store_pd(lanes, acc[0]);
    const double sum = (lanes[0] + lanes[2]) + (lanes[1] + lanes[3]);
    return i < n ? sum + SumOfSquaresLanes(x + i, n - i) : sum;
}

[[gnu::target("avx2")]] int ScanAvx2(const float *x, int count, int from, const TQVScanSetup &setup, float &previous)
{
    return Scan::ScanBody<Scan::TQVVectorChunks<Scan::QVFloats8>>(x, count, from, setup, previous);
}

[[gnu::target("avx2,fma")]] void TransformAvx2(const float *tw, const float *rowTw, int n, float *re, float *im,
                                               bool inverse)
{
    if (n >= Fft::Avx2MinSize)
        Fft::TransformVector<Fft::V8>(tw, rowTw, n, re, im, inverse);
    else
        PortableTable()->FFTTransform(tw, rowTw, n, re, im, inverse);
}

// The same operations as the portable path eight floats or four doubles wide. No FMA: every
// product is rounded as there, so both paths give identical floats.
[[gnu::target("avx2")]] void SplitPairsAvx2(float *reLo, float *imLo, float *reHi, float *imHi, const float *cosK,
                                            const float *sinK, int count)
{
    Fft::SplitPairsBody(reLo, imLo, reHi, imHi, cosK, sinK, count);
}

[[gnu::target("avx2")]] void AmplitudesAvx2(float *__restrict re, const float *__restrict im, int count)
{
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const __m256d r = _mm256_cvtps_pd(_mm_loadu_ps(re + i));
        const __m256d m = _mm256_cvtps_pd(_mm_loadu_ps(im + i));
        const __m256d a = _mm256_sqrt_pd(_mm256_add_pd(_mm256_mul_pd(r, r), _mm256_mul_pd(m, m)));
        _mm_storeu_ps(re + i, _mm256_cvtpd_ps(a));
    }
    Fft::AmplitudesTail(re, im, i, count);
}

[[gnu::target("avx2")]] void ToDoublesAvx2(const float *samples, int n, double *x)
{
    std::fill(x - MaxLanes, x, 0.0);
    int k = 0;
    for (; k + 4 <= n; k += 4)
        _mm256_storeu_pd(x + k, _mm256_cvtps_pd(_mm_loadu_ps(samples + k)));
    for (; k < n; ++k)
        x[k] = samples[k];
    std::fill(x + n, x + n + MaxLanes, 0.0);
}

[[gnu::target("avx2,fma")]] void FirLanesAvx2(const float *h, int taps, const double *line, int n, double bound,
                                              float *out)
{
    Filter::FirLanes<4>(h, taps, line, n, bound, out);
}
[[gnu::target("avx2,fma")]] void RCLowAvx2(const TQVRCSetup &s, double &state, float *data, int count)
{
    Filter::RCLanes<4, false, ToDoublesAvx2>(s, state, data, count);
}
[[gnu::target("avx2,fma")]] void RCHighAvx2(const TQVRCSetup &s, double &state, float *data, int count)
{
    Filter::RCLanes<4, true, ToDoublesAvx2>(s, state, data, count);
}
template <int Output>
[[gnu::target("avx2,fma")]] int SvfAvx2(const TQVSvfSetup &s, double &band, double &low, float *data, int count)
{
    return Filter::SvfLanes<4, Output, ToDoublesAvx2>(s, band, low, data, count);
}

} // namespace

const TQVKernelTable *Avx2Table()
{
    static const TQVKernelTable table = {
        SumOfSquaresAvx2, ScanAvx2,     Scan::MaskedOrWords, TransformAvx2, SplitPairsAvx2, AmplitudesAvx2,
        FirLanesAvx2,     4,            4,                   RCLowAvx2,     RCHighAvx2,
        {SvfAvx2<0>, SvfAvx2<1>, SvfAvx2<2>, SvfAvx2<3>},
    };
    return &table;
}

} // namespace QVKernels

#else

const QVKernels::TQVKernelTable *QVKernels::Avx2Table()
{
    return nullptr;
}

#endif
