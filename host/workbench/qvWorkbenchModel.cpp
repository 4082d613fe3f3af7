#include "qvWorkbenchModel.h"

#include <algorithm>

#include <QtCore/QFile>
#include <QtCore/QMetaEnum>
#include <QtCore/QSaveFile>
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

} // namespace

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

void TQVWorkbenchModel::Adopt(QObject *component)
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
    m_components.append(QPointer<QObject>(component));
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
    DeleteComponents({component});
    SetModified(true);
    // Consumers that lost their source show it in their MeasureSource property.
    for (QObject *other : Components())
        emit ComponentChanged(other);
    return true;
}

void TQVWorkbenchModel::Clear()
{
    Stop();
    DeleteComponents(Components());
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
    try {
        written = property.write(component, converted);
    } catch (const std::exception &e) {
        error = ExceptionText(e);
    }
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
    const QString error = WriteProperty(component, meta->property(index), value);
    if (!error.isEmpty())
        return Fail(error);
    SetModified(true);
    emit ComponentChanged(component);
    return QString();
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
    component->setObjectName(wanted);
    SetModified(true);
    emit ComponentChanged(component);
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
    component->setGeometry(geometry);
    SetModified(true);
    emit ComponentChanged(component);
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
    m_fileName = fileName;
    SetModified(false);
    return true;
}

bool TQVWorkbenchModel::Load(const QString &text)
{
    m_lastError.clear();
    if (!Replace([&](QWidget *holder) { return TQVFormReader(m_registry).Read(text, holder); }, tr("The form")))
        return false;
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
