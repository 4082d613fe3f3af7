// The portable path: the compiler's generic vectors of 16 bytes (SSE2 on x86-64) and
// plain loops, for the build's base instruction set. It runs on every processor.

#include <cmath>

#if (defined(__x86_64__) || defined(__i386__)) && defined(__SSE2__)
#include <immintrin.h>
#define QV_KERNELS_SSE2 1
#endif

#include "kernels/qvFFTKernels_p.h"
#include "kernels/qvFilterKernels_p.h"
#include "kernels/qvKernelDispatch_p.h"
#include "kernels/qvScanKernels_p.h"
#include "kernels/qvSumKernels_p.h"

namespace QVKernels {
namespace {

int ScanPortable(const float *x, int count, int from, const TQVScanSetup &setup, float &previous)
{
    return Scan::ScanBody<Scan::TQVVectorChunks<Scan::QVFloats4>>(x, count, from, setup, previous);
}

void TransformPortable(const float *tw, const float *rowTw, int n, float *re, float *im, bool inverse)
{
    if (n >= Fft::PortableMinSize)
        Fft::TransformVector<Fft::V4>(tw, rowTw, n, re, im, inverse);
    else if (inverse)
        Fft::TransformScalar<true>(tw, n, re, im);
    else
        Fft::TransformScalar<false>(tw, n, re, im);
}

void SplitPairsPortable(float *reLo, float *imLo, float *reHi, float *imHi, const float *cosK, const float *sinK,
                        int count)
{
    Fft::SplitPairsBody(reLo, imLo, reHi, imHi, cosK, sinK, count);
}

// std::sqrt may set errno and so keeps the compiler from vectorising; the SSE2 square root
// gives the same correctly rounded double.
void AmplitudesPortable(float *__restrict re, const float *__restrict im, int count)
{
    int i = 0;
#ifdef QV_KERNELS_SSE2
    for (; i + 4 <= count; i += 4) {
        const __m128 r = _mm_loadu_ps(re + i);
        const __m128 m = _mm_loadu_ps(im + i);
        const __m128d rLo = _mm_cvtps_pd(r), mLo = _mm_cvtps_pd(m);
        const __m128d rHi = _mm_cvtps_pd(_mm_movehl_ps(r, r)), mHi = _mm_cvtps_pd(_mm_movehl_ps(m, m));
        const __m128d lo = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(rLo, rLo), _mm_mul_pd(mLo, mLo)));
        const __m128d hi = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(rHi, rHi), _mm_mul_pd(mHi, mHi)));
        _mm_storeu_ps(re + i, _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)));
    }
#endif
    Fft::AmplitudesTail(re, im, i, count);
}

void ToDoublesPortable(const float *samples, int n, double *x)
{
    std::fill(x - MaxLanes, x, 0.0);
    for (int k = 0; k < n; ++k)
        x[k] = samples[k];
    std::fill(x + n, x + n + MaxLanes, 0.0);
}

void FirLanesPortable(const float *h, int taps, const double *line, int n, double bound, float *out)
{
    Filter::FirLanes<2>(h, taps, line, n, bound, out);
}

// Without wide vectors the state-variable windows are summed tap by tap: lane shifts would
// cross register halves.
constexpr int PortableRCLanes = 4;
constexpr int PortableSvfLanes = 4;

void RCLowPortable(const TQVRCSetup &s, double &state, float *data, int count)
{
    Filter::RCLanes<PortableRCLanes, false, ToDoublesPortable>(s, state, data, count);
}
void RCHighPortable(const TQVRCSetup &s, double &state, float *data, int count)
{
    Filter::RCLanes<PortableRCLanes, true, ToDoublesPortable>(s, state, data, count);
}
template <int Output>
int SvfPortable(const TQVSvfSetup &s, double &band, double &low, float *data, int count)
{
    return Filter::SvfLanes<PortableSvfLanes, Output, ToDoublesPortable, true>(s, band, low, data, count);
}

} // namespace

const TQVKernelTable *PortableTable()
{
    static const TQVKernelTable table = {
        SumOfSquaresLanes, ScanPortable,      Scan::MaskedOrWords, TransformPortable,  SplitPairsPortable,
        AmplitudesPortable, FirLanesPortable, PortableRCLanes,     PortableSvfLanes,   RCLowPortable,
        RCHighPortable,     {SvfPortable<0>, SvfPortable<1>, SvfPortable<2>, SvfPortable<3>},
    };
    return &table;
}

} // namespace QVKernels
