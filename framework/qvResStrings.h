#pragma once

#include <QtCore/QString>

#include "qvGlobal.h"

/// \brief Identifiers of the library's string table. The English texts are the source
/// texts of Qt's translation system (context "Velmora").
enum class TQVResString {
    IncompatibleSingleValue,
    IncompatibleSingleChannel,
    IncompatibleDualChannel,
    StageNeedsContinuous,
    ListIndexOutOfBounds,
    SelectorSingleNeedsContinuous,
    SelectorDualNeedsTwoChannels,
    SelectorMatrixNeedsContinuous,
    SelectorLineInvalid,
    TriggerNeedsContinuous,
    FFTNeedsOneChannel,
    FFTNeedsTwoChannels,
    FilterNeedsOneChannel,
    FirCoefficientCount,
    FirCoefficientLineInvalid,
};

/// Loads a text of the string table, translated when a translator is installed.
QV_CORE_EXPORT QString QVLoadResString(TQVResString id);
