#pragma once

// IIR cascade kernel behind QVFilterKernels::IirFilter (internal).
//
// Every output is that of the per-sample recursion in 80 bits: the same operations in the
// same order, each rounded to long double, and only the output rounded to float. What the
// kernel changes is the schedule: the sections run over a chunk of samples in passes of up
// to three low- or high-pass sections (one band-pass section), sample by sample inside a
// pass, so that the histories stay in the eight x87 registers and the out-of-order core
// overlaps the independent recursions of the sections of a pass. Between passes the
// samples wait in an 80-bit buffer.
//
// Loading an 80-bit value from memory is slow on x87 (microcoded, several cycles), and the
// compiler would spill long double constants it cannot keep in registers as 80-bit values.
// So every coefficient that does not stay in a register is kept as two doubles whose sum is
// exactly the coefficient, read through volatile so that the loads cannot be hoisted, and
// rebuilt with one addition where it is used. The split is checked once per call; a
// long double format it does not hold exactly takes the plain recursion.

#include "framework/qvGlobal.h"

#include <algorithm>

namespace QVKernels {

/// A coefficient as two doubles whose sum is exactly its long double value.
struct TQVIirSplit
{
    volatile double Hi, Lo;
};

namespace IirDetail {

constexpr int Chunk = 256;
constexpr int MaxSections = 16;

[[gnu::always_inline]] inline long double Rebuilt(const TQVIirSplit &c)
{
    return (long double)c.Hi + c.Lo;
}

inline bool Split(long double c, TQVIirSplit &s)
{
    const double hi = double(c);
    const double lo = double(c - hi);
    s.Hi = hi;
    s.Lo = lo;
    return (long double)hi + lo == c;
}

// The input combination of a low-pass (x + 2 x1 + x2) or high-pass (x - 2 x1 + x2) section.
template <bool Low>
[[gnu::always_inline]] inline long double Sum(long double x, long double x1, long double x2)
{
    return Low ? x + 2 * x1 + x2 : x - 2 * x1 + x2;
}

template <bool Low>
[[gnu::always_inline]] inline long double Section(long double s, const TQVIirSplit *c, long double y1, long double y2)
{
    return s * Rebuilt(c[0]) - Rebuilt(c[1]) * y1 - Rebuilt(c[2]) * y2;
}

// W low- or high-pass sections over n samples, sample by sample. `in` is the chunk (floats
// read in place, outputs written two samples behind so that `out` may be `in`) or the
// 80-bit buffer of the pass before; stages[0] is the input history, stages[k + 1] the
// output history of section k, written back except for the last section unless `last`.
template <int W, bool Low, typename In, typename Out>
void SecondOrderPass(const TQVIirSplit *c, long double *const *stages, bool last, const In *in, Out *out, int n)
{
    long double h1[W], h2[W];
    for (int k = 0; k < W; ++k) {
        h1[k] = stages[k + 1][1];
        h2[k] = stages[k + 1][0];
    }
    long double x1 = stages[0][1], x2 = stages[0][0];
    const auto step = [&](long double s) {
        long double y = Section<Low>(s, c, h1[0], h2[0]);
        for (int k = 1; k < W; ++k) {
            const long double next = Sum<Low>(y, h1[k - 1], h2[k - 1]);
            h2[k - 1] = h1[k - 1];
            h1[k - 1] = y;
            y = Section<Low>(next, c + 3 * k, h1[k], h2[k]);
        }
        h2[W - 1] = h1[W - 1];
        h1[W - 1] = y;
    };
    constexpr bool FromFloats = sizeof(In) == sizeof(float);
    const int head = FromFloats ? std::min(n, 2) : n;
    for (int i = 0; i < head; ++i) {
        const long double x = in[i];
        step(Sum<Low>(x, x1, x2));
        x2 = x1;
        x1 = x;
        if constexpr (!FromFloats)
            out[i] = Out(h1[W - 1]);
    }
    if constexpr (FromFloats) {
        // The inputs are read from memory, so x1 and x2 take no register.
        for (int i = 2; i < n; ++i) {
            const long double s = Sum<Low>(in[i], in[i - 1], in[i - 2]);
            out[i - 2] = Out(h2[W - 1]);
            step(s);
        }
        if (n > 1) {
            x2 = in[n - 2];
            x1 = in[n - 1];
            out[n - 2] = Out(h2[W - 1]);
        }
        out[n - 1] = Out(h1[W - 1]);
    }
    stages[0][0] = x2;
    stages[0][1] = stages[0][2] = x1;
    for (int k = 0; k < (last ? W : W - 1); ++k) {
        stages[k + 1][0] = h2[k];
        stages[k + 1][1] = stages[k + 1][2] = h1[k];
    }
}

// One band-pass section (fourth order) over n samples; `in` as above.
template <typename In, typename Out>
void FourthOrderPass(const TQVIirSplit *c, long double *xs, long double *ys, bool last, const In *in, Out *out, int n)
{
    long double y1 = ys[3], y2 = ys[2], y3 = ys[1], y4 = ys[0];
    long double x1 = xs[3], x2 = xs[2], x3 = xs[1], x4 = xs[0];
    for (int i = 0; i < n; ++i) {
        const long double x = in[i];
        const long double y = (x - 2 * x2 + x4) * Rebuilt(c[0]) - Rebuilt(c[1]) * y1 - Rebuilt(c[2]) * y2
            - Rebuilt(c[3]) * y3 - Rebuilt(c[4]) * y4;
        out[i] = Out(y);
        x4 = x3;
        x3 = x2;
        x2 = x1;
        x1 = x;
        y4 = y3;
        y3 = y2;
        y2 = y1;
        y1 = y;
    }
    xs[0] = x4;
    xs[1] = x3;
    xs[2] = x2;
    xs[3] = xs[4] = x1;
    if (last) {
        ys[0] = y4;
        ys[1] = y3;
        ys[2] = y2;
        ys[3] = ys[4] = y1;
    }
}

// Pass widths of the low- and high-pass cascade: threes, but four as two pairs.
inline int PassWidth(int left)
{
    return left == 4 ? 2 : std::min(left, 3);
}

template <bool Low, typename In, typename Out>
void SecondOrderPassOf(int width, const TQVIirSplit *c, long double *const *stages, bool last, const In *in, Out *out,
                       int n)
{
    switch (width) {
    case 1: SecondOrderPass<1, Low>(c, stages, last, in, out, n); break;
    case 2: SecondOrderPass<2, Low>(c, stages, last, in, out, n); break;
    default: SecondOrderPass<3, Low>(c, stages, last, in, out, n); break;
    }
}

} // namespace IirDetail

/// The plain per-sample recursion: stage k + 1 takes section k's output, then every stage
/// ages by one slot. `Section` and `Stage` have arrays C[5] and S[5] of long double.
template <typename Section, typename Stage>
void IirReferenceRun(bool band, bool low, const Section *sections, Stage *stages, int count, float *data, int n)
{
    const int newest = band ? 4 : 2;
    const long double middle = low ? 2 : -2;
    for (int i = 0; i < n; ++i) {
        stages[0].S[newest] = data[i];
        for (int k = 0; k < count; ++k) {
            const long double *c = sections[k].C, *in = stages[k].S;
            long double *out = stages[k + 1].S;
            if (band)
                out[4] = (in[4] - 2 * in[2] + in[0]) * c[0] - c[1] * out[3] - c[2] * out[2] - c[3] * out[1]
                    - c[4] * out[0];
            else
                out[2] = (in[2] + middle * in[1] + in[0]) * c[0] - c[1] * out[1] - c[2] * out[0];
        }
        for (int k = 0; k <= count; ++k) {
            long double *s = stages[k].S;
            for (int j = 0; j < newest; ++j)
                s[j] = s[j + 1];
        }
        data[i] = float(stages[count].S[newest]);
    }
}

/// Cascade of `count` sections over `n` samples of `data` in place: low-pass, high-pass or
/// (`band`) band-pass sections; `stages` has count + 1 entries. Bit-identical to
/// IirReferenceRun, outputs and state, however the samples are cut into calls.
template <typename Section, typename Stage>
void IirCascade(bool band, bool low, const Section *sections, Stage *stages, int count, float *data, int n)
{
    using namespace IirDetail;
    if (count < 1 || n < 1)
        return;
    const int perSection = band ? 5 : 3;
    TQVIirSplit split[MaxSections * 5];
    bool exact = count <= MaxSections;
    for (int k = 0; exact && k < count; ++k) {
        for (int j = 0; j < perSection; ++j)
            exact = exact && Split(sections[k].C[j], split[k * perSection + j]);
    }
    if (!exact) {
        IirReferenceRun(band, low, sections, stages, count, data, n);
        return;
    }
    long double *history[MaxSections + 1];
    for (int k = 0; k <= count; ++k)
        history[k] = stages[k].S;
    long double buffer[2][Chunk];
    for (int base = 0; base < n; base += Chunk) {
        const int length = std::min(Chunk, n - base);
        float *chunk = data + base;
        int current = 0; // the buffer holding the output of the pass before
        for (int k = 0; k < count;) {
            const int width = band ? 1 : PassWidth(count - k);
            const bool first = k == 0, last = k + width == count;
            const auto pass = [&](const auto *in, auto *out) {
                if (band)
                    FourthOrderPass(split + 5 * k, history[k], history[k + 1], last, in, out, length);
                else if (low)
                    SecondOrderPassOf<true>(width, split + 3 * k, history + k, last, in, out, length);
                else
                    SecondOrderPassOf<false>(width, split + 3 * k, history + k, last, in, out, length);
            };
            if (first && last) {
                pass(chunk, chunk);
            } else if (first) {
                pass(chunk, buffer[0]);
                current = 0;
            } else if (last) {
                pass(buffer[current], chunk);
            } else {
                pass(buffer[current], buffer[current ^ 1]);
                current ^= 1;
            }
            k += width;
        }
    }
}

} // namespace QVKernels
