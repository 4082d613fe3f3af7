#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <memory>
#include <numeric>
#include <numbers>
#include <random>
#include <tuple>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtCore/QUrl>
#include <QtGui/QImage>
#include <QtGui/QMouseEvent>
#include <QtTest/QSignalSpy>

#include "indicators/QVPlot.h"
#include "indicators/qvColorMap.h"
#include "indicators/qvWaterfall.h"
#include "support/qvPaintRecorder.h"
#include "support/qvTestConsumer.h"

using namespace Qt::StringLiterals;

namespace {

using LD = long double;
const LD Pi = std::numbers::pi_v<LD>;

// One block of one channel pointing into `samples`.
void SendSamples(TQVTestSource &source, std::vector<float> samples)
{
    TQVDescArraySingle block{};
    block.Channels[0] = {samples.data(), std::int32_t(samples.size())};
    source.Send(block);
}

// A plot on a source of `channels` channels (continuous and equidistant unless `caps` say
// otherwise), blocks of `n` samples over `span` from `xStart`.
struct TQVBoundPlot : TQVPlot
{
    TQVBoundPlot(int channels, int n, LD span, LD xStart = 0, QSize size = {400, 250},
                 TQVMeasureSourceCapabilities caps = {mscContinuous, mscEquidistant})
        : source(caps, channels, n, span)
    {
        source.Settings.XStart = xStart;
        setLocale(QLocale::c());
        resize(size);
        SetMeasureSource(&source);
    }
    void Feed(std::vector<float> samples) { SendSamples(source, std::move(samples)); }
    TQVTestSource source;
};

// The 1-2-5 step of at most `maxTicks` intervals, by trying every candidate in turn.
LD ReferenceStep(LD lo, LD hi, int maxTicks)
{
    for (int e = -30; e <= 30; ++e)
        for (LD m : {1.0L, 2.0L, 5.0L}) {
            const LD step = m * std::pow(10.0L, e);
            if ((hi - lo) / step <= maxTicks * (1 + 1e-9L))
                return step;
        }
    return 0;
}

// The mean square of `v`: its variance when its mean is 0, as that of noise.
double MeanSquare(const std::vector<float> &v)
{
    return double(std::inner_product(v.begin(), v.end(), v.begin(), 0.0L) / LD(v.size()));
}

} // namespace

TEST(PlotData, StoresTheBlockAndItsAbscissaAndIgnoresEmptyBlocksAndBadInput)
{
    TQVBoundPlot plot(2, 100, 0.01L, 0.5L);
    TQVTestBlock block(2, 100);
    plot.source.Send(block.Block);
    for (int k = 0; k < 2; ++k) {
        EXPECT_EQ(plot.TraceData(k), block.Samples[std::size_t(k)]);
        for (int i : {0, 1, 57, 99})
            EXPECT_NEAR(plot.SampleX(k, i), double(0.5L + i * 0.01L / 100), 1e-15);
    }
    EXPECT_DOUBLE_EQ(plot.XMinShown(), 0.5);
    EXPECT_DOUBLE_EQ(plot.XMaxShown(), 0.51);

    int changes = 0;
    QObject::connect(&plot, &TQVPlot::DataChanged, [&] { ++changes; });
    TQVDescArraySingle empty{}, zeroCount = block.Block, nullData{};
    zeroCount.Channels[0].Count = 0;
    zeroCount.Channels[1].Count = 0;
    nullData.Channels[0].Count = 5;
    for (TQVDescArraySingle *b : {&empty, &zeroCount, &nullData})
        plot.source.Send(*b);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(plot.TraceData(1), block.Samples[1]);

    // Out-of-range channels and invalid settings are refused without harm.
    EXPECT_TRUE(plot.TraceData(-1).empty());
    EXPECT_TRUE(plot.TraceData(99).empty());
    plot.SetYRange(5, 1);
    plot.SetYMin(std::nan(""));
    plot.SetDecibelReference(0);
    plot.SetHistoryLength(1);
    EXPECT_EQ(plot.YMin(), -1.0);
    EXPECT_EQ(plot.YMax(), 1.0);
    EXPECT_EQ(plot.DecibelReference(), 1.0);
    EXPECT_EQ(plot.HistoryLength(), 500);

    // A settings change re-reads the axis and drops channels the source no longer has.
    plot.source.SetSettings(1, 200, 2.0L);
    plot.source.UpdateLinks();
    EXPECT_NEAR(plot.SampleX(0, 40), 40 * 2.0 / 100, 1e-15);
    EXPECT_TRUE(plot.TraceData(1).empty());
    EXPECT_DOUBLE_EQ(plot.XMaxShown(), 2.0);

    // NaN and infinite samples are stored and painted without trouble.
    plot.Feed({1, std::nanf(""), INFINITY, -2});
    EXPECT_TRUE(std::isnan(plot.TraceData(0)[1]));
    EXPECT_LE(plot.YMinShown(), -2.0);
    EXPECT_FALSE(plot.grab().isNull());
}

// A single-value source: the plot keeps a history of the first value of each block.
TEST(PlotSource, SingleValuesMakeAHistoryEndingAtXStart)
{
    TQVBoundPlot plot(1, 1, 0.25L, 10.0L, {400, 250}, {mscContinuous, mscSingleValue, mscSingleChannel});
    plot.SetHistoryLength(3);
    for (float v : {1.f, 2.f, 3.f, 4.f, 5.f})
        plot.Feed({v, 99.f});
    EXPECT_EQ(plot.TraceData(0), (std::vector<float>{3, 4, 5}));
    EXPECT_DOUBLE_EQ(plot.SampleX(0, 2), 10.0);
    EXPECT_DOUBLE_EQ(plot.SampleX(0, 0), 9.5);
    EXPECT_DOUBLE_EQ(plot.XMinShown(), 9.5);
    EXPECT_DOUBLE_EQ(plot.XMaxShown(), 10.0);
}

TEST(PlotScale, AutoScaleCoversTheDataWithoutJitter)
{
    struct Case { double amplitude, offset; };
    for (const Case c : {Case{1, 0}, Case{3, 1}, Case{2e-6, 0}, Case{0.5, -40}, Case{0, 5}, Case{0, 0}}) {
        SCOPED_TRACE(testing::Message() << c.amplitude << " " << c.offset);
        TQVBoundPlot plot(1, 500, 1);
        std::vector<float> s(500);
        // Sends the sine scaled by `scale`, checks that the shown range covers it, returns its range.
        const auto sendCovered = [&](double scale) {
            for (int i = 0; i < 500; ++i)
                s[std::size_t(i)] = float(c.offset + scale * c.amplitude * std::sin(i * 0.05));
            plot.Feed(s);
            const auto [lo, hi] = std::minmax_element(s.begin(), s.end());
            EXPECT_LE(plot.YMinShown(), *lo);
            EXPECT_GE(plot.YMaxShown(), *hi);
            return double(*hi - *lo);
        };
        const double range = sendCovered(1.0), span = plot.YMaxShown() - plot.YMinShown();
        EXPECT_GT(span, 0.0);
        EXPECT_TRUE(range == 0 || span <= 2.0 * range) << span; // a little headroom, not a lot
        // A slightly smaller signal keeps the range; a much larger one widens it.
        const double keepLo = plot.YMinShown(), keepHi = plot.YMaxShown();
        sendCovered(0.9);
        EXPECT_EQ(plot.YMinShown(), keepLo);
        EXPECT_EQ(plot.YMaxShown(), keepHi);
        sendCovered(3.0);
    }
}

TEST(PlotScale, DecibelLevelsFollowTheClosedFormula)
{
    TQVPlot plot;
    plot.SetScaleY(TQVPlot::scDecibel);
    plot.SetDecibelFloor(-150);
    for (double ref : {1.0, 0.775, 1e-6})
        for (bool power : {false, true}) {
            plot.SetDecibelReference(ref);
            plot.SetPowerValues(power);
            for (double y : {1.0, -0.5, 3e-3, 1234.5, 1e-9}) {
                const LD expect = (power ? 10.0L : 20.0L) * std::log10(std::fabs(LD(y)) / ref);
                EXPECT_NEAR(plot.DisplayValue(y), double(std::max(expect, -150.0L)), 1e-9) << y << " " << ref;
            }
            EXPECT_EQ(plot.DisplayValue(0.0), -INFINITY);
        }
    plot.SetScaleY(TQVPlot::scLinear);
    EXPECT_EQ(plot.DisplayValue(-0.25), -0.25);
}

TEST(PlotTicks, OneTwoFiveStepsWithSiPrefixes)
{
    struct Range { double lo, hi; int maxTicks; };
    for (const Range r : {Range{0, 1, 5}, Range{0, 0.0213, 6}, Range{-1.1, 1.1, 8}, Range{23.4, 24000, 5},
                          Range{-140, 10, 7}, Range{1e-9, 7e-9, 3}, Range{990, 1010, 4}}) {
        double step = 0;
        const QList<double> ticks = TQVPlot::LinearTicks(r.lo, r.hi, r.maxTicks, &step);
        const LD ref = ReferenceStep(r.lo, r.hi, r.maxTicks);
        EXPECT_NEAR(step, double(ref), double(ref) * 1e-12) << r.lo << ".." << r.hi;
        ASSERT_FALSE(ticks.isEmpty());
        EXPECT_GE(ticks.first(), r.lo - ref * 1e-9);
        EXPECT_LT(ticks.first() - ref, r.lo);
        EXPECT_LE(ticks.last(), r.hi + ref * 1e-9);
        EXPECT_GT(ticks.last() + ref, r.hi);
        for (qsizetype i = 1; i < ticks.size(); ++i)
            EXPECT_NEAR(ticks[i] - ticks[i - 1], double(ref), double(ref) * 1e-9);
    }
    EXPECT_TRUE(TQVPlot::LinearTicks(1, 1, 5).isEmpty());
    EXPECT_TRUE(TQVPlot::LinearTicks(0, INFINITY, 5).isEmpty());

    const QLocale c = QLocale::c();
    struct Label { double value, step, magnitude; const char *unit; bool prefix; QString text; };
    const Label labels[] = {
        {5e-4, 1e-4, 9e-4, "s", true, u"500 \u00B5s"_s},  {2000, 1000, 24000, "Hz", true, u"2 kHz"_s},
        {2500, 500, 24000, "Hz", true, u"2.5 kHz"_s},     {0.015, 0.005, 0.02, "s", true, u"15 ms"_s},
        {-0.5, 0.5, 1.2, "V", true, u"-0.5 V"_s},         {0, 0.2, 1.0, "V", true, u"0.0 V"_s},
        {-60, 20, 140, "dB", false, u"-60 dB"_s},         {3e6, 1e6, 5e6, "", true, u"3 M"_s},
        {42, 2, 50, "", true, u"42"_s},                   {5e302, 5e302, 1e303, "s", true, u"5.0E302 s"_s},
        {-2.5e-30, 5e-31, 3e-30, "V", true, u"-2.5E-30 V"_s}, {3e16, 1e16, 5e16, "dB", false, u"3.0E16 dB"_s},
    };
    for (const Label &l : labels)
        EXPECT_EQ(TQVPlot::TickLabel(l.value, l.step, l.magnitude, QString::fromLatin1(l.unit), l.prefix, c), l.text);

    // The time axis of a plot bound to blocks of 1024 samples at 48 kHz (21.33 ms).
    TQVBoundPlot plot(1, 1024, 1024 / 48000.0L);
    const QList<double> xt = plot.XTicks();
    ASSERT_GE(xt.size(), 3);
    const double step = xt[1] - xt[0];
    const double mantissa = step / std::pow(10.0, std::floor(std::log10(step) + 1e-9));
    EXPECT_TRUE(std::fabs(mantissa - 1) < 1e-9 || std::fabs(mantissa - 2) < 1e-9 || std::fabs(mantissa - 5) < 1e-9)
        << step;
    EXPECT_EQ(plot.XTickLabels().first(), QStringLiteral("0 ms"));
    EXPECT_EQ(plot.XTickLabels()[1], TQVPlot::TickLabel(step, step, 1024 / 48000.0, "s", true, c));
}

TEST(PlotPaint, DecimationKeepsSingleSampleSpikes)
{
    TQVBoundPlot plot(1, 20000, 1);
    plot.SetAutoScale(false);
    plot.SetYRange(-1, 1);
    plot.SetGrid(false);
    plot.SetTraceColor(0, 0x0000FF); // red
    for (int spike : {3, 7777, 12345, 19990}) {
        std::vector<float> s(20000, 0.0f);
        s[std::size_t(spike)] = 0.8f;
        plot.Feed(s);
        const QImage img = plot.grab().toImage().convertToFormat(QImage::Format_RGB32);
        const QRect p = plot.PlotRect();
        // Documented mapping: x from [0, 1] onto the plot's width, y from [1, -1] onto its height.
        const int column = p.left() + int(std::floor(spike / 20000.0L * p.width()));
        const int row = p.top() + int(std::floor((1.0L - 0.8L) / 2.0L * p.height()));
        auto red = [&](int x, int y) {
            const QRgb c = img.pixel(x, y);
            return qRed(c) > 200 && qGreen(c) < 90 && qBlue(c) < 90;
        };
        EXPECT_TRUE(red(column, row) || red(column, row + 1)) << spike;
        // The whole rise is drawn in that column, and nothing reaches the spike's height elsewhere.
        EXPECT_TRUE(red(column, (row + p.top() + p.height() / 2) / 2)) << spike;
        for (int x = p.left() + 1; x < p.right(); x += 7)
            EXPECT_TRUE(std::abs(x - column) <= 2 || !red(x, row + 1)) << spike << " at " << x;
    }
}

// A flat line covers LineWidth logical pixels at every device pixel ratio: the ink summed
// down a column of the picture is LineWidth x ratio device pixels.
TEST(PlotPaint, TraceWidthIsInLogicalPixels)
{
    for (const auto &[ratio, width] : {std::pair{1, 1.0}, {2, 1.0}, {2, 2.5}, {3, 2.0}}) {
        TQVBoundPlot plot(1, 2, 1);
        plot.SetGrid(false);
        plot.SetTraceColor(0, 0x0000FF);
        plot.SetLineWidth(width);
        plot.Feed({0.3f, 0.3f});
        QImage img(plot.size() * ratio, QImage::Format_RGB32);
        img.setDevicePixelRatio(ratio);
        plot.render(&img);
        const QRect p = plot.PlotRect();
        double ink = 0.0; // red on white: one minus green is the coverage
        for (int y = (p.top() + 1) * ratio; y < p.bottom() * ratio; ++y)
            ink += (255 - qGreen(img.pixel((p.left() + p.width() / 2) * ratio, y))) / 255.0;
        EXPECT_NEAR(ink, width * ratio, 0.25) << ratio << " " << width;
    }
}

TEST(PlotRepaint, NewBlockRepaintsOnlyThePlotArea)
{
    TQVBoundPlot plot(1, 300, 0.1L);
    plot.SetTitle(QStringLiteral("Repaint"));
    std::vector<float> s(300);
    auto send = [&](float amplitude) {
        for (int i = 0; i < 300; ++i)
            s[std::size_t(i)] = amplitude * float(std::sin(i * 0.1));
        plot.Feed(s);
        QCoreApplication::processEvents();
    };
    send(1.0f);
    plot.show();
    QCoreApplication::processEvents();
    PaintRecorder recorder;
    plot.installEventFilter(&recorder);

    send(0.95f); // same axes: the plot area only
    ASSERT_FALSE(recorder.regions.empty());
    for (const QRegion &r : recorder.regions)
        EXPECT_TRUE(plot.PlotRect().contains(r.boundingRect())) << r.boundingRect().x();

    recorder.regions.clear();
    TQVDescArraySingle empty{};
    plot.source.Send(empty);
    QCoreApplication::processEvents();
    EXPECT_TRUE(recorder.regions.empty());

    send(50.0f); // the range changes: axes and labels too
    ASSERT_FALSE(recorder.regions.empty());
    EXPECT_EQ(recorder.regions.back().boundingRect(), plot.rect());
}

// The adaptive axes on a matrix of sizes and ranges: label boxes clear of each other and of
// the plot area, inside the widget; labelled values on the 1-2-5 series (the ends exempt).
TEST(PlotAdaptive, LabelsStayClearOnOneTwoFiveValues)
{
    struct Case { double yLo, yHi, xLo, xHi; bool decibel, logX; };
    const Case cases[] = {{0, 1, 0, 1, false, false},           {-1e6, 1e6, -1e6, 1e6, false, false},
                          {2.5, 2.5 + 1e-6, 1, 1 + 1e-6, false, false}, {-5e-7, 5e-7, 0, 1e-6, false, false},
                          {-120, 0, 0, 24000, true, false},    {-87, 3, 20, 20000, true, true},
                          {-1e300, 1e300, 0, 1.024e303, false, false}}; // beyond the SI prefixes
    // The value of the 1-2-5 series within 1e-6 of `v`, or 0.
    const auto oneTwoFive = [](LD v) -> LD {
        const LD e = std::pow(10.0L, std::floor(std::log10(std::fabs(v)) + 1e-12L));
        for (LD m : {1.0L, 2.0L, 5.0L, 10.0L})
            if (std::fabs(std::fabs(v) / e - m) < 1e-6L)
                return m * e;
        return 0;
    };
    for (const Case &c : cases)
        for (QSize size : {QSize(120, 80), QSize(200, 130), QSize(400, 250), QSize(700, 300), QSize(1200, 800)}) {
            SCOPED_TRACE(testing::Message() << c.yLo << ".." << c.xHi << " at " << size.width() << "x"
                                            << size.height());
            TQVBoundPlot plot(1, 100, c.xHi - c.xLo, c.xLo, size);
            plot.SetScaleLayout(slAdaptive);
            plot.SetScaleY(c.decibel ? TQVPlot::scDecibel : TQVPlot::scLinear);
            plot.SetXLog(c.logX);
            plot.SetAutoScale(false);
            plot.SetYRange(c.yLo, c.yHi);
            const std::vector<TQVScaleLabelBox> &labels = plot.AdaptiveLayout().Labels;
            EXPECT_GE(plot.XTicks().size() + plot.YTicks().size(), 4);
            for (std::size_t i = 0; i < labels.size(); ++i) {
                EXPECT_TRUE(QRectF(plot.rect()).contains(labels[i].Box)) << qPrintable(labels[i].Text);
                EXPECT_FALSE(labels[i].Box.intersects(plot.PlotRect())) << qPrintable(labels[i].Text);
                for (std::size_t j = i + 1; j < labels.size(); ++j)
                    EXPECT_FALSE(labels[i].Box.intersects(labels[j].Box))
                        << qPrintable(labels[i].Text + labels[j].Text);
            }
            for (const auto &[ticks, lo, hi, log] : {std::tuple(plot.XTicks(), c.xLo, c.xHi, c.logX),
                                                     std::tuple(plot.YTicks(), c.yLo, c.yHi, false)}) {
                QList<double> inner;
                for (double v : ticks)
                    if (std::fabs(v - lo) > (hi - lo) * 1e-9 && std::fabs(v - hi) > (hi - lo) * 1e-9)
                        inner.append(v);
                if (inner.size() < 2 && !log)
                    continue;
                const LD step = log ? 1.0L : oneTwoFive(inner[1] - inner[0]);
                EXPECT_GT(step, 0.0L);
                const LD tolerance = 1e-12L * std::max({std::fabs(lo), std::fabs(hi), double(step)});
                for (double v : inner) {
                    const LD expected = log ? oneTwoFive(v) : std::nearbyint(v / step) * step;
                    EXPECT_NEAR(v, double(expected), log ? v * 1e-12 : double(tolerance)) << " step " << double(step);
                }
            }
        }
}

// The magnitude spectrum (N / 2 bins) of a Hann-windowed sine of k0 periods per N samples,
// with a second harmonic of amplitude a2, by a direct DFT in long double; 1 for a bin-centred sine.
std::vector<float> HannAmplitudes(int N, LD k0, LD a2 = 0)
{
    std::vector<float> magnitude(std::size_t(N) / 2);
    for (int k = 0; k < N / 2; ++k) {
        std::complex<LD> bin = 0;
        for (int n = 0; n < N; ++n)
            bin += (std::sin(2 * Pi * k0 * n / N + 0.3L) + a2 * std::sin(4 * Pi * k0 * n / N + 1))
                   * (0.5L - 0.5L * std::cos(2 * Pi * n / N)) * std::polar(1.0L, -2 * Pi * k * n / N);
        magnitude[std::size_t(k)] = float(std::abs(bin) * 4 / N);
    }
    return magnitude;
}

// A Hann-windowed sine between two bins with a second harmonic, fed as amplitudes or as
// powers, on either scale: the refined peak lies within 0.05 bin of the true frequency, the
// distortion reads the fundamental, THD and the harmonic in x units, and a zoom that ends
// below the second harmonic reads no THD.
TEST(PlotMeasure, PeakMarkerAndDistortionReadTheSpectrumBetweenBins)
{
    constexpr int N = 256;
    constexpr double Fs = 48000.0, Bin = Fs / N, A2 = 0.01;
    bool powers = false;
    for (const double fraction : {0.1, 0.25, 0.37, 0.5, 0.77}) {
        const LD k0 = 40 + LD(fraction);
        std::vector<float> spectrum = HannAmplitudes(N, k0, A2);
        if ((powers = !powers))
            std::transform(spectrum.begin(), spectrum.end(), spectrum.begin(), [](float a) { return a * a; });
        for (const auto scale : {TQVPlot::scLinear, TQVPlot::scDecibel}) {
            SCOPED_TRACE(testing::Message() << fraction << " bin, powers " << powers << ", scale " << scale);
            TQVBoundPlot plot(1, N / 2, LD(N / 2) * Bin, 0, {600, 300});
            plot.SetScaleY(scale);
            plot.SetPowerValues(powers);
            plot.SetXUnit(QStringLiteral("Hz"));
            plot.SetPeakMarker(true);
            plot.SetDistortion(true);
            plot.Feed(spectrum);
            EXPECT_NEAR(plot.PeakX(), double(k0) * Bin, 0.05 * Bin);
            const QStringList lines = plot.ReadoutLines(); // peak, then the four of the distortion
            EXPECT_TRUE(lines.size() == 5 && lines[0].contains(u" kHz"_s)) << lines.join('|').toStdString();
            const QVariantMap d = plot.DistortionReading();
            EXPECT_NEAR(d.value(u"fundamental"_s).toDouble(), double(k0) * Bin, 0.05 * Bin);
            EXPECT_NEAR(d.value(u"thd"_s).toDouble() / A2, 1.0, 0.01);
            const QVariantMap h2 = d.value(u"harmonics"_s).toList().value(0).toMap();
            EXPECT_NEAR(h2.value(u"x"_s).toDouble(), 2 * double(k0) * Bin, 0.5 * Bin);
            EXPECT_NEAR(h2.value(u"dBc"_s).toDouble(), 20 * std::log10(A2), 0.1);
            plot.ZoomTo(0.0, 1.5 * double(k0) * Bin, -200.0, 200.0);
            EXPECT_TRUE(plot.DistortionReading().contains(u"thdN"_s) && !plot.DistortionReading().contains(u"thd"_s));
        }
    }
}

// The limit test against the masks in closed form, sample by sample: a ramp of levels under a
// sloped line, over a step (the tighter level at it), a line over part of the trace, and on a
// log axis a line straight in log x that a point at 0 carries to the left, with a zero (a level
// of minus infinity) under a lower line.
TEST(PlotMeasure, LimitLinesJudgeEverySampleAgainstTheirClosedForm)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case { bool Decibel; const char *Upper, *Lower; std::function<double(double)> Up, Low; };
    const auto within = [nan](double a, double b, double y) { return [=](double x) { return x >= a && x <= b ? y : nan; }; };
    const auto none = [nan](double) { return nan; };
    const Case cases[] = {
        {false, "0 10; 100 60", "", [](double x) { return 10 + 0.5 * x; }, none},
        {false, "", "0 -1; 50 -1\n50,55; 99 55", none, [](double x) { return x < 50 ? -1.0 : 55.0; }},
        {false, "20 0; 30 0", "", within(20, 30, 0), none},
        {true, "0 5; 1 0; 10 20", "1 -10; 10 -10", [](double x) { return x < 1 ? 0 : 20 * std::log10(x); }, within(1, 10, -10)},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.Upper << " / " << c.Lower);
        const double dx = c.Decibel ? 0.1 : 1.0; // the log axis has samples below and above 1
        TQVBoundPlot plot(1, 100, LD(100 * dx));
        std::vector<float> samples(100);
        for (int i = 0; i < 100; ++i)
            samples[std::size_t(i)] = c.Decibel ? (i == 50 ? 0.0f : float(std::pow(10.0, 0.01 * i))) : float(i);
        plot.SetScaleY(c.Decibel ? TQVPlot::scDecibel : TQVPlot::scLinear);
        plot.SetXLog(c.Decibel);
        plot.Feed(samples);
        QSignalSpy verdicts(&plot, &TQVPlot::LimitResultChanged);
        plot.SetUpperLimit(QString::fromLatin1(c.Upper));
        plot.SetLowerLimit(QString::fromLatin1(c.Lower));
        int tested = 0, violations = 0;
        double margin = INFINITY, marginX = nan, firstX = nan;
        for (int i = c.Decibel ? 1 : 0; i < 100; ++i) { // x = 0 has no place on a log axis
            const double x = i * dx, v = c.Decibel ? 20 * std::log10(double(samples[std::size_t(i)])) : i;
            const double m = std::fmin(c.Up(x) - v, v - c.Low(x));
            if (std::isnan(m))
                continue;
            ++tested;
            violations += m < 0;
            firstX = m < 0 && std::isnan(firstX) ? x : firstX;
            std::tie(margin, marginX) = m < margin ? std::pair{m, x} : std::pair{margin, marginX};
        }
        const QVariantMap r = plot.LimitReading();
        EXPECT_EQ(r.value(u"tested"_s).toInt(), tested);
        EXPECT_EQ(r.value(u"violations"_s).toInt(), violations);
        const double got = r.value(u"margin"_s).toDouble();
        EXPECT_TRUE(got == margin || std::fabs(got - margin) < 1e-9) << got << " " << margin;
        EXPECT_NEAR(r.value(u"marginX"_s).toDouble(), marginX, 1e-12);
        EXPECT_NEAR(r.value(u"firstX"_s, nan).toDouble(), firstX, 1e-12);
        EXPECT_EQ(plot.LimitFailed(), violations > 0);
        EXPECT_EQ(verdicts.count(), violations > 0 ? 1 : 0);
        EXPECT_TRUE(plot.ReadoutLines().constLast().startsWith(violations > 0 ? u"Fail"_s : u"Pass"_s));

        // The same block again changes no verdict; without lines there is no test.
        plot.Feed(samples);
        plot.SetUpperLimit(QString());
        plot.SetLowerLimit(QString());
        EXPECT_TRUE(!plot.LimitFailed() && plot.LimitReading().isEmpty());
        EXPECT_EQ(verdicts.count(), violations > 0 ? 2 : 0);
    }

    // Texts that are not points with x rising are ignored; the text form reads back.
    TQVPlot plot;
    plot.SetUpperLimit(u"0 1"_s);
    for (const char *bad : {"1 2; 0 3", "1", "a b", "1 2 3", "1 nan", "1 2;; 3 inf"}) {
        plot.SetUpperLimit(QString::fromLatin1(bad));
        EXPECT_EQ(plot.UpperLimit(), u"0 1"_s) << bad;
    }
    QList<QPointF> points;
    ASSERT_TRUE(TQVPlot::ParseLimit(u" 0,0.1\n1e3  -60.5 ;"_s, &points));
    EXPECT_EQ(TQVPlot::LimitText(points), u"0 0.1; 1000 -60.5"_s);
}

// N blocks of uniform noise (variance 1/3): a linear average has 1/N of it, and stays after N
// blocks; an exponential one of weight 1/N settles at 1/(2N - 1); none leaves it. The holds
// are the element-wise extremes of the traces shown since the last reset.
TEST(PlotMeasure, AveragingDividesTheVarianceOfNoiseAndHoldsKeepTheExtremes)
{
    struct Case { TQVPlot::TQVPlotAveraging Kind; int Count, Blocks; double Ratio; };
    for (const Case c : {Case{TQVPlot::avLinear, 4, 4, 1.0 / 4}, Case{TQVPlot::avLinear, 16, 40, 1.0 / 16},
                         Case{TQVPlot::avExponential, 8, 300, 1.0 / 15}, Case{TQVPlot::avNone, 0, 6, 1.0}}) {
        SCOPED_TRACE(testing::Message() << c.Kind << " over " << c.Count);
        std::mt19937 random(c.Count);
        std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
        std::vector<float> block(8192);
        TQVBoundPlot plot(1, 8192, 8192, 0, {600, 300});
        plot.SetAveraging(c.Kind);
        plot.SetAverageCount(c.Count);
        plot.SetMaxHold(true);
        plot.SetMinHold(true);
        std::vector<float> high(8192, -INFINITY), low(8192, INFINITY);
        for (int n = 0; n < c.Blocks; ++n) {
            std::generate(block.begin(), block.end(), [&] { return uniform(random); });
            plot.Feed(block);
            const std::vector<float> &shown = plot.TraceData(0);
            for (std::size_t i = 0; i < shown.size(); ++i) {
                high[i] = std::max(high[i], shown[i]);
                low[i] = std::min(low[i], shown[i]);
            }
        }
        EXPECT_EQ(plot.AveragedBlocks(0), std::min(c.Count, c.Blocks));
        EXPECT_NEAR(MeanSquare(plot.TraceData(0)) / (1.0 / 3.0), c.Ratio, 0.1 * c.Ratio);
        EXPECT_EQ(plot.MaxHoldData(0), high);
        EXPECT_EQ(plot.MinHoldData(0), low);
        plot.ResetProcessing();
        EXPECT_TRUE(plot.MaxHoldData(0).empty());
    }
}

// The export holds what is drawn: the abscissa of the closed form, the samples to the bit
// (levels by the dB formula), the holds, nothing for what is not finite, and an abscissa of
// its own for a channel of another length.
TEST(PlotExport, CsvHoldsTheShownSamplesExactly)
{
    TQVBoundPlot plot(2, 5, 0.5L, 2.0L);
    plot.SetXUnit(u"s"_s);
    plot.SetYUnit(u"V"_s);
    plot.SetTraceName(1, u"Out, \"filtered\""_s);
    plot.SetMaxHold(true);
    TQVTestBlock block(2, 5);
    for (int k = 0; k < 2; ++k) {
        for (int i = 0; i < 5; ++i) // samples that need all their digits
            block.Samples[std::size_t(k)][std::size_t(i)] = float(std::sin(1.0 + i + 7 * k) / 3);
        block.Block.Channels[k] = {block.Samples[std::size_t(k)].data(), 5};
    }
    block.Samples[0][3] = std::nanf("");
    block.Samples[1][2] = 0.0f;
    plot.source.Send(block.Block);
    const auto rows = [&plot] { return plot.TracesCsv().split(u'\n').mid(1, 5); }; // the header apart
    EXPECT_TRUE(plot.TracesCsv().startsWith(
        u"x [s],Ch 0 [V],Ch 0 max [V],\"Out, \"\"filtered\"\" [V]\",\"Out, \"\"filtered\"\" max [V]\"\n"_s));
    for (bool decibel : {false, true}) {
        plot.SetScaleY(decibel ? TQVPlot::scDecibel : TQVPlot::scLinear);
        for (int i = 0; i < 5; ++i) {
            const QStringList fields = rows()[i].split(u',');
            ASSERT_EQ(fields.size(), 5);
            EXPECT_EQ(fields[0].toDouble(), double(2.0L + i * 0.5L / 5)) << i;
            for (int column = 1; column < 5; ++column) {
                const float y = block.Samples[std::size_t(column - 1) / 2][std::size_t(i)]; // trace, then its hold
                if (std::isnan(y) || (decibel && y == 0.0f))
                    EXPECT_TRUE(fields[column].isEmpty()) << qPrintable(fields[column]);
                else if (decibel)
                    EXPECT_NEAR(fields[column].toDouble(), double(20 * std::log10(std::fabs(LD(y)))), 1e-12) << i;
                else
                    EXPECT_EQ(fields[column].toFloat(), y) << i << " " << column;
            }
        }
    }
    // Channels of different lengths; nothing shown; a file that cannot be written.
    block.Block.Channels[1].Count = 2;
    plot.SetScaleY(TQVPlot::scLinear);
    plot.SetMaxHold(false);
    plot.source.Send(block.Block);
    const QStringList last = rows();
    EXPECT_TRUE(plot.TracesCsv().startsWith(u"x [s],Ch 0 [V],x [s],"_s));
    EXPECT_EQ(last[1].section(u',', 2, 2).toDouble(), 2.25);
    EXPECT_EQ(last[1].section(u',', 3).toFloat(), block.Samples[1][1]);
    EXPECT_TRUE(last[2].endsWith(u",,"_s));
    plot.SetChannelMask(0);
    EXPECT_EQ(plot.TracesCsv(), u"x [s]\n"_s);
    QTemporaryDir dir;
    int errors = 0;
    QObject::connect(&plot, &TQVPlot::ErrorOccurred, [&errors] { ++errors; });
    EXPECT_TRUE(plot.SaveTracesCsv(QUrl::fromLocalFile(dir.filePath(u"t.csv"_s)).toString()));
    EXPECT_TRUE(QFile::exists(dir.filePath(u"t.csv"_s)) && errors == 0);
    EXPECT_FALSE(plot.SaveTracesCsv(dir.filePath(u"missing/t.csv"_s)));
    EXPECT_EQ(errors, 1);
}

// Zooms push views that back and reset restore exactly; absurd views are refused; a rubber
// band drawn with the mouse zooms onto its range, rounded out to a 1-2-5 step.
TEST(PlotMeasure, ZoomStackRestoresExactAxes)
{
    TQVBoundPlot plot(1, 1000, LD(1000) * 1e-3, 0, {600, 300});
    std::vector<float> ramp(1000);
    for (int i = 0; i < 1000; ++i)
        ramp[std::size_t(i)] = 0.002f * float(i) - 1.0f;
    plot.Feed(ramp);
    const auto view = [&] { return std::vector<double>{plot.XMinShown(), plot.XMaxShown(), plot.YMinShown(), plot.YMaxShown()}; };
    const std::vector<double> home = view();
    plot.ZoomTo(0.1, 0.3, -0.5, 0.25);
    const std::vector<double> first = view();
    EXPECT_EQ(first, (std::vector<double>{0.1, 0.3, -0.5, 0.25}));
    plot.ZoomBy(0.5, 0.25, 0.5);
    plot.ZoomTo(0.2, 0.21, 0.0, 1e-3);
    EXPECT_EQ(plot.ZoomDepth(), 3);
    for (const auto &bad : std::vector<std::vector<double>>{{0.2, 0.2, 0, 1}, {NAN, 1, 0, 1}, {0, INFINITY, 0, 1}, {0, 1, 1, 0},
                                                            {-1e308, 1e308, 0, 1}, {1, 1 + 1e-15, 0, 1}})
        plot.ZoomTo(bad[0], bad[1], bad[2], bad[3]);
    EXPECT_EQ(plot.ZoomDepth(), 3);
    plot.ZoomBack();
    plot.ZoomBack();
    EXPECT_EQ(view(), first);
    plot.ZoomReset();
    EXPECT_EQ(view(), home);

    plot.SetInteractive(true);
    const QRect p = plot.PlotRect();
    const QPointF from(p.left() + 0.2 * p.width(), p.top() + 2), to(p.left() + 0.6 * p.width(), p.top() + 2);
    const double x0 = home[0] + 0.2 * (home[1] - home[0]), x1 = home[0] + 0.6 * (home[1] - home[0]);
    for (auto [type, at] : {std::pair{QEvent::MouseButtonPress, from}, {QEvent::MouseMove, to}, {QEvent::MouseButtonRelease, to}}) {
        QMouseEvent event(type, at, at, Qt::LeftButton, type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, {});
        QCoreApplication::sendEvent(&plot, &event);
    }
    ASSERT_EQ(plot.ZoomDepth(), 1);
    const double step = 2.5 * (x1 - x0) / 20; // the ends snap out by less than a 1-2-5 step of a twentieth
    EXPECT_LE(plot.XMinShown(), x0 + 1e-12);
    EXPECT_GE(plot.XMinShown(), x0 - step);
    EXPECT_GE(plot.XMaxShown(), x1 - 2.0 / p.width() * (home[1] - home[0]));
    EXPECT_LE(plot.XMaxShown(), x1 + step);
    EXPECT_EQ(plot.YMinShown(), home[2]); // a flat band leaves y alone
}

// A trace that is a straight line in displayed units: the cursors read a + b x, and the
// difference line shows Δt and 1/Δt.
TEST(PlotMeasure, CursorReadoutsFollowTheLine)
{
    struct Case { TQVPlot::TQVPlotScale Scale; double X1, X2; };
    for (const Case c : {Case{TQVPlot::scLinear, 1e-3, 3.5e-3}, Case{TQVPlot::scDecibel, 7.25e-3, 2.0e-3}}) {
        SCOPED_TRACE(c.Scale);
        TQVBoundPlot plot(1, 100, LD(100) * 1e-4, 0, {600, 300});
        plot.SetScaleY(c.Scale);
        // Linear: y = 0.5 + 200 x; dB: a level of -2000 x dB.
        const auto expected = [&](double x) { return c.Scale == TQVPlot::scLinear ? 0.5 + 200 * x : -2000 * x; };
        std::vector<float> samples(100);
        for (int i = 0; i < 100; ++i)
            samples[std::size_t(i)] = float(c.Scale == TQVPlot::scLinear ? expected(i * 1e-4) : std::pow(10.0, expected(i * 1e-4) / 20));
        plot.Feed(samples);
        plot.SetCursors(true);
        plot.SetCursor1(c.X1);
        plot.SetCursor2(c.X2);
        EXPECT_NEAR(plot.CursorValue(1), expected(c.X1), 1e-5);
        EXPECT_NEAR(plot.CursorValue(2), expected(c.X2), 1e-5);
        const QString delta = plot.ReadoutLines().value(2);
        const QRegularExpressionMatch m = QRegularExpression(QStringLiteral(R"(([-\d.]+) ms \(([\d.]+) Hz\))")).match(delta);
        ASSERT_TRUE(m.hasMatch()) << delta.toStdString();
        EXPECT_NEAR(m.captured(1).toDouble(), (c.X2 - c.X1) * 1e3, 1e-3 * std::fabs(c.X2 - c.X1) * 1e3);
        EXPECT_NEAR(m.captured(2).toDouble(), 1 / std::fabs(c.X2 - c.X1), 1e-3 / std::fabs(c.X2 - c.X1));
        plot.SetCursor1(1.0); // outside the trace
        EXPECT_TRUE(std::isnan(plot.CursorValue(1)));
    }
}

// Statistics between the cursors against a long-double pass over the samples whose abscissa
// i * 0.1 ms lies from the left cursor up to the right one, without it; on a dB scale over the levels, without mean and RMS.
TEST(PlotMeasure, CursorStatisticsCoverTheSamplesBetweenTheCursors)
{
    for (const TQVPlot::TQVPlotScale scale : {TQVPlot::scLinear, TQVPlot::scDecibel}) {
        SCOPED_TRACE(scale);
        TQVBoundPlot plot(1, 100, LD(100) * 1e-4, 0, {600, 300});
        plot.SetScaleY(scale);
        std::vector<float> samples(100);
        for (int i = 0; i < 100; ++i)
            samples[std::size_t(i)] = float(1.5 + std::sin(0.37 * i) + 0.004 * i);
        plot.Feed(samples);
        plot.SetCursors(true);
        plot.SetCursorStatistics(true);
        plot.SetCursor1(5.0e-3); // reversed: the gate is samples 20..49
        plot.SetCursor2(2.0e-3);
        LD sum = 0, squares = 0, max = -1e300, min = 1e300;
        int maxAt = 0, minAt = 0;
        for (int i = 20; i < 50; ++i) {
            const LD y = samples[std::size_t(i)], v = scale == TQVPlot::scLinear ? y : 20 * std::log10(y);
            sum += v;
            squares += v * v;
            std::tie(max, maxAt) = v > max ? std::pair{v, i} : std::pair{max, maxAt};
            std::tie(min, minAt) = v < min ? std::pair{v, i} : std::pair{min, minAt};
        }
        const QVariantMap s = plot.GateStatistics();
        EXPECT_EQ(s.value("count").toInt(), 30);
        for (const auto &[key, want] : {std::pair{"max", max}, {"min", min}, {"mean", sum / 30}, {"rms", std::sqrt(squares / 30)},
                                        {"maxX", maxAt * 1e-4L}, {"minX", minAt * 1e-4L}})
            EXPECT_NEAR(s.value(key).toDouble(), double(want), 1e-12 * std::fabs(double(want))) << key;
        EXPECT_EQ(plot.ReadoutLines().size(), scale == TQVPlot::scLinear ? 8 : 6);
    }
}

// The readout box hides no cursor, and no sample where the top or bottom edge has room:
// sample positions by the documented mapping. A box with room where it is stays there.
TEST(PlotMeasure, ReadoutBoxKeepsClearOfCursorsAndTraces)
{
    struct Case { std::function<double(double)> Y; double C1, C2; bool Room; };
    const Case cases[] = {{[](double t) { return 2 * t - 1; }, 0.1, 0.4, true},
                          {[](double t) { return 1 - 2 * t; }, 0.6, 0.9, true},
                          {[](double t) { return std::cos(6 * double(Pi) * t); }, 0.2, 0.8, false}};
    for (const Case &c : cases) {
        TQVBoundPlot plot(1, 1000, 1.0L, 0, {600, 300});
        std::vector<float> samples(1000);
        for (int i = 0; i < 1000; ++i)
            samples[std::size_t(i)] = float(c.Y(i / 999.0));
        plot.Feed(samples);
        plot.SetCursors(true);
        plot.SetCursor1(c.C1);
        plot.SetCursor2(c.C2);
        plot.grab();
        const QRect p = plot.PlotRect(), box = plot.ReadoutRect();
        EXPECT_TRUE(p.contains(box));
        const auto screen = [&](double x, double v) {
            return QPointF(p.left() + (x - plot.XMinShown()) / (plot.XMaxShown() - plot.XMinShown()) * p.width(),
                           p.top() + (plot.YMaxShown() - v) / (plot.YMaxShown() - plot.YMinShown()) * p.height());
        };
        for (double x : {c.C1, c.C2})
            EXPECT_FALSE(screen(x, 0).x() >= box.left() && screen(x, 0).x() <= box.right() + 1) << x;
        int hidden = 0;
        for (int i = 0; i < 1000; ++i)
            hidden += QRectF(box).contains(screen(plot.SampleX(0, i), samples[std::size_t(i)]));
        EXPECT_EQ(hidden == 0, c.Room) << hidden;
        if (c.Room) {
            plot.Feed(std::vector<float>(1000, 0.0f)); // every place at the edges is free now
            plot.grab();
            const QRect now = plot.ReadoutRect(); // its numbers changed, so may its width
            EXPECT_TRUE(now.top() == box.top() && (now.left() == box.left() || now.right() == box.right()));
        }
    }
}

// CIE lightness of the map's colours rises strictly from end to end. Each block becomes the
// top row: a column holds the loudest of its bins in dB, the older rows move down, and on the
// screen only that row is painted.
TEST(Waterfall, EachBlockIsOneRowOnTopInAMapOfRisingLightness)
{
    const auto lightness = [](QRgb c) {
        const auto linear = [](int v) { const double s = v / 255.0; return s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4); };
        const double y = 0.2126 * linear(qRed(c)) + 0.7152 * linear(qGreen(c)) + 0.0722 * linear(qBlue(c));
        return y > 216.0 / 24389 ? 116 * std::cbrt(y) - 16 : y * 24389.0 / 27;
    };
    const auto &table = QVLevelColorTable();
    EXPECT_LT(lightness(table.front()), 20);
    EXPECT_GT(lightness(table.back()), 85);
    // Steadily: never falling by more than 8-bit rounding, rising over every 8 entries.
    for (std::size_t k = 1; k < table.size(); ++k) {
        EXPECT_GT(lightness(table[k]), lightness(table[k - 1]) - 0.1) << k;
        EXPECT_GT(lightness(table[k]), lightness(table[k - std::min<std::size_t>(k, 8)]) + (k >= 8 ? 1.0 : 0.0)) << k;
    }

    TQVTestSource source({mscContinuous, mscEquidistant}, 1, 1);
    TQVWaterfall waterfall;
    waterfall.resize(500, 300);
    waterfall.SetMeasureSource(&source);
    waterfall.show();
    QCoreApplication::processEvents();
    const int w = waterfall.PlotRect().width();
    std::vector<float> first(std::size_t(2 * w)), second(std::size_t(2 * w), 1e-9f);
    for (int i = 0; i < 2 * w; ++i)
        first[std::size_t(i)] = float(std::pow(10.0, -(i % 97) / 20.0)); // 0 to -96 dB
    SendSamples(source, first);

    PaintRecorder spy;
    QCoreApplication::processEvents();
    waterfall.installEventFilter(&spy);
    SendSamples(source, second);
    QCoreApplication::processEvents();
    const QRect p = waterfall.PlotRect();
    EXPECT_EQ(spy.regions, std::vector{QRegion(p.left(), p.top(), p.width(), 1)});

    ASSERT_EQ(waterfall.RowCount(), 2);
    for (int c : {0, 1, w / 2, w - 1}) {
        const double loudest = std::max(-(2 * c % 97), -((2 * c + 1) % 97)) ;
        EXPECT_NEAR(waterfall.Level(1, c), loudest, 1e-4) << c;
        EXPECT_NEAR(waterfall.Level(0, c), -180.0, 1e-4);
    }
    const QImage image = waterfall.Image();
    EXPECT_EQ(image.pixel(0, 0), QVLevelColor(0)); // below LevelMin
    EXPECT_EQ(image.pixel(0, 1), QVLevelColor(1)); // 0 dB, at LevelMax
}
