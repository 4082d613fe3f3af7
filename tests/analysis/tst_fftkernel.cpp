#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "analysis/qvFFTKernel.h"

namespace {

using LComplex = std::complex<long double>;
constexpr long double Pi = std::numbers::pi_v<long double>;

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

// Direct sum of the definition: sign +1 for the forward exponent, -1 for the inverse.
std::vector<LComplex> DirectDFT(const std::vector<LComplex> &x, int sign)
{
    const std::size_t n = x.size();
    std::vector<LComplex> roots(n), y(n);
    for (std::size_t k = 0; k < n; ++k)
        roots[k] = std::polar(1.0L, sign * 2 * Pi * k / n);
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t i = 0; i < n; ++i)
            y[k] += x[i] * roots[(i * k) % n];
    return y;
}

// Recursive textbook transform in extended precision with exact roots, for sizes where
// the direct sum is too slow; checked against the direct sum below.
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

std::vector<LComplex> ReferenceFFT(const std::vector<LComplex> &x, int sign)
{
    const std::size_t n = x.size();
    std::vector<LComplex> roots(n), y(n);
    for (std::size_t k = 0; k < n; ++k)
        roots[k] = std::polar(1.0L, sign * 2 * Pi * k / n);
    Recurse(x.data(), n, 1, roots, y.data());
    return y;
}

long double RelativeRms(const std::vector<float> &re, const std::vector<float> &im, const std::vector<LComplex> &ref)
{
    long double error = 0, norm = 0;
    for (std::size_t k = 0; k < ref.size(); ++k) {
        error += std::norm(LComplex(re[k], im[k]) - ref[k]);
        norm += std::norm(ref[k]);
    }
    return std::sqrt(error / norm);
}

class FFTKernelTest : public ::testing::TestWithParam<TQVFFTKernel::Path>
{
protected:
    void SetUp() override
    {
        if (GetParam() == TQVFFTKernel::Path::Avx2Fma && !TQVFFTKernel::HasAvx2Fma())
            GTEST_SKIP() << "no AVX2 with FMA on this processor";
    }

    void Prepare(TQVFFTKernel &kernel, const TQVTables &tables, int n)
    {
        kernel.Prepare(n, tables.Cos.data(), tables.Sin.data());
        kernel.SelectPath(GetParam());
        ASSERT_EQ(kernel.Size(), n);
        ASSERT_EQ(kernel.ActivePath(), GetParam());
    }
};

TEST(FFTKernelReference, RecursiveMatchesDirectSum)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<long double> value(-1, 1);
    std::vector<LComplex> x(512);
    for (auto &v : x)
        v = {value(random), value(random)};
    for (int sign : {1, -1}) {
        const auto direct = DirectDFT(x, sign);
        const auto recursive = ReferenceFFT(x, sign);
        for (std::size_t k = 0; k < x.size(); ++k)
            ASSERT_LT(std::abs(direct[k] - recursive[k]), 1e-15L);
    }
}

// Every size 2..2^16: forward and inverse against the extended-precision definition, and
// the round trip back to the input.
TEST_P(FFTKernelTest, MatchesDefinitionAndInverts)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (int n = 2; n <= 1 << 16; n *= 2) {
        SCOPED_TRACE(n);
        const TQVTables tables(n);
        TQVFFTKernel kernel;
        Prepare(kernel, tables, n);
        std::vector<float> re(n, 0.0f), im(n, 0.0f);
        std::vector<LComplex> x(n);
        for (std::size_t k = 0; k < x.size(); ++k) {
            re[k] = value(random);
            im[k] = value(random);
            x[k] = {re[k], im[k]};
        }
        const std::vector<float> re0 = re, im0 = im;

        kernel.Transform(re.data(), im.data(), false);
        auto forward = n <= 256 ? DirectDFT(x, +1) : ReferenceFFT(x, +1);
        for (auto &v : forward)
            v /= n;
        EXPECT_LT(RelativeRms(re, im, forward), 1e-6L);

        kernel.Transform(re.data(), im.data(), true);
        EXPECT_LT(RelativeRms(re, im, x), 1e-6L);

        // The inverse alone, from the untouched input.
        std::vector<float> re1 = re0, im1 = im0;
        kernel.Transform(re1.data(), im1.data(), true);
        const auto inverse = n <= 256 ? DirectDFT(x, -1) : ReferenceFFT(x, -1);
        EXPECT_LT(RelativeRms(re1, im1, inverse), 1e-6L);
    }
}

// Single tones land on their bin with the positive forward exponent and the 1/N scale, also
// in arrays that start off any vector alignment; the points around them stay untouched.
TEST_P(FFTKernelTest, ToneLandsOnItsBinInUnalignedArrays)
{
    for (int n : {4, 64, 4096}) {
        const TQVTables tables(n);
        TQVFFTKernel kernel;
        Prepare(kernel, tables, n);
        const int bin = n / 4 + 1;
        std::vector<float> reBuffer(n + 2, 7.0f), imBuffer(n + 2, 7.0f);
        float *re = reBuffer.data() + 1, *im = imBuffer.data() + 1;
        for (int k = 0; k < n; ++k) {
            // e^(-2 pi i bin k / n) correlates with the forward kernel at bin.
            re[k] = float(std::cos(2 * Pi * bin * k / n));
            im[k] = float(-std::sin(2 * Pi * bin * k / n));
        }
        kernel.Transform(re, im, false);
        for (int k = 0; k < n; ++k) {
            EXPECT_NEAR(re[k], k == bin ? 1.0f : 0.0f, 1e-5f) << n << " " << k;
            EXPECT_NEAR(im[k], 0.0f, 1e-5f) << n << " " << k;
        }
        EXPECT_EQ(reBuffer.front(), 7.0f);
        EXPECT_EQ(reBuffer.back(), 7.0f);
        EXPECT_EQ(imBuffer.front(), 7.0f);
        EXPECT_EQ(imBuffer.back(), 7.0f);
    }
}

INSTANTIATE_TEST_SUITE_P(FFTKernel, FFTKernelTest,
                         ::testing::Values(TQVFFTKernel::Path::Portable, TQVFFTKernel::Path::Avx2Fma),
                         [](const auto &info) {
                             return info.param == TQVFFTKernel::Path::Portable ? "Portable" : "Avx2Fma";
                         });

TEST(FFTKernelState, UnpreparedOrClearedDoesNothing)
{
    std::vector<float> re{1, 2, 3, 4}, im{5, 6, 7, 8};
    const std::vector<float> re0 = re, im0 = im;
    TQVFFTKernel kernel;
    EXPECT_EQ(kernel.Size(), 0);
    kernel.Transform(re.data(), im.data(), false);
    EXPECT_EQ(re, re0);
    EXPECT_EQ(im, im0);

    const TQVTables tables(4);
    kernel.Prepare(4, tables.Cos.data(), tables.Sin.data());
    EXPECT_EQ(kernel.Size(), 4);
    kernel.Clear();
    EXPECT_EQ(kernel.Size(), 0);
    kernel.Transform(re.data(), im.data(), true);
    EXPECT_EQ(re, re0);

    // Sizes that are not powers of two, or missing tables, leave it unprepared.
    for (int n : {0, 1, 3, 12, -8}) {
        kernel.Prepare(n, tables.Cos.data(), tables.Sin.data());
        EXPECT_EQ(kernel.Size(), 0) << n;
    }
    kernel.Prepare(4, nullptr, tables.Sin.data());
    EXPECT_EQ(kernel.Size(), 0);
    kernel.Transform(re.data(), im.data(), false);
    EXPECT_EQ(re, re0);
    EXPECT_EQ(im, im0);
}

} // namespace
