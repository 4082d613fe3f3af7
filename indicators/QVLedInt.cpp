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

// What the lamp keeps: its properties, the comparison and the flash timer (a child of the lamp).
class TQVLedInt::PrivateData
{
public:
    TQVColor colorInactive = QVColors::clSilver;
    TQVColor colorActive = QVColors::clRed;
    TQVColor currentColor = QVColors::clSilver;
    bool flashing = false;
    int flashInterval = 1000;
    TQVLedStyle style = lesCircle;
    TQVScaleLayout scaleLayout = slClassic;
    bool value = false;
    QTimer *flashTimer = nullptr;
    TQVLEDCompare compare = cmpOver;
    double limit = 0.0;
    double rangeUpper = 0.0;
    double rangeLower = 0.0;
    double lastValue = 0.0;
};

TQVLedInt::TQVLedInt(QWidget *parent)
    : TQVCustomPanel(parent)
    , m_data(std::make_unique<PrivateData>())
{
    m_data->flashTimer = new QTimer(this);
    static const bool factoryInstalled = [] {
        QAccessible::installFactory(LedAccessibleFactory);
        return true;
    }();
    Q_UNUSED(factoryInstalled);

    setAttribute(Qt::WA_OpaquePaintEvent);
    resize(16, 16);
    m_data->currentColor = m_data->colorInactive;
    m_data->flashTimer->setObjectName(QStringLiteral("FlashTimer"));
    m_data->flashTimer->setInterval(m_data->flashInterval);
    connect(m_data->flashTimer, &QTimer::timeout, this, &TQVLedInt::Flash);
}

TQVLedInt::~TQVLedInt() = default;

TQVColor TQVLedInt::ColorInactive() const
{
    return m_data->colorInactive;
}

TQVColor TQVLedInt::ColorActive() const
{
    return m_data->colorActive;
}

TQVColor TQVLedInt::CurrentColor() const
{
    return m_data->currentColor;
}

bool TQVLedInt::Flashing() const
{
    return m_data->flashing;
}

int TQVLedInt::FlashInterval() const
{
    return m_data->flashInterval;
}

TQVScaleLayout TQVLedInt::ScaleLayout() const
{
    return m_data->scaleLayout;
}

TQVLedInt::TQVLedStyle TQVLedInt::Style() const
{
    return m_data->style;
}

bool TQVLedInt::Value() const
{
    return m_data->value;
}

TQVLedInt::TQVLEDCompare TQVLedInt::Compare() const
{
    return m_data->compare;
}

double TQVLedInt::Limit() const
{
    return m_data->limit;
}

double TQVLedInt::RangeLower() const
{
    return m_data->rangeLower;
}

double TQVLedInt::RangeUpper() const
{
    return m_data->rangeUpper;
}

double TQVLedInt::LastValue() const
{
    return m_data->lastValue;
}

TQVColor TQVLedInt::StateColor() const
{
    return m_data->value ? m_data->colorActive : m_data->colorInactive;
}

void TQVLedInt::SetColorInactive(TQVColor color)
{
    if (color == m_data->colorInactive)
        return;
    m_data->colorInactive = color;
    if (!m_data->value)
        m_data->currentColor = color;
    Changed(TQVChangeGroup::Appearance);
}

void TQVLedInt::SetColorActive(TQVColor color)
{
    if (color == m_data->colorActive)
        return;
    m_data->colorActive = color;
    if (m_data->value)
        m_data->currentColor = color;
    Changed(TQVChangeGroup::Appearance);
}

void TQVLedInt::SetFlashing(bool flashing)
{
    if (flashing == m_data->flashing)
        return;
    m_data->flashing = flashing;
    Notify(TQVChangeGroup::Settings);
    // While loading, `Loaded` starts the timer once `Value` is known as well.
    if (IsDesigning() || IsLoading())
        return;
    if (m_data->flashing && m_data->value) {
        RunTimer(true);
    } else {
        RunTimer(false);
        m_data->currentColor = StateColor();
        LedPaint();
    }
}

void TQVLedInt::SetFlashInterval(int milliseconds)
{
    if (milliseconds == m_data->flashInterval || milliseconds < 1)
        return;
    m_data->flashInterval = milliseconds;
    m_data->flashTimer->setInterval(milliseconds);
    Notify(TQVChangeGroup::Settings);
}

bool TQVLedInt::IsFlashTimerActive() const
{
    return m_data->flashTimer->isActive();
}

void TQVLedInt::SetStyle(TQVLedStyle style)
{
    if (style == m_data->style || style > lesArrowUpDown)
        return;
    m_data->style = style;
    Changed(TQVChangeGroup::Appearance);
}

void TQVLedInt::SetValue(bool value)
{
    if (value == m_data->value)
        return;
    m_data->value = value;
    m_data->currentColor = StateColor();
    LedPaint();
    if (!IsDesigning())
        RunTimer(m_data->flashing && m_data->value);
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent event(this, m_data->value ? QStringLiteral("on") : QStringLiteral("off"));
        QAccessible::updateAccessibility(&event);
    }
    Q_EMIT ValueChanged(m_data->value);
}

void TQVLedInt::SetCompare(TQVLEDCompare compare)
{
    if (compare == m_data->compare || compare > cmpOutOfRange)
        return;
    m_data->compare = compare;
    UpdateValue(float(m_data->lastValue));
    Notify(TQVChangeGroup::Settings);
}

void TQVLedInt::SetLimit(double limit)
{
    if (limit == m_data->limit || std::isnan(limit))
        return;
    m_data->limit = limit;
    UpdateValue(float(m_data->lastValue));
    Notify(TQVChangeGroup::Settings);
}

void TQVLedInt::SetRangeLower(double lower)
{
    if (lower == m_data->rangeLower || std::isnan(lower))
        return;
    m_data->rangeLower = lower;
    UpdateValue(float(m_data->lastValue));
    Notify(TQVChangeGroup::Settings);
}

void TQVLedInt::SetRangeUpper(double upper)
{
    if (upper == m_data->rangeUpper || std::isnan(upper))
        return;
    m_data->rangeUpper = upper;
    UpdateValue(float(m_data->lastValue));
    Notify(TQVChangeGroup::Settings);
}

void TQVLedInt::UpdateValue(float x)
{
    m_data->lastValue = x;
    const double v = x;
    bool on = false;
    switch (m_data->compare) {
    case cmpOver: on = v > m_data->limit; break;
    case cmpUnder: on = v < m_data->limit; break;
    case cmpInRange: on = v >= m_data->rangeLower && v <= m_data->rangeUpper; break;
    case cmpOutOfRange: on = v < m_data->rangeLower || v > m_data->rangeUpper; break;
    }
    SetValue(on);
}

void TQVLedInt::Loaded()
{
    TQVCustomPanel::Loaded();
    if (IsDesigning() || !m_data->flashing || !m_data->value)
        return;
    m_data->flashing = false;
    SetFlashing(true);
}

void TQVLedInt::SetDesigning(bool designing)
{
    TQVCustomPanel::SetDesigning(designing);
    if (!m_data->flashTimer)
        return;
    if (designing) {
        RunTimer(false);
        m_data->currentColor = StateColor();
        update();
    } else if (m_data->flashing && m_data->value && !IsLoading()) {
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
    if (m_data->style != lesCircle)
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
    if (!m_data->value)
        return;
    m_data->currentColor = m_data->currentColor == m_data->colorInactive ? m_data->colorActive : m_data->colorInactive;
    LedPaint();
}

void TQVLedInt::RunTimer(bool run)
{
    if (run)
        m_data->flashTimer->start();
    else
        m_data->flashTimer->stop();
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
    switch (m_data->style) {
    case lesCircle:
        PaintCircle(painter, outline);
        break;
    case lesRectangle:
        painter.fillRect(rect(), ToQColor(m_data->currentColor));
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
    const QColor body = ToQColor(m_data->currentColor);

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_data->scaleLayout == slAdaptive) {
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
    if (layout == m_data->scaleLayout || layout > slAdaptive)
        return;
    m_data->scaleLayout = layout;
    Changed(TQVChangeGroup::Appearance);
}

void TQVLedInt::PaintPolygon(QPainter &painter, const QPolygon &points, const QColor &outline)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(outline, 1));
    const QColor body = ToQColor(m_data->currentColor);
    if (m_data->scaleLayout == slAdaptive) {
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
