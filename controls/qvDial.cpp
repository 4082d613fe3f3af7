#include "controls/qvDial.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include <QtCore/QCoreApplication>
#include <QtGui/QAccessible>
#include <QtGui/QFontMetricsF>
#include <QtGui/QKeyEvent>
#include <QtGui/QLinearGradient>
#include <QtGui/QMouseEvent>
#include <QtGui/QPaintEngine>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtGui/QRadialGradient>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QAccessibleWidget>

#include "controls/qvCommon.h"
#include "controls/qvFormat.h"
#include "controls/scale/qvScaleEngine.h"

namespace {

constexpr double TickLong = 8.0;
constexpr double TickShort = 4.0;
constexpr double KnobGap = 5.0;
constexpr double LabelGap = 3.0;
constexpr double KnobMargin = 3.0; // shadow and focus ring around the knob
constexpr double AngleLimit = 720.0;
constexpr double EndTolerance = 5.0; // degrees past a scale end that still count as the end
constexpr int MaxTicks = 2000;

double Radians(double degrees)
{
    return degrees * std::numbers::pi / 180.0;
}

QPointF Polar(const QPointF &centre, double degrees, double radius)
{
    const double a = Radians(degrees);
    return {centre.x() + std::sin(a) * radius, centre.y() - std::cos(a) * radius};
}

// Difference of two angles folded into (-180, 180].
double Fold(double degrees)
{
    double d = std::fmod(degrees, 360.0);
    if (d > 180.0)
        d -= 360.0;
    else if (d <= -180.0)
        d += 360.0;
    return d;
}

} // namespace

TQVDial::TQVDial(QWidget *owner)
    : TQVCustomPanel(owner)
{
    QVInstallValueAccessibility(
        {"TQVDial", QAccessible::Dial, QT_TRANSLATE_NOOP("TQVDial", "Dial"), "Caption", true});

    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    resize(120, 120);
}

TQVDial::~TQVDial() = default;

void TQVDial::SetScaleAngle1(double angle)
{
    if (angle == m_scaleAngle1 || !std::isfinite(angle) || std::abs(angle) > AngleLimit)
        return;
    if (!(angle < m_scaleAngle2) || m_scaleAngle2 - angle > 360.0)
        return;
    m_scaleAngle1 = angle;
    update();
}

void TQVDial::SetScaleAngle2(double angle)
{
    if (angle == m_scaleAngle2 || !std::isfinite(angle) || std::abs(angle) > AngleLimit)
        return;
    if (!(angle > m_scaleAngle1) || angle - m_scaleAngle1 > 360.0)
        return;
    m_scaleAngle2 = angle;
    update();
}

void TQVDial::SetValue(double value)
{
    const std::optional<double> accepted = QVSnapAndClamp(value, m_value, m_valueStepWidth, m_valueMin, m_valueMax);
    if (!accepted)
        return;
    value = *accepted;
    m_value = value;
    if (OnValueChange)
        OnValueChange(this);
    emit ValueChanged(m_value);
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent event(this, m_value);
        QAccessible::updateAccessibility(&event);
    }
    if (!isVisible() || !updatesEnabled())
        return;
    m_valueRegion = KnobRect();
    repaint(m_valueRegion);
    m_valueRegion = QRect();
}

void TQVDial::SetValueMin(double value)
{
    if (!std::isfinite(value) || value == m_valueMin || !(value < m_valueMax))
        return;
    m_valueMin = value;
    updateGeometry();
    update();
}

void TQVDial::SetValueMax(double value)
{
    if (!std::isfinite(value) || value == m_valueMax || !(value > m_valueMin))
        return;
    m_valueMax = value;
    updateGeometry();
    update();
}

void TQVDial::SetValueGap(double gap)
{
    if (gap == m_valueGap || !(gap > 0.0) || !std::isfinite(gap))
        return;
    m_valueGap = gap;
    update();
}

void TQVDial::SetValueStepWidth(double step)
{
    if (step == m_valueStepWidth || !std::isfinite(step))
        return;
    m_valueStepWidth = step;
    SetValue(m_value);
    update();
}

void TQVDial::SetValueDecimals(int decimals)
{
    if (decimals == m_valueDecimals || decimals < 0 || decimals > 15)
        return;
    m_valueDecimals = decimals;
    updateGeometry();
    update();
}

void TQVDial::SetIndicatorStyle(TQVDialIndicatorStyle style)
{
    if (style == m_indicatorStyle || style > diaLine)
        return;
    m_indicatorStyle = style;
    update();
}

void TQVDial::SetKnobColor(TQVColor color)
{
    if (color == m_knobColor)
        return;
    m_knobColor = color;
    update();
}

void TQVDial::SetIndicatorColor(TQVColor color)
{
    if (color == m_indicatorColor)
        return;
    m_indicatorColor = color;
    update();
}

void TQVDial::SetScaleColor(TQVColor color)
{
    if (color == m_scaleColor)
        return;
    m_scaleColor = color;
    update();
}

double TQVDial::ValueToAngle(double value) const
{
    return m_scaleAngle1 + (m_scaleAngle2 - m_scaleAngle1) * (value - m_valueMin) / Span();
}

double TQVDial::AngleToValue(double angle) const
{
    double a = m_scaleAngle1 + std::fmod(angle - m_scaleAngle1, 360.0);
    if (a < m_scaleAngle1)
        a += 360.0;
    return m_valueMin + Span() * (a - m_scaleAngle1) / (m_scaleAngle2 - m_scaleAngle1);
}

QString TQVDial::LabelFormat() const
{
    return QVLabelFormat(TQVLabelFormatRule::Linear, m_valueMin, m_valueMax, m_valueDecimals);
}

TQVDial::TGeometry TQVDial::Geometry() const
{
    const QRect c = ClientRect();
    TGeometry g;
    g.Centre = QPointF(c.left() + c.width() / 2.0, c.top() + c.height() / 2.0);
    const double half = std::min(c.width(), c.height()) / 2.0;
    const QFontMetricsF fm(font());
    const QString format = LabelFormat();
    const double widest = std::max(fm.horizontalAdvance(QVFormatFloat(format, m_valueMin, locale())),
                                   fm.horizontalAdvance(QVFormatFloat(format, m_valueMax, locale())));
    const double m = std::max(widest, fm.height());
    if (half - 17.0 - 1.5 * m >= 0.0) {
        g.LabelSize = m;
        g.ScaleRadius = half - 1.0 - LabelGap - m;
    } else {
        g.ScaleRadius = half - 2.0;
    }
    g.ArcRadius = g.ScaleRadius - TickLong;
    g.KnobRadius = g.ArcRadius - KnobGap;
    return g;
}

QRect TQVDial::KnobRect() const
{
    const TGeometry g = Geometry();
    if (g.KnobRadius <= 0.0)
        return QRect();
    const double h = g.KnobRadius + KnobMargin;
    const int left = int(std::floor(g.Centre.x() - h)), top = int(std::floor(g.Centre.y() - h));
    const int right = int(std::ceil(g.Centre.x() + h)), bottom = int(std::ceil(g.Centre.y() + h));
    return QRect(left, top, right - left, bottom - top).intersected(rect());
}

QSize TQVDial::sizeHint() const
{
    return QSize(120, 120);
}

QSize TQVDial::minimumSizeHint() const
{
    return QSize(40, 40);
}

double TQVDial::Step() const
{
    return m_valueStepWidth > 0.0 ? m_valueStepWidth : Span() / 100.0;
}

void TQVDial::paintEvent(QPaintEvent *event)
{
    if (!m_valueRegion.isEmpty()) {
        QPainter painter(this);
        if (PaintValueFromBackground(painter, event->region()))
            return;
    }
    m_backgroundValid = false;
    TQVCustomPanel::paintEvent(event);
}

bool TQVDial::PaintValueFromBackground(QPainter &painter, const QRegion &region)
{
    // Only a paint of exactly the knob area may use the cache: Qt may have merged other
    // pending updates into the event.
    if (!m_valueRegion.contains(region.boundingRect()))
        return false;
    const QPaintDevice *target = painter.paintEngine() ? painter.paintEngine()->paintDevice() : nullptr;
    const qreal dpr = target ? target->devicePixelRatioF() : devicePixelRatioF();
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    if (!m_backgroundValid || m_background.size() != pixels || m_background.devicePixelRatioF() != dpr) {
        m_background = QPixmap(pixels);
        m_background.setDevicePixelRatio(dpr);
        QPainter background(&m_background);
        PaintBackground(background);
        m_backgroundValid = true;
    }
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const QRect &r : region)
        painter.drawPixmap(r, m_background, QRectF(QPointF(r.topLeft()) * dpr, QSizeF(r.size()) * dpr));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setClipRegion(region);
    PaintKnob(painter, Geometry());
    return true;
}

void TQVDial::Paint(QPainter &painter)
{
    PaintBackground(painter);
    PaintKnob(painter, Geometry());
}

void TQVDial::PaintBackground(QPainter &painter)
{
    // The panel draws its frame only: its caption would sit under the knob.
    const QRect client = ClientRect();
    painter.save();
    painter.setClipRegion(QRegion(rect()).subtracted(QRegion(client)), Qt::IntersectClip);
    PaintPanel(painter);
    painter.restore();
    painter.fillRect(client, ToQColor(Color()));

    const TGeometry g = Geometry();
    PaintScale(painter, g);
    if (!Caption().isEmpty() && g.KnobRadius > 0.0) {
        // The caption stands in the opening of the scale below the knob.
        const QFontMetricsF fm(font());
        const double y = g.Centre.y() + g.KnobRadius + KnobMargin;
        const QRectF box(client.left(), y, client.width(), fm.height());
        painter.setPen(ToQColor(m_scaleColor));
        painter.setFont(font());
        painter.drawText(box, Qt::AlignHCenter | Qt::AlignTop, Caption());
    }
}

void TQVDial::PaintScale(QPainter &painter, const TGeometry &g)
{
    if (g.ArcRadius <= 1.0)
        return;
    const QColor ink = ToQColor(m_scaleColor);
    const double a1 = m_scaleAngle1, a2 = m_scaleAngle2;
    const double span = Span();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(ink, 1.2, Qt::SolidLine, Qt::FlatCap));
    const QRectF arcBox(g.Centre.x() - g.ArcRadius, g.Centre.y() - g.ArcRadius, 2 * g.ArcRadius, 2 * g.ArcRadius);
    // Qt counts from 3 o'clock counter-clockwise in 1/16 degree.
    painter.drawArc(arcBox, int(std::lround((90.0 - a1) * 16.0)), -int(std::lround((a2 - a1) * 16.0)));

    // The ticks to draw: value, label text (empty for a minor tick).
    const QFontMetricsF fm(font());
    const bool labels = g.LabelSize > 0.0;
    const double labelCircle = g.ScaleRadius + LabelGap + g.LabelSize / 2.0;
    std::vector<std::pair<double, QString>> ticks;
    // On a full circle the last tick falls onto the first.
    const bool fullCircle = a2 - a1 >= 360.0 - 1e-9;
    if (m_scaleLayout == slAdaptive) {
        TQVAdaptiveScaleRequest request;
        request.ValueMin = m_valueMin;
        request.ValueMax = m_valueMax;
        request.Length = Radians(a2 - a1) * labelCircle;
        request.MinTickGap = m_valueGap;
        request.MinTickPixels = 4.0 * labelCircle / g.ArcRadius;
        request.LabelPadding = 4.0;
        request.Decimals = m_valueDecimals == 0 ? -1 : m_valueDecimals;
        request.Locale = locale();
        request.Extent = [&](const QString &text) { return labels ? std::max(fm.horizontalAdvance(text), fm.height()) : 1.0; };
        const TQVScaleDivision div = QVAdaptiveDivision(request);
        std::size_t label = 0;
        for (const TQVScaleTick &t : div.Ticks)
            ticks.emplace_back(t.Value, t.Major ? div.Texts[label++] : QString());
        if (fullCircle && ticks.size() > 1)
            ticks.pop_back();
    } else {
        // Effective tick gap: a multiple of `ValueGap` so that ticks stay 4 pixels apart on the arc.
        const double arcPerValue = Radians(a2 - a1) * g.ArcRadius / span;
        int multiple = 1;
        while (multiple < 1000000 && m_valueGap * multiple * arcPerValue < 4.0)
            multiple *= 2;
        const double gap = m_valueGap * multiple;
        if (!(gap > 0.0) || !(span / gap <= MaxTicks)) {
            painter.restore();
            return;
        }
        double first = std::nearbyint(m_valueMin / gap) * gap;
        if (first < m_valueMin - 1e-9 * span)
            first += gap;
        // Label stride: every k-th tick carries a label, so that labels do not touch.
        const QString format = LabelFormat();
        const int stride = labels ? QVLabelStride(Radians(a2 - a1) * labelCircle * gap / span, g.LabelSize + 4.0, MaxTicks) : 1;
        for (int i = 0; i <= MaxTicks; ++i) {
            const double t = first + i * gap;
            if (!(t <= m_valueMax + 1e-9 * span))
                break;
            if (fullCircle && i > 0 && t >= m_valueMax - 1e-9 * span && first <= m_valueMin + 1e-9 * span)
                break;
            // Values that should read 0 may carry rounding noise from the tick arithmetic.
            const double shown = std::abs(t) < 1e-9 * span ? 0.0 : t;
            ticks.emplace_back(t, i % stride == 0 ? QVFormatFloat(format, shown, locale()) : QString());
        }
    }

    const QPen minorPen(ink, 1.0, Qt::SolidLine, Qt::FlatCap);
    const QPen majorPen(ink, 1.6, Qt::SolidLine, Qt::FlatCap);
    painter.setFont(font());
    for (const auto &[t, text] : ticks) {
        const double a = ValueToAngle(t);
        const bool major = !text.isEmpty();
        painter.setPen(major ? majorPen : minorPen);
        painter.drawLine(Polar(g.Centre, a, g.ArcRadius),
                         Polar(g.Centre, a, g.ArcRadius + (major ? TickLong : TickShort)));
        if (!labels || !major)
            continue;
        const double w = fm.horizontalAdvance(text), h = fm.height();
        const double r = g.ScaleRadius + LabelGap + (w * std::abs(std::sin(Radians(a))) + h * std::abs(std::cos(Radians(a)))) / 2.0;
        const QPointF p = Polar(g.Centre, a, r);
        painter.setPen(ink);
        painter.drawText(QRectF(p.x() - w / 2.0 - 1.0, p.y() - h / 2.0, w + 2.0, h), Qt::AlignCenter, text);
    }
    painter.restore();
}

void TQVDial::SetScaleLayout(TQVScaleLayout layout)
{
    if (layout == m_scaleLayout || layout > slAdaptive)
        return;
    m_scaleLayout = layout;
    update();
}

void TQVDial::PaintKnob(QPainter &painter, const TGeometry &g)
{
    const double rk = g.KnobRadius;
    if (rk < 2.0)
        return;
    const QPointF c = g.Centre;
    const QColor base = ToQColor(m_knobColor);
    double angle = ValueToAngle(m_value);
    if (!std::isfinite(angle)) // a range too wide for doubles
        angle = m_scaleAngle1;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);

    // Soft shadow below the knob.
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 60));
    painter.drawEllipse(c + QPointF(0.0, 1.5), rk + 0.5, rk + 0.5);
    painter.setBrush(QColor(0, 0, 0, 40));
    painter.drawEllipse(c + QPointF(0.0, 1.0), rk + 1.5, rk + 1.5);

    // Body: lit from the upper left.
    QRadialGradient body(c, rk, c + QPointF(-0.4 * rk, -0.5 * rk));
    body.setColorAt(0.0, base.lighter(190));
    body.setColorAt(0.55, base);
    body.setColorAt(1.0, base.darker(170));
    painter.setBrush(body);
    painter.setPen(QPen(base.darker(250), 1.0));
    painter.drawEllipse(c, rk, rk);

    // Grip ridges on the skirt; they turn with the knob.
    if (rk >= 12.0) {
        painter.setPen(QPen(base.darker(160), std::max(1.0, rk / 30.0), Qt::SolidLine, Qt::RoundCap));
        for (int i = 0; i < 36; ++i) {
            const double a = angle + i * 10.0;
            painter.drawLine(Polar(c, a, 0.83 * rk), Polar(c, a, 0.96 * rk));
        }
    }

    // Cap: slightly dished (dark at the top, light at the bottom) with a bright lower rim.
    const double rc = 0.78 * rk;
    QLinearGradient cap(c + QPointF(-rc, -rc), c + QPointF(rc, rc));
    cap.setColorAt(0.0, base.darker(125));
    cap.setColorAt(1.0, base.lighter(150));
    QLinearGradient rim(c + QPointF(0.0, -rc), c + QPointF(0.0, rc));
    rim.setColorAt(0.0, base.darker(200));
    rim.setColorAt(1.0, base.lighter(200));
    painter.setBrush(cap);
    painter.setPen(QPen(QBrush(rim), std::max(1.0, rk / 25.0)));
    painter.drawEllipse(c, rc, rc);

    // Indicator.
    QColor mark = ToQColor(m_indicatorColor);
    if (!isEnabled()) {
        const QColor b = base;
        mark = QColor((mark.red() + b.red()) / 2, (mark.green() + b.green()) / 2, (mark.blue() + b.blue()) / 2);
    }
    switch (m_indicatorStyle) {
    case diaCircle: {
        const double r = std::max(1.5, 0.11 * rk);
        painter.setPen(QPen(mark.darker(160), 0.8));
        painter.setBrush(mark);
        painter.drawEllipse(Polar(c, angle, 0.58 * rk), r, r);
        break;
    }
    case diaTriangle: {
        const QPointF tip = Polar(c, angle, 0.97 * rk);
        const QPointF baseMid = Polar(c, angle, 0.6 * rk);
        const double half = 0.16 * rk;
        const double a = Radians(angle);
        const QPointF across(std::cos(a) * half, std::sin(a) * half);
        const QPointF points[] = {tip, baseMid + across, baseMid - across};
        painter.setPen(QPen(mark.darker(160), 0.8, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        painter.setBrush(mark);
        painter.drawPolygon(points, 3);
        break;
    }
    case diaLine:
        painter.setPen(QPen(mark, std::max(2.0, 0.09 * rk), Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(Polar(c, angle, 0.22 * rk), Polar(c, angle, 0.94 * rk));
        break;
    }

    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
        painter.drawEllipse(c, rk + 2.0, rk + 2.0);
    }
    painter.restore();
}

double TQVDial::MouseAngle(const TGeometry &g, const QPointF &pos) const
{
    const double dx = pos.x() - g.Centre.x(), dy = pos.y() - g.Centre.y();
    return std::atan2(dx, -dy) * 180.0 / std::numbers::pi;
}

void TQVDial::StartDrag(double angle)
{
    m_dragging = true;
    m_dragStartValue = m_value;
    m_dragLastAngle = angle;
    m_dragTurn = 0.0;
}

void TQVDial::mousePressEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() != Qt::LeftButton || !isEnabled())
        return;
    const TGeometry g = Geometry();
    const QPointF pos = event->position();
    const double distance = std::hypot(pos.x() - g.Centre.x(), pos.y() - g.Centre.y());
    const double angle = MouseAngle(g, pos);
    if (distance <= g.KnobRadius) {
        StartDrag(angle);
        return;
    }
    if (distance > g.ScaleRadius + LabelGap + g.LabelSize)
        return;
    // On the scale: jump to the angle, or to an end when just past it; the gap does nothing.
    const double a1 = m_scaleAngle1, a2 = m_scaleAngle2;
    double a = a1 + std::fmod(angle - a1, 360.0);
    if (a < a1)
        a += 360.0;
    const double tolerance = std::min(EndTolerance, (360.0 - (a2 - a1)) / 2.0);
    if (a > a2 + tolerance) {
        if (a < a1 + 360.0 - tolerance)
            return;
        a -= 360.0;
    }
    SetValue(m_valueMin + Span() * (a - a1) / (a2 - a1));
    StartDrag(angle);
}

void TQVDial::mouseMoveEvent(QMouseEvent *event)
{
    event->accept();
    if (!m_dragging)
        return;
    const TGeometry g = Geometry();
    const QPointF pos = event->position();
    // Close to the centre the angle is meaningless.
    if (std::hypot(pos.x() - g.Centre.x(), pos.y() - g.Centre.y()) < 3.0)
        return;
    const double angle = MouseAngle(g, pos);
    m_dragTurn += Fold(angle - m_dragLastAngle);
    m_dragLastAngle = angle;
    SetValue(m_dragStartValue + m_dragTurn * Span() / (m_scaleAngle2 - m_scaleAngle1));
}

void TQVDial::mouseReleaseEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() == Qt::LeftButton)
        m_dragging = false;
}

void TQVDial::wheelEvent(QWheelEvent *event)
{
    event->accept();
    // High-resolution wheels send fractions of a notch; whole notches of 120 step.
    // Summed wide: a synthesized delta near INT_MAX must not overflow the remainder.
    const qint64 total = qint64(m_wheelRemainder) + event->angleDelta().y();
    const int notches = int(total / 120);
    m_wheelRemainder = int(total - qint64(notches) * 120);
    if (notches != 0)
        SetValue(m_value + notches * Step());
}

void TQVDial::keyPressEvent(QKeyEvent *event)
{
    const double step = Step();
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
        SetValue(m_value + 10.0 * step);
        break;
    case Qt::Key_PageDown:
        SetValue(m_value - 10.0 * step);
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

void TQVDial::focusInEvent(QFocusEvent *event)
{
    TQVCustomPanel::focusInEvent(event);
    update(KnobRect());
}

void TQVDial::focusOutEvent(QFocusEvent *event)
{
    TQVCustomPanel::focusOutEvent(event);
    update(KnobRect());
}
