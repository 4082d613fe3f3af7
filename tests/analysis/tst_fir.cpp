#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "analysis/qvFilter.h"

namespace {

using LD = long double;
using FIR = TQVFIRFilter;

const QString CountMessage = QStringLiteral("FIRFilter: The number of coefficients must amount to between 1 and 512");

// y[n] = sum h[i] x[n - i], newest first, accumulated in long double.
std::vector<float> Convolve(const std::vector<float> &h, const std::vector<float> &x)
{
    std::vector<float> y(x.size());
    for (std::size_t n = 0; n < x.size(); ++n) {
        LD sum = 0;
        for (std::size_t i = 0; i < h.size() && i <= n; ++i)
            sum += LD(x[n - i]) * h[i];
        y[n] = float(sum);
    }
    return y;
}

std::vector<float> Random(std::size_t n, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float &x : v)
        x = dist(gen);
    return v;
}

std::vector<float> PerSample(FIR &filter, const std::vector<float> &x)
{
    std::vector<float> y;
    for (float v : x)
        y.push_back(filter.Filter(v));
    return y;
}

std::vector<float> ToVector(const QList<float> &list)
{
    return std::vector<float>(list.begin(), list.end());
}

} // namespace

TEST(FIRResponse, NewFilterPassesTheSignalAndPerSampleOutputIsTheConvolution)
{
    FIR filter;
    EXPECT_EQ(filter.CoefficientNumber(), 1);
    EXPECT_EQ(filter.CoefficientList(), QStringList{QStringLiteral("1")});
    const std::vector<float> x = Random(50, 1);
    EXPECT_EQ(PerSample(filter, x), x);

    filter.SetCoefficientList({"0.25", " -1.5 ", "3e-2", "+7", "-.5"});
    EXPECT_EQ(ToVector(filter.Floats()), (std::vector<float>{0.25f, -1.5f, 0.03f, 7.0f, -0.5f}));
    EXPECT_EQ(filter.CoefficientList().at(1), QStringLiteral(" -1.5 ")); // the line as given
    std::vector<float> impulse(9, 0.0f);
    impulse[0] = 1.0f;
    filter.Reset();
    EXPECT_EQ(PerSample(filter, impulse), (std::vector<float>{0.25f, -1.5f, 0.03f, 7.0f, -0.5f, 0, 0, 0, 0}));

    // 512 taps one sample at a time (Filter has its own loop) against the direct sum; in
    // blocks: KernelPath.FirMatches80BitConvolution.
    const std::vector<float> h = Random(512, 3), signal = Random(2500, 4);
    filter.SetCoefficients(512, h.data());
    filter.Reset();
    EXPECT_EQ(PerSample(filter, signal), Convolve(h, signal));
    // -1 + 2^-60 + 1 through unit taps: only an 80-bit sum keeps the small term.
    filter.SetCoefficientList({"1", "1", "1"});
    const float tiny = std::ldexp(1.0f, -60);
    EXPECT_EQ(PerSample(filter, {1.0f, tiny, -1.0f}), (std::vector<float>{1.0f, 1.0f, tiny}));
}

TEST(FIRProperties, CoefficientNumberCutsOrExtendsTheList)
{
    FIR filter;
    for (int refused : {513, 0, -1, 1}) {
        filter.SetCoefficientNumber(refused);
        EXPECT_EQ(filter.CoefficientNumber(), 1);
    }
    filter.SetCoefficientNumber(3);
    filter.SetCoefficientNumber(5);
    EXPECT_EQ(filter.CoefficientList(), (QStringList{"1", "0", "0", "0", "0"}));
    EXPECT_EQ(ToVector(filter.Floats()), (std::vector<float>{1, 0, 0, 0, 0}));

    // Cutting keeps the float coefficients behind the cut: growing again brings them back
    // while the new text lines read "0".
    filter.SetCoefficientList({"1", "2", "3"});
    filter.SetCoefficientNumber(2);
    EXPECT_EQ(filter.CoefficientList(), (QStringList{"1", "2"}));
    filter.SetCoefficientNumber(3);
    EXPECT_EQ(filter.CoefficientList(), (QStringList{"1", "2", "0"}));
    EXPECT_EQ(ToVector(filter.Floats()), (std::vector<float>{1, 2, 3}));

    // A count change clears the delay line: the next outputs see no earlier samples.
    for (float v : Random(10, 5))
        filter.Filter(v);
    filter.SetCoefficientNumber(4);
    EXPECT_EQ(PerSample(filter, {1, 0, 0, 0, 0}), (std::vector<float>{1, 2, 3, 0, 0}));

    // A list of another length clears the delay line, one of the same length keeps it.
    filter.SetCoefficientList({"1", "1"});
    filter.Filter(5);
    filter.SetCoefficientList({"1", "1", "1"});
    EXPECT_EQ(PerSample(filter, {1, 2}), (std::vector<float>{1, 3}));
    filter.SetCoefficientList({"2", "2", "2"});
    EXPECT_EQ(filter.Filter(0), 6.0f);
}

TEST(FIRProperties, BadListsRaiseAndChangeNothing)
{
    FIR filter;
    filter.SetCoefficientList({"0.5", "0.25"});
    const std::vector<float> x = Random(20, 6);
    std::vector<float> expected = Convolve({0.5f, 0.25f}, x);
    std::size_t n = 0;
    auto feed = [&](int samples) {
        for (int k = 0; k < samples; ++k, ++n)
            ASSERT_EQ(filter.Filter(x[n]), expected[n]) << n;
    };
    feed(5);

    QStringList tooMany;
    for (int k = 0; k < 513; ++k)
        tooMany << "1";
    for (const QStringList &lines : {tooMany, QStringList{}}) {
        try {
            filter.SetCoefficientList(lines);
            ADD_FAILURE() << "accepted " << lines.size() << " lines";
        } catch (const ERangeError &e) {
            EXPECT_EQ(e.Message(), CountMessage);
        }
    }
    feed(5);

    for (const QStringList &lines : {QStringList{"0.5", "abc", "1"}, QStringList{"1", "2", ""},
                                      QStringList{"nan"}, QStringList{"1e39"}, QStringList{"1", "2.5x"}}) {
        try {
            filter.SetCoefficientList(lines);
            ADD_FAILURE() << "accepted " << lines.join('|').toStdString();
        } catch (const EConvertError &e) {
            qsizetype bad = 0;
            while (bad < lines.size() && !QStringList{"abc", "", "nan", "1e39", "2.5x"}.contains(lines[bad]))
                ++bad;
            EXPECT_TRUE(e.Message().contains(QStringLiteral("line %1 ").arg(bad + 1))) << e.what();
            EXPECT_TRUE(e.Message().contains(QLatin1Char('"') + lines[bad] + QLatin1Char('"'))) << e.what();
        }
    }
    EXPECT_EQ(filter.CoefficientList(), (QStringList{"0.5", "0.25"}));
    EXPECT_EQ(ToVector(filter.Floats()), (std::vector<float>{0.5f, 0.25f}));
    feed(10); // the delay line went on undisturbed
}

TEST(FIRProperties, SetCoefficientsKeepsTheDelayLineAndWritesRoundTripTexts)
{
    FIR filter;
    for (int refused : {0, 513}) // the message: BadListsRaiseAndChangeNothing
        EXPECT_THROW(filter.SetCoefficients(refused, nullptr), ERangeError) << refused;
    const std::vector<float> values{0.1f, 1.0f / 3, -2.5e-7f, 3.0e38f, 1.0f, -0.0f, 1.17549435e-38f};
    filter.SetCoefficients(int(values.size()), values.data());
    EXPECT_EQ(filter.CoefficientList().size(), qsizetype(values.size()));
    EXPECT_EQ(filter.CoefficientList().at(4), QStringLiteral("1"));
    FIR copy;
    copy.SetCoefficientList(filter.CoefficientList());
    EXPECT_EQ(ToVector(copy.Floats()), values);

    // Same length: the delay line is kept; the new coefficients apply from the next sample.
    const std::vector<float> h1{0.5f, 0.25f, 0.125f}, h2{-1.0f, 2.0f, 0.75f};
    const std::vector<float> x = Random(12, 7);
    filter.SetCoefficients(3, h1.data());
    filter.Reset();
    std::vector<float> y = PerSample(filter, {x.begin(), x.begin() + 6});
    filter.SetCoefficients(3, h2.data());
    for (std::size_t n = 6; n < x.size(); ++n)
        y.push_back(filter.Filter(x[n]));
    const std::vector<float> before = Convolve(h1, x), after = Convolve(h2, x);
    for (std::size_t n = 0; n < x.size(); ++n)
        EXPECT_EQ(y[n], n < 6 ? before[n] : after[n]) << n;

    // Shrinking below the write position: block and per-sample filtering still agree.
    FIR a, b;
    const std::vector<float> h5 = Random(5, 8);
    for (FIR *f : {&a, &b}) {
        f->SetCoefficients(5, h5.data());
        for (int k = 0; k < 4; ++k)
            f->Filter(float(k + 1));
        f->SetCoefficients(2, h1.data());
    }
    std::vector<float> z = Random(9, 9);
    const std::vector<float> perSample = PerSample(a, z);
    b.FilterArray(z.data(), int(z.size()));
    EXPECT_EQ(z, perSample);
}

TEST(FIRProperties, StoredFloatsOverrideTheParsedValues)
{
    FIR filter;
    filter.SetCoefficientList({"1", "2", "3"});
    filter.SetFloats({0.1f, 0.2f, 0.3f, 0.4f});
    EXPECT_EQ(ToVector(filter.Floats()), (std::vector<float>{0.1f, 0.2f, 0.3f}));
    EXPECT_EQ(filter.CoefficientList(), (QStringList{"1", "2", "3"}));
    EXPECT_EQ(filter.CoefficientNumber(), 3);
    filter.SetCoefficientNumber(4); // the fourth value was stored although N was 3
    EXPECT_EQ(ToVector(filter.Floats()), (std::vector<float>{0.1f, 0.2f, 0.3f, 0.4f}));

    // Reading stops at 512 values.
    const std::vector<float> many = Random(700, 10);
    filter.SetFloats(QList<float>(many.begin(), many.end()));
    filter.SetCoefficientNumber(512);
    EXPECT_EQ(ToVector(filter.Floats()), std::vector<float>(many.begin(), many.begin() + 512));
}
