#include "controls/qvSlider.h"

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

#include "controls/qvbargraphint.h"
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

TQVSlider::TQVSlider(QWidget *parent)
    : TQVCustomPanel(parent)
    , m_buttonFont(QStringLiteral("Arial"), 8)
    , m_labelingFont(QStringLiteral("Arial"), 8)
{
    QVInstallValueAccessibility({"TQVSlider", QAccessible::Slider, QT_TRANSLATE_NOOP("TQVSlider", "Slider"),
                                 "ButtonCaption", true});

    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    m_ranges[0] = {QVColors::clBtnFace, 100.0};
    resize(49, 165);
}

TQVSlider::~TQVSlider() = default;

void TQVSlider::SetSliderWidth(int width)
{
    if (width == m_sliderWidth || width < 0)
        return;
    m_sliderWidth = width;
    updateGeometry();
    update();
}

int TQVSlider::MaxButtonWidth() const
{
    return (Vertical() ? width() : height()) - 2;
}

void TQVSlider::LimitButtonWidth()
{
    m_buttonWidth = std::max(0, std::min(m_buttonWidth, MaxButtonWidth()));
}

void TQVSlider::SetButtonWidth(int width)
{
    if (width == m_buttonWidth || width < 0)
        return;
    if (m_labelingStyle == lbsAsymmetric && !m_pictureButton.isNull())
        return;
    m_buttonWidth = std::max(0, std::min(width, MaxButtonWidth()));
    updateGeometry();
    update();
}

void TQVSlider::SetButtonHeight(int height)
{
    if (height == m_buttonHeight || height < 0)
        return;
    m_buttonHeight = height;
    updateGeometry();
    update();
}

void TQVSlider::CheckLimits()
{
    m_ranges.Clamp(m_valueMin, m_valueMax);
}

void TQVSlider::SetRangeNumber(int number)
{
    if (!m_ranges.SetNumber(number))
        return;
    CheckLimits();
    update();
}

void TQVSlider::SetRangeCurrent(int index)
{
    if (m_ranges.SetCurrent(index))
        update();
}

void TQVSlider::SetRangeLimit(double limit)
{
    if (!m_ranges.SetLimit(limit))
        return;
    CheckLimits();
    update();
}

void TQVSlider::SetRangeColor(TQVColor color)
{
    if (m_ranges.SetColor(color))
        update();
}

void TQVSlider::SetLabelingDecimals(int decimals)
{
    if (decimals == m_labelingDecimals)
        return;
    m_labelingDecimals = decimals;
    update();
}

void TQVSlider::SetOffsetLower(int offset)
{
    if (offset == m_offsetLower || offset < 0)
        return;
    m_offsetLower = offset;
    update();
}

void TQVSlider::SetOffsetUpper(int offset)
{
    if (offset == m_offsetUpper || offset < 0)
        return;
    m_offsetUpper = offset;
    update();
}

void TQVSlider::SetValue(double value)
{
    const std::optional<double> accepted = QVSnapAndClamp(value, m_value, m_valueStepWidth, m_valueMin, m_valueMax);
    if (!accepted)
        return;
    value = *accepted;
    const double oldValue = m_value;
    m_value = value;
    if (OnValueChange)
        OnValueChange(this);
    emit ValueChanged(m_value);
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent event(this, m_value);
        QAccessible::updateAccessibility(&event);
    }
    PaintNewValue(oldValue);
}

void TQVSlider::SetValueMin(double value)
{
    if (std::isnan(value) || value == m_valueMin || !(value < m_valueMax))
        return;
    m_valueMin = value;
    CheckLimits();
    updateGeometry();
    update();
}

void TQVSlider::SetValueMax(double value)
{
    if (std::isnan(value) || value == m_valueMax || !(value > m_valueMin))
        return;
    m_valueMax = value;
    CheckLimits();
    updateGeometry();
    update();
}

void TQVSlider::SetValueStepWidth(double step)
{
    if (step == m_valueStepWidth || !std::isfinite(step))
        return;
    m_valueStepWidth = step;
    SetValue(m_value);
    update();
}

void TQVSlider::SetLabelingGap(double gap)
{
    if (gap == m_labelingGap || !(gap > 0.0) || !std::isfinite(gap))
        return;
    m_labelingGap = gap;
    update();
}

void TQVSlider::SetLabelScientificUnitPosfixInt(int id)
{
    if (id < sipNone || id > sipYotta)
        return;
    m_labelScientificUnitPosfix = TSiPrefixesId(id);
}

void TQVSlider::SetBevelColor1(TQVColor color)
{
    if (color == m_bevelColor1)
        return;
    m_bevelColor1 = color;
    update();
}

void TQVSlider::SetBevelColor2(TQVColor color)
{
    if (color == m_bevelColor2)
        return;
    m_bevelColor2 = color;
    update();
}

void TQVSlider::SetButtonColor(TQVColor color)
{
    if (color == m_buttonColor)
        return;
    m_buttonColor = color;
    update();
}

void TQVSlider::SetButtonBorderColor(TQVColor color)
{
    if (color == m_buttonBorderColor)
        return;
    m_buttonBorderColor = color;
    update();
}

void TQVSlider::SetPictureSlide(const QPixmap &picture)
{
    m_pictureSlide = picture;
    update();
}

void TQVSlider::SetPictureButton(const QPixmap &picture)
{
    m_pictureButton = picture;
    update();
}

void TQVSlider::SetPictureMask(const QPixmap &picture)
{
    m_pictureMask = picture;
    update();
}

void TQVSlider::SetButtonCaption(const QString &caption)
{
    if (caption == m_buttonCaption)
        return;
    m_buttonCaption = caption;
    update();
}

void TQVSlider::SetButtonFont(const QFont &font)
{
    if (font == m_buttonFont)
        return;
    m_buttonFont = font;
    update();
}

void TQVSlider::SetButtonFontColor(TQVColor color)
{
    if (color == m_buttonFontColor)
        return;
    m_buttonFontColor = color;
    update();
}

void TQVSlider::SetButtonTransparent(bool transparent)
{
    if (transparent == m_buttonTransparent)
        return;
    m_buttonTransparent = transparent;
    update();
}

void TQVSlider::SetLabelingFont(const QFont &font)
{
    if (font == m_labelingFont)
        return;
    m_labelingFont = font;
    updateGeometry();
    update();
}

void TQVSlider::SetLabelingFontColor(TQVColor color)
{
    if (color == m_labelingFontColor)
        return;
    m_labelingFontColor = color;
    update();
}

void TQVSlider::SetReduceFlicker(bool reduce)
{
    if (reduce == m_reduceFlicker)
        return;
    m_reduceFlicker = reduce;
    // The pixmap is sized on the next paint, when the target's pixel ratio is known.
    m_offscreen = QPixmap();
    update();
}

void TQVSlider::SetKind(TQVKind kind)
{
    if (kind == m_kind || kind > sbVertical)
        return;
    m_kind = kind;
    if (IsDesigning() && !IsLoading())
        resize(height(), width());
    updateGeometry();
    update();
}

void TQVSlider::SetLabelingOrientation(TLabelingOrientation orientation)
{
    if (orientation == m_labelingOrientation || orientation > lboBelow)
        return;
    m_labelingOrientation = orientation;
    update();
}

void TQVSlider::SetLabelingStyle(TLabelingStyle style)
{
    if (style == m_labelingStyle || style > lbsAsymmetric)
        return;
    m_labelingStyle = style;
    if (style == lbsAsymmetric && m_pictureButton.isNull())
        m_buttonWidth = std::max(0, MaxButtonWidth());
    else
        LimitButtonWidth();
    updateGeometry();
    update();
}

QList<TQVSlider::TRangeEntry> TQVSlider::Ranges() const
{
    return m_ranges.Rows();
}

void TQVSlider::ReadRanges(const QList<TRangeEntry> &ranges)
{
    m_ranges.Assign(ranges);
    update();
}

TQVSlider::TStreamDoubles TQVSlider::Doubles() const
{
    return {m_value, m_valueMin, m_valueMax, m_valueStepWidth, m_labelingGap};
}

void TQVSlider::ReadDoubles(const TStreamDoubles &values)
{
    m_value = values.Value;
    m_valueMin = values.ValueMin;
    m_valueMax = values.ValueMax;
    m_valueStepWidth = values.ValueStepWidth;
    m_labelingGap = values.LabelingGap;
    update();
}

void TQVSlider::ReadRange(const QList<TRangeEntry> &ranges, const TStreamDoubles &values)
{
    ReadRanges(ranges);
    ReadDoubles(values);
}

QString TQVSlider::RangeTable() const
{
    QList<TQVRangeTableRow> rows;
    for (const TRangeEntry &entry : Ranges())
        rows.append(TQVRangeTableRow{entry.Color, entry.Limit, false});
    return QVRangeTableText(rows, false);
}

void TQVSlider::SetRangeTable(const QString &text)
{
    QList<TQVRangeTableRow> rows;
    if (!QVParseRangeTable(text, false, rows))
        return;
    QList<TRangeEntry> ranges;
    for (const TQVRangeTableRow &row : rows.first(std::min<qsizetype>(rows.size(), MaxRanges)))
        ranges.append(TRangeEntry{row.Color, row.Limit});
    ReadRanges(ranges);
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
    TQVCustomPanel::DefineProperties(filer);
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
    return QVScaleLabelFormat(m_labelScientificUnitPosfix, m_valueMin, m_valueMax,
                              std::min(m_labelingDecimals, QVMaxLabelDecimals));
}

QString TQVSlider::FormatLabel(const QString &format, double value) const
{
    return QVFormatScaleLabel(format, value, m_labelScientificUnitPosfix, m_labelTextPosfix, locale());
}

int TQVSlider::TextWidth8() const
{
    return QFontMetrics(m_labelingFont).horizontalAdvance(QLatin1Char('8'));
}

QSize TQVSlider::sizeHint() const
{
    if (Adaptive())
        return TQVLinearScaleDraw::AdaptiveSizeHint(ScaleSpec(), ThumbAcross(), ThumbLength() / 2, false);
    const QFontMetrics fm(m_labelingFont);
    const bool labels = m_labelingStyle != lbsNone && m_labelingStyle != lbsLines;
    const double widest = std::abs(m_valueMin) >= std::abs(m_valueMax) ? m_valueMin : m_valueMax;
    int across = QVPinPx(std::max(m_buttonWidth, m_sliderWidth)) + 2;
    if (Vertical()) {
        if (labels)
            across += 2 * (fm.horizontalAdvance(FormatLabel(LabelFormat(), widest) + QLatin1Char('-')) + 8);
        else if (m_labelingStyle == lbsLines)
            across += 2 * 12;
        return QSize(std::max(49, across), 165);
    }
    if (labels)
        across += 2 * (fm.height() + 8);
    else if (m_labelingStyle == lbsLines)
        across += 2 * 12;
    return QSize(165, std::max(49, across));
}

QSize TQVSlider::minimumSizeHint() const
{
    if (Adaptive())
        return TQVLinearScaleDraw::AdaptiveSizeHint(ScaleSpec(), ThumbAcross(), ThumbLength() / 2, true);
    const int along = QVPinPx(m_buttonHeight) + QVPinPx(m_offsetLower) + QVPinPx(m_offsetUpper) + 20;
    const int across = QVPinPx(std::max(m_buttonWidth, m_sliderWidth)) / 2 + 2;
    return Vertical() ? QSize(across, along) : QSize(along, across);
}

int TQVSlider::Travel() const
{
    return (Vertical() ? height() : width()) - QVPinPx(m_buttonHeight) - QVPinPx(m_offsetLower) - QVPinPx(m_offsetUpper);
}

int TQVSlider::ThumbLength() const
{
    const int along = Vertical() ? height() : width();
    const int natural = QFontMetrics(m_labelingFont).height() + 4;
    return std::clamp(std::max(m_buttonHeight, natural), 4, std::max(4, along / 3));
}

int TQVSlider::ThumbAcross() const
{
    const int across = Vertical() ? width() : height();
    const int wanted = std::min(m_buttonWidth, std::max(QVPinPx(m_sliderWidth) + 10, ThumbLength() * 5 / 4));
    return std::clamp(wanted, 4, std::max(4, across - 4));
}

double TQVSlider::AdaptiveValueAt(double position) const
{
    return m_valueMin + (position - m_layout.Lower) / (m_layout.Upper - m_layout.Lower) * (m_valueMax - m_valueMin);
}

QRect TQVSlider::ButtonGeometry(double value) const
{
    if (Adaptive()) {
        if (!m_layout.IsValid())
            return QRect();
        const int centre = QVRoundPx(m_layout.PositionOf(std::clamp(value, m_valueMin, m_valueMax), m_valueMin, m_valueMax));
        const int length = ThumbLength();
        const QRect &t = m_layout.Track;
        return Vertical() ? QRect(t.left(), centre - length / 2, t.width(), length)
                          : QRect(centre - length / 2, t.top(), length, t.height());
    }
    const double span = m_valueMax - m_valueMin;
    const int q = span != 0.0 ? QVRoundPx((value - m_valueMin) * Travel() / span) : 0;
    const int buttonWidth = QVPinPx(m_buttonWidth), buttonHeight = QVPinPx(m_buttonHeight);
    if (Vertical()) {
        const int left = (width() - buttonWidth) / 2 + 1;
        const int bottom = height() - q - QVPinPx(m_offsetLower);
        return QRect(left, bottom - buttonHeight, buttonWidth, buttonHeight);
    }
    const int top = (height() - buttonWidth) / 2;
    return QRect(QVPinPx(m_offsetLower) + q, top, buttonHeight, buttonWidth);
}

QRect TQVSlider::ButtonPaintArea(double value) const
{
    const QRect b = ButtonGeometry(value);
    if (Adaptive())
        return b.isEmpty() ? b : b.adjusted(-2, -2, 2, 2); // room for the focus ring
    if (m_buttonTransparent && m_labelingStyle == lbsAsymmetric && m_pictureButton.isNull())
        return Vertical() ? QRect(0, b.top(), width(), b.height()) : QRect(b.left(), 0, b.width(), height());
    return b;
}

void TQVSlider::PaintNewValue(double oldValue)
{
    Q_UNUSED(oldValue);
    if (!isVisible() || !updatesEnabled())
        return;
    if (Adaptive() && !m_layout.IsValid()) {
        update();
        return;
    }
    // The old area is the button as last painted in full (the hit rectangle is its interior).
    const QRect oldArea = m_buttonPaintArea.adjusted(-2, -2, 2, 2);
    const QRect newArea = ButtonPaintArea(m_value).adjusted(-2, -2, 2, 2);
    const bool apart = !m_buttonPaintArea.isEmpty() && !oldArea.intersects(newArea);
    if (apart) {
        m_valueRegion = oldArea;
        repaint(m_valueRegion);
    }
    m_valueRegion = apart || m_buttonPaintArea.isEmpty() ? newArea : oldArea.united(newArea);
    repaint(m_valueRegion);
    m_valueRegion = QRect();
}

bool TQVSlider::ButtonCacheable() const
{
    return m_pictureButton.isNull() && m_pictureMask.isNull() && !m_buttonTransparent;
}

bool TQVSlider::PaintValueFromBackground(QPainter &painter, const QRegion &region)
{
    // Only a paint of exactly the value area may use the cache: Qt may have merged other
    // pending updates into the event.
    if (m_valueRegion.isEmpty() || !m_valueRegion.contains(region.boundingRect()))
        return false;
    const QPaintDevice *target = painter.paintEngine() ? painter.paintEngine()->paintDevice() : nullptr;
    const qreal dpr = target ? target->devicePixelRatioF() : devicePixelRatioF();
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    if (!m_backgroundValid || m_background.size() != pixels || m_background.devicePixelRatioF() != dpr) {
        m_background = QPixmap(pixels);
        m_background.setDevicePixelRatio(dpr);
        QPainter background(&m_background);
        PaintPanel(background);
        PaintSlideTrack(background);
        PaintLabeling(background);
        m_buttonImage = QPixmap();
        m_backgroundValid = true;
    }
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const QRect &r : region)
        painter.drawPixmap(r, m_background, QRectF(QPointF(r.topLeft()) * dpr, QSizeF(r.size()) * dpr));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setClipRect(m_valueRegion);

    const QRect button = ButtonGeometry(m_value);
    // A button reaching out of the widget (a huge ButtonHeight) would make a huge picture.
    if (!ButtonCacheable() || button.isEmpty() || !rect().contains(button)) {
        PaintButton(painter);
        return true;
    }
    // The opaque button looks the same wherever it is: draw it once, then blit it.
    if (m_buttonImage.isNull() || m_buttonImage.size() != (QSizeF(button.size()) * dpr).toSize()) {
        m_buttonImage = QPixmap((QSizeF(button.size()) * dpr).toSize());
        m_buttonImage.setDevicePixelRatio(dpr);
        m_buttonImage.fill(Qt::transparent);
        QPainter image(&m_buttonImage);
        image.translate(-button.topLeft());
        PaintButton(image);
        m_buttonImageInner = m_buttonRect.translated(-button.topLeft());
    }
    painter.drawPixmap(button.topLeft(), m_buttonImage);
    m_buttonRect = m_buttonImageInner.translated(button.topLeft());
    m_buttonPaintArea = ButtonPaintArea(m_value);
    return true;
}

void TQVSlider::paintEvent(QPaintEvent *event)
{
    if (!m_valueRegion.isEmpty()) {
        QPainter painter(this);
        if (PaintValueFromBackground(painter, event->region()))
            return;
    }
    m_backgroundValid = false;
    if (!m_reduceFlicker) {
        TQVCustomPanel::paintEvent(event);
        return;
    }
    QPainter painter(this);
    // The real target decides the pixel ratio (a grab or render may differ from the screen).
    const QPaintDevice *target = painter.paintEngine() ? painter.paintEngine()->paintDevice() : nullptr;
    const qreal dpr = target ? target->devicePixelRatioF() : devicePixelRatioF();
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    if (m_offscreen.size() != pixels || m_offscreen.devicePixelRatioF() != dpr) {
        m_offscreen = QPixmap(pixels);
        m_offscreen.setDevicePixelRatio(dpr);
    }
    {
        QPainter offscreen(&m_offscreen);
        offscreen.setClipRegion(event->region());
        Paint(offscreen);
    }
    painter.setClipRegion(event->region());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawPixmap(0, 0, m_offscreen);
}

void TQVSlider::resizeEvent(QResizeEvent *event)
{
    TQVCustomPanel::resizeEvent(event);
    LimitButtonWidth();
}

void TQVSlider::Paint(QPainter &painter)
{
    PaintPanel(painter);
    if (width() != m_lastWidth || height() != m_lastHeight) {
        m_lastWidth = width();
        m_lastHeight = height();
        LimitButtonWidth();
    }
    PaintSlideTrack(painter);
    PaintLabeling(painter);
    PaintButton(painter);
}

void TQVSlider::PaintSlideTrack(QPainter &painter)
{
    if (Adaptive()) {
        m_layout = TQVLinearScaleDraw::LayoutAdaptive(ScaleSpec(), ClientRect(), ThumbAcross(), ThumbLength() / 2,
                                                      m_offsetLower, m_offsetUpper);
        m_slideRect = m_layout.Track;
        if (!m_layout.IsValid())
            return;
        if (!m_pictureSlide.isNull()) {
            painter.drawPixmap(m_layout.Track, m_pictureSlide);
            return;
        }
        // A rounded groove across the middle of the thumb's lane, the colour ranges inside it.
        const QRect lane = m_layout.Track;
        const int across = Vertical() ? lane.width() : lane.height();
        const int thickness = std::clamp(m_sliderWidth / 2, 3, std::max(3, across - 4));
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
        const double span = m_valueMax - m_valueMin;
        if (span > 0.0 && std::isfinite(span)) {
            painter.setPen(Qt::NoPen);
            painter.setClipRect(groove.adjusted(1, 1, -1, -1), Qt::IntersectClip);
            double lower = m_valueMin;
            for (int i = 0; i < m_ranges.Number(); ++i) {
                const double limit = std::clamp(m_ranges[i].Limit, m_valueMin, m_valueMax);
                const QColor colour = ToQColor(m_ranges[i].Color);
                if (colour != ground && limit > lower) {
                    const double a = m_layout.PositionOf(lower, m_valueMin, m_valueMax);
                    const double b = m_layout.PositionOf(limit, m_valueMin, m_valueMax);
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
    const bool secondSide = m_labelingOrientation == lboRight || m_labelingOrientation == lboBelow;
    const int sliderWidth = QVPinPx(m_sliderWidth), lower = QVPinPx(m_offsetLower), upper = QVPinPx(m_offsetUpper);
    QRect t;
    if (Vertical()) {
        int left = (w - sliderWidth) / 2;
        if (m_labelingStyle == lbsAsymmetric)
            left = secondSide ? int(w * 0.1) : int(w * 0.9) - sliderWidth;
        t = Edges(left, upper, left + sliderWidth, h - lower);
    } else {
        int top = (h - sliderWidth) / 2;
        if (m_labelingStyle == lbsAsymmetric)
            top = secondSide ? int(h * 0.1) : int(h * 0.9) - sliderWidth;
        t = Edges(lower, top, w - upper, top + sliderWidth);
    }
    // Stored before the picture check so that a click on a pictured track jumps as well.
    m_slideRect = t;

    if (!m_pictureSlide.isNull()) {
        painter.fillRect(rect(), ToQColor(Color()));
        painter.drawPixmap(rect(), m_pictureSlide);
        return;
    }
    // The surroundings of the track already carry `Color`: the panel painted them.
    if (t.isEmpty())
        return;
    t = QVFrame3D(painter, t, ToQColor(m_bevelColor2), ToQColor(m_bevelColor1), BevelWidth());
    if (t.isEmpty())
        return;

    const double span = m_valueMax - m_valueMin;
    if (!(span != 0.0) || !std::isfinite(span))
        return;
    const int n = m_ranges.Number();
    const int buttonHeight = QVPinPx(m_buttonHeight);
    const int half = buttonHeight / 2;
    const int tl = t.left(), tt = t.top(), tr = t.left() + t.width(), tb = t.top() + t.height();
    if (Vertical()) {
        int e = tb;
        for (int i = 0; i < n; ++i) {
            const int p = tb - QVRoundPx((m_ranges[i].Limit - m_valueMin) * (tb - tt - buttonHeight) / span) - half;
            Fill(painter, Edges(tl, i == n - 1 ? tt : p, tr, e).intersected(t), ToQColor(m_ranges[i].Color));
            e = p;
        }
    } else {
        int e = tl;
        for (int i = 0; i < n; ++i) {
            const int p = QVRoundPx((m_ranges[i].Limit - m_valueMin) * (tr - tl - buttonHeight) / span) + half + 2;
            Fill(painter, Edges(e, tt, i == n - 1 ? tr : p, tb).intersected(t), ToQColor(m_ranges[i].Color));
            e = p;
        }
    }
}

TQVLinearScaleSpec TQVSlider::ScaleSpec() const
{
    TQVLinearScaleSpec scale;
    scale.Vertical = Vertical();
    scale.ValueMin = m_valueMin;
    scale.ValueMax = m_valueMax;
    scale.Gap = m_labelingGap;
    scale.Decimals = m_labelingDecimals;
    scale.DefaultDecimals = 1;
    scale.PrefixId = m_labelScientificUnitPosfix;
    scale.Suffix = m_labelTextPosfix;
    scale.Locale = locale();
    scale.Font = m_labelingFont;
    scale.SetInk(m_labelingFontColor, palette(), Adaptive());
    scale.SetStyle(m_labelingStyle, m_labelingOrientation);
    return scale;
}

void TQVSlider::PaintLabeling(QPainter &painter)
{
    if (m_labelingStyle == lbsNone)
        return;
    if (Adaptive()) {
        if (m_layout.IsValid())
            TQVLinearScaleDraw::PaintAdaptive(painter, m_layout, ScaleSpec().Ink);
        return;
    }
    const int w = width();
    const int h = height();
    // The scale runs between the centres of the button at its two ends; a mask picture gives
    // the button's extent instead.
    const int lower = QVPinPx(m_offsetLower), upper = QVPinPx(m_offsetUpper);
    int half = QVPinPx(m_buttonHeight) / 2;
    const bool mask = !m_pictureMask.isNull();
    if (mask)
        half = Vertical() ? m_pictureMask.height() / 2 : m_pictureMask.width() / 2;
    TQVClassicLinearGeometry geometry;
    if (Vertical())
        geometry.Area = Edges(0, half + upper, w, h - half - lower);
    else
        geometry.Area = Edges(half + (mask ? 0 : lower), 0, w - half - (mask ? 0 : upper), h);
    if (geometry.Area.isNull())
        return;
    geometry.Widget = size();
    geometry.BarThickness = QVPinPx(m_sliderWidth);
    geometry.Asymmetric = m_labelingStyle == lbsAsymmetric;
    geometry.Width8 = TextWidth8();
    const auto result = m_scaleDraw.PaintClassic(painter, ScaleSpec(), geometry);
    // Painting enlarges a gap whose lines would lie closer than 2 pixels, for good.
    m_labelingGap = result.Gap;
    if (result.LabelHeight > 0) {
        m_labelWidth = result.LabelWidth;
        m_labelHeight = result.LabelHeight;
    }
}

void TQVSlider::PaintButton(QPainter &painter)
{
    QRect b = ButtonGeometry(m_value);
    m_buttonRect = b;
    m_buttonPaintArea = ButtonPaintArea(m_value);
    if (b.isEmpty())
        return;
    if (Adaptive() && m_pictureButton.isNull()) {
        PaintThumb(painter, b);
        return;
    }
    if (!m_pictureMask.isNull()) {
        painter.save();
        painter.setCompositionMode(QPainter::RasterOp_SourceAndDestination);
        painter.drawPixmap(b, m_pictureMask);
        painter.restore();
    }
    if (!m_pictureButton.isNull()) {
        painter.save();
        painter.setCompositionMode(QPainter::RasterOp_SourceOrDestination);
        painter.drawPixmap(b.adjusted(1, 1, -1, -1), m_pictureButton);
        painter.restore();
        return;
    }

    const int bw = QVPinPx(BevelWidth(), 0);
    const QColor light = ToQColor(m_bevelColor1);
    const QColor shadow = ToQColor(m_bevelColor2);
    const QColor border = ToQColor(m_buttonBorderColor);
    if (m_buttonTransparent && m_labelingStyle == lbsAsymmetric) {
        // A bar across the whole control with a sunken window through which the label shows.
        QRect inner = QVFrame3D(painter, m_buttonPaintArea, light, shadow, bw);
        const int windowSpan = m_labelWidth + 2 * TextWidth8() + bw;
        const bool secondSide = m_labelingOrientation == lboRight || m_labelingOrientation == lboBelow;
        QRect window;
        if (Vertical()) {
            const int right = secondSide ? int(width() * 0.8) + bw : int(width() * 0.2) - bw + windowSpan;
            window = Edges(right - windowSpan, inner.top(), right, inner.top() + inner.height());
        } else {
            const int h = height();
            const int bottom = secondSide ? h - int(h * 0.2) + bw : int(h * 0.2) - bw + 2 * m_labelHeight + 2 * bw;
            const int top = secondSide ? bottom - 2 * m_labelHeight - 2 * bw : int(h * 0.2) - bw;
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
        if (!m_buttonTransparent)
            Fill(painter, b, ToQColor(m_buttonColor));
    }
    m_buttonRect = b;

    if (!m_buttonCaption.isEmpty()) {
        painter.setFont(m_buttonFont);
        painter.setPen(ToQColor(m_buttonFontColor));
        const QFontMetrics fm(m_buttonFont);
        const int x = b.left() + (b.width() - fm.horizontalAdvance(m_buttonCaption)) / 2;
        const int y = b.top() + (b.height() - fm.height()) / 2;
        painter.drawText(QPoint(x, y + fm.ascent()), m_buttonCaption);
    }
}

void TQVSlider::PaintThumb(QPainter &painter, const QRect &thumb)
{
    const QPalette &pal = palette();
    // The face is the palette's button colour unless the user chose another one; the outline
    // takes a share of the text colour, so the thumb stands out on light and dark palettes.
    QColor face = m_buttonColor == QVColors::clBtnFace ? pal.color(QPalette::Button) : ToQColor(m_buttonColor);
    if (m_dragging)
        face = face.darker(108);
    else if (m_hover)
        face = face.lighter(112);
    const QColor text = pal.color(QPalette::ButtonText);
    const QRectF r = QRectF(thumb).adjusted(0.5, 0.5, -0.5, -0.5);
    const double radius = std::min(r.width(), r.height()) * 0.22;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (hasFocus()) {
        painter.setPen(QPen(pal.color(QPalette::Highlight), 2.0));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(r.adjusted(-1, -1, 1, 1), radius + 1, radius + 1);
    }
    QLinearGradient shade(r.topLeft(), Vertical() ? r.bottomLeft() : r.topRight());
    shade.setColorAt(0.0, face.lighter(106));
    shade.setColorAt(1.0, face.darker(106));
    painter.setBrush(m_buttonTransparent ? QBrush(Qt::NoBrush) : QBrush(shade));
    painter.setPen(QPen(Mix(face, text, 0.55), 1.0));
    painter.drawRoundedRect(r, radius, radius);
    // A grip of three short lines across the thumb, or the caption.
    if (m_buttonCaption.isEmpty()) {
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
        painter.setFont(m_buttonFont);
        painter.setPen(m_buttonFontColor == QVColors::clBlack ? text : ToQColor(m_buttonFontColor));
        painter.drawText(thumb, Qt::AlignCenter, m_buttonCaption);
    }
    painter.restore();
}

void TQVSlider::SetHover(bool hover)
{
    if (hover == m_hover)
        return;
    m_hover = hover;
    m_buttonImage = QPixmap();
    update(m_buttonPaintArea.adjusted(-2, -2, 2, 2));
}

bool TQVSlider::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::HoverEnter:
    case QEvent::HoverMove:
        SetHover(Adaptive() && m_buttonRect.contains(static_cast<QHoverEvent *>(event)->position().toPoint()));
        break;
    case QEvent::HoverLeave:
        SetHover(false);
        break;
    default:
        break;
    }
    return TQVCustomPanel::event(event);
}

void TQVSlider::focusInEvent(QFocusEvent *event)
{
    TQVCustomPanel::focusInEvent(event);
    if (Adaptive()) {
        m_buttonImage = QPixmap();
        update(m_buttonPaintArea.adjusted(-2, -2, 2, 2));
    }
}

void TQVSlider::focusOutEvent(QFocusEvent *event)
{
    TQVCustomPanel::focusOutEvent(event);
    if (Adaptive()) {
        m_buttonImage = QPixmap();
        update(m_buttonPaintArea.adjusted(-2, -2, 2, 2));
    }
}

void TQVSlider::SetScaleLayout(TQVScaleLayout layout)
{
    if (layout == m_scaleLayout || layout > slAdaptive)
        return;
    m_scaleLayout = layout;
    m_layout = {};
    m_buttonImage = QPixmap();
    m_backgroundValid = false;
    setAttribute(Qt::WA_Hover, layout == slAdaptive);
    updateGeometry();
    update();
}

void TQVSlider::StartDrag(const QPoint &pos)
{
    m_dragging = true;
    m_dragStart = pos;
    m_dragStartValue = m_value;
}

void TQVSlider::mousePressEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() != Qt::LeftButton)
        return;
    const QPoint pos = event->position().toPoint();
    if (m_buttonRect.contains(pos)) {
        StartDrag(pos);
    } else if (Adaptive() && m_layout.IsValid() && m_slideRect.contains(pos)) {
        SetValue(AdaptiveValueAt(Vertical() ? pos.y() + 0.5 : pos.x() + 0.5));
        StartDrag(pos);
    } else if (m_slideRect.contains(pos)) {
        const double span = m_valueMax - m_valueMin;
        const int travel = Travel();
        if (travel != 0) {
            const double half = m_buttonHeight / 2.0;
            if (Vertical())
                SetValue(span * (height() - half - m_offsetLower - pos.y()) / travel + m_valueMin);
            else
                SetValue(span * (pos.x() - half - m_offsetLower) / travel + m_valueMin);
        }
        StartDrag(pos);
    }
}

void TQVSlider::mouseMoveEvent(QMouseEvent *event)
{
    event->accept();
    if (!m_dragging)
        return;
    if (Adaptive()) {
        const QPoint pos = event->position().toPoint();
        const double moved = Vertical() ? pos.y() - m_dragStart.y() : pos.x() - m_dragStart.x();
        if (m_layout.IsValid() && m_layout.Upper != m_layout.Lower)
            SetValue(m_dragStartValue + moved / (m_layout.Upper - m_layout.Lower) * (m_valueMax - m_valueMin));
        return;
    }
    const int travel = Travel();
    if (travel == 0)
        return;
    const QPoint pos = event->position().toPoint();
    const double span = m_valueMax - m_valueMin;
    if (Vertical())
        SetValue(span * (m_dragStart.y() - pos.y()) / travel + m_dragStartValue);
    else
        SetValue(span * (pos.x() - m_dragStart.x()) / travel + m_dragStartValue);
}

void TQVSlider::mouseReleaseEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() == Qt::LeftButton && m_dragging) {
        m_dragging = false;
        if (Adaptive()) {
            m_buttonImage = QPixmap();
            update(m_buttonPaintArea);
        }
    }
}

void TQVSlider::keyPressEvent(QKeyEvent *event)
{
    const double span = m_valueMax - m_valueMin;
    const double step = m_valueStepWidth > 0.0 ? m_valueStepWidth : span / 100.0;
    const double page = m_valueStepWidth > 0.0
        ? m_valueStepWidth * std::max(1.0, std::nearbyint(span / 10.0 / m_valueStepWidth))
        : span / 10.0;
    switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Right:
        SetValue(m_value + step);
        break;
    case Qt::Key_Down:
    case Qt::Key_Left:
        SetValue(m_value - step);
        break;
    case Qt::Key_PageUp:
        SetValue(m_value + page);
        break;
    case Qt::Key_PageDown:
        SetValue(m_value - page);
        break;
    case Qt::Key_Home:
        SetValue(m_valueMin);
        break;
    case Qt::Key_End:
        SetValue(m_valueMax);
        break;
    default:
        TQVCustomPanel::keyPressEvent(event);
        return;
    }
    event->accept();
}
