#pragma once

#include <vector>

#include "framework/qvGlobal.h"
#include "kernels/qvKernels.h"

/// \brief The plan of the in-place radix-2 complex transform behind `TQVFFT::ComplexFFT`:
/// the twiddle factors of one size, laid out for `QVKernels::FFTTransform`.
///
/// `Prepare` lays them out (it may allocate); `Transform` then runs without allocation.
/// Results stay within single-precision rounding of the extended-precision definition:
/// forward  X[k] = (1/N) sum x[n] e^(+2 pi i n k / N),
/// inverse  x[n] = sum X[k] e^(-2 pi i n k / N) (unscaled).
class QV_CORE_EXPORT TQVFFTKernel
{
public:
    /// `cosTable[k]` = cos(pi k / n) and `sinTable[k]` = sin(pi k / n), k = 0..n-1, as the
    /// engine tabulates them; n is a power of two >= 2. Anything else, or a failed
    /// allocation, leaves the kernel unprepared.
    void Prepare(int n, const float *cosTable, const float *sinTable);
    /// Forgets the prepared size; `Transform` then does nothing.
    void Clear();
    int Size() const { return m_size; }
    /// Bit-reversal, butterflies and, when forward, the 1/N scale; in place on `Size()`
    /// points. Does nothing before `Prepare`.
    void Transform(float *re, float *im, bool inverse) const;

private:
    int m_size = 0;
    std::vector<float> m_twiddles;    // per stage, see kernels/qvFFTKernels_p.h
    std::size_t m_twiddleOffset = 0;  // first float of the stage arrays in m_twiddles
    float m_rowTwiddles[QVKernels::FFTRowTwiddleFloats] = {}; // broadcast twiddles of the first stages
};
