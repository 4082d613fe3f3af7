#include "qvCatalogue.h"

#include "analysis/qvFFT.h"
#include "analysis/qvFilter.h"
#include "analysis/qvMLSFFT.h"
#include "stream/qvMLSSimpleSources.h"
#include "stream/qvMLSTrigger.h"

QList<TQVComponentClass> QVPaletteClasses(const QList<TQVCatalogueEntry> &entries, TQVPaletteSlot palette)
{
    QList<TQVComponentClass> classes;
    for (const TQVCatalogueEntry &entry : entries) {
        if (entry.Palette == palette)
            classes.append(entry.ComponentClass());
    }
    return classes;
}

const QList<TQVCatalogueEntry> &QVCoreCatalogue()
{
    using enum TQVPaletteSlot;
    static const QList<TQVCatalogueEntry> entries = {
        QVCatalogueEntryOf<TQVFFT>(Components),
        QVCatalogueEntryOf<TQVFFTSingleSingle>(Components),
        QVCatalogueEntryOf<TQVFFTDualSingle>(Components),
        QVCatalogueEntryOf<TQVFFTSingleDual>(Components),
        QVCatalogueEntryOf<TQVFIRFilter>(Components),
        QVCatalogueEntryOf<TQVIIRFilter>(Components),
        QVCatalogueEntryOf<TQVRCHighpass>(Components),
        QVCatalogueEntryOf<TQVRCLowpass>(Components),
        QVCatalogueEntryOf<TQVStateVariableFilter>(Components),
        QVCatalogueEntryOf<TQVSelectorSingle>(Stream),
        QVCatalogueEntryOf<TQVSelectorDual>(Stream),
        QVCatalogueEntryOf<TQVSelectorMatrix>(Stream),
        QVCatalogueEntryOf<TQVAnalyzer>(Stream),
        QVCatalogueEntryOf<TQVMLSTrigger>(Stream),
    };
    return entries;
}

void QVRegisterCoreClasses(TQVClassRegistry &registry)
{
    for (const TQVCatalogueEntry &entry : QVCoreCatalogue()) {
        if (entry.Meta->inherits(&TQVMLSBase::staticMetaObject))
            registry.RegisterClass(entry.Name(), entry.Factory);
    }
}
