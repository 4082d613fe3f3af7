#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "analysis/qvFFT.h"

namespace {

using LD = long double;
using CLD = std::complex<LD>;
constexpr LD Pi = 3.14159265358979323846264338327950288L;

std::vector<CLD> RandomSignal(int n, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<CLD> x(std::size_t(n), 0);
    for (CLD &v : x)
        v = CLD(dist(gen), dist(gen));
    return x;
}

void Load(TQVComplexVector &v, const std::vector<CLD> &x)
{
    for (int i = 0; i < v.Count(); ++i) {
        (*v.Re())[i] = float(x[std::size_t(i)].real());
        (*v.Im())[i] = float(x[std::size_t(i)].imag());
    }
}

std::vector<CLD> Read(const TQVComplexVector &v)
{
    std::vector<CLD> x(std::size_t(v.Count()), 0);
    for (int i = 0; i < v.Count(); ++i)
        x[std::size_t(i)] = CLD((*v.Re())[i], (*v.Im())[i]);
    return x;
}

// X[k] = scale * sum x[n] e^(sign 2 pi i n k / N), directly.
std::vector<CLD> Dft(const std::vector<CLD> &x, int sign, LD scale)
{
    const std::size_t n = x.size();
    std::vector<CLD> w(n, 0), out(n, 0);
    for (std::size_t m = 0; m < n; ++m)
        w[m] = std::polar(1.0L, sign * 2 * Pi * LD(m) / LD(n));
    for (std::size_t k = 0; k < n; ++k) {
        CLD sum = 0;
        for (std::size_t j = 0; j < n; ++j)
            sum += x[j] * w[(j * k) % n];
        out[k] = sum * scale;
    }
    return out;
}

LD RelativeRms(const std::vector<CLD> &got, const std::vector<CLD> &ref)
{
    LD err = 0, norm = 0;
    for (std::size_t i = 0; i < ref.size(); ++i) {
        err += std::norm(got[i] - ref[i]);
        norm += std::norm(ref[i]);
    }
    return std::sqrt(err / norm);
}

// An engine of 2^exponent points.
struct Engine
{
    explicit Engine(int exponent) { Fft.SetExponent(exponent); }
    TQVFFT Fft;
};

TEST(FFTEngineTest, ComplexForwardMatchesScaledDft)
{
    for (int exponent : {1, 3, 10, 12}) {
        Engine e(exponent);
        const int n = e.Fft.Size();
        ASSERT_EQ(1 << exponent, n);
        const std::vector<CLD> x = RandomSignal(n, unsigned(exponent));
        TQVComplexVector v(n);
        Load(v, x);
        e.Fft.ComplexFFT(&v, false);
        EXPECT_LT(RelativeRms(Read(v), Dft(x, +1, 1.0L / n)), 1e-6L) << n;
        Load(v, x);
        e.Fft.ComplexFFT(&v, true);
        EXPECT_LT(RelativeRms(Read(v), Dft(x, -1, 1.0L)), 1e-6L) << n;
    }
}

TEST(FFTEngineTest, ForwardThenInverseRestores)
{
    Engine e(16);
    const std::vector<CLD> x = RandomSignal(1 << 16, 7);
    TQVComplexVector v(1 << 16);
    Load(v, x);
    e.Fft.ComplexFFT(&v, false);
    e.Fft.ComplexFFT(&v, true);
    EXPECT_LT(RelativeRms(Read(v), x), 1e-6L);
}

TEST(FFTEngineTest, WrongLengthsDoNothing)
{
    TQVFFT fft;
    fft.SetLeakType(wnHanning);
    TQVComplexVector shortVector(512), longVector(2048);
    Load(shortVector, RandomSignal(512, 1));
    const std::vector<CLD> before = Read(shortVector);
    for (TQVComplexVector *v : {&shortVector, &longVector}) {
        fft.ComplexFFT(v, false);
        fft.PowerSpectrum(v);
        fft.AutoCorrelation(v);
        fft.CoeffToAmpl(v, true);
        fft.ComplexToReal(v);
    }
    fft.ComplexFFT(nullptr, false);
    EXPECT_EQ(before, Read(shortVector));

    // RealFFT refuses an input of another length than 2 Size before windowing it.
    TQVVector input(1024);
    for (int i = 0; i < 1024; ++i)
        input[i] = 1.0f;
    TQVComplexVector output(1024);
    fft.RealFFT(&input, &output, false);
    for (int i = 0; i < 1024; ++i)
        ASSERT_EQ(1.0f, input[i]);
    EXPECT_EQ(0.0f, (*output.Re())[0]);
    TQVComplexVector a(1024), b(1024), r(512);
    Load(a, RandomSignal(1024, 2));
    const std::vector<CLD> aBefore = Read(a);
    fft.CrossCorrelation(&r, &a, &b);
    EXPECT_EQ(aBefore, Read(a));
}

// A 2N-point real input through RealFFT: the mean in re[0], and for 0 < k < N the
// amplitude 2 |X[k]| and phase arg X[k], X the 1/(2N)-scaled transform with the positive
// exponent.
TEST(FFTEngineTest, RealTransformAmplitudesAndPhases)
{
    Engine e(9);
    const int n = 512;
    TQVVector input(2 * n);
    TQVComplexVector output(n);

    const float c = 0.625f;
    for (int i = 0; i < 2 * n; ++i)
        input[i] = c;
    e.Fft.RealFFT(&input, &output, false);
    EXPECT_FLOAT_EQ(c, (*output.Re())[0]);
    for (int k = 1; k < n; ++k)
        ASSERT_NEAR(0.0f, (*output.Re())[k], 1e-6f) << k;

    for (int bin : {1, 37, 511}) {
        const float amplitude = 1.75f;
        for (int i = 0; i < 2 * n; ++i)
            input[i] = float(amplitude * std::sin(2 * Pi * bin * i / (2 * n)));
        e.Fft.RealFFT(&input, &output, true);
        for (int k = 1; k < n; ++k)
            ASSERT_NEAR(k == bin ? amplitude : 0.0f, (*output.Re())[k], 2e-6f) << bin << " " << k;
        EXPECT_NEAR(Pi / 2, (*output.Im())[bin], 1e-5);
    }

    std::mt19937 gen(3);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<CLD> x(2 * n, 0);
    for (int i = 0; i < 2 * n; ++i)
        x[std::size_t(i)] = input[i] = dist(gen);
    const std::vector<CLD> ref = Dft(x, +1, 1.0L / (2 * n));
    for (bool withPhase : {false, true}) {
        TQVVector copy(2 * n);
        copy.Copy(&input);
        e.Fft.RealFFT(&copy, &output, withPhase);
        EXPECT_NEAR(double(ref[0].real()), (*output.Re())[0], 1e-7);
        for (int k = 1; k < n; ++k) {
            const CLD expected = 2.0L * ref[std::size_t(k)];
            ASSERT_NEAR(double(std::abs(expected)), (*output.Re())[k], 1e-6) << k;
            const CLD got = std::polar<LD>((*output.Re())[k], (*output.Im())[k]);
            if (withPhase)
                ASSERT_LT(std::abs(got - expected), 1e-6L) << k;
        }
    }
}

TEST(FFTEngineTest, PhaseConventions)
{
    Engine e(3);
    TQVComplexVector v(8);
    const float pairs[][2] = {{5, 5}, {0, -1}, {-1, 0}, {-1, 1}, {0, 1}, {0, 0}, {1, 1}, {-1, -1}};
    for (int i = 0; i < 8; ++i) {
        (*v.Re())[i] = pairs[i][0];
        (*v.Im())[i] = pairs[i][1];
    }
    e.Fft.CoeffToAmpl(&v, true);
    const double expectedPhase[] = {5, -3 * Pi / 2, 0, 3 * Pi / 4, Pi / 2, 0, Pi / 4, -3 * Pi / 4};
    EXPECT_EQ(5.0f, (*v.Re())[0]); // element 0 untouched
    EXPECT_EQ(-4.712389f, (*v.Im())[1]);
    for (int i = 1; i < 8; ++i) {
        EXPECT_FLOAT_EQ(float(expectedPhase[i]), (*v.Im())[i]) << i;
        EXPECT_FLOAT_EQ(std::hypot(pairs[i][0], pairs[i][1]), (*v.Re())[i]) << i;
    }
    // Without phase the imaginary parts stay.
    for (int i = 0; i < 8; ++i) {
        (*v.Re())[i] = pairs[i][0];
        (*v.Im())[i] = pairs[i][1];
    }
    e.Fft.CoeffToAmpl(&v, false);
    for (int i = 1; i < 8; ++i)
        EXPECT_EQ(pairs[i][1], (*v.Im())[i]);
}

TEST(FFTEngineTest, RealInverseRestoresRealTransform)
{
    Engine e(8);
    const int n = 256;
    TQVVector input(2 * n), restored(2 * n);
    TQVComplexVector spectrum(n);
    // Mean and components below half the sample rate: the transform keeps all of them.
    std::mt19937 gen(5);
    std::uniform_real_distribution<double> dist(-1.0, 1.0);
    std::vector<double> a(n), b(n);
    for (int k = 0; k < n; ++k) {
        a[std::size_t(k)] = dist(gen);
        b[std::size_t(k)] = dist(gen);
    }
    for (int i = 0; i < 2 * n; ++i) {
        double s = a[0];
        for (int k = 1; k < n; ++k)
            s += a[std::size_t(k)] * std::cos(double(Pi) * k * i / n) + b[std::size_t(k)] * std::sin(double(Pi) * k * i / n);
        input[i] = float(s / 8);
    }
    std::vector<CLD> original(2 * n, 0);
    for (int i = 0; i < 2 * n; ++i)
        original[std::size_t(i)] = input[i];
    e.Fft.RealFFT(&input, &spectrum, true);
    e.Fft.RealInverseFFT(&spectrum, &restored);
    std::vector<CLD> got(2 * n, 0);
    for (int i = 0; i < 2 * n; ++i)
        got[std::size_t(i)] = restored[i];
    EXPECT_LT(RelativeRms(got, original), 1e-6L);
}

// Circular sums of the definitions, long double.
std::vector<CLD> Correlate(const std::vector<CLD> &x, const std::vector<CLD> &y, bool convolve)
{
    const std::size_t n = x.size();
    std::vector<CLD> r(n, 0);
    for (std::size_t m = 0; m < n; ++m) {
        CLD sum = 0;
        for (std::size_t p = 0; p < n; ++p)
            sum += convolve ? x[p] * y[(m + n - p) % n] : x[(p + m) % n] * std::conj(y[p]);
        r[m] = sum / LD(n);
    }
    return r;
}

TEST(FFTEngineTest, SpectralProductsMatchDirectSums)
{
    Engine e(6);
    const int n = 64;
    const std::vector<CLD> x = RandomSignal(n, 41), y = RandomSignal(n, 42);
    const std::vector<CLD> fx = Dft(x, +1, 1.0L / n), fy = Dft(y, +1, 1.0L / n);
    TQVComplexVector v(n), a(n), b(n), r(n);

    Load(v, x);
    e.Fft.PowerSpectrum(&v);
    std::vector<CLD> power(n, 0);
    for (int k = 0; k < n; ++k)
        power[std::size_t(k)] = std::norm(fx[std::size_t(k)]);
    EXPECT_LT(RelativeRms(Read(v), power), 1e-6L);

    Load(v, x);
    e.Fft.AutoCorrelation(&v);
    EXPECT_LT(RelativeRms(Read(v), Correlate(x, x, false)), 1e-6L);

    std::vector<CLD> cross(n, 0);
    for (int k = 0; k < n; ++k)
        cross[std::size_t(k)] = fx[std::size_t(k)] * std::conj(fy[std::size_t(k)]);
    Load(a, x);
    Load(b, y);
    e.Fft.CrossPowerSpectrum(&r, &a, &b);
    EXPECT_LT(RelativeRms(Read(r), cross), 1e-6L);
    EXPECT_LT(RelativeRms(Read(a), fx), 1e-6L); // a keeps its spectrum, b the conjugate
    std::vector<CLD> conjFy(n, 0);
    for (int k = 0; k < n; ++k)
        conjFy[std::size_t(k)] = std::conj(fy[std::size_t(k)]);
    EXPECT_LT(RelativeRms(Read(b), conjFy), 1e-6L);

    Load(a, x);
    Load(b, y);
    e.Fft.CrossCorrelation(&r, &a, &b);
    EXPECT_LT(RelativeRms(Read(r), Correlate(x, y, false)), 1e-6L);

    Load(a, x);
    Load(b, y);
    e.Fft.Convolute(&r, &a, &b);
    EXPECT_LT(RelativeRms(Read(r), Correlate(x, y, true)), 1e-6L);
}

TEST(FFTEngineTest, ExponentRebuildsTables)
{
    TQVFFT fft;
    EXPECT_EQ(10, fft.Exponent());
    EXPECT_EQ(1024, fft.Size());
    const TQVVector *cosTable = fft.CosTable();
    ASSERT_TRUE(cosTable);
    fft.SetExponent(10);
    EXPECT_EQ(cosTable, fft.CosTable());
    for (int invalid : {0, -1, 32})
        fft.SetExponent(invalid);
    EXPECT_EQ(10, fft.Exponent());
    EXPECT_EQ(cosTable, fft.CosTable());

    fft.SetExponent(5);
    EXPECT_EQ(32, fft.Size());
    ASSERT_EQ(32, fft.CosTable()->Count());
    ASSERT_EQ(32, fft.SinTable()->Count());
    for (int k : {0, 1, 8, 16, 31}) {
        EXPECT_EQ(float(std::cos(Pi * k / 32)), (*fft.CosTable())[k]) << k;
        EXPECT_EQ(float(std::sin(Pi * k / 32)), (*fft.SinTable())[k]) << k;
    }
    EXPECT_EQ(32, fft.WindowVector()->Count());
}

// Sizes whose tables cannot be allocated leave an engine on which every transform does nothing.
TEST(FFTEngineTest, UnallocatableSizesDisableTransforms)
{
    for (int exponent : {28, 31}) {
        TQVFFT fft;
        fft.SetExponent(exponent);
        EXPECT_EQ(exponent, fft.Exponent());
        EXPECT_EQ(0, fft.CosTable()->Count());
        EXPECT_EQ(0, fft.WindowVector()->Count());
        TQVComplexVector v(1024), huge(fft.Size());
        Load(v, RandomSignal(1024, 9));
        const std::vector<CLD> before = Read(v);
        fft.ComplexFFT(&v, false);
        fft.ComplexFFT(&huge, false);
        fft.PowerSpectrum(&huge);
        fft.CoeffToAmpl(&huge, true);
        fft.ComplexToReal(&huge);
        fft.CrossCorrelation(&huge, &huge, &huge);
        TQVVector input(2048);
        fft.RealFFT(&input, &v, true);
        EXPECT_EQ(before, Read(v));
        fft.SetExponent(4);
        fft.ComplexFFT(&v, false);
        EXPECT_EQ(before, Read(v)); // 1024 points on a 16-point engine
    }
}

TEST(FFTEngineTest, NoTablesWhileDesigning)
{
    TQVFFT designer;
    designer.SetDesigning(true);
    TQVFFT fft(&designer);
    EXPECT_TRUE(fft.IsDesigning());
    EXPECT_EQ(nullptr, fft.CosTable());
    ASSERT_TRUE(fft.WindowVector());
    EXPECT_EQ(1024, fft.WindowVector()->Count());
    TQVComplexVector v(1024);
    Load(v, RandomSignal(1024, 10));
    const std::vector<CLD> x = Read(v);
    fft.ComplexFFT(&v, false);
    EXPECT_EQ(x, Read(v));

    // A size change in the designer keeps the old tables from being used.
    designer.SetDesigning(false);
    TQVFFT runtime(&designer);
    runtime.SetDesigning(true);
    runtime.SetExponent(6);
    EXPECT_EQ(1024, runtime.CosTable()->Count());
    TQVComplexVector small(64);
    Load(small, RandomSignal(64, 11));
    const std::vector<CLD> s = Read(small);
    runtime.ComplexFFT(&small, false);
    EXPECT_EQ(s, Read(small));

    // Leaving the designer builds what was skipped.
    fft.SetDesigning(false);
    ASSERT_TRUE(fft.CosTable());
    fft.ComplexFFT(&v, false);
    EXPECT_LT(RelativeRms(Read(v), Dft(x, +1, 1.0L / 1024)), 1e-6L);
}

TEST(FFTEngineTest, RegistryOwnsVectors)
{
    TQVFFT fft;
    TQVVector *a = fft.NewArray(16);
    TQVComplexVector *c = fft.NewComplex(8);
    EXPECT_EQ(16, a->Count());
    EXPECT_EQ(8, c->Count());
    TQVVector foreign(4);
    TQVComplexVector foreignComplex(4);
    fft.FreeArray(&foreign); // not the engine's: untouched
    fft.FreeComplex(&foreignComplex);
    fft.FreeArray(nullptr);
    EXPECT_EQ(4, foreign.Count());
    fft.FreeArray(a);
    fft.FreeArray(a); // no longer registered: nothing
    fft.FreeComplex(c);
    fft.NewArray(3); // released by the engine
}

} // namespace
