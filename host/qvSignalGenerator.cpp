#include "qvSignalGenerator.h"

#include <algorithm>
#include <cmath>
#include <numbers>

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
    : TQVBlockSource(1, owner)
{
    m_channels.resize(1);
    Reset();
    ConfigChanged();
}

TQVSignalGenerator::~TQVSignalGenerator() = default;

void TQVSignalGenerator::SetChannelCount(int count)
{
    if (count < 1 || count > QVChannelSlots || count == ChannelCount()
        || !BuffersFit(count, BlockLength(), HarmonizedBlockLength()))
        return;
    if (std::size_t(count) > m_channels.size())
        m_channels.resize(std::size_t(count));
    for (int k = ChannelCount(); k < count; ++k)
        m_channels[std::size_t(k)] = ChannelState{};
    SetChannels(count);
    NotifyAfter([this] { ConfigChanged(); }, [&] { emit ChannelCountChanged(count); });
}

void TQVSignalGenerator::SetSampleRate(double rate)
{
    if (!IsFinite(rate) || rate <= 0.0 || rate == m_sampleRate)
        return;
    m_sampleRate = rate;
    NotifyAfter([this] { ConfigChanged(); }, [&] { emit SampleRateChanged(rate); });
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
    const bool frequencyChanged = state.Config.Frequency != channel.Frequency;
    const bool otherChanged = rangeChanged || state.Config.Phase != channel.Phase;
    if (state.Config.Phase != channel.Phase)
        state.Phase = channel.Phase - std::floor(channel.Phase);
    state.Config = channel;
    NotifyAfter(
        [&] {
            if (rangeChanged)
                UpdateLinks();
        },
        [&] {
            if (index != 0)
                return;
            if (frequencyChanged)
                emit FrequencyChanged(channel.Frequency);
            if (otherChanged)
                emit SettingsChanged();
        });
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
    emit SettingsChanged();
}

std::pair<float, float> TQVSignalGenerator::ValueRange() const
{
    double low = 0.0;
    double high = 0.0;
    bool first = true;
    for (int k = 0; k < ChannelCount(); ++k) {
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
    return {float(low), float(high)};
}

void TQVSignalGenerator::Reset()
{
    m_noiseState = m_seed;
    for (ChannelState &channel : m_channels)
        channel.Phase = channel.Config.Phase - std::floor(channel.Config.Phase);
    RestartStream();
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

int TQVSignalGenerator::FillFrames(float *const *channels, qint64, int count)
{
    const long double rate = m_sampleRate;
    for (int k = 0; k < ChannelCount(); ++k) {
        ChannelState &channel = m_channels[std::size_t(k)];
        const TQVGeneratorChannel &c = channel.Config;
        const long double step = static_cast<long double>(c.Frequency) / rate;
        const float amplitude = float(c.Amplitude);
        const float offset = float(c.Offset);
        const float noise = float(c.NoiseAmplitude);
        float *out = channels[k];
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
    return count;
}
