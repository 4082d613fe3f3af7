#include "indicators/QVPanelMeterInt.h"

#include <algorithm>
#include <cmath>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtGui/QAccessible>
#include <QtGui/QFontMetricsF>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtGui/QPixmap>
#include <QtWidgets/QAccessibleWidget>

#include "controls/qvFormat.h"
#include "controls/scale/qvPaintKit.h"

namespace {

// Space between the panel's frame and the display window.
constexpr int WindowMargin = 3;
// The default colours; in the adaptive layout they stand for the palette's.
constexpr TQVColor DefaultDigitColor = 0x2828FF;
constexpr TQVColor DefaultBackgroundColor = 0x141414;
// Shown for a NaN value.
const QString NoValueText = QStringLiteral("----");

// Segment bits: a (top), b (upper right), c (lower right), d (bottom), e (lower left),
// f (upper left), g (middle).
enum : quint8 { SegA = 1, SegB = 2, SegC = 4, SegD = 8, SegE = 16, SegF = 32, SegG = 64 };

// The segments that draw `c`; characters without a seven-segment form stay dark.
quint8 SegmentsOf(QChar c)
{
    switch (c.unicode()) {
    case '0': case 'O': case 'D': return SegA | SegB | SegC | SegD | SegE | SegF;
    case '1': return SegB | SegC;
    case '2': case 'Z': case 'z': return SegA | SegB | SegD | SegE | SegG;
    case '3': return SegA | SegB | SegC | SegD | SegG;
    case '4': return SegB | SegC | SegF | SegG;
    case '5': case 'S': case 's': return SegA | SegC | SegD | SegF | SegG;
    case '6': return SegA | SegC | SegD | SegE | SegF | SegG;
    case '7': return SegA | SegB | SegC;
    case '8': return SegA | SegB | SegC | SegD | SegE | SegF | SegG;
    case '9': case 'g': return SegA | SegB | SegC | SegD | SegF | SegG;
    case 'A': case 'a': return SegA | SegB | SegC | SegE | SegF | SegG;
    case 'B': case 'b': return SegC | SegD | SegE | SegF | SegG;
    case 'C': return SegA | SegD | SegE | SegF;
    case 'c': return SegD | SegE | SegG;
    case 'd': return SegB | SegC | SegD | SegE | SegG;
    case 'E': case 'e': return SegA | SegD | SegE | SegF | SegG;
    case 'F': case 'f': return SegA | SegE | SegF | SegG;
    case 'G': return SegA | SegC | SegD | SegE | SegF;
    case 'H': return SegB | SegC | SegE | SegF | SegG;
    case 'h': return SegC | SegE | SegF | SegG;
    case 'I': case 'l': return SegE | SegF;
    case 'i': return SegC;
    case 'J': case 'j': return SegB | SegC | SegD | SegE;
    case 'L': return SegD | SegE | SegF;
    case 'N': case 'n': return SegC | SegE | SegG;
    case 'o': return SegC | SegD | SegE | SegG;
    case 'P': case 'p': return SegA | SegB | SegE | SegF | SegG;
    case 'R': case 'r': return SegE | SegG;
    case 'T': case 't': return SegD | SegE | SegF | SegG;
    case 'U': return SegB | SegC | SegD | SegE | SegF;
    case 'u': case 'v': return SegC | SegD | SegE;
    case 'Y': case 'y': return SegB | SegC | SegD | SegF | SegG;
    case '-': return SegG;
    case '_': return SegD;
    default: return 0;
    }
}

// One character position of the display: its segments and whether the decimal point
// after it is lit.
struct Glyph
{
    quint8 segments = 0;
    bool point = false;
};

bool IsSeparator(QChar c) { return c == u'.' || c == u','; }

// A leading "-" goes to the sign position unless the text is a row of dashes.
bool HasSign(const QString &text)
{
    return text.size() > 1 && text[0] == u'-' && text[1] != u'-';
}

// The outline of a segment along the axis-parallel centre line p1..p2, `t` thick, with
// pointed (bevelled) ends set back by `s` so that neighbouring segments keep a hairline gap;
// false when the segment is too short to draw.
bool SegmentOutline(QPointF (&points)[6], QPointF p1, QPointF p2, qreal t, qreal s)
{
    const qreal length = std::hypot(p2.x() - p1.x(), p2.y() - p1.y());
    if (length <= 2 * s + t)
        return false;
    const QPointF u = (p2 - p1) / length;
    const QPointF n(-u.y(), u.x());
    const qreal half = t / 2;
    const QPointF a = p1 + u * s;
    const QPointF b = p2 - u * s;
    points[0] = a;
    points[1] = a + (u + n) * half;
    points[2] = b + (n - u) * half;
    points[3] = b;
    points[4] = b - (u + n) * half;
    points[5] = a + (u - n) * half;
    return true;
}

// `value` (finite, |value| < 1e13) with `decimals` digits after `point`, rounded half away
// from zero, as QVFormatFloat writes it with a "0.00" pattern; written to `out` without
// allocating. Returns the length, or -1 where the rounding is too close to call from 25
// guard digits (QVFormatFloat then decides).
int FormatFixed(double value, int decimals, QChar point, QChar (&out)[48])
{
    constexpr int Guard = 25;
    char buffer[96];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value), std::chars_format::fixed,
                                      decimals + Guard);
    if (result.ec != std::errc())
        return -1;
    const int dot = int(std::find(buffer, result.ptr, '.') - buffer);
    // Digits of the kept part (integer digits and `decimals` fraction digits), then the guard.
    char digits[64];
    int kept = 0;
    for (int i = 0; i < dot; ++i)
        digits[kept++] = buffer[i];
    for (int i = dot + 1; i <= dot + decimals; ++i)
        digits[kept++] = buffer[i];
    const char *const end = result.ptr;
    const char *guard = buffer + dot + 1 + decimals;
    const bool tail0 = std::all_of(guard + 1, end, [](char c) { return c == '0'; });
    const bool tail9 = std::all_of(guard + 1, end, [](char c) { return c == '9'; });
    if ((guard[0] == '5' && tail0) || (guard[0] == '4' && tail9))
        return -1;
    int intDigits = dot;
    if (guard[0] >= '5') {
        int i = kept - 1;
        while (i >= 0 && digits[i] == '9')
            digits[i--] = '0';
        if (i >= 0) {
            ++digits[i];
        } else {
            std::memmove(digits + 1, digits, size_t(kept));
            digits[0] = '1';
            ++kept;
            ++intDigits;
        }
    }
    // Leading zeros of the integer part go, one stays.
    int first = 0;
    while (first < intDigits - 1 && digits[first] == '0')
        ++first;
    const bool zero = std::all_of(digits, digits + kept, [](char c) { return c == '0'; });
    int n = 0;
    if (value < 0 && !zero)
        out[n++] = u'-';
    for (int i = first; i < intDigits; ++i)
        out[n++] = QLatin1Char(digits[i]);
    if (decimals > 0) {
        out[n++] = point;
        for (int i = intDigits; i < kept; ++i)
            out[n++] = QLatin1Char(digits[i]);
    }
    return n;
}

// The unit label's font: the widget's family at `pixelSize`.
QFont UnitFont(const QFont &base, int pixelSize)
{
    QFont font = base;
    font.setPixelSize(std::max(1, pixelSize));
    return font;
}

// The adaptive unit label: its font's pixel size, gap and advance for digits `h` high.
int AdaptiveUnitPixels(int h)
{
    return std::max(4, QVRoundPx(0.42 * h));
}

int AdaptiveUnitGap(int h)
{
    return std::max(2, h / 5);
}

int AdaptiveUnitAdvance(const QFont &base, const QString &unit, int h)
{
    return int(std::ceil(QFontMetricsF(UnitFont(base, AdaptiveUnitPixels(h))).horizontalAdvance(unit)));
}

// The digit font of `dsFont`: a fixed-pitch face.
QFont DigitFont()
{
    QFont font(QStringLiteral("monospace"));
    font.setStyleHint(QFont::Monospace);
    font.setFixedPitch(true);
    return font;
}

} // namespace

struct TQVPanelMeterInt::Layout
{
    QRect window;   // display window (BackgroundColor)
    QRect caption;  // caption line above the window, empty without a caption
    QRect digits;   // all digit positions
    int digitHeight = 0;
    int digitWidth = 0;
    int pitch = 0;  // digit width plus the gap that holds the decimal point
    int unitPixelSize = 0;
    int unitLeft = 0; // where the unit label starts
};

namespace {

// One seven-segment position. Each lit pattern (7 segment bits and the point) is drawn once,
// when first shown, with its complement unlit, into a picture of the position at the
// target's pixel ratio; every paint blits those pictures.
struct SegmentCell
{
    QPointF segments[7][6];
    quint8 present = 0; // segments long enough to draw
    bool hasPoint = false;
    QPointF point;
    qreal pointRadius = 0.0;
    QRect box; // the position and the gap after it, as tiled over the digit area
    std::array<QPixmap, 256> images;
};

// The picture of `cell` with the parts in `lit` (bit 7: the point) lit and the rest unlit,
// on the window's colour; drawn where the cell stands, so that it blits to the same pixels.
QPixmap CellImage(const SegmentCell &cell, int lit, qreal dpr, const QColor &back, const QColor &unlit,
                  const QColor &litColour)
{
    const auto path = [&cell](int pattern) {
        QPainterPath p;
        for (int k = 0; k < 7; ++k) {
            if (!(pattern & cell.present & (1 << k)))
                continue;
            const QPointF(&q)[6] = cell.segments[k];
            p.moveTo(q[0]);
            for (int m = 1; m < 6; ++m)
                p.lineTo(q[m]);
            p.closeSubpath();
        }
        if (cell.hasPoint && (pattern & 0x80))
            p.addEllipse(cell.point, cell.pointRadius, cell.pointRadius);
        return p;
    };
    QPixmap image;
    QVEnsurePixmap(image, cell.box.size(), dpr);
    image.fill(back);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(-cell.box.topLeft());
    painter.setPen(Qt::NoPen);
    painter.fillPath(path(~lit & 0xFF), unlit);
    painter.fillPath(path(lit), litColour);
    return image;
}

} // namespace

namespace {

// The prefixes of the thousands, yocto to yotta; sipNone in the middle.
constexpr TSiPrefixesId Thousands[] = {sipYocto, sipZepto, sipAtto, sipFemto, sipPiko, sipNano,
                                       sipMikro, sipMilli, sipNone,  sipKilo,  sipMega, sipGiga,
                                       sipTera,  sipPeta,  sipExa,   sipZetta, sipYotta};
constexpr int NoPrefix = 8;

double FactorOf(TSiPrefixesId id)
{
    TSiPrefixesStruct info;
    return GetSIInfos(id, info) ? info.Factor : 1.0;
}

// The prefix and decimals a multimeter shows `value` with in `digits` positions: 1 to 3
// integer digits after rounding to at most `maxDecimals` decimals.
void AutoRange(double value, int digits, int maxDecimals, TSiPrefixesId &prefix, int &decimals)
{
    const double magnitude = std::fabs(value);
    int k = NoPrefix;
    if (magnitude > 0.0 && std::isfinite(magnitude)) {
        k = std::clamp(int(std::floor(std::log10(magnitude) / 3.0)) + NoPrefix, 0, int(std::size(Thousands)) - 1);
        if (k > 0 && magnitude / FactorOf(Thousands[k]) < 1.0) // log10 rounded up to the next thousand
            --k;
    }
    for (;;) {
        const double scaled = magnitude / FactorOf(Thousands[k]);
        int integer = 1;
        while (integer < 4 && scaled >= std::pow(10.0, integer))
            ++integer;
        // Rounding may carry into another digit (9.9996 -> 10.000).
        for (;;) {
            decimals = std::clamp(digits - integer, 0, maxDecimals);
            const double step = std::pow(10.0, decimals);
            if (integer >= 4 || std::round(scaled * step) / step < std::pow(10.0, integer))
                break;
            ++integer;
        }
        if (integer <= 3 || k + 1 >= int(std::size(Thousands)))
            break;
        ++k;
    }
    prefix = Thousands[k];
}

} // namespace

class TQVPanelMeterInt::PrivateData
{
public:
    double value = 0.0;
    int decimals = 2;
    int digits = 5;
    QString unitText;
    TSiPrefixesId prefix = sipNone;
    TQVDigitStyle digitStyle = dsSevenSegment;
    TQVColor digitColor = DefaultDigitColor;
    TQVColor backgroundColor = DefaultBackgroundColor;
    TQVScaleLayout scaleLayout = slClassic;
    QString overRangeText = QStringLiteral("OL");
    bool autoPrefix = false;
    TSiPrefixesId shownPrefix = sipNone;
    double valueMin = -std::numeric_limits<double>::infinity();
    double valueMax = std::numeric_limits<double>::infinity();
    QString displayText;
    bool overRange = false;
    QChar decimalPoint = u'.';

    // The layout of `layoutClient`, valid until a size, property, font or caption change.
    bool layoutValid = false;
    QRect layoutClient;
    bool layoutCaption = false;
    Layout layout;

    // Seven-segment positions of `layout`, pictures at `cellRatio`. They go with the layout,
    // whose change (size, colours, any property) drops them.
    std::vector<std::unique_ptr<SegmentCell>> cells;
    qreal cellRatio = 0.0; // the pixel ratio of the pictures
};

TQVPanelMeterInt::TQVPanelMeterInt(QWidget *owner)
    : TQVCustomPanel(owner)
    , m_data(std::make_unique<PrivateData>())
{
    // Screen readers see the meter as a read-only value with the displayed text.
    QVInstallValueAccessibility({"TQVPanelMeterInt", QAccessible::Indicator,
                                 QT_TRANSLATE_NOOP("TQVPanelMeterInt", "Panel meter"), "Caption", false,
                                 [](const QWidget *widget) {
                                     const auto *meter = static_cast<const TQVPanelMeterInt *>(widget);
                                     const QString unit = meter->UnitLabel();
                                     return unit.isEmpty() ? meter->DisplayText() : meter->DisplayText() + u' ' + unit;
                                 }});
    // Every pixel is painted; a value repaint only touches the digit area.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    UpdateDecimalPoint();
    UpdateText(false);
    resize(sizeHint());
}

TQVPanelMeterInt::~TQVPanelMeterInt() = default;

double TQVPanelMeterInt::Value() const { return m_data->value; }
int TQVPanelMeterInt::Decimals() const { return m_data->decimals; }
int TQVPanelMeterInt::Digits() const { return m_data->digits; }
QString TQVPanelMeterInt::UnitText() const { return m_data->unitText; }
TSiPrefixesId TQVPanelMeterInt::SIPrefix() const { return m_data->prefix; }
bool TQVPanelMeterInt::AutoPrefix() const { return m_data->autoPrefix; }
TSiPrefixesId TQVPanelMeterInt::ShownPrefix() const { return m_data->autoPrefix ? m_data->shownPrefix : m_data->prefix; }
TQVPanelMeterInt::TQVDigitStyle TQVPanelMeterInt::DigitStyle() const { return m_data->digitStyle; }
TQVColor TQVPanelMeterInt::DigitColor() const { return m_data->digitColor; }
TQVColor TQVPanelMeterInt::BackgroundColor() const { return m_data->backgroundColor; }
QString TQVPanelMeterInt::OverRangeText() const { return m_data->overRangeText; }
double TQVPanelMeterInt::ValueMin() const { return m_data->valueMin; }
double TQVPanelMeterInt::ValueMax() const { return m_data->valueMax; }
TQVScaleLayout TQVPanelMeterInt::ScaleLayout() const { return m_data->scaleLayout; }
QString TQVPanelMeterInt::DisplayText() const { return m_data->displayText; }
bool TQVPanelMeterInt::IsOverRange() const { return m_data->overRange; }

void TQVPanelMeterInt::SetValue(double value)
{
    // The value is always stored (NaN included); the digits change only with the text.
    const bool changed = !(value == m_data->value || (std::isnan(value) && std::isnan(m_data->value)));
    m_data->value = value;
    UpdateText(true);
    if (changed)
        emit ValueChanged(value);
}

void TQVPanelMeterInt::SetDecimals(int decimals)
{
    if (decimals == m_data->decimals || decimals < 0 || decimals > MaxDecimals)
        return;
    m_data->decimals = decimals;
    PropertyChanged();
    Notify(TQVChangeGroup::Settings);
}

void TQVPanelMeterInt::SetDigits(int digits)
{
    if (digits == m_data->digits || digits < MinDigits || digits > MaxDigits)
        return;
    m_data->digits = digits;
    PropertyChanged();
    Notify(TQVChangeGroup::Settings);
}

void TQVPanelMeterInt::SetUnitText(const QString &text)
{
    if (text == m_data->unitText)
        return;
    m_data->unitText = text;
    PropertyChanged();
    Notify(TQVChangeGroup::Appearance);
}

void TQVPanelMeterInt::SetSIPrefix(int id)
{
    if (id == m_data->prefix || id < sipNone || id > sipYotta)
        return;
    m_data->prefix = TSiPrefixesId(id);
    PropertyChanged();
    Notify(TQVChangeGroup::Settings);
}

void TQVPanelMeterInt::SetAutoPrefix(bool on)
{
    if (on == m_data->autoPrefix)
        return;
    m_data->autoPrefix = on;
    PropertyChanged();
    Notify(TQVChangeGroup::Settings);
}

void TQVPanelMeterInt::SetDigitStyle(TQVDigitStyle style)
{
    if (style == m_data->digitStyle || style > dsFont)
        return;
    m_data->digitStyle = style;
    PropertyChanged();
    Notify(TQVChangeGroup::Appearance);
}

void TQVPanelMeterInt::SetDigitColor(TQVColor color)
{
    if (color == m_data->digitColor)
        return;
    m_data->digitColor = color;
    PropertyChanged();
    Notify(TQVChangeGroup::Appearance);
}

void TQVPanelMeterInt::SetBackgroundColor(TQVColor color)
{
    if (color == m_data->backgroundColor)
        return;
    m_data->backgroundColor = color;
    PropertyChanged();
    Notify(TQVChangeGroup::Appearance);
}

void TQVPanelMeterInt::SetOverRangeText(const QString &text)
{
    if (text == m_data->overRangeText)
        return;
    m_data->overRangeText = text;
    PropertyChanged();
    Notify(TQVChangeGroup::Appearance);
}

void TQVPanelMeterInt::SetValueMin(double value)
{
    if (value == m_data->valueMin || std::isnan(value) || !(value < m_data->valueMax))
        return;
    m_data->valueMin = value;
    PropertyChanged();
    Notify(TQVChangeGroup::Settings);
}

void TQVPanelMeterInt::SetValueMax(double value)
{
    if (value == m_data->valueMax || std::isnan(value) || !(value > m_data->valueMin))
        return;
    m_data->valueMax = value;
    PropertyChanged();
    Notify(TQVChangeGroup::Settings);
}

void TQVPanelMeterInt::SetScaleLayout(TQVScaleLayout layout)
{
    if (layout == m_data->scaleLayout || layout > slAdaptive)
        return;
    m_data->scaleLayout = layout;
    PropertyChanged();
    Notify(TQVChangeGroup::Appearance);
}

QColor TQVPanelMeterInt::InkColor() const
{
    if (m_data->scaleLayout == slAdaptive && m_data->digitColor == DefaultDigitColor)
        return palette().color(QPalette::Text);
    return ToQColor(m_data->digitColor);
}

QColor TQVPanelMeterInt::WindowColor() const
{
    if (m_data->scaleLayout == slAdaptive && m_data->backgroundColor == DefaultBackgroundColor)
        return palette().color(QPalette::Base);
    return ToQColor(m_data->backgroundColor);
}

QString TQVPanelMeterInt::UnitLabel() const
{
    TSiPrefixesStruct info;
    const TSiPrefixesId prefix = ShownPrefix();
    if (prefix != sipNone && GetSIInfos(prefix, info))
        return info.Symbol + m_data->unitText;
    return m_data->unitText;
}

QString TQVPanelMeterInt::LayoutUnitLabel(const std::function<int(const QString &)> &advance) const
{
    if (!m_data->autoPrefix)
        return UnitLabel();
    // Room for the widest prefix, so that a change of range moves no digit.
    QString widest = m_data->unitText;
    int most = advance(widest);
    TSiPrefixesStruct info;
    for (const TSiPrefixesId id : Thousands) {
        if (GetSIInfos(id, info)) {
            const QString label = info.Symbol + m_data->unitText;
            if (const int width = advance(label); width > most) {
                most = width;
                widest = label;
            }
        }
    }
    return widest;
}

QColor TQVPanelMeterInt::UnlitColor() const
{
    const QColor lit = InkColor();
    const QColor back = WindowColor();
    // Palette colours are far apart (text on base): a fainter shade reads the same.
    const bool palette = m_data->scaleLayout == slAdaptive
        && (m_data->digitColor == DefaultDigitColor || m_data->backgroundColor == DefaultBackgroundColor);
    const double share = palette ? 0.12 : 0.2;
    const auto mix = [share](int b, int d) { return qRound(b + (d - b) * share); };
    return QColor(mix(back.red(), lit.red()), mix(back.green(), lit.green()), mix(back.blue(), lit.blue()));
}

void TQVPanelMeterInt::UpdateText(bool repaintNow)
{
    // The text is composed in `buffer` and copied into the display text only when it
    // differs, whose storage is then reused: an unchanged or equally long text allocates
    // nothing.
    PrivateData &d = *m_data;
    QChar buffer[48];
    QStringView text;
    bool overRange = true;
    const double value = d.value;
    TSiPrefixesId prefix = d.prefix;
    int decimals = std::min(d.decimals, d.digits - 1);
    if (d.autoPrefix)
        AutoRange(value, d.digits, d.decimals, prefix, decimals);
    const double scaled = value / FactorOf(prefix);
    QString formatted; // only where the text does not fit `buffer`
    // `prefix` followed by `text`, in the buffer where it fits.
    const auto compose = [&](QStringView prefix, QStringView tail) {
        if (prefix.size() + tail.size() <= qsizetype(std::size(buffer))) {
            std::copy(prefix.begin(), prefix.end(), buffer);
            std::copy(tail.begin(), tail.end(), buffer + prefix.size());
            text = QStringView(buffer, prefix.size() + tail.size());
        } else {
            formatted = prefix.toString() + tail.toString();
            text = formatted;
        }
    };
    const QStringView minus = u"-";
    if (std::isnan(value)) {
        text = NoValueText;
        overRange = false;
    } else if (value > d.valueMax) {
        text = d.overRangeText;
    } else if (value < d.valueMin) {
        compose(minus, d.overRangeText);
    } else if (!std::isfinite(scaled) || std::fabs(scaled) >= std::pow(10.0, d.digits)) {
        // Cheap rejection before formatting: the integer part alone needs more than `Digits`.
        compose(scaled < 0 ? minus : QStringView(), d.overRangeText);
    } else {
        const int length = d.decimalPoint.isNull() ? -1 : FormatFixed(scaled, decimals, d.decimalPoint, buffer);
        if (length < 0) {
            const QString pattern = decimals > 0 ? QStringLiteral("0.") + QString(decimals, u'0') : QStringLiteral("0");
            formatted = QVFormatFloat(pattern, scaled, locale());
            text = formatted;
        } else {
            text = QStringView(buffer, length);
        }
        // Rounding may carry into a new digit (99999.6 -> 100000).
        if (std::count_if(text.begin(), text.end(), [](QChar c) { return c.isDigit(); }) > d.digits)
            compose(scaled < 0 ? minus : QStringView(), d.overRangeText);
        else
            overRange = false;
    }
    d.overRange = overRange;
    // A new range shows in the unit label, beside the digits.
    const bool newRange = d.autoPrefix && prefix != d.shownPrefix;
    d.shownPrefix = prefix;
    if (text == QStringView(d.displayText) && !newRange)
        return;
    if (d.displayText.isDetached() && d.displayText.capacity() >= text.size()) {
        d.displayText.resize(text.size());
        std::copy(text.begin(), text.end(), d.displayText.data());
    } else {
        d.displayText = text.toString();
    }
    if (repaintNow && isVisible()) {
        const QRect area = newRange ? CurrentLayout().window : DigitRect();
        if (!area.isEmpty())
            repaint(area);
    }
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent event(this, d.value);
        QAccessible::updateAccessibility(&event);
    }
}

void TQVPanelMeterInt::UpdateDecimalPoint()
{
    // A separator of more than one character leaves the formatting to QVFormatFloat.
    const QString point = locale().decimalPoint();
    m_data->decimalPoint = point.size() == 1 ? point[0] : QChar();
}

void TQVPanelMeterInt::PropertyChanged()
{
    m_data->layoutValid = false;
    UpdateText(false);
    updateGeometry();
    update();
}

void TQVPanelMeterInt::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LocaleChange) {
        UpdateDecimalPoint();
        UpdateText(false);
        update();
    } else if (event->type() == QEvent::FontChange
               || (event->type() == QEvent::PaletteChange && m_data->scaleLayout == slAdaptive)) {
        m_data->layoutValid = false;
        updateGeometry();
        update();
    }
    TQVCustomPanel::changeEvent(event);
}

const TQVPanelMeterInt::Layout &TQVPanelMeterInt::CurrentLayout() const
{
    // The panel's frame properties and caption change the client area without telling us.
    PrivateData &d = *m_data;
    const QRect client = ClientRect();
    const bool caption = !Caption().isEmpty();
    if (!d.layoutValid || client != d.layoutClient || caption != d.layoutCaption) {
        d.layout = ComputeLayout(client);
        d.layoutClient = client;
        d.layoutCaption = caption;
        d.cells.clear();
        d.layoutValid = true;
    }
    return d.layout;
}

TQVPanelMeterInt::Layout TQVPanelMeterInt::ComputeLayout(QRect client) const
{
    Layout l;
    QRect window = client.adjusted(WindowMargin, WindowMargin, -WindowMargin, -WindowMargin);
    if (!Caption().isEmpty()) {
        const int captionHeight = QFontMetrics(font()).height();
        l.caption = QRect(window.left(), window.top(), window.width(), captionHeight);
        window.setTop(window.top() + captionHeight + 2);
    }
    if (window.width() <= 0 || window.height() <= 0)
        return l;
    l.window = window;
    if (m_data->scaleLayout == slAdaptive) {
        // The digits as large as the window allows, the unit measured at its size beside them.
        const int pad = std::max(2, QVRoundPx(window.height() * 0.1));
        const int h0 = window.height() - 2 * pad;
        const int available = window.width() - 2 * pad;
        const int cells = m_data->digits + 1;
        const QString unit = LayoutUnitLabel([&](const QString &label) { return AdaptiveUnitAdvance(font(), label, h0); });
        const auto width = [&](int h) {
            const int gap = h / 4;
            return cells * (h / 2 + gap) - gap + (unit.isEmpty() ? 0 : AdaptiveUnitGap(h) + AdaptiveUnitAdvance(font(), unit, h));
        };
        if (h0 < 4 || available <= 0)
            return l;
        int h = h0;
        if (const int full = width(h0); full > available) {
            // Nearly proportional: start just above the estimate and step down.
            h = std::min(h0, int(double(h0) * available / full) + 2);
            while (h >= 4 && width(h) > available)
                --h;
        }
        if (h < 4)
            return l;
        const int gap = h / 4;
        l.digitHeight = h;
        l.digitWidth = h / 2;
        l.pitch = l.digitWidth + gap;
        const int left = window.left() + pad + (available - width(h)) / 2;
        const int top = window.top() + (window.height() - h) / 2;
        l.digits = QRect(left, top, cells * l.pitch - gap, h);
        l.unitPixelSize = AdaptiveUnitPixels(h);
        l.unitLeft = l.digits.right() + 1 + AdaptiveUnitGap(h);
        return l;
    }

    const int pad = std::max(2, window.height() / 8);
    const int h0 = window.height() - 2 * pad;
    const int available = window.width() - 2 * pad;
    if (h0 <= 0 || available <= 0)
        return l;
    l.unitPixelSize = std::max(6, h0 * 2 / 5);
    const QFontMetrics unitMetrics(UnitFont(font(), l.unitPixelSize));
    const QString unit = LayoutUnitLabel([&](const QString &label) { return unitMetrics.horizontalAdvance(label); });
    const int unitText = unit.isEmpty() ? 0 : unitMetrics.horizontalAdvance(unit);
    const int cells = m_data->digits + 1;
    // Every position but the last is followed by a quarter-height gap for the decimal point.
    const int unitWidth = unit.isEmpty() ? 0 : h0 / 4 + unitText;
    const int hFit = std::max(0, available - unitWidth) * 4 / (3 * cells - 1);
    const int h = std::min(h0, hFit);
    if (h < 4)
        return l;
    const int gap = h / 4;
    l.digitHeight = h;
    l.digitWidth = h / 2;
    l.pitch = l.digitWidth + gap;
    const int digitsWidth = cells * l.pitch - gap;
    const int block = digitsWidth + (unit.isEmpty() ? 0 : gap + unitText);
    const int left = window.left() + pad + (available - block) / 2;
    const int top = window.top() + pad + (h0 - h) / 2;
    l.digits = QRect(left, top, digitsWidth, h);
    l.unitLeft = l.digits.right() + 1 + h / 4;
    return l;
}

QRect TQVPanelMeterInt::DigitRect() const
{
    return CurrentLayout().digits;
}

// A window `windowHeight` pixels high that holds the digits of the adaptive layout and the unit.
QSize TQVPanelMeterInt::AdaptiveHint(int windowHeight) const
{
    const int pad = std::max(2, QVRoundPx(windowHeight * 0.1));
    const int h = windowHeight - 2 * pad;
    const int cells = m_data->digits + 1;
    const QString unit = LayoutUnitLabel([&](const QString &label) { return AdaptiveUnitAdvance(font(), label, h); });
    int width = 2 * pad + cells * (h / 2 + h / 4) - h / 4;
    if (!unit.isEmpty())
        width += AdaptiveUnitGap(h) + AdaptiveUnitAdvance(font(), unit, h);
    return AroundWindow(QSize(width, windowHeight));
}

// The control around a window of `window` pixels: caption line, margin, bevels and border.
QSize TQVPanelMeterInt::AroundWindow(QSize window) const
{
    const int bevel = QVPinPx(BevelWidth(), 0);
    const int inset = QVPinPx(BorderWidth(), 0) + (BevelOuter() != bvNone ? bevel : 0)
        + (BevelInner() != bvNone ? bevel : 0) + WindowMargin;
    if (!Caption().isEmpty()) {
        const QFontMetrics fm(font());
        window.rheight() += fm.height() + 2;
        window.setWidth(std::max(window.width(), fm.horizontalAdvance(Caption())));
    }
    return QSize(window.width() + 2 * inset, window.height() + 2 * inset);
}

QSize TQVPanelMeterInt::sizeHint() const
{
    if (m_data->scaleLayout == slAdaptive)
        return AdaptiveHint(44);
    // A window 44 pixels high; the width follows from the digit positions and the unit.
    const int windowHeight = 44;
    const int pad = windowHeight / 8;
    const int h = windowHeight - 2 * pad;
    const int cells = m_data->digits + 1;
    const QFontMetrics unitMetrics(UnitFont(font(), h * 2 / 5));
    const QString unit = LayoutUnitLabel([&](const QString &label) { return unitMetrics.horizontalAdvance(label); });
    // Rounded up, so that the layout's width fit keeps the full digit height.
    int width = 2 * pad + ((3 * cells - 1) * h + 3) / 4;
    if (!unit.isEmpty())
        width += h / 4 + unitMetrics.horizontalAdvance(unit);
    return AroundWindow(QSize(width, windowHeight));
}

QSize TQVPanelMeterInt::minimumSizeHint() const
{
    if (m_data->scaleLayout == slAdaptive)
        return AdaptiveHint(20);
    const QSize hint = sizeHint();
    return QSize(hint.width() / 2, hint.height() / 2);
}

void TQVPanelMeterInt::Paint(QPainter &painter)
{
    const Layout &layout = CurrentLayout();
    // A paint inside the digit area needs nothing else.
    const QRect dirty = painter.clipBoundingRect().toAlignedRect();
    if (layout.digits.isEmpty() || !layout.digits.contains(dirty))
        PaintBackground(painter, layout);
    PaintDigits(painter, layout);
}

void TQVPanelMeterInt::PaintDigits(QPainter &painter, const Layout &layout)
{
    if (layout.digits.isEmpty())
        return;
    if (m_data->digitStyle == dsSevenSegment) {
        // The pictures tile the digit area.
        PaintSevenSegment(painter, layout);
        return;
    }
    painter.fillRect(layout.digits, WindowColor());
    painter.setRenderHint(QPainter::Antialiasing, true);
    PaintFontDigits(painter, layout);
}

void TQVPanelMeterInt::paintEvent(QPaintEvent *event)
{
    // A value repaint sets no clip of its own: the paint system clips to the digit area.
    const Layout &layout = CurrentLayout();
    if (layout.digits.isEmpty() || !layout.digits.contains(event->rect())) {
        TQVCustomPanel::paintEvent(event);
        return;
    }
    QPainter painter(this);
    PaintDigits(painter, layout);
}

void TQVPanelMeterInt::PaintBackground(QPainter &painter, const Layout &layout)
{
    // The panel draws frame and background; its centred caption is painted over, ours
    // sits above the window.
    PaintPanel(painter);
    painter.fillRect(ClientRect(), ToQColor(Color()));
    if (!layout.caption.isEmpty()) {
        painter.setPen(ToQColor(QVColors::clBtnText));
        painter.setFont(font());
        painter.drawText(layout.caption, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                         QFontMetrics(font()).elidedText(Caption(), Qt::ElideRight, layout.caption.width()));
    }
    if (layout.window.isEmpty())
        return;
    // The window is sunk by one pixel into the panel; the adaptive one has a flat outline,
    // which also shows where window and highlight are both light.
    const QRect w = layout.window;
    const bool flat = m_data->scaleLayout == slAdaptive;
    const QColor shadow = flat ? palette().color(QPalette::Dark) : ToQColor(QVColors::clBtnShadow);
    const QColor light = flat ? shadow : ToQColor(QVColors::clBtnHighlight);
    painter.fillRect(QRect(w.left() - 1, w.top() - 1, w.width() + 1, 1), shadow);
    painter.fillRect(QRect(w.left() - 1, w.top(), 1, w.height()), shadow);
    painter.fillRect(QRect(w.left() - 1, w.bottom() + 1, w.width() + 2, 1), light);
    painter.fillRect(QRect(w.right() + 1, w.top() - 1, 1, w.height() + 1), light);
    painter.fillRect(w, WindowColor());

    const QString unit = UnitLabel();
    if (unit.isEmpty() || layout.digits.isEmpty())
        return;
    const QFont font = UnitFont(this->font(), layout.unitPixelSize);
    painter.setFont(font);
    painter.setPen(InkColor());
    const QPointF baseline(layout.unitLeft, layout.digits.bottom() + 1);
    painter.save();
    painter.setClipRect(w, Qt::IntersectClip);
    painter.drawText(baseline, unit);
    painter.restore();
}

void TQVPanelMeterInt::PaintSevenSegment(QPainter &painter, const Layout &layout)
{
    const int cells = m_data->digits + 1;
    std::array<Glyph, MaxDigits + 1> glyphs{};
    // Sign position first, then the characters right-aligned; a separator lights the point
    // of the character before it, and characters beyond the left end are dropped.
    const bool sign = HasSign(m_data->displayText);
    const QStringView body = QStringView(m_data->displayText).mid(sign ? 1 : 0);
    glyphs[0].segments = sign ? SegG : 0;
    int cell = cells - 1;
    bool pendingPoint = false;
    for (qsizetype i = body.size() - 1; i >= 0 && cell >= 1; --i) {
        if (IsSeparator(body[i]) && !pendingPoint) {
            pendingPoint = true;
            continue;
        }
        glyphs[size_t(cell)].segments = SegmentsOf(body[i]);
        glyphs[size_t(cell)].point = pendingPoint;
        pendingPoint = false;
        --cell;
    }
    if (pendingPoint && cell >= 1)
        glyphs[size_t(cell)].point = true;

    PrivateData &d = *m_data;
    const qreal dpr = QVTargetPixelRatio(painter, *this);
    const bool adaptive = d.scaleLayout == slAdaptive;
    if (int(d.cells.size()) != cells || d.cellRatio != dpr) {
        d.cells.clear();
        d.cellRatio = dpr;
        const int h = layout.digitHeight;
        const int dw = layout.digitWidth;
        const qreal t = std::max(1, dw / 5);
        const qreal s = std::max(0.75, t / 5);
        for (int i = 0; i < cells; ++i) {
            auto cell = std::make_unique<SegmentCell>();
            const qreal x = layout.digits.left() + i * layout.pitch;
            const qreal y = layout.digits.top();
            const qreal left = x + t / 2, right = x + dw - t / 2;
            // The adaptive middle segment sits on whole device pixels, so that it is as crisp
            // as the others where h - t is odd.
            const qreal middle = adaptive ? y + std::floor((h - t) * dpr / 2) / dpr + t / 2 : y + h / 2.0;
            const qreal top = y + t / 2, bottom = y + h - t / 2;
            const QPointF ends[7][2] = {
                {{left, top}, {right, top}},         {{right, top}, {right, middle}},
                {{right, middle}, {right, bottom}},  {{left, bottom}, {right, bottom}},
                {{left, middle}, {left, bottom}},    {{left, top}, {left, middle}},
                {{left, middle}, {right, middle}},
            };
            for (int k = 0; k < 7; ++k)
                if (SegmentOutline(cell->segments[k], ends[k][0], ends[k][1], t, s))
                    cell->present |= quint8(1 << k);
            // Decimal point in the gap after every digit position but the last.
            cell->hasPoint = i >= 1 && i < cells - 1;
            cell->point = QPointF(x + dw + (layout.pitch - dw) / 2.0, y + h - t / 2);
            cell->pointRadius = t * 0.6;
            cell->box = QRect(int(x), int(y), i < cells - 1 ? layout.pitch : dw, h);
            d.cells.push_back(std::move(cell));
        }
    }
    for (int i = 0; i < cells; ++i) {
        SegmentCell &cell = *d.cells[std::size_t(i)];
        const int lit = glyphs[std::size_t(i)].segments | (glyphs[std::size_t(i)].point ? 0x80 : 0);
        QPixmap &image = cell.images[std::size_t(lit)];
        if (image.isNull())
            image = CellImage(cell, lit, dpr, WindowColor(), UnlitColor(), InkColor());
        painter.drawPixmap(cell.box.topLeft(), image);
    }
}

void TQVPanelMeterInt::PaintFontDigits(QPainter &painter, const Layout &layout)
{
    const QRect digits = layout.digits;
    const bool sign = HasSign(m_data->displayText);
    const QString body = sign ? m_data->displayText.mid(1) : m_data->displayText;

    // Scale the font so that a digit is as high as the digit area; when `Digits` digits and
    // a separator are wider than the positions after the sign, condense the glyphs (down to
    // 65 %) and shrink the font for the rest.
    QFont font = DigitFont();
    constexpr qreal reference = 100.0;
    font.setPixelSize(int(reference));
    const QFontMetricsF probe(font);
    const qreal digitHeight = std::max<qreal>(1.0, probe.tightBoundingRect(QStringLiteral("0")).height());
    const qreal areaLeft = digits.left() + layout.pitch;
    const qreal areaWidth = digits.right() + 1 - areaLeft;
    const QString widest = QString(m_data->digits, u'0') + locale().decimalPoint();
    qreal size = reference * digits.height() / digitHeight;
    qreal condense = 1.0;
    const qreal ratio = areaWidth / (probe.horizontalAdvance(widest) * size / reference);
    if (ratio < 1.0) {
        condense = std::max<qreal>(0.65, ratio);
        size *= ratio / condense;
    }
    font.setPixelSize(std::max(1, qRound(size)));
    const QFontMetricsF fm(font);
    painter.save();
    painter.setClipRect(digits, Qt::IntersectClip);
    painter.setFont(font);
    painter.setPen(InkColor());
    painter.translate(digits.right() + 1, digits.bottom() + 1);
    painter.scale(condense, 1.0);
    painter.drawText(QPointF(-fm.horizontalAdvance(body), 0), body);
    if (sign) {
        const qreal signWidth = fm.horizontalAdvance(u'-') * condense;
        const qreal signLeft = digits.left() + (layout.digitWidth - signWidth) / 2 - (digits.right() + 1);
        painter.drawText(QPointF(signLeft / condense, 0), QStringLiteral("-"));
    }
    painter.restore();
}
