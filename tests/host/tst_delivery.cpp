#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include "analysis/qvFilter.h"
#include "analysis/qvMLSFFT.h"
#include "host/qvFilePlayer.h"
#include "host/qvSignalGenerator.h"
#include "host/qvThreadBridge.h"
#include "stream/qvMLSSimpleSources.h"
#include "stream/qvMLSTrigger.h"
#include "support/qvTestConsumer.h"

// Every source hands out its blocks through one delivery lifecycle: it must survive a
// consumer that raises, and a consumer that deletes the source from inside the delivery.
// (The address-checking build turns a write past a buffer or a use after free into a failure.)

TEST(Delivery, AConsumerThatRaisesLeavesTheGeneratorFreeToGrowItsBlocks)
{
    TQVSignalGenerator generator;
    generator.SetBlockLength(256);
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    bool raise = true;
    consumer.Link().OnNewData = [&, record = consumer.Link().OnNewData](auto *link, auto &data) {
        record(link, data);
        if (std::exchange(raise, false))
            throw std::runtime_error("consumer fault");
    };
    EXPECT_THROW(generator.Tick(), std::runtime_error);
    generator.SetBlockLength(4096);
    generator.Tick();
    ASSERT_EQ(consumer.Blocks.size(), 2u);
    EXPECT_EQ(consumer.Blocks[1].Channels[0].size(), 4096u);
}

// Each row builds a source fed (where it is a stage) by a test source, and returns the
// action that makes it deliver one block.
struct DeletionCase
{
    const char *Name;
    std::function<TQVMeasureSource *(TQVTestSource &upstream)> Make;
    std::function<void(TQVMeasureSource *source, TQVTestSource &upstream)> Provoke;
};

using DeletedInsideItsDelivery = ::testing::TestWithParam<DeletionCase>;

TEST_P(DeletedInsideItsDelivery, StopsServingAndLeavesTheUpstreamRunning)
{
    const DeletionCase &c = GetParam();
    TQVTestSource upstream({mscContinuous, mscEquidistant, mscSingleChannel}, 1, 64, 64.0L / 48000.0L);
    TQVMeasureSource *source = c.Make(upstream);
    TQVTestConsumer killer, after, sibling;
    killer.Connect(source);
    after.Connect(source);
    sibling.Connect(&upstream);
    killer.Link().OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) { delete std::exchange(source, nullptr); };
    c.Provoke(source, upstream);
    EXPECT_EQ(source, nullptr);
    EXPECT_TRUE(after.Blocks.empty()); // the walk stopped with the deleted source
    EXPECT_EQ(after.Link().Source(), nullptr);
    // The upstream still serves the rest of its links, then and afterwards.
    TQVTestBlock block(1, 64);
    upstream.Send(block.Block);
    EXPECT_EQ(sibling.Blocks.size(), 2u);
}

namespace {

template <typename Stage>
std::function<TQVMeasureSource *(TQVTestSource &)> StageOn()
{
    return [](TQVTestSource &upstream) -> TQVMeasureSource * {
        auto *stage = new Stage;
        stage->SetQVMeasureSource(&upstream);
        return stage;
    };
}

void SendBlock(TQVMeasureSource *, TQVTestSource &upstream)
{
    TQVTestBlock block(1, 64);
    upstream.Send(block.Block);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(
    Sources, DeletedInsideItsDelivery,
    ::testing::Values(
        DeletionCase{"selector", StageOn<TQVSelectorSingle>(), SendBlock},
        DeletionCase{"analyzer", StageOn<TQVAnalyzer>(), SendBlock},
        DeletionCase{"iir", StageOn<TQVIIRFilter>(), SendBlock},
        DeletionCase{"fft", StageOn<TQVFFTSingleSingle>(), SendBlock},
        DeletionCase{"trigger",
                     [](TQVTestSource &upstream) -> TQVMeasureSource * {
                         auto *trigger = new TQVMLSTrigger;
                         trigger->SetBufferSize(16);
                         trigger->SetTriggerType(TQVMLSTrigger::trtPos); // rises through 10 in the block
                         trigger->SetTriggerLimit(10.0f);
                         trigger->SetQVMeasureSource(&upstream);
                         return trigger;
                     },
                     SendBlock},
        DeletionCase{"generator", [](TQVTestSource &) -> TQVMeasureSource * { return new TQVSignalGenerator; },
                     [](TQVMeasureSource *source, TQVTestSource &upstream) {
                         static_cast<TQVSignalGenerator *>(source)->Tick();
                         SendBlock(source, upstream);
                     }},
        DeletionCase{"bridge",
                     [](TQVTestSource &) -> TQVMeasureSource * {
                         auto *bridge = new TQVThreadBridge;
                         bridge->SetChannelCount(1);
                         bridge->SetBlockLength(64);
                         bridge->SetDrainInterval(0);
                         bridge->Open();
                         return bridge;
                     },
                     [](TQVMeasureSource *source, TQVTestSource &upstream) {
                         auto *bridge = static_cast<TQVThreadBridge *>(source);
                         std::vector<float> samples(64, 0.5f);
                         const float *channels[] = {samples.data()};
                         for (int k = 0; k < 3; ++k) // queued blocks behind the fatal one stay undelivered
                             bridge->Queue()->Push(channels, 1, 64);
                         bridge->Drain();
                         SendBlock(source, upstream);
                     }}),
    [](const ::testing::TestParamInfo<DeletionCase> &info) { return std::string(info.param.Name); });

namespace {

// In this process: limits the address space to what it uses plus 64 MiB, asks a generator of
// every channel and a player for the longest blocks, a generator of long blocks for every
// channel, and checks what they did.
bool LongestBlocksRefusedUnderAMemoryLimit()
{
    long pages = 0; // the size of the address space in use
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t room = rlim_t(pages) * rlim_t(sysconf(_SC_PAGESIZE)) + (rlim_t(64) << 20);
    const rlimit limit{room, room};
    setrlimit(RLIMIT_AS, &limit);

    TQVSignalGenerator generator;
    generator.SetChannelCount(QVChannelSlots);
    TQVFilePlayer player;
    int reports = 0;
    QObject::connect(&generator, &TQVSignalGenerator::ErrorOccurred, [&](const QString &) { ++reports; });
    QObject::connect(&player, &TQVFilePlayer::ErrorOccurred, [&](const QString &) { ++reports; });
    const int generatorLength = generator.BlockLength(), playerLength = player.BlockLength();
    generator.SetBlockLength(TQVSignalGenerator::MaxBlockLength);
    player.SetBlockLength(TQVFilePlayer::MaxBlockLength);
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    generator.Tick();
    const bool ok = reports == 2 && generator.BlockLength() == generatorLength
        && player.BlockLength() == playerLength && consumer.Blocks.size() == 1
        && consumer.Blocks[0].Channels[0].size() == std::size_t(generatorLength);
    // So is a channel count: the generator keeps its one channel and goes on.
    TQVSignalGenerator narrow;
    narrow.SetBlockLength(1 << 20);
    int narrowReports = 0;
    QObject::connect(&narrow, &TQVSignalGenerator::ErrorOccurred, [&](const QString &) { ++narrowReports; });
    narrow.SetChannelCount(QVChannelSlots);
    consumer.Connect(&narrow);
    narrow.Tick();
    return ok && narrowReports == 1 && narrow.ChannelCount() == 1 && consumer.Blocks.size() == 2
        && consumer.Blocks[1].HeaderWord == 1 && consumer.Blocks[1].Channels[0].size() == std::size_t(1 << 20);
}

} // namespace

// A block length whose buffers do not fit in memory is refused and reported; the source is
// left as it was and runs on. Run in a child process with its address space limited.
TEST(HostSources, ABlockLengthWhoseBuffersDoNotFitIsRefusedAndReported)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address checker's allocator does not return null under a memory limit";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "the address checker's allocator does not return null under a memory limit";
#endif
#endif
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(LongestBlocksRefusedUnderAMemoryLimit() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}
