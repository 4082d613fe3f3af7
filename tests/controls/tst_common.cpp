#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>
#include <QtCore/QTranslator>
#include <QtWidgets/QComboBox>

#include <cmath>

#include "controls/qvCommon.h"

namespace {

// Supplies over-long texts for the kilo row.
class LongKiloTranslator : public QTranslator
{
public:
    QString translate(const char *context, const char *sourceText, const char *disambiguation,
                      int) const override
    {
        if (qstrcmp(context, "Velmora") != 0)
            return {};
        if (qstrcmp(sourceText, "Kilo") == 0)
            return QStringLiteral("Kilogrammeter");
        if (qstrcmp(sourceText, "k") == 0)
            return QStringLiteral("kgm");
        if (qstrcmp(sourceText, "Tausend Tsd.") == 0)
            return QStringLiteral("Eintausend (Tsd.) lang");
        if (qstrcmp(sourceText, "None") == 0 && qstrcmp(disambiguation, "SI number word") == 0)
            return QStringLiteral("Keines");
        return {};
    }
    bool isEmpty() const override { return false; }
};

} // namespace

// The prefixes run from 10^-24 to 10^24 in rising powers of ten, no more than three apart; other
// identifiers are refused and leave the structure as it was.
TEST(SIPrefix, FactorsArePowersOfTenInOrder)
{
    int previous = -27;
    for (int id = sipYocto; id <= sipYotta; ++id) {
        SCOPED_TRACE(id);
        TSiPrefixesStruct info;
        ASSERT_TRUE(GetSIInfos(id, info));
        const int power = int(std::lround(std::log10(info.Factor)));
        EXPECT_GE(power - previous, 1);
        EXPECT_LE(power - previous, 3);
        // The nearest double to the power of ten: strtod rounds correctly.
        EXPECT_EQ(info.Factor, std::strtod(("1e" + std::to_string(power)).c_str(), nullptr));
        EXPECT_FALSE(info.NumberWord.isEmpty());
        EXPECT_LE(info.Name.size(), 8);
        EXPECT_LE(info.Symbol.size(), 2);
        previous = power;
    }
    EXPECT_EQ(previous, 24);
    TSiPrefixesStruct info;
    info.Name = "keep";
    for (int id : {-1, 21, 255, 1000}) {
        EXPECT_FALSE(GetSIInfos(id, info));
        EXPECT_EQ(info.Name, "keep");
    }
    ASSERT_TRUE(GetSIInfos(sipNone, info));
    EXPECT_EQ(info.Factor, 1.0);
    EXPECT_TRUE(info.Symbol.isEmpty());
}

TEST(SIPrefix, ComboBoxFillSelectAndRead)
{
    TSiPrefixesId id = sipMega;
    EXPECT_EQ(InitSIComboBox(nullptr, sipKilo), -1);
    EXPECT_FALSE(GetSIFromComboBox(nullptr, id));
    EXPECT_FALSE(SetSIOnComboBox(nullptr, sipKilo));

    QComboBox combo;
    combo.addItem("stale");
    EXPECT_EQ(InitSIComboBox(&combo, sipKilo), int(sipKilo));
    ASSERT_EQ(combo.count(), 21);
    EXPECT_EQ(combo.itemText(sipKilo), "Kilo [k]");
    EXPECT_EQ(combo.itemText(sipMikro), QString("Micro [") + QChar(0x00B5) + "]");
    EXPECT_EQ(combo.itemText(sipNone), "None []");
    for (int i = 0; i < combo.count(); ++i)
        EXPECT_EQ(combo.itemData(i).toInt(), i);
    EXPECT_EQ(InitSIComboBox(&combo, sipNone), 0);
    EXPECT_EQ(InitSIComboBox(&combo, sipYotta), 20);

    // Bad identifiers: filled without a selection, nothing selected, nothing read.
    for (int bad : {21, 200, -1}) {
        EXPECT_EQ(InitSIComboBox(&combo, bad), -1);
        EXPECT_EQ(combo.count(), 21);
        EXPECT_EQ(combo.currentIndex(), -1);
        EXPECT_FALSE(GetSIFromComboBox(&combo, id));
        EXPECT_FALSE(SetSIOnComboBox(&combo, bad));
    }
    EXPECT_EQ(id, sipMega);
    EXPECT_TRUE(SetSIOnComboBox(&combo, sipMilli));
    EXPECT_EQ(combo.currentIndex(), int(sipMilli));
    ASSERT_TRUE(GetSIFromComboBox(&combo, id));
    EXPECT_EQ(id, sipMilli);
    EXPECT_FALSE(SetSIOnComboBox(&combo, 300));
    EXPECT_EQ(combo.currentIndex(), int(sipMilli));

    // A box with more items than prefixes: an index past the last prefix is no identifier.
    combo.addItem("extra");
    combo.setCurrentIndex(21);
    EXPECT_FALSE(GetSIFromComboBox(&combo, id));
    EXPECT_EQ(id, sipMilli);
}

TEST(SIPrefix, TranslationsAreCutToTheFieldLengths)
{
    LongKiloTranslator translator;
    ASSERT_TRUE(QCoreApplication::installTranslator(&translator));
    QVReloadSIPrefixTexts();
    TSiPrefixesStruct info;
    ASSERT_TRUE(GetSIInfos(sipKilo, info));
    const double factor = info.Factor;
    EXPECT_EQ(info.Name, "Kilogram");
    EXPECT_EQ(info.Symbol, "kg");
    EXPECT_EQ(info.NumberWord, "Eintausend (Tsd.) lang"); // number words stay whole
    ASSERT_TRUE(GetSIInfos(sipNone, info));
    EXPECT_EQ(info.Name, "None");                          // the name is a separate text
    EXPECT_EQ(info.NumberWord, "Keines");
    QComboBox combo;
    InitSIComboBox(&combo, sipKilo);
    EXPECT_EQ(combo.currentText(), "Kilogram [kg]");

    QCoreApplication::removeTranslator(&translator);
    QVReloadSIPrefixTexts();
    ASSERT_TRUE(GetSIInfos(sipKilo, info));
    EXPECT_EQ(info.Name, "Kilo");
    EXPECT_EQ(info.Symbol, "k");
    EXPECT_EQ(info.Factor, factor);
}

TEST(ScaleLabels, PrefixSymbolSuffixAndFormatSwitch)
{
    const QLocale c(QLocale::C), german(QLocale::German);
    EXPECT_EQ(QVFormatScaleLabel("0.0", 2500.0, sipKilo, "V", c), "2.5kV");
    EXPECT_EQ(QVFormatScaleLabel("0.00", 0.0025, sipMilli, "A", german), "2,50mA");
    EXPECT_EQ(QVFormatScaleLabel("0", -40.0, sipNone, QString(), c), "-40");
    // Scientific only without a prefix, for wide or tiny ranges.
    EXPECT_EQ(QVScaleLabelFormat(sipNone, 0, 100000.0, 2), "0.00E-00");
    EXPECT_EQ(QVScaleLabelFormat(sipNone, -100000.0, 0, 0), "0.00E-00");
    EXPECT_EQ(QVScaleLabelFormat(sipNone, 1.0, 1.0009, 0), "0.00E-00");
    EXPECT_EQ(QVScaleLabelFormat(sipKilo, 0, 1e6, 1), "0.0");
    EXPECT_EQ(QVScaleLabelFormat(sipNone, 0, 99999.0, 0), "0");
    EXPECT_EQ(QVScaleLabelFormat(sipNone, -99999.0, 99999.0, 0), "0"); // the ends count, not the span
    EXPECT_EQ(QVScaleLabelFormat(sipNone, 0, 1.0, 2), "0.00");
}

TEST(RangeTable, RowsInUseCurrentRowAndClamping)
{
    TQVRangeTable table;
    EXPECT_EQ(table.Number(), 1);
    EXPECT_FALSE(table.SetNumber(0));
    EXPECT_FALSE(table.SetNumber(17));
    EXPECT_TRUE(table.SetNumber(3));
    EXPECT_FALSE(table.SetNumber(3)); // equal: no change reported
    EXPECT_FALSE(table.SetCurrent(0));
    EXPECT_FALSE(table.SetCurrent(17));
    EXPECT_TRUE(table.SetCurrent(5)); // beyond the rows in use: addressable, not writable
    EXPECT_FALSE(table.SetLimit(4.0));
    EXPECT_EQ(table.Limit(), 0.0);
    EXPECT_EQ(table.Color(), 0u);
    table.SetCurrent(2);
    EXPECT_FALSE(table.SetLimit(std::nan("")));
    EXPECT_TRUE(table.SetLimit(70.0));
    EXPECT_TRUE(table.SetColor(0x0000FF));
    EXPECT_FALSE(table.SetColor(0x0000FF));
    table[0].Limit = -20.0;
    table.Clamp(0.0, 50.0);
    EXPECT_EQ(table.Rows(), (QList<TQVRangeEntry>{{QVColors::clBlack, 0.0}, {0x0000FF, 50.0}, {QVColors::clBlack, 50.0}}));
    table.Clamp(10.0, 5.0); // reversed ends (set unchecked by a control): no overrun, last = max
    EXPECT_EQ(table.Rows().last().Limit, 5.0);

    QList<TQVRangeEntry> many(20, TQVRangeEntry{0x00FF00, 1.0});
    table.Assign(many);
    EXPECT_EQ(table.Number(), TQVRangeTable::MaxRanges);
    table.Assign({});
    EXPECT_EQ(table.Number(), 0);
    EXPECT_TRUE(table.Rows().isEmpty());
}
