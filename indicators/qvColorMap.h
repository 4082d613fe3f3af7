#pragma once

#include <array>

#include <QtGui/QRgb>

#include "framework/qvGlobal.h"

/// \brief The perceptual colour map of the waterfall: from a dark blue-violet over blue, teal
/// and green to a light yellow, with a lightness that rises steadily along the map, so that
/// equal steps of level look like equal steps of brightness, also in grey and for the common
/// kinds of colour blindness.
///
/// `t` runs from 0 (lowest level) to 1 (highest); values outside are clamped and NaN gives the
/// colour of 0.
QV_WIDGETS_EXPORT QRgb QVLevelColor(double t);

/// The map sampled at 256 equal steps (entry k is `QVLevelColor(k / 255)`), for drawing rows.
QV_WIDGETS_EXPORT const std::array<QRgb, 256> &QVLevelColorTable();
