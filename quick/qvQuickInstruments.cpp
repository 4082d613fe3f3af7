#include "quick/qvQuickInstruments.h"

#include <limits>

#include <QtCore/QScopedValueRollback>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickWindow>
#include <QtWidgets/QApplication>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/QVPlot.h"
#include "indicators/qvWaterfall.h"

TQVQuickInstrument::TQVQuickInstrument(WidgetFactory make, QQuickItem *parent)
    : QQuickPaintedItem(parent)
{
    if (!QVQuickInitialize())
        return;
    m_widget = make();
    QQmlEngine::setObjectOwnership(m_widget, QQmlEngine::CppOwnership); // reached as `widget`, owned here
    connect(m_widget, &TQVCustomControl::ErrorOccurred, this, &TQVQuickInstrument::errorOccurred);
    // Shown, but never on screen: the widget's own update and repaint requests arrive as
    // paint events, which the filter turns into paints into the item's image.
    m_widget->setAttribute(Qt::WA_DontShowOnScreen);
    m_widget->setAttribute(Qt::WA_QuitOnClose, false); // closing the last window still quits
    m_widget->installEventFilter(this);
    m_widget->show();
    // An opaque widget paints every pixel: the scene graph need not blend the item.
    setOpaquePainting(m_widget->testAttribute(Qt::WA_OpaquePaintEvent));
    setImplicitSize(m_widget->sizeHint().width(), m_widget->sizeHint().height());
}

TQVQuickInstrument::~TQVQuickInstrument()
{
    delete m_widget;
}

QWidget *TQVQuickInstrument::widget() const
{
    return m_widget;
}

QString TQVQuickInstrument::caption() const { return Read("Caption").toString(); }
void TQVQuickInstrument::setCaption(const QString &caption) { Write("Caption", caption); }
QColor TQVQuickInstrument::color() const { return Read("QtColor").value<QColor>(); }
void TQVQuickInstrument::setColor(const QColor &color) { Write("QtColor", color); }

void TQVQuickInstrument::LinkProperties()
{
    if (!m_widget)
        return;
    QVQuickFace::LinkNotifiers(this, QQuickPaintedItem::staticMetaObject.propertyCount(), m_widget);
}

QVariant TQVQuickInstrument::Read(const char *name) const { return QVQuickFace::Read(m_widget, name); }
void TQVQuickInstrument::Write(const char *name, const QVariant &value) { QVQuickFace::Write(m_widget, name, value); }

TQVMeasureSource *TQVQuickInstrument::SourceOf() const
{
    return Read("MeasureSource").value<TQVMeasureSource *>();
}

void TQVQuickInstrument::SetSource(TQVMeasureSource *source)
{
    Write("MeasureSource", QVariant::fromValue(source));
}

void TQVQuickInstrument::AcceptInput()
{
    setAcceptedMouseButtons(Qt::LeftButton);
    setActiveFocusOnTab(true);
    setFlag(ItemAcceptsInputMethod, false);
}

void TQVQuickInstrument::paint(QPainter *painter)
{
    if (!m_widget || m_image.isNull())
        return;
    // The scene graph repaints the area it was asked to (clipped): a copy of the widget's
    // pixels, which the widget painted when it asked for the update.
    const qreal dpr = m_image.devicePixelRatio();
    const QRect area = painter->hasClipping() ? painter->clipBoundingRect().toAlignedRect() & m_widget->rect()
                                              : m_widget->rect();
    painter->drawImage(QRectF(area), m_image, QRectF(QPointF(area.topLeft()) * dpr, QSizeF(area.size()) * dpr));
}

void TQVQuickInstrument::PaintWidget(const QRegion &region)
{
    // The widget paints at the pixel ratio of the device it paints on: the image has the
    // window's, so that text and vectors are drawn at device resolution.
    const qreal dpr = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    const QSize pixels = (QSizeF(m_widget->size()) * dpr).toSize();
    QRegion dirty = region;
    if (m_image.size() != pixels || m_image.devicePixelRatio() != dpr) {
        m_image = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        m_image.setDevicePixelRatio(dpr);
        m_image.fill(Qt::transparent);
        dirty = m_widget->rect();
    }
    const QScopedValueRollback rendering(m_rendering, true);
    // Called from the widget's paint event, which this render replaces: not a recursion.
    const bool inPaint = m_widget->testAttribute(Qt::WA_WState_InPaintEvent);
    m_widget->setAttribute(Qt::WA_WState_InPaintEvent, false);
    // An opaque widget paints every pixel of its region itself (a value repaint relies on
    // the rest of its area keeping what it showed); any other gets the window's background
    // first, as a window on a screen does.
    const QWidget::RenderFlags flags = m_widget->testAttribute(Qt::WA_OpaquePaintEvent)
                                           ? QWidget::DrawChildren
                                           : QWidget::DrawChildren | QWidget::DrawWindowBackground;
    m_widget->render(&m_image, dirty.boundingRect().topLeft(), dirty, flags);
    m_widget->setAttribute(Qt::WA_WState_InPaintEvent, inPaint);
    update(dirty.boundingRect());
}

bool TQVQuickInstrument::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_widget || event->type() != QEvent::Paint || m_rendering)
        return QQuickPaintedItem::eventFilter(watched, event);
    // The widget's own paint request (an update, or the synchronous repaint of a value):
    // it paints now, into the item's image, with the state it painted with on a screen.
    PaintWidget(static_cast<QPaintEvent *>(event)->region());
    return true;
}

void TQVQuickInstrument::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickPaintedItem::geometryChange(newGeometry, oldGeometry);
    if (m_widget && newGeometry.size() != oldGeometry.size())
        m_widget->resize(newGeometry.size().toSize().expandedTo(QSize(1, 1)));
}

void TQVQuickInstrument::itemChange(ItemChange change, const ItemChangeData &data)
{
    QQuickPaintedItem::itemChange(change, data);
    // Another window or screen may have another pixel ratio: the widget paints anew.
    if (m_widget && (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged))
        m_widget->update();
}

void TQVQuickInstrument::Forward(QEvent *event)
{
    if (!m_widget)
        return event->ignore();
    event->setAccepted(false);
    QCoreApplication::sendEvent(m_widget, event); // what it changes, it repaints itself
}

void TQVQuickInstrument::keyPressEvent(QKeyEvent *event) { Forward(event); }
void TQVQuickInstrument::keyReleaseEvent(QKeyEvent *event) { Forward(event); }
void TQVQuickInstrument::wheelEvent(QWheelEvent *event) { Forward(event); }
void TQVQuickInstrument::focusInEvent(QFocusEvent *event) { Forward(event); }
void TQVQuickInstrument::focusOutEvent(QFocusEvent *event) { Forward(event); }

void TQVQuickInstrument::mousePressEvent(QMouseEvent *event)
{
    forceActiveFocus(Qt::MouseFocusReason);
    Forward(event);
    event->accept(); // keeps the grab, so that the drag and the release arrive
}

void TQVQuickInstrument::mouseMoveEvent(QMouseEvent *event) { Forward(event); }
void TQVQuickInstrument::mouseReleaseEvent(QMouseEvent *event) { Forward(event); }

void TQVQuickValueInstrument::WriteValue(Slot slot, double value)
{
    const char *names[Slots] = {"ValueMax", "ValueMin", m_gapName, "Value"};
    if (isComponentComplete())
        Write(names[slot], value);
    else
        m_pending[slot] = value;
}

void TQVQuickValueInstrument::componentComplete()
{
    TQVQuickInstrument::componentComplete();
    // The upper end before and after the lower one: whichever way the new range lies from
    // the old one, one of the two writes of the upper end is accepted.
    for (Slot slot : {ValueMax, ValueMin, ValueMax, Step, Value}) {
        if (m_pending[slot])
            WriteValue(slot, *m_pending[slot]);
    }
    for (std::optional<double> &pending : m_pending)
        pending.reset();
}

TQVQuickMeter::TQVQuickMeter(QQuickItem *parent)
    : TQVQuickValueInstrument([]() -> TQVCustomPanel * { return new TQVMeter; }, parent)
{
    LinkProperties();
}

void TQVQuickLinearScaleInstrument::setUnitPrefix(const QString &symbol)
{
    const int id = QVQuickFace::PrefixId(symbol);
    if (id >= 0)
        Write("LabelScientificUnitPosfix", id);
    else
        qmlWarning(this) << QStringLiteral("unknown SI prefix \"%1\"").arg(symbol);
}

namespace {

// The input widget's drag and user edits as the item's `pressed` and `moved`.
template <typename Widget, typename Item>
void LinkInputSignals(Item *item)
{
    if (auto *widget = qobject_cast<Widget *>(item->widget())) {
        QObject::connect(widget, &Widget::SliderPressed, item, &Item::pressedChanged);
        QObject::connect(widget, &Widget::SliderReleased, item, &Item::pressedChanged);
        QObject::connect(widget, &Widget::ValueEdited, item, &Item::moved);
    }
}

} // namespace

TQVQuickDial::TQVQuickDial(QQuickItem *parent)
    : TQVQuickValueInstrument([]() -> TQVCustomPanel * { return new TQVDial; }, parent)
{
    LinkProperties();
    AcceptInput();
    LinkInputSignals<TQVDial>(this);
}

bool TQVQuickDial::pressed() const
{
    const auto *dial = qobject_cast<const TQVDial *>(widget());
    return dial && dial->Dragging();
}

TQVQuickBarGraph::TQVQuickBarGraph(QQuickItem *parent)
    : TQVQuickLinearScaleInstrument([]() -> TQVCustomPanel * { return new TQVBarGraph; }, parent)
{
    LinkProperties();
}

void TQVQuickMeter::resetPeak()
{
    if (auto *meter = static_cast<TQVMeterInt *>(widget()))
        meter->ResetPeak();
}

void TQVQuickBarGraph::resetPeak()
{
    if (auto *bar = static_cast<TQVBarGraphInt *>(widget()))
        bar->ResetPeak();
}

TQVQuickSlider::TQVQuickSlider(QQuickItem *parent)
    : TQVQuickLinearScaleInstrument([]() -> TQVCustomPanel * { return new TQVSlider; }, parent)
{
    LinkProperties();
    AcceptInput();
    LinkInputSignals<TQVSlider>(this);
}

bool TQVQuickSlider::pressed() const
{
    const auto *slider = qobject_cast<const TQVSlider *>(widget());
    return slider && slider->Dragging();
}

TQVQuickPanelMeter::TQVQuickPanelMeter(QQuickItem *parent)
    : TQVQuickValueInstrument([]() -> TQVCustomPanel * { return new TQVPanelMeter; }, parent)
{
    LinkProperties();
}

TQVQuickLed::TQVQuickLed(QQuickItem *parent)
    : TQVQuickInstrument([]() -> TQVCustomPanel * { return new TQVLed; }, parent)
{
    LinkProperties();
}

TQVQuickPlot::TQVQuickPlot(QQuickItem *parent)
    : TQVQuickInstrument([]() -> TQVCustomPanel * { return new TQVPlot; }, parent)
{
    LinkProperties();
}

namespace {

TQVPlot *PlotOf(const TQVQuickInstrument *item)
{
    return static_cast<TQVPlot *>(item->widget());
}

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

static_assert(int(TQVQuickPlot::NoAveraging) == TQVPlot::avNone && int(TQVQuickPlot::Linear) == TQVPlot::avLinear
              && int(TQVQuickPlot::Exponential) == TQVPlot::avExponential);

} // namespace

void TQVQuickPlot::setInteractive(bool on)
{
    Write("Interactive", on);
    // The plot zooms with the left button and pans with the right or middle one.
    setAcceptedMouseButtons(on ? Qt::LeftButton | Qt::RightButton | Qt::MiddleButton : Qt::NoButton);
    setActiveFocusOnTab(on);
}

void TQVQuickPlot::zoomTo(double x0, double x1, double y0, double y1)
{
    if (TQVPlot *plot = PlotOf(this))
        plot->ZoomTo(x0, x1, y0, y1);
}

void TQVQuickPlot::zoomBack()
{
    if (TQVPlot *plot = PlotOf(this))
        plot->ZoomBack();
}

void TQVQuickPlot::zoomReset()
{
    if (TQVPlot *plot = PlotOf(this))
        plot->ZoomReset();
}

int TQVQuickPlot::zoomDepth() const { return PlotOf(this) ? PlotOf(this)->ZoomDepth() : 0; }

void TQVQuickPlot::resetProcessing()
{
    if (TQVPlot *plot = PlotOf(this))
        plot->ResetProcessing();
}

double TQVQuickPlot::peakX() const { return PlotOf(this) ? PlotOf(this)->PeakX() : NaN; }
double TQVQuickPlot::peakValue() const { return PlotOf(this) ? PlotOf(this)->PeakValue() : NaN; }
double TQVQuickPlot::cursorValue(int which) const { return PlotOf(this) ? PlotOf(this)->CursorValue(which) : NaN; }
QVariantMap TQVQuickPlot::gateStatistics() const { return PlotOf(this) ? PlotOf(this)->GateStatistics() : QVariantMap(); }
QVariantMap TQVQuickPlot::distortionReading() const { return PlotOf(this) ? PlotOf(this)->DistortionReading() : QVariantMap(); }
QVariantMap TQVQuickPlot::limitReading() const { return PlotOf(this) ? PlotOf(this)->LimitReading() : QVariantMap(); }

QVariantList TQVQuickPlot::LimitPoints(const char *name) const
{
    QList<QPointF> points;
    TQVPlot::ParseLimit(Read(name).toString(), &points);
    QVariantList list;
    for (const QPointF &p : points)
        list.append(p);
    return list;
}

void TQVQuickPlot::WriteLimit(const char *name, const QVariantList &points)
{
    // Points from QML: point values or objects with x and y; anything else spoils the line,
    // which the plot then ignores.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QList<QPointF> line;
    for (const QVariant &point : points) {
        const QVariantMap map = point.toMap();
        line.append(point.canConvert<QPointF>() && map.isEmpty()
                        ? point.toPointF()
                        : QPointF(map.value(QStringLiteral("x"), nan).toDouble(), map.value(QStringLiteral("y"), nan).toDouble()));
    }
    Write(name, TQVPlot::LimitText(line));
}

QStringList TQVQuickPlot::readoutLines() const { return PlotOf(this) ? PlotOf(this)->ReadoutLines() : QStringList(); }
QRect TQVQuickPlot::readoutRect() const { return PlotOf(this) ? PlotOf(this)->ReadoutRect() : QRect(); }
QString TQVQuickPlot::tracesCsv() const { return PlotOf(this) ? PlotOf(this)->TracesCsv() : QString(); }
bool TQVQuickPlot::saveTracesCsv(const QString &fileName) { return PlotOf(this) && PlotOf(this)->SaveTracesCsv(fileName); }

TQVQuickWaterfall::TQVQuickWaterfall(QQuickItem *parent)
    : TQVQuickInstrument([]() -> TQVCustomPanel * { return new TQVWaterfall; }, parent)
{
    LinkProperties();
}
