#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtGui/QAccessible>
#include <QtGui/QFontMetrics>
#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtTest/QTest>

#include "controls/qvbargraphint.h"
#include "support/qvPaintRecorder.h"

namespace {

using Bar = TQVBarGraphInt;

constexpr TQVColor Face = 0xC0C0C0, Track = 0xFFFFFF, Hi = 0x00FFFF, Lo = 0x808000, Ink = 0x800000;
constexpr TQVColor R1 = 0x00FF00, R2 = 0xFF0000, R3 = 0x0000FF;

QRgb Rgb(TQVColor c) { return qRgb(int(c & 0xFF), int((c >> 8) & 0xFF), int((c >> 16) & 0xFF)); }

// Round half to even in long double, as the geometry rules round.
int RoundRef(long double x) { return int(std::nearbyintl(x)); }

std::unique_ptr<Bar> MakeBar(Bar::TQVBarKind kind, int w, int h)
{
    auto bar = std::make_unique<Bar>();
    bar->setLocale(QLocale::c());
    bar->SetKind(kind);
    bar->resize(w, h);
    bar->SetColor(Face);
    bar->SetBarColor(Track);
    bar->SetBevelColor1(Hi);
    bar->SetBevelColor2(Lo);
    bar->SetLabelingFontColor(Ink);
    bar->SetRangeCurrent(1);
    bar->SetRangeColor(R1);
    return bar;
}

QImage Render(Bar &bar) { return bar.grab().toImage().convertToFormat(QImage::Format_RGB32); }

// The end of the filled bar: the first filled row (vertical) or the first unfilled column.
int BarEnd(const Bar &bar, long double v)
{
    const int bw = bar.BevelWidth();
    const bool vertical = bar.Kind() == Bar::sbVertical;
    const long double d = (long double)bar.ValueMax() - bar.ValueMin();
    if (vertical) {
        const int bottom = bar.height() - bar.OffsetLower() - bw, top = bar.OffsetUpper() + bw;
        return bottom - RoundRef((v - bar.ValueMin()) * (bottom - top) / d);
    }
    const int left = bar.OffsetLower() + bw, right = bar.width() - bar.OffsetUpper() - bw;
    return left + RoundRef((v - bar.ValueMin()) * (right - left) / d);
}

// Pixel on the bar's centre line at `along` (row when vertical, column when horizontal).
QRgb OnBar(const QImage &img, const Bar &bar, int along)
{
    const int mid = ((bar.Kind() == Bar::sbVertical ? bar.width() : bar.height()) - bar.BarWidth()) / 2
        + bar.BarWidth() / 2;
    return bar.Kind() == Bar::sbVertical ? img.pixel(mid, along) : img.pixel(along, mid);
}

} // namespace

TEST(BarGraphPaint, BarEndsAtTheComputedPosition)
{
    struct Case { Bar::TQVBarKind kind; int w, h, bevel; double min, max; std::vector<double> values; };
    const Case cases[] = {
        {Bar::sbVertical, 45, 145, 1, 0, 100, {0.5, 13, 50, 77.7, 99.6}},
        {Bar::sbVertical, 45, 145, 1, 0, 254, {5, 101}}, // ties round to even
        {Bar::sbVertical, 60, 301, 3, -40, 60, {-39, -1, 0, 33.3, 59}},
        {Bar::sbHorizontal, 200, 40, 2, 1e-3, 2e-3, {1.1e-3, 1.5e-3, 1.95e-3}},
    };
    for (const Case &c : cases) {
        auto bar = MakeBar(c.kind, c.w, c.h);
        bar->SetBevelWidth(c.bevel);
        bar->SetValueParams(c.min, c.max);
        for (double v : c.values) {
            bar->SetValue(v);
            const QImage img = Render(*bar);
            const int end = BarEnd(*bar, v);
            SCOPED_TRACE(testing::Message() << "kind " << c.kind << " value " << v << " end " << end);
            if (c.kind == Bar::sbVertical) {
                EXPECT_EQ(OnBar(img, *bar, end), Rgb(R1));
                EXPECT_EQ(OnBar(img, *bar, end - 1), Rgb(Track));
            } else {
                EXPECT_EQ(OnBar(img, *bar, end - 1), Rgb(R1));
                EXPECT_EQ(OnBar(img, *bar, end), Rgb(Track));
            }
        }
        // Frame: upper-left edges in the second bevel colour, lower-right in the first.
        const QImage img = Render(*bar);
        const QRect r = bar->BarRect();
        EXPECT_EQ(img.pixel(r.left(), r.top() + r.height() / 2), Rgb(Lo));
        EXPECT_EQ(img.pixel(r.right(), r.top() + r.height() / 2), Rgb(Hi));
        EXPECT_EQ(img.pixel(r.left() + r.width() / 2, r.top()), Rgb(Lo));
        EXPECT_EQ(img.pixel(r.left() + r.width() / 2, r.bottom()), Rgb(Hi));
        EXPECT_EQ(img.pixel(1, 1), Rgb(Face));
    }
}

// A bar of 205 pixels over 0..100 with the ranges R1 up to 30, R2 up to 70 and R3 above.
std::unique_ptr<Bar> ThreeRangeBar(Bar::TQVBarKind kind)
{
    auto bar = kind == Bar::sbVertical ? MakeBar(kind, 45, 205) : MakeBar(kind, 205, 45);
    bar->SetRangeNumber(3);
    const double limits[] = {30, 70};
    const TQVColor colours[] = {R1, R2, R3};
    for (int i = 1; i <= 3; ++i) {
        bar->SetRangeCurrent(i);
        bar->SetRangeColor(colours[i - 1]);
        if (i < 3)
            bar->SetRangeLimit(limits[i - 1]);
    }
    return bar;
}

TEST(BarGraphPaint, ColourRangesInOrderAndDevicePixelRatio)
{
    for (Bar::TQVBarKind kind : {Bar::sbVertical, Bar::sbHorizontal}) {
        auto bar = ThreeRangeBar(kind);
        bar->SetValue(90);
        const QImage img = Render(*bar);
        const double probes[] = {15, 50, 80, 95};
        const TQVColor expected[] = {R1, R2, R3, Track};
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(OnBar(img, *bar, BarEnd(*bar, probes[i])), Rgb(expected[i])) << "kind " << kind << " at " << probes[i];

        // At twice the pixel density every edge lands on even device pixels.
        QImage hi(bar->size() * 2, QImage::Format_RGB32);
        hi.setDevicePixelRatio(2);
        bar->render(&hi);
        const int end = BarEnd(*bar, 90);
        const int mid = 2 * (45 / 2);
        const int filled = kind == Bar::sbVertical ? 2 * end : 2 * end - 1;
        const int empty = kind == Bar::sbVertical ? 2 * end - 1 : 2 * end;
        const auto at = [&](int a) { return kind == Bar::sbVertical ? hi.pixel(mid, a) : hi.pixel(a, mid); };
        EXPECT_EQ(at(filled), Rgb(R3));
        EXPECT_EQ(at(empty), Rgb(Track));
    }
}

// The marker holds the highest value, two pixels inside where its bar would end, in the colour
// of its range; it stays until a reset or its hold time, and goes with PeakHold.
TEST(BarGraphPaint, PeakMarkerHoldsTheHighestValueInItsRangeColour)
{
    for (Bar::TQVBarKind kind : {Bar::sbVertical, Bar::sbHorizontal}) {
        SCOPED_TRACE(kind);
        auto bar = ThreeRangeBar(kind);
        bar->SetValue(20);
        bar->SetPeakHoldTime(0);
        bar->SetPeakHold(true);
        const int inward = kind == Bar::sbVertical ? 1 : -1; // from a bar end into its bar
        for (const double v : {80.0, 50.0, 10.0})
            bar->SetValue(v);
        EXPECT_EQ(bar->Peak(), 80.0);
        QImage img = Render(*bar);
        const int end = BarEnd(*bar, 80);
        for (const auto &[at, colour] : {std::pair{end, R3}, {end + inward, R3}, {end + 2 * inward, Track}, {end - inward, Track}})
            EXPECT_EQ(OnBar(img, *bar, kind == Bar::sbVertical ? at : at - 1), Rgb(colour)) << at;
        EXPECT_EQ(OnBar(img, *bar, BarEnd(*bar, 50)), Rgb(Track));

        bar->ResetPeak();
        EXPECT_EQ(bar->Peak(), 10.0);
        bar->SetValue(40); // a marker on the bar's end is not drawn
        img = Render(*bar);
        EXPECT_EQ(OnBar(img, *bar, BarEnd(*bar, 80) - (kind == Bar::sbHorizontal)), Rgb(Track));

        bar->SetPeakHoldTime(20);
        bar->SetValue(60);
        bar->SetValue(5);
        EXPECT_EQ(bar->Peak(), 60.0);
        EXPECT_TRUE(QTest::qWaitFor([&] { return bar->Peak() == 5.0; }, 10000));
        bar->SetPeakHold(false);
        EXPECT_TRUE(std::isnan(bar->Peak()));
    }
}

TEST(BarGraphPaint, LabelsStandAtTheirPositionsWithTheirTexts)
{
    struct Case {
        Bar::TQVBarKind kind; int w, h; Bar::TQVLabelingStyle style; Bar::TQVLabelingOrientation side;
        double min, max, gap; int prefix; const char *unit; std::vector<const char *> texts;
    };
    // Labels stand on every k-th line; k follows from the font's height or the label width.
    const Case cases[] = {
        {Bar::sbVertical, 90, 145, Bar::lbsLabels, Bar::lboLeft, 0, 1e6, 2e5, sipNone, "",
         {"0.00E00", "2.00E05", "4.00E05", "6.00E05", "8.00E05", "1.00E06"}},
        {Bar::sbVertical, 90, 145, Bar::lbsLabels, Bar::lboLeft, -50, 50, 25, sipNone, "", {"-50.0", "-25.0", "0.0", "25.0", "50.0"}},
        {Bar::sbVertical, 90, 145, Bar::lbsLabels, Bar::lboRight, 0, 5000, 2500, sipKilo, "V", {"0.0kV", "2.5kV", "5.0kV"}},
        {Bar::sbHorizontal, 300, 60, Bar::lbsLabels, Bar::lboBelow, -1, 1, 0.5, sipNone, "", {"-1.0", "-0.5", "0.0", "0.5", "1.0"}},
        {Bar::sbHorizontal, 300, 60, Bar::lbsLabels, Bar::lboAbove, -1, 1, 0.25, sipNone, "",
         {"-1.0", "-0.8", "-0.5", "-0.3", "0.0", "0.3", "0.5", "0.8", "1.0"}},
        {Bar::sbVertical, 70, 200, Bar::lbsLabels, Bar::lboLeft, 0, 0.004, 0.001, sipMilli, "A",
         {"0.0mA", "1.0mA", "2.0mA", "3.0mA", "4.0mA"}},
    };
    for (const Case &c : cases) {
        auto bar = MakeBar(c.kind, c.w, c.h);
        bar->SetValueParams(c.min, c.max);
        bar->SetLabelingGap(c.gap);
        bar->SetLabelScientificUnitPosfix(c.prefix);
        bar->SetLabelTextPosfix(QString::fromUtf8(c.unit));
        bar->SetLabelingOrientation(c.side);
        const QImage plain = Render(*bar);
        bar->SetLabelingStyle(c.style);
        const QImage labelled = Render(*bar);

        // Reference: the unlabelled control with the expected texts drawn where they belong.
        QImage expected = plain;
        QPainter p(&expected);
        p.setFont(bar->LabelingFont());
        p.setPen(QColor(Rgb(Ink)));
        const QFontMetrics fm = p.fontMetrics();
        const bool vertical = c.kind == Bar::sbVertical;
        const int s = vertical ? c.h - 16 : c.w - 16;
        const long double d = (long double)c.max - c.min;
        const int pitch = RoundRef(s * (long double)c.gap / d);
        // Horizontal: the estimate is the label of ValueMin (the wider end here) plus "-".
        const int minPitch = vertical ? 2 * fm.height() : fm.horizontalAdvance(QString::fromUtf8(c.texts.front()) + "-") + 10;
        int k = 1;
        while (minPitch > k * pitch)
            ++k;
        const int o = RoundRef(s * (long double)c.min / d);
        for (size_t i = 0; i < c.texts.size(); i += size_t(k)) {
            const QString text = QString::fromUtf8(c.texts[i]);
            const int pos = RoundRef(s * ((long double)c.min + i * (long double)c.gap) / d);
            const int w = fm.horizontalAdvance(text);
            if (vertical) {
                const int y = c.h - 8 - pos - fm.height() / 2 + o;
                p.drawText(QPoint(c.side == Bar::lboLeft ? 0 : c.w - w, y + fm.ascent()), text);
            } else {
                const int x = pos + 8 - w / 2 - o;
                p.drawText(QPoint(x, c.side == Bar::lboAbove ? fm.ascent() : c.h - fm.height() + fm.ascent()), text);
            }
        }
        p.end();
        EXPECT_EQ(labelled, expected) << c.texts[1];
        EXPECT_NE(labelled, plain);
    }
}

TEST(BarGraphPaint, ScaleLinesAndGapGuard)
{
    // lbsLines on the first side: every line reaches the left edge and the bar on the
    // left, and runs from the right edge to one pixel short of the bar on the right.
    auto bar = MakeBar(Bar::sbVertical, 45, 145);
    bar->SetLabelingGap(10);
    bar->SetLabelingStyle(Bar::lbsLines);
    QImage img = Render(*bar);
    const int barLeft = (45 - 10) / 2, barRight = barLeft + 10;
    for (int t = 0; t <= 100; t += 10) {
        const int y = 145 - 8 - RoundRef(129.0L * t / 100);
        EXPECT_EQ(img.pixel(0, y), Rgb(Ink)) << t;
        EXPECT_EQ(img.pixel(barLeft - 1, y), Rgb(Ink)) << t;
        EXPECT_EQ(img.pixel(44, y), Rgb(Ink)) << t;
        EXPECT_EQ(img.pixel(barRight + 1, y), Rgb(Ink)) << t;
        EXPECT_EQ(img.pixel(barRight, y), Rgb(Face)) << t;
    }

    // lbsBoth: major lines (labelled, every k-th) start 4 pixels nearer the labels.
    bar->resize(90, 145);
    bar->SetLabelingStyle(Bar::lbsBoth);
    img = Render(*bar);
    const QFontMetrics fm(bar->LabelingFont(), bar.get());
    const int k = int(std::ceil(2.0 * fm.height() / 13.0));
    int widest = 0;
    for (int t = 0; t <= 100; t += 10 * k)
        widest = std::max(widest, fm.horizontalAdvance(QStringLiteral("%1.0").arg(t)));
    for (int i = 0; i <= 10; ++i) {
        const int y = 145 - 8 - RoundRef(129.0L * i * 10 / 100);
        const bool major = i % k == 0;
        EXPECT_EQ(img.pixel(widest + 4, y) == Rgb(Ink), major) << i;
        EXPECT_EQ(img.pixel(widest + 8, y), Rgb(Ink)) << i;
    }

    // Gap guard: 0.5 over 0..100 on a 129-pixel scale becomes 200/129 and stays so.
    bar->resize(45, 145);
    bar->SetLabelingGap(0.5);
    Render(*bar);
    EXPECT_DOUBLE_EQ(bar->LabelingGap(), 200.0 / 129.0);
    bar->SetLabelingStyle(Bar::lbsNone);
    Render(*bar);
    EXPECT_DOUBLE_EQ(bar->LabelingGap(), 200.0 / 129.0);
}

TEST(BarGraphProperties, LimitsAndRangeTable)
{
    Bar bar;
    EXPECT_EQ(bar.size(), QSize(45, 145));
    EXPECT_EQ(bar.BevelOuter(), Bar::bvNone);
    EXPECT_EQ(bar.Ranges(), (QList<Bar::RangeEntry>{{QVColors::clBlack, 100}}));

    // Raising the count keeps range 1; new ranges are pulled into ValueMin..ValueMax and the
    // last one reaches ValueMax. The rows' own rules are tested with TQVRangeTable.
    bar.SetRangeNumber(3);
    EXPECT_EQ(bar.Ranges(), (QList<Bar::RangeEntry>{{0, 100}, {0, 0}, {0, 100}}));
    bar.SetRangeCurrent(1);
    bar.SetRangeLimit(150);
    EXPECT_EQ(bar.RangeLimit(), 100);
    bar.SetRangeLimit(40);
    bar.SetValueMax(50);
    bar.SetValueMin(45);
    EXPECT_EQ(bar.Ranges(), (QList<Bar::RangeEntry>{{0, 45}, {0, 45}, {0, 50}}));

    // The value is clamped into the range, a narrowed range leaves it (the limits' own rules are
    // shared with the slider and tested there); a bad gap is ignored.
    bar.SetValueParams(0, 100);
    bar.SetLabelingGap(0);
    bar.SetLabelingGap(-1);
    EXPECT_EQ(bar.LabelingGap(), 5);
    for (const auto &[v, expected] : {std::pair{150.0, 100.0}, {std::nan(""), 100.0}, {-3.0, 0.0}}) {
        bar.SetValue(v);
        EXPECT_EQ(bar.Value(), expected) << v;
    }
    bar.SetValue(100);
    bar.SetValueMax(80);
    EXPECT_EQ(bar.Value(), 100);
    bar.SetValueParams(10, 10); // allowed; painting must survive it
    bar.SetValue(5);
    EXPECT_EQ(bar.Value(), 10);
    bar.SetLabelingStyle(Bar::lbsBoth);
    Render(bar);
    bar.SetValueParams(100, 0);
    Render(bar);

    // The form reader's path: stored as given, excess entries dropped, empty lists ignored.
    QList<Bar::RangeEntry> many;
    for (int i = 0; i < 20; ++i)
        many.append({TQVColor(i), double(i)});
    bar.SetRanges(many);
    EXPECT_EQ(bar.Ranges(), many.mid(0, 16));
    bar.SetRanges({});
    EXPECT_EQ(bar.RangeNumber(), 16);
    bar.SetStreamedValues(500, 0, 10, 2);
    EXPECT_EQ(bar.Value(), 500);
    EXPECT_EQ(bar.Ranges().at(3).Limit, 3);

    bar.SetLabelScientificUnitPosfix(99);
    EXPECT_EQ(bar.LabelScientificUnitPosfix(), sipNone);
    bar.SetValueParams(0, 10);
    bar.SetLabelScientificUnitPosfix(sipKilo);
    bar.SetLabelTextPosfix(QStringLiteral("V"));
    bar.setLocale(QLocale::c());
    bar.SetValue(2.5);
    // Assistive technology reads the value with prefix and unit.
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(&bar);
    ASSERT_NE(accessible, nullptr);
    EXPECT_EQ(accessible->text(QAccessible::Value), QStringLiteral("0.0025 kV"));
}

TEST(BarGraphProperties, KindSwapsTheSizeOnlyInTheDesigner)
{
    Bar bar;
    bar.SetKind(Bar::sbHorizontal);
    EXPECT_EQ(bar.size(), QSize(45, 145));
    bar.SetDesigning(true);
    bar.SetKind(Bar::sbVertical);
    EXPECT_EQ(bar.size(), QSize(145, 45));
    bar.BeginLoading();
    bar.SetKind(Bar::sbHorizontal);
    EXPECT_EQ(bar.size(), QSize(145, 45));
    EXPECT_GT(bar.sizeHint().width(), bar.sizeHint().height());
}

TEST(BarGraphRepaint, SetValueRepaintsOnlyTheStrip)
{
    for (Bar::TQVBarKind kind : {Bar::sbVertical, Bar::sbHorizontal}) {
        auto bar = kind == Bar::sbVertical ? MakeBar(kind, 60, 200) : MakeBar(kind, 200, 60);
        bar->SetLabelingStyle(Bar::lbsBoth);
        bar->SetValue(20);
        bar->show();
        QCoreApplication::processEvents();
        PaintRecorder recorder;
        bar->installEventFilter(&recorder);

        const int len = 200 - 16;
        double old = 20;
        for (double v : {60.0, 59.9, 3.0, 100.0}) {
            recorder.regions.clear();
            bar->SetValue(v);
            ASSERT_EQ(recorder.regions.size(), 1u) << v;
            const int a = RoundRef(len * (long double)old / 100), b = RoundRef(len * (long double)v / 100);
            const int across = (60 - 10) / 2 - 1;
            const QRect strip = kind == Bar::sbVertical
                ? QRect(across, 200 - 8 - std::max(a, b) - 1, 12, std::abs(a - b) + 2)
                : QRect(8 + std::min(a, b) - 1, across, std::abs(a - b) + 2, 12);
            EXPECT_EQ(recorder.regions[0], QRegion(strip)) << v;
            old = v;
        }
        // Unchanged and clamped-unchanged values paint nothing. That the screen equals a full
        // repaint is tested in tst_valuerepaint.cpp.
        recorder.regions.clear();
        bar->SetValue(100);
        bar->SetValue(250);
        EXPECT_TRUE(recorder.regions.empty());

        // A pending full update is merged into the value repaint, which then paints it all.
        recorder.regions.clear();
        bar->SetBarColor(0x404040);
        bar->SetValue(50);
        ASSERT_FALSE(recorder.regions.empty());
        EXPECT_EQ(recorder.regions.back(), QRegion(bar->rect()));
        const QImage merged = bar->screen()->grabWindow(bar->winId()).toImage().convertToFormat(QImage::Format_RGB32);
        EXPECT_EQ(merged, Render(*bar));
        bar->removeEventFilter(&recorder);
    }
}
