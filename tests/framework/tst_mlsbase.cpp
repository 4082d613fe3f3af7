#include <gtest/gtest.h>

#include <memory>

#include <QtCore/QVariant>

#include "framework/qvMeasIntf.h"
#include "support/qvTestConsumer.h"
#include "support/qvTestStages.h"

namespace {

const TQVMeasureSourceCapabilities ContinuousSingle{mscContinuous, mscEquidistant, mscSingleChannel};
const TQVMeasureSourceCapabilities ContinuousDual{mscContinuous, mscEquidistant, mscDualChannel};

} // namespace

TEST(MLSBase, MeasureSourceIsAPublishedPropertyAndLoopsAreRefusedSilently)
{
    TQVTestSource source(ContinuousSingle, 1);
    TQVMLSBase a, b, c, e;
    EXPECT_TRUE(a.setProperty("MeasureSource", QVariant::fromValue<TQVMeasureSource *>(&source)));
    EXPECT_EQ(a.property("MeasureSource").value<TQVMeasureSource *>(), &source);
    a.SetQVMeasureSource(&a); // ignored
    EXPECT_EQ(a.GetQVMeasureSource(), &source);
    EXPECT_TRUE(a.Links().isEmpty());
    b.SetQVMeasureSource(&a);
    c.SetQVMeasureSource(&b);

    // Fed by itself through b, and further upstream through c: the input is left unconnected.
    EXPECT_NO_THROW(a.SetQVMeasureSource(&b));
    EXPECT_EQ(a.GetQVMeasureSource(), nullptr);
    EXPECT_TRUE(source.Links().isEmpty()); // the old connection is gone, not restored
    a.SetQVMeasureSource(&source);
    EXPECT_NO_THROW(a.SetQVMeasureSource(&c));
    EXPECT_EQ(a.GetQVMeasureSource(), nullptr);
    EXPECT_EQ(c.GetQVMeasureSource(), &b);
    a.SetQVMeasureSource(&source);
    e.SetQVMeasureSource(&b); // sideways, not a loop
    EXPECT_EQ(e.GetQVMeasureSource(), &b);
}

// Adjusted by the stage, kept through invalid upstream settings (which are not checked and do
// not ripple), and cleared when the upstream goes.
TEST(MLSBase, SettingsAndCapabilitiesFollowTheUpstream)
{
    auto source = std::make_unique<TQVTestSource>();
    source->SetCaps(ContinuousDual);
    source->SetSettings(2, 512, 0.5L);
    TQVPairStage stage;
    stage.SetQVMeasureSource(source.get());
    TQVTestConsumer consumer;
    consumer.Connect(&stage);
    EXPECT_EQ(stage.Capabilities(), ContinuousSingle);
    EXPECT_EQ(consumer.LastSettings.ChannelCount, 1);
    EXPECT_EQ(static_cast<long double>(consumer.LastSettings.XSpan), 0.5L);
    const int calls = consumer.SettingsCalls;

    source->SetCaps({mscEquidistant}); // would be refused if it were checked
    for (auto [channels, span] : {std::pair{0, 1.0L}, std::pair{2, 0.0L}}) {
        source->SetSettings(channels, 512, span);
        EXPECT_NO_THROW(source->UpdateLinks());
        EXPECT_EQ(stage.Capabilities(), ContinuousSingle);
        EXPECT_EQ(consumer.SettingsCalls, calls);
        EXPECT_EQ(stage.GetQVMeasureSource(), source.get());
    }

    source.reset(); // the stage is left unconnected, its consumers attached
    EXPECT_EQ(stage.GetQVMeasureSource(), nullptr);
    EXPECT_EQ(consumer.Link().Source(), &stage);
    TQVMeasureSourceSettings settings{};
    settings.ChannelCount = 4;
    settings.BlockLength = 333;
    stage.GetSettings(settings);
    EXPECT_EQ(settings.ChannelCount, 0);
    EXPECT_EQ(static_cast<long double>(settings.XSpan), 0.0L);
    EXPECT_EQ(settings.BlockLength, 333);
}

// The request is made on the stage itself, which does not list its own input link, so the
// upstream flag stays as it was; the capability is added but never removed here.
TEST(MLSBase, RequestHarmonizedDataFollowsTheSourceAndLeavesTheUpstreamFlag)
{
    TQVPairStage stage, stepping;
    stepping.HarmonizeOnSettings = true;
    stage.ApplyRequestHarmonizedData(true, false); // unconnected and not stored
    EXPECT_FALSE(stage.RequestHarmonizedData());
    for (TQVPairStage *s : {&stage, &stepping})
        s->ApplyRequestHarmonizedData(true, true); // unconnected and stored
    EXPECT_TRUE(stage.RequestHarmonizedData());
    TQVTestSource source(ContinuousDual, 2);
    stage.SetQVMeasureSource(&source);
    stepping.SetQVMeasureSource(&source);
    stage.ApplyRequestHarmonizedData(true, true); // the source cannot harmonize
    EXPECT_FALSE(stage.RequestHarmonizedData());
    EXPECT_FALSE(stage.Capabilities().Contains(mscCanHarmonize) || stepping.Capabilities().Contains(mscCanHarmonize));

    source.SetCaps(ContinuousDual + mscCanHarmonize);
    source.UpdateLinks();
    EXPECT_TRUE(stepping.Capabilities().Contains(mscCanHarmonize));
    stage.ApplyRequestHarmonizedData(true, false);
    EXPECT_TRUE(stage.RequestHarmonizedData());
    EXPECT_FALSE(source.GetHarmonizeData(stage.InputLink()) || source.GetHarmonizeData(stepping.InputLink()));
    stage.ApplyRequestHarmonizedData(false, false);
    EXPECT_FALSE(stage.RequestHarmonizedData());
    EXPECT_TRUE(stage.Capabilities().Contains(mscCanHarmonize));
}
