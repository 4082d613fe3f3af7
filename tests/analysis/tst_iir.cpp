#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include <QtCore/QVariant>

#include "analysis/qvFilter.h"

namespace {

using LD = long double;
using IIR = TQVIIRFilter;
constexpr LD Pi = std::numbers::pi_v<LD>;

class CountingIIR : public TQVIIRFilter
{
public:
    int Calls = 0;
    void CalcParameters() override
    {
        ++Calls;
        TQVIIRFilter::CalcParameters();
    }
};

// |H(f)|^2 of the Butterworth design under the bilinear transform with pre-warped edges:
// the prototype of order n in Omega, with Omega = W / W1 (low-pass), W1 / W (high-pass) and
// (W^2 - W1 W2) / (W (W2 - W1)) (band-pass), W = tan(pi f / fs).
LD AnalyticGain2(IIR::TQVIirFilterOutput output, int n, LD f, LD fs, LD f1, LD f2)
{
    const LD w = std::tan(Pi * f / fs);
    const LD w1 = std::tan(Pi * f1 / fs);
    const LD w2 = std::tan(Pi * f2 / fs);
    LD omega = 0;
    switch (output) {
    case IIR::iirLowPass: omega = w / w1; break;
    case IIR::iirHighPass: omega = w1 / w; break;
    case IIR::iirBandPass: omega = (w * w - w1 * w2) / (w * (w2 - w1)); break;
    }
    return 1 / (1 + std::pow(omega * omega, LD(n)));
}

// |H(f)|^2 from the impulse response: a long-double DFT of what FilterArray delivers.
LD MeasuredGain2(const std::vector<float> &h, LD f, LD fs)
{
    const std::complex<LD> z = std::polar(LD(1), -2 * Pi * f / fs);
    std::complex<LD> sum = 0;
    for (auto it = h.rbegin(); it != h.rend(); ++it)
        sum = sum * z + LD(*it);
    return std::norm(sum);
}

LD Db(LD gain2)
{
    return 10 * std::log10(gain2);
}

struct Design
{
    IIR::TQVIirFilterOutput Output;
    float F1;
    float F2;
};

} // namespace

TEST(IIRResponse, MagnitudeFollowsTheButterworthDesignForEveryOrder)
{
    constexpr float Fs = 1000.0f;
    constexpr int Length = 16384;
    const Design designs[] = {
        {IIR::iirLowPass, 20.0f, 0}, {IIR::iirLowPass, 150.0f, 0}, {IIR::iirLowPass, 420.0f, 0},
        {IIR::iirHighPass, 20.0f, 0}, {IIR::iirHighPass, 150.0f, 0}, {IIR::iirHighPass, 400.0f, 0},
        {IIR::iirBandPass, 100.0f, 200.0f}, {IIR::iirBandPass, 10.0f, 400.0f},
        {IIR::iirBandPass, 240.0f, 250.0f}, // narrow
    };
    for (int requested = 2; requested <= 11; ++requested) {
        // Odd orders are taken rounded down; 11 is refused and leaves the previous order.
        const int order = requested == 11 ? 10 : requested / 2 * 2;
        for (const Design &d : designs) {
            SCOPED_TRACE(testing::Message() << "order " << requested << " output " << int(d.Output) << " f1 "
                                            << d.F1 << " f2 " << d.F2);
            IIR filter;
            filter.SetOrder(10);
            filter.SetOrder(requested);
            filter.SetSampleFrequency(Fs);
            filter.SetCutoffHighFrequency(d.F2 > 0 ? d.F2 : 0.75f);
            filter.SetCutoffFrequency(d.F1);
            filter.SetFilterOutput(d.Output);
            ASSERT_EQ(filter.Order(), order);

            std::vector<float> h(Length, 0.0f);
            h[0] = 1.0f;
            filter.FilterArray(h.data(), Length);
            // The response has died out: the DFT of the truncated response is the filter's.
            for (int k = Length - 64; k < Length; ++k)
                ASSERT_LT(std::fabs(h[k]), 1e-9f);

            // The edges (-3 dB), the middle of the band and a grid up to half the rate: 0.05 dB
            // in the pass band, 0.2 dB beyond, down to -80 dB.
            std::vector<LD> points{d.F1, d.F2, (d.F1 + d.F2) / 2};
            for (int k = 0; k < 50; ++k)
                points.push_back(k * Fs / 100);
            for (LD f : points) {
                const LD expected = Db(AnalyticGain2(d.Output, order, f, Fs, d.F1, d.F2));
                if (expected > -80) {
                    EXPECT_NEAR(Db(MeasuredGain2(h, f, Fs)), expected, expected > Db(0.5L) - 1e-9L ? 0.05L : 0.2L)
                        << "f " << double(f);
                }
            }
        }
    }
}

TEST(IIRResponse, FilterArrayContinuesWhatFilterDoesAndResetClearsTheState)
{
    for (IIR::TQVIirFilterOutput output : {IIR::iirLowPass, IIR::iirBandPass, IIR::iirHighPass}) {
        IIR a, b;
        for (IIR *f : {&a, &b}) {
            f->SetSampleFrequency(48000.0f);
            f->SetCutoffFrequency(1000.0f);
            f->SetCutoffHighFrequency(3000.0f);
            f->SetOrder(6);
            f->SetFilterOutput(output);
        }
        std::vector<float> x(3000);
        for (std::size_t k = 0; k < x.size(); ++k)
            x[k] = float(std::sin(0.05 * k) + 0.4 * std::cos(0.9 * k + 0.3));
        std::vector<float> y = x;
        // Per sample on one, in blocks on the other, with a reset in the middle of both.
        for (std::size_t k = 0; k < x.size(); ++k) {
            if (k == 1800)
                a.Reset();
            x[k] = a.Filter(x[k]);
        }
        b.FilterArray(y.data(), 1000);
        b.FilterArray(y.data() + 1000, 800);
        b.Reset();
        b.FilterArray(y.data() + 1800, 1200);
        for (std::size_t k = 0; k < x.size(); ++k)
            ASSERT_NEAR(y[k], x[k], 1e-6f * (1 + std::fabs(x[k]))) << k;
    }
}

TEST(IIRProperties, OrderAndOutputRules)
{
    CountingIIR filter;
    EXPECT_EQ(filter.Order(), 2);
    EXPECT_EQ(filter.FilterOutput(), IIR::iirLowPass);
    EXPECT_EQ(filter.CutoffHighFrequency(), 0.75f);

    filter.SetOrder(3); // differs from the stored 2: recalculates, stays 2
    EXPECT_EQ(filter.Order(), 2);
    EXPECT_EQ(filter.Calls, 1);
    filter.SetOrder(5);
    EXPECT_EQ(filter.Order(), 4);
    EXPECT_EQ(filter.Calls, 2);
    for (int refused : {4, 11, 1, 0, -2, 12}) {
        filter.SetOrder(refused);
        EXPECT_EQ(filter.Order(), 4);
    }
    EXPECT_EQ(filter.Calls, 2);

    filter.SetFilterOutput(IIR::iirLowPass); // unchanged, still recalculates
    EXPECT_EQ(filter.Calls, 3);
    EXPECT_TRUE(filter.setProperty("FilterOutput", QVariant::fromValue(IIR::iirBandPass)));
    EXPECT_EQ(filter.FilterOutput(), IIR::iirBandPass);
    filter.SetFilterOutput(static_cast<IIR::TQVIirFilterOutput>(3));
    EXPECT_EQ(filter.FilterOutput(), IIR::iirBandPass);

    const int calls = filter.Calls;
    for (float refused : {0.75f, 0.0f, -3.0f, std::nanf("")})
        filter.SetCutoffHighFrequency(refused);
    EXPECT_EQ(filter.CutoffHighFrequency(), 0.75f);
    EXPECT_EQ(filter.Calls, calls);
    filter.SetCutoffHighFrequency(0.8f);
    EXPECT_EQ(filter.CutoffHighFrequency(), 0.8f);
    EXPECT_EQ(filter.Calls, calls + 1);
}

TEST(IIRProperties, CoefficientChangeKeepsTheState)
{
    // After a cutoff change the output continues from the old history, unlike after a reset.
    IIR filter;
    filter.SetSampleFrequency(1000.0f);
    filter.SetCutoffFrequency(100.0f);
    filter.SetOrder(4);
    for (int k = 0; k < 50; ++k)
        filter.Filter(1.0f);
    filter.SetCutoffFrequency(60.0f);
    EXPECT_GT(filter.Filter(1.0f), 0.9f); // settled low-pass output, not a restart
    filter.Reset();
    EXPECT_LT(filter.Filter(1.0f), 0.1f);
}
