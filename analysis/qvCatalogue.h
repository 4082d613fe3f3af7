#pragma once

#include <QtCore/QList>
#include <QtCore/QMetaObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include "framework/qvGlobal.h"
#include "framework/qvRegistry.h"

/// \brief Where the registration functions put a catalogued class.
enum class TQVPaletteSlot : quint8 {
    None,       ///< on no palette page
    Components, ///< `Register`: the page "Velmora", in catalogue order
    Stream,     ///< `RegisterStreamComponents`: the page its caller names, in catalogue order
};

/// \brief What the Qt Designer plugin shows of a widget class. An empty `Group` keeps the
/// class out of Designer.
struct TQVDesignerInfo
{
    QString Group;
    QString IncludeFile; ///< as included from the installed headers, "controls/qvSlider.h"
    QString ToolTip;
    QString WhatsThis;
    bool Container = false;
};

/// \brief One class of the package, described once: the registration functions, the
/// palette bitmaps and the Designer plugin all read it.
struct TQVCatalogueEntry
{
    const QMetaObject *Meta = nullptr;
    TQVComponentFactory Factory;
    TQVPaletteSlot Palette = TQVPaletteSlot::None;
    QString Bitmap; ///< palette bitmap name, "TQVSLIDER"; empty: none
    TQVDesignerInfo Designer;

    QString Name() const { return QString::fromLatin1(Meta->className()); }
    TQVComponentClass ComponentClass() const { return TQVComponentClass{Name(), Factory, Bitmap}; }
};

/// \brief The entry of `T` (owned by a `ParentT`) on `palette`, with the class name in
/// capitals as its bitmap.
template<typename T, typename ParentT = QObject>
TQVCatalogueEntry QVCatalogueEntryOf(TQVPaletteSlot palette)
{
    TQVCatalogueEntry entry;
    entry.Meta = &T::staticMetaObject;
    entry.Factory = QVFactoryOf<T, ParentT>();
    entry.Palette = palette;
    entry.Bitmap = entry.Name().toUpper();
    return entry;
}

/// \brief The classes of `entries` on `palette`, in catalogue order.
QV_CORE_EXPORT QList<TQVComponentClass> QVPaletteClasses(const QList<TQVCatalogueEntry> &entries,
                                                         TQVPaletteSlot palette);

/// \brief The core library's classes: the FFT component, the FFT stages and the filters
/// (palette `Components`), then the selectors, the analyzer and the trigger (`Stream`).
QV_CORE_EXPORT const QList<TQVCatalogueEntry> &QVCoreCatalogue();

/// \brief Makes the stream stages of the core catalogue known to `registry` (the selectors,
/// the analyzer, the trigger, the FFT stages and the filters: every class derived from the
/// stage base `TQVMLSBase`). Puts nothing on a palette. Needs only the core library.
QV_CORE_EXPORT void QVRegisterCoreClasses(TQVClassRegistry &registry);
