#include "analysis/qvFilter.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <numbers>

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>

#include "framework/qvFiler.h"

namespace {

constexpr long double Pi = std::numbers::pi_v<long double>;

// Frequencies and Q take only finite positive values that differ from the present one.
bool AcceptsNewValue(float value, float present, float lowerLimit)
{
    return std::isfinite(value) && value > lowerLimit && value != present;
}

// The decay per sample of an RC filter, exp(-2 pi fc / fs).
long double RCDecay(float cutoff, float sampleFrequency)
{
    return std::exp(-2.0L * Pi * static_cast<long double>(cutoff) / static_cast<long double>(sampleFrequency));
}

// A coefficient line: a number with optional blanks around it, in the C notation or in the
// notation of the default locale, within the range of a 32-bit float.
bool ParseCoefficient(const QString &line, float &value)
{
    const QString text = line.trimmed();
    QLocale c = QLocale::c();
    c.setNumberOptions(QLocale::OmitGroupSeparator | QLocale::RejectGroupSeparator);
    bool ok = false;
    double number = c.toDouble(text, &ok);
    if (!ok) {
        QLocale local;
        local.setNumberOptions(QLocale::OmitGroupSeparator | QLocale::RejectGroupSeparator);
        number = local.toDouble(text, &ok);
    }
    if (!ok || !std::isfinite(number) || std::fabs(number) > double(FLT_MAX))
        return false;
    value = float(number);
    return true;
}

QString CoefficientLineError(int lineNumber, const QString &line)
{
    return QVLoadResString(TQVResString::FirCoefficientLineInvalid).arg(QString::number(lineNumber), line);
}

} // namespace

// ---------------------------------------------------------------------------------------
// TQVMLSFilterBase

TQVMLSFilterBase::TQVMLSFilterBase(QObject *owner)
    : TQVMLSBase(owner)
{
}

TQVMLSFilterBase::~TQVMLSFilterBase() = default;

void TQVMLSFilterBase::SetSampleFrequency(float value)
{
    if (!AcceptsNewValue(value, m_sampleFrequency, 0.0f))
        return;
    m_sampleFrequency = value;
    CalcParameters();
    emit SampleFrequencyChanged(value);
}

void TQVMLSFilterBase::SetCutoffFrequency(float value)
{
    if (!AcceptsNewValue(value, m_cutoffFrequency, 0.0f))
        return;
    m_cutoffFrequency = value;
    CalcParameters();
    emit CutoffFrequencyChanged(value);
}

void TQVMLSFilterBase::CalcParameters()
{
}

void TQVMLSFilterBase::Loaded()
{
    TQVMLSBase::Loaded();
    CalcParameters();
}

bool TQVMLSFilterBase::AcceptsSource(TQVMeasureSourceCapabilities sourceCapabilities) const
{
    return sourceCapabilities.Contains(mscContinuous) && sourceCapabilities.Contains(mscSingleChannel);
}

QString TQVMLSFilterBase::IncompatibleSourceMessage() const
{
    return QVLoadResString(TQVResString::FilterNeedsOneChannel);
}

void TQVMLSFilterBase::AdjustSettings(TQVMeasureSourceSettings &settings) const
{
    if (settings.ChannelCount >= 1)
        settings.ChannelCount = 1;
}

void TQVMLSFilterBase::SourceSettingsChanged(const TQVMeasureSourceSettings &settings)
{
    const long double n = InputBlockLength(settings);
    SetSampleFrequency(float(n / static_cast<long double>(settings.XSpan)));
}

void TQVMLSFilterBase::MLSOnChangedState(TQVMeasureLink *, TQVMeasureSourceState state)
{
    if (state == mssRun)
        Reset();
    DeliverState(state);
}

void TQVMLSFilterBase::RedimensionCopyArray(int n)
{
    if (n <= m_capacity)
        return;
    auto fresh = std::make_unique_for_overwrite<float[]>(std::size_t(n));
    RetireBuffer(std::shared_ptr<float[]>(std::move(m_buffer)));
    m_buffer = std::move(fresh);
    m_capacity = n;
}

void TQVMLSFilterBase::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    TQVDescArraySingle local;
    QVCopyHeader(local, data);
    const QVDescArraySingle in = data.Channels[0];
    if (QVHasData(in)) {
        RedimensionCopyArray(in.Count);
        std::memmove(m_buffer.get(), in.Data, std::size_t(in.Count) * sizeof(float));
        FilterArray(m_buffer.get(), in.Count);
        local.Channels[0] = QVDescArraySingle{m_buffer.get(), in.Count};
    } else if (m_buffer) {
        // No new samples: the previous output goes out again with the received count, but
        // never with more samples than the buffer holds.
        local.Channels[0] = QVDescArraySingle{m_buffer.get(), std::min(in.Count, m_capacity)};
    }
    DeliverData(local);
}

// ---------------------------------------------------------------------------------------
// TQVIIRFilter

TQVIIRFilter::TQVIIRFilter(QObject *owner)
    : TQVMLSFilterBase(owner)
{
    Reset();
    CalcParameters();
}

TQVIIRFilter::~TQVIIRFilter() = default;

void TQVIIRFilter::SetCutoffHighFrequency(float value)
{
    if (!AcceptsNewValue(value, m_cutoffHigh, 0.0f))
        return;
    m_cutoffHigh = value;
    CalcParameters();
    emit CutoffHighFrequencyChanged(value);
}

void TQVIIRFilter::SetOrder(int order)
{
    if (order == m_order || order < 2 || order > 2 * MaxSections)
        return;
    const int before = m_order;
    m_sections = order / 2;
    m_order = 2 * m_sections;
    CalcParameters();
    if (m_order != before)
        emit SettingsChanged();
}

void TQVIIRFilter::SetFilterOutput(TQVIirFilterOutput output)
{
    if (output > iirHighPass)
        return;
    const bool changed = output != m_output;
    m_output = output;
    CalcParameters();
    if (changed)
        emit SettingsChanged();
}

void TQVIIRFilter::CalcParameters()
{
    // Butterworth prototype of order 2M in M conjugate pole pairs at angles theta_k,
    // mapped by the bilinear transform with pre-warped band edges. The roundings to
    // 32 bits are kept on purpose.
    const long double fs = SampleFrequency();
    const int m = m_sections;
    for (int k = 1; k <= m; ++k) {
        const long double theta = (2 * (m + k) - 1) * Pi / (4 * m);
        const long double ck = float(std::cos(theta));
        long double *c = m_coefficients[k - 1].C;
        switch (m_output) {
        case iirLowPass: {
            const long double w = float(std::tan(Pi * CutoffFrequency() / fs));
            const long double b = 2 * w * ck;
            const long double g = float(1 / (w * w + 1 - b));
            c[0] = w * w * g;
            c[1] = (w * w - 1) * 2 * g;
            c[2] = (w * w + 1 + b) * g;
            c[3] = c[4] = 0;
            break;
        }
        case iirHighPass: {
            const long double w = float(std::tan(Pi * CutoffFrequency() / fs));
            const long double b = 2 * w * ck;
            const long double g = 1 / (w * w + 1 - b);
            c[0] = g;
            c[1] = (w * w - 1) * 2 * g;
            c[2] = (w * w + 1 + b) * g;
            c[3] = c[4] = 0;
            break;
        }
        case iirBandPass: {
            const long double w1 = float(std::tan(Pi * CutoffFrequency() / fs));
            const long double w2 = float(std::tan(Pi * m_cutoffHigh / fs));
            const long double bw = float(w2 - w1);
            const long double s = float(bw * bw + 2 * w1 * w2);
            const long double p = float(w2 * w2 * w1 * w1);
            const long double b = float(-2 * bw * ck);
            const long double q = float(b * w1 * w2);
            const long double d = float(1 + b + s + q + p);
            c[0] = bw * bw / d;
            c[1] = (-4 - 2 * b + 2 * q + 4 * p) / d;
            c[2] = (6 - 2 * s + 6 * p) / d;
            c[3] = (2 * b - 4 - 2 * q + 4 * p) / d;
            c[4] = (1 - b + s - q + p) / d;
            break;
        }
        }
    }
}

float TQVIIRFilter::Filter(float x)
{
    const int m = m_sections;
    if (m_output == iirBandPass) {
        m_stages[0].S[4] = x;
        for (int k = 0; k < m; ++k) {
            const long double *c = m_coefficients[k].C;
            const long double *in = m_stages[k].S;
            long double *out = m_stages[k + 1].S;
            out[4] = (in[4] - 2 * in[2] + in[0]) * c[0] - c[1] * out[3] - c[2] * out[2] - c[3] * out[1]
                - c[4] * out[0];
        }
        for (int k = 0; k <= m; ++k) {
            long double *s = m_stages[k].S;
            s[0] = s[1];
            s[1] = s[2];
            s[2] = s[3];
            s[3] = s[4];
        }
        return float(m_stages[m].S[4]);
    }
    const long double middle = m_output == iirLowPass ? 2 : -2;
    m_stages[0].S[2] = x;
    for (int k = 0; k < m; ++k) {
        const long double *c = m_coefficients[k].C;
        const long double *in = m_stages[k].S;
        long double *out = m_stages[k + 1].S;
        out[2] = (in[2] + middle * in[1] + in[0]) * c[0] - c[1] * out[1] - c[2] * out[0];
    }
    for (int k = 0; k <= m; ++k) {
        long double *s = m_stages[k].S;
        s[0] = s[1];
        s[1] = s[2];
    }
    return float(m_stages[m].S[2]);
}

void TQVIIRFilter::FilterArray(TQVSingleArray *data, int count)
{
    using QVKernels::TQVIirKind;
    const TQVIirKind kind = m_output == iirBandPass ? TQVIirKind::BandPass
        : m_output == iirHighPass                   ? TQVIirKind::HighPass
                                                    : TQVIirKind::LowPass;
    QVKernels::IirFilter(kind, m_coefficients, m_stages, m_sections, data, count);
}

void TQVIIRFilter::Reset()
{
    for (QVKernels::TQVIirStage &stage : m_stages)
        std::fill(std::begin(stage.S), std::end(stage.S), 0.0L);
}

// ---------------------------------------------------------------------------------------
// TQVFIRFilter

TQVFIRFilter::TQVFIRFilter(QObject *owner)
    : TQVMLSFilterBase(owner)
    , m_texts{QStringLiteral("1")}
{
    m_h[0] = 1.0f;
    Reset();
    CalcParameters();
}

TQVFIRFilter::~TQVFIRFilter() = default;

void TQVFIRFilter::SetCoefficientNumber(int count)
{
    if (count == m_count || count < 1 || count > MaxCoefficients)
        return;
    while (m_texts.size() > count)
        m_texts.removeLast();
    while (m_texts.size() < count)
        m_texts.append(QStringLiteral("0"));
    m_count = count;
    ClearDelayLine();
    emit SettingsChanged();
}

void TQVFIRFilter::SetCoefficientList(const QStringList &lines)
{
    const qsizetype count = lines.size();
    if (count < 1 || count > MaxCoefficients)
        throw ERangeError(QVLoadResString(TQVResString::FirCoefficientCount));
    // Every line is converted before anything is taken over, so a bad line changes nothing.
    float values[MaxCoefficients];
    for (qsizetype i = 0; i < count; ++i) {
        if (!ParseCoefficient(lines.at(i), values[i]))
            throw EConvertError(CoefficientLineError(int(i) + 1, lines.at(i)));
    }
    if (count != m_count)
        ClearDelayLine();
    const bool changed = lines != m_texts;
    m_count = int(count);
    m_texts = lines;
    std::copy(values, values + count, m_h);
    if (changed)
        emit SettingsChanged();
}

void TQVFIRFilter::SetCoefficients(int count, const TQVSingleArray *values)
{
    if (count < 1 || count > MaxCoefficients)
        throw ERangeError(QVLoadResString(TQVResString::FirCoefficientCount));
    if (!values)
        return;
    const QStringList before = m_texts;
    m_count = count;
    m_texts.clear();
    for (int i = 0; i < count; ++i) {
        m_h[i] = values[i];
        m_texts.append(CoefficientText(values[i]));
    }
    if (m_texts != before)
        emit SettingsChanged();
}

QList<float> TQVFIRFilter::Floats() const
{
    return QList<float>(m_h, m_h + m_count);
}

void TQVFIRFilter::SetFloats(const QList<float> &values)
{
    const qsizetype n = std::min<qsizetype>(values.size(), MaxCoefficients);
    std::copy(values.cbegin(), values.cbegin() + n, m_h);
}

void TQVFIRFilter::DefineProperties(TQVFiler &filer)
{
    TQVMLSFilterBase::DefineProperties(filer);
    filer.DefineProperty(
        QStringLiteral("Floats"),
        [this](TQVReader &reader) {
            QList<float> values;
            reader.ReadListBegin();
            while (!reader.EndOfList()) {
                const float value = reader.ReadSingle();
                if (values.size() < MaxCoefficients)
                    values.append(value);
            }
            reader.ReadListEnd();
            SetFloats(values);
        },
        [this](TQVWriter &writer) {
            writer.WriteListBegin();
            for (int i = 0; i < m_count; ++i)
                writer.WriteSingle(m_h[i]);
            writer.WriteListEnd();
        },
        true);
}

float TQVFIRFilter::CalcResponse(float x)
{
    if (++m_position > m_count || m_position < 1)
        m_position = 1;
    m_delay[m_position - 1] = x;
    long double sum = 0.0L;
    int j = m_position;
    for (int i = 0; i < m_count; ++i) {
        sum += static_cast<long double>(m_delay[j - 1]) * m_h[i];
        if (--j == 0)
            j = m_count;
    }
    return float(sum);
}

float TQVFIRFilter::Filter(float x)
{
    return CalcResponse(x);
}

void TQVFIRFilter::FilterArray(TQVSingleArray *data, int count)
{
    QVKernels::FirFilter(m_h, m_count, m_delay, m_position, data, count);
}

void TQVFIRFilter::Reset()
{
    ClearDelayLine();
}

void TQVFIRFilter::ClearDelayLine()
{
    // The whole line, so that no sample from before the reset can come back when the
    // coefficient count grows later.
    std::fill(std::begin(m_delay), std::end(m_delay), 0.0f);
    m_position = 0;
}

QString TQVFIRFilter::CoefficientText(float value)
{
    // The shortest text that converts back to the same float; 9 digits always do.
    for (int digits = 1; digits < 9; ++digits) {
        const QString text = QString::number(double(value), 'g', digits);
        float back = 0.0f;
        if (ParseCoefficient(text, back) && back == value)
            return text;
    }
    return QString::number(double(value), 'g', 9);
}

// ---------------------------------------------------------------------------------------
// TQVRCLowpass

TQVRCLowpass::TQVRCLowpass(QObject *owner)
    : TQVMLSFilterBase(owner)
{
    Reset();
    CalcParameters();
}

TQVRCLowpass::~TQVRCLowpass() = default;

void TQVRCLowpass::CalcParameters()
{
    m_decay = RCDecay(CutoffFrequency(), SampleFrequency());
    m_gain = 1.0L - m_decay;
}

float TQVRCLowpass::Filter(float x)
{
    m_lookahead.Pending = 0; // a sample outside the blocks: the next block starts afresh
    const float y = float(m_gain * m_state);
    m_state = m_state - y + x;
    return y;
}

void TQVRCLowpass::FilterArray(TQVSingleArray *data, int count)
{
    QVKernels::RCLowpassFilter(m_gain, m_state, m_lookahead, data, count);
}

void TQVRCLowpass::Reset()
{
    m_state = 0.0L;
    m_lookahead.Pending = 0;
}

// ---------------------------------------------------------------------------------------
// TQVRCHighpass

TQVRCHighpass::TQVRCHighpass(QObject *owner)
    : TQVMLSFilterBase(owner)
{
    Reset();
    CalcParameters();
}

TQVRCHighpass::~TQVRCHighpass() = default;

void TQVRCHighpass::CalcParameters()
{
    m_decay = RCDecay(CutoffFrequency(), SampleFrequency());
    m_gain = 1.0L - m_decay;
}

float TQVRCHighpass::Filter(float x)
{
    m_lookahead.Pending = 0; // a sample outside the blocks: the next block starts afresh
    const long double p = m_gain * m_state;
    const float y = float(x - p);
    m_state = m_state - p + x;
    return y;
}

void TQVRCHighpass::FilterArray(TQVSingleArray *data, int count)
{
    QVKernels::RCHighpassFilter(m_gain, m_state, m_lookahead, data, count);
}

void TQVRCHighpass::Reset()
{
    m_state = 0.0L;
    m_lookahead.Pending = 0;
}

// ---------------------------------------------------------------------------------------
// TQVStateVariableFilter

TQVStateVariableFilter::TQVStateVariableFilter(QObject *owner)
    : TQVMLSFilterBase(owner)
{
    Reset();
    CalcParameters();
}

TQVStateVariableFilter::~TQVStateVariableFilter() = default;

void TQVStateVariableFilter::SetQ(float q)
{
    if (!AcceptsNewValue(q, m_q, 0.4f))
        return;
    m_q = q;
    CalcParameters();
    emit SettingsChanged();
}

void TQVStateVariableFilter::SetFilterOutput(TQVFilterOutput output)
{
    if (output <= foNotch)
        StoreChanged(m_output, output, [this] { emit SettingsChanged(); });
}

void TQVStateVariableFilter::CalcParameters()
{
    m_damping = float(1.0L / m_q);
    m_f = float(2.0L * std::sin(Pi * CutoffFrequency() / static_cast<long double>(SampleFrequency())));
}

float TQVStateVariableFilter::Filter(float x)
{
    m_lookahead.Pending = 0; // a sample outside the blocks: the next block starts afresh
    const long double low = m_band * m_f + m_low;
    const long double high = x - low - m_band * m_damping;
    const long double band = high * m_f + m_band;
    m_band = band;
    m_low = low;
    switch (m_output) {
    case foLowPass: return float(low);
    case foBandPass: return float(band);
    case foHighPass: return float(high);
    case foNotch: break;
    }
    return float(high + low);
}

void TQVStateVariableFilter::FilterArray(TQVSingleArray *data, int count)
{
    QVKernels::StateVariableFilter(int(m_output), m_f, m_damping, m_band, m_low, m_lookahead, data, count);
}

void TQVStateVariableFilter::Reset()
{
    m_band = 0.0L;
    m_low = 0.0L;
    m_lookahead.Pending = 0;
}
