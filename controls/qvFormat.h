#pragma once

#include <QtCore/QLocale>
#include <QtCore/QString>

#include "framework/qvGlobal.h"

/// \brief Formats `value` by a float-format pattern as the controls' labels use them:
/// "0", "0.00" (fixed, digits after the separator), "0.00E-00" / "#.##E-00" (scientific;
/// "E-" shows the exponent's sign only when negative, "E+" always, the zeros after "E" give
/// the minimum exponent digits; "#" is an optional digit), with the decimal separator of
/// `locale`. Rounds half away from zero on the decimal value.
QV_WIDGETS_EXPORT QString QVFormatFloat(const QString &pattern, double value, const QLocale &locale = QLocale());
