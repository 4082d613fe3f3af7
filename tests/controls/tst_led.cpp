#include "indicators/QVLedInt.h"
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include <QtCore/QTimer>
#include <QtGui/QAccessible>
#include <QtGui/QImage>
#include <QtTest/QTest>

#include "support/qvPaintRecorder.h"

namespace {

using Led = TQVLedInt;

constexpr TQVColor kBackground = 0x203040; // a plain colour that no lamp colour shares

QImage Render(Led &led, qreal dpr = 1.0)
{
    QImage image(led.size() * dpr, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(dpr);
    image.fill(Qt::magenta);
    led.render(&image);
    return image;
}

QRgb Rgb(const Led &led, TQVColor c) { return led.ToQColor(c).rgb(); }

::testing::AssertionResult PixelIs(const QImage &image, QPoint p, QRgb expected)
{
    const QRgb got = image.pixel(p) | 0xFF000000u, want = expected | 0xFF000000u;
    if (got == want)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "pixel (" << p.x() << "," << p.y() << ") is #" << std::hex << got << ", not #" << want;
}

// Squared RGB distance, to tell shaded lamp pixels from the background.
int Distance(QRgb a, QRgb b)
{
    const int dr = qRed(a) - qRed(b), dg = qGreen(a) - qGreen(b), db = qBlue(a) - qBlue(b);
    return dr * dr + dg * dg + db * db;
}

} // namespace

TEST(LedProperties, DefaultsSettersAndIgnoredInput)
{
    Led led;
    EXPECT_EQ(led.ColorInactive(), 12632256u);
    EXPECT_EQ(led.ColorActive(), 255u);
    EXPECT_FALSE(led.Flashing());
    EXPECT_EQ(led.Style(), Led::lesCircle);
    EXPECT_FALSE(led.Value()); // FlashInterval 1000 and cmpOver: asserted after the refused writes
    EXPECT_EQ(led.size(), QSize(16, 16));
    EXPECT_TRUE(led.testAttribute(Qt::WA_OpaquePaintEvent));
    EXPECT_TRUE(led.setProperty("Style", QVariant::fromValue(Led::lesArrowUp)));
    EXPECT_EQ(led.Style(), Led::lesArrowUp);

    // The current colour follows the colour of the present state only.
    led.SetColorActive(QVColors::clLime);
    EXPECT_EQ(led.CurrentColor(), QVColors::clSilver);
    led.SetColorInactive(QVColors::clGray);
    EXPECT_EQ(led.CurrentColor(), QVColors::clGray);
    led.SetValue(true);
    EXPECT_EQ(led.CurrentColor(), QVColors::clLime);
    led.SetColorActive(QVColors::clYellow);
    EXPECT_EQ(led.CurrentColor(), QVColors::clYellow);

    // Invalid input is ignored and leaves the state as it was.
    led.SetFlashInterval(0);
    led.SetFlashInterval(-20);
    EXPECT_EQ(led.FlashInterval(), 1000);
    led.SetStyle(static_cast<Led::TQVLedStyle>(8));
    EXPECT_EQ(led.Style(), Led::lesArrowUp);
    led.SetCompare(static_cast<Led::TQVLEDCompare>(4));
    EXPECT_EQ(led.Compare(), Led::cmpOver);
    led.SetLimit(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(led.Limit(), 0.0);
    led.SetFlashInterval(250);
    EXPECT_EQ(led.findChild<QTimer *>()->interval(), 250);
}

TEST(LedCompare, ModesAroundTheLimits)
{
    struct Case { Led::TQVLEDCompare compare; double limit, lower, upper; float x; bool on; };
    const Case cases[] = {
        {Led::cmpOver, 5, 0, 0, 5.0f, false},           {Led::cmpOver, 5, 0, 0, std::nextafter(5.0f, 6.0f), true},
        {Led::cmpOver, 5, 0, 0, -7.0f, false},          {Led::cmpUnder, 5, 0, 0, 5.0f, false},
        {Led::cmpUnder, 5, 0, 0, std::nextafter(5.0f, 4.0f), true}, {Led::cmpUnder, 5, 0, 0, 5.0001f, false},
        {Led::cmpInRange, 0, 0, 10, 0.0f, true},        {Led::cmpInRange, 0, 0, 10, 10.0f, true},
        {Led::cmpInRange, 0, 0, 10, -0.0001f, false},   {Led::cmpInRange, 0, 0, 10, 10.0001f, false},
        {Led::cmpOutOfRange, 0, 0, 10, 0.0f, false},    {Led::cmpOutOfRange, 0, 0, 10, 10.0f, false},
        {Led::cmpOutOfRange, 0, 0, 10, -0.0001f, true}, {Led::cmpOutOfRange, 0, 0, 10, 10.0001f, true},
        {Led::cmpOutOfRange, 0, 0, 10, 5.0f, false},
        // Swapped bounds are taken as they are: never in range, always out of it.
        {Led::cmpInRange, 0, 10, 0, 5.0f, false},       {Led::cmpInRange, 0, 10, 0, 10.0f, false},
        {Led::cmpOutOfRange, 0, 10, 0, 5.0f, true},     {Led::cmpOutOfRange, 0, 10, 0, 10.0f, true},
        {Led::cmpOutOfRange, 0, 10, 0, 0.0f, true},
    };
    for (const Case &c : cases) {
        for (bool startOn : {false, true}) {
            Led led;
            led.SetValue(startOn);
            led.SetCompare(c.compare);
            led.SetLimit(c.limit);
            led.SetRangeLower(c.lower);
            led.SetRangeUpper(c.upper);
            led.UpdateValue(c.x);
            SCOPED_TRACE(testing::Message() << "compare " << int(c.compare) << " x " << c.x);
            EXPECT_EQ(led.Value(), c.on);
            EXPECT_EQ(led.CurrentColor(), c.on ? led.ColorActive() : led.ColorInactive());
            EXPECT_EQ(led.LastValue(), double(c.x));
        }
    }
}

TEST(LedCompare, ChangingTheComparisonReevaluatesTheLastNumber)
{
    Led led;
    int changes = 0;
    QObject::connect(&led, &Led::ValueChanged, [&](bool) { ++changes; });
    led.UpdateValue(5.0f);
    EXPECT_TRUE(led.Value()); // 5 > 0
    led.SetLimit(6);
    EXPECT_FALSE(led.Value());
    led.SetCompare(Led::cmpUnder);
    EXPECT_TRUE(led.Value());
    led.SetCompare(Led::cmpInRange); // range 0..0
    EXPECT_FALSE(led.Value());
    led.SetRangeUpper(5);
    EXPECT_TRUE(led.Value());
    led.SetRangeLower(5.5);
    EXPECT_FALSE(led.Value());
    EXPECT_EQ(changes, 6);
    led.SetRangeLower(5.5); // unchanged: nothing happens
    EXPECT_EQ(changes, 6);

    // The stored number is re-evaluated as a 32-bit float.
    led.SetCompare(Led::cmpOver);
    led.SetLimit(0.1);
    led.UpdateValue(0.1f);
    EXPECT_EQ(led.LastValue(), double(0.1f));
    EXPECT_TRUE(led.Value()); // 0.1f is slightly above 0.1
    led.SetLimit(double(0.1f));
    EXPECT_FALSE(led.Value());
}

TEST(LedPaint, ShapesCoverTheirGeometry)
{
    const int W = 48, H = 32;
    struct Shape { Led::TQVLedStyle style; std::vector<QPoint> inside, outside, outline; };
    // Points chosen well away from the edges of the documented shapes.
    const Shape shapes[] = {
        {Led::lesCircle, {{W / 2, H / 2}, {W / 2 + 5, H / 2 + 5}}, {{2, 2}, {W - 3, H - 3}, {5, H / 2}, {W - 6, H / 2}}, {}},
        {Led::lesRectangle, {{W / 2, H / 2}, {2, 2}, {W - 3, H - 3}}, {}, {{0, H / 2}, {W / 2, 0}, {W - 1, H / 2}, {W / 2, H - 1}}},
        {Led::lesArrowLeft, {{3 * W / 4, H / 2}}, {{W / 4, 2}, {W / 4, H - 3}}, {{W - 1, H / 2}}},
        {Led::lesArrowRight, {{W / 4, H / 2}}, {{3 * W / 4, 2}, {3 * W / 4, H - 3}}, {{0, H / 2}}},
        {Led::lesArrowUp, {{W / 2, 3 * H / 4}}, {{2, H / 4}, {W - 3, H / 4}}, {{W / 2, H - 1}}},
        {Led::lesArrowDown, {{W / 2, H / 4}}, {{2, 3 * H / 4}, {W - 3, 3 * H / 4}}, {{W / 2, 0}}},
        {Led::lesArrowLeftRight, {{W / 2, H / 2}, {3 * W / 4, H / 2}}, {{2, 2}, {W - 3, 2}, {2, H - 3}, {W - 3, H - 3}}, {}},
        {Led::lesArrowUpDown, {{W / 2, H / 2}, {W / 2, H / 4 + 2}}, {{2, 2}, {W - 3, 2}, {2, H - 3}, {W - 3, H - 3}}, {}},
    };
    for (const Shape &s : shapes) {
        for (bool on : {false, true}) {
            Led led;
            led.resize(W, H);
            led.SetColor(kBackground);
            led.SetStyle(s.style);
            led.SetValue(on);
            const QImage image = Render(led);
            SCOPED_TRACE(testing::Message() << "style " << int(s.style) << " on " << on);
            const QRgb body = Rgb(led, on ? led.ColorActive() : led.ColorInactive());
            for (QPoint p : s.inside)
                EXPECT_TRUE(PixelIs(image, p, body));
            for (QPoint p : s.outside)
                EXPECT_TRUE(PixelIs(image, p, Rgb(led, kBackground)));
            for (QPoint p : s.outline)
                EXPECT_TRUE(PixelIs(image, p, Rgb(led, QVColors::clBtnShadow)));
        }
    }

    // The two double arrows are deliberately drawn alike.
    Led a, b;
    for (Led *l : {&a, &b})
        l->resize(W, H);
    a.SetStyle(Led::lesArrowLeftRight);
    b.SetStyle(Led::lesArrowUpDown);
    EXPECT_EQ(Render(a), Render(b));
}

TEST(LedPaint, CircleIsCentredOnTheLongerSideWithAGlint)
{
    for (QSize size : {QSize(60, 40), QSize(40, 60), QSize(44, 44)}) {
        Led led;
        led.resize(size);
        led.SetColor(kBackground);
        led.SetColorActive(QVColors::clLime);
        led.SetValue(true);
        const QImage image = Render(led);
        SCOPED_TRACE(testing::Message() << size.width() << "x" << size.height());

        const int w = size.width(), h = size.height();
        const int d = std::min(w, h);
        const int left = (w - d) / 2, top = (h - d) / 2; // one of the two is 0
        const QRgb body = Rgb(led, QVColors::clLime);
        const QRgb back = Rgb(led, kBackground);
        const int midX = left + d / 2, midY = top + d / 2;
        // The inner part of the lamp has the exact colour, the rim is shaded but still lamp.
        for (QPoint p : {QPoint(midX, midY), QPoint(midX + d / 5, midY), QPoint(midX, midY + d / 5)})
            EXPECT_TRUE(PixelIs(image, p, body));
        for (QPoint p : {QPoint(left + 2, midY), QPoint(left + d - 3, midY), QPoint(midX, top + 2), QPoint(midX, top + d - 3)})
            EXPECT_LT(Distance(image.pixel(p), body), Distance(image.pixel(p), back)) << p.x() << "," << p.y();
        // Outside the circle: beside it on the longer side and in the corners of its square.
        if (left > 1) {
            EXPECT_TRUE(PixelIs(image, {left - 2, midY}, back));
        }
        if (top > 1) {
            EXPECT_TRUE(PixelIs(image, {midX, top - 2}, back));
        }
        for (QPoint p : {QPoint(left + 1, top + 1), QPoint(left + d - 2, top + d - 2)})
            EXPECT_TRUE(PixelIs(image, p, back));

        // The white glint sits between the diagonal from (cx - q, cy) to (cx, cy - q) and the
        // cut a quarter of the way back to the corner.
        const int q = d / 4, cx = w / 2, cy = h / 2;
        EXPECT_TRUE(PixelIs(image, {cx - q / 2 - q / 4, cy - q / 2 - q / 4}, qRgb(255, 255, 255)));
        EXPECT_TRUE(PixelIs(image, {cx + q / 2, cy + q / 2}, body));
    }
}

TEST(LedPaint, HighDpiKeepsEdgesSharp)
{
    Led led;
    led.resize(20, 12);
    led.SetColor(kBackground);
    led.SetStyle(Led::lesRectangle);
    led.SetValue(true);
    const QImage image = Render(led, 2.0);
    ASSERT_EQ(image.size(), QSize(40, 24));
    const QRgb shadow = Rgb(led, QVColors::clBtnShadow);
    for (QPoint p : {QPoint(0, 10), QPoint(1, 10), QPoint(38, 10), QPoint(39, 10), QPoint(20, 0), QPoint(20, 23)})
        EXPECT_TRUE(PixelIs(image, p, shadow));
    for (QPoint p : {QPoint(2, 10), QPoint(37, 10), QPoint(20, 2), QPoint(20, 21)})
        EXPECT_TRUE(PixelIs(image, p, Rgb(led, led.ColorActive())));
}

TEST(LedPaint, StateChangeRepaintsOnlyTheLamp)
{
    PaintRecorder recorder;
    Led led;
    led.resize(60, 40);
    led.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&led));
    QCoreApplication::processEvents();
    led.installEventFilter(&recorder);
    led.SetValue(true); // drawn at once, without waiting for the event loop
    EXPECT_EQ(recorder.regions, std::vector{QRegion(10, 0, 40, 40)});
    recorder.regions.clear();
    led.SetStyle(Led::lesArrowRight);
    led.SetValue(false);
    EXPECT_EQ(recorder.regions, std::vector{QRegion(0, 0, 60, 40)});
}

TEST(LedFlash, AlternatesWhileOnStopsInTheStateColourAndNeverAtDesignTime)
{
    struct TickableLed : Led {
        using Led::Flash;
    } led;
    led.SetFlashInterval(5);
    led.BeginLoading();
    led.SetValue(true);
    led.SetFlashing(true); // skipped while loading, started by Loaded
    EXPECT_FALSE(led.IsFlashTimerActive());
    led.Loaded();
    EXPECT_TRUE(led.IsFlashTimerActive());
    EXPECT_EQ(led.CurrentColor(), led.ColorActive());
    EXPECT_TRUE(QTest::qWaitFor([&] { return led.CurrentColor() == led.ColorInactive(); }, 5000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return led.CurrentColor() == led.ColorActive(); }, 5000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return led.CurrentColor() == led.ColorInactive(); }, 5000));
    EXPECT_TRUE(PixelIs(Render(led), {8, 8}, Rgb(led, led.ColorInactive())));

    led.SetFlashing(false); // leaves the lamp on
    EXPECT_FALSE(led.IsFlashTimerActive());
    EXPECT_EQ(led.CurrentColor(), led.ColorActive());
    led.SetValue(false);
    led.SetFlashing(true); // off: nothing to flash
    EXPECT_FALSE(led.IsFlashTimerActive());
    led.SetValue(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return led.CurrentColor() == led.ColorInactive(); }, 5000));
    led.SetDesigning(true); // stops in the state colour, also through a form load
    led.BeginLoading();
    led.Loaded();
    EXPECT_FALSE(led.IsFlashTimerActive());
    EXPECT_EQ(led.CurrentColor(), led.ColorActive());
    led.SetDesigning(false); // running the form starts the flashing
    EXPECT_TRUE(led.IsFlashTimerActive());
    led.SetValue(false);
    EXPECT_FALSE(led.IsFlashTimerActive());
    EXPECT_EQ(led.CurrentColor(), led.ColorInactive());
    led.Flash(); // a late tick while off changes nothing
    EXPECT_EQ(led.CurrentColor(), led.ColorInactive());
}

TEST(LedAccessibility, NameAndValue)
{
    Led led;
    QAccessibleInterface *iface = QAccessible::queryAccessibleInterface(&led);
    ASSERT_NE(iface, nullptr);
    EXPECT_EQ(iface->role(), QAccessible::Indicator);
    EXPECT_EQ(iface->text(QAccessible::Name), QStringLiteral("LED"));
    EXPECT_EQ(iface->text(QAccessible::Value), QStringLiteral("off"));
    led.UpdateValue(1.0f);
    EXPECT_EQ(iface->text(QAccessible::Value), QStringLiteral("on"));
    led.SetCaption(QStringLiteral("Overload"));
    EXPECT_EQ(iface->text(QAccessible::Name), QStringLiteral("Overload"));
    led.setAccessibleName(QStringLiteral("Pump running"));
    EXPECT_EQ(iface->text(QAccessible::Name), QStringLiteral("Pump running"));
}
