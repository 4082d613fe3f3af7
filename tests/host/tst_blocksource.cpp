#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "host/qvBlockSource.h"
#include "support/qvTestConsumer.h"

namespace {

// The smallest block source: `Frames` frames at 1 kHz, frame n of channel k being
// k * 4096 + n, handed out at most `Chunk` per call, as a live source short of data would.
struct TQVRampSource : TQVBlockSource
{
    TQVRampSource(int channels, int frames, int chunk)
        : TQVBlockSource(channels), Frames(frames), Chunk(chunk)
    {
        ConfigChanged();
    }
    double SampleRate() const override { return 1000.0; }
    int FillFrames(float *const *channels, qint64 first, int count) override
    {
        const int n = int(std::min<qint64>({count, Chunk, Frames - first}));
        for (int k = 0; k < ChannelCount(); ++k)
            for (int i = 0; i < n; ++i)
                channels[k][i] = float(k * 4096 + first + i);
        return n;
    }
    std::pair<float, float> ValueRange() const override { return {0.0f, 1.0f}; }
    bool StreamEnded() const override { return StreamFrame() >= Frames; }
    const int Frames, Chunk;
};

// The consumer got the ramp cut at `lengths`, each block stamped with its first frame's time.
void ExpectRamp(const TQVTestConsumer &consumer, const std::vector<int> &lengths, int channels)
{
    ASSERT_EQ(consumer.Blocks.size(), lengths.size());
    for (int b = 0, first = 0; b < int(lengths.size()); first += lengths[std::size_t(b++)]) {
        const TQVTestConsumer::Block &block = consumer.Blocks[std::size_t(b)];
        EXPECT_EQ(block.HeaderWord, channels);
        EXPECT_EQ(block.HeaderValueA, first / 1000.0L) << "block " << b;
        for (int k = 0; k < channels; ++k) {
            std::vector<float> want(static_cast<std::size_t>(lengths[std::size_t(b)]));
            for (int i = 0; i < int(want.size()); ++i)
                want[std::size_t(i)] = float(k * 4096 + first + i);
            EXPECT_EQ(block.Channels[std::size_t(k)], want) << "block " << b << ", channel " << k;
        }
    }
}

} // namespace

// Short fills give short blocks; a harmonizing link gets the same stream cut across fills
// into whole harmonized blocks, whether it is served before or after the natural one; the end
// of the stream stops the source and drops the rest; a link that stops harmonizing gets the
// natural blocks again.
TEST(BlockSource, FillsAreCutIntoBlocksAndHarmonizedBlocks)
{
    struct Case { int channels, frames, chunk, block, harmonized, ticks; bool harmonizingFirst; };
    const Case cases[] = {{1, 250, 1000, 100, 64, 4, false}, {2, 300, 1000, 100, 64, 5, true},
                          {3, 1000, 30, 100, 64, 6, false},  {1, 1000, 1000, 7, 50, 20, true},
                          {2, 90, 1000, 40, 0, 4, false},    {2, 1000, 1000, 64, 64, 3, true}};
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.frames << " frames, chunk " << c.chunk << ", block " << c.block);
        TQVRampSource source(c.channels, c.frames, c.chunk);
        source.SetBlockLength(c.block);
        source.SetHarmonizedBlockLength(c.harmonized);
        TQVTestConsumer first, second;
        first.Connect(&source);
        second.Connect(&source);
        TQVTestConsumer &harmonizing = c.harmonizingFirst ? first : second;
        const TQVTestConsumer &natural = c.harmonizingFirst ? second : first;
        harmonizing.Link().SetHarmonize(true);
        source.Run();
        for (int t = 0; t < c.ticks + 1; ++t) // one more after the end
            source.Tick();

        std::vector<int> lengths;
        for (int done = 0; int(lengths.size()) <= c.ticks && done < c.frames; done += lengths.back())
            lengths.push_back(std::min({c.block, c.chunk, c.frames - done}));
        ExpectRamp(natural, lengths, c.channels);
        const int delivered = std::min(c.frames, (c.ticks + 1) * std::min(c.block, c.chunk));
        ExpectRamp(harmonizing, c.harmonized ? std::vector(std::size_t(delivered / c.harmonized), c.harmonized) : lengths,
                   c.channels);
        const std::vector<TQVMeasureSourceState> states{mssRun, mssStop};
        EXPECT_EQ(natural.States, std::vector(states.begin(), states.begin() + (delivered == c.frames ? 2 : 1)));
        if (delivered == c.frames)
            continue;
        harmonizing.Link().SetHarmonize(false);
        harmonizing.Blocks.clear();
        source.Tick();
        ASSERT_EQ(harmonizing.Blocks.size(), 1u);
        EXPECT_EQ(harmonizing.Blocks[0].HeaderValueA, delivered / 1000.0L);
        EXPECT_EQ(harmonizing.Blocks[0].Channels, natural.Blocks.back().Channels);
        EXPECT_EQ(harmonizing.Blocks[0].Channels[0].at(0), float(delivered));
    }
}
