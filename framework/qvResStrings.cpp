#include "qvResStrings.h"

#include <QtCore/QCoreApplication>

namespace {

struct ResEntry
{
    TQVResString id;
    const char *text;
};

constexpr ResEntry Table[] = {
    {TQVResString::IncompatibleSingleValue,
     QT_TRANSLATE_NOOP("Velmora", "Component can process only individual values from channel 0!")},
    {TQVResString::IncompatibleSingleChannel,
     QT_TRANSLATE_NOOP("Velmora", "Component can process only values from channel 0!")},
    {TQVResString::IncompatibleDualChannel,
     QT_TRANSLATE_NOOP("Velmora", "Component can process only values from the channels 0 and 1!")},
    {TQVResString::StageNeedsContinuous,
     QT_TRANSLATE_NOOP("Velmora", "Component needs continuous operation.")},
    {TQVResString::ListIndexOutOfBounds,
     QT_TRANSLATE_NOOP("Velmora", "List index out of bounds (%1)")},
    {TQVResString::SelectorSingleNeedsContinuous,
     QT_TRANSLATE_NOOP("Velmora", "SelectorSingle: Component needs continuous operation.")},
    {TQVResString::SelectorDualNeedsTwoChannels,
     QT_TRANSLATE_NOOP("Velmora",
                       "SelectorDual: Component needs continuous operation and at least two input channels.")},
    {TQVResString::SelectorMatrixNeedsContinuous,
     QT_TRANSLATE_NOOP("Velmora", "SelectorMatrix: Component needs continuous operation.")},
    {TQVResString::SelectorLineInvalid,
     QT_TRANSLATE_NOOP("Velmora", "Selector line %1 (\"%2\"): '%3' is not a valid integer value")},
    {TQVResString::TriggerNeedsContinuous,
     QT_TRANSLATE_NOOP("Velmora", "Trigger: Component needs continuous operation.")},
    {TQVResString::FFTNeedsOneChannel,
     QT_TRANSLATE_NOOP("Velmora", "Component needs continuous operation, a channel and no individual values.")},
    {TQVResString::FFTNeedsTwoChannels,
     QT_TRANSLATE_NOOP("Velmora", "Component needs continuous operation, two channels and no individual values.")},
    {TQVResString::FilterNeedsOneChannel,
     QT_TRANSLATE_NOOP("Velmora", "Filter: Component needs continuous operation and one channel.")},
    {TQVResString::FirCoefficientCount,
     QT_TRANSLATE_NOOP("Velmora", "FIRFilter: The number of coefficients must amount to between 1 and 512")},
    {TQVResString::FirCoefficientLineInvalid,
     QT_TRANSLATE_NOOP("Velmora", "FIRFilter line %1 (\"%2\") is not a valid floating point value")},
    {TQVResString::FormErrorAt, QT_TRANSLATE_NOOP("Velmora", "Form line %1, column %2: %3")},
    {TQVResString::FormExpected, QT_TRANSLATE_NOOP("Velmora", "%1 expected but %2 found")},
    {TQVResString::FormUnknownClass, QT_TRANSLATE_NOOP("Velmora", "Class %1 not found")},
    {TQVResString::FormUnknownProperty, QT_TRANSLATE_NOOP("Velmora", "Property %1 does not exist in %2")},
    {TQVResString::FormPropertyFailed, QT_TRANSLATE_NOOP("Velmora", "Property %1 of %2 not accepted: %3")},
    {TQVResString::FormUnresolvedReference,
     QT_TRANSLATE_NOOP("Velmora", "Property %1 of %2 refers to the unknown component %3")},
    {TQVResString::FormDuplicateName, QT_TRANSLATE_NOOP("Velmora", "A component named %1 already exists")},
    {TQVResString::FormTooDeep, QT_TRANSLATE_NOOP("Velmora", "Nesting deeper than %1 levels")},
    {TQVResString::FormIntegerRange, QT_TRANSLATE_NOOP("Velmora", "Integer %1 out of range")},
    {TQVResString::FormFloatRange, QT_TRANSLATE_NOOP("Velmora", "Floating point value %1 out of range")},
    {TQVResString::FormBadCharacter, QT_TRANSLATE_NOOP("Velmora", "Invalid character %1")},
    {TQVResString::FormBadEscape, QT_TRANSLATE_NOOP("Velmora", "Invalid escape sequence in string")},
    {TQVResString::FormUnterminatedString, QT_TRANSLATE_NOOP("Velmora", "Unterminated string")},
    {TQVResString::FormInvalidUtf8, QT_TRANSLATE_NOOP("Velmora", "Invalid UTF-8 data")},
    {TQVResString::FormLoadedFailed, QT_TRANSLATE_NOOP("Velmora", "Component %1 could not finish loading: %2")},
    {TQVResString::FormWrongOwner, QT_TRANSLATE_NOOP("Velmora", "Class %1 cannot be placed on %2")},
    {TQVResString::FormClassNotRegistered, QT_TRANSLATE_NOOP("Velmora", "Class %1 is not registered")},
    {TQVResString::FormInvalidName, QT_TRANSLATE_NOOP("Velmora", "Component name \"%1\" is not a valid identifier")},
    {TQVResString::FormUnnamedReference,
     QT_TRANSLATE_NOOP("Velmora", "Property %1 of %2 refers to a component without a name")},
    {TQVResString::FormEndOfInput, QT_TRANSLATE_NOOP("Velmora", "end of input")},
    {TQVResString::FormWordInteger, QT_TRANSLATE_NOOP("Velmora", "Integer")},
    {TQVResString::FormWordFloat, QT_TRANSLATE_NOOP("Velmora", "Floating point value")},
    {TQVResString::FormWordString, QT_TRANSLATE_NOOP("Velmora", "String")},
    {TQVResString::FormWordIdent, QT_TRANSLATE_NOOP("Velmora", "Identifier")},
    {TQVResString::FormWordBoolean, QT_TRANSLATE_NOOP("Velmora", "Boolean")},
    {TQVResString::FormWordValue, QT_TRANSLATE_NOOP("Velmora", "Value")},
    {TQVResString::FormWordObject, QT_TRANSLATE_NOOP("Velmora", "Property, 'object' or 'end'")},
    {TQVResString::FormWordComponentOf, QT_TRANSLATE_NOOP("Velmora", "Component of class %1")},
    {TQVResString::FormWordKeyOf, QT_TRANSLATE_NOOP("Velmora", "Key of %1")},
    {TQVResString::FormInvalidValue, QT_TRANSLATE_NOOP("Velmora", "invalid value")},
};

} // namespace

QString QVLoadResString(TQVResString id)
{
    for (const ResEntry &entry : Table) {
        if (entry.id == id)
            return QCoreApplication::translate("Velmora", entry.text);
    }
    return QString();
}
