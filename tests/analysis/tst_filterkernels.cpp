// The filters' block kernels against per-sample 80-bit recursions written out here, on
// long signals of noise and sines, on every code path the processor has.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "analysis/qvFilterKernels.h"

namespace {

using namespace QVFilterKernels;
using Signal = std::vector<float>;

constexpr long double Pi = std::numbers::pi_v<long double>;
constexpr int LongSignal = 100000;

Signal NoiseAndSines(int count, unsigned seed)
{
    std::mt19937 random(seed);
    std::normal_distribution<float> noise(0.0f, 0.3f);
    Signal x(std::size_t(count), 0.0f);
    for (int n = 0; n < count; ++n)
        x[std::size_t(n)] = noise(random) + float(0.7 * std::sin(0.0123 * n) + 0.4 * std::sin(0.31 * n + 1.0)
                                                  + 0.2 * std::sin(0.0011 * n) + 0.05);
    return x;
}

// Distance in representable floats (finite values).
std::int64_t Ulps(float a, float b)
{
    const auto ordinal = [](float v) {
        std::int32_t i;
        std::memcpy(&i, &v, sizeof i);
        return i < 0 ? -std::int64_t(i & 0x7fffffff) : std::int64_t(i);
    };
    return std::llabs(ordinal(a) - ordinal(b));
}

::testing::AssertionResult WithinUlps(const Signal &got, const Signal &want, std::int64_t ulps)
{
    if (got.size() != want.size())
        return ::testing::AssertionFailure() << "sizes differ";
    int bad = 0;
    std::size_t first = 0;
    for (std::size_t n = 0; n < got.size(); ++n) {
        if (!std::isfinite(want[n]) || Ulps(got[n], want[n]) > ulps) {
            if (bad++ == 0)
                first = n;
        }
    }
    if (bad == 0)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << bad << " samples off by more than " << ulps << " ulp, first at " << first
                                         << ": " << got[first] << " instead of " << want[first];
}

/// Runs `filter` over `x` in calls of `chunk` samples (all at once when 0).
template <typename Filter>
Signal InChunks(Signal x, int chunk, Filter &&filter)
{
    const int count = int(x.size()), step = chunk > 0 ? chunk : count;
    for (int base = 0; base < count; base += step)
        filter(x.data() + base, std::min(step, count - base));
    return x;
}

// The RC recursion in 80 bits from state `s`: p = a s, out = p (low) or x - p (high), s += x - p.
Signal RcReference(Signal x, long double a, bool high, long double &s)
{
    for (float &v : x) {
        const long double p = a * s, in = v;
        v = float(high ? in - p : p);
        s = s - p + in;
    }
    return x;
}

// The state-variable recursion in 80 bits from rest; `output` 0..3: low, band, high, notch.
Signal SvfReference(Signal x, long double f, long double damping, int output, long double &l)
{
    long double b = 0;
    l = 0;
    for (float &v : x) {
        const long double low = b * f + l, high = v - low - b * damping, band = high * f + b;
        b = band;
        l = low;
        const long double outputs[4] = {low, band, high, high + low};
        v = float(outputs[output]);
    }
    return x;
}

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

TEST(FilterKernelIir, MatchesStageRecursionInChunks)
{
    const Signal x = NoiseAndSines(LongSignal, 1);
    const std::vector<TQVIirCase> cases = {
        {TQVIirKind::LowPass, 2, 0.001L, 0}, {TQVIirKind::LowPass, 6, 0.2L, 0},    {TQVIirKind::LowPass, 10, 0.001L, 0},
        {TQVIirKind::LowPass, 8, 0.45L, 0},  {TQVIirKind::HighPass, 4, 0.001L, 0}, {TQVIirKind::HighPass, 10, 0.3L, 0},
        {TQVIirKind::BandPass, 2, 0.003L, 0.006L}, {TQVIirKind::BandPass, 4, 0.01L, 0.011L},
        {TQVIirKind::BandPass, 8, 0.1L, 0.101L},   {TQVIirKind::BandPass, 10, 0.2L, 0.3L},
    };
    for (const TQVIirCase &c : cases) {
        SCOPED_TRACE("kind " + std::to_string(int(c.Kind)) + ", order " + std::to_string(c.Order) + ", f1 "
                     + std::to_string(double(c.F1)));
        const std::vector<TQVIirSection> sections = Butterworth(c);
        const int m = int(sections.size());
        std::vector<TQVIirStage> reference(std::size_t(m) + 1, TQVIirStage{});
        const Signal want = IirReference(c, sections, reference, x);
        for (int chunk : {0, 1, 7, 1000}) {
            SCOPED_TRACE("calls of " + std::to_string(chunk));
            std::vector<TQVIirStage> stages(std::size_t(m) + 1, TQVIirStage{});
            const Signal got = InChunks(x, chunk, [&](float *data, int count) {
                IirFilter(c.Kind, sections.data(), stages.data(), m, data, count);
            });
            // The kernel runs the 80-bit recursion itself: nothing may differ.
            EXPECT_TRUE(WithinUlps(got, want, 0));
            for (std::size_t k = 0; k < stages.size(); ++k) {
                for (int slot = 0; slot < 5; ++slot)
                    EXPECT_EQ(reference[k].S[slot], stages[k].S[slot]) << "stage " << k << ", slot " << slot;
            }
        }
    }
}

// The kernel's edge paths: every pass plan (1 to 5 sections), band-pass, the first samples
// of a call, odd call lengths and chunk boundaries, and coefficients that do not split into
// two doubles (beyond double range: the kernel falls back to the plain recursion).
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
    const Signal x = NoiseAndSines(3000, 2);
    std::vector<TQVIirStage> reference(std::size_t(m) + 1, TQVIirStage{});
    const Signal want = IirReference(c.Filter, sections, reference, x);
    for (const std::vector<int> &calls : {std::vector<int>{1, 2, 3, 4, 5}, {255, 1, 256, 257}, {2, 511, 6}}) {
        std::vector<TQVIirStage> stages(std::size_t(m) + 1, TQVIirStage{});
        Signal got = x;
        for (int base = 0, call = 0; base < int(got.size()); base += calls[std::size_t(call++) % calls.size()])
            IirFilter(c.Filter.Kind, sections.data(), stages.data(), m, got.data() + base,
                      std::min(calls[std::size_t(call) % calls.size()], int(got.size()) - base));
        EXPECT_TRUE(WithinUlps(got, want, 0)) << "calls of " << calls[0] << ", " << calls[1] << ", ...";
        for (std::size_t k = 0; k < stages.size(); ++k)
            EXPECT_TRUE(std::equal(std::begin(reference[k].S), std::end(reference[k].S), stages[k].S)) << "stage " << k;
    }
}

constexpr TQVIirKind Lp = TQVIirKind::LowPass, Hp = TQVIirKind::HighPass, Bp = TQVIirKind::BandPass;
const TQVIirCutCase IirCuts[] = {
    {{Lp, 2, 0.1L, 0}, 1},  {{Lp, 4, 0.1L, 0}, 1},       {{Lp, 6, 0.05L, 0}, 1},      {{Lp, 8, 0.1L, 0}, 1},
    {{Lp, 10, 0.1L, 0}, 1}, {{Hp, 2, 0.2L, 0}, 1},       {{Hp, 6, 0.1L, 0}, 1},       {{Bp, 2, 0.1L, 0.15L}, 1},
    {{Bp, 6, 0.05L, 0.1L}, 1}, {{Lp, 6, 0.1L, 0}, 0x1p-1100L},
};
INSTANTIATE_TEST_SUITE_P(FilterKernel, FilterKernelIirCuts, ::testing::ValuesIn(IirCuts));

// Vectorised kernels, on each code path.
class FilterKernelPath : public ::testing::TestWithParam<TQVKernelPath>
{
protected:
    void SetUp() override
    {
        if (!KernelPathAvailable(GetParam()))
            GTEST_SKIP() << "code path not available on this processor";
        m_previous = ActiveKernelPath();
        ASSERT_TRUE(SelectKernelPath(GetParam()));
    }
    void TearDown() override { SelectKernelPath(m_previous); }

private:
    TQVKernelPath m_previous = TQVKernelPath::Portable;
};

// The circular delay line: the position advances (1 after N), the sample goes there, and
// h[0] weights it, h[1] the slot before, and so on, in an 80-bit sum.
struct TQVFirReference
{
    explicit TQVFirReference(const std::vector<float> &taps) : H(taps), Delay(taps.size(), 0.0f) {}
    float Step(float x)
    {
        const int n = int(H.size());
        if (++Position > n)
            Position = 1;
        Delay[std::size_t(Position - 1)] = x;
        long double sum = 0;
        for (int i = 0, j = Position; i < n; ++i, j = j == 1 ? n : j - 1)
            sum += (long double)Delay[std::size_t(j - 1)] * H[std::size_t(i)];
        return float(sum);
    }
    std::vector<float> H, Delay;
    int Position = 0;
};

TEST_P(FilterKernelPath, FirMatches80BitConvolution)
{
    const Signal x = NoiseAndSines(LongSignal, 2);
    std::mt19937 random(5);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (int taps : {1, 2, 7, 64, 333, 512}) {
        SCOPED_TRACE("taps " + std::to_string(taps));
        std::vector<float> h(std::size_t(taps), 0.0f);
        for (float &v : h)
            v = value(random) / float(std::sqrt(double(taps)));
        TQVFirReference reference(h);
        Signal want = x;
        for (float &v : want)
            v = reference.Step(v);
        for (int chunk : {0, 1, 7, 1000}) {
            if (chunk == 1 && taps > 64)
                continue; // per-sample calls only add time here
            SCOPED_TRACE("calls of " + std::to_string(chunk));
            std::vector<float> delay(std::size_t(taps), 0.0f);
            int position = 0;
            const Signal got = InChunks(x, chunk, [&](float *data, int count) {
                FirFilter(h.data(), taps, delay.data(), position, data, count);
            });
            // Outputs the double lanes cannot prove are summed in 80 bits: nothing may differ.
            EXPECT_TRUE(WithinUlps(got, want, 0));
            EXPECT_EQ(reference.Position, position);
            EXPECT_EQ(reference.Delay, delay);
        }
    }
}

TEST_P(FilterKernelPath, FirCancellationAndOddPositions)
{
    // 1 + 2^-60 - 1: a double sum loses the small term that the 80-bit sum keeps, in two of
    // the three orders in which the pattern passes the taps.
    const std::vector<float> h = {1.0f, 1.0f, 1.0f};
    const float tiny = std::ldexp(1.0f, -60);
    Signal x;
    for (int n = 0; n < 100; ++n)
        x.insert(x.end(), {1.0f, tiny, -1.0f});
    x[150] = 7.0f;
    const std::vector<float> delay = {1.0f, 2.0f, 3.0f};
    for (int start : {0, 1, 3, 4}) {
        SCOPED_TRACE("position " + std::to_string(start));
        TQVFirReference reference(h);
        reference.Delay = delay;
        reference.Position = start;
        Signal want = x;
        for (float &v : want)
            v = reference.Step(v);
        std::vector<float> line = delay;
        int position = start;
        Signal got = x;
        FirFilter(h.data(), int(h.size()), line.data(), position, got.data(), int(got.size()));
        EXPECT_TRUE(WithinUlps(got, want, 0));
        EXPECT_EQ(reference.Position, position);
        EXPECT_EQ(reference.Delay, line);
    }
}

TEST_P(FilterKernelPath, RCWithinOneUlp)
{
    const Signal x = NoiseAndSines(LongSignal, 3);
    for (long double relativeCutoff : {1e-4L, 1e-3L, 0.01L, 0.1L, 0.4L}) {
        const long double a = 1 - std::exp(-2 * Pi * relativeCutoff);
        for (bool high : {false, true}) {
            SCOPED_TRACE(std::string(high ? "high" : "low") + "-pass, fc/fs " + std::to_string(double(relativeCutoff)));
            long double s = 0;
            const Signal want = RcReference(x, a, high, s);
            Signal whole;
            for (int chunk : {0, 1, 7, 1000}) {
                SCOPED_TRACE("calls of " + std::to_string(chunk));
                long double state = 0;
                TQVLookahead lookahead;
                const Signal got = InChunks(x, chunk, [&](float *data, int count) {
                    (high ? RCHighpassFilter : RCLowpassFilter)(a, state, lookahead, data, count);
                });
                EXPECT_TRUE(WithinUlps(got, want, 1));
                EXPECT_NEAR(double(state), double(s), 1e-12 * std::fabs(double(s)));
                // However the stream is cut, the outputs are the same.
                if (chunk == 0)
                    whole = got;
                EXPECT_TRUE(WithinUlps(got, whole, 0));
            }
        }
    }
}

// The kernels go over the inputs since the last anchor again only while nobody else has
// touched the state or the coefficients; otherwise they start afresh from the state given.
TEST_P(FilterKernelPath, LookaheadStartsAfreshWhenTheStateOrCoefficientsChange)
{
    const Signal x = NoiseAndSines(300, 8);
    const auto fresh = [&](long double a, long double state, int from) {
        TQVLookahead lookahead;
        Signal y(x.begin() + from, x.end());
        RCLowpassFilter(a, state, lookahead, y.data(), int(y.size()));
        return y;
    };
    for (int change = 0; change < 2; ++change) {
        long double a = 0.01L, state = 0;
        TQVLookahead lookahead;
        Signal y = x;
        RCLowpassFilter(a, state, lookahead, y.data(), 100); // 100 inputs kept for the anchor
        if (change == 0)
            state = 0.25L;
        else
            a = 0.02L;
        const long double before = state;
        RCLowpassFilter(a, state, lookahead, y.data() + 100, 200);
        EXPECT_EQ(Signal(y.begin() + 100, y.end()), fresh(a, before, 100)) << change;
    }
}

// Gains outside 0 < a < 2 (no decay, or growth) and huge states run the 80-bit recursion.
TEST_P(FilterKernelPath, RCOutsideStableRangeFollows80Bits)
{
    const Signal x = NoiseAndSines(500, 7);
    for (long double a : {0.0L, 2.5L, -0.5L, 0.1L}) {
        for (bool high : {false, true}) {
            SCOPED_TRACE(std::to_string(double(a)) + (high ? " high-pass" : " low-pass"));
            long double s = a == 0.1L ? 1e300L : 0.5L, state = s;
            const Signal want = RcReference(x, a, high, s);
            Signal got = x;
            TQVLookahead lookahead;
            (high ? RCHighpassFilter : RCLowpassFilter)(a, state, lookahead, got.data(), int(got.size()));
            for (std::size_t n = 0; n < got.size(); ++n)
                ASSERT_TRUE(got[n] == want[n] || (std::isnan(got[n]) && std::isnan(want[n]))) << "sample " << n;
            EXPECT_TRUE(state == s || (std::isnan(state) && std::isnan(s)));
        }
    }
}

TEST_P(FilterKernelPath, StateVariableWithinOneUlp)
{
    const Signal x = NoiseAndSines(LongSignal, 4);
    for (double relativeCutoff : {1e-3, 0.01, 0.1, 0.2}) {
        for (float q : {0.45f, 1.0f, 20.0f}) {
            const float f = float(2 * std::sin(Pi * relativeCutoff)), damping = 1.0f / q;
            // Stable where the eigenvalues of the recursion lie inside the unit circle.
            if (f * f + 2 * f * damping >= 4)
                continue;
            for (int output = 0; output < 4; ++output) {
                SCOPED_TRACE("fc/fs " + std::to_string(relativeCutoff) + ", Q " + std::to_string(q) + ", output "
                             + std::to_string(output));
                long double l;
                const Signal want = SvfReference(x, f, damping, output, l);
                Signal whole;
                for (int chunk : {0, 1, 7, 1000}) {
                    if (chunk == 1 && output != 3) // one output suffices for the slowest cut
                        continue;
                    SCOPED_TRACE("calls of " + std::to_string(chunk));
                    long double band = 0, low = 0;
                    TQVLookahead lookahead;
                    const Signal got = InChunks(x, chunk, [&](float *data, int count) {
                        StateVariableFilter(output, f, damping, band, low, lookahead, data, count);
                    });
                    EXPECT_TRUE(WithinUlps(got, want, 1));
                    EXPECT_NEAR(double(low), double(l), 1e-12 * (std::fabs(double(l)) + 1));
                    if (chunk == 0)
                        whole = got;
                    EXPECT_TRUE(WithinUlps(got, whole, 0));
                }
            }
        }
    }
}

// Huge states (inputs near the float limit, or an unstable setting) go on in 80 bits, where
// double would overflow first: the outputs stay those of the 80-bit recursion, also when
// they overflow the float range.
TEST_P(FilterKernelPath, StateVariableHandsOverLargeStates)
{
    struct TQVCase { float F, Damping, Scale; };
    for (const TQVCase &c : {TQVCase{0.3f, 1.0f, 1e33f}, TQVCase{1.9f, 1.0f, 1.0f}}) {
        SCOPED_TRACE("F " + std::to_string(c.F));
        Signal x = NoiseAndSines(3000, 6);
        for (float &v : x)
            v *= c.Scale;
        long double l, band = 0, low = 0;
        const Signal want = SvfReference(x, c.F, c.Damping, 0, l);
        Signal got = x;
        TQVLookahead lookahead;
        StateVariableFilter(0, c.F, c.Damping, band, low, lookahead, got.data(), int(got.size()));
        int bad = 0;
        for (std::size_t n = 0; n < got.size(); ++n)
            bad += std::isfinite(want[n]) ? Ulps(got[n], want[n]) > 1 : got[n] != want[n];
        EXPECT_EQ(0, bad);
        EXPECT_NEAR(1.0, double(low / l), 1e-12);
    }
}

TEST_P(FilterKernelPath, EmptyCallsLeaveEverythingUnchanged)
{
    float sample = 0.5f;
    const float h[2] = {0.5f, 0.5f};
    float delay[2] = {1.0f, 2.0f};
    int position = 1;
    long double state = 3, band = 4, low = 5;
    FirFilter(h, 2, delay, position, &sample, 0);
    FirFilter(h, 0, delay, position, &sample, 1);
    TQVLookahead lookahead;
    RCLowpassFilter(0.5L, state, lookahead, &sample, 0);
    RCHighpassFilter(0.5L, state, lookahead, nullptr, 1);
    StateVariableFilter(0, 0.5f, 1.0f, band, low, lookahead, &sample, -1);
    EXPECT_TRUE(sample == 0.5f && delay[0] == 1.0f && delay[1] == 2.0f && position == 1);
    EXPECT_TRUE(state == 3.0L && band == 4.0L && low == 5.0L);
}

INSTANTIATE_TEST_SUITE_P(FilterKernel, FilterKernelPath,
                         ::testing::Values(TQVKernelPath::Portable, TQVKernelPath::Avx2, TQVKernelPath::Avx512),
                         [](const auto &info) {
                             return std::string(info.param == TQVKernelPath::Portable ? "Portable"
                                                : info.param == TQVKernelPath::Avx2   ? "Avx2"
                                                                                      : "Avx512");
                         });

} // namespace
