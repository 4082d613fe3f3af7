#include "qvWorkbenchModel.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <memory>
#include <optional>

#include <QtCore/QFile>
#include <QtCore/QMetaEnum>
#include <QtCore/QSaveFile>
#include <QtCore/QSet>
#include <QtGui/QUndoStack>
#include <QtWidgets/QWidget>

#include "framework/qvFiler.h"
#include "framework/qvForm.h"
#include "host/qvFilePlayer.h"
#include "host/qvSignalGenerator.h"
#include "indicators/QVPlot.h"
#include "indicators/qvRegister.h"

namespace {

// Room left around a component that is placed automatically, and the placement grid.
constexpr int PlacementMargin = 12;
constexpr int PlacementGrid = 8;
// How far a pasted copy moves from the place of the component it would cover.
constexpr int PasteStep = 16;

// The host sources that deliver blocks by themselves; others only answer requests.
template <typename Call>
bool WithHostSource(QObject *object, Call call)
{
    if (auto *generator = qobject_cast<TQVSignalGenerator *>(object)) {
        call(generator);
        return true;
    }
    if (auto *player = qobject_cast<TQVFilePlayer *>(object)) {
        call(player);
        return true;
    }
    return false;
}

QString ExceptionText(const std::exception &e)
{
    if (const auto *velmora = dynamic_cast<const EQVException *>(&e))
        return velmora->Message();
    return QString::fromLocal8Bit(e.what());
}

bool IsObjectPointer(const QMetaProperty &property)
{
    return property.metaType().flags() & QMetaType::PointerToQObject;
}

QObject *PointerValue(const QVariant &value)
{
    return (value.metaType().flags() & QMetaType::PointerToQObject) ? *static_cast<QObject *const *>(value.constData())
                                                                     : nullptr;
}

// The first property that a component adds to Qt's own (geometry and the like are left out).
int FirstOwnProperty(const QObject *object)
{
    return object->isWidgetType() ? QWidget::staticMetaObject.propertyCount()
                                  : QObject::staticMetaObject.propertyCount();
}

// The pseudo-property of a move or resize in the editing history.
const QString GeometryName = QStringLiteral("Position and size");

} // namespace

QString QVEnumDisplayName(const QString &key)
{
    // Drop the lower-case tag when something follows it ("wn" of "wnHanning").
    int start = 0;
    while (start < key.size() && key[start].isLower())
        ++start;
    if (start == key.size() || !(key[start].isUpper() || key[start].isDigit()))
        start = 0;
    QString name;
    int wordStart = 0; // where the current word began in `name`
    for (int i = start; i < key.size(); ++i) {
        const QChar c = key[i];
        if (c == u'_') {
            if (!name.isEmpty() && !name.endsWith(u' '))
                name += u' ';
            wordStart = name.size();
            continue;
        }
        const QChar previous = i > start ? key[i - 1] : QChar();
        const QChar next = i + 1 < key.size() ? key[i + 1] : QChar();
        bool split = false;
        if (!previous.isNull() && previous != u'_') {
            if (c.isUpper())
                // "aB", or the last capital of an acronym before a word ("FFTSize"); a single
                // lower-case letter opening a word stays with its capital ("dB", "kHz").
                split = (previous.isLower() && name.size() - wordStart > 1) || previous.isDigit() ||
                        (previous.isUpper() && next.isLower());
            else if (c.isDigit())
                split = !previous.isDigit();
            else
                split = previous.isDigit();
        }
        if (split) {
            name += u' ';
            wordStart = name.size();
        }
        name += c;
    }
    return name.trimmed();
}

// One entry of the editing history. Commands name components, since undoing a delete
// creates a new object; the form text before and after is kept to check each replay, and
// a replay that did not reproduce it exactly (a setter that also changed a neighbour)
// reads the whole form from that text instead.
class TQVWorkbenchModel::Command : public QUndoCommand
{
public:
    Command(TQVWorkbenchModel *model, const QString &label, QString before)
        : QUndoCommand(label)
        , m_model(model)
        , m_before(std::move(before))
    {
    }

    /// Takes the form text after the change.
    void Done() { m_after = m_model->Snapshot(); }

    /// Whether the stored form changed at all.
    bool Changes() const { return m_before != m_after; }

    void undo() override { Replay(false); }
    void redo() override
    {
        // Pushed after the change was made.
        if (m_pending)
            m_pending = false;
        else
            Replay(true);
    }

protected:
    virtual void Apply(bool forward) = 0;

    TQVWorkbenchModel *m_model;
    QString m_before;
    QString m_after;

private:
    void Replay(bool forward)
    {
        TQVWorkbenchModel &m = *m_model;
        m.Stop();
        m.m_replaying = true;
        Apply(forward);
        const QString &expected = forward ? m_after : m_before;
        if (m.Snapshot() != expected)
            m.Replace([&](QWidget *holder) { return TQVFormReader(m.m_registry).Read(expected, holder); }, text());
        m.m_replaying = false;
        m.SetModified(true);
    }

    bool m_pending = true;
};

// Placing (forward creates) or deleting (forward deletes) a component.
class TQVWorkbenchModel::ExistenceCommand : public Command
{
public:
    ExistenceCommand(TQVWorkbenchModel *model, bool adding, QObject *component, QString before,
                     QList<QPair<QString, QString>> consumers = {})
        : Command(model, (adding ? QObject::tr("Place %1") : QObject::tr("Delete %1")).arg(component->objectName()),
                  std::move(before))
        , m_adding(adding)
        , m_name(component->objectName())
        , m_text(model->ComponentText(component))
        , m_index(model->IndexOf(m_name))
        , m_consumers(std::move(consumers))
    {
    }

protected:
    void Apply(bool forward) override
    {
        if (forward == m_adding) {
            if (!m_model->Recreate(m_text, m_index).isEmpty())
                m_model->Reconnect(m_name, m_consumers);
        } else if (QObject *component = m_model->Component(m_name)) {
            m_model->Destroy({component});
        }
    }

private:
    bool m_adding;
    QString m_name;
    QString m_text;
    int m_index;
    QList<QPair<QString, QString>> m_consumers;
};

// A change of the form's order, which is the widgets' stacking.
class TQVWorkbenchModel::OrderCommand : public Command
{
public:
    OrderCommand(TQVWorkbenchModel *model, const QString &label, QStringList from, QStringList to, QString before)
        : Command(model, label, std::move(before))
        , m_from(std::move(from))
        , m_to(std::move(to))
    {
    }

protected:
    void Apply(bool forward) override { m_model->SetOrder(forward ? m_to : m_from); }

private:
    QStringList m_from, m_to;
};

// Pasting (forward places the pasted components, as they were after renaming and moving).
class TQVWorkbenchModel::PasteCommand : public Command
{
public:
    PasteCommand(TQVWorkbenchModel *model, const QList<QObject *> &pasted, QString before)
        : Command(model,
                  pasted.size() == 1 ? QObject::tr("Paste %1").arg(pasted.first()->objectName())
                                     : QObject::tr("Paste %n components", nullptr, int(pasted.size())),
                  std::move(before))
        , m_text(model->CopyText(pasted))
    {
        for (const QObject *component : pasted)
            m_names.append(component->objectName());
    }

protected:
    void Apply(bool forward) override
    {
        if (forward) {
            m_model->Recreate(m_text, -1);
            return;
        }
        QList<QObject *> pasted;
        for (const QString &name : m_names) {
            if (QObject *component = m_model->Component(name))
                pasted.append(component);
        }
        m_model->Destroy(pasted);
    }

private:
    QString m_text;
    QStringList m_names;
};

// A property write, a rename or a move/resize of one component.
class TQVWorkbenchModel::ChangeCommand : public Command
{
public:
    ChangeCommand(TQVWorkbenchModel *model, const QString &name, const QString &property, QVariant oldValue,
                  QVariant newValue, QString before, QVariantList oldState = {}, QVariantList newState = {})
        : Command(model, QObject::tr("%1 of %2").arg(property, name), std::move(before))
        , m_name(name)
        , m_property(property)
        , m_old(std::move(oldValue))
        , m_new(std::move(newValue))
        , m_oldState(std::move(oldState))
        , m_newState(std::move(newState))
    {
    }

    // Consecutive writes of one property form one step; names and geometry never merge.
    int id() const override { return m_property == QLatin1String("Name") || m_property == GeometryName ? -1 : 1; }
    bool mergeWith(const QUndoCommand *other) override
    {
        const auto *next = static_cast<const ChangeCommand *>(other);
        if (next->m_name != m_name || next->m_property != m_property)
            return false;
        m_new = next->m_new;
        m_newState = next->m_newState;
        m_after = next->m_after;
        setObsolete(m_before == m_after);
        return true;
    }

protected:
    void Apply(bool forward) override
    {
        TQVWorkbenchModel &m = *m_model;
        const QVariant &value = forward ? m_new : m_old;
        if (m_property == QLatin1String("Name")) {
            if (QObject *component = m.Component((forward ? m_old : m_new).toString())) {
                component->setObjectName(value.toString());
                emit m.ComponentChanged(component);
            }
            return;
        }
        QObject *component = m.Component(m_name);
        if (!component)
            return;
        if (m_property == GeometryName) {
            if (auto *widget = qobject_cast<QWidget *>(component))
                widget->setGeometry(value.toRect());
        } else {
            const QMetaObject *meta = component->metaObject();
            const int index = meta->indexOfProperty(m_property.toLatin1().constData());
            if (index >= 0)
                m.WriteProperty(component, meta->property(index), value);
        }
        // Properties the change adjusted as well (a display configuring itself from its
        // source, or its label gap from its size).
        m.RestoreState(component, forward ? m_newState : m_oldState);
        emit m.ComponentChanged(component);
    }

private:
    QString m_name;
    QString m_property;
    QVariant m_old;
    QVariant m_new;
    QVariantList m_oldState;
    QVariantList m_newState;
};

void TQVWorkbenchModel::RegisterClasses(TQVClassRegistry &registry)
{
    Register(registry);
    RegisterStreamComponents(registry, QVPalettePageName());
    registry.RegisterComponents(HostPageName(), {
        QVComponentClassOf<TQVSignalGenerator>(),
        QVComponentClassOf<TQVFilePlayer>(),
        QVComponentClassOf<TQVPlot, QWidget>(),
    });
}

QString TQVWorkbenchModel::HostPageName()
{
    return QStringLiteral("Velmora Host");
}

QString TQVWorkbenchModel::NameStem(const QString &className)
{
    QString stem = className;
    if (stem.startsWith(QLatin1String("TQV")) && stem.size() > 3)
        stem.remove(0, 3);
    else if (stem.startsWith(u'T') && stem.size() > 1)
        stem.remove(0, 1);
    return stem;
}

TQVWorkbenchModel::TQVWorkbenchModel(TQVClassRegistry &registry, QObject *parent)
    : QObject(parent)
    , m_registry(registry)
{
    RegisterClasses(m_registry);
    m_surface = new QWidget;
    m_surface->setObjectName(QStringLiteral("FormSurface"));
    m_surface->resize(960, 640);
    m_undo = new QUndoStack(this);
}

TQVWorkbenchModel::~TQVWorkbenchModel()
{
    if (m_running) {
        for (QObject *component : Components())
            WithHostSource(component, [](auto *source) { source->Stop(); });
    }
    DeleteComponents(Components());
    delete m_surface.data();
}

QList<QObject *> TQVWorkbenchModel::Components() const
{
    QList<QObject *> list;
    for (const QPointer<QObject> &component : m_components) {
        if (component)
            list.append(component.data());
    }
    return list;
}

QList<QObject *> TQVWorkbenchModel::NonVisualComponents() const
{
    QList<QObject *> list;
    for (QObject *component : Components()) {
        if (!IsVisual(component))
            list.append(component);
    }
    return list;
}

QList<QWidget *> TQVWorkbenchModel::VisualComponents() const
{
    QList<QWidget *> list;
    for (QObject *component : Components()) {
        if (IsVisual(component))
            list.append(static_cast<QWidget *>(component));
    }
    return list;
}

bool TQVWorkbenchModel::IsVisual(const QObject *component)
{
    return component && component->isWidgetType();
}

QObject *TQVWorkbenchModel::Component(const QString &name) const
{
    if (name.isEmpty())
        return nullptr;
    for (QObject *component : Components()) {
        if (component->objectName() == name)
            return component;
    }
    return nullptr;
}

QList<TQVMeasureSource *> TQVWorkbenchModel::Sources(const QObject *except) const
{
    QList<TQVMeasureSource *> list;
    for (QObject *component : Components()) {
        if (component == except)
            continue;
        if (auto *source = qobject_cast<TQVMeasureSource *>(component))
            list.append(source);
    }
    return list;
}

QString TQVWorkbenchModel::Fail(const QString &message)
{
    if (m_errorSink) {
        m_errorSink->append(message);
        return message;
    }
    m_lastError = message;
    emit ErrorOccurred(message);
    return message;
}

void TQVWorkbenchModel::SetModified(bool modified)
{
    if (m_modified == modified)
        return;
    m_modified = modified;
    emit ModifiedChanged(modified);
}

QString TQVWorkbenchModel::UniqueName(const QString &className) const
{
    const QString stem = NameStem(className);
    for (int n = 1;; ++n) {
        const QString name = stem + QString::number(n);
        if (!Component(name))
            return name;
    }
}

QPoint TQVWorkbenchModel::FreePosition(const QWidget *widget) const
{
    const int width = std::max(m_surface->width(), 640);
    const QSize size = widget->size();
    const QList<QWidget *> others = VisualComponents();
    for (int y = PlacementMargin; y < 20000; y += PlacementGrid) {
        for (int x = PlacementMargin; x == PlacementMargin || x + size.width() + PlacementMargin <= width;
             x += PlacementGrid) {
            const QRect wanted = QRect(QPoint(x, y), size).adjusted(-PlacementMargin, -PlacementMargin,
                                                                     PlacementMargin, PlacementMargin);
            const bool free = std::none_of(others.begin(), others.end(), [&](const QWidget *other) {
                return other != widget && other->geometry().intersects(wanted);
            });
            if (free)
                return QPoint(x, y);
        }
    }
    return QPoint(PlacementMargin, PlacementMargin);
}

void TQVWorkbenchModel::Adopt(QObject *component, int index)
{
    if (auto *widget = qobject_cast<QWidget *>(component)) {
        widget->setParent(m_surface);
        widget->show();
    } else {
        component->setParent(m_surface);
    }
    if (component->objectName().isEmpty() || !TQVWriter::IsComponentName(component->objectName()))
        component->setObjectName(UniqueName(QString::fromLatin1(component->metaObject()->className())));
    QVSetDesigning(component, !m_running);
    // Components that report errors by signal instead of raising them.
    const QMetaObject *meta = component->metaObject();
    const int signal = meta->indexOfSignal("ErrorOccurred(QString)");
    if (signal >= 0)
        connect(component, meta->method(signal), this,
                metaObject()->method(metaObject()->indexOfSlot("OnComponentError(QString)")), Qt::UniqueConnection);
    if (index >= 0 && index <= m_components.size())
        m_components.insert(index, QPointer<QObject>(component));
    else
        m_components.append(QPointer<QObject>(component));
}

void TQVWorkbenchModel::OnComponentError(const QString &message)
{
    QObject *component = sender();
    if (component && component == m_capturing) {
        m_captured = message;
        return;
    }
    if (component && Components().contains(component))
        emit ComponentError(component->objectName() + QStringLiteral(": ") + message);
}

void TQVWorkbenchModel::Push(Command *command)
{
    command->Done();
    if (m_replaying || !command->Changes())
        delete command; // nothing stored changed
    else
        m_undo->push(command);
}

QString TQVWorkbenchModel::Snapshot() const
{
    try {
        return TQVFormWriter(m_registry).Write(Components());
    } catch (const std::exception &) {
        return QString();
    }
}

int TQVWorkbenchModel::IndexOf(const QString &name) const
{
    return int(Components().indexOf(Component(name)));
}

QString TQVWorkbenchModel::ComponentText(QObject *component) const
{
    try {
        return TQVFormWriter(m_registry).Write(QList<QObject *>{component});
    } catch (const std::exception &) {
        return QString();
    }
}

QList<QObject *> TQVWorkbenchModel::Recreate(const QString &text, int index)
{
    QWidget holder;
    const std::optional<QList<QObject *>> read =
        ReadPart(text, holder, false, tr("The component could not be restored: %1"));
    if (!read)
        return {};
    for (QObject *component : *read)
        Adopt(component, index < 0 ? -1 : index++);
    if (index >= 0)
        Stack(); // back at its place in the stacking too
    for (QObject *component : *read)
        emit ComponentAdded(component);
    return *read;
}

void TQVWorkbenchModel::Stack()
{
    for (QWidget *widget : VisualComponents())
        widget->raise();
}

void TQVWorkbenchModel::SetOrder(const QStringList &names)
{
    QList<QPointer<QObject>> order;
    for (const QString &name : names) {
        if (QObject *component = Component(name))
            order.append(component);
    }
    if (order.size() != Components().size())
        return; // not this form: the replay reads the recorded text instead
    m_components = order;
    Stack();
    for (QWidget *widget : VisualComponents())
        emit ComponentChanged(widget);
}

std::optional<QList<QObject *>> TQVWorkbenchModel::ReadPart(const QString &text, QWidget &holder, bool loose,
                                                             const QString &failure)
{
    TQVFormReader reader(m_registry);
    reader.SetExternalComponents(Components());
    reader.SetLooseReferences(loose);
    try {
        return reader.Read(text, &holder);
    } catch (const std::exception &e) {
        Fail(failure.arg(ExceptionText(e)));
        return std::nullopt;
    }
}

void TQVWorkbenchModel::Destroy(const QList<QObject *> &components)
{
    DeleteComponents(components);
    // Consumers that lost their source show it in their MeasureSource property.
    for (QObject *other : Components())
        emit ComponentChanged(other);
}

QList<QPair<QString, QString>> TQVWorkbenchModel::Consumers(const QObject *source) const
{
    QList<QPair<QString, QString>> consumers;
    for (QObject *component : Components()) {
        const QMetaObject *meta = component->metaObject();
        for (int i = FirstOwnProperty(component); i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            if (IsObjectPointer(property) && PointerValue(property.read(component)) == source)
                consumers.append({component->objectName(), QString::fromLatin1(property.name())});
        }
    }
    return consumers;
}

void TQVWorkbenchModel::Reconnect(const QString &sourceName, const QList<QPair<QString, QString>> &consumers)
{
    for (const auto &[name, property] : consumers) {
        QObject *consumer = Component(name);
        const int index = consumer ? consumer->metaObject()->indexOfProperty(property.toLatin1().constData()) : -1;
        if (index >= 0)
            WriteProperty(consumer, consumer->metaObject()->property(index), sourceName);
    }
}

QVariantList TQVWorkbenchModel::State(QObject *component) const
{
    QVariantList state;
    const QMetaObject *meta = component->metaObject();
    for (int i = FirstOwnProperty(component); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (property.isWritable() && property.isStored() && !IsObjectPointer(property))
            state.append(property.read(component));
    }
    return state;
}

void TQVWorkbenchModel::RestoreState(QObject *component, const QVariantList &state)
{
    const QMetaObject *meta = component->metaObject();
    qsizetype k = 0;
    for (int i = FirstOwnProperty(component); i < meta->propertyCount() && k < state.size(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (!property.isWritable() || !property.isStored() || IsObjectPointer(property))
            continue;
        const QVariant &value = state[k++];
        if (property.read(component) != value)
            WriteProperty(component, property, value);
    }
}

QVariant TQVWorkbenchModel::StoredValue(QObject *component, const QMetaProperty &property) const
{
    const QVariant value = property.read(component);
    if (!IsObjectPointer(property))
        return value;
    const QObject *target = PointerValue(value);
    return target ? target->objectName() : QString();
}

bool TQVWorkbenchModel::AcceptsSource(QObject *consumer, const QString &property, QObject *source) const
{
    if (!consumer || !Components().contains(consumer))
        return false;
    const QMetaObject *meta = consumer->metaObject();
    const int index = meta->indexOfProperty(property.toLatin1().constData());
    if (index < 0 || !IsObjectPointer(meta->property(index)) || !meta->property(index).isWritable())
        return false;
    const QMetaProperty pointer = meta->property(index);
    if (!source)
        return true;
    const QMetaObject *wanted = pointer.metaType().metaObject();
    if (source == consumer || !Components().contains(source) || (wanted && !source->metaObject()->inherits(wanted)))
        return false;
    // A source fed by the consumer, directly or further up, would close a loop.
    QList<const QObject *> pending{source};
    QSet<const QObject *> seen;
    while (!pending.isEmpty()) {
        const QObject *up = pending.takeLast();
        if (up == consumer)
            return false;
        if (seen.contains(up))
            continue;
        seen.insert(up);
        for (int i = FirstOwnProperty(up); i < up->metaObject()->propertyCount(); ++i) {
            const QMetaProperty p = up->metaObject()->property(i);
            if (IsObjectPointer(p)) {
                if (const QObject *next = PointerValue(p.read(up)))
                    pending.append(next);
            }
        }
    }

    // Ask a throwaway instance with the same settings; the form is not touched.
    QWidget holder;
    std::unique_ptr<QObject> probe;
    try {
        probe.reset(m_registry.Create(QString::fromLatin1(meta->className()), &holder));
    } catch (const std::exception &) {
        return false;
    }
    if (!probe)
        return false;
    QVSetDesigning(probe.get(), true);
    for (int i = FirstOwnProperty(consumer); i < meta->propertyCount(); ++i) {
        const QMetaProperty p = meta->property(i);
        if (!p.isWritable() || !p.isStored() || IsObjectPointer(p))
            continue;
        try {
            p.write(probe.get(), p.read(consumer));
        } catch (const std::exception &) {
            // A setting the probe refuses does not decide the connection.
        }
    }
    auto *self = const_cast<TQVWorkbenchModel *>(this);
    const int signal = probe->metaObject()->indexOfSignal("ErrorOccurred(QString)");
    if (signal >= 0)
        connect(probe.get(), probe->metaObject()->method(signal), self,
                metaObject()->method(metaObject()->indexOfSlot("OnComponentError(QString)")));
    QObject *const previousCapture = m_capturing;
    self->m_capturing = probe.get();
    self->m_captured.clear();
    bool accepted = false;
    try {
        accepted = pointer.write(probe.get(), QVariant(pointer.metaType(), &source)) &&
                   PointerValue(pointer.read(probe.get())) == source;
    } catch (const std::exception &) {
        accepted = false;
    }
    accepted = accepted && m_captured.isEmpty();
    self->m_capturing = previousCapture;
    self->m_captured.clear();
    probe.reset(); // before the holder, which would delete it too
    return accepted;
}

QList<TQVMeasureSource *> TQVWorkbenchModel::CompatibleSources(QObject *consumer, const QString &property) const
{
    QList<TQVMeasureSource *> list;
    for (TQVMeasureSource *source : Sources(consumer)) {
        if (AcceptsSource(consumer, property, source))
            list.append(source);
    }
    return list;
}

QObject *TQVWorkbenchModel::AddComponent(const QString &className, const QPoint &position)
{
    m_lastError.clear();
    if (m_running) {
        Fail(tr("Stop the form before adding components."));
        return nullptr;
    }
    if (!m_registry.IsRegistered(className)) {
        Fail(tr("Class %1 is not registered.").arg(className));
        return nullptr;
    }
    const QString before = Snapshot();
    QObject *component = nullptr;
    try {
        component = m_registry.Create(className, m_surface);
    } catch (const std::exception &e) {
        Fail(tr("%1 could not be created: %2").arg(className, ExceptionText(e)));
        return nullptr;
    }
    if (!component) {
        Fail(tr("%1 could not be created on the form.").arg(className));
        return nullptr;
    }
    component->setObjectName(UniqueName(className));
    if (auto *widget = qobject_cast<QWidget *>(component)) {
        QSize size = widget->sizeHint();
        if (!size.isValid())
            size = QSize(120, 80);
        widget->resize(std::clamp(size.width(), 40, 360), std::clamp(size.height(), 24, 360));
        widget->move(position.x() >= 0 && position.y() >= 0 ? position : FreePosition(widget));
    }
    Adopt(component);
    SetModified(true);
    emit ComponentAdded(component);
    Push(new ExistenceCommand(this, true, component, before));
    return component;
}

void TQVWorkbenchModel::DeleteComponents(QList<QObject *> components)
{
    // Consumers first, so that every link is cut while its source still exists.
    std::stable_partition(components.begin(), components.end(), [](QObject *c) { return IsVisual(c); });
    for (auto it = components.rbegin(); it != components.rend(); ++it) {
        emit ComponentRemoving(*it);
        delete *it;
    }
    m_components.removeIf([](const QPointer<QObject> &component) { return component.isNull(); });
}

bool TQVWorkbenchModel::RemoveComponent(QObject *component)
{
    m_lastError.clear();
    if (!component || !Components().contains(component)) {
        Fail(tr("The component is not on the form."));
        return false;
    }
    if (m_running) {
        Fail(tr("Stop the form before deleting components."));
        return false;
    }
    const QString before = Snapshot();
    auto *command = new ExistenceCommand(this, false, component, before, Consumers(component));
    Destroy({component});
    SetModified(true);
    Push(command);
    return true;
}

QString TQVWorkbenchModel::CopyText(const QList<QObject *> &components) const
{
    QList<QObject *> copied = Components();
    copied.removeIf([&](QObject *component) { return !components.contains(component); });
    if (copied.isEmpty())
        return QString();
    try {
        return TQVFormWriter(m_registry).Write(copied);
    } catch (const std::exception &) {
        return QString();
    }
}

QList<QObject *> TQVWorkbenchModel::Paste(const QString &text)
{
    m_lastError.clear();
    if (m_running) {
        Fail(tr("Stop the form before pasting components."));
        return {};
    }
    const QString before = Snapshot();
    QWidget holder;
    const std::optional<QList<QObject *>> read = ReadPart(text, holder, true, tr("The text could not be pasted: %1"));
    if (!read)
        return {};
    const QList<QObject *> pasted = *read;
    if (pasted.isEmpty()) {
        Fail(tr("The text holds no component to paste."));
        return {};
    }

    // Names: a pasted component keeps its own where the form does not use it; references
    // are pointers by now, so renaming keeps every connection.
    QSet<QString> taken;
    for (const QObject *component : Components())
        taken.insert(component->objectName());
    QList<QObject *> renamed;
    for (QObject *component : pasted) {
        const QString name = component->objectName();
        if (name.isEmpty() || taken.contains(name) || !TQVWriter::IsComponentName(name))
            renamed.append(component);
        else
            taken.insert(name);
    }
    for (QObject *component : renamed) {
        const QString stem = NameStem(QString::fromLatin1(component->metaObject()->className()));
        int n = 1;
        while (taken.contains(stem + QString::number(n)))
            ++n;
        component->setObjectName(stem + QString::number(n));
        taken.insert(component->objectName());
    }

    // Places: a copy pasted where it came from would hide the original.
    QSet<std::pair<int, int>> occupied;
    for (const QWidget *widget : VisualComponents())
        occupied.insert({widget->x(), widget->y()});
    int offset = 0;
    const auto covers = [&](int d) {
        return std::any_of(pasted.begin(), pasted.end(), [&](const QObject *component) {
            const auto *widget = qobject_cast<const QWidget *>(component);
            return widget && occupied.contains({widget->x() + d, widget->y() + d});
        });
    };
    while (covers(offset) && offset < PasteStep * 1000)
        offset += PasteStep;
    for (QObject *component : pasted) {
        if (auto *widget = qobject_cast<QWidget *>(component))
            widget->move(widget->pos() + QPoint(offset, offset));
    }

    for (QObject *component : pasted)
        Adopt(component);
    SetModified(true);
    for (QObject *component : pasted)
        emit ComponentAdded(component);
    Push(new PasteCommand(this, pasted, before));
    return pasted;
}

bool TQVWorkbenchModel::RemoveComponents(const QList<QObject *> &components)
{
    QList<QObject *> removed = Components();
    removed.removeIf([&](QObject *component) { return !components.contains(component); });
    if (removed.size() < 2 || m_running)
        return RemoveComponent(removed.isEmpty() ? nullptr : removed.first());
    m_undo->beginMacro(tr("Delete %n components", nullptr, int(removed.size())));
    for (QObject *component : removed)
        RemoveComponent(component); // deletes that one only
    m_undo->endMacro();
    return true;
}

QList<QWidget *> TQVWorkbenchModel::OnForm(const QList<QWidget *> &widgets) const
{
    QList<QWidget *> found = VisualComponents();
    found.removeIf([&](QWidget *widget) { return !widgets.contains(widget); });
    return found;
}

QString TQVWorkbenchModel::MoveComponents(const QList<QWidget *> &widgets, const QPoint &offset)
{
    const QList<QWidget *> moved = OnForm(widgets);
    if (moved.isEmpty())
        return Fail(tr("The component is not on the form."));
    QList<QRect> places;
    for (QWidget *widget : moved)
        places.append(QRect(QPoint(std::max(0, widget->x() + offset.x()), std::max(0, widget->y() + offset.y())),
                            widget->size()));
    return SetGeometries(moved, places, tr("Move %n components", nullptr, int(moved.size())));
}

QString TQVWorkbenchModel::RaiseComponents(const QList<QWidget *> &widgets)
{
    return Restack(widgets, true);
}

QString TQVWorkbenchModel::LowerComponents(const QList<QWidget *> &widgets)
{
    return Restack(widgets, false);
}

QString TQVWorkbenchModel::Restack(const QList<QWidget *> &widgets, bool front)
{
    m_lastError.clear();
    QList<QObject *> order = Components(), moved;
    for (QObject *component : order) {
        if (component->isWidgetType() && widgets.contains(static_cast<QWidget *>(component)))
            moved.append(component);
    }
    if (moved.isEmpty())
        return Fail(tr("The component is not on the form."));
    order.removeIf([&](QObject *component) { return moved.contains(component); });
    qsizetype at = order.size();
    if (!front)
        at = std::find_if(order.begin(), order.end(), [](QObject *c) { return c->isWidgetType(); }) - order.begin();
    for (qsizetype i = 0; i < moved.size(); ++i)
        order.insert(at + i, moved[i]);
    if (order == Components())
        return QString(); // already there: no step
    const auto names = [](const QList<QObject *> &components) {
        QStringList list;
        for (const QObject *component : components)
            list.append(component->objectName());
        return list;
    };
    const QString before = Snapshot();
    const QStringList from = names(Components()), to = names(order);
    SetOrder(to);
    SetModified(true);
    const QString label = moved.size() == 1
                              ? (front ? tr("Bring %1 to front") : tr("Send %1 to back")).arg(moved.first()->objectName())
                              : (front ? tr("Bring %n components to front", nullptr, int(moved.size()))
                                       : tr("Send %n components to back", nullptr, int(moved.size())));
    Push(new OrderCommand(this, label, from, to, before));
    return QString();
}

QRect TQVWorkbenchModel::ResizedGeometry(const QWidget *widget, const QRect &from, const QMargins &edges)
{
    const QSize least = widget->minimumSize().expandedTo(QSize(8, 8)).boundedTo(QSize(10000, 10000));
    // One axis: the start and the size from the edges' moves, the far edge staying when only it did not move.
    const auto span = [](int start, int size, int low, int high, int least) {
        const int end = start + size + high;
        const int length = std::clamp(end - std::max(start + low, 0), least, 10000);
        return low != 0 && high == 0 ? std::pair{std::max(end - length, 0), length} : std::pair{std::max(start + low, 0), length};
    };
    const auto [x, width] = span(from.x(), from.width(), edges.left(), edges.right(), least.width());
    const auto [y, height] = span(from.y(), from.height(), edges.top(), edges.bottom(), least.height());
    return QRect(x, y, width, height);
}

QString TQVWorkbenchModel::ResizeComponents(const QList<QWidget *> &widgets, const QMargins &edges)
{
    const QList<QWidget *> resized = OnForm(widgets);
    if (resized.isEmpty())
        return Fail(tr("The component is not on the form."));
    QList<QRect> places;
    for (QWidget *widget : resized)
        places.append(ResizedGeometry(widget, widget->geometry(), edges));
    return SetGeometries(resized, places, tr("Resize %n components", nullptr, int(resized.size())));
}

QString TQVWorkbenchModel::ArrangeComponents(const QList<QWidget *> &widgets, TQVArrangement arrangement,
                                             QWidget *reference)
{
    using A = TQVArrangement;
    const QList<QWidget *> arranged = OnForm(widgets);
    const bool spacing = ArrangementMinimum(arrangement) > 2;
    if (arranged.size() < ArrangementMinimum(arrangement))
        return Fail(spacing ? tr("Spacing takes at least three components of the form.")
                            : tr("Aligning and sizing take at least two components of the form."));
    if (!reference || !arranged.contains(reference))
        reference = arranged.first();
    const QRect r = reference->geometry();
    QList<QRect> places;
    for (QWidget *widget : arranged) {
        QRect g = widget->geometry();
        // Centres round down, as QRect::center does.
        const auto centred = [](int start, int length, int span) {
            return start + int(std::floor((length - span) / 2.0));
        };
        switch (arrangement) {
        case A::Lefts: g.moveLeft(r.left()); break;
        case A::Centers: g.moveLeft(centred(r.left(), r.width(), g.width())); break;
        case A::Rights: g.moveRight(r.right()); break;
        case A::Tops: g.moveTop(r.top()); break;
        case A::Middles: g.moveTop(centred(r.top(), r.height(), g.height())); break;
        case A::Bottoms: g.moveBottom(r.bottom()); break;
        case A::SameWidth: g.setWidth(r.width()); break;
        case A::SameHeight: g.setHeight(r.height()); break;
        case A::SameSize: g.setSize(r.size()); break;
        case A::SpaceAcross:
        case A::SpaceDown: break;
        }
        g.moveTo(std::max(0, g.x()), std::max(0, g.y()));
        places.append(g);
    }
    if (spacing) {
        // In order of place; the first and the last stay, the gaps between all become equal.
        const bool across = arrangement == A::SpaceAcross;
        const auto start = [across](const QRect &g) { return across ? g.x() : g.y(); };
        const auto length = [across](const QRect &g) { return across ? g.width() : g.height(); };
        QList<qsizetype> order(places.size());
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(),
                         [&](qsizetype a, qsizetype b) { return start(places[a]) < start(places[b]); });
        const QRect &first = places[order.first()], &last = places[order.last()];
        long long free = start(last) + length(last) - start(first);
        for (const QRect &g : places)
            free -= length(g);
        const int gaps = int(places.size()) - 1;
        int position = start(first) + length(first);
        for (int i = 1; i < gaps; ++i) {
            QRect &g = places[order[i]];
            const int at = position + int(std::lround(double(free) * i / gaps));
            across ? g.moveLeft(std::max(0, at)) : g.moveTop(std::max(0, at));
            position += length(g);
        }
    }
    const QString step = arrangement >= A::SameWidth && !spacing ? tr("Resize %n components", nullptr, int(arranged.size()))
                         : spacing ? tr("Space %n components", nullptr, int(arranged.size()))
                                   : tr("Align %n components", nullptr, int(arranged.size()));
    return SetGeometries(arranged, places, step);
}

QString TQVWorkbenchModel::SetGeometries(const QList<QWidget *> &widgets, const QList<QRect> &places,
                                         const QString &step)
{
    QList<QWidget *> changed;
    QList<QRect> to;
    for (qsizetype i = 0; i < widgets.size(); ++i) {
        if (widgets[i]->geometry() != places[i]) {
            changed.append(widgets[i]);
            to.append(places[i]);
        }
    }
    if (changed.isEmpty())
        return QString(); // nothing changes: no step
    if (changed.size() == 1)
        return SetGeometry(changed.first(), to.first());
    m_undo->beginMacro(step);
    QString error;
    for (qsizetype i = 0; i < changed.size() && error.isEmpty(); ++i)
        error = SetGeometry(changed[i], to[i]);
    m_undo->endMacro();
    return error;
}

void TQVWorkbenchModel::Clear()
{
    Stop();
    DeleteComponents(Components());
    m_undo->clear();
    m_fileName.clear();
    m_lastError.clear();
    SetModified(false);
    emit FormReplaced();
}

QVariant TQVWorkbenchModel::SourceValue(const QMetaProperty &property, const QVariant &value, QString &error) const
{
    QObject *target = nullptr;
    if (value.isValid() && !value.isNull()) {
        if (value.metaType().id() == QMetaType::QString) {
            const QString name = value.toString().trimmed();
            if (!name.isEmpty()) {
                target = Component(name);
                if (!target) {
                    error = tr("There is no component named %1 on the form.").arg(name);
                    return QVariant();
                }
            }
        } else if (value.metaType().flags() & QMetaType::PointerToQObject) {
            target = *static_cast<QObject *const *>(value.constData());
            if (target && !Components().contains(target)) {
                error = tr("The component is not on the form.");
                return QVariant();
            }
        } else {
            error = tr("A component or its name is expected.");
            return QVariant();
        }
    }
    const QMetaObject *wanted = property.metaType().metaObject();
    if (target && wanted && !target->metaObject()->inherits(wanted)) {
        error = tr("%1 is not a %2.").arg(target->objectName(), QString::fromLatin1(wanted->className()));
        return QVariant();
    }
    return QVariant(property.metaType(), &target);
}

QString TQVWorkbenchModel::WriteProperty(QObject *component, const QMetaProperty &property, const QVariant &value)
{
    const QString what = component->objectName() + u'.' + QString::fromLatin1(property.name());
    if (!property.isWritable())
        return tr("%1 is read-only.").arg(what);

    QVariant converted;
    QString error;
    if (property.metaType().flags() & QMetaType::PointerToQObject) {
        converted = SourceValue(property, value, error);
    } else if (property.isEnumType()) {
        const QMetaEnum enumerator = property.enumerator();
        bool ok = false;
        int number = value.toInt(&ok);
        if (!ok && value.metaType().id() == QMetaType::QString)
            number = enumerator.keyToValue(value.toString().trimmed().toLatin1().constData(), &ok);
        if (!ok || !enumerator.valueToKey(number))
            error = tr("%1 is not a value of %2.").arg(value.toString(), QString::fromLatin1(enumerator.name()));
        converted = QVariant(number);
        if (error.isEmpty() && !converted.convert(property.metaType()))
            error = tr("%1 is not a value of %2.").arg(value.toString(), QString::fromLatin1(enumerator.name()));
    } else {
        converted = value;
        if (value.metaType().id() == QMetaType::QString && property.metaType().id() != QMetaType::QString &&
            property.metaType().id() != QMetaType::QStringList)
            converted = QVariant(value.toString().trimmed());
        if (!converted.isValid() || !converted.convert(property.metaType()))
            error = tr("\"%1\" is not a valid %2.").arg(value.toString(), QString::fromLatin1(property.typeName()));
    }
    if (!error.isEmpty())
        return what + QStringLiteral(": ") + error;

    const QVariant previous = property.read(component);
    bool written = false;
    QObject *const previousCapture = m_capturing;
    m_capturing = component;
    m_captured.clear();
    try {
        written = property.write(component, converted);
    } catch (const std::exception &e) {
        error = ExceptionText(e);
    }
    if (error.isEmpty())
        error = m_captured; // reported by signal instead of raised
    m_capturing = previousCapture;
    m_captured.clear();
    if (error.isEmpty() && written)
        return QString();
    // Put the previous value back: a consumer that refused its source is unconnected now.
    try {
        property.write(component, previous);
    } catch (const std::exception &) {
        // The previous value was accepted before; nothing else can be restored.
    }
    if (error.isEmpty())
        error = tr("the value was not accepted.");
    return what + QStringLiteral(": ") + error;
}

QString TQVWorkbenchModel::SetProperty(QObject *component, const QString &name, const QVariant &value)
{
    m_lastError.clear();
    if (!component || !Components().contains(component))
        return Fail(tr("The component is not on the form."));
    if (name == QLatin1String("Name"))
        return Rename(component, value.toString());
    const QMetaObject *meta = component->metaObject();
    const int index = meta->indexOfProperty(name.toLatin1().constData());
    if (index < 0)
        return Fail(tr("Property %1 does not exist in %2.").arg(name, component->objectName()));
    const QMetaProperty property = meta->property(index);
    const QString before = Snapshot();
    const QVariant oldValue = StoredValue(component, property);
    QVariantList oldState = State(component);
    const QString error = WriteProperty(component, property, value);
    if (!error.isEmpty())
        return Fail(error);
    SetModified(true);
    emit ComponentChanged(component);
    Push(new ChangeCommand(this, component->objectName(), name, oldValue, StoredValue(component, property), before,
                           std::move(oldState), State(component)));
    return QString();
}

QString TQVWorkbenchModel::SetPropertyOfAll(const QList<QObject *> &components, const QString &name,
                                            const QVariant &value)
{
    QList<QObject *> targets = Components();
    targets.removeIf([&](QObject *component) { return !components.contains(component); });
    if (targets.size() < 2)
        return SetProperty(targets.value(0), name, value);
    m_lastError.clear();
    if (name == QLatin1String("Name"))
        return Fail(tr("A name belongs to one component only."));
    QStringList errors;
    m_errorSink = &errors;
    m_undo->beginMacro(tr("%1 of %n components", nullptr, int(targets.size())).arg(name));
    for (QObject *component : targets)
        SetProperty(component, name, value);
    m_undo->endMacro();
    m_errorSink = nullptr;
    // A step that changed nothing leaves no trace in the history.
    const int top = m_undo->index() - 1;
    if (top >= 0 && m_undo->command(top)->childCount() == 0) {
        const_cast<QUndoCommand *>(m_undo->command(top))->setObsolete(true);
        m_undo->undo();
    }
    return errors.isEmpty() ? QString() : Fail(errors.join(QLatin1Char('\n')));
}

QString TQVWorkbenchModel::Rename(QObject *component, const QString &name)
{
    m_lastError.clear();
    if (!component || !Components().contains(component))
        return Fail(tr("The component is not on the form."));
    const QString wanted = name.trimmed();
    if (wanted == component->objectName())
        return QString();
    if (!TQVWriter::IsComponentName(wanted))
        return Fail(tr("\"%1\" is not a valid component name: use letters, digits and _, not starting with a digit.")
                        .arg(wanted));
    if (Component(wanted))
        return Fail(tr("A component named %1 already exists.").arg(wanted));
    const QString before = Snapshot();
    const QString previous = component->objectName();
    component->setObjectName(wanted);
    SetModified(true);
    emit ComponentChanged(component);
    Push(new ChangeCommand(this, wanted, QStringLiteral("Name"), previous, wanted, before));
    return QString();
}

QString TQVWorkbenchModel::SetGeometry(QWidget *component, const QRect &geometry)
{
    m_lastError.clear();
    if (!component || !Components().contains(component))
        return Fail(tr("The component is not on the form."));
    if (geometry.width() < 8 || geometry.height() < 8 || geometry.width() > 10000 || geometry.height() > 10000 ||
        std::abs(geometry.x()) > 100000 || std::abs(geometry.y()) > 100000)
        return Fail(tr("%1: the size must lie between 8 and 10000 pixels.").arg(component->objectName()));
    if (component->geometry() == geometry)
        return QString();
    const QString before = Snapshot();
    const QRect previous = component->geometry();
    QVariantList oldState = State(component);
    component->setGeometry(geometry);
    SetModified(true);
    emit ComponentChanged(component);
    Push(new ChangeCommand(this, component->objectName(), GeometryName, previous, geometry, before, std::move(oldState),
                           State(component)));
    return QString();
}

QString TQVWorkbenchModel::FormText()
{
    m_lastError.clear();
    try {
        return TQVFormWriter(m_registry).Write(Components());
    } catch (const std::exception &e) {
        Fail(tr("The form could not be written: %1").arg(ExceptionText(e)));
    }
    return QString();
}

bool TQVWorkbenchModel::Save(const QString &fileName)
{
    const QString text = FormText();
    if (!m_lastError.isEmpty())
        return false;
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text) || file.write(text.toUtf8()) < 0 || !file.commit()) {
        Fail(tr("Cannot write %1: %2").arg(fileName, file.errorString()));
        return false;
    }
    m_fileName = fileName;
    SetModified(false);
    return true;
}

bool TQVWorkbenchModel::Open(const QString &fileName)
{
    m_lastError.clear();
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        Fail(tr("Cannot open %1: %2").arg(fileName, file.errorString()));
        return false;
    }
    const QByteArray data = file.readAll();
    if (!Replace([&](QWidget *holder) { return TQVFormReader(m_registry).ReadUtf8(data, holder); }, fileName))
        return false;
    m_undo->clear();
    m_fileName = fileName;
    SetModified(false);
    return true;
}

bool TQVWorkbenchModel::Load(const QString &text)
{
    m_lastError.clear();
    if (!Replace([&](QWidget *holder) { return TQVFormReader(m_registry).Read(text, holder); }, tr("The form")))
        return false;
    m_undo->clear();
    m_fileName.clear();
    SetModified(true);
    return true;
}

bool TQVWorkbenchModel::Replace(const std::function<QList<QObject *>(QWidget *)> &read, const QString &what)
{
    // Read into a holder of its own: the reader deletes what it made when it fails, and
    // the current form is touched only after a complete read.
    QWidget holder;
    QList<QObject *> components;
    try {
        components = read(&holder);
    } catch (const std::exception &e) {
        Fail(tr("%1 could not be read: %2").arg(what, ExceptionText(e)));
        return false;
    }
    Stop();
    DeleteComponents(Components());
    for (QObject *component : components)
        Adopt(component);
    emit FormReplaced();
    return true;
}

void TQVWorkbenchModel::Run()
{
    if (m_running)
        return;
    m_lastError.clear();
    m_running = true;
    const QList<QObject *> components = Components();
    for (QObject *component : components)
        QVSetDesigning(component, false);
    try {
        for (QObject *component : components)
            WithHostSource(component, [](auto *source) { source->Run(); });
    } catch (const std::exception &e) {
        Fail(tr("The form could not start: %1").arg(ExceptionText(e)));
    }
    emit RunningChanged(true);
}

void TQVWorkbenchModel::Stop()
{
    if (!m_running)
        return;
    const QList<QObject *> components = Components();
    try {
        for (QObject *component : components)
            WithHostSource(component, [](auto *source) { source->Stop(); });
    } catch (const std::exception &e) {
        Fail(tr("The form could not stop cleanly: %1").arg(ExceptionText(e)));
    }
    m_running = false;
    for (QObject *component : components)
        QVSetDesigning(component, true);
    emit RunningChanged(false);
}

int TQVWorkbenchModel::Tick(int blocks)
{
    if (!m_running)
        return 0;
    for (int i = 0; i < blocks; ++i) {
        try {
            for (QObject *component : Components())
                WithHostSource(component, [](auto *source) { source->Tick(); });
        } catch (const std::exception &e) {
            Fail(tr("A block could not be delivered: %1").arg(ExceptionText(e)));
            return i;
        }
    }
    return std::max(blocks, 0);
}
