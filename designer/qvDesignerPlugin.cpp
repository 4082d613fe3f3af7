#include "qvDesignerPlugin.h"

#include <memory>

#include <QtCore/QXmlStreamWriter>
#include <QtDesigner/QDesignerFormWindowInterface>
#include <QtGui/QIcon>
#include <QtWidgets/QWidget>

#include "framework/qvComponent.h"
#include "indicators/qvRegister.h"

namespace {

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

TQVDesignerWidget::TQVDesignerWidget(const TQVCatalogueEntry &entry, QObject *parent)
    : QObject(parent)
    , m_entry(entry)
{
}

QString TQVDesignerWidget::name() const
{
    return m_entry.Name();
}

QString TQVDesignerWidget::group() const
{
    return m_entry.Designer.Group;
}

QString TQVDesignerWidget::toolTip() const
{
    return m_entry.Designer.ToolTip;
}

QString TQVDesignerWidget::whatsThis() const
{
    return m_entry.Designer.WhatsThis;
}

QString TQVDesignerWidget::includeFile() const
{
    return m_entry.Designer.IncludeFile;
}

QIcon TQVDesignerWidget::icon() const
{
    return QVPaletteIcon(m_entry.Bitmap);
}

bool TQVDesignerWidget::isContainer() const
{
    return m_entry.Designer.Container;
}

QWidget *TQVDesignerWidget::createWidget(QWidget *parent)
{
    QObject *created = m_entry.Factory(parent);
    QWidget *widget = qobject_cast<QWidget *>(created);
    if (!widget) {
        delete created;
        return nullptr;
    }
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
        const std::unique_ptr<QObject> probe(m_entry.Factory(nullptr));
        const auto *widget = qobject_cast<const QWidget *>(probe.get());
        m_defaultSize = widget ? widget->size() : QSize(0, 0);
    }
    QString xml;
    QXmlStreamWriter out(&xml);
    out.setAutoFormatting(true);
    out.writeStartElement(QStringLiteral("ui"));
    out.writeAttribute(QStringLiteral("language"), QStringLiteral("c++"));
    out.writeStartElement(QStringLiteral("widget"));
    out.writeAttribute(QStringLiteral("class"), m_entry.Name());
    out.writeAttribute(QStringLiteral("name"), BaseObjectName(m_entry.Name()));
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
    out.writeTextElement(QStringLiteral("class"), m_entry.Name());
    out.writeTextElement(QStringLiteral("extends"), QStringLiteral("QWidget"));
    out.writeTextElement(QStringLiteral("header"), m_entry.Designer.IncludeFile);
    out.writeEndElement(); // customwidget
    out.writeEndElement(); // customwidgets
    out.writeEndElement(); // ui
    return xml;
}

TQVDesignerPlugin::TQVDesignerPlugin(QObject *parent)
    : QObject(parent)
{
    for (const TQVCatalogueEntry &entry : QVWidgetCatalogue()) {
        if (!entry.Designer.Group.isEmpty())
            m_widgets.append(new TQVDesignerWidget(entry, this));
    }
}

QList<QDesignerCustomWidgetInterface *> TQVDesignerPlugin::customWidgets() const
{
    return m_widgets;
}
