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
    FormErrorAt,
    FormExpected,
    FormUnknownClass,
    FormUnknownProperty,
    FormPropertyFailed,
    FormUnresolvedReference,
    FormDuplicateName,
    FormTooDeep,
    FormIntegerRange,
    FormFloatRange,
    FormBadCharacter,
    FormBadEscape,
    FormUnterminatedString,
    FormInvalidUtf8,
    FormLoadedFailed,
    FormWrongOwner,
    FormClassNotRegistered,
    FormInvalidName,
    FormUnnamedReference,
    FormEndOfInput,
    FormWordInteger,
    FormWordFloat,
    FormWordString,
    FormWordIdent,
    FormWordBoolean,
    FormWordValue,
    FormWordObject,
    FormWordComponentOf,
    FormWordKeyOf,
    FormInvalidValue,
};

/// Loads a text of the string table, translated when a translator is installed.
QV_CORE_EXPORT QString QVLoadResString(TQVResString id);
