#include "controls/qvSlider.h"
#include "controls/qvLinearScaleControl_p.h"

#include <algorithm>
#include <cmath>

#include <QtCore/QCoreApplication>
#include <QtGui/QAccessible>
#include <QtGui/QFontMetrics>
#include <QtGui/QKeyEvent>
#include <QtGui/QLinearGradient>
#include <QtGui/QMouseEvent>
#include <QtGui/QPaintEngine>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QAccessibleWidget>

#include "controls/qvFormat.h"
#include "controls/scale/qvPaintKit.h"
#include "framework/qvFiler.h"

namespace {

// `a` moved a share `t` of the way towards `b`.
QColor Mix(const QColor &a, const QColor &b, double t)
{
    return QColor::fromRgbF(float(a.redF() + (b.redF() - a.redF()) * t), float(a.greenF() + (b.greenF() - a.greenF()) * t),
                            float(a.blueF() + (b.blueF() - a.blueF()) * t));
}

// A rectangle from its edges, right and bottom exclusive; empty when inverted.
QRect Edges(int left, int top, int right, int bottom)
{
    if (right <= left || bottom <= top)
        return QRect();
    return QRect(left, top, right - left, bottom - top);
}

void Fill(QPainter &painter, const QRect &r, const QColor &color)
{
    if (r.isValid())
        painter.fillRect(r, color);
}

} // namespace

class TQVSlider::PrivateData
{
public:
    int SliderWidth = 10;
    int ButtonWidth = 40;
    int ButtonHeight = 10;
    int LastWidth = 0;
    int LastHeight = 0;
    double ValueStepWidth = 0.0;
    double DragStartValue = 0.0;
    TQVColor ButtonBorderColor = QVColors::clBtnFace;
    TQVColor ButtonColor = QVColors::clBtnFace;
    TQVColor ButtonFontColor = QVColors::clBlack;
    QPixmap PictureSlide;
    QPixmap PictureButton;
    QPixmap PictureMask;
    QString ButtonCaption;
    QFont ButtonFont{QStringLiteral("Arial"), 8};
    bool ButtonTransparent = false;
    bool ReduceFlicker = false;
    bool Dragging = false;
    bool Hover = false; // the mouse is over the thumb (adaptive look)
    QRect ButtonRect;
    QRect ButtonPaintArea;
    QRect SlideRect;
    QPoint DragStart;
    QPixmap Offscreen;
    // Everything but the button, as last painted in full; a value change blits from it and
    // draws only the button. Any other paint may have changed the background and drops it.
    QPixmap Background;
    bool BackgroundValid = false;
    // The opaque button as last drawn, and its inner rectangle relative to it: a value
    // change blits it instead of drawing the frames again.
    QPixmap ButtonImage;
    QRect ButtonImageInner;
    // Follows the focus events rather than hasFocus(): a host that forwards them (a Qt Quick
    // item around a never-shown widget) gets the focus ring as well.
    bool Focused = false;
    QRect ValueRegion; // the area a value repaint is painting, else empty
};

TQVSlider::TQVSlider(QWidget *parent)
    : TQVLinearScaleControl(TQVLinearScaleRules{true, true, true, QVColors::clBtnFace}, parent)
    , m_data(std::make_unique<PrivateData>())
{
    QVInstallValueAccessibility({"TQVSlider", QAccessible::Slider, QT_TRANSLATE_NOOP("TQVSlider", "Slider"),
                                 "ButtonCaption", true});

    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    resize(49, 165);
}

TQVSlider::~TQVSlider() = default;

int TQVSlider::SliderWidth() const { return m_data->SliderWidth; }
int TQVSlider::ButtonWidth() const { return m_data->ButtonWidth; }
int TQVSlider::ButtonHeight() const { return m_data->ButtonHeight; }
double TQVSlider::ValueStepWidth() const { return m_data->ValueStepWidth; }
TQVColor TQVSlider::ButtonColor() const { return m_data->ButtonColor; }
TQVColor TQVSlider::ButtonBorderColor() const { return m_data->ButtonBorderColor; }
QPixmap TQVSlider::PictureSlide() const { return m_data->PictureSlide; }
QPixmap TQVSlider::PictureButton() const { return m_data->PictureButton; }
QPixmap TQVSlider::PictureMask() const { return m_data->PictureMask; }
QString TQVSlider::ButtonCaption() const { return m_data->ButtonCaption; }
QFont TQVSlider::ButtonFont() const { return m_data->ButtonFont; }
TQVColor TQVSlider::ButtonFontColor() const { return m_data->ButtonFontColor; }
bool TQVSlider::ButtonTransparent() const { return m_data->ButtonTransparent; }
bool TQVSlider::ReduceFlicker() const { return m_data->ReduceFlicker; }
TQVSlider::TQVKind TQVSlider::Kind() const { return TQVKind(KindValue()); }
TQVSlider::TLabelingOrientation TQVSlider::LabelingOrientation() const
{
    return TLabelingOrientation(OrientationValue());
}
TQVSlider::TLabelingStyle TQVSlider::LabelingStyle() const { return TLabelingStyle(StyleValue()); }
QRect TQVSlider::ButtonRect() const { return m_data->ButtonRect; }
QRect TQVSlider::SlideRect() const { return m_data->SlideRect; }
bool TQVSlider::Dragging() const { return m_data->Dragging; }

void TQVSlider::SetSliderWidth(int width)
{
    if (width == m_data->SliderWidth || width < 0)
        return;
    m_data->SliderWidth = width;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

int TQVSlider::MaxButtonWidth() const
{
    return (Vertical() ? width() : height()) - 2;
}

bool TQVSlider::LimitButtonWidth()
{
    return QVChange(m_data->ButtonWidth, std::max(0, std::min(m_data->ButtonWidth, MaxButtonWidth())));
}

void TQVSlider::SetButtonWidth(int width)
{
    if (width == m_data->ButtonWidth || width < 0)
        return;
    if (LabelingStyle() == lbsAsymmetric && !m_data->PictureButton.isNull())
        return;
    m_data->ButtonWidth = std::max(0, std::min(width, MaxButtonWidth()));
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetButtonHeight(int height)
{
    if (height == m_data->ButtonHeight || height < 0)
        return;
    m_data->ButtonHeight = height;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetValue(double value)
{
    const std::optional<double> accepted = QVSnapAndClamp(value, Scale().Value, m_data->ValueStepWidth, Scale().ValueMin, Scale().ValueMax);
    if (!accepted)
        return;
    value = *accepted;
    Scale().Value = value;
    if (OnValueChange)
        OnValueChange(this);
    emit ValueChanged(Scale().Value);
    NotifyAccessibleValue();
    PaintNewValue();
}

void TQVSlider::SetValueStepWidth(double step)
{
    if (step == m_data->ValueStepWidth || !std::isfinite(step))
        return;
    m_data->ValueStepWidth = step;
    SetValue(Scale().Value);
    Changed(TQVChangeGroup::Settings);
}

void TQVSlider::SetButtonColor(TQVColor color)
{
    if (QVChange(m_data->ButtonColor, color))
        Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetButtonBorderColor(TQVColor color)
{
    if (QVChange(m_data->ButtonBorderColor, color))
        Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetPictureSlide(const QPixmap &picture)
{
    if (picture.cacheKey() == m_data->PictureSlide.cacheKey())
        return;
    m_data->PictureSlide = picture;
    Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetPictureButton(const QPixmap &picture)
{
    if (picture.cacheKey() == m_data->PictureButton.cacheKey())
        return;
    m_data->PictureButton = picture;
    Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetPictureMask(const QPixmap &picture)
{
    if (picture.cacheKey() == m_data->PictureMask.cacheKey())
        return;
    m_data->PictureMask = picture;
    Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetButtonCaption(const QString &caption)
{
    if (QVChange(m_data->ButtonCaption, caption))
        Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetButtonFont(const QFont &font)
{
    if (QVChange(m_data->ButtonFont, font))
        Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetButtonFontColor(TQVColor color)
{
    if (QVChange(m_data->ButtonFontColor, color))
        Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetButtonTransparent(bool transparent)
{
    if (QVChange(m_data->ButtonTransparent, transparent))
        Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetReduceFlicker(bool reduce)
{
    if (!QVChange(m_data->ReduceFlicker, reduce))
        return;
    // The pixmap is sized on the next paint, when the target's pixel ratio is known.
    m_data->Offscreen = QPixmap();
    Changed(TQVChangeGroup::Appearance);
}

void TQVSlider::SetKind(TQVKind kind)
{
    StoreKind(kind);
}

void TQVSlider::SetLabelingOrientation(TLabelingOrientation orientation)
{
    StoreOrientation(orientation);
}

void TQVSlider::SetLabelingStyle(TLabelingStyle style)
{
    const int buttonWidth = m_data->ButtonWidth;
    if (!StoreStyle(style, lbsAsymmetric))
        return;
    if (style == lbsAsymmetric && m_data->PictureButton.isNull())
        m_data->ButtonWidth = std::max(0, MaxButtonWidth());
    else
        LimitButtonWidth();
    if (m_data->ButtonWidth != buttonWidth) // after the style's own signal
        Notify(TQVChangeGroup::Appearance);
}

TQVSlider::TStreamDoubles TQVSlider::Doubles() const
{
    return {Scale().Value, Scale().ValueMin, Scale().ValueMax, m_data->ValueStepWidth, Scale().LabelingGap};
}

void TQVSlider::ReadDoubles(const TStreamDoubles &values)
{
    Scale().Value = values.Value;
    Scale().ValueMin = values.ValueMin;
    Scale().ValueMax = values.ValueMax;
    m_data->ValueStepWidth = values.ValueStepWidth;
    Scale().LabelingGap = values.LabelingGap;
    update();
}

void TQVSlider::ReadRange(const QList<TRangeEntry> &ranges, const TStreamDoubles &values)
{
    ReadRanges(ranges);
    ReadDoubles(values);
}

namespace {

// Pairs of colour and limit until the list ends; pairs beyond the table are dropped.
QList<TQVRangeEntry> ReadRangePairs(TQVReader &reader)
{
    QList<TQVRangeEntry> ranges;
    reader.ReadListBegin();
    while (!reader.EndOfList()) {
        TQVRangeEntry entry;
        entry.Color = reader.ReadColor();
        entry.Limit = reader.ReadDouble();
        if (ranges.size() < TQVRangeTable::MaxRanges)
            ranges.append(entry);
    }
    reader.ReadListEnd();
    return ranges;
}

TQVSlider::TStreamDoubles ReadFiveDoubles(TQVReader &reader)
{
    TQVSlider::TStreamDoubles values;
    values.Value = reader.ReadDouble();
    values.ValueMin = reader.ReadDouble();
    values.ValueMax = reader.ReadDouble();
    values.ValueStepWidth = reader.ReadDouble();
    values.LabelingGap = reader.ReadDouble();
    return values;
}

} // namespace

void TQVSlider::DefineProperties(TQVFiler &filer)
{
    TQVLinearScaleControl::DefineProperties(filer);
    // Older forms: ranges and values in one property; never written.
    filer.DefineProperty(
        QStringLiteral("Range"),
        [this](TQVReader &reader) {
            reader.ReadListBegin();
            const QList<TRangeEntry> ranges = ReadRangePairs(reader);
            const TStreamDoubles values = ReadFiveDoubles(reader);
            reader.ReadListEnd();
            ReadRange(ranges, values);
        },
        nullptr, false);
    filer.DefineProperty(
        QStringLiteral("Ranges"),
        [this](TQVReader &reader) { ReadRanges(ReadRangePairs(reader)); },
        [this](TQVWriter &writer) {
            writer.WriteListBegin();
            for (const TRangeEntry &entry : Ranges()) {
                writer.WriteInteger(entry.Color);
                writer.WriteDouble(entry.Limit);
            }
            writer.WriteListEnd();
        },
        HasRangesData());
    filer.DefineProperty(
        QStringLiteral("Doubles"),
        [this](TQVReader &reader) {
            reader.ReadListBegin();
            const TStreamDoubles values = ReadFiveDoubles(reader);
            reader.ReadListEnd();
            ReadDoubles(values);
        },
        [this](TQVWriter &writer) {
            const TStreamDoubles values = Doubles();
            writer.WriteListBegin();
            for (double v : {values.Value, values.ValueMin, values.ValueMax, values.ValueStepWidth, values.LabelingGap})
                writer.WriteDouble(v);
            writer.WriteListEnd();
        },
        true);
}

QString TQVSlider::LabelFormat() const
{
    return QVScaleLabelFormat(Scale().Prefix, Scale().ValueMin, Scale().ValueMax,
                              std::min(Scale().LabelingDecimals, QVMaxLabelDecimals));
}

QString TQVSlider::FormatLabel(const QString &format, double value) const
{
    return QVFormatScaleLabel(format, value, Scale().Prefix, Scale().Suffix, locale());
}

int TQVSlider::TextWidth8() const
{
    return QFontMetrics(Scale().LabelingFont).horizontalAdvance(QLatin1Char('8'));
}

QSize TQVSlider::sizeHint() const
{
    if (Adaptive())
        return TQVLinearScaleDraw::AdaptiveSizeHint(ScaleSpec(), ThumbAcross(), ThumbLength() / 2, false);
    const QFontMetrics fm(Scale().LabelingFont);
    const bool labels = LabelingStyle() != lbsNone && LabelingStyle() != lbsLines;
    const double widest = std::abs(Scale().ValueMin) >= std::abs(Scale().ValueMax) ? Scale().ValueMin : Scale().ValueMax;
    int across = QVPinPx(std::max(m_data->ButtonWidth, m_data->SliderWidth)) + 2;
    if (Vertical()) {
        if (labels)
            across += 2 * (fm.horizontalAdvance(FormatLabel(LabelFormat(), widest) + QLatin1Char('-')) + 8);
        else if (LabelingStyle() == lbsLines)
            across += 2 * 12;
        return QSize(std::max(49, across), 165);
    }
    if (labels)
        across += 2 * (fm.height() + 8);
    else if (LabelingStyle() == lbsLines)
        across += 2 * 12;
    return QSize(165, std::max(49, across));
}

QSize TQVSlider::minimumSizeHint() const
{
    if (Adaptive())
        return TQVLinearScaleDraw::AdaptiveSizeHint(ScaleSpec(), ThumbAcross(), ThumbLength() / 2, true);
    const int along = QVPinPx(m_data->ButtonHeight) + QVPinPx(Scale().OffsetLower) + QVPinPx(Scale().OffsetUpper) + 20;
    const int across = QVPinPx(std::max(m_data->ButtonWidth, m_data->SliderWidth)) / 2 + 2;
    return Vertical() ? QSize(across, along) : QSize(along, across);
}

int TQVSlider::Travel() const
{
    return (Vertical() ? height() : width()) - QVPinPx(m_data->ButtonHeight) - QVPinPx(Scale().OffsetLower) - QVPinPx(Scale().OffsetUpper);
}

int TQVSlider::ThumbLength() const
{
    const int along = Vertical() ? height() : width();
    const int natural = QFontMetrics(Scale().LabelingFont).height() + 4;
    return std::clamp(std::max(m_data->ButtonHeight, natural), 4, std::max(4, along / 3));
}

int TQVSlider::ThumbAcross() const
{
    const int across = Vertical() ? width() : height();
    const int wanted = std::min(m_data->ButtonWidth, std::max(QVPinPx(m_data->SliderWidth) + 10, ThumbLength() * 5 / 4));
    return std::clamp(wanted, 4, std::max(4, across - 4));
}

double TQVSlider::AdaptiveValueAt(double position) const
{
    return Scale().ValueMin + (position - Scale().AdaptiveLayout.Lower) / (Scale().AdaptiveLayout.Upper - Scale().AdaptiveLayout.Lower) * (Scale().ValueMax - Scale().ValueMin);
}

QRect TQVSlider::ButtonGeometry(double value) const
{
    if (Adaptive()) {
        if (!Scale().AdaptiveLayout.IsValid())
            return QRect();
        const int centre = QVRoundPx(Scale().AdaptiveLayout.PositionOf(std::clamp(value, Scale().ValueMin, Scale().ValueMax), Scale().ValueMin, Scale().ValueMax));
        const int length = ThumbLength();
        const QRect &t = Scale().AdaptiveLayout.Track;
        return Vertical() ? QRect(t.left(), centre - length / 2, t.width(), length)
                          : QRect(centre - length / 2, t.top(), length, t.height());
    }
    const double span = Scale().ValueMax - Scale().ValueMin;
    const int q = span != 0.0 ? QVRoundPx((value - Scale().ValueMin) * Travel() / span) : 0;
    const int buttonWidth = QVPinPx(m_data->ButtonWidth), buttonHeight = QVPinPx(m_data->ButtonHeight);
    if (Vertical()) {
        const int left = (width() - buttonWidth) / 2 + 1;
        const int bottom = height() - q - QVPinPx(Scale().OffsetLower);
        return QRect(left, bottom - buttonHeight, buttonWidth, buttonHeight);
    }
    const int top = (height() - buttonWidth) / 2;
    return QRect(QVPinPx(Scale().OffsetLower) + q, top, buttonHeight, buttonWidth);
}

QRect TQVSlider::ButtonPaintArea(double value) const
{
    const QRect b = ButtonGeometry(value);
    if (Adaptive())
        return b.isEmpty() ? b : b.adjusted(-2, -2, 2, 2); // room for the focus ring
    if (m_data->ButtonTransparent && LabelingStyle() == lbsAsymmetric && m_data->PictureButton.isNull())
        return Vertical() ? QRect(0, b.top(), width(), b.height()) : QRect(b.left(), 0, b.width(), height());
    return b;
}

void TQVSlider::PaintNewValue()
{
    if (!isVisible() || !updatesEnabled())
        return;
    if (Adaptive() && !Scale().AdaptiveLayout.IsValid()) {
        update();
        return;
    }
    // The old area is the button as last painted in full (the hit rectangle is its interior).
    const QRect oldArea = m_data->ButtonPaintArea.adjusted(-2, -2, 2, 2);
    const QRect newArea = ButtonPaintArea(Scale().Value).adjusted(-2, -2, 2, 2);
    const bool apart = !m_data->ButtonPaintArea.isEmpty() && !oldArea.intersects(newArea);
    if (apart) {
        m_data->ValueRegion = oldArea;
        repaint(m_data->ValueRegion);
    }
    m_data->ValueRegion = apart || m_data->ButtonPaintArea.isEmpty() ? newArea : oldArea.united(newArea);
    repaint(m_data->ValueRegion);
    m_data->ValueRegion = QRect();
}

bool TQVSlider::ButtonCacheable() const
{
    // The adaptive thumb has a picture of its own (PaintCachedThumb).
    return !Adaptive() && m_data->PictureButton.isNull() && m_data->PictureMask.isNull() && !m_data->ButtonTransparent;
}

bool TQVSlider::PaintValueFromBackground(QPainter &painter, const QRegion &region)
{
    // Only a paint of exactly the value area may use the cache: Qt may have merged other
    // pending updates into the event.
    if (m_data->ValueRegion.isEmpty() || !m_data->ValueRegion.contains(region.boundingRect()))
        return false;
    const qreal dpr = QVTargetPixelRatio(painter, *this);
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    if (!m_data->BackgroundValid || m_data->Background.size() != pixels || m_data->Background.devicePixelRatioF() != dpr) {
        m_data->Background = QPixmap(pixels);
        m_data->Background.setDevicePixelRatio(dpr);
        QPainter background(&m_data->Background);
        PaintPanel(background);
        PaintSlideTrack(background);
        PaintLabeling(background);
        m_data->ButtonImage = QPixmap();
        m_data->BackgroundValid = true;
    }
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const QRect &r : region)
        painter.drawPixmap(r, m_data->Background, QRectF(QPointF(r.topLeft()) * dpr, QSizeF(r.size()) * dpr));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setClipRect(m_data->ValueRegion);

    const QRect button = ButtonGeometry(Scale().Value);
    // A button reaching out of the widget (a huge ButtonHeight) would make a huge picture.
    if (!ButtonCacheable() || button.isEmpty() || !rect().contains(button)) {
        PaintButton(painter);
        return true;
    }
    // The opaque button looks the same wherever it is: draw it once, then blit it.
    if (m_data->ButtonImage.isNull() || m_data->ButtonImage.size() != (QSizeF(button.size()) * dpr).toSize()) {
        m_data->ButtonImage = QPixmap((QSizeF(button.size()) * dpr).toSize());
        m_data->ButtonImage.setDevicePixelRatio(dpr);
        m_data->ButtonImage.fill(Qt::transparent);
        QPainter image(&m_data->ButtonImage);
        image.translate(-button.topLeft());
        PaintButton(image);
        m_data->ButtonImageInner = m_data->ButtonRect.translated(-button.topLeft());
    }
    painter.drawPixmap(button.topLeft(), m_data->ButtonImage);
    m_data->ButtonRect = m_data->ButtonImageInner.translated(button.topLeft());
    m_data->ButtonPaintArea = ButtonPaintArea(Scale().Value);
    return true;
}

void TQVSlider::paintEvent(QPaintEvent *event)
{
    if (!m_data->ValueRegion.isEmpty()) {
        QPainter painter(this);
        if (PaintValueFromBackground(painter, event->region()))
            return;
    }
    m_data->BackgroundValid = false;
    m_data->ButtonImage = QPixmap();
    if (!m_data->ReduceFlicker) {
        TQVLinearScaleControl::paintEvent(event);
        return;
    }
    QPainter painter(this);
    // The real target decides the pixel ratio (a grab or render may differ from the screen).
    const qreal dpr = QVTargetPixelRatio(painter, *this);
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    if (m_data->Offscreen.size() != pixels || m_data->Offscreen.devicePixelRatioF() != dpr) {
        m_data->Offscreen = QPixmap(pixels);
        m_data->Offscreen.setDevicePixelRatio(dpr);
    }
    {
        QPainter offscreen(&m_data->Offscreen);
        offscreen.setClipRegion(event->region());
        Paint(offscreen);
    }
    painter.setClipRegion(event->region());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawPixmap(0, 0, m_data->Offscreen);
}

void TQVSlider::resizeEvent(QResizeEvent *event)
{
    TQVLinearScaleControl::resizeEvent(event);
    if (LimitButtonWidth())
        Notify(TQVChangeGroup::Appearance);
}

void TQVSlider::Paint(QPainter &painter)
{
    PaintPanel(painter);
    if (width() != m_data->LastWidth || height() != m_data->LastHeight) {
        m_data->LastWidth = width();
        m_data->LastHeight = height();
        LimitButtonWidth();
    }
    PaintSlideTrack(painter);
    PaintLabeling(painter);
    PaintButton(painter);
}

void TQVSlider::PaintSlideTrack(QPainter &painter)
{
    if (Adaptive()) {
        Scale().AdaptiveLayout = TQVLinearScaleDraw::LayoutAdaptive(ScaleSpec(), ClientRect(), ThumbAcross(), ThumbLength() / 2,
                                                      Scale().OffsetLower, Scale().OffsetUpper);
        m_data->SlideRect = Scale().AdaptiveLayout.Track;
        if (!Scale().AdaptiveLayout.IsValid())
            return;
        if (!m_data->PictureSlide.isNull()) {
            painter.drawPixmap(Scale().AdaptiveLayout.Track, m_data->PictureSlide);
            return;
        }
        // A rounded groove across the middle of the thumb's lane, the colour ranges inside it.
        const QRect lane = Scale().AdaptiveLayout.Track;
        const int across = Vertical() ? lane.width() : lane.height();
        const int thickness = std::clamp(m_data->SliderWidth / 2, 3, std::max(3, across - 4));
        const int inset = ThumbLength() / 2 - thickness / 2;
        QRectF groove = Vertical() ? QRectF(lane.left() + (across - thickness) / 2, lane.top() + inset, thickness,
                                            lane.height() - 2 * inset)
                                   : QRectF(lane.left() + inset, lane.top() + (across - thickness) / 2,
                                            lane.width() - 2 * inset, thickness);
        const QPalette &pal = palette();
        const QColor ground = ToQColor(Color());
        const QColor text = pal.color(QPalette::WindowText);
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(Mix(ground, text, 0.4), 1.0));
        painter.setBrush(Mix(ground, text, 0.15));
        const double radius = thickness / 2.0;
        painter.drawRoundedRect(groove.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
        const double span = Scale().ValueMax - Scale().ValueMin;
        if (span > 0.0 && std::isfinite(span)) {
            painter.setPen(Qt::NoPen);
            painter.setClipRect(groove.adjusted(1, 1, -1, -1), Qt::IntersectClip);
            double lower = Scale().ValueMin;
            for (int i = 0; i < Scale().Ranges.Number(); ++i) {
                const double limit = std::clamp(Scale().Ranges[i].Limit, Scale().ValueMin, Scale().ValueMax);
                const QColor colour = ToQColor(Scale().Ranges[i].Color);
                if (colour != ground && limit > lower) {
                    const double a = Scale().AdaptiveLayout.PositionOf(lower, Scale().ValueMin, Scale().ValueMax);
                    const double b = Scale().AdaptiveLayout.PositionOf(limit, Scale().ValueMin, Scale().ValueMax);
                    painter.setBrush(colour);
                    painter.drawRect(Vertical() ? QRectF(groove.left(), std::min(a, b), groove.width(), std::fabs(b - a))
                                                : QRectF(std::min(a, b), groove.top(), std::fabs(b - a), groove.height()));
                }
                lower = std::max(lower, limit);
            }
        }
        painter.restore();
        return;
    }
    const int w = width();
    const int h = height();
    const bool secondSide = LabelingOrientation() == lboRight || LabelingOrientation() == lboBelow;
    const int sliderWidth = QVPinPx(m_data->SliderWidth), lower = QVPinPx(Scale().OffsetLower), upper = QVPinPx(Scale().OffsetUpper);
    QRect t;
    if (Vertical()) {
        int left = (w - sliderWidth) / 2;
        if (LabelingStyle() == lbsAsymmetric)
            left = secondSide ? int(w * 0.1) : int(w * 0.9) - sliderWidth;
        t = Edges(left, upper, left + sliderWidth, h - lower);
    } else {
        int top = (h - sliderWidth) / 2;
        if (LabelingStyle() == lbsAsymmetric)
            top = secondSide ? int(h * 0.1) : int(h * 0.9) - sliderWidth;
        t = Edges(lower, top, w - upper, top + sliderWidth);
    }
    // Stored before the picture check so that a click on a pictured track jumps as well.
    m_data->SlideRect = t;

    if (!m_data->PictureSlide.isNull()) {
        painter.fillRect(rect(), ToQColor(Color()));
        painter.drawPixmap(rect(), m_data->PictureSlide);
        return;
    }
    // The surroundings of the track already carry `Color`: the panel painted them.
    if (t.isEmpty())
        return;
    t = QVFrame3D(painter, t, ToQColor(Scale().BevelColor2), ToQColor(Scale().BevelColor1), BevelWidth());
    if (t.isEmpty())
        return;

    const double span = Scale().ValueMax - Scale().ValueMin;
    if (!(span != 0.0) || !std::isfinite(span))
        return;
    const int n = Scale().Ranges.Number();
    const int buttonHeight = QVPinPx(m_data->ButtonHeight);
    const int half = buttonHeight / 2;
    const int tl = t.left(), tt = t.top(), tr = t.left() + t.width(), tb = t.top() + t.height();
    if (Vertical()) {
        int e = tb;
        for (int i = 0; i < n; ++i) {
            const int p = tb - QVRoundPx((Scale().Ranges[i].Limit - Scale().ValueMin) * (tb - tt - buttonHeight) / span) - half;
            Fill(painter, Edges(tl, i == n - 1 ? tt : p, tr, e).intersected(t), ToQColor(Scale().Ranges[i].Color));
            e = p;
        }
    } else {
        int e = tl;
        for (int i = 0; i < n; ++i) {
            const int p = QVRoundPx((Scale().Ranges[i].Limit - Scale().ValueMin) * (tr - tl - buttonHeight) / span) + half + 2;
            Fill(painter, Edges(e, tt, i == n - 1 ? tr : p, tb).intersected(t), ToQColor(Scale().Ranges[i].Color));
            e = p;
        }
    }
}

void TQVSlider::PaintLabeling(QPainter &painter)
{
    if (LabelingStyle() == lbsNone)
        return;
    if (Adaptive()) {
        if (Scale().AdaptiveLayout.IsValid())
            TQVLinearScaleDraw::PaintAdaptive(painter, Scale().AdaptiveLayout, ScaleSpec().Ink);
        return;
    }
    const int w = width();
    const int h = height();
    // The scale runs between the centres of the button at its two ends; a mask picture gives
    // the button's extent instead.
    const int lower = QVPinPx(Scale().OffsetLower), upper = QVPinPx(Scale().OffsetUpper);
    int half = QVPinPx(m_data->ButtonHeight) / 2;
    const bool mask = !m_data->PictureMask.isNull();
    if (mask)
        half = Vertical() ? m_data->PictureMask.height() / 2 : m_data->PictureMask.width() / 2;
    TQVClassicLinearGeometry geometry;
    if (Vertical())
        geometry.Area = Edges(0, half + upper, w, h - half - lower);
    else
        geometry.Area = Edges(half + (mask ? 0 : lower), 0, w - half - (mask ? 0 : upper), h);
    if (geometry.Area.isNull())
        return;
    geometry.Widget = size();
    geometry.BarThickness = QVPinPx(m_data->SliderWidth);
    geometry.Asymmetric = LabelingStyle() == lbsAsymmetric;
    geometry.Width8 = TextWidth8();
    StoreClassicResult(Scale().Draw.PaintClassic(painter, ScaleSpec(), geometry));
}

void TQVSlider::PaintButton(QPainter &painter)
{
    QRect b = ButtonGeometry(Scale().Value);
    m_data->ButtonRect = b;
    m_data->ButtonPaintArea = ButtonPaintArea(Scale().Value);
    if (b.isEmpty())
        return;
    if (Adaptive() && m_data->PictureButton.isNull()) {
        PaintCachedThumb(painter, b);
        return;
    }
    if (!m_data->PictureMask.isNull()) {
        painter.save();
        painter.setCompositionMode(QPainter::RasterOp_SourceAndDestination);
        painter.drawPixmap(b, m_data->PictureMask);
        painter.restore();
    }
    if (!m_data->PictureButton.isNull()) {
        painter.save();
        painter.setCompositionMode(QPainter::RasterOp_SourceOrDestination);
        painter.drawPixmap(b.adjusted(1, 1, -1, -1), m_data->PictureButton);
        painter.restore();
        return;
    }

    const int bw = QVPinPx(BevelWidth(), 0);
    const QColor light = ToQColor(Scale().BevelColor1);
    const QColor shadow = ToQColor(Scale().BevelColor2);
    const QColor border = ToQColor(m_data->ButtonBorderColor);
    if (m_data->ButtonTransparent && LabelingStyle() == lbsAsymmetric) {
        // A bar across the whole control with a sunken window through which the label shows.
        QRect inner = QVFrame3D(painter, m_data->ButtonPaintArea, light, shadow, bw);
        const int windowSpan = Scale().LabelWidth + 2 * TextWidth8() + bw;
        const bool secondSide = LabelingOrientation() == lboRight || LabelingOrientation() == lboBelow;
        QRect window;
        if (Vertical()) {
            const int right = secondSide ? int(width() * 0.8) + bw : int(width() * 0.2) - bw + windowSpan;
            window = Edges(right - windowSpan, inner.top(), right, inner.top() + inner.height());
        } else {
            const int h = height();
            const int bottom = secondSide ? h - int(h * 0.2) + bw : int(h * 0.2) - bw + 2 * Scale().LabelHeight + 2 * bw;
            const int top = secondSide ? bottom - 2 * Scale().LabelHeight - 2 * bw : int(h * 0.2) - bw;
            window = Edges(inner.left(), top, inner.left() + inner.width(), bottom);
        }
        window = window.intersected(inner);
        painter.save();
        painter.setClipRegion(QRegion(inner).subtracted(QRegion(window)), Qt::IntersectClip);
        painter.fillRect(inner, border);
        painter.restore();
        if (!window.isEmpty()) {
            window = QVFrame3D(painter, window, border, border, bw);
            QVFrame3D(painter, window, shadow, light, bw);
        }
        b = inner;
    } else {
        b = QVFrame3D(painter, b, light, shadow, bw);
        b = QVFrame3D(painter, b, border, border, bw);
        b = QVFrame3D(painter, b, shadow, light, bw);
        if (!m_data->ButtonTransparent)
            Fill(painter, b, ToQColor(m_data->ButtonColor));
    }
    m_data->ButtonRect = b;

    if (!m_data->ButtonCaption.isEmpty()) {
        painter.setFont(m_data->ButtonFont);
        painter.setPen(ToQColor(m_data->ButtonFontColor));
        const QFontMetrics fm(m_data->ButtonFont);
        const int x = b.left() + (b.width() - fm.horizontalAdvance(m_data->ButtonCaption)) / 2;
        const int y = b.top() + (b.height() - fm.height()) / 2;
        painter.drawText(QPoint(x, y + fm.ascent()), m_data->ButtonCaption);
    }
}

void TQVSlider::PaintCachedThumb(QPainter &painter, const QRect &thumb)
{
    // Drawn once into a picture with room for the focus ring, then blitted by the full paint
    // and the value repaint alike: both give the same pixels (an anti-aliased edge blended
    // twice in different ways would not). A full paint draws the picture anew.
    const QPaintDevice *device = painter.device();
    const qreal dpr = device ? device->devicePixelRatioF() : devicePixelRatioF();
    const QRect area = thumb.adjusted(-2, -2, 2, 2);
    const QSize pixels = (QSizeF(area.size()) * dpr).toSize();
    if (!rect().contains(area) || pixels.width() * qint64(pixels.height()) > (1 << 22)) {
        PaintThumb(painter, thumb); // reaching out of the widget: no picture of it
        return;
    }
    if (m_data->ButtonImage.size() != pixels || m_data->ButtonImage.devicePixelRatioF() != dpr) {
        m_data->ButtonImage = QPixmap(pixels);
        m_data->ButtonImage.setDevicePixelRatio(dpr);
        m_data->ButtonImage.fill(Qt::transparent);
        QPainter image(&m_data->ButtonImage);
        image.translate(-area.topLeft());
        PaintThumb(image, thumb);
    }
    painter.drawPixmap(area.topLeft(), m_data->ButtonImage);
}

void TQVSlider::PaintThumb(QPainter &painter, const QRect &thumb)
{
    const QPalette &pal = palette();
    // The face is the palette's button colour unless the user chose another one; the outline
    // takes a share of the text colour, so the thumb stands out on light and dark palettes.
    QColor face = m_data->ButtonColor == QVColors::clBtnFace ? pal.color(QPalette::Button) : ToQColor(m_data->ButtonColor);
    if (m_data->Dragging)
        face = face.darker(108);
    else if (m_data->Hover)
        face = face.lighter(112);
    const QColor text = pal.color(QPalette::ButtonText);
    const QRectF r = QRectF(thumb).adjusted(0.5, 0.5, -0.5, -0.5);
    const double radius = std::min(r.width(), r.height()) * 0.22;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_data->Focused) {
        painter.setPen(QPen(pal.color(QPalette::Highlight), 2.0));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(r.adjusted(-1, -1, 1, 1), radius + 1, radius + 1);
    }
    QLinearGradient shade(r.topLeft(), Vertical() ? r.bottomLeft() : r.topRight());
    shade.setColorAt(0.0, face.lighter(106));
    shade.setColorAt(1.0, face.darker(106));
    painter.setBrush(m_data->ButtonTransparent ? QBrush(Qt::NoBrush) : QBrush(shade));
    painter.setPen(QPen(Mix(face, text, 0.55), 1.0));
    painter.drawRoundedRect(r, radius, radius);
    // A grip of three short lines across the thumb, or the caption.
    if (m_data->ButtonCaption.isEmpty()) {
        painter.setRenderHint(QPainter::Antialiasing, false);
        painter.setPen(QPen(Mix(face, text, 0.45), 1.0));
        const QPoint c = thumb.center();
        const int reach = std::max(2, (Vertical() ? thumb.width() : thumb.height()) / 4);
        for (int k = -1; k <= 1 && (Vertical() ? thumb.height() : thumb.width()) >= 10; ++k) {
            if (Vertical())
                painter.drawLine(c.x() - reach, c.y() + 3 * k, c.x() + reach, c.y() + 3 * k);
            else
                painter.drawLine(c.x() + 3 * k, c.y() - reach, c.x() + 3 * k, c.y() + reach);
        }
    } else {
        painter.setFont(m_data->ButtonFont);
        painter.setPen(m_data->ButtonFontColor == QVColors::clBlack ? text : ToQColor(m_data->ButtonFontColor));
        painter.drawText(thumb, Qt::AlignCenter, m_data->ButtonCaption);
    }
    painter.restore();
}

void TQVSlider::SetHover(bool hover)
{
    if (!QVChange(m_data->Hover, hover))
        return;
    m_data->ButtonImage = QPixmap();
    update(m_data->ButtonPaintArea.adjusted(-2, -2, 2, 2));
}

bool TQVSlider::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::HoverEnter:
    case QEvent::HoverMove:
        SetHover(Adaptive() && m_data->ButtonRect.contains(static_cast<QHoverEvent *>(event)->position().toPoint()));
        break;
    case QEvent::HoverLeave:
        SetHover(false);
        break;
    default:
        break;
    }
    return TQVLinearScaleControl::event(event);
}

void TQVSlider::focusInEvent(QFocusEvent *event)
{
    TQVLinearScaleControl::focusInEvent(event);
    m_data->Focused = true;
    if (Adaptive()) {
        m_data->ButtonImage = QPixmap();
        update(m_data->ButtonPaintArea.adjusted(-2, -2, 2, 2));
    }
}

void TQVSlider::focusOutEvent(QFocusEvent *event)
{
    TQVLinearScaleControl::focusOutEvent(event);
    m_data->Focused = false;
    if (Adaptive()) {
        m_data->ButtonImage = QPixmap();
        update(m_data->ButtonPaintArea.adjusted(-2, -2, 2, 2));
    }
}

void TQVSlider::ScaleLayoutChanged()
{
    m_data->ButtonImage = QPixmap();
    m_data->BackgroundValid = false;
    setAttribute(Qt::WA_Hover, Adaptive());
}

void TQVSlider::StartDrag(const QPoint &pos)
{
    m_data->Dragging = true;
    m_data->ButtonImage = QPixmap(); // the pressed thumb is darker
    m_data->DragStart = pos;
    m_data->DragStartValue = Scale().Value;
    emit SliderPressed();
}

void TQVSlider::EditValue(double value)
{
    const double before = Scale().Value;
    SetValue(value);
    if (Scale().Value != before)
        emit ValueEdited(Scale().Value);
}

void TQVSlider::mousePressEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() != Qt::LeftButton)
        return;
    const QPoint pos = event->position().toPoint();
    if (m_data->ButtonRect.contains(pos)) {
        StartDrag(pos);
    } else if (Adaptive() && Scale().AdaptiveLayout.IsValid() && m_data->SlideRect.contains(pos)) {
        EditValue(AdaptiveValueAt(Vertical() ? pos.y() + 0.5 : pos.x() + 0.5));
        StartDrag(pos);
    } else if (m_data->SlideRect.contains(pos)) {
        const double span = Scale().ValueMax - Scale().ValueMin;
        const int travel = Travel();
        if (travel != 0) {
            const double half = m_data->ButtonHeight / 2.0;
            if (Vertical())
                EditValue(span * (height() - half - Scale().OffsetLower - pos.y()) / travel + Scale().ValueMin);
            else
                EditValue(span * (pos.x() - half - Scale().OffsetLower) / travel + Scale().ValueMin);
        }
        StartDrag(pos);
    }
}

void TQVSlider::mouseMoveEvent(QMouseEvent *event)
{
    event->accept();
    if (!m_data->Dragging)
        return;
    if (Adaptive()) {
        const QPoint pos = event->position().toPoint();
        const double moved = Vertical() ? pos.y() - m_data->DragStart.y() : pos.x() - m_data->DragStart.x();
        if (Scale().AdaptiveLayout.IsValid() && Scale().AdaptiveLayout.Upper != Scale().AdaptiveLayout.Lower)
            EditValue(m_data->DragStartValue + moved / (Scale().AdaptiveLayout.Upper - Scale().AdaptiveLayout.Lower) * (Scale().ValueMax - Scale().ValueMin));
        return;
    }
    const int travel = Travel();
    if (travel == 0)
        return;
    const QPoint pos = event->position().toPoint();
    const double span = Scale().ValueMax - Scale().ValueMin;
    if (Vertical())
        EditValue(span * (m_data->DragStart.y() - pos.y()) / travel + m_data->DragStartValue);
    else
        EditValue(span * (pos.x() - m_data->DragStart.x()) / travel + m_data->DragStartValue);
}

void TQVSlider::mouseReleaseEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() == Qt::LeftButton && m_data->Dragging) {
        m_data->Dragging = false;
        if (Adaptive()) {
            m_data->ButtonImage = QPixmap();
            update(m_data->ButtonPaintArea);
        }
        emit SliderReleased();
    }
}

void TQVSlider::keyPressEvent(QKeyEvent *event)
{
    const double span = Scale().ValueMax - Scale().ValueMin;
    const double step = m_data->ValueStepWidth > 0.0 ? m_data->ValueStepWidth : span / 100.0;
    const double page = m_data->ValueStepWidth > 0.0
        ? m_data->ValueStepWidth * std::max(1.0, std::nearbyint(span / 10.0 / m_data->ValueStepWidth))
        : span / 10.0;
    switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Right:
        EditValue(Scale().Value + step);
        break;
    case Qt::Key_Down:
    case Qt::Key_Left:
        EditValue(Scale().Value - step);
        break;
    case Qt::Key_PageUp:
        EditValue(Scale().Value + page);
        break;
    case Qt::Key_PageDown:
        EditValue(Scale().Value - page);
        break;
    case Qt::Key_Home:
        EditValue(Scale().ValueMin);
        break;
    case Qt::Key_End:
        EditValue(Scale().ValueMax);
        break;
    default:
        TQVLinearScaleControl::keyPressEvent(event);
        return;
    }
    event->accept();
}
