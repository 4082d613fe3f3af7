#include <gtest/gtest.h>

#include "framework/qvMeasIntf.h"
#include "host/qvSignalGenerator.h"
#include "support/qvTestConsumer.h"

// Whole chains driven by the signal generator.

// generator -> s1 -> s2 -> c1
//                 \-> c2       (attached to s1 after s2)
//           \-> c3             (attached to the generator after s1)
TEST(Chain, BlocksSettingsAndStatesTravelDepthFirstInOrderOfAttachment)
{
    TQVEventLog log;
    TQVSignalGenerator generator;
    generator.SetBlockLength(64);
    TQVMLSBase s1, s2;
    TQVTestConsumer c1{TQVTestConsumer::Plain, "c1", &log}, c2{TQVTestConsumer::Plain, "c2", &log},
        c3{TQVTestConsumer::Plain, "c3", &log};
    s1.SetQVMeasureSource(&generator);
    s2.SetQVMeasureSource(&s1);
    c1.Connect(&s2);
    c2.Connect(&s1);
    c3.Connect(&generator);
    log.clear();

    generator.Tick();
    generator.SetChannelCount(2);
    generator.Run();
    generator.Stop();
    EXPECT_EQ(log, (TQVEventLog{"c1:data", "c2:data", "c3:data", "c1:settings", "c2:settings", "c3:settings",
                                "c1:state", "c2:state", "c3:state", "c1:state", "c2:state", "c3:state"}));
    EXPECT_EQ(c1.States, (std::vector<TQVMeasureSourceState>{mssRun, mssStop}));
    ASSERT_EQ(c1.Blocks.size(), 1u);
    EXPECT_EQ(c1.Blocks[0].Channel0Pointer, c3.Blocks[0].Channel0Pointer); // passed through, not copied
    EXPECT_EQ(c1.Blocks[0].Channels[0].size(), 64u);
    EXPECT_EQ(c1.LastSettings.ChannelCount, 2);
    EXPECT_EQ(static_cast<long double>(c1.LastSettings.XSpan), 64.0L / 48000.0L);
    EXPECT_EQ(s2.Capabilities(), generator.Capabilities());
    EXPECT_TRUE(s2.Capabilities().Contains(mscDualChannel));
}

