#pragma once

#include <QtCore/QString>

#include "framework/qvGlobal.h"

class QComboBox;

/// SI prefixes; the identifiers keep their historical spellings, the displayed names are
/// the English ones.
enum TSiPrefixesId : quint8 {
    sipNone, sipYocto, sipZepto, sipAtto, sipFemto, sipPiko, sipNano, sipMikro, sipMilli, sipZenti, sipDezi,
    sipDeka, sipHekto, sipKilo, sipMega, sipGiga, sipTera, sipPeta, sipExa, sipZetta, sipYotta,
};

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
