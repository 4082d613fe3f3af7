#include "indicators/QVLedInt.h"

#include <algorithm>
#include <cmath>

#include <QtCore/QTimer>
#include <QtGui/QAccessible>
#include <QtGui/QLinearGradient>
#include <QtGui/QPainter>
#include <QtGui/QRadialGradient>
#include <QtWidgets/QAccessibleWidget>

namespace {

// Screen readers see the lamp as an indicator whose value is "on" or "off".
class TQVLedAccessible : public QAccessibleWidget
{
public:
    explicit TQVLedAccessible(TQVLedInt *led)
        : QAccessibleWidget(led, QAccessible::Indicator)
    {
    }

    QString text(QAccessible::Text t) const override
    {
        const auto *led = static_cast<const TQVLedInt *>(widget());
        if (t == QAccessible::Value)
            return led->Value() ? QStringLiteral("on") : QStringLiteral("off");
        if (t == QAccessible::Name) {
            if (!led->accessibleName().isEmpty())
                return led->accessibleName();
            return led->Caption().isEmpty() ? QStringLiteral("LED") : led->Caption();
        }
        return QAccessibleWidget::text(t);
    }
};

QAccessibleInterface *LedAccessibleFactory(const QString &className, QObject *object)
{
    if (className == QLatin1String("TQVLedInt"))
        if (auto *led = qobject_cast<TQVLedInt *>(object))
            return new TQVLedAccessible(led);
    return nullptr;
}

// Shapes are drawn antialiased on pixel centres so that one-pixel outlines stay sharp,
// also at a device pixel ratio of 2.
QPolygonF PixelCentres(const QPolygon &points)
{
    QPolygonF centred;
    centred.reserve(points.size());
    for (const QPoint &p : points)
        centred << QPointF(p.x() + 0.5, p.y() + 0.5);
    return centred;
}

} // namespace

TQVLedInt::TQVLedInt(QWidget *parent)
    : TQVCustomPanel(parent)
    , m_flashTimer(new QTimer(this))
{
    static const bool factoryInstalled = [] {
        QAccessible::installFactory(LedAccessibleFactory);
        return true;
    }();
    Q_UNUSED(factoryInstalled);

    setAttribute(Qt::WA_OpaquePaintEvent);
    resize(16, 16);
    m_currentColor = m_colorInactive;
    m_flashTimer->setObjectName(QStringLiteral("FlashTimer"));
    m_flashTimer->setInterval(m_flashInterval);
    connect(m_flashTimer, &QTimer::timeout, this, &TQVLedInt::Flash);
}

TQVLedInt::~TQVLedInt() = default;

void TQVLedInt::SetColorInactive(TQVColor color)
{
    if (color == m_colorInactive)
        return;
    m_colorInactive = color;
    if (!m_value)
        m_currentColor = color;
    update();
}

void TQVLedInt::SetColorActive(TQVColor color)
{
    if (color == m_colorActive)
        return;
    m_colorActive = color;
    if (m_value)
        m_currentColor = color;
    update();
}

void TQVLedInt::SetFlashing(bool flashing)
{
    if (flashing == m_flashing)
        return;
    m_flashing = flashing;
    // While loading, `Loaded` starts the timer once `Value` is known as well.
    if (IsDesigning() || IsLoading())
        return;
    if (m_flashing && m_value) {
        RunTimer(true);
    } else {
        RunTimer(false);
        m_currentColor = StateColor();
        LedPaint();
    }
}

void TQVLedInt::SetFlashInterval(int milliseconds)
{
    if (milliseconds == m_flashInterval || milliseconds < 1)
        return;
    m_flashInterval = milliseconds;
    m_flashTimer->setInterval(milliseconds);
}

bool TQVLedInt::IsFlashTimerActive() const
{
    return m_flashTimer->isActive();
}

void TQVLedInt::SetStyle(TQVLedStyle style)
{
    if (style == m_style || style > lesArrowUpDown)
        return;
    m_style = style;
    update();
}

void TQVLedInt::SetValue(bool value)
{
    if (value == m_value)
        return;
    m_value = value;
    m_currentColor = StateColor();
    LedPaint();
    if (!IsDesigning())
        RunTimer(m_flashing && m_value);
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent event(this, m_value ? QStringLiteral("on") : QStringLiteral("off"));
        QAccessible::updateAccessibility(&event);
    }
    Q_EMIT ValueChanged(m_value);
}

void TQVLedInt::SetCompare(TQVLEDCompare compare)
{
    if (compare == m_compare || compare > cmpOutOfRange)
        return;
    m_compare = compare;
    UpdateValue(float(m_lastValue));
}

void TQVLedInt::SetLimit(double limit)
{
    if (limit == m_limit || std::isnan(limit))
        return;
    m_limit = limit;
    UpdateValue(float(m_lastValue));
}

void TQVLedInt::SetRangeLower(double lower)
{
    if (lower == m_rangeLower || std::isnan(lower))
        return;
    m_rangeLower = lower;
    UpdateValue(float(m_lastValue));
}

void TQVLedInt::SetRangeUpper(double upper)
{
    if (upper == m_rangeUpper || std::isnan(upper))
        return;
    m_rangeUpper = upper;
    UpdateValue(float(m_lastValue));
}

void TQVLedInt::UpdateValue(float x)
{
    m_lastValue = x;
    const double v = x;
    bool on = false;
    switch (m_compare) {
    case cmpOver: on = v > m_limit; break;
    case cmpUnder: on = v < m_limit; break;
    case cmpInRange: on = v >= m_rangeLower && v <= m_rangeUpper; break;
    case cmpOutOfRange: on = v < m_rangeLower || v > m_rangeUpper; break;
    }
    SetValue(on);
}

void TQVLedInt::Loaded()
{
    TQVCustomPanel::Loaded();
    if (IsDesigning() || !m_flashing || !m_value)
        return;
    m_flashing = false;
    SetFlashing(true);
}

void TQVLedInt::SetDesigning(bool designing)
{
    TQVCustomPanel::SetDesigning(designing);
    if (!m_flashTimer)
        return;
    if (designing) {
        RunTimer(false);
        m_currentColor = StateColor();
        update();
    } else if (m_flashing && m_value && !IsLoading()) {
        RunTimer(true);
    }
}

QSize TQVLedInt::sizeHint() const
{
    return QSize(16, 16);
}

QSize TQVLedInt::minimumSizeHint() const
{
    return QSize(6, 6);
}

QRect TQVLedInt::LampRect() const
{
    if (m_style != lesCircle)
        return rect();
    const int w = width();
    const int h = height();
    const int d = std::min(w, h);
    const int x0 = w >= h ? (w - d) / 2 : 0;
    const int y0 = h > w ? (h - d) / 2 : 0;
    return QRect(x0, y0, d, d);
}

void TQVLedInt::Flash()
{
    if (!m_value)
        return;
    m_currentColor = m_currentColor == m_colorInactive ? m_colorActive : m_colorInactive;
    LedPaint();
}

void TQVLedInt::RunTimer(bool run)
{
    if (run)
        m_flashTimer->start();
    else
        m_flashTimer->stop();
}

void TQVLedInt::LedPaint()
{
    // Synchronous, like a lamp drawn straight onto the screen; the clip keeps it to the shape.
    if (isVisible())
        repaint(LampRect());
}

void TQVLedInt::Paint(QPainter &painter)
{
    painter.fillRect(rect(), ToQColor(Color()));
    PaintLed(painter);
}

void TQVLedInt::PaintLed(QPainter &painter)
{
    const int w = width();
    const int h = height();
    if (w <= 0 || h <= 0)
        return;
    const QColor outline = ToQColor(QVColors::clBtnShadow);
    const int cx = w / 2;
    const int cy = h / 2;
    switch (m_style) {
    case lesCircle:
        PaintCircle(painter, outline);
        break;
    case lesRectangle:
        painter.fillRect(rect(), ToQColor(m_currentColor));
        painter.save();
        painter.setPen(QPen(outline, 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(QRectF(0.5, 0.5, w - 1, h - 1));
        painter.restore();
        break;
    case lesArrowLeft:
        PaintPolygon(painter, QPolygon({QPoint(w - 1, 0), QPoint(w - 1, h - 1), QPoint(0, cy)}), outline);
        break;
    case lesArrowRight:
        PaintPolygon(painter, QPolygon({QPoint(0, 0), QPoint(0, h - 1), QPoint(w - 1, cy)}), outline);
        break;
    case lesArrowUp:
        PaintPolygon(painter, QPolygon({QPoint(0, h - 1), QPoint(w - 1, h - 1), QPoint(cx, 0)}), outline);
        break;
    case lesArrowDown:
        PaintPolygon(painter, QPolygon({QPoint(0, 0), QPoint(w - 1, 0), QPoint(cx, h - 1)}), outline);
        break;
    case lesArrowLeftRight:
    case lesArrowUpDown:
        PaintPolygon(painter,
                     QPolygon({QPoint(cx, 0), QPoint(w - 1, cy), QPoint(cx, h - 1), QPoint(0, cy)}),
                     outline);
        break;
    }
}

void TQVLedInt::PaintCircle(QPainter &painter, const QColor &outline)
{
    const QRect lamp = LampRect();
    const int d = lamp.width();
    const QColor body = ToQColor(m_currentColor);

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_scaleLayout == slAdaptive) {
        // A lit dome: the body colour in the middle, deeper at the rim, and a soft specular
        // highlight that fades out instead of ending in an edge.
        const QRectF dome(lamp.x() + 0.5, lamp.y() + 0.5, d - 1, d - 1);
        const QPointF centre = dome.center();
        QRadialGradient shade(centre - QPointF(d * 0.12, d * 0.12), d * 0.62);
        shade.setColorAt(0.0, body.lighter(118));
        shade.setColorAt(0.55, body);
        shade.setColorAt(1.0, body.darker(150));
        painter.setPen(QPen(outline, std::max(1.0, d / 24.0)));
        painter.setBrush(shade);
        painter.drawEllipse(dome);
        const QRectF spot(centre.x() - d * 0.30, centre.y() - d * 0.38, d * 0.46, d * 0.32);
        QRadialGradient glow(spot.center(), spot.width() / 2.0);
        glow.setColorAt(0.0, QColor(255, 255, 255, 200));
        glow.setColorAt(0.7, QColor(255, 255, 255, 60));
        glow.setColorAt(1.0, QColor(255, 255, 255, 0));
        painter.setPen(Qt::NoPen);
        painter.setBrush(glow);
        painter.drawEllipse(spot);
        painter.restore();
        return;
    }
    // The body keeps its exact colour over the inner part and darkens towards the rim,
    // which gives the lamp its domed look.
    const QPointF centre(lamp.x() + d / 2.0, lamp.y() + d / 2.0);
    QRadialGradient shade(centre, d / 2.0);
    shade.setColorAt(0.0, body);
    shade.setColorAt(0.6, body);
    shade.setColorAt(1.0, body.darker(135));
    painter.setPen(QPen(outline, 1));
    painter.setBrush(shade);
    painter.drawEllipse(QRectF(lamp.x() + 0.5, lamp.y() + 0.5, d - 1, d - 1));

    // The glint in the upper left quadrant.
    const int q = d / 4;
    const int cx = width() / 2;
    const int cy = height() / 2;
    const QPolygon glint({QPoint(cx - q, cy), QPoint(cx, cy - q), QPoint((3 * (cx - q) + cx) / 4, cy - q),
                          QPoint(cx - q, (3 * (cy - q) + cy) / 4)});
    // A soft halo around it, kept off the centre so that the body colour there stays exact.
    const QPointF glintCentre(cx - 0.55 * q + 0.5, cy - 0.55 * q + 0.5);
    QRadialGradient halo(glintCentre, 0.75 * q);
    halo.setColorAt(0.0, QColor(255, 255, 255, 140));
    halo.setColorAt(1.0, QColor(255, 255, 255, 0));
    painter.setPen(Qt::NoPen);
    painter.setBrush(halo);
    painter.drawEllipse(glintCentre, 0.75 * q, 0.75 * q);
    painter.setPen(QPen(Qt::white, 1));
    painter.setBrush(Qt::white);
    painter.drawPolygon(PixelCentres(glint));
    painter.restore();
}

void TQVLedInt::SetScaleLayout(TQVScaleLayout layout)
{
    if (layout == m_scaleLayout || layout > slAdaptive)
        return;
    m_scaleLayout = layout;
    update();
}

void TQVLedInt::PaintPolygon(QPainter &painter, const QPolygon &points, const QColor &outline)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(outline, 1));
    const QColor body = ToQColor(m_currentColor);
    if (m_scaleLayout == slAdaptive) {
        QLinearGradient shade(0, 0, 0, height());
        shade.setColorAt(0.0, body.lighter(125));
        shade.setColorAt(1.0, body.darker(125));
        painter.setBrush(shade);
    } else {
        painter.setBrush(body);
    }
    painter.drawPolygon(PixelCentres(points));
    painter.restore();
}
