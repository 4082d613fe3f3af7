#pragma once

#include <vector>

#include "framework/qvGlobal.h"

/// \brief The in-place radix-2 complex transform behind `TQVFFT::ComplexFFT`.
///
/// `Prepare` lays out the twiddle factors of one size for the butterfly stages (it may
/// allocate); `Transform` then runs without allocation. Results stay within single-precision
/// rounding of the extended-precision definition:
/// forward  X[k] = (1/N) sum x[n] e^(+2 pi i n k / N),
/// inverse  x[n] = sum X[k] e^(-2 pi i n k / N) (unscaled).
/// Two code paths: a portable one (4-lane vectors, SSE2 on x86-64) and, chosen at run time
/// where the processor has them, AVX2 with FMA.
class QV_CORE_EXPORT TQVFFTKernel
{
public:
    /// \brief Code paths of `Transform`.
    enum class Path { Portable, Avx2Fma };

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

    /// \brief Whether this processor runs the AVX2 and FMA path.
    static bool HasAvx2Fma();
    /// \brief Selects the code path (the fastest available by default); `Avx2Fma` is refused
    /// when the processor lacks it. Mainly for tests and benchmarks of both paths.
    void SelectPath(Path path);
    Path ActivePath() const { return m_path; }

private:
    int m_size = 0;
    Path m_path = HasAvx2Fma() ? Path::Avx2Fma : Path::Portable;
    std::vector<float> m_twiddles;    // per stage, see the implementation
    std::size_t m_twiddleOffset = 0;  // first float of the stage arrays in m_twiddles
    float m_rowTwiddles[64] = {};      // broadcast twiddles of the first stages
};
