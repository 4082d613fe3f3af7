#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtGui/QMouseEvent>

#include "indicators/QVPlot.h"
#include "indicators/qvColorMap.h"
#include "indicators/qvWaterfall.h"
#include "support/qvPaintRecorder.h"
#include "support/qvTestConsumer.h"

namespace {

using LD = long double;
const LD Pi = std::numbers::pi_v<LD>;

// A continuous source of one channel whose `n` samples lie `dx` apart from x = 0.
struct TQVLine
{
    TQVTestSource source;
    TQVLine(int n, double dx)
    {
        source.SetCaps({mscContinuous, mscEquidistant});
        source.SetSettings(1, n, LD(n) * dx);
    }
    void Send(std::vector<float> &samples)
    {
        TQVDescArraySingle block{};
        block.Channels[0] = {samples.data(), std::int32_t(samples.size())};
        source.Send(block);
    }
};

std::unique_ptr<TQVPlot> PlotOn(TQVLine &line)
{
    auto plot = std::make_unique<TQVPlot>();
    plot->setLocale(QLocale::c());
    plot->resize(600, 300);
    plot->SetMeasureSource(&line.source);
    return plot;
}

std::vector<float> Noise(std::mt19937 &random, int n)
{
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    std::vector<float> v(std::size_t(n), 0.0f);
    for (float &x : v)
        x = uniform(random);
    return v;
}

double Variance(const std::vector<float> &v)
{
    LD sum = 0, sum2 = 0;
    for (float x : v) {
        sum += x;
        sum2 += LD(x) * x;
    }
    const LD n = LD(v.size());
    return double(sum2 / n - (sum / n) * (sum / n));
}

} // namespace

// A Hann-windowed sine between two bins, its magnitude spectrum by a direct DFT in long
// double: the refined peak lies within 0.05 bin of the true frequency, in both scales.
TEST(PlotMeasure, PeakMarkerFindsTheFrequencyBetweenBins)
{
    constexpr int N = 256;
    constexpr double Fs = 48000.0, Bin = Fs / N;
    for (const double fraction : {0.1, 0.25, 0.37, 0.5, 0.77}) {
        const LD k0 = 40 + LD(fraction);
        std::vector<float> magnitude(N / 2);
        for (int k = 0; k < N / 2; ++k) {
            LD re = 0, im = 0;
            for (int n = 0; n < N; ++n) {
                const LD x = std::sin(2 * Pi * k0 * n / N + 0.3L) * (0.5L - 0.5L * std::cos(2 * Pi * n / N));
                re += x * std::cos(2 * Pi * k * n / N);
                im -= x * std::sin(2 * Pi * k * n / N);
            }
            magnitude[std::size_t(k)] = float(std::hypot(re, im) * 4 / N); // 1 for a bin-centred sine
        }
        for (const auto scale : {TQVPlot::scLinear, TQVPlot::scDecibel}) {
            SCOPED_TRACE(testing::Message() << fraction << " bin, scale " << scale);
            TQVLine line(N / 2, Bin);
            auto plot = PlotOn(line);
            plot->SetScaleY(scale);
            plot->SetXUnit(QStringLiteral("Hz"));
            plot->SetPeakMarker(true);
            line.Send(magnitude);
            EXPECT_NEAR(plot->PeakX(), double(k0) * Bin, 0.05 * Bin);
            // The reading carries the axis unit with its SI prefix.
            EXPECT_TRUE(plot->ReadoutLines().value(0).contains(QStringLiteral(" kHz"))) << plot->ReadoutLines().join('|').toStdString();
        }
    }
}

// N blocks of uniform noise (variance 1/3): a linear average has 1/N of it, and stays after N
// blocks; an exponential one of weight 1/N settles at 1/(2N - 1).
TEST(PlotMeasure, AveragingDividesTheVarianceOfNoise)
{
    struct Case { TQVPlot::TQVPlotAveraging Kind; int Count, Blocks; double Ratio; };
    for (const Case c : {Case{TQVPlot::avLinear, 4, 4, 1.0 / 4}, Case{TQVPlot::avLinear, 16, 40, 1.0 / 16},
                         Case{TQVPlot::avExponential, 8, 300, 1.0 / 15}}) {
        SCOPED_TRACE(testing::Message() << c.Kind << " over " << c.Count);
        std::mt19937 random(c.Count);
        TQVLine line(8192, 1.0);
        auto plot = PlotOn(line);
        plot->SetAveraging(c.Kind);
        plot->SetAverageCount(c.Count);
        for (int b = 0; b < c.Blocks; ++b) {
            std::vector<float> block = Noise(random, 8192);
            line.Send(block);
        }
        EXPECT_EQ(plot->AveragedBlocks(0), std::min(c.Count, c.Blocks));
        EXPECT_NEAR(Variance(plot->TraceData(0)) / (1.0 / 3.0), c.Ratio, 0.1 * c.Ratio);
    }
}

TEST(PlotMeasure, HoldsAreTheElementWiseExtremesUntilAReset)
{
    std::mt19937 random(7);
    TQVLine line(500, 1.0);
    auto plot = PlotOn(line);
    plot->SetMaxHold(true);
    plot->SetMinHold(true);
    std::vector<float> high(500, -INFINITY), low(500, INFINITY);
    for (int b = 0; b < 6; ++b) {
        std::vector<float> block = Noise(random, 500);
        for (std::size_t i = 0; i < block.size(); ++i) {
            high[i] = std::max(high[i], block[i]);
            low[i] = std::min(low[i], block[i]);
        }
        line.Send(block);
    }
    EXPECT_EQ(plot->MaxHoldData(0), high);
    EXPECT_EQ(plot->MinHoldData(0), low);
    plot->ResetProcessing();
    EXPECT_TRUE(plot->MaxHoldData(0).empty());
}

// Zooms push views that back and reset restore exactly; absurd views are refused; a rubber
// band drawn with the mouse zooms onto its range, rounded out to a 1-2-5 step.
TEST(PlotMeasure, ZoomStackRestoresExactAxes)
{
    TQVLine line(1000, 1e-3);
    auto plot = PlotOn(line);
    std::vector<float> ramp(1000);
    for (int i = 0; i < 1000; ++i)
        ramp[std::size_t(i)] = 0.002f * float(i) - 1.0f;
    line.Send(ramp);
    const auto view = [&] { return std::vector<double>{plot->XMinShown(), plot->XMaxShown(), plot->YMinShown(), plot->YMaxShown()}; };
    const std::vector<double> home = view();
    plot->ZoomTo(0.1, 0.3, -0.5, 0.25);
    const std::vector<double> first = view();
    EXPECT_EQ(first, (std::vector<double>{0.1, 0.3, -0.5, 0.25}));
    plot->ZoomBy(0.5, 0.25, 0.5);
    plot->ZoomTo(0.2, 0.21, 0.0, 1e-3);
    EXPECT_EQ(plot->ZoomDepth(), 3);
    for (const auto &bad : std::vector<std::vector<double>>{{0.2, 0.2, 0, 1}, {NAN, 1, 0, 1}, {0, INFINITY, 0, 1}, {0, 1, 1, 0},
                                                            {-1e308, 1e308, 0, 1}, {1, 1 + 1e-15, 0, 1}})
        plot->ZoomTo(bad[0], bad[1], bad[2], bad[3]);
    EXPECT_EQ(plot->ZoomDepth(), 3);
    plot->ZoomBack();
    plot->ZoomBack();
    EXPECT_EQ(view(), first);
    plot->ZoomReset();
    EXPECT_EQ(view(), home);

    plot->SetInteractive(true);
    const QRect p = plot->PlotRect();
    const QPointF from(p.left() + 0.2 * p.width(), p.top() + 2), to(p.left() + 0.6 * p.width(), p.top() + 2);
    const double x0 = home[0] + 0.2 * (home[1] - home[0]), x1 = home[0] + 0.6 * (home[1] - home[0]);
    for (auto [type, at] : {std::pair{QEvent::MouseButtonPress, from}, {QEvent::MouseMove, to}, {QEvent::MouseButtonRelease, to}}) {
        QMouseEvent event(type, at, at, Qt::LeftButton, type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, {});
        QCoreApplication::sendEvent(plot.get(), &event);
    }
    ASSERT_EQ(plot->ZoomDepth(), 1);
    const double step = 2.5 * (x1 - x0) / 20; // the ends snap out by less than a 1-2-5 step of a twentieth
    EXPECT_LE(plot->XMinShown(), x0 + 1e-12);
    EXPECT_GE(plot->XMinShown(), x0 - step);
    EXPECT_GE(plot->XMaxShown(), x1 - 2.0 / p.width() * (home[1] - home[0]));
    EXPECT_LE(plot->XMaxShown(), x1 + step);
    EXPECT_EQ(plot->YMinShown(), home[2]); // a flat band leaves y alone
}

// A trace that is a straight line in displayed units: the cursors read a + b x, and the
// difference line shows Δt and 1/Δt.
TEST(PlotMeasure, CursorReadoutsFollowTheLine)
{
    struct Case { TQVPlot::TQVPlotScale Scale; double X1, X2; };
    for (const Case c : {Case{TQVPlot::scLinear, 1e-3, 3.5e-3}, Case{TQVPlot::scDecibel, 7.25e-3, 2.0e-3}}) {
        SCOPED_TRACE(c.Scale);
        TQVLine line(100, 1e-4);
        auto plot = PlotOn(line);
        plot->SetScaleY(c.Scale);
        // Linear: y = 0.5 + 200 x; dB: a level of -2000 x dB.
        const auto expected = [&](double x) { return c.Scale == TQVPlot::scLinear ? 0.5 + 200 * x : -2000 * x; };
        std::vector<float> samples(100);
        for (int i = 0; i < 100; ++i)
            samples[std::size_t(i)] = float(c.Scale == TQVPlot::scLinear ? expected(i * 1e-4) : std::pow(10.0, expected(i * 1e-4) / 20));
        line.Send(samples);
        plot->SetCursors(true);
        plot->SetCursor1(c.X1);
        plot->SetCursor2(c.X2);
        EXPECT_NEAR(plot->CursorValue(1), expected(c.X1), 1e-5);
        EXPECT_NEAR(plot->CursorValue(2), expected(c.X2), 1e-5);
        const QString delta = plot->ReadoutLines().value(2);
        const QRegularExpressionMatch m = QRegularExpression(QStringLiteral(R"(([-\d.]+) ms \(([\d.]+) Hz\))")).match(delta);
        ASSERT_TRUE(m.hasMatch()) << delta.toStdString();
        EXPECT_NEAR(m.captured(1).toDouble(), (c.X2 - c.X1) * 1e3, 1e-3 * std::fabs(c.X2 - c.X1) * 1e3);
        EXPECT_NEAR(m.captured(2).toDouble(), 1 / std::fabs(c.X2 - c.X1), 1e-3 / std::fabs(c.X2 - c.X1));
        plot->SetCursor1(1.0); // outside the trace
        EXPECT_TRUE(std::isnan(plot->CursorValue(1)));
    }
}

// CIE lightness of the map's colours rises strictly from end to end.
TEST(Waterfall, ColourMapLightnessRises)
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
}

// Each block becomes the top row: a column holds the loudest of its bins in dB, the older
// rows move down, and on the screen only that row is painted.
TEST(Waterfall, EachBlockIsOneRowOnTop)
{
    TQVLine line(1, 1.0);
    TQVWaterfall waterfall;
    waterfall.resize(500, 300);
    waterfall.SetMeasureSource(&line.source);
    waterfall.show();
    QCoreApplication::processEvents();
    const int w = waterfall.PlotRect().width();
    std::vector<float> first(std::size_t(2 * w)), second(std::size_t(2 * w), 1e-9f);
    for (int i = 0; i < 2 * w; ++i)
        first[std::size_t(i)] = float(std::pow(10.0, -(i % 97) / 20.0)); // 0 to -96 dB
    line.Send(first);

    PaintRecorder spy;
    QCoreApplication::processEvents();
    waterfall.installEventFilter(&spy);
    line.Send(second);
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
