#include <gtest/gtest.h>

#include <array>
#include <memory>

#include <QtCore/QVariant>

#include "host/qvSignalGenerator.h"
#include "stream/qvMLSSimpleSources.h"
#include "support/qvTestConsumer.h"

namespace {

using TQVRoute = std::array<int, QVChannelSlots>; // output slot -> input slot, -1 for empty

/// Keeps the last block that reached it as it was (slot pointers included).
struct TQVSlotProbe
{
    explicit TQVSlotProbe(TQVMeasureSource *source)
    {
        Link.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &data) { Last = data; ++Blocks; };
        Link.SeTQVMeasureSource(source);
    }
    TQVMeasureLink Link{nullptr};
    TQVDescArraySingle Last{};
    int Blocks = 0;
};

/// A generator with every channel in use, probed at its output and at the stage's.
struct TQVRig
{
    explicit TQVRig(TQVMLSBase *stage, int channels = QVChannelSlots)
        : Stage(stage)
    {
        Generator.SetChannelCount(channels);
        Generator.SetBlockLength(8);
        Stage->SetQVMeasureSource(&Generator);
    }
    void Tick() { Generator.Tick(); }
    void ExpectRouted(const TQVRoute &route) const
    {
        ASSERT_EQ(Out.Blocks, In.Blocks);
        for (int k = 0; k < QVChannelSlots; ++k) {
            const QVDescArraySingle &slot = Out.Last.Channels[k];
            const QVDescArraySingle expected = route[std::size_t(k)] < 0
                ? QVDescArraySingle{nullptr, 0} : In.Last.Channels[route[std::size_t(k)]];
            EXPECT_EQ(slot.Data, expected.Data) << "output " << k; // the sender's array: no copy
            EXPECT_EQ(slot.Count, expected.Count) << "output " << k;
        }
    }

    TQVSignalGenerator Generator;
    TQVMLSBase *Stage;
    TQVSlotProbe In{&Generator};
    TQVSlotProbe Out{Stage};
};

TQVRoute Route(std::initializer_list<std::pair<int, int>> pairs)
{
    TQVRoute route;
    route.fill(-1);
    for (auto [out, in] : pairs)
        route[std::size_t(out)] = in;
    return route;
}

TQVRoute Identity()
{
    TQVRoute route;
    for (int k = 0; k < QVChannelSlots; ++k)
        route[std::size_t(k)] = k;
    return route;
}

} // namespace

TEST(SelectorSingle, RoutesTheChosenChannelToChannelZero)
{
    TQVSelectorSingle stage;
    TQVRig rig(&stage);
    for (int channel : {0, 3, 64}) {
        stage.SetChannel0(channel);
        rig.Tick();
        rig.ExpectRouted(Route({{0, channel}}));
        EXPECT_EQ(rig.Out.Last.HeaderWord, QVChannelSlots); // header unchanged
    }
}

TEST(SelectorDual, SecondChannelIsTakenAfterTheFirstWasReplaced)
{
    struct Case { int c0, c1; TQVRoute route; };
    const Case cases[] = {
        {2, 0, Route({{0, 2}, {1, 2}})},
        {2, 5, Route({{0, 2}, {1, 5}})},
        {3, 1, Route({{0, 3}, {1, 1}})},
        {64, 64, Route({{0, 64}, {1, 64}})},
    };
    TQVSelectorDual stage;
    TQVRig rig(&stage);
    for (const Case &c : cases) {
        stage.SetChannel0(c.c0);
        stage.SetChannel1(c.c1);
        rig.Tick();
        rig.ExpectRouted(c.route);
    }
}

TEST(SelectorChannels, ValuesOutsideZeroTo64AreIgnored)
{
    TQVSelectorSingle single;
    TQVSelectorDual dual;
    const std::pair<QObject *, const char *> properties[] = {
        {&single, "Channel0"}, {&dual, "Channel0"}, {&dual, "Channel1"}};
    for (auto [stage, name] : properties) {
        stage->setProperty(name, 7);
        for (int bad : {65, -1, 1000})
            stage->setProperty(name, bad);
        EXPECT_EQ(stage->property(name).toInt(), 7) << name;
        stage->setProperty(name, 64);
        EXPECT_EQ(stage->property(name).toInt(), 64) << name;
    }
}

TEST(SelectorCapabilities, CapabilitiesAndChannelCountFollowTheSource)
{
    using Caps = TQVMeasureSourceCapabilities;
    const Caps generator4{mscContinuous, mscEquidistant, mscCanHarmonize};
    const Caps generator2 = generator4 + mscDualChannel;
    TQVSelectorSingle single;
    TQVSelectorDual dual;
    TQVSelectorMatrix matrix, matrix3;
    matrix3.SetSelector({"0 -> 0", "1 -> 1", "2 -> 2"});
    struct Case { TQVMLSBase *stage; int channels; Caps caps; int count; };
    const Case cases[] = {
        {&single, 4, generator4 + mscSingleChannel, 1},
        {&single, 2, generator4 + mscSingleChannel, 1}, // loses mscDualChannel
        {&dual, 4, generator4 + mscDualChannel, 2},
        {&dual, 2, generator2, 2},
        {&matrix, 4, generator4, 4},
        {&matrix, 2, generator2, 2},
        {&matrix3, 4, generator4, 3},
    };
    for (const Case &c : cases) {
        TQVSignalGenerator generator;
        generator.SetChannelCount(c.channels);
        c.stage->SetQVMeasureSource(&generator);
        TQVTestConsumer consumer;
        consumer.Connect(c.stage);
        EXPECT_EQ(c.stage->Capabilities(), c.caps) << c.stage->metaObject()->className() << " " << c.channels;
        EXPECT_EQ(consumer.LastSettings.ChannelCount, c.count) << c.stage->metaObject()->className();
        c.stage->SetQVMeasureSource(nullptr);
    }
}

TEST(SelectorCapabilities, IncompatibleSourceRaisesTheStageMessageAndDisconnects)
{
    struct Case { std::unique_ptr<TQVMLSBase> stage; TQVMeasureSourceCapabilities caps; const char *message; };
    Case cases[] = {
        {std::make_unique<TQVSelectorSingle>(), {mscEquidistant},
         "SelectorSingle: Component needs continuous operation."},
        {std::make_unique<TQVSelectorDual>(), {mscContinuous, mscSingleChannel},
         "SelectorDual: Component needs continuous operation and at least two input channels."},
        {std::make_unique<TQVSelectorDual>(), {mscDualChannel},
         "SelectorDual: Component needs continuous operation and at least two input channels."},
        {std::make_unique<TQVSelectorMatrix>(), {mscEquidistant, mscDualChannel},
         "SelectorMatrix: Component needs continuous operation."},
    };
    for (Case &c : cases) {
        TQVTestSource source;
        source.SetCaps(c.caps);
        source.SetSettings(2);
        try {
            c.stage->SetQVMeasureSource(&source);
            ADD_FAILURE() << "no exception for " << c.message;
        } catch (const EQVMSIncompatibleSource &e) {
            EXPECT_EQ(e.Message(), QString::fromUtf8(c.message));
        }
        EXPECT_EQ(c.stage->GetQVMeasureSource(), nullptr);
        EXPECT_TRUE(source.Links().isEmpty());
    }
}

TEST(SelectorCapabilities, RequestHarmonizedDataWhileUnconnectedIsKeptOnlyBySingle)
{
    TQVSelectorSingle single;
    TQVSelectorDual dual;
    TQVSelectorMatrix matrix;
    for (QObject *stage : std::initializer_list<QObject *>{&single, &dual, &matrix})
        stage->setProperty("RequestHarmonizedData", true);
    EXPECT_TRUE(single.RequestHarmonizedData());
    EXPECT_FALSE(dual.RequestHarmonizedData());
    EXPECT_FALSE(matrix.RequestHarmonizedData());

    // Connected: kept with a source that can harmonize, false with one that cannot.
    TQVTestSource harmonizing, plain;
    harmonizing.SetCaps({mscContinuous, mscCanHarmonize});
    plain.SetCaps({mscContinuous});
    harmonizing.SetSettings(2);
    plain.SetSettings(2);
    for (TQVMLSBase *stage : std::initializer_list<TQVMLSBase *>{&single, &dual, &matrix}) {
        stage->SetQVMeasureSource(&harmonizing);
        stage->setProperty("RequestHarmonizedData", true);
        EXPECT_TRUE(stage->property("RequestHarmonizedData").toBool());
        EXPECT_TRUE(stage->Capabilities().Contains(mscCanHarmonize));
        stage->SetQVMeasureSource(&plain);
        stage->setProperty("RequestHarmonizedData", true);
        EXPECT_FALSE(stage->property("RequestHarmonizedData").toBool());
    }
}

TEST(SelectorMatrix, DefaultLinesRouteEveryChannelToItself)
{
    TQVSelectorMatrix stage;
    ASSERT_EQ(stage.Selector().size(), QVChannelSlots);
    EXPECT_EQ(stage.Selector().at(3), QStringLiteral("3 -> 3"));
    EXPECT_EQ(TQVSelectorMatrix::CreateSelectorEntry(3, 0), QStringLiteral("3 -> 0"));
    TQVRig rig(&stage);
    rig.Tick();
    rig.ExpectRouted(Identity());
    EXPECT_EQ(rig.Out.Last.HeaderWord, QVChannelSlots);
}

TEST(SelectorMatrix, LinesAreReadAsDocumented)
{
    struct Case { const char *line; int input, output; };
    const Case cases[] = {
        {"3 -> 0", 3, 0},
        {"   7    ->    2  ", 7, 2},   // extra blanks around numbers and arrow
        {"70 -> 80", 64, 64},          // clamped
        {"-3 -> +5", 0, 5},
        {"2 -> -7", 2, 0},
        {"4 => 9", 4, 9},              // the arrow token is not checked
        {"4 to 9", 4, 9},
        {"5 -> 0012", 5, 1},           // output cut to as many characters as the arrow plus one
        {"5 --> 0012", 5, 12},
        {"5 -> 1234", 5, 64},          // "123", then clamped
    };
    for (const Case &c : cases) {
        int input = -1, output = -1;
        TQVSelectorMatrix::ConvertSelectorEntry(QString::fromUtf8(c.line), input, output);
        EXPECT_EQ(input, c.input) << c.line;
        EXPECT_EQ(output, c.output) << c.line;
    }
}

TEST(SelectorMatrix, RoutesByTheInstalledLines)
{
    struct Case { QStringList lines; TQVRoute route; };
    const Case cases[] = {
        {{"3 -> 0"}, Route({{0, 3}})},
        {{"   7    ->    2  "}, Route({{2, 7}})},
        {{"70 -> 80"}, Route({{64, 64}})},
        {{"1 -> 5", "1 -> 6"}, Route({{6, 1}})},          // a later line overrides
        {{"4 -> 9", "1 -> 9"}, Route({{9, 4}})},          // the higher input wins
        {{"1 -> 9", "4 -> 9", "0 -> 0"}, Route({{9, 4}, {0, 0}})},
    };
    TQVSelectorMatrix stage;
    TQVRig rig(&stage);
    for (const Case &c : cases) {
        stage.setProperty("Selector", c.lines);
        rig.Tick();
        rig.ExpectRouted(c.route);
        EXPECT_EQ(rig.Out.Last.HeaderWord, c.lines.size());
    }
}

TEST(SelectorMatrix, BadLineRaisesNamingItAndKeepsLinesAndRouting)
{
    struct Case { QStringList lines; const char *message; };
    const Case cases[] = {
        {{"12->3"}, "Selector line 1 (\"12->3\"): '' is not a valid integer value"},
        {{"0 -> 1", "x -> 2"}, "Selector line 2 (\"x -> 2\"): 'x' is not a valid integer value"},
        {{"1 -> 2.5"}, "Selector line 1 (\"1 -> 2.5\"): '2.5' is not a valid integer value"},
        {{"1 ->"}, "Selector line 1 (\"1 ->\"): '' is not a valid integer value"},
        {{"1 -> 2", ""}, "Selector line 2 (\"\"): '' is not a valid integer value"},
        {{"$10 -> 1"}, "Selector line 1 (\"$10 -> 1\"): '$10' is not a valid integer value"},
        {{"99999999999 -> 1"}, "Selector line 1 (\"99999999999 -> 1\"): '99999999999' is not a valid integer value"},
        {{"1 -> 5 6"}, "Selector line 1 (\"1 -> 5 6\"): '5 6' is not a valid integer value"},
        {{"%2 -> 1"}, "Selector line 1 (\"%2 -> 1\"): '%2' is not a valid integer value"},
    };
    TQVSelectorMatrix stage;
    TQVRig rig(&stage);
    const QStringList good{"3 -> 0", "5 -> 1"};
    stage.SetSelector(good);
    const TQVSelectorMatrix::TQVRoutingTable table = stage.RoutingTable();
    for (const Case &c : cases) {
        try {
            stage.SetSelector(c.lines);
            ADD_FAILURE() << "no exception for " << c.message;
        } catch (const EConvertError &e) {
            EXPECT_EQ(e.Message(), QString::fromUtf8(c.message));
        }
        EXPECT_EQ(stage.Selector(), good);
        EXPECT_EQ(stage.RoutingTable(), table);
        EXPECT_EQ(stage.GetQVMeasureSource(), &rig.Generator);
        rig.Tick();
        rig.ExpectRouted(Route({{0, 3}, {1, 5}}));
    }
}

TEST(SelectorMatrix, EmptySelectorRoutesNothingAndInvalidatesDownstreamSettings)
{
    TQVSelectorMatrix stage;
    TQVRig rig(&stage);
    TQVTestConsumer consumer;
    consumer.Connect(&stage);
    TQVSelectorSingle downstream;
    downstream.SetQVMeasureSource(&stage);
    TQVTestConsumer behindDownstream;
    behindDownstream.Connect(&downstream);
    const int settingsCalls = consumer.SettingsCalls;
    const int downstreamCalls = behindDownstream.SettingsCalls;

    stage.SetSelector({});
    EXPECT_EQ(consumer.SettingsCalls, settingsCalls + 1);
    EXPECT_EQ(consumer.LastSettings.ChannelCount, 0);
    EXPECT_FALSE(QVSettingsValid(consumer.LastSettings));
    // A downstream stage ignores invalid settings: it stays connected and passes nothing on.
    EXPECT_EQ(downstream.GetQVMeasureSource(), &stage);
    EXPECT_EQ(behindDownstream.SettingsCalls, downstreamCalls);
    rig.Tick();
    rig.ExpectRouted(Route({}));
    EXPECT_EQ(rig.Out.Last.HeaderWord, 0);
}

TEST(SelectorMatrix, LoadedInstallsTheStoredLines)
{
    TQVSelectorMatrix stage;
    stage.BeginLoading();
    stage.SetSelector({"3 -> 0"});
    EXPECT_EQ(stage.RoutingTable()[3], 3); // not yet installed
    stage.Loaded();
    EXPECT_EQ(stage.RoutingTable()[3], 0);
    EXPECT_EQ(stage.RoutingTable()[0], -1);

    stage.BeginLoading();
    stage.SetSelector({"3 -> 1", "bad"});
    EXPECT_THROW(stage.Loaded(), EConvertError);
    EXPECT_EQ(stage.RoutingTable()[3], 0); // the previous table stays
}
