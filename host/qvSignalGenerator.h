#pragma once

#include <cstdint>
#include <vector>

#include <QtCore/QTimer>

#include "framework/qvMeasIntf.h"

/// \brief A host source that synthesises signals: one waveform per channel, delivered in
/// blocks on every `Tick()` (or from its own timer between `Run` and `Stop`).
///
/// Sample n of a channel is Offset + Amplitude * w(phase) + NoiseAmplitude * u, where the
/// phase advances by Frequency / SampleRate per sample and continues across blocks and
/// across frequency changes, and u is uniform in [-1, 1) from a seeded generator.
/// Links that asked for harmonized data receive the same stream cut into blocks of
/// `HarmonizedBlockLength` samples. The published properties describe channel 0; every
/// channel can be set with `SetChannel`; a channel added by raising `ChannelCount` starts
/// with the default setup. Block headers: `HeaderValueA` is the time of the block's first
/// sample in seconds, `HeaderValueB` is 0 and `HeaderWord` the number of channels.
class TQVSignalGenerator : public TQVMeasureSource
{
    Q_OBJECT
    Q_PROPERTY(int ChannelCount READ ChannelCount WRITE SetChannelCount)
    Q_PROPERTY(int BlockLength READ BlockLength WRITE SetBlockLength)
    Q_PROPERTY(int HarmonizedBlockLength READ HarmonizedBlockLength WRITE SetHarmonizedBlockLength)
    Q_PROPERTY(double SampleRate READ SampleRate WRITE SetSampleRate)
    Q_PROPERTY(TQVWaveform Waveform READ Waveform WRITE SetWaveform)
    Q_PROPERTY(double Frequency READ Frequency WRITE SetFrequency)
    Q_PROPERTY(double Amplitude READ Amplitude WRITE SetAmplitude)
    Q_PROPERTY(double Offset READ Offset WRITE SetOffset)
    Q_PROPERTY(double NoiseAmplitude READ NoiseAmplitude WRITE SetNoiseAmplitude)
    Q_PROPERTY(quint32 Seed READ Seed WRITE SetSeed)

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

    static constexpr int MaxBlockLength = 1 << 24;

    explicit TQVSignalGenerator(QObject *owner = nullptr);
    ~TQVSignalGenerator() override;

    int ChannelCount() const { return m_channelCount; }
    void SetChannelCount(int count);
    int BlockLength() const { return m_blockLength; }
    void SetBlockLength(int length);
    int HarmonizedBlockLength() const { return m_harmonizedLength; }
    void SetHarmonizedBlockLength(int length);
    double SampleRate() const { return m_sampleRate; }
    void SetSampleRate(double rate);

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
    quint32 Seed() const { return m_seed; }
    void SetSeed(quint32 seed);

    void GetSettings(TQVMeasureSourceSettings &settings) const override;
    /// Produces one block on demand, as `Tick()` does.
    void RequestData() override;

    /// Generates one block per channel and delivers it.
    void Tick();
    /// Restarts the stream: phases, time and noise from the beginning.
    void Reset();

    /// Announces `mssRun` and starts delivering a block per block period from a timer.
    void Run();
    /// Stops the timer and announces `mssStop`.
    void Stop();
    bool IsRunning() const { return m_state == mssRun; }
    TQVMeasureSourceState State() const { return m_state; }
    /// Samples generated per channel since the last reset.
    qint64 SamplesGenerated() const { return m_sampleIndex; }

private:
    // Whether buffers of that shape can be allocated; reports and refuses when not.
    bool BuffersFit(int channels, int blockLength, int harmonizedLength);

signals:
    void StateChanged(TQVMeasureSourceState state);
    /// A block length was refused because its buffers do not fit in memory; the source is
    /// left as it was.
    void ErrorOccurred(const QString &message);

private:
    struct ChannelState
    {
        TQVGeneratorChannel Config;
        long double Phase = 0.0L;
        std::vector<float> Block;
        std::vector<float> Harmonized; // samples waiting for a harmonized block
    };

    void ConfigChanged();
    template <typename T>
    void SetChannel0(T TQVGeneratorChannel::*field, T value);
    /// Sizes the sample buffers for the current setup. While a block is being delivered
    /// it is deferred to the end of the delivery, since the block points into them.
    void PrepareBuffers();
    void Generate(ChannelState &channel, float *out, int count);
    float NextNoise();
    void DeliverHarmonized();
    bool AnyLinkHarmonized() const;
    TQVDescArraySingle MakeHeader(qint64 firstSample) const;

    // Grows only, so that a block in delivery never points at freed channel buffers;
    // the first m_channelCount entries are in use.
    std::vector<ChannelState> m_channels;
    int m_channelCount = 1;
    bool m_buffersStale = false;
    int m_blockLength = 1024;
    int m_harmonizedLength = 1024;
    double m_sampleRate = 48000.0;
    quint32 m_seed = 1;
    std::uint64_t m_noiseState = 0;
    qint64 m_sampleIndex = 0;
    qint64 m_harmonizedStart = 0;
    TQVMeasureSourceState m_state = mssStop;
    QTimer m_timer;
};
