#pragma once

// IIR cascade kernel behind QVKernels::IirFilter (internal).
//
// Every output is that of the per-sample recursion in 80 bits: the same operations in the
// same order, each rounded to long double, and only the output rounded to float. What the
// kernel changes is the schedule: the sections run over a chunk of samples in passes of one
// to three low- or high-pass sections (one band-pass section), sample by sample inside a
// pass, so that the histories stay in the eight x87 registers and the out-of-order core
// overlaps the independent recursions of the sections of a pass. A pass followed by another
// hands on, per sample, the next section's input combination in an 80-bit buffer.
//
// Loading an 80-bit value from memory is slow on x87 (microcoded, several cycles), and the
// compiler spills long double constants it cannot keep in registers as 80-bit values. So
// the coefficients are kept as two doubles whose sum is exactly the coefficient, read
// through an opaque pointer so that they are loaded where they are used, and rebuilt there
// with one addition. The split is checked once per call; a coefficient (or a long double
// format) it does not hold exactly takes the plain recursion.

#include "framework/qvGlobal.h"

#include <algorithm>
#include <cmath>

namespace QVKernels {

/// A coefficient as two doubles whose sum is exactly its long double value.
struct TQVIirSplit
{
    double Hi, Lo;
};

namespace IirDetail {

constexpr int Chunk = 256;
constexpr int MaxSections = 16;

// The pointer as a value the compiler cannot follow: the coefficients read through it
// are read again for every sample instead of being kept (and spilled) as long doubles.
template <typename T>
[[gnu::always_inline]] inline T *Opaque(T *p)
{
    asm("" : "+r"(p));
    return p;
}

[[gnu::always_inline]] inline long double Rebuilt(const TQVIirSplit &c)
{
    return (long double)c.Hi + c.Lo;
}

inline bool Split(long double c, TQVIirSplit &s)
{
    s.Hi = double(c);
    s.Lo = double(c - s.Hi);
    const long double back = Rebuilt(s);
    return back == c && std::signbit(back) == std::signbit(c); // -0 would come back as +0
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

// one(i) for i = from .. n - 1, two samples per round: the histories then swap registers
// instead of being copied from one to the other.
template <typename One>
[[gnu::always_inline]] inline void InPairs(int from, int n, One &&one)
{
    int i = from;
    for (; i + 1 < n; i += 2) {
        one(i);
        one(i + 1);
    }
    if (i < n)
        one(i);
}

// Section K and those after it on one sample of input combination s; returns the input
// combination of the section after the last (unless the pass ends in floats).
template <int K, int W, bool Low, bool ToFloats>
[[gnu::always_inline]] inline long double SectionsStep(const TQVIirSplit *c, long double *h1, long double *h2,
                                                       long double s)
{
    if constexpr (K == 0)
        c = Opaque(c);
    const long double y = Section<Low>(s, c + 3 * K, h1[K], h2[K]);
    if (!ToFloats || K < W - 1)
        s = Sum<Low>(y, h1[K], h2[K]);
    h2[K] = h1[K];
    h1[K] = y;
    if constexpr (K + 1 < W)
        return SectionsStep<K + 1, W, Low, ToFloats>(c, h1, h2, s);
    else
        return s;
}

// W low- or high-pass sections over n samples, sample by sample. The first pass reads the
// float chunk in place; a later pass reads from an 80-bit buffer the input combination of
// its first section (x + 2 x1 + x2, or with - 2 x1), which the pass before has formed
// while it held that history in registers. The last pass writes floats (two samples
// behind when it reads the chunk too, so that `out` may be `in`); the others write that
// combination for the next pass.
// stages[0] is the input history (kept by the first pass only), stages[k + 1] the output
// history of section k.
template <int W, bool Low, typename In, typename Out>
void SecondOrderPass(const TQVIirSplit *c, long double *const *stages, const In *in, Out *out, int n)
{
    constexpr bool FromFloats = sizeof(In) == sizeof(float), ToFloats = sizeof(Out) == sizeof(float);
    long double h1[W], h2[W];
    for (int k = 0; k < W; ++k) {
        h1[k] = stages[k + 1][1];
        h2[k] = stages[k + 1][0];
    }
    const auto step = [&](long double s) __attribute__((always_inline)) {
        return SectionsStep<0, W, Low, ToFloats>(c, h1, h2, s);
    };
    if constexpr (FromFloats) {
        long double x1 = stages[0][1], x2 = stages[0][0];
        const int head = std::min(n, 2);
        for (int i = 0; i < head; ++i) {
            const long double x = in[i];
            const long double s = step(Sum<Low>(x, x1, x2));
            if constexpr (!ToFloats)
                out[i] = s;
            x2 = x1;
            x1 = x;
        }
        // The inputs are read from memory, so x1 and x2 take no register.
        InPairs(2, n, [&](int i) __attribute__((always_inline)) {
            const long double s = Sum<Low>(in[i], in[i - 1], in[i - 2]);
            if constexpr (ToFloats) {
                out[i - 2] = Out(h2[W - 1]);
                step(s);
            } else {
                out[i] = step(s);
            }
        });
        if (n > 1) {
            x2 = in[n - 2];
            x1 = in[n - 1];
        }
        stages[0][0] = x2;
        stages[0][1] = stages[0][2] = x1;
        if constexpr (ToFloats) {
            if (n > 1)
                out[n - 2] = Out(h2[W - 1]);
            out[n - 1] = Out(h1[W - 1]);
        }
    } else {
        InPairs(0, n, [&](int i) __attribute__((always_inline)) {
            if constexpr (ToFloats) {
                step(in[i]);
                out[i] = Out(h1[W - 1]);
            } else {
                out[i] = step(in[i]);
            }
        });
    }
    for (int k = 0; k < W; ++k) {
        stages[k + 1][0] = h2[k];
        stages[k + 1][1] = stages[k + 1][2] = h1[k];
    }
}

// One band-pass section (fourth order) over n samples, like SecondOrderPass: from the float
// chunk (outputs four samples behind) or from the input combination x - 2 x2 + x4 that the
// pass before has formed, to floats or to that combination for the next section.
template <typename In, typename Out>
void FourthOrderPass(const TQVIirSplit *c, long double *xs, long double *ys, const In *in, Out *out, int n)
{
    constexpr bool FromFloats = sizeof(In) == sizeof(float), ToFloats = sizeof(Out) == sizeof(float);
    long double y1 = ys[3], y2 = ys[2], y3 = ys[1], y4 = ys[0];
    const auto step = [&](long double s) __attribute__((always_inline)) {
        const TQVIirSplit *cs = Opaque(c);
        const long double y = s * Rebuilt(cs[0]) - Rebuilt(cs[1]) * y1 - Rebuilt(cs[2]) * y2 - Rebuilt(cs[3]) * y3
            - Rebuilt(cs[4]) * y4;
        if (!ToFloats)
            s = y - 2 * y2 + y4;
        y4 = y3;
        y3 = y2;
        y2 = y1;
        y1 = y;
        return s;
    };
    if constexpr (FromFloats) {
        // The input history continued by the chunk: position p < 4 is xs[p], then in[p - 4].
        const auto input = [&](int p) { return p < 4 ? xs[p] : (long double)in[p - 4]; };
        long double last[4];
        for (int j = 0; j < 4; ++j)
            last[j] = input(n + j);
        const int head = std::min(n, 4);
        for (int i = 0; i < head; ++i) {
            const long double s = step(input(i + 4) - 2 * input(i + 2) + input(i));
            if constexpr (!ToFloats)
                out[i] = s;
        }
        InPairs(4, n, [&](int i) __attribute__((always_inline)) {
            const long double s = in[i] - 2 * (long double)in[i - 2] + in[i - 4];
            if constexpr (ToFloats) {
                out[i - 4] = Out(y4);
                step(s);
            } else {
                out[i] = step(s);
            }
        });
        if constexpr (ToFloats) {
            const long double tail[4] = {y4, y3, y2, y1};
            for (int j = std::max(0, 4 - n); j < 4; ++j)
                out[n - 4 + j] = Out(tail[j]);
        }
        xs[0] = last[0];
        xs[1] = last[1];
        xs[2] = last[2];
        xs[3] = xs[4] = last[3];
    } else {
        InPairs(0, n, [&](int i) __attribute__((always_inline)) {
            if constexpr (ToFloats) {
                step(in[i]);
                out[i] = Out(y1);
            } else {
                out[i] = step(in[i]);
            }
        });
    }
    ys[0] = y4;
    ys[1] = y3;
    ys[2] = y2;
    ys[3] = ys[4] = y1;
}

// Pass widths of the low- and high-pass cascade: threes, but four and five start with a pair.
inline int PassWidth(int left)
{
    return left == 4 || left == 5 ? 2 : std::min(left, 3);
}

template <bool Low, typename In, typename Out>
void SecondOrderPassOf(int width, const TQVIirSplit *c, long double *const *stages, const In *in, Out *out, int n)
{
    switch (width) {
    case 1: SecondOrderPass<1, Low>(c, stages, in, out, n); break;
    case 2: SecondOrderPass<2, Low>(c, stages, in, out, n); break;
    default: SecondOrderPass<3, Low>(c, stages, in, out, n); break;
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
                    FourthOrderPass(split + 5 * k, history[k], history[k + 1], in, out, length);
                else if (low)
                    SecondOrderPassOf<true>(width, split + 3 * k, history + k, in, out, length);
                else
                    SecondOrderPassOf<false>(width, split + 3 * k, history + k, in, out, length);
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
