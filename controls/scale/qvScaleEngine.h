#pragma once

#include <functional>
#include <vector>

#include <QtCore/QLocale>
#include <QtCore/QObject>
#include <QtCore/QString>

#include "framework/qvGlobal.h"

/// \file
/// Scale engines: which values of a scale carry a tick or a label, and what the labels read.
/// Pure arithmetic, no widget: the scale draws and the instruments build on it.

namespace QVScale {
Q_NAMESPACE_EXPORT(QV_WIDGETS_EXPORT)
/// \brief How an instrument lays out its scale. `slClassic` keeps the instrument's long-standing
/// geometry to the pixel; `slAdaptive` measures the labels, places the bar, track or arc beside them,
/// labels 1-2-5 steps with both ends, draws major and minor ticks and scales fonts and pens with
/// the size, without ever writing back into the published properties.
enum TQVScaleLayout : quint8 { slClassic, slAdaptive };
Q_ENUM_NS(TQVScaleLayout)
} // namespace QVScale
using QVScale::TQVScaleLayout;
using enum QVScale::TQVScaleLayout;

/// \brief The step of the 1-2-5 series (…, 0.5, 1, 2, 5, 10, …) that is nearest to `raw` from
/// above; 0 for a step that is not positive and finite.
QV_WIDGETS_EXPORT double QVNiceStep(double raw);

/// \brief The next larger step of the 1-2-5 series after `step` (itself a step of the series).
QV_WIDGETS_EXPORT double QVNextNiceStep(double step);

/// \brief Decimals that show every multiple of `step` exactly: 0 for steps of 1 and more, 1 for
/// 0.5 or 0.2, 2 for 0.05 and so on; at most 15.
QV_WIDGETS_EXPORT int QVStepDecimals(double step);

/// \brief Smallest stride k >= 1 with k · `pitch` >= `need`: labels stand on every k-th tick so that
/// they lie at least `need` pixels apart. At most `maxStride`; 1 when `pitch` is not positive.
QV_WIDGETS_EXPORT int QVLabelStride(int pitch, int need, int maxStride = 1 << 20);
QV_WIDGETS_EXPORT int QVLabelStride(double pitch, double need, int maxStride = 1 << 20);

/// \brief The first multiple of `gap` that is not below `valueMin`, the way the classic scales find
/// their first tick: round(valueMin / gap) · gap, one gap further when that lies below.
QV_WIDGETS_EXPORT double QVFirstTick(double valueMin, double gap);

/// \brief The one label-format rule of the scales, with the thresholds of a scale family.
///
/// A scale switches to `Scientific` when a value end reaches `Magnitude` in size or the span falls
/// below `MinSpan`; with `SpanExemptAcrossZero` a range that reaches past ±`MinSpan` on both sides of
/// zero keeps the fixed format however narrow. An SI prefix always keeps the fixed format. The
/// fixed format has `decimals` decimals ("0", "0.0", "0.00", …).
struct TQVLabelFormatRule
{
    const char *Scientific;
    double Magnitude;
    double MinSpan;
    bool SpanExemptAcrossZero;

    /// Bar graph, slider and dial: "0.00E-00" from 1e5 or below a span of 0.001.
    static const TQVLabelFormatRule Linear;
    /// Needle meter: "#.##E-00" from 1e4 or below a span of 0.0001, unless the range spans zero.
    static const TQVLabelFormatRule Round;
};

/// The format pattern (see QVFormatFloat) that `rule` gives; `decimals` is pinned to 0..15.
QV_WIDGETS_EXPORT QString QVLabelFormat(const TQVLabelFormatRule &rule, double valueMin, double valueMax,
                                        int decimals, int prefixId = 0);

/// \brief A label text: `value` in `format`, divided by the factor of SI prefix `prefixId` and
/// followed by its symbol when there is one, then `suffix`.
QV_WIDGETS_EXPORT QString QVScaleLabelText(const QString &format, double value, int prefixId, const QString &suffix,
                                           const QLocale &locale);

/// \brief The tick gap of a classic scale after its guard: when `(valueMax − valueMin) · density /
/// gap` exceeds `length` pixels, the gap that makes it equal; otherwise `gap` itself.
QV_WIDGETS_EXPORT double QVClassicGuardedGap(double valueMin, double valueMax, double gap, double density,
                                             double length);

/// One value of a divided scale.
struct TQVScaleTick
{
    double Value = 0.0;
    bool Major = false; ///< carries a label
    bool operator==(const TQVScaleTick &) const = default;
};

/// \brief A divided scale: ticks in ascending order, the majors labelled with `Texts` (one per
/// major, in order), the label step and the decimals the texts use.
struct TQVScaleDivision
{
    std::vector<TQVScaleTick> Ticks;
    std::vector<QString> Texts;
    double MajorStep = 0.0;
    double MinorStep = 0.0;
    int Decimals = 0;
    bool IsEmpty() const { return Ticks.empty(); }
};

/// \brief What the adaptive engine needs to know of a scale.
struct TQVAdaptiveScaleRequest
{
    double ValueMin = 0.0;
    double ValueMax = 1.0;
    double Length = 100.0;    ///< pixels from `ValueMin` to `ValueMax` along the scale
    double MinTickGap = 0.0;  ///< the user's tick gap; minor ticks are never finer than it (0: none)
    double MinTickPixels = 4; ///< minor ticks at least this far apart
    double LabelPadding = 6;  ///< free pixels between two labels
    int Decimals = -1;        ///< fixed decimals, or -1 for the step's decimals
    int PrefixId = 0;         ///< SI prefix of the label values
    bool CompactPrefix = false; ///< the prefix symbol right after the number ("50k"), for scales without a unit
    QString Suffix;           ///< unit text after each label
    QLocale Locale;
    /// Extent of a label text along the scale, in pixels (its width on a horizontal scale, its
    /// height on a vertical one; on a round scale whatever the arc needs).
    std::function<double(const QString &text)> Extent;
};

/// \brief Divides a scale for the adaptive layout: the smallest 1-2-5 label step whose labels do not
/// collide, both ends labelled (an inner label too close to an end gives way), minor ticks at a
/// 1-2-5 subdivision of the step that keeps them `MinTickPixels` apart and not finer than
/// `MinTickGap`. Texts use the step's decimals, or scientific notation (without a prefix) when the
/// largest value reaches 1e6 or stays below 1e-3. Empty for an unusable range or length.
QV_WIDGETS_EXPORT TQVScaleDivision QVAdaptiveDivision(const TQVAdaptiveScaleRequest &request);

/// \brief The SI prefix of engineering notation for a scale over [`valueMin`, `valueMax`]: the
/// power of 1000 at or below the larger end's magnitude, so that the labels read 1 to 999 of it.
/// `sipNone` for magnitudes from 1 to 999, for 0, NaN and infinity, and beyond 1e-24..1e27.
QV_WIDGETS_EXPORT int QVEngineeringPrefix(double valueMin, double valueMax);

/// \brief The SI prefix for a round scale's compact labels ("50k", "200µ"): the engineering
/// prefix when the larger end's magnitude reaches 10000 or stays below 0.001, else `sipNone`.
QV_WIDGETS_EXPORT int QVCompactPrefix(double valueMin, double valueMax);

/// \brief Divides a plot axis. `request` as for QVAdaptiveDivision, its `Suffix` the unit and its
/// `PrefixId` ignored. A linear axis reads in the one engineering prefix of its range, with a
/// space before prefix and unit ("0 ms", "2.5 ms"); without `prefix` (a dB axis) the unit follows
/// the number alone. A `log` axis (`ValueMin` > 0, positions along log10) labels decades, and
/// 2 and 5 of each decade where they fit (every n-th decade where not even the decades fit),
/// both ends, each label with its own prefix; minor ticks at the whole multiples of a decade.
QV_WIDGETS_EXPORT TQVScaleDivision QVAxisDivision(const TQVAdaptiveScaleRequest &request, bool log, bool prefix);
