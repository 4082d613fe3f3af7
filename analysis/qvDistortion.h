#pragma once

#include <limits>
#include <vector>

#include "framework/qvGlobal.h"

/// \brief One harmonic found: its number, its highest bin and the power of its lobe.
struct TQVHarmonic
{
    int Number = 0;
    int Peak = 0;
    double Power = 0.0;
};

/// \brief Harmonic distortion of a tone, read from its power spectrum.
///
/// Ratios are of root-mean-square amplitudes, so the window's gain cancels out. A field
/// without a reading is NaN.
struct TQVDistortion
{
    /// Position of the fundamental in the spectrum's samples, refined between them.
    double Fundamental = std::numeric_limits<double>::quiet_NaN();
    /// Power of the fundamental: the sum over its lobe.
    double FundamentalPower = std::numeric_limits<double>::quiet_NaN();
    /// Harmonics 2, 3, ... against the fundamental.
    double Thd = std::numeric_limits<double>::quiet_NaN();
    /// Everything but the fundamental and DC (harmonics and noise) against the fundamental.
    double ThdN = std::numeric_limits<double>::quiet_NaN();
    /// Signal, noise and distortion against noise and distortion, in dB.
    double Sinad = std::numeric_limits<double>::quiet_NaN();
    /// The harmonics found inside the bins looked at, in ascending order.
    std::vector<TQVHarmonic> Harmonics;
};

/// The offset in bins, within ±0.5, of the vertex of the parabola through the logarithms
/// `a`, `b`, `c` of a peak bin and its neighbours; 0 when they do not form a peak.
QV_CORE_EXPORT double QVPeakOffset(double a, double b, double c);

/// \brief Reads the distortion of the strongest tone in samples `first` to `last` of the
/// power spectrum `power`: `count` bins, the first of them `origin` bins above 0 Hz.
///
/// Each tone is the lobe around its highest bin: the bins falling off on either side, at
/// most 8. The lobe at 0 Hz is DC and counts nowhere. Harmonic h is the highest free bin
/// within one bin of h times the fundamental's frequency, up to `harmonics` (2..100) or
/// `last`. Bins that are not finite count as 0. Out-of-range arguments (an origin outside
/// -0.5 to 10^9 among them) give an empty reading.
QV_CORE_EXPORT TQVDistortion QVDistortion(const double *power, int count, int first, int last, int harmonics,
                                          double origin = 0.0);
