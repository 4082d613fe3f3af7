#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <complex>
#include <memory>
#include <random>
#include <vector>

#include "analysis/QVVector.h"

namespace {

using LD = long double;
using C = std::complex<LD>;
constexpr float S = -3.7f;

// Both signs over many binades, so that sums and products meet every rounding situation.
void Fill(TQVVector &v, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> mantissa(-1.0f, 1.0f);
    std::uniform_int_distribution<int> exponent(-30, 30);
    for (int i = 0; i < v.Count(); ++i)
        v[i] = std::ldexp(mantissa(gen), exponent(gen));
}

std::vector<float> Values(const TQVVector &v)
{
    return std::vector<float>(v.Data(), v.Data() + v.Count());
}

// Counts out of 1..QVVectorMaxCount give empty vectors; the complex count stays as requested
// over such empty parts.
TEST(VectorTest, Construction)
{
    for (int count : {1, 1000, 0, -1, QVVectorMaxCount + 1, INT_MIN}) {
        const int valid = count >= 1 && count <= QVVectorMaxCount ? count : 0;
        TQVVector v(count);
        TQVComplexVector c(count);
        EXPECT_EQ(std::vector<float>(std::size_t(valid), 0.0f), Values(v)) << count;
        EXPECT_EQ(valid == 0, v.Data() == nullptr && !std::unique_ptr<TQVVector>(v.Duplicate())) << count;
        EXPECT_EQ(valid, c.Im()->Count()) << count;
    }
    EXPECT_EQ(QVVectorMaxCount + 1, TQVComplexVector(QVVectorMaxCount + 1).Count());
    EXPECT_EQ(nullptr, TQVComplexVector(0).Duplicate());
}

using RealRun = void (*)(TQVVector &, const TQVVector *, const TQVVector *);
const struct { RealRun Run; LD (*Ref)(LD, LD); } RealOps[] = {
    {[](TQVVector &t, const TQVVector *a, const TQVVector *b) { t.Mul(a, b); }, [](LD x, LD y) { return x * y; }},
    {[](TQVVector &t, const TQVVector *a, const TQVVector *b) { t.Add(a, b); }, [](LD x, LD y) { return x + y; }},
    {[](TQVVector &t, const TQVVector *a, const TQVVector *b) { t.Sub(a, b); }, [](LD x, LD y) { return x - y; }},
    {[](TQVVector &t, const TQVVector *a, const TQVVector *b) { t.VDiv(a, b); }, [](LD x, LD y) { return x / y; }},
    {[](TQVVector &t, const TQVVector *a, const TQVVector *) { t.SMul(a, S); }, [](LD x, LD) { return x * S; }},
    {[](TQVVector &t, const TQVVector *a, const TQVVector *) { t.SDiv(a, S); }, [](LD x, LD) { return x / S; }},
};

// Every element is the float of the long-double result; longer arguments, in place, and
// the no-op rules (short or null argument, empty target).
TEST(VectorTest, RealOperations)
{
    constexpr int N = 4096;
    for (const auto &op : RealOps) {
        TQVVector a(N + 5), b(N + 9), t(N), shortArg(N - 1), empty(0);
        Fill(a, 1);
        Fill(b, 2);
        std::vector<float> expected;
        for (int i = 0; i < N + 5; ++i)
            expected.push_back(float(op.Ref(a[i], b[i])));
        op.Run(t, &a, &b);
        EXPECT_EQ(std::vector<float>(expected.begin(), expected.begin() + N), Values(t));
        op.Run(a, &a, &b);
        EXPECT_EQ(expected, Values(a));

        const std::vector<float> before = Values(t);
        op.Run(t, &shortArg, &b);
        op.Run(t, nullptr, &b);
        op.Run(t, &empty, &b);
        op.Run(empty, &a, &b);
        EXPECT_EQ(before, Values(t));
    }
    TQVVector t(10), a(10), b(9);
    Fill(t, 4);
    const std::vector<float> before = Values(t);
    t.Add(&a, &b); // a short second argument
    t.Mul(&a, nullptr);
    EXPECT_EQ(before, Values(t));
}

using ComplexRun = void (*)(TQVComplexVector &, const TQVComplexVector *, const TQVComplexVector *);
using CV = TQVComplexVector;
const struct { ComplexRun Run; C (*Ref)(C, C, C); } ComplexOps[] = {
    {[](CV &t, const CV *a, const CV *b) { t.Mul(a, b); },
     [](C x, C y, C) { return C(x.real() * y.real() - x.imag() * y.imag(), x.real() * y.imag() + y.real() * x.imag()); }},
    {[](CV &t, const CV *a, const CV *b) { t.Add(a, b); }, [](C x, C y, C) { return x + y; }},
    {[](CV &t, const CV *a, const CV *b) { t.Sub(a, b); }, [](C x, C y, C) { return x - y; }},
    {[](CV &t, const CV *a, const CV *b) { t.VDiv(a, b); },
     [](C x, C y, C) {
         const LD d = y.real() * y.real() + y.imag() * y.imag();
         return C((x.real() * y.real() + x.imag() * y.imag()) / d, (x.imag() * y.real() - x.real() * y.imag()) / d);
     }},
    {[](CV &t, const CV *a, const CV *) { t.SMul(a, S); }, [](C x, C, C) { return C(x.real() * S, x.imag() * S); }},
    {[](CV &t, const CV *a, const CV *) { t.SDiv(a, S); }, [](C x, C, C) { return C(x.real() / S, x.imag() / S); }},
    {[](CV &t, const CV *a, const CV *) { t.Conj(a); }, [](C x, C, C old) { return C(old.real(), -x.imag()); }},
    {[](CV &t, const CV *a, const CV *) { t.Square(a); },
     [](C x, C, C) { return C(x.real() * x.real() + x.imag() * x.imag(), 0); }},
    {[](CV &t, const CV *a, const CV *) { t.Abs(a); },
     [](C x, C, C) { return C(std::sqrt(x.real() * x.real() + x.imag() * x.imag()), 0); }},
};

// Into a shorter target, into the first and into the second argument; then the no-op rules.
TEST(VectorTest, ComplexOperations)
{
    constexpr int N = 2048;
    for (const auto &op : ComplexOps) {
        for (int alias = 0; alias < 3; ++alias) {
            CV a(N), b(N), fresh(N - 5);
            unsigned seed = 10;
            for (CV *v : {&a, &b, &fresh}) {
                Fill(*v->Re(), ++seed);
                Fill(*v->Im(), ++seed);
            }
            CV &t = alias == 0 ? fresh : alias == 1 ? a : b;
            std::vector<float> re, im;
            for (int i = 0; i < t.Count(); ++i) {
                const C r = op.Ref(C((*a.Re())[i], (*a.Im())[i]), C((*b.Re())[i], (*b.Im())[i]),
                                   C((*t.Re())[i], (*t.Im())[i]));
                re.push_back(float(r.real()));
                im.push_back(float(r.imag()));
            }
            op.Run(t, &a, &b);
            EXPECT_EQ(re, Values(*t.Re())) << alias;
            EXPECT_EQ(im, Values(*t.Im())) << alias;
        }
        CV t(6), a(6), shortArg(5), empty(0), unallocated(QVVectorMaxCount + 1);
        Fill(*t.Re(), 3);
        const std::vector<float> before = Values(*t.Re());
        op.Run(t, &shortArg, &a);
        op.Run(t, nullptr, &a);
        op.Run(t, &unallocated, &a);
        op.Run(empty, &a, &a);
        op.Run(unallocated, &a, &a);
        EXPECT_EQ(before, Values(*t.Re()));
    }
    // Division by zero follows the floating-point rules.
    CV a(1), zero(1), t(1);
    t.VDiv(&a, &zero);
    EXPECT_TRUE(std::isnan((*t.Re())[0]) && std::isnan((*t.Im())[0]));
}

TEST(VectorTest, CopyAndDuplicate)
{
    TQVVector source(12), target(8);
    Fill(source, 6);
    target.Copy(&source); // clamped to the target's length
    EXPECT_EQ(std::vector<float>(source.Data(), source.Data() + 8), Values(target));
    const std::vector<float> before = Values(source);
    source.Copy(&target); // a shorter source: nothing
    EXPECT_EQ(before, Values(source));
    std::unique_ptr<TQVVector> copy(source.Duplicate());
    ASSERT_TRUE(copy);
    EXPECT_NE(source.Data(), copy->Data());
    EXPECT_EQ(before, Values(*copy));

    CV complexSource(9), complexTarget(7);
    Fill(*complexSource.Im(), 7);
    complexTarget.Copy(&complexSource);
    EXPECT_EQ(std::vector<float>(complexSource.Im()->Data(), complexSource.Im()->Data() + 7),
              Values(*complexTarget.Im()));
    std::unique_ptr<CV> complexCopy(complexSource.Duplicate());
    ASSERT_TRUE(complexCopy);
    EXPECT_EQ(9, complexCopy->Count());
    EXPECT_EQ(Values(*complexSource.Im()), Values(*complexCopy->Im()));
}

} // namespace
