#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analysis/qvFFT.h"

namespace {

using LD = long double;
constexpr LD Pi = 3.14159265358979323846264338327950288L;

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
                ASSERT_NEAR(Textbook(form, j, length), w[std::size_t(j)], Tolerance) << form << " " << length << " " << j;
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
