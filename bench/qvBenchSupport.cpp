#include "qvBenchSupport.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <malloc.h>

#include <benchmark/benchmark.h>

#include <QtCore/QCoreApplication>

// ---------------------------------------------------------------------------------------
// Allocation counter. The replacements live in this file on purpose: every benchmark calls
// QVBenchMain, so the linker always takes this object, and the executable's definitions
// then also serve the allocations made inside the shared libraries (Qt, velmora_core).
// Qt's containers and strings allocate with malloc and realloc rather than operator new,
// so on glibc the malloc family is counted too; the memory still comes from glibc's own
// allocator. Sanitizers bring their own allocator: there only operator new is counted.

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#  define QV_BENCH_COUNT_MALLOC 0
#elif defined(__has_feature)
#  if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#    define QV_BENCH_COUNT_MALLOC 0
#  endif
#endif
#if !defined(QV_BENCH_COUNT_MALLOC)
#  if defined(__GLIBC__)
#    define QV_BENCH_COUNT_MALLOC 1
#  else
#    define QV_BENCH_COUNT_MALLOC 0
#  endif
#endif

// The shared libraries must bind to these definitions, whatever the visibility preset.
#define QV_BENCH_REPLACEMENT __attribute__((visibility("default")))

#if QV_BENCH_COUNT_MALLOC
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
void *__libc_valloc(std::size_t size);
void *__libc_pvalloc(std::size_t size);
void __libc_free(void *memory);
}
#endif

namespace {

std::atomic<std::uint64_t> g_allocations{0};

void CountAllocation()
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
}

void *RawAllocate(std::size_t size, std::size_t alignment)
{
#if QV_BENCH_COUNT_MALLOC
    if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__)
        return __libc_malloc(size);
    return __libc_memalign(alignment, size);
#else
    if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__)
        return std::malloc(size);
    void *memory = nullptr;
    return posix_memalign(&memory, std::max(alignment, sizeof(void *)), size) == 0 ? memory : nullptr;
#endif
}

void RawFree(void *memory)
{
#if QV_BENCH_COUNT_MALLOC
    __libc_free(memory);
#else
    std::free(memory);
#endif
}

void *CountedAllocate(std::size_t size, std::size_t alignment)
{
    CountAllocation();
    if (size == 0)
        size = 1;
    for (;;) {
        if (void *memory = RawAllocate(size, alignment))
            return memory;
        std::new_handler handler = std::get_new_handler();
        if (!handler)
            throw std::bad_alloc();
        handler();
    }
}

void *CountedAllocateNoThrow(std::size_t size, std::size_t alignment) noexcept
{
    try {
        return CountedAllocate(size, alignment);
    } catch (...) {
        return nullptr;
    }
}

} // namespace

std::uint64_t QVAllocCount()
{
    return g_allocations.load(std::memory_order_relaxed);
}

#if QV_BENCH_COUNT_MALLOC
extern "C" {

QV_BENCH_REPLACEMENT void *malloc(std::size_t size) noexcept
{
    CountAllocation();
    return __libc_malloc(size);
}

QV_BENCH_REPLACEMENT void *calloc(std::size_t count, std::size_t size) noexcept
{
    CountAllocation();
    return __libc_calloc(count, size);
}

// Every resize counts: in steady state a realloc means that something is still growing.
QV_BENCH_REPLACEMENT void *realloc(void *memory, std::size_t size) noexcept
{
    if (size != 0 || !memory)
        CountAllocation();
    return __libc_realloc(memory, size);
}

QV_BENCH_REPLACEMENT void *reallocarray(void *memory, std::size_t count, std::size_t size) noexcept
{
    if (size != 0 && count > std::size_t(-1) / size) {
        errno = ENOMEM;
        return nullptr;
    }
    return realloc(memory, count * size);
}

QV_BENCH_REPLACEMENT void *memalign(std::size_t alignment, std::size_t size) noexcept
{
    CountAllocation();
    return __libc_memalign(alignment, size);
}

QV_BENCH_REPLACEMENT void *aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    CountAllocation();
    return __libc_memalign(alignment, size);
}

QV_BENCH_REPLACEMENT int posix_memalign(void **result, std::size_t alignment, std::size_t size) noexcept
{
    if (alignment == 0 || (alignment & (alignment - 1)) != 0 || alignment % sizeof(void *) != 0)
        return EINVAL;
    CountAllocation();
    void *memory = __libc_memalign(alignment, size);
    if (!memory)
        return ENOMEM;
    *result = memory;
    return 0;
}

QV_BENCH_REPLACEMENT void *valloc(std::size_t size) noexcept
{
    CountAllocation();
    return __libc_valloc(size);
}

QV_BENCH_REPLACEMENT void *pvalloc(std::size_t size) noexcept
{
    CountAllocation();
    return __libc_pvalloc(size);
}

QV_BENCH_REPLACEMENT void free(void *memory) noexcept
{
    __libc_free(memory);
}

} // extern "C"
#endif

QV_BENCH_REPLACEMENT void *operator new(std::size_t size)
{
    return CountedAllocate(size, 0);
}

QV_BENCH_REPLACEMENT void *operator new[](std::size_t size)
{
    return CountedAllocate(size, 0);
}

QV_BENCH_REPLACEMENT void *operator new(std::size_t size, std::align_val_t alignment)
{
    return CountedAllocate(size, std::size_t(alignment));
}

QV_BENCH_REPLACEMENT void *operator new[](std::size_t size, std::align_val_t alignment)
{
    return CountedAllocate(size, std::size_t(alignment));
}

QV_BENCH_REPLACEMENT void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return CountedAllocateNoThrow(size, 0);
}

QV_BENCH_REPLACEMENT void *operator new[](std::size_t size, const std::nothrow_t &) noexcept
{
    return CountedAllocateNoThrow(size, 0);
}

QV_BENCH_REPLACEMENT void *operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t &) noexcept
{
    return CountedAllocateNoThrow(size, std::size_t(alignment));
}

QV_BENCH_REPLACEMENT void *operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t &) noexcept
{
    return CountedAllocateNoThrow(size, std::size_t(alignment));
}

// Plain and aligned blocks come from the same allocator and are released alike.
QV_BENCH_REPLACEMENT void operator delete(void *memory) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete[](void *memory) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete(void *memory, std::size_t) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete[](void *memory, std::size_t) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete(void *memory, std::align_val_t) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete[](void *memory, std::align_val_t) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete(void *memory, std::size_t, std::align_val_t) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete[](void *memory, std::size_t, std::align_val_t) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete(void *memory, const std::nothrow_t &) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete[](void *memory, const std::nothrow_t &) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete(void *memory, std::align_val_t, const std::nothrow_t &) noexcept
{
    RawFree(memory);
}

QV_BENCH_REPLACEMENT void operator delete[](void *memory, std::align_val_t, const std::nothrow_t &) noexcept
{
    RawFree(memory);
}

// ---------------------------------------------------------------------------------------
// Yardstick

double QVMemcpyYardstickNs(std::size_t bytes)
{
    std::vector<unsigned char> source(bytes, 0x5a);
    std::vector<unsigned char> target(bytes, 0);
    return QVYardstickNs([&] {
        unsigned char *from = source.data();
        unsigned char *to = target.data();
        benchmark::DoNotOptimize(from);
        benchmark::DoNotOptimize(to);
        std::memcpy(to, from, bytes);
        benchmark::ClobberMemory();
    });
}

// ---------------------------------------------------------------------------------------
// Results table

namespace {

std::vector<TQVBenchResult> &Results()
{
    static std::vector<TQVBenchResult> results;
    return results;
}

bool HasRatioTarget(const TQVBenchResult &r)
{
    return r.TargetRatio > 0.0;
}

bool HasAllocTarget(const TQVBenchResult &r)
{
    return r.MaxAllocsPerBlock >= 0.0;
}

void PrintSummary()
{
    const std::vector<TQVBenchResult> &results = Results();
    if (results.empty())
        return;

    int nameWidth = int(std::strlen("benchmark"));
    int yardstickWidth = int(std::strlen("yardstick"));
    for (const TQVBenchResult &r : results) {
        nameWidth = std::max(nameWidth, int(r.Name.size()));
        yardstickWidth = std::max(yardstickWidth, int(r.YardstickName.size()));
    }

    std::printf("\nSummary (subject and yardstick timed in this run; ratio = subject / yardstick)\n");
    std::printf("%-*s %12s  %-*s %12s %8s %8s %13s %8s  %s\n", nameWidth, "benchmark", "subject ns",
                yardstickWidth, "yardstick", "yardst. ns", "ratio", "target", "allocs/block", "target",
                "verdict");
    int missed = 0;
    for (const TQVBenchResult &r : results) {
        char ratioTarget[32] = "-";
        char allocTarget[32] = "-";
        if (HasRatioTarget(r))
            std::snprintf(ratioTarget, sizeof ratioTarget, "< %g", r.TargetRatio);
        if (HasAllocTarget(r))
            std::snprintf(allocTarget, sizeof allocTarget, "<= %g", r.MaxAllocsPerBlock);

        const bool ratioMet = !HasRatioTarget(r) || r.Ratio() < r.TargetRatio;
        const bool allocMet = !HasAllocTarget(r) || r.AllocsPerBlock <= r.MaxAllocsPerBlock;
        const char *verdict = "informational";
        if (HasRatioTarget(r) || HasAllocTarget(r))
            verdict = ratioMet && allocMet ? "target met" : "TARGET MISSED";
        if (!ratioMet || !allocMet)
            ++missed;

        std::printf("%-*s %12.1f  %-*s %12.1f %8.2f %8s %13.4f %8s  %s", nameWidth, r.Name.c_str(),
                    r.SubjectNs, yardstickWidth, r.YardstickName.c_str(), r.YardstickNs, r.Ratio(),
                    ratioTarget, r.AllocsPerBlock, allocTarget, verdict);
        if (!ratioMet)
            std::printf(" (ratio)");
        if (!allocMet)
            std::printf(" (allocations)");
        std::printf("\n");
    }
    std::printf("%d of %zu rows missed a target\n", missed, results.size());
    std::fflush(stdout);
}

// The counter is only meaningful when it also sees the allocations made inside the shared
// libraries; constructing a stage allocates inside velmora_core and QtCore.
void CheckAllocationCounter()
{
    const std::uint64_t before = QVAllocCount();
    {
        TQVMLSBase stage;
    }
    if (QVAllocCount() == before) {
        std::printf("WARNING: the allocation counter does not see allocations made inside the "
                    "shared libraries; allocation counts below are not meaningful\n");
    }
}

} // namespace

void QVRecordResult(const TQVBenchResult &result)
{
    std::vector<TQVBenchResult> &results = Results();
    for (TQVBenchResult &r : results) {
        if (r.Name == result.Name) {
            r = result;
            return;
        }
    }
    results.push_back(result);
}

const std::vector<TQVBenchResult> &QVResults()
{
    return Results();
}

int QVBenchMain(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    QCoreApplication app(argc, argv);
    CheckAllocationCounter();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    PrintSummary();
    return 0;
}

// ---------------------------------------------------------------------------------------
// Chain parts

TQVBenchSource::TQVBenchSource(int channels, int blockLength, double sampleRate, QObject *owner)
    : TQVMeasureSource(owner)
    , m_channels(channels)
    , m_blockLength(blockLength)
    , m_sampleRate(sampleRate)
{
    TQVMeasureSourceCapabilities capabilities{mscContinuous, mscEquidistant};
    if (channels == 1)
        capabilities.Include(mscSingleChannel);
    if (channels == 2)
        capabilities.Include(mscDualChannel);
    SetCapabilities(capabilities);
}

void TQVBenchSource::GetSettings(TQVMeasureSourceSettings &settings) const
{
    settings.XStart = 0.0L;
    settings.XSpan = static_cast<long double>(m_blockLength) / static_cast<long double>(m_sampleRate);
    settings.ChannelCount = m_channels;
    settings.RangeMin = -1.0f;
    settings.RangeMax = 1.0f;
    settings.BlockLength = m_blockLength;
    settings.HarmonizedBlockLength = m_blockLength;
}

TQVBenchBlock::TQVBenchBlock(int channels, int count)
{
    channels = std::clamp(channels, 0, QVChannelSlots);
    count = std::max(count, 0);
    Samples.resize(std::size_t(channels));
    Block.HeaderWord = channels;
    for (int c = 0; c < channels; ++c) {
        std::vector<float> &samples = Samples[std::size_t(c)];
        samples.resize(std::size_t(count));
        for (int k = 0; k < count; ++k)
            samples[std::size_t(k)] = float(k % 256) / 256.0f;
        Block.Channels[c] = QVDescArraySingle{samples.data(), count};
    }
}

TQVBenchConsumer::TQVBenchConsumer()
    : m_link(this)
{
    m_link.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &data) {
        ++m_blocks;
        if (QVHasData(data.Channels[0]))
            m_sink += data.Channels[0].Data[0];
    };
}
