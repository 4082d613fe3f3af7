// Throughput of the recorder writing WAV (two channels of 8192 float samples per block, the
// header patched after every block), against a plain fwrite of the same 64 KiB per block
// into a file of the same folder. Both files start afresh every 512 blocks (32 MiB).

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include <benchmark/benchmark.h>

#include <QtCore/QTemporaryDir>

#include "host/qvRecorder.h"
#include "qvBenchSupport.h"

namespace {

constexpr int Channels = 2;
constexpr int BlockSamples = 8192;
constexpr std::size_t BlockBytes = std::size_t(Channels) * BlockSamples * sizeof(float);
constexpr int BlocksPerFile = 512;
constexpr double RecorderTargetRatio = 1.5;

// Nanoseconds per block of `writeOne`, which is told when a file should start afresh.
template <typename Write>
double NsPerBlock(Write &&writeOne)
{
    int written = 0;
    return QVYardstickNs([&] { writeOne(written++ % BlocksPerFile == 0); });
}

void BM_RecorderWave(benchmark::State &state)
{
    QTemporaryDir dir;
    TQVBenchSource source(Channels, BlockSamples);
    TQVBenchBlock block(Channels, BlockSamples);
    TQVRecorder recorder;
    recorder.SetQVMeasureSource(&source);
    recorder.SetFileName(dir.filePath(QStringLiteral("recorder.wav")));
    const auto recordOne = [&](bool restart) {
        if (restart) {
            recorder.Stop();
            recorder.Start();
        }
        source.Send(block.Block);
    };

    const QByteArray plainName = dir.filePath(QStringLiteral("plain.raw")).toLocal8Bit();
    std::vector<char> bytes(BlockBytes, 0x5a);
    std::FILE *plain = nullptr;
    const auto fwriteOne = [&](bool restart) {
        if (restart || !plain) {
            if (plain)
                std::fclose(plain);
            plain = std::fopen(plainName.constData(), "wb");
        }
        std::fwrite(bytes.data(), 1, bytes.size(), plain);
    };

    recordOne(true);
    const double allocsPerBlock = QVAllocsPerCall([&] { recordOne(false); }, 8, 64);
    for (auto _ : state)
        recordOne(false);
    // Alternating rounds, so that both meet the same load of a shared machine.
    double recorderNs = 1e300, fwriteNs = 1e300;
    for (int round = 0; round < 3; ++round) {
        recorderNs = std::min(recorderNs, NsPerBlock(recordOne));
        fwriteNs = std::min(fwriteNs, NsPerBlock(fwriteOne));
    }
    std::fclose(plain);
    if (!recorder.Recording()) {
        state.SkipWithError(qPrintable(recorder.ErrorString()));
        return;
    }

    state.SetBytesProcessed(state.iterations() * std::int64_t(BlockBytes));
    state.counters["fwrite_ns"] = fwriteNs;
    state.counters["ratio"] = recorderNs / fwriteNs;
    state.counters["allocs_per_block"] = allocsPerBlock;
    QVRecordResult({"recorder WAV 2 x 8192 floats", recorderNs, "fwrite 64 KiB", fwriteNs, RecorderTargetRatio,
                    allocsPerBlock, 0.0});
}
BENCHMARK(BM_RecorderWave)->Iterations(64);

} // namespace

int main(int argc, char **argv)
{
    return QVBenchMain(argc, argv);
}
