#pragma once

#include <cstdint>
#include <vector>

#include "host/qvBlockSource.h"

/// \brief A host source that synthesises signals: one waveform per channel, delivered in
/// blocks on every `Tick()` (or from its own timer between `Run` and `Stop`).
///
/// Sample n of a channel is Offset + Amplitude * w(phase) + NoiseAmplitude * u, where the
/// phase advances by Frequency / SampleRate per sample and continues across blocks and
/// across frequency changes, and u is uniform in [-1, 1) from a seeded generator.
/// Links that asked for harmonized data receive the same stream cut into blocks of
/// `HarmonizedBlockLength` samples. The published properties describe channel 0; every
/// channel can be set with `SetChannel`; a channel added by raising `ChannelCount` starts
/// with the default setup. Blocks, headers, harmonizing and the run state are those of
/// `TQVBlockSource`.
class TQVSignalGenerator : public TQVBlockSource
{
    Q_OBJECT
    Q_PROPERTY(int ChannelCount READ ChannelCount WRITE WriteChannelCount NOTIFY ChannelCountChanged)
    Q_PROPERTY(int BlockLength READ BlockLength WRITE WriteBlockLength NOTIFY BlockLengthChanged)
    Q_PROPERTY(int HarmonizedBlockLength READ HarmonizedBlockLength WRITE WriteHarmonizedBlockLength NOTIFY
                   HarmonizedBlockLengthChanged)
    Q_PROPERTY(double SampleRate READ SampleRate WRITE WriteSampleRate NOTIFY SampleRateChanged)
    Q_PROPERTY(TQVWaveform Waveform READ Waveform WRITE WriteWaveform NOTIFY SettingsChanged)
    Q_PROPERTY(double Frequency READ Frequency WRITE WriteFrequency NOTIFY FrequencyChanged)
    Q_PROPERTY(double Amplitude READ Amplitude WRITE WriteAmplitude NOTIFY SettingsChanged)
    Q_PROPERTY(double Offset READ Offset WRITE WriteOffset NOTIFY SettingsChanged)
    Q_PROPERTY(double NoiseAmplitude READ NoiseAmplitude WRITE WriteNoiseAmplitude NOTIFY SettingsChanged)
    Q_PROPERTY(quint32 Seed READ Seed WRITE SetSeed NOTIFY SettingsChanged)

public:
    enum TQVWaveform { wfSine, wfSquare, wfTriangle, wfNoise, wfDC };
    Q_ENUM(TQVWaveform)

    struct TQVGeneratorChannel
    {
        TQVWaveform Waveform = wfSine;
        double Frequency = 1000.0;
        double Amplitude = 1.0;
        double Offset = 0.0;
        double NoiseAmplitude = 0.0;
        double Phase = 0.0; ///< start phase in cycles, 0 to 1
    };

    explicit TQVSignalGenerator(QObject *owner = nullptr);
    ~TQVSignalGenerator() override;

    /// 1 to 65; other values are ignored, a count whose buffers do not fit is refused and
    /// reported through `ErrorOccurred`.
    void SetChannelCount(int count);
    double SampleRate() const override { return m_sampleRate; }
    void SetSampleRate(double rate);
    /// A change of channel 0 is announced through `FrequencyChanged` and `SettingsChanged`.

    TQVGeneratorChannel Channel(int index) const;
    void SetChannel(int index, const TQVGeneratorChannel &channel);

    TQVWaveform Waveform() const { return m_channels[0].Config.Waveform; }
    void SetWaveform(TQVWaveform waveform);
    double Frequency() const { return m_channels[0].Config.Frequency; }
    void SetFrequency(double frequency);
    double Amplitude() const { return m_channels[0].Config.Amplitude; }
    void SetAmplitude(double amplitude);
    double Offset() const { return m_channels[0].Config.Offset; }
    void SetOffset(double offset);
    double NoiseAmplitude() const { return m_channels[0].Config.NoiseAmplitude; }
    void SetNoiseAmplitude(double amplitude);
    QV_GUARDED_WRITE(ChannelCount, int)
    QV_GUARDED_WRITE(SampleRate, double)
    QV_GUARDED_WRITE(Waveform, TQVWaveform)
    QV_GUARDED_WRITE(Frequency, double)
    QV_GUARDED_WRITE(Amplitude, double)
    QV_GUARDED_WRITE(Offset, double)
    QV_GUARDED_WRITE(NoiseAmplitude, double)
    quint32 Seed() const { return m_seed; }
    void SetSeed(quint32 seed);

    /// Restarts the stream: phases, time and noise from the beginning.
    void Reset();
    /// Samples generated per channel since the last reset.
    qint64 SamplesGenerated() const { return StreamFrame(); }

signals:
    void ChannelCountChanged(int count);
    void SampleRateChanged(double rate);
    void FrequencyChanged(double frequency);

protected:
    int FillFrames(float *const *channels, qint64 firstFrame, int count) override;
    std::pair<float, float> ValueRange() const override;
    /// A consumer may ask for the next block from inside its data callback.
    bool TicksWhileDelivering() const override { return true; }

private:
    struct ChannelState
    {
        TQVGeneratorChannel Config;
        long double Phase = 0.0L;
    };

    template <typename T>
    void SetChannel0(T TQVGeneratorChannel::*field, T value);
    float NextNoise();

    std::vector<ChannelState> m_channels; // the first ChannelCount() entries are in use
    double m_sampleRate = 48000.0;
    quint32 m_seed = 1;
    std::uint64_t m_noiseState = 0;
};
