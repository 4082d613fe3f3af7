#include "qvRegister.h"

#include <algorithm>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtWidgets/QWidget>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/QVPlot.h"
#include "indicators/qvWaterfall.h"

namespace {

const QString PaletteResourceDir = QStringLiteral(":/velmora/palette/");


// The entry of widget class `T`, offered in Designer with `include`, `toolTip` and
// `whatsThis`, showing bitmap `bitmap`.
template<typename T>
TQVCatalogueEntry Widget(TQVPaletteSlot palette, const char *bitmap, const char *include,
                         const QString &toolTip, const QString &whatsThis)
{
    TQVCatalogueEntry entry = QVCatalogueEntryOf<T, QWidget>(palette);
    entry.Bitmap = QString::fromLatin1(bitmap);
    entry.Designer = TQVDesignerInfo{QVPalettePageName(), QString::fromLatin1(include), toolTip, whatsThis};
    return entry;
}

// The sinks' Designer description adds how they are bound.
QString SinkText(const char *text)
{
    return QCoreApplication::translate("TQVDesignerPlugin", text) + QLatin1Char(' ')
        + QCoreApplication::translate("TQVDesignerPlugin", "Bound to a measure source through its MeasureSource property, it shows the first "
                "value of channel 0 of every block.");
}

} // namespace

QString QVPalettePageName()
{
    return QStringLiteral("Velmora");
}

const QList<TQVCatalogueEntry> &QVWidgetCatalogue()
{
    using enum TQVPaletteSlot;
    static const QList<TQVCatalogueEntry> entries = [] {
        QList<TQVCatalogueEntry> list = {
            Widget<TQVBarGraphInt>(None, "TQVBARGRAPH", "controls/qvbargraphint.h", QCoreApplication::translate("TQVDesignerPlugin", "Bar graph"),
                                   QCoreApplication::translate("TQVDesignerPlugin", "Shows a value as a bar along a scale, coloured by a table of up "
                                      "to 16 colour ranges.")),
            Widget<TQVBarGraph>(Components, "TQVBARGRAPH", "indicators/QVMLSingleSinks.h",
                                QCoreApplication::translate("TQVDesignerPlugin", "Bar graph bound to a source"),
                                SinkText(QT_TRANSLATE_NOOP("TQVDesignerPlugin", "A bar graph that follows a measure source."))),
            Widget<TQVLedInt>(None, "TQVLED", "indicators/QVLedInt.h", QCoreApplication::translate("TQVDesignerPlugin", "LED"),
                              QCoreApplication::translate("TQVDesignerPlugin", "A lamp (round, rectangular or an arrow), on or off, optionally "
                                 "flashing; it can compare a value with a limit or a range.")),
            Widget<TQVLed>(Components, "TQVLED", "indicators/QVMLSingleSinks.h", QCoreApplication::translate("TQVDesignerPlugin", "LED bound to a source"),
                           SinkText(QT_TRANSLATE_NOOP("TQVDesignerPlugin", "An LED that compares the values of a measure source with its "
                                    "limit or range."))),
            Widget<TQVMeterInt>(None, "TQVMETER", "controls/qvmeterInt.h", QCoreApplication::translate("TQVDesignerPlugin", "Analog meter"),
                                QCoreApplication::translate("TQVDesignerPlugin", "Shows a value with a needle or wedge on a circular scale with "
                                   "coloured range bands.")),
            Widget<TQVMeter>(Components, "TQVMETER", "indicators/QVMLSingleSinks.h",
                             QCoreApplication::translate("TQVDesignerPlugin", "Analog meter bound to a source"),
                             SinkText(QT_TRANSLATE_NOOP("TQVDesignerPlugin", "An analog meter that follows a measure source."))),
            Widget<TQVPanelMeterInt>(None, "TQVPANELMETER", "indicators/QVPanelMeterInt.h",
                                     QCoreApplication::translate("TQVDesignerPlugin", "Digital panel meter"),
                                     QCoreApplication::translate("TQVDesignerPlugin", "Shows a value in seven-segment or font digits with an SI "
                                        "prefix and a unit.")),
            Widget<TQVPanelMeter>(Components, "TQVPANELMETER", "indicators/QVMLSingleSinks.h",
                                  QCoreApplication::translate("TQVDesignerPlugin", "Digital panel meter bound to a source"),
                                  SinkText(QT_TRANSLATE_NOOP("TQVDesignerPlugin", "A digital panel meter that follows a measure source."))),
            Widget<TQVDial>(Components, "TQVDIAL", "controls/qvDial.h", QCoreApplication::translate("TQVDesignerPlugin", "Rotary dial"),
                            QCoreApplication::translate("TQVDesignerPlugin", "An input control: a knob on a circular scale between ScaleAngle1 "
                               "and ScaleAngle2 that sets a value.")),
            Widget<TQVSlider>(Components, "TQVSLIDER", "controls/qvSlider.h", QCoreApplication::translate("TQVDesignerPlugin", "Slider"),
                              QCoreApplication::translate("TQVDesignerPlugin", "An input control: the user drags the button along a scale to set "
                                 "a value, in steps of ValueStepWidth.")),
        };
        // The plot and the waterfall have no bitmap and are not offered in Designer.
        TQVCatalogueEntry plot = QVCatalogueEntryOf<TQVPlot, QWidget>(None);
        plot.Bitmap.clear();
        list.append(plot);
        TQVCatalogueEntry waterfall = QVCatalogueEntryOf<TQVWaterfall, QWidget>(None);
        waterfall.Bitmap.clear();
        list.append(waterfall);
        return list;
    }();
    return entries;
}

const QList<TQVCatalogueEntry> &QVCatalogue()
{
    static const QList<TQVCatalogueEntry> entries = QVWidgetCatalogue() + QVCoreCatalogue();
    return entries;
}

void Register(TQVClassRegistry &registry)
{
    registry.RegisterComponents(QVPalettePageName(), QVPaletteClasses(QVCatalogue(), TQVPaletteSlot::Components));
}

void RegisterStreamComponents(TQVClassRegistry &registry, const QString &page)
{
    const QList<TQVComponentClass> classes = QVPaletteClasses(QVCatalogue(), TQVPaletteSlot::Stream);
    if (!page.isEmpty()) {
        registry.RegisterComponents(page, classes);
        return;
    }
    for (const TQVComponentClass &cls : classes)
        registry.RegisterClass(cls.Name, cls.Factory);
}

QStringList QVPaletteBitmapNames()
{
    static const QStringList names = [] {
        QStringList list;
        for (const TQVCatalogueEntry &entry : QVCatalogue()) {
            if (!entry.Bitmap.isEmpty() && !list.contains(entry.Bitmap))
                list.append(entry.Bitmap);
        }
        std::sort(list.begin(), list.end());
        return list;
    }();
    return names;
}

QString QVPaletteBitmapResource(const QString &name)
{
    const QString bitmap = name.trimmed().toUpper();
    if (!QVPaletteBitmapNames().contains(bitmap))
        return QString();
    const QString path = PaletteResourceDir + bitmap + QStringLiteral(".png");
    return QFile::exists(path) ? path : QString();
}

QIcon QVPaletteIcon(const QString &name)
{
    const QString path = QVPaletteBitmapResource(name);
    return path.isEmpty() ? QIcon() : QIcon(path);
}
