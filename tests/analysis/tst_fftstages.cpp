#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <memory>
#include <numbers>
#include <ostream>
#include <string>
#include <vector>

#include <QtCore/QVariant>

#include "analysis/qvMLSFFT.h"
#include "host/qvSignalGenerator.h"
#include "support/qvTestConsumer.h"

namespace {

using SS = TQVFFTSingleSingle;
using DS = TQVFFTDualSingle;
using SD = TQVFFTSingleDual;
using LD = long double;
using CLD = std::complex<LD>;
using Channels = std::vector<std::vector<LD>>;
constexpr LD Pi = std::numbers::pi_v<LD>;

const TQVMeasureSourceCapabilities Single{mscContinuous, mscEquidistant, mscSingleChannel};
const TQVMeasureSourceCapabilities Dual{mscContinuous, mscEquidistant, mscDualChannel};

using Source = TQVTestSource;

std::vector<float> Signal(int n, int which)
{
    std::vector<float> x;
    for (int k = 0; k < n; ++k) {
        x.push_back(which == 0 ? float(std::sin(0.37 * k) + 0.5 * std::cos(1.3 * k + 0.4) + 0.03 * (k % 7))
                               : float(std::cos(0.11 * k) - 0.3 * std::sin(2.1 * k)));
    }
    return x;
}

// A block with the given channels and a header that the stages must not pass on.
void Send(TQVTestSource &source, std::vector<float> *ch0, std::vector<float> *ch1 = nullptr)
{
    TQVDescArraySingle block{};
    block.HeaderValueA = 1.5L;
    block.HeaderWord = 7;
    if (ch0)
        block.Channels[0] = QVDescArraySingle{ch0->data(), int(ch0->size())};
    if (ch1)
        block.Channels[1] = QVDescArraySingle{ch1->data(), int(ch1->size())};
    source.Send(block);
}

// Long-double references over inputs zero-padded to p points, with the engine's forward
// convention X[k] = (1/N) sum x[n] e^(+2 pi i n k / N) and circular indices.
struct Reference
{
    Reference(const std::vector<float> &a, const std::vector<float> &b, std::size_t p)
        : x(p), y(p), X(p), Y(p)
    {
        std::copy(a.begin(), a.end(), x.begin());
        std::copy(b.begin(), b.end(), y.begin());
        for (std::size_t k = 0; k < p; ++k) {
            for (std::size_t j = 0; j < p; ++j) {
                const CLD w = std::polar(1.0L, 2 * Pi * LD((j * k) % p) / LD(p));
                X[k] += x[j] * w / LD(p);
                Y[k] += y[j] * w / LD(p);
            }
        }
    }
    LD Correlation(const std::vector<LD> &b, std::size_t m) const // (1/N) sum x[q + m] b[q]
    {
        LD sum = 0;
        for (std::size_t q = 0; q < x.size(); ++q)
            sum += x[(q + m) % x.size()] * b[q];
        return sum / LD(x.size());
    }
    LD Convolution(std::size_t m) const // (1/N) sum x[q] y[m - q]
    {
        LD sum = 0;
        for (std::size_t q = 0; q < x.size(); ++q)
            sum += x[q] * y[(m + x.size() - q) % x.size()];
        return sum / LD(x.size());
    }
    // `count` values of f(k) from k = from; k at or beyond `end` reads as 0 (the spare end).
    template <typename F>
    static std::vector<LD> Values(std::size_t from, std::size_t count, std::size_t end, F f)
    {
        std::vector<LD> v;
        for (std::size_t k = from; k < from + count; ++k)
            v.push_back(k < end ? LD(f(k)) : 0.0L);
        return v;
    }
    std::vector<LD> x, y;
    std::vector<CLD> X, Y;
};

struct OutputCase
{
    const char *Name;
    std::function<std::unique_ptr<TQVFFTStage>()> Make;
    bool DualInput, Frequency;
    std::function<Channels(const Reference &, std::size_t p)> Expected;
};

void PrintTo(const OutputCase &c, std::ostream *os)
{
    *os << c.Name;
}

template <typename Stage, typename Output>
std::function<std::unique_ptr<TQVFFTStage>()> Maker(Output output)
{
    return [output] {
        auto stage = std::make_unique<Stage>();
        stage->SetOutput(output);
        return std::unique_ptr<TQVFFTStage>(std::move(stage));
    };
}

using R = Reference;
const OutputCase Outputs[] = {
    {"AutoCorrelation", Maker<SS>(SS::ssoAutoCorrelation), false, false, [](const R &r, std::size_t p) {
         return Channels{R::Values(1, p - 1, p, [&](std::size_t k) { return r.Correlation(r.x, k); })};
     }},
    {"PowerSpectrum", Maker<SS>(SS::ssoPowerSpectrum), false, true, [](const R &r, std::size_t p) {
         return Channels{R::Values(2, p - 1, p, [&](std::size_t k) { return std::norm(r.X[k]); })};
     }},
    {"SingleRealFFT", Maker<SS>(SS::ssoRealFFT), false, true, [](const R &r, std::size_t p) {
         return Channels{R::Values(2, p / 2 - 1, p / 2, [&](std::size_t k) { return 2 * std::abs(r.X[k]); })};
     }},
    {"CrossCorrelation", Maker<DS>(DS::dsoCrossCorrelation), true, false, [](const R &r, std::size_t p) {
         return Channels{R::Values(1, p - 1, p, [&](std::size_t k) { return r.Correlation(r.y, k); })};
     }},
    {"CrossPowerSpectrum", Maker<DS>(DS::dsoCrossPowerSpectrum), true, true, [](const R &r, std::size_t p) {
         return Channels{R::Values(2, (p - 1) / 2, p, [&](std::size_t k) { return std::abs(r.X[k] * r.Y[k]); })};
     }},
    {"Convolution", Maker<DS>(DS::dsoConvolution), true, false, [](const R &r, std::size_t p) {
         return Channels{R::Values(1, p - 1, p, [&](std::size_t k) { return r.Convolution(k); })};
     }},
    {"DualRealFFT", Maker<SD>(SD::sdoRealFFT), false, true, [](const R &r, std::size_t p) {
         return Channels{R::Values(2, p / 2 - 1, p / 2, [&](std::size_t k) { return 2 * std::abs(r.X[k]); }),
                         R::Values(2, p / 2 - 1, p / 2, [&](std::size_t k) { return std::arg(r.X[k]); })};
     }},
    {"ComplexFFT", Maker<SD>(SD::sdoComplexFFT), false, true, [](const R &r, std::size_t p) {
         return Channels{R::Values(1, p - 1, p, [&](std::size_t k) { return r.X[k].real(); }),
                         R::Values(1, p - 1, p, [&](std::size_t k) { return r.X[k].imag(); })};
     }},
};

class FFTStageOutputs : public testing::TestWithParam<OutputCase>
{
};

} // namespace

TEST_P(FFTStageOutputs, ResultsAndSlotsMatchDirectSumsAndEmptyBlocksRepeatThem)
{
    const OutputCase &c = GetParam();
    Source source(c.DualInput ? Dual : Single, c.DualInput ? 2 : 1, 100, 0.25L);
    auto stage = c.Make();
    stage->SetQVMeasureSource(&source);
    TQVTestConsumer consumer;
    consumer.Connect(stage.get());
    // Frequency outputs from the second bin, 2 / T, to half the rate, 100 / (2 T); time
    // outputs keep the axis. The lower range limit far below the upper one.
    const TQVMeasureSourceSettings &s = consumer.LastSettings;
    EXPECT_EQ(s.ChannelCount, qobject_cast<SD *>(stage.get()) ? 2 : 1);
    EXPECT_EQ(LD(s.XStart), c.Frequency ? 8.0L : 0.0L);
    EXPECT_EQ(LD(s.XSpan), c.Frequency ? 200.0L - 8.0L : 0.25L);
    EXPECT_FLOAT_EQ(s.RangeMin, c.Frequency ? 1.0f / 70000.0f : -1.0f);

    std::vector<float> x = Signal(100, 0), y = Signal(100, 1);
    Send(source, &x, c.DualInput ? &y : nullptr); // padded to 128 points
    Send(source, nullptr, c.DualInput ? &y : nullptr); // channel 0 without data
    Send(source, &x, c.DualInput ? &y : nullptr);
    ASSERT_EQ(consumer.Blocks.size(), 3u);

    Channels want = c.Expected(Reference(x, y, 128), 128);
    want.resize(QVChannelSlots);
    EXPECT_EQ(consumer.Blocks[0].HeaderValueA, 0.0L);
    EXPECT_EQ(consumer.Blocks[0].HeaderWord, 0);
    // The two-input stages keep the last spectra's imaginary parts in their inputs, so only
    // their first block is a plain transform of the samples.
    for (std::size_t b = 0; b < (c.DualInput ? 1u : 3u); b += 2) {
        for (std::size_t ch = 0; ch < QVChannelSlots; ++ch) {
            const std::vector<float> &got = consumer.Blocks[b].Channels[ch];
            ASSERT_EQ(got.size(), want[ch].size()) << b << ": channel " << ch;
            LD scale = 0;
            for (LD v : want[ch])
                scale = std::max(scale, std::fabs(v));
            const bool phases = ch == 1 && std::string(c.Name) == "DualRealFFT";
            for (std::size_t i = 0; i < got.size(); ++i) {
                if (phases && want[0][i] > 0.01L) { // the phase of a clear amplitude, modulo 2 pi
                    EXPECT_NEAR(double(std::remainder(got[i] - want[1][i], 2 * Pi)), 0.0, 1e-3) << b << ":" << i;
                } else if (!phases || want[1][i] == 0) {
                    EXPECT_NEAR(got[i], double(want[ch][i]), double(1e-4L * scale)) << b << ":" << ch << ":" << i;
                }
            }
        }
    }
    // With the rectangle window, windowing the complex spectrum again changes nothing.
    for (std::size_t ch = 0; ch < QVChannelSlots; ++ch)
        EXPECT_EQ(consumer.Blocks[1].Channels[ch], consumer.Blocks[0].Channels[ch]) << ch;
}

INSTANTIATE_TEST_SUITE_P(FFTStage, FFTStageOutputs, testing::ValuesIn(Outputs),
                         [](const testing::TestParamInfo<OutputCase> &info) { return std::string(info.param.Name); });

TEST(FFTStageSettings, HarmonizedLengthZeroSpanAndTwoChannelsAlways)
{
    TQVSignalGenerator generator;
    generator.SetSampleRate(48000.0);
    generator.SetBlockLength(1000);
    SS stage;
    stage.SetOutput(SS::ssoPowerSpectrum);
    stage.SetQVMeasureSource(&generator);
    TQVTestConsumer consumer;
    consumer.Connect(&stage);
    generator.SetHarmonizeData(stage.InputLink(), true);
    generator.SetHarmonizedBlockLength(400);
    EXPECT_NEAR(double(LD(consumer.LastSettings.XSpan)), 400 * 0.5 * 48.0 - 96.0, 1e-9);
    EXPECT_EQ(stage.ComplexVector()->Count(), 512);

    Source source(Single, 3, 256, 0.0L);
    SD dual;
    dual.SetQVMeasureSource(&source);
    TQVMeasureSourceSettings s{};
    for (int channels : {3, 0}) {
        source.Settings.ChannelCount = channels;
        dual.GetSettings(s);
        EXPECT_EQ(LD(s.XStart), 0.0L);
        EXPECT_EQ(LD(s.XSpan), 0.0L);
        EXPECT_EQ(s.ChannelCount, 2);
    }
}

TEST(FFTStageRedimension, SizeChangesOnlyWhenTheBlockNeedsAnotherPowerOfTwo)
{
    Source source(Single, 1, 1000);
    SS stage;
    stage.SetOutput(SS::ssoPowerSpectrum);
    stage.SetQVMeasureSource(&source);
    TQVEventLog log;
    TQVTestConsumer consumer(TQVTestConsumer::Plain, "c", &log);
    consumer.Connect(&stage);

    struct Step { int N, Points; bool New; };
    for (const Step step : {Step{1000, 1024, false}, Step{600, 1024, false}, Step{500, 512, true}, Step{1000, 1024, true}}) {
        const TQVComplexVector *before = stage.ComplexVector();
        log.clear();
        std::vector<float> x = Signal(step.N, 0);
        Send(source, &x);
        EXPECT_EQ(stage.ComplexVector()->Count(), step.Points) << step.N;
        EXPECT_EQ(stage.Engine()->Size(), step.Points) << step.N;
        EXPECT_EQ(consumer.Blocks.back().Channels[0].size(), std::size_t(step.Points - 1)) << step.N;
        EXPECT_EQ(stage.ComplexVector() != before, step.New) << step.N;
        EXPECT_EQ(log, (step.New ? TQVEventLog{"c:settings", "c:data"} : TQVEventLog{"c:data"})) << step.N;
    }

    // The shortest block still gives a transform the engine can size.
    stage.SetOutput(SS::ssoRealFFT);
    std::vector<float> one{0.5f};
    Send(source, &one);
    EXPECT_EQ(stage.RealVector()->Count(), 4);
    EXPECT_EQ(stage.Engine()->Size(), 2);
    EXPECT_EQ(consumer.Blocks.back().Channels[0], std::vector<float>{0.0f}); // bin 2 of 4: the end
}

TEST(FFTStageRedimension, RealInputOutputsUseHalfTheEngineSize)
{
    Source source(Single, 1, 1024);
    SS single;
    SD dual;
    for (TQVFFTSingleInputStage *stage : {static_cast<TQVFFTSingleInputStage *>(&single),
                                          static_cast<TQVFFTSingleInputStage *>(&dual)}) {
        auto layout = [stage] {
            return std::vector<int>{stage->RealVector()->Count(), stage->ComplexVector()->Count(),
                                    stage->Engine()->Size()};
        };
        EXPECT_EQ(layout(), (std::vector<int>{1024, 512, 512}));
        stage->SetQVMeasureSource(&source);
        TQVTestConsumer consumer;
        consumer.Connect(stage);
        const int calls = consumer.SettingsCalls;
        // Through the published property, as a stored form sets it.
        EXPECT_TRUE(stage == &single ? stage->setProperty("Output", QVariant::fromValue(SS::ssoPowerSpectrum))
                                     : stage->setProperty("Output", QVariant::fromValue(SD::sdoComplexFFT)));
        EXPECT_EQ(layout(), (std::vector<int>{1024, 1024, 1024}));
        EXPECT_EQ(consumer.SettingsCalls, calls + 1);
        stage->setProperty("Output", 0); // ssoAutoCorrelation / sdoRealFFT
        stage->setProperty("Output", 2); // ssoRealFFT, out of range for the dual one
        EXPECT_EQ(layout(), (std::vector<int>{1024, 512, 512}));
    }

    DS pair;
    Source two(Dual, 2, 1000);
    pair.SetQVMeasureSource(&two);
    for (const TQVComplexVector *v : {pair.FirstVector(), pair.SecondVector(), pair.ResultVector()})
        EXPECT_EQ(v->Count(), 1024);
    // Both channels are padded to one length: a longer channel 1 is not cut.
    TQVTestConsumer consumer;
    consumer.Connect(&pair);
    std::vector<float> x = Signal(100, 0), y = Signal(1500, 1);
    Send(two, &x, &y);
    EXPECT_EQ(consumer.Blocks.at(0).Channels[0].size(), 2047u);
    EXPECT_EQ(pair.Engine()->Size(), 2048);
}

// The window settings live in the stages' common base.
TEST(FFTStageWindow, OwnWindowIsRefusedAndTheEngineTypeIsReported)
{
    SS stage;
    EXPECT_EQ(stage.LeakFunction(), wnRectangle);
    stage.SetOwnerLeakFunction([](TQVVector &) {});
    EXPECT_TRUE(bool(stage.Engine()->OwnerLeakFunction()));
    stage.SetLeakFunction(wnHanning);
    EXPECT_EQ(stage.Engine()->LeakFunction(), wnHanning);
    stage.SetLeakFunction(wnOwn);
    EXPECT_EQ(stage.LeakFunction(), wnHanning);
    EXPECT_TRUE(stage.setProperty("LeakFunction", QVariant::fromValue(wnBlackman)));
    stage.setProperty("LeakFunction", QVariant::fromValue(wnOwn));
    EXPECT_EQ(stage.property("LeakFunction").value<TQVLeakType>(), wnBlackman);
    EXPECT_EQ(stage.Engine()->LeakFunction(), wnBlackman);
}

TEST(FFTStageSources, IncompatibleSourcesAreRefusedAndLeaveTheStageDisconnected)
{
    const QString one = QStringLiteral("Component needs continuous operation, a channel and no individual values.");
    const QString two = QStringLiteral("Component needs continuous operation, two channels and no individual values.");
    const TQVMeasureSourceCapabilities singleValue{mscContinuous, mscSingleChannel, mscSingleValue};
    const TQVMeasureSourceCapabilities dualValue{mscContinuous, mscDualChannel, mscSingleValue};
    struct Case { std::function<std::unique_ptr<TQVFFTStage>()> Make; TQVMeasureSourceCapabilities Caps; QString Message; };
    // One rule for all stages: each of its clauses once, with either message. The wrong
    // channel count for the one-input stages: the outputs test connects them to one channel.
    const Case cases[] = {
        {Maker<SS>(SS::ssoRealFFT), singleValue, one},
        {Maker<SD>(SD::sdoComplexFFT), {mscEquidistant, mscSingleChannel}, one},
        {Maker<DS>(DS::dsoConvolution), Single, two},
        {Maker<DS>(DS::dsoCrossCorrelation), dualValue, two},
    };
    for (const Case &c : cases) {
        Source source(c.Caps, c.Caps.Contains(mscDualChannel) ? 2 : 1);
        auto stage = c.Make();
        try {
            stage->SetQVMeasureSource(&source);
            ADD_FAILURE() << "accepted " << int(c.Caps.Bits());
        } catch (const EQVMSIncompatibleSource &e) {
            EXPECT_EQ(e.Message(), c.Message);
        }
        EXPECT_EQ(stage->GetQVMeasureSource(), nullptr);
        EXPECT_TRUE(source.Links().isEmpty());
    }
}

TEST(FFTStageEmptyBlock, ComplexSpectrumIsWindowedAgainOnEveryDelivery)
{
    constexpr int P = 64;
    Source source(Single, 1, P);
    SD stage;
    stage.SetOutput(SD::sdoComplexFFT);
    stage.SetLeakFunction(wnHanning);
    stage.SetQVMeasureSource(&source);
    TQVTestConsumer consumer;
    consumer.Connect(&stage);
    std::vector<float> x = Signal(P, 0);
    Send(source, &x);
    Send(source, nullptr);
    Send(source, nullptr);
    ASSERT_EQ(consumer.Blocks.size(), 3u);

    // The raised cosine shifted by one sample: w[j] = 0.5 - 0.5 cos((j + 1) 2 pi / (P - 1)).
    auto w = [](std::size_t j) { return 0.5L - 0.5L * std::cos(LD(j + 1) * 2 * Pi / (P - 1)); };
    const Reference r(x, x, P);
    for (std::size_t b = 0; b < 3; ++b) {
        const auto &re = consumer.Blocks[b].Channels[0];
        const auto &im = consumer.Blocks[b].Channels[1];
        ASSERT_EQ(re.size(), std::size_t(P - 1));
        for (std::size_t i = 0; i < re.size(); ++i) {
            EXPECT_NEAR(re[i], double(r.X[i + 1].real() * std::pow(w(i + 1), LD(b + 1))), 1e-5) << b << ":" << i;
            EXPECT_NEAR(im[i], double(r.X[i + 1].imag()), 1e-5) << b << ":" << i;
        }
    }
}

// States pass down by the base: Chain.BlocksSettingsAndStatesTravelDepthFirstInOrderOfAttachment.
TEST(FFTStageDelivery, AnOutputChangeDuringDeliveryKeepsTheBlockValid)
{
    Source source(Single, 1, 256);
    SS stage;
    stage.SetOutput(SS::ssoAutoCorrelation); // the block points into the stage's vector
    stage.SetQVMeasureSource(&source);
    TQVTestConsumer first;
    first.Connect(&stage);
    std::vector<float> seen;
    TQVMeasureLink changer(nullptr);
    changer.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &data) {
        stage.SetOutput(SS::ssoRealFFT); // re-creates the vectors while the block is out
        seen.assign(data.Channels[0].Data, data.Channels[0].Data + data.Channels[0].Count);
    };
    changer.SeTQVMeasureSource(&stage);

    std::vector<float> x = Signal(256, 0);
    Send(source, &x);
    ASSERT_EQ(first.Blocks.size(), 1u);
    EXPECT_EQ(seen, first.Blocks[0].Channels[0]);
    EXPECT_EQ(stage.ComplexVector()->Count(), 128);
}
