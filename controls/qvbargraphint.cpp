#include "controls/qvbargraphint.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include <QtCore/QStringList>
#include <QtGui/QFontMetrics>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>

#include "controls/qvFormat.h"
#include "controls/scale/qvPaintKit.h"
#include "framework/qvFiler.h"

namespace {

// Fills the rectangle from (left, top) up to, not including, (right, bottom); nothing when
// it is empty or inverted.
void FillWin(QPainter &painter, int left, int top, int right, int bottom, const QColor &color)
{
    if (right > left && bottom > top)
        painter.fillRect(QRect(left, top, right - left, bottom - top), color);
}

// A horizontal or vertical line from `from` towards `to`, without the end point.
void LineWin(QPainter &painter, QPoint from, QPoint to, const QColor &color)
{
    if (from.y() == to.y()) {
        if (from.x() < to.x())
            FillWin(painter, from.x(), from.y(), to.x(), from.y() + 1, color);
        else if (from.x() > to.x())
            FillWin(painter, to.x() + 1, from.y(), from.x() + 1, from.y() + 1, color);
    } else if (from.x() == to.x()) {
        if (from.y() < to.y())
            FillWin(painter, from.x(), from.y(), from.x() + 1, to.y(), color);
        else
            FillWin(painter, from.x(), to.y() + 1, from.x() + 1, from.y() + 1, color);
    }
}

int HexDigit(char16_t c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// "0x" and 1 to 8 hex digits: any 32-bit colour, system colours included.
bool ParseColorField(QStringView field, TQVColor &color)
{
    field = field.trimmed();
    if (field.size() < 3 || field.size() > 10 || field[0] != u'0' || (field[1] != u'x' && field[1] != u'X'))
        return false;
    quint32 value = 0;
    for (QChar c : field.mid(2)) {
        const int digit = HexDigit(c.unicode());
        if (digit < 0)
            return false;
        value = value << 4 | quint32(digit);
    }
    color = value;
    return true;
}

// A C-locale double, whatever the process locale; the whole field must be the number.
bool ParseLimitField(QStringView field, double &limit)
{
    field = field.trimmed();
    if (field.startsWith(u'+')) {
        field = field.mid(1);
        if (field.startsWith(u'+') || field.startsWith(u'-'))
            return false;
    }
    if (field.isEmpty() || field.size() > 64)
        return false;
    char buffer[64];
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i].unicode() > 0x7F)
            return false;
        buffer[i] = char(field[i].unicode());
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(buffer, buffer + field.size(), value);
    if (error != std::errc() || end != buffer + field.size() || std::isnan(value))
        return false;
    limit = value;
    return true;
}

bool UsableSpan(double valueMin, double valueMax)
{
    const double span = valueMax - valueMin;
    return std::isfinite(valueMin) && std::isfinite(valueMax) && std::isfinite(span) && span != 0.0;
}

} // namespace

TQVBarGraphInt::TQVBarGraphInt(QWidget *parent)
    : TQVCustomPanel(parent)
{
    SetBevelInner(bvNone);
    SetBevelOuter(bvNone);
    SetColor(QVColors::clBtnFace);
    m_ranges[0] = RangeEntry{QVColors::clBlack, 100.0};
    m_labelingFont = QFont(QStringLiteral("Arial"));
    m_labelingFont.setPointSize(8);
    // Every pixel is painted by a full repaint; a value repaint leaves the pixels outside
    // the bar as they are.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    resize(45, 145);
    setAccessibleName(tr("Bar graph"));
    UpdateAccessibleValue();
}

TQVBarGraphInt::~TQVBarGraphInt() = default;

void TQVBarGraphInt::SetSliderWidth(int width)
{
    if (width == m_barWidth)
        return;
    m_barWidth = width;
    updateGeometry();
    update();
}

void TQVBarGraphInt::SetRangeNumber(int number)
{
    if (!m_ranges.SetNumber(number))
        return;
    CheckLimits();
    update();
}

void TQVBarGraphInt::SetRangeCurrent(int index)
{
    if (m_ranges.SetCurrent(index))
        update();
}

void TQVBarGraphInt::SetRangeLimit(double limit)
{
    if (!m_ranges.SetLimit(limit))
        return;
    CheckLimits();
    update();
}

void TQVBarGraphInt::SetRangeColor(TQVColor color)
{
    if (m_ranges.SetColor(color))
        update();
}

void TQVBarGraphInt::SetLabelingDecimals(int decimals)
{
    if (decimals == m_labelingDecimals)
        return;
    m_labelingDecimals = decimals;
    update();
}

void TQVBarGraphInt::SetOffsetLower(int offset)
{
    if (offset == m_offsetLower)
        return;
    m_offsetLower = offset;
    update();
}

void TQVBarGraphInt::SetOffsetUpper(int offset)
{
    if (offset == m_offsetUpper)
        return;
    m_offsetUpper = offset;
    update();
}

void TQVBarGraphInt::SetValue(double value)
{
    if (value == m_value || std::isnan(value))
        return;
    if (value < m_valueMin)
        value = m_valueMin;
    else if (value > m_valueMax)
        value = m_valueMax;
    if (value == m_value)
        return;
    const double oldValue = m_value;
    m_value = value;
    PaintNewValue(oldValue);
    UpdateAccessibleValue();
}

void TQVBarGraphInt::SetValueMin(double value)
{
    if (value == m_valueMin || !(value < m_valueMax))
        return;
    m_valueMin = value;
    CheckLimits();
    update();
}

void TQVBarGraphInt::SetValueMax(double value)
{
    if (value == m_valueMax || !(value > m_valueMin))
        return;
    m_valueMax = value;
    CheckLimits();
    update();
}

void TQVBarGraphInt::SetValueParams(double valueMin, double valueMax)
{
    m_valueMin = valueMin;
    m_valueMax = valueMax;
    CheckLimits();
    update();
}

void TQVBarGraphInt::SetLabelingGap(double gap)
{
    if (gap == m_labelingGap || !(gap > 0.0))
        return;
    m_labelingGap = gap;
    update();
}

void TQVBarGraphInt::SetLabelScientificUnitPosfix(int id)
{
    if (id < sipNone || id > sipYotta)
        return;
    m_labelPrefix = TSiPrefixesId(id);
    UpdateAccessibleValue();
}

void TQVBarGraphInt::SetLabelTextPosfix(const QString &text)
{
    m_labelTextPosfix = text;
    UpdateAccessibleValue();
}

void TQVBarGraphInt::SetBevelColor1(TQVColor color)
{
    if (color == m_bevelColor1)
        return;
    m_bevelColor1 = color;
    update();
}

void TQVBarGraphInt::SetBevelColor2(TQVColor color)
{
    if (color == m_bevelColor2)
        return;
    m_bevelColor2 = color;
    update();
}

void TQVBarGraphInt::SetBarColor(TQVColor color)
{
    if (color == m_barColor)
        return;
    m_barColor = color;
    update();
}

void TQVBarGraphInt::SetPictureBackground(const QPixmap &picture)
{
    m_picture = picture;
    update();
}

void TQVBarGraphInt::SetKind(TQVBarKind kind)
{
    if (kind == m_kind || kind > sbVertical)
        return;
    m_kind = kind;
    if (IsDesigning() && !IsLoading())
        resize(height(), width());
    if (m_kind == sbVertical)
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    else
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    updateGeometry();
    update();
}

void TQVBarGraphInt::SetLabelingFont(const QFont &font)
{
    if (font == m_labelingFont)
        return;
    m_labelingFont = font;
    updateGeometry();
    update();
}

void TQVBarGraphInt::SetLabelingFontColor(TQVColor color)
{
    if (color == m_labelingFontColor)
        return;
    m_labelingFontColor = color;
    update();
}

void TQVBarGraphInt::SetLabelingOrientation(TQVLabelingOrientation orientation)
{
    if (orientation == m_labelingOrientation || orientation > lboBelow)
        return;
    m_labelingOrientation = orientation;
    updateGeometry();
    update();
}

void TQVBarGraphInt::SetLabelingStyle(TQVLabelingStyle style)
{
    if (style == m_labelingStyle || style > lbsSymmetric)
        return;
    m_labelingStyle = style;
    updateGeometry();
    update();
}

QList<TQVBarGraphInt::RangeEntry> TQVBarGraphInt::Ranges() const
{
    return m_ranges.Rows();
}

void TQVBarGraphInt::SetRanges(const QList<RangeEntry> &ranges)
{
    if (ranges.isEmpty())
        return;
    m_ranges.Assign(ranges);
    update();
}

void TQVBarGraphInt::SetStreamedValues(double value, double valueMin, double valueMax, double labelingGap)
{
    m_value = value;
    m_valueMin = valueMin;
    m_valueMax = valueMax;
    m_labelingGap = labelingGap;
    UpdateAccessibleValue();
    update();
}

void TQVBarGraphInt::DefineProperties(TQVFiler &filer)
{
    TQVCustomPanel::DefineProperties(filer);
    filer.DefineProperty(
        QStringLiteral("Range"),
        [this](TQVReader &reader) {
            QList<RangeEntry> ranges;
            reader.ReadListBegin();
            reader.ReadListBegin();
            while (!reader.EndOfList()) {
                RangeEntry entry;
                entry.Color = reader.ReadColor();
                entry.Limit = reader.ReadDouble();
                if (ranges.size() < MaxRanges)
                    ranges.append(entry);
            }
            reader.ReadListEnd();
            const double value = reader.ReadDouble();
            const double valueMin = reader.ReadDouble();
            const double valueMax = reader.ReadDouble();
            const double labelingGap = reader.ReadDouble();
            reader.ReadListEnd();
            SetRanges(ranges);
            SetStreamedValues(value, valueMin, valueMax, labelingGap);
        },
        [this](TQVWriter &writer) {
            writer.WriteListBegin();
            writer.WriteListBegin();
            for (const RangeEntry &entry : Ranges()) {
                writer.WriteInteger(entry.Color);
                writer.WriteDouble(entry.Limit);
            }
            writer.WriteListEnd();
            writer.WriteDouble(m_value);
            writer.WriteDouble(m_valueMin);
            writer.WriteDouble(m_valueMax);
            writer.WriteDouble(m_labelingGap);
            writer.WriteListEnd();
        },
        RangeNumber() > 0);
}

QString TQVBarGraphInt::RangeTable() const
{
    QList<TQVRangeTableRow> rows;
    for (const RangeEntry &entry : Ranges())
        rows.append(TQVRangeTableRow{entry.Color, entry.Limit, false});
    return QVRangeTableText(rows, false);
}

void TQVBarGraphInt::SetRangeTable(const QString &text)
{
    QList<TQVRangeTableRow> rows;
    if (!QVParseRangeTable(text, false, rows))
        return;
    QList<RangeEntry> ranges;
    for (const TQVRangeTableRow &row : rows.first(std::min<qsizetype>(rows.size(), MaxRanges)))
        ranges.append(RangeEntry{row.Color, row.Limit});
    SetRanges(ranges);
}

void TQVBarGraphInt::CheckLimits()
{
    m_ranges.Clamp(m_valueMin, m_valueMax);
}

QSize TQVBarGraphInt::sizeHint() const
{
    // The bar stays centred, so both sides get room for the widest label and the lines.
    int across = 45;
    if (m_labelingStyle != lbsNone) {
        const QFontMetrics fm(m_labelingFont, this);
        int label = 0;
        if (m_labelingStyle != lbsLines) {
            const double widest = std::fabs(m_valueMin) >= std::fabs(m_valueMax) ? m_valueMin : m_valueMax;
            const QString sample = QVFormatScaleLabel(LabelFormat(), widest, m_labelPrefix, m_labelTextPosfix, locale());
            label = m_kind == sbVertical ? fm.horizontalAdvance(sample) : fm.height();
        }
        across = std::max(across, QVPinPx(m_barWidth) + 2 * (QVPinPx(label) + 12));
    }
    const int along = std::max(145, QVPinPx(m_offsetLower) + QVPinPx(m_offsetUpper) + 100);
    return m_kind == sbVertical ? QSize(across, along) : QSize(along, across);
}

QString TQVBarGraphInt::LabelFormat() const
{
    return QVScaleLabelFormat(m_labelPrefix, m_valueMin, m_valueMax, std::min(m_labelingDecimals, QVMaxLabelDecimals));
}

QSize TQVBarGraphInt::minimumSizeHint() const
{
    const int across = QVPinPx(m_barWidth) + 4;
    const int along = QVPinPx(m_offsetLower) + QVPinPx(m_offsetUpper) + 20;
    return m_kind == sbVertical ? QSize(across, along) : QSize(along, across);
}

void TQVBarGraphInt::UpdateAccessibleValue()
{
    TSiPrefixesStruct info;
    QString text;
    if (m_labelPrefix != sipNone && GetSIInfos(m_labelPrefix, info))
        text = locale().toString(m_value / info.Factor, 'g', 6) + QLatin1Char(' ') + info.Symbol + m_labelTextPosfix;
    else
        text = locale().toString(m_value, 'g', 6)
            + (m_labelTextPosfix.isEmpty() ? QString() : QLatin1Char(' ') + m_labelTextPosfix);
    setAccessibleDescription(text);
}

void TQVBarGraphInt::paintEvent(QPaintEvent *event)
{
    // A value repaint draws only the bar inside its strip; when Qt merged other pending
    // updates into the same event, everything in the region is repainted.
    if (!m_valueStrip.isNull() && m_valueStrip.contains(event->rect())) {
        QPainter painter(this);
        painter.setClipRegion(event->region());
        PaintSlider(painter);
        return;
    }
    TQVCustomPanel::paintEvent(event);
}

void TQVBarGraphInt::Paint(QPainter &painter)
{
    const int w = width();
    const int h = height();
    // The outermost pixel ring stays in the form's colour, a one-pixel margin around the
    // panel.
    const QColor margin = palette().color(QPalette::Window);
    painter.fillRect(QRect(0, 0, w, 1), margin);
    painter.fillRect(QRect(0, h - 1, w, 1), margin);
    painter.fillRect(QRect(0, 1, 1, h - 2), margin);
    painter.fillRect(QRect(w - 1, 1, 1, h - 2), margin);

    const QRect inner(1, 1, w - 2, h - 2);
    painter.fillRect(inner, ToQColor(Color()));
    if (!m_picture.isNull() && inner.isValid()) {
        painter.save();
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawPixmap(inner, m_picture);
        painter.restore();
    }
    PaintSlider(painter);
    PaintLabeling(painter);
}

void TQVBarGraphInt::PaintSlider(QPainter &painter)
{
    const bool vertical = m_kind == sbVertical;
    const int barWidth = QVPinPx(m_barWidth);
    int left, top, right, bottom;
    if (vertical) {
        left = (width() - barWidth) / 2;
        right = left + barWidth;
        top = QVPinPx(m_offsetUpper);
        bottom = height() - QVPinPx(m_offsetLower);
    } else {
        top = (height() - barWidth) / 2;
        bottom = top + barWidth;
        left = QVPinPx(m_offsetLower);
        right = width() - QVPinPx(m_offsetUpper);
    }
    m_barRect = QRect(left, top, right - left, bottom - top);
    FillWin(painter, left, top, right, bottom, ToQColor(m_barColor));

    // Sunken frame: the second bevel colour on the top and left edges, the first one on the
    // bottom and right edges, drawn last so that it owns the two corners it shares.
    const QColor topLeft = ToQColor(m_bevelColor2);
    const QColor bottomRight = ToQColor(m_bevelColor1);
    const int frame = QVPinPx(BevelWidth(), 0);
    const int rings = QVFrameFit(frame, m_barRect);
    for (int k = 0; k < rings; ++k) {
        FillWin(painter, left + k, top + k, right - k, top + k + 1, topLeft);
        FillWin(painter, left + k, top + k, left + k + 1, bottom - k, topLeft);
        FillWin(painter, left + k, bottom - k - 1, right - k, bottom - k, bottomRight);
        FillWin(painter, right - k - 1, top + k, right - k, bottom - k, bottomRight);
    }
    left += frame;
    top += frame;
    right -= frame;
    bottom -= frame;

    if (!UsableSpan(m_valueMin, m_valueMax))
        return;
    const double span = m_valueMax - m_valueMin;
    int edge = vertical ? bottom : left;
    for (int i = 0; i < m_ranges.Number(); ++i) {
        const RangeEntry &range = m_ranges[i];
        const bool last = range.Limit >= m_value;
        const double end = last ? m_value : range.Limit;
        const QColor color = ToQColor(range.Color);
        if (vertical) {
            const int pos = bottom - QVRoundPx((end - m_valueMin) * (bottom - top) / span);
            FillWin(painter, left, pos, right, edge, color);
            edge = pos;
        } else {
            const int pos = left + QVRoundPx((end - m_valueMin) * (right - left) / span);
            FillWin(painter, edge, top, pos, bottom, color);
            edge = pos;
        }
        if (last)
            break;
    }
}

QRect TQVBarGraphInt::ValueRect(double value) const
{
    const bool vertical = m_kind == sbVertical;
    const int barWidth = QVPinPx(m_barWidth), lower = QVPinPx(m_offsetLower);
    const int length = (vertical ? height() : width()) - (lower + QVPinPx(m_offsetUpper));
    const int q = QVRoundPx((value - m_valueMin) * length / (m_valueMax - m_valueMin));
    if (vertical)
        return QRect((width() - barWidth) / 2, height() - lower - q, barWidth, 0);
    return QRect(lower + q, (height() - barWidth) / 2, 0, barWidth);
}

void TQVBarGraphInt::PaintNewValue(double oldValue)
{
    if (!UsableSpan(m_valueMin, m_valueMax)) {
        update();
        return;
    }
    const QRect now = ValueRect(m_value);
    const QRect before = ValueRect(oldValue);
    m_newValueRect = now;
    const int left = min(now.x(), before.x()) - 1;
    const int top = min(now.y(), before.y()) - 1;
    const int right = max(now.x() + now.width(), before.x() + before.width()) + 1;
    const int bottom = max(now.y() + now.height(), before.y() + before.height()) + 1;
    m_valueStrip = QRect(left, top, right - left, bottom - top);
    repaint(m_valueStrip);
    m_valueStrip = QRect();
}

void TQVBarGraphInt::PaintLabeling(QPainter &painter)
{
    // A range whose double overflows has no scale: the gap guard below would store inf.
    if (m_labelingStyle == lbsNone || !UsableSpan(m_valueMin, m_valueMax) || !std::isfinite(m_labelingGap)
        || !(m_labelingGap > 0.0) || !std::isfinite((m_valueMax - m_valueMin) * 2.0))
        return;
    const bool vertical = m_kind == sbVertical;
    const int w = width();
    const int h = height();
    const int barWidth = QVPinPx(m_barWidth), offsetLower = QVPinPx(m_offsetLower), offsetUpper = QVPinPx(m_offsetUpper);
    int aLeft, aTop, aRight, aBottom, span;
    if (vertical) {
        aLeft = 0;
        aTop = offsetUpper;
        aRight = w;
        aBottom = h - offsetLower;
        span = aBottom - aTop;
    } else {
        aLeft = offsetLower;
        aTop = 0;
        aRight = w - offsetUpper;
        aBottom = h;
        span = aRight - aLeft;
    }
    if (span <= 0)
        return;
    const double d = m_valueMax - m_valueMin;
    const QColor ink = ToQColor(m_labelingFontColor);

    // Gap guard: lines closer than 2 pixels enlarge the gap for good.
    const double lines = d * 2.0 / m_labelingGap;
    const std::int64_t n = lines >= 9.0e18 ? std::numeric_limits<std::int64_t>::max() : std::int64_t(std::trunc(lines));
    if (span < n)
        m_labelingGap = d * 2.0 / span;
    const double gap = m_labelingGap;

    const auto firstLine = [&] {
        double t0 = std::nearbyint(m_valueMin / gap) * gap;
        if (t0 < m_valueMin)
            t0 += gap;
        return t0;
    };
    const int pitch = QVRoundPx(span * gap / d);
    if (pitch <= 0)
        return;

    painter.setFont(m_labelingFont);
    painter.setPen(ink);
    painter.setBackgroundMode(Qt::TransparentMode);
    const QFontMetrics fm = painter.fontMetrics();

    const QString format = LabelFormat();

    const QLocale loc = locale();
    m_labelHeight = fm.height();
    const double widest = std::fabs(m_valueMin) >= std::fabs(m_valueMax) ? m_valueMin : m_valueMax;
    m_labelWidth = fm.horizontalAdvance(QVFormatFloat(format, widest, loc) + QLatin1Char('-'));

    // Label stride: labels stand on every k-th line.
    int k = 1;
    int pitchK = pitch;
    double gapK = gap;
    const int minPitch = vertical ? 2 * m_labelHeight : m_labelWidth + 10;
    while (minPitch > pitchK) {
        pitchK += pitch;
        gapK += gap;
        ++k;
    }

    const int offset = QVRoundPx(span * m_valueMin / d);
    const bool firstSide = m_labelingOrientation == lboLeft || m_labelingOrientation == lboAbove
        || m_labelingStyle == lbsSymmetric;
    const bool secondSide = m_labelingOrientation == lboRight || m_labelingOrientation == lboBelow
        || m_labelingStyle == lbsSymmetric;
    // Lines lie at least 2 pixels apart, so this many steps cover the scale; the bound also
    // stops a step that is lost in the rounding of a large value.
    const int maxSteps = span + 2;
    int widestLabel = 0;

    if (m_labelingStyle != lbsLines) {
        double t = firstLine();
        for (int step = 0; t <= m_valueMax && step < maxSteps; ++step, t += gapK) {
            const int p = QVRoundPx(span * t / d);
            const QString text = QVFormatScaleLabel(format, t, m_labelPrefix, m_labelTextPosfix, loc);
            m_labelWidth = fm.horizontalAdvance(text);
            widestLabel = std::max(widestLabel, m_labelWidth);
            if (vertical) {
                const int y = aBottom - p - m_labelHeight / 2 + offset + fm.ascent();
                if (firstSide)
                    painter.drawText(QPoint(aLeft, y), text);
                if (secondSide)
                    painter.drawText(QPoint(aRight - m_labelWidth, y), text);
            } else {
                const int x = p + aLeft - m_labelWidth / 2 - offset;
                if (firstSide)
                    painter.drawText(QPoint(x, aTop + fm.ascent()), text);
                if (secondSide)
                    painter.drawText(QPoint(x, aBottom - m_labelHeight + fm.ascent()), text);
            }
        }
    }

    if (m_labelingStyle == lbsLabels)
        return;
    const bool symmetric = m_labelingStyle == lbsSymmetric;
    const int indent = m_labelingStyle == lbsLines ? 0 : (vertical ? widestLabel + 8 : m_labelHeight + 8);
    const int boxLeft = (w - barWidth) / 2;
    const int boxRight = boxLeft + barWidth;
    const int boxTop = (h - barWidth) / 2;
    const int boxBottom = boxTop + barWidth;
    int c = k;
    double t = firstLine();
    for (int step = 0; 1.000000001 * m_valueMax >= t && step < maxSteps; ++step, t += gap) {
        const int p = QVRoundPx(span * t / d);
        const int major = c == k ? 4 : 0;
        if (vertical) {
            const int y = aBottom - p + offset;
            const int nearLeft = (aRight - barWidth) / 2;
            const int nearRight = (aRight + barWidth) / 2;
            if (firstSide) {
                const int x0 = aLeft + indent - major;
                if (x0 <= boxLeft)
                    LineWin(painter, QPoint(x0, y), QPoint(nearLeft, y), ink);
                if (!symmetric)
                    LineWin(painter, QPoint(aRight, y), QPoint(nearRight, y), ink);
            }
            if (secondSide) {
                const int x0 = aRight - indent + major;
                if (x0 >= boxRight)
                    LineWin(painter, QPoint(x0, y), QPoint(nearRight, y), ink);
                if (!symmetric)
                    LineWin(painter, QPoint(aLeft, y), QPoint(nearLeft, y), ink);
            }
        } else {
            const int x = p + aLeft - offset;
            const int nearTop = (aBottom - barWidth) / 2;
            const int nearBottom = (aBottom + barWidth) / 2;
            if (firstSide) {
                const int y0 = aTop + indent - major;
                if (y0 <= boxTop)
                    LineWin(painter, QPoint(x, y0), QPoint(x, nearTop), ink);
                if (!symmetric)
                    LineWin(painter, QPoint(x, aBottom), QPoint(x, nearBottom), ink);
            }
            if (secondSide) {
                const int y0 = aBottom - indent + major;
                if (y0 >= boxBottom)
                    LineWin(painter, QPoint(x, y0), QPoint(x, nearBottom), ink);
                if (!symmetric)
                    LineWin(painter, QPoint(x, aTop), QPoint(x, nearTop), ink);
            }
        }
        if (++c > k)
            c = 1;
    }
}

QString QVRangeTableText(const QList<TQVRangeTableRow> &rows, bool withCheck)
{
    QStringList texts;
    for (const TQVRangeTableRow &row : rows) {
        // The shortest text that reads back to the same double, '-0' and 'inf' included.
        char limit[32];
        const auto result = std::to_chars(limit, limit + sizeof limit, row.Limit);
        QString text = QStringLiteral("0x") + QString::number(row.Color, 16).toUpper().rightJustified(8, u'0')
                       + u':' + QString::fromLatin1(limit, result.ptr - limit);
        if (withCheck)
            text += row.Check ? QStringLiteral(":1") : QStringLiteral(":0");
        texts.append(text);
    }
    return texts.join(u';');
}

bool QVParseRangeTable(const QString &text, bool withCheck, QList<TQVRangeTableRow> &rows)
{
    QList<TQVRangeTableRow> parsed;
    if (!text.trimmed().isEmpty()) {
        for (QStringView row : QStringView(text).split(u';')) {
            const QList<QStringView> fields = row.split(u':');
            if (fields.size() != (withCheck ? 3 : 2))
                return false;
            TQVRangeTableRow entry;
            if (!ParseColorField(fields[0], entry.Color) || !ParseLimitField(fields[1], entry.Limit))
                return false;
            if (withCheck) {
                const QStringView check = fields[2].trimmed();
                if (check != u"0" && check != u"1")
                    return false;
                entry.Check = check == u"1";
            }
            parsed.append(entry);
        }
    }
    rows = parsed;
    return true;
}
