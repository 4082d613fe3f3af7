#pragma once

// The filters' lane kernels, generic over the lane count W: included by the per-path
// files, whose entry points instantiate them, and by the filter driver (qvFilterBlocks.cpp)
// for the setups and limits. Everything but the two setup records has internal linkage.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "kernels/qvKernels.h"

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace QVKernels {

constexpr int LookaheadChunk = TQVLookahead::Span;
constexpr int MaxLanes = 8;

// RC filters: s[n] = s[n-1] - a s[n-1] + x[n], output a s[n-1] (low-pass) or x[n] - a s[n-1]
// (high-pass); M = d = 1 - a, g = 1. Two interleaved chains advance by 2W each, so that
// the latency of one step is spread over two blocks.
struct TQVRCSetup
{
    double A;
    double Powers[MaxLanes]; // d^i: the state's share in lane i of the first block
    double D1, D2, D4, DW;
    double E, E2; // d^W - 1, d^2W - 1
};

// State-variable filter: with state (B, L) before a sample, low = B F + L,
// high = x - low - B q, band = high F + B; so M = [[1 - F (F + q), -F], [F, 1]] and
// g = (F, 0). One chain; each component advances as fma(E_kk, own, own) + fma(E_kj, other,
// window), two roundings like the per-sample step.
struct TQVSvfSetup
{
    double F, Q;
    double Powers[2][2][MaxLanes]; // M^i, lane by lane, for the first block
    double M1[2];                  // M g
    double Taps[2][MaxLanes];      // M^j g
    double M2[2][2], M4[2][2];
    double E[2][2]; // M^W - I
};

namespace {
namespace Filter {

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
inline float FirExact(const float *h, int taps, const double *x)
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


// Stores the first `lanes` of `y` as floats.
template <int W, typename D>
[[gnu::always_inline]] inline void StoreFloats(float *out, const D &y, int lanes)
{
    using F = typename TQVLanes<W>::F;
    const F rounded = __builtin_convertvector(y, F);
    std::memcpy(out, &rounded, std::size_t(lanes) * sizeof(float));
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
    alignas(64) double buffer[MaxLanes + LookaheadChunk + MaxLanes];
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

// The outputs from the state before the sample. The notch, high + low, is x - q B: one
// fused step without the cancellation of the sum.
template <int Output, typename T>
[[gnu::always_inline]] inline void SvfOutput(const T &x, const T &band, const T &low, double f, double q, T &y)
{
    const T l = band * f + low;
    if constexpr (Output == 0) {
        y = l;
    } else if constexpr (Output == 3) {
        y = x - band * q;
    } else {
        const T h = x - l - band * q;
        if constexpr (Output == 1)
            y = h * f + band;
        else
            y = h;
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
    alignas(64) double buffer[MaxLanes + LookaheadChunk + MaxLanes];
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

} // namespace Filter
} // namespace
} // namespace QVKernels
