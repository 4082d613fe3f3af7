#include "qvBenchSupport.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <new>

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <malloc.h>

#include <map>
#include <utility>

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

// The allocation trace: a buffer filled while armed; a thread that is storing a record does
// not trace the allocations the unwinder itself may make.
std::atomic<bool> g_traceArmed{false};
TQVAllocRecord *g_traceRecords = nullptr;
int g_traceCapacity = 0;
std::atomic<int> g_traceCount{0};
std::atomic<int> g_traceMark{0};
thread_local bool t_tracing = false;

void TraceAllocation(std::size_t size)
{
    if (!g_traceArmed.load(std::memory_order_acquire) || t_tracing)
        return;
    t_tracing = true;
    const int slot = g_traceCount.fetch_add(1, std::memory_order_relaxed);
    if (slot < g_traceCapacity) {
        TQVAllocRecord &record = g_traceRecords[slot];
        record.Size = size;
        record.Mark = g_traceMark.load(std::memory_order_relaxed);
        record.Depth = backtrace(record.Frames, int(std::size(record.Frames)));
    }
    t_tracing = false;
}

void CountAllocation(std::size_t size)
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    TraceAllocation(size);
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
    CountAllocation(size);
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
    CountAllocation(size);
    return __libc_malloc(size);
}

QV_BENCH_REPLACEMENT void *calloc(std::size_t count, std::size_t size) noexcept
{
    CountAllocation(count * size);
    return __libc_calloc(count, size);
}

// Every resize counts: in steady state a realloc means that something is still growing.
QV_BENCH_REPLACEMENT void *realloc(void *memory, std::size_t size) noexcept
{
    if (size != 0 || !memory)
        CountAllocation(size);
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
    CountAllocation(size);
    return __libc_memalign(alignment, size);
}

QV_BENCH_REPLACEMENT void *aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    CountAllocation(size);
    return __libc_memalign(alignment, size);
}

QV_BENCH_REPLACEMENT int posix_memalign(void **result, std::size_t alignment, std::size_t size) noexcept
{
    if (alignment == 0 || (alignment & (alignment - 1)) != 0 || alignment % sizeof(void *) != 0)
        return EINVAL;
    CountAllocation(size);
    void *memory = __libc_memalign(alignment, size);
    if (!memory)
        return ENOMEM;
    *result = memory;
    return 0;
}

QV_BENCH_REPLACEMENT void *valloc(std::size_t size) noexcept
{
    CountAllocation(size);
    return __libc_valloc(size);
}

QV_BENCH_REPLACEMENT void *pvalloc(std::size_t size) noexcept
{
    CountAllocation(size);
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
// Allocation trace

void QVAllocTraceBegin(int capacity)
{
    QVAllocTraceEnd();
    g_traceRecords = new TQVAllocRecord[std::size_t(std::max(capacity, 0))];
    g_traceCapacity = std::max(capacity, 0);
    g_traceCount.store(0);
    g_traceMark.store(0);
    // The first unwind loads the unwinder; it must not happen inside a traced allocation.
    void *warmup[4];
    backtrace(warmup, 4);
    g_traceArmed.store(true, std::memory_order_release);
}

void QVAllocTraceMark(int mark)
{
    g_traceMark.store(mark, std::memory_order_relaxed);
}

std::vector<TQVAllocRecord> QVAllocTraceEnd(int *dropped)
{
    g_traceArmed.store(false, std::memory_order_release);
    const int count = g_traceCount.exchange(0);
    std::vector<TQVAllocRecord> records(g_traceRecords, g_traceRecords + std::min(count, g_traceCapacity));
    if (dropped)
        *dropped = std::max(0, count - g_traceCapacity);
    delete[] g_traceRecords;
    g_traceRecords = nullptr;
    g_traceCapacity = 0;
    return records;
}

namespace {

std::string Demangle(const char *name)
{
    int status = 0;
    char *text = abi::__cxa_demangle(name, nullptr, nullptr, &status);
    std::string result = status == 0 && text ? text : name;
    std::free(text);
    return result;
}

// The source tree, to print paths relative to it.
std::string SourceRoot()
{
    std::string file = __FILE__;
    for (int i = 0; i < 2; ++i)
        file = file.substr(0, file.find_last_of('/') == std::string::npos ? 0 : file.find_last_of('/'));
    return file.empty() ? file : file + "/";
}

// "function at file:line" lines of each (module, offset) pair, from one addr2line run per module.
std::map<std::pair<std::string, std::uintptr_t>, std::vector<std::string>>
Symbolize(const std::map<std::string, std::vector<std::uintptr_t>> &offsets)
{
    std::map<std::pair<std::string, std::uintptr_t>, std::vector<std::string>> result;
    const std::string root = SourceRoot();
    for (const auto &[module, list] : offsets) {
        for (std::size_t first = 0; first < list.size(); first += 200) {
            std::string command = "addr2line -C -f -i -a -e '" + module + "'";
            char hex[32];
            for (std::size_t i = first; i < std::min(list.size(), first + 200); ++i) {
                std::snprintf(hex, sizeof hex, " 0x%zx", std::size_t(list[i]));
                command += hex;
            }
            command += " 2>/dev/null";
            std::FILE *pipe = popen(command.c_str(), "r");
            if (!pipe)
                continue;
            char line[4096];
            std::vector<std::string> *current = nullptr;
            std::string function;
            bool expectFunction = true;
            while (std::fgets(line, sizeof line, pipe)) {
                std::string text(line);
                while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
                    text.pop_back();
                if (text.rfind("0x", 0) == 0) {
                    current = &result[{module, std::uintptr_t(std::strtoull(text.c_str(), nullptr, 16))}];
                    current->clear();
                    expectFunction = true;
                    continue;
                }
                if (!current)
                    continue;
                if (expectFunction) {
                    function = text;
                } else {
                    if (text.rfind(root, 0) == 0)
                        text = text.substr(root.size());
                    const std::size_t discriminator = text.find(" (discriminator");
                    if (discriminator != std::string::npos)
                        text.resize(discriminator);
                    current->push_back(function + (text.rfind("??", 0) == 0 ? std::string() : " at " + text));
                }
                expectFunction = !expectFunction;
            }
            pclose(pipe);
        }
    }
    return result;
}

bool IsAllocatorFunction(const std::string &name)
{
    static const char *const names[] = {"TraceAllocation", "CountAllocation", "CountedAllocate", "malloc", "calloc",
                                        "realloc", "reallocarray", "memalign", "aligned_alloc", "posix_memalign",
                                        "valloc", "pvalloc", "operator new"};
    for (const char *n : names) {
        const std::size_t at = name.find(n);
        if (at != std::string::npos && (at == 0 || name[at - 1] == ' ' || name[at - 1] == ':'))
            return true;
    }
    return false;
}

} // namespace

void QVPrintAllocTrace(const std::vector<TQVAllocRecord> &records, std::FILE *out)
{
    Dl_info self{};
    dladdr(reinterpret_cast<void *>(&QVPrintAllocTrace), &self);
    const std::string program = self.dli_fname ? self.dli_fname : "";

    // Return addresses point behind the call; one byte back lies inside it.
    struct Frame
    {
        std::string Module;
        std::uintptr_t Offset = 0;
        std::string Symbol;
    };
    const auto frameOf = [](void *address) {
        Frame frame;
        Dl_info info{};
        if (dladdr(address, &info) && info.dli_fname) {
            frame.Module = info.dli_fname;
            frame.Offset
                = reinterpret_cast<std::uintptr_t>(address) - 1 - reinterpret_cast<std::uintptr_t>(info.dli_fbase);
            if (info.dli_sname)
                frame.Symbol = Demangle(info.dli_sname);
        }
        return frame;
    };
    std::map<std::string, std::vector<std::uintptr_t>> offsets;
    for (const TQVAllocRecord &r : records)
        for (int i = 0; i < r.Depth; ++i) {
            const Frame f = frameOf(r.Frames[i]);
            if (!f.Module.empty())
                offsets[f.Module].push_back(f.Offset);
        }
    for (auto &[module, list] : offsets) {
        std::sort(list.begin(), list.end());
        list.erase(std::unique(list.begin(), list.end()), list.end());
    }
    const auto symbols = Symbolize(offsets);

    for (const TQVAllocRecord &r : records) {
        std::fprintf(out, "[%d] %zu bytes\n", r.Mark, r.Size);
        bool inAllocator = true;
        for (int i = 0; i < r.Depth; ++i) {
            const Frame f = frameOf(r.Frames[i]);
            std::vector<std::string> lines;
            if (const auto it = symbols.find({f.Module, f.Offset}); it != symbols.end())
                lines = it->second;
            if (lines.empty() || lines.front().rfind("??", 0) == 0)
                lines = {f.Symbol.empty() ? std::string("??") : f.Symbol};
            if (inAllocator && IsAllocatorFunction(lines.back()))
                continue;
            inAllocator = false;
            const std::string module = f.Module.substr(f.Module.find_last_of('/') + 1);
            for (const std::string &line : lines)
                std::fprintf(out, "    %s  [%s]\n", line.c_str(), module.c_str());
            // The benchmark's own frame ends the interesting part of the stack.
            if (f.Module == program)
                break;
        }
    }
    std::fflush(out);
}

// ---------------------------------------------------------------------------------------
// Yardstick

double QVMemcpyYardstickNs(std::size_t bytes)
{
    // Source and target in one allocation, 64-byte aligned, the target 1 KiB past a 4 KiB
    // boundary from the source: two separate heap blocks can land just above each other
    // modulo 4 KiB, where the processor stalls a forward copy on addresses it takes for ones
    // just written, and the yardstick would then depend on the heap's state.
    constexpr std::size_t Align = 64, Skew = 1024;
    const std::size_t span = (bytes + 4095) / 4096 * 4096;
    std::vector<unsigned char> storage(2 * span + Skew + Align);
    unsigned char *base = storage.data() + (Align - reinterpret_cast<std::uintptr_t>(storage.data()) % Align) % Align;
    unsigned char *source = base;
    unsigned char *target = base + span + Skew;
    std::memset(source, 0x5a, bytes);
    return QVYardstickNs([&] {
        unsigned char *from = source;
        unsigned char *to = target;
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
