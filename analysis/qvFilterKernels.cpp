#include "analysis/qvFilterKernels.h"
#include "kernels/qvIirKernels_p.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <utility>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

// Precision by kernel (the reference is the per-sample recursion in 80 bits):
// - IIR: that recursion itself, with the same operations in the same order
//   (kernels/qvIirKernels_p.h); bit-identical.
// - FIR: double lanes across output samples (a product of two floats is exact in double);
//   an output is taken only where an error bound proves that it rounds to the same float
//   as the 80-bit sum, the others are summed in 80 bits; bit-identical.
// - RC and state-variable filters: double precision with a lookahead of W samples (the
//   states of W consecutive samples advance by W samples at once), restarted from the
//   scalar state at fixed anchors so that the outputs do not depend on the calls' cuts. The states carry a
//   relative error of about 5e-16, like a sequential double recursion, so an output within
//   about 1e-8 of its signal's range from zero can be more than one ulp off; on the test
//   signals every output is within one ulp. Unstable settings and huge states take the
//   80-bit recursion.

namespace QVFilterKernels {
namespace {

template <int W>
struct TQVLanes
{
    typedef double D __attribute__((vector_size(W * sizeof(double))));
    typedef float F __attribute__((vector_size(W * sizeof(float))));
};

// Loads by reference: a vector returned by value from a function of the default target
// would be an ABI question the compiler warns about, although all of these are inlined.
template <typename V>
[[gnu::always_inline]] inline void LoadLanes(V &v, const void *p)
{
    std::memcpy(&v, p, sizeof v);
}

// ---------------------------------------------------------------------------------------
// FIR

constexpr int FirMaxTaps = 512;
constexpr int FirChunk = 512;
constexpr int FirUnroll = 4;
constexpr int FirPad = 8 * FirUnroll;

// The 80-bit sum of the definition for the output whose newest input is x[0].
float FirExact(const float *h, int taps, const double *x)
{
    long double acc = 0;
    for (int i = 0; i < taps; ++i)
        acc += (long double)x[-i] * h[i];
    return float(acc);
}

// Outputs y[k] = sum h[i] x[k - i], k = 0..n-1, where x[k] = line[taps - 1 + k]; `line`
// holds n rounded up to FirUnroll * W values (zeros beyond n). Each output is summed in a
// double lane; `bound` bounds its distance from the 80-bit sum, and where both ends of the
// interval round to the same float that float is the output, else the 80-bit sum is taken.
template <int W>
[[gnu::always_inline]] inline void FirLanes(const float *h, int taps, const double *line, int n, double bound,
                                            float *out)
{
    using D = typename TQVLanes<W>::D;
    using F = typename TQVLanes<W>::F;
    const double *x = line + taps - 1;
    for (int k = 0; k < n; k += FirUnroll * W) {
        D acc[FirUnroll] = {};
        for (int i = 0; i < taps; ++i) {
            const double hi = h[i];
            const double *p = x + k - i;
            for (int u = 0; u < FirUnroll; ++u) {
                D v;
                LoadLanes(v, p + u * W);
                acc[u] += hi * v;
            }
        }
        for (int u = 0; u < FirUnroll; ++u) {
            const int first = k + u * W;
            if (first >= n)
                break;
            const F low = __builtin_convertvector(acc[u] - bound, F);
            const F high = __builtin_convertvector(acc[u] + bound, F);
            const int lanes = std::min(W, n - first);
            for (int j = 0; j < lanes; ++j)
                out[first + j] = low[j] == high[j] ? low[j] : FirExact(h, taps, x + first + j);
        }
    }
}

using FirLanesFunction = void (*)(const float *, int, const double *, int, double, float *);

void FirLanesPortable(const float *h, int taps, const double *line, int n, double bound, float *out)
{
    FirLanes<2>(h, taps, line, n, bound, out);
}

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

// ---------------------------------------------------------------------------------------
// Lookahead of the RC and state-variable recursions
//
// Lane i of a vector T holds the state before sample tW + i. With the input windows
// G_w(n) = sum_{j<w} M^j g x[n - j] (M the one-sample matrix of the recursion, g its input
// column), T advances by W samples as T' = T + (E T + G_W(tW + W - 1 + i)), E = M^W - I.
// The windows are built by doubling: G_2w(n) = G_w(n) + M^w G_w(n - w), where G_w(n - w)
// comes from the lanes of the block before. Inputs before the chunk are zero: their effect
// is in the state. The recursions are done in double; chunks are converted to double first.

// The lanes restart from the scalar state at every anchor.
constexpr int LookaheadChunk = TQVLookahead::Span;
constexpr int MaxLanes = 8;

// Lanes of `previous` and `current` shifted by K: lane i < K takes previous[W - K + i].
template <int K, typename D, std::size_t... I>
[[gnu::always_inline]] inline void ShiftInLanes(D &out, const D &previous, const D &current, std::index_sequence<I...>)
{
    constexpr int W = int(sizeof...(I));
    out = __builtin_shufflevector(previous, current, (int(I) < K ? W - K + int(I) : W + int(I) - K)...);
}

template <int W, int K, typename D>
[[gnu::always_inline]] inline void ShiftIn(D &out, const D &previous, const D &current)
{
    ShiftInLanes<K>(out, previous, current, std::make_index_sequence<std::size_t(W)>());
}

// Copies `n` samples to doubles at x[0..n-1] and clears x[-8..-1] and x[n..n+7]; one
// function per code path (the compiler splits a generic conversion of wide vectors).
using ToDoublesFunction = void (*)(const float *, int, double *);

void ToDoublesPortable(const float *samples, int n, double *x)
{
    std::fill(x - MaxLanes, x, 0.0);
    for (int k = 0; k < n; ++k)
        x[k] = samples[k];
    std::fill(x + n, x + n + MaxLanes, 0.0);
}

// Stores the first `lanes` of `y` as floats.
template <int W, typename D>
[[gnu::always_inline]] inline void StoreFloats(float *out, const D &y, int lanes)
{
    using F = typename TQVLanes<W>::F;
    const F rounded = __builtin_convertvector(y, F);
    std::memcpy(out, &rounded, std::size_t(lanes) * sizeof(float));
}

// RC filters: s[n] = s[n-1] - a s[n-1] + x[n], output a s[n-1] (low-pass) or x[n] - a s[n-1]
// (high-pass); M = d = 1 - a, g = 1. Two interleaved chains advance by 2W each, so that
// the latency of one step is spread over two blocks.
struct TQVRCSetup
{
    double A = 0.0;
    double Powers[MaxLanes] = {}; // d^i: the state's share in lane i of the first block
    double D1 = 0.0, D2 = 0.0, D4 = 0.0, DW = 0.0;
    double E = 0.0, E2 = 0.0; // d^W - 1, d^2W - 1
};

TQVRCSetup RCSetup(long double a, int lanes)
{
    TQVRCSetup setup;
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

template <int W>
struct TQVRCWindows
{
    using D = typename TQVLanes<W>::D;
    D Two{}, Four{}, Full{}; // the windows of the block before

    // G_W and G_2W of block b, whose lanes are n = bW - 1 + i.
    [[gnu::always_inline]] inline void Next(const TQVRCSetup &s, const double *x, int b, D &window, D &twice)
    {
        D now, before;
        LoadLanes(now, x + b * W - 1);
        LoadLanes(before, x + b * W - 2);
        D g = now + s.D1 * before, shifted;
        if constexpr (W >= 4) {
            ShiftIn<W, 2>(shifted, Two, g);
            Two = g;
            g += s.D2 * shifted;
        }
        if constexpr (W >= 8) {
            ShiftIn<W, 4>(shifted, Four, g);
            Four = g;
            g += s.D4 * shifted;
        }
        static_assert(W == 2 || W == 4 || W == 8);
        window = g;
        twice = g + s.DW * Full;
        Full = g;
    }
};

template <int W, bool High, ToDoublesFunction ToDoubles>
[[gnu::always_inline]] inline void RCLanes(const TQVRCSetup &shared, double &state, float *data, int count)
{
    using D = typename TQVLanes<W>::D;
    // A copy that the stores to `data` cannot alias, so the coefficients stay in registers.
    const TQVRCSetup setup = shared;
    const double a = setup.A;
    double s = state;
    double buffer[MaxLanes + LookaheadChunk + MaxLanes];
    double *x = buffer + MaxLanes;
    const auto emit = [&](float *out, const D &t, int block, int lanes) {
        const D p = a * t;
        if constexpr (High) {
            D in;
            LoadLanes(in, x + block * W);
            StoreFloats<W>(out, in - p, lanes);
        } else {
            StoreFloats<W>(out, p, lanes);
        }
    };
    for (int base = 0; base < count; base += LookaheadChunk) {
        const int n = std::min(LookaheadChunk, count - base);
        float *chunk = data + base;
        ToDoubles(chunk, n, x);
        const int full = n / W, rest = n % W;
        TQVRCWindows<W> windows;
        D window, twice, powers, t0, t1;
        LoadLanes(powers, setup.Powers);
        windows.Next(setup, x, 0, window, twice);
        t0 = powers * s + window;
        if (full == 0) {
            emit(chunk, t0, 0, rest);
            s = t0[rest];
            continue;
        }
        windows.Next(setup, x, 1, window, twice);
        t1 = t0 + (window + setup.E * t0);
        for (int t = 0; t + 2 <= full; ++t) {
            windows.Next(setup, x, t + 2, window, twice);
            const D t2 = t0 + (twice + setup.E2 * t0);
            emit(chunk + t * W, t0, t, W);
            t0 = t1;
            t1 = t2;
        }
        emit(chunk + (full - 1) * W, t0, full - 1, W);
        emit(chunk + full * W, t1, full, rest);
        s = t1[rest];
    }
    state = s;
}

// State-variable filter: with state (B, L) before a sample, low = B F + L,
// high = x - low - B q, band = high F + B; so M = [[1 - F (F + q), -F], [F, 1]] and
// g = (F, 0). One chain; each component advances as fma(E_kk, own, own) + fma(E_kj, other,
// window), two roundings like the per-sample step.
struct TQVSvfSetup
{
    double F = 0.0, Q = 0.0;
    double Powers[2][2][MaxLanes] = {}; // M^i, lane by lane, for the first block
    double M1[2] = {};                  // M g
    double Taps[2][MaxLanes] = {};      // M^j g
    double M2[2][2] = {}, M4[2][2] = {};
    double E[2][2] = {}; // M^W - I
};

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
    TQVSvfSetup setup;
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
        TQVRCSetup Setup;
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
        TQVSvfSetup Setup;
    } cache;
    if (cache.Lanes != lanes || !(cache.F == f) || !(cache.Damping == damping)) {
        cache.Setup = SvfSetup(f, damping, lanes);
        cache.F = f;
        cache.Damping = damping;
        cache.Lanes = lanes;
    }
    return cache.Setup;
}

template <int Output, typename T>
[[gnu::always_inline]] inline void SvfOutput(const T &x, const T &band, const T &low, double f, double q, T &y)
{
    const T l = band * f + low;
    if constexpr (Output == 0) {
        y = l;
    } else {
        const T h = x - l - band * q;
        if constexpr (Output == 1)
            y = h * f + band;
        else if constexpr (Output == 2)
            y = h;
        else
            y = h + l;
    }
}

template <int W, bool Direct>
struct TQVSvfWindows
{
    using D = typename TQVLanes<W>::D;
    D TwoBand{}, TwoLow{}, FourBand{}, FourLow{};

    [[gnu::always_inline]] inline static void Step(const double (&m)[2][2], const D &previousBand,
                                                   const D &previousLow, D &band, D &low)
    {
        const D b = band + m[0][0] * previousBand + m[0][1] * previousLow;
        low += m[1][0] * previousBand + m[1][1] * previousLow;
        band = b;
    }

    // G_W of block b (lanes n = bW - 1 + i), both components; `Direct` sums the W taps
    // instead of doubling, for vectors that the compiler splits into halves.
    [[gnu::always_inline]] inline void Next(const TQVSvfSetup &s, const double *x, int b, D &band, D &low)
    {
        if constexpr (Direct) {
            D v;
            LoadLanes(v, x + b * W - 1);
            band = s.Taps[0][0] * v;
            low = D{};
            for (int j = 1; j < W; ++j) {
                LoadLanes(v, x + b * W - 1 - j);
                band += s.Taps[0][j] * v;
                low += s.Taps[1][j] * v;
            }
            return;
        }
        D now, before;
        LoadLanes(now, x + b * W - 1);
        LoadLanes(before, x + b * W - 2);
        band = s.F * now + s.M1[0] * before;
        low = s.M1[1] * before;
        D shiftedBand, shiftedLow;
        if constexpr (W >= 4) {
            ShiftIn<W, 2>(shiftedBand, TwoBand, band);
            ShiftIn<W, 2>(shiftedLow, TwoLow, low);
            TwoBand = band;
            TwoLow = low;
            Step(s.M2, shiftedBand, shiftedLow, band, low);
        }
        if constexpr (W >= 8) {
            ShiftIn<W, 4>(shiftedBand, FourBand, band);
            ShiftIn<W, 4>(shiftedLow, FourLow, low);
            FourBand = band;
            FourLow = low;
            Step(s.M4, shiftedBand, shiftedLow, band, low);
        }
        static_assert(W == 2 || W == 4 || W == 8);
    }
};

// Beyond this state magnitude (an unstable setting, or inputs near the float limit) the
// 80-bit recursion takes over, before double overflows where 80 bits do not. With |F| < 2,
// |q| < 2.5 and float inputs, max(|B|, |L|) grows by less than 12 per sample plus 2 |x|,
// so checking every SvfCheckBlocks * W <= 128 samples keeps every value below 1e180.
constexpr double SvfStateLimit = 1e30;
constexpr int SvfCheckBlocks = 16;

// Returns the number of samples done; the rest is left to the 80-bit recursion.
template <int W, int Output, ToDoublesFunction ToDoubles, bool Direct = false>
[[gnu::always_inline]] inline int SvfLanes(const TQVSvfSetup &shared, double &band, double &low, float *data,
                                           int count)
{
    using D = typename TQVLanes<W>::D;
    // A copy that the stores to `data` cannot alias, so the coefficients stay in registers.
    const TQVSvfSetup setup = shared;
    const double f = setup.F, q = setup.Q;
    const double(&e)[2][2] = setup.E;
    double buffer[MaxLanes + LookaheadChunk + MaxLanes];
    double *x = buffer + MaxLanes;
    const auto emit = [&](float *out, const D &tb, const D &tl, int block, int lanes) {
        D in, y;
        LoadLanes(in, x + block * W);
        SvfOutput<Output>(in, tb, tl, f, q, y);
        StoreFloats<W>(out, y, lanes);
    };
    const auto inRange = [](double b, double l) { return std::fabs(b) < SvfStateLimit && std::fabs(l) < SvfStateLimit; };
    for (int base = 0; base < count; base += LookaheadChunk) {
        if (!inRange(band, low))
            return base;
        const int n = std::min(LookaheadChunk, count - base);
        float *chunk = data + base;
        ToDoubles(chunk, n, x);
        const int full = n / W, rest = n % W;
        TQVSvfWindows<W, Direct> windows;
        D wb, wl, p00, p01, p10, p11;
        LoadLanes(p00, setup.Powers[0][0]);
        LoadLanes(p01, setup.Powers[0][1]);
        LoadLanes(p10, setup.Powers[1][0]);
        LoadLanes(p11, setup.Powers[1][1]);
        windows.Next(setup, x, 0, wb, wl);
        D tb = p00 * band + p01 * low + wb;
        D tl = p10 * band + p11 * low + wl;
        for (int t = 0; t < full; ++t) {
            if (t % SvfCheckBlocks == 0 && t > 0 && !inRange(tb[0], tl[0])) {
                band = tb[0];
                low = tl[0];
                return base + t * W;
            }
            windows.Next(setup, x, t + 1, wb, wl);
            const D nb = (tb + e[0][0] * tb) + (wb + e[0][1] * tl);
            const D nl = (tl + e[1][1] * tl) + (wl + e[1][0] * tb);
            emit(chunk + t * W, tb, tl, t, W);
            tb = nb;
            tl = nl;
        }
        emit(chunk + full * W, tb, tl, full, rest);
        band = tb[rest];
        low = tl[rest];
    }
    return count;
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

// ---------------------------------------------------------------------------------------
// Code paths

struct TQVPathKernels
{
    int RCLanes, SvfLanes;
    FirLanesFunction Fir;
    void (*RCLow)(const TQVRCSetup &, double &, float *, int);
    void (*RCHigh)(const TQVRCSetup &, double &, float *, int);
    int (*Svf[4])(const TQVSvfSetup &, double &, double &, float *, int);
};

// Without wide vectors the state-variable windows are summed tap by tap: lane shifts would
// cross register halves.
constexpr int PortableRCLanes = 4;
constexpr int PortableSvfLanes = 4;

void RCLowPortable(const TQVRCSetup &s, double &state, float *data, int count)
{
    RCLanes<PortableRCLanes, false, ToDoublesPortable>(s, state, data, count);
}
void RCHighPortable(const TQVRCSetup &s, double &state, float *data, int count)
{
    RCLanes<PortableRCLanes, true, ToDoublesPortable>(s, state, data, count);
}
template <int Output>
int SvfPortable(const TQVSvfSetup &s, double &band, double &low, float *data, int count)
{
    return SvfLanes<PortableSvfLanes, Output, ToDoublesPortable, true>(s, band, low, data, count);
}

const TQVPathKernels PortableKernels = {
    PortableRCLanes, PortableSvfLanes, FirLanesPortable, RCLowPortable, RCHighPortable,
    {SvfPortable<0>, SvfPortable<1>, SvfPortable<2>, SvfPortable<3>},
};

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
#define QV_FILTER_X86_PATHS 1

[[gnu::target("avx2")]] void ToDoublesAvx2(const float *samples, int n, double *x)
{
    std::fill(x - MaxLanes, x, 0.0);
    int k = 0;
    for (; k + 4 <= n; k += 4)
        _mm256_storeu_pd(x + k, _mm256_cvtps_pd(_mm_loadu_ps(samples + k)));
    for (; k < n; ++k)
        x[k] = samples[k];
    std::fill(x + n, x + n + MaxLanes, 0.0);
}

[[gnu::target("avx512f")]] void ToDoublesAvx512(const float *samples, int n, double *x)
{
    std::fill(x - MaxLanes, x, 0.0);
    int k = 0;
    for (; k + 8 <= n; k += 8)
        _mm512_storeu_pd(x + k, _mm512_maskz_cvtps_pd(__mmask8(0xFF), _mm256_loadu_ps(samples + k)));
    for (; k < n; ++k)
        x[k] = samples[k];
    std::fill(x + n, x + n + MaxLanes, 0.0);
}

[[gnu::target("avx2,fma")]] void FirLanesAvx2(const float *h, int taps, const double *line, int n, double bound,
                                              float *out)
{
    FirLanes<4>(h, taps, line, n, bound, out);
}
[[gnu::target("avx2,fma")]] void RCLowAvx2(const TQVRCSetup &s, double &state, float *data, int count)
{
    RCLanes<4, false, ToDoublesAvx2>(s, state, data, count);
}
[[gnu::target("avx2,fma")]] void RCHighAvx2(const TQVRCSetup &s, double &state, float *data, int count)
{
    RCLanes<4, true, ToDoublesAvx2>(s, state, data, count);
}
template <int Output>
[[gnu::target("avx2,fma")]] int SvfAvx2(const TQVSvfSetup &s, double &band, double &low, float *data, int count)
{
    return SvfLanes<4, Output, ToDoublesAvx2>(s, band, low, data, count);
}

[[gnu::target("avx512f")]] void FirLanesAvx512(const float *h, int taps, const double *line, int n, double bound,
                                               float *out)
{
    FirLanes<8>(h, taps, line, n, bound, out);
}
[[gnu::target("avx512f")]] void RCLowAvx512(const TQVRCSetup &s, double &state, float *data, int count)
{
    RCLanes<8, false, ToDoublesAvx512>(s, state, data, count);
}
[[gnu::target("avx512f")]] void RCHighAvx512(const TQVRCSetup &s, double &state, float *data, int count)
{
    RCLanes<8, true, ToDoublesAvx512>(s, state, data, count);
}
template <int Output>
[[gnu::target("avx512f")]] int SvfAvx512(const TQVSvfSetup &s, double &band, double &low, float *data, int count)
{
    return SvfLanes<8, Output, ToDoublesAvx512>(s, band, low, data, count);
}

const TQVPathKernels Avx2Kernels = {
    4, 4, FirLanesAvx2, RCLowAvx2, RCHighAvx2, {SvfAvx2<0>, SvfAvx2<1>, SvfAvx2<2>, SvfAvx2<3>},
};
const TQVPathKernels Avx512Kernels = {
    8, 8, FirLanesAvx512, RCLowAvx512, RCHighAvx512, {SvfAvx512<0>, SvfAvx512<1>, SvfAvx512<2>, SvfAvx512<3>},
};

#endif

bool Available(TQVKernelPath path)
{
#ifdef QV_FILTER_X86_PATHS
    __builtin_cpu_init();
    switch (path) {
    case TQVKernelPath::Portable: return true;
    case TQVKernelPath::Avx2: return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    case TQVKernelPath::Avx512: return __builtin_cpu_supports("avx512f");
    }
    return false;
#else
    return path == TQVKernelPath::Portable;
#endif
}

TQVKernelPath BestPath()
{
    if (Available(TQVKernelPath::Avx512))
        return TQVKernelPath::Avx512;
    if (Available(TQVKernelPath::Avx2))
        return TQVKernelPath::Avx2;
    return TQVKernelPath::Portable;
}

std::atomic<TQVKernelPath> g_path{BestPath()};

const TQVPathKernels &Kernels()
{
#ifdef QV_FILTER_X86_PATHS
    switch (g_path.load(std::memory_order_relaxed)) {
    case TQVKernelPath::Avx512: return Avx512Kernels;
    case TQVKernelPath::Avx2: return Avx2Kernels;
    case TQVKernelPath::Portable: break;
    }
#endif
    return PortableKernels;
}

} // namespace

bool KernelPathAvailable(TQVKernelPath path)
{
    return Available(path);
}

bool SelectKernelPath(TQVKernelPath path)
{
    if (!Available(path))
        return false;
    g_path.store(path, std::memory_order_relaxed);
    return true;
}

TQVKernelPath ActiveKernelPath()
{
    return g_path.load(std::memory_order_relaxed);
}

void IirFilter(TQVIirKind kind, const TQVIirSection *sections, TQVIirStage *stages, int sectionCount, float *data,
               int count)
{
    if (!sections || !stages || !data || sectionCount < 1 || count < 1)
        return;
    QVKernels::IirCascade(kind == TQVIirKind::BandPass, kind == TQVIirKind::LowPass, sections, stages, sectionCount,
                          data, count);
}

void FirFilter(const float *h, int taps, float *delay, int &position, float *data, int count)
{
    if (!h || !delay || !data || taps < 1 || count < 1)
        return;
    if (taps > FirMaxTaps)
        FirReference(h, taps, delay, position, data, count);
    else
        FirBlock(Kernels().Fir, h, taps, delay, position, data, count);
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
    const TQVPathKernels &kernels = Kernels();
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
    const TQVPathKernels &kernels = Kernels();
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

} // namespace QVFilterKernels
