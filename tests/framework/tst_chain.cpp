#include <gtest/gtest.h>

#include "framework/qvMeasIntf.h"
#include "host/qvSignalGenerator.h"
#include "support/qvTestConsumer.h"
#include "support/qvTestStages.h"

// Whole chains driven by the signal generator: delivery order, settings ripple, state
// forwarding and the ownership of the blocks.

namespace {

// generator -> s1 -> s2 -> c1
//                 \-> c2       (attached to s1 after s2)
//           \-> c3             (attached to the generator after s1)
struct Tree
{
    TQVEventLog log;
    TQVSignalGenerator generator;
    TQVMLSBase s1, s2;
    TQVTestConsumer c1{TQVTestConsumer::Plain, "c1", &log};
    TQVTestConsumer c2{TQVTestConsumer::Plain, "c2", &log};
    TQVTestConsumer c3{TQVTestConsumer::Plain, "c3", &log};

    Tree()
    {
        generator.SetBlockLength(64);
        s1.SetQVMeasureSource(&generator);
        s2.SetQVMeasureSource(&s1);
        c1.Connect(&s2);
        c2.Connect(&s1);
        c3.Connect(&generator);
        log.clear();
    }
};

} // namespace

TEST(Chain, BlocksTravelDepthFirstInOrderOfAttachment)
{
    Tree t;
    t.generator.Tick();
    t.generator.Tick();
    EXPECT_EQ(t.log, (TQVEventLog{"c1:data", "c2:data", "c3:data", "c1:data", "c2:data", "c3:data"}));
    ASSERT_EQ(t.c1.Blocks.size(), 2u);
    // Pass-through stages forward the sender's block itself.
    EXPECT_EQ(t.c1.Blocks[1].Channels[0], t.c3.Blocks[1].Channels[0]);
    EXPECT_EQ(t.c1.Blocks[1].Channel0Pointer, t.c3.Blocks[1].Channel0Pointer);
    EXPECT_EQ(t.c1.Blocks[1].Channels[0].size(), 64u);
}

TEST(Chain, SettingsChangeRipplesDownToEveryConsumer)
{
    Tree t;
    t.generator.SetBlockLength(256);
    EXPECT_EQ(t.log, (TQVEventLog{"c1:settings", "c2:settings", "c3:settings"}));
    for (TQVTestConsumer *c : {&t.c1, &t.c2, &t.c3})
        EXPECT_EQ(c->LastSettings.BlockLength, 256);
    EXPECT_EQ(static_cast<long double>(t.c1.LastSettings.XSpan), 256.0L / 48000.0L);
}

TEST(Chain, StateChangesAreForwarded)
{
    Tree t;
    t.generator.Run();
    t.generator.Stop();
    EXPECT_EQ(t.log, (TQVEventLog{"c1:state", "c2:state", "c3:state", "c1:state", "c2:state", "c3:state"}));
    EXPECT_EQ(t.c1.States, (std::vector<TQVMeasureSourceState>{mssRun, mssStop}));
}

TEST(Chain, StagesCapabilitiesFollowTheSource)
{
    Tree t;
    EXPECT_EQ(t.s2.Capabilities(), t.generator.Capabilities());
    t.generator.SetChannelCount(2);
    EXPECT_TRUE(t.s2.Capabilities().Contains(mscDualChannel));
    EXPECT_FALSE(t.s2.Capabilities().Contains(mscSingleChannel));
    EXPECT_EQ(t.c1.LastSettings.ChannelCount, 2);
}

TEST(Chain, ACopyingStageNeverWritesIntoTheReceivedBlock)
{
    TQVSignalGenerator generator;
    generator.SetBlockLength(32);
    generator.SetWaveform(TQVSignalGenerator::wfTriangle);
    generator.SetFrequency(1500.0);
    TQVScaleStage doubler(2.0f);
    doubler.SetQVMeasureSource(&generator);
    TQVTestConsumer before, after;
    before.Connect(&generator); // attached after the stage: sees the block once the stage returned
    after.Connect(&doubler);

    generator.Tick();
    ASSERT_EQ(before.Blocks.size(), 1u);
    ASSERT_EQ(after.Blocks.size(), 1u);
    EXPECT_NE(after.Blocks[0].Channel0Pointer, before.Blocks[0].Channel0Pointer);
    for (std::size_t i = 0; i < 32; ++i)
        EXPECT_EQ(after.Blocks[0].Channels[0][i], 2.0f * before.Blocks[0].Channels[0][i]);
    for (int k = 1; k < QVChannelSlots; ++k)
        EXPECT_TRUE(after.Blocks[0].Channels[k].empty());
}

TEST(Chain, AnIncompatibleChangeDeepInTheChainDisconnectsOnlyTheRefusingConsumer)
{
    TQVSignalGenerator generator;
    TQVMLSBase stage;
    stage.SetQVMeasureSource(&generator);
    TQVTestConsumer single(TQVTestConsumer::SingleChannel);
    single.Connect(&stage);
    ASSERT_EQ(single.Link().Source(), &stage);

    try {
        generator.SetChannelCount(2);
        FAIL() << "expected EQVMSIncompatibleSource";
    } catch (const EQVMSIncompatibleSource &e) {
        EXPECT_EQ(e.Message(), QStringLiteral("Component can process only values from channel 0!"));
    }
    EXPECT_EQ(single.Link().Source(), nullptr);
    EXPECT_EQ(stage.GetQVMeasureSource(), &generator);
    EXPECT_EQ(generator.ChannelCount(), 2);

    TQVTestConsumer dual(TQVTestConsumer::DualChannel);
    EXPECT_NO_THROW(dual.Connect(&stage));
    generator.Tick();
    ASSERT_EQ(dual.Blocks.size(), 1u);
    EXPECT_FALSE(dual.Blocks[0].Channels[1].empty());
}
