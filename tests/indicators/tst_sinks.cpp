#include "indicators/QVMLSingleSinks.h"
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include <QtCore/QVariant>

#include "host/qvSignalGenerator.h"
#include "stream/qvMLSSimpleSources.h"
#include "support/qvTestConsumer.h"

// The sinks on real chains: a signal generator feeds an RMS analyzer, whose single values
// the sinks show. A plain tap on the generator keeps the raw block, from which the test
// computes the expected RMS itself in long double.

namespace {

struct TQVRmsChain
{
    TQVRmsChain()
    {
        Generator.SetBlockLength(256);
        Generator.SetAmplitude(2.0);
        Generator.SetOffset(0.5);
        Generator.SetNoiseAmplitude(0.25);
        Analyzer.SetCompression(TQVAnalyzer::mcoRMS);
        Analyzer.SetQVMeasureSource(&Generator);
        Tap.Connect(&Generator);
    }
    // One block through the chain; returns its RMS computed here.
    long double Tick()
    {
        Generator.Tick();
        const std::vector<float> &x = Tap.Blocks.back().Channels[0];
        long double squares = 0;
        for (float v : x)
            squares += static_cast<long double>(v) * v;
        return std::sqrt(squares / x.size());
    }
    TQVSignalGenerator Generator;
    TQVAnalyzer Analyzer;
    TQVTestConsumer Tap;
};

// A source that reports single values of one channel in -1..1 and sends chosen blocks.
struct TQVValueSource : TQVTestSource
{
    TQVValueSource()
    {
        SetCaps({mscContinuous, mscSingleChannel, mscSingleValue});
        SetSettings(1);
    }
    void SendSamples(std::vector<float> x)
    {
        TQVDescArraySingle block{};
        block.Channels[0] = {x.empty() ? nullptr : x.data(), qint32(x.size())};
        Send(block);
    }
};

// The sinks with a numeric `Value`; the LED joins them where only the input matters.
using TQVMakeSink = std::function<std::unique_ptr<QWidget>()>;
const std::vector<TQVMakeSink> kNumericSinks{[] { return std::make_unique<TQVPanelMeter>(); },
                                             [] { return std::make_unique<TQVMeter>(); },
                                             [] { return std::make_unique<TQVBarGraph>(); }};

double Value(QWidget *sink) { return sink->property("Value").toDouble(); }
TQVSingleValueSink *Input(QWidget *w) { return dynamic_cast<TQVSingleValueSink *>(w); }

} // namespace

TEST(SinksData, EveryDisplayShowsTheFirstValueOfEachBlock)
{
    for (const TQVMakeSink &make : kNumericSinks) {
        std::unique_ptr<QWidget> sink = make();
        SCOPED_TRACE(sink->metaObject()->className());
        TQVRmsChain chain;
        ASSERT_TRUE(sink->setProperty("MeasureSource", QVariant::fromValue<TQVMeasureSource *>(&chain.Analyzer)));
        EXPECT_EQ(Input(sink.get())->MeasureSource(), &chain.Analyzer);
        for (int block = 0; block < 4; ++block) {
            const long double rms = chain.Tick();
            EXPECT_NEAR(Value(sink.get()), double(rms), double(2 * FLT_EPSILON * rms)) << "block " << block;
        }

        // Only the first sample of a block counts; empty blocks change nothing.
        TQVValueSource source;
        Input(sink.get())->SetMeasureSource(&source);
        source.SendSamples({0.75f, -0.5f, 0.25f});
        EXPECT_EQ(Value(sink.get()), 0.75);
        source.SendSamples({});
        TQVDescArraySingle nullData{};
        nullData.Channels[0].Count = 5; // a count without samples
        source.Send(nullData);
        EXPECT_EQ(Value(sink.get()), 0.75);
    }

    // An empty block through the analyzer leaves the LED as it is.
    TQVTestSource raw;
    raw.SetCaps({mscContinuous, mscSingleChannel});
    raw.SetSettings(1);
    TQVAnalyzer analyzer;
    analyzer.SetQVMeasureSource(&raw);
    TQVLed led;
    led.SetMeasureSource(&analyzer);
    int changes = 0;
    QObject::connect(&led, &TQVLedInt::ValueChanged, [&changes] { ++changes; });
    TQVTestBlock one(1, 4); // samples 0, 1, 2, 3: the first is 0, not over 0
    raw.Send(one.Block);
    EXPECT_FALSE(led.Value());
    led.SetLimit(-1.0f);
    EXPECT_TRUE(led.Value());
    TQVTestBlock empty(1, 0);
    raw.Send(empty.Block);
    EXPECT_TRUE(led.Value());
    EXPECT_EQ(changes, 1);
}

TEST(SinksAutoConfig, MeterKeepsItsDivisionsAndBarGraphTakesTheRange)
{
    // {min, max, gap, source range, divisions the scale had (halves to even, none gives one)}
    struct Case { double min, max, gap; float low, high; int divisions; };
    for (const Case &c : {Case{0, 100, 10, -1, 1, 10}, Case{0, 25, 10, -5, 5, 2}, Case{0, 35, 10, 0, 7, 4},
                          Case{0, 1, 5, -2, 2, 1}}) {
        SCOPED_TRACE(c.max);
        TQVValueSource source;
        source.Settings.RangeMin = c.low;
        source.Settings.RangeMax = c.high;
        TQVMeter meter;
        meter.SetValueMax(c.max);
        meter.SetValueMin(c.min);
        meter.SetValueGap(c.gap);
        ASSERT_EQ(meter.ValueMin(), c.min);
        ASSERT_EQ(meter.ValueMax(), c.max);
        ASSERT_EQ(meter.ValueGap(), c.gap);
        meter.SetMeasureSource(&source);
        EXPECT_EQ(meter.ValueMin(), c.low);
        EXPECT_EQ(meter.ValueMax(), c.high);
        EXPECT_DOUBLE_EQ(meter.ValueGap(), double((static_cast<long double>(c.high) - c.low) / c.divisions));
    }

    // The bar graph follows the generator's range down the chain, also when it changes later.
    TQVRmsChain chain;
    TQVBarGraph bar;
    TQVMeter meter;
    EXPECT_TRUE(bar.AutoConfig());
    EXPECT_TRUE(meter.property("AutoConfig").toBool());
    bar.SetMeasureSource(&chain.Analyzer);
    EXPECT_EQ(bar.ValueMin(), -1.75);
    EXPECT_EQ(bar.ValueMax(), 2.75);
    chain.Generator.SetAmplitude(4.0);
    EXPECT_EQ(bar.ValueMin(), -3.75);
    EXPECT_EQ(bar.ValueMax(), 4.75);

    // Without AutoConfig the scales take nothing from the source.
    bar.SetAutoConfig(false);
    meter.SetAutoConfig(false);
    const double meterMin = meter.ValueMin(), meterMax = meter.ValueMax(), meterGap = meter.ValueGap();
    meter.SetMeasureSource(&chain.Analyzer);
    chain.Generator.SetAmplitude(1.0);
    EXPECT_EQ(bar.ValueMin(), -3.75);
    EXPECT_EQ(bar.ValueMax(), 4.75);
    EXPECT_EQ(meter.ValueMin(), meterMin);
    EXPECT_EQ(meter.ValueMax(), meterMax);
    EXPECT_EQ(meter.ValueGap(), meterGap);
}

TEST(SinksConnection, RefusesAllButSingleValuesAndForgetsDestroyedSources)
{
    std::vector<TQVMakeSink> makers = kNumericSinks;
    makers.push_back([] { return std::make_unique<TQVLed>(); });
    for (const TQVMakeSink &make : makers) {
        std::unique_ptr<QWidget> widget = make();
        TQVSingleValueSink *sink = Input(widget.get());
        SCOPED_TRACE(widget->metaObject()->className());

        // Two channels behind the analyzer, and a raw stream of one channel.
        TQVRmsChain chain;
        chain.Generator.SetChannelCount(2);
        for (TQVMeasureSource *source : {static_cast<TQVMeasureSource *>(&chain.Analyzer),
                                         static_cast<TQVMeasureSource *>(&chain.Generator)}) {
            if (source == &chain.Generator)
                chain.Generator.SetChannelCount(1);
            // Its message through the meta-object: QtFace.SourcesThroughTheMetaObject.
            EXPECT_THROW(sink->SetMeasureSource(source), EQVMSIncompatibleSource);
            EXPECT_EQ(sink->MeasureSource(), nullptr);
            EXPECT_FALSE(source->Links().contains(sink->InputLink()));
        }

        // A source that turns into two channels while connected throws out of the change
        // and leaves the sink unconnected.
        sink->SetMeasureSource(&chain.Analyzer);
        ASSERT_EQ(sink->MeasureSource(), &chain.Analyzer);
        EXPECT_THROW(chain.Generator.SetChannelCount(2), EQVMSIncompatibleSource);
        EXPECT_EQ(sink->MeasureSource(), nullptr);

        // A destroyed source leaves the sink unconnected; a destroyed sink leaves the source.
        auto source = std::make_unique<TQVValueSource>();
        sink->SetMeasureSource(source.get());
        source.reset();
        EXPECT_EQ(sink->MeasureSource(), nullptr);
        TQVValueSource survivor;
        sink->SetMeasureSource(&survivor);
        widget.reset();
        EXPECT_TRUE(survivor.Links().isEmpty());
        survivor.SendSamples({1.0f});
    }
}

// The comparison rules are the lamp's (LedCompare); received values must reach them.
TEST(SinksLed, ThresholdsAreFloatsAndReevaluateOnlyOnRealChanges)
{
    TQVValueSource source;
    TQVLed led;
    EXPECT_EQ(led.Compare(), TQVLed::cmpOver);
    EXPECT_EQ(led.Limit(), 0.0f);
    led.SetMeasureSource(&source);
    int changes = 0;
    QObject::connect(&led, &TQVLedInt::ValueChanged, [&changes] { ++changes; });

    // A threshold is a 32-bit float: 0.1 is stored as 0.1f, which 0.1f does not exceed.
    ASSERT_TRUE(led.setProperty("Limit", 0.1));
    EXPECT_EQ(led.property("Limit").toFloat(), 0.1f);
    source.SendSamples({0.1f});
    EXPECT_FALSE(led.Value());
    EXPECT_EQ(changes, 0);

    source.SendSamples({5.0f});
    EXPECT_TRUE(led.Value());
    led.SetLimit(10.0f); // re-evaluates 5 without a new sample
    EXPECT_FALSE(led.Value());
    EXPECT_EQ(changes, 2);

    // With the lamp forced on, writes that change nothing must not re-evaluate it.
    led.SetValue(true);
    led.SetLimit(10.0f);
    led.setProperty("Limit", 10.0000001); // the same float
    led.SetLimit(NAN);
    led.SetCompare(TQVLed::cmpOver);
    led.SetRangeLower(0.0f);
    led.SetRangeUpper(0.0f);
    EXPECT_TRUE(led.Value());
    EXPECT_EQ(changes, 3);
    led.SetRangeUpper(8.0f); // a real change re-evaluates (still cmpOver: 5 > 10 is off)
    EXPECT_FALSE(led.Value());
    led.SetValue(true);
    led.SetCompare(TQVLed::cmpInRange); // 0 <= 5 <= 8
    EXPECT_TRUE(led.Value());
    led.SetRangeLower(6.0f);
    EXPECT_FALSE(led.Value());
    EXPECT_EQ(changes, 6);
}
