#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "host/qvBlockSource.h"
#include "support/qvTestConsumer.h"

// The block-source base through the smallest descendant: a recording of `Frames` frames
// whose frame n of channel k is k * 4096 + n, handed out at most `Chunk` frames per call,
// as a live source short of data would.

namespace {

class TQVRampSource : public TQVBlockSource
{
public:
    TQVRampSource(int channels, qint64 frames, int chunk)
        : TQVBlockSource(channels)
        , Frames(frames)
        , Chunk(chunk)
    {
        ConfigChanged();
    }
    double SampleRate() const override { return 1000.0; }
    const qint64 Frames;
    const int Chunk;

protected:
    int FillFrames(float *const *channels, qint64 firstFrame, int count) override
    {
        const int n = int(std::min<qint64>({qint64(count), qint64(Chunk), Frames - firstFrame}));
        for (int k = 0; k < ChannelCount(); ++k)
            for (int i = 0; i < n; ++i)
                channels[k][i] = float(k * 4096 + firstFrame + i);
        return n;
    }
    std::pair<float, float> ValueRange() const override { return {0.0f, 1.0f}; }
    bool StreamEnded() const override { return StreamFrame() >= Frames; }
};

// The blocks a consumer must see from a stream cut at `lengths`: the ramp and the times.
void ExpectRampBlocks(const TQVTestConsumer &consumer, const std::vector<int> &lengths, int channels)
{
    ASSERT_EQ(consumer.Blocks.size(), lengths.size());
    long long first = 0;
    for (std::size_t b = 0; b < lengths.size(); first += lengths[b++]) {
        const TQVTestConsumer::Block &block = consumer.Blocks[b];
        EXPECT_EQ(block.HeaderWord, channels);
        EXPECT_EQ(block.HeaderValueA, static_cast<long double>(first) / 1000.0L) << "block " << b;
        for (int k = 0; k < channels; ++k) {
            std::vector<float> want(std::size_t(lengths[b]));
            for (std::size_t i = 0; i < want.size(); ++i)
                want[i] = float(k * 4096 + first + static_cast<long long>(i));
            EXPECT_EQ(block.Channels[std::size_t(k)], want) << "block " << b << ", channel " << k;
        }
    }
}

} // namespace

// Short fills from the hook give short blocks; the harmonizing link gets the same stream
// cut across hook calls into whole harmonized blocks; the end of the stream stops the
// source and drops the harmonized samples left over.
TEST(BlockSource, HookFillsAreCutIntoBlocksAndHarmonizedBlocks)
{
    struct Case { int channels, frames, chunk, block, harmonized, ticks; };
    const Case cases[] = {
        {1, 250, 1000, 100, 64, 4}, {2, 300, 1000, 100, 64, 5}, {3, 1000, 30, 100, 64, 6},
        {1, 1000, 1000, 7, 50, 20}, {2, 90, 1000, 40, 0, 4},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.frames << " frames, chunk " << c.chunk << ", block " << c.block
                                          << ", harmonized " << c.harmonized);
        TQVRampSource source(c.channels, c.frames, c.chunk);
        source.SetBlockLength(c.block);
        source.SetHarmonizedBlockLength(c.harmonized);
        TQVTestConsumer natural, harmonizing;
        natural.Connect(&source);
        harmonizing.Connect(&source);
        harmonizing.Link().SetHarmonize(true);
        source.Run();
        for (int t = 0; t < c.ticks; ++t)
            source.Tick();

        std::vector<int> lengths;
        for (int done = 0; int(lengths.size()) < c.ticks && done < c.frames; done += lengths.back())
            lengths.push_back(std::min({c.block, c.chunk, c.frames - done}));
        ExpectRampBlocks(natural, lengths, c.channels);
        const int delivered = std::min(c.frames, c.ticks * std::min(c.block, c.chunk));
        const int cut = c.harmonized > 0 ? c.harmonized : 0;
        ExpectRampBlocks(harmonizing, cut > 0 ? std::vector<int>(std::size_t(delivered / cut), cut) : lengths, c.channels);
        const bool ended = delivered == c.frames;
        const std::vector<TQVMeasureSourceState> states = ended ? std::vector{mssRun, mssStop} : std::vector{mssRun};
        EXPECT_EQ(natural.States, states);
        EXPECT_EQ(source.StreamFrame(), delivered);
        source.Tick(); // nothing more after the end
        EXPECT_EQ(natural.Blocks.size(), lengths.size() + (ended ? 0 : 1));
    }
}
