#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include <QtCore/QVariant>

#include "host/qvSignalGenerator.h"
#include "stream/qvMLSSimpleSources.h"
#include "support/qvTestConsumer.h"

namespace {

using Analyzer = TQVAnalyzer;

/// Records the slots of the last block that reached it, as they were.
struct TQVSlotProbe
{
    explicit TQVSlotProbe(TQVMeasureSource *source)
    {
        Link.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &data) {
            Last = data;
            Samples.assign(data.Channels[0].Data, data.Channels[0].Data + std::max(data.Channels[0].Count, 0));
        };
        Link.SeTQVMeasureSource(source);
    }
    TQVMeasureLink Link{nullptr};
    TQVDescArraySingle Last{};
    std::vector<float> Samples; // copy of channel 0
};

// Two-pass long-double reference, independent of the analyzer's one-pass sums.
long double Reference(Analyzer::TQVMLSCompression compression, const std::vector<float> &x)
{
    const long double n = x.size();
    long double sum = 0, squares = 0, lo = x[0], hi = x[0];
    for (float v : x) {
        sum += v;
        squares += static_cast<long double>(v) * v;
        lo = std::min<long double>(lo, v);
        hi = std::max<long double>(hi, v);
    }
    const long double mean = sum / n;
    long double deviations = 0;
    for (float v : x)
        deviations += (v - mean) * (v - mean);
    switch (compression) {
    case Analyzer::mcoFirst: return x.front();
    case Analyzer::mcoLast: return x.back();
    case Analyzer::mcoAverage: return mean;
    case Analyzer::mcoMin: return lo;
    case Analyzer::mcoMax: return hi;
    case Analyzer::mcoRMS: return std::sqrt(squares / n);
    case Analyzer::mcoDev: return std::sqrt(deviations / (n - 1));
    }
    return NAN;
}

struct TQVAnalyzerRig
{
    // A single-value sink accepts the analyzer only behind a one-channel source.
    explicit TQVAnalyzerRig(int blockLength, int channels = 1, quint32 seed = 1, double offset = 0.5)
        : Consumer(channels == 1 ? TQVTestConsumer::SingleValue : TQVTestConsumer::Plain)
    {
        Generator.SetChannelCount(channels);
        Generator.SetBlockLength(blockLength);
        Generator.SetSeed(seed);
        TQVSignalGenerator::TQVGeneratorChannel noise;
        noise.Waveform = TQVSignalGenerator::wfNoise;
        noise.Amplitude = 2.0;
        noise.Offset = offset;
        Generator.SetChannel(0, noise);
        Stage.SetQVMeasureSource(&Generator);
        Consumer.Connect(&Stage);
    }
    TQVSignalGenerator Generator;
    TQVSlotProbe In{&Generator};
    Analyzer Stage;
    TQVSlotProbe Out{&Stage};
    TQVTestConsumer Consumer;
};

} // namespace

TEST(AnalyzerReductions, MatchALongDoubleReference)
{
    const Analyzer::TQVMLSCompression all[] = {Analyzer::mcoFirst, Analyzer::mcoLast, Analyzer::mcoAverage,
                                               Analyzer::mcoMin, Analyzer::mcoMax, Analyzer::mcoRMS,
                                               Analyzer::mcoDev};
    // A large offset makes sums of too little precision visibly wrong at the larger sizes.
    for (double offset : {0.5, 10000.0})
    for (int n : {1, 2, 7, 1000, 4097, 65537}) {
        for (Analyzer::TQVMLSCompression c : all) {
            TQVAnalyzerRig rig(n, 1, quint32(n), offset);
            rig.Stage.SetCompression(c);
            rig.Generator.Tick();
            ASSERT_EQ(rig.Consumer.Blocks.size(), 1u);
            ASSERT_EQ(rig.Consumer.Blocks[0].Channels[0].size(), 1u);
            const float got = rig.Consumer.Blocks[0].Channels[0][0];
            if (c == Analyzer::mcoDev && n == 1) {
                EXPECT_FALSE(std::isfinite(got)) << "one-sample deviation divides by zero";
                continue;
            }
            const long double want = Reference(c, rig.In.Samples);
            const bool exact = c == Analyzer::mcoFirst || c == Analyzer::mcoLast || c == Analyzer::mcoMin
                || c == Analyzer::mcoMax;
            // Two float roundings at most (the deviation's quotient and its root); the RMS
            // bit for bit: RmsIsTheFloatOfTheExtendedSum.
            const long double tolerance = exact ? 0.0L : std::ldexp(std::fabs(want), -22);
            EXPECT_NEAR(got, want, tolerance) << "compression " << int(c) << ", n = " << n << ", offset " << offset;
        }
    }
}

// The RMS equals, bit for bit, the float of the sequential 80-bit sum, whatever the
// spread of magnitudes within a block, including overflow to infinity and NaN.
TEST(AnalyzerReductions, RmsIsTheFloatOfTheExtendedSum)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> mantissa(-1.0f, 1.0f);
    std::uniform_int_distribution<int> length(1, 3000);
    for (int trial = 0; trial < 2000; ++trial) {
        const int spread = trial % 5 == 0 ? 120 : trial % 3 == 0 ? 30 : 0;
        std::uniform_int_distribution<int> exponent(-spread, spread);
        std::vector<float> x(std::size_t(length(random)));
        for (float &v : x)
            v = std::ldexp(mantissa(random), exponent(random));
        long double squares = 0.0L;
        for (float v : x)
            squares += static_cast<long double>(v) * v;
        const float want = float(std::sqrt(squares / x.size()));
        ASSERT_EQ(Analyzer::Compress(Analyzer::mcoRMS, x.data(), int(x.size())), want) << "trial " << trial;
    }
    const float huge[] = {3e38f, 3e38f, 1.0f};
    EXPECT_EQ(Analyzer::Compress(Analyzer::mcoRMS, huge, 3), float(std::sqrt((2.0L * 9e76L + 1) / 3)));
    const float infinite[] = {1.0f, INFINITY};
    EXPECT_EQ(Analyzer::Compress(Analyzer::mcoRMS, infinite, 2), INFINITY);
    const float undefined[] = {NAN, 1.0f};
    EXPECT_TRUE(std::isnan(Analyzer::Compress(Analyzer::mcoRMS, undefined, 2)));
}

TEST(AnalyzerOutput, OnlyChannelZeroCarriesOneValueFromAPrivateCopy)
{
    TQVAnalyzerRig rig(16, 5);
    rig.Stage.SetCompression(Analyzer::mcoMax);
    TQVMeasureSourceSettings source{};
    rig.Generator.GetSettings(source);
    const TQVMeasureSourceSettings &told = rig.Consumer.LastSettings; // the source's, unchanged
    EXPECT_EQ(told.ChannelCount, 5);
    EXPECT_EQ(told.BlockLength, 16);
    EXPECT_EQ(told.XSpan, source.XSpan);
    const float *previous = nullptr;
    for (int tick = 0; tick < 3; ++tick) {
        rig.Generator.Tick();
        const TQVDescArraySingle &out = rig.Out.Last;
        EXPECT_EQ(out.Channels[0].Count, 1);
        EXPECT_NE(out.Channels[0].Data, rig.In.Last.Channels[0].Data);
        for (int k = 1; k < QVChannelSlots; ++k) {
            EXPECT_EQ(out.Channels[k].Data, nullptr) << k;
            EXPECT_EQ(out.Channels[k].Count, 0) << k;
        }
        EXPECT_EQ(out.HeaderWord, 5);
        EXPECT_EQ(out.HeaderValueA, rig.In.Last.HeaderValueA);
        // The sender's samples are untouched; the buffer is reused from block to block.
        EXPECT_TRUE(std::equal(rig.In.Samples.begin(), rig.In.Samples.end(), rig.In.Last.Channels[0].Data));
        if (previous) {
            EXPECT_EQ(out.Channels[0].Data, previous);
        }
        previous = out.Channels[0].Data;
    }
}

TEST(AnalyzerOutput, EmptyChannelZeroGoesOutEmpty)
{
    TQVTestSource source;
    source.SetCaps({mscEquidistant}); // not continuous, invalid settings: still accepted
    Analyzer stage;
    int calls = 0;
    stage.OnUserData = [&](float &, QVDescArraySingle) { ++calls; };
    EXPECT_NO_THROW(stage.SetQVMeasureSource(&source));
    EXPECT_EQ(stage.GetQVMeasureSource(), &source);
    EXPECT_EQ(stage.Capabilities(), TQVMeasureSourceCapabilities({mscEquidistant, mscSingleValue}));
    TQVSlotProbe out(&stage);
    TQVTestBlock block(3, 0);
    source.Send(block.Block);
    EXPECT_EQ(out.Last.Channels[0].Data, nullptr);
    EXPECT_EQ(out.Last.Channels[0].Count, 0);
    EXPECT_EQ(out.Last.HeaderWord, 3);
    EXPECT_EQ(calls, 0);
}

TEST(Analyzer, ACompressionOutsideTheListIsIgnored)
{
    Analyzer stage;
    stage.setProperty("Compression", int(Analyzer::mcoRMS));
    for (int bad : {7, -1, 255})
        stage.setProperty("Compression", bad);
    EXPECT_EQ(stage.Compression(), Analyzer::mcoRMS);
}

TEST(AnalyzerUserData, ReplacesCompressionAndGetsTheSamplesWithAZeroValue)
{
    TQVAnalyzerRig rig(9);
    rig.Stage.SetCompression(Analyzer::mcoMax);
    float valueIn = -1.0f;
    std::vector<float> seen;
    rig.Stage.OnUserData = [&](float &value, QVDescArraySingle data) {
        valueIn = value;
        seen.assign(data.Data, data.Data + data.Count);
        EXPECT_NE(data.Data, rig.In.Last.Channels[0].Data); // the analyzer's own copy
        value = float(data.Count) + 0.25f;
    };
    std::vector<float> emitted;
    QObject::connect(&rig.Stage, &Analyzer::Analyzed, [&](float value) { emitted.push_back(value); });
    rig.Generator.Tick();
    EXPECT_EQ(valueIn, 0.0f);
    EXPECT_EQ(seen, rig.In.Samples);
    ASSERT_EQ(rig.Consumer.Blocks.size(), 1u);
    EXPECT_EQ(rig.Consumer.Blocks[0].Channels[0], std::vector<float>{9.25f});
    EXPECT_EQ(emitted, std::vector<float>{9.25f});
}

TEST(AnalyzerOutput, ABlockRequestedDuringDeliveryLeavesTheCurrentValueAlone)
{
    TQVAnalyzerRig rig(32);
    std::vector<float> firstSamples;
    TQVMeasureLink requester(nullptr);
    requester.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) {
        if (firstSamples.empty()) {
            firstSamples = rig.In.Samples;
            rig.Generator.RequestData(); // a nested block reaches every link first
        }
    };
    requester.SeTQVMeasureSource(&rig.Stage);
    TQVTestConsumer last;
    last.Connect(&rig.Stage);
    rig.Generator.Tick();
    ASSERT_EQ(last.Blocks.size(), 2u);
    EXPECT_EQ(last.Blocks[0].Channels[0], std::vector<float>{rig.In.Samples.front()});
    EXPECT_EQ(last.Blocks[1].Channels[0], std::vector<float>{firstSamples.front()});
    EXPECT_NE(firstSamples.front(), rig.In.Samples.front());
}
