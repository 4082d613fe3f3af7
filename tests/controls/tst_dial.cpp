#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include <QtGui/QFontMetricsF>
#include <QtGui/QImage>
#include <QtGui/QKeyEvent>
#include <QtGui/QWheelEvent>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>

#include "controls/qvDial.h"
#include "controls/qvFormat.h"
#include "support/qvPaintRecorder.h"

namespace {

using LD = long double;
constexpr LD Pi = std::numbers::pi_v<LD>;
constexpr QRgb Red = 0xFFFF0000;

LD ClosedAngle(LD a1, LD a2, LD min, LD max, LD v)
{
    return a1 + (a2 - a1) * (v - min) / (max - min);
}

// The documented geometry, recomputed here from the client area and the font.
struct Expected
{
    LD cx, cy, r, ri, rk;
    QPointF At(LD degrees, LD radius) const
    {
        const LD a = degrees * Pi / 180;
        return QPointF(double(cx + std::sin(a) * radius), double(cy - std::cos(a) * radius));
    }
    LD AngleOf(QPoint p) const { return std::atan2((LD)p.x() - cx, cy - (LD)p.y()) * 180 / Pi; }
};

Expected Geometry(const TQVDial &d)
{
    const QRect c = d.ClientRect();
    const LD half = std::min(c.width(), c.height()) / 2.0L;
    const QFontMetricsF fm(d.font());
    const LD m = std::max({fm.horizontalAdvance(QVFormatFloat(d.LabelFormat(), d.ValueMin(), d.locale())),
                           fm.horizontalAdvance(QVFormatFloat(d.LabelFormat(), d.ValueMax(), d.locale())), fm.height()});
    const LD r = half - 17 - 1.5L * m >= 0 ? half - 4 - m : half - 2;
    return {c.left() + c.width() / 2.0L, c.top() + c.height() / 2.0L, r, r - 8, r - 13};
}

void Key(QWidget &w, int key)
{
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(&w, &event);
}

void Wheel(QWidget &w, int delta)
{
    const QPointF pos(w.width() / 2.0, w.height() / 2.0);
    QWheelEvent event(pos, w.mapToGlobal(pos), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&w, &event);
}

QPoint Pixel(const QPointF &p)
{
    return QPoint(int(std::floor(p.x())), int(std::floor(p.y())));
}

} // namespace

TEST(DialProperties, DefaultsAndInvalidInputIgnored)
{
    // The defaults, asserted after the refused writes below.
    TQVDial d;
    EXPECT_EQ(d.sizeHint(), QSize(120, 120));

    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    for (double a : {-135.0, -140.0, 300.0, 800.0, nan, inf}) // not above angle 1, span over 360, not finite
        d.SetScaleAngle2(a);
    for (double a : {135.0, 200.0, -300.0, nan, -inf})
        d.SetScaleAngle1(a);
    d.SetValueMax(0);
    d.SetValueMax(nan);
    d.SetValueMin(100);
    d.SetValueMin(-inf);
    for (double g : {0.0, -1.0, nan, inf})
        d.SetValueGap(g);
    for (int dec : {-1, 16})
        d.SetValueDecimals(dec);
    d.SetIndicatorStyle(TQVDial::TQVDialIndicatorStyle(7));
    EXPECT_EQ(d.ScaleAngle1(), -135.0);
    EXPECT_EQ(d.ScaleAngle2(), 135.0);
    EXPECT_EQ(d.ValueMin(), 0.0);
    EXPECT_EQ(d.ValueMax(), 100.0);
    EXPECT_EQ(d.ValueGap(), 10.0);
    EXPECT_EQ(d.ValueDecimals(), 0);
    EXPECT_EQ(d.IndicatorStyle(), TQVDial::diaCircle);

    // A full circle is the widest scale; one degree more is refused.
    d.SetScaleAngle1(-180);
    d.SetScaleAngle2(180);
    d.SetScaleAngle1(-181);
    EXPECT_EQ(d.ScaleAngle1(), -180.0);
    EXPECT_EQ(d.ScaleAngle2(), 180.0);
    d.grab(); // a full circle and labels at both ends must paint

    // Extreme but accepted settings and tiny sizes paint without trouble.
    for (QSize size : {QSize(0, 0), QSize(1, 1), QSize(30, 12), QSize(400, 90)}) {
        TQVDial e;
        e.resize(size);
        e.SetValueMin(-1e308);
        e.SetValueMax(1e308);
        e.SetValueGap(1e-300);
        e.SetValueDecimals(15);
        e.SetValue(5);
        e.grab();
        Key(e, Qt::Key_PageUp);
        EXPECT_EQ(e.Value(), 1e308);
    }

    // A narrowed range does not clamp the value.
    d.SetValue(80);
    d.SetValueMax(50);
    EXPECT_EQ(d.Value(), 80.0);

    // The dial passes its range and decimals to the shared format rule (tested with the scale labels).
    d.SetValueDecimals(2);
    EXPECT_EQ(d.LabelFormat(), QStringLiteral("0.00"));
    d.SetValueMin(-100000);
    EXPECT_EQ(d.LabelFormat(), QStringLiteral("0.00E-00"));
}

TEST(DialMapping, ValueAngleClosedForm)
{
    struct C { double a1, a2, min, max; };
    for (const C &c : {C{-135, 135, 0, 100}, C{0, 360, -1, 1}, C{-300, -10, 1e-3, 2e-3}, C{90, 200, -5e6, 5e6}}) {
        TQVDial d;
        for (int pass = 0; pass < 2; ++pass) { // a pair far from the current one needs two passes
            d.SetScaleAngle1(c.a1);
            d.SetScaleAngle2(c.a2);
        }
        ASSERT_EQ(d.ScaleAngle1(), c.a1);
        ASSERT_EQ(d.ScaleAngle2(), c.a2);
        d.SetValueMin(-1e12);
        d.SetValueMax(c.max);
        d.SetValueMin(c.min);
        for (double t : {0.0, 0.1, 0.5, 0.77, 1.0}) {
            const double v = c.min + t * (c.max - c.min);
            const LD expected = ClosedAngle(c.a1, c.a2, c.min, c.max, v);
            EXPECT_NEAR(d.ValueToAngle(v), double(expected), 1e-9);
            const double tolerance = 1e-9 * (c.max - c.min);
            if (t == 1.0 && c.a2 - c.a1 == 360) // on a full circle the end is the start
                continue;
            EXPECT_NEAR(d.AngleToValue(double(expected)), v, tolerance);
            if (t < 1.0) { // the angle is taken modulo 360
                EXPECT_NEAR(d.AngleToValue(double(expected + 360)), v, tolerance);
                EXPECT_NEAR(d.AngleToValue(double(expected - 720)), v, tolerance);
            }
        }
    }
}

TEST(DialValue, SnapThenClampAndEventsOnlyOnChange)
{
    TQVDial d;
    std::vector<double> events, signalled;
    d.OnValueChange = [&](TQVDial *sender) { events.push_back(sender->Value()); };
    QObject::connect(&d, &TQVDial::ValueChanged, [&](double v) { signalled.push_back(v); });
    d.SetValueStepWidth(10);
    d.SetValueMax(95);
    d.SetValue(97); // snaps to 100, clamps to 95
    d.SetValue(97);
    d.SetValue(96);
    d.SetValue(std::nan(""));
    EXPECT_EQ(d.Value(), 95.0);
    d.SetValue(-std::numeric_limits<double>::infinity());
    EXPECT_EQ(events, (std::vector<double>{95, 0}));
    EXPECT_EQ(signalled, events);

    TQVDial t;
    for (double step : {0.0, -3.0}) {
        t.SetValueStepWidth(step);
        t.SetValue(12.34);
        EXPECT_EQ(t.Value(), 12.34);
    }
    t.SetValueStepWidth(5); // re-snaps the current value
    EXPECT_EQ(t.Value(), 10.0);
    t.SetValue(12.5); // half to even
    EXPECT_EQ(t.Value(), 10.0);
    t.SetValue(17.5);
    EXPECT_EQ(t.Value(), 20.0);
}

TEST(DialMouse, DragFollowsAngleDeltaPressOnScaleJumps)
{
    TQVDial d;
    d.resize(160, 160);
    const Expected g = Geometry(d);
    d.SetValue(10);

    // Press on the knob: no jump. The value follows the turned angle, across the +-180 seam;
    // every turn is an edit, and the drag is announced at both ends.
    QSignalSpy pressed(&d, &TQVDial::SliderPressed), releases(&d, &TQVDial::SliderReleased),
        edited(&d, &TQVDial::ValueEdited);
    const QPoint press = Pixel(g.At(120, 0.5L * g.rk));
    QTest::mousePress(&d, Qt::LeftButton, Qt::NoModifier, press);
    EXPECT_TRUE(d.Dragging());
    EXPECT_EQ(d.Value(), 10.0);
    EXPECT_EQ(pressed.count(), 1);
    LD turned = 0, last = g.AngleOf(press);
    for (LD a : {170.0L, -170.0L, -140.0L, 160.0L}) {
        const QPoint p = Pixel(g.At(a, 0.6L * g.rk));
        LD step = g.AngleOf(p) - last;
        step += step > 180 ? -360 : step <= -180 ? 360 : 0;
        turned += step;
        last = g.AngleOf(p);
        QTest::mouseMove(&d, p);
        EXPECT_NEAR(d.Value(), double(10 + turned * 100 / 270), 1e-9) << double(a);
    }
    EXPECT_EQ(edited.count(), 4);
    QTest::mouseRelease(&d, Qt::RightButton, Qt::NoModifier, press); // not the left: still dragging
    EXPECT_TRUE(d.Dragging());
    QTest::mouseRelease(&d, Qt::LeftButton, Qt::NoModifier, press);
    QTest::mouseRelease(&d, Qt::LeftButton, Qt::NoModifier, press);
    EXPECT_FALSE(d.Dragging());
    EXPECT_EQ(releases.count(), 1);
    const double released = d.Value();
    QTest::mouseMove(&d, Pixel(g.At(100, 0.6L * g.rk)));
    EXPECT_EQ(d.Value(), released);

    // Press on the scale: the value jumps to the angle and a drag starts from there.
    const QPoint onScale = Pixel(g.At(45, (g.ri + g.r) / 2));
    QTest::mousePress(&d, Qt::LeftButton, Qt::NoModifier, onScale);
    EXPECT_NEAR(d.Value(), double((g.AngleOf(onScale) + 135) * 100 / 270), 1e-9);
    EXPECT_TRUE(d.Dragging());
    QTest::mouseRelease(&d, Qt::LeftButton, Qt::NoModifier, onScale);

    // Just past an end counts as the end; the gap and the corners do nothing.
    QTest::mousePress(&d, Qt::LeftButton, Qt::NoModifier, Pixel(g.At(138, g.ri + 3)));
    EXPECT_EQ(d.Value(), 100.0);
    QTest::mouseRelease(&d, Qt::LeftButton, Qt::NoModifier, QPoint());
    for (QPoint p : {Pixel(g.At(180, g.ri + 3)), QPoint(2, 2)}) {
        QTest::mousePress(&d, Qt::LeftButton, Qt::NoModifier, p);
        EXPECT_FALSE(d.Dragging());
        EXPECT_EQ(d.Value(), 100.0);
    }
}

TEST(DialKeyboard, KeysAndWheelStep)
{
    TQVDial d;
    EXPECT_EQ(d.focusPolicy(), Qt::StrongFocus);
    d.SetValueMin(-50);
    d.SetValueMax(150); // span 200: the step is 2 without a step width
    const struct { int key; double expected; } keys[] = {
        {Qt::Key_Up, 2},         {Qt::Key_Right, 4},     {Qt::Key_Left, 2},      {Qt::Key_Down, 0},
        {Qt::Key_PageUp, 20},    {Qt::Key_PageDown, 0},  {Qt::Key_End, 150},     {Qt::Key_PageUp, 150},
        {Qt::Key_Home, -50},     {Qt::Key_Down, -50},
    };
    QSignalSpy edited(&d, &TQVDial::ValueEdited);
    for (const auto &k : keys) {
        Key(d, k.key);
        EXPECT_DOUBLE_EQ(d.Value(), k.expected) << k.key;
    }
    Wheel(d, 120);
    EXPECT_DOUBLE_EQ(d.Value(), -48.0);
    Wheel(d, 60); // half a notch waits for the other half
    EXPECT_DOUBLE_EQ(d.Value(), -48.0);
    Wheel(d, 60);
    EXPECT_DOUBLE_EQ(d.Value(), -46.0);
    EXPECT_EQ(edited.count(), 10); // the eight keys that changed the value, two notches
    d.SetValueStepWidth(2.5);
    d.SetValue(10);
    Wheel(d, -240);
    EXPECT_EQ(d.Value(), 5.0);
    Key(d, Qt::Key_PageUp);
    EXPECT_EQ(d.Value(), 30.0);
}

TEST(DialPaint, IndicatorSitsAtTheValueAngle)
{
    struct C { TQVDial::TQVDialIndicatorStyle style; LD radius; double value; qreal dpr; };
    const C cases[] = {
        {TQVDial::diaCircle, 0.58L, 62, 1},   {TQVDial::diaCircle, 0.58L, 0, 2},  {TQVDial::diaTriangle, 0.75L, 30, 1},
        {TQVDial::diaTriangle, 0.75L, 95, 2}, {TQVDial::diaLine, 0.6L, 50, 1},    {TQVDial::diaLine, 0.6L, 12.5, 2},
    };
    for (const C &c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.style) << " " << c.value << " " << c.dpr);
        TQVDial d;
        d.resize(160, 160);
        d.SetColor(0xC0C0C0);
        d.SetKnobColor(0x800000); // navy
        d.SetIndicatorColor(0x0000FF); // 0x00BBGGRR: red
        d.SetScaleColor(0x000000);
        d.SetIndicatorStyle(c.style);
        d.SetValue(c.value);
        QImage img((QSizeF(d.size()) * c.dpr).toSize(), QImage::Format_ARGB32);
        img.setDevicePixelRatio(c.dpr);
        d.render(&img);
        const auto px = [&](const QPointF &p) { return img.pixel(Pixel(p * c.dpr)); };

        const Expected g = Geometry(d);
        const LD a = ClosedAngle(-135, 135, 0, 100, c.value);
        EXPECT_EQ(px(g.At(a, c.radius * g.rk)), Red);
        EXPECT_NE(px(g.At(a + 180, c.radius * g.rk)), Red);
        EXPECT_NE(px(g.At(a + 90, c.radius * g.rk)), Red);
        // The major tick of the value's end lies on the scale, dark on the light panel.
        EXPECT_LT(qGray(px(g.At(135, g.ri + 5))), 128);
        const QRect knob = d.KnobRect();
        EXPECT_EQ(knob.left(), int(std::floor(g.cx - g.rk - 3)));
        EXPECT_EQ(knob.right() + 1, int(std::ceil(g.cx + g.rk + 3)));
        EXPECT_EQ(knob.top(), int(std::floor(g.cy - g.rk - 3)));
    }
}

TEST(DialRepaint, ValueChangeRepaintsOnlyTheKnobArea)
{
    TQVDial d;
    d.resize(160, 160);
    d.SetValue(20);
    d.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(d.windowHandle()));
    QApplication::processEvents();
    PaintRecorder recorder;
    d.installEventFilter(&recorder);
    std::vector<size_t> paintsAtEvent;
    d.OnValueChange = [&](TQVDial *) { paintsAtEvent.push_back(recorder.rects.size()); };

    for (double v : {35.0, 35.0, 80.0, 3.0}) {
        const size_t before = recorder.rects.size();
        d.SetValue(v);
        if (v == 35.0 && before > 0) {
            EXPECT_EQ(recorder.rects.size(), before); // unchanged: no repaint
            continue;
        }
        ASSERT_EQ(recorder.rects.size(), before + 1);
        EXPECT_EQ(recorder.rects.back(), d.KnobRect());
    }
    EXPECT_EQ(paintsAtEvent, (std::vector<size_t>{0, 1, 2})); // the event runs before the repaint
    EXPECT_LT(d.KnobRect().width(), d.width());
    // That the screen then equals a full paint is tested in tst_valuerepaint.cpp.
}
