#pragma once

#include <QtCore/QLocale>

#include "qvGlobal.h"

/// \brief Installs the library's translation for `locale` into the application.
///
/// The catalogues are compiled into the core library as ":/velmora/i18n/velmora_<lang>.qm"
/// and cover every context of the library (the string table, the widgets, the workbench).
/// The languages of `locale.uiLanguages()` are tried in order. A translator installed by an
/// earlier call is removed first, so calling it again switches the language; a locale
/// without a catalogue leaves the English source texts.
///
/// Returns false, and changes nothing, when no QCoreApplication exists; otherwise whether a
/// catalogue was found. Call it from the main thread. Texts built before the call keep their
/// language: widget applications call QVReloadSIPrefixTexts() after switching.
QV_CORE_EXPORT bool QVInstallTranslator(const QLocale &locale = QLocale());
