#include "qvRegister.h"

#include <QtCore/QFile>
#include <QtWidgets/QWidget>

#include "analysis/qvFFT.h"
#include "analysis/qvFilter.h"
#include "analysis/qvMLSFFT.h"
#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "indicators/QVMLSingleSinks.h"
#include "stream/qvMLSSimpleSources.h"
#include "stream/qvMLSTrigger.h"

namespace {

const QString PaletteResourceDir = QStringLiteral(":/velmora/palette/");

// A palette entry of `T` whose bitmap is the class name in capitals.
template<typename T, typename ParentT = QObject>
TQVComponentClass PaletteEntry()
{
    TQVComponentClass entry = QVComponentClassOf<T, ParentT>();
    entry.Bitmap = entry.Name.toUpper();
    return entry;
}

} // namespace

QString QVPalettePageName()
{
    return QStringLiteral("Velmora");
}

void Register(TQVClassRegistry &registry)
{
    registry.RegisterComponents(QVPalettePageName(), {
        PaletteEntry<TQVBarGraph, QWidget>(),
        PaletteEntry<TQVLed, QWidget>(),
        PaletteEntry<TQVMeter, QWidget>(),
        PaletteEntry<TQVPanelMeter, QWidget>(),
        PaletteEntry<TQVDial, QWidget>(),
        PaletteEntry<TQVSlider, QWidget>(),
        PaletteEntry<TQVFFT>(),
        PaletteEntry<TQVFFTSingleSingle>(),
        PaletteEntry<TQVFFTDualSingle>(),
        PaletteEntry<TQVFFTSingleDual>(),
        PaletteEntry<TQVFIRFilter>(),
        PaletteEntry<TQVIIRFilter>(),
        PaletteEntry<TQVRCHighpass>(),
        PaletteEntry<TQVRCLowpass>(),
        PaletteEntry<TQVStateVariableFilter>(),
    });
}

void RegisterStreamComponents(TQVClassRegistry &registry, const QString &page)
{
    if (page.isEmpty()) {
        registry.RegisterClass<TQVSelectorSingle>();
        registry.RegisterClass<TQVSelectorDual>();
        registry.RegisterClass<TQVSelectorMatrix>();
        registry.RegisterClass<TQVAnalyzer>();
        registry.RegisterClass<TQVMLSTrigger>();
        return;
    }
    registry.RegisterComponents(page, {
        PaletteEntry<TQVSelectorSingle>(),
        PaletteEntry<TQVSelectorDual>(),
        PaletteEntry<TQVSelectorMatrix>(),
        PaletteEntry<TQVAnalyzer>(),
        PaletteEntry<TQVMLSTrigger>(),
    });
}

QStringList QVPaletteBitmapNames()
{
    return {
        QStringLiteral("TQVANALYZER"),        QStringLiteral("TQVBARGRAPH"),
        QStringLiteral("TQVDIAL"),            QStringLiteral("TQVFFT"),
        QStringLiteral("TQVFFTDUALSINGLE"),   QStringLiteral("TQVFFTSINGLEDUAL"),
        QStringLiteral("TQVFFTSINGLESINGLE"), QStringLiteral("TQVFIRFILTER"),
        QStringLiteral("TQVIIRFILTER"),       QStringLiteral("TQVLED"),
        QStringLiteral("TQVMETER"),           QStringLiteral("TQVMLSTRIGGER"),
        QStringLiteral("TQVPANELMETER"),      QStringLiteral("TQVRCHIGHPASS"),
        QStringLiteral("TQVRCLOWPASS"),       QStringLiteral("TQVSELECTORDUAL"),
        QStringLiteral("TQVSELECTORMATRIX"),  QStringLiteral("TQVSELECTORSINGLE"),
        QStringLiteral("TQVSLIDER"),          QStringLiteral("TQVSTATEVARIABLEFILTER"),
    };
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
