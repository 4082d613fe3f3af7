#include "indicators/QVPanelMeterInt.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtGui/QAccessible>
#include <QtGui/QFontMetricsF>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtWidgets/QAccessibleWidget>

#include "controls/qvFormat.h"
#include "controls/scale/qvPaintKit.h"

namespace {

// Space between the panel's frame and the display window.
constexpr int WindowMargin = 3;
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

// A segment along the axis-parallel centre line p1..p2, `t` thick, with pointed (bevelled)
// ends set back by `s` so that neighbouring segments keep a hairline gap.
void AddSegment(QPainterPath &path, QPointF p1, QPointF p2, qreal t, qreal s)
{
    const qreal length = std::hypot(p2.x() - p1.x(), p2.y() - p1.y());
    if (length <= 2 * s + t)
        return;
    const QPointF u = (p2 - p1) / length;
    const QPointF n(-u.y(), u.x());
    const qreal half = t / 2;
    const QPointF a = p1 + u * s;
    const QPointF b = p2 - u * s;
    QPolygonF polygon;
    polygon << a << a + (u + n) * half << b + (n - u) * half << b << b - (u + n) * half << a + (u - n) * half;
    path.addPolygon(polygon);
    path.closeSubpath();
}

// The unit label's font: the widget's family at `pixelSize`.
QFont UnitFont(const QFont &base, int pixelSize)
{
    QFont font = base;
    font.setPixelSize(std::max(1, pixelSize));
    return font;
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

TQVPanelMeterInt::TQVPanelMeterInt(QWidget *owner)
    : TQVCustomPanel(owner)
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
    UpdateText(false);
    resize(sizeHint());
}

TQVPanelMeterInt::~TQVPanelMeterInt() = default;

void TQVPanelMeterInt::SetValue(double value)
{
    // The value is always stored (NaN included); the digits change only with the text.
    m_value = value;
    UpdateText(true);
}

void TQVPanelMeterInt::SetDecimals(int decimals)
{
    if (decimals == m_decimals || decimals < 0 || decimals > MaxDecimals)
        return;
    m_decimals = decimals;
    PropertyChanged();
}

void TQVPanelMeterInt::SetDigits(int digits)
{
    if (digits == m_digits || digits < MinDigits || digits > MaxDigits)
        return;
    m_digits = digits;
    PropertyChanged();
}

void TQVPanelMeterInt::SetUnitText(const QString &text)
{
    if (text == m_unitText)
        return;
    m_unitText = text;
    PropertyChanged();
}

void TQVPanelMeterInt::SetSIPrefix(int id)
{
    if (id == m_prefix || id < sipNone || id > sipYotta)
        return;
    m_prefix = TSiPrefixesId(id);
    PropertyChanged();
}

void TQVPanelMeterInt::SetDigitStyle(TQVDigitStyle style)
{
    if (style == m_digitStyle || style > dsFont)
        return;
    m_digitStyle = style;
    PropertyChanged();
}

void TQVPanelMeterInt::SetDigitColor(TQVColor color)
{
    if (color == m_digitColor)
        return;
    m_digitColor = color;
    PropertyChanged();
}

void TQVPanelMeterInt::SetBackgroundColor(TQVColor color)
{
    if (color == m_backgroundColor)
        return;
    m_backgroundColor = color;
    PropertyChanged();
}

void TQVPanelMeterInt::SetOverRangeText(const QString &text)
{
    if (text == m_overRangeText)
        return;
    m_overRangeText = text;
    PropertyChanged();
}

void TQVPanelMeterInt::SetValueMin(double value)
{
    if (value == m_valueMin || std::isnan(value) || !(value < m_valueMax))
        return;
    m_valueMin = value;
    PropertyChanged();
}

void TQVPanelMeterInt::SetValueMax(double value)
{
    if (value == m_valueMax || std::isnan(value) || !(value > m_valueMin))
        return;
    m_valueMax = value;
    PropertyChanged();
}

QString TQVPanelMeterInt::UnitLabel() const
{
    TSiPrefixesStruct info;
    if (m_prefix != sipNone && GetSIInfos(m_prefix, info))
        return info.Symbol + m_unitText;
    return m_unitText;
}

QColor TQVPanelMeterInt::UnlitColor() const
{
    const QColor lit = ToQColor(m_digitColor);
    const QColor back = ToQColor(m_backgroundColor);
    const auto mix = [](int b, int d) { return qRound(b + (d - b) * 0.2); };
    return QColor(mix(back.red(), lit.red()), mix(back.green(), lit.green()), mix(back.blue(), lit.blue()));
}

QString TQVPanelMeterInt::FormatValue(bool &overRange) const
{
    overRange = false;
    if (std::isnan(m_value))
        return NoValueText;
    overRange = true;
    if (m_value > m_valueMax)
        return m_overRangeText;
    if (m_value < m_valueMin)
        return u'-' + m_overRangeText;

    TSiPrefixesStruct info;
    const double factor = GetSIInfos(m_prefix, info) ? info.Factor : 1.0;
    const double scaled = m_value / factor;
    const QString over = scaled < 0 ? u'-' + m_overRangeText : m_overRangeText;
    // Cheap rejection before formatting: the integer part alone needs more than `Digits`.
    if (!std::isfinite(scaled) || std::fabs(scaled) >= std::pow(10.0, m_digits))
        return over;

    const int decimals = std::min(m_decimals, m_digits - 1);
    const QString pattern = decimals > 0 ? QStringLiteral("0.") + QString(decimals, u'0') : QStringLiteral("0");
    const QString text = QVFormatFloat(pattern, scaled, locale());
    // Rounding may carry into a new digit (99999.6 -> 100000).
    if (std::count_if(text.begin(), text.end(), [](QChar c) { return c.isDigit(); }) > m_digits)
        return over;
    overRange = false;
    return text;
}

void TQVPanelMeterInt::UpdateText(bool repaintNow)
{
    bool overRange = false;
    const QString text = FormatValue(overRange);
    m_overRange = overRange;
    if (text == m_displayText)
        return;
    m_displayText = text;
    if (repaintNow && isVisible()) {
        const QRect digits = DigitRect();
        if (!digits.isEmpty())
            repaint(digits);
    }
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent event(this, m_value);
        QAccessible::updateAccessibility(&event);
    }
}

void TQVPanelMeterInt::PropertyChanged()
{
    UpdateText(false);
    updateGeometry();
    update();
}

void TQVPanelMeterInt::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LocaleChange) {
        UpdateText(false);
        update();
    } else if (event->type() == QEvent::FontChange) {
        updateGeometry();
        update();
    }
    TQVCustomPanel::changeEvent(event);
}

TQVPanelMeterInt::Layout TQVPanelMeterInt::ComputeLayout() const
{
    return ComputeLayout(ClientRect());
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

    const int pad = std::max(2, window.height() / 8);
    const int h0 = window.height() - 2 * pad;
    const int available = window.width() - 2 * pad;
    if (h0 <= 0 || available <= 0)
        return l;
    l.unitPixelSize = std::max(6, h0 * 2 / 5);
    const QString unit = UnitLabel();
    const int unitText = unit.isEmpty() ? 0 : QFontMetrics(UnitFont(font(), l.unitPixelSize)).horizontalAdvance(unit);
    const int cells = m_digits + 1;
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
    return l;
}

QRect TQVPanelMeterInt::DigitRect() const
{
    return ComputeLayout().digits;
}

QSize TQVPanelMeterInt::sizeHint() const
{
    // A window 44 pixels high; the width follows from the digit positions and the unit.
    const int bevel = QVPinPx(BevelWidth(), 0);
    int inset = QVPinPx(BorderWidth(), 0) + (BevelOuter() != bvNone ? bevel : 0) + (BevelInner() != bvNone ? bevel : 0);
    inset += WindowMargin;
    const int windowHeight = 44;
    const int pad = windowHeight / 8;
    const int h = windowHeight - 2 * pad;
    const int cells = m_digits + 1;
    const QString unit = UnitLabel();
    // Rounded up, so that the layout's width fit keeps the full digit height.
    int width = 2 * pad + ((3 * cells - 1) * h + 3) / 4;
    if (!unit.isEmpty())
        width += h / 4 + QFontMetrics(UnitFont(font(), h * 2 / 5)).horizontalAdvance(unit);
    int height = windowHeight;
    if (!Caption().isEmpty()) {
        const QFontMetrics fm(font());
        height += fm.height() + 2;
        width = std::max(width, fm.horizontalAdvance(Caption()));
    }
    return QSize(width + 2 * inset, height + 2 * inset);
}

QSize TQVPanelMeterInt::minimumSizeHint() const
{
    const QSize hint = sizeHint();
    return QSize(hint.width() / 2, hint.height() / 2);
}

void TQVPanelMeterInt::Paint(QPainter &painter)
{
    const Layout layout = ComputeLayout();
    // A value repaint only needs the window's colour under the digits.
    const QRect dirty = painter.clipBoundingRect().toAlignedRect();
    if (!layout.digits.isEmpty() && layout.digits.contains(dirty))
        painter.fillRect(layout.digits, ToQColor(m_backgroundColor));
    else
        PaintBackground(painter, layout);
    if (layout.digits.isEmpty())
        return;
    painter.setRenderHint(QPainter::Antialiasing, true);
    if (m_digitStyle == dsFont)
        PaintFontDigits(painter, layout);
    else
        PaintSevenSegment(painter, layout);
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
    // The window is sunk by one pixel into the panel.
    const QRect w = layout.window;
    painter.fillRect(QRect(w.left() - 1, w.top() - 1, w.width() + 1, 1), ToQColor(QVColors::clBtnShadow));
    painter.fillRect(QRect(w.left() - 1, w.top(), 1, w.height()), ToQColor(QVColors::clBtnShadow));
    painter.fillRect(QRect(w.left() - 1, w.bottom() + 1, w.width() + 2, 1), ToQColor(QVColors::clBtnHighlight));
    painter.fillRect(QRect(w.right() + 1, w.top() - 1, 1, w.height() + 1), ToQColor(QVColors::clBtnHighlight));
    painter.fillRect(w, ToQColor(m_backgroundColor));

    const QString unit = UnitLabel();
    if (unit.isEmpty() || layout.digits.isEmpty())
        return;
    const QFont font = UnitFont(this->font(), layout.unitPixelSize);
    painter.setFont(font);
    painter.setPen(ToQColor(m_digitColor));
    const QPointF baseline(layout.digits.right() + 1 + layout.digitHeight / 4, layout.digits.bottom() + 1);
    painter.save();
    painter.setClipRect(w, Qt::IntersectClip);
    painter.drawText(baseline, unit);
    painter.restore();
}

void TQVPanelMeterInt::PaintSevenSegment(QPainter &painter, const Layout &layout)
{
    const int cells = m_digits + 1;
    std::vector<Glyph> glyphs(static_cast<size_t>(cells));
    // Sign position first, then the characters right-aligned; a separator lights the point
    // of the character before it, and characters beyond the left end are dropped.
    const bool sign = HasSign(m_displayText);
    const QString body = sign ? m_displayText.mid(1) : m_displayText;
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

    const int h = layout.digitHeight;
    const int dw = layout.digitWidth;
    const qreal t = std::max(1, dw / 5);
    const qreal s = std::max(0.75, t / 5);
    QPainterPath lit;
    QPainterPath unlit;
    for (int i = 0; i < cells; ++i) {
        const qreal x = layout.digits.left() + i * layout.pitch;
        const qreal y = layout.digits.top();
        const qreal left = x + t / 2, right = x + dw - t / 2;
        const qreal top = y + t / 2, middle = y + h / 2.0, bottom = y + h - t / 2;
        const QPointF ends[7][2] = {
            {{left, top}, {right, top}},         {{right, top}, {right, middle}},
            {{right, middle}, {right, bottom}},  {{left, bottom}, {right, bottom}},
            {{left, middle}, {left, bottom}},    {{left, top}, {left, middle}},
            {{left, middle}, {right, middle}},
        };
        for (int k = 0; k < 7; ++k)
            AddSegment((glyphs[size_t(i)].segments & (1 << k)) ? lit : unlit, ends[k][0], ends[k][1], t, s);
        // Decimal point in the gap after every digit position but the last.
        if (i >= 1 && i < cells - 1) {
            const QPointF centre(x + dw + (layout.pitch - dw) / 2.0, y + h - t / 2);
            (glyphs[size_t(i)].point ? lit : unlit).addEllipse(centre, t * 0.6, t * 0.6);
        }
    }
    painter.setPen(Qt::NoPen);
    painter.fillPath(unlit, UnlitColor());
    painter.fillPath(lit, ToQColor(m_digitColor));
}

void TQVPanelMeterInt::PaintFontDigits(QPainter &painter, const Layout &layout)
{
    const QRect digits = layout.digits;
    const bool sign = HasSign(m_displayText);
    const QString body = sign ? m_displayText.mid(1) : m_displayText;

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
    const QString widest = QString(m_digits, u'0') + locale().decimalPoint();
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
    painter.setPen(ToQColor(m_digitColor));
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
