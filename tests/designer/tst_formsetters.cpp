// A form of all ten widget classes whose properties carry stdset="0" (uic compiles them into
// setProperty calls), compiled by uic and loaded at run time: every property arrives.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMetaProperty>
#include <QtCore/QXmlStreamReader>
#include <QtGui/QColor>
#include <QtGui/QFont>
#include <QtUiTools/QUiLoader>
#include <QtWidgets/QWidget>

#include "indicators/qvRegister.h"
#include "ui_allwidgetsform.h"

using namespace Qt::StringLiterals;

namespace {

// A new instance of the catalogued widget class `className`, or null.
std::unique_ptr<QWidget> Create(const QString &className)
{
    for (const TQVCatalogueEntry &entry : QVWidgetCatalogue()) {
        if (entry.Name() == className)
            return std::unique_ptr<QWidget>(qobject_cast<QWidget *>(entry.Factory(nullptr)));
    }
    return nullptr;
}

// A property element of a .ui file, read without uic: the texts of its value elements
// (a font's "family", a colour's "red"; a plain value under its kind).
struct FormProperty
{
    QString Widget, Class, Name;
    QString Kind; // the value element: double, number, UInt, bool, string, enum, font, color
    bool StdsetZero = false;
    std::map<QString, QString> Texts;
    QString Text(const QString &element) const
    {
        const auto it = Texts.find(element);
        return it == Texts.end() ? QString() : it->second;
    }
};

QList<FormProperty> ReadVelmoraProperties(const QString &path)
{
    QList<FormProperty> list;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return list;
    QXmlStreamReader xml(&file);
    QString widget, widgetClass, element;
    bool inProperty = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            element = xml.name().toString();
            if (element == u"widget") {
                widget = xml.attributes().value(QStringLiteral("name")).toString();
                widgetClass = xml.attributes().value(QStringLiteral("class")).toString();
            } else if (element == u"property" && widgetClass.startsWith(u"TQV")) {
                list.append({widget, widgetClass, xml.attributes().value(QStringLiteral("name")).toString(), {},
                             xml.attributes().value(QStringLiteral("stdset")) == u"0", {}});
                inProperty = true;
            } else if (inProperty && list.last().Kind.isEmpty()) {
                list.last().Kind = element;
            }
        } else if (xml.isCharacters() && !xml.isWhitespace() && inProperty) {
            list.last().Texts[element] = xml.text().toString();
        } else if (xml.isEndElement() && xml.name() == u"property") {
            inProperty = false;
        }
    }
    EXPECT_FALSE(xml.hasError()) << qPrintable(xml.errorString());
    return list;
}

// Whether `actual`, read from the widget, is the value the form element states.
testing::AssertionResult Matches(const FormProperty &expected, const QMetaProperty &property,
                                 const QVariant &actual)
{
    const QString text = expected.Text(expected.Kind);
    const auto number = [&expected](const QString &element) { return expected.Text(element).toInt(); };
    bool same = false;
    if (QStringList{u"double"_s, u"number"_s, u"UInt"_s, u"bool"_s, u"string"_s}.contains(expected.Kind)) {
        QVariant stated(text); // the text in the property's own type
        same = stated.convert(actual.metaType()) && stated == actual;
    } else if (expected.Kind == u"enum") {
        bool known = false;
        const int value = property.enumerator().keyToValue(text.section(u"::"_s, -1).toLatin1().constData(), &known);
        same = known && actual.toInt() == value;
    } else if (expected.Kind == u"font") {
        const QFont font = actual.value<QFont>();
        same = font.family() == expected.Text(u"family"_s) && font.pointSize() == number(u"pointsize"_s)
            && font.bold() == (expected.Text(u"bold"_s) == u"true");
    } else if (expected.Kind == u"color") {
        same = actual.value<QColor>() == QColor(number(u"red"_s), number(u"green"_s), number(u"blue"_s));
    } else {
        return testing::AssertionFailure() << "unexpected value element " << qPrintable(expected.Kind);
    }
    if (same)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "holds " << qPrintable(actual.toString()) << ", the form says "
                                       << qPrintable(text);
}

// Checks every Velmora property of the form file against the widgets under `root`, and that
// each stated value differs from the class's default (else its arrival would prove nothing).
void ExpectFormArrived(const QWidget &root, const QString &path)
{
    const QList<FormProperty> properties = ReadVelmoraProperties(path);
    std::set<QString> classes, kinds;
    for (const FormProperty &expected : properties) {
        SCOPED_TRACE(qPrintable(expected.Widget + u'.' + expected.Name));
        EXPECT_TRUE(expected.StdsetZero);
        classes.insert(expected.Class);
        kinds.insert(expected.Kind);
        const QWidget *widget = root.findChild<QWidget *>(expected.Widget);
        ASSERT_NE(widget, nullptr);
        EXPECT_EQ(QString::fromLatin1(widget->metaObject()->className()), expected.Class);
        const int index = widget->metaObject()->indexOfProperty(expected.Name.toLatin1().constData());
        ASSERT_GE(index, 0);
        const QMetaProperty property = widget->metaObject()->property(index);
        EXPECT_TRUE(Matches(expected, property, property.read(widget)));
        const std::unique_ptr<QWidget> fresh = Create(expected.Class);
        ASSERT_NE(fresh, nullptr) << "not a catalogued widget class";
        EXPECT_FALSE(Matches(expected, property, property.read(fresh.get()))) << "the form states the default";
    }
    EXPECT_EQ(classes.size(), 10u);
    for (const char *kind : {"double", "number", "UInt", "bool", "string", "enum", "font", "color"})
        EXPECT_TRUE(kinds.count(QString::fromLatin1(kind))) << kind;
}

} // namespace

TEST(FormSetters, FormWithStdsetZeroCompilesAndEveryPropertyArrives)
{
    static QStringList warnings; // issued while the form is set up
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
            if (type == QtWarningMsg)
                warnings.append(message);
        });
    QWidget host;
    Ui::AllWidgetsForm form;
    form.setupUi(&host);
    qInstallMessageHandler(previous);
    EXPECT_TRUE(warnings.isEmpty()) << qPrintable(warnings.join(u'\n'));

    ExpectFormArrived(host, QStringLiteral(VELMORA_TEST_ALLWIDGETS_UI_FILE));
}

TEST(FormSetters, RunTimeLoaderReadsTheSameForm)
{
    QUiLoader loader;
    loader.clearPluginPaths();
    loader.addPluginPath(QFileInfo(QStringLiteral(VELMORA_DESIGNER_PLUGIN_FILE)).absolutePath());
    QFile file(QStringLiteral(VELMORA_TEST_ALLWIDGETS_UI_FILE));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    std::unique_ptr<QWidget> form(loader.load(&file));
    ASSERT_NE(form, nullptr) << qPrintable(loader.errorString());
    ExpectFormArrived(*form, QStringLiteral(VELMORA_TEST_ALLWIDGETS_UI_FILE));
}
