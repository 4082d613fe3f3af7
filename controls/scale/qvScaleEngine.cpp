#include "controls/scale/qvScaleEngine.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "controls/qvCommon.h"
#include "controls/qvFormat.h"

const TQVLabelFormatRule TQVLabelFormatRule::Linear{"0.00E-00", 100000.0, 0.001, false};
const TQVLabelFormatRule TQVLabelFormatRule::Round{"#.##E-00", 10000.0, 0.0001, true};

namespace {

// More labels than any screen can show; a division that would need more is refused.
constexpr double MaxLabels = 10000.0;

QString FixedPattern(int decimals)
{
    return decimals > 0 ? QStringLiteral("0.") + QString(decimals, QLatin1Char('0')) : QStringLiteral("0");
}

double PrefixFactor(int prefixId)
{
    TSiPrefixesStruct info;
    return prefixId != sipNone && GetSIInfos(prefixId, info) ? info.Factor : 1.0;
}

// Decimals that show `x` to the last digits a double holds (at most 15).
int OwnDecimals(double x)
{
    x = std::fabs(x);
    double scaled = x;
    for (int decimals = 0; decimals < 15; ++decimals, scaled *= 10.0) {
        if (std::fabs(scaled - std::nearbyint(scaled)) <= 4.0 * std::numeric_limits<double>::epsilon() * scaled)
            return decimals;
    }
    return 15;
}

// A value that should read 0 but carries the rounding noise of k · step.
double Clean(double value, double step)
{
    return std::fabs(value) < step * 1e-9 ? 0.0 : value;
}

} // namespace

double QVNiceStep(double raw)
{
    if (!(raw > 0.0) || !std::isfinite(raw))
        return 0.0;
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    const double norm = raw / magnitude;
    double nice = 10.0;
    if (norm <= 1.0 + 1e-9)
        nice = 1.0;
    else if (norm <= 2.0 + 1e-9)
        nice = 2.0;
    else if (norm <= 5.0 + 1e-9)
        nice = 5.0;
    return nice * magnitude;
}

double QVNextNiceStep(double step)
{
    return QVNiceStep(step * 1.5);
}

int QVStepDecimals(double step)
{
    step = std::fabs(step);
    if (!(step > 0.0) || !std::isfinite(step))
        return 0;
    double scaled = step;
    for (int decimals = 0; decimals < 15; ++decimals, scaled *= 10.0) {
        if (std::fabs(scaled - std::nearbyint(scaled)) <= 1e-9 * scaled)
            return decimals;
    }
    return 15;
}

int QVLabelStride(int pitch, int need, int maxStride)
{
    if (pitch <= 0 || need <= pitch)
        return 1;
    const long long k = (static_cast<long long>(need) + pitch - 1) / pitch;
    return int(std::min<long long>(k, maxStride));
}

int QVLabelStride(double pitch, double need, int maxStride)
{
    if (!(pitch > 0.0) || !(need > pitch))
        return 1;
    int k = 1;
    // Multiplying rather than accumulating keeps k · pitch exact for whole-pixel pitches.
    while (k < maxStride && k * pitch < need)
        ++k;
    return k;
}

double QVFirstTick(double valueMin, double gap)
{
    double first = std::nearbyint(valueMin / gap) * gap;
    if (first < valueMin)
        first += gap;
    return first;
}

QString QVLabelFormat(const TQVLabelFormatRule &rule, double valueMin, double valueMax, int decimals, int prefixId)
{
    if (prefixId == sipNone) {
        const bool acrossZero = rule.SpanExemptAcrossZero && valueMax >= rule.MinSpan && valueMin <= -rule.MinSpan;
        if (valueMin <= -rule.Magnitude || valueMax >= rule.Magnitude
            || (!acrossZero && valueMax - valueMin < rule.MinSpan))
            return QString::fromLatin1(rule.Scientific);
    }
    return FixedPattern(std::clamp(decimals, 0, 15));
}

QString QVScaleLabelText(const QString &format, double value, int prefixId, const QString &suffix,
                         const QLocale &locale)
{
    TSiPrefixesStruct info;
    if (prefixId != sipNone && GetSIInfos(prefixId, info))
        return QVFormatFloat(format, value / info.Factor, locale) + info.Symbol + suffix;
    return QVFormatFloat(format, value, locale) + suffix;
}

double QVClassicGuardedGap(double valueMin, double valueMax, double gap, double density, double length)
{
    const double span = valueMax - valueMin;
    return span * density / gap > length ? span * density / length : gap;
}

namespace {

// The adaptive layout's label: number and unit apart, as the plot writes them ("400 kHz"); a
// unit that is a sign ("45°", "50%") or brings its own space stays as it is, and so does a
// compact prefix ("50k").
QString AdaptiveLabelText(const QString &format, double value, const TQVAdaptiveScaleRequest &r)
{
    TSiPrefixesStruct info;
    const bool prefixed = r.PrefixId != sipNone && GetSIInfos(r.PrefixId, info);
    // Zero has no exponent: "0" rather than "0.0E00" among scientific labels, nor a compact
    // prefix ("0" beside "0.2G").
    if (value == 0.0 && prefixed && r.CompactPrefix && r.Suffix.isEmpty())
        return r.Locale.toString(0);
    const QString unit = (prefixed ? info.Symbol : QString()) + r.Suffix;
    const bool zero = value == 0.0 && format.contains(QLatin1Char('E'));
    const QString number = zero ? r.Locale.toString(0) : QVFormatFloat(format, prefixed ? value / info.Factor : value, r.Locale);
    return !unit.isEmpty() && unit.front().isLetter() && !r.CompactPrefix ? number + QLatin1Char(' ') + unit : number + unit;
}

} // namespace

TQVScaleDivision QVAdaptiveDivision(const TQVAdaptiveScaleRequest &r)
{
    TQVScaleDivision div;
    const double lo = r.ValueMin, hi = r.ValueMax, span = hi - lo;
    if (!std::isfinite(lo) || !std::isfinite(hi) || !std::isfinite(span) || !(span > 0.0) || !(r.Length >= 1.0)
        || !std::isfinite(r.Length) || !r.Extent)
        return div;
    const double perValue = r.Length / span;
    const double factor = PrefixFactor(r.PrefixId);
    const double largest = std::max(std::fabs(lo), std::fabs(hi)) / factor;

    // The texts of one candidate step: fixed decimals from the step, or scientific for very large
    // values and very fine steps.
    QString pattern;
    int decimals = 0;
    const auto chooseFormat = [&](double step) {
        const double scaledStep = step / factor;
        if (r.PrefixId == sipNone && (largest >= 1e6 || largest < 1e-3)) {
            const double exponent = std::floor(std::log10(largest > 0.0 ? largest : scaledStep));
            decimals = std::clamp(QVStepDecimals(scaledStep / std::pow(10.0, exponent)), 1, 15);
            pattern = QStringLiteral("0.") + QString(decimals, QLatin1Char('0')) + QStringLiteral("E-00");
        } else {
            decimals = r.Decimals >= 0 ? std::min(r.Decimals, 15) : QVStepDecimals(scaledStep);
            pattern = FixedPattern(decimals);
        }
    };
    const auto text = [&](double value, bool onGrid) {
        if (onGrid)
            return AdaptiveLabelText(pattern, value, r);
        if (pattern.contains(QLatin1Char('E'))) {
            // An end between two steps shows its own mantissa, as far as a double holds it.
            const double scaled = std::fabs(value / factor);
            const double mantissa = scaled > 0.0 ? scaled / std::pow(10.0, std::floor(std::log10(scaled))) : 0.0;
            const int own = std::clamp(OwnDecimals(mantissa), decimals, 15);
            return AdaptiveLabelText(QStringLiteral("0.") + QString(own, QLatin1Char('0')) + QStringLiteral("E-00"), value, r);
        }
        // An end between two steps shows what it is, up to two decimals more than the steps.
        const int own = std::clamp(OwnDecimals(value / factor), decimals, std::min(decimals + 2, 15));
        return AdaptiveLabelText(FixedPattern(own), value, r);
    };

    struct Label
    {
        double Value, Position, Extent;
        QString Text;
        bool End;
    };
    std::vector<Label> labels;
    const auto collide = [&](const Label &a, const Label &b) {
        return b.Position - a.Position < (a.Extent + b.Extent) / 2.0 + r.LabelPadding;
    };

    // Steps finer than the doubles around the range can tell apart are no steps: multiples of
    // them would repeat (and a count of them would stop growing).
    const double resolution = std::max(std::fabs(lo), std::fabs(hi)) * 1e-12;
    double step = QVNiceStep(std::max({span / std::max(1.0, r.Length / 8.0), r.MinTickGap, resolution}));
    bool found = false;
    for (int attempt = 0; attempt < 64 && step > 0.0 && std::isfinite(step); ++attempt, step = QVNextNiceStep(step)) {
        const double first = std::ceil(lo / step - 1e-9), last = std::floor(hi / step + 1e-9);
        if (last - first > MaxLabels || std::max(std::fabs(first), std::fabs(last)) >= 4e15)
            continue;
        chooseFormat(step);
        labels.clear();
        const auto add = [&](double value, bool end) {
            const QString t = text(value, !end);
            labels.push_back({value, (value - lo) * perValue, r.Extent(t), t, end});
        };
        if (first * step > lo + step * 1e-9 || first > last)
            add(lo, true);
        for (double k = first; k <= last; k += 1.0)
            add(Clean(k * step, step), false);
        if (last * step < hi - step * 1e-9 || first > last)
            add(hi, true);
        // Neighbours that read the same (a range finer than the digits can show) are one label;
        // an end keeps its place.
        for (std::size_t i = 1; i < labels.size();) {
            const bool lowerEnd = labels[i - 1].Value == lo;
            if (labels[i].Text == labels[i - 1].Text)
                labels.erase(labels.begin() + std::ptrdiff_t(labels[i].End && !lowerEnd ? i - 1 : i));
            else
                ++i;
        }
        // An end label keeps its place; an inner neighbour too close to it gives way.
        if (labels.size() > 2 && labels.front().End && collide(labels[0], labels[1]))
            labels.erase(labels.begin() + 1);
        if (labels.size() > 2 && labels.back().End && collide(labels[labels.size() - 2], labels.back()))
            labels.erase(labels.end() - 2);
        bool clear = true;
        for (std::size_t i = 1; i < labels.size() && clear; ++i)
            clear = !collide(labels[i - 1], labels[i]);
        if (clear) {
            found = true;
            break;
        }
        if (step > span * 4.0)
            break;
    }
    if (!found) {
        // Not even the two ends fit beside each other: the lower end alone.
        step = QVNiceStep(span);
        chooseFormat(step);
        labels = {{lo, 0.0, 0.0, text(lo, false), true}};
    }

    div.MajorStep = step;
    div.Decimals = decimals;
    // Minor ticks: a 1-2-5 subdivision of the label step, no finer than the user's gap.
    const double mantissa = step / std::pow(10.0, std::floor(std::log10(step) + 1e-9));
    const int parts[3] = {mantissa > 1.5 && mantissa < 3.0 ? 4 : 5, 2, 1};
    double minor = step;
    for (int n : parts) {
        const double candidate = step / n;
        if (candidate * perValue >= r.MinTickPixels && candidate >= r.MinTickGap * (1.0 - 1e-9)) {
            minor = candidate;
            break;
        }
    }
    div.MinorStep = minor;

    std::size_t next = 0;
    const double kFirst = std::ceil(lo / minor - 1e-9), kLast = std::floor(hi / minor + 1e-9);
    const double tolerance = minor * 1e-6;
    // Counting needs whole numbers that doubles still hold exactly.
    const bool countable = std::max(std::fabs(kFirst), std::fabs(kLast)) < 4e15 && kLast - kFirst <= 64.0 * MaxLabels;
    for (double k = kFirst; countable && k <= kLast; k += 1.0) {
        const double v = Clean(k * minor, minor);
        while (next < labels.size() && labels[next].Value < v - tolerance) {
            div.Ticks.push_back({labels[next].Value, true});
            div.Texts.push_back(labels[next++].Text);
        }
        if (next < labels.size() && std::fabs(labels[next].Value - v) <= tolerance) {
            div.Ticks.push_back({labels[next].Value, true});
            div.Texts.push_back(labels[next++].Text);
        } else {
            div.Ticks.push_back({v, false});
        }
    }
    for (; next < labels.size(); ++next) {
        div.Ticks.push_back({labels[next].Value, true});
        div.Texts.push_back(labels[next].Text);
    }
    return div;
}

int QVEngineeringPrefix(double valueMin, double valueMax)
{
    const double largest = std::max(std::fabs(valueMin), std::fabs(valueMax));
    if (!(largest > 0.0) || !std::isfinite(largest))
        return sipNone;
    const int e3 = int(std::floor(std::floor(std::log10(largest) + 1e-9) / 3.0)) * 3;
    if (e3 == 0 || e3 < -24 || e3 > 24)
        return sipNone;
    return e3 < 0 ? sipMilli + e3 / 3 + 1 : sipKilo + e3 / 3 - 1;
}

int QVCompactPrefix(double valueMin, double valueMax)
{
    const double largest = std::max(std::fabs(valueMin), std::fabs(valueMax));
    return largest >= 1e4 || largest < 1e-3 ? QVEngineeringPrefix(valueMin, valueMax) : int(sipNone);
}

namespace {

// Number and unit with a space between them; the number alone without a unit.
QString WithUnit(const QString &number, const QString &unit)
{
    return unit.isEmpty() ? number : number + QLatin1Char(' ') + unit;
}

// "12.5 kHz": `value` in the engineering prefix of its own magnitude, with the decimals it
// needs, at most `maxDecimals`.
QString OwnPrefixText(double value, int maxDecimals, const QString &unit, const QLocale &locale)
{
    const int id = QVEngineeringPrefix(value, value);
    TSiPrefixesStruct info;
    const bool prefixed = id != sipNone && GetSIInfos(id, info);
    const double scaled = prefixed ? value / info.Factor : value;
    const double magnitude = std::fabs(scaled);
    if (!prefixed && magnitude > 0.0 && (magnitude >= 1e6 || magnitude < 1e-3)) {
        const double mantissa = magnitude / std::pow(10.0, std::floor(std::log10(magnitude)));
        const int decimals = std::clamp(OwnDecimals(mantissa), 1, std::max(1, maxDecimals));
        return WithUnit(QVFormatFloat(QStringLiteral("0.") + QString(decimals, QLatin1Char('0')) + QStringLiteral("E-00"),
                                      scaled, locale),
                        unit);
    }
    const int decimals = std::min(OwnDecimals(scaled), maxDecimals);
    return WithUnit(QVFormatFloat(FixedPattern(decimals), scaled, locale), (prefixed ? info.Symbol : QString()) + unit);
}

// The log axis of QVAxisDivision.
TQVScaleDivision LogDivision(const TQVAdaptiveScaleRequest &r)
{
    TQVScaleDivision div;
    const double lo = r.ValueMin, hi = r.ValueMax;
    if (!(lo > 0.0) || !(hi > lo) || !std::isfinite(hi) || !(r.Length >= 1.0) || !std::isfinite(r.Length) || !r.Extent)
        return div;
    const double logLo = std::log10(lo), decades = std::log10(hi) - logLo;
    if (!(decades > 0.0))
        return div;
    const double perDecade = r.Length / decades;
    const int d0 = int(std::floor(logLo)), d1 = int(std::ceil(std::log10(hi)));
    const auto inside = [&](double v) { return v >= lo * (1.0 - 1e-9) && v <= hi * (1.0 + 1e-9); };
    const auto near = [](double a, double b) { return std::fabs(a - b) <= std::fabs(b) * 1e-9; };

    struct Label
    {
        double Value, Position, Extent;
        QString Text;
        bool End;
    };
    std::vector<Label> labels;
    const auto add = [&](double v, bool end) {
        const QString t = OwnPrefixText(v, end ? 2 : 0, r.Suffix, r.Locale);
        labels.push_back({v, (std::log10(v) - logLo) * perDecade, r.Extent(t), t, end});
    };
    const auto collide = [&](const Label &a, const Label &b) {
        return b.Position - a.Position < (a.Extent + b.Extent) / 2.0 + r.LabelPadding;
    };
    // Candidates: 1, 2 and 5 of every decade; the decades; every `stride`-th decade (1-2-5 strides).
    bool found = false;
    for (int stride = 0; !found && stride <= 2 * (d1 - d0 + 1); stride = stride < 2 ? stride + 1 : int(QVNextNiceStep(stride))) {
        const bool all = stride == 0;
        const int every = std::max(1, stride);
        labels.clear();
        for (int d = d0; d <= d1; ++d) {
            if (((d % every) + every) % every != 0)
                continue;
            for (int m : {1, 2, 5}) {
                const double v = m * std::pow(10.0, d);
                if ((m == 1 || all) && inside(v))
                    add(v, false);
            }
        }
        if (labels.empty() || !near(labels.front().Value, lo)) {
            add(lo, true);
            std::rotate(labels.rbegin(), labels.rbegin() + 1, labels.rend());
        } else {
            labels.front().Value = lo;
        }
        if (!near(labels.back().Value, hi))
            add(hi, true);
        else
            labels.back().Value = hi;
        // An end too close to its inner neighbour gives way: the decades stay even.
        if (labels.size() > 2 && labels.front().End && collide(labels[0], labels[1]))
            labels.erase(labels.begin());
        if (labels.size() > 2 && labels.back().End && collide(labels[labels.size() - 2], labels.back()))
            labels.pop_back();
        found = true;
        for (std::size_t i = 1; i < labels.size() && found; ++i)
            found = !collide(labels[i - 1], labels[i]);
    }
    if (!found) // not even the two ends fit beside each other: the lower end alone
        labels.erase(labels.begin() + 1, labels.end());

    // Minor ticks at the whole multiples of each decade, as far as they stay apart.
    std::vector<int> minors;
    if (std::log10(10.0 / 9.0) * perDecade >= r.MinTickPixels)
        minors = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    else if (std::log10(2.0) * perDecade >= r.MinTickPixels)
        minors = {1, 2, 5};
    else if (perDecade >= r.MinTickPixels)
        minors = {1};
    std::size_t next = 0;
    const auto major = [&] {
        div.Ticks.push_back({labels[next].Value, true});
        div.Texts.push_back(labels[next++].Text);
    };
    for (int d = d0; d <= d1; ++d) {
        for (int m : minors) {
            const double v = m * std::pow(10.0, d);
            if (!inside(v))
                continue;
            while (next < labels.size() && labels[next].Value < v && !near(labels[next].Value, v))
                major();
            if (next < labels.size() && near(labels[next].Value, v))
                major();
            else
                div.Ticks.push_back({v, false});
        }
    }
    while (next < labels.size())
        major();
    div.MajorStep = 10.0;
    div.MinorStep = minors.size() > 1 ? 1.0 : 10.0;
    return div;
}

} // namespace

TQVScaleDivision QVAxisDivision(const TQVAdaptiveScaleRequest &request, bool log, bool prefix)
{
    if (log)
        return LogDivision(request);
    const double lo = request.ValueMin, hi = request.ValueMax;
    const int id = prefix ? QVEngineeringPrefix(lo, hi) : int(sipNone);
    TSiPrefixesStruct info;
    const bool prefixed = id != sipNone && GetSIInfos(id, info);
    const double factor = prefixed ? info.Factor : 1.0;
    // Divided in the prefix's units, so that the engine's decimals and formats see what the
    // labels show.
    TQVAdaptiveScaleRequest scaled = request;
    scaled.ValueMin = lo / factor;
    scaled.ValueMax = hi / factor;
    scaled.MinTickGap = request.MinTickGap / factor;
    scaled.PrefixId = sipNone;
    const QString unit = (prefixed ? info.Symbol : QString()) + request.Suffix;
    scaled.Suffix = unit.isEmpty() ? QString() : QLatin1Char(' ') + unit;
    TQVScaleDivision div = QVAdaptiveDivision(scaled);
    // A plot's grid stays even: where an end between two label steps has taken the place of its
    // inner neighbour, the labels stand on the steps inside the range instead, and the minor
    // ticks run on to the ends.
    const double step = div.MajorStep, minor = div.MinorStep, sLo = scaled.ValueMin, sHi = scaled.ValueMax;
    const double gridLo = std::ceil(sLo / step - 1e-9) * step, gridHi = std::floor(sHi / step + 1e-9) * step;
    if (!div.IsEmpty() && step > 0.0 && minor > 0.0 && gridHi - gridLo >= step * (1.0 - 1e-9)
        && (gridLo > sLo + step * 1e-9 || gridHi < sHi - step * 1e-9)) {
        TQVAdaptiveScaleRequest inner = scaled;
        inner.ValueMin = gridLo;
        inner.ValueMax = gridHi;
        inner.Length = scaled.Length * ((gridHi - gridLo) / (sHi - sLo));
        inner.MinTickGap = step;
        const TQVScaleDivision grid = QVAdaptiveDivision(inner);
        const double kFirst = std::ceil(sLo / minor - 1e-9), kLast = std::floor(sHi / minor + 1e-9);
        if (grid.Texts.size() >= 2 && kLast - kFirst <= 64.0 * MaxLabels) {
            div.Ticks.clear();
            div.Texts = grid.Texts;
            div.Decimals = grid.Decimals;
            std::vector<double> majors;
            for (const TQVScaleTick &tick : grid.Ticks)
                if (tick.Major)
                    majors.push_back(tick.Value);
            std::size_t next = 0;
            for (double k = kFirst; k <= kLast; k += 1.0) {
                const double v = Clean(k * minor, minor);
                while (next < majors.size() && majors[next] < v - minor * 1e-6)
                    div.Ticks.push_back({majors[next++], true});
                if (next < majors.size() && std::fabs(majors[next] - v) <= minor * 1e-6)
                    div.Ticks.push_back({majors[next++], true});
                else
                    div.Ticks.push_back({v, false});
            }
            while (next < majors.size())
                div.Ticks.push_back({majors[next++], true});
        }
    }
    for (TQVScaleTick &tick : div.Ticks)
        tick.Value = tick.Value == scaled.ValueMin ? lo : tick.Value == scaled.ValueMax ? hi : tick.Value * factor;
    div.MajorStep *= factor;
    div.MinorStep *= factor;
    return div;
}
