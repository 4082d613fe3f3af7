#include "analysis/qvFFTKernel.h"

#include <cstdint>
#include <new>


namespace {

// Cache line in floats.
constexpr std::size_t AlignFloats = 16;

} // namespace

void TQVFFTKernel::Prepare(int n, const float *cosTable, const float *sinTable)
{
    Clear();
    if (n < 2 || (n & (n - 1)) != 0 || !cosTable || !sinTable)
        return;
    // The stage arrays start on a cache line (vector loads of twiddles then never straddle
    // two lines): the first AlignFloats - 1 floats are slack for that.
    try {
        m_twiddles.assign(QVKernels::FFTTwiddleFloats(n) + AlignFloats, 0.0f);
    } catch (const std::bad_alloc &) {
        return; // stays unprepared: Transform does nothing
    }
    const auto address = reinterpret_cast<std::uintptr_t>(m_twiddles.data());
    m_twiddleOffset = (AlignFloats - (address / sizeof(float)) % AlignFloats) % AlignFloats;
    QVKernels::FFTPrepare(n, cosTable, sinTable, m_twiddles.data() + m_twiddleOffset, m_rowTwiddles);
    m_size = n;
}

void TQVFFTKernel::Clear()
{
    m_size = 0;
    m_twiddleOffset = 0;
    std::vector<float>().swap(m_twiddles);
}

void TQVFFTKernel::Transform(float *re, float *im, bool inverse) const
{
    if (m_size < 2 || !re || !im)
        return;
    QVKernels::FFTTransform(m_twiddles.data() + m_twiddleOffset, m_rowTwiddles, m_size, re, im, inverse);
}
