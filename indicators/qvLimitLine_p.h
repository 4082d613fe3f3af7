#pragma once

#include <vector>

#include <QtCore/QPointF>
#include <QtCore/QString>

// A limit line of the plot's pass/fail test: points joined by straight lines on the shown
// axes, x not decreasing, so that two points at one x make a step.

/// \brief Reads "x y; x y; ..." (points separated by ";" or new lines, the two numbers by
/// blanks or a comma, "." as the decimal point). False, with `points` untouched, unless every
/// point has two finite numbers and x never decreases; an empty text is no line.
bool QVParseLimitLine(const QString &text, std::vector<QPointF> &points);
/// The points in the text form, each number in the shortest text that reads back to it.
QString QVLimitLineText(const std::vector<QPointF> &points);
/// \brief The limit at `u` of a line whose x are already on the shown axis (log10 x on a log
/// axis, minus infinity there for x <= 0, which carries the next point's level to the left):
/// interpolated on the segment that holds `u`, at a point or a step the tightest of the levels
/// there (the lowest for an upper limit). NaN outside the line or for a NaN `u`.
double QVLimitAt(const std::vector<QPointF> &line, double u, bool upper);
