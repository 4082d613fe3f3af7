#include "qvMLSSimpleSources.h"

#include <cmath>
#include <cstring>
#include <limits>

#include <QtCore/QPointer>
#include <QtCore/QScopeGuard>

#include "kernels/qvKernels.h"

namespace {

bool IsChannel(int channel)
{
    return channel >= 0 && channel <= QVMaxChannel;
}

// ---------------------------------------------------------------------------------------
// Text helpers of the selector lines. Positions are 1-based, 0 meaning "not found", and a
// blank is a space; trimming removes spaces and control characters at both ends.

QString Trim(const QString &s)
{
    qsizetype first = 0;
    qsizetype last = s.size();
    while (first < last && s.at(first).unicode() <= u' ')
        ++first;
    while (last > first && s.at(last - 1).unicode() <= u' ')
        --last;
    return s.mid(first, last - first);
}

qsizetype PosOfBlank(const QString &s)
{
    return s.indexOf(u' ') + 1;
}

// The characters from 1-based position `index` on; positions below 1 count as 1.
QString FromPosition(const QString &s, qsizetype index)
{
    return s.mid(index < 1 ? 0 : index - 1);
}

// An optional sign and at least one decimal digit, within the 32-bit range.
bool StrictToInt(const QString &token, int &value)
{
    qsizetype i = 0;
    bool negative = false;
    if (i < token.size() && (token.at(i) == u'+' || token.at(i) == u'-')) {
        negative = token.at(i) == u'-';
        ++i;
    }
    if (i == token.size())
        return false;
    qint64 magnitude = 0;
    for (; i < token.size(); ++i) {
        const char16_t c = token.at(i).unicode();
        if (c < u'0' || c > u'9')
            return false;
        magnitude = magnitude * 10 + (c - u'0');
        if (magnitude > qint64(std::numeric_limits<int>::max()) + 1)
            return false;
    }
    const qint64 result = negative ? -magnitude : magnitude;
    if (result > std::numeric_limits<int>::max())
        return false;
    value = int(result);
    return true;
}

int ConvertToken(const QString &token, const QString &line, int lineNumber)
{
    int value = 0;
    if (!StrictToInt(token, value)) {
        throw EConvertError(QVLoadResString(TQVResString::SelectorLineInvalid)
                                .arg(QString::number(lineNumber), line, token));
    }
    return value;
}

int ClampChannel(int channel)
{
    return channel < 0 ? 0 : (channel > QVMaxChannel ? QVMaxChannel : channel);
}

} // namespace

// ---------------------------------------------------------------------------------------
// TQVSelectorSingle

TQVSelectorSingle::TQVSelectorSingle(QObject *owner)
    : TQVMLSBase(owner)
{
}

void TQVSelectorSingle::SetRequestHarmonizedData(bool value)
{
    ApplyRequestHarmonizedData(value, true);
}

void TQVSelectorSingle::SetChannel0(int channel)
{
    if (IsChannel(channel))
        StoreChanged(m_channel0, channel, [&] { emit Channel0Changed(channel); });
}

QString TQVSelectorSingle::IncompatibleSourceMessage() const
{
    return QVLoadResString(TQVResString::SelectorSingleNeedsContinuous);
}

TQVMeasureSourceCapabilities TQVSelectorSingle::AdjustCapabilities(TQVMeasureSourceCapabilities capabilities) const
{
    return capabilities + mscSingleChannel - mscDualChannel;
}

void TQVSelectorSingle::AdjustSettings(TQVMeasureSourceSettings &settings) const
{
    if (settings.ChannelCount >= 1)
        settings.ChannelCount = 1;
}

void TQVSelectorSingle::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    TQVDescArraySingle local;
    QVCopyHeader(local, data);
    local.Channels[0] = data.Channels[m_channel0];
    DeliverData(local);
}

// ---------------------------------------------------------------------------------------
// TQVSelectorDual

TQVSelectorDual::TQVSelectorDual(QObject *owner)
    : TQVMLSBase(owner)
{
}

void TQVSelectorDual::SetRequestHarmonizedData(bool value)
{
    ApplyRequestHarmonizedData(value, false);
}

void TQVSelectorDual::SetChannel0(int channel)
{
    if (IsChannel(channel))
        StoreChanged(m_channel0, channel, [&] { emit Channel0Changed(channel); });
}

void TQVSelectorDual::SetChannel1(int channel)
{
    if (IsChannel(channel))
        StoreChanged(m_channel1, channel, [&] { emit Channel1Changed(channel); });
}

bool TQVSelectorDual::AcceptsSource(TQVMeasureSourceCapabilities sourceCapabilities) const
{
    return sourceCapabilities.Contains(mscContinuous) && !sourceCapabilities.Contains(mscSingleChannel);
}

QString TQVSelectorDual::IncompatibleSourceMessage() const
{
    return QVLoadResString(TQVResString::SelectorDualNeedsTwoChannels);
}

TQVMeasureSourceCapabilities TQVSelectorDual::AdjustCapabilities(TQVMeasureSourceCapabilities capabilities) const
{
    return capabilities - mscSingleChannel + mscDualChannel;
}

void TQVSelectorDual::AdjustSettings(TQVMeasureSourceSettings &settings) const
{
    if (settings.ChannelCount >= 2)
        settings.ChannelCount = 2;
}

void TQVSelectorDual::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    TQVDescArraySingle local = data;
    // In place on purpose: channel 1 is read after channel 0 was replaced.
    local.Channels[0] = local.Channels[m_channel0];
    local.Channels[1] = local.Channels[m_channel1];
    for (int k = 2; k < QVChannelSlots; ++k)
        local.Channels[k] = QVDescArraySingle{nullptr, 0};
    DeliverData(local);
}

// ---------------------------------------------------------------------------------------
// TQVSelectorMatrix

TQVSelectorMatrix::TQVSelectorMatrix(QObject *owner)
    : TQVMLSBase(owner)
{
    m_selector.reserve(QVChannelSlots);
    for (int k = 0; k < QVChannelSlots; ++k) {
        m_table[std::size_t(k)] = k;
        m_selector.append(CreateSelectorEntry(k, k));
    }
}

void TQVSelectorMatrix::SetRequestHarmonizedData(bool value)
{
    ApplyRequestHarmonizedData(value, false);
}

void TQVSelectorMatrix::SetSelector(const QStringList &lines)
{
    if (lines == m_selector && m_tableFromSelector)
        return;
    const bool linesChanged = lines != m_selector;
    const auto notify = [&] {
        if (linesChanged)
            emit SettingsChanged();
    };
    if (IsLoading()) {
        m_selector = lines;
        m_tableFromSelector = false;
        notify();
        return;
    }
    // Everything is read before anything changes, so a bad line leaves the old state.
    const TQVRoutingTable table = ParseSelector(lines);
    m_selector = lines;
    m_table = table;
    m_tableFromSelector = true;
    NotifyAfter([this] { UpdateLinks(); }, notify);
}

void TQVSelectorMatrix::InstallSelector()
{
    m_table = ParseSelector(m_selector);
    m_tableFromSelector = true;
    UpdateLinks();
}

void TQVSelectorMatrix::Loaded()
{
    TQVMLSBase::Loaded();
    if (!m_selector.isEmpty())
        InstallSelector();
}

QString TQVSelectorMatrix::CreateSelectorEntry(int input, int output)
{
    return QString::number(input) + QStringLiteral(" -> ") + QString::number(output);
}

void TQVSelectorMatrix::ConvertSelectorEntry(const QString &line, int &input, int &output, int lineNumber)
{
    // The first blank ends the input number; the first blank after the arrow token ends
    // the token, and the output number is read from as many characters as that position
    // says, so a longer output number is cut short. The token itself is not checked.
    QString s = Trim(line);
    const qsizetype p = PosOfBlank(s);
    const int in = ConvertToken(Trim(s.left(p)), line, lineNumber);
    s = Trim(FromPosition(s, p));
    const qsizetype q = PosOfBlank(s);
    s = Trim(FromPosition(s, q));
    const int out = ConvertToken(Trim(s.left(q)), line, lineNumber);
    input = ClampChannel(in);
    output = ClampChannel(out);
}

TQVSelectorMatrix::TQVRoutingTable TQVSelectorMatrix::ParseSelector(const QStringList &lines)
{
    TQVRoutingTable table;
    table.fill(-1);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        int input = 0;
        int output = 0;
        ConvertSelectorEntry(lines.at(i), input, output, int(i + 1));
        table[std::size_t(input)] = output;
    }
    return table;
}

QString TQVSelectorMatrix::IncompatibleSourceMessage() const
{
    return QVLoadResString(TQVResString::SelectorMatrixNeedsContinuous);
}

void TQVSelectorMatrix::AdjustSettings(TQVMeasureSourceSettings &settings) const
{
    if (m_selector.size() < settings.ChannelCount)
        settings.ChannelCount = int(m_selector.size());
}

void TQVSelectorMatrix::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    TQVDescArraySingle local;
    QVCopyHeader(local, data);
    local.HeaderWord = std::int32_t(m_selector.size());
    // Ascending input order: the higher input wins a shared output.
    for (int i = 0; i < QVChannelSlots; ++i) {
        const int target = m_table[std::size_t(i)];
        if (IsChannel(target))
            local.Channels[target] = data.Channels[i];
    }
    DeliverData(local);
}

// ---------------------------------------------------------------------------------------
// TQVAnalyzer

TQVAnalyzer::TQVAnalyzer(QObject *owner)
    : TQVMLSBase(owner)
{
}

void TQVAnalyzer::SetCompression(TQVMLSCompression compression)
{
    if (compression <= mcoDev)
        StoreChanged(m_compression, compression, [&] { emit CompressionChanged(compression); });
}

// The RMS through the double lanes, when their error bound proves that the result is the
// float that the 80-bit sequential sum gives: the exact value, the 80-bit sum and our sum
// all lie in one interval, and the result is taken only when both ends of the interval
// round to the same float. Near a rounding boundary (rare) the caller sums in 80 bits.
bool TQVAnalyzer::FastRootMeanSquare(const float *x, int n, float &result)
{
    const double sum = QVKernels::SumOfSquares(x, n);
    if (!std::isfinite(sum))
        return false;
    // Relative bounds: our lanes, the 80-bit sequential sum with its division and root,
    // and the few double roundings of the interval ends themselves.
    const double lanesError = (n / 16 + 8) * 0x1p-52;
    const double extendedError = (double(n) + 4) * 0x1p-63;
    const double spread = 2 * (lanesError + extendedError) + 0x1p-48;
    const double low = std::sqrt(sum * (1 - spread) / n);
    const double high = std::sqrt(sum * (1 + spread) / n);
    result = float(low);
    return result == float(high);
}

float TQVAnalyzer::Compress(TQVMLSCompression compression, const float *x, int count)
{
    const int n = count;
    switch (compression) {
    case mcoFirst:
        return x[0];
    case mcoLast:
        return x[n - 1];
    case mcoAverage: {
        double sum = 0.0;
        for (int i = 0; i < n; ++i)
            sum += x[i];
        return float(sum / n);
    }
    case mcoMin: {
        float result = x[0];
        for (int i = 1; i < n; ++i) {
            if (x[i] < result)
                result = x[i];
        }
        return result;
    }
    case mcoMax: {
        float result = x[0];
        for (int i = 1; i < n; ++i) {
            if (x[i] > result)
                result = x[i];
        }
        return result;
    }
    case mcoRMS: {
        float result;
        if (FastRootMeanSquare(x, n, result))
            return result;
        long double squares = 0.0L;
        for (int i = 0; i < n; ++i)
            squares += static_cast<long double>(x[i]) * x[i];
        return float(std::sqrt(squares / n));
    }
    case mcoDev: {
        long double sum = 0.0L;
        long double squares = 0.0L;
        for (int i = 0; i < n; ++i) {
            const long double v = x[i];
            sum += v;
            squares += v * v;
        }
        // No guard for n = 1: the division by zero gives NaN or infinity.
        const float quotient = float((squares - sum * sum / n) / (n - 1));
        return float(std::sqrt(static_cast<long double>(quotient)));
    }
    }
    return x[0];
}

void TQVAnalyzer::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    TQVDescArraySingle local;
    QVCopyHeader(local, data);

    const QVDescArraySingle &in = data.Channels[0];
    if (!QVHasData(in)) {
        DeliverData(local);
        return;
    }

    // A handler gets a private copy it may write into; the built-in reductions only read,
    // so they work on the received samples and the buffer just carries the result.
    const std::size_t needed = OnUserData ? std::size_t(in.Count) : 1;
    if (std::size_t(m_depth) >= m_buffers.size())
        m_buffers.resize(std::size_t(m_depth) + 1);
    std::vector<float> &buffer = m_buffers[std::size_t(m_depth)];
    if (buffer.size() < needed)
        buffer.resize(needed);
    float *samples = buffer.data();
    if (OnUserData)
        std::memcpy(samples, in.Data, needed * sizeof(float));
    local.Channels[0] = QVDescArraySingle{samples, in.Count};

    // From here on a nested block (from a handler or a downstream link) takes the next
    // buffer and leaves these samples alone.
    // Undone also when a handler raises; not when a consumer deleted the analyzer.
    const QPointer<TQVAnalyzer> alive(this);
    ++m_depth;
    const auto guard = qScopeGuard([&] {
        if (alive)
            --m_depth;
    });

    float value = 0.0f;
    if (OnUserData) {
        OnUserData(value, local.Channels[0]);
        if (!alive)
            return;
    } else {
        value = Compress(m_compression, in.Data, in.Count);
    }
    samples[0] = value;
    local.Channels[0].Count = 1;
    emit Analyzed(value);
    if (alive)
        DeliverData(local);
}
