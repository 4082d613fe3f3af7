// The lower-case setter aliases of the widget classes, which let uic compile a form whose
// properties carry no stdset="0": per class exactly the published properties, equality with
// the classes' own setters, rejected writes, and a form of all ten classes compiled and loaded.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <set>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMetaProperty>
#include <QtCore/QXmlStreamReader>
#include <QtGui/QFont>
#include <QtGui/QPixmap>
#include <QtUiTools/QUiLoader>
#include <QtWidgets/QWidget>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "controls/qvbargraphint.h"
#include "controls/qvmeterInt.h"
#include "indicators/QVLedInt.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/QVPanelMeterInt.h"
#include "indicators/qvRegister.h"
#include "ui_allwidgetsform.h"

namespace {

// The catalogued widget classes, by name.
const std::map<QString, TQVCatalogueEntry> &WidgetClasses()
{
    static const std::map<QString, TQVCatalogueEntry> classes = [] {
        std::map<QString, TQVCatalogueEntry> map;
        for (const TQVCatalogueEntry &entry : QVCatalogue()) {
            if (entry.FormProperties)
                map.emplace(entry.Name(), entry);
        }
        return map;
    }();
    return classes;
}

std::unique_ptr<QWidget> Create(const QString &className)
{
    const auto it = WidgetClasses().find(className);
    if (it == WidgetClasses().end())
        return nullptr;
    return std::unique_ptr<QWidget>(qobject_cast<QWidget *>(it->second.Factory(nullptr)));
}

// An alias exists exactly for the classes that publish the property.
template<typename W>
constexpr bool HasButtonCaptionAlias = requires(W &w) { w.setButtonCaption(QVariant()); };
template<typename W>
constexpr bool HasKindAlias = requires(W &w) { w.setKind(QVariant()); };
static_assert(HasButtonCaptionAlias<TQVSlider> && !HasButtonCaptionAlias<TQVBarGraphInt>);
static_assert(HasKindAlias<TQVBarGraph> && !HasKindAlias<TQVLedInt> && !HasKindAlias<TQVDial>);

// The properties a class adds to QWidget's.
QList<QMetaProperty> OwnProperties(const QMetaObject *meta)
{
    QList<QMetaProperty> list;
    for (int i = QWidget::staticMetaObject.propertyCount(); i < meta->propertyCount(); ++i)
        list.append(meta->property(i));
    return list;
}

bool IsObjectPointer(const QMetaProperty &property)
{
    return property.metaType().flags().testFlag(QMetaType::PointerToQObject);
}

// Compares every property two widgets of one class have in common that can be compared.
void ExpectSameProperties(const QWidget &a, const QWidget &b)
{
    for (const QMetaProperty &property : OwnProperties(a.metaObject())) {
        if (IsObjectPointer(property) || property.metaType() == QMetaType::fromType<QPixmap>())
            continue;
        EXPECT_EQ(property.read(&a), property.read(&b)) << property.name();
    }
}

// Collects the warnings issued while it lives.
class WarningCatcher
{
public:
    WarningCatcher() { m_previous = qInstallMessageHandler(&WarningCatcher::Handle); }
    ~WarningCatcher() { qInstallMessageHandler(m_previous); }
    static QStringList &Messages()
    {
        static QStringList messages;
        return messages;
    }

private:
    static void Handle(QtMsgType type, const QMessageLogContext &, const QString &message)
    {
        if (type == QtWarningMsg)
            Messages().append(message);
    }
    QtMessageHandler m_previous;
};

// A property element of a .ui file, read without uic.
struct FormProperty
{
    QString Widget;
    QString Class;
    QString Name;
    QString Kind; // the value element: double, number, UInt, bool, string, enum, font
    QString Text;
    QString FontFamily;
    int FontPointSize = -1;
    bool FontBold = false;
};

QList<FormProperty> ReadVelmoraProperties(const QString &path)
{
    QList<FormProperty> list;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return list;
    QXmlStreamReader xml(&file);
    QString widget, widgetClass, element;
    FormProperty current;
    bool inProperty = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            element = xml.name().toString();
            if (element == u"widget") {
                widget = xml.attributes().value(QStringLiteral("name")).toString();
                widgetClass = xml.attributes().value(QStringLiteral("class")).toString();
            } else if (element == u"property" && widgetClass.startsWith(u"TQV")) {
                current = FormProperty();
                current.Widget = widget;
                current.Class = widgetClass;
                current.Name = xml.attributes().value(QStringLiteral("name")).toString();
                inProperty = true;
            } else if (inProperty && current.Kind.isEmpty()) {
                current.Kind = element;
            }
        } else if (xml.isCharacters() && !xml.isWhitespace() && inProperty) {
            const QString text = xml.text().toString();
            if (element == u"family")
                current.FontFamily = text;
            else if (element == u"pointsize")
                current.FontPointSize = text.toInt();
            else if (element == u"bold")
                current.FontBold = text == u"true";
            else
                current.Text = text;
        } else if (xml.isEndElement() && xml.name() == u"property" && inProperty) {
            list.append(current);
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
    bool same = false;
    if (expected.Kind == u"double")
        same = actual.toDouble() == expected.Text.toDouble();
    else if (expected.Kind == u"number")
        same = actual.toInt() == expected.Text.toInt();
    else if (expected.Kind == u"UInt")
        same = actual.toUInt() == expected.Text.toUInt();
    else if (expected.Kind == u"bool")
        same = actual.toBool() == (expected.Text == u"true");
    else if (expected.Kind == u"string")
        same = actual.toString() == expected.Text;
    else if (expected.Kind == u"enum") {
        const QByteArray key = expected.Text.section(QStringLiteral("::"), -1).toLatin1();
        bool known = false;
        const int value = property.enumerator().keyToValue(key.constData(), &known);
        same = known && actual.toInt() == value;
    } else if (expected.Kind == u"font") {
        const QFont font = actual.value<QFont>();
        same = font.family() == expected.FontFamily && font.pointSize() == expected.FontPointSize
            && font.bold() == expected.FontBold;
    } else {
        return testing::AssertionFailure() << "unexpected value element " << qPrintable(expected.Kind);
    }
    if (same)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "holds " << qPrintable(actual.toString()) << ", the form says "
                                       << qPrintable(expected.Text);
}

// Checks every Velmora property of the form file against the widgets under `root`, and that
// each stated value differs from the class's default (else its arrival would prove nothing).
void ExpectFormArrived(const QWidget &root, const QString &path)
{
    const QList<FormProperty> properties = ReadVelmoraProperties(path);
    std::set<QString> classes, kinds;
    for (const FormProperty &expected : properties) {
        SCOPED_TRACE(qPrintable(expected.Widget + u'.' + expected.Name));
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
    for (const char *kind : {"double", "number", "UInt", "bool", "string", "enum", "font"})
        EXPECT_TRUE(kinds.count(QString::fromLatin1(kind))) << kind;
}

} // namespace

// For every catalogued widget class: an alias for each designable, stored, writable property
// it publishes beyond QWidget's, except an object pointer (MeasureSource) and Style (whose
// alias would hide QWidget::setStyle), and no other.
TEST(FormSetters, EachClassHasAnAliasForExactlyItsDesignableProperties)
{
    ASSERT_GE(WidgetClasses().size(), 11u);
    for (const auto &[name, entry] : WidgetClasses()) {
        SCOPED_TRACE(qPrintable(name));
        const std::unique_ptr<QWidget> widget = Create(name);
        ASSERT_NE(widget, nullptr);
        EXPECT_EQ(QString::fromLatin1(widget->metaObject()->className()), name);
        std::set<QString> published; // a sink may publish a property of its base again
        for (const QMetaProperty &property : OwnProperties(widget->metaObject())) {
            if (property.isDesignable() && property.isStored() && property.isWritable() && !IsObjectPointer(property)
                && qstrcmp(property.name(), "Style") != 0)
                published.insert(QString::fromLatin1(property.name()));
        }
        QStringList aliases = entry.FormProperties();
        aliases.sort();
        // Sorted, so that a name listed twice differs as well.
        const QStringList expected(published.begin(), published.end());
        EXPECT_EQ(aliases.join(u' ').toStdString(), expected.join(u' ').toStdString());
    }
}

TEST(FormSetters, AliasWritesExactlyAsTheSetter)
{
    TQVBarGraphInt barAlias, barSetter;
    barAlias.setValueMin(-20.0);
    barSetter.SetValueMin(-20.0);
    barAlias.setValue(-7.5);
    barSetter.SetValue(-7.5);
    barAlias.setLabelingStyle(TQVBarGraphInt::lbsSymmetric);
    barSetter.SetLabelingStyle(TQVBarGraphInt::lbsSymmetric);
    barAlias.setBevelOuter(TQVCustomPanel::bvLowered);
    barSetter.SetBevelOuter(TQVCustomPanel::bvLowered);
    barAlias.setBarColor(0x00FF8040u);
    barSetter.SetBarColor(0x00FF8040u);
    barAlias.setColor(QVColors::clBtnShadow);
    barSetter.SetColor(QVColors::clBtnShadow);
    barAlias.setLabelTextPosfix(QStringLiteral("mV"));
    barSetter.SetLabelTextPosfix(QStringLiteral("mV"));
    barAlias.setRangeTable(QStringLiteral("0x00FF0000:10;0x0000FF00:60"));
    barSetter.SetRangeTable(QStringLiteral("0x00FF0000:10;0x0000FF00:60"));
    // Values the setter refuses are refused through the alias as well.
    barAlias.setBevelWidth(0);
    barSetter.SetBevelWidth(0);
    barAlias.setLabelingStyle(200);
    barSetter.SetLabelingStyle(TQVBarGraphInt::TQVLabelingStyle(200));
    ExpectSameProperties(barAlias, barSetter);
    EXPECT_DOUBLE_EQ(barAlias.Value(), -7.5);
    EXPECT_EQ(barAlias.LabelingStyle(), TQVBarGraphInt::lbsSymmetric);
    EXPECT_EQ(barAlias.BevelOuter(), TQVCustomPanel::bvLowered);
    EXPECT_EQ(barAlias.BarColor(), 0x00FF8040u);
    EXPECT_EQ(barAlias.Color(), QVColors::clBtnShadow);
    EXPECT_EQ(barAlias.BevelWidth(), 1);
    EXPECT_EQ(barAlias.RangeNumber(), 2);

    TQVSlider sliderAlias, sliderSetter;
    sliderAlias.setValueStepWidth(0.25);
    sliderSetter.SetValueStepWidth(0.25);
    sliderAlias.setValue(3.3);
    sliderSetter.SetValue(3.3);
    sliderAlias.setKind(TQVSlider::sbHorizontal);
    sliderSetter.SetKind(TQVSlider::sbHorizontal);
    sliderAlias.setButtonTransparent(true);
    sliderSetter.SetButtonTransparent(true);
    QFont font(QStringLiteral("Serif"), 13);
    font.setItalic(true);
    sliderAlias.setButtonFont(font);
    sliderSetter.SetButtonFont(font);
    sliderAlias.setTag(-12);
    sliderSetter.SetTag(-12);
    ExpectSameProperties(sliderAlias, sliderSetter);
    EXPECT_DOUBLE_EQ(sliderAlias.Value(), std::nearbyint(3.3 / 0.25) * 0.25);
    EXPECT_EQ(sliderAlias.Kind(), TQVSlider::sbHorizontal);
    EXPECT_EQ(sliderAlias.ButtonFont(), font);
    EXPECT_EQ(sliderAlias.Tag(), -12);

    TQVLed ledAlias, ledSetter;
    ledAlias.setLimit(2.5);
    ledSetter.SetLimit(2.5f);
    ledAlias.setCompare(TQVLedInt::cmpOutOfRange);
    ledSetter.SetCompare(TQVLedInt::cmpOutOfRange);
    ledAlias.setColorActive(0x0000FF00u);
    ledSetter.SetColorActive(0x0000FF00u);
    ExpectSameProperties(ledAlias, ledSetter);
    EXPECT_EQ(ledAlias.property("Limit").toFloat(), 2.5f);
}

TEST(FormSetters, BadWritesWarnAndChangeNothing)
{
    WarningCatcher catcher;
    WarningCatcher::Messages().clear();

    TQVSlider slider;
    slider.setValue(12.0);
    slider.setValue(QStringLiteral("twelve"));
    EXPECT_DOUBLE_EQ(slider.Value(), 12.0);
    ASSERT_EQ(WarningCatcher::Messages().size(), 1);
    EXPECT_TRUE(WarningCatcher::Messages().back().contains(u"TQVSlider::setValue"));

    slider.setValue(QVariant());
    EXPECT_DOUBLE_EQ(slider.Value(), 12.0);
    EXPECT_EQ(WarningCatcher::Messages().size(), 2);
    EXPECT_TRUE(slider.dynamicPropertyNames().isEmpty());
}

TEST(FormSetters, FormWithoutStdsetCompilesAndEveryPropertyArrives)
{
    WarningCatcher catcher;
    WarningCatcher::Messages().clear();
    QWidget host;
    Ui::AllWidgetsForm form;
    form.setupUi(&host);
    EXPECT_TRUE(WarningCatcher::Messages().isEmpty()) << qPrintable(WarningCatcher::Messages().join(u'\n'));

    ExpectFormArrived(host, QStringLiteral(VELMORA_TEST_ALLWIDGETS_UI_FILE));
    // The same through the typed getters, for a few.
    EXPECT_EQ(form.barGraph->LabelingStyle(), TQVBarGraphInt::lbsSymmetric);
    EXPECT_EQ(form.barGraph->RangeNumber(), 2);
    EXPECT_EQ(form.slider->Kind(), TQVSlider::sbHorizontal);
    EXPECT_EQ(form.boundLed->Style(), TQVLedInt::lesRectangle);
    EXPECT_EQ(form.panelMeter->DigitColor(), 0x0000FF00u);
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
