// Throughput of the stream stages on 1024-sample single-channel blocks, against a memcpy of
// the same block: the analyzer reducing each block to its RMS value, and the trigger
// (trtRangeSlope, BufferSize 4096, PreTrigger 512) on a signal that fires and on one that
// never does, where every sample is scanned and the pre-trigger window slides.

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include <benchmark/benchmark.h>

#include "qvBenchSupport.h"
#include "stream/qvMLSSimpleSources.h"
#include "stream/qvMLSTrigger.h"

namespace {

constexpr int BlockSamples = 1024;
constexpr std::size_t BlockBytes = BlockSamples * sizeof(float);
constexpr int WarmupBlocks = 64;
constexpr int CountedBlocks = 1024;
constexpr double AnalyzerTargetRatio = 2.0;
constexpr double TriggerTargetRatio = 3.0;

const char *const MemcpyName = "memcpy 4096 B";

/// A sine of `period` samples cut into consecutive blocks; the blocks repeat after the
/// least common multiple of the period and the block length, so the stream is continuous.
/// `SetPlacement` moves the samples within a larger buffer, so that a stage's copies meet
/// every placement relative to its own buffers.
class TQVSineBlocks
{
public:
    static constexpr int MaxPlacement = 1024; // floats: every placement modulo 4 KiB

    explicit TQVSineBlocks(int period)
    {
        int blocks = 1;
        while ((blocks * BlockSamples) % period != 0)
            ++blocks;
        m_samples.resize(std::size_t(blocks) * BlockSamples);
        for (std::size_t k = 0; k < m_samples.size(); ++k)
            m_samples[k] = float(std::sin(2.0L * std::numbers::pi_v<long double> * (long double)(k % period) / period));
        m_storage.resize(m_samples.size() + MaxPlacement);
        m_blocks = blocks;
        SetPlacement(0);
    }

    void SetPlacement(int offset)
    {
        m_first = m_storage.data() + offset;
        std::copy(m_samples.begin(), m_samples.end(), m_first);
    }

    TQVDescArraySingle &Next()
    {
        m_block.Channels[0] = QVDescArraySingle{m_first + std::size_t(m_next) * BlockSamples, BlockSamples};
        m_next = (m_next + 1) % m_blocks;
        return m_block;
    }

private:
    std::vector<float> m_samples;
    std::vector<float> m_storage;
    float *m_first = nullptr;
    int m_blocks = 1;
    int m_next = 0;
    TQVDescArraySingle m_block{};
};

// Mean ns per call of `deliverOne` over the benchmark's iterations.
template <typename Deliver>
double TimedNs(benchmark::State &state, Deliver &&deliverOne)
{
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state)
        deliverOne();
    const double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    return ns / double(state.iterations());
}

void Record(benchmark::State &state, const char *name, double blockNs, double targetRatio, double allocsPerBlock)
{
    const double memcpyNs = QVMemcpyYardstickNs(BlockBytes);
    state.SetItemsProcessed(state.iterations() * BlockSamples);
    state.counters["memcpy_ns"] = memcpyNs;
    state.counters["ratio"] = blockNs / memcpyNs;
    state.counters["allocs_per_block"] = allocsPerBlock;
    QVRecordResult({name, blockNs, MemcpyName, memcpyNs, targetRatio, allocsPerBlock, 0.0});
}

void BM_AnalyzerRMS(benchmark::State &state)
{
    TQVBenchSource source(1, BlockSamples);
    TQVBenchBlock block(1, BlockSamples);
    TQVAnalyzer analyzer;
    analyzer.SetCompression(TQVAnalyzer::mcoRMS);
    analyzer.SetQVMeasureSource(&source);
    TQVBenchConsumer consumer;
    consumer.Connect(&analyzer);
    const auto deliverOne = [&] { source.Send(block.Block); };

    const double allocsPerBlock = QVAllocsPerCall(deliverOne, WarmupBlocks, CountedBlocks);
    const std::int64_t blocksBefore = consumer.Blocks();
    const double sinkBefore = consumer.Sink();
    const double blockNs = TimedNs(state, deliverOne);
    benchmark::DoNotOptimize(consumer.Sink());

    // Every block must have reached the consumer as its RMS value.
    long double sum = 0.0L;
    for (float x : block.Samples[0])
        sum += (long double)x * x;
    const double rms = double(std::sqrt(sum / BlockSamples));
    const double mean = (consumer.Sink() - sinkBefore) / double(state.iterations());
    if (consumer.Blocks() - blocksBefore != state.iterations() || std::fabs(mean - rms) > 1e-3 * rms) {
        state.SkipWithError("the consumer did not receive the RMS of every block");
        return;
    }
    Record(state, "analyzer RMS, 1024 samples", blockNs, AnalyzerTargetRatio, allocsPerBlock);
}
BENCHMARK(BM_AnalyzerRMS);

// Sine of 512 samples (94 Hz at 48 kHz), so that every block is the same 4 KiB, as for the
// memcpy: it rises through 0 with about 0.012 per sample, so the first sample above 0 fires
// with slope 0.01; slope 0.5 is never reached. The input moves through 16 placements, 256 B
// apart, and the row reports the slowest: where the heap puts the trigger's store relative
// to the input must not decide the result.
void RunTrigger(benchmark::State &state, const char *name, float slope, bool fires)
{
    TQVBenchSource source(1, BlockSamples);
    TQVSineBlocks blocks(512);
    TQVMLSTrigger trigger;
    trigger.SetTriggerType(TQVMLSTrigger::trtRangeSlope);
    trigger.SetTriggerLimit(0.0f);
    trigger.SetTriggerLimitHigh(0.5f);
    trigger.SetTriggerSlope(slope);
    trigger.SetBufferSize(4096);
    trigger.SetPreTrigger(512);
    trigger.SetQVMeasureSource(&source);
    TQVBenchConsumer consumer;
    consumer.Connect(&trigger);
    const auto deliverOne = [&] { source.Send(blocks.Next()); };

    const double allocsPerBlock = QVAllocsPerCall(deliverOne, WarmupBlocks, CountedBlocks);
    const std::int64_t outputsBefore = consumer.Blocks();
    constexpr int Placements = 16;
    constexpr std::int64_t BlocksPerTurn = 4096;
    std::array<double, Placements> ns{};
    std::array<std::int64_t, Placements> counted{};
    int placement = 0;
    std::int64_t inTurn = 0;
    auto turnStart = std::chrono::steady_clock::now();
    for (auto _ : state) {
        deliverOne();
        if (++inTurn == BlocksPerTurn) {
            const auto now = std::chrono::steady_clock::now();
            ns[std::size_t(placement)] += std::chrono::duration<double, std::nano>(now - turnStart).count();
            counted[std::size_t(placement)] += inTurn;
            placement = (placement + 1) % Placements;
            blocks.SetPlacement(placement * TQVSineBlocks::MaxPlacement / Placements);
            inTurn = 0;
            turnStart = std::chrono::steady_clock::now();
        }
    }
    double blockNs = 0.0;
    for (int p = 0; p < Placements; ++p) {
        if (counted[std::size_t(p)] > 0)
            blockNs = std::max(blockNs, ns[std::size_t(p)] / double(counted[std::size_t(p)]));
    }
    if (blockNs == 0.0) // too few iterations for a whole turn
        return;
    benchmark::DoNotOptimize(consumer.Sink());
    const std::int64_t outputs = consumer.Blocks() - outputsBefore;
    // An output block covers at least four input blocks and drops the rest of the last.
    if (fires ? outputs < state.iterations() / 8 : outputs != 0) {
        state.SkipWithError("the trigger did not fire as the signal requires");
        return;
    }
    state.counters["outputs"] = double(outputs);
    Record(state, name, blockNs, TriggerTargetRatio, allocsPerBlock);
}

void BM_TriggerFiring(benchmark::State &state)
{
    RunTrigger(state, "trigger range-slope, firing", 0.01f, true);
}
BENCHMARK(BM_TriggerFiring);

void BM_TriggerScanning(benchmark::State &state)
{
    RunTrigger(state, "trigger range-slope, never firing", 0.5f, false);
}
BENCHMARK(BM_TriggerScanning);

} // namespace

int main(int argc, char **argv)
{
    return QVBenchMain(argc, argv);
}
