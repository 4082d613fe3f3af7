#include <gtest/gtest.h>

#include <array>
#include <cmath>
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

// A constant input c in blocks of 700 and 1300 around 300 single samples: both paths and the
// hand-over between them.
template <typename F>
std::vector<float> StepResponse(F &filter, float c)
{
    std::vector<float> y(2300, c);
    filter.FilterArray(y.data(), 700);
    for (int n = 700; n < 1000; ++n)
        y[n] = filter.Filter(c);
    filter.FilterArray(y.data() + 1000, 1300);
    return y;
}

// Output `output` (low, band, high, notch) of the state-variable recursion for a constant
// input c, in matrix form: the state v = (band, low) obeys v' = A v + (F c, 0) with fixed
// point (0, c), so after n samples v_n = (0, c) - A^n (0, c).
std::vector<LD> SvfStep(LD f, LD damping, LD c, int output, int count)
{
    std::vector<LD> y;
    LD p0 = 0, p1 = 1; // A^n (0, 1)
    for (int n = 0; n < count; ++n) {
        const LD band = -p0 * c, next = (1 - f * f - f * damping) * p0 - f * p1;
        p1 += f * p0;
        p0 = next;
        const LD low = c - p1 * c, high = c - low - damping * band;
        const LD outputs[4] = {low, -p0 * c, high, high + low};
        y.push_back(outputs[output]);
    }
    return y;
}

} // namespace

TEST(RCFilter, StepResponsesDecayByDPerSample)
{
    constexpr float C = 2.5f;
    for (float fc : {1.0f, 10.0f, 100.0f}) {
        const LD d = std::exp(-2 * Pi * fc / 1000);
        TQVRCLowpass low;
        TQVRCHighpass high;
        Configure(low, 1000.0f, fc);
        Configure(high, 1000.0f, fc);
        const std::vector<float> yl = StepResponse(low, C), yh = StepResponse(high, C);
        for (int n = 0; n < 2300; ++n) {
            // Low-pass: one sample late, then c (1 - d^n); high-pass: c d^n.
            ASSERT_NEAR(yl[n], C - C * std::pow(d, LD(n)), 2e-6 * C) << n;
            ASSERT_NEAR(yh[n], C * std::pow(d, LD(n)), 2e-6 * C) << n;
        }
        EXPECT_EQ(yl[0], 0.0f);
        EXPECT_EQ(yh[0], C);
        EXPECT_NEAR(low.Filter(C), C, 1e-5f * C);

        // Reset: the next output starts again from an empty state.
        low.Reset();
        high.Reset();
        EXPECT_EQ(low.Filter(C), 0.0f);
        EXPECT_EQ(high.Filter(C), C);
    }
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
        for (int output = 0; output < 4; ++output) {
            SCOPED_TRACE(testing::Message() << "Q " << q << " output " << output);
            SVF filter;
            Configure(filter, 1000.0f, 30.0f);
            filter.SetQ(q);
            filter.SetFilterOutput(SVF::TQVFilterOutput(output));
            const std::vector<float> y = StepResponse(filter, C);
            const std::vector<LD> want = SvfStep(float(2 * std::sin(Pi * 30 / 1000)), float(1.0L / q), C, output, 1100);
            for (int n = 0; n < 1100; ++n)
                ASSERT_NEAR(y[n], want[n], 2e-6 * C) << n;
            // Unit gain at 0 Hz for low-pass and notch, none for band- and high-pass.
            EXPECT_NEAR(y.back(), output == SVF::foLowPass || output == SVF::foNotch ? C : 0.0f, 1e-5f);
        }
    }
}

TEST(SVFilter, OutputSwitchLeavesTheStateAlone)
{
    // One filter cycles through the outputs, four samples one by one, then four blocks; four
    // twins each keep one output.
    SVF cycling;
    std::array<SVF, 4> fixed;
    Configure(cycling, 1000.0f, 80.0f);
    for (int k = 0; k < 4; ++k) {
        Configure(fixed[k], 1000.0f, 80.0f);
        fixed[k].SetFilterOutput(SVF::TQVFilterOutput(k));
    }
    for (int n = 0; n < 240; ++n) {
        const bool blocks = n / 4 % 2;
        std::vector<float> x(blocks ? 5 : 1), y[4];
        for (std::size_t i = 0; i < x.size(); ++i)
            x[i] = float(std::sin(0.3 * n + 0.07 * double(i)) + (n % 17 == 0 ? 1.0 : 0.0));
        for (int j = 0; j < 4; ++j) {
            y[j] = x;
            blocks ? fixed[j].FilterArray(y[j].data(), 5) : void(y[j][0] = fixed[j].Filter(x[0]));
        }
        cycling.SetFilterOutput(SVF::TQVFilterOutput(n % 4));
        blocks ? cycling.FilterArray(x.data(), 5) : void(x[0] = cycling.Filter(x[0]));
        ASSERT_EQ(x, y[n % 4]) << n;
    }
}
