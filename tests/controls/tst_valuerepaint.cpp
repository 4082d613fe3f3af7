#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include <QtCore/QDateTime>
#include <QtCore/QScopeGuard>
#include <QtGui/QBackingStore>
#include <QtGui/QScreen>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "controls/qvbargraphint.h"
#include "controls/qvmeterInt.h"
#include "indicators/QVPanelMeterInt.h"
#include "indicators/qvWaterfall.h"
#include "indicators/qvWaterfall_p.h"
#include "support/qvTestConsumer.h"

// Offscreen screens at ratio 1 and 2 (scaled by Qt: the platform's own ratio leaves its backing store at 1).
const bool ScreensConfigured = [] {
    qputenv("QT_QPA_PLATFORM", QByteArray("offscreen:configfile=") + VELMORA_REPAINT_SCREENS);
    qputenv("QT_SCREEN_SCALE_FACTORS", "ratio1=1;ratio2=2");
    return true;
}();

// Painting through an off-screen buffer; the meter also with a needle.
QWidget *Flickerless(QWidget *w)
{
    w->setProperty("ReduceFlicker", true);
    if (auto *meter = qobject_cast<TQVMeterInt *>(w))
        meter->SetIndicatorStyle(TQVMeterInt::indNeedle);
    return w;
}

// A peak held until reset: values that fall leave a pointer or marker the value repaints must keep.
QWidget *Peaked(QWidget *w)
{
    w->setProperty("PeakHold", true);
    w->setProperty("PeakHoldTime", 0);
    return w;
}

// A panel meter that changes its prefix with the value.
QWidget *AutoRanged(QWidget *w)
{
    w->setProperty("AutoPrefix", true);
    w->setProperty("UnitText", QStringLiteral("V"));
    return w;
}

// After value repaints, also after a colour or size change, the window's backing store equals a full render.
TEST(ValueRepaint, ScreenEqualsAFullRender)
{
    ASSERT_TRUE(ScreensConfigured && QGuiApplication::screens().size() == 2);
    // The widget, its size, a colour a value repaint must not miss, and values with small and large jumps.
    const struct { std::function<QWidget *()> make; QSize size; const char *colour; double values[4]; } cases[] = {
        {[] { return new TQVMeterInt; }, {200, 200}, "IndicatorColor", {1.0, 1.4, -9.0, 9.7}},
        {[] { return Flickerless(new TQVMeterInt); }, {180, 180}, "IndicatorColor", {1.0, -9.0, 9.5, 30.0}},
        {[] { return Peaked(new TQVMeterInt); }, {200, 200}, "IndicatorColor", {8.0, 1.0, 5.0, -9.0}},
        {[] { return Peaked(Flickerless(new TQVMeterInt)); }, {180, 180}, "IndicatorColor", {9.0, -2.0, 3.0, 9.5}},
        {[] { return new TQVDial; }, {160, 160}, "IndicatorColor", {20, 21, 80, 3}},
        {[] { return new TQVPanelMeterInt; }, {220, 80}, "DigitColor", {1.23, 1.24, -876.5, 42}},
        {[] { return AutoRanged(new TQVPanelMeterInt); }, {220, 80}, "DigitColor", {1.23, 0.0042, 5600, -0.07}},
        {[] { return new TQVBarGraphInt; }, {60, 200}, "BarColor", {20, 21, 80, 3}},
        {[] { return Peaked(new TQVBarGraphInt); }, {60, 200}, "BarColor", {80, 21, 50, 3}},
        {[] { return new TQVSlider; }, {60, 200}, "ButtonColor", {20, 21, 80, 3}},
        {[] { return Flickerless(new TQVSlider); }, {49, 165}, "ButtonColor", {52, 90, 95, 400}},
    };
    for (const auto &c : cases)
        for (QScreen *screen : QGuiApplication::screens())
            for (int layout : {0, 1}) {
                const std::unique_ptr<QWidget> w(c.make());
                w->resize(c.size);
                SCOPED_TRACE(testing::Message() << w->metaObject()->className() << " layout " << layout << " dpr "
                                                << screen->devicePixelRatio());
                ASSERT_TRUE(w->setProperty("ScaleLayout", layout));
                w->move(screen->geometry().topLeft() + QPoint(10, 10));
                w->show();
                ASSERT_TRUE(QTest::qWaitForWindowExposed(w.get()));
                w->activateWindow(); // with focus, as a keyboard user steps the value (the slider's focus ring)
                w->setFocus();
                ASSERT_EQ(w->devicePixelRatioF(), screen->devicePixelRatio());
                for (int i = 0; i < 4; ++i) {
                    if (i == 2) {
                        ASSERT_TRUE(w->setProperty(c.colour, 0x3060C0u));
                    }
                    if (i == 3)
                        w->resize(w->size() + QSize(13, 7));
                    QApplication::processEvents();
                    ASSERT_TRUE(w->setProperty("Value", c.values[i]));
                    const auto *shown = static_cast<const QImage *>(w->backingStore()->paintDevice());
                    EXPECT_EQ(shown->convertToFormat(QImage::Format_RGB32),
                              w->grab().toImage().convertToFormat(QImage::Format_RGB32)) << "step " << i;
                }
            }
}

// Time marks move down with their rows: after every block (and a resize) the screen equals a
// full render, each mark names a multiple of one step that passed between its block and the
// one before, marks stay two text lines apart, and a tick stands at every marked row only.
TEST(ValueRepaint, WaterfallTimeMarksMoveWithTheirRows)
{
    static qint64 now = 0;
    QVSetWaterfallClock([] { return now; });
    const auto restore = qScopeGuard([] { QVSetWaterfallClock(nullptr); });
    const qint64 start = QDateTime(QDate(2026, 3, 9), QTime(23, 59, 41, 250)).toMSecsSinceEpoch(); // to the next day
    for (QScreen *screen : QGuiApplication::screens()) {
        SCOPED_TRACE(testing::Message() << "dpr " << screen->devicePixelRatio());
        TQVTestSource source({mscContinuous, mscEquidistant}, 1, 64);
        TQVWaterfall waterfall;
        waterfall.SetTimeAxis(true);
        waterfall.resize(300, 200);
        waterfall.SetMeasureSource(&source);
        waterfall.move(screen->geometry().topLeft() + QPoint(10, 10));
        waterfall.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&waterfall));
        std::vector<qint64> arrivals;
        std::vector<float> samples(64, 0.01f);
        for (int b = 0; b < 160; ++b) {
            now = start + 130 * b + (b % 4 == 3 ? 40 : 0);
            arrivals.push_back(now);
            samples[std::size_t(b % 64)] = 1.0f;
            TQVDescArraySingle block{};
            block.Channels[0] = {samples.data(), 64};
            source.Send(block);
            if (b == 120)
                waterfall.resize(waterfall.size() + QSize(17, 9));
            QApplication::processEvents();
            const auto *shown = static_cast<const QImage *>(waterfall.backingStore()->paintDevice());
            ASSERT_EQ(shown->convertToFormat(QImage::Format_RGB32),
                      waterfall.grab().toImage().convertToFormat(QImage::Format_RGB32)) << "block " << b;
        }
        const QImage image = waterfall.grab().toImage();
        const QRect p = waterfall.PlotRect();
        const int spacing = 2 * QFontMetrics(waterfall.font()).height();
        const int dpr = int(screen->devicePixelRatio());
        std::vector<qint64> marked, times;
        for (int r = 0; r < waterfall.RowCount(); ++r) {
            const QString mark = waterfall.TimeMark(r);
            const bool tick = qGray(image.pixel((p.left() - 3) * dpr, (p.top() + r) * dpr)) < 128;
            EXPECT_EQ(tick, !mark.isEmpty()) << "row " << r;
            if (mark.isEmpty())
                continue;
            const std::size_t k = arrivals.size() - 1 - std::size_t(r);
            ASSERT_GT(k, 0u);
            const QTime time = QTime::fromString(mark, mark.size() > 8 ? QStringLiteral("HH:mm:ss.z") : QStringLiteral("HH:mm:ss"));
            const qint64 at = QDateTime(QDateTime::fromMSecsSinceEpoch(arrivals[k]).date(), time).toMSecsSinceEpoch();
            EXPECT_TRUE(time.isValid() && at > arrivals[k - 1] && at <= arrivals[k]) << qPrintable(mark);
            marked.push_back(r);
            times.push_back(at);
        }
        ASSERT_GE(marked.size(), 3u);
        for (std::size_t i = 1; i < marked.size(); ++i) {
            EXPECT_GE(marked[i] - marked[i - 1], spacing);
            EXPECT_TRUE(times[i - 1] - times[i] == times[0] - times[1] && times[i] % (times[0] - times[1]) == 0);
        }
    }
}
