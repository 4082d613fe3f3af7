#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>
#include <vector>

#include "analysis/qvFilter.h"
#include "host/qvSignalGenerator.h"
#include "support/qvTestConsumer.h"

namespace {

using LD = long double;
constexpr LD Pi = std::numbers::pi_v<LD>;
const TQVMeasureSourceCapabilities Single{mscContinuous, mscEquidistant, mscSingleChannel};
const QString NeedsOneChannel = QStringLiteral("Filter: Component needs continuous operation and one channel.");

using Source = TQVTestSource;

class CountingRC : public TQVRCLowpass
{
public:
    int Calls = 0;
    void CalcParameters() override
    {
        ++Calls;
        TQVRCLowpass::CalcParameters();
    }
};

// Keeps slot 0 of every block as received (pointer and count, nothing copied).
class RawConsumer : public QObject
{
public:
    explicit RawConsumer(TQVMeasureSource *source)
        : Link(this)
    {
        Link.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &data) { Slots.push_back(data.Channels[0]); };
        Link.SeTQVMeasureSource(source);
    }
    TQVMeasureLink Link;
    std::vector<QVDescArraySingle> Slots;
};

} // namespace

// The state survives a change of the sample rate (which recalculates the gain as a cutoff
// change does) and is cleared when the source runs again, before that state goes on.
TEST(FilterBaseChain, SampleFrequencyFollowsTheSourceAndTheStateLastsUntilRun)
{
    Source source(Single, 1, 1000, 0.1L);
    TQVRCLowpass filter;
    filter.SetCutoffFrequency(500.0f);
    TQVTestConsumer consumer;
    filter.SetQVMeasureSource(&source);
    consumer.Connect(&filter);
    EXPECT_EQ(filter.SampleFrequency(), 10000.0f);

    std::vector<float> ones(1000, 1.0f);
    TQVDescArraySingle block{};
    block.Channels[0] = QVDescArraySingle{ones.data(), 1000};
    source.Send(block);

    source.SetSettings(1, 1000, 0.05L);
    source.UpdateLinks();
    EXPECT_EQ(filter.SampleFrequency(), 20000.0f);
    source.Send(block);

    // Independent recursion: s[n] = d s[n-1] + 1, y[n] = (1 - d) s[n-1], d switching with fs.
    const LD d1 = std::exp(-2 * Pi * 500 / 10000), d2 = std::exp(-2 * Pi * 500 / 20000);
    LD s = 0;
    ASSERT_EQ(consumer.Blocks.size(), 2u);
    for (int b = 0; b < 2; ++b) {
        const LD d = b == 0 ? d1 : d2;
        for (int n = 0; n < 1000; ++n) {
            ASSERT_NEAR(consumer.Blocks[b].Channels[0][n], (1 - d) * s, 1e-5) << b << " " << n;
            s = d * s + 1;
        }
    }

    // A downstream observer that looks at the state when a state change reaches it: the
    // low-pass output for input 0 is a s, zero exactly when the state was cleared.
    std::vector<float> seen;
    QObject owner;
    TQVMeasureLink observer(&owner);
    observer.OnChangedState = [&](TQVMeasureLink *, TQVMeasureSourceState) { seen.push_back(filter.Filter(0.0f)); };
    observer.SeTQVMeasureSource(&filter);
    for (TQVMeasureSourceState state : {mssStop, mssPause, mssError, mssAbort, mssRun}) {
        source.Send(block);
        source.SendState(state);
    }
    ASSERT_EQ(seen.size(), 5u);
    for (int k = 0; k < 4; ++k)
        EXPECT_GT(seen[k], 0.5f) << k;
    EXPECT_EQ(seen[4], 0.0f);
    EXPECT_EQ(consumer.States, (std::vector<TQVMeasureSourceState>{mssStop, mssPause, mssError, mssAbort, mssRun}));
}

TEST(FilterBaseProperties, FrequencySettersAndLoaded)
{
    CountingRC filter;
    const float inf = std::numeric_limits<float>::infinity();
    for (float refused : {0.0f, -1.0f, 1.0f, std::nanf(""), inf})
        filter.SetSampleFrequency(refused);
    for (float refused : {0.0f, -1.0f, 0.5f, std::nanf(""), inf})
        filter.SetCutoffFrequency(refused);
    EXPECT_EQ(filter.SampleFrequency(), 1.0f);
    EXPECT_EQ(filter.CutoffFrequency(), 0.5f);
    EXPECT_EQ(filter.Calls, 0);
    filter.SetSampleFrequency(100.0f);
    filter.SetCutoffFrequency(5.0f);
    EXPECT_EQ(filter.Calls, 2);
    filter.BeginLoading();
    filter.Loaded();
    EXPECT_EQ(filter.Calls, 3);
    EXPECT_FALSE(filter.IsLoading());
}

TEST(FilterBaseSettings, OneChannelDownstreamAndClearedWithoutSource)
{
    TQVFIRFilter filter;
    TQVMeasureSourceSettings settings{};
    settings.XSpan = 3.0L;
    settings.ChannelCount = 4;
    settings.RangeMax = 2.0f;
    settings.HarmonizedBlockLength = 9;
    const auto fields = [](const TQVMeasureSourceSettings &s) {
        return std::tuple{LD(s.XStart), LD(s.XSpan), s.ChannelCount, s.RangeMin, s.RangeMax, s.BlockLength,
                          s.HarmonizedBlockLength};
    };
    filter.GetSettings(settings);
    EXPECT_EQ(fields(settings), fields(TQVMeasureSourceSettings{}));

    Source source(Single, 3, 256, 0.5L);
    source.Settings.XStart = 0.25L;
    TQVTestConsumer consumer;
    filter.SetQVMeasureSource(&source);
    consumer.Connect(&filter);
    TQVMeasureSourceSettings want = source.Settings;
    want.ChannelCount = 1;
    EXPECT_EQ(fields(consumer.LastSettings), fields(want));
    EXPECT_EQ(filter.SampleFrequency(), 512.0f);
}

TEST(FilterBaseSettings, IncompatibleSourcesAreRefused)
{
    for (TQVMeasureSourceCapabilities caps : {TQVMeasureSourceCapabilities{mscContinuous, mscEquidistant},
                                             TQVMeasureSourceCapabilities{mscEquidistant, mscSingleChannel},
                                             TQVMeasureSourceCapabilities{mscContinuous, mscDualChannel}}) {
        Source source(caps, 1);
        TQVIIRFilter filter;
        try {
            filter.SetQVMeasureSource(&source);
            ADD_FAILURE() << "accepted " << int(caps.Bits());
        } catch (const EQVMSIncompatibleSource &e) {
            EXPECT_EQ(e.Message(), NeedsOneChannel);
        }
        EXPECT_EQ(filter.GetQVMeasureSource(), nullptr);
        EXPECT_TRUE(source.Links().isEmpty());
    }

    // Single values are fine as long as they are continuous and of one channel.
    Source values({mscContinuous, mscSingleChannel, mscSingleValue}, 1, 1, 0.001L);
    TQVRCHighpass accepted;
    accepted.SetQVMeasureSource(&values);
    EXPECT_EQ(accepted.GetQVMeasureSource(), &values);
    EXPECT_EQ(accepted.SampleFrequency(), 1000.0f);

    // A generator that switches to two channels under the chain.
    TQVSignalGenerator generator;
    TQVStateVariableFilter filter;
    filter.SetQVMeasureSource(&generator);
    ASSERT_EQ(filter.GetQVMeasureSource(), &generator);
    EXPECT_THROW(generator.SetChannelCount(2), EQVMSIncompatibleSource);
    EXPECT_EQ(filter.GetQVMeasureSource(), nullptr);
}

TEST(FilterBaseData, OwnBufferHeaderAndEmptyBlocks)
{
    Source source(Single, 1, 1000);
    TQVFIRFilter filter;
    filter.SetCoefficientList({"0.5", "0.5"});
    filter.SetQVMeasureSource(&source);
    TQVTestConsumer consumer;
    consumer.Connect(&filter);
    RawConsumer raw(&filter);

    // Three channels in, channel 0 filtered out; the header passes, the input stays as it was.
    TQVTestBlock first(3, 1000);
    first.Block.HeaderValueA = 1.5L;
    first.Block.HeaderValueB = -2.0L;
    source.Send(first.Block);
    const TQVTestBlock pristine(3, 1000);
    EXPECT_EQ(first.Samples, pristine.Samples);
    ASSERT_EQ(consumer.Blocks.size(), 1u);
    const TQVTestConsumer::Block out = consumer.Blocks[0];
    EXPECT_EQ(std::tuple(out.HeaderValueA, out.HeaderValueB, out.HeaderWord), std::tuple(1.5L, -2.0L, 3));
    EXPECT_NE(out.Channel0Pointer, first.Samples[0].data());
    for (int c = 1; c < QVChannelSlots; ++c)
        EXPECT_TRUE(out.Channels[c].empty()) << c;
    std::vector<float> x = first.Samples[0];
    std::vector<float> buffer(1000);
    for (int n = 0; n < 1000; ++n)
        buffer[n] = float((LD(x[n]) + (n ? x[n - 1] : 0.0f)) / 2);
    EXPECT_EQ(out.Channels[0], buffer);

    // A shorter block reuses the buffer and continues the signal.
    std::vector<float> shorter(100, -4.0f);
    TQVDescArraySingle block{};
    block.Channels[0] = QVDescArraySingle{shorter.data(), 100};
    source.Send(block);
    EXPECT_EQ(consumer.Blocks[1].Channel0Pointer, out.Channel0Pointer);
    ASSERT_EQ(consumer.Blocks[1].Channels[0].size(), 100u);
    EXPECT_EQ(consumer.Blocks[1].Channels[0][0], float((LD(-4.0f) + x[999]) / 2));
    buffer[0] = consumer.Blocks[1].Channels[0][0];
    std::fill(buffer.begin() + 1, buffer.begin() + 100, -4.0f);

    // Empty channel 0: the previous buffer goes out again, unfiltered, never longer than
    // it is; the filter state is untouched.
    const float *own = out.Channel0Pointer;
    for (QVDescArraySingle empty : {QVDescArraySingle{nullptr, 400}, QVDescArraySingle{nullptr, 5000},
                                    QVDescArraySingle{shorter.data(), 0}, QVDescArraySingle{nullptr, -3}}) {
        block.Channels[0] = empty;
        source.Send(block);
        const QVDescArraySingle forwarded = raw.Slots.back();
        EXPECT_EQ(forwarded.Data, own);
        EXPECT_EQ(forwarded.Count, std::min(empty.Count, 1000));
        if (forwarded.Count > 0) {
            EXPECT_EQ(consumer.Blocks.back().Channels[0],
                      std::vector<float>(buffer.begin(), buffer.begin() + forwarded.Count));
        }
    }
    std::vector<float> next(3, 8.0f);
    block.Channels[0] = QVDescArraySingle{next.data(), 3};
    source.Send(block);
    EXPECT_EQ(consumer.Blocks.back().Channels[0], (std::vector<float>{2.0f, 8.0f, 8.0f}));

    // Before the first samples there is no buffer to point at.
    TQVFIRFilter fresh;
    fresh.SetQVMeasureSource(&source);
    RawConsumer freshRaw(&fresh);
    block.Channels[0] = QVDescArraySingle{nullptr, 10};
    source.Send(block);
    ASSERT_EQ(freshRaw.Slots.size(), 1u);
    EXPECT_EQ(freshRaw.Slots[0].Data, nullptr);
    EXPECT_EQ(freshRaw.Slots[0].Count, 0);
}

TEST(FilterBaseData, BufferGrownDuringADeliveryStaysValidForTheRestOfIt)
{
    // The first consumer makes the source deliver a longer block in the middle of the
    // delivery; the second consumer must still read the outer block's samples.
    Source source(Single, 1, 100);
    TQVFIRFilter filter; // passes the signal unchanged
    filter.SetQVMeasureSource(&source);
    std::vector<float> small(100, 1.0f), large(5000, 2.0f);
    bool nested = false;
    QObject owner;
    TQVMeasureLink first(&owner);
    first.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) {
        if (nested)
            return;
        nested = true;
        TQVDescArraySingle inner{};
        inner.Channels[0] = QVDescArraySingle{large.data(), 5000};
        source.Send(inner);
    };
    first.SeTQVMeasureSource(&filter);
    TQVTestConsumer second;
    second.Connect(&filter);

    TQVDescArraySingle outer{};
    outer.Channels[0] = QVDescArraySingle{small.data(), 100};
    source.Send(outer);
    ASSERT_EQ(second.Blocks.size(), 2u);
    EXPECT_EQ(second.Blocks[0].Channels[0], large);
    EXPECT_EQ(second.Blocks[1].Channels[0], small);
}
