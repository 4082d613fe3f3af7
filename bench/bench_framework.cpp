// Dispatch cost of the measurement framework: a block travelling from a source through a
// chain of pass-through stages to a consumer, against a memcpy of the same block.

#include <chrono>
#include <cstring>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "host/qvSignalGenerator.h"
#include "qvBenchSupport.h"

namespace {

constexpr int BlockSamples = 1024;
constexpr std::size_t BlockBytes = BlockSamples * sizeof(float);
constexpr int StageCount = 8;
constexpr int WarmupBlocks = 64;
constexpr int CountedBlocks = 1024;
constexpr double ChainTargetRatio = 4.0;

const char *const MemcpyName = "memcpy 4096 B";

/// Source -> StageCount pass-through stages -> consumer.
class TQVPassThroughChain
{
public:
    explicit TQVPassThroughChain(TQVMeasureSource *source)
    {
        TQVMeasureSource *upstream = source;
        for (int i = 0; i < StageCount; ++i) {
            auto stage = std::make_unique<TQVMLSBase>();
            stage->SetQVMeasureSource(upstream);
            upstream = stage.get();
            m_stages.push_back(std::move(stage));
        }
        m_consumer.Connect(upstream);
    }

    TQVBenchConsumer &Consumer() { return m_consumer; }

private:
    std::vector<std::unique_ptr<TQVMLSBase>> m_stages;
    TQVBenchConsumer m_consumer;
};

// Runs the state loop around `deliverOne` and returns its mean ns per block, or a negative
// value (with the benchmark marked as failed) when not every block reached the consumer.
template <typename Deliver>
double TimedDelivery(benchmark::State &state, TQVPassThroughChain &chain, Deliver &&deliverOne)
{
    const std::int64_t blocksBefore = chain.Consumer().Blocks();
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state)
        deliverOne();
    const double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    benchmark::DoNotOptimize(chain.Consumer().Sink());
    if (chain.Consumer().Blocks() - blocksBefore != state.iterations()) {
        state.SkipWithError("a block did not reach the consumer");
        return -1.0;
    }
    return ns / double(state.iterations());
}

void BM_PassThroughChain(benchmark::State &state)
{
    TQVBenchSource source(1, BlockSamples);
    TQVBenchBlock block(1, BlockSamples);
    TQVPassThroughChain chain(&source);
    const auto deliverOne = [&] { source.Send(block.Block); };

    const double allocsPerBlock = QVAllocsPerCall(deliverOne, WarmupBlocks, CountedBlocks);
    const double chainNs = TimedDelivery(state, chain, deliverOne);
    if (chainNs < 0.0)
        return;
    const double memcpyNs = QVMemcpyYardstickNs(BlockBytes);

    state.SetItemsProcessed(state.iterations());
    state.counters["memcpy_ns"] = memcpyNs;
    state.counters["ratio"] = chainNs / memcpyNs;
    state.counters["allocs_per_block"] = allocsPerBlock;
    QVRecordResult({"source > 8 stages > consumer", chainNs, MemcpyName, memcpyNs, ChainTargetRatio,
                    allocsPerBlock, 0.0});
}
BENCHMARK(BM_PassThroughChain);

void BM_GeneratorChain(benchmark::State &state)
{
    // Defaults: one sine channel of 1024 samples at 48 kHz.
    TQVSignalGenerator generator;
    generator.SetChannelCount(1);
    generator.SetBlockLength(BlockSamples);
    TQVPassThroughChain chain(&generator);
    const auto deliverOne = [&] { generator.Tick(); };

    const double allocsPerBlock = QVAllocsPerCall(deliverOne, WarmupBlocks, CountedBlocks);
    const double blockNs = TimedDelivery(state, chain, deliverOne);
    if (blockNs < 0.0)
        return;
    const double memcpyNs = QVMemcpyYardstickNs(BlockBytes);

    state.SetItemsProcessed(state.iterations());
    state.counters["memcpy_ns"] = memcpyNs;
    state.counters["allocs_per_block"] = allocsPerBlock;
    QVRecordResult({"generator > 8 stages > consumer", blockNs, MemcpyName, memcpyNs, 0.0,
                    allocsPerBlock, 0.0});
}
BENCHMARK(BM_GeneratorChain);

// The yardstick as Google Benchmark sees it, to cross-check the steady-clock figure.
void BM_Memcpy4096(benchmark::State &state)
{
    std::vector<unsigned char> source(BlockBytes, 0x5a);
    std::vector<unsigned char> target(BlockBytes, 0);
    for (auto _ : state) {
        unsigned char *from = source.data();
        unsigned char *to = target.data();
        benchmark::DoNotOptimize(from);
        benchmark::DoNotOptimize(to);
        std::memcpy(to, from, BlockBytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(BlockBytes));
}
BENCHMARK(BM_Memcpy4096);

} // namespace

int main(int argc, char **argv)
{
    return QVBenchMain(argc, argv);
}
