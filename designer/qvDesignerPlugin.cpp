#include "qvDesignerPlugin.h"

#include <memory>

#include <QtCore/QXmlStreamWriter>
#include <QtDesigner/QDesignerFormWindowInterface>
#include <QtGui/QIcon>
#include <QtWidgets/QWidget>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "controls/qvbargraphint.h"
#include "controls/qvmeterInt.h"
#include "framework/qvComponent.h"
#include "indicators/QVLedInt.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/QVPanelMeterInt.h"
#include "indicators/qvRegister.h"

namespace {

template<typename T>
TQVDesignerWidgetInfo Info(const char *include, const char *bitmap, const QString &toolTip,
                           const QString &whatsThis)
{
    return TQVDesignerWidgetInfo{QString::fromLatin1(T::staticMetaObject.className()),
                                 QString::fromLatin1(include),
                                 QString::fromLatin1(bitmap),
                                 toolTip,
                                 whatsThis,
                                 [](QWidget *parent) -> QWidget * { return new T(parent); }};
}

QString SinkNote()
{
    return QStringLiteral(" Bound to a measure source through its MeasureSource property, it "
                          "shows the first value of channel 0 of every block.");
}

// The object name a new instance starts from: the class name without "T", first letter
// in lower case ("qVBarGraph" would read badly, so "qv" is kept together).
QString BaseObjectName(const QString &className)
{
    QString name = className.startsWith(u'T') ? className.mid(1) : className;
    if (name.startsWith(QStringLiteral("QV")))
        name.replace(0, 2, QStringLiteral("qv"));
    else if (!name.isEmpty())
        name[0] = name[0].toLower();
    return name;
}

} // namespace

TQVDesignerWidget::TQVDesignerWidget(const TQVDesignerWidgetInfo &info, QObject *parent)
    : QObject(parent)
    , m_info(info)
{
}

QString TQVDesignerWidget::name() const
{
    return m_info.ClassName;
}

QString TQVDesignerWidget::group() const
{
    return QVPalettePageName();
}

QString TQVDesignerWidget::toolTip() const
{
    return m_info.ToolTip;
}

QString TQVDesignerWidget::whatsThis() const
{
    return m_info.WhatsThis;
}

QString TQVDesignerWidget::includeFile() const
{
    return m_info.IncludeFile;
}

QIcon TQVDesignerWidget::icon() const
{
    return QVPaletteIcon(m_info.Bitmap);
}

bool TQVDesignerWidget::isContainer() const
{
    return false;
}

QWidget *TQVDesignerWidget::createWidget(QWidget *parent)
{
    QWidget *widget = m_info.Factory(parent);
    if (parent && QDesignerFormWindowInterface::findFormWindow(parent))
        QVSetDesigning(widget, true);
    return widget;
}

bool TQVDesignerWidget::isInitialized() const
{
    return m_initialized;
}

void TQVDesignerWidget::initialize(QDesignerFormEditorInterface *)
{
    m_initialized = true;
}

QString TQVDesignerWidget::domXml() const
{
    // A new instance starts with the size the control gives itself.
    if (!m_defaultSize.isValid()) {
        const std::unique_ptr<QWidget> probe(m_info.Factory(nullptr));
        m_defaultSize = probe->size();
    }
    QString xml;
    QXmlStreamWriter out(&xml);
    out.setAutoFormatting(true);
    out.writeStartElement(QStringLiteral("ui"));
    out.writeAttribute(QStringLiteral("language"), QStringLiteral("c++"));
    out.writeStartElement(QStringLiteral("widget"));
    out.writeAttribute(QStringLiteral("class"), m_info.ClassName);
    out.writeAttribute(QStringLiteral("name"), BaseObjectName(m_info.ClassName));
    out.writeStartElement(QStringLiteral("property"));
    out.writeAttribute(QStringLiteral("name"), QStringLiteral("geometry"));
    out.writeStartElement(QStringLiteral("rect"));
    out.writeTextElement(QStringLiteral("x"), QStringLiteral("0"));
    out.writeTextElement(QStringLiteral("y"), QStringLiteral("0"));
    out.writeTextElement(QStringLiteral("width"), QString::number(m_defaultSize.width()));
    out.writeTextElement(QStringLiteral("height"), QString::number(m_defaultSize.height()));
    out.writeEndElement(); // rect
    out.writeEndElement(); // property
    out.writeEndElement(); // widget
    out.writeStartElement(QStringLiteral("customwidgets"));
    out.writeStartElement(QStringLiteral("customwidget"));
    out.writeTextElement(QStringLiteral("class"), m_info.ClassName);
    out.writeTextElement(QStringLiteral("extends"), QStringLiteral("QWidget"));
    out.writeTextElement(QStringLiteral("header"), m_info.IncludeFile);
    out.writeEndElement(); // customwidget
    out.writeEndElement(); // customwidgets
    out.writeEndElement(); // ui
    return xml;
}

TQVDesignerPlugin::TQVDesignerPlugin(QObject *parent)
    : QObject(parent)
{
    const QList<TQVDesignerWidgetInfo> infos = {
        Info<TQVBarGraphInt>("controls/qvbargraphint.h", "TQVBARGRAPH", tr("Bar graph"),
                             tr("Shows a value as a bar along a scale, coloured by a table of up "
                                "to 16 colour ranges.")),
        Info<TQVSlider>("controls/qvSlider.h", "TQVSLIDER", tr("Slider"),
                        tr("An input control: the user drags the button along a scale to set a "
                           "value, in steps of ValueStepWidth.")),
        Info<TQVMeterInt>("controls/qvmeterInt.h", "TQVMETER", tr("Analog meter"),
                          tr("Shows a value with a needle or wedge on a circular scale with "
                             "coloured range bands.")),
        Info<TQVDial>("controls/qvDial.h", "TQVDIAL", tr("Rotary dial"),
                      tr("An input control: a knob on a circular scale between ScaleAngle1 and "
                         "ScaleAngle2 that sets a value.")),
        Info<TQVLedInt>("indicators/QVLedInt.h", "TQVLED", tr("LED"),
                        tr("A lamp (round, rectangular or an arrow), on or off, optionally flashing; "
                           "it can compare a value with a limit or a range.")),
        Info<TQVPanelMeterInt>("indicators/QVPanelMeterInt.h", "TQVPANELMETER", tr("Digital panel meter"),
                               tr("Shows a value in seven-segment or font digits with an SI prefix "
                                  "and a unit.")),
        Info<TQVBarGraph>("indicators/QVMLSingleSinks.h", "TQVBARGRAPH", tr("Bar graph bound to a source"),
                          tr("A bar graph that follows a measure source.") + SinkNote()),
        Info<TQVLed>("indicators/QVMLSingleSinks.h", "TQVLED", tr("LED bound to a source"),
                     tr("An LED that compares the values of a measure source with its limit or "
                        "range.") + SinkNote()),
        Info<TQVMeter>("indicators/QVMLSingleSinks.h", "TQVMETER", tr("Analog meter bound to a source"),
                       tr("An analog meter that follows a measure source.") + SinkNote()),
        Info<TQVPanelMeter>("indicators/QVMLSingleSinks.h", "TQVPANELMETER",
                            tr("Digital panel meter bound to a source"),
                            tr("A digital panel meter that follows a measure source.") + SinkNote()),
    };
    for (const TQVDesignerWidgetInfo &info : infos)
        m_widgets.append(new TQVDesignerWidget(info, this));
}

QList<QDesignerCustomWidgetInterface *> TQVDesignerPlugin::customWidgets() const
{
    return m_widgets;
}
