#include "analysis/qvFilterKernels.h"

#include <algorithm>

// Precision (the reference is the per-sample recursion in 80 bits): the IIR kernel runs that
// recursion itself, with the same operations in the same order, over chunks of samples in
// passes of up to three sections, whose histories stay in x87 registers; bit-identical.
// The other filter kernels live in kernels/.

namespace QVFilterKernels {
namespace {

// ---------------------------------------------------------------------------------------
// IIR

constexpr int IirChunk = 256;

// One second-order section over `n` samples: `xs` is the input history of the section
// (its stage), `ys` the output history (the next stage). The input history is advanced
// here; the output history only when `last`, since it is the next section's input history
// and must keep its value from the start of the chunk until that section has run.
template <bool Low, typename In, typename Out>
void SecondOrderRun(const long double *c, long double *xs, long double *ys, bool last, const In *in, Out *out, int n)
{
    const long double c0 = c[0], c1 = c[1], c2 = c[2];
    long double x1 = xs[1], x2 = xs[0], y1 = ys[1], y2 = ys[0];
    for (int i = 0; i < n; ++i) {
        const long double x = in[i];
        const long double y = (Low ? x + 2 * x1 + x2 : x - 2 * x1 + x2) * c0 - c1 * y1 - c2 * y2;
        out[i] = Out(y);
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
    }
    xs[0] = x2;
    xs[1] = xs[2] = x1;
    if (last) {
        ys[0] = y2;
        ys[1] = ys[2] = y1;
    }
}

template <typename In, typename Out>
void FourthOrderRun(const long double *c, long double *xs, long double *ys, bool last, const In *in, Out *out, int n)
{
    const long double c0 = c[0], c1 = c[1], c2 = c[2], c3 = c[3], c4 = c[4];
    long double x1 = xs[3], x2 = xs[2], x3 = xs[1], x4 = xs[0];
    long double y1 = ys[3], y2 = ys[2], y3 = ys[1], y4 = ys[0];
    for (int i = 0; i < n; ++i) {
        const long double x = in[i];
        const long double y = (x - 2 * x2 + x4) * c0 - c1 * y1 - c2 * y2 - c3 * y3 - c4 * y4;
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

// Up to three second-order sections in one pass: the samples between them stay in
// registers, and the pass reads its input history back from `in` (x87 has eight registers,
// enough for three output histories but not for the input history as well). The outputs lag
// two samples behind, so that `out` may be `in`.
template <bool Low, int Width, typename In, typename Out>
void SecondOrderGroupRun(const TQVIirSection *sections, TQVIirStage *stages, bool last, const In *in, Out *out, int n)
{
    long double h1[Width], h2[Width]; // output histories of the sections
    for (int k = 0; k < Width; ++k) {
        h1[k] = stages[k + 1].S[1];
        h2[k] = stages[k + 1].S[0];
    }
    const auto step = [&](long double x, long double x1, long double x2) {
        for (int k = 0; k < Width; ++k) {
            const long double *c = sections[k].C;
            const long double y = (Low ? x + 2 * x1 + x2 : x - 2 * x1 + x2) * c[0] - c[1] * h1[k] - c[2] * h2[k];
            x2 = h2[k];
            x1 = h1[k];
            x = y;
            h2[k] = h1[k];
            h1[k] = y;
        }
    };
    long double *xs = stages[0].S;
    const long double s1 = xs[1], s2 = xs[0];
    step(in[0], s1, s2);
    if (n > 1)
        step(in[1], in[0], s1);
    for (int i = 2; i < n; ++i) {
        const long double x = in[i], x1 = in[i - 1], x2 = in[i - 2];
        out[i - 2] = Out(h2[Width - 1]);
        step(x, x1, x2);
    }
    xs[0] = n > 1 ? (long double)in[n - 2] : s1;
    xs[1] = xs[2] = in[n - 1];
    if (n > 1)
        out[n - 2] = Out(h2[Width - 1]);
    out[n - 1] = Out(h1[Width - 1]);
    for (int k = 0; k < (last ? Width : Width - 1); ++k) {
        long double *s = stages[k + 1].S;
        s[0] = h2[k];
        s[1] = s[2] = h1[k];
    }
}

// Runs section `first` of the cascade alone over one chunk from `in` to `out`.
template <TQVIirKind Kind, typename In, typename Out>
void SectionRun(const TQVIirSection *sections, TQVIirStage *stages, int first, int sectionCount, const In *in,
                Out *out, int n)
{
    const bool last = first + 1 == sectionCount;
    if constexpr (Kind == TQVIirKind::BandPass)
        FourthOrderRun(sections[first].C, stages[first].S, stages[first + 1].S, last, in, out, n);
    else
        SecondOrderRun<Kind == TQVIirKind::LowPass>(sections[first].C, stages[first].S, stages[first + 1].S, last,
                                                     in, out, n);
}

// The sections over a chunk, in passes of up to three sections; between passes the samples
// are kept in 80 bits, so every value is exactly that of the per-sample recursion. A pass
// leaves its output history (the next pass's input history) alone unless it is the last.
template <TQVIirKind Kind>
void IirCascade(const TQVIirSection *sections, TQVIirStage *stages, int sectionCount, float *data, int count)
{
    constexpr int Step = Kind == TQVIirKind::BandPass ? 1 : 3;
    long double buffer[2][IirChunk];
    for (int base = 0; base < count; base += IirChunk) {
        const int n = std::min(IirChunk, count - base);
        float *chunk = data + base;
        int current = 0; // the buffer with the output of the pass before
        for (int k = 0; k < sectionCount;) {
            // Four sections go as two pairs: a pass of one section costs more than half a pair.
            const int width = Step > 1 && sectionCount - k == 4 ? 2 : std::min(Step, sectionCount - k);
            const auto pass = [&](const auto *from, auto *to) {
                constexpr bool Low = Kind == TQVIirKind::LowPass;
                const bool last = k + width == sectionCount;
                if constexpr (Step > 1) {
                    if (width == 3)
                        return SecondOrderGroupRun<Low, 3>(sections + k, stages + k, last, from, to, n);
                    if (width == 2)
                        return SecondOrderGroupRun<Low, 2>(sections + k, stages + k, last, from, to, n);
                }
                SectionRun<Kind>(sections, stages, k, sectionCount, from, to, n);
            };
            const bool first = k == 0, final = k + width == sectionCount;
            if (first && final) {
                pass(chunk, chunk);
            } else if (first) {
                pass(chunk, buffer[0]);
                current = 0;
            } else if (final) {
                pass(buffer[current], chunk);
            } else {
                pass(buffer[current], buffer[current ^ 1]);
                current ^= 1;
            }
            k += width;
        }
    }
}

} // namespace

void IirFilter(TQVIirKind kind, const TQVIirSection *sections, TQVIirStage *stages, int sectionCount, float *data,
               int count)
{
    if (!sections || !stages || !data || sectionCount < 1 || count < 1)
        return;
    switch (kind) {
    case TQVIirKind::LowPass: IirCascade<TQVIirKind::LowPass>(sections, stages, sectionCount, data, count); break;
    case TQVIirKind::HighPass: IirCascade<TQVIirKind::HighPass>(sections, stages, sectionCount, data, count); break;
    case TQVIirKind::BandPass: IirCascade<TQVIirKind::BandPass>(sections, stages, sectionCount, data, count); break;
    }
}

} // namespace QVFilterKernels
