#include "controls/qvCommon.h"

#include <QtCore/QCoreApplication>
#include <QtWidgets/QComboBox>

#include <algorithm>
#include <array>
#include <cmath>

#include <QtCore/QLocale>

#include "controls/qvFormat.h"
#include "controls/scale/qvScaleEngine.h"

namespace {

constexpr int FirstPrefix = sipNone;
constexpr int LastPrefix = sipYotta;
constexpr int PrefixCount = LastPrefix - FirstPrefix + 1;
constexpr qsizetype MaxNameLength = 8;
constexpr qsizetype MaxSymbolLength = 2;

constexpr const char *TextContext = "Velmora";

// The shipped texts; a translator of the "Velmora" context replaces them. The disambiguation
// keeps the name "None" apart from the number word "None".
struct SourceText
{
    const char *source;
    const char *comment;
};

struct PrefixSource
{
    SourceText name;
    SourceText symbol;
    double factor;
    SourceText numberWord;
};

const std::array<PrefixSource, PrefixCount> Sources = {{
    {QT_TRANSLATE_NOOP3("Velmora", "None", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "", "SI prefix symbol"),
     1.0,
     QT_TRANSLATE_NOOP3("Velmora", "None", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Yocto", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "y", "SI prefix symbol"),
     1e-24,
     QT_TRANSLATE_NOOP3("Velmora", "Quadrillionstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Zepto", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "z", "SI prefix symbol"),
     1e-21,
     QT_TRANSLATE_NOOP3("Velmora", "Trilliardstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Atto", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "a", "SI prefix symbol"),
     1e-18,
     QT_TRANSLATE_NOOP3("Velmora", "Trillionstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Femto", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "f", "SI prefix symbol"),
     1e-15,
     QT_TRANSLATE_NOOP3("Velmora", "Billiardstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Pico", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "p", "SI prefix symbol"),
     1e-12,
     QT_TRANSLATE_NOOP3("Velmora", "Billionstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Nano", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "n", "SI prefix symbol"),
     1e-9,
     QT_TRANSLATE_NOOP3("Velmora", "Milliardstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Micro", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "\xC2\xB5", "SI prefix symbol"), // MICRO SIGN U+00B5
     1e-6,
     QT_TRANSLATE_NOOP3("Velmora", "Millionstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Milli", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "m", "SI prefix symbol"),
     1e-3,
     QT_TRANSLATE_NOOP3("Velmora", "Tausendstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Centi", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "c", "SI prefix symbol"),
     1e-2,
     QT_TRANSLATE_NOOP3("Velmora", "Hundertstel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Deci", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "d", "SI prefix symbol"),
     1e-1,
     QT_TRANSLATE_NOOP3("Velmora", "Zehntel", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Deca", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "da", "SI prefix symbol"),
     1e1,
     QT_TRANSLATE_NOOP3("Velmora", "Zehn", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Hecto", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "h", "SI prefix symbol"),
     1e2,
     QT_TRANSLATE_NOOP3("Velmora", "Hundert", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Kilo", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "k", "SI prefix symbol"),
     1e3,
     QT_TRANSLATE_NOOP3("Velmora", "Tausend Tsd.", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Mega", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "M", "SI prefix symbol"),
     1e6,
     QT_TRANSLATE_NOOP3("Velmora", "Million Mio.", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Giga", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "G", "SI prefix symbol"),
     1e9,
     QT_TRANSLATE_NOOP3("Velmora", "Milliarde Mrd. 1)", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Tera", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "T", "SI prefix symbol"),
     1e12,
     QT_TRANSLATE_NOOP3("Velmora", "Billion Bio. 1)", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Peta", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "P", "SI prefix symbol"),
     1e15,
     QT_TRANSLATE_NOOP3("Velmora", "Billiarde", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Exa", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "E", "SI prefix symbol"),
     1e18,
     QT_TRANSLATE_NOOP3("Velmora", "Trillion", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Zetta", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "Z", "SI prefix symbol"),
     1e21,
     QT_TRANSLATE_NOOP3("Velmora", "Trilliarde", "SI number word")},
    {QT_TRANSLATE_NOOP3("Velmora", "Yotta", "SI prefix name"),
     QT_TRANSLATE_NOOP3("Velmora", "Y", "SI prefix symbol"),
     1e24,
     QT_TRANSLATE_NOOP3("Velmora", "Quadrillion", "SI number word")},
}};

struct PrefixTable
{
    std::array<TSiPrefixesStruct, PrefixCount> rows;
    bool loaded = false;
};

PrefixTable &Table()
{
    static PrefixTable table;
    return table;
}

// The first `count` characters of `text`, never splitting a surrogate pair.
QString Cut(const QString &text, qsizetype count)
{
    if (text.size() <= count)
        return text;
    if (count > 0 && text[count - 1].isHighSurrogate())
        --count;
    return text.left(count);
}

QString Translate(const SourceText &text)
{
    return QCoreApplication::translate(TextContext, text.source, text.comment);
}

void Load(PrefixTable &table)
{
    for (int i = 0; i < PrefixCount; ++i) {
        const PrefixSource &source = Sources[size_t(i)];
        TSiPrefixesStruct &row = table.rows[size_t(i)];
        row.Name = Cut(Translate(source.name), MaxNameLength);
        row.Symbol = Cut(Translate(source.symbol), MaxSymbolLength);
        row.Factor = source.factor;
        row.NumberWord = Translate(source.numberWord);
    }
    table.loaded = true;
}

const TSiPrefixesStruct &Row(int id)
{
    PrefixTable &table = Table();
    if (!table.loaded)
        Load(table);
    return table.rows[size_t(id)];
}

bool InRange(int id)
{
    return id >= FirstPrefix && id <= LastPrefix;
}

} // namespace

bool GetSIInfos(int id, TSiPrefixesStruct &info)
{
    if (!InRange(id))
        return false;
    info = Row(id);
    return true;
}

int InitSIComboBox(QComboBox *comboBox, int id)
{
    if (!comboBox)
        return -1;
    comboBox->clear();
    for (int i = FirstPrefix; i <= LastPrefix; ++i) {
        const TSiPrefixesStruct &row = Row(i);
        comboBox->addItem(QStringLiteral("%1 [%2]").arg(row.Name, row.Symbol), i);
    }
    comboBox->setCurrentIndex(InRange(id) ? id : -1);
    return comboBox->currentIndex();
}

bool GetSIFromComboBox(const QComboBox *comboBox, TSiPrefixesId &id)
{
    if (!comboBox)
        return false;
    const int index = comboBox->currentIndex();
    if (!InRange(index))
        return false;
    id = TSiPrefixesId(index);
    return true;
}

bool SetSIOnComboBox(QComboBox *comboBox, int id)
{
    if (!comboBox || !InRange(id))
        return false;
    comboBox->setCurrentIndex(id);
    return true;
}

void QVReloadSIPrefixTexts()
{
    Load(Table());
}

QString QVFormatScaleLabel(const QString &format, double value, int prefixId, const QString &suffix,
                           const QLocale &locale)
{
    return QVScaleLabelText(format, value, prefixId, suffix, locale);
}

QString QVScaleLabelFormat(int prefixId, double valueMin, double valueMax, int decimals)
{
    return QVLabelFormat(TQVLabelFormatRule::Linear, valueMin, valueMax, decimals, prefixId);
}

std::optional<double> QVSnapAndClamp(double value, double current, double stepWidth, double valueMin,
                                     double valueMax)
{
    if (std::isnan(value))
        return std::nullopt;
    // A step a stream stored as infinity snaps nothing (its grid would give NaN).
    if (stepWidth > 0.0 && std::isfinite(stepWidth))
        value = std::nearbyint(value / stepWidth) * stepWidth;
    if (value == current)
        return std::nullopt;
    if (value < valueMin)
        value = valueMin;
    else if (value > valueMax)
        value = valueMax;
    if (value == current)
        return std::nullopt;
    return value;
}
