// The Designer plugin, the palette registration and the palette bitmaps (the forms built
// from the widget classes are in tst_formsetters.cpp).

#include <gtest/gtest.h>

#include <map>
#include <set>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QPluginLoader>
#include <QtCore/QXmlStreamReader>
#include <QtGui/QImage>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>
#include <QtWidgets/QWidget>

#include "controls/qvbargraphint.h"
#include "analysis/qvCatalogue.h"
#include "framework/qvComponent.h"
#include "framework/qvMeasIntf.h"
#include "framework/qvRegistry.h"
#include "indicators/qvRegister.h"

namespace {

// The widget classes of the form of all widget classes, read from the .ui file.
std::set<QString> FormWidgetClasses()
{
    std::set<QString> classes;
    QFile file(QStringLiteral(VELMORA_TEST_ALLWIDGETS_UI_FILE));
    if (!file.open(QIODevice::ReadOnly))
        return classes;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == u"widget") {
            const QString name = xml.attributes().value(QStringLiteral("class")).toString();
            if (name.startsWith(u"TQV"))
                classes.insert(name);
        }
    }
    return classes;
}

// Whether `header` (relative to the source tree) declares the exported class `name`.
bool DeclaresClass(const QString &header, const QString &name)
{
    QFile file(QStringLiteral(VELMORA_SOURCE_DIR "/") + header);
    return file.open(QIODevice::ReadOnly)
        && file.readAll().contains(QByteArrayLiteral("class QV_WIDGETS_EXPORT ") + name.toLatin1() + ' ');
}

const QStringList PaletteOrder = {
    QStringLiteral("TQVBarGraph"),        QStringLiteral("TQVLed"),
    QStringLiteral("TQVMeter"),           QStringLiteral("TQVPanelMeter"),
    QStringLiteral("TQVDial"),            QStringLiteral("TQVSlider"),
    QStringLiteral("TQVFFT"),             QStringLiteral("TQVFFTSingleSingle"),
    QStringLiteral("TQVFFTDualSingle"),   QStringLiteral("TQVFFTSingleDual"),
    QStringLiteral("TQVFIRFilter"),       QStringLiteral("TQVIIRFilter"),
    QStringLiteral("TQVRCHighpass"),      QStringLiteral("TQVRCLowpass"),
    QStringLiteral("TQVStateVariableFilter"),
};

const QStringList StreamClasses = {
    QStringLiteral("TQVSelectorSingle"), QStringLiteral("TQVSelectorDual"),
    QStringLiteral("TQVSelectorMatrix"), QStringLiteral("TQVAnalyzer"),
    QStringLiteral("TQVMLSTrigger"),
};

// The bitmaps the resources hold, "@2x" variants aside.
QStringList ResourceBitmapNames()
{
    QStringList names;
    for (const QString &file : QDir(QStringLiteral(":/velmora/palette")).entryList(QDir::Files, QDir::Name)) {
        if (!file.endsWith(u"@2x.png"))
            names.append(file.chopped(4));
    }
    return names;
}

QDesignerCustomWidgetCollectionInterface *PluginCollection(QString *error)
{
    static QPluginLoader loader(QStringLiteral(VELMORA_DESIGNER_PLUGIN_FILE));
    QObject *instance = loader.instance();
    if (!instance)
        *error = loader.errorString();
    return qobject_cast<QDesignerCustomWidgetCollectionInterface *>(instance);
}

// The texts of the elements of a widget's DOM XML, and the widget element's attributes as
// "widget.class" and "widget.name".
std::map<QString, QString> DomXmlTexts(const QString &domXml)
{
    std::map<QString, QString> texts;
    QXmlStreamReader xml(domXml);
    QString element;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            element = xml.name().toString();
            if (element == u"widget") {
                texts[QStringLiteral("widget.class")] = xml.attributes().value(QStringLiteral("class")).toString();
                texts[QStringLiteral("widget.name")] = xml.attributes().value(QStringLiteral("name")).toString();
            }
        } else if (xml.isCharacters() && !xml.isWhitespace()) {
            texts[element] = xml.text().toString();
        }
    }
    EXPECT_FALSE(xml.hasError()) << qPrintable(xml.errorString());
    return texts;
}

int OpaquePixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
    return count;
}

} // namespace

// The plugin offers exactly the widget classes of the form of all widget classes, each
// described, created as itself and declared in its DOM XML with its header and default size.
TEST(DesignerPlugin, OffersCreatesAndDeclaresEveryWidgetClass)
{
    QString error;
    QDesignerCustomWidgetCollectionInterface *collection = PluginCollection(&error);
    ASSERT_NE(collection, nullptr) << qPrintable(error);
    QWidget host;
    std::set<QString> seen;
    for (QDesignerCustomWidgetInterface *widget : collection->customWidgets()) {
        const QString name = widget->name();
        SCOPED_TRACE(qPrintable(name));
        EXPECT_TRUE(seen.insert(name).second) << "offered twice";
        EXPECT_EQ(widget->group(), QStringLiteral("Velmora"));
        EXPECT_TRUE(DeclaresClass(widget->includeFile(), name)) << qPrintable(widget->includeFile());
        EXPECT_FALSE(widget->icon().pixmap(24, 24).isNull());
        EXPECT_FALSE(widget->toolTip().isEmpty());
        EXPECT_FALSE(widget->whatsThis().isEmpty());
        EXPECT_FALSE(widget->isContainer());
        EXPECT_FALSE(widget->isInitialized());
        widget->initialize(nullptr);
        EXPECT_TRUE(widget->isInitialized());

        QWidget *created = widget->createWidget(&host);
        ASSERT_NE(created, nullptr);
        EXPECT_EQ(QString::fromLatin1(created->metaObject()->className()), name);
        EXPECT_EQ(created->parentWidget(), &host);
        // Outside a form window (a preview, a form loaded at run time) nothing is designing.
        const TQVComponentState *state = TQVComponentState::Of(created);
        ASSERT_NE(state, nullptr);
        EXPECT_FALSE(state->IsDesigning());

        std::map<QString, QString> dom = DomXmlTexts(widget->domXml());
        EXPECT_EQ(dom[QStringLiteral("widget.class")], name);
        EXPECT_EQ(dom[QStringLiteral("class")], name);
        EXPECT_EQ(dom[QStringLiteral("header")], widget->includeFile());
        EXPECT_EQ(dom[QStringLiteral("extends")], QStringLiteral("QWidget"));
        const QString objectName = dom[QStringLiteral("widget.name")];
        EXPECT_FALSE(objectName.isEmpty() || objectName.front().isUpper()) << qPrintable(objectName);
        EXPECT_EQ(QSize(dom[QStringLiteral("width")].toInt(), dom[QStringLiteral("height")].toInt()), created->size());
        EXPECT_FALSE(created->size().isEmpty());
    }
    EXPECT_EQ(seen, FormWidgetClasses());
    EXPECT_EQ(host.findChildren<QWidget *>(Qt::FindDirectChildrenOnly).size(), collection->customWidgets().size());
    EXPECT_NE(qobject_cast<TQVBarGraphInt *>(collection->customWidgets().front()->createWidget(&host)), nullptr);
}

TEST(PaletteRegistration, PagesInOrderAndNothingTwice)
{
    TQVClassRegistry registry;
    Register(registry);
    EXPECT_EQ(registry.Pages(), QStringList{QStringLiteral("Velmora")});
    EXPECT_EQ(registry.PageClasses(QStringLiteral("Velmora")), PaletteOrder);
    for (const QString &name : StreamClasses)
        EXPECT_FALSE(registry.IsRegistered(name)) << qPrintable(name);

    // Again: the page is unchanged, nothing twice.
    Register(registry);
    EXPECT_EQ(registry.PageClasses(QStringLiteral("Velmora")), PaletteOrder);
    EXPECT_EQ(registry.ClassNames().size(), PaletteOrder.size());

    // The stream components come only through the second call, before the controls here.
    TQVClassRegistry streamsFirst;
    RegisterStreamComponents(streamsFirst);
    EXPECT_EQ(streamsFirst.PageClasses(QStringLiteral("Velmora")), StreamClasses);
    Register(streamsFirst);
    EXPECT_EQ(streamsFirst.PageClasses(QStringLiteral("Velmora")), StreamClasses + PaletteOrder);

    // No page: known to the form reader, on no palette.
    TQVClassRegistry readerOnly;
    RegisterStreamComponents(readerOnly, QString());
    EXPECT_TRUE(readerOnly.Pages().isEmpty());
    for (const QString &name : StreamClasses) {
        EXPECT_TRUE(readerOnly.IsRegistered(name)) << qPrintable(name);
        EXPECT_TRUE(readerOnly.PalettePage(name).isEmpty());
    }
}

TEST(PaletteRegistration, DefaultRegistryIsTheFormReadersOne)
{
    Register();
    RegisterStreamComponents();
    const QStringList page = QVClassRegistry().PageClasses(QStringLiteral("Velmora"));
    for (const QString &name : PaletteOrder + StreamClasses)
        EXPECT_TRUE(page.contains(name)) << qPrintable(name);
}

// Every class has its bitmap and a factory, a control needs a widget owner; the core
// registration needs no widget library and makes exactly the stream stages known, on no page.
TEST(PaletteRegistration, EveryClassHasABitmapAndAFactoryAndTheCoreHoldsTheStages)
{
    TQVClassRegistry registry, core;
    Register(registry);
    RegisterStreamComponents(registry);
    QVRegisterCoreClasses(core);
    QWidget widgetOwner;
    QObject objectOwner;
    QStringList stages;
    for (const QString &name : registry.ClassNames()) {
        SCOPED_TRACE(qPrintable(name));
        EXPECT_EQ(registry.PaletteBitmap(name), name.toUpper());
        // Every bitmap in the resources loads at both sizes: see PaletteBitmaps below.
        EXPECT_TRUE(QVPaletteBitmapNames().contains(registry.PaletteBitmap(name)));
        const bool isWidget = PaletteOrder.indexOf(name) >= 0 && PaletteOrder.indexOf(name) < 6; // the controls
        QObject *owner = isWidget ? static_cast<QObject *>(&widgetOwner) : &objectOwner;
        QObject *created = registry.Create(name, owner);
        ASSERT_NE(created, nullptr);
        EXPECT_EQ(QString::fromLatin1(created->metaObject()->className()), name);
        EXPECT_EQ(created->parent(), owner);
        if (isWidget) {
            EXPECT_EQ(registry.Create(name, &objectOwner), nullptr) << "a control needs a widget owner";
        }
        if (qobject_cast<TQVMLSBase *>(created))
            stages.append(name);
    }
    EXPECT_EQ(stages.size(), 13);
    EXPECT_EQ(core.ClassNames(), stages);
    EXPECT_TRUE(core.Pages().isEmpty());
}

TEST(PaletteBitmaps, AllTwentyLoadAtBothSizesAndDiffer)
{
    const QStringList names = ResourceBitmapNames();
    EXPECT_EQ(QVPaletteBitmapNames(), names);
    EXPECT_EQ(names.size(), 20);
    std::set<QByteArray> distinct;
    for (const QString &name : names) {
        SCOPED_TRACE(qPrintable(name));
        const QString path = QStringLiteral(":/velmora/palette/") + name + QStringLiteral(".png");
        EXPECT_EQ(QVPaletteBitmapResource(name), path);
        const QImage small(path);
        const QImage large(QStringLiteral(":/velmora/palette/") + name + QStringLiteral("@2x.png"));
        ASSERT_FALSE(small.isNull());
        ASSERT_FALSE(large.isNull());
        EXPECT_EQ(small.size(), QSize(24, 24));
        EXPECT_EQ(large.size(), QSize(48, 48));
        // Drawn, and not blank: a fair share of the square is covered.
        EXPECT_GT(OpaquePixels(small), 24 * 24 / 8);
        EXPECT_FALSE(QVPaletteIcon(name).isNull());
        const QImage argb = small.convertToFormat(QImage::Format_ARGB32);
        distinct.insert(QByteArray(reinterpret_cast<const char *>(argb.constBits()), argb.sizeInBytes()));
    }
    EXPECT_EQ(distinct.size(), std::size_t(names.size())) << "two classes share one picture";
}

TEST(PaletteBitmaps, LookupIgnoresCaseAndRejectsUnknownNames)
{
    EXPECT_EQ(QVPaletteBitmapResource(QStringLiteral("tqvrclowpass")),
              QStringLiteral(":/velmora/palette/TQVRCLOWPASS.png"));
    EXPECT_TRUE(QVPaletteBitmapResource(QString()).isEmpty());
    EXPECT_TRUE(QVPaletteBitmapResource(QStringLiteral("TQVNOSUCHCLASS")).isEmpty());
    EXPECT_TRUE(QVPaletteBitmapResource(QStringLiteral("../TQVLED")).isEmpty());
    EXPECT_TRUE(QVPaletteIcon(QStringLiteral("TQVNOSUCHCLASS")).isNull());
}
