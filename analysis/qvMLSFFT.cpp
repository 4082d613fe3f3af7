#include "analysis/qvMLSFFT.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "kernels/qvKernels.h"

// ---------------------------------------------------------------------------------------
// TQVFFTStage

TQVFFTStage::TQVFFTStage(bool dualInput, QObject *owner)
    : TQVMLSBase(owner)
    , m_engine(new TQVFFT(this)) // a child, so that it shares the designing state
    , m_dualInput(dualInput)
{
    m_engine->SetSubComponent(true); // the stage's own part: its window is stored as LeakFunction
}

TQVFFTStage::~TQVFFTStage() = default;

TQVLeakType TQVFFTStage::LeakFunction() const
{
    return m_engine->LeakFunction();
}

void TQVFFTStage::SetLeakFunction(TQVLeakType type)
{
    if (type == wnOwn || type > wnBlackmanHarris92dB || type == LeakFunction())
        return;
    m_engine->SetLeakType(type);
    emit SettingsChanged();
}

const TQVLeakFunction &TQVFFTStage::OwnerLeakFunction() const
{
    return m_engine->OwnerLeakFunction();
}

void TQVFFTStage::SetOwnerLeakFunction(TQVLeakFunction function)
{
    m_engine->SetOwnerLeakFunction(std::move(function));
}

void TQVFFTStage::RedimensionVector(int n)
{
    if (Redimension(n))
        UpdateLinks();
}

int TQVFFTStage::TransformPoints(int n, int minimum)
{
    if (n < 1 || n > MaxTransformPoints)
        return 0;
    const unsigned points = std::bit_ceil(unsigned(std::max(n, minimum)));
    return points > unsigned(MaxTransformPoints) ? 0 : int(points);
}

int TQVFFTStage::Log2(int points)
{
    return std::bit_width(unsigned(points)) - 1;
}

bool TQVFFTStage::AcceptsSource(TQVMeasureSourceCapabilities caps) const
{
    return caps.Contains(mscContinuous) && !caps.Contains(mscSingleValue)
        && caps.Contains(m_dualInput ? mscDualChannel : mscSingleChannel);
}

QString TQVFFTStage::IncompatibleSourceMessage() const
{
    return QVLoadResString(m_dualInput ? TQVResString::FFTNeedsTwoChannels : TQVResString::FFTNeedsOneChannel);
}

void TQVFFTStage::AdjustSettings(TQVMeasureSourceSettings &settings) const
{
    settings.ChannelCount = OutputChannelCount(settings.ChannelCount);
    if (!IsFrequencyOutput())
        return;
    // From the second bin up to half the sample rate; the lower range limit is put far
    // below the upper one so that a logarithmic display shows the whole dynamic range.
    const long double span = settings.XSpan;
    if (span == 0.0L) {
        settings.XStart = 0.0L;
        settings.XSpan = 0.0L;
    } else {
        const long double n = InputBlockLength(settings);
        settings.XStart = 2.0L / span;
        settings.XSpan = n * 0.5L / span - 2.0L / span;
    }
    settings.RangeMin = float(static_cast<long double>(settings.RangeMax) / 70000.0L);
}

void TQVFFTStage::SourceSettingsChanged(const TQVMeasureSourceSettings &settings)
{
    // The base announces the settings downstream right after this.
    Redimension(InputBlockLength(settings));
}

void TQVFFTStage::OutputChanged()
{
    MLSOnUpdateSettings(InputLink());
}

bool TQVFFTStage::HasInput(const TQVDescArraySingle &data) const
{
    return QVHasData(data.Channels[0]) && (!m_dualInput || QVHasData(data.Channels[1]));
}

int TQVFFTStage::InputLength(const TQVDescArraySingle &data) const
{
    // Both channels are zero-padded to one length; a longer second channel is not cut.
    return m_dualInput ? std::max(data.Channels[0].Count, data.Channels[1].Count) : data.Channels[0].Count;
}

void TQVFFTStage::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    if (HasInput(data)) {
        // A new size is announced before the block that caused it goes out. Compute reads
        // the vectors only afterwards: a downstream settings handler may change the output.
        RedimensionVector(InputLength(data));
        Compute(data);
    }

    TQVDescArraySingle out;
    std::memset(static_cast<void *>(&out), 0, sizeof out);
    BuildOutput(out);

    DeliverData(out);
}

template <typename T>
void TQVFFTStage::Replace(std::unique_ptr<T> &slot, std::unique_ptr<T> fresh)
{
    RetireBuffer(std::shared_ptr<T>(std::move(slot)));
    slot = std::move(fresh);
}

QVDescArraySingle TQVFFTStage::Slot(TQVVector *part, int from, int count, int spare)
{
    if (count < 1 || !part || !part->Data() || from < 0)
        return QVDescArraySingle{nullptr, 0};
    if (from + count <= part->Count())
        return QVDescArraySingle{part->Data() + from, count};

    // The slot reaches past the vector: deliver a copy that ends in zeros.
    std::unique_ptr<TQVVector> &buffer = m_spare[spare];
    if (!buffer || buffer->Count() != count)
        Replace(buffer, std::make_unique<TQVVector>(count));
    if (!buffer->Data())
        return QVDescArraySingle{nullptr, 0};
    const int available = std::clamp(part->Count() - from, 0, count);
    if (available > 0)
        QVKernels::CopySamples(buffer->Data(), part->Data() + from, available);
    std::memset(buffer->Data() + available, 0, std::size_t(count - available) * sizeof(float));
    return QVDescArraySingle{buffer->Data(), count};
}

bool TQVFFTStage::Fits(const QVDescArraySingle &in, const TQVVector *target)
{
    return target && target->Data() && in.Count <= target->Count();
}

void TQVFFTStage::CopyPadded(const QVDescArraySingle &in, TQVVector *target)
{
    QVKernels::CopySamples(target->Data(), in.Data, in.Count);
    std::memset(target->Data() + in.Count, 0, std::size_t(target->Count() - in.Count) * sizeof(float));
}

void TQVFFTStage::Clear(TQVVector *vector)
{
    if (vector && vector->Data())
        std::memset(vector->Data(), 0, std::size_t(vector->Count()) * sizeof(float));
}

// ---------------------------------------------------------------------------------------
// TQVFFTSingleInputStage

TQVFFTSingleInputStage::TQVFFTSingleInputStage(QObject *owner)
    : TQVFFTStage(false, owner)
    , m_real(std::make_unique<TQVVector>(1024))
    , m_complex(std::make_unique<TQVComplexVector>(512))
{
    m_engine->SetExponent(9);
}

TQVFFTSingleInputStage::~TQVFFTSingleInputStage() = default;

bool TQVFFTSingleInputStage::Redimension(int n)
{
    // Real input: P samples packed into P/2 complex points. The engine's size needs an
    // exponent of at least 1.
    const bool real = RealInput();
    const int points = TransformPoints(n, real ? 4 : 2);
    if (points == 0)
        return false;
    const int complexPoints = real ? points / 2 : points;
    const int exponent = Log2(complexPoints);
    // The whole layout of the current output is compared, so that switching between a
    // real-input and a complex output re-creates what the new output uses.
    const bool fits = m_complex && m_complex->Count() == complexPoints && m_engine->Exponent() == exponent
        && (!real || (m_real && m_real->Count() == points));
    if (fits)
        return false;
    if (real)
        Replace(m_real, std::make_unique<TQVVector>(points));
    Replace(m_complex, std::make_unique<TQVComplexVector>(complexPoints));
    m_engine->SetExponent(exponent);
    return true;
}

bool TQVFFTSingleInputStage::LoadInput(const TQVDescArraySingle &data)
{
    TQVVector *target = RealInput() ? m_real.get() : m_complex->Re();
    if (!Fits(data.Channels[0], target))
        return false;
    CopyPadded(data.Channels[0], target);
    return true;
}

// ---------------------------------------------------------------------------------------
// TQVFFTSingleSingle

TQVFFTSingleSingle::TQVFFTSingleSingle(QObject *owner)
    : TQVFFTSingleInputStage(owner)
{
}

TQVFFTSingleSingle::~TQVFFTSingleSingle() = default;

void TQVFFTSingleSingle::SetOutput(TQVFFTSingleSingleOutput output)
{
    if (output == m_output || output > ssoRealFFT)
        return;
    m_output = output;
    NotifyAfter([this] { OutputChanged(); }, [this] { emit SettingsChanged(); });
}

void TQVFFTSingleSingle::Compute(const TQVDescArraySingle &data)
{
    // The imaginary part keeps what the previous transform left there.
    if (!LoadInput(data))
        return;
    switch (m_output) {
    case ssoAutoCorrelation:
        m_engine->AutoCorrelation(m_complex.get());
        break;
    case ssoPowerSpectrum:
        m_engine->PowerSpectrum(m_complex.get());
        break;
    case ssoRealFFT:
        m_engine->RealFFT(m_real.get(), m_complex.get(), false);
        break;
    }
}

void TQVFFTSingleSingle::BuildOutput(TQVDescArraySingle &out)
{
    const int length = m_complex->Count();
    const int from = m_output == ssoAutoCorrelation ? 1 : 2;
    out.Channels[0] = Slot(m_complex->Re(), from, length - 1, 0);
}

// ---------------------------------------------------------------------------------------
// TQVFFTDualSingle

TQVFFTDualSingle::TQVFFTDualSingle(QObject *owner)
    : TQVFFTStage(true, owner)
    , m_first(std::make_unique<TQVComplexVector>(512))
    , m_second(std::make_unique<TQVComplexVector>(512))
    , m_result(std::make_unique<TQVComplexVector>(512))
{
    m_engine->SetExponent(9);
}

TQVFFTDualSingle::~TQVFFTDualSingle() = default;

void TQVFFTDualSingle::SetOutput(TQVFFTDualSingleOutput output)
{
    if (output == m_output || output > dsoConvolution)
        return;
    m_output = output;
    NotifyAfter([this] { OutputChanged(); }, [this] { emit SettingsChanged(); });
}

bool TQVFFTDualSingle::Redimension(int n)
{
    const int points = TransformPoints(n, 2);
    if (points == 0)
        return false;
    const int exponent = Log2(points);
    if (m_first->Count() == points && m_second->Count() == points && m_result->Count() == points
        && m_engine->Exponent() == exponent) {
        return false;
    }
    Replace(m_first, std::make_unique<TQVComplexVector>(points));
    Replace(m_second, std::make_unique<TQVComplexVector>(points));
    Replace(m_result, std::make_unique<TQVComplexVector>(points));
    m_engine->SetExponent(exponent);
    return true;
}

void TQVFFTDualSingle::Compute(const TQVDescArraySingle &data)
{
    // The imaginary parts keep the last spectra's imaginary parts.
    const QVDescArraySingle &a = data.Channels[0];
    const QVDescArraySingle &b = data.Channels[1];
    if (!Fits(a, m_first->Re()) || !Fits(b, m_second->Re()))
        return;
    CopyPadded(a, m_first->Re());
    CopyPadded(b, m_second->Re());
    m_engine->DoLeakTransformation(m_first->Re());
    m_engine->DoLeakTransformation(m_second->Re());
    switch (m_output) {
    case dsoCrossCorrelation:
        m_engine->CrossCorrelation(m_result.get(), m_first.get(), m_second.get());
        break;
    case dsoCrossPowerSpectrum:
        m_engine->CrossPowerSpectrum(m_result.get(), m_first.get(), m_second.get());
        m_result->Abs(m_result.get());
        break;
    case dsoConvolution:
        m_engine->Convolute(m_result.get(), m_first.get(), m_second.get());
        break;
    }
}

void TQVFFTDualSingle::BuildOutput(TQVDescArraySingle &out)
{
    const int length = m_result->Count();
    if (m_output == dsoCrossPowerSpectrum)
        out.Channels[0] = Slot(m_result->Re(), 2, (length - 1) / 2, 0);
    else
        out.Channels[0] = Slot(m_result->Re(), 1, length - 1, 0);
}

// ---------------------------------------------------------------------------------------
// TQVFFTSingleDual

TQVFFTSingleDual::TQVFFTSingleDual(QObject *owner)
    : TQVFFTSingleInputStage(owner)
{
}

TQVFFTSingleDual::~TQVFFTSingleDual() = default;

void TQVFFTSingleDual::SetOutput(TQVFFTSingleDualOutput output)
{
    if (output == m_output || output > sdoComplexFFT)
        return;
    m_output = output;
    NotifyAfter([this] { OutputChanged(); }, [this] { emit SettingsChanged(); });
}

void TQVFFTSingleDual::Compute(const TQVDescArraySingle &data)
{
    if (!LoadInput(data))
        return;
    if (m_output == sdoRealFFT) {
        m_engine->RealFFT(m_real.get(), m_complex.get(), true);
    } else {
        Clear(m_complex->Im());
        m_engine->ComplexFFT(m_complex.get(), false);
    }
}

void TQVFFTSingleDual::BuildOutput(TQVDescArraySingle &out)
{
    const int length = m_complex->Count();
    if (m_output == sdoRealFFT) {
        out.Channels[0] = Slot(m_complex->Re(), 2, length - 1, 0);
        out.Channels[1] = Slot(m_complex->Im(), 2, length - 1, 1);
    } else {
        // Windowed after the transform, on every delivery: repeated blocks without data
        // window the same spectrum again.
        m_engine->DoLeakTransformation(m_complex->Re());
        out.Channels[0] = Slot(m_complex->Re(), 1, length - 1, 0);
        out.Channels[1] = Slot(m_complex->Im(), 1, length - 1, 1);
    }
}
