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
#include <QtGui/QPainterPathStroker>
#include <QtGui/QRadialGradient>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QAccessibleWidget>

#include "controls/qvCommon.h"
#include "controls/qvFormat.h"
#include "controls/scale/qvPaintKit.h"
#include "controls/scale/qvScaleDraw.h"
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

class TQVDial::PrivateData
{
public:
    double scaleAngle1 = -135.0;
    double scaleAngle2 = 135.0;
    double valueMin = 0.0;
    double valueMax = 100.0;
    double value = 0.0;
    double valueGap = 10.0;
    double valueStepWidth = 0.0;
    int valueDecimals = 0;
    TQVDialIndicatorStyle indicatorStyle = diaCircle;
    TQVColor knobColor = 0x404040;
    TQVColor indicatorColor = QVColors::clWhite;
    TQVColor scaleColor = QVColors::clBtnText;
    TQVScaleLayout scaleLayout = slClassic;

    bool dragging = false;
    double dragStartValue = 0.0;
    double dragLastAngle = 0.0;
    double dragTurn = 0.0; // unwrapped angle turned since the drag began
    int wheelRemainder = 0;

    // Geometry of `geometryClient`, valid until a size, property, font or locale change.
    bool geometryValid = false;
    QRect geometryClient;
    TGeometry geometry;
    QRect knobRect;
    TQVRoundScaleLayout roundLayout; // the adaptive layout's scale, else invalid

    // What does not turn, as last painted: everything but the knob's moving parts in
    // `background`, the cap (with alpha) in `cap` over `knobRect`. Any paint other than a
    // value repaint rebuilds them; pens and brushes of the moving parts are made with them.
    QPixmap background;
    QPixmap cap;
    bool cachesValid = false;
    // One grip ridge standing straight up from the centre, flattened at the target's ratio;
    // each value repaint turns copies of it into `ridgeBuffer`.
    std::vector<QPointF> ridgeOutline;
    std::vector<QPointF> ridgeBuffer;
    QBrush ridgeBrush;
    QPen markPen;
    QBrush markBrush;
    QPen focusPen;
    // Follows the focus events rather than hasFocus(): a host that forwards them (a Qt Quick
    // item around a never-shown widget) gets the focus ring as well.
    bool focused = false;
    QRect valueRegion; // the area a value repaint is painting, else empty
};

TQVDial::TQVDial(QWidget *owner)
    : TQVCustomPanel(owner)
    , m_data(std::make_unique<PrivateData>())
{
    QVInstallValueAccessibility(
        {"TQVDial", QAccessible::Dial, QT_TRANSLATE_NOOP("TQVDial", "Dial"), "Caption", true});

    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    resize(120, 120);
}

TQVDial::~TQVDial() = default;

double TQVDial::ScaleAngle1() const { return m_data->scaleAngle1; }
double TQVDial::ScaleAngle2() const { return m_data->scaleAngle2; }
double TQVDial::Value() const { return m_data->value; }
double TQVDial::ValueMin() const { return m_data->valueMin; }
double TQVDial::ValueMax() const { return m_data->valueMax; }
double TQVDial::ValueGap() const { return m_data->valueGap; }
double TQVDial::ValueStepWidth() const { return m_data->valueStepWidth; }
int TQVDial::ValueDecimals() const { return m_data->valueDecimals; }
TQVDial::TQVDialIndicatorStyle TQVDial::IndicatorStyle() const { return m_data->indicatorStyle; }
TQVColor TQVDial::KnobColor() const { return m_data->knobColor; }
TQVColor TQVDial::IndicatorColor() const { return m_data->indicatorColor; }
TQVScaleLayout TQVDial::ScaleLayout() const { return m_data->scaleLayout; }
TQVColor TQVDial::ScaleColor() const { return m_data->scaleColor; }
bool TQVDial::Dragging() const { return m_data->dragging; }
double TQVDial::Span() const { return m_data->valueMax - m_data->valueMin; }

// `geometry`: the change moves the scale's labels or the knob (in the adaptive layout also
// the arc and its ticks).
void TQVDial::PropertyChanged(bool geometry)
{
    if (geometry) {
        m_data->geometryValid = false;
        updateGeometry();
    }
    update();
}

void TQVDial::SetScaleAngle1(double angle)
{
    if (angle == m_data->scaleAngle1 || !std::isfinite(angle) || std::abs(angle) > AngleLimit)
        return;
    if (!(angle < m_data->scaleAngle2) || m_data->scaleAngle2 - angle > 360.0)
        return;
    m_data->scaleAngle1 = angle;
    PropertyChanged(true);
    Notify(TQVChangeGroup::Settings);
}

void TQVDial::SetScaleAngle2(double angle)
{
    if (angle == m_data->scaleAngle2 || !std::isfinite(angle) || std::abs(angle) > AngleLimit)
        return;
    if (!(angle > m_data->scaleAngle1) || angle - m_data->scaleAngle1 > 360.0)
        return;
    m_data->scaleAngle2 = angle;
    PropertyChanged(true);
    Notify(TQVChangeGroup::Settings);
}

void TQVDial::SetValue(double value)
{
    const std::optional<double> accepted = QVSnapAndClamp(value, m_data->value, m_data->valueStepWidth, m_data->valueMin, m_data->valueMax);
    if (!accepted)
        return;
    value = *accepted;
    m_data->value = value;
    if (OnValueChange)
        OnValueChange(this);
    emit ValueChanged(m_data->value);
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent event(this, m_data->value);
        QAccessible::updateAccessibility(&event);
    }
    if (!isVisible() || !updatesEnabled())
        return;
    m_data->valueRegion = KnobRect();
    repaint(m_data->valueRegion);
    m_data->valueRegion = QRect();
}

void TQVDial::SetValueMin(double value)
{
    if (!std::isfinite(value) || value == m_data->valueMin || !(value < m_data->valueMax))
        return;
    m_data->valueMin = value;
    PropertyChanged(true);
    Notify(TQVChangeGroup::Settings);
}

void TQVDial::SetValueMax(double value)
{
    if (!std::isfinite(value) || value == m_data->valueMax || !(value > m_data->valueMin))
        return;
    m_data->valueMax = value;
    PropertyChanged(true);
    Notify(TQVChangeGroup::Settings);
}

void TQVDial::SetValueGap(double gap)
{
    if (gap == m_data->valueGap || !(gap > 0.0) || !std::isfinite(gap))
        return;
    m_data->valueGap = gap;
    PropertyChanged(true);
    Notify(TQVChangeGroup::Settings);
}

void TQVDial::SetValueStepWidth(double step)
{
    if (step == m_data->valueStepWidth || !std::isfinite(step))
        return;
    m_data->valueStepWidth = step;
    SetValue(m_data->value);
    Changed(TQVChangeGroup::Settings);
}

void TQVDial::SetValueDecimals(int decimals)
{
    if (decimals == m_data->valueDecimals || decimals < 0 || decimals > 15)
        return;
    m_data->valueDecimals = decimals;
    PropertyChanged(true);
    Notify(TQVChangeGroup::Settings);
}

void TQVDial::SetIndicatorStyle(TQVDialIndicatorStyle style)
{
    if (style == m_data->indicatorStyle || style > diaLine)
        return;
    m_data->indicatorStyle = style;
    Changed(TQVChangeGroup::Appearance);
}

void TQVDial::SetKnobColor(TQVColor color)
{
    if (color == m_data->knobColor)
        return;
    m_data->knobColor = color;
    Changed(TQVChangeGroup::Appearance);
}

void TQVDial::SetIndicatorColor(TQVColor color)
{
    if (color == m_data->indicatorColor)
        return;
    m_data->indicatorColor = color;
    Changed(TQVChangeGroup::Appearance);
}

void TQVDial::SetScaleColor(TQVColor color)
{
    if (color == m_data->scaleColor)
        return;
    m_data->scaleColor = color;
    Changed(TQVChangeGroup::Appearance);
}

double TQVDial::ValueToAngle(double value) const
{
    return m_data->scaleAngle1 + (m_data->scaleAngle2 - m_data->scaleAngle1) * (value - m_data->valueMin) / Span();
}

double TQVDial::AngleToValue(double angle) const
{
    double a = m_data->scaleAngle1 + std::fmod(angle - m_data->scaleAngle1, 360.0);
    if (a < m_data->scaleAngle1)
        a += 360.0;
    return m_data->valueMin + Span() * (a - m_data->scaleAngle1) / (m_data->scaleAngle2 - m_data->scaleAngle1);
}

QString TQVDial::LabelFormat() const
{
    return QVLabelFormat(TQVLabelFormatRule::Linear, m_data->valueMin, m_data->valueMax, m_data->valueDecimals);
}

TQVDial::TGeometry TQVDial::Geometry() const
{
    // The panel's frame properties change the client area without telling us.
    const QRect c = ClientRect();
    if (m_data->geometryValid && c == m_data->geometryClient)
        return m_data->geometry;
    TGeometry g;
    g.Centre = QPointF(c.left() + c.width() / 2.0, c.top() + c.height() / 2.0);
    const double half = std::min(c.width(), c.height()) / 2.0;
    m_data->roundLayout = {};
    if (m_data->scaleLayout == slAdaptive) {
        // A knob has no unit text: large and small ranges read in a prefix ("50k", "200µ").
        TQVRoundScaleSpec scale;
        scale.Angle1 = m_data->scaleAngle1;
        scale.Angle2 = m_data->scaleAngle2;
        scale.ValueMin = m_data->valueMin;
        scale.ValueMax = m_data->valueMax;
        scale.Gap = m_data->valueGap;
        scale.Decimals = m_data->valueDecimals;
        scale.PrefixId = QVCompactPrefix(m_data->valueMin, m_data->valueMax);
        scale.Locale = locale();
        scale.Font = font();
        scale.BandPercent = 0.0;
        scale.HubFraction = 0.97; // the knob fills the arc
        const TQVRoundScaleLayout &layout = m_data->roundLayout = TQVRoundScaleDraw::LayoutAdaptive(scale, c);
        g.ScaleRadius = half - 2.0;
        g.ArcRadius = g.ScaleRadius - TickLong;
        if (layout.Valid) {
            g.Centre = layout.Centre;
            g.ArcRadius = g.ScaleRadius = layout.Outer;
            for (const auto &tick : layout.Ticks)
                g.ScaleRadius = std::max(g.ScaleRadius, QLineF(g.Centre, tick.first.p2()).length());
            // The labels' reach decides how far out a press still counts as one on the scale.
            for (const TQVScaleLabelBox &label : layout.Labels) {
                for (const QPointF &corner : {label.Box.topLeft(), label.Box.topRight(), label.Box.bottomLeft(), label.Box.bottomRight()})
                    g.LabelSize = std::max(g.LabelSize, QLineF(g.Centre, corner).length() - g.ScaleRadius - LabelGap);
            }
        }
    } else {
        const QFontMetricsF fm(font());
        const QString format = LabelFormat();
        const double widest = std::max(fm.horizontalAdvance(QVFormatFloat(format, m_data->valueMin, locale())),
                                       fm.horizontalAdvance(QVFormatFloat(format, m_data->valueMax, locale())));
        const double m = std::max(widest, fm.height());
        if (half - 17.0 - 1.5 * m >= 0.0) {
            g.LabelSize = m;
            g.ScaleRadius = half - 1.0 - LabelGap - m;
        } else {
            g.ScaleRadius = half - 2.0;
        }
        g.ArcRadius = g.ScaleRadius - TickLong;
    }
    g.KnobRadius = g.ArcRadius - KnobGap;
    QRect knob;
    if (g.KnobRadius > 0.0) {
        const double h = g.KnobRadius + KnobMargin;
        const int left = int(std::floor(g.Centre.x() - h)), top = int(std::floor(g.Centre.y() - h));
        const int right = int(std::ceil(g.Centre.x() + h)), bottom = int(std::ceil(g.Centre.y() + h));
        knob = QRect(left, top, right - left, bottom - top).intersected(rect());
    }
    m_data->geometry = g;
    m_data->knobRect = knob;
    m_data->geometryClient = c;
    m_data->geometryValid = true;
    return g;
}

const TQVRoundScaleLayout &TQVDial::AdaptiveLayout() const
{
    Geometry();
    return m_data->roundLayout;
}

QRect TQVDial::KnobRect() const
{
    Geometry();
    return m_data->knobRect;
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
    return m_data->valueStepWidth > 0.0 ? m_data->valueStepWidth : Span() / 100.0;
}

void TQVDial::paintEvent(QPaintEvent *event)
{
    // Only a paint of exactly the knob area may use the caches: Qt may have merged other
    // pending updates into the event.
    const QRect &valueRegion = m_data->valueRegion;
    if (!valueRegion.isEmpty() && m_data->cachesValid && valueRegion.contains(event->rect())) {
        QPainter painter(this);
        const qreal dpr = QVTargetPixelRatio(painter, *this);
        if (m_data->background.devicePixelRatioF() == dpr) {
            // No clip of our own: the paint system clips to the knob area already.
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setCompositionMode(QPainter::CompositionMode_Source);
            painter.drawPixmap(valueRegion, m_data->background,
                               QRectF(QPointF(valueRegion.topLeft()) * dpr, QSizeF(valueRegion.size()) * dpr));
            painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
            PaintMovingParts(painter);
            return;
        }
    }
    m_data->cachesValid = false;
    TQVCustomPanel::paintEvent(event);
}

void TQVDial::EnsureCaches(qreal dpr)
{
    if (m_data->cachesValid && m_data->background.devicePixelRatioF() == dpr
        && m_data->background.size() == (QSizeF(size()) * dpr).toSize())
        return;
    const TGeometry g = Geometry();
    QVEnsurePixmap(m_data->background, size(), dpr);
    {
        QPainter background(&m_data->background);
        PaintBackground(background);
        PaintKnobBody(background, g);
    }
    const QRect knob = m_data->knobRect;
    const QColor base = ToQColor(m_data->knobColor);
    const double rk = g.KnobRadius;
    if (!knob.isEmpty() && rk >= 2.0) {
        QVEnsurePixmap(m_data->cap, knob.size(), dpr);
        m_data->cap.fill(Qt::transparent);
        QPainter cap(&m_data->cap);
        cap.setRenderHint(QPainter::Antialiasing);
        cap.translate(-knob.topLeft());
        // Slightly dished (dark at the top, light at the bottom) with a bright lower rim.
        const QPointF c = g.Centre;
        const double rc = 0.78 * rk;
        QLinearGradient face(c + QPointF(-rc, -rc), c + QPointF(rc, rc));
        face.setColorAt(0.0, base.darker(125));
        face.setColorAt(1.0, base.lighter(150));
        QLinearGradient rim(c + QPointF(0.0, -rc), c + QPointF(0.0, rc));
        rim.setColorAt(0.0, base.darker(200));
        rim.setColorAt(1.0, base.lighter(200));
        cap.setBrush(face);
        cap.setPen(QPen(QBrush(rim), std::max(1.0, rk / 25.0)));
        cap.drawEllipse(c, rc, rc);
    }

    // Pens and brushes of the moving parts, so that a value repaint makes none.
    QColor mark = ToQColor(m_data->indicatorColor);
    if (!isEnabled())
        mark = QColor((mark.red() + base.red()) / 2, (mark.green() + base.green()) / 2, (mark.blue() + base.blue()) / 2);
    m_data->ridgeOutline.clear();
    if (rk >= 12.0) {
        // A stroked line costs a curve flattening per round cap and paint; this is done once.
        QPainterPath ridge(QPointF(0.0, -0.83 * rk));
        ridge.lineTo(QPointF(0.0, -0.96 * rk));
        QPainterPathStroker stroker;
        stroker.setWidth(std::max(1.0, rk / 30.0));
        stroker.setCapStyle(Qt::RoundCap);
        const QPolygonF outline = stroker.createStroke(ridge).toFillPolygon(QTransform::fromScale(dpr, dpr));
        for (const QPointF &p : outline)
            m_data->ridgeOutline.push_back(p / dpr);
        m_data->ridgeBuffer.resize(m_data->ridgeOutline.size());
    }
    m_data->ridgeBrush = QBrush(base.darker(160));
    m_data->markBrush = QBrush(mark);
    // The raster engine draws an antialiased outline thinner than a device pixel with its
    // thin-line stroker, whose pixels differ with and without a clip: a value repaint (no
    // clip) would then not match a full paint. At least one device pixel keeps them equal.
    const double outline = std::max(0.8, 1.0 / dpr);
    switch (m_data->indicatorStyle) {
    case diaCircle:
        m_data->markPen = QPen(mark.darker(160), outline);
        break;
    case diaTriangle:
        m_data->markPen = QPen(mark.darker(160), outline, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin);
        break;
    case diaLine:
        m_data->markPen = QPen(mark, std::max(2.0, 0.09 * rk), Qt::SolidLine, Qt::RoundCap);
        break;
    }
    m_data->focusPen = QPen(palette().color(QPalette::Highlight), 1.5);
    m_data->cachesValid = true;
}

void TQVDial::Paint(QPainter &painter)
{
    EnsureCaches(QVTargetPixelRatio(painter, *this));
    const qreal dpr = m_data->background.devicePixelRatioF();
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawPixmap(rect(), m_data->background, QRectF(QPointF(0, 0), QSizeF(size()) * dpr));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    PaintMovingParts(painter);
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
        painter.setPen(ToQColor(m_data->scaleColor));
        painter.setFont(font());
        painter.drawText(box, Qt::AlignHCenter | Qt::AlignTop, Caption());
    }
}

void TQVDial::PaintScale(QPainter &painter, const TGeometry &g)
{
    if (g.ArcRadius <= 1.0)
        return;
    const QColor ink = ToQColor(m_data->scaleColor);
    if (m_data->roundLayout.Valid) {
        TQVRoundScaleDraw::PaintAdaptive(painter, m_data->roundLayout, {}, ink);
        return;
    }
    const double a1 = m_data->scaleAngle1, a2 = m_data->scaleAngle2;
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
    // Effective tick gap: a multiple of `ValueGap` so that ticks stay 4 pixels apart on the arc.
    const double arcPerValue = Radians(a2 - a1) * g.ArcRadius / span;
    int multiple = 1;
    while (multiple < 1000000 && m_data->valueGap * multiple * arcPerValue < 4.0)
        multiple *= 2;
    const double gap = m_data->valueGap * multiple;
    if (!(gap > 0.0) || !(span / gap <= MaxTicks)) {
        painter.restore();
        return;
    }
    double first = std::nearbyint(m_data->valueMin / gap) * gap;
    if (first < m_data->valueMin - 1e-9 * span)
        first += gap;
    // Label stride: every k-th tick carries a label, so that labels do not touch.
    const QString format = LabelFormat();
    const int stride = labels ? QVLabelStride(Radians(a2 - a1) * labelCircle * gap / span, g.LabelSize + 4.0, MaxTicks) : 1;
    for (int i = 0; i <= MaxTicks; ++i) {
        const double t = first + i * gap;
        if (!(t <= m_data->valueMax + 1e-9 * span))
            break;
        if (fullCircle && i > 0 && t >= m_data->valueMax - 1e-9 * span && first <= m_data->valueMin + 1e-9 * span)
            break;
        // Values that should read 0 may carry rounding noise from the tick arithmetic.
        const double shown = std::abs(t) < 1e-9 * span ? 0.0 : t;
        ticks.emplace_back(t, i % stride == 0 ? QVFormatFloat(format, shown, locale()) : QString());
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
    if (layout == m_data->scaleLayout || layout > slAdaptive)
        return;
    m_data->scaleLayout = layout;
    PropertyChanged(true);
    Notify(TQVChangeGroup::Appearance);
}

void TQVDial::PaintKnob(QPainter &painter, const TGeometry &g)
{
    PaintKnobBody(painter, g);
    EnsureCaches(QVTargetPixelRatio(painter, *this));
    PaintMovingParts(painter);
}

void TQVDial::PaintKnobBody(QPainter &painter, const TGeometry &g)
{
    const double rk = g.KnobRadius;
    if (rk < 2.0)
        return;
    const QPointF c = g.Centre;
    const QColor base = ToQColor(m_data->knobColor);
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
    painter.restore();
}

// Grip ridges, cap, indicator and focus ring with the pens made by EnsureCaches: no state
// saved, nothing allocated. Leaves the painter antialiased and without a brush.
void TQVDial::PaintMovingParts(QPainter &painter)
{
    const TGeometry g = Geometry();
    const double rk = g.KnobRadius;
    if (rk < 2.0)
        return;
    const QPointF c = g.Centre;
    double angle = ValueToAngle(m_data->value);
    if (!std::isfinite(angle)) // a range too wide for doubles
        angle = m_data->scaleAngle1;
    if (!painter.testRenderHint(QPainter::Antialiasing))
        painter.setRenderHint(QPainter::Antialiasing);

    // Grip ridges on the skirt; they turn with the knob.
    const std::vector<QPointF> &outline = m_data->ridgeOutline;
    if (!outline.empty()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_data->ridgeBrush);
        QPointF *turned = m_data->ridgeBuffer.data();
        for (int i = 0; i < 36; ++i) {
            const double a = Radians(angle + i * 10.0);
            const double cs = std::cos(a), sn = std::sin(a);
            for (std::size_t k = 0; k < outline.size(); ++k) {
                const QPointF &p = outline[k];
                turned[k] = QPointF(c.x() + p.x() * cs - p.y() * sn, c.y() + p.x() * sn + p.y() * cs);
            }
            painter.drawPolygon(turned, int(outline.size()), Qt::WindingFill);
        }
    }
    if (!m_data->cap.isNull())
        painter.drawPixmap(m_data->knobRect.topLeft(), m_data->cap);

    painter.setPen(m_data->markPen);
    switch (m_data->indicatorStyle) {
    case diaCircle: {
        const double r = std::max(1.5, 0.11 * rk);
        painter.setBrush(m_data->markBrush);
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
        painter.setBrush(m_data->markBrush);
        painter.drawPolygon(points, 3);
        break;
    }
    case diaLine:
        painter.drawLine(Polar(c, angle, 0.22 * rk), Polar(c, angle, 0.94 * rk));
        break;
    }

    if (m_data->focused) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(m_data->focusPen);
        painter.drawEllipse(c, rk + 2.0, rk + 2.0);
    }
    painter.setBrush(Qt::NoBrush);
}

double TQVDial::MouseAngle(const TGeometry &g, const QPointF &pos) const
{
    const double dx = pos.x() - g.Centre.x(), dy = pos.y() - g.Centre.y();
    return std::atan2(dx, -dy) * 180.0 / std::numbers::pi;
}

void TQVDial::StartDrag(double angle)
{
    m_data->dragging = true;
    m_data->dragStartValue = m_data->value;
    m_data->dragLastAngle = angle;
    m_data->dragTurn = 0.0;
    emit SliderPressed();
}

void TQVDial::EditValue(double value)
{
    const double before = m_data->value;
    SetValue(value);
    if (m_data->value != before)
        emit ValueEdited(m_data->value);
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
    const double a1 = m_data->scaleAngle1, a2 = m_data->scaleAngle2;
    double a = a1 + std::fmod(angle - a1, 360.0);
    if (a < a1)
        a += 360.0;
    const double tolerance = std::min(EndTolerance, (360.0 - (a2 - a1)) / 2.0);
    if (a > a2 + tolerance) {
        if (a < a1 + 360.0 - tolerance)
            return;
        a -= 360.0;
    }
    EditValue(m_data->valueMin + Span() * (a - a1) / (a2 - a1));
    StartDrag(angle);
}

void TQVDial::mouseMoveEvent(QMouseEvent *event)
{
    event->accept();
    if (!m_data->dragging)
        return;
    const TGeometry g = Geometry();
    const QPointF pos = event->position();
    // Close to the centre the angle is meaningless.
    if (std::hypot(pos.x() - g.Centre.x(), pos.y() - g.Centre.y()) < 3.0)
        return;
    const double angle = MouseAngle(g, pos);
    m_data->dragTurn += Fold(angle - m_data->dragLastAngle);
    m_data->dragLastAngle = angle;
    EditValue(m_data->dragStartValue + m_data->dragTurn * Span() / (m_data->scaleAngle2 - m_data->scaleAngle1));
}

void TQVDial::mouseReleaseEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() == Qt::LeftButton && m_data->dragging) {
        m_data->dragging = false;
        emit SliderReleased();
    }
}

void TQVDial::wheelEvent(QWheelEvent *event)
{
    event->accept();
    // High-resolution wheels send fractions of a notch; whole notches of 120 step.
    // Summed wide: a synthesized delta near INT_MAX must not overflow the remainder.
    const qint64 total = qint64(m_data->wheelRemainder) + event->angleDelta().y();
    const int notches = int(total / 120);
    m_data->wheelRemainder = int(total - qint64(notches) * 120);
    if (notches != 0)
        EditValue(m_data->value + notches * Step());
}

void TQVDial::keyPressEvent(QKeyEvent *event)
{
    const double step = Step();
    switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Right:
        EditValue(m_data->value + step);
        break;
    case Qt::Key_Down:
    case Qt::Key_Left:
        EditValue(m_data->value - step);
        break;
    case Qt::Key_PageUp:
        EditValue(m_data->value + 10.0 * step);
        break;
    case Qt::Key_PageDown:
        EditValue(m_data->value - 10.0 * step);
        break;
    case Qt::Key_Home:
        EditValue(m_data->valueMin);
        break;
    case Qt::Key_End:
        EditValue(m_data->valueMax);
        break;
    default:
        TQVCustomPanel::keyPressEvent(event);
        return;
    }
    event->accept();
}

void TQVDial::resizeEvent(QResizeEvent *event)
{
    TQVCustomPanel::resizeEvent(event);
    m_data->geometryValid = false;
}

void TQVDial::changeEvent(QEvent *event)
{
    TQVCustomPanel::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::LocaleChange)
        m_data->geometryValid = false;
}

void TQVDial::focusInEvent(QFocusEvent *event)
{
    TQVCustomPanel::focusInEvent(event);
    m_data->focused = true;
    update(KnobRect());
}

void TQVDial::focusOutEvent(QFocusEvent *event)
{
    TQVCustomPanel::focusOutEvent(event);
    m_data->focused = false;
    update(KnobRect());
}
