#include <gtest/gtest.h>

#include "framework/qvMeasIntf.h"
#include "support/qvTestConsumer.h"

namespace {

using Kind = TQVTestConsumer::LinkKind;

QString MessageOf(Kind kind)
{
    switch (kind) {
    case TQVTestConsumer::SingleValue: return QStringLiteral("Component can process only individual values from channel 0!");
    case TQVTestConsumer::SingleChannel: return QStringLiteral("Component can process only values from channel 0!");
    case TQVTestConsumer::DualChannel: return QStringLiteral("Component can process only values from the channels 0 and 1!");
    default: return {};
    }
}

} // namespace

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
    first.SetSettings(3, 16, 0.25L);
    second.SetSettings(1);
    {
        TQVTestConsumer consumer;
        consumer.Connect(&first);
        EXPECT_EQ(consumer.Link().Source(), &first);
        EXPECT_EQ(consumer.LastSettings.ChannelCount, 3);
        EXPECT_EQ(static_cast<long double>(consumer.LastSettings.XSpan), 0.25L);
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
    TQVTestBlock block(1, 4);
    first.Send(block.Block); // nothing left to call
}

// Each variant checks capabilities and channel count on connection and on every later
// change; a refusal disconnects before raising and interrupts the ripple. A plain link
// checks nothing.
TEST(MeasureLink, VariantsAcceptOnlyWhatTheirOwnerCanShow)
{
    struct Row { Kind kind; TQVMeasureSourceCapabilities caps; int channels; bool accepted; };
    const Row rows[] = {
        {TQVTestConsumer::SingleValue, {mscContinuous, mscSingleValue, mscSingleChannel}, 1, true},
        {TQVTestConsumer::SingleValue, {mscContinuous, mscSingleValue, mscSingleChannel, mscEquidistant}, 1, true},
        {TQVTestConsumer::SingleValue, {mscContinuous, mscSingleValue, mscSingleChannel}, 2, false},
        {TQVTestConsumer::SingleValue, {mscContinuous, mscSingleChannel}, 1, false},
        {TQVTestConsumer::SingleValue, {mscSingleValue, mscSingleChannel}, 1, false},
        {TQVTestConsumer::SingleValue, {mscContinuous, mscSingleValue, mscDualChannel}, 1, false},
        {TQVTestConsumer::SingleChannel, {mscContinuous, mscSingleChannel}, 1, true},
        {TQVTestConsumer::SingleChannel, {mscContinuous, mscSingleChannel, mscSingleValue}, 1, true},
        {TQVTestConsumer::SingleChannel, {mscContinuous, mscSingleChannel}, 2, false},
        {TQVTestConsumer::SingleChannel, {mscSingleChannel}, 1, false},
        {TQVTestConsumer::SingleChannel, {mscContinuous, mscDualChannel}, 1, false},
        {TQVTestConsumer::DualChannel, {mscContinuous, mscDualChannel}, 2, true},
        {TQVTestConsumer::DualChannel, {mscContinuous, mscDualChannel}, 1, false},
        {TQVTestConsumer::DualChannel, {mscContinuous, mscDualChannel}, 3, false},
        {TQVTestConsumer::DualChannel, {mscDualChannel}, 2, false},
        {TQVTestConsumer::DualChannel, {mscContinuous, mscSingleChannel}, 2, false},
        {TQVTestConsumer::Plain, {}, 7, true},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(::testing::Message() << "kind " << r.kind << ", caps " << int(r.caps.Bits()) << ", channels "
                                          << r.channels);
        TQVTestSource source;
        source.SetCaps(r.caps);
        source.SetSettings(r.channels);
        TQVTestConsumer consumer(r.kind), after;
        if (!r.accepted) {
            try {
                consumer.Connect(&source);
                ADD_FAILURE() << "expected EQVMSIncompatibleSource";
            } catch (const EQVMSIncompatibleSource &e) {
                EXPECT_EQ(e.Message(), MessageOf(r.kind));
            }
            EXPECT_EQ(consumer.Link().Source(), nullptr);
            EXPECT_TRUE(source.Links().isEmpty());
            EXPECT_EQ(consumer.SettingsCalls, 0);
            continue;
        }
        ASSERT_NO_THROW(consumer.Connect(&source));
        EXPECT_EQ(consumer.SettingsCalls, 1);
        after.Connect(&source);
        source.SetSettings(5);
        if (r.kind == TQVTestConsumer::Plain) {
            EXPECT_NO_THROW(source.UpdateLinks());
            continue;
        }
        EXPECT_THROW(source.UpdateLinks(), EQVMSIncompatibleSource);
        EXPECT_EQ(source.Links(), QList<TQVMeasureLink *>{&after.Link()});
        EXPECT_EQ(after.SettingsCalls, 1); // interrupted before the later link
    }
}

TEST(MeasureLink, InvalidSettingsConnectEveryVariantWithoutCheckOrCall)
{
    for (Kind kind : {TQVTestConsumer::SingleValue, TQVTestConsumer::SingleChannel, TQVTestConsumer::DualChannel}) {
        for (auto [channels, span] : {std::pair{0, 1.0L}, std::pair{2, 0.0L}}) {
            TQVTestSource source; // no capabilities at all
            source.SetSettings(channels, 1024, span);
            TQVTestConsumer consumer(kind);
            EXPECT_NO_THROW(consumer.Connect(&source)) << kind;
            EXPECT_EQ(consumer.Link().Source(), &source);
            EXPECT_EQ(consumer.SettingsCalls, 0);
        }
    }
}
