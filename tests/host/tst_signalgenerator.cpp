#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>
#include <QtCore/QVariant>

#include "framework/qvMeasIntf.h"
#include "host/qvSignalGenerator.h"
#include "support/qvTestConsumer.h"

// The signal generator against closed forms computed here in long double: sample n of a
// channel is Offset + Amplitude * w(frac(Phase + n * Frequency / SampleRate)), n counted
// from the start of the stream over every block.

namespace {

using Gen = TQVSignalGenerator;
using GenChannel = TQVSignalGenerator::TQVGeneratorChannel;

GenChannel MakeChannel(Gen::TQVWaveform waveform, double frequency, double amplitude, double offset,
                       double phase = 0.0, double noise = 0.0)
{
    GenChannel c;
    c.Waveform = waveform;
    c.Frequency = frequency;
    c.Amplitude = amplitude;
    c.Offset = offset;
    c.Phase = phase;
    c.NoiseAmplitude = noise;
    return c;
}

long double Frac(long double x)
{
    return x - std::floor(x);
}

long double PhaseAt(const GenChannel &c, long double sampleRate, long long n)
{
    return Frac(static_cast<long double>(c.Phase)
                + static_cast<long double>(n) * static_cast<long double>(c.Frequency) / sampleRate);
}

// Unit waveform at phase p in [0, 1): sine, its sign, and the triangle with the sine's
// zero crossings and peaks.
long double UnitWave(Gen::TQVWaveform waveform, long double p)
{
    constexpr long double twoPi = 2.0L * std::numbers::pi_v<long double>;
    switch (waveform) {
    case Gen::wfSine:
        return std::sin(twoPi * p);
    case Gen::wfSquare:
        return p < 0.5L ? 1.0L : -1.0L;
    case Gen::wfTriangle:
        return 2.0L / std::numbers::pi_v<long double> * std::asin(std::sin(twoPi * p));
    case Gen::wfDC:
        return 1.0L;
    case Gen::wfNoise:
        break;
    }
    return std::numeric_limits<long double>::quiet_NaN();
}

// Float samples: a few roundings of the operands and of the result.
long double Tolerance(const GenChannel &c)
{
    return 4.0L * FLT_EPSILON * (std::fabs(static_cast<long double>(c.Offset)) + std::fabs(static_cast<long double>(c.Amplitude)))
        + 1e-30L;
}

long double Expected(const GenChannel &c, long double sampleRate, long long n)
{
    return static_cast<long double>(c.Offset)
        + static_cast<long double>(c.Amplitude) * UnitWave(c.Waveform, PhaseAt(c, sampleRate, n));
}

// The square jumps at phases 0 and 1/2; a sample that lands on a jump within rounding of
// the accumulated phase may take either side.
bool OnSquareEdge(long double p)
{
    return p < 1e-9L || std::fabs(p - 0.5L) < 1e-9L || p > 1.0L - 1e-9L;
}

::testing::AssertionResult MatchesClosedForm(const std::vector<float> &samples, const GenChannel &c,
                                             long double sampleRate, long long firstSample = 0)
{
    const long double tol = Tolerance(c);
    std::size_t checked = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const long long n = firstSample + static_cast<long long>(i);
        const long double p = PhaseAt(c, sampleRate, n);
        if (c.Waveform == Gen::wfSquare && OnSquareEdge(p))
            continue;
        const long double want = Expected(c, sampleRate, n);
        if (!(std::fabs(static_cast<long double>(samples[i]) - want) <= tol))
            return ::testing::AssertionFailure()
                << "sample " << n << ": got " << samples[i] << ", expected " << static_cast<double>(want)
                << " (phase " << static_cast<double>(p) << ", tolerance " << static_cast<double>(tol) << ")";
        ++checked;
    }
    if (samples.empty() || checked < samples.size() / 2)
        return ::testing::AssertionFailure() << "only " << checked << " of " << samples.size() << " samples checked";
    return ::testing::AssertionSuccess();
}

// Channel `channel` of the blocks received by `consumer`, concatenated.
std::vector<float> Stream(const TQVTestConsumer &consumer, int channel, std::size_t firstBlock = 0)
{
    std::vector<float> out;
    for (std::size_t b = firstBlock; b < consumer.Blocks.size(); ++b) {
        const std::vector<float> &slot = consumer.Blocks[b].Channels[std::size_t(channel)];
        out.insert(out.end(), slot.begin(), slot.end());
    }
    return out;
}

::testing::AssertionResult SameSamples(const std::vector<float> &a, const std::vector<float> &b)
{
    if (a.size() != b.size())
        return ::testing::AssertionFailure() << a.size() << " samples against " << b.size();
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i])
            return ::testing::AssertionFailure() << "sample " << i << ": " << a[i] << " against " << b[i];
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult SameSamples(const std::vector<std::vector<float>> &a,
                                       const std::vector<std::vector<float>> &b)
{
    if (a.size() != b.size())
        return ::testing::AssertionFailure() << a.size() << " slots against " << b.size();
    for (std::size_t k = 0; k < a.size(); ++k)
        if (::testing::AssertionResult same = SameSamples(a[k], b[k]); !same)
            return ::testing::AssertionFailure() << "slot " << k << ": " << same.message();
    return ::testing::AssertionSuccess();
}

TQVMeasureSourceSettings SettingsOf(const TQVMeasureSource &source)
{
    TQVMeasureSourceSettings settings{};
    source.GetSettings(settings);
    return settings;
}

long double StartTime(long long firstSample, double sampleRate)
{
    return static_cast<long double>(firstSample) / static_cast<long double>(sampleRate);
}

void ExpectStartTime(long double got, long long firstSample, double sampleRate)
{
    const long double want = StartTime(firstSample, sampleRate);
    EXPECT_NEAR(static_cast<double>(got), static_cast<double>(want), 1e-15 * (1.0 + static_cast<double>(want)))
        << "block starting at sample " << firstSample;
}

void ExpectSameChannel(const GenChannel &a, const GenChannel &b)
{
    EXPECT_EQ(a.Waveform, b.Waveform);
    EXPECT_EQ(a.Frequency, b.Frequency);
    EXPECT_EQ(a.Amplitude, b.Amplitude);
    EXPECT_EQ(a.Offset, b.Offset);
    EXPECT_EQ(a.NoiseAmplitude, b.NoiseAmplitude);
    EXPECT_EQ(a.Phase, b.Phase);
}

void ExpectSameSettings(const TQVMeasureSourceSettings &a, const TQVMeasureSourceSettings &b)
{
    EXPECT_EQ(static_cast<long double>(a.XStart), static_cast<long double>(b.XStart));
    EXPECT_EQ(static_cast<long double>(a.XSpan), static_cast<long double>(b.XSpan));
    EXPECT_EQ(a.ChannelCount, b.ChannelCount);
    EXPECT_EQ(a.BlockLength, b.BlockLength);
    EXPECT_EQ(a.HarmonizedBlockLength, b.HarmonizedBlockLength);
    EXPECT_EQ(a.RangeMin, b.RangeMin);
    EXPECT_EQ(a.RangeMax, b.RangeMax);
}

// Envelope of the documented ranges: DC sits at Offset + Amplitude, the other waveforms
// swing by |Amplitude| around Offset, the added noise by |NoiseAmplitude|.
void ExpectedRange(const std::vector<GenChannel> &channels, long double &low, long double &high)
{
    low = std::numeric_limits<long double>::infinity();
    high = -low;
    for (const GenChannel &c : channels) {
        const long double noise = std::fabs(static_cast<long double>(c.NoiseAmplitude));
        const long double centre = c.Waveform == Gen::wfDC ? static_cast<long double>(c.Offset) + c.Amplitude
                                                           : static_cast<long double>(c.Offset);
        const long double swing = c.Waveform == Gen::wfDC ? 0.0L : std::fabs(static_cast<long double>(c.Amplitude));
        low = std::min(low, centre - swing - noise);
        high = std::max(high, centre + swing + noise);
    }
}

struct Moments
{
    long double Mean = 0;
    long double MeanSquare = 0;
    long double Lag1Correlation = 0;
    long double Min = std::numeric_limits<long double>::infinity();
    long double Max = -std::numeric_limits<long double>::infinity();
};

Moments MomentsOf(const std::vector<long double> &x)
{
    Moments m;
    const long double n = static_cast<long double>(x.size());
    for (long double v : x) {
        m.Mean += v;
        m.MeanSquare += v * v;
        m.Min = std::min(m.Min, v);
        m.Max = std::max(m.Max, v);
    }
    m.Mean /= n;
    m.MeanSquare /= n;
    long double cov = 0;
    for (std::size_t i = 1; i < x.size(); ++i)
        cov += (x[i] - m.Mean) * (x[i - 1] - m.Mean);
    cov /= n - 1;
    m.Lag1Correlation = cov / (m.MeanSquare - m.Mean * m.Mean);
    return m;
}

// Processes events until `done` holds or the deadline passes; false on the deadline.
template <typename Predicate>
bool PumpUntil(Predicate done, int timeoutMs = 5000)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QThread::msleep(1);
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------------
// Waveforms

TEST(SignalGenerator, DeterministicWaveformsFollowTheClosedFormAcrossBlocks)
{
    struct Setup
    {
        double sampleRate;
        int blockLength;
        double frequency, amplitude, offset, phase;
    };
    const Setup setups[] = {
        {48000.0, 100, 1000.0, 1.0, 0.0, 0.0},
        {44100.0, 333, 440.5, 2.5, -0.75, 0.3},
        {10000.0, 64, 1234.5678, 0.01, 3.0, 0.9},
        {48000.0, 257, 30000.0, -1.5, 0.25, -0.25}, // above half the rate; negative start phase
    };
    constexpr int blocks = 7;
    for (Gen::TQVWaveform waveform : {Gen::wfSine, Gen::wfSquare, Gen::wfTriangle, Gen::wfDC}) {
        for (const Setup &s : setups) {
            SCOPED_TRACE(::testing::Message() << "waveform " << int(waveform) << ", f " << s.frequency << ", A "
                                              << s.amplitude << ", O " << s.offset << ", phase " << s.phase
                                              << ", rate " << s.sampleRate << ", block " << s.blockLength);
            Gen generator;
            generator.SetSampleRate(s.sampleRate);
            generator.SetBlockLength(s.blockLength);
            const GenChannel c = MakeChannel(waveform, s.frequency, s.amplitude, s.offset, s.phase);
            generator.SetChannel(0, c);
            TQVTestConsumer consumer;
            consumer.Connect(&generator);
            for (int b = 0; b < blocks; ++b)
                generator.Tick();

            ASSERT_EQ(consumer.Blocks.size(), std::size_t(blocks));
            for (int b = 0; b < blocks; ++b) {
                EXPECT_EQ(consumer.Blocks[std::size_t(b)].Channels[0].size(), std::size_t(s.blockLength));
                ExpectStartTime(consumer.Blocks[std::size_t(b)].HeaderValueA, static_cast<long long>(b) * s.blockLength,
                                s.sampleRate);
            }
            EXPECT_TRUE(MatchesClosedForm(Stream(consumer, 0), c, s.sampleRate));
            EXPECT_EQ(generator.SamplesGenerated(), static_cast<qint64>(blocks) * s.blockLength);
        }
    }
}

TEST(SignalGenerator, ChannelsCarryTheirOwnSetupAndUnusedSlotsStayEmpty)
{
    constexpr double rate = 20000.0;
    constexpr int length = 150;
    Gen generator;
    generator.SetSampleRate(rate);
    generator.SetBlockLength(length);
    // The published properties set channel 0, which keeps its setup when channels are added.
    generator.SetFrequency(50.0);
    generator.SetAmplitude(1.0);
    generator.SetOffset(0.5);
    generator.SetChannelCount(4);
    ASSERT_EQ(generator.ChannelCount(), 4);

    std::vector<GenChannel> channels = {
        MakeChannel(Gen::wfSine, 50.0, 1.0, 0.5),
        MakeChannel(Gen::wfSquare, 333.3, 2.0, -1.0, 0.45),
        MakeChannel(Gen::wfTriangle, 7000.0, 0.5, 10.0, 0.6),
        MakeChannel(Gen::wfDC, 123.0, 1.25, -3.0),
    };
    ExpectSameChannel(generator.Channel(0), channels[0]);
    for (int k = 1; k < 4; ++k)
        generator.SetChannel(k, channels[std::size_t(k)]);
    for (int k = 0; k < 4; ++k)
        ExpectSameChannel(generator.Channel(k), channels[std::size_t(k)]);

    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    constexpr int blocks = 5;
    for (int b = 0; b < blocks; ++b)
        generator.Tick();
    ASSERT_EQ(consumer.Blocks.size(), std::size_t(blocks));
    for (const TQVTestConsumer::Block &block : consumer.Blocks) {
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(block.Channels[std::size_t(k)].size(), std::size_t(length)) << "channel " << k;
        for (int k = 4; k < QVChannelSlots; ++k)
            EXPECT_TRUE(block.Channels[std::size_t(k)].empty()) << "slot " << k;
    }

    const TQVMeasureSourceSettings settings = SettingsOf(generator);
    long double low = 0, high = 0;
    ExpectedRange(channels, low, high);
    EXPECT_FLOAT_EQ(settings.RangeMin, static_cast<float>(low));
    EXPECT_FLOAT_EQ(settings.RangeMax, static_cast<float>(high));
    for (int k = 0; k < 4; ++k) {
        SCOPED_TRACE(::testing::Message() << "channel " << k);
        const std::vector<float> stream = Stream(consumer, k);
        EXPECT_TRUE(MatchesClosedForm(stream, channels[std::size_t(k)], rate));
        for (float x : stream) {
            ASSERT_GE(x, settings.RangeMin);
            ASSERT_LE(x, settings.RangeMax);
        }
    }
}

TEST(SignalGenerator, AllSixtyFiveSlotsCanCarryAChannel)
{
    Gen generator;
    generator.SetBlockLength(40);
    generator.SetChannelCount(QVChannelSlots);
    ASSERT_EQ(generator.ChannelCount(), QVChannelSlots);
    const GenChannel last = MakeChannel(Gen::wfTriangle, 2500.0, 3.0, -1.0, 0.125);
    generator.SetChannel(QVMaxChannel, last);
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    generator.Tick();
    generator.Tick();
    ASSERT_EQ(consumer.Blocks.size(), 2u);
    for (int k = 0; k < QVChannelSlots; ++k)
        EXPECT_EQ(consumer.Blocks[1].Channels[std::size_t(k)].size(), 40u) << "slot " << k;
    EXPECT_TRUE(MatchesClosedForm(Stream(consumer, QVMaxChannel), last, generator.SampleRate()));
    EXPECT_EQ(consumer.LastSettings.ChannelCount, QVChannelSlots);
}

TEST(SignalGenerator, PhaseStaysContinuousWhenTheFrequencyChanges)
{
    constexpr double rate = 8000.0;
    constexpr int length = 90;
    Gen generator;
    generator.SetSampleRate(rate);
    generator.SetBlockLength(length);
    generator.SetChannel(0, MakeChannel(Gen::wfSine, 100.0, 2.0, 0.0, 0.2));
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    generator.Tick();
    generator.Tick();
    generator.SetFrequency(733.0);
    generator.Tick();
    generator.Tick();

    // Phase at sample n of the second part: where the first part ended plus the new steps.
    const std::vector<float> stream = Stream(consumer, 0);
    ASSERT_EQ(stream.size(), std::size_t(4 * length));
    const long double split = 2.0L * length;
    int bad = 0;
    for (std::size_t i = 0; i < stream.size(); ++i) {
        const long double n = static_cast<long double>(i);
        const long double cycles = n < split ? 0.2L + n * 100.0L / rate
                                             : 0.2L + split * 100.0L / rate + (n - split) * 733.0L / rate;
        const long double want = 2.0L * std::sin(2.0L * std::numbers::pi_v<long double> * Frac(cycles));
        if (!(std::fabs(stream[i] - want) <= 8.0L * FLT_EPSILON) && bad++ < 5)
            ADD_FAILURE() << "sample " << i << ": got " << stream[i] << ", expected " << static_cast<double>(want);
    }
    EXPECT_EQ(bad, 0);
}

TEST(SignalGenerator, SquareIsHighOverTheFirstHalfCycle)
{
    // Eight samples per period with an exact binary phase step: the half-open halves
    // [0, 1/2) and [1/2, 1) hold four samples each, in blocks that cut periods anywhere.
    Gen generator;
    generator.SetSampleRate(8000.0);
    generator.SetBlockLength(12);
    generator.SetChannel(0, MakeChannel(Gen::wfSquare, 1000.0, 2.0, 1.0));
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    for (int b = 0; b < 10; ++b)
        generator.Tick();
    const std::vector<float> stream = Stream(consumer, 0);
    ASSERT_EQ(stream.size(), 120u);
    for (std::size_t i = 0; i < stream.size(); ++i)
        ASSERT_EQ(stream[i], i % 8 < 4 ? 3.0f : -1.0f) << "sample " << i;
}

// ---------------------------------------------------------------------------------------
// Noise

TEST(SignalGenerator, NoiseWaveformIsUniformWithinTheAmplitude)
{
    constexpr double amplitude = 0.8;
    constexpr double offset = 0.5;
    Gen generator;
    generator.SetSeed(12345);
    generator.SetBlockLength(4096);
    generator.SetChannel(0, MakeChannel(Gen::wfNoise, 1000.0, amplitude, offset));
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    for (int b = 0; b < 50; ++b)
        generator.Tick();

    const std::vector<float> stream = Stream(consumer, 0);
    ASSERT_EQ(stream.size(), 50u * 4096u);
    std::vector<long double> u;
    u.reserve(stream.size());
    const long double bound = amplitude * (1.0L + 4.0L * FLT_EPSILON) + 4.0L * FLT_EPSILON * offset;
    for (float x : stream) {
        const long double d = static_cast<long double>(x) - offset;
        ASSERT_LE(std::fabs(d), bound) << "sample " << x;
        u.push_back(d / amplitude);
    }
    // u uniform in [-1, 1): mean 0, variance 1/3, var(u^2) = 4/45; six standard errors.
    const long double n = static_cast<long double>(u.size());
    const Moments m = MomentsOf(u);
    EXPECT_NEAR(static_cast<double>(m.Mean), 0.0, static_cast<double>(6.0L * std::sqrt(1.0L / 3.0L / n)));
    EXPECT_NEAR(static_cast<double>(m.MeanSquare), 1.0 / 3.0, static_cast<double>(6.0L * std::sqrt(4.0L / 45.0L / n)));
    EXPECT_NEAR(static_cast<double>(std::sqrt(m.MeanSquare) * amplitude), amplitude / std::sqrt(3.0), 0.01 * amplitude);
    EXPECT_NEAR(static_cast<double>(m.Lag1Correlation), 0.0, static_cast<double>(6.0L / std::sqrt(n)));
    // With this many draws both ends of the range are reached.
    EXPECT_LT(m.Min, -0.99L);
    EXPECT_GT(m.Max, 0.99L);

    const TQVMeasureSourceSettings settings = SettingsOf(generator);
    EXPECT_FLOAT_EQ(settings.RangeMin, static_cast<float>(offset - amplitude));
    EXPECT_FLOAT_EQ(settings.RangeMax, static_cast<float>(offset + amplitude));
}

TEST(SignalGenerator, AddedNoiseIsBoundedAndCentredOnTheWaveform)
{
    constexpr double rate = 48000.0;
    constexpr double noise = 0.2;
    Gen generator;
    generator.SetSeed(777);
    generator.SetBlockLength(3000);
    const GenChannel c = MakeChannel(Gen::wfSine, 1000.0, 1.0, -0.5, 0.0, noise);
    generator.SetChannel(0, c);
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    for (int b = 0; b < 60; ++b)
        generator.Tick();

    const std::vector<float> stream = Stream(consumer, 0);
    ASSERT_EQ(stream.size(), 60u * 3000u);
    std::vector<long double> r;
    r.reserve(stream.size());
    const long double bound = noise + 8.0L * FLT_EPSILON * 2.0L;
    for (std::size_t i = 0; i < stream.size(); ++i) {
        const long double d = static_cast<long double>(stream[i]) - Expected(c, rate, static_cast<long long>(i));
        ASSERT_LE(std::fabs(d), bound) << "sample " << i;
        r.push_back(d / noise);
    }
    const long double n = static_cast<long double>(r.size());
    const Moments m = MomentsOf(r);
    // The float rounding of the samples adds far less than these tolerances.
    EXPECT_NEAR(static_cast<double>(m.Mean), 0.0, static_cast<double>(6.0L * std::sqrt(1.0L / 3.0L / n)));
    EXPECT_NEAR(static_cast<double>(m.MeanSquare), 1.0 / 3.0, static_cast<double>(6.0L * std::sqrt(4.0L / 45.0L / n)) + 1e-4);
    EXPECT_LT(m.Min, -0.99L);
    EXPECT_GT(m.Max, 0.99L);

    const TQVMeasureSourceSettings settings = SettingsOf(generator);
    EXPECT_FLOAT_EQ(settings.RangeMin, static_cast<float>(-0.5 - 1.0 - noise));
    EXPECT_FLOAT_EQ(settings.RangeMax, static_cast<float>(-0.5 + 1.0 + noise));
}

TEST(SignalGenerator, NoiseIsReproducibleForASeedAndDiffersForAnother)
{
    auto record = [](quint32 seed, TQVTestConsumer &consumer, Gen &generator) {
        generator.SetSeed(seed);
        generator.SetBlockLength(500);
        generator.SetChannelCount(2);
        generator.SetChannel(0, MakeChannel(Gen::wfNoise, 1.0, 1.0, 0.0));
        generator.SetChannel(1, MakeChannel(Gen::wfTriangle, 300.0, 1.0, 0.0, 0.0, 0.5));
        consumer.Connect(&generator);
        for (int b = 0; b < 4; ++b)
            generator.Tick();
    };
    Gen ga, gb, gc;
    TQVTestConsumer a, b, c;
    record(42, a, ga);
    record(42, b, gb);
    record(43, c, gc);
    for (int k = 0; k < 2; ++k) {
        SCOPED_TRACE(::testing::Message() << "channel " << k);
        const std::vector<float> sa = Stream(a, k), sb = Stream(b, k), sc = Stream(c, k);
        ASSERT_EQ(sa.size(), 2000u);
        EXPECT_TRUE(SameSamples(sa, sb));
        ASSERT_EQ(sc.size(), sa.size());
        std::size_t differing = 0;
        for (std::size_t i = 0; i < sa.size(); ++i)
            differing += sa[i] != sc[i] ? 1 : 0;
        EXPECT_GT(differing, sa.size() * 99 / 100);
    }
    // Within one stream the blocks do not repeat each other.
    EXPECT_NE(a.Blocks[0].Channels[0], a.Blocks[1].Channels[0]);
}

// ---------------------------------------------------------------------------------------
// Settings and capabilities

TEST(SignalGenerator, SettingsAndCapabilitiesDescribeTheStream)
{
    struct Case
    {
        int channels, blockLength, harmonized;
        double rate;
    };
    const Case cases[] = {
        {1, 1024, 1024, 48000.0}, {2, 1000, 256, 44100.0}, {3, 500, 0, 1000.0},
        {1, 1, 0, 10.0},          {2, 1, 1, 8000.0},       {1, 2, 2, 500.0},
        {QVChannelSlots, 7, 3, 123.25},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.channels << " channels, block " << c.blockLength << ", harmonized "
                                          << c.harmonized << ", rate " << c.rate);
        Gen generator;
        generator.SetChannelCount(c.channels);
        generator.SetBlockLength(c.blockLength);
        generator.SetHarmonizedBlockLength(c.harmonized);
        generator.SetSampleRate(c.rate);

        TQVMeasureSourceSettings settings{};
        for (std::uint8_t &byte : settings.HostArea)
            byte = 0xA5;
        generator.GetSettings(settings);
        EXPECT_EQ(static_cast<long double>(settings.XStart), 0.0L);
        EXPECT_NEAR(static_cast<double>(static_cast<long double>(settings.XSpan)), c.blockLength / c.rate,
                    1e-15 * c.blockLength / c.rate);
        EXPECT_EQ(static_cast<long double>(settings.XSpan),
                  static_cast<long double>(c.blockLength) / static_cast<long double>(c.rate));
        EXPECT_EQ(settings.ChannelCount, c.channels);
        EXPECT_EQ(settings.BlockLength, c.blockLength);
        EXPECT_EQ(settings.HarmonizedBlockLength, c.harmonized);
        EXPECT_TRUE(QVSettingsValid(settings));
        EXPECT_EQ(settings.HostArea[0], 0xA5); // the host's area is the caller's
        EXPECT_EQ(settings.HostArea[255], 0xA5);

        TQVMeasureSourceCapabilities expected{mscContinuous, mscEquidistant};
        if (c.harmonized > 0)
            expected.Include(mscCanHarmonize);
        if (c.channels == 1)
            expected.Include(mscSingleChannel);
        if (c.channels == 2)
            expected.Include(mscDualChannel);
        if (c.blockLength == 1)
            expected.Include(mscSingleValue);
        EXPECT_EQ(generator.Capabilities().Bits(), expected.Bits());

        // The link variants agree with the capabilities.
        TQVTestConsumer single(TQVTestConsumer::SingleChannel);
        TQVTestConsumer dual(TQVTestConsumer::DualChannel);
        TQVTestConsumer value(TQVTestConsumer::SingleValue);
        for (TQVTestConsumer *consumer : {&single, &dual, &value}) {
            try {
                consumer->Connect(&generator);
            } catch (const EQVMSIncompatibleSource &) {
            }
        }
        EXPECT_EQ(single.Link().Source() != nullptr, c.channels == 1);
        EXPECT_EQ(dual.Link().Source() != nullptr, c.channels == 2);
        EXPECT_EQ(value.Link().Source() != nullptr, c.channels == 1 && c.blockLength == 1);

        TQVTestConsumer plain;
        plain.Connect(&generator);
        generator.Tick();
        ASSERT_EQ(plain.Blocks.size(), 1u);
        for (int k = 0; k < QVChannelSlots; ++k)
            EXPECT_EQ(plain.Blocks[0].Channels[std::size_t(k)].size(), std::size_t(k < c.channels ? c.blockLength : 0))
                << "slot " << k;
    }
}

TEST(SignalGenerator, RangeIsTheEnvelopeOfAllChannels)
{
    Gen generator;
    generator.SetChannelCount(3);
    const std::vector<GenChannel> channels = {
        MakeChannel(Gen::wfSquare, 100.0, -2.0, 1.0, 0.0, 0.25), // negative amplitude swings the same
        MakeChannel(Gen::wfDC, 0.0, 4.0, 3.0, 0.0, 0.5),         // DC sits at 7, noise around it
        MakeChannel(Gen::wfNoise, 0.0, 0.5, -6.0),
    };
    for (int k = 0; k < 3; ++k)
        generator.SetChannel(k, channels[std::size_t(k)]);
    long double low = 0, high = 0;
    ExpectedRange(channels, low, high);
    ASSERT_EQ(low, -6.5L);
    ASSERT_EQ(high, 7.5L);
    const TQVMeasureSourceSettings settings = SettingsOf(generator);
    EXPECT_FLOAT_EQ(settings.RangeMin, -6.5f);
    EXPECT_FLOAT_EQ(settings.RangeMax, 7.5f);

    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    for (int b = 0; b < 4; ++b)
        generator.Tick();
    for (int k = 0; k < 3; ++k)
        for (float x : Stream(consumer, k)) {
            ASSERT_GE(x, settings.RangeMin) << "channel " << k;
            ASSERT_LE(x, settings.RangeMax) << "channel " << k;
        }
}

// ---------------------------------------------------------------------------------------
// Harmonized delivery

TEST(SignalGenerator, HarmonizingLinkGetsTheSameStreamInHarmonizedBlocks)
{
    struct Case
    {
        int blockLength, harmonized, ticks;
        bool harmonizingFirst;
    };
    const Case cases[] = {
        {1000, 256, 5, false}, {1000, 256, 5, true}, {100, 256, 12, false},
        {256, 256, 3, true},   {1, 3, 10, false},    {700, 1000, 4, false},
    };
    constexpr double rate = 32000.0;
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << "block " << c.blockLength << ", harmonized " << c.harmonized
                                          << (c.harmonizingFirst ? ", harmonizing link first" : ""));
        auto configure = [&](Gen &g) {
            g.SetSampleRate(rate);
            g.SetBlockLength(c.blockLength);
            g.SetHarmonizedBlockLength(c.harmonized);
            g.SetChannelCount(2);
            g.SetChannel(0, MakeChannel(Gen::wfSine, 441.0, 1.0, 0.0, 0.1));
            g.SetChannel(1, MakeChannel(Gen::wfTriangle, 97.0, 2.0, 1.0, 0.0, 0.1));
        };
        Gen generator, reference;
        configure(generator);
        configure(reference);
        ASSERT_TRUE(generator.Capabilities().Contains(mscCanHarmonize));

        TQVTestConsumer natural, harmonizing, alone;
        if (c.harmonizingFirst)
            harmonizing.Connect(&generator);
        natural.Connect(&generator);
        if (!c.harmonizingFirst)
            harmonizing.Connect(&generator);
        EXPECT_TRUE(harmonizing.Link().SetHarmonize(true));
        EXPECT_TRUE(generator.GetHarmonizeData(&harmonizing.Link()));
        EXPECT_FALSE(generator.GetHarmonizeData(&natural.Link()));
        alone.Connect(&reference);
        for (int t = 0; t < c.ticks; ++t) {
            generator.Tick();
            reference.Tick();
        }

        // The natural link sees exactly what it would see without a harmonizing neighbour.
        ASSERT_EQ(natural.Blocks.size(), std::size_t(c.ticks));
        ASSERT_EQ(alone.Blocks.size(), std::size_t(c.ticks));
        for (std::size_t b = 0; b < natural.Blocks.size(); ++b) {
            EXPECT_TRUE(SameSamples(natural.Blocks[b].Channels, alone.Blocks[b].Channels)) << "block " << b;
            EXPECT_EQ(static_cast<long double>(natural.Blocks[b].HeaderValueA),
                      static_cast<long double>(alone.Blocks[b].HeaderValueA));
        }

        const long long total = static_cast<long long>(c.ticks) * c.blockLength;
        const std::size_t expectedBlocks = std::size_t(total / c.harmonized);
        ASSERT_EQ(harmonizing.Blocks.size(), expectedBlocks);
        for (std::size_t b = 0; b < expectedBlocks; ++b) {
            const TQVTestConsumer::Block &block = harmonizing.Blocks[b];
            EXPECT_EQ(block.Channels[0].size(), std::size_t(c.harmonized)) << "block " << b;
            EXPECT_EQ(block.Channels[1].size(), std::size_t(c.harmonized)) << "block " << b;
            EXPECT_TRUE(block.Channels[2].empty());
            ExpectStartTime(block.HeaderValueA, static_cast<long long>(b) * c.harmonized, rate);
        }
        for (int k = 0; k < 2; ++k) {
            std::vector<float> naturalStream = Stream(natural, k);
            naturalStream.resize(expectedBlocks * std::size_t(c.harmonized));
            EXPECT_TRUE(SameSamples(Stream(harmonizing, k), naturalStream)) << "channel " << k;
        }

        // Without the flag the link is back on the natural blocks.
        EXPECT_TRUE(harmonizing.Link().SetHarmonize(false));
        harmonizing.Blocks.clear();
        generator.Tick();
        ASSERT_EQ(harmonizing.Blocks.size(), 1u);
        EXPECT_EQ(harmonizing.Blocks[0].Channels[0].size(), std::size_t(c.blockLength));
        ExpectStartTime(harmonizing.Blocks[0].HeaderValueA, total, rate);
        EXPECT_TRUE(SameSamples(harmonizing.Blocks[0].Channels, natural.Blocks.back().Channels));
    }
}

TEST(SignalGenerator, WithoutHarmonizedLengthEveryLinkGetsTheNaturalBlocks)
{
    Gen generator;
    generator.SetBlockLength(100);
    generator.SetHarmonizedBlockLength(0);
    EXPECT_FALSE(generator.Capabilities().Contains(mscCanHarmonize));
    EXPECT_EQ(SettingsOf(generator).HarmonizedBlockLength, 0);
    TQVTestConsumer natural, asking;
    natural.Connect(&generator);
    asking.Connect(&generator);
    asking.Link().SetHarmonize(true);
    generator.Tick();
    generator.Tick();
    ASSERT_EQ(natural.Blocks.size(), 2u);
    ASSERT_EQ(asking.Blocks.size(), 2u);
    for (std::size_t b = 0; b < 2; ++b) {
        EXPECT_TRUE(SameSamples(asking.Blocks[b].Channels, natural.Blocks[b].Channels));
        EXPECT_EQ(asking.Blocks[b].Channels[0].size(), 100u);
    }
}

// ---------------------------------------------------------------------------------------
// Setters

TEST(SignalGenerator, InvalidValuesAreIgnoredWithoutRippleOrLostState)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double inf = std::numeric_limits<double>::infinity();
    auto configure = [](Gen &g) {
        g.SetSampleRate(8000.0);
        g.SetBlockLength(128);
        g.SetHarmonizedBlockLength(64);
        g.SetChannelCount(2);
        g.SetChannel(0, MakeChannel(Gen::wfSine, 100.0, 1.5, 0.25, 0.2));
        g.SetChannel(1, MakeChannel(Gen::wfSquare, 130.0, 1.0, -1.0, 0.0, 0.1));
        g.SetSeed(9);
    };
    Gen generator, twin;
    configure(generator);
    configure(twin);
    TQVTestConsumer consumer, twinConsumer;
    consumer.Connect(&generator);
    twinConsumer.Connect(&twin);
    generator.Tick();
    twin.Tick();

    const int calls = consumer.SettingsCalls;
    const TQVMeasureSourceSettings before = SettingsOf(generator);
    const TQVMeasureSourceCapabilities caps = generator.Capabilities();
    const GenChannel c0 = generator.Channel(0), c1 = generator.Channel(1);

    generator.SetChannelCount(0);
    generator.SetChannelCount(-3);
    generator.SetChannelCount(QVChannelSlots + 1);
    generator.SetBlockLength(0);
    generator.SetBlockLength(-1);
    generator.SetBlockLength(Gen::MaxBlockLength + 1);
    generator.SetHarmonizedBlockLength(-1);
    generator.SetSampleRate(0.0);
    generator.SetSampleRate(-1.0);
    generator.SetSampleRate(nan);
    generator.SetSampleRate(inf);
    GenChannel bad = MakeChannel(Gen::wfTriangle, 500.0, 3.0, 2.0, 0.5, 0.0);
    for (int field = 0; field < 5; ++field) {
        GenChannel c = bad;
        double *target[] = {&c.Frequency, &c.Amplitude, &c.Offset, &c.NoiseAmplitude, &c.Phase};
        *target[field] = nan;
        generator.SetChannel(0, c);
        *target[field] = -inf;
        generator.SetChannel(1, c);
    }
    generator.SetChannel(-1, bad);
    generator.SetChannel(2, bad);
    generator.SetChannel(QVChannelSlots, bad);
    generator.SetFrequency(nan);
    generator.SetAmplitude(inf);
    generator.SetOffset(nan);
    generator.SetNoiseAmplitude(nan);

    EXPECT_EQ(consumer.SettingsCalls, calls);
    ExpectSameSettings(SettingsOf(generator), before);
    EXPECT_EQ(generator.Capabilities().Bits(), caps.Bits());
    EXPECT_EQ(generator.ChannelCount(), 2);
    EXPECT_EQ(generator.BlockLength(), 128);
    EXPECT_EQ(generator.HarmonizedBlockLength(), 64);
    EXPECT_EQ(generator.SampleRate(), 8000.0);
    ExpectSameChannel(generator.Channel(0), c0);
    ExpectSameChannel(generator.Channel(1), c1);
    // Outside the channels there is nothing to read.
    ExpectSameChannel(generator.Channel(2), GenChannel{});
    ExpectSameChannel(generator.Channel(-1), GenChannel{});

    // The stream goes on as if nothing had been asked.
    generator.Tick();
    twin.Tick();
    ASSERT_EQ(consumer.Blocks.size(), 2u);
    ASSERT_EQ(twinConsumer.Blocks.size(), 2u);
    EXPECT_TRUE(SameSamples(consumer.Blocks[1].Channels, twinConsumer.Blocks[1].Channels));
    EXPECT_EQ(static_cast<long double>(consumer.Blocks[1].HeaderValueA),
              static_cast<long double>(twinConsumer.Blocks[1].HeaderValueA));
}

TEST(SignalGenerator, UnknownWaveformIsIgnored)
{
    Gen generator;
    generator.SetChannel(0, MakeChannel(Gen::wfTriangle, 1000.0, 1.0, 0.0));
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    const int calls = consumer.SettingsCalls;

    generator.SetWaveform(static_cast<Gen::TQVWaveform>(5));
    GenChannel c = generator.Channel(0);
    c.Waveform = static_cast<Gen::TQVWaveform>(7);
    generator.SetChannel(0, c);
    generator.setProperty("Waveform", QVariant(6)); // as a form or a stored configuration would write it

    EXPECT_EQ(generator.Waveform(), Gen::wfTriangle);
    EXPECT_EQ(consumer.SettingsCalls, calls);
    generator.Tick();
    ASSERT_EQ(consumer.Blocks.size(), 1u);
    EXPECT_TRUE(MatchesClosedForm(Stream(consumer, 0), MakeChannel(Gen::wfTriangle, 1000.0, 1.0, 0.0),
                                  generator.SampleRate()));
}

TEST(SignalGenerator, SettingsChangesRippleToTheLinks)
{
    Gen generator;
    TQVTestConsumer consumer;
    consumer.Connect(&generator);
    EXPECT_GE(consumer.SettingsCalls, 1);

    int calls = consumer.SettingsCalls;
    auto rippled = [&]() {
        const bool grew = consumer.SettingsCalls > calls;
        calls = consumer.SettingsCalls;
        return grew;
    };

    generator.SetBlockLength(512);
    EXPECT_TRUE(rippled());
    EXPECT_EQ(consumer.LastSettings.BlockLength, 512);
    EXPECT_EQ(static_cast<long double>(consumer.LastSettings.XSpan), 512.0L / static_cast<long double>(generator.SampleRate()));

    generator.SetSampleRate(10000.0);
    EXPECT_TRUE(rippled());
    EXPECT_EQ(static_cast<long double>(consumer.LastSettings.XSpan), 512.0L / 10000.0L);

    generator.SetHarmonizedBlockLength(0);
    EXPECT_TRUE(rippled());
    EXPECT_EQ(consumer.LastSettings.HarmonizedBlockLength, 0);

    generator.SetChannelCount(3);
    EXPECT_TRUE(rippled());
    EXPECT_EQ(consumer.LastSettings.ChannelCount, 3);

    generator.SetAmplitude(2.0);
    EXPECT_TRUE(rippled());
    EXPECT_FLOAT_EQ(consumer.LastSettings.RangeMax, 2.0f);

    generator.SetOffset(1.0);
    EXPECT_TRUE(rippled());
    EXPECT_FLOAT_EQ(consumer.LastSettings.RangeMax, 3.0f);

    generator.SetChannel(2, MakeChannel(Gen::wfDC, 0.0, 5.0, 4.0));
    EXPECT_TRUE(rippled());
    EXPECT_FLOAT_EQ(consumer.LastSettings.RangeMax, 9.0f);

    generator.SetNoiseAmplitude(0.5);
    EXPECT_TRUE(rippled());
    EXPECT_FLOAT_EQ(consumer.LastSettings.RangeMin, -1.5f);

    generator.SetWaveform(Gen::wfDC); // channel 0 now sits at 3 +- 0.5; channel 1 swings -1..1
    EXPECT_TRUE(rippled());
    EXPECT_FLOAT_EQ(consumer.LastSettings.RangeMin, -1.0f);
    EXPECT_FLOAT_EQ(consumer.LastSettings.RangeMax, 9.0f);
}

TEST(SignalGenerator, IncompatibleLinkVariantsRaiseAndEndDisconnected)
{
    struct Case
    {
        TQVTestConsumer::LinkKind kind;
        int channels, blockLength;
        std::function<void(Gen &)> change;
        const char *message;
    };
    const Case cases[] = {
        {TQVTestConsumer::SingleChannel, 1, 64, [](Gen &g) { g.SetChannelCount(2); },
         "Component can process only values from channel 0!"},
        {TQVTestConsumer::DualChannel, 2, 64, [](Gen &g) { g.SetChannelCount(3); },
         "Component can process only values from the channels 0 and 1!"},
        {TQVTestConsumer::SingleValue, 1, 1, [](Gen &g) { g.SetBlockLength(16); },
         "Component can process only individual values from channel 0!"},
        {TQVTestConsumer::SingleValue, 1, 1, [](Gen &g) { g.SetChannelCount(2); },
         "Component can process only individual values from channel 0!"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.message);
        Gen generator;
        generator.SetChannelCount(c.channels);
        generator.SetBlockLength(c.blockLength);
        TQVTestConsumer plain;
        TQVTestConsumer picky(c.kind);
        plain.Connect(&generator);
        ASSERT_NO_THROW(picky.Connect(&generator));
        ASSERT_EQ(picky.Link().Source(), &generator);

        // A compatible change passes the check and reaches the owner.
        const int calls = picky.SettingsCalls;
        EXPECT_NO_THROW(generator.SetSampleRate(12345.0));
        EXPECT_GT(picky.SettingsCalls, calls);
        EXPECT_EQ(picky.Link().Source(), &generator);

        try {
            c.change(generator);
            ADD_FAILURE() << "expected EQVMSIncompatibleSource";
        } catch (const EQVMSIncompatibleSource &e) {
            EXPECT_EQ(e.Message(), QString::fromUtf8(c.message));
        }
        EXPECT_EQ(picky.Link().Source(), nullptr);
        EXPECT_FALSE(generator.Links().contains(&picky.Link()));
        EXPECT_EQ(plain.Link().Source(), &generator);

        // The change itself took place; only the refusing consumer is gone.
        const TQVMeasureSourceSettings settings = SettingsOf(generator);
        const std::size_t before = picky.Blocks.size();
        generator.Tick();
        EXPECT_EQ(picky.Blocks.size(), before);
        ASSERT_FALSE(plain.Blocks.empty());
        for (int k = 0; k < settings.ChannelCount; ++k)
            EXPECT_EQ(plain.Blocks.back().Channels[std::size_t(k)].size(), std::size_t(settings.BlockLength));
    }
}

// ---------------------------------------------------------------------------------------
// Delivery: run state, timer, requests, reset

TEST(SignalGenerator, RunAndStopReachEveryLinkOnce)
{
    Gen generator;
    TQVTestConsumer first, second;
    first.Connect(&generator);
    second.Connect(&generator);
    std::vector<TQVMeasureSourceState> signalled;
    QObject::connect(&generator, &Gen::StateChanged, [&](TQVMeasureSourceState s) { signalled.push_back(s); });

    EXPECT_FALSE(generator.IsRunning());
    generator.Stop(); // already stopped: nothing to announce
    EXPECT_TRUE(first.States.empty());

    generator.Run();
    EXPECT_TRUE(generator.IsRunning());
    EXPECT_EQ(generator.State(), mssRun);
    generator.Run();
    generator.Stop();
    EXPECT_FALSE(generator.IsRunning());
    EXPECT_EQ(generator.State(), mssStop);
    generator.Stop();

    const std::vector<TQVMeasureSourceState> expected{mssRun, mssStop};
    EXPECT_EQ(first.States, expected);
    EXPECT_EQ(second.States, expected);
    EXPECT_EQ(signalled, expected);
}

TEST(SignalGenerator, TimerDeliversContinuousBlocksWhileRunning)
{
    constexpr double rate = 48000.0;
    constexpr int length = 96; // a 2 ms period
    Gen generator;
    generator.SetSampleRate(rate);
    generator.SetBlockLength(length);
    const GenChannel c = MakeChannel(Gen::wfSine, 750.0, 1.0, 0.0, 0.05);
    generator.SetChannel(0, c);
    TQVTestConsumer consumer;
    consumer.Connect(&generator);

    // Nothing arrives without running.
    QCoreApplication::processEvents();
    EXPECT_TRUE(consumer.Blocks.empty());

    generator.Run();
    const bool arrived = PumpUntil([&] { return consumer.Blocks.size() >= 3; });
    generator.Stop();
    ASSERT_TRUE(arrived) << "no three blocks within the deadline";

    const std::size_t delivered = consumer.Blocks.size();
    EXPECT_EQ(generator.SamplesGenerated(), static_cast<qint64>(delivered) * length);
    for (std::size_t b = 0; b < delivered; ++b)
        ExpectStartTime(consumer.Blocks[b].HeaderValueA, static_cast<long long>(b) * length, rate);
    EXPECT_TRUE(MatchesClosedForm(Stream(consumer, 0), c, rate));
    EXPECT_EQ(consumer.States, (std::vector<TQVMeasureSourceState>{mssRun, mssStop}));

    // Once stopped the timer is quiet.
    PumpUntil([] { return false; }, 50);
    EXPECT_EQ(consumer.Blocks.size(), delivered);
}

TEST(SignalGenerator, RequestDataDeliversOneBlockOfTheStream)
{
    Gen generator;
    generator.SetBlockLength(200);
    const GenChannel c = MakeChannel(Gen::wfSquare, 310.0, 0.5, 0.5, 0.3);
    generator.SetChannel(0, c);
    TQVTestConsumer consumer;
    consumer.Connect(&generator);

    generator.RequestData();
    ASSERT_EQ(consumer.Blocks.size(), 1u);
    EXPECT_EQ(consumer.Blocks[0].Channels[0].size(), 200u);
    ExpectStartTime(consumer.Blocks[0].HeaderValueA, 0, generator.SampleRate());
    generator.Tick();
    generator.RequestData();
    ASSERT_EQ(consumer.Blocks.size(), 3u);
    ExpectStartTime(consumer.Blocks[2].HeaderValueA, 400, generator.SampleRate());
    EXPECT_TRUE(MatchesClosedForm(Stream(consumer, 0), c, generator.SampleRate()));
    EXPECT_FALSE(generator.IsRunning());
}

TEST(SignalGenerator, ResetRestartsPhaseTimeAndNoise)
{
    Gen generator;
    generator.SetBlockLength(100);
    generator.SetHarmonizedBlockLength(64);
    generator.SetChannelCount(3);
    generator.SetSeed(2024);
    generator.SetChannel(0, MakeChannel(Gen::wfSine, 1100.0, 1.0, 0.0, 0.4));
    generator.SetChannel(1, MakeChannel(Gen::wfNoise, 0.0, 2.0, 1.0));
    generator.SetChannel(2, MakeChannel(Gen::wfTriangle, 77.0, 1.0, 0.0, 0.0, 0.3));
    TQVTestConsumer natural, harmonizing;
    natural.Connect(&generator);
    harmonizing.Connect(&generator);
    ASSERT_TRUE(harmonizing.Link().SetHarmonize(true));

    for (int t = 0; t < 3; ++t)
        generator.Tick();
    ASSERT_EQ(natural.Blocks.size(), 3u);
    ASSERT_EQ(harmonizing.Blocks.size(), 4u); // 300 samples: four blocks of 64, 44 pending

    generator.Reset();
    EXPECT_EQ(generator.SamplesGenerated(), 0);
    for (int t = 0; t < 3; ++t)
        generator.Tick();

    ASSERT_EQ(natural.Blocks.size(), 6u);
    for (std::size_t b = 0; b < 3; ++b) {
        SCOPED_TRACE(::testing::Message() << "block " << b);
        EXPECT_TRUE(SameSamples(natural.Blocks[b + 3].Channels, natural.Blocks[b].Channels));
        EXPECT_EQ(static_cast<long double>(natural.Blocks[b + 3].HeaderValueA),
                  static_cast<long double>(natural.Blocks[b].HeaderValueA));
    }
    // The pending harmonized samples went with the reset: the cut restarts at sample 0.
    ASSERT_EQ(harmonizing.Blocks.size(), 8u);
    for (std::size_t b = 0; b < 4; ++b) {
        SCOPED_TRACE(::testing::Message() << "harmonized block " << b);
        EXPECT_TRUE(SameSamples(harmonizing.Blocks[b + 4].Channels, harmonizing.Blocks[b].Channels));
        ExpectStartTime(harmonizing.Blocks[b + 4].HeaderValueA, static_cast<long long>(b) * 64, generator.SampleRate());
    }
    EXPECT_TRUE(MatchesClosedForm(Stream(natural, 0, 3), generator.Channel(0), generator.SampleRate()));
}

TEST(SignalGenerator, LinksThatDetachWhileServedDoNotMakeOthersMissABlock)
{
    Gen generator;
    generator.SetBlockLength(8);
    TQVMeasureLink a(nullptr), b(nullptr), c(nullptr);
    std::vector<char> served;
    a.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) { served.push_back('a'); };
    b.OnNewData = [&](TQVMeasureLink *self, TQVDescArraySingle &) {
        served.push_back('b');
        self->SeTQVMeasureSource(nullptr); // leaves during its own call
    };
    c.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) {
        served.push_back('c');
        a.SeTQVMeasureSource(nullptr); // removes a link that was served before it
    };
    a.SeTQVMeasureSource(&generator);
    b.SeTQVMeasureSource(&generator);
    c.SeTQVMeasureSource(&generator);
    generator.Tick();
    EXPECT_EQ(served, (std::vector<char>{'a', 'b', 'c'}));
    generator.Tick();
    EXPECT_EQ(served, (std::vector<char>{'a', 'b', 'c', 'c'}));
    EXPECT_EQ(generator.Links(), QList<TQVMeasureLink *>{&c});
}

// A consumer may change the generator's settings from inside its data callback. The block
// it got must stay valid for the rest of that delivery and the generator must not corrupt
// its own buffers. Run in a child process: a fault there must fail this test, not end the
// whole program (and an address-checking build would abort on the first bad read).
TEST(SignalGenerator, AConsumerChangingTheBlockLengthWhileServedLeavesTheBlockIntact)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto scenario = []() -> bool {
        Gen generator;
        generator.SetBlockLength(1024);
        const GenChannel c = MakeChannel(Gen::wfSine, 1000.0, 1.0, 0.0);
        generator.SetChannel(0, c);
        TQVTestConsumer first, second;
        first.Connect(&generator);
        second.Connect(&generator);
        const TQVNotifyData record = first.Link().OnNewData;
        first.Link().OnNewData = [&](TQVMeasureLink *link, TQVDescArraySingle &data) {
            record(link, data);
            generator.SetBlockLength(4096); // e.g. an owner asking for a finer resolution
        };
        generator.Tick();
        if (first.Blocks.size() != 1 || second.Blocks.size() != 1) {
            std::fprintf(stderr, "blocks: %zu and %zu\n", first.Blocks.size(), second.Blocks.size());
            return false;
        }
        const ::testing::AssertionResult same = SameSamples(second.Blocks[0].Channels[0], first.Blocks[0].Channels[0]);
        const ::testing::AssertionResult exact = MatchesClosedForm(second.Blocks[0].Channels[0], c, generator.SampleRate());
        if (!same || !exact) {
            std::fprintf(stderr, "second consumer: %s; %s\n", same.message(), exact.message());
            return false;
        }
        return generator.BlockLength() == 4096;
    };
    EXPECT_EXIT(
        {
            const bool ok = scenario();
            std::fflush(stderr);
            std::_Exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(SignalGenerator, AConsumerChangingTheHarmonizedLengthWhileServedIsSurvived)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto scenario = []() -> bool {
        Gen generator;
        generator.SetBlockLength(1000);
        generator.SetHarmonizedBlockLength(256);
        TQVTestConsumer harmonizing;
        harmonizing.Connect(&generator);
        harmonizing.Link().SetHarmonize(true);
        const TQVNotifyData record = harmonizing.Link().OnNewData;
        harmonizing.Link().OnNewData = [&](TQVMeasureLink *link, TQVDescArraySingle &data) {
            record(link, data);
            generator.SetHarmonizedBlockLength(100);
        };
        generator.Tick();
        generator.Tick();
        // Whatever is cut after the change, every block holds whole harmonized blocks.
        for (const TQVTestConsumer::Block &block : harmonizing.Blocks)
            if (block.Channels[0].size() != 256 && block.Channels[0].size() != 100) {
                std::fprintf(stderr, "a block of %zu samples\n", block.Channels[0].size());
                return false;
            }
        return !harmonizing.Blocks.empty() && generator.HarmonizedBlockLength() == 100;
    };
    EXPECT_EXIT(
        {
            const bool ok = scenario();
            std::fflush(stderr);
            std::_Exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}
