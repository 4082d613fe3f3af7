#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "framework/qvMeasIntf.h"
#include "support/qvTestConsumer.h"

TEST(MeasureLink, CallsNothingWithoutASource)
{
    TQVMeasureLink link(nullptr);
    int calls = 0;
    link.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) { ++calls; };
    link.OnChangedState = [&](TQVMeasureLink *, TQVMeasureSourceState) { ++calls; };
    link.OnUpdateSettings = [&](TQVMeasureLink *) { ++calls; };
    TQVTestBlock block(1, 4);
    link.NewData(block.Block);
    link.StateNotify(mssRun);
    link.UpdateSettings();
    EXPECT_EQ(calls, 0);
}

TEST(MeasureLink, ConnectsSwitchesDisconnectsAndDetachesWhenDestroyed)
{
    TQVTestSource first, second;
    first.SetSettings(3);
    second.SetSettings(1);
    {
        TQVTestConsumer consumer;
        consumer.Connect(&first);
        EXPECT_EQ(consumer.Link().Source(), &first);
        EXPECT_EQ(consumer.LastSettings.ChannelCount, 3); // the settings themselves: Chain
        consumer.Connect(&first); // the same source again does nothing
        EXPECT_EQ(consumer.SettingsCalls, 1);
        EXPECT_EQ(first.Links().size(), 1);

        consumer.Connect(&second);
        EXPECT_TRUE(first.Links().isEmpty());
        EXPECT_EQ(second.Links(), QList<TQVMeasureLink *>{&consumer.Link()});
        EXPECT_EQ(consumer.SettingsCalls, 2);
        consumer.Connect(nullptr);
        EXPECT_TRUE(second.Links().isEmpty());
        EXPECT_EQ(consumer.Link().Source(), nullptr);
        consumer.Connect(&first);
    }
    EXPECT_TRUE(first.Links().isEmpty());
}

// A variant accepts a source with every capability it requires (others may come along) and
// exactly its channel count, on connection and on every later change; invalid settings are
// not checked. A refusal disconnects before raising and interrupts the ripple. A plain link
// checks nothing.
TEST(MeasureLink, VariantsAcceptOnlyWhatTheirOwnerCanShow)
{
    struct Variant { TQVTestConsumer::LinkKind kind; TQVMeasureSourceCapabilities required; int channels; const char *message; };
    const Variant variants[] = {
        {TQVTestConsumer::SingleValue, {mscContinuous, mscSingleValue, mscSingleChannel}, 1,
         "Component can process only individual values from channel 0!"},
        {TQVTestConsumer::SingleChannel, {mscContinuous, mscSingleChannel}, 1,
         "Component can process only values from channel 0!"},
        {TQVTestConsumer::DualChannel, {mscContinuous, mscDualChannel}, 2,
         "Component can process only values from the channels 0 and 1!"},
        {TQVTestConsumer::Plain, {}, 7, nullptr},
    };
    enum Outcome { Accepted, Refused, Unchecked };
    for (const Variant &v : variants) {
        const Outcome wrong = v.message ? Refused : Accepted, invalid = v.message ? Unchecked : Accepted;
        std::vector<std::tuple<TQVMeasureSourceCapabilities, int, long double, Outcome>> cases{
            {v.required, v.channels, 1.0L, Accepted},
            {v.required + mscEquidistant + mscCanHarmonize, v.channels, 1.0L, Accepted},
            {v.required, v.channels + 1, 1.0L, wrong},
            {{}, 0, 1.0L, invalid},
            {{}, 2, 0.0L, invalid}};
        if (v.channels > 1)
            cases.emplace_back(v.required, v.channels - 1, 1.0L, wrong);
        for (int cap = mscContinuous; cap <= mscSingleValue; ++cap) {
            if (v.required.Contains(TQVMeasureSourceCapabilitiesType(cap)))
                cases.emplace_back(v.required - TQVMeasureSourceCapabilitiesType(cap), v.channels, 1.0L, Refused);
        }
        for (auto [caps, channels, span, outcome] : cases) {
            SCOPED_TRACE(::testing::Message() << "kind " << v.kind << ", caps " << int(caps.Bits()) << ", channels "
                                              << channels << ", span " << double(span));
            TQVTestSource source(caps, channels, 1024, span);
            TQVTestConsumer consumer(v.kind), after;
            if (outcome == Refused) {
                try {
                    consumer.Connect(&source);
                    ADD_FAILURE() << "expected EQVMSIncompatibleSource";
                } catch (const EQVMSIncompatibleSource &e) {
                    EXPECT_EQ(e.Message(), QString::fromUtf8(v.message));
                }
                EXPECT_EQ(consumer.Link().Source(), nullptr);
                EXPECT_TRUE(source.Links().isEmpty());
                EXPECT_EQ(consumer.SettingsCalls, 0);
                continue;
            }
            ASSERT_NO_THROW(consumer.Connect(&source));
            EXPECT_EQ(consumer.Link().Source(), &source);
            EXPECT_EQ(consumer.SettingsCalls, outcome == Accepted ? 1 : 0);
            if (outcome != Accepted || !v.message)
                continue;
            after.Connect(&source);
            source.SetSettings(v.channels + 1);
            EXPECT_THROW(source.UpdateLinks(), EQVMSIncompatibleSource);
            EXPECT_EQ(source.Links(), QList<TQVMeasureLink *>{&after.Link()});
            EXPECT_EQ(after.SettingsCalls, 1); // interrupted before the later link
        }
    }
}
