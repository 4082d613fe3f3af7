#include "analysis/QVVector.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

// Precision: every element is defined as computed in extended precision and stored as a
// float. For one +, -, x or / of two floats, or a float and a float scalar, the float
// operation gives that result exactly: the extended format has more than 2 x 24 + 2
// significant bits, so rounding first to extended and then to float equals rounding
// once. Those loops therefore run in float and vectorise. Complex products, quotients and
// magnitudes combine several roundings and compute in long double.

namespace {

constexpr std::size_t VectorAlignment = 64;

float *AllocateZeroed(int count)
{
    const std::size_t bytes = std::size_t(count) * sizeof(float);
    const std::size_t rounded = (bytes + VectorAlignment - 1) / VectorAlignment * VectorAlignment;
    auto *data = static_cast<float *>(std::aligned_alloc(VectorAlignment, rounded));
    if (data)
        std::memset(data, 0, rounded);
    return data;
}

// True when the target has elements and the argument covers them.
bool Covers(const TQVVector *target, const TQVVector *a)
{
    return a && target->Count() > 0 && a->Count() >= target->Count() && a->Data() && target->Data();
}

// The same for complex vectors: the complex counts decide, and the parts must also hold
// the storage, since a count that could not be allocated leaves empty parts behind.
bool HasParts(const TQVComplexVector *v, int count)
{
    return v->Re() && v->Im() && v->Re()->Count() >= count && v->Im()->Count() >= count;
}

bool Covers(const TQVComplexVector *target, const TQVComplexVector *a)
{
    const int n = target->Count();
    return a && n > 0 && a->Count() >= n && HasParts(target, n) && HasParts(a, n);
}

// t[i] = op(a[i], b[i]); t may be a or b (same index only).
template <typename Op>
void Map(float *t, int count, const float *a, const float *b, Op op)
{
    for (int i = 0; i < count; ++i)
        t[i] = op(a[i], b[i]);
}

} // namespace

// ---------------------------------------------------------------------------------------
// TQVVector

TQVVector::TQVVector(int count)
{
    if (count <= 0 || count > QVVectorMaxCount)
        return;
    m_data = AllocateZeroed(count);
    if (m_data)
        m_count = count;
}

TQVVector::~TQVVector()
{
    std::free(m_data);
    m_data = nullptr;
    m_count = 0;
}

void TQVVector::Mul(const TQVVector *a, const TQVVector *b)
{
    if (Covers(this, a) && Covers(this, b))
        Map(m_data, m_count, a->m_data, b->m_data, [](float x, float y) { return x * y; });
}

void TQVVector::Add(const TQVVector *a, const TQVVector *b)
{
    if (Covers(this, a) && Covers(this, b))
        Map(m_data, m_count, a->m_data, b->m_data, [](float x, float y) { return x + y; });
}

void TQVVector::Sub(const TQVVector *a, const TQVVector *b)
{
    if (Covers(this, a) && Covers(this, b))
        Map(m_data, m_count, a->m_data, b->m_data, [](float x, float y) { return x - y; });
}

void TQVVector::VDiv(const TQVVector *a, const TQVVector *b)
{
    if (Covers(this, a) && Covers(this, b))
        Map(m_data, m_count, a->m_data, b->m_data, [](float x, float y) { return x / y; });
}

void TQVVector::SMul(const TQVVector *a, float s)
{
    if (Covers(this, a))
        Map(m_data, m_count, a->m_data, a->m_data, [s](float x, float) { return x * s; });
}

void TQVVector::SDiv(const TQVVector *a, float s)
{
    if (Covers(this, a))
        Map(m_data, m_count, a->m_data, a->m_data, [s](float x, float) { return x / s; });
}

void TQVVector::Copy(const TQVVector *a)
{
    // Clamped to this vector's length; the only use copies between equal lengths.
    if (!Covers(this, a) || a == this)
        return;
    std::memmove(m_data, a->m_data, std::size_t(m_count) * sizeof(float));
}

TQVVector *TQVVector::Duplicate() const
{
    if (m_count < 1 || !m_data)
        return nullptr;
    auto *copy = new (std::nothrow) TQVVector(m_count);
    if (!copy || copy->m_count != m_count) {
        delete copy;
        return nullptr;
    }
    std::memcpy(copy->m_data, m_data, std::size_t(m_count) * sizeof(float));
    return copy;
}

// ---------------------------------------------------------------------------------------
// TQVComplexVector

TQVComplexVector::TQVComplexVector(int count)
{
    m_re = new (std::nothrow) TQVVector(count);
    m_im = new (std::nothrow) TQVVector(count);
    if (!m_re || !m_im) {
        delete m_re;
        delete m_im;
        m_re = m_im = nullptr;
        return;
    }
    // Kept as requested even when the parts are empty; every operation checks the parts.
    m_count = count;
}

TQVComplexVector::~TQVComplexVector()
{
    delete m_re;
    delete m_im;
    m_re = m_im = nullptr;
    m_count = 0;
}

void TQVComplexVector::Mul(const TQVComplexVector *a, const TQVComplexVector *b)
{
    if (!Covers(this, a) || !Covers(this, b))
        return;
    const float *ar = a->m_re->Data(), *ai = a->m_im->Data();
    const float *br = b->m_re->Data(), *bi = b->m_im->Data();
    float *tr = m_re->Data(), *ti = m_im->Data();
    for (int i = 0; i < m_count; ++i) {
        // All four read before writing: the target may be an argument.
        const long double xr = ar[i], xi = ai[i], yr = br[i], yi = bi[i];
        tr[i] = float(xr * yr - xi * yi);
        ti[i] = float(xr * yi + yr * xi);
    }
}

void TQVComplexVector::Add(const TQVComplexVector *a, const TQVComplexVector *b)
{
    if (!Covers(this, a) || !Covers(this, b))
        return;
    m_re->Add(a->m_re, b->m_re);
    m_im->Add(a->m_im, b->m_im);
}

void TQVComplexVector::Sub(const TQVComplexVector *a, const TQVComplexVector *b)
{
    if (!Covers(this, a) || !Covers(this, b))
        return;
    m_re->Sub(a->m_re, b->m_re);
    m_im->Sub(a->m_im, b->m_im);
}

void TQVComplexVector::VDiv(const TQVComplexVector *a, const TQVComplexVector *b)
{
    if (!Covers(this, a) || !Covers(this, b))
        return;
    const float *ar = a->m_re->Data(), *ai = a->m_im->Data();
    const float *br = b->m_re->Data(), *bi = b->m_im->Data();
    float *tr = m_re->Data(), *ti = m_im->Data();
    for (int i = 0; i < m_count; ++i) {
        const long double xr = ar[i], xi = ai[i], yr = br[i], yi = bi[i];
        const long double d = yr * yr + yi * yi;
        const long double re = (xr * yr + xi * yi) / d;
        const long double im = (xi * yr - xr * yi) / d;
        tr[i] = float(re);
        ti[i] = float(im);
    }
}

void TQVComplexVector::SMul(const TQVComplexVector *a, float s)
{
    if (!Covers(this, a))
        return;
    m_re->SMul(a->m_re, s);
    m_im->SMul(a->m_im, s);
}

void TQVComplexVector::SDiv(const TQVComplexVector *a, float s)
{
    if (!Covers(this, a))
        return;
    m_re->SDiv(a->m_re, s);
    m_im->SDiv(a->m_im, s);
}

void TQVComplexVector::Conj(const TQVComplexVector *a)
{
    if (!Covers(this, a))
        return;
    const float *ai = a->m_im->Data();
    float *ti = m_im->Data();
    for (int i = 0; i < m_count; ++i)
        ti[i] = -ai[i];
}

void TQVComplexVector::Square(const TQVComplexVector *a)
{
    if (!Covers(this, a))
        return;
    const float *ar = a->m_re->Data(), *ai = a->m_im->Data();
    float *tr = m_re->Data(), *ti = m_im->Data();
    for (int i = 0; i < m_count; ++i) {
        const long double xr = ar[i], xi = ai[i];
        tr[i] = float(xr * xr + xi * xi);
        ti[i] = 0.0f;
    }
}

void TQVComplexVector::Abs(const TQVComplexVector *a)
{
    if (!Covers(this, a))
        return;
    const float *ar = a->m_re->Data(), *ai = a->m_im->Data();
    float *tr = m_re->Data(), *ti = m_im->Data();
    for (int i = 0; i < m_count; ++i) {
        const long double xr = ar[i], xi = ai[i];
        tr[i] = float(std::sqrt(xr * xr + xi * xi));
        ti[i] = 0.0f;
    }
}

void TQVComplexVector::Copy(const TQVComplexVector *a)
{
    if (!Covers(this, a) || a == this)
        return;
    const std::size_t bytes = std::size_t(m_count) * sizeof(float);
    std::memmove(m_re->Data(), a->m_re->Data(), bytes);
    std::memmove(m_im->Data(), a->m_im->Data(), bytes);
}

TQVComplexVector *TQVComplexVector::Duplicate() const
{
    if (m_count < 1)
        return nullptr;
    auto *copy = new (std::nothrow) TQVComplexVector(m_count);
    if (!copy)
        return nullptr;
    if (HasParts(this, m_count)) {
        if (!HasParts(copy, m_count)) {
            delete copy;
            return nullptr;
        }
        const std::size_t bytes = std::size_t(m_count) * sizeof(float);
        std::memcpy(copy->m_re->Data(), m_re->Data(), bytes);
        std::memcpy(copy->m_im->Data(), m_im->Data(), bytes);
    }
    return copy;
}
