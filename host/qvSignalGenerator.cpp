#include "qvSignalGenerator.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "host/qvBlockBuffers.h"

namespace {

float WaveSample(TQVSignalGenerator::TQVWaveform waveform, long double phase)
{
    switch (waveform) {
    case TQVSignalGenerator::wfSine:
        return float(std::sin(2.0 * std::numbers::pi * double(phase)));
    case TQVSignalGenerator::wfSquare:
        return phase < 0.5L ? 1.0f : -1.0f;
    case TQVSignalGenerator::wfTriangle:
        if (phase < 0.25L)
            return float(4.0L * phase);
        if (phase < 0.75L)
            return float(2.0L - 4.0L * phase);
        return float(4.0L * phase - 4.0L);
    case TQVSignalGenerator::wfNoise: // drawn by the caller
    case TQVSignalGenerator::wfDC:
        return 1.0f;
    }
    return 0.0f;
}

bool IsFinite(double value)
{
    return std::isfinite(value);
}

} // namespace

TQVSignalGenerator::TQVSignalGenerator(QObject *owner)
    : TQVMeasureSource(owner)
{
    m_channels.resize(1);
    connect(&m_timer, &QTimer::timeout, this, &TQVSignalGenerator::Tick);
    Reset();
    ConfigChanged();
}

TQVSignalGenerator::~TQVSignalGenerator() = default;

void TQVSignalGenerator::SetChannelCount(int count)
{
    if (count < 1 || count > QVChannelSlots || count == m_channelCount)
        return;
    if (std::size_t(count) > m_channels.size())
        m_channels.resize(std::size_t(count));
    for (int k = m_channelCount; k < count; ++k) {
        m_channels[std::size_t(k)].Config = TQVGeneratorChannel{};
        m_channels[std::size_t(k)].Phase = 0.0L;
    }
    m_channelCount = count;
    ConfigChanged();
}

bool TQVSignalGenerator::BuffersFit(int channels, int blockLength, int harmonizedLength)
{
    if (QVBlockBuffersFit(channels, blockLength, harmonizedLength))
        return true;
    const QString message = QVBlockBuffersMessage("TQVSignalGenerator", channels, blockLength);
    qWarning("%s", qPrintable(message));
    emit ErrorOccurred(message);
    return false;
}

void TQVSignalGenerator::SetBlockLength(int length)
{
    if (length < 1 || length > MaxBlockLength || length == m_blockLength || !BuffersFit(m_channelCount, length, m_harmonizedLength))
        return;
    m_blockLength = length;
    ConfigChanged();
}

void TQVSignalGenerator::SetHarmonizedBlockLength(int length)
{
    if (length < 0 || length > MaxBlockLength || length == m_harmonizedLength || !BuffersFit(m_channelCount, m_blockLength, length))
        return;
    m_harmonizedLength = length;
    ConfigChanged();
}

void TQVSignalGenerator::SetSampleRate(double rate)
{
    if (!IsFinite(rate) || rate <= 0.0 || rate == m_sampleRate)
        return;
    m_sampleRate = rate;
    ConfigChanged();
}

TQVSignalGenerator::TQVGeneratorChannel TQVSignalGenerator::Channel(int index) const
{
    if (index < 0 || index >= ChannelCount())
        return {};
    return m_channels[std::size_t(index)].Config;
}

void TQVSignalGenerator::SetChannel(int index, const TQVGeneratorChannel &channel)
{
    if (index < 0 || index >= ChannelCount())
        return;
    if (channel.Waveform < wfSine || channel.Waveform > wfDC)
        return;
    if (!IsFinite(channel.Frequency) || !IsFinite(channel.Amplitude) || !IsFinite(channel.Offset)
        || !IsFinite(channel.NoiseAmplitude) || !IsFinite(channel.Phase))
        return;
    ChannelState &state = m_channels[std::size_t(index)];
    const bool rangeChanged = state.Config.Waveform != channel.Waveform
        || state.Config.Amplitude != channel.Amplitude || state.Config.Offset != channel.Offset
        || state.Config.NoiseAmplitude != channel.NoiseAmplitude;
    if (state.Config.Phase != channel.Phase)
        state.Phase = channel.Phase - std::floor(channel.Phase);
    state.Config = channel;
    if (rangeChanged)
        UpdateLinks();
}

template <typename T>
void TQVSignalGenerator::SetChannel0(T TQVGeneratorChannel::*field, T value)
{
    TQVGeneratorChannel channel = Channel(0);
    channel.*field = value;
    SetChannel(0, channel);
}

void TQVSignalGenerator::SetWaveform(TQVWaveform waveform)
{
    SetChannel0(&TQVGeneratorChannel::Waveform, waveform);
}

void TQVSignalGenerator::SetFrequency(double frequency)
{
    SetChannel0(&TQVGeneratorChannel::Frequency, frequency);
}

void TQVSignalGenerator::SetAmplitude(double amplitude)
{
    SetChannel0(&TQVGeneratorChannel::Amplitude, amplitude);
}

void TQVSignalGenerator::SetOffset(double offset)
{
    SetChannel0(&TQVGeneratorChannel::Offset, offset);
}

void TQVSignalGenerator::SetNoiseAmplitude(double amplitude)
{
    SetChannel0(&TQVGeneratorChannel::NoiseAmplitude, amplitude);
}

void TQVSignalGenerator::SetSeed(quint32 seed)
{
    if (seed == m_seed)
        return;
    m_seed = seed;
    m_noiseState = seed;
}

void TQVSignalGenerator::GetSettings(TQVMeasureSourceSettings &settings) const
{
    settings.XStart = 0.0L;
    settings.XSpan = static_cast<long double>(m_blockLength) / static_cast<long double>(m_sampleRate);
    settings.ChannelCount = ChannelCount();
    settings.BlockLength = m_blockLength;
    settings.HarmonizedBlockLength = m_harmonizedLength;

    double low = 0.0;
    double high = 0.0;
    bool first = true;
    for (int k = 0; k < m_channelCount; ++k) {
        const TQVGeneratorChannel &c = m_channels[std::size_t(k)].Config;
        const double noise = std::fabs(c.NoiseAmplitude);
        const double swing = c.Waveform == wfDC ? 0.0 : std::fabs(c.Amplitude);
        const double centre = c.Waveform == wfDC ? c.Offset + c.Amplitude : c.Offset;
        const double lo = centre - swing - noise;
        const double hi = centre + swing + noise;
        low = first ? lo : std::min(low, lo);
        high = first ? hi : std::max(high, hi);
        first = false;
    }
    settings.RangeMin = float(low);
    settings.RangeMax = float(high);
}

void TQVSignalGenerator::RequestData()
{
    Tick();
}

void TQVSignalGenerator::Reset()
{
    m_sampleIndex = 0;
    m_harmonizedStart = 0;
    m_noiseState = m_seed;
    for (ChannelState &channel : m_channels)
        channel.Phase = channel.Config.Phase - std::floor(channel.Config.Phase);
    PrepareBuffers();
}

void TQVSignalGenerator::Run()
{
    if (m_state == mssRun)
        return;
    m_state = mssRun;
    DeliverState(mssRun);
    emit StateChanged(mssRun);
    const double periodMs = 1000.0 * m_blockLength / m_sampleRate;
    m_timer.start(std::max(1, int(std::lround(periodMs))));
}

void TQVSignalGenerator::Stop()
{
    if (m_state == mssStop)
        return;
    m_timer.stop();
    m_state = mssStop;
    DeliverState(mssStop);
    emit StateChanged(mssStop);
}

void TQVSignalGenerator::PrepareBuffers()
{
    m_buffersStale = true;
    if (Delivering())
        return;
    const std::size_t pending = std::size_t(m_blockLength) + std::size_t(m_harmonizedLength);
    for (int k = 0; k < m_channelCount; ++k) {
        ChannelState &channel = m_channels[std::size_t(k)];
        channel.Block.assign(std::size_t(m_blockLength), 0.0f);
        channel.Harmonized.clear();
        channel.Harmonized.reserve(pending);
    }
    m_buffersStale = false;
}

void TQVSignalGenerator::ConfigChanged()
{
    PrepareBuffers();
    if (m_state == mssRun)
        m_timer.setInterval(std::max(1, int(std::lround(1000.0 * m_blockLength / m_sampleRate))));

    TQVMeasureSourceCapabilities capabilities{mscContinuous, mscEquidistant};
    if (m_harmonizedLength > 0)
        capabilities.Include(mscCanHarmonize);
    if (ChannelCount() == 1)
        capabilities.Include(mscSingleChannel);
    if (ChannelCount() == 2)
        capabilities.Include(mscDualChannel);
    if (m_blockLength == 1)
        capabilities.Include(mscSingleValue);
    SetCapabilities(capabilities);
    UpdateLinks();
}

float TQVSignalGenerator::NextNoise()
{
    // splitmix64: fast, seedable and the same on every platform.
    std::uint64_t z = (m_noiseState += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    return float(double(z >> 40) * 0x1.0p-23 - 1.0);
}

void TQVSignalGenerator::Generate(ChannelState &channel, float *out, int count)
{
    const TQVGeneratorChannel &c = channel.Config;
    const long double step = static_cast<long double>(c.Frequency) / static_cast<long double>(m_sampleRate);
    const float amplitude = float(c.Amplitude);
    const float offset = float(c.Offset);
    const float noise = float(c.NoiseAmplitude);
    long double phase = channel.Phase;
    for (int i = 0; i < count; ++i) {
        const float wave = c.Waveform == wfNoise ? NextNoise() : WaveSample(c.Waveform, phase);
        float value = offset + amplitude * wave;
        if (noise != 0.0f)
            value += noise * NextNoise();
        out[i] = value;
        phase += step;
        phase -= std::floor(phase);
    }
    channel.Phase = phase;
}

TQVDescArraySingle TQVSignalGenerator::MakeHeader(qint64 firstSample) const
{
    TQVDescArraySingle block{};
    block.HeaderValueA = static_cast<long double>(firstSample) / static_cast<long double>(m_sampleRate);
    block.HeaderValueB = 0.0L;
    block.HeaderWord = ChannelCount();
    return block;
}

bool TQVSignalGenerator::AnyLinkHarmonized() const
{
    for (TQVMeasureLink *link : Links()) {
        if (GetHarmonizeData(link))
            return true;
    }
    return false;
}

void TQVSignalGenerator::Tick()
{
    if (m_buffersStale)
        PrepareBuffers();
    const qint64 first = m_sampleIndex;
    for (int k = 0; k < m_channelCount; ++k)
        Generate(m_channels[std::size_t(k)], m_channels[std::size_t(k)].Block.data(), m_blockLength);
    m_sampleIndex += m_blockLength;

    const bool harmonize = m_harmonizedLength > 0 && AnyLinkHarmonized();
    TQVDescArraySingle block = MakeHeader(first);
    for (int k = 0; k < m_channelCount; ++k)
        block.Channels[k] = QVDescArraySingle{m_channels[std::size_t(k)].Block.data(), m_blockLength};
    if (!Deliver([&](TQVMeasureLink *link) {
        if (!harmonize || !GetHarmonizeData(link))
            link->NewData(block);
    }))
        return; // a consumer deleted the source
    if (m_buffersStale) {
        // A consumer changed the setup while the block was out: start afresh.
        PrepareBuffers();
        return;
    }
    for (int k = 0; k < m_channelCount; ++k) {
        ChannelState &channel = m_channels[std::size_t(k)];
        if (harmonize)
            channel.Harmonized.insert(channel.Harmonized.end(), channel.Block.begin(), channel.Block.end());
        else
            channel.Harmonized.clear();
    }
    if (!harmonize)
        return;
    if (m_channels[0].Harmonized.size() == std::size_t(m_blockLength))
        m_harmonizedStart = first;
    DeliverHarmonized();
}

void TQVSignalGenerator::DeliverHarmonized()
{
    const int length = m_harmonizedLength;
    while (m_channels[0].Harmonized.size() >= std::size_t(length)) {
        TQVDescArraySingle block = MakeHeader(m_harmonizedStart);
        for (int k = 0; k < m_channelCount; ++k)
            block.Channels[k] = QVDescArraySingle{m_channels[std::size_t(k)].Harmonized.data(), length};
        if (!Deliver([&](TQVMeasureLink *link) {
            if (GetHarmonizeData(link))
                link->NewData(block);
        }))
            return; // a consumer deleted the source
        if (m_buffersStale) {
            PrepareBuffers();
            return;
        }
        for (int k = 0; k < m_channelCount; ++k) {
            std::vector<float> &pending = m_channels[std::size_t(k)].Harmonized;
            pending.erase(pending.begin(), pending.begin() + length);
        }
        m_harmonizedStart += length;
    }
}
