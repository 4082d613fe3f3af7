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
