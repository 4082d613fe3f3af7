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

void TQVBarGraphInt::SetScaleLayout(TQVScaleLayout layout)
{
    if (layout == m_scaleLayout || layout > slAdaptive)
        return;
    m_scaleLayout = layout;
    m_layout = {};
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
    if (Adaptive())
        return TQVLinearScaleDraw::AdaptiveSizeHint(ScaleSpec(), m_barWidth, std::clamp(BevelWidth(), 0, 64), false);
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
    if (Adaptive())
        return TQVLinearScaleDraw::AdaptiveSizeHint(ScaleSpec(), m_barWidth, std::clamp(BevelWidth(), 0, 64), true);
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
    if (Adaptive()) {
        const int bevel = std::clamp(BevelWidth(), 0, 64);
        m_layout = TQVLinearScaleDraw::LayoutAdaptive(ScaleSpec(), inner, m_barWidth, bevel, m_offsetLower,
                                                      m_offsetUpper);
    }
    PaintSlider(painter);
    PaintLabeling(painter);
}

void TQVBarGraphInt::PaintSlider(QPainter &painter)
{
    const bool vertical = m_kind == sbVertical;
    const bool adaptive = Adaptive() && m_layout.IsValid();
    const int barWidth = QVPinPx(m_barWidth);
    int left, top, right, bottom;
    if (adaptive) {
        left = m_layout.Track.left();
        top = m_layout.Track.top();
        right = left + m_layout.Track.width();
        bottom = top + m_layout.Track.height();
    } else if (vertical) {
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
        if (adaptive) {
            const int pos = QVRoundPx(m_layout.PositionOf(end, m_valueMin, m_valueMax));
            if (vertical)
                FillWin(painter, left, std::max(pos, top), right, edge, color);
            else
                FillWin(painter, edge, top, std::min(pos, right), bottom, color);
            edge = pos;
        } else if (vertical) {
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
    if (Adaptive() && m_layout.IsValid()) {
        const int p = QVRoundPx(m_layout.PositionOf(value, m_valueMin, m_valueMax));
        const QRect &t = m_layout.Track;
        return vertical ? QRect(t.left(), p, t.width(), 0) : QRect(p, t.top(), 0, t.height());
    }
    const int barWidth = QVPinPx(m_barWidth), lower = QVPinPx(m_offsetLower);
    const int length = (vertical ? height() : width()) - (lower + QVPinPx(m_offsetUpper));
    const int q = QVRoundPx((value - m_valueMin) * length / (m_valueMax - m_valueMin));
    if (vertical)
        return QRect((width() - barWidth) / 2, height() - lower - q, barWidth, 0);
    return QRect(lower + q, (height() - barWidth) / 2, 0, barWidth);
}

void TQVBarGraphInt::PaintNewValue(double oldValue)
{
    if (!UsableSpan(m_valueMin, m_valueMax) || (Adaptive() && !m_layout.IsValid())) {
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

TQVLinearScaleSpec TQVBarGraphInt::ScaleSpec() const
{
    TQVLinearScaleSpec scale;
    scale.Vertical = m_kind == sbVertical;
    scale.ValueMin = m_valueMin;
    scale.ValueMax = m_valueMax;
    scale.Gap = m_labelingGap;
    scale.Decimals = m_labelingDecimals;
    scale.DefaultDecimals = 1;
    scale.PrefixId = m_labelPrefix;
    scale.Suffix = m_labelTextPosfix;
    scale.Locale = locale();
    scale.Font = m_labelingFont;
    scale.SetInk(m_labelingFontColor, palette(), Adaptive());
    scale.SetStyle(m_labelingStyle, m_labelingOrientation);
    return scale;
}

void TQVBarGraphInt::PaintLabeling(QPainter &painter)
{
    if (Adaptive()) {
        if (m_layout.IsValid())
            TQVLinearScaleDraw::PaintAdaptive(painter, m_layout, ScaleSpec().Ink);
        return;
    }
    const int w = width();
    const int h = height();
    const int lower = QVPinPx(m_offsetLower), upper = QVPinPx(m_offsetUpper);
    TQVClassicLinearGeometry geometry;
    geometry.Area = m_kind == sbVertical ? QRect(0, upper, w, h - lower - upper) : QRect(lower, 0, w - upper - lower, h);
    geometry.Widget = size();
    geometry.BarThickness = QVPinPx(m_barWidth);
    const auto result = m_scaleDraw.PaintClassic(painter, ScaleSpec(), geometry);
    // Painting enlarges a gap whose lines would lie closer than 2 pixels, for good.
    m_labelingGap = result.Gap;
    if (result.LabelHeight > 0) {
        m_labelWidth = result.LabelWidth;
        m_labelHeight = result.LabelHeight;
    }
}
