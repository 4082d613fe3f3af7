#pragma once

#include <functional>
#include <optional>

#include <QtCore/QList>
#include <QtCore/QMargins>
#include <QtCore/QMetaProperty>
#include <QtCore/QObject>
#include <QtCore/QPoint>
#include <QtCore/QPointer>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include "framework/qvMeasIntf.h"
#include "framework/qvRegistry.h"

class QUndoStack;
class QWidget;

/// \brief The name shown for enumeration key `key`: the lower-case type tag is dropped and
/// the camel case split into words ("wnHanning" gives "Hanning", "sdoComplexFFT" gives
/// "Complex FFT", "wnBlackmanHarris67dB" gives "Blackman Harris 67 dB"). A key without a
/// tag keeps its first word ("Linear").
QString QVEnumDisplayName(const QString &key);

/// \brief The form that the workbench edits and runs: a widget surface that holds the
/// visual components and a list of the non-visual ones (sources and stages).
///
/// Every change goes through this class so that a failure never leaves the form half
/// changed: property writes that a component refuses are undone and reported as text,
/// and a form file replaces the current form only when it was read completely.
class TQVWorkbenchModel : public QObject
{
    Q_OBJECT

public:
    /// \brief Puts the package's components on the page "Velmora" (the 15 of `Register`
    /// followed by the selectors, the analyzer and the trigger) and the host's sources and
    /// the plot on `HostPageName()`.
    static void RegisterClasses(TQVClassRegistry &registry = QVClassRegistry());
    /// \brief "Velmora Host".
    static QString HostPageName();
    /// \brief The name stem of a class: "TQVAnalyzer" gives "Analyzer".
    static QString NameStem(const QString &className);

    /// The registry must outlive the model; `RegisterClasses` is called on it.
    explicit TQVWorkbenchModel(TQVClassRegistry &registry = QVClassRegistry(), QObject *parent = nullptr);
    ~TQVWorkbenchModel() override;

    TQVClassRegistry &Registry() const { return m_registry; }
    /// \brief The surface on which the visual components lie. It may be handed to a view
    /// (a scroll area may own it); the model keeps track of it either way.
    QWidget *Surface() const { return m_surface; }

    /// Every component of the form in order of creation.
    QList<QObject *> Components() const;
    QList<QObject *> NonVisualComponents() const;
    QList<QWidget *> VisualComponents() const;
    /// The component named `name`, or null.
    QObject *Component(const QString &name) const;
    /// \brief The form's measure sources, in order of creation, without `except`.
    QList<TQVMeasureSource *> Sources(const QObject *except = nullptr) const;
    /// \brief Whether `component` is a visual one (a widget on the surface).
    static bool IsVisual(const QObject *component);
    /// \brief Whether `consumer` would take `source` (null: unconnected) through its
    /// pointer property `property`. Decided without touching either: a connection that
    /// would close a loop is refused, otherwise a throwaway instance of the consumer's
    /// class with the same settings is connected and asked.
    bool AcceptsSource(QObject *consumer, const QString &property, QObject *source) const;
    /// \brief The form's sources that `consumer` accepts through `property`.
    QList<TQVMeasureSource *> CompatibleSources(QObject *consumer, const QString &property) const;

    /// \brief Creates a `className` through the registry, names it uniquely ("Meter1"),
    /// marks it as designing and puts it at `position` on the surface (visual ones; a
    /// negative position picks a free place). Returns null and reports the error when the
    /// class is unknown or the form is running.
    QObject *AddComponent(const QString &className, const QPoint &position = QPoint(-1, -1));
    /// Deletes `component`; consumers connected to it are left unconnected.
    bool RemoveComponent(QObject *component);
    /// Deletes every component.
    void Clear();
    /// \brief Deletes those of `components` that are on the form as one editing step
    /// ("Delete 3 components"); undoing it brings them all back, connected as before.
    bool RemoveComponents(const QList<QObject *> &components);
    /// \brief Moves `widgets` of the form by `offset` as one editing step (no place below 0).
    QString MoveComponents(const QList<QWidget *> &widgets, const QPoint &offset);
    /// \brief Moves the edges of `widgets` of the form by `edges` (left, top, right, bottom)
    /// as one editing step; see `ResizedGeometry`.
    QString ResizeComponents(const QList<QWidget *> &widgets, const QMargins &edges);
    /// \brief `from` with its edges moved by `edges`. Each size stays between the widget's
    /// minimum (at least 8) and 10000, and the place at 0 or more: at a limit, an edge moved
    /// alone stops there, otherwise the right or bottom edge gives way.
    static QRect ResizedGeometry(const QWidget *widget, const QRect &from, const QMargins &edges);

    /// \brief Puts `widgets` of the form in front of the others (`RaiseComponents`) or
    /// behind them (`LowerComponents`), keeping their own order, as one editing step. The
    /// stacking is the order of the form: raised widgets go to its end, lowered ones before
    /// its first widget.
    QString RaiseComponents(const QList<QWidget *> &widgets);
    QString LowerComponents(const QList<QWidget *> &widgets);

    /// How `ArrangeComponents` lines widgets up.
    enum class TQVArrangement
    {
        Lefts,       ///< left edges on the reference's
        Centers,     ///< horizontal centres on the reference's
        Rights,      ///< right edges on the reference's
        Tops,        ///< top edges on the reference's
        Middles,     ///< vertical centres on the reference's
        Bottoms,     ///< bottom edges on the reference's
        SameWidth,   ///< the reference's width
        SameHeight,  ///< the reference's height
        SameSize,    ///< the reference's width and height
        SpaceAcross, ///< equal gaps from left to right, the outer two staying
        SpaceDown,   ///< equal gaps from top to bottom, the outer two staying
    };
    Q_ENUM(TQVArrangement)
    /// \brief The widgets an arrangement takes at least: two, three for spacing.
    static int ArrangementMinimum(TQVArrangement arrangement)
    {
        return arrangement == TQVArrangement::SpaceAcross || arrangement == TQVArrangement::SpaceDown ? 3 : 2;
    }
    /// \brief Lines `widgets` of the form up on `reference` (one of them; null: the first
    /// of them on the form) as one editing step ("Align 3 components"). Aligning and sizing
    /// take at least two widgets, spacing three; no place goes below 0.
    QString ArrangeComponents(const QList<QWidget *> &widgets, TQVArrangement arrangement,
                              QWidget *reference = nullptr);

    /// \brief The form text of those of `components` that are on the form, in the form's
    /// order: what Copy puts on the clipboard (empty when none is on the form).
    QString CopyText(const QList<QObject *> &components) const;
    /// \brief Places the components of form text `text` as one editing step and returns
    /// them. References to components of the form stay connected, a name already in use
    /// gets the next free one ("Meter2"), and widgets move 16 pixels right and down from
    /// their stored place until none covers the place of one of the form. On a read error,
    /// or while the form runs, nothing changes and the error is reported.
    QList<QObject *> Paste(const QString &text);

    /// \brief Writes property `name` of `component`. Returns an empty string on success,
    /// otherwise the error text, which is also emitted; the form then stays as it was.
    ///
    /// Enumerations take a key name or a number, `MeasureSource` takes a source, a
    /// component name or an empty value (unconnect), numbers may come as text.
    QString SetProperty(QObject *component, const QString &name, const QVariant &value);
    /// \brief Writes property `name` of each of `components` as one editing step
    /// ("ValueMax of 3 components"), as `SetProperty` would one by one: a component that
    /// refuses keeps its value, the others take it, and the errors come as one text.
    QString SetPropertyOfAll(const QList<QObject *> &components, const QString &name, const QVariant &value);
    /// \brief Renames `component`; the name must be an identifier not used in the form.
    QString Rename(QObject *component, const QString &name);
    /// \brief Moves or resizes a visual component (sizes at least 8 x 8).
    QString SetGeometry(QWidget *component, const QRect &geometry);

    /// \brief The editing history: every successful add, delete, move, resize, rename and
    /// property write is one command (consecutive writes of one property merge). Cleared
    /// when a form is opened, loaded or cleared.
    QUndoStack *UndoStack() const { return m_undo; }

    /// The form as text, as `Save` writes it; empty with the error reported on failure.
    QString FormText();
    /// \brief Writes the form to `fileName`; false with the error reported on failure.
    bool Save(const QString &fileName);
    /// \brief Reads `fileName` and replaces the form with it; on any error the current
    /// form stays and false is returned with the error reported.
    bool Open(const QString &fileName);
    /// \brief As `Open`, from form text.
    bool Load(const QString &text);
    QString FileName() const { return m_fileName; }
    bool IsModified() const { return m_modified; }
    QString LastError() const { return m_lastError; }

    /// \brief Leaves the designing state and starts every host source; each delivers a
    /// block per block duration from its timer until `Stop`.
    void Run();
    /// \brief Stops every host source and returns to the designing state.
    void Stop();
    bool IsRunning() const { return m_running; }
    /// \brief Delivers `blocks` blocks from every running source at once, without
    /// waiting on the timers; returns the number of blocks per source (0 when stopped).
    int Tick(int blocks = 1);

signals:
    void ComponentAdded(QObject *component);
    /// Emitted before the component is deleted.
    void ComponentRemoving(QObject *component);
    /// A property, the name or the geometry of `component` changed.
    void ComponentChanged(QObject *component);
    /// The whole form was replaced (New, Open).
    void FormReplaced();
    void RunningChanged(bool running);
    void ModifiedChanged(bool modified);
    void ErrorOccurred(const QString &message);
    /// A component reported an error by its `ErrorOccurred(QString)` signal outside a
    /// write of the workbench (while running, for instance).
    void ComponentError(const QString &message);

private slots:
    void OnComponentError(const QString &message);

private:
    class Command;
    class ExistenceCommand;
    class ChangeCommand;
    class PasteCommand;
    class OrderCommand;
    friend class Command;
    friend class ExistenceCommand;
    friend class ChangeCommand;
    friend class PasteCommand;
    friend class OrderCommand;

    void Push(Command *command);
    QString Snapshot() const;
    int IndexOf(const QString &name) const;
    QString ComponentText(QObject *component) const;
    QList<QObject *> Recreate(const QString &text, int index);
    /// Reads part of a form into `holder`, its references naming the form's components too;
    /// a failure is reported as `failure` with the reader's text for %1.
    std::optional<QList<QObject *>> ReadPart(const QString &text, QWidget &holder, bool loose, const QString &failure);
    void Destroy(const QList<QObject *> &components);
    QObject *Rebuild(QObject *component, const QString &text);
    QList<QPair<QString, QString>> Consumers(const QObject *source) const;
    void Reconnect(const QString &sourceName, const QList<QPair<QString, QString>> &consumers);
    QVariant StoredValue(QObject *component, const QMetaProperty &property) const;
    QVariantList State(QObject *component) const;
    void RestoreState(QObject *component, const QVariantList &state);
    QString Fail(const QString &message);
    /// Those of `widgets` that are on the form, in its order.
    QList<QWidget *> OnForm(const QList<QWidget *> &widgets) const;
    QString Restack(const QList<QWidget *> &widgets, bool front);
    void SetOrder(const QStringList &names);
    void Stack();
    QString SetGeometries(const QList<QWidget *> &widgets, const QList<QRect> &places, const QString &step);
    void SetModified(bool modified);
    void Adopt(QObject *component, int index = -1);
    void DeleteComponents(QList<QObject *> components);
    bool Replace(const std::function<QList<QObject *>(QWidget *)> &read, const QString &what);
    QString UniqueName(const QString &className) const;
    QPoint FreePosition(const QWidget *widget) const;
    QString WriteProperty(QObject *component, const QMetaProperty &property, const QVariant &value);
    QVariant SourceValue(const QMetaProperty &property, const QVariant &value, QString &error) const;

    TQVClassRegistry &m_registry;
    QPointer<QWidget> m_surface;
    QList<QPointer<QObject>> m_components;
    QString m_fileName;
    QString m_lastError;
    bool m_modified = false;
    bool m_running = false;
    QUndoStack *m_undo = nullptr;
    bool m_replaying = false;
    // Errors a component signals during a write of the workbench.
    QObject *m_capturing = nullptr;
    QString m_captured;
    // Where Fail collects errors instead of reporting them one by one.
    QStringList *m_errorSink = nullptr;
};
