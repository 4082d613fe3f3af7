#include "qvDistortion.h"

#include <algorithm>
#include <cmath>
#include <vector>

double QVPeakOffset(double a, double b, double c)
{
    const double curve = a - 2.0 * b + c;
    if (!(curve < 0.0) || !std::isfinite(curve))
        return 0.0;
    return std::clamp(0.5 * (a - c) / curve, -0.5, 0.5);
}

namespace {

// Widest half lobe taken: the main lobe of the usual windows, off centre, and some room.
constexpr int MaxHalfLobe = 8;

struct TQVSpectrumBins
{
    const double *Power;
    int First, Last;
    std::vector<char> Taken;

    double At(int k) const { return std::isfinite(Power[k]) && Power[k] > 0.0 ? Power[k] : 0.0; }
    bool Free(int k) const { return k >= First && k <= Last && !Taken[std::size_t(k - First)]; }

    // Takes the free bins falling off from `peak` on either side, within [from, to], and
    // gives their power.
    double TakeLobe(int peak, int from, int to)
    {
        int low = peak, high = peak;
        while (low > from && Free(low - 1) && At(low - 1) <= At(low))
            --low;
        while (high < to && Free(high + 1) && At(high + 1) <= At(high))
            ++high;
        double sum = 0.0;
        for (int k = low; k <= high; ++k) {
            sum += At(k);
            Taken[std::size_t(k - First)] = 1;
        }
        return sum;
    }
};

} // namespace

TQVDistortion QVDistortion(const double *power, int count, int first, int last, int harmonics, double origin)
{
    TQVDistortion reading;
    if (!power || count < 3 || first < 0 || last >= count || last - first < 2 || harmonics < 2 || harmonics > 100 ||
        !(origin >= -0.5 && origin <= 1e9))
        return reading;
    TQVSpectrumBins bins{power, first, last, std::vector<char>(std::size_t(last - first + 1), 0)};
    // DC, or what is left of its lobe when the spectrum starts above 0 Hz.
    const int dc = int(std::lround(-origin)), dcFrom = std::max(dc, first);
    if (dcFrom - dc <= MaxHalfLobe && bins.Free(dcFrom))
        bins.TakeLobe(dcFrom, dcFrom, dc + MaxHalfLobe);
    int peak = -1;
    for (int k = first; k <= last; ++k) {
        if (bins.Free(k) && (peak < 0 || bins.At(k) > bins.At(peak)))
            peak = k;
    }
    if (peak < 0 || !(bins.At(peak) > 0.0))
        return reading;
    double offset = 0.0;
    if (peak > 0 && peak + 1 < count && bins.At(peak - 1) > 0.0 && bins.At(peak + 1) > 0.0)
        offset = QVPeakOffset(std::log(bins.At(peak - 1)), std::log(bins.At(peak)), std::log(bins.At(peak + 1)));
    reading.Fundamental = peak + offset;
    reading.FundamentalPower = bins.TakeLobe(peak, peak - MaxHalfLobe, peak + MaxHalfLobe);
    double rest = 0.0; // summed on its own: a difference of totals would lose a faint rest
    for (int k = first; k <= last; ++k)
        rest += bins.Free(k) ? bins.At(k) : 0.0;

    double harmonicPower = 0.0;
    const double tone = reading.Fundamental + origin; // in bins from 0 Hz
    for (int h = 2; h <= harmonics && h * tone - origin <= last + 0.5; ++h) {
        const int centre = int(std::lround(h * tone - origin));
        int best = -1;
        for (int k = centre - 1; k <= centre + 1; ++k) {
            if (bins.Free(k) && (best < 0 || bins.At(k) > bins.At(best)))
                best = k;
        }
        if (best < 0)
            continue;
        const double lobe = bins.TakeLobe(best, best - MaxHalfLobe, best + MaxHalfLobe);
        harmonicPower += lobe;
        reading.Harmonics.push_back({h, best, lobe});
    }
    if (!reading.Harmonics.empty())
        reading.Thd = std::sqrt(harmonicPower / reading.FundamentalPower);
    reading.ThdN = std::sqrt(rest / reading.FundamentalPower);
    reading.Sinad = 10.0 * std::log10((reading.FundamentalPower + rest) / rest);
    return reading;
}
