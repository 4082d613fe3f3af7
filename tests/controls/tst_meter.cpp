#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <QtGui/QFontMetrics>
#include <QtGui/QImage>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>

#include "controls/qvFormat.h"
#include "controls/qvmeterInt.h"
#include "support/qvPaintRecorder.h"

namespace {

using Meter = TQVMeterInt;
constexpr long double Pi = 3.14159265358979323846264338327950288L;

// Centre and radii by the closed forms, in long double.
struct Geometry
{
    long double cx, cb, ro, ri;
};

Geometry Expected(const Meter &m, int marginX, int marginY)
{
    const int w = m.width(), h = m.height();
    Geometry g;
    g.cx = std::nearbyint(m.MeterShiftX() * (long double)w / 100) + w / 2;
    g.cb = h / 2 - std::nearbyint(m.MeterShiftY() * (long double)h / 100);
    const long double base = g.cb + marginY >= g.cx + marginX ? w / 2.0L - m.BevelOuterWidth() - marginX
                                                             : h / 2.0L - m.BevelOuterWidth() - marginY;
    g.ro = std::max(base * m.MeterScale() / 100, 1.0L);
    g.ri = (1 - m.MeterScaleWidth() / 100.0L) * g.ro;
    return g;
}

// The point at `degrees` (0 up, clockwise) and `radius` around the meter's pivot.
QPoint At(const Meter &m, long double degrees, long double radius)
{
    const long double a = degrees * Pi / 180;
    return QPoint(int(std::nearbyint(m.MeterCenterX() + std::sin(a) * radius)),
                  int(std::nearbyint(m.height() - std::cos(a) * radius - m.MeterCenterBottom())));
}

long double AngleOf(const Meter &m, long double v)
{
    return m.MeterAngle1() + (m.MeterAngle2() - m.MeterAngle1()) * (v - m.ValueMin()) / (m.ValueMax() - m.ValueMin());
}

// Label margin outside the band: the widest of the end labels at its distance, on any side.
int OutsideMargin(const Meter &m)
{
    const QFontMetrics fm(m.font());
    const long double tw = std::max(fm.horizontalAdvance(QStringLiteral("-10")), fm.horizontalAdvance(QStringLiteral("10")));
    const long double th = fm.height();
    const long double r = std::nearbyint(std::sqrt(tw * tw + th * th) / 2 + 5);
    return int(std::nearbyint(r + std::max(tw, th) / 2));
}

void SetRange(Meter &m, int index, double limit, TQVColor colour, bool check = false)
{
    m.SetRangeCurrent(index);
    m.SetRangeLimit(limit);
    m.SetRangeColor(colour);
    m.SetRangeCheck(check);
}

} // namespace

TEST(MeterGeometry, CentreRadiiAndScaleEnds)
{
    struct Case { int w, h, shiftX, shiftY, storedX, storedY, scale, width, bevel; Meter::TQVLabelingStyle style; };
    const Case cases[] = {
        {133, 133, 0, 0, 0, 0, 100, 10, 1, Meter::labOutside},
        {133, 133, 0, 0, 0, 0, 100, 10, 1, Meter::labNone},
        {200, 120, 10, -20, 10, -20, 150, 30, 3, Meter::labNone},
        {120, 200, 100, 0, 60, 0, 20, 0, 0, Meter::labInside}, // shift and scale clamped
        {300, 101, -100, 70, -60, 60, 210, 45, 2, Meter::labNone},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " shift " << c.shiftX << "," << c.shiftY);
        Meter m;
        m.resize(c.w, c.h);
        m.SetLabelingStyle(c.style);
        m.SetMeterShiftX(c.shiftX);
        m.SetMeterShiftY(c.shiftY);
        m.SetMeterScale(c.scale);
        m.SetMeterScaleWidth(c.width);
        m.SetBevelOuterWidth(c.bevel);
        EXPECT_EQ(m.MeterShiftX(), c.storedX);
        EXPECT_EQ(m.MeterShiftY(), c.storedY);
        const int margin = c.style == Meter::labOutside ? OutsideMargin(m) : 5;
        EXPECT_EQ(m.LabelMarginX(), margin);
        EXPECT_EQ(m.LabelMarginY(), margin);
        const Geometry g = Expected(m, margin, margin);
        EXPECT_EQ(m.MeterCenterX(), int(g.cx));
        EXPECT_EQ(m.MeterCenterBottom(), int(g.cb));
        EXPECT_NEAR(m.OuterRadius(), double(g.ro), 1e-9);
        EXPECT_NEAR(m.InnerRadius(), double(g.ri), 1e-9);

        // One range covers the scale: its band starts at -120 degrees on the inner edge and
        // ends at +120 degrees; the outer arc runs back.
        const QPolygon band = m.RangePolygon(1);
        ASSERT_GE(band.size(), 4);
        EXPECT_EQ(band.first(), At(m, -120, g.ri));
        EXPECT_EQ(band.last(), At(m, -120, g.ro));
        if (c.style == Meter::labNone) {
            const QPolygon ticks = m.TickPoints();
            ASSERT_EQ(ticks.size(), 42); // -10..10 by 1, full ticks across the band
            EXPECT_EQ(ticks[0], At(m, -120, g.ri));
            EXPECT_EQ(ticks[1], At(m, -120, g.ro));
            EXPECT_EQ(ticks[40], At(m, 120, g.ri));
            EXPECT_EQ(ticks[21], At(m, 0, g.ro)); // the value 0 straight up
        }
    }
}

TEST(MeterGeometry, PolygonPointCountsAndOutline)
{
    // From 133 pixels up the outline buffer grown by the construction is never the larger.
    for (int size : {133, 400, 2000}) {
        for (Meter::TQVLabelingStyle style : {Meter::labOutside, Meter::labInside}) {
            SCOPED_TRACE(testing::Message() << size << " style " << style);
            Meter m;
            m.resize(size, size);
            m.SetLabelingStyle(style);
            m.SetRangeNumber(4);
            const double limits[4] = {-2, 6, 10, 25}; // the last band runs past the scale's end
            for (int i = 0; i < 4; ++i)
                SetRange(m, i + 1, limits[i], 0x00FF00);
            const auto n = [](long double r, int add) { return std::clamp(int(std::nearbyint(11 * std::sqrt(r) + add)), 1, 300); };
            const int nInner = n(m.InnerRadius(), 6), nOuter = n(m.OuterRadius(), 4);
            int sumInner = 0, sumOuter = 0;
            long double lower = -10;
            for (int i = 0; i < 4; ++i) {
                const long double s = 240 * (limits[i] - lower) / 20;
                const int k = std::clamp(int(std::nearbyint(s * nInner / 360)), 2, 300);
                const int mm = std::clamp(int(std::nearbyint(s * nOuter / 360)), 2, 300);
                const QPolygon band = m.RangePolygon(i + 1);
                EXPECT_EQ(band.size(), k + mm);
                // The band's inner arc ends where the next one starts.
                EXPECT_EQ(band[k - 1], At(m, AngleOf(m, limits[i]), m.InnerRadius()));
                sumInner += k;
                sumOuter += mm;
                lower = limits[i];
            }
            const QPolygon outline = m.OutlinePoints();
            EXPECT_EQ(outline.size(), style == Meter::labInside ? std::min(sumOuter, nOuter) : std::min(sumInner, nInner));
            // Outside labels: the outline follows the inner edge from the first angle on;
            // inside labels: the outer edge, also from the first angle on.
            EXPECT_EQ(outline.first(), At(m, -120, style == Meter::labInside ? m.OuterRadius() : m.InnerRadius()));
            m.SetRangeNumber(0);
            EXPECT_TRUE(m.OutlinePoints().isEmpty());
            EXPECT_TRUE(m.RangePolygon(1).isEmpty());
        }
    }
}

TEST(MeterTicks, CountsGapGuardAndStyles)
{
    Meter m;
    m.SetLabelingStyle(Meter::labNone);
    // Ticks closer than 4 pixels along the scaled inner arc: the gap itself grows.
    m.SetValueGap(0.001);
    const long double length = 2 * Pi * m.InnerRadius() * 240 * 100 / 36000;
    const long double gap = 20 * 4 / length;
    EXPECT_NEAR(m.ValueGap(), double(gap), 1e-12);
    int expected = 0;
    for (long double v = std::ceil(-10 / gap) * gap; v <= 10 + 1e-12; v += gap)
        ++expected;
    EXPECT_EQ(m.TickPoints().size(), 2 * expected);
    m.SetValueGap(1e-9); // still no closer than 4 pixels
    EXPECT_NEAR(m.ValueGap(), double(gap), 1e-12);

    // First tick on the first multiple of the gap inside the scale.
    m.SetValueMin(-9.5);
    m.SetValueGap(2);
    QPolygon ticks = m.TickPoints();
    ASSERT_EQ(ticks.size(), 20); // -8, -6, ..., 10
    EXPECT_EQ(ticks[0], At(m, AngleOf(m, -8), m.InnerRadius()));

    // Tick radii by style (labels off: nothing lengthened).
    m.SetValueMin(-10);
    struct Case { Meter::TQVTickStyle style; long double from, to, labelRadius; };
    const long double ri = m.InnerRadius(), ro = m.OuterRadius(), mid = (ri + ro) / 2;
    const Case cases[] = {{Meter::ticHalf, ri, mid, mid}, {Meter::ticFull, ri, ro, ri}, {Meter::ticLarge, ri, ro + 5, ri}};
    for (const Case &c : cases) {
        m.SetTickStyle(c.style);
        ticks = m.TickPoints();
        ASSERT_EQ(ticks.size(), 22);
        for (int i = 0; i < 11; ++i) {
            const long double a = AngleOf(m, -10 + 2 * i);
            EXPECT_EQ(ticks[2 * i], At(m, a, c.from));
            EXPECT_EQ(ticks[2 * i + 1], At(m, a, c.to));
        }
        EXPECT_NEAR(m.LabelRadius(), double(c.labelRadius), 1e-9);
    }
    m.SetTickStyle(Meter::ticNone);
    EXPECT_TRUE(m.TickPoints().isEmpty());

    // Inside labels with large ticks: the labelled ticks reach 10 pixels into the face.
    m.SetTickStyle(Meter::ticLarge);
    m.SetLabelingStyle(Meter::labInside);
    ticks = m.TickPoints();
    const long double r = m.InnerRadius();
    ASSERT_FALSE(ticks.isEmpty());
    EXPECT_EQ(ticks[0], At(m, -120, r - 10));
    for (int i = 0; i < ticks.size(); i += 2) {
        const long double a = AngleOf(m, -10 + m.ValueGap() * i / 2);
        EXPECT_TRUE(ticks[i] == At(m, a, r - 5) || ticks[i] == At(m, a, r - 10)) << i;
    }
    EXPECT_NEAR(m.LabelRadius(), double(r - 5), 1e-9);
}

TEST(MeterLabels, FormatSwitchAndPlacement)
{
    Meter m;
    m.setLocale(QLocale::c());
    const QFontMetrics fm(m.font());
    QStringList texts = m.LabelTexts();
    ASSERT_GE(texts.size(), 2);
    EXPECT_EQ(texts.first(), QStringLiteral("-10"));
    const double step = texts[1].toDouble() - texts[0].toDouble();
    EXPECT_EQ(std::fmod(step, m.ValueGap()), 0.0);
    const QPolygon points = m.LabelPoints();
    ASSERT_EQ(points.size(), texts.size());
    for (int i = 0; i < texts.size(); ++i) {
        const long double v = -10 + i * step;
        EXPECT_EQ(texts[i], QString::number(double(v)));
        // Centred on the value's ray, clear of the band by half its diagonal and 5 pixels.
        const long double w = fm.horizontalAdvance(texts[i]), h = fm.height();
        const long double r = m.OuterRadius() + std::nearbyint(std::sqrt(w * w + h * h) / 2 + 5);
        const long double a = AngleOf(m, v) * Pi / 180;
        EXPECT_EQ(points[i], QPoint(int(std::nearbyint(m.MeterCenterX() + std::sin(a) * r - w / 2)),
                                    int(std::nearbyint(m.height() - std::cos(a) * r - m.MeterCenterBottom() - h / 2))));
    }
    EXPECT_LE(texts.last().toDouble(), 10.0);
    EXPECT_GT(texts.last().toDouble() + step, 10.0);

    struct Case { double min, max; bool scientific; };
    const Case cases[] = {{0, 9999.2, false}, {0, 10000, true}, {-10000, 0, true}, {0, 0.00005, true}, {0, 0.0002, false}};
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.min << ".." << c.max);
        Meter s;
        s.setLocale(QLocale::c());
        s.SetValueDecimals(2);
        s.SetValueMin(c.min);
        s.SetValueMax(c.max);
        s.SetValueGap((c.max - c.min) / 4);
        texts = s.LabelTexts();
        ASSERT_FALSE(texts.isEmpty());
        const QString pattern = c.scientific ? QStringLiteral("#.##E-00") : QStringLiteral("0.00");
        EXPECT_EQ(texts.first(), QVFormatFloat(pattern, c.min, s.locale()));
        EXPECT_EQ(texts.first().contains(QLatin1Char('E')), c.scientific);
    }

    m.SetLabelingStyle(Meter::labNone);
    EXPECT_TRUE(m.LabelTexts().isEmpty());
}

TEST(MeterProperties, ConstructorClampsAngleLockAndRanges)
{
    Meter m;
    EXPECT_EQ(m.size(), QSize(133, 133));
    EXPECT_EQ(m.sizeHint(), QSize(133, 133));
    EXPECT_EQ(m.IndicatorStyle(), Meter::indWedge);
    EXPECT_EQ(m.LegendPosition(), Meter::LegBottom);
    EXPECT_EQ(m.RangeColor(), QVColors::clGreen);
    EXPECT_EQ(m.RangeLimit(), 10.0);
    EXPECT_FALSE(m.ScaleInvalid());

    const std::pair<const char *, std::vector<std::pair<int, int>>> clamps[] = {
        {"IndicatorScale", {{300, 200}, {-4, 0}, {150, 150}}},
        {"MeterScaleWidth", {{101, 100}, {-5, 0}}},
        {"MeterScale", {{20, 50}, {500, 210}}},
        {"MeterShiftX", {{100, 60}, {-100, -60}}},
        {"MeterShiftY", {{61, 60}, {-61, -60}}},
    };
    for (const auto &[name, pairs] : clamps) {
        for (const auto &[in, out] : pairs) {
            m.setProperty(name, in);
            EXPECT_EQ(m.property(name).toInt(), out) << name << " " << in;
        }
    }

    // ValueMax not above ValueMin pulls ValueMin below it, and the other way round.
    m.SetValueMax(-20);
    EXPECT_EQ(m.ValueMin(), -21.0);
    m.SetValueMin(5);
    EXPECT_EQ(m.ValueMax(), 6.0);
    for (double bad : {std::nan(""), HUGE_VAL}) {
        m.SetValueMin(bad);
        m.SetValueMax(bad);
        m.SetValueGap(bad);
        m.SetValue(bad == HUGE_VAL ? 0.0 : bad);
    }
    m.SetValueGap(-1);
    m.SetValueGap(0);
    EXPECT_EQ(m.ValueMin(), 5.0);
    EXPECT_EQ(m.ValueMax(), 6.0);
    EXPECT_GT(m.ValueGap(), 0.0);

    // An angle pair that became invalid locks both setters.
    m.SetMeterAngle2(100);
    EXPECT_EQ(m.MeterAngle2(), 100.0);
    m.SetMeterAngle1(400);
    EXPECT_EQ(m.MeterAngle1(), 400.0);
    EXPECT_TRUE(m.ScaleInvalid());
    m.SetMeterAngle1(-90);
    m.SetMeterAngle2(135);
    EXPECT_EQ(m.MeterAngle1(), 400.0);
    EXPECT_EQ(m.MeterAngle2(), 100.0);
    m.grab(); // an inverted scale must still paint

    // The range table round trip; invalid indices and counts are ignored.
    Meter t;
    const QList<Meter::RangeEntry> table{{-2.0, false, 0x00FF00}, {5.0, true, 0x00FFFF}, {30.0, true, 0x0000FF}};
    t.SetRanges(table);
    for (int bad : {-1, 17}) {
        t.SetRangeNumber(bad);
        t.SetRangeCurrent(bad == 17 ? bad : 0);
    }
    EXPECT_EQ(t.Ranges(), table);
    EXPECT_EQ(t.RangeCurrent(), 1);
    t.SetRanges({});
    EXPECT_EQ(t.RangeNumber(), 0);
    t.grab();
}

TEST(MeterRangeCheck, FiresOnEnteringACheckedRangeOnly)
{
    Meter m;
    m.SetRangeNumber(3);
    SetRange(m, 1, 0, 0x00FF00);
    SetRange(m, 2, 5, 0x00FFFF, true);
    SetRange(m, 3, 10, 0x0000FF, true);
    std::vector<int> events, signalled;
    m.OnRangeCheck = [&](Meter *sender, int range) {
        EXPECT_EQ(sender, &m);
        events.push_back(range);
    };
    QObject::connect(&m, &Meter::RangeChecked, [&](int range) { signalled.push_back(range); });
    for (double v : {-3.0, 1.0, 2.0, 5.0, 7.0, 8.0, -5.0, 3.0, 100.0, 200.0, std::nan(""), -100.0, 0.5})
        m.SetValue(v);
    EXPECT_EQ(events, (std::vector<int>{2, 3, 2, 3, 2}));
    EXPECT_EQ(signalled, events);
    EXPECT_EQ(m.Value(), 0.5);
}

TEST(MeterRepaint, ValueChangeRepaintsOnlyTheIndicator)
{
    for (bool reduceFlicker : {false, true}) {
        for (Meter::TQVIndicatorStyle style : {Meter::indNeedle, Meter::indWedge}) {
            SCOPED_TRACE(testing::Message() << reduceFlicker << " style " << style);
            Meter m;
            m.resize(180, 180);
            m.SetRangeNumber(2);
            SetRange(m, 1, 4, 0x00C000);
            SetRange(m, 2, 10, 0x0000FF);
            m.SetLegend1(QStringLiteral("V"));
            m.SetIndicatorStyle(style);
            m.SetReduceFlicker(reduceFlicker);
            m.show();
            ASSERT_TRUE(QTest::qWaitForWindowExposed(m.windowHandle()));
            QApplication::processEvents();
            PaintRecorder recorder;
            m.installEventFilter(&recorder);

            const QPointF centre(m.MeterCenterX(), m.height() - m.MeterCenterBottom());
            const auto tip = [&](double v) {
                const long double a = AngleOf(m, std::clamp(v, -10.0, 10.0)) * Pi / 180;
                return centre + QPointF(std::sin(a), -std::cos(a)) * m.OuterRadius();
            };
            double previous = 0;
            for (double v : {1.0, -9.0, 9.5, 30.0}) {
                recorder.rects.clear();
                m.SetValue(v);
                ASSERT_EQ(recorder.rects.size(), 1u) << v; // synchronous, one paint
                const QRect painted = recorder.rects[0];
                // It covers the pivot and both tips, and little more.
                const QPolygonF corners{centre, tip(previous), tip(v)};
                const QRectF reach = corners.boundingRect();
                for (const QPointF &p : {centre, tip(previous), tip(v)})
                    EXPECT_TRUE(painted.contains(p.toPoint())) << v;
                EXPECT_TRUE(reach.adjusted(-16, -16, 16, 16).contains(QRectF(painted))) << v;
                previous = v;
            }
            recorder.rects.clear();
            m.SetValue(30.0);
            EXPECT_TRUE(recorder.rects.empty());
        }
    }
}

TEST(MeterPaint, BandColoursIndicatorAndFace)
{
    for (qreal dpr : {1.0, 2.0}) {
        SCOPED_TRACE(dpr);
        Meter m;
        m.resize(160, 160);
        m.SetColor(0xFFFFFF);
        m.SetTickStyle(Meter::ticNone);
        m.SetLabelingStyle(Meter::labNone);
        m.SetMeterScaleWidth(20);
        m.SetRangeNumber(3);
        SetRange(m, 1, 2, 0x00FF00);  // lime
        SetRange(m, 2, 6, 0x00FFFF);  // yellow
        SetRange(m, 3, 10, 0x0000FF); // red
        m.SetIndicatorColor(0xFF0000); // blue
        m.SetPeakHoldTime(0);
        m.SetPeakHold(true);
        m.SetValue(8);
        m.SetValue(-6); // leaves the drag pointer at 8
        m.SetReduceFlicker(dpr > 1);
        QImage img((QSizeF(m.size()) * dpr).toSize(), QImage::Format_ARGB32);
        img.setDevicePixelRatio(dpr);
        m.render(&img);
        const auto px = [&](QPoint p) { return img.pixel(int(p.x() * dpr), int(p.y() * dpr)); };
        // How near the antialiased pointer comes to red, around a point on its line.
        const auto pointerRedness = [&] {
            const QPoint p = At(m, AngleOf(m, 8), m.OuterRadius() * 0.6) * dpr;
            int best = 255;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const QColor c = img.pixelColor(p + QPoint(dx, dy));
                    best = std::min(best, std::max({255 - c.red(), c.green(), c.blue()}));
                }
            return best;
        };
        EXPECT_LT(pointerRedness(), 40);
        const long double mid = (m.InnerRadius() + m.OuterRadius()) / 2;
        EXPECT_EQ(px(At(m, AngleOf(m, -4), mid)), 0xFF00FF00u);
        EXPECT_EQ(px(At(m, AngleOf(m, 4), mid)), 0xFFFFFF00u);
        EXPECT_EQ(px(At(m, AngleOf(m, 8), mid)), 0xFFFF0000u);
        EXPECT_EQ(px(At(m, AngleOf(m, -6), 7)), 0xFF0000FFu);                    // the wedge near its base
        EXPECT_EQ(px(At(m, AngleOf(m, 6), m.OuterRadius() * 0.5)), 0xFFFFFFFFu);  // bare face
        EXPECT_EQ(px(At(m, AngleOf(m, 4), m.OuterRadius() + 3)), 0xFFFFFFFFu);    // outside the band
        m.ResetPeak();
        EXPECT_EQ(m.Peak(), -6.0);
        m.render(&img);
        EXPECT_EQ(pointerRedness(), 255); // white face only
    }
}
