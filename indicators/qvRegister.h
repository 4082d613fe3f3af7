#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtGui/QIcon>

#include "analysis/qvCatalogue.h"
#include "framework/qvGlobal.h"
#include "framework/qvRegistry.h"

/// \brief The palette page on which `Register` puts the components: "Velmora"; also the
/// Designer group of the widget classes.
QV_WIDGETS_EXPORT QString QVPalettePageName();

/// \brief The widget library's classes: the display controls (each followed by its
/// source-bound sink), the dial, the slider and the plot, with their Designer information.
QV_WIDGETS_EXPORT const QList<TQVCatalogueEntry> &QVWidgetCatalogue();

/// \brief The whole catalogue of the package: `QVWidgetCatalogue()`, then `QVCoreCatalogue()`.
QV_WIDGETS_EXPORT const QList<TQVCatalogueEntry> &QVCatalogue();

/// \brief Puts the package's 15 components (the catalogue's `TQVPaletteSlot::Components`
/// entries) on the palette page "Velmora" of `registry`, in this order: TQVBarGraph, TQVLed, TQVMeter, TQVPanelMeter, TQVDial, TQVSlider, TQVFFT,
/// TQVFFTSingleSingle, TQVFFTDualSingle, TQVFFTSingleDual, TQVFIRFilter, TQVIIRFilter,
/// TQVRCHighpass, TQVRCLowpass, TQVStateVariableFilter.
///
/// Each entry carries its palette bitmap name (the class name in capitals). The selectors,
/// the analyzer and the trigger are left to `RegisterStreamComponents`. Calling it again
/// moves the classes to the end of the page in the same order, so the page never holds a
/// class twice.
QV_WIDGETS_EXPORT void Register(TQVClassRegistry &registry = QVClassRegistry());

/// \brief Puts the five stream components that `Register` leaves out (the catalogue's
/// `TQVPaletteSlot::Stream` entries) on `page`:
/// TQVSelectorSingle, TQVSelectorDual, TQVSelectorMatrix, TQVAnalyzer, TQVMLSTrigger.
///
/// An empty `page` puts them on no palette but still makes them known to the form reader.
QV_WIDGETS_EXPORT void RegisterStreamComponents(TQVClassRegistry &registry = QVClassRegistry(),
                                                const QString &page = QVPalettePageName());

/// \brief The 20 palette bitmap names the catalogue uses ("TQVANALYZER" ... ), sorted.
QV_WIDGETS_EXPORT QStringList QVPaletteBitmapNames();

/// \brief The resource path of palette bitmap `name` (a bitmap or class name, in any case),
/// ":/velmora/palette/<NAME>.png"; empty when the package has no such bitmap. A 48 x 48
/// "@2x" variant lies beside each 24 x 24 bitmap and is picked up by `QIcon`.
QV_WIDGETS_EXPORT QString QVPaletteBitmapResource(const QString &name);

/// \brief The palette bitmap of `name` as an icon; a null icon when there is none.
QV_WIDGETS_EXPORT QIcon QVPaletteIcon(const QString &name);
