#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numeric>
#include <numbers>
#include <vector>

#include "analysis/qvDistortion.h"

namespace {

// A tone of amplitude 1 between bins, harmonics 2, 3 and 5, a spur that is no harmonic, and
// DC, through a 4-term Blackman-Harris window; the power spectrum by a direct DFT, with a
// bin that is not finite (it must count as nothing).
constexpr int N = 2048;
constexpr double Fundamental = 61.3, A2 = 0.02, A3 = 0.005, A5 = 0.002, Spur = 0.003, SpurBin = 250.77;

std::vector<double> PowerSpectrum()
{
    const double pi = std::numbers::pi;
    std::vector<double> x(N);
    for (int n = 0; n < N; ++n) {
        const double t = 2 * pi * n / N;
        const double window = 0.35875 - 0.48829 * std::cos(t) + 0.14128 * std::cos(2 * t) - 0.01168 * std::cos(3 * t);
        const double f = t * Fundamental;
        x[n] = window * (0.4 + std::sin(f) + A2 * std::sin(2 * f + 1.0) + A3 * std::sin(3 * f + 2.0) +
                         A5 * std::sin(5 * f + 0.5) + Spur * std::sin(t * SpurBin));
    }
    std::vector<double> power(N / 2 + 1);
    for (int k = 0; k <= N / 2; ++k) {
        std::complex<double> sum = 0;
        for (int n = 0; n < N; ++n)
            sum += x[n] * std::polar(1.0, -2 * pi * ((k * n) % N) / N);
        power[k] = std::norm(sum);
    }
    power[900] = NAN;
    return power;
}

} // namespace

// THD, THD+N and SINAD by their closed forms over the tones inside the bins looked at:
// DC never counts, the harmonics stop at the count asked for or the last bin; a spectrum
// that starts above 0 Hz (here at bin 2, where DC is left out) reads the same.
TEST(Distortion, ReadsTheClosedFormsOfTheTonesInTheBand)
{
    const std::vector<double> power = PowerSpectrum();
    struct Row { int First, Last, Harmonics; std::vector<double> Thd, Rest; int Found, Origin = 0; };
    const Row rows[] = {
        {0, N / 2, 10, {A2, A3, A5}, {A2, A3, A5, Spur}, 9},
        {30, N / 2, 10, {A2, A3, A5}, {A2, A3, A5, Spur}, 9},
        {0, N / 2, 2, {A2}, {A2, A3, A5, Spur}, 1},
        {0, 200, 10, {A2, A3}, {A2, A3}, 2}, // harmonic 3 at bin 183.9, the spur outside
        {0, N / 2 - 2, 10, {A2, A3, A5}, {A2, A3, A5, Spur}, 9, 2},
    };
    const auto squares = [](const std::vector<double> &a) { return std::inner_product(a.begin(), a.end(), a.begin(), 0.0); };
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.First << ".." << row.Last << ", " << row.Harmonics << ", " << row.Origin);
        const TQVDistortion d = QVDistortion(power.data() + row.Origin, int(power.size()) - row.Origin, row.First, row.Last,
                                             row.Harmonics, row.Origin);
        EXPECT_NEAR(d.Fundamental + row.Origin, Fundamental, 0.01);
        ASSERT_EQ(d.Harmonics.size(), std::size_t(row.Found));
        for (std::size_t i = 0; i < d.Harmonics.size(); ++i) {
            const TQVHarmonic &h = d.Harmonics[i];
            EXPECT_EQ(h.Number, int(i) + 2);
            // A harmonic that is there peaks at its nearest bin; one that is not is leakage.
            const double amplitude = h.Number == 2 ? A2 : h.Number == 3 ? A3 : h.Number == 5 ? A5 : 0.0;
            EXPECT_NEAR(h.Peak + row.Origin, h.Number * Fundamental, amplitude > 0 ? 0.5 : 1.5) << h.Number;
            EXPECT_NEAR(std::sqrt(h.Power / d.FundamentalPower), amplitude, amplitude > 0 ? 1e-5 * amplitude : 1e-6) << h.Number;
        }
        const double thd = std::sqrt(squares(row.Thd)), rest = squares(row.Rest);
        EXPECT_NEAR(d.Thd / thd, 1.0, 1e-6);
        EXPECT_NEAR(d.ThdN / std::sqrt(rest), 1.0, 1e-5);
        EXPECT_NEAR(d.Sinad, 10 * std::log10((1 + rest) / rest), 1e-4);
    }

    // Arguments out of range give no reading.
    const std::vector<double> zeros(100, 0.0);
    const struct { const double *Power; int Count, First, Last, Harmonics; double Origin = 0; } bad[] = {
        {nullptr, 10, 0, 9, 5}, {power.data(), 2, 0, 1, 5}, {power.data(), 100, -1, 99, 5}, {power.data(), 100, 0, 100, 5},
        {power.data(), 100, 50, 51, 5}, {power.data(), 100, 0, 99, 1}, {power.data(), 100, 0, 99, 101},
        {zeros.data(), 100, 0, 99, 5}, {power.data(), 100, 0, 99, 5, -0.6}, {power.data(), 100, 0, 99, 5, NAN},
    };
    for (const auto &b : bad)
        EXPECT_TRUE(std::isnan(QVDistortion(b.Power, b.Count, b.First, b.Last, b.Harmonics, b.Origin).Fundamental)) << b.Count;
}
