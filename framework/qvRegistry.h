#pragma once

#include <functional>
#include <initializer_list>
#include <map>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include "qvGlobal.h"

/// \brief Creates a component owned by `owner`; returns null when the class cannot be
/// owned by an object of that kind.
using TQVComponentFactory = std::function<QObject *(QObject *owner)>;

/// \brief One class for `RegisterComponents`: its name, factory and palette bitmap name.
struct TQVComponentClass
{
    QString Name;
    TQVComponentFactory Factory;
    QString Bitmap; // empty: the class name
};

/// \brief The factory of `T`, whose constructor takes a `ParentT *` owner (`QObject` for
/// the stream components, `QWidget` for the controls). An owner that is not a `ParentT`
/// yields null.
template<typename T, typename ParentT = QObject>
TQVComponentFactory QVFactoryOf()
{
    return [](QObject *owner) -> QObject * {
        ParentT *parent = qobject_cast<ParentT *>(owner);
        if (owner && !parent)
            return nullptr;
        return new T(parent);
    };
}

/// \brief `T` as an entry of `RegisterComponents`, named after its class.
template<typename T, typename ParentT = QObject>
TQVComponentClass QVComponentClassOf()
{
    return TQVComponentClass{QString::fromLatin1(T::staticMetaObject.className()), QVFactoryOf<T, ParentT>(),
                             QString()};
}

/// \brief The classes a form reader can create, by name, and the palette pages on which
/// a host offers them.
///
/// The registry only accepts registrations; the package's classes are described in its
/// catalogue (analysis/qvCatalogue.h for the core, indicators/qvRegister.h for the widgets),
/// from which `QVRegisterCoreClasses`, `Register` and `RegisterStreamComponents` fill it.
///
/// Being known to the reader (`RegisterClass`) and being on a palette page
/// (`RegisterComponents`, which also makes the classes known) are kept apart, so that
/// stages a host does not offer can still be stored with its forms. Registration is meant
/// for the user-interface thread and is not synchronised.
class QV_CORE_EXPORT TQVClassRegistry
{
public:
    TQVClassRegistry();
    ~TQVClassRegistry();

    /// Makes `name` creatable through `factory`; a second registration replaces the factory.
    /// Empty names and null factories are ignored.
    void RegisterClass(const QString &name, const TQVComponentFactory &factory);
    template<typename T, typename ParentT = QObject>
    void RegisterClass()
    {
        RegisterClass(QString::fromLatin1(T::staticMetaObject.className()), QVFactoryOf<T, ParentT>());
    }
    /// Forgets `name` and takes it off its palette page.
    void UnregisterClass(const QString &name);

    bool IsRegistered(const QString &name) const;
    /// Null when `name` is unknown.
    TQVComponentFactory Factory(const QString &name) const;
    /// A new instance of `name` owned by `owner`; null when the class is unknown or cannot
    /// be owned by `owner`.
    QObject *Create(const QString &name, QObject *owner = nullptr) const;
    /// Every registered class name, sorted.
    QStringList ClassNames() const;

    /// Registers `classes` and puts them on palette page `page` in the given order after
    /// those already there; a class already on another page moves to the end of `page`,
    /// one already on `page` keeps its place (registering twice changes no page).
    void RegisterComponents(const QString &page, std::initializer_list<TQVComponentClass> classes);
    void RegisterComponents(const QString &page, const QList<TQVComponentClass> &classes);
    /// Palette pages in the order of their first registration.
    QStringList Pages() const;
    /// Class names on `page`, in palette order.
    QStringList PageClasses(const QString &page) const;
    /// The page of `name`, empty when it is not on a palette.
    QString PalettePage(const QString &name) const;
    /// The palette bitmap name of `name`, empty when it is not on a palette.
    QString PaletteBitmap(const QString &name) const;

private:
    struct Entry
    {
        TQVComponentFactory Factory;
        QString Page;
        QString Bitmap;
    };
    std::map<QString, Entry> m_classes;
    QStringList m_pages;
    std::map<QString, QStringList> m_pageClasses;
};

/// \brief The registry the form reader and writer use unless given another one.
QV_CORE_EXPORT TQVClassRegistry &QVClassRegistry();
