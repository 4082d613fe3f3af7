// The IIR cascade against the per-sample 80-bit stage recursion written out here, on long
// signals of noise and sines. The other filter kernels are tested in tests/kernels.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "kernels/qvKernels.h"
#include "kernels/qvKernelTestSignals.h"

namespace {

using namespace QVKernels;


// IIR: Butterworth sections by the bilinear design, filtered by the stage recursion.
struct TQVIirCase
{
    TQVIirKind Kind;
    int Order;
    long double F1, F2; // cutoffs relative to the sample rate
};

std::vector<TQVIirSection> Butterworth(const TQVIirCase &c)
{
    const int m = c.Order / 2;
    std::vector<TQVIirSection> sections(std::size_t(m), TQVIirSection{});
    for (int k = 1; k <= m; ++k) {
        const long double ck = float(std::cos((2 * (m + k) - 1) * Pi / (4 * m)));
        long double *s = sections[std::size_t(k - 1)].C;
        if (c.Kind == TQVIirKind::BandPass) {
            const long double w1 = float(std::tan(Pi * c.F1)), w2 = float(std::tan(Pi * c.F2));
            const long double bw = float(w2 - w1), sum = float(bw * bw + 2 * w1 * w2), p = float(w2 * w2 * w1 * w1);
            const long double b = float(-2 * bw * ck), q = float(b * w1 * w2), d = float(1 + b + sum + q + p);
            s[0] = bw * bw / d;
            s[1] = (-4 - 2 * b + 2 * q + 4 * p) / d;
            s[2] = (6 - 2 * sum + 6 * p) / d;
            s[3] = (2 * b - 4 - 2 * q + 4 * p) / d;
            s[4] = (1 - b + sum - q + p) / d;
        } else {
            const long double w = float(std::tan(Pi * c.F1)), b = 2 * w * ck;
            long double g = 1 / (w * w + 1 - b);
            if (c.Kind == TQVIirKind::LowPass)
                g = float(g);
            s[0] = c.Kind == TQVIirKind::LowPass ? w * w * g : g;
            s[1] = (w * w - 1) * 2 * g;
            s[2] = (w * w + 1 + b) * g;
            s[3] = s[4] = 0;
        }
    }
    return sections;
}

// Per sample: x into stage 1's newest slot, each section into the next stage's newest
// slot, then every stage ages by one slot.
Signal IirReference(const TQVIirCase &c, const std::vector<TQVIirSection> &sections, std::vector<TQVIirStage> &stages,
                    Signal x)
{
    const int m = int(sections.size());
    const bool band = c.Kind == TQVIirKind::BandPass;
    const int newest = band ? 4 : 2;
    for (float &sample : x) {
        stages[0].S[newest] = sample;
        for (int k = 0; k < m; ++k) {
            const long double *a = sections[std::size_t(k)].C, *in = stages[std::size_t(k)].S;
            long double *out = stages[std::size_t(k) + 1].S;
            if (band)
                out[4] = (in[4] - 2 * in[2] + in[0]) * a[0] - a[1] * out[3] - a[2] * out[2] - a[3] * out[1]
                         - a[4] * out[0];
            else if (c.Kind == TQVIirKind::LowPass)
                out[2] = (in[2] + 2 * in[1] + in[0]) * a[0] - a[1] * out[1] - a[2] * out[0];
            else
                out[2] = (in[2] - 2 * in[1] + in[0]) * a[0] - a[1] * out[1] - a[2] * out[0];
        }
        for (TQVIirStage &stage : stages)
            std::memmove(stage.S, stage.S + 1, std::size_t(newest) * sizeof(long double));
        sample = float(stages[std::size_t(m)].S[newest]);
    }
    return x;
}

// Every kind and order, in every way of cutting the signal: the kernel runs the 80-bit
// recursion itself, so nothing may differ, outputs or stage slots. The cuts reach every pass
// plan (1 to 5 sections), the first samples of a call, odd call lengths and chunk boundaries;
// the scaled case has coefficients that do not split into two doubles (beyond double range:
// the kernel falls back to the plain recursion).
struct TQVIirCutCase
{
    TQVIirCase Filter;
    long double Scale; // applied to c0 of the first section
};

class FilterKernelIirCuts : public ::testing::TestWithParam<TQVIirCutCase>
{
};

TEST_P(FilterKernelIirCuts, EveryCallLengthMatchesTheRecursion)
{
    const TQVIirCutCase c = GetParam();
    std::vector<TQVIirSection> sections = Butterworth(c.Filter);
    sections[0].C[0] *= c.Scale;
    const int m = int(sections.size());
    const Signal x = NoiseAndSines(LongSignal, 1);
    std::vector<TQVIirStage> reference(std::size_t(m) + 1, TQVIirStage{});
    const Signal want = IirReference(c.Filter, sections, reference, x);
    for (const std::vector<int> &calls : {std::vector<int>{LongSignal}, {1}, {7}, {1000}, {1, 2, 3, 4, 5},
                                          {255, 1, 256, 257}, {2, 511, 6}}) {
        std::vector<TQVIirStage> stages(std::size_t(m) + 1, TQVIirStage{});
        Signal got = x;
        for (int base = 0, call = 0; base < int(got.size()); base += calls[std::size_t(call++) % calls.size()])
            IirFilter(c.Filter.Kind, sections.data(), stages.data(), m, got.data() + base,
                      std::min(calls[std::size_t(call) % calls.size()], int(got.size()) - base));
        EXPECT_TRUE(WithinUlps(got, want, 0)) << "calls of " << calls[0] << ", ...";
        for (std::size_t k = 0; k < stages.size(); ++k)
            EXPECT_TRUE(std::equal(std::begin(reference[k].S), std::end(reference[k].S), stages[k].S)) << "stage " << k;
    }
}

constexpr TQVIirKind Lp = TQVIirKind::LowPass, Hp = TQVIirKind::HighPass, Bp = TQVIirKind::BandPass;
// Every section count of each kind, the scaled case, very low and high cutoffs, narrow bands.
const TQVIirCutCase IirCuts[] = {
    {{Lp, 2, 0.001L, 0}, 1},  {{Lp, 4, 0.1L, 0}, 1},    {{Lp, 6, 0.2L, 0}, 1},       {{Lp, 8, 0.45L, 0}, 1},
    {{Lp, 10, 0.001L, 0}, 1}, {{Hp, 2, 0.2L, 0}, 1},    {{Hp, 4, 0.001L, 0}, 1},     {{Hp, 6, 0.1L, 0}, 1},
    {{Hp, 10, 0.3L, 0}, 1},   {{Lp, 6, 0.1L, 0}, 0x1p-1100L}, {{Bp, 2, 0.003L, 0.006L}, 1},
    {{Bp, 4, 0.01L, 0.011L}, 1}, {{Bp, 6, 0.05L, 0.1L}, 1}, {{Bp, 8, 0.1L, 0.101L}, 1}, {{Bp, 10, 0.2L, 0.3L}, 1},
};
INSTANTIATE_TEST_SUITE_P(FilterKernel, FilterKernelIirCuts, ::testing::ValuesIn(IirCuts));

} // namespace
