#include "kernels/qvKernelDispatch_p.h"

#include <atomic>
#include <cstring>

#include "kernels/qvFFTKernels_p.h"

namespace QVKernels {
namespace {

const TQVKernelTable *TableOf(TQVKernelPath path)
{
    switch (path) {
    case TQVKernelPath::Portable: return PortableTable();
    case TQVKernelPath::Avx2: return Avx2Table();
    case TQVKernelPath::Avx512: return Avx512Table();
    case TQVKernelPath::Avx512Split: return Avx512SplitTable();
    }
    return nullptr;
}

bool Supports(TQVKernelPath path)
{
#if defined(__x86_64__) || defined(__i386__)
    // The explicit init makes the answer right even from static initialisers that run
    // before the runtime's own.
    __builtin_cpu_init();
    const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    switch (path) {
    case TQVKernelPath::Portable: return true;
    case TQVKernelPath::Avx2: return avx2;
    case TQVKernelPath::Avx512:
    case TQVKernelPath::Avx512Split: return avx2 && __builtin_cpu_supports("avx512f");
    }
    return false;
#else
    return path == TQVKernelPath::Portable;
#endif
}

// Null until the first kernel runs (or a path is selected), then the table of the path.
std::atomic<const TQVKernelTable *> g_active{nullptr};
std::atomic<TQVKernelPath> g_path{TQVKernelPath::Portable};

// Cores that execute a 512-bit operation as two 256-bit halves.
bool SplitsWideOperations()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    return __builtin_cpu_is("amdfam19h");
#else
    return false;
#endif
}

TQVKernelPath Fastest()
{
    const TQVKernelPath wide = SplitsWideOperations() ? TQVKernelPath::Avx512Split : TQVKernelPath::Avx512;
    for (TQVKernelPath path : {wide, TQVKernelPath::Avx2})
        if (Available(path))
            return path;
    return TQVKernelPath::Portable;
}

void Activate(TQVKernelPath path)
{
    g_path.store(path, std::memory_order_relaxed);
    g_active.store(TableOf(path), std::memory_order_release);
}

} // namespace

bool Available(TQVKernelPath path)
{
    return TableOf(path) != nullptr && Supports(path);
}

bool Select(TQVKernelPath path)
{
    if (!Available(path))
        return false;
    Activate(path);
    return true;
}

TQVKernelPath Active()
{
    ActiveTable();
    return g_path.load(std::memory_order_relaxed);
}

const TQVKernelTable &ActiveTable()
{
    const TQVKernelTable *table = g_active.load(std::memory_order_acquire);
    if (!table) {
        Activate(Fastest());
        table = g_active.load(std::memory_order_acquire);
    }
    return *table;
}

double SumOfSquares(const float *x, int n)
{
    return ActiveTable().SumOfSquares(x, n);
}

int TriggerScan(const float *x, int count, int from, const TQVScanSetup &setup, float &previous)
{
    return ActiveTable().TriggerScan(x, count, from, setup, previous);
}

std::uint64_t MaskedOr(const void *bytes, const std::uint64_t *mask, std::size_t words)
{
    return ActiveTable().MaskedOr(bytes, mask, words);
}

void FFTPrepare(int n, const float *cosTable, const float *sinTable, float *twiddles, float *rowTwiddles)
{
    using Fft::Chunk;
    using Fft::TwiddleAt;
    for (std::size_t m = 1; m < std::size_t(n); m *= 2) {
        const std::size_t stride = std::size_t(n) / m;
        for (std::size_t j = 0; j < m; ++j) {
            twiddles[TwiddleAt(m, j)] = cosTable[j * stride];
            twiddles[TwiddleAt(m, j) + Chunk(m)] = sinTable[j * stride];
        }
    }
    // Broadcast twiddles of the block stages: W_2[1], W_4[1], W_4[2], W_4[3], each as 8 copies
    // of cos then 8 of sin.
    const int rows[4][2] = {{2, 1}, {4, 1}, {4, 2}, {4, 3}};
    for (int k = 0; k < 4; ++k) {
        const int m = rows[k][0];
        const std::size_t at = TwiddleAt(std::size_t(m), std::size_t(rows[k][1]));
        for (int l = 0; l < 8; ++l) {
            rowTwiddles[16 * k + l] = m < n ? twiddles[at] : 0.0f;
            rowTwiddles[16 * k + 8 + l] = m < n ? twiddles[at + Chunk(std::size_t(m))] : 0.0f;
        }
    }
}

void FFTTransform(const float *twiddles, const float *rowTwiddles, int n, float *re, float *im, bool inverse)
{
    ActiveTable().FFTTransform(twiddles, rowTwiddles, n, re, im, inverse);
}

void FFTSplitPairs(float *reLo, float *imLo, float *reHi, float *imHi, const float *cosK, const float *sinK, int count)
{
    ActiveTable().FFTSplitPairs(reLo, imLo, reHi, imHi, cosK, sinK, count);
}

void FFTAmplitudes(float *re, const float *im, int count)
{
    ActiveTable().FFTAmplitudes(re, im, count);
}

void CopySamples(float *destination, const float *source, int n)
{
    constexpr int Chunk = 16; // one cache line
    const std::uintptr_t distance =
        (reinterpret_cast<std::uintptr_t>(destination) - reinterpret_cast<std::uintptr_t>(source)) & 4095;
    if (n < 4 * Chunk || distance >= 256) {
        if (n > 0)
            std::memcpy(destination, source, std::size_t(n) * sizeof(float));
        return;
    }
    int i = n;
    for (; i >= Chunk; i -= Chunk)
        std::memcpy(destination + i - Chunk, source + i - Chunk, Chunk * sizeof(float));
    std::memcpy(destination, source, std::size_t(i) * sizeof(float));
}

} // namespace QVKernels
