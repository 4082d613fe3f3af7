#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QXmlStreamReader>

#include "analysis/qvFilter.h"
#include "controls/qvCommon.h"
#include "framework/qvTranslations.h"
#include "support/qvTestConsumer.h"

namespace {

struct TsMessage
{
    QString Context, Source, Comment, Translation, Type;
};

// velmora_de.ts read directly: the reference the compiled, embedded catalogue must match.
std::vector<TsMessage> ReadGermanTs()
{
    QFile file(QStringLiteral(VELMORA_TRANSLATIONS_DIR "/velmora_de.ts"));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    std::vector<TsMessage> all;
    QString context;
    while (xml.readNext() != QXmlStreamReader::EndDocument && !xml.hasError()) {
        if (xml.isStartElement() && xml.name() == u"message")
            all.push_back({context, {}, {}, {}, {}});
        if (xml.isStartElement() && xml.name() == u"translation")
            all.back().Type = xml.attributes().value(QStringLiteral("type")).toString();
        QString *field = !xml.isStartElement()    ? nullptr
                         : xml.name() == u"name"    ? &context
                         : xml.name() == u"source"  ? &all.back().Source
                         : xml.name() == u"comment" ? &all.back().Comment
                         : xml.name() == u"translation" ? &all.back().Translation : nullptr;
        if (field)
            *field = xml.readElementText(QXmlStreamReader::IncludeChildElements); // plural forms too
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    return all;
}

QString German(const QString &source, const QString &comment = {})
{
    for (const TsMessage &m : ReadGermanTs())
        if (m.Context == u"Velmora" && m.Source == source && m.Comment == comment)
            return m.Translation;
    return QStringLiteral("<not in .ts: %1>").arg(source);
}

// What a filter stage says when it refuses a two-channel source, and the SI prefix names.
std::pair<QString, QStringList> Texts()
{
    QStringList names;
    QVReloadSIPrefixTexts();
    for (int id = sipNone; id <= sipYotta; ++id) {
        TSiPrefixesStruct info;
        GetSIInfos(id, info);
        names.append(info.Name);
    }
    TQVTestSource source({mscContinuous, mscDualChannel}, 2);
    TQVIIRFilter filter;
    try {
        filter.SetQVMeasureSource(&source);
    } catch (const EQVMSIncompatibleSource &e) {
        return {e.Message(), names};
    }
    return {QStringLiteral("<accepted>"), names};
}

} // namespace

TEST(Translations, InstallSwitchesStageErrorsAndPrefixNames)
{
    const auto [english, englishNames] = Texts();
    QStringList germanNames;
    for (const QString &name : englishNames)
        germanNames.append(German(name, QStringLiteral("SI prefix name")));
    // Applied in order, each call replacing the translator of the one before; "de_AT" falls back to "de".
    const struct { QLocale::Language Language; QLocale::Territory Territory; bool Loaded, German; } cases[] = {
        {QLocale::German, QLocale::Austria, true, true},
        {QLocale::English, QLocale::UnitedStates, true, false},
        {QLocale::German, QLocale::Germany, true, true},
        {QLocale::Japanese, QLocale::Japan, false, false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(QVInstallTranslator(QLocale(c.Language, c.Territory)), c.Loaded) << c.Language;
        const auto [message, names] = Texts();
        EXPECT_EQ(message, c.German ? German(english) : english) << c.Language;
        EXPECT_EQ(names, c.German ? germanNames : englishNames) << c.Language;
    }
    EXPECT_NE(German(english), english);
}

// Every message lupdate found has a German text with the same placeholders.
TEST(Translations, GermanCatalogueIsComplete)
{
    const auto placeholders = [](const QString &text) {
        QStringList found;
        for (const QRegularExpressionMatch &m : QRegularExpression(QStringLiteral("%\\d+")).globalMatch(text))
            found.append(m.captured());
        found.sort();
        found.removeDuplicates(); // each plural form has them all
        return found;
    };
    QStringList unfinished;
    const std::vector<TsMessage> all = ReadGermanTs();
    for (const TsMessage &m : all)
        if (m.Type != u"vanished" && m.Type != u"obsolete"
            && (m.Type == u"unfinished" || m.Translation.isEmpty()
                || placeholders(m.Source) != placeholders(m.Translation)))
            unfinished.append(m.Context + QStringLiteral(": ") + m.Source);
    EXPECT_GT(all.size(), 100u);
    EXPECT_TRUE(unfinished.isEmpty()) << "untranslated or with other placeholders in velmora_de.ts:\n"
                                      << unfinished.join(u'\n').toStdString();
}
