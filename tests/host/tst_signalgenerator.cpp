#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <numbers>
#include <numeric>
#include <utility>
#include <vector>

#include <QtCore/QVariant>

#include "framework/qvMeasIntf.h"
#include "host/qvSignalGenerator.h"
#include "support/qvTestConsumer.h"

// The signal generator against closed forms computed here in long double: sample n of a
// channel is Offset + Amplitude * w(frac(Phase + n * Frequency / SampleRate)), n counted
// from the start of the stream over every block.

namespace {

using Gen = TQVSignalGenerator;
// {Waveform, Frequency, Amplitude, Offset, NoiseAmplitude, Phase}
using GenChannel = TQVSignalGenerator::TQVGeneratorChannel;
using enum TQVSignalGenerator::TQVWaveform;

long double PhaseAt(const GenChannel &c, long double sampleRate, long long n)
{
    const long double cycles = c.Phase + static_cast<long double>(n) * c.Frequency / sampleRate;
    return cycles - std::floor(cycles);
}

// Sample n without noise. The triangle is the one with the sine's zero crossings and peaks.
long double Expected(const GenChannel &c, long double sampleRate, long long n)
{
    const long double p = PhaseAt(c, sampleRate, n);
    const long double s = std::sin(2.0L * std::numbers::pi_v<long double> * p);
    const long double w = c.Waveform == wfSine     ? s
                        : c.Waveform == wfSquare   ? (p < 0.5L ? 1.0L : -1.0L)
                        : c.Waveform == wfTriangle ? 2.0L / std::numbers::pi_v<long double> * std::asin(s)
                                                   : 1.0L; // DC
    return c.Offset + c.Amplitude * w;
}

// Float samples allow a few roundings of the operands and the result. A square sample that
// lands on a jump within rounding of the accumulated phase may take either side.
::testing::AssertionResult MatchesClosedForm(const std::vector<float> &samples, const GenChannel &c,
                                             long double sampleRate, long long firstSample = 0)
{
    const long double tol = 4.0L * FLT_EPSILON * (std::fabs(c.Offset) + std::fabs(c.Amplitude)) + 1e-30L;
    std::size_t checked = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const long long n = firstSample + static_cast<long long>(i);
        const long double p = PhaseAt(c, sampleRate, n);
        if (c.Waveform == wfSquare && (p < 1e-9L || std::fabs(p - 0.5L) < 1e-9L || p > 1.0L - 1e-9L))
            continue;
        const long double want = Expected(c, sampleRate, n);
        if (!(std::fabs(samples[i] - want) <= tol))
            return ::testing::AssertionFailure() << "sample " << n << ": " << samples[i] << " for " << double(want);
        ++checked;
    }
    if (samples.empty() || checked < samples.size() / 2)
        return ::testing::AssertionFailure() << "only " << checked << " of " << samples.size() << " samples checked";
    return ::testing::AssertionSuccess();
}

// The blocks of `consumer` from `firstBlock` on start at the times of samples 0, length, ...
void ExpectBlockTimes(const TQVTestConsumer &consumer, int length, double sampleRate, std::size_t firstBlock = 0)
{
    for (std::size_t b = firstBlock; b < consumer.Blocks.size(); ++b) {
        const double want = static_cast<double>(static_cast<long double>(b - firstBlock) * length / sampleRate);
        EXPECT_NEAR(static_cast<double>(consumer.Blocks[b].HeaderValueA), want, 1e-15 * (1.0 + want)) << "block " << b;
    }
}

// A generator with the rate, the block length and one channel per entry of `channels`, and
// a consumer attached.
struct Rig
{
    Rig(double rate, int blockLength, const std::vector<GenChannel> &channels)
    {
        Generator.SetSampleRate(rate);
        Generator.SetBlockLength(blockLength);
        Generator.SetChannelCount(int(channels.size()));
        for (std::size_t k = 0; k < channels.size(); ++k)
            Generator.SetChannel(int(k), channels[k]);
        Consumer.Connect(&Generator);
    }
    // Ticks `count` times and returns channel `channel` of everything received so far.
    std::vector<float> Run(int count, int channel = 0)
    {
        for (int t = 0; t < count; ++t)
            Generator.Tick();
        return Consumer.Joined(channel);
    }
    Gen Generator;
    TQVTestConsumer Consumer;
};

// Runs `scenario` in a child process: a fault there fails the calling test instead of
// ending the whole program (and an address-checking build aborts on the first bad read).
void ExpectCleanRunInChild(const std::function<bool()> &scenario)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(scenario() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

} // namespace

// The square's edges, and the phase across a frequency change (the closed forms of every
// waveform are checked with the settings below).
TEST(SignalGenerator, SquareEdgesAndFrequencyChangesFollowTheClosedForm)
{
    // The square is high over the half-open first half cycle: eight samples per period with
    // an exact binary phase step, in blocks that cut periods anywhere.
    Rig square(8000.0, 12, {{wfSquare, 1000.0, 2.0, 1.0}});
    const std::vector<float> edges = square.Run(10);
    ASSERT_EQ(edges.size(), 120u);
    for (std::size_t i = 0; i < edges.size(); ++i)
        ASSERT_EQ(edges[i], i % 8 < 4 ? 3.0f : -1.0f) << "sample " << i;

    // From sample `split` on, the stream is a sine of the new frequency whose phase there is
    // where the old one ended.
    constexpr int split = 180;
    const GenChannel before{wfSine, 100.0, 2.0, 0.0, 0.0, 0.2};
    const GenChannel after{wfSine, 733.0, 2.0, 0.0, 0.0, 0.2 + split * (100.0 - 733.0) / 8000.0};
    Rig chirp(8000.0, split / 2, {before});
    chirp.Run(2);
    chirp.Generator.SetFrequency(733.0);
    const std::vector<float> both = chirp.Run(2);
    ASSERT_EQ(both.size(), std::size_t(2 * split));
    EXPECT_TRUE(MatchesClosedForm({both.begin(), both.begin() + split}, before, 8000.0));
    EXPECT_TRUE(MatchesClosedForm({both.begin() + split, both.end()}, after, 8000.0, split));
}

// Settings, capabilities, the range envelope and the closed form of per-channel setups over
// several blocks, up to all 65 slots.
TEST(SignalGenerator, SettingsCapabilitiesAndChannelsDescribeTheStream)
{
    struct Case
    {
        int channels, blockLength, harmonized;
        double rate;
        TQVMeasureSourceCapabilities caps; // besides continuous and equidistant
        // The range is the envelope: DC sits at Offset + Amplitude, the other waveforms swing
        // by |Amplitude| around Offset, the added noise by |NoiseAmplitude|.
        float rangeMin, rangeMax;
        std::vector<std::pair<int, GenChannel>> setups; // the other channels keep the defaults
    };
    const Case cases[] = {
        {1, 1024, 1024, 48000.0, {mscCanHarmonize, mscSingleChannel}, -1.0f, 1.0f, {}},
        {4, 150, 0, 20000.0, {}, -3.0f, 10.5f,
         {{0, {wfSine, 50.0, 1.0, 0.5}}, {1, {wfSquare, 333.3, 2.0, -1.0, 0.0, 0.45}},
          {2, {wfTriangle, 7000.0, 0.5, 10.0, 0.0, 0.6}}, {3, {wfDC, 123.0, 1.25, -3.0}}}},
        {3, 500, 256, 1000.0, {mscCanHarmonize}, -6.5f, 7.5f,
         {{0, {wfSquare, 100.0, -2.0, 1.0, 0.25}}, // a negative amplitude swings the same
          {1, {wfDC, 0.0, 4.0, 3.0, 0.5}},         // DC sits at 7, noise around it
          {2, {wfNoise, 0.0, 0.5, -6.0}}}},
        {1, 1, 0, 10.0, {mscSingleChannel, mscSingleValue}, -1.25f, 3.25f, {{0, {wfSquare, 1.0, -2.0, 1.0, 0.25}}}},
        {2, 1, 1, 8000.0, {mscCanHarmonize, mscDualChannel, mscSingleValue}, -1.0f, 1.0f,
         {{1, {wfDC, 0.0, -1.5, 0.5}}}},
        {1, 2, 2, 500.0, {mscCanHarmonize, mscSingleChannel}, -1.0f, 5.0f, {{0, {wfTriangle, 30.0, 3.0, 2.0}}}},
        {QVChannelSlots, 7, 3, 123.25, {mscCanHarmonize}, -4.0f, 2.0f,
         {{QVMaxChannel, {wfTriangle, 25.0, 3.0, -1.0, 0.0, 0.125}}}},
        // Above half the rate, a negative start phase, blocks that cut periods anywhere.
        {4, 257, 0, 48000.0, {}, -3.25f, 3.01f,
         {{0, {wfSine, 30000.0, -1.5, 0.25, 0.0, -0.25}}, {1, {wfSquare, 30000.0, -1.5, 0.25, 0.0, -0.25}},
          {2, {wfTriangle, 440.5, 2.5, -0.75, 0.0, 0.3}}, {3, {wfDC, 1234.5678, 0.01, 3.0, 0.0, 0.9}}}},
        {2, 333, 0, 44100.0, {mscDualChannel}, -3.25f, 3.01f,
         {{0, {wfSquare, 440.5, 2.5, -0.75, 0.0, 0.3}}, {1, {wfTriangle, 1234.5678, 0.01, 3.0, 0.0, 0.9}}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.channels << " channels, block " << c.blockLength);
        std::vector<GenChannel> channels(std::size_t(c.channels));
        for (const auto &[k, setup] : c.setups)
            channels[std::size_t(k)] = setup;
        Rig rig(c.rate, c.blockLength, channels);
        rig.Generator.SetHarmonizedBlockLength(c.harmonized);

        TQVMeasureSourceSettings settings{};
        std::fill(std::begin(settings.HostArea), std::end(settings.HostArea), std::uint8_t(0xA5));
        rig.Generator.GetSettings(settings);
        EXPECT_EQ(static_cast<long double>(settings.XStart), 0.0L);
        EXPECT_EQ(static_cast<long double>(settings.XSpan), c.blockLength / static_cast<long double>(c.rate));
        EXPECT_EQ(settings.ChannelCount, c.channels);
        EXPECT_EQ(settings.BlockLength, c.blockLength);
        EXPECT_EQ(settings.HarmonizedBlockLength, c.harmonized);
        EXPECT_TRUE(settings.HostArea[0] == 0xA5 && settings.HostArea[255] == 0xA5); // the caller's area
        EXPECT_EQ(rig.Generator.Capabilities().Bits(), (c.caps + mscContinuous + mscEquidistant).Bits());
        EXPECT_FLOAT_EQ(settings.RangeMin, c.rangeMin);
        EXPECT_FLOAT_EQ(settings.RangeMax, c.rangeMax);

        rig.Run(3);
        ASSERT_EQ(rig.Consumer.Blocks.size(), 3u);
        EXPECT_EQ(rig.Generator.SamplesGenerated(), 3 * c.blockLength);
        for (const TQVTestConsumer::Block &block : rig.Consumer.Blocks) {
            EXPECT_EQ(block.HeaderWord, c.channels);
            for (int k = 0; k < QVChannelSlots; ++k)
                ASSERT_EQ(block.Channels[std::size_t(k)].size(), std::size_t(k < c.channels ? c.blockLength : 0))
                    << "slot " << k;
        }
        for (int k = 0; k < c.channels; ++k) {
            const GenChannel &ch = channels[std::size_t(k)];
            const std::vector<float> stream = rig.Consumer.Joined(k);
            if (ch.Waveform != wfNoise && ch.NoiseAmplitude == 0.0) {
                EXPECT_TRUE(MatchesClosedForm(stream, ch, c.rate)) << "channel " << k;
            }
            for (float x : stream)
                ASSERT_TRUE(x >= settings.RangeMin && x <= settings.RangeMax) << "channel " << k << ": " << x;
        }
    }
}

// Noise as the waveform and noise added to a sine: the residual over its amplitude is uniform
// in [-1, 1) (mean 0, mean square 1/3 with var(u^2) = 4/45, uncorrelated), and a seed
// reproduces the stream while another seed gives a different one.
TEST(SignalGenerator, NoiseIsUniformWithinItsAmplitudeAndFollowsTheSeed)
{
    struct Case { GenChannel channel; quint32 seed; int blockLength, blocks; };
    const Case cases[] = {
        {{wfNoise, 1000.0, 0.8, 0.5}, 12345, 4096, 50},
        {{wfSine, 1000.0, 1.0, -0.5, 0.2}, 777, 3000, 60},
    };
    constexpr double rate = 48000.0;
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << "waveform " << int(c.channel.Waveform));
        auto record = [&](quint32 seed) {
            Rig rig(rate, c.blockLength, {c.channel});
            rig.Generator.SetSeed(seed);
            return rig.Run(c.blocks);
        };
        const std::vector<float> stream = record(c.seed);
        ASSERT_EQ(stream.size(), std::size_t(c.blocks) * std::size_t(c.blockLength));

        const bool pure = c.channel.Waveform == wfNoise;
        const long double scale = pure ? c.channel.Amplitude : c.channel.NoiseAmplitude;
        const long double bound =
            1.0L + 8.0L * FLT_EPSILON * (1.0L + (std::fabs(c.channel.Offset) + std::fabs(c.channel.Amplitude)) / scale);
        long double sum = 0, squares = 0, lagged = 0, prev = 0;
        for (std::size_t i = 0; i < stream.size(); ++i) {
            const long double clean = pure ? c.channel.Offset : Expected(c.channel, rate, static_cast<long long>(i));
            const long double u = (stream[i] - clean) / scale;
            ASSERT_LE(std::fabs(u), bound) << "sample " << i;
            sum += u;
            squares += u * u;
            lagged += u * prev;
            prev = u;
        }
        const long double n = static_cast<long double>(stream.size());
        EXPECT_NEAR(double(sum / n), 0.0, double(6.0L * std::sqrt(1.0L / 3.0L / n)));
        EXPECT_NEAR(double(squares / n), 1.0 / 3.0, double(6.0L * std::sqrt(4.0L / 45.0L / n)) + 1e-4);
        EXPECT_NEAR(double(lagged / squares), 0.0, double(6.0L / std::sqrt(n))); // lag-1 correlation
        EXPECT_FALSE(std::equal(stream.begin(), stream.begin() + c.blockLength, stream.begin() + c.blockLength))
            << "the blocks repeat each other";

        EXPECT_EQ(record(c.seed), stream);
        const std::vector<float> other = record(c.seed + 1); // differs throughout, not here and there
        ASSERT_EQ(other.size(), stream.size());
        EXPECT_LT(std::inner_product(stream.begin(), stream.end(), other.begin(), std::size_t(0), std::plus<>(),
                                     std::equal_to<>()),
                  stream.size() / 100);
    }
}

// Out-of-range sizes, non-finite values, bad channel indices and unknown waveforms change
// nothing: no ripple, and the stream goes on as that of a twin that was never asked.
TEST(SignalGenerator, InvalidValuesAreIgnoredWithoutRippleOrLostState)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double inf = std::numeric_limits<double>::infinity();
    const std::vector<GenChannel> setup{{wfTriangle, 100.0, 1.5, 0.25, 0.0, 0.2}, {wfSquare, 130.0, 1.0, -1.0, 0.1}};
    Rig rig(8000.0, 128, setup), twin(8000.0, 128, setup);
    for (Rig *r : {&rig, &twin}) {
        r->Generator.SetHarmonizedBlockLength(64);
        r->Generator.SetSeed(9);
        r->Generator.Tick();
    }
    Gen &generator = rig.Generator;
    const int calls = rig.Consumer.SettingsCalls;

    for (int count : {0, -3, QVChannelSlots + 1})
        generator.SetChannelCount(count);
    for (int length : {0, -1, Gen::MaxBlockLength + 1})
        generator.SetBlockLength(length);
    generator.SetHarmonizedBlockLength(-1);
    generator.SetHarmonizedBlockLength(Gen::MaxBlockLength + 1);
    for (double rate : {0.0, -1.0, nan, inf})
        generator.SetSampleRate(rate);
    const GenChannel good{wfSine, 500.0, 3.0, 2.0, 0.0, 0.5};
    for (double GenChannel::*field : {&GenChannel::Frequency, &GenChannel::Amplitude, &GenChannel::Offset,
                                      &GenChannel::NoiseAmplitude, &GenChannel::Phase}) {
        GenChannel c = good;
        c.*field = nan;
        generator.SetChannel(0, c);
        c.*field = -inf;
        generator.SetChannel(1, c);
    }
    for (int index : {-1, 2, QVChannelSlots})
        generator.SetChannel(index, good);
    generator.SetFrequency(nan);
    generator.SetAmplitude(inf);
    generator.SetWaveform(static_cast<Gen::TQVWaveform>(5));
    GenChannel unknown = generator.Channel(1);
    unknown.Waveform = static_cast<Gen::TQVWaveform>(7);
    generator.SetChannel(1, unknown);
    generator.setProperty("Waveform", QVariant(6)); // as a form or a stored configuration would write it

    EXPECT_EQ(rig.Consumer.SettingsCalls, calls); // every accepted change would have rippled
    rig.Run(1);
    twin.Run(1);
    for (int k = 0; k < 3; ++k)
        EXPECT_EQ(rig.Consumer.Joined(k), twin.Consumer.Joined(k)) << "channel " << k;
}

// Every accepted write tells the links; the range is the envelope of the channels (the
// second keeps the default unit sine).
TEST(SignalGenerator, SettingsChangesRippleToTheLinks)
{
    Rig rig(48000.0, 1024, {{}});
    Gen &g = rig.Generator;
    const TQVMeasureSourceSettings &told = rig.Consumer.LastSettings;
    const struct { std::function<void()> Write; std::function<bool()> Told; } steps[] = {
        {[&] { g.SetBlockLength(512); }, [&] { return told.BlockLength == 512; }},
        {[&] { g.SetSampleRate(10000.0); }, [&] { return static_cast<long double>(told.XSpan) == 512.0L / 10000.0L; }},
        {[&] { g.SetHarmonizedBlockLength(0); }, [&] { return told.HarmonizedBlockLength == 0; }},
        {[&] { g.SetChannelCount(3); }, [&] { return told.ChannelCount == 3; }},
        {[&] { g.SetAmplitude(2.0); }, [&] { return told.RangeMax == 2.0f; }},
        {[&] { g.SetOffset(1.0); }, [&] { return told.RangeMax == 3.0f; }},
        {[&] { g.SetChannel(2, {wfDC, 0.0, 5.0, 4.0}); }, [&] { return told.RangeMax == 9.0f; }},
        {[&] { g.SetNoiseAmplitude(0.5); }, [&] { return told.RangeMin == -1.5f; }},
        {[&] { g.SetWaveform(wfDC); }, [&] { return told.RangeMin == -1.0f; }}, // channel 0 at 3 +- 0.5
    };
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        const int calls = rig.Consumer.SettingsCalls;
        steps[i].Write();
        EXPECT_TRUE(rig.Consumer.SettingsCalls > calls && steps[i].Told()) << "step " << i;
    }
}

TEST(SignalGenerator, AChannelAddedByRaisingTheCountStartsWithTheDefaults)
{
    Rig rig(8000.0, 100, {{}, {wfSquare, 130.0, 2.0, 1.0, 0.0, 0.3}});
    rig.Run(1);
    rig.Generator.SetChannelCount(1);
    rig.Generator.SetChannelCount(2);
    rig.Consumer.Blocks.clear();
    EXPECT_TRUE(MatchesClosedForm(rig.Run(1, 1), GenChannel{}, 8000.0));
}

// Requests, the run state and the timer.
TEST(SignalGenerator, RunStopTimerAndRequestsDeliverOneStream)
{
    Rig rig(48000.0, 96, {{}}); // a 2 ms period
    Gen &generator = rig.Generator;
    const TQVTestConsumer &consumer = rig.Consumer;
    std::vector<TQVMeasureSourceState> signalled;
    QObject::connect(&generator, &Gen::StateChanged, [&](TQVMeasureSourceState s) { signalled.push_back(s); });

    generator.Stop(); // already stopped: nothing to announce
    QCoreApplication::processEvents();
    EXPECT_TRUE(consumer.States.empty());
    EXPECT_TRUE(consumer.Blocks.empty()); // nothing arrives without running or asking
    generator.RequestData();
    ASSERT_EQ(consumer.Blocks.size(), 1u);

    generator.Run();
    generator.Run();
    EXPECT_EQ(generator.State(), mssRun);
    const bool arrived = QVPumpUntil([&] { return consumer.Blocks.size() >= 4; }, 5000);
    generator.Stop();
    generator.Stop();
    ASSERT_TRUE(arrived) << "no three timed blocks within the deadline";
    EXPECT_EQ(generator.State(), mssStop);
    const std::vector<TQVMeasureSourceState> expected{mssRun, mssStop};
    EXPECT_EQ(consumer.States, expected);
    EXPECT_EQ(signalled, expected);
    const std::size_t delivered = consumer.Blocks.size();
    ExpectBlockTimes(consumer, 96, 48000.0); // the requested and the timed blocks make one stream
    QVPumpUntil([] { return false; }, 50);
    EXPECT_EQ(consumer.Blocks.size(), delivered) << "the timer went on after the stop";
}

// Both runs are the same, and the pending harmonized samples go with the reset.
TEST(SignalGenerator, ResetRestartsPhaseTimeAndNoise)
{
    Rig rig(48000.0, 100, {{wfSine, 1100.0, 1.0, 0.0, 0.0, 0.4}, {wfNoise, 0.0, 2.0, 1.0}, {wfTriangle, 77.0, 1.0, 0.0, 0.3}});
    Gen &generator = rig.Generator;
    generator.SetSeed(2024);
    generator.SetHarmonizedBlockLength(64);
    TQVTestConsumer harmonizing;
    harmonizing.Connect(&generator);
    ASSERT_TRUE(harmonizing.Link().SetHarmonize(true));
    rig.Run(3);
    ASSERT_EQ(harmonizing.Blocks.size(), 4u); // 300 samples: four blocks of 64, 44 pending
    generator.Reset();
    EXPECT_EQ(generator.SamplesGenerated(), 0);
    rig.Run(3);

    ASSERT_EQ(rig.Consumer.Blocks.size(), 6u);
    ASSERT_EQ(harmonizing.Blocks.size(), 8u);
    for (int k = 0; k < 3; ++k) {
        const std::vector<float> all = rig.Consumer.Joined(k), run(all.begin() + 300, all.end());
        EXPECT_EQ(run, std::vector<float>(all.begin(), all.begin() + 300)) << "channel " << k;
        EXPECT_EQ(harmonizing.Joined(k, 4), std::vector<float>(run.begin(), run.begin() + 256)) << "channel " << k;
    }
    ExpectBlockTimes(rig.Consumer, 100, generator.SampleRate(), 3);
    ExpectBlockTimes(harmonizing, 64, generator.SampleRate(), 4);
}

// A consumer may change the generator's setup from inside its data callback: the block out
// must stay valid for the rest of that delivery, the generator's buffers intact, and every
// block complete: HeaderWord channels of one length.
TEST(SignalGenerator, ConsumersChangingTheSetupWhileServedAreSurvived)
{
    static const auto complete = [](const std::vector<TQVTestConsumer::Block> &blocks) {
        return !blocks.empty() && std::all_of(blocks.begin(), blocks.end(), [](const auto &block) {
            const auto length = block.Channels[0].size();
            return length > 0 && std::all_of(block.Channels.begin() + 1, block.Channels.begin() + block.HeaderWord,
                                             [length](const auto &channel) { return channel.size() == length; });
        });
    };
    ExpectCleanRunInChild([] {
        const GenChannel c{wfSine, 1000.0, 1.0, 0.0};
        Rig rig(48000.0, 1024, {c});
        TQVTestConsumer second, cut;
        second.Connect(&rig.Generator);
        cut.Connect(&rig.Generator);
        cut.Link().SetHarmonize(true);
        TQVMeasureLink &first = rig.Consumer.Link();
        first.OnNewData = [&, record = first.OnNewData](auto *link, auto &data) {
            record(link, data);
            rig.Generator.SetBlockLength(4096); // e.g. an owner asking for a finer resolution
            rig.Generator.SetChannelCount(2);
        };
        rig.Run(2);
        if (second.Blocks.size() != 2 || second.Blocks[0].Channels != rig.Consumer.Blocks.at(0).Channels)
            return false;
        return MatchesClosedForm(second.Joined(0), c, 48000.0) && second.Blocks[1].Channels[0].size() == 4096
            && complete(second.Blocks) && complete(cut.Blocks);
    });
    ExpectCleanRunInChild([] {
        Rig rig(48000.0, 1000, {{}});
        rig.Generator.SetHarmonizedBlockLength(256);
        TQVMeasureLink &link = rig.Consumer.Link();
        link.SetHarmonize(true);
        link.OnNewData = [&, record = link.OnNewData](auto *self, auto &data) {
            record(self, data);
            rig.Generator.SetHarmonizedBlockLength(100);
            rig.Generator.SetChannelCount(2);
        };
        rig.Run(2);
        // Whatever is cut after the change, every block holds whole harmonized blocks.
        const auto &blocks = rig.Consumer.Blocks;
        return complete(blocks) && rig.Generator.HarmonizedBlockLength() == 100
            && std::all_of(blocks.begin(), blocks.end(), [](const auto &block) {
                   return block.Channels[0].size() == 256 || block.Channels[0].size() == 100;
               });
    });
}
