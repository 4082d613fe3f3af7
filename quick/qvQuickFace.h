#pragma once

#include <QtCore/QObject>
#include <QtCore/QVariant>

#include "framework/qvGlobal.h"

#if defined(VELMORA_QUICK_BUILD)
#  define QV_QUICK_EXPORT Q_DECL_EXPORT
#else
#  define QV_QUICK_EXPORT Q_DECL_IMPORT
#endif

/// \brief The QML face of a library object: lowerCamel properties that forward to the
/// published UpperCamel properties of a target (a widget or a stream stage).
///
/// A face property `name` forwards to the target's `QtName` when it has one (the `QColor`
/// twin of a colour), else to `Name`; `source` forwards to `MeasureSource`, `ranges` to
/// `RangeTable`, and on the scales without their own `UnitText` `unitText` to
/// `LabelTextPosfix` and `unitPrefix` to `LabelScientificUnitPosfix`. Reads and writes go through the meta-object, so a refused write reaches the
/// target's `ErrorOccurred` signal and never raises.
namespace QVQuickFace {

/// The target property that face property `name` forwards to, or null.
QV_QUICK_EXPORT const char *TargetName(const QObject *target, const char *name);
/// Connects the notify signal of every face property from index `first` on to the notify
/// signal of the target property it forwards to.
QV_QUICK_EXPORT void LinkNotifiers(QObject *face, int first, QObject *target);
/// Reads target property `name` (UpperCamel); an invalid variant without a target.
QV_QUICK_EXPORT QVariant Read(const QObject *target, const char *name);
/// Writes target property `name` (UpperCamel); ignored without a target.
QV_QUICK_EXPORT void Write(QObject *target, const char *name, const QVariant &value);

/// The symbol of SI prefix `id` ("k", "M", the micro sign...), empty for none or an unknown id.
QV_QUICK_EXPORT QString PrefixSymbol(const QVariant &id);
/// The identifier of the SI prefix written `symbol` ("u" for micro too), 0 for "", -1 if unknown.
QV_QUICK_EXPORT int PrefixId(const QString &symbol);

/// \brief A range table as QML sees it: a list of `{limit, color}` objects (`check`, a bool,
/// for the meter's rows), in ascending order of their limits.
QV_QUICK_EXPORT QVariantList RangesFromTable(const QString &table);
/// \brief The `RangeTable` text of `ranges`; rows without a valid number `limit` or a valid
/// colour are skipped. `withCheck` writes the meter's check column.
QV_QUICK_EXPORT QString TableFromRanges(const QVariantList &ranges, bool withCheck);

} // namespace QVQuickFace

/// \brief Readies the QML module `Velmora` for `import Velmora`; call it once after creating
/// the application. Its types register when the program starts; calling this function keeps
/// the linker from dropping that registration from the (static) library.
/// Returns false, with a warning, when the application is no `QApplication`: the instrument
/// items paint through widgets and stay empty without one (the stream types work anyway).
QV_QUICK_EXPORT bool QVQuickInitialize();
