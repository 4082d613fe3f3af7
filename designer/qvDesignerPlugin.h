#pragma once

#include <functional>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QSize>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

/// \brief What the form designer needs to know about one widget class.
struct TQVDesignerWidgetInfo
{
    QString ClassName;
    QString IncludeFile; // as included from the installed headers, "controls/qvSlider.h"
    QString Bitmap;      // palette bitmap name, "TQVSLIDER"
    QString ToolTip;
    QString WhatsThis;
    std::function<QWidget *(QWidget *parent)> Factory;
};

/// \brief One widget class in the form designer's widget box, group "Velmora".
///
/// Widgets created inside a form window are marked as designing, so that they behave as
/// they do in a form designer (for instance, a bar graph swaps width and height when its
/// `Kind` changes); widgets of a preview are not.
class TQVDesignerWidget : public QObject, public QDesignerCustomWidgetInterface
{
    Q_OBJECT
    Q_INTERFACES(QDesignerCustomWidgetInterface)

public:
    explicit TQVDesignerWidget(const TQVDesignerWidgetInfo &info, QObject *parent = nullptr);

    QString name() const override;
    QString group() const override;
    QString toolTip() const override;
    QString whatsThis() const override;
    QString includeFile() const override;
    QIcon icon() const override;
    bool isContainer() const override;
    QWidget *createWidget(QWidget *parent) override;
    bool isInitialized() const override;
    void initialize(QDesignerFormEditorInterface *core) override;
    /// The widget with the default size of a new instance and the class declaration.
    QString domXml() const override;

private:
    TQVDesignerWidgetInfo m_info;
    mutable QSize m_defaultSize;
    bool m_initialized = false;
};

/// \brief The plugin: the ten widget classes of the package (the display controls, their
/// source-bound sinks, the dial and the slider).
class TQVDesignerPlugin : public QObject, public QDesignerCustomWidgetCollectionInterface
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface")
    Q_INTERFACES(QDesignerCustomWidgetCollectionInterface)

public:
    explicit TQVDesignerPlugin(QObject *parent = nullptr);

    QList<QDesignerCustomWidgetInterface *> customWidgets() const override;

private:
    QList<QDesignerCustomWidgetInterface *> m_widgets;
};
