#include <gtest/gtest.h>

#include "framework/qvMeasIntf.h"
#include "support/qvTestConsumer.h"

TEST(MeasureLink, StartsUnconnectedAndCallsNothingWithoutASource)
{
    QObject owner, other;
    TQVMeasureLink link(&owner);
    EXPECT_EQ(link.Owner(), &owner);
    EXPECT_EQ(link.Source(), nullptr);
    EXPECT_FALSE(link.OnNewData);
    EXPECT_FALSE(link.OnChangedState);
    EXPECT_FALSE(link.OnUpdateSettings);
    link.SetOwner(&other);
    EXPECT_EQ(link.Owner(), &other);

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

TEST(MeasureLink, ConnectsSwitchesAndDisconnects)
{
    TQVTestSource first, second;
    first.SetSettings(1);
    second.SetSettings(1);
    TQVTestConsumer consumer;

    consumer.Connect(&first);
    EXPECT_EQ(consumer.Link().Source(), &first);
    EXPECT_EQ(consumer.SettingsCalls, 1);

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
}

TEST(MeasureLink, DestroyingTheLinkDetachesItFromItsSource)
{
    TQVTestSource source;
    {
        TQVTestConsumer consumer;
        consumer.Connect(&source);
        EXPECT_EQ(source.Links().size(), 1);
    }
    EXPECT_TRUE(source.Links().isEmpty());
    TQVTestBlock block(1, 4);
    source.Send(block.Block); // nothing left to call
}

TEST(MeasureLink, CallbacksReachTheOwnerWithTheLink)
{
    TQVTestSource source;
    source.SetSettings(3, 16, 0.25L);
    TQVTestConsumer consumer;
    consumer.Connect(&source);
    EXPECT_EQ(consumer.LastSettings.ChannelCount, 3);
    EXPECT_EQ(static_cast<long double>(consumer.LastSettings.XSpan), 0.25L);

    TQVTestBlock block(3, 16);
    block.Block.HeaderValueA = 12.5L;
    source.Send(block.Block);
    source.SendState(mssError);
    ASSERT_EQ(consumer.Blocks.size(), 1u);
    EXPECT_EQ(consumer.Blocks[0].HeaderValueA, 12.5L);
    EXPECT_EQ(consumer.Blocks[0].Channels[2], block.Samples[2]);
    EXPECT_EQ(consumer.States, std::vector<TQVMeasureSourceState>{mssError});
}

struct VariantCase
{
    TQVMeasureSourceCapabilities caps;
    int channels;
    bool accepted;
};

struct VariantTable
{
    TQVTestConsumer::LinkKind kind;
    const char *message;
    std::vector<VariantCase> cases;
};

void PrintTo(const VariantTable &table, std::ostream *os)
{
    *os << table.message;
}

class MeasureLinkVariant : public ::testing::TestWithParam<VariantTable>
{
};

TEST_P(MeasureLinkVariant, AcceptsOnlyWhatItsOwnerCanShow)
{
    const VariantTable &table = GetParam();
    for (const VariantCase &c : table.cases) {
        SCOPED_TRACE(::testing::Message() << "caps " << int(c.caps.Bits()) << ", channels " << c.channels);
        TQVTestSource source;
        source.SetCaps(c.caps);
        source.SetSettings(c.channels);
        TQVTestConsumer consumer(table.kind);
        if (c.accepted) {
            EXPECT_NO_THROW(consumer.Connect(&source));
            EXPECT_EQ(consumer.Link().Source(), &source);
            EXPECT_EQ(consumer.SettingsCalls, 1);
        } else {
            try {
                consumer.Connect(&source);
                ADD_FAILURE() << "expected EQVMSIncompatibleSource";
            } catch (const EQVMSIncompatibleSource &e) {
                EXPECT_EQ(e.Message(), QString::fromUtf8(table.message));
            }
            EXPECT_EQ(consumer.Link().Source(), nullptr);
            EXPECT_TRUE(source.Links().isEmpty());
            EXPECT_EQ(consumer.SettingsCalls, 0);
        }
    }
}

TEST_P(MeasureLinkVariant, InvalidSettingsConnectWithoutCheckOrCall)
{
    for (auto [channels, span] : {std::pair{0, 1.0L}, std::pair{2, 0.0L}}) {
        TQVTestSource source; // no capabilities at all
        source.SetSettings(channels, 1024, span);
        TQVTestConsumer consumer(GetParam().kind);
        EXPECT_NO_THROW(consumer.Connect(&source));
        EXPECT_EQ(consumer.Link().Source(), &source);
        EXPECT_EQ(consumer.SettingsCalls, 0);
    }
}

TEST_P(MeasureLinkVariant, LaterIncompatibleChangeRaisesFromUpdateLinks)
{
    const VariantTable &table = GetParam();
    const VariantCase *good = nullptr;
    for (const VariantCase &c : table.cases)
        if (c.accepted)
            good = &c;
    ASSERT_NE(good, nullptr);

    TQVTestSource source;
    source.SetCaps(good->caps);
    source.SetSettings(good->channels);
    TQVTestConsumer consumer(table.kind);
    TQVTestConsumer after(TQVTestConsumer::Plain);
    consumer.Connect(&source);
    after.Connect(&source);
    const int afterCalls = after.SettingsCalls;

    source.SetSettings(5);
    EXPECT_THROW(source.UpdateLinks(), EQVMSIncompatibleSource);
    EXPECT_EQ(consumer.Link().Source(), nullptr);
    EXPECT_EQ(source.Links(), QList<TQVMeasureLink *>{&after.Link()});
    EXPECT_EQ(after.SettingsCalls, afterCalls); // interrupted before the later link
}

INSTANTIATE_TEST_SUITE_P(
    Variants, MeasureLinkVariant,
    ::testing::Values(
        VariantTable{TQVTestConsumer::SingleValue,
                     "Component can process only individual values from channel 0!",
                     {{{mscContinuous, mscSingleValue, mscSingleChannel}, 1, true},
                      {{mscContinuous, mscSingleValue, mscSingleChannel, mscEquidistant}, 1, true},
                      {{mscContinuous, mscSingleValue, mscSingleChannel}, 2, false},
                      {{mscContinuous, mscSingleChannel}, 1, false},
                      {{mscSingleValue, mscSingleChannel}, 1, false},
                      {{mscContinuous, mscSingleValue, mscDualChannel}, 1, false}}},
        VariantTable{TQVTestConsumer::SingleChannel,
                     "Component can process only values from channel 0!",
                     {{{mscContinuous, mscSingleChannel}, 1, true},
                      {{mscContinuous, mscSingleChannel, mscSingleValue}, 1, true},
                      {{mscContinuous, mscSingleChannel}, 2, false},
                      {{mscSingleChannel}, 1, false},
                      {{mscContinuous, mscDualChannel}, 1, false}}},
        VariantTable{TQVTestConsumer::DualChannel,
                     "Component can process only values from the channels 0 and 1!",
                     {{{mscContinuous, mscDualChannel}, 2, true},
                      {{mscContinuous, mscDualChannel}, 1, false},
                      {{mscContinuous, mscDualChannel}, 3, false},
                      {{mscDualChannel}, 2, false},
                      {{mscContinuous, mscSingleChannel}, 2, false}}}),
    [](const auto &info) {
        switch (info.param.kind) {
        case TQVTestConsumer::SingleValue: return std::string("SingleValue");
        case TQVTestConsumer::SingleChannel: return std::string("SingleChannel");
        case TQVTestConsumer::DualChannel: return std::string("DualChannel");
        default: return std::string("Plain");
        }
    });

TEST(MeasureLink, PlainLinkChecksNothing)
{
    TQVTestSource source;
    source.SetSettings(7);
    TQVTestConsumer consumer(TQVTestConsumer::Plain);
    EXPECT_NO_THROW(consumer.Connect(&source));
    EXPECT_EQ(consumer.SettingsCalls, 1);
}
