#pragma once

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QSize>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

#include "analysis/qvCatalogue.h"

/// \brief One widget class of the catalogue in the form designer's widget box, described by
/// its catalogue entry.
///
/// Widgets created inside a form window are marked as designing, so that they behave as
/// they do in a form designer (for instance, a bar graph swaps width and height when its
/// `Kind` changes); widgets of a preview are not.
class TQVDesignerWidget : public QObject, public QDesignerCustomWidgetInterface
{
    Q_OBJECT
    Q_INTERFACES(QDesignerCustomWidgetInterface)

public:
    explicit TQVDesignerWidget(const TQVCatalogueEntry &entry, QObject *parent = nullptr);

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
    TQVCatalogueEntry m_entry;
    mutable QSize m_defaultSize;
    bool m_initialized = false;
};

/// \brief The plugin: the widget classes of the catalogue that have a Designer group (the
/// display controls, their source-bound sinks, the dial and the slider), in catalogue order.
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
