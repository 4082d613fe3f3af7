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

TEST(MLSBase, MeasureSourceIsAPublishedProperty)
{
    TQVTestSource source;
    source.SetCaps(ContinuousSingle);
    source.SetSettings(1);
    TQVMLSBase stage;
    const int index = stage.metaObject()->indexOfProperty("MeasureSource");
    ASSERT_GE(index, 0);
    EXPECT_TRUE(stage.setProperty("MeasureSource", QVariant::fromValue<TQVMeasureSource *>(&source)));
    EXPECT_EQ(stage.GetQVMeasureSource(), &source);
    EXPECT_EQ(stage.property("MeasureSource").value<TQVMeasureSource *>(), &source);
    EXPECT_EQ(stage.InputLink()->Owner(), &stage);
    EXPECT_EQ(stage.property("Version").toString(), QStringLiteral("7.0"));
}

TEST(MLSBase, RefusesItselfAsSource)
{
    TQVTestSource source;
    source.SetCaps(ContinuousSingle);
    source.SetSettings(1);
    TQVMLSBase stage;
    stage.SetQVMeasureSource(&source);
    stage.SetQVMeasureSource(&stage);
    EXPECT_EQ(stage.GetQVMeasureSource(), &source); // unchanged
    EXPECT_TRUE(stage.Links().isEmpty());
}

TEST(MLSBase, LoopsAreRefusedSilentlyAndLeaveTheInputUnconnected)
{
    TQVTestSource source;
    source.SetCaps(ContinuousSingle);
    source.SetSettings(1);
    TQVMLSBase a, b, c;
    a.SetQVMeasureSource(&source);
    b.SetQVMeasureSource(&a);
    c.SetQVMeasureSource(&b);

    // Directly fed by itself through b, and further upstream through c.
    EXPECT_NO_THROW(a.SetQVMeasureSource(&b));
    EXPECT_EQ(a.GetQVMeasureSource(), nullptr);
    EXPECT_TRUE(source.Links().isEmpty()); // the old connection is gone, not restored
    a.SetQVMeasureSource(&source);
    EXPECT_NO_THROW(a.SetQVMeasureSource(&c));
    EXPECT_EQ(a.GetQVMeasureSource(), nullptr);
    EXPECT_EQ(b.GetQVMeasureSource(), &a);
    EXPECT_EQ(c.GetQVMeasureSource(), &b);

    // A sideways connection is not a loop.
    TQVMLSBase d;
    d.SetQVMeasureSource(&c);
    a.SetQVMeasureSource(&source);
    TQVMLSBase e;
    e.SetQVMeasureSource(&b);
    EXPECT_EQ(e.GetQVMeasureSource(), &b);
}

TEST(MLSBase, IncompatibleSourceRaisesTheStageMessageAndDisconnects)
{
    TQVTestSource source;
    source.SetCaps({mscEquidistant, mscSingleChannel}); // not continuous
    source.SetSettings(1);
    TQVMLSBase stage;
    try {
        stage.SetQVMeasureSource(&source);
        FAIL() << "expected EQVMSIncompatibleSource";
    } catch (const EQVMSIncompatibleSource &e) {
        EXPECT_EQ(e.Message(), QStringLiteral("Component needs continuous operation."));
    }
    EXPECT_EQ(stage.GetQVMeasureSource(), nullptr);
    EXPECT_TRUE(source.Links().isEmpty());

    TQVPairStage pair;
    source.SetCaps(ContinuousSingle);
    EXPECT_THROW(pair.SetQVMeasureSource(&source), EQVMSIncompatibleSource);
    EXPECT_EQ(pair.GetQVMeasureSource(), nullptr);
}

TEST(MLSBase, InvalidUpstreamSettingsKeepCapabilitiesAndDoNotRipple)
{
    TQVTestSource source;
    source.SetCaps(ContinuousDual);
    source.SetSettings(2);
    TQVPairStage stage;
    stage.SetQVMeasureSource(&source);
    TQVTestConsumer consumer;
    consumer.Connect(&stage);
    const TQVMeasureSourceCapabilities before = stage.Capabilities();
    EXPECT_EQ(before, (TQVMeasureSourceCapabilities{mscContinuous, mscEquidistant, mscSingleChannel}));
    const int calls = consumer.SettingsCalls;

    source.SetCaps({mscEquidistant}); // would be refused if it were checked
    for (auto [channels, span] : {std::pair{0, 1.0L}, std::pair{2, 0.0L}}) {
        source.SetSettings(channels, 1024, span);
        EXPECT_NO_THROW(source.UpdateLinks());
        EXPECT_EQ(stage.Capabilities(), before);
        EXPECT_EQ(consumer.SettingsCalls, calls);
        EXPECT_EQ(stage.GetQVMeasureSource(), &source);
    }
}

TEST(MLSBase, SettingsAreClearedWithoutSourceAndAdjustedWithOne)
{
    TQVPairStage stage;
    TQVMeasureSourceSettings settings{};
    settings.ChannelCount = 4;
    settings.XSpan = 1.0L;
    settings.BlockLength = 333;
    stage.GetSettings(settings);
    EXPECT_EQ(settings.ChannelCount, 0);
    EXPECT_EQ(static_cast<long double>(settings.XSpan), 0.0L);
    EXPECT_EQ(settings.BlockLength, 333);

    TQVTestSource source;
    source.SetCaps(ContinuousDual);
    source.SetSettings(2, 512, 0.5L);
    stage.SetQVMeasureSource(&source);
    stage.GetSettings(settings);
    EXPECT_EQ(settings.ChannelCount, 1);
    EXPECT_EQ(settings.BlockLength, 512);
    EXPECT_EQ(static_cast<long double>(settings.XSpan), 0.5L);
}

TEST(MLSBase, DestroyingTheUpstreamLeavesTheStageUnconnectedButItsConsumersAttached)
{
    auto source = std::make_unique<TQVTestSource>();
    source->SetCaps(ContinuousSingle);
    source->SetSettings(1);
    TQVMLSBase stage;
    stage.SetQVMeasureSource(source.get());
    TQVTestConsumer consumer;
    consumer.Connect(&stage);

    source.reset();
    EXPECT_EQ(stage.GetQVMeasureSource(), nullptr);
    EXPECT_EQ(consumer.Link().Source(), &stage);
    TQVMeasureSourceSettings settings{};
    stage.GetSettings(settings);
    EXPECT_EQ(settings.ChannelCount, 0);
}

TEST(MLSBase, DestroyingAStageDetachesBothSides)
{
    TQVTestSource source;
    source.SetCaps(ContinuousSingle);
    source.SetSettings(1);
    TQVTestConsumer consumer;
    {
        TQVMLSBase stage;
        stage.SetQVMeasureSource(&source);
        consumer.Connect(&stage);
        EXPECT_EQ(source.Links().size(), 1);
    }
    EXPECT_TRUE(source.Links().isEmpty());
    EXPECT_EQ(consumer.Link().Source(), nullptr);
}

TEST(MLSBase, RequestHarmonizedDataFollowsTheSource)
{
    TQVPairStage stage;
    stage.ApplyRequestHarmonizedData(true, false); // unconnected and not stored
    EXPECT_FALSE(stage.RequestHarmonizedData());
    stage.ApplyRequestHarmonizedData(true, true); // unconnected and stored
    EXPECT_TRUE(stage.RequestHarmonizedData());

    TQVTestSource plain;
    plain.SetCaps(ContinuousDual);
    plain.SetSettings(2);
    stage.SetQVMeasureSource(&plain);
    stage.ApplyRequestHarmonizedData(true, true); // the source cannot harmonize
    EXPECT_FALSE(stage.RequestHarmonizedData());
    EXPECT_FALSE(stage.Capabilities().Contains(mscCanHarmonize));

    TQVTestSource harmonizing;
    harmonizing.SetCaps(ContinuousDual + mscCanHarmonize);
    harmonizing.SetSettings(2);
    TQVPairStage second;
    second.SetQVMeasureSource(&harmonizing);
    second.ApplyRequestHarmonizedData(true, false);
    EXPECT_TRUE(second.RequestHarmonizedData());
    EXPECT_TRUE(second.Capabilities().Contains(mscCanHarmonize));
    // The request goes to the stage itself, which does not list its own input link:
    // the upstream flag stays as it was.
    EXPECT_FALSE(harmonizing.GetHarmonizeData(second.InputLink()));
    second.ApplyRequestHarmonizedData(false, false);
    EXPECT_FALSE(second.RequestHarmonizedData());
    EXPECT_TRUE(second.Capabilities().Contains(mscCanHarmonize)); // never removed here
}

TEST(MLSBase, HarmonizeStepOnSettingsChangeLeavesTheUpstreamFlag)
{
    TQVTestSource harmonizing;
    harmonizing.SetCaps({mscContinuous, mscDualChannel});
    harmonizing.SetSettings(2);
    TQVPairStage stage;
    stage.HarmonizeOnSettings = true;
    stage.ApplyRequestHarmonizedData(true, true);
    stage.SetQVMeasureSource(&harmonizing);
    EXPECT_FALSE(stage.Capabilities().Contains(mscCanHarmonize));

    harmonizing.SetCaps({mscContinuous, mscDualChannel, mscCanHarmonize});
    harmonizing.UpdateLinks();
    EXPECT_TRUE(stage.Capabilities().Contains(mscCanHarmonize));
    EXPECT_FALSE(harmonizing.GetHarmonizeData(stage.InputLink()));
}
