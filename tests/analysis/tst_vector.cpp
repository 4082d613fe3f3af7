#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "analysis/QVVector.h"

namespace {

using LD = long double;

// Random floats of both signs over many binades, so that sums and products meet every
// rounding situation.
void FillRandom(TQVVector &v, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> mantissa(-1.0f, 1.0f);
    std::uniform_int_distribution<int> exponent(-30, 30);
    for (int i = 0; i < v.Count(); ++i)
        v[i] = std::ldexp(mantissa(gen), exponent(gen));
}

void FillRandom(TQVComplexVector &v, unsigned seed)
{
    FillRandom(*v.Re(), seed);
    FillRandom(*v.Im(), seed + 1000);
}

std::vector<float> Values(const TQVVector &v)
{
    return std::vector<float>(v.Data(), v.Data() + v.Count());
}

// Bitwise equality; NaNs compare equal to NaNs.
void ExpectSame(const std::vector<float> &expected, const TQVVector &v)
{
    ASSERT_EQ(int(expected.size()), v.Count());
    for (int i = 0; i < v.Count(); ++i) {
        if (std::isnan(expected[std::size_t(i)]))
            EXPECT_TRUE(std::isnan(v[i])) << "at " << i;
        else
            EXPECT_EQ(expected[std::size_t(i)], v[i]) << "at " << i;
    }
}

TEST(VectorTest, ConstructionSizes)
{
    for (int count : {1, 7, 1000}) {
        TQVVector v(count);
        ASSERT_EQ(count, v.Count());
        ASSERT_NE(nullptr, v.Data());
        for (int i = 0; i < count; ++i)
            EXPECT_EQ(0.0f, v[i]);
        TQVComplexVector c(count);
        EXPECT_EQ(count, c.Count());
        EXPECT_EQ(count, c.Re()->Count());
        EXPECT_EQ(count, c.Im()->Count());
    }
    for (int count : {0, -1, QVVectorMaxCount + 1, INT_MIN}) {
        TQVVector v(count);
        EXPECT_EQ(0, v.Count()) << count;
        EXPECT_EQ(nullptr, v.Data()) << count;
    }
    // A complex vector keeps the requested count over empty parts; operations on it do nothing.
    TQVComplexVector huge(QVVectorMaxCount + 1);
    EXPECT_EQ(QVVectorMaxCount + 1, huge.Count());
    EXPECT_EQ(0, huge.Re()->Count());
    EXPECT_EQ(0, huge.Im()->Count());
    huge.Add(&huge, &huge);
    huge.Square(&huge);
    EXPECT_EQ(nullptr, TQVComplexVector(0).Duplicate());
}

struct RealOp
{
    const char *Name;
    std::function<void(TQVVector &, const TQVVector *, const TQVVector *)> Run;
    std::function<LD(LD, LD)> Reference;
};

const float Scalar = -3.7f;

const std::vector<RealOp> &RealOps()
{
    static const std::vector<RealOp> ops = {
        {"Mul", [](TQVVector &t, auto a, auto b) { t.Mul(a, b); }, [](LD x, LD y) { return x * y; }},
        {"Add", [](TQVVector &t, auto a, auto b) { t.Add(a, b); }, [](LD x, LD y) { return x + y; }},
        {"Sub", [](TQVVector &t, auto a, auto b) { t.Sub(a, b); }, [](LD x, LD y) { return x - y; }},
        {"VDiv", [](TQVVector &t, auto a, auto b) { t.VDiv(a, b); }, [](LD x, LD y) { return x / y; }},
        {"SMul", [](TQVVector &t, auto a, auto) { t.SMul(a, Scalar); }, [](LD x, LD) { return x * Scalar; }},
        {"SDiv", [](TQVVector &t, auto a, auto) { t.SDiv(a, Scalar); }, [](LD x, LD) { return x / Scalar; }},
    };
    return ops;
}

TEST(VectorTest, RealOperationsMatchExtendedPrecision)
{
    constexpr int N = 4096;
    for (const RealOp &op : RealOps()) {
        SCOPED_TRACE(op.Name);
        // Arguments longer than the target: only the target's elements are computed.
        TQVVector a(N + 5), b(N + 9), t(N);
        FillRandom(a, 1);
        FillRandom(b, 2);
        std::vector<float> expected(N + 5);
        for (int i = 0; i < N + 5; ++i)
            expected[std::size_t(i)] = float(op.Reference(a[i], b[i]));
        op.Run(t, &a, &b);
        ExpectSame(std::vector<float>(expected.begin(), expected.begin() + N), t);
        op.Run(a, &a, &b); // in place
        ExpectSame(expected, a);
    }
}

TEST(VectorTest, RealNoOpRules)
{
    for (const RealOp &op : RealOps()) {
        SCOPED_TRACE(op.Name);
        TQVVector t(10), shortArg(9), a(10), empty(0);
        FillRandom(t, 3);
        FillRandom(a, 4);
        const std::vector<float> before = Values(t);
        op.Run(t, &shortArg, &a);
        op.Run(t, nullptr, &a);
        op.Run(t, &empty, &a);
        ExpectSame(before, t);
        op.Run(empty, &a, &a);
        EXPECT_EQ(0, empty.Count());
    }
    // The binary ones also check the second argument.
    TQVVector t(10), a(10), b(9);
    FillRandom(t, 5);
    const std::vector<float> before = Values(t);
    t.Add(&a, &b);
    t.Mul(&a, nullptr);
    ExpectSame(before, t);
}

TEST(VectorTest, RealCopyAndDuplicate)
{
    TQVVector source(12), target(8), longer(20);
    FillRandom(source, 6);
    FillRandom(longer, 7);
    target.Copy(&source); // clamped to the target
    ExpectSame(std::vector<float>(source.Data(), source.Data() + 8), target);
    const std::vector<float> before = Values(source);
    source.Copy(&target); // source shorter than the target: nothing
    source.Copy(nullptr);
    ExpectSame(before, source);

    std::unique_ptr<TQVVector> copy(source.Duplicate());
    ASSERT_TRUE(copy);
    EXPECT_NE(source.Data(), copy->Data());
    ExpectSame(before, *copy);
    EXPECT_EQ(nullptr, TQVVector(0).Duplicate());
    EXPECT_EQ(nullptr, TQVVector(-5).Duplicate());
}

struct ComplexRef
{
    LD Re, Im;
};

struct ComplexOp
{
    const char *Name;
    std::function<void(TQVComplexVector &, const TQVComplexVector *, const TQVComplexVector *)> Run;
    // Reference from a, b and the target's old value (Conj keeps the real part).
    std::function<ComplexRef(ComplexRef, ComplexRef, ComplexRef)> Reference;
};

const std::vector<ComplexOp> &ComplexOps()
{
    static const std::vector<ComplexOp> ops = {
        {"Mul", [](auto &t, auto a, auto b) { t.Mul(a, b); },
         [](ComplexRef x, ComplexRef y, ComplexRef) {
             return ComplexRef{x.Re * y.Re - x.Im * y.Im, x.Re * y.Im + y.Re * x.Im};
         }},
        {"Add", [](auto &t, auto a, auto b) { t.Add(a, b); },
         [](ComplexRef x, ComplexRef y, ComplexRef) { return ComplexRef{x.Re + y.Re, x.Im + y.Im}; }},
        {"Sub", [](auto &t, auto a, auto b) { t.Sub(a, b); },
         [](ComplexRef x, ComplexRef y, ComplexRef) { return ComplexRef{x.Re - y.Re, x.Im - y.Im}; }},
        {"VDiv", [](auto &t, auto a, auto b) { t.VDiv(a, b); },
         [](ComplexRef x, ComplexRef y, ComplexRef) {
             const LD d = y.Re * y.Re + y.Im * y.Im;
             return ComplexRef{(x.Re * y.Re + x.Im * y.Im) / d, (x.Im * y.Re - x.Re * y.Im) / d};
         }},
        {"SMul", [](auto &t, auto a, auto) { t.SMul(a, Scalar); },
         [](ComplexRef x, ComplexRef, ComplexRef) { return ComplexRef{x.Re * Scalar, x.Im * Scalar}; }},
        {"SDiv", [](auto &t, auto a, auto) { t.SDiv(a, Scalar); },
         [](ComplexRef x, ComplexRef, ComplexRef) { return ComplexRef{x.Re / Scalar, x.Im / Scalar}; }},
        {"Conj", [](auto &t, auto a, auto) { t.Conj(a); },
         [](ComplexRef x, ComplexRef, ComplexRef old) { return ComplexRef{old.Re, -x.Im}; }},
        {"Square", [](auto &t, auto a, auto) { t.Square(a); },
         [](ComplexRef x, ComplexRef, ComplexRef) { return ComplexRef{x.Re * x.Re + x.Im * x.Im, 0}; }},
        {"Abs", [](auto &t, auto a, auto) { t.Abs(a); },
         [](ComplexRef x, ComplexRef, ComplexRef) { return ComplexRef{std::sqrt(x.Re * x.Re + x.Im * x.Im), 0}; }},
    };
    return ops;
}

// Into a shorter fresh target, then in place into the first and into the second argument.
TEST(VectorTest, ComplexOperationsMatchExtendedPrecision)
{
    constexpr int N = 2048;
    for (const ComplexOp &op : ComplexOps()) {
        for (int alias = 0; alias < 3; ++alias) {
            SCOPED_TRACE(std::string(op.Name) + " alias " + std::to_string(alias));
            TQVComplexVector a(N), b(N), fresh(N - 5);
            FillRandom(a, 11);
            FillRandom(b, 12);
            FillRandom(fresh, 13);
            TQVComplexVector *target = alias == 0 ? &fresh : alias == 1 ? &a : &b;
            const int n = target->Count();
            std::vector<float> re(std::size_t(n), 0.0f), im(std::size_t(n), 0.0f);
            for (int i = 0; i < n; ++i) {
                const ComplexRef r = op.Reference({(*a.Re())[i], (*a.Im())[i]}, {(*b.Re())[i], (*b.Im())[i]},
                                                  {(*target->Re())[i], (*target->Im())[i]});
                re[std::size_t(i)] = float(r.Re);
                im[std::size_t(i)] = float(r.Im);
            }
            op.Run(*target, &a, &b);
            ExpectSame(re, *target->Re());
            ExpectSame(im, *target->Im());
        }
    }
}

TEST(VectorTest, ComplexNoOpRules)
{
    for (const ComplexOp &op : ComplexOps()) {
        SCOPED_TRACE(op.Name);
        TQVComplexVector t(6), a(6), shortArg(5), empty(0), unallocated(QVVectorMaxCount + 1);
        FillRandom(t, 21);
        FillRandom(a, 22);
        const std::vector<float> re = Values(*t.Re()), im = Values(*t.Im());
        op.Run(t, &shortArg, &a);
        op.Run(t, nullptr, &a);
        op.Run(t, &unallocated, &a);
        op.Run(empty, &a, &a);
        op.Run(unallocated, &a, &a);
        ExpectSame(re, *t.Re());
        ExpectSame(im, *t.Im());
    }
}

TEST(VectorTest, DivisionByZeroFollowsFloatingPoint)
{
    TQVComplexVector a(2), zero(2), t(2);
    (*a.Re())[0] = 1.0f;
    t.VDiv(&a, &zero);
    EXPECT_TRUE(std::isnan((*t.Re())[0]) || std::isinf((*t.Re())[0]));
    EXPECT_TRUE(std::isnan((*t.Re())[1]));
    EXPECT_TRUE(std::isnan((*t.Im())[1]));
    TQVVector x(1), z(1), r(1);
    x[0] = 2.0f;
    r.VDiv(&x, &z);
    EXPECT_TRUE(std::isinf(r[0]));
}

TEST(VectorTest, ComplexCopyAndDuplicate)
{
    TQVComplexVector source(9), target(7);
    FillRandom(source, 31);
    target.Copy(&source);
    ExpectSame(std::vector<float>(source.Re()->Data(), source.Re()->Data() + 7), *target.Re());
    ExpectSame(std::vector<float>(source.Im()->Data(), source.Im()->Data() + 7), *target.Im());
    const std::vector<float> re = Values(*source.Re());
    source.Copy(&target);
    ExpectSame(re, *source.Re());

    std::unique_ptr<TQVComplexVector> copy(source.Duplicate());
    ASSERT_TRUE(copy);
    EXPECT_EQ(9, copy->Count());
    EXPECT_NE(source.Re()->Data(), copy->Re()->Data());
    ExpectSame(re, *copy->Re());
    ExpectSame(Values(*source.Im()), *copy->Im());
}

} // namespace
