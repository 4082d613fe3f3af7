#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numeric>
#include <random>
#include <vector>

#include "analysis/qvFFT.h"

namespace {

using LD = long double;
using C = std::complex<LD>;
using Signal = std::vector<C>;
constexpr LD Pi = 3.14159265358979323846264338327950288L;

Signal Random(int n, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    Signal x;
    for (int i = 0; i < n; ++i)
        x.emplace_back(dist(gen), dist(gen));
    return x;
}

void Load(TQVComplexVector &v, const Signal &x)
{
    for (int i = 0; i < v.Count(); ++i)
        (*v.Re())[i] = float(x[std::size_t(i)].real()), (*v.Im())[i] = float(x[std::size_t(i)].imag());
}

Signal Read(const TQVComplexVector &v)
{
    Signal x;
    for (int i = 0; i < v.Count(); ++i)
        x.emplace_back((*v.Re())[i], (*v.Im())[i]);
    return x;
}

// scale * sum x[n] e^(sign 2 pi i n k / N), directly.
Signal Dft(const Signal &x, int sign, LD scale)
{
    const std::size_t n = x.size();
    Signal out(n, 0), w;
    for (std::size_t m = 0; m < n; ++m)
        w.push_back(std::polar(1.0L, sign * 2 * Pi * LD(m) / LD(n)));
    for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t j = 0; j < n; ++j)
            out[k] += x[j] * w[(j * k) % n];
        out[k] *= scale;
    }
    return out;
}

LD RelativeRms(const Signal &got, const Signal &ref)
{
    LD err = 0, norm = 0;
    for (std::size_t i = 0; i < ref.size(); ++i) {
        err += std::norm(got[i] - ref[i]);
        norm += std::norm(ref[i]);
    }
    return std::sqrt(err / norm);
}

// The engine's own tables above 2048 points (the kernel test brings its own): a forward
// transform against the direct sum.
TEST(FFTEngineTest, ComplexTransformMatchesDft)
{
    TQVFFT fft;
    fft.SetExponent(12);
    const Signal x = Random(4096, 12);
    TQVComplexVector v(4096);
    Load(v, x);
    fft.ComplexFFT(&v, false);
    EXPECT_LT(RelativeRms(Read(v), Dft(x, +1, 1.0L / 4096)), 1e-6L);
}

TEST(FFTEngineTest, PhaseConventions)
{
    TQVFFT fft;
    fft.SetExponent(3);
    const Signal pairs = {{5, 5}, {0, -1}, {-1, 0}, {-1, 1}, {0, 1}, {0, 0}, {1, 1}, {-1, -1}};
    const LD phase[] = {5, -3 * Pi / 2, 0, 3 * Pi / 4, Pi / 2, 0, Pi / 4, -3 * Pi / 4};
    TQVComplexVector v(8);
    Load(v, pairs);
    fft.CoeffToAmpl(&v, true);
    EXPECT_EQ(C(5, 5), Read(v)[0]); // element 0 untouched
    for (int i = 1; i < 8; ++i) {
        EXPECT_FLOAT_EQ(float(phase[i]), (*v.Im())[i]) << i;
        EXPECT_FLOAT_EQ(float(std::abs(pairs[std::size_t(i)])), (*v.Re())[i]) << i;
    }
    Load(v, pairs);
    fft.CoeffToAmpl(&v, false); // the imaginary parts stay
    for (int i = 1; i < 8; ++i)
        EXPECT_EQ(float(pairs[std::size_t(i)].imag()), (*v.Im())[i]);
}

TEST(FFTEngineTest, RealInverseRestoresInput)
{
    TQVFFT fft;
    fft.SetExponent(8);
    const int n = 256;
    // Without a component at half the sample rate, which the real transform drops.
    Signal spectrum = Random(n, 5), x(2 * n, 0);
    for (int i = 0; i < 2 * n; ++i)
        for (int k = 0; k < n; ++k)
            x[std::size_t(i)] += std::real(spectrum[std::size_t(k)] * std::polar(0.1L, Pi * k * i / n));
    TQVVector input(2 * n), restored(2 * n);
    for (int i = 0; i < 2 * n; ++i)
        input[i] = float(x[std::size_t(i)].real());
    TQVComplexVector out(n);
    // Amplitudes and phases: the stage outputs test. re[0] is the mean.
    fft.RealFFT(&input, &out, true);
    EXPECT_NEAR(double(std::accumulate(x.begin(), x.end(), C(0)).real() / (2 * n)), (*out.Re())[0], 1e-6);
    fft.RealInverseFFT(&out, &restored);
    Signal got;
    for (int i = 0; i < 2 * n; ++i)
        got.emplace_back(restored[i], 0);
    EXPECT_LT(RelativeRms(got, x), 1e-6L);
}

// Circular sums of the definitions: correlation x[p + m] conj(y[p]) or convolution x[p] y[m - p], / N.
Signal Correlate(const Signal &x, const Signal &y, bool convolve)
{
    const std::size_t n = x.size();
    Signal r(n, 0);
    for (std::size_t m = 0; m < n; ++m)
        for (std::size_t p = 0; p < n; ++p)
            r[m] += (convolve ? x[p] * y[(m + n - p) % n] : x[(p + m) % n] * std::conj(y[p])) / LD(n);
    return r;
}

TEST(FFTEngineTest, SpectralProductsMatchDirectSums)
{
    TQVFFT fft;
    fft.SetExponent(6);
    const int n = 64;
    const Signal x = Random(n, 41), y = Random(n, 42), fx = Dft(x, +1, 1.0L / n), fy = Dft(y, +1, 1.0L / n);
    Signal power, cross, conjFy;
    for (int k = 0; k < n; ++k) {
        power.push_back(std::norm(fx[std::size_t(k)]));
        cross.push_back(fx[std::size_t(k)] * std::conj(fy[std::size_t(k)]));
        conjFy.push_back(std::conj(fy[std::size_t(k)]));
    }
    TQVComplexVector v(n), a(n), b(n), r(n);
    Load(v, x);
    fft.PowerSpectrum(&v);
    EXPECT_LT(RelativeRms(Read(v), power), 1e-6L);
    Load(v, x);
    fft.AutoCorrelation(&v);
    EXPECT_LT(RelativeRms(Read(v), Correlate(x, x, false)), 1e-6L);

    const auto run = [&](void (TQVFFT::*product)(TQVComplexVector *, TQVComplexVector *, TQVComplexVector *)) {
        Load(a, x);
        Load(b, y);
        (fft.*product)(&r, &a, &b);
        return Read(r);
    };
    EXPECT_LT(RelativeRms(run(&TQVFFT::CrossPowerSpectrum), cross), 1e-6L);
    EXPECT_LT(RelativeRms(Read(a), fx), 1e-6L); // a keeps its spectrum, b the conjugate
    EXPECT_LT(RelativeRms(Read(b), conjFy), 1e-6L);
    EXPECT_LT(RelativeRms(run(&TQVFFT::CrossCorrelation), Correlate(x, y, false)), 1e-6L);
    EXPECT_LT(RelativeRms(run(&TQVFFT::Convolute), Correlate(x, y, true)), 1e-6L);
}

TEST(FFTEngineTest, ExponentAndTables)
{
    TQVFFT fft;
    EXPECT_EQ(1024, fft.Size());
    const TQVVector *cosTable = fft.CosTable();
    for (int same : {10, 0, -1, 32}) // the present value and invalid ones: nothing
        fft.SetExponent(same);
    EXPECT_EQ(10, fft.Exponent());
    EXPECT_EQ(cosTable, fft.CosTable());
    fft.SetExponent(5);
    EXPECT_EQ(32, fft.Size());
    ASSERT_EQ(32, fft.SinTable()->Count());
    for (int k : {0, 1, 16, 31}) {
        EXPECT_EQ(float(std::cos(Pi * k / 32)), (*fft.CosTable())[k]) << k;
        EXPECT_EQ(float(std::sin(Pi * k / 32)), (*fft.SinTable())[k]) << k;
    }
}

// Wrong lengths, sizes whose tables cannot be allocated and the designer: nothing happens.
TEST(FFTEngineTest, NoOps)
{
    TQVFFT fft, designer;
    fft.SetLeakType(wnHanning);
    TQVComplexVector v(1024), r(512), b(1024), small(64);
    Load(v, Random(1024, 1));
    Load(small, Random(64, 2));
    const Signal x = Read(v), y = Read(small);
    TQVVector input(1024);
    input[5] = 1.0f;
    fft.RealFFT(&input, &v, false); // 1024 samples on a 1024-point engine
    EXPECT_EQ(1.0f, input[5]);      // not even windowed
    for (TQVComplexVector *w : {&small, &r}) {
        fft.ComplexFFT(w, false);
        fft.PowerSpectrum(w);
        fft.CoeffToAmpl(w, true);
        fft.ComplexToReal(w);
    }
    fft.CrossCorrelation(&r, &v, &b);
    for (int exponent : {28, 31}) {
        fft.SetExponent(exponent);
        EXPECT_EQ(0, fft.CosTable()->Count());
        TQVComplexVector huge(fft.Size());
        fft.ComplexFFT(&huge, false);
        fft.PowerSpectrum(&huge);
        fft.CoeffToAmpl(&huge, true);
        fft.CrossCorrelation(&huge, &huge, &huge);
        fft.SetExponent(4);
        fft.ComplexFFT(&v, false); // 1024 points on a 16-point engine
    }
    EXPECT_EQ(x, Read(v));

    // In the designer: no tables, and a size changed there never meets the old ones.
    designer.SetDesigning(true);
    TQVFFT child(&designer);
    EXPECT_EQ(nullptr, child.CosTable());
    EXPECT_EQ(1024, child.WindowVector()->Count());
    child.ComplexFFT(&v, false);
    fft.SetExponent(10);
    fft.SetDesigning(true);
    fft.SetExponent(6);
    fft.ComplexFFT(&small, false);
    EXPECT_EQ(x, Read(v));
    EXPECT_EQ(y, Read(small));
    // Leaving the designer builds what was skipped.
    child.SetDesigning(false);
    child.ComplexFFT(&v, false);
    EXPECT_LT(RelativeRms(Read(v), Dft(x, +1, 1.0L / 1024)), 1e-6L);
}

TEST(FFTEngineTest, Registries)
{
    TQVFFT fft;
    TQVVector foreign(4);
    TQVComplexVector foreignComplex(4);
    fft.FreeArray(&foreign); // not the engine's: untouched
    fft.FreeComplex(&foreignComplex);
    EXPECT_EQ(4, foreign.Count());
    EXPECT_EQ(4, foreignComplex.Re()->Count());
    fft.FreeArray(fft.NewArray(16));
    fft.FreeComplex(fft.NewComplex(8));
    EXPECT_EQ(3, fft.NewArray(3)->Count()); // released with the engine
}

// ---------------------------------------------------------------------------------------
// Windows

// w[j] = a0 - a1 cos t + a2 cos 2t - a3 cos 3t at t = 2 pi (j + 1) / (L - 1).
const struct { TQVLeakType Type; LD A0, A1, A2, A3; } Forms[] = {
    {wnHanning, 0.5L, 0.5L, 0, 0},
    {wnHann, 0.5L, 0.5L, 0, 0},
    {wnHamming, 0.54L, 0.46L, 0, 0},
    {wnBlackman, 0.42L, 0.5L, 0.08L, 0},
    {wnBlackmanHarris67dB, 0.42323L, 0.49755L, 0.07922L, 0},
    {wnBlackmanHarris92dB, 0.35875L, 0.48829L, 0.14128L, 0.01168L},
};

double Textbook(int form, int j, int length)
{
    const auto &f = Forms[form];
    const LD t = 2 * Pi * (j + 1) / (length - 1);
    return double(f.A0 - f.A1 * std::cos(t) + f.A2 * std::cos(2 * t) - f.A3 * std::cos(3 * t));
}

// The window the engine applies to a vector of ones of that length.
std::vector<float> Applied(TQVFFT &fft, int length)
{
    TQVVector v(length);
    for (int i = 0; i < length; ++i)
        v[i] = 1.0f;
    fft.DoLeakTransformation(&v);
    return std::vector<float>(v.Data(), v.Data() + length);
}

// The angle is rounded to a float before the cosine: a few ulp of 2 pi.
constexpr double Tolerance = 2e-6;

TEST(WindowTest, ClosedForms)
{
    for (int form = 0; form < 6; ++form) {
        TQVFFT fft;
        fft.SetLeakType(Forms[form].Type);
        EXPECT_EQ(Forms[form].Type, fft.LeakFunction());
        for (int length : {5, 16, 1000, 4096}) {
            const std::vector<float> w = Applied(fft, length);
            for (int j = 0; j < length; ++j)
                ASSERT_NEAR(Textbook(form, j, length), w[std::size_t(j)], Tolerance)
                    << form << " " << length << " " << j;
        }
    }
    for (int length : {2, 3, 17, 3001}) {
        TQVVector hanning(length), hann(length);
        TQVFFT::CalcHanning(&hanning);
        TQVFFT::CalcHann(&hann);
        EXPECT_EQ(std::vector<float>(hanning.Data(), hanning.Data() + length),
                  std::vector<float>(hann.Data(), hann.Data() + length));
    }
}

TEST(WindowTest, RectangleAndOwnWithoutCallback)
{
    TQVFFT fft;
    EXPECT_EQ(wnRectangle, fft.LeakFunction());
    EXPECT_EQ(std::vector<float>(100, 1.0f), Applied(fft, 100));
    fft.SetLeakType(wnHamming);
    fft.SetLeakType(wnOwn); // no callback: falls back to the rectangle
    EXPECT_EQ(wnRectangle, fft.LeakFunction());
    EXPECT_EQ(std::vector<float>(100, 1.0f), Applied(fft, 100));
    fft.SetLeakType(TQVLeakType(8)); // not a window type: ignored
    EXPECT_EQ(wnRectangle, fft.LeakFunction());
    // A window shorter than the data leaves it unwindowed.
    fft.SetLeakType(wnHamming);
    TQVVector v(2000);
    v[1999] = 1.0f;
    fft.LeakDefault(v);
    EXPECT_EQ(1.0f, v[1999]);
}

TEST(WindowTest, OwnCallbackOnEveryTransform)
{
    TQVFFT fft;
    fft.SetExponent(4);
    int calls = 0, replaced = 0;
    fft.SetOwnerLeakFunction([&calls](TQVVector &v) {
        ++calls;
        for (int i = 0; i < v.Count(); ++i)
            v[i] *= 2.0f;
    });
    fft.SetLeakType(wnOwn);
    EXPECT_EQ(wnOwn, fft.LeakFunction());
    TQVVector input(32), v16(16), v20(20);
    TQVComplexVector output(16), spectrum(16);
    for (int i = 0; i < 32; ++i)
        input[i] = 0.25f;
    fft.RealFFT(&input, &output, false);
    EXPECT_EQ(1, calls);
    EXPECT_EQ(0.5f, input[31]); // windowed in place
    EXPECT_FLOAT_EQ(0.5f, (*output.Re())[0]);
    fft.PowerSpectrum(&spectrum); // real and imaginary parts
    EXPECT_EQ(3, calls);
    // A new callback waits for a new type or length.
    fft.SetOwnerLeakFunction([&replaced](TQVVector &) { ++replaced; });
    fft.DoLeakTransformation(&v16);
    EXPECT_EQ(4, calls);
    fft.DoLeakTransformation(&v20);
    EXPECT_EQ(1, replaced);
}

TEST(WindowTest, LazyTabulation)
{
    TQVFFT fft;
    fft.SetLeakType(wnHanning);
    EXPECT_EQ(1024, fft.WindowVector()->Count()); // tabulated for Size at the type change
    (void)Applied(fft, 300);
    const TQVVector *window = fft.WindowVector();
    EXPECT_EQ(300, window->Count());
    (void)Applied(fft, 300);
    fft.SetLeakType(wnHanning);
    EXPECT_EQ(window, fft.WindowVector()); // same length and type: reused
    EXPECT_NEAR(Textbook(0, 10, 200), Applied(fft, 200)[10], Tolerance);

    // A type change re-tabulates for the present length, an exponent change for Size, and
    // RealFFT for its 2 Size samples, which it windows in place.
    fft.SetLeakType(wnBlackman);
    EXPECT_EQ(200, fft.WindowVector()->Count());
    EXPECT_NEAR(Textbook(3, 10, 200), (*fft.WindowVector())[10], Tolerance);
    fft.SetExponent(6);
    EXPECT_EQ(64, fft.WindowVector()->Count());
    EXPECT_NEAR(Textbook(3, 10, 64), (*fft.WindowVector())[10], Tolerance);
    TQVVector input(128);
    TQVComplexVector output(64);
    for (int i = 0; i < 128; ++i)
        input[i] = 1.0f;
    fft.RealFFT(&input, &output, false);
    EXPECT_NEAR(Textbook(3, 50, 128), input[50], Tolerance);
}

} // namespace
