#pragma once

// Shared by the benchmark programs: a heap-allocation counter (the global operator new and
// delete, and on glibc the malloc family, are replaced in this library), a yardstick
// timer, the results table with its summary, a source and a consumer for measurement
// chains, and the common main.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <QtCore/QObject>

#include "framework/qvMeasIntf.h"

/// \brief Heap allocations since the program started: every form of the global operator
/// new and new[], and on glibc every malloc, calloc, realloc and aligned allocation too
/// (Qt's containers and strings allocate with malloc).
std::uint64_t QVAllocCount();

/// \brief Average heap allocations per call of `op`, counted over `countedCalls` calls
/// after `warmupCalls` calls that let caches and buffers settle.
template <typename Op>
double QVAllocsPerCall(Op &&op, int warmupCalls, int countedCalls)
{
    for (int i = 0; i < warmupCalls; ++i)
        op();
    const std::uint64_t before = QVAllocCount();
    for (int i = 0; i < countedCalls; ++i)
        op();
    return double(QVAllocCount() - before) / double(std::max(countedCalls, 1));
}

/// \brief One allocation seen while a trace was armed: its size and its call stack (return
/// addresses, innermost first, the allocator's own frames dropped).
struct TQVAllocRecord
{
    std::size_t Size = 0;
    int Mark = 0; ///< the value of `QVAllocTraceMark()` at the allocation
    int Depth = 0;
    void *Frames[40] = {};
};

/// \brief Arms the allocation trace: every counted allocation on any thread stores its
/// stack in a fixed buffer of `capacity` records (nothing is allocated while it runs;
/// allocations past the capacity are only counted). Disarmed by `QVAllocTraceEnd`.
void QVAllocTraceBegin(int capacity);
/// \brief Tags the records that follow with `mark` (e.g. the number of the traced call).
void QVAllocTraceMark(int mark);
/// \brief Disarms the trace and returns its records, and how many allocations did not fit.
std::vector<TQVAllocRecord> QVAllocTraceEnd(int *dropped = nullptr);
/// \brief Prints `records` to `out` with each frame as function, source file and line
/// (`addr2line` on the module that holds it, else the nearest exported symbol).
void QVPrintAllocTrace(const std::vector<TQVAllocRecord> &records, std::FILE *out);

/// \brief Nanoseconds per call of `op`, timed with the steady clock: the repetition count
/// grows until one batch lasts at least `minBatch`, then the best of `batches` batches of
/// that size counts.
template <typename Op>
double QVYardstickNs(Op &&op, std::chrono::nanoseconds minBatch = std::chrono::milliseconds(50),
                     int batches = 5)
{
    using Clock = std::chrono::steady_clock;
    const auto runBatch = [&op](std::int64_t count) {
        const Clock::time_point start = Clock::now();
        for (std::int64_t i = 0; i < count; ++i)
            op();
        return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    };
    const double minNs = double(minBatch.count());

    std::int64_t count = 1;
    double elapsed = runBatch(count);
    while (elapsed < minNs) {
        // Jump close to the target once a batch is long enough to extrapolate from.
        const double scale = elapsed > 1.0e6 ? std::min(10.0, 1.2 * minNs / elapsed) : 10.0;
        count = std::max(count + 1, std::int64_t(double(count) * scale));
        elapsed = runBatch(count);
    }
    // The batch that reached the length is the first candidate.
    double best = elapsed / double(count);
    for (int b = 1; b < batches; ++b)
        best = std::min(best, runBatch(count) / double(count));
    return best;
}

/// \brief The common yardstick: nanoseconds per memcpy of `bytes` bytes between two
/// buffers that stay in the cache.
double QVMemcpyYardstickNs(std::size_t bytes);

/// \brief One row of the summary.
struct TQVBenchResult
{
    std::string Name;
    double SubjectNs = 0.0;
    std::string YardstickName;
    double YardstickNs = 0.0;
    /// Upper bound of SubjectNs / YardstickNs; zero or less when the time is informational.
    double TargetRatio = 0.0;
    double AllocsPerBlock = 0.0;
    /// Upper bound of AllocsPerBlock; negative when the count is informational.
    double MaxAllocsPerBlock = -1.0;

    double Ratio() const { return YardstickNs > 0.0 ? SubjectNs / YardstickNs : 0.0; }
};

/// \brief Records a row; a later record of the same name replaces the earlier one, since a
/// benchmark function runs several times while its iteration count is calibrated.
void QVRecordResult(const TQVBenchResult &result);

/// \brief The rows recorded so far, in order of first record.
const std::vector<TQVBenchResult> &QVResults();

/// \brief Runs the benchmarks selected on the command line and prints the summary; returns
/// 0 whether or not the targets are met (the summary is a report, not a test).
int QVBenchMain(int argc, char **argv);

/// \brief A source that delivers the blocks it is handed, with settings of `channels`
/// continuous equidistant channels of `blockLength` samples.
class TQVBenchSource : public TQVMeasureSource
{
public:
    TQVBenchSource(int channels, int blockLength, double sampleRate = 48000.0, QObject *owner = nullptr);

    void GetSettings(TQVMeasureSourceSettings &settings) const override;
    void Send(TQVDescArraySingle &block) { DeliverData(block); }

private:
    int m_channels;
    int m_blockLength;
    double m_sampleRate;
};

/// \brief A block of `channels` channels of `count` samples whose arrays it owns.
struct TQVBenchBlock
{
    TQVBenchBlock(int channels, int count);

    std::vector<std::vector<float>> Samples;
    TQVDescArraySingle Block{};
};

/// \brief The end of a chain: counts the blocks and reads the first sample of channel 0,
/// so that the delivery cannot be optimised away.
class TQVBenchConsumer : public QObject
{
public:
    TQVBenchConsumer();

    void Connect(TQVMeasureSource *source) { m_link.SeTQVMeasureSource(source); }
    TQVMeasureLink &Link() { return m_link; }
    std::int64_t Blocks() const { return m_blocks; }
    double Sink() const { return m_sink; }

private:
    TQVMeasureLink m_link;
    std::int64_t m_blocks = 0;
    double m_sink = 0.0; // double: a float sum stops growing after a few million blocks
};
