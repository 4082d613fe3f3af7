#pragma once

#include <QtCore/qglobal.h>

#if defined(VELMORA_CORE_BUILD)
#  define QV_CORE_EXPORT Q_DECL_EXPORT
#else
#  define QV_CORE_EXPORT Q_DECL_IMPORT
#endif

#if defined(VELMORA_WIDGETS_BUILD)
#  define QV_WIDGETS_EXPORT Q_DECL_EXPORT
#else
#  define QV_WIDGETS_EXPORT Q_DECL_IMPORT
#endif

class QString;

/// \brief Value of the read-only `Version` property of every published component.
QV_CORE_EXPORT QString QVVersionText();
/// \brief Value of the read-only `Copyright` property of every published component.
QV_CORE_EXPORT QString QVCopyrightText();
