#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>
#include <QtGui/QAccessible>
#include <QtGui/QImage>
#include <QtGui/QPalette>

#include "indicators/QVPanelMeterInt.h"
#include "support/qvPaintRecorder.h"

namespace {

using Meter = TQVPanelMeterInt;

constexpr double Inf = std::numeric_limits<double>::infinity(), NaN = std::numeric_limits<double>::quiet_NaN();
constexpr TQVColor Lit = 0x3050F0, Back = 0x101820; // 0x00BBGGRR

QColor Rgb(TQVColor c) { return QColor(int(c & 0xFF), int((c >> 8) & 0xFF), int((c >> 16) & 0xFF)); }

// The unlit colour: one fifth of the way from the background to the digit colour.
const QColor Dim = [] {
    const QColor l = Rgb(Lit), b = Rgb(Back);
    const auto mix = [](int bc, int lc) { return int(std::lround(bc + (lc - bc) / 5.0L)); };
    return QColor(mix(b.red(), l.red()), mix(b.green(), l.green()), mix(b.blue(), l.blue()));
}();

// Reference text: printf rounding on the prefix-scaled value (cases avoid exact ties), the
// locale's separator, and no sign on a value that rounds to zero.
QString RefText(long double value, int exponent, int decimals, QChar separator)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*Lf", decimals, value / std::pow(10.0L, exponent));
    QString text = QString::fromLatin1(buffer);
    if (text.startsWith(u'-') && text.count(u'0') == text.size() - 1 - (decimals > 0))
        text.remove(0, 1);
    return text.replace(u'.', separator);
}

std::unique_ptr<Meter> MakeMeter(int w, int h, int digits, int decimals)
{
    auto meter = std::make_unique<Meter>();
    meter->setLocale(QLocale::c());
    meter->SetDigits(digits);
    meter->SetDecimals(decimals);
    meter->SetDigitColor(Lit);
    meter->SetBackgroundColor(Back);
    meter->resize(w, h);
    return meter;
}

// Digit area from the documented layout, for the default frame (raised outer bevel of 1
// pixel) and no unit label.
struct Cells { QRect area; int h = 0, dw = 0, pitch = 0, t = 0; };

Cells ExpectedCells(int w, int h, int digits)
{
    const QRect window = QRect(1, 1, w - 2, h - 2).adjusted(3, 3, -3, -3);
    const int pad = std::max(2, window.height() / 8);
    const int h0 = window.height() - 2 * pad, avail = window.width() - 2 * pad, n = digits + 1;
    Cells c;
    c.h = std::min(h0, avail * 4 / (3 * n - 1));
    c.dw = c.h / 2;
    c.pitch = c.dw + c.h / 4;
    c.t = std::max(1, c.dw / 5);
    const int width = n * c.pitch - c.h / 4;
    c.area = QRect(window.left() + pad + (avail - width) / 2, window.top() + pad + (h0 - c.h) / 2, width, c.h);
    return c;
}

// Centre of segment k (a..g) of cell i; k = 7: the decimal point after cell i.
QPointF SegmentCentre(const Cells &c, int i, int k)
{
    const double x = c.area.left() + i * c.pitch, y = c.area.top(), t = c.t;
    const QPointF centres[8] = {
        {x + c.dw / 2.0, y + t / 2},           {x + c.dw - t / 2, y + c.h / 4.0}, {x + c.dw - t / 2, y + c.h * 0.75},
        {x + c.dw / 2.0, y + c.h - t / 2},     {x + t / 2, y + c.h * 0.75},       {x + t / 2, y + c.h / 4.0},
        {x + c.dw / 2.0, y + c.h / 2.0},       {x + c.dw + (c.pitch - c.dw) / 2.0, y + c.h - t / 2},
    };
    return centres[k];
}
} // namespace

TEST(PanelMeterText, FormatsScaledValueWithLocaleSeparator)
{
    struct Case { double value; int digits, decimals, prefix, exponent; const char *unit, *label; };
    const Case cases[] = {
        {2500, 5, 3, sipKilo, 3, "V", "kV"},         {-12.3456, 5, 2, sipNone, 0, "V", "V"},
        {0.0047, 5, 3, sipMilli, -3, "A", "mA"},     {3.3e-6, 5, 1, sipMikro, -6, "A", "\u00b5A"},
        {1234.4, 5, 0, sipNone, 0, "", ""},          {-0.001, 5, 2, sipNone, 0, "Hz", "Hz"},
        {7.25e9, 5, 2, sipGiga, 9, "Hz", "GHz"},     {-4.2e-10, 5, 1, sipNano, -9, "F", "nF"},
        {0.0, 5, 4, sipNone, 0, "", ""},             {1.23456, 3, 5, sipNone, 0, "", ""},
    };
    for (const Case &k : cases) {
        auto meter = MakeMeter(220, 80, k.digits, k.decimals);
        meter->SetSIPrefix(k.prefix);
        meter->SetUnitText(QString::fromUtf8(k.unit));
        meter->SetValue(k.value);
        const int shown = std::min(k.decimals, k.digits - 1); // decimals beyond Digits - 1 are not shown
        for (const QLocale &locale : {QLocale::c(), QLocale(QLocale::German, QLocale::Germany)}) {
            meter->setLocale(locale); // re-formats at once
            EXPECT_EQ(meter->DisplayText(), RefText(k.value, k.exponent, shown, locale.decimalPoint()[0])) << k.value;
        }
        const QString unit = QString::fromUtf8(k.label);
        EXPECT_EQ(meter->UnitLabel(), unit);
        EXPECT_EQ(QAccessible::queryAccessibleInterface(meter.get())->text(QAccessible::Value),
                  meter->DisplayText() + (unit.isEmpty() ? QString() : u' ' + unit));
    }
}

// As a multimeter ranges: 1 to 3 integer digits after rounding, the rest of `Digits` for decimals.
TEST(PanelMeterText, AutoPrefixRangesEveryValue)
{
    struct Case { double value; int digits, decimals, exponent, shown; const char *label; };
    const Case cases[] = {
        {0.00123456, 4, 3, -3, 3, "mV"}, {0.99999996, 4, 3, 0, 3, "V"}, {9.99996, 5, 4, 0, 3, "V"},
        {12345678, 4, 3, 6, 2, "MV"},    {-4.7e-9, 5, 2, -9, 2, "nV"},  {0.0, 4, 3, 0, 3, "V"},
        {1e-30, 4, 3, -24, 3, "yV"},     {999.4, 6, 9, 0, 3, "V"},      {3.3e-6, 3, 5, -6, 2, "\u00b5V"},
    };
    for (const Case &k : cases) {
        auto meter = MakeMeter(220, 80, k.digits, k.decimals);
        meter->SetUnitText(QStringLiteral("V"));
        meter->SetSIPrefix(sipKilo);
        meter->SetAutoPrefix(true);
        meter->SetValue(k.value);
        EXPECT_EQ(meter->DisplayText(), RefText(k.value, k.exponent, k.shown, u'.')) << k.value;
        EXPECT_EQ(meter->UnitLabel(), QString::fromUtf8(k.label)) << k.value;
        meter->SetAutoPrefix(false); // the prefix set is kept
        EXPECT_EQ(meter->UnitLabel(), QStringLiteral("kV"));
    }
}

TEST(PanelMeterText, OverRangeAndNoValue)
{
    struct Case { double min, max; int digits, decimals, prefix; double value; const char *text; };
    const Case cases[] = {
        {-Inf, Inf, 5, 2, sipNone, 999.994, nullptr},   {-Inf, Inf, 5, 2, sipNone, 999.996, "OL"},
        {-Inf, Inf, 5, 0, sipNone, 99999.4, nullptr},   {-Inf, Inf, 5, 0, sipNone, 99999.6, "OL"},
        {-Inf, Inf, 5, 0, sipNone, -99999.6, "-OL"},    {-Inf, Inf, 3, 0, sipKilo, 1.0e6, "OL"},
        {-Inf, 10, 5, 2, sipNone, 10.0, nullptr},       {-Inf, 10, 5, 2, sipNone, 10.001, "OL"},
        {-5, Inf, 5, 2, sipNone, -5.0, nullptr},        {-5, Inf, 5, 2, sipNone, -5.01, "-OL"},
        {-Inf, Inf, 5, 2, sipNone, Inf, "OL"},          {-Inf, Inf, 5, 2, sipNone, -Inf, "-OL"},
        {-Inf, Inf, 5, 2, sipYocto, 1e300, "OL"},       {-Inf, Inf, 5, 2, sipNone, NaN, "----"},
    };
    for (const Case &k : cases) {
        auto meter = MakeMeter(220, 80, k.digits, k.decimals);
        meter->SetValueMax(k.max);
        meter->SetValueMin(k.min);
        meter->SetSIPrefix(k.prefix);
        meter->SetValue(k.value);
        const QString expected = k.text ? QString::fromLatin1(k.text) : RefText(k.value, 0, k.decimals, u'.');
        EXPECT_EQ(meter->DisplayText(), expected) << k.value;
        EXPECT_EQ(meter->IsOverRange(), k.text && k.text[1] != '-') << k.value;
    }
    auto meter = MakeMeter(220, 80, 5, 2);
    meter->SetValueMax(1);
    meter->SetOverRangeText(QStringLiteral("Err"));
    meter->SetValue(2);
    EXPECT_EQ(meter->DisplayText(), QStringLiteral("Err"));
    meter->SetValueMax(3); // the range change re-evaluates the stored value
    EXPECT_EQ(meter->DisplayText(), QStringLiteral("2.00"));
}

// Refused writes leave the value as it was; the property system takes the same setters.
TEST(PanelMeterSetters, InvalidValuesAreIgnored)
{
    auto meter = MakeMeter(220, 80, 5, 2);
    meter->SetValueMin(-10);
    meter->SetValueMax(10);
    const struct { const char *property; QVariantList refused; } rows[] = {
        {"Decimals", {-1, 10}}, {"Digits", {0, 13}}, {"SIPrefix", {-1, 21, 255}}, {"DigitStyle", {7}},
        {"ValueMin", {NaN, 10.0, 20.0}}, {"ValueMax", {NaN, -10.0, -20.0}},
    };
    for (const auto &row : rows) {
        const QVariant before = meter->property(row.property);
        for (const QVariant &v : row.refused) {
            meter->setProperty(row.property, v);
            EXPECT_EQ(meter->property(row.property), before) << row.property << " = " << v.toString().toStdString();
        }
    }
    meter->SetDigits(9);
    meter->SetDecimals(12);
    EXPECT_EQ(meter->Decimals(), 2);
}

TEST(PanelMeterRepaint, OnlyChangedTextRepaintsTheDigitArea)
{
    auto meter = MakeMeter(220, 80, 5, 3);
    meter->resize(meter->sizeHint());
    // At its size hint the window is 44 pixels high: 34-pixel digits between 5-pixel pads.
    EXPECT_EQ(meter->DigitRect().height(), 44 - 2 * (44 / 8));
    meter->SetDecimals(2);
    meter->resize(220, 80);
    meter->show();
    QCoreApplication::processEvents();
    const QRect area = ExpectedCells(220, 80, 5).area;
    ASSERT_EQ(meter->DigitRect(), area);
    PaintRecorder recorder;
    meter->installEventFilter(&recorder);

    struct Step { double value; bool repaints; };
    const Step steps[] = {{1.234, true}, {1.2341, false}, {1.236, true}, {-1.236, true},
                          {NaN, true}, {NaN, false}, {1e9, true}, {2e9, false}, {0.0, true}};
    for (const Step &s : steps) {
        recorder.regions.clear();
        meter->SetValue(s.value);
        EXPECT_TRUE(std::isnan(s.value) ? std::isnan(meter->Value()) : meter->Value() == s.value);
        ASSERT_EQ(recorder.regions.size(), s.repaints ? 1u : 0u) << s.value;
        if (s.repaints) {
            EXPECT_EQ(recorder.regions[0], QRegion(area)) << s.value;
        }
    }
    // A display property repaints the whole control, later.
    recorder.regions.clear();
    meter->SetDigitColor(0x00FF00);
    EXPECT_TRUE(recorder.regions.empty());
    QCoreApplication::processEvents();
    ASSERT_FALSE(recorder.regions.empty());
    EXPECT_EQ(recorder.regions.back(), QRegion(meter->rect()));
}

TEST(PanelMeterPaint, LitAndUnlitSegmentsAtTheDocumentedPositions)
{
    // "-1.80" in six positions: sign, two blanks, "1." , "8", "0".
    const int a = 0, b = 1, c = 2, d = 3, e = 4, f = 5, g = 6, point = 7;
    struct Probe { int cell; int seg; bool lit; };
    const Probe probes[] = {
        {0, g, true}, {0, a, false}, {1, g, false}, {1, b, false}, {3, b, true}, {3, c, true}, {3, a, false},
        {3, f, false}, {3, g, false}, {3, d, false}, {4, a, true}, {4, e, true}, {4, g, true}, {5, a, true},
        {5, e, true}, {5, g, false}, {3, point, true}, {4, point, false},
    };
    for (qreal dpr : {1.0, 2.0}) {
        auto meter = MakeMeter(220, 80, 5, 2);
        meter->SetValue(-1.8);
        QImage image(QSize(220, 80) * dpr, QImage::Format_RGB32);
        image.setDevicePixelRatio(dpr);
        image.fill(Qt::magenta);
        meter->render(&image);
        const Cells cells = ExpectedCells(220, 80, 5);
        const auto at = [&](QPointF p) { return image.pixelColor(int(p.x() * dpr), int(p.y() * dpr)); };
        for (const Probe &p : probes)
            EXPECT_EQ(at(SegmentCentre(cells, p.cell, p.seg)), p.lit ? Rgb(Lit) : Dim)
                << "dpr " << dpr << " cell " << p.cell << " segment " << p.seg;
        EXPECT_EQ(at(QPointF(cells.area.left() - 2, cells.area.top() + 2)), Rgb(Back));
    }
}

TEST(PanelMeterPaint, FontStyleDrawsFullHeightTextWithoutUnlitSegments)
{
    // Counts pixels of the digit colour and of the unlit colour inside the digit area, and
    // notes whether lit pixels reach the top and bottom bands of the area.
    struct Census { int lit = 0, dim = 0; bool top = false, bottom = false; };
    const auto census = [](Meter::TQVDigitStyle style) {
        auto meter = MakeMeter(220, 80, 5, 2);
        meter->SetDigitStyle(style);
        meter->SetValue(88.88);
        const QImage image = meter->grab().toImage().convertToFormat(QImage::Format_RGB32);
        const QRect area = meter->DigitRect();
        Census c;
        for (int y = area.top(); y <= area.bottom(); ++y)
            for (int x = area.left(); x <= area.right(); ++x) {
                const bool lit = image.pixelColor(x, y) == Rgb(Lit);
                c.lit += lit;
                c.dim += image.pixelColor(x, y) == Dim;
                c.top |= lit && y < area.top() + area.height() / 8;
                c.bottom |= lit && y > area.bottom() - area.height() / 8;
            }
        EXPECT_GT(c.lit, area.width() * area.height() / 40);
        return c;
    };
    const Census font = census(Meter::dsFont), segments = census(Meter::dsSevenSegment);
    EXPECT_TRUE(font.top && font.bottom);
    EXPECT_TRUE(segments.top && segments.bottom);
    // Antialiased glyph edges may hit the unlit colour by chance, the unlit segments fill areas.
    EXPECT_LT(font.dim * 20, segments.dim);
}

TEST(PanelMeterAdaptive, FollowsThePaletteAndFitsDigitsAndUnit)
{
    // Light and dark palettes at both size hints; then colours set by the user, which win.
    for (int k = 0; k < 5; ++k) {
        auto m = MakeMeter(220, 80, 5, 2);
        QPalette palette;
        palette.setColor(QPalette::Base, k % 2 ? QColor(30, 31, 34) : Qt::white);
        palette.setColor(QPalette::Text, k % 2 ? QColor(225, 227, 230) : Qt::black);
        m->setPalette(palette);
        m->SetScaleLayout(slAdaptive);
        m->SetUnitText(QStringLiteral("mV"));
        if (k < 4) { // the default colours, at the size hints
            m->SetDigitColor(0x2828FF), m->SetBackgroundColor(0x141414);
            m->resize(k < 2 ? m->sizeHint() : m->minimumSizeHint());
        }
        m->SetValue(-1.8);
        const QImage image = m->grab().toImage().convertToFormat(QImage::Format_RGB32);
        const QColor base = k < 4 ? palette.color(QPalette::Base) : Rgb(Back);
        const QRect window = QRect(1, 1, m->width() - 2, m->height() - 2).adjusted(3, 3, -3, -3), digits = m->DigitRect();
        // A crisp sign (segment g of position 0), the base, a whole unit right of the digits.
        EXPECT_EQ(image.pixelColor(digits.left() + digits.height() / 4, digits.center().y()),
                  k < 4 ? palette.color(QPalette::Text) : Rgb(Lit)) << k;
        int unitInk = 0, edgeInk = 0;
        for (int y = window.top(); y <= window.bottom(); ++y)
            for (int x = digits.right() + 1; x <= window.right(); ++x)
                (x < window.right() ? unitInk : edgeInk) += image.pixelColor(x, y) != base;
        EXPECT_EQ(image.pixelColor(window.topLeft()), base) << k;
        EXPECT_EQ(std::pair(unitInk > 4, edgeInk), std::pair(true, 0)) << k;
    }
}
