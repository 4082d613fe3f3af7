// Every kernel on every code path this processor has, against independent references:
// per-sample 80-bit recursions, long-double sums, the direct DFT, the scan rules one sample
// at a time. The portable path runs everywhere. The IIR cascade has one path.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "analysis/qvFFTKernel.h"
#include "kernels/qvKernelDispatch_p.h"
#include "kernels/qvKernels.h"

namespace {

using namespace QVKernels;

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

// Runs the test on the parameter's path, where the processor has it.
class KernelPath : public ::testing::TestWithParam<TQVKernelPath>
{
protected:
    void SetUp() override
    {
        if (!Available(GetParam()))
            GTEST_SKIP() << "code path not available on this processor";
        m_previous = Active();
        ASSERT_TRUE(Select(GetParam()));
    }
    void TearDown() override { Select(m_previous); }

private:
    TQVKernelPath m_previous = TQVKernelPath::Portable;
};

const char *const PathNames[] = {"Portable", "Avx2", "Avx512", "Avx512Split"};
INSTANTIATE_TEST_SUITE_P(Kernels, KernelPath,
                         ::testing::Values(TQVKernelPath::Portable, TQVKernelPath::Avx2, TQVKernelPath::Avx512,
                                           TQVKernelPath::Avx512Split),
                         [](const auto &info) { return std::string(PathNames[int(info.param)]); });

// The fastest path the processor has is active unless a test selects another; an
// unavailable one is refused.
TEST(KernelDispatch, StartsOnTheFastestAvailablePath)
{
    const bool avx2 = Available(TQVKernelPath::Avx2), avx512 = Available(TQVKernelPath::Avx512);
    const TQVKernelPath fastest = Active();
    EXPECT_TRUE(Available(TQVKernelPath::Portable) && (avx2 || !avx512));
    EXPECT_EQ(Available(TQVKernelPath::Avx512Split), avx512);
    if (avx512)
        EXPECT_TRUE(fastest == TQVKernelPath::Avx512 || fastest == TQVKernelPath::Avx512Split);
    else
        EXPECT_EQ(fastest, avx2 ? TQVKernelPath::Avx2 : TQVKernelPath::Portable);
    EXPECT_EQ(Select(TQVKernelPath::Avx512), avx512);
    EXPECT_EQ(Active(), avx512 ? TQVKernelPath::Avx512 : fastest);
    Select(fastest);
}

// ---------------------------------------------------------------------------------------
// Filters

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

// Random taps of every length class on a long signal, in every way of cutting it; then
// 1 + 2^-60 - 1 through three unit taps from odd start positions: a double sum loses the small
// term that the 80-bit sum keeps, in two of the three orders in which the pattern passes the taps.
TEST_P(KernelPath, FirMatches80BitConvolution)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    Signal cancelling;
    for (int n = 0; n < 100; ++n)
        cancelling.insert(cancelling.end(), {1.0f, std::ldexp(1.0f, -60), -1.0f});
    cancelling[150] = 7.0f;
    const Signal noise = NoiseAndSines(LongSignal, 2);
    // Start position -1: random taps on the noise from an empty line; otherwise the pattern.
    for (const auto &[taps, start] : {std::pair{1, -1}, {2, -1}, {7, -1}, {64, -1}, {333, -1}, {512, -1}, {3, 0},
                                     {3, 1}, {3, 3}, {3, 4}}) {
        SCOPED_TRACE("taps " + std::to_string(taps) + ", from position " + std::to_string(start));
        const Signal &x = start < 0 ? noise : cancelling;
        std::vector<float> h(std::size_t(taps), 1.0f), delay(h.size(), 0.0f);
        if (start < 0) {
            for (float &v : h)
                v = value(random) / float(std::sqrt(double(taps)));
        } else {
            delay = {1.0f, 2.0f, 3.0f};
        }
        TQVFirReference reference(h);
        reference.Delay = delay;
        reference.Position = std::max(start, 0);
        Signal want = x;
        for (float &v : want)
            v = reference.Step(v);
        for (int chunk : {0, 1, 7, 1000}) {
            if (chunk && (start >= 0 || (chunk == 1 && taps > 64)))
                continue; // per-sample calls only add time on long lines
            SCOPED_TRACE("calls of " + std::to_string(chunk));
            std::vector<float> line = delay;
            int position = std::max(start, 0);
            const Signal got = InChunks(x, chunk, [&](float *data, int count) {
                FirFilter(h.data(), taps, line.data(), position, data, count);
            });
            // Outputs the double lanes cannot prove are summed in 80 bits: nothing may differ.
            EXPECT_TRUE(WithinUlps(got, want, 0));
            EXPECT_EQ(reference.Position, position);
            EXPECT_EQ(reference.Delay, line);
        }
    }
}

TEST_P(KernelPath, RCWithinOneUlp)
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
TEST_P(KernelPath, LookaheadStartsAfreshWhenTheStateOrCoefficientsChange)
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
TEST_P(KernelPath, RCOutsideStableRangeFollows80Bits)
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

TEST_P(KernelPath, StateVariableWithinOneUlp)
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
TEST_P(KernelPath, StateVariableHandsOverLargeStates)
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

TEST_P(KernelPath, EmptyCallsLeaveEverythingUnchanged)
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

// ---------------------------------------------------------------------------------------
// FFT

using LComplex = std::complex<long double>;

/// The engine's tables: cos and sin of pi k / n in extended precision, stored as floats.
struct TQVTables
{
    explicit TQVTables(int n) : Cos(std::size_t(n)), Sin(std::size_t(n))
    {
        for (int k = 0; k < n; ++k) {
            Cos[std::size_t(k)] = float(std::cos(Pi * k / n));
            Sin[std::size_t(k)] = float(std::sin(Pi * k / n));
        }
    }
    std::vector<float> Cos, Sin;
};

// Recursive textbook split in extended precision with exact roots.
void Recurse(const LComplex *x, std::size_t n, std::size_t step, const std::vector<LComplex> &roots, LComplex *y)
{
    if (n == 1) {
        y[0] = x[0];
        return;
    }
    Recurse(x, n / 2, 2 * step, roots, y);
    Recurse(x + step, n / 2, 2 * step, roots, y + n / 2);
    for (std::size_t k = 0; k < n / 2; ++k) {
        const LComplex even = y[k], odd = roots[k * step] * y[k + n / 2];
        y[k] = even + odd;
        y[k + n / 2] = even - odd;
    }
}

// The transform by its definition, sum x[i] e^(sign 2 pi i i k / N), 1/N-scaled when forward
// (sign +1): the direct sum, or the recursive split where that is too slow.
std::vector<LComplex> ReferenceDFT(const std::vector<LComplex> &x, int sign)
{
    const std::size_t n = x.size();
    std::vector<LComplex> roots(n), y(n);
    for (std::size_t k = 0; k < n; ++k)
        roots[k] = std::polar(1.0L, sign * 2 * Pi * k / n);
    if (n > 256) {
        Recurse(x.data(), n, 1, roots, y.data());
    } else {
        for (std::size_t k = 0; k < n; ++k)
            for (std::size_t i = 0; i < n; ++i)
                y[k] += x[i] * roots[(i * k) % n];
    }
    for (LComplex &v : y)
        v /= sign > 0 ? (long double)n : 1.0L;
    return y;
}

long double RelativeRms(const float *re, const float *im, const std::vector<LComplex> &ref)
{
    long double error = 0, norm = 0;
    for (std::size_t k = 0; k < ref.size(); ++k) {
        error += std::norm(LComplex(re[k], im[k]) - ref[k]);
        norm += std::norm(ref[k]);
    }
    return std::sqrt(error / norm);
}

// Every size 2..2^16: forward and inverse against the definition, and the round trip back to
// the input. Every other size runs in arrays that start off any vector alignment; the points
// around them stay untouched.
TEST_P(KernelPath, MatchesDefinitionAndInverts)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (int n = 2, offset = 0; n <= 1 << 16; n *= 2, offset = 1 - offset) {
        SCOPED_TRACE(n);
        const TQVTables tables(n);
        TQVFFTKernel kernel;
        kernel.Prepare(n, tables.Cos.data(), tables.Sin.data());
        ASSERT_EQ(kernel.Size(), n);
        std::vector<float> reBuffer(n + 2, 7.0f), imBuffer(n + 2, 7.0f);
        float *re = reBuffer.data() + offset, *im = imBuffer.data() + offset;
        std::vector<LComplex> x(n);
        for (int k = 0; k < n; ++k) {
            re[k] = value(random);
            im[k] = value(random);
            x[std::size_t(k)] = {re[k], im[k]};
        }
        const std::vector<float> re0(re, re + n), im0(im, im + n);
        kernel.Transform(re, im, false);
        EXPECT_LT(RelativeRms(re, im, ReferenceDFT(x, +1)), 1e-6L);
        kernel.Transform(re, im, true);
        EXPECT_LT(RelativeRms(re, im, x), 1e-6L);
        // The inverse alone, from the input.
        std::copy(re0.begin(), re0.end(), re);
        std::copy(im0.begin(), im0.end(), im);
        kernel.Transform(re, im, true);
        EXPECT_LT(RelativeRms(re, im, ReferenceDFT(x, -1)), 1e-6L);
        for (const std::vector<float> *buffer : {&reBuffer, &imBuffer})
            EXPECT_TRUE((*buffer)[std::size_t(n + offset)] == 7.0f && (offset == 0 || buffer->front() == 7.0f));
    }
}

TEST(FFTKernelState, UnpreparedOrClearedDoesNothing)
{
    std::vector<float> re{1, 2, 3, 4}, im{5, 6, 7, 8};
    const std::vector<float> re0 = re, im0 = im;
    const TQVTables tables(4);
    // -1: never prepared; 4: prepared and cleared; 2: without a cosine table; the others are
    // no powers of two. The transform leaves the data alone.
    for (int n : {-1, 4, 2, 0, 1, 3, 12, -8}) {
        TQVFFTKernel kernel;
        if (n != -1)
            kernel.Prepare(n, n == 2 ? nullptr : tables.Cos.data(), tables.Sin.data());
        if (n == 4) {
            EXPECT_EQ(kernel.Size(), 4);
            kernel.Clear();
        }
        EXPECT_EQ(kernel.Size(), 0) << n;
        kernel.Transform(re.data(), im.data(), n % 2 != 0);
        EXPECT_EQ(re, re0) << n;
        EXPECT_EQ(im, im0) << n;
    }
}

// The split of the real transform in long double, against the float steps of every path;
// and the same floats as the portable path.
TEST_P(KernelPath, SplitPairsAndAmplitudes)
{
    constexpr int N = 1030, Pairs = N / 2 - 1; // an odd count leaves a tail after the vectors
    const TQVTables tables(N);
    const Signal re0 = NoiseAndSines(N, 11), im0 = NoiseAndSines(N, 12);
    const auto split = [&](Signal re, Signal im) {
        FFTSplitPairs(re.data() + 1, im.data() + 1, re.data() + N - 1, im.data() + N - 1, tables.Cos.data() + 1,
                      tables.Sin.data() + 1, Pairs);
        re.insert(re.end(), im.begin(), im.end());
        return re;
    };
    const Signal got = split(re0, im0);
    for (int k = 1; k <= Pairs; ++k) {
        const long double a = re0[k], b = re0[N - k], c = im0[k], d = im0[N - k];
        const long double wr = tables.Cos[k], wi = -tables.Sin[k];
        const long double t1 = (a - b) * wi - (c + d) * wr, t2 = (a - b) * wr + (c + d) * wi;
        const long double want[4] = {(a + b - t1) / 2, (a + b + t1) / 2, (c - d - t2) / 2, (-(c - d) - t2) / 2};
        const int at[4] = {k, N - k, N + k, 2 * N - k};
        const long double bound = 8 * 0x1p-24L * (std::fabs(a) + std::fabs(b) + std::fabs(c) + std::fabs(d));
        for (int j = 0; j < 4; ++j)
            ASSERT_NEAR(double(got[at[j]]), double(want[j]), double(bound)) << "pair " << k << ", value " << j;
    }
    Signal amplitudes = re0;
    FFTAmplitudes(amplitudes.data(), im0.data(), N);
    for (int k = 0; k < N; ++k)
        ASSERT_EQ(amplitudes[k], float(std::sqrt((long double)re0[k] * re0[k] + (long double)im0[k] * im0[k]))) << k;

    ASSERT_TRUE(Select(TQVKernelPath::Portable));
    EXPECT_EQ(got, split(re0, im0));
}

// ---------------------------------------------------------------------------------------
// Analyzer and trigger

TEST_P(KernelPath, SumOfSquaresWithinItsBound)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<float> mantissa(-1.0f, 1.0f);
    std::uniform_int_distribution<int> exponent(-40, 40), length(0, 3000);
    for (int trial = 0; trial < 300; ++trial) {
        Signal x(std::size_t(length(random)));
        long double want = 0;
        for (float &v : x) {
            v = std::ldexp(mantissa(random), trial % 2 ? exponent(random) : 0);
            want += (long double)v * v;
        }
        const int n = int(x.size());
        ASSERT_LE(std::fabs(SumOfSquares(x.data(), n) - want), (n / 16 + 8) * 0x1p-52L * want) << trial << ", " << n;
    }
}

// The scan rules one sample at a time (see TriggerScan).
int ScanReference(const float *x, int count, int from, const TQVScanSetup &s, float &previous)
{
    const auto above = [&](float v) { return v > s.Low; };
    const auto below = [&](float v) { return v < s.Low; };
    const auto first = [&](int i, auto condition) {
        while (i <= count && !condition(x[i - 1]))
            ++i;
        return i;
    };
    const auto notAbove = [&](float v) { return !above(v); };
    switch (s.Kind) {
    case TQVScanKind::Rising: return first(first(from, notAbove), above);
    case TQVScanKind::Falling: return first(first(from, [&](float v) { return !below(v); }), below);
    default: break;
    }
    const auto level = [&](float v) {
        return s.Kind == TQVScanKind::InRangeSlope ? v > s.Low && v < s.High
               : s.Kind == TQVScanKind::RisingSlope ? above(v) : below(v);
    };
    int i = s.Kind == TQVScanKind::RisingSlope ? first(from, notAbove) : from;
    if (i > count)
        return i;
    for (float p = previous; i <= count; p = x[i - 1], ++i) {
        const long double d = (long double)x[i - 1] - p;
        if (level(x[i - 1]) && (s.Slope >= 0 ? d >= s.Slope : d <= s.Slope)) {
            previous = p;
            return i;
        }
    }
    previous = x[count - 1];
    return count + 1;
}

// Sparse events on a steady level, at every alignment: the vector scans test samples in
// chunks that must neither miss nor anticipate a hit. The values include a slope that only
// extended precision tells apart (1 - 2^-30 against 1) and NaN.
TEST_P(KernelPath, TriggerScanFollowsTheRules)
{
    const float values[] = {-1.0f, -0.5f, 0.0f, 0x1p-30f, 0.5f, 1.0f, NAN};
    std::mt19937 random(9);
    std::uniform_int_distribution<int> pick(0, 6), length(1, 300), offset(0, 15), percent(0, 99);
    std::vector<float> buffer(320);
    for (int trial = 0; trial < 20000; ++trial) {
        const TQVScanKind kind = TQVScanKind(trial % 5);
        const TQVScanSetup setup{kind, 0.0f, 0.9f, std::array{0.5f, 1.0f, -0.5f, -1.0f, 0.0f}[trial / 5 % 5]};
        const int count = length(random), density = trial % 3 == 0 ? 30 : 2;
        float *x = buffer.data() + offset(random);
        const float base = values[pick(random)];
        for (int i = 0; i < count; ++i)
            x[i] = percent(random) < density ? values[pick(random)] : base;
        const int from = std::uniform_int_distribution<int>(1, count + 1)(random);
        float previous = values[pick(random)], want = previous;
        const int got = TriggerScan(x, count, from, setup, previous);
        ASSERT_EQ(got, ScanReference(x, count, from, setup, want)) << "trial " << trial;
        ASSERT_TRUE(previous == want || (std::isnan(previous) && std::isnan(want))) << "trial " << trial;
    }
}

TEST_P(KernelPath, MaskedOr)
{
    std::mt19937_64 random(4);
    std::uint64_t words[41], mask[40];
    for (int trial = 0; trial < 500; ++trial) {
        for (std::uint64_t &w : words)
            w = random();
        std::uint64_t want = 0;
        for (int i = 0; i < 40; ++i) {
            mask[i] = random() % 64 == 0 ? random() : 0; // mostly clear words, as the slot masks are
            want |= i < trial % 40 ? (words[i] >> 8 | words[i + 1] << 56) & mask[i] : 0;
        }
        // From the second byte on: the words as they stand one byte further.
        ASSERT_EQ(MaskedOr(reinterpret_cast<unsigned char *>(words) + 1, mask, std::size_t(trial % 40)) != 0, want != 0)
            << trial;
    }
}

// Every placement of the destination relative to the source modulo 4 KiB near the switch
// between the forward and the backward copy, and lengths around the chunk size.
TEST(CopySamples, CopiesExactlyTheGivenSamplesWhereverTheyLie)
{
    std::vector<float> source(4096), target(2048 + 4096);
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = float(i) + 0.5f;
    for (const int shift : {0, 1, 3, 15, 16, 17, 63, 64, 65, 1023}) {
        for (const int n : {0, 1, 15, 16, 63, 64, 65, 1000, 1024}) {
            std::fill(target.begin(), target.end(), -1.0f);
            // destination - source = shift floats modulo 4 KiB
            const std::uintptr_t gap = (reinterpret_cast<std::uintptr_t>(source.data() + 7) - reinterpret_cast<std::uintptr_t>(target.data())) % 4096;
            float *destination = target.data() + (gap / sizeof(float)) + std::size_t(shift);
            ASSERT_EQ(((reinterpret_cast<std::uintptr_t>(destination) - reinterpret_cast<std::uintptr_t>(source.data() + 7)) & 4095), std::uintptr_t(shift) * sizeof(float) % 4096);
            CopySamples(destination, source.data() + 7, n);
            for (std::size_t i = 0; i < target.size(); ++i) {
                const std::ptrdiff_t k = std::ptrdiff_t(i) - (destination - target.data());
                ASSERT_EQ(target[i], k >= 0 && k < n ? source[std::size_t(7 + k)] : -1.0f) << shift << " " << n << " " << i;
            }
        }
    }
}

// ---------------------------------------------------------------------------------------
// IIR cascade

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

