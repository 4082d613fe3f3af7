#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>

#include "qvGlobal.h"

class TQVFiler;

/// \brief Design-time and loading state shared by non-visual components and widgets.
///
/// A form designer marks the components it edits as designing; a form reader marks a
/// component as loading before it sets the stored properties and calls `Loaded()` once the
/// whole form has been read, so that a component can finish what depends on several
/// properties at once. Descendants that override `Loaded()` call the inherited one first.
class QV_CORE_EXPORT TQVComponentState
{
public:
    enum TQVStateFlag : unsigned {
        csDesigning = 0x1,
        csLoading = 0x2,
        csSubComponent = 0x4, ///< a part its owner creates itself; forms do not store it
    };

    bool IsDesigning() const { return (m_state & csDesigning) != 0; }
    bool IsLoading() const { return (m_state & csLoading) != 0; }
    bool IsSubComponent() const { return (m_state & csSubComponent) != 0; }
    void SetSubComponent(bool sub) { m_state = sub ? (m_state | csSubComponent) : (m_state & ~csSubComponent); }
    unsigned ComponentState() const { return m_state; }

    virtual void SetDesigning(bool designing);
    /// Called by the form reader before the stored properties are set.
    virtual void BeginLoading();
    /// Called by the form reader after the whole form has been read; clears the loading state.
    virtual void Loaded();
    /// Defines the custom stream properties that the form stream stores after the
    /// published ones (see `TQVFiler`); the base defines none. An override calls the
    /// inherited one first.
    virtual void DefineProperties(TQVFiler &filer);

    /// The state part of an object, or null when it has none.
    static TQVComponentState *Of(QObject *object);

    // Published by every component: a free integer for the application, and two
    // informational strings whose writes are ignored so that stored forms load whatever
    // they hold.
    int Tag() const { return m_tag; }
    void SetTag(int tag) { m_tag = tag; }
    QString Version() const { return QVVersionText(); }
    void SetVersion(const QString &) {}
    QString Copyright() const { return QVCopyrightText(); }
    void SetCopyright(const QString &) {}

protected:
    TQVComponentState() = default;
    virtual ~TQVComponentState();
    /// Takes over the designing state of the nearest owner that has one.
    void InheritDesigning(const QObject *owner);

private:
    unsigned m_state = 0;
    int m_tag = 0;
};

/// Sets or clears the designing state of `root` and of every object it owns.
QV_CORE_EXPORT void QVSetDesigning(QObject *root, bool designing);

/// \brief Base of the non-visual components: a QObject whose parent is its owner.
///
/// Publishes `Tag` and the read-only informational strings `Version` and `Copyright`.
/// The two strings never change (their writes are ignored), so they have no signal.
class QV_CORE_EXPORT TQVComponent : public QObject, public TQVComponentState
{
    Q_OBJECT
    Q_PROPERTY(int Tag READ Tag WRITE SetTag NOTIFY TagChanged)
    Q_PROPERTY(QString Version READ Version WRITE SetVersion)
    Q_PROPERTY(QString Copyright READ Copyright WRITE SetCopyright)

public:
    explicit TQVComponent(QObject *owner = nullptr);
    ~TQVComponent() override;

    /// The state's setter, announcing a change through `TagChanged`.
    void SetTag(int tag);

signals:
    void TagChanged(int tag);
};
