#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <tuple>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>
#include <QtGui/QImage>

#include "host/qvSignalGenerator.h"
#include "indicators/QVPlot.h"
#include "support/qvTestConsumer.h"
#include "support/qvPaintRecorder.h"

namespace {

const TQVMeasureSourceCapabilities Continuous{mscContinuous, mscEquidistant};

std::unique_ptr<TQVPlot> MakePlot(int w = 400, int h = 250)
{
    auto plot = std::make_unique<TQVPlot>();
    plot->setLocale(QLocale::c());
    plot->resize(w, h);
    return plot;
}

// One block of `channels` slots pointing into `samples`.
TQVDescArraySingle BlockOf(std::vector<std::vector<float>> &samples)
{
    TQVDescArraySingle block{};
    for (std::size_t k = 0; k < samples.size(); ++k)
        block.Channels[k] = {samples[k].data(), std::int32_t(samples[k].size())};
    return block;
}

// The 1-2-5 step of at most `maxTicks` intervals, by trying every candidate in turn.
long double ReferenceStep(long double lo, long double hi, int maxTicks)
{
    for (int e = -30; e <= 30; ++e)
        for (long double m : {1.0L, 2.0L, 5.0L}) {
            const long double step = m * std::pow(10.0L, e);
            if ((hi - lo) / step <= maxTicks * (1 + 1e-9L))
                return step;
        }
    return 0;
}

} // namespace

TEST(PlotData, StoresTheBlockAndItsAbscissa)
{
    TQVTestSource source;
    source.SetCaps(Continuous);
    source.SetSettings(2, 100, 0.01L);
    source.Settings.XStart = 0.5L;
    auto plot = MakePlot();
    plot->SetMeasureSource(&source);
    TQVTestBlock block(2, 100);
    source.Send(block.Block);
    for (int k = 0; k < 2; ++k) {
        EXPECT_EQ(plot->TraceData(k), block.Samples[std::size_t(k)]);
        for (int i : {0, 1, 57, 99})
            EXPECT_NEAR(plot->SampleX(k, i), double(0.5L + i * 0.01L / 100), 1e-15);
    }
    EXPECT_DOUBLE_EQ(plot->XMinShown(), 0.5);
    EXPECT_DOUBLE_EQ(plot->XMaxShown(), 0.51);

    // A settings change re-reads the axis and drops channels the source no longer has.
    source.SetSettings(1, 200, 2.0L);
    source.UpdateLinks();
    EXPECT_NEAR(plot->SampleX(0, 40), 40 * 2.0 / 100, 1e-15);
    EXPECT_TRUE(plot->TraceData(1).empty());
    EXPECT_DOUBLE_EQ(plot->XMaxShown(), 2.0);

    // Bound to the generator: the plot holds what another consumer of the same block got.
    TQVSignalGenerator generator;
    generator.SetChannelCount(2);
    generator.SetSampleRate(8000.0);
    generator.SetBlockLength(400);
    TQVSignalGenerator::TQVGeneratorChannel square = generator.Channel(1);
    square.Waveform = TQVSignalGenerator::wfSquare;
    generator.SetChannel(1, square);
    TQVTestConsumer witness;
    witness.Connect(&generator);
    plot->SetMeasureSource(&generator);
    generator.Tick();
    ASSERT_EQ(witness.Blocks.size(), 1u);
    for (int k = 0; k < 2; ++k)
        EXPECT_EQ(plot->TraceData(k), witness.Blocks[0].Channels[std::size_t(k)]);
    EXPECT_NEAR(plot->SampleX(1, 399), 399 / 8000.0, 1e-15);
    EXPECT_DOUBLE_EQ(plot->XMaxShown(), 400 / 8000.0);
}

TEST(PlotData, EmptyBlocksAndBadInputChangeNothing)
{
    TQVTestSource source;
    source.SetCaps(Continuous);
    source.SetSettings(1, 8);
    auto plot = MakePlot();
    plot->SetMeasureSource(&source);
    std::vector<std::vector<float>> samples{{1, 2, 3, 4}};
    TQVDescArraySingle full = BlockOf(samples);
    source.Send(full);
    int changes = 0;
    QObject::connect(plot.get(), &TQVPlot::DataChanged, [&] { ++changes; });

    TQVDescArraySingle empty{};
    TQVDescArraySingle zeroCount = full;
    zeroCount.Channels[0].Count = 0;
    TQVDescArraySingle nullData{};
    nullData.Channels[0].Count = 5;
    for (TQVDescArraySingle *block : {&empty, &zeroCount, &nullData})
        source.Send(*block);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(plot->TraceData(0), samples[0]);

    // Out-of-range channels and invalid settings are refused without harm.
    EXPECT_TRUE(plot->TraceData(-1).empty());
    EXPECT_TRUE(plot->TraceData(99).empty());
    plot->SetYRange(5, 1);
    plot->SetYMin(std::nan(""));
    plot->SetDecibelReference(0);
    plot->SetHistoryLength(1);
    EXPECT_EQ(plot->YMin(), -1.0);
    EXPECT_EQ(plot->YMax(), 1.0);
    EXPECT_EQ(plot->DecibelReference(), 1.0);
    EXPECT_EQ(plot->HistoryLength(), 500);

    // NaN and infinite samples are stored and painted without trouble.
    samples[0] = {1, std::nanf(""), INFINITY, -2};
    source.Send(full);
    EXPECT_TRUE(std::isnan(plot->TraceData(0)[1]));
    EXPECT_LE(plot->YMinShown(), -2.0);
    EXPECT_FALSE(plot->grab().isNull());
}

TEST(PlotSource, RefusesBlocksOfNonContinuousSourcesAndPlotsSingleValueHistory)
{
    TQVTestSource stepwise;
    stepwise.SetSettings(1);
    auto plot = MakePlot();
    EXPECT_THROW(plot->SetMeasureSource(&stepwise), EQVMSIncompatibleSource);
    EXPECT_EQ(plot->MeasureSource(), nullptr);

    TQVTestSource values;
    values.SetCaps({mscContinuous, mscSingleValue, mscSingleChannel});
    values.SetSettings(1, 1, 0.25L);
    values.Settings.XStart = 10.0L;
    plot->SetMeasureSource(&values);
    plot->SetHistoryLength(3);
    for (float v : {1.f, 2.f, 3.f, 4.f, 5.f}) {
        std::vector<std::vector<float>> one{{v, 99.f}};
        TQVDescArraySingle block = BlockOf(one);
        values.Send(block);
    }
    EXPECT_EQ(plot->TraceData(0), (std::vector<float>{3, 4, 5}));
    EXPECT_DOUBLE_EQ(plot->SampleX(0, 2), 10.0); // newest at XStart
    EXPECT_DOUBLE_EQ(plot->SampleX(0, 0), 9.5);
    EXPECT_DOUBLE_EQ(plot->XMinShown(), 9.5);
    EXPECT_DOUBLE_EQ(plot->XMaxShown(), 10.0);
}

TEST(PlotScale, AutoScaleCoversTheDataWithoutJitter)
{
    struct Case { double amplitude, offset; };
    for (const Case c : {Case{1, 0}, Case{3, 1}, Case{2e-6, 0}, Case{0.5, -40}, Case{0, 5}, Case{0, 0}}) {
        TQVTestSource source;
        source.SetCaps(Continuous);
        source.SetSettings(1, 500);
        auto plot = MakePlot();
        plot->SetMeasureSource(&source);
        std::vector<std::vector<float>> s(1, std::vector<float>(500));
        auto send = [&](double scale) {
            for (int i = 0; i < 500; ++i)
                s[0][std::size_t(i)] = float(c.offset + scale * c.amplitude * std::sin(i * 0.05));
            TQVDescArraySingle block = BlockOf(s);
            source.Send(block);
            return std::pair(*std::min_element(s[0].begin(), s[0].end()), *std::max_element(s[0].begin(), s[0].end()));
        };
        const auto [lo, hi] = send(1.0);
        EXPECT_LE(plot->YMinShown(), lo) << c.amplitude << " " << c.offset;
        EXPECT_GE(plot->YMaxShown(), hi);
        const double span = plot->YMaxShown() - plot->YMinShown();
        EXPECT_GT(span, 0.0);
        if (hi > lo) { // a little headroom, not a lot
            EXPECT_LE(span, 2.0 * (hi - lo));
        }
        // A slightly smaller signal keeps the range; a much larger one widens it.
        const double keepLo = plot->YMinShown(), keepHi = plot->YMaxShown();
        send(0.9);
        EXPECT_EQ(plot->YMinShown(), keepLo);
        EXPECT_EQ(plot->YMaxShown(), keepHi);
        if (c.amplitude > 0) {
            const auto [lo3, hi3] = send(3.0);
            EXPECT_LE(plot->YMinShown(), lo3);
            EXPECT_GE(plot->YMaxShown(), hi3);
        }
    }
}

TEST(PlotScale, DecibelLevelsFollowTheClosedFormula)
{
    auto plot = MakePlot();
    plot->SetScaleY(TQVPlot::scDecibel);
    plot->SetDecibelFloor(-150);
    for (double ref : {1.0, 0.775, 1e-6})
        for (bool power : {false, true}) {
            plot->SetDecibelReference(ref);
            plot->SetPowerValues(power);
            for (double y : {1.0, -0.5, 3e-3, 1234.5, 1e-9}) {
                const long double expect = (power ? 10.0L : 20.0L) * std::log10(std::fabs((long double)y) / ref);
                EXPECT_NEAR(plot->DisplayValue(y), double(std::max(expect, -150.0L)), 1e-9) << y << " " << ref;
            }
            EXPECT_EQ(plot->DisplayValue(0.0), -INFINITY);
        }
    plot->SetScaleY(TQVPlot::scLinear);
    EXPECT_EQ(plot->DisplayValue(-0.25), -0.25);
}

TEST(PlotTicks, OneTwoFiveStepsWithSiPrefixes)
{
    struct Range { double lo, hi; int maxTicks; };
    for (const Range r : {Range{0, 1, 5}, Range{0, 0.0213, 6}, Range{-1.1, 1.1, 8}, Range{23.4, 24000, 5},
                          Range{-140, 10, 7}, Range{1e-9, 7e-9, 3}, Range{990, 1010, 4}}) {
        double step = 0;
        const QList<double> ticks = TQVPlot::LinearTicks(r.lo, r.hi, r.maxTicks, &step);
        const long double ref = ReferenceStep(r.lo, r.hi, r.maxTicks);
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
        {5e-4, 1e-4, 9e-4, "s", true, QStringLiteral("500 \u00B5s")},
        {2000, 1000, 24000, "Hz", true, QStringLiteral("2 kHz")},
        {2500, 500, 24000, "Hz", true, QStringLiteral("2.5 kHz")},
        {0.015, 0.005, 0.02, "s", true, QStringLiteral("15 ms")},
        {-0.5, 0.5, 1.2, "V", true, QStringLiteral("-0.5 V")},
        {0, 0.2, 1.0, "V", true, QStringLiteral("0.0 V")},
        {-60, 20, 140, "dB", false, QStringLiteral("-60 dB")},
        {3e6, 1e6, 5e6, "", true, QStringLiteral("3 M")},
        {42, 2, 50, "", true, QStringLiteral("42")},
    };
    for (const Label &l : labels)
        EXPECT_EQ(TQVPlot::TickLabel(l.value, l.step, l.magnitude, QString::fromLatin1(l.unit), l.prefix, c), l.text);

    // The axes of a plot bound to a 48 kHz generator block of 1024 samples (21.33 ms).
    TQVSignalGenerator generator;
    auto plot = MakePlot();
    plot->SetMeasureSource(&generator);
    const QList<double> xt = plot->XTicks();
    ASSERT_GE(xt.size(), 3);
    const double step = xt[1] - xt[0];
    const double mantissa = step / std::pow(10.0, std::floor(std::log10(step) + 1e-9));
    EXPECT_TRUE(std::fabs(mantissa - 1) < 1e-9 || std::fabs(mantissa - 2) < 1e-9 || std::fabs(mantissa - 5) < 1e-9)
        << step;
    EXPECT_EQ(plot->XTickLabels().first(), QStringLiteral("0 ms"));
    EXPECT_EQ(plot->XTickLabels()[1], TQVPlot::TickLabel(step, step, 1024 / 48000.0, "s", true, c));
}

TEST(PlotPaint, DecimationKeepsSingleSampleSpikes)
{
    constexpr TQVColor Trace = 0x0000FF; // red
    TQVTestSource source;
    source.SetCaps(Continuous);
    source.SetSettings(1, 20000, 1.0L);
    auto plot = MakePlot(400, 250);
    plot->SetMeasureSource(&source);
    plot->SetAutoScale(false);
    plot->SetYRange(-1, 1);
    plot->SetGrid(false);
    plot->SetTraceColor(0, Trace);
    std::vector<std::vector<float>> s(1, std::vector<float>(20000, 0.0f));
    for (int spike : {3, 7777, 12345, 19990}) {
        std::fill(s[0].begin(), s[0].end(), 0.0f);
        s[0][std::size_t(spike)] = 0.8f;
        TQVDescArraySingle block = BlockOf(s);
        source.Send(block);
        const QImage img = plot->grab().toImage().convertToFormat(QImage::Format_RGB32);
        const QRect p = plot->PlotRect();
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

TEST(PlotRepaint, NewBlockRepaintsOnlyThePlotArea)
{
    TQVTestSource source;
    source.SetCaps(Continuous);
    source.SetSettings(1, 300, 0.1L);
    auto plot = MakePlot();
    plot->SetTitle(QStringLiteral("Repaint"));
    plot->SetMeasureSource(&source);
    std::vector<std::vector<float>> s(1, std::vector<float>(300));
    auto send = [&](float amplitude) {
        for (int i = 0; i < 300; ++i)
            s[0][std::size_t(i)] = amplitude * float(std::sin(i * 0.1));
        TQVDescArraySingle block = BlockOf(s);
        source.Send(block);
        QCoreApplication::processEvents();
    };
    send(1.0f);
    plot->show();
    QCoreApplication::processEvents();
    PaintRecorder recorder;
    plot->installEventFilter(&recorder);

    send(0.95f); // same axes: the plot area only
    ASSERT_FALSE(recorder.regions.empty());
    for (const QRegion &r : recorder.regions)
        EXPECT_TRUE(plot->PlotRect().contains(r.boundingRect())) << r.boundingRect().x();

    recorder.regions.clear();
    TQVDescArraySingle empty{};
    source.Send(empty);
    QCoreApplication::processEvents();
    EXPECT_TRUE(recorder.regions.empty());

    send(50.0f); // the range changes: axes and labels too
    ASSERT_FALSE(recorder.regions.empty());
    EXPECT_EQ(recorder.regions.back().boundingRect(), plot->rect());
}

// The adaptive axes on a matrix of sizes and ranges: label boxes clear of each other and of
// the plot area, inside the widget; labelled values on the 1-2-5 series (the ends exempt).
TEST(PlotAdaptive, LabelsStayClearOnOneTwoFiveValues)
{
    struct Case
    {
        double yLo, yHi, xLo, xHi;
        bool decibel, logX;
    };
    const Case cases[] = {{0, 1, 0, 1, false, false},           {-1e6, 1e6, -1e6, 1e6, false, false},
                          {2.5, 2.5 + 1e-6, 1, 1 + 1e-6, false, false}, {-5e-7, 5e-7, 0, 1e-6, false, false},
                          {-120, 0, 0, 24000, true, false},    {-87, 3, 20, 20000, true, true}};
    // The value of the 1-2-5 series within 1e-6 of `v`, or 0.
    const auto oneTwoFive = [](long double v) -> long double {
        const long double e = std::pow(10.0L, std::floor(std::log10(std::fabs(v)) + 1e-12L));
        for (long double m : {1.0L, 2.0L, 5.0L, 10.0L})
            if (std::fabs(std::fabs(v) / e - m) < 1e-6L)
                return m * e;
        return 0;
    };
    for (const Case &c : cases)
        for (QSize size : {QSize(120, 80), QSize(200, 130), QSize(400, 250), QSize(700, 300), QSize(1200, 800)}) {
            TQVTestSource source;
            source.SetCaps(Continuous);
            source.SetSettings(1, 100, c.xHi - c.xLo);
            source.Settings.XStart = c.xLo;
            auto plot = MakePlot(size.width(), size.height());
            plot->SetMeasureSource(&source);
            plot->SetScaleLayout(slAdaptive);
            plot->SetScaleY(c.decibel ? TQVPlot::scDecibel : TQVPlot::scLinear);
            plot->SetXLog(c.logX);
            plot->SetAutoScale(false);
            plot->SetYRange(c.yLo, c.yHi);
            const std::vector<TQVScaleLabelBox> &labels = plot->AdaptiveLayout().Labels;
            const QString at = QStringLiteral("%1..%2 at %3x%4").arg(c.yLo).arg(c.xHi).arg(size.width()).arg(size.height());
            EXPECT_GE(plot->XTicks().size() + plot->YTicks().size(), 4) << qPrintable(at);
            for (std::size_t i = 0; i < labels.size(); ++i) {
                EXPECT_TRUE(QRectF(plot->rect()).contains(labels[i].Box)) << qPrintable(at + labels[i].Text);
                EXPECT_FALSE(labels[i].Box.intersects(plot->PlotRect())) << qPrintable(at + labels[i].Text);
                for (std::size_t j = i + 1; j < labels.size(); ++j)
                    EXPECT_FALSE(labels[i].Box.intersects(labels[j].Box)) << qPrintable(at + labels[i].Text + labels[j].Text);
            }
            for (const auto &[ticks, lo, hi, log] : {std::tuple(plot->XTicks(), c.xLo, c.xHi, c.logX),
                                                     std::tuple(plot->YTicks(), c.yLo, c.yHi, false)}) {
                QList<double> inner;
                for (double v : ticks)
                    if (std::fabs(v - lo) > (hi - lo) * 1e-9 && std::fabs(v - hi) > (hi - lo) * 1e-9)
                        inner.append(v);
                if (inner.size() < 2 && !log)
                    continue;
                const long double step = log ? 1.0L : oneTwoFive(inner[1] - inner[0]);
                EXPECT_GT(step, 0.0L) << qPrintable(at);
                const long double tolerance = 1e-12L * std::max({std::fabs(lo), std::fabs(hi), double(step)});
                for (qsizetype i = 0; i < inner.size(); ++i) {
                    if (log) {
                        EXPECT_NEAR(inner[i], double(oneTwoFive(inner[i])), inner[i] * 1e-12) << qPrintable(at);
                    } else {
                        EXPECT_NEAR(inner[i], double(std::nearbyint(inner[i] / step) * step), double(tolerance))
                            << qPrintable(at) << " step " << double(step);
                    }
                }
            }
        }
}
