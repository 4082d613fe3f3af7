#pragma once

#include <functional>
#include <vector>

#include <QtCore/QPointer>
#include <QtCore/QRect>
#include <QtCore/QStringList>
#include <QtGui/QImage>
#include <QtWidgets/QMainWindow>

#include "qvWorkbenchModel.h"

class QAction;
class QMenu;
class QLabel;
class QKeyEvent;
class QListWidget;
class QListWidgetItem;
class QPainter;
class QPainterPath;
class QRubberBand;
class QScrollArea;
class QTableWidget;
class QTimer;
class QToolBox;

/// \brief The workbench main window: the palette on the left, the form in the centre
/// (visual components as themselves, non-visual ones as tiles below), the property editor
/// on the right, and New, Open, Save, Run, Stop and Delete in the menu and toolbar.
///
/// In design mode a click selects a component and a drag moves it; while the form runs
/// the components take the mouse themselves.
class TQVWorkbench : public QMainWindow
{
    Q_OBJECT

public:
    explicit TQVWorkbench(QWidget *parent = nullptr);
    ~TQVWorkbench() override;

    TQVWorkbenchModel &Model() { return *m_model; }
    QToolBox *Palette() const { return m_palette; }
    QTableWidget *PropertyEditor() const { return m_properties; }
    QListWidget *Tray() const { return m_tray; }

    /// \brief The current component, whose properties the editor shows, or null.
    QObject *Selected() const { return m_selected; }
    /// \brief Every selected component, in the order of the form (the current one among them).
    QList<QObject *> SelectedComponents() const;
    /// The widgets among them.
    QList<QWidget *> SelectedWidgets() const;
    /// \brief Selects `component` alone and shows its properties (null clears the
    /// selection); with `add`, adds it to the selection as the current one, or takes it out
    /// when it is selected already (a click with Ctrl or Shift).
    void Select(QObject *component, bool add = false);
    /// \brief Selects every component of the form.
    void SelectAll();
    /// \brief The editor widget of property `name` of the selected component, or null.
    QWidget *PropertyEditorWidget(const QString &name) const;

    /// \brief Whether errors open a message box (the default) or are only emitted.
    void SetModalErrors(bool modal) { m_modalErrors = modal; }

    /// \brief Opens `fileName` (a form) and puts it first in the recent files.
    bool OpenFile(const QString &fileName);
    /// \brief The recent files, newest first (at most 8).
    QStringList RecentFiles() const;
    /// \brief Opens recent file `fileName`; a file that no longer exists is removed from
    /// the list with a message.
    bool OpenRecent(const QString &fileName);

    /// \brief Places a small example chain: generator, RMS analyzer, meter, bar graph and
    /// plot of the generator's signal.
    void PlaceExample();

signals:
    /// Every error the window shows.
    void ErrorShown(const QString &message);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    struct PropertyRow
    {
        QString Name;
        QWidget *Editor = nullptr;
        std::function<void()> Refresh;
    };

    void SetSelection(const QList<QObject *> &components, QObject *current);
    void CreateActions();
    void CreateArrangeMenu();
    bool NudgeSelection(const QKeyEvent *key);
    void ShowContextMenu(const QPoint &globalPosition, bool onComponent);
    void AddRecentFile(const QString &fileName);
    void SetRecentFiles(const QStringList &files);
    void UpdateRecentMenu();
    void UpdateOverlays();
    void PaintWires(QPainter &painter);
    void DrawWires(QPainter &painter);
    /// \brief A wire from box `from` to box `to`: around `boxes` (both ends among them) inside
    /// `area`, in straight runs with rounded corners, or a curve when there is no way around;
    /// clear of the points `avoid` (the ends of other wires).
    static QPainterPath WirePath(const QRectF &from, const QRectF &to, const QList<QRectF> &boxes, const QRectF &area,
                                 const QList<QPointF> &avoid);
    /// Where a wire from `from` to `to` leaves and enters them.
    static std::pair<QPointF, QPointF> WireEnds(const QRectF &from, const QRectF &to);
    QRect ComponentRect(QObject *component, QWidget *to) const;
    // Where wires end: a widget's rectangle, a tile's icon (null for a tile's name).
    QRect WireEnd(QObject *component, QWidget *to, QRect *name = nullptr) const;
    int HandleAt(const QPoint &surfacePosition) const;
    void BeginResize(int handle, const QPoint &surfacePosition);
    void ResizeTo(const QPoint &surfacePosition);
    void EndResize();
    void CreatePalette();
    void ShowError(const QString &message);
    void UpdateTitle();
    void UpdateActions();
    void RebuildTray();
    void RebuildProperties();
    /// Re-reads every shown value; `live` leaves the editor with the focus alone.
    void RefreshProperties(bool live = false);
    void AddPropertyRow(const QString &label, QWidget *editor, std::function<void()> refresh, bool readOnly = false);
    QWidget *CreateEditor(const QMetaProperty &property, std::function<void()> &refresh);
    void Watch(QWidget *component);
    QWidget *DesignComponentAt(QObject *watched) const;
    void PlaceFromPalette(const QString &className, const QPoint &position = QPoint(-1, -1));
    bool ConfirmDiscard();

    void OnNew();
    void OnOpen();
    bool OnSave();
    bool OnSaveAs();
    void OnDelete();
    void OnCopy(bool cut);
    void OnPaste(const QString &text);

    TQVWorkbenchModel *m_model = nullptr;
    QToolBox *m_palette = nullptr;
    QScrollArea *m_formArea = nullptr;
    QWidget *m_overlay = nullptr;
    QWidget *m_centre = nullptr;
    QWidget *m_wires = nullptr;
    QImage m_fadedWires; // the wires of the running form, until they change
    QMenu *m_recentMenu = nullptr;
    QListWidget *m_tray = nullptr;
    QTableWidget *m_properties = nullptr;
    QLabel *m_propertyTitle = nullptr;
    QLabel *m_trayTitle = nullptr;
    std::vector<PropertyRow> m_rows;
    QPointer<QObject> m_selected;
    QList<QPointer<QObject>> m_alsoSelected; // the rest of the selection

    QAction *m_newAction = nullptr;
    QAction *m_openAction = nullptr;
    QAction *m_saveAction = nullptr;
    QAction *m_saveAsAction = nullptr;
    QAction *m_runAction = nullptr;
    QAction *m_stopAction = nullptr;
    QAction *m_deleteAction = nullptr;
    QAction *m_cutAction = nullptr;
    QAction *m_copyAction = nullptr;
    QAction *m_pasteAction = nullptr;
    QAction *m_duplicateAction = nullptr;
    QAction *m_selectAllAction = nullptr;
    QMenu *m_arrangeMenu = nullptr;
    QList<QAction *> m_arrangeActions; // data: the model's arrangement
    QList<QAction *> m_stackActions;
    QAction *m_undoAction = nullptr;
    QAction *m_redoAction = nullptr;

    // Dragging a component in design mode.
    QPointer<QWidget> m_dragWidget;
    QPoint m_dragOffset;
    QRect m_dragStart;
    bool m_dragMoved = false;
    QList<QPair<QPointer<QWidget>, QPoint>> m_dragGroup; // the selected widgets and where they started
    // Selecting by a rectangle drawn on the empty form.
    QRubberBand *m_band = nullptr;
    QPoint m_bandStart;
    bool m_bandAdds = false;
    // Resizing the selected components by a handle of the current one (-1: none): the edges
    // move alike on all of them.
    int m_resizeHandle = -1;
    QList<QPair<QPointer<QWidget>, QRect>> m_resizeGroup; // the other selected widgets and where they started
    QMargins m_resizeEdges;
    QPoint m_resizePress;

    bool m_modalErrors = true;
    bool m_refreshing = false;
    // While the form runs: the shown values follow the components a few times a second.
    QTimer *m_liveTimer = nullptr;
};
