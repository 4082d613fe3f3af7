#pragma once

#include <array>
#include <optional>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

#include "controls/qvColor.h"
#include "controls/scale/qvRangeTable.h"
#include "framework/qvGlobal.h"

class QComboBox;
class QLocale;

namespace QVSI {
Q_NAMESPACE_EXPORT(QV_WIDGETS_EXPORT)
/// SI prefixes; the identifiers keep their German spellings, the displayed names are the
/// English ones. Properties of this type are stored in forms as their number.
enum TSiPrefixesId : quint8 {
    sipNone, sipYocto, sipZepto, sipAtto, sipFemto, sipPiko, sipNano, sipMikro, sipMilli, sipZenti, sipDezi,
    sipDeka, sipHekto, sipKilo, sipMega, sipGiga, sipTera, sipPeta, sipExa, sipZetta, sipYotta,
};
Q_ENUM_NS(TSiPrefixesId)
} // namespace QVSI
using QVSI::TSiPrefixesId;
using enum QVSI::TSiPrefixesId;

/// One row of the prefix table.
struct TSiPrefixesStruct
{
    QString Name;   ///< at most 8 characters
    QString Symbol; ///< at most 2 characters
    double Factor = 1.0;
    QString NumberWord;
};

/// The row of `id` into `info`; false (and `info` untouched) for an identifier out of range.
QV_WIDGETS_EXPORT bool GetSIInfos(int id, TSiPrefixesStruct &info);
/// Fills `comboBox` with "Name [Symbol]" for all 21 prefixes and selects `id`; the item
/// index after that, or -1 for a null combo box.
QV_WIDGETS_EXPORT int InitSIComboBox(QComboBox *comboBox, int id);
QV_WIDGETS_EXPORT bool GetSIFromComboBox(const QComboBox *comboBox, TSiPrefixesId &id);
QV_WIDGETS_EXPORT bool SetSIOnComboBox(QComboBox *comboBox, int id);
/// Reloads the table's texts through the translation system (after a translator was
/// installed); done once automatically on first use.
QV_WIDGETS_EXPORT void QVReloadSIPrefixTexts();

/// \brief Label text of the linear scales: `value` in `format` (see QVFormatFloat), divided
/// by the factor of SI prefix `prefixId` followed by its symbol when there is one, then
/// `suffix`.
QV_WIDGETS_EXPORT QString QVFormatScaleLabel(const QString &format, double value, int prefixId, const QString &suffix,
                                             const QLocale &locale);
/// \brief Label format of the linear scales: "0.00E-00" without a prefix when the range
/// reaches 1e5 in magnitude or spans less than 0.001, else "0" with `decimals` decimals.
QV_WIDGETS_EXPORT QString QVScaleLabelFormat(int prefixId, double valueMin, double valueMax, int decimals);

/// \brief The value an input control (slider, dial) takes for `value`: snapped to
/// `stepWidth` first (round half to even; no snapping for a step of 0 or less or infinite), then clamped
/// to `valueMin`..`valueMax`; nothing when it is NaN or comes out equal to `current`.
QV_WIDGETS_EXPORT std::optional<double> QVSnapAndClamp(double value, double current, double stepWidth,
                                                       double valueMin, double valueMax);
