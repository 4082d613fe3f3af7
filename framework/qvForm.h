#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

#include "qvGlobal.h"
#include "qvRegistry.h"

/// \brief Writes components, with the components they own, as a readable form text.
///
/// For every object: "object Name: Class", the published properties that differ from
/// those of a default-constructed instance of the class, the widget geometry (`Left`,
/// `Top`, `Width`, `Height`), the custom properties of `DefineProperties`, then every
/// owned object whose class is registered, nested; "end". Raises `EQVFormError` for a
/// class that is not registered, a name that is not an identifier, or a reference to a
/// component without a name.
class QV_CORE_EXPORT TQVFormWriter
{
public:
    explicit TQVFormWriter(const TQVClassRegistry &registry = QVClassRegistry());

    /// The form text of `root` and everything it owns.
    QString Write(QObject *root) const;
    /// The form text of several top-level objects, in order.
    QString Write(const QList<QObject *> &roots) const;

private:
    const TQVClassRegistry &m_registry;
};

/// \brief Reads a form text into new components.
///
/// Every component is created through the registry, marked as loading
/// (`TQVComponentState::BeginLoading`) and given its stored properties; object references
/// are resolved by name once the whole form is read, then every component gets `Loaded`,
/// in the order of creation. Any error raises `EQVFormError` with the line and column and
/// deletes every component created so far.
class QV_CORE_EXPORT TQVFormReader
{
public:
    explicit TQVFormReader(const TQVClassRegistry &registry = QVClassRegistry());

    /// Components outside the form that references may name, such as the host's sources;
    /// a name inside the form wins.
    void SetExternalComponents(const QList<QObject *> &components) { m_external = components; }
    /// Whether a reference that names no component, or one that its property does not
    /// take, is left unconnected instead of being an error (pasting part of another form).
    /// Off by default.
    void SetLooseReferences(bool loose) { m_loose = loose; }

    /// Creates the top-level objects of `text`, owned by `owner`, and returns them.
    QList<QObject *> Read(const QString &text, QObject *owner = nullptr) const;
    /// As `Read`, from UTF-8 data; invalid UTF-8 is an error naming its position.
    QList<QObject *> ReadUtf8(const QByteArray &data, QObject *owner = nullptr) const;

private:
    const TQVClassRegistry &m_registry;
    QList<QObject *> m_external;
    bool m_loose = false;
};
