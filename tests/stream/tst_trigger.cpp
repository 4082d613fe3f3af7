#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <QtCore/QVariant>

#include "stream/qvMLSTrigger.h"
#include "support/qvTestConsumer.h"

namespace {

using T = TQVMLSTrigger;
using Blocks = std::vector<std::vector<float>>;

// Source -> trigger -> consumer. Blocks carry the signal in channel 0 and the global index
// of each sample in channel 1, so that an output block shows which inputs it came from.
struct Rig
{
    explicit Rig(int blockLength, T::TQVTriggerType type = T::trtRangeSlope, int bufferSize = 1024, int pre = 0)
        : Source({mscContinuous, mscEquidistant}, 2, blockLength, 0.5L)
    {
        Trigger.SetQVMeasureSource(&Source);
        Consumer.Connect(&Trigger);
        Trigger.OnTrigger = [this](TQVDescArraySingle &) { ++OnTriggerCalls; };
        Trigger.SetTriggerType(type);
        Trigger.SetBufferSize(bufferSize);
        Trigger.SetPreTrigger(pre);
    }
    // Samples [first, first + count) as one block; channel 1 gets `tagCount` samples
    // (-1: as many as channel 0).
    void Send(const std::vector<float> &signal, int first, int count, int tagCount = -1)
    {
        std::vector<float> ch0(signal.begin() + first, signal.begin() + first + count), ch1;
        for (int k = 0; k < (tagCount < 0 ? count : tagCount); ++k)
            ch1.push_back(float(first + k));
        TQVDescArraySingle block{};
        block.HeaderValueA = first;
        block.HeaderValueB = 0.25L;
        block.HeaderWord = 2;
        block.Channels[0] = {ch0.data(), count};
        block.Channels[1] = {ch1.data(), int(ch1.size())};
        Source.Send(block);
    }
    void Feed(const std::vector<float> &signal, int blockLength)
    {
        for (int first = 0; first + blockLength <= int(signal.size()); first += blockLength)
            Send(signal, first, blockLength);
    }
    // The output blocks as the global indices of their samples.
    Blocks Outputs() const
    {
        Blocks result;
        for (const auto &block : Consumer.Blocks)
            result.push_back(block.Channels[1]);
        return result;
    }

    TQVTestSource Source;
    T Trigger;
    TQVTestConsumer Consumer;
    int OnTriggerCalls = 0;
};

std::vector<float> Indices(int first, int count)
{
    std::vector<float> v(static_cast<std::size_t>(count));
    std::iota(v.begin(), v.end(), float(first));
    return v;
}

// A spike train: one sample at `Spike` on every k = phase (mod SpikePeriod), `Base`
// elsewhere; the limits make the spikes, and nothing else, meet each type's condition.
constexpr int SpikePeriod = 23;
bool IsSpike(int k, int phase) { return k % SpikePeriod == phase; }

struct Shape { float Base, Spike, Limit, High, Slope; };
Shape ShapeOf(T::TQVTriggerType type)
{
    switch (type) {
    case T::trtNeg: return {1, -1, 0, 0, 0};
    case T::trtRangeSlope: return {-1, 0.5f, 0, 0.9f, 0.5f};
    case T::trtNegSlope: return {1, -1, 0, 0, -0.5f};
    default: return {-1, 1, 0, 0, 0.5f};
    }
}

// The trigger points the rules give for the spike train. A scan starts after the
// pre-trigger fill and again with every block; the types with a skip phase pass over a
// spike on the first sample of a scan; a spike on the last sample of a block does not
// count; the slope types compare the first sample of a scan after the fill with the
// previous sample carried over, which is 1.0 after a reset and the base level after a
// trigger. After each output block the rest of the input block in which it completed is
// dropped.
std::vector<int> ExpectedTriggers(T::TQVTriggerType type, int phase, int length, int block, int bufferSize, int pre)
{
    const bool skips = type == T::trtPos || type == T::trtNeg || type == T::trtPosSlope;
    std::vector<int> triggers;
    for (int start = 0;;) {
        const int scanStart = start + pre;
        int hit = -1;
        for (int c = scanStart; c < length && hit < 0; ++c) {
            if ((type != T::trtOff && !IsSpike(c, phase)) || c % block == block - 1
                || (skips && (c == scanStart || c % block == 0)))
                continue;
            if (!(type == T::trtRangeSlope && triggers.empty() && c == scanStart)) // 0.5 - 1.0 < slope
                hit = c;
        }
        if (hit < 0 || hit - pre + bufferSize > length)
            return triggers;
        triggers.push_back(hit);
        start = ((hit - pre + bufferSize - 1) / block + 1) * block;
    }
}

} // namespace

// Triggers in the middle of a block and on its first sample, hits on last samples passed
// over, and pre-trigger windows over one, two and three input blocks.
TEST(TriggerScan, OutputBlocksStartAtTheCrossingsTheRulesGive)
{
    constexpr int Length = 2400, BufferSize = 64;
    std::vector<std::tuple<int, int, int>> rows; // block length, spike phase, pre-trigger
    for (int phase : {0, 7, 15, 16})
        for (int pre : {0, 1, 5, 15, 20, 40})
            rows.emplace_back(16, phase, pre);
    for (auto row : {std::tuple{16, 7, 7}, std::tuple{100, 7, 0}, std::tuple{100, 16, 40}, std::tuple{1, 7, 0},
                     std::tuple{1, 7, 5}})
        rows.push_back(row);
    for (T::TQVTriggerType type : {T::trtPos, T::trtNeg, T::trtPosSlope, T::trtRangeSlope, T::trtNegSlope, T::trtOff}) {
        const Shape s = ShapeOf(type);
        for (auto [block, phase, pre] : rows) {
            SCOPED_TRACE(testing::Message() << "type " << int(type) << " block " << block << " phase " << phase
                                            << " pre " << pre);
            std::vector<float> signal(Length);
            for (int k = 0; k < Length; ++k)
                signal[std::size_t(k)] = IsSpike(k, phase) ? s.Spike : s.Base;
            Rig rig(block, type, BufferSize, pre);
            rig.Trigger.SetTriggerLimit(s.Limit);
            rig.Trigger.SetTriggerLimitHigh(s.High);
            rig.Trigger.SetTriggerSlope(s.Slope);
            rig.Feed(signal, block);

            Blocks expected;
            for (int c : ExpectedTriggers(type, phase, Length, block, BufferSize, pre))
                expected.push_back(Indices(c - pre, BufferSize));
            EXPECT_EQ(rig.Outputs(), expected);
            EXPECT_EQ(rig.OnTriggerCalls, int(expected.size()));
            EXPECT_TRUE(block == 1 ? expected.empty() : expected.size() > 10); // 1: every sample is a last one
            for (const auto &out : rig.Consumer.Blocks)
                for (std::size_t j = 0; j < out.Channels[0].size(); ++j)
                    ASSERT_EQ(out.Channels[0][j], signal[std::size_t(out.Channels[1][j])]);
        }
    }
}

// The slope after a reset and the skip phases: OutputBlocksStartAtTheCrossingsTheRulesGive;
// slopes only extended precision tells apart, and hits at every alignment of the vector
// scans: KernelPath.TriggerScanFollowsTheRules.
TEST(TriggerScan, LastSampleAndTriggerChannel)
{
    // Not a trigger on the last sample, which is not passed over either: the next block's
    // first sample still compares with -1.
    std::vector<float> step(16, 1.0f);
    std::fill(step.begin(), step.begin() + 7, -1.0f);
    Rig rig(8, T::trtRangeSlope, 8);
    rig.Trigger.SetTriggerLimitHigh(2);
    rig.Trigger.SetTriggerSlope(0.5f);
    rig.Feed(step, 8);
    EXPECT_EQ(rig.Outputs(), Blocks{Indices(8, 8)});

    Rig onTags(8, T::trtPos, 3); // channel 1 holds the sample indices: rises through 4.5 at 5
    onTags.Trigger.SetTriggerChannel(1);
    onTags.Trigger.SetTriggerLimit(4.5f);
    onTags.Feed(std::vector<float>(16, 1.0f), 8);
    EXPECT_EQ(onTags.Outputs(), Blocks{Indices(5, 3)});
}

TEST(Trigger, FreeRunningChopsTheStreamAndDropsTheRestOfTheBlock)
{
    Rig rig(8, T::trtOff, 20); // a pre-trigger: TriggerScan, type off
    std::vector<std::string> log;
    rig.Trigger.OnTrigger = [&](TQVDescArraySingle &) { log.push_back("OnTrigger"); };
    QObject::connect(&rig.Trigger, &T::Triggered, [&](const TQVDescArraySingle &) { log.push_back("Triggered"); });
    rig.Consumer.Link().OnNewData = [&, inner = rig.Consumer.Link().OnNewData](TQVMeasureLink *l, TQVDescArraySingle &d) {
        log.push_back("link");
        inner(l, d);
    };
    rig.Feed(std::vector<float>(64), 8);
    // 0..19 completes in the block 16..23, whose rest is dropped; 48..67 never completes.
    EXPECT_EQ(rig.Outputs(), (Blocks{Indices(0, 20), Indices(24, 20)}));
    EXPECT_EQ(log, (std::vector<std::string>{"OnTrigger", "Triggered", "link", "OnTrigger", "Triggered", "link"}));
    const auto &out = rig.Consumer.Blocks.at(0);
    EXPECT_EQ(out.HeaderValueA, 16.0L); // the block in which the output completed
    EXPECT_EQ(out.HeaderValueB, 1.0L);
    EXPECT_EQ(out.HeaderWord, 2);
    EXPECT_EQ(rig.Consumer.Blocks.at(1).Channel0Pointer, out.Channel0Pointer); // store reused
}

// Shorter or missing channels contribute zeros; an interruption (not forwarded) or a channel
// that newly brings data abandons the partly assembled block.
TEST(Trigger, AssemblyAcrossUnevenChannelsAndInterruptions)
{
    const std::vector<float> signal(32);
    Rig uneven(8, T::trtOff, 12);
    uneven.Send(signal, 0, 8);
    uneven.Send(signal, 8, 8, 5);
    uneven.Send(signal, 16, 8, 5);
    uneven.Send(signal, 24, 8, 0);
    EXPECT_EQ(uneven.Outputs(), (Blocks{Indices(0, 12), {16, 17, 18, 19, 20, 0, 0, 0, 0, 0, 0, 0}}));
    EXPECT_TRUE(uneven.Consumer.Blocks.at(0).Channels[2].empty());
    uneven.Consumer.Blocks.clear();
    uneven.Trigger.SetBufferSize(20); // the stores grow with it
    uneven.Feed(std::vector<float>(40), 8);
    EXPECT_EQ(uneven.Outputs(), Blocks{Indices(0, 20)});

    for (bool newChannel : {false, true}) {
        Rig rig(8, T::trtOff, 12);
        rig.Send(signal, 0, 8, newChannel ? 0 : 8);
        if (!newChannel)
            rig.Source.SendState(mssPause);
        rig.Send(signal, 8, 8);
        rig.Send(signal, 16, 8);
        EXPECT_EQ(rig.Outputs(), Blocks{Indices(8, 12)}) << newChannel;
        EXPECT_TRUE(rig.Consumer.States.empty());
    }
}

TEST(Trigger, SettersAdjustOrIgnoreValues)
{
    struct Row { int pre; bool setBuffer; int value; int bufferSize, preTrigger; bool updates; };
    const Row rows[] = {
        {0, true, 2, 1024, 0, false},     {0, true, 3, 3, 0, true},             {20, true, 10, 10, 9, true},
        {20, true, 20, 20, 19, true},     {20, true, 21, 21, 20, true},         {0, true, 1024, 1024, 0, false},
        {0, false, 2000, 1, 2000, false}, {100, false, 1024, 101, 1024, false}, {100, false, 1023, 1024, 1023, false},
        {0, false, -3, 1024, -3, false},
    };
    for (const Row &r : rows) {
        Rig rig(8, T::trtRangeSlope, 1024, r.pre);
        const int calls = rig.Consumer.SettingsCalls;
        r.setBuffer ? rig.Trigger.SetBufferSize(r.value) : rig.Trigger.SetPreTrigger(r.value);
        EXPECT_EQ(rig.Trigger.BufferSize(), r.bufferSize) << r.value;
        EXPECT_EQ(rig.Trigger.PreTrigger(), r.preTrigger) << r.value;
        EXPECT_EQ(rig.Consumer.SettingsCalls > calls, r.updates) << r.value;
    }
    T t; // channels outside 0 to 64 and unknown types are ignored
    for (int channel : {65, -1, 64})
        t.SetTriggerChannel(channel);
    EXPECT_EQ(t.TriggerChannel(), 64);
    t.SetTriggerType(static_cast<T::TQVTriggerType>(6));
    EXPECT_EQ(t.property("TriggerType"), QVariant::fromValue(T::trtRangeSlope));
}

TEST(Trigger, ChangesRestartTheAssemblyAndEqualValuesDoNot)
{
    Rig rig(8, T::trtPos, 1024, 4);
    const std::vector<float> low(8, -1.0f);
    const auto fill = [&] { rig.Send(low, 0, 8); return rig.Trigger.GetTriggerState(); };
    EXPECT_EQ(fill(), T::qvtsWaitForTrigger);
    rig.Trigger.SetBufferSize(1024);
    rig.Trigger.SetPreTrigger(4);
    EXPECT_EQ(rig.Trigger.GetTriggerState(), T::qvtsWaitForTrigger);
    for (const auto &change : std::vector<std::function<void()>>{
             [&] { rig.Trigger.SetBufferSize(500); }, [&] { rig.Trigger.SetPreTrigger(5); },
             [&] { rig.Trigger.Reset(); }, [&] { rig.Source.SendState(mssStop); }}) {
        change();
        EXPECT_EQ(rig.Trigger.GetTriggerState(), T::qvtsFillPreTrigger);
        EXPECT_EQ(fill(), T::qvtsWaitForTrigger);
    }
}

// trtPos, BufferSize 12, blocks of 8: 'L' all -1, 'H' all +1, 'R' rising at its fifth
// sample. Each step sends its blocks, then reads the state once.
TEST(Trigger, StateSequenceAndTheTriggeredLatch)
{
    struct Step { const char *blocks; T::TQVTriggerState state; };
    using S = std::vector<Step>;
    const std::vector<float> l(8, -1.0f), h(8, 1.0f), r{-1, -1, -1, -1, 1, 1, 1, 1};
    for (const auto &[pre, steps] : {
             std::pair{0, S{{"L", T::qvtsWaitForTrigger}, {"R", T::qvtsFillTrigger}, {"H", T::qvtsTriggerDone}, {"", T::qvtsWaitForTrigger}}},
             std::pair{2, S{{"", T::qvtsFillPreTrigger}, {"R", T::qvtsFillTrigger}, {"L", T::qvtsFillPreTrigger}, {"L", T::qvtsWaitForTrigger}}},
             // The latch outlives the pre-trigger fill until it is read.
             std::pair{2, S{{"R", T::qvtsFillTrigger}, {"LL", T::qvtsTriggerDone}, {"", T::qvtsWaitForTrigger}}}}) {
        Rig rig(8, T::trtPos, 12, pre);
        for (const Step &step : steps) {
            for (const char *b = step.blocks; *b; ++b)
                rig.Send(*b == 'L' ? l : *b == 'H' ? h : r, 0, 8);
            EXPECT_EQ(rig.Trigger.GetTriggerState(), step.state) << pre << " after " << step.blocks;
        }
    }
}

TEST(Trigger, SingleShotWaitsToBeRearmed)
{
    Rig rig(8, T::trtOff, 8);
    rig.Trigger.SetSingleShot(true);
    const std::vector<float> signal(8);
    const std::vector<std::pair<std::function<void()>, int>> steps{
        {[] {}, 1}, {[] {}, 0}, {[&] { rig.Trigger.StartSingleShot(); }, 1}, {[&] { rig.Trigger.Reset(); }, 1},
        {[&] { rig.Source.SendState(mssPause); }, 1}, {[&] { rig.Source.SendState(mssRun); }, 0}};
    for (const auto &[action, outputs] : steps) {
        action();
        const std::size_t before = rig.Consumer.Blocks.size();
        rig.Send(signal, 0, 8);
        EXPECT_EQ(rig.Consumer.Blocks.size() - before, std::size_t(outputs));
        EXPECT_EQ(rig.Trigger.GetTriggerState(), T::qvtsTriggerDone);
        EXPECT_EQ(rig.Trigger.GetTriggerState(), T::qvtsTriggerDone); // stays until re-armed
    }
}

TEST(Trigger, OddSizesFromThePreTriggerRuleNeverOverrun)
{
    // BufferSize 1 with PreTrigger 2000: one-sample blocks holding the trigger sample.
    Rig rig(8, T::trtPos, 1024, 2000);
    ASSERT_EQ(rig.Trigger.BufferSize(), 1);
    const std::vector<float> signal{-1, 1, -1, -1, 1, 1, -1, -1, -1, -1, -1, -1, 1, -1, -1, -1};
    rig.Feed(signal, 8);
    EXPECT_EQ(rig.Outputs(), (Blocks{{1}, {12}}));
    EXPECT_EQ(rig.Trigger.GetTriggerState(), T::qvtsTriggerDone);
    // BufferSize below 1 (from a negative pre-trigger): blocks are ignored.
    rig.Trigger.SetPreTrigger(-3);
    rig.Trigger.SetPreTrigger(5000);
    ASSERT_EQ(rig.Trigger.BufferSize(), -2);
    rig.Feed(signal, 8);
    EXPECT_EQ(rig.Consumer.Blocks.size(), 2u);
}

TEST(Trigger, HandlersCannotCorruptTheAssembly)
{
    Rig rig(8, T::trtOff, 8);
    const std::vector<float> signal(32);
    bool thrown = false;
    rig.Trigger.OnTrigger = [&](TQVDescArraySingle &out) {
        out.Channels[5] = out.Channels[0]; // the slots are set afresh for the next output
        if (!thrown && (thrown = true))
            throw std::runtime_error("handler");
        rig.Send(signal, 24, 8); // re-entrant: ignored
    };
    EXPECT_THROW(rig.Send(signal, 0, 8), std::runtime_error);
    rig.Send(signal, 8, 8);
    rig.Trigger.OnTrigger = nullptr;
    rig.Send(signal, 16, 8);
    EXPECT_EQ(rig.Outputs(), (Blocks{Indices(8, 8), Indices(16, 8)}));
    EXPECT_TRUE(rig.Consumer.Blocks.at(1).Channels[5].empty());
}

// The message for a source that is not continuous: Selector.CapabilitiesAndChannelCount...
TEST(Trigger, SettingsScaleTheSpan)
{
    Rig rig(1024, T::trtRangeSlope, 4096);
    EXPECT_EQ(static_cast<long double>(rig.Consumer.LastSettings.XSpan), 2.0L);
    rig.Source.Settings.BlockLength = 0;
    TQVMeasureSourceSettings settings{};
    rig.Trigger.GetSettings(settings);
    EXPECT_EQ(static_cast<long double>(settings.XSpan), 0.5L);
}
