#include <gtest/gtest.h>

#include <array>
#include <tuple>

#include <QtCore/QVariant>

#include "host/qvSignalGenerator.h"
#include "stream/qvMLSSimpleSources.h"
#include "stream/qvMLSTrigger.h"
#include "support/qvTestConsumer.h"

namespace {

using TQVRoute = std::array<int, QVChannelSlots>; // output slot -> input slot, -1 for empty

/// Generator (every channel in use) -> stage, with a probe on either side keeping the last
/// block as it was, slot pointers included.
struct TQVRig
{
    explicit TQVRig(TQVMLSBase *stage)
    {
        Generator.SetChannelCount(QVChannelSlots);
        Generator.SetBlockLength(8);
        stage->SetQVMeasureSource(&Generator);
        In.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &data) { LastIn = data; };
        Out.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &data) {
            LastOut = data;
            ++OutBlocks;
        };
        In.SeTQVMeasureSource(&Generator);
        Out.SeTQVMeasureSource(stage);
    }
    /// Sends a block; the stage's output must hold the sender's arrays (no copy) as routed.
    void ExpectRouted(const TQVRoute &route, int headerWord = QVChannelSlots)
    {
        const int before = OutBlocks;
        Generator.Tick();
        ASSERT_EQ(OutBlocks, before + 1);
        EXPECT_EQ(LastOut.HeaderWord, headerWord);
        for (int k = 0; k < QVChannelSlots; ++k) {
            const int from = route[std::size_t(k)];
            const QVDescArraySingle expected = from < 0 ? QVDescArraySingle{nullptr, 0} : LastIn.Channels[from];
            EXPECT_EQ(LastOut.Channels[k].Data, expected.Data) << "output " << k;
            EXPECT_EQ(LastOut.Channels[k].Count, expected.Count) << "output " << k;
        }
    }

    TQVSignalGenerator Generator;
    TQVMeasureLink In{nullptr}, Out{nullptr};
    TQVDescArraySingle LastIn{}, LastOut{};
    int OutBlocks = 0;
};

TQVRoute Route(std::initializer_list<std::pair<int, int>> pairs)
{
    TQVRoute route;
    route.fill(-1);
    for (auto [out, in] : pairs)
        route[std::size_t(out)] = in;
    return route;
}

} // namespace

// Dual takes channel 1 after channel 0 was replaced: Channel1 = 0 repeats Channel0's pick.
// Channels outside 0 to 64 are ignored.
TEST(Selector, SingleAndDualRouteTheChosenChannels)
{
    TQVSelectorSingle single;
    TQVRig singleRig(&single);
    for (int channel : {0, 3, 64}) {
        single.setProperty("Channel0", channel);
        single.setProperty("Channel0", -1);
        single.setProperty("Channel0", 65);
        singleRig.ExpectRouted(Route({{0, channel}}));
    }
    TQVSelectorDual dual;
    TQVRig dualRig(&dual);
    for (auto [c0, c1, from1] : {std::tuple{2, 0, 2}, std::tuple{2, 5, 5}, std::tuple{3, 1, 1}, std::tuple{64, 64, 64}}) {
        dual.setProperty("Channel0", c0);
        dual.setProperty("Channel1", c1);
        for (const char *name : {"Channel0", "Channel1"}) {
            dual.setProperty(name, -1);
            dual.setProperty(name, 1000);
        }
        dualRig.ExpectRouted(Route({{0, c0}, {1, from1}}));
    }
}

// The trigger's and the stage base's messages too.
TEST(Selector, CapabilitiesAndChannelCountFollowTheSourceOrItsMessageIsRaised)
{
    using Caps = TQVMeasureSourceCapabilities;
    const Caps base{mscContinuous, mscEquidistant, mscCanHarmonize};
    const char *dualMessage = "SelectorDual: Component needs continuous operation and at least two input channels.";
    TQVSelectorSingle single;
    TQVSelectorDual dual;
    TQVSelectorMatrix matrix, matrix3;
    TQVMLSTrigger trigger;
    TQVMLSBase plain;
    matrix3.SetSelector({"0 -> 0", "1 -> 1", "2 -> 2"});
    struct Case { TQVMLSBase *stage; Caps source; int channels; Caps caps; int count; const char *message; };
    const Case cases[] = {
        {&single, base, 4, base + mscSingleChannel, 1, nullptr},
        {&single, base + mscDualChannel, 2, base + mscSingleChannel, 1, nullptr},
        {&dual, base, 4, base + mscDualChannel, 2, nullptr},
        {&dual, base + mscDualChannel, 2, base + mscDualChannel, 2, nullptr},
        {&matrix, base, 4, base, 4, nullptr},
        {&matrix, base + mscDualChannel, 2, base + mscDualChannel, 2, nullptr},
        {&matrix3, base, 4, base, 3, nullptr},
        {&single, {mscEquidistant}, 2, {}, 0, "SelectorSingle: Component needs continuous operation."},
        {&dual, {mscContinuous, mscSingleChannel}, 2, {}, 0, dualMessage},
        {&dual, {mscDualChannel}, 2, {}, 0, dualMessage},
        {&matrix, {mscEquidistant, mscDualChannel}, 2, {}, 0, "SelectorMatrix: Component needs continuous operation."},
        {&trigger, {mscEquidistant}, 1, {}, 0, "Trigger: Component needs continuous operation."},
        {&plain, {mscEquidistant, mscSingleChannel}, 1, {}, 0, "Component needs continuous operation."},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.stage->metaObject()->className() << ", caps " << int(c.source.Bits()));
        TQVTestSource source(c.source, c.channels);
        if (c.message) {
            try {
                c.stage->SetQVMeasureSource(&source);
                ADD_FAILURE() << "no exception";
            } catch (const EQVMSIncompatibleSource &e) {
                EXPECT_EQ(e.Message(), QString::fromUtf8(c.message));
            }
            EXPECT_EQ(c.stage->GetQVMeasureSource(), nullptr);
            EXPECT_TRUE(source.Links().isEmpty());
            continue;
        }
        c.stage->SetQVMeasureSource(&source);
        TQVTestConsumer consumer;
        consumer.Connect(c.stage);
        EXPECT_EQ(c.stage->Capabilities(), c.caps);
        EXPECT_EQ(consumer.LastSettings.ChannelCount, c.count);
        c.stage->SetQVMeasureSource(nullptr);
    }
}

TEST(SelectorMatrix, LinesAreReadAsDocumented)
{
    struct Case { const char *line; int input, output; };
    const Case cases[] = {
        {"3 -> 0", 3, 0},
        {"   7    ->    2  ", 7, 2}, // extra blanks around numbers and arrow
        {"70 -> 80", 64, 64},        // clamped
        {"-3 -> +5", 0, 5},
        {"2 -> -7", 2, 0},
        {"4 => 9", 4, 9},            // the arrow token is not checked
        {"4 to 9", 4, 9},
        {"5 -> 0012", 5, 1},         // output cut to as many characters as the arrow plus one
        {"5 --> 0012", 5, 12},
        {"5 -> 1234", 5, 64},        // "123", then clamped
    };
    for (const Case &c : cases) {
        int input = -1, output = -1;
        TQVSelectorMatrix::ConvertSelectorEntry(QString::fromUtf8(c.line), input, output);
        EXPECT_EQ(input, c.input) << c.line;
        EXPECT_EQ(output, c.output) << c.line;
    }
}

// The default lines route every channel to itself; a later line overrides an earlier one for
// the same input, and the higher input wins a shared output. HeaderWord is the line count.
TEST(SelectorMatrix, RoutesByTheInstalledLines)
{
    TQVSelectorMatrix stage;
    TQVRig rig(&stage);
    TQVTestConsumer consumer;
    consumer.Connect(&stage);
    ASSERT_EQ(stage.Selector().size(), QVChannelSlots);
    EXPECT_EQ(stage.Selector().at(3), QStringLiteral("3 -> 3"));
    TQVRoute identity;
    for (int k = 0; k < QVChannelSlots; ++k)
        identity[std::size_t(k)] = k;
    rig.ExpectRouted(identity);

    struct Case { QStringList lines; TQVRoute route; };
    const Case cases[] = {
        {{"1 -> 5", "1 -> 6"}, Route({{6, 1}})},
        {{"4 -> 9", "1 -> 9"}, Route({{9, 4}})},
        {{"1 -> 9", "4 -> 9", "0 -> 0"}, Route({{9, 4}, {0, 0}})},
        {{}, Route({})}, // routes nothing, and the settings become invalid downstream
    };
    for (const Case &c : cases) {
        stage.setProperty("Selector", c.lines);
        EXPECT_EQ(consumer.LastSettings.ChannelCount, c.lines.size());
        rig.ExpectRouted(c.route, int(c.lines.size()));
    }
}

// Everything is read before anything changes: the lines, the table and the routing stay.
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
    }
    EXPECT_EQ(stage.GetQVMeasureSource(), &rig.Generator);
    rig.ExpectRouted(Route({{0, 3}, {1, 5}}), 2);
}

TEST(SelectorMatrix, LoadedInstallsTheStoredLinesOrKeepsThePreviousTable)
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
    EXPECT_EQ(stage.RoutingTable()[3], 0);
}
