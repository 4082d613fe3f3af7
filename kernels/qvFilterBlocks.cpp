#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "kernels/qvFilterKernels_p.h"
#include "kernels/qvIirKernels_p.h"
#include "kernels/qvKernelDispatch_p.h"

// The filter kernels around the lanes of the active path: the FIR delay line and chunks,
// the setups of the lookahead, its anchors, and the 80-bit recursions that take over where
// the lanes do not apply.
//
// Precision by kernel (the reference is the per-sample recursion in 80 bits):
// - FIR: double lanes across output samples (a product of two floats is exact in double);
//   an output is taken only where an error bound proves that it rounds to the same float
//   as the 80-bit sum, the others are summed in 80 bits; bit-identical.
// - RC and state-variable filters: double precision with a lookahead of W samples (the
//   states of W consecutive samples advance by W samples at once), restarted from the
//   scalar state at fixed anchors so that the outputs do not depend on the calls' cuts. The
//   states carry a relative error of about 5e-16, like a sequential double recursion, so an
//   output within about 1e-8 of its signal's range from zero can be more than one ulp off;
//   on the test signals every output is within one ulp. Unstable settings and huge states
//   take the 80-bit recursion.

namespace QVKernels {
namespace {

using Filter::FirChunk;
using Filter::FirMaxTaps;
using Filter::FirPad;
using FirLanesFunction = decltype(TQVKernelTable::FirLanes);

void FirReference(const float *h, int taps, float *delay, int &position, float *data, int count)
{
    for (int n = 0; n < count; ++n) {
        if (++position > taps || position < 1)
            position = 1;
        delay[position - 1] = data[n];
        long double acc = 0;
        int j = position;
        for (int i = 0; i < taps; ++i) {
            acc += (long double)delay[j - 1] * h[i];
            if (--j == 0)
                j = taps;
        }
        data[n] = float(acc);
    }
}

void FirBlock(FirLanesFunction lanes, const float *h, int taps, float *delay, int &position, float *data, int count)
{
    // Slot (1-based) of the newest sample; after a reset (0) the next sample goes to slot 1.
    const int newest = position >= 1 && position <= taps ? position : taps;

    // Bound of |double sum - 80-bit sum| plus the rounding of the interval ends, relative to
    // sum |h[i] x[k - i]| <= sum |h| max |x|: (taps - 1) 2^-53 for the double sum, 1/2048 of
    // that for the 80-bit one, 2^-53 for an end; 1 % covers the rounding of the bound itself.
    double absSum = 0.0;
    for (int i = 0; i < taps; ++i)
        absSum += std::fabs(double(h[i]));
    const double relativeBound = 1.01 * double(taps + 1) * 0x1p-53 * absSum;

    alignas(64) double line[FirMaxTaps - 1 + FirChunk + FirPad];
    const int history = taps - 1;
    for (int m = 1; m <= history; ++m) {
        int slot = newest - m + 1;
        if (slot < 1)
            slot += taps;
        line[history - m] = delay[slot - 1];
    }
    for (int base = 0; base < count; base += FirChunk) {
        const int n = std::min(FirChunk, count - base);
        float *chunk = data + base;
        double maxAbs = 0.0;
        for (int k = 0; k < history; ++k)
            maxAbs = std::max(maxAbs, std::fabs(line[k]));
        for (int k = 0; k < n; ++k) {
            line[history + k] = chunk[k];
            maxAbs = std::max(maxAbs, std::fabs(double(chunk[k])));
        }
        std::fill(line + history + n, line + history + n + FirPad, 0.0);
        // The delay line ends with the last `taps` inputs, the newest in the slot after
        // `count` advances.
        for (int k = std::max(0, count - taps - base); k < n; ++k)
            delay[(newest + base + k) % taps] = chunk[k];
        lanes(h, taps, line, n, relativeBound * maxAbs, chunk);
        std::memmove(line, line + n, std::size_t(history) * sizeof(double));
    }
    position = (newest - 1 + count % taps) % taps + 1;
}

TQVRCSetup RCSetup(long double a, int lanes)
{
    TQVRCSetup setup{};
    const long double d = 1 - a;
    long double power = 1;
    for (int i = 0; i < lanes; ++i) {
        setup.Powers[i] = double(power);
        power *= d;
    }
    setup.A = double(a);
    setup.D1 = double(d);
    setup.D2 = double(d * d);
    setup.D4 = double(d * d * d * d);
    setup.DW = double(power);
    setup.E = double(power - 1);
    setup.E2 = double(power * power - 1);
    return setup;
}

TQVSvfSetup SvfSetup(float f, float damping, int lanes)
{
    using Matrix = std::array<std::array<long double, 2>, 2>;
    const auto product = [](const Matrix &a, const Matrix &b) {
        Matrix c{};
        for (int r = 0; r < 2; ++r)
            for (int k = 0; k < 2; ++k)
                c[r][k] = a[r][0] * b[0][k] + a[r][1] * b[1][k];
        return c;
    };
    const auto store = [](double (&to)[2][2], const Matrix &m) {
        for (int r = 0; r < 2; ++r)
            for (int k = 0; k < 2; ++k)
                to[r][k] = double(m[r][k]);
    };
    TQVSvfSetup setup{};
    setup.F = f;
    setup.Q = damping;
    const long double F = f, q = damping;
    const Matrix m = {{{1 - F * (F + q), -F}, {F, 1}}};
    Matrix power = {{{1, 0}, {0, 1}}};
    for (int i = 0; i < lanes; ++i) {
        for (int r = 0; r < 2; ++r) {
            for (int k = 0; k < 2; ++k)
                setup.Powers[r][k][i] = double(power[r][k]);
            setup.Taps[r][i] = double(power[r][0] * F);
        }
        power = product(power, m);
    }
    setup.M1[0] = double(m[0][0] * F);
    setup.M1[1] = double(m[1][0] * F);
    const Matrix m2 = product(m, m);
    store(setup.M2, m2);
    store(setup.M4, product(m2, m2));
    power[0][0] -= 1;
    power[1][1] -= 1;
    store(setup.E, power);
    return setup;
}

// The setups of the last parameters on this thread: a filter keeps its coefficients from
// block to block, and deriving the powers in 80 bits costs as much as a short block.
const TQVRCSetup &CachedRCSetup(long double a, int lanes)
{
    thread_local struct
    {
        long double A = 0;
        int Lanes = 0;
        TQVRCSetup Setup{};
    } cache;
    if (cache.Lanes != lanes || !(cache.A == a)) {
        cache.Setup = RCSetup(a, lanes);
        cache.A = a;
        cache.Lanes = lanes;
    }
    return cache.Setup;
}

const TQVSvfSetup &CachedSvfSetup(float f, float damping, int lanes)
{
    thread_local struct
    {
        float F = 0, Damping = 0;
        int Lanes = 0;
        TQVSvfSetup Setup{};
    } cache;
    if (cache.Lanes != lanes || !(cache.F == f) || !(cache.Damping == damping)) {
        cache.Setup = SvfSetup(f, damping, lanes);
        cache.F = f;
        cache.Damping = damping;
        cache.Lanes = lanes;
    }
    return cache.Setup;
}

// The double lookahead needs a stable recursion (0 < a < 2) and a state that double holds
// with room to spare; anything else keeps the 80-bit recursion.
bool RCLookaheadApplies(long double a, long double state)
{
    return a > 0 && a < 2 && std::fabs(state) < 1e250L;
}

template <bool High>
void RCReference(long double a, long double &state, float *data, int count)
{
    for (int n = 0; n < count; ++n) {
        const long double p = a * state;
        const long double x = data[n];
        data[n] = float(High ? x - p : p);
        state = state - p + x;
    }
}

void SvfReference(int output, float f, float damping, long double &band, long double &low, float *data, int count)
{
    for (int n = 0; n < count; ++n) {
        const long double x = data[n];
        const long double l = band * f + low;
        const long double h = x - l - band * damping;
        const long double b = h * f + band;
        band = b;
        low = l;
        switch (output) {
        case 0: data[n] = float(l); break;
        case 1: data[n] = float(b); break;
        case 2: data[n] = float(h); break;
        default: data[n] = float(h + l); break;
        }
    }
}

} // namespace

void IirFilter(TQVIirKind kind, const TQVIirSection *sections, TQVIirStage *stages, int sectionCount, float *data,
               int count)
{
    if (!sections || !stages || !data || sectionCount < 1 || count < 1)
        return;
    IirCascade(kind == TQVIirKind::BandPass, kind == TQVIirKind::LowPass, sections, stages, sectionCount, data, count);
}

void FirFilter(const float *h, int taps, float *delay, int &position, float *data, int count)
{
    if (!h || !delay || !data || taps < 1 || count < 1)
        return;
    if (taps > FirMaxTaps)
        FirReference(h, taps, delay, position, data, count);
    else
        FirBlock(ActiveTable().FirLanes, h, taps, delay, position, data, count);
}

namespace {

// Runs the lookahead over `count` samples from fixed anchors (see TQVLookahead). `run(s,
// samples, n)` filters n samples in place from state s, restarting its lanes every Span
// samples, and leaves the state after them in s; it returns false when it had to leave the
// lanes for the 80-bit recursion, after which the anchors no longer apply.
template <int Dims, typename Run>
void Anchored(TQVLookahead &ahead, long double *state, const long double *coefficients, float *data, int count,
              Run run)
{
    constexpr int Span = TQVLookahead::Span;
    bool resume = ahead.Pending > 0;
    for (int d = 0; d < Dims; ++d)
        resume = resume && state[d] == ahead.Left[d] && coefficients[d] == ahead.Coefficients[d];
    if (!resume) {
        ahead.Pending = 0;
        std::copy(state, state + Dims, ahead.Anchor);
        std::copy(coefficients, coefficients + Dims, ahead.Coefficients);
    }
    long double s[Dims];
    const auto fromAnchor = [&] { std::copy(ahead.Anchor, ahead.Anchor + Dims, s); };
    bool anchored = true;
    int done = 0;
    if (ahead.Pending > 0) {
        // Over the inputs since the anchor again, then on with this call's samples.
        const int kept = ahead.Pending, n = std::min(Span - kept, count);
        float samples[Span];
        std::copy(ahead.Inputs, ahead.Inputs + kept, samples);
        std::copy(data, data + n, samples + kept);
        std::copy(data, data + n, ahead.Inputs + kept);
        fromAnchor();
        anchored = run(s, samples, kept + n);
        std::copy(samples + kept, samples + kept + n, data);
        ahead.Pending = kept + n == Span ? 0 : kept + n;
        if (ahead.Pending == 0)
            std::copy(s, s + Dims, ahead.Anchor);
        done = n;
    } else {
        fromAnchor();
    }
    if (anchored && count - done >= Span) {
        const int whole = (count - done) / Span * Span;
        anchored = run(s, data + done, whole);
        std::copy(s, s + Dims, ahead.Anchor);
        done += whole;
    }
    if (anchored && done < count) {
        ahead.Pending = count - done;
        std::copy(data + done, data + count, ahead.Inputs);
        anchored = run(s, data + done, count - done);
        done = count;
    }
    if (!anchored) {
        ahead.Pending = 0;
        if (done < count)
            run(s, data + done, count - done);
    }
    std::copy(s, s + Dims, state);
    std::copy(s, s + Dims, ahead.Left);
}

template <bool High>
void RCFilter(long double a, long double &state, TQVLookahead &lookahead, float *data, int count)
{
    if (!data || count < 1)
        return;
    if (!RCLookaheadApplies(a, state)) {
        RCReference<High>(a, state, data, count);
        lookahead.Pending = 0;
        return;
    }
    const TQVKernelTable &kernels = ActiveTable();
    const TQVRCSetup &setup = CachedRCSetup(a, kernels.RCLanes);
    const auto lanes = High ? kernels.RCHigh : kernels.RCLow;
    const long double coefficients[1] = {a};
    Anchored<1>(lookahead, &state, coefficients, data, count, [&](long double *s, float *samples, int n) {
        double lane = double(s[0]);
        lanes(setup, lane, samples, n);
        s[0] = lane;
        return true;
    });
}

} // namespace

void RCLowpassFilter(long double a, long double &state, TQVLookahead &lookahead, float *data, int count)
{
    RCFilter<false>(a, state, lookahead, data, count);
}

void RCHighpassFilter(long double a, long double &state, TQVLookahead &lookahead, float *data, int count)
{
    RCFilter<true>(a, state, lookahead, data, count);
}

void StateVariableFilter(int output, float f, float damping, long double &band, long double &low,
                         TQVLookahead &lookahead, float *data, int count)
{
    if (!data || count < 1)
        return;
    // Settings outside the stable range (F < 2, Q > 0.4) keep the 80-bit recursion.
    if (!(std::fabs(f) < 2.0f && std::fabs(damping) < 2.5f)) {
        SvfReference(output, f, damping, band, low, data, count);
        lookahead.Pending = 0;
        return;
    }
    const TQVKernelTable &kernels = ActiveTable();
    const TQVSvfSetup &setup = CachedSvfSetup(f, damping, kernels.SvfLanes);
    const auto lanes = kernels.Svf[output >= 0 && output < 3 ? output : 3];
    long double state[2] = {band, low};
    const long double coefficients[2] = {f, damping};
    Anchored<2>(lookahead, state, coefficients, data, count, [&](long double *s, float *samples, int n) {
        double b = double(s[0]), l = double(s[1]);
        const int done = lanes(setup, b, l, samples, n);
        if (done > 0) { // else the state may be beyond double, and stays as it was
            s[0] = b;
            s[1] = l;
        }
        if (done < n)
            SvfReference(output, f, damping, s[0], s[1], samples + done, n - done);
        return done == n;
    });
    band = state[0];
    low = state[1];
}

} // namespace QVKernels
