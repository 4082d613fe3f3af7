#include "controls/qvbargraphint.h"
#include "controls/qvLinearScaleControl_p.h"

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
#include "controls/qvPeakHold_p.h"
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

class TQVBarGraphInt::PrivateData
{
public:
    int BarWidth = 10;
    TQVColor BarColor = QVColors::clBtnFace;
    QPixmap Picture;
    QRect BarRect;
    QRect NewValueRect;
    // The strip of the value repaint in progress; a paint event inside it draws the bar only.
    QRect ValueStrip;
    explicit PrivateData(TQVBarGraphInt *owner) : Peak(owner, &TQVBarGraphInt::ResetPeak) {}
    TQVPeakHold Peak; // the marker
};

namespace {

// The value as assistive technology reads it: scaled by the SI prefix, with prefix and unit.
QString AccessibleValueText(const QWidget *widget)
{
    const auto *bar = static_cast<const TQVBarGraphInt *>(widget);
    const QString unit = bar->LabelTextPosfix();
    TSiPrefixesStruct info;
    if (bar->LabelScientificUnitPosfix() != sipNone && GetSIInfos(bar->LabelScientificUnitPosfix(), info))
        return bar->locale().toString(bar->Value() / info.Factor, 'g', 6) + QLatin1Char(' ') + info.Symbol + unit;
    return bar->locale().toString(bar->Value(), 'g', 6) + (unit.isEmpty() ? QString() : QLatin1Char(' ') + unit);
}

} // namespace

TQVBarGraphInt::TQVBarGraphInt(QWidget *parent)
    : TQVLinearScaleControl(TQVLinearScaleRules{false, false, false, QVColors::clBlack}, parent)
    , m_data(std::make_unique<PrivateData>(this))
{
    QVInstallValueAccessibility({"TQVBarGraphInt", QAccessible::Indicator,
                                 QT_TRANSLATE_NOOP("TQVBarGraphInt", "Bar graph"), "Caption", false,
                                 &AccessibleValueText});
    SetBevelInner(bvNone);
    SetBevelOuter(bvNone);
    SetColor(QVColors::clBtnFace);
    // Every pixel is painted by a full repaint; a value repaint leaves the pixels outside
    // the bar as they are.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    resize(45, 145);
    setAccessibleName(tr("Bar graph"));
}

TQVBarGraphInt::~TQVBarGraphInt() = default;

int TQVBarGraphInt::BarWidth() const { return m_data->BarWidth; }
TQVColor TQVBarGraphInt::BarColor() const { return m_data->BarColor; }
QPixmap TQVBarGraphInt::PictureBackground() const { return m_data->Picture; }
TQVBarGraphInt::TQVBarKind TQVBarGraphInt::Kind() const { return TQVBarKind(KindValue()); }
TQVBarGraphInt::TQVLabelingOrientation TQVBarGraphInt::LabelingOrientation() const
{
    return TQVLabelingOrientation(OrientationValue());
}
TQVBarGraphInt::TQVLabelingStyle TQVBarGraphInt::LabelingStyle() const { return TQVLabelingStyle(StyleValue()); }
QRect TQVBarGraphInt::BarRect() const { return m_data->BarRect; }
QRect TQVBarGraphInt::NewValueRect() const { return m_data->NewValueRect; }

void TQVBarGraphInt::SetSliderWidth(int width)
{
    if (!QVChange(m_data->BarWidth, width))
        return;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

void TQVBarGraphInt::SetValue(double value)
{
    if (value == Scale().Value || std::isnan(value))
        return;
    if (value < Scale().ValueMin)
        value = Scale().ValueMin;
    else if (value > Scale().ValueMax)
        value = Scale().ValueMax;
    if (value == Scale().Value)
        return;
    const double oldValue = Scale().Value;
    Scale().Value = value;
    PaintNewValue(oldValue);
    const double oldPeak = m_data->Peak.Peak();
    if (m_data->Peak.Offer(value))
        RepaintPeak(oldPeak);
    NotifyAccessibleValue();
    emit ValueChanged(value);
}

bool TQVBarGraphInt::PeakHold() const { return m_data->Peak.On(); }
int TQVBarGraphInt::PeakHoldTime() const { return m_data->Peak.Time(); }
double TQVBarGraphInt::Peak() const { return m_data->Peak.Peak(); }

void TQVBarGraphInt::SetPeakHold(bool hold)
{
    const double oldPeak = m_data->Peak.Peak();
    if (!m_data->Peak.SetOn(hold, Scale().Value))
        return;
    RepaintPeak(oldPeak);
    Notify(TQVChangeGroup::Settings);
}

void TQVBarGraphInt::SetPeakHoldTime(int milliseconds)
{
    if (m_data->Peak.SetTime(milliseconds))
        Notify(TQVChangeGroup::Settings);
}

void TQVBarGraphInt::ResetPeak()
{
    const double oldPeak = m_data->Peak.Peak();
    if (m_data->Peak.Release(Scale().Value))
        RepaintPeak(oldPeak);
}

void TQVBarGraphInt::RepaintPeak(double old)
{
    const double peak = m_data->Peak.Peak();
    if (!UsableSpan(Scale().ValueMin, Scale().ValueMax) || (Adaptive() && !Scale().AdaptiveLayout.IsValid())) {
        update();
        return;
    }
    // The marker is two pixels thick on the value's side of the bar end.
    for (const double v : {old, peak}) {
        if (std::isfinite(v))
            update(ValueRect(std::clamp(v, Scale().ValueMin, Scale().ValueMax)).adjusted(-3, -3, 3, 3));
    }
}

void TQVBarGraphInt::SetValueParams(double valueMin, double valueMax)
{
    Scale().ValueMin = valueMin;
    Scale().ValueMax = valueMax;
    CheckLimits();
    Changed(TQVChangeGroup::Settings);
}

void TQVBarGraphInt::SetBarColor(TQVColor color)
{
    if (QVChange(m_data->BarColor, color))
        Changed(TQVChangeGroup::Appearance);
}

void TQVBarGraphInt::SetPictureBackground(const QPixmap &picture)
{
    if (picture.cacheKey() == m_data->Picture.cacheKey())
        return;
    m_data->Picture = picture;
    Changed(TQVChangeGroup::Appearance);
}

void TQVBarGraphInt::SetKind(TQVBarKind kind)
{
    if (!StoreKind(kind))
        return;
    if (kind == sbVertical)
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    else
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void TQVBarGraphInt::SetLabelingOrientation(TQVLabelingOrientation orientation)
{
    StoreOrientation(orientation);
}

void TQVBarGraphInt::SetLabelingStyle(TQVLabelingStyle style)
{
    StoreStyle(style, lbsSymmetric);
}

void TQVBarGraphInt::SetRanges(const QList<RangeEntry> &ranges)
{
    if (!ranges.isEmpty())
        AssignRanges(ranges);
}

void TQVBarGraphInt::SetStreamedValues(double value, double valueMin, double valueMax, double labelingGap)
{
    Scale().Value = value;
    Scale().ValueMin = valueMin;
    Scale().ValueMax = valueMax;
    Scale().LabelingGap = labelingGap;
    NotifyAccessibleValue();
    Changed(TQVChangeGroup::Settings);
}

void TQVBarGraphInt::DefineProperties(TQVFiler &filer)
{
    TQVLinearScaleControl::DefineProperties(filer);
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
            writer.WriteDouble(Scale().Value);
            writer.WriteDouble(Scale().ValueMin);
            writer.WriteDouble(Scale().ValueMax);
            writer.WriteDouble(Scale().LabelingGap);
            writer.WriteListEnd();
        },
        RangeNumber() > 0);
}

QSize TQVBarGraphInt::sizeHint() const
{
    if (Adaptive())
        return TQVLinearScaleDraw::AdaptiveSizeHint(ScaleSpec(), m_data->BarWidth, std::clamp(BevelWidth(), 0, 64), false);
    // The bar stays centred, so both sides get room for the widest label and the lines.
    int across = 45;
    if (LabelingStyle() != lbsNone) {
        const QFontMetrics fm(Scale().LabelingFont, this);
        int label = 0;
        if (LabelingStyle() != lbsLines) {
            const double widest = std::fabs(Scale().ValueMin) >= std::fabs(Scale().ValueMax) ? Scale().ValueMin : Scale().ValueMax;
            const QString sample = QVFormatScaleLabel(LabelFormat(), widest, Scale().Prefix, Scale().Suffix, locale());
            label = Vertical() ? fm.horizontalAdvance(sample) : fm.height();
        }
        across = std::max(across, QVPinPx(m_data->BarWidth) + 2 * (QVPinPx(label) + 12));
    }
    const int along = std::max(145, QVPinPx(Scale().OffsetLower) + QVPinPx(Scale().OffsetUpper) + 100);
    return Vertical() ? QSize(across, along) : QSize(along, across);
}

QString TQVBarGraphInt::LabelFormat() const
{
    return QVScaleLabelFormat(Scale().Prefix, Scale().ValueMin, Scale().ValueMax, std::min(Scale().LabelingDecimals, QVMaxLabelDecimals));
}

QSize TQVBarGraphInt::minimumSizeHint() const
{
    if (Adaptive())
        return TQVLinearScaleDraw::AdaptiveSizeHint(ScaleSpec(), m_data->BarWidth, std::clamp(BevelWidth(), 0, 64), true);
    const int across = QVPinPx(m_data->BarWidth) + 4;
    const int along = QVPinPx(Scale().OffsetLower) + QVPinPx(Scale().OffsetUpper) + 20;
    return Vertical() ? QSize(across, along) : QSize(along, across);
}

void TQVBarGraphInt::paintEvent(QPaintEvent *event)
{
    // A value repaint draws only the bar inside its strip; when Qt merged other pending
    // updates into the same event, everything in the region is repainted.
    if (!m_data->ValueStrip.isNull() && m_data->ValueStrip.contains(event->rect())) {
        QPainter painter(this);
        painter.setClipRegion(event->region());
        PaintSlider(painter);
        return;
    }
    TQVLinearScaleControl::paintEvent(event);
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
    if (!m_data->Picture.isNull() && inner.isValid()) {
        painter.save();
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawPixmap(inner, m_data->Picture);
        painter.restore();
    }
    if (Adaptive()) {
        const int bevel = std::clamp(BevelWidth(), 0, 64);
        Scale().AdaptiveLayout = TQVLinearScaleDraw::LayoutAdaptive(ScaleSpec(), inner, m_data->BarWidth, bevel, Scale().OffsetLower,
                                                      Scale().OffsetUpper);
    }
    PaintSlider(painter);
    PaintLabeling(painter);
}

void TQVBarGraphInt::PaintSlider(QPainter &painter)
{
    const bool vertical = Vertical();
    const bool adaptive = Adaptive() && Scale().AdaptiveLayout.IsValid();
    const int barWidth = QVPinPx(m_data->BarWidth);
    int left, top, right, bottom;
    if (adaptive) {
        left = Scale().AdaptiveLayout.Track.left();
        top = Scale().AdaptiveLayout.Track.top();
        right = left + Scale().AdaptiveLayout.Track.width();
        bottom = top + Scale().AdaptiveLayout.Track.height();
    } else if (vertical) {
        left = (width() - barWidth) / 2;
        right = left + barWidth;
        top = QVPinPx(Scale().OffsetUpper);
        bottom = height() - QVPinPx(Scale().OffsetLower);
    } else {
        top = (height() - barWidth) / 2;
        bottom = top + barWidth;
        left = QVPinPx(Scale().OffsetLower);
        right = width() - QVPinPx(Scale().OffsetUpper);
    }
    m_data->BarRect = QRect(left, top, right - left, bottom - top);
    FillWin(painter, left, top, right, bottom, ToQColor(m_data->BarColor));

    // Sunken frame: the second bevel colour on the top and left edges, the first one on the
    // bottom and right edges, drawn last so that it owns the two corners it shares.
    const QColor topLeft = ToQColor(Scale().BevelColor2);
    const QColor bottomRight = ToQColor(Scale().BevelColor1);
    const int frame = QVPinPx(BevelWidth(), 0);
    const int rings = QVFrameFit(frame, m_data->BarRect);
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

    if (!UsableSpan(Scale().ValueMin, Scale().ValueMax))
        return;
    const double span = Scale().ValueMax - Scale().ValueMin;
    // Where the bar of `value` ends: its first filled row, or the column after its last.
    const auto position = [&](double value) {
        if (adaptive)
            return QVRoundPx(Scale().AdaptiveLayout.PositionOf(value, Scale().ValueMin, Scale().ValueMax));
        return vertical ? bottom - QVRoundPx((value - Scale().ValueMin) * (bottom - top) / span)
                        : left + QVRoundPx((value - Scale().ValueMin) * (right - left) / span);
    };
    int edge = vertical ? bottom : left;
    for (int i = 0; i < Scale().Ranges.Number(); ++i) {
        const RangeEntry &range = Scale().Ranges[i];
        const bool last = range.Limit >= Scale().Value;
        const int pos = position(last ? Scale().Value : range.Limit);
        const QColor color = ToQColor(range.Color);
        if (vertical)
            FillWin(painter, left, std::max(pos, top), right, edge, color);
        else
            FillWin(painter, edge, top, std::min(pos, right), bottom, color);
        edge = pos;
        if (last)
            break;
    }
    // The peak marker, two pixels inside where the bar of the peak would end, in the colour
    // of the range that holds it, while above the bar.
    const double peak = std::clamp(m_data->Peak.Peak(), Scale().ValueMin, Scale().ValueMax);
    if (m_data->Peak.On() && peak > Scale().Value && Scale().Ranges.Number() > 0) {
        QColor color = ToQColor(Scale().Ranges[Scale().Ranges.Number() - 1].Color);
        for (int i = Scale().Ranges.Number() - 1; i >= 0 && Scale().Ranges[i].Limit >= peak; --i)
            color = ToQColor(Scale().Ranges[i].Color);
        const int pos = position(peak);
        if (vertical)
            FillWin(painter, left, std::max(pos, top), right, std::min(pos + 2, bottom), color);
        else
            FillWin(painter, std::max(pos - 2, left), top, std::min(pos, right), bottom, color);
    }
}

QRect TQVBarGraphInt::ValueRect(double value) const
{
    const bool vertical = Vertical();
    if (Adaptive() && Scale().AdaptiveLayout.IsValid()) {
        const int p = QVRoundPx(Scale().AdaptiveLayout.PositionOf(value, Scale().ValueMin, Scale().ValueMax));
        const QRect &t = Scale().AdaptiveLayout.Track;
        return vertical ? QRect(t.left(), p, t.width(), 0) : QRect(p, t.top(), 0, t.height());
    }
    const int barWidth = QVPinPx(m_data->BarWidth), lower = QVPinPx(Scale().OffsetLower);
    const int length = (vertical ? height() : width()) - (lower + QVPinPx(Scale().OffsetUpper));
    const int q = QVRoundPx((value - Scale().ValueMin) * length / (Scale().ValueMax - Scale().ValueMin));
    if (vertical)
        return QRect((width() - barWidth) / 2, height() - lower - q, barWidth, 0);
    return QRect(lower + q, (height() - barWidth) / 2, 0, barWidth);
}

void TQVBarGraphInt::PaintNewValue(double oldValue)
{
    if (!UsableSpan(Scale().ValueMin, Scale().ValueMax) || (Adaptive() && !Scale().AdaptiveLayout.IsValid())) {
        update();
        return;
    }
    const QRect now = ValueRect(Scale().Value);
    const QRect before = ValueRect(oldValue);
    m_data->NewValueRect = now;
    const int left = min(now.x(), before.x()) - 1;
    const int top = min(now.y(), before.y()) - 1;
    const int right = max(now.x() + now.width(), before.x() + before.width()) + 1;
    const int bottom = max(now.y() + now.height(), before.y() + before.height()) + 1;
    m_data->ValueStrip = QRect(left, top, right - left, bottom - top);
    repaint(m_data->ValueStrip);
    m_data->ValueStrip = QRect();
}

void TQVBarGraphInt::PaintLabeling(QPainter &painter)
{
    if (Adaptive()) {
        if (Scale().AdaptiveLayout.IsValid())
            TQVLinearScaleDraw::PaintAdaptive(painter, Scale().AdaptiveLayout, ScaleSpec().Ink);
        return;
    }
    const int w = width();
    const int h = height();
    const int lower = QVPinPx(Scale().OffsetLower), upper = QVPinPx(Scale().OffsetUpper);
    TQVClassicLinearGeometry geometry;
    geometry.Area = Vertical() ? QRect(0, upper, w, h - lower - upper) : QRect(lower, 0, w - upper - lower, h);
    geometry.Widget = size();
    geometry.BarThickness = QVPinPx(m_data->BarWidth);
    StoreClassicResult(Scale().Draw.PaintClassic(painter, ScaleSpec(), geometry));
}
