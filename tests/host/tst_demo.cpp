#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "host/demo/qvDemoPanel.h"

namespace {

using LD = long double;

// |H(f)| of the Butterworth low-pass of order n under the bilinear transform with a
// pre-warped edge: 1 / sqrt(1 + (tan(pi f / fs) / tan(pi fc / fs))^(2n)).
LD ButterworthGain(LD f, LD fc, LD fs, int n)
{
    const LD ratio = std::tan(std::numbers::pi_v<LD> * f / fs) / std::tan(std::numbers::pi_v<LD> * fc / fs);
    return 1 / std::sqrt(1 + std::pow(ratio * ratio, LD(n)));
}

} // namespace

// The whole demo chain for 1000 blocks: every display shows the RMS of the filtered sine,
// which the filter's closed-form gain gives (the sine has a whole number of periods in a
// block, and the filter has long settled).
TEST(DemoChain, DisplaysShowTheRmsOfTheFilteredSine)
{
    struct Case { double Frequency, Cutoff; };
    for (const Case c : {Case{984.375, 4000.0}, Case{1500.0, 1500.0}, Case{5015.625, 2000.0}}) {
        SCOPED_TRACE(c.Frequency);
        TQVDemoPanel panel;
        panel.NoiseDial().SetValue(0.0); // the inputs drive the chain
        panel.FrequencySlider().SetValue(c.Frequency);
        panel.CutoffDial().SetValue(c.Cutoff);
        ASSERT_EQ(panel.Generator().Frequency(), c.Frequency);
        ASSERT_EQ(double(panel.Filter().CutoffFrequency()), c.Cutoff);
        panel.RunBlocks(1000);

        const double expected = double(ButterworthGain(c.Frequency, c.Cutoff, TQVDemoPanel::SampleRate, 4)
                                       / std::sqrt(LD(2)));
        EXPECT_NEAR(panel.Meter().Value(), expected, 2e-4 * expected);
        EXPECT_EQ(panel.BarGraph().Value(), std::clamp(panel.Meter().Value(), 0.0, 1.0));
        EXPECT_EQ(panel.PanelMeter().Value(), panel.Meter().Value());
        EXPECT_EQ(panel.Led().Value(), panel.Meter().Value() > TQVDemoPanel::AlarmLimit);
    }
}
