#pragma once

#include <algorithm>

#include <QtCore/QRect>
#include <QtCore/QSize>

class QPainter;
class QPixmap;
class QWidget;

#include "framework/qvGlobal.h"

// Pixel arithmetic that no property value can overflow. Properties keep what was written;
// painting and geometry take their values through these helpers.

/// Pixel properties (widths, offsets, heights) are used pinned to ±QVPixelLimit: far
/// beyond any screen, small enough that sums of them with widget sizes (at most 2^24)
/// cannot overflow and that loops over a scale of that length stay short.
inline constexpr int QVPixelLimit = 1 << 16;

/// Rounded pixel results (positions from values) are pinned to ±QVRoundLimit: a
/// difference of two of them, plus a few pinned pixel properties, still fits an int.
inline constexpr double QVRoundLimit = 1.0e9;

/// Scale labels show at most this many decimals.
inline constexpr int QVMaxLabelDecimals = 20;

/// \brief `x` rounded to the nearest int, ties to even, whatever the floating-point
/// environment; NaN gives 0 and the result is pinned to ±QVRoundLimit.
QV_WIDGETS_EXPORT int QVRoundPx(double x);

/// \brief `floor(x)` as an int; NaN gives 0 and the result is pinned to ±QVRoundLimit.
QV_WIDGETS_EXPORT int QVFloorPx(double x);

/// \brief An int pixel property pinned to `lo`..`hi` (by default ±QVPixelLimit), where
/// the arithmetic around it cannot overflow.
constexpr int QVPinPx(int value, int lo = -QVPixelLimit, int hi = QVPixelLimit)
{
    return std::clamp(value, lo, hi);
}

/// \brief How much of a frame `width` pixels wide, drawn ring by ring from the edge of
/// `r` inwards, fits into `r`: rings stop where the rectangle is used up, so a huge width
/// costs no more than the rectangle's size.
QV_WIDGETS_EXPORT int QVFrameFit(int width, const QRect &r);

/// \brief (`value` - `lo`) / (`hi` - `lo`), also where a difference overflows a double
/// (a range of ±1e308); NaN gives 0.
QV_WIDGETS_EXPORT double QVSpanFraction(double value, double lo, double hi);

/// \brief The device pixel ratio `painter` paints at: that of its real target (a grab or a
/// render may differ from the screen), else `widget`'s.
QV_WIDGETS_EXPORT qreal QVTargetPixelRatio(const QPainter &painter, const QWidget &widget);

/// \brief Makes `pixmap` an opaque cache of `logical` size at ratio `dpr`, reallocating only
/// when its pixel size or ratio differ; true when it was reallocated.
QV_WIDGETS_EXPORT bool QVEnsurePixmap(QPixmap &pixmap, QSize logical, qreal dpr);
