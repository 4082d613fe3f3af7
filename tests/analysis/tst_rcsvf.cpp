#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "analysis/qvFilter.h"

namespace {

using LD = long double;
using SVF = TQVStateVariableFilter;
constexpr LD Pi = std::numbers::pi_v<LD>;

template <typename F>
void Configure(F &filter, float fs, float fc)
{
    filter.SetSampleFrequency(fs);
    filter.SetCutoffFrequency(fc);
}

// Outputs of the state-variable recursion for a constant input c, in closed form: the
// state v = (band, low) obeys v' = A v + (F c, 0) with fixed point (0, c), so after n
// samples v_n = (0, c) - A^n (0, c).
struct SvfStep
{
    SvfStep(LD f, LD damping, LD c)
        : F(f), Q(damping), C(c)
    {
    }
    std::array<LD, 2> State(int n) const // (band, low) after n samples
    {
        LD p[2][2] = {{1, 0}, {0, 1}};
        const LD a[2][2] = {{1 - F * F - F * Q, -F}, {F, 1}};
        for (int k = 0; k < n; ++k) {
            const LD r[2][2] = {{a[0][0] * p[0][0] + a[0][1] * p[1][0], a[0][0] * p[0][1] + a[0][1] * p[1][1]},
                                {a[1][0] * p[0][0] + a[1][1] * p[1][0], a[1][0] * p[0][1] + a[1][1] * p[1][1]}};
            std::memcpy(p, r, sizeof p);
        }
        return {-p[0][1] * C, C - p[1][1] * C};
    }
    LD Output(SVF::TQVFilterOutput output, int n) const // output at sample n (0-based)
    {
        const auto before = State(n), after = State(n + 1);
        const LD high = C - after[1] - Q * before[0];
        switch (output) {
        case SVF::foLowPass: return after[1];
        case SVF::foBandPass: return after[0];
        case SVF::foHighPass: return high;
        case SVF::foNotch: return high + after[1];
        }
        return 0;
    }
    LD F, Q, C;
};

} // namespace

TEST(RCFilter, StepResponsesDecayByDPerSample)
{
    constexpr float C = 2.5f;
    for (float fc : {1.0f, 10.0f, 100.0f}) {
        const LD d = std::exp(-2 * Pi * fc / 1000);
        TQVRCLowpass low, lowBlock;
        TQVRCHighpass high, highBlock;
        Configure(low, 1000.0f, fc);
        Configure(lowBlock, 1000.0f, fc);
        Configure(high, 1000.0f, fc);
        Configure(highBlock, 1000.0f, fc);
        std::vector<float> lowArray(3000, C), highArray(3000, C);
        lowBlock.FilterArray(lowArray.data(), 1000);
        lowBlock.FilterArray(lowArray.data() + 1000, 2000);
        highBlock.FilterArray(highArray.data(), 3000);
        for (int n = 0; n < 3000; ++n) {
            const LD decayed = C * std::pow(d, LD(n));
            const float yl = low.Filter(C), yh = high.Filter(C);
            // Low-pass: one sample late, then c (1 - d^n); high-pass: c d^n.
            ASSERT_NEAR(yl, C - decayed, 2e-6 * C) << n;
            ASSERT_NEAR(lowArray[n], C - decayed, 2e-6 * C) << n;
            ASSERT_NEAR(yh, decayed, 2e-6 * C) << n;
            ASSERT_NEAR(highArray[n], decayed, 2e-6 * C) << n;
        }
        EXPECT_EQ(lowArray[0], 0.0f);
        EXPECT_EQ(highArray[0], C);
        EXPECT_NEAR(low.Filter(C), C, 1e-5f * C);

        // Reset: the next output starts again from an empty state.
        low.Reset();
        high.Reset();
        EXPECT_EQ(low.Filter(C), 0.0f);
        EXPECT_EQ(high.Filter(C), C);
    }
}

TEST(RCFilter, FrequencyChangeKeepsTheState)
{
    TQVRCLowpass filter;
    Configure(filter, 1000.0f, 50.0f);
    for (int n = 0; n < 20; ++n)
        filter.Filter(1.0f);
    LD s = 0; // s[n] = sum of d^k for k < 20
    for (int n = 0; n < 20; ++n)
        s = s * std::exp(-2 * Pi * 50 / 1000) + 1;
    filter.SetCutoffFrequency(80.0f);
    EXPECT_NEAR(filter.Filter(1.0f), (1 - std::exp(-2 * Pi * 80 / 1000)) * s, 1e-6);
}

TEST(SVFilter, QRuleAndDefaults)
{
    SVF filter;
    EXPECT_EQ(filter.Q(), 1.0f);
    EXPECT_EQ(filter.FilterOutput(), SVF::foLowPass);
    for (float refused : {0.4f, 0.39f, 0.0f, -2.0f, std::nanf(""), 1.0f}) {
        filter.SetQ(refused);
        EXPECT_EQ(filter.Q(), 1.0f);
    }
    filter.SetQ(0.41f);
    EXPECT_EQ(filter.Q(), 0.41f);
    filter.SetFilterOutput(static_cast<SVF::TQVFilterOutput>(4));
    EXPECT_EQ(filter.FilterOutput(), SVF::foLowPass);
}

TEST(SVFilter, StepResponsesAndLimits)
{
    constexpr float C = 1.5f;
    for (float q : {0.5f, 0.707f, 5.0f}) {
        for (SVF::TQVFilterOutput output : {SVF::foLowPass, SVF::foBandPass, SVF::foHighPass, SVF::foNotch}) {
            SCOPED_TRACE(testing::Message() << "Q " << q << " output " << int(output));
            SVF perSample, block;
            for (SVF *f : {&perSample, &block}) {
                Configure(*f, 1000.0f, 30.0f);
                f->SetQ(q);
                f->SetFilterOutput(output);
            }
            const SvfStep step(float(2 * std::sin(Pi * 30 / 1000)), float(1.0L / q), C);
            std::vector<float> x(2000, C);
            block.FilterArray(x.data(), 700);
            block.FilterArray(x.data() + 700, 1300);
            for (int n = 0; n < 300; ++n) {
                const LD expected = step.Output(output, n);
                ASSERT_NEAR(perSample.Filter(C), expected, 2e-6 * C) << n;
                ASSERT_NEAR(x[n], expected, 2e-6 * C) << n;
            }
            // Unit gain at 0 Hz for low-pass and notch, none for band- and high-pass.
            const bool passes = output == SVF::foLowPass || output == SVF::foNotch;
            EXPECT_NEAR(x.back(), passes ? C : 0.0f, 1e-5f);
        }
    }
}

TEST(SVFilter, OutputSwitchLeavesTheStateAlone)
{
    // One filter cycles through the outputs; four twins each keep one output.
    SVF cycling;
    std::array<SVF, 4> fixed;
    Configure(cycling, 1000.0f, 80.0f);
    for (int k = 0; k < 4; ++k) {
        Configure(fixed[k], 1000.0f, 80.0f);
        fixed[k].SetFilterOutput(SVF::TQVFilterOutput(k));
    }
    for (int n = 0; n < 200; ++n) {
        const float x = float(std::sin(0.3 * n) + (n % 17 == 0 ? 1.0 : 0.0));
        const int k = n % 4;
        cycling.SetFilterOutput(SVF::TQVFilterOutput(k));
        float y[4];
        for (int j = 0; j < 4; ++j)
            y[j] = fixed[j].Filter(x);
        ASSERT_EQ(cycling.Filter(x), y[k]) << n;
    }
    // The same in blocks.
    for (int n = 0; n < 40; ++n) {
        std::vector<float> x(5), y[4];
        for (int i = 0; i < 5; ++i)
            x[i] = float(std::cos(0.2 * (5 * n + i)));
        for (int j = 0; j < 4; ++j) {
            y[j] = x;
            fixed[j].FilterArray(y[j].data(), 5);
        }
        cycling.SetFilterOutput(SVF::TQVFilterOutput(n % 4));
        cycling.FilterArray(x.data(), 5);
        ASSERT_EQ(x, y[n % 4]) << n;
    }
}
