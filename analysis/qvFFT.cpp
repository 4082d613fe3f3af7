#include "analysis/qvFFT.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "kernels/qvKernels.h"

// Precision of the steps around the complex transform, which sit on the path of every
// real transform and run as vectorised loops:
// - window, packing and unpacking: one float product or a copy per element, exact as
//   defined;
// - the split of the real transform: float arithmetic like the butterflies of the complex
//   transform; T1 and T2 are floats as defined, each product and sum is rounded on the way;
// - amplitudes: squares and sum in double (exact for float inputs unless the two squares
//   lie more than 2^5 apart) and a correctly rounded double square root, so the stored
//   float is that of the extended-precision definition but for double-rounding ties, and
//   neither overflows nor underflows where the float result does not.
// Phases use the double arctangent, one call per element. The other steps (merge, polar
// to rectangular, tables, window coefficients) compute in long double.

namespace {

constexpr long double Pi = 3.14159265358979323846264338327950288L;

bool IsPowerOfTwo(int n)
{
    return n >= 2 && (n & (n - 1)) == 0;
}

double Magnitude(double r, double m)
{
    return std::sqrt(r * r + m * m);
}

// Phase of (r, m) with the conventions kept by the engine: the negative imaginary axis
// gives -3 pi / 2 and the negative real axis 0.
float Phase(double r, double m)
{
    if (r == 0.0) {
        if (m < 0.0)
            return -4.712389f;
        return m > 0.0 ? 1.5707964f : 0.0f;
    }
    double phase = std::atan(m / r);
    if (r < 0.0 && m > 0.0)
        phase += double(Pi);
    else if (r < 0.0 && m < 0.0)
        phase -= double(Pi);
    return float(phase);
}

void Multiply(float *__restrict v, const float *__restrict w, int count)
{
    for (int i = 0; i < count; ++i)
        v[i] *= w[i];
}

void Deinterleave(float *__restrict re, float *__restrict im, const float *__restrict s, int count)
{
    for (int k = 0; k < count; ++k) {
        re[k] = s[2 * k];
        im[k] = s[2 * k + 1];
    }
}

// t[2k] = re[k], t[2k + 1] = im[k + 1] for k < count.
void InterleaveShifted(float *__restrict t, const float *__restrict re, const float *__restrict im,
                       int count)
{
    for (int k = 0; k < count; ++k) {
        t[2 * k] = re[k];
        t[2 * k + 1] = im[k + 1];
    }
}

// Window of L points shifted by one sample: w[j] is the textbook symmetric window at
// (j + 1) steps of 2 pi / (L - 1). Up to three cosine terms with alternating signs.
void CosineSumWindow(TQVVector *vector, long double a0, long double a1, long double a2, long double a3)
{
    if (!vector || !vector->Data())
        return;
    const int length = vector->Count();
    const float step = float(2.0L * Pi / (long double)(length - 1));
    float *w = vector->Data();
    for (int j = 0; j < length; ++j) {
        const float t = float((long double)(j + 1) * step);
        long double value = a0 - a1 * std::cos((long double)t);
        if (a2 != 0.0L)
            value += a2 * std::cos((long double)float(2.0L * t));
        if (a3 != 0.0L)
            value -= a3 * std::cos((long double)float(3.0L * t));
        w[j] = float(value);
    }
}

void RaisedCosine(TQVVector *vector)
{
    CosineSumWindow(vector, 0.5L, 0.5L, 0.0L, 0.0L);
}

} // namespace

// ---------------------------------------------------------------------------------------
// Construction and properties

TQVFFT::TQVFFT(QObject *owner)
    : TQVComponent(owner)
{
    SetCoeff(m_size);
    m_window = NewArray(m_size);
    InstallLeakFunction(m_leakType, m_size);
}

TQVFFT::~TQVFFT()
{
    for (TQVVector *v : m_arrays)
        delete v;
    for (TQVComplexVector *v : m_complexes)
        delete v;
}

void TQVFFT::SetDesigning(bool designing)
{
    const bool wasDesigning = IsDesigning();
    TQVComponent::SetDesigning(designing);
    if (!wasDesigning || designing)
        return;
    if (!TablesReady() || m_kernel.Size() != m_size)
        SetCoeff(m_size);
    InstallWindow(m_leakType, m_size);
}

void TQVFFT::SetExponent(int exponent)
{
    if (exponent < 1 || exponent > 31 || exponent == m_exponent)
        return;
    m_exponent = exponent;
    // 2^31 wraps to a negative size, as in a 32-bit register; no table is built for it.
    m_size = int(quint32(1) << exponent);
    SetCoeff(m_size);
    InstallLeakFunction(m_leakType, m_size);
    emit SettingsChanged();
}

void TQVFFT::SetLeakType(TQVLeakType type)
{
    if (type == m_leakType)
        return;
    InstallLeakFunction(type, m_window ? m_window->Count() : 0);
}

void TQVFFT::SetOwnerLeakFunction(TQVLeakFunction function)
{
    m_ownerLeakFunction = std::move(function);
}

// ---------------------------------------------------------------------------------------
// Vector registries

TQVVector *TQVFFT::NewArray(int count)
{
    auto vector = std::make_unique<TQVVector>(count);
    m_arrays.push_back(vector.get());
    return vector.release();
}

void TQVFFT::FreeArray(TQVVector *vector)
{
    const auto it = std::find(m_arrays.begin(), m_arrays.end(), vector);
    if (!vector || it == m_arrays.end())
        return;
    m_arrays.erase(it);
    delete vector;
}

TQVComplexVector *TQVFFT::NewComplex(int count)
{
    auto vector = std::make_unique<TQVComplexVector>(count);
    m_complexes.push_back(vector.get());
    return vector.release();
}

void TQVFFT::FreeComplex(TQVComplexVector *vector)
{
    const auto it = std::find(m_complexes.begin(), m_complexes.end(), vector);
    if (!vector || it == m_complexes.end())
        return;
    m_complexes.erase(it);
    delete vector;
}

// ---------------------------------------------------------------------------------------
// Tables and checks

void TQVFFT::SetCoeff(int n)
{
    if (IsDesigning()) {
        // No tables in the designer; a kernel of another size must not outlive them.
        if (m_kernel.Size() != n)
            m_kernel.Clear();
        return;
    }
    FreeArray(m_cosTable);
    FreeArray(m_sinTable);
    m_cosTable = NewArray(n);
    m_sinTable = NewArray(n);
    const bool built = m_cosTable->Count() == n && m_sinTable->Count() == n && n > 0;
    if (!built) {
        m_kernel.Clear();
        return;
    }
    float *c = m_cosTable->Data();
    float *s = m_sinTable->Data();
    for (int k = 0; k < n; ++k) {
        const long double angle = Pi * (long double)k / (long double)n;
        c[k] = float(std::cos(angle));
        s[k] = float(std::sin(angle));
    }
    if (IsPowerOfTwo(n))
        m_kernel.Prepare(n, c, s);
    else
        m_kernel.Clear();
}

bool TQVFFT::TablesReady() const
{
    return m_size >= 2 && m_cosTable && m_sinTable && m_cosTable->Count() == m_size
        && m_sinTable->Count() == m_size;
}

bool TQVFFT::HasSize(const TQVComplexVector *vector) const
{
    return vector && m_size >= 2 && vector->Count() == m_size && vector->Re() && vector->Im()
        && vector->Re()->Count() >= m_size && vector->Im()->Count() >= m_size;
}

bool TQVFFT::CanTransform(const TQVComplexVector *vector) const
{
    return HasSize(vector) && TablesReady() && m_kernel.Size() == m_size;
}

// ---------------------------------------------------------------------------------------
// Transforms

void TQVFFT::ComplexFFT(TQVComplexVector *vector, bool inverse)
{
    if (!CanTransform(vector))
        return;
    m_kernel.Transform(vector->Re()->Data(), vector->Im()->Data(), inverse);
}

void TQVFFT::ComplexToReal(TQVComplexVector *vector)
{
    if (!HasSize(vector) || !TablesReady())
        return;
    const int n = m_size;
    const int half = n / 2;
    float *re = vector->Re()->Data();
    float *im = vector->Im()->Data();
    const float *cosT = m_cosTable->Data();
    const float *sinT = m_sinTable->Data();

    re[0] = (re[0] + im[0]) * 0.5f;
    im[0] = 0.0f;
    QVKernels::FFTSplitPairs(re + 1, im + 1, re + n - 1, im + n - 1, cosT + 1, sinT + 1, half - 1);

    // k = q = N/2: the values written for q are written last and stand.
    const float a = re[half], c = im[half];
    const float wr = cosT[half], wi = -sinT[half];
    const float s = a + a, dr = a - a, si = c + c, di = c - c;
    const float t1 = dr * wi - si * wr;
    const float t2 = dr * wr + si * wi;
    re[half] = (s + t1) * 0.5f;
    im[half] = (-di - t2) * 0.5f;
}

void TQVFFT::RealToComplex(TQVComplexVector *vector)
{
    if (!HasSize(vector) || !TablesReady())
        return;
    const int n = m_size;
    float *re = vector->Re()->Data();
    float *im = vector->Im()->Data();
    const float *cosT = m_cosTable->Data();
    const float *sinT = m_sinTable->Data();
    constexpr long double h = 0.5L;

    const long double t = re[0], u = im[0];
    re[0] = float(t + u);
    im[0] = float(t - u);
    for (int k = 1; k <= n / 2; ++k) {
        const int q = n - k;
        const long double wr = cosT[k], wi = sinT[k];
        const long double a = re[k], b = re[q], c = im[k], d = im[q];
        const long double h1 = (c - d) * h;
        const long double h2 = (-c - d) * h;
        const long double g1 = (b - a) * h;
        const long double g0 = (a + b) * h;
        const long double t1 = g1 * wi + h2 * wr;
        re[k] = float(g0 + t1);
        re[q] = float(g0 - t1);
        const long double t2 = h2 * wi - g1 * wr;
        im[k] = float(t2 + h1);
        im[q] = float(t2 - h1);
    }
}

void TQVFFT::CoeffToAmpl(TQVComplexVector *vector, bool withPhase)
{
    if (!HasSize(vector))
        return;
    const int n = m_size;
    float *re = vector->Re()->Data();
    float *im = vector->Im()->Data();
    if (!withPhase) {
        QVKernels::FFTAmplitudes(re + 1, im + 1, n - 1);
        return;
    }
    for (int i = 1; i < n; ++i) {
        const double r = re[i], m = im[i];
        re[i] = float(Magnitude(r, m));
        im[i] = Phase(r, m);
    }
}

void TQVFFT::AmplToCoeff(TQVComplexVector *vector)
{
    if (!HasSize(vector))
        return;
    float *re = vector->Re()->Data();
    float *im = vector->Im()->Data();
    for (int i = 1; i < m_size; ++i) {
        if (im[i] == 0.0f)
            continue;
        const long double phase = im[i], amplitude = re[i];
        re[i] = float(std::cos(phase) * amplitude);
        im[i] = float(std::sin(phase) * amplitude);
    }
}

void TQVFFT::ScrambleData(const TQVVector *source, TQVComplexVector *target)
{
    if (!source || !target || !source->Data())
        return;
    const int pairs = source->Count() / 2;
    if (source->Count() <= 0 || target->Count() < pairs || !target->Re() || !target->Im()
        || target->Re()->Count() < pairs || target->Im()->Count() < pairs)
        return;
    Deinterleave(target->Re()->Data(), target->Im()->Data(), source->Data(), pairs);
}

void TQVFFT::UnscrambleData(const TQVComplexVector *source, TQVVector *target)
{
    if (!source || !target || !target->Data())
        return;
    const int length = target->Count();
    const int h = length / 2;
    // A source shorter than half the target would be read past its end: refused as well.
    if (length < 2 || source->Count() > h || !source->Re() || !source->Im()
        || source->Re()->Count() < h || source->Im()->Count() < h)
        return;
    const float *re = source->Re()->Data();
    const float *im = source->Im()->Data();
    float *t = target->Data();
    t[length - 2] = re[h - 1];
    t[length - 1] = im[0];
    InterleaveShifted(t, re, im, h - 1);
}

void TQVFFT::RealFFT(TQVVector *input, TQVComplexVector *output, bool withPhase)
{
    if (!input || !input->Data() || qint64(input->Count()) != 2 * qint64(m_size) || !CanTransform(output))
        return;
    DoLeakTransformation(input);
    ScrambleData(input, output);
    ComplexFFT(output, false);
    ComplexToReal(output);
    CoeffToAmpl(output, withPhase);
}

void TQVFFT::RealInverseFFT(TQVComplexVector *input, TQVVector *output)
{
    if (!output || !output->Data() || qint64(output->Count()) != 2 * qint64(m_size) || !CanTransform(input))
        return;
    AmplToCoeff(input);
    RealToComplex(input);
    ComplexFFT(input, true);
    UnscrambleData(input, output);
}

void TQVFFT::WindowAndTransform(TQVComplexVector *vector)
{
    DoLeakTransformation(vector->Re());
    DoLeakTransformation(vector->Im());
    ComplexFFT(vector, false);
}

void TQVFFT::PowerSpectrum(TQVComplexVector *vector)
{
    if (!CanTransform(vector))
        return;
    WindowAndTransform(vector);
    vector->Square(vector);
}

void TQVFFT::AutoCorrelation(TQVComplexVector *vector)
{
    if (!CanTransform(vector))
        return;
    PowerSpectrum(vector);
    ComplexFFT(vector, true);
}

void TQVFFT::CrossPowerSpectrum(TQVComplexVector *result, TQVComplexVector *a, TQVComplexVector *b)
{
    if (!CanTransform(result) || !CanTransform(a) || !CanTransform(b))
        return;
    WindowAndTransform(a);
    WindowAndTransform(b);
    b->Conj(b);
    result->Mul(a, b);
}

void TQVFFT::CrossCorrelation(TQVComplexVector *result, TQVComplexVector *a, TQVComplexVector *b)
{
    if (!CanTransform(result) || !CanTransform(a) || !CanTransform(b))
        return;
    CrossPowerSpectrum(result, a, b);
    ComplexFFT(result, true);
}

void TQVFFT::Convolute(TQVComplexVector *result, TQVComplexVector *a, TQVComplexVector *b)
{
    if (!CanTransform(result) || !CanTransform(a) || !CanTransform(b))
        return;
    WindowAndTransform(a);
    WindowAndTransform(b);
    result->Mul(a, b);
    ComplexFFT(result, true);
}

// ---------------------------------------------------------------------------------------
// Windows

void TQVFFT::InstallLeakFunction(TQVLeakType type, int length)
{
    if (type > wnBlackmanHarris92dB)
        return;
    if (m_window && type == m_leakType && length == m_window->Count())
        return;
    const TQVLeakType before = m_leakType;
    InstallWindow(type, length);
    if (m_leakType != before)
        emit SettingsChanged();
}

void TQVFFT::InstallWindow(TQVLeakType type, int length)
{
    const bool designing = IsDesigning();
    if (!designing) {
        FreeArray(m_window);
        m_window = NewArray(length);
    }
    switch (type) {
    case wnOwn:
        if (m_ownerLeakFunction) {
            m_installedLeakFunction = std::make_shared<const TQVLeakFunction>(m_ownerLeakFunction);
            m_installedLeak = TQVInstalledLeak::Owner;
            m_leakType = wnOwn;
        } else {
            m_installedLeak = TQVInstalledLeak::Rectangle;
            m_leakType = wnRectangle;
        }
        return;
    case wnRectangle:
        m_installedLeak = TQVInstalledLeak::Rectangle;
        m_leakType = wnRectangle;
        return;
    default:
        break;
    }
    if (!designing) {
        switch (type) {
        case wnHanning: CalcHanning(m_window); break;
        case wnHamming: CalcHamming(m_window); break;
        case wnBlackman: CalcBlackman(m_window); break;
        case wnHann: CalcHann(m_window); break;
        case wnBlackmanHarris67dB: CalcBlackmanHarris67dB(m_window); break;
        case wnBlackmanHarris92dB: CalcBlackmanHarris92dB(m_window); break;
        default: break;
        }
    }
    m_installedLeak = TQVInstalledLeak::Default;
    m_leakType = type;
}

void TQVFFT::DoLeakTransformation(TQVVector *vector)
{
    if (!vector)
        return;
    InstallLeakFunction(m_leakType, vector->Count());
    ApplyInstalledLeak(*vector);
}

void TQVFFT::ApplyInstalledLeak(TQVVector &vector)
{
    switch (m_installedLeak) {
    case TQVInstalledLeak::Rectangle:
        LeakRectangle(vector);
        break;
    case TQVInstalledLeak::Default:
        LeakDefault(vector);
        break;
    case TQVInstalledLeak::Owner:
        if (const std::shared_ptr<const TQVLeakFunction> function = m_installedLeakFunction)
            (*function)(vector);
        break;
    }
}

void TQVFFT::LeakRectangle(TQVVector &)
{
}

void TQVFFT::LeakDefault(TQVVector &vector)
{
    if (!vector.Data() || !m_window || !m_window->Data() || m_window->Count() < vector.Count())
        return;
    Multiply(vector.Data(), m_window->Data(), vector.Count());
}

void TQVFFT::CalcHanning(TQVVector *vector)
{
    RaisedCosine(vector);
}

void TQVFFT::CalcHann(TQVVector *vector)
{
    RaisedCosine(vector);
}

void TQVFFT::CalcHamming(TQVVector *vector)
{
    CosineSumWindow(vector, 0.54L, 0.46L, 0.0L, 0.0L);
}

void TQVFFT::CalcBlackman(TQVVector *vector)
{
    CosineSumWindow(vector, 0.42L, 0.5L, 0.08L, 0.0L);
}

void TQVFFT::CalcBlackmanHarris67dB(TQVVector *vector)
{
    CosineSumWindow(vector, 0.42323L, 0.49755L, 0.07922L, 0.0L);
}

void TQVFFT::CalcBlackmanHarris92dB(TQVVector *vector)
{
    CosineSumWindow(vector, 0.35875L, 0.48829L, 0.14128L, 0.01168L);
}
