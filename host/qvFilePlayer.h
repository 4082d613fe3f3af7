#pragma once

#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include "framework/qvMeasIntf.h"

/// \brief Raised when a recording cannot be loaded; the player keeps what it had before.
class EQVFileLoadError : public EQVException
{
public:
    using EQVException::EQVException;
};

/// \brief A host source that plays a recording from a WAV or CSV file, one block per
/// `Tick()` (or from its own timer between `Run` and `Stop`).
///
/// Setting `FileName` reads the whole recording into memory. A file that cannot be read
/// raises `EQVFileLoadError` and leaves the player exactly as it was. WAV: 8, 16, 24 and
/// 32-bit integer PCM normalised to full scale +-1, 32 and 64-bit float, 1 to 65 channels.
/// CSV: one row per sample, one column per channel, an optional header row; a first
/// column headed "time" sets the sample rate, otherwise `CsvSampleRate` does.
/// At the end of the recording the player wraps around when `Loop` is set; otherwise it
/// delivers the last, shorter block and stops (`mssStop`). Links that asked for harmonized
/// data receive the same stream cut into blocks of `HarmonizedBlockLength` samples.
/// Block headers: `HeaderValueA` is the time of the block's first sample in seconds,
/// `HeaderValueB` is 0 and `HeaderWord` the number of channels.
class TQVFilePlayer : public TQVMeasureSource
{
    Q_OBJECT
    Q_PROPERTY(QString FileName READ FileName WRITE SetFileName)
    Q_PROPERTY(int BlockLength READ BlockLength WRITE SetBlockLength)
    Q_PROPERTY(int HarmonizedBlockLength READ HarmonizedBlockLength WRITE SetHarmonizedBlockLength)
    Q_PROPERTY(bool Loop READ Loop WRITE SetLoop)
    Q_PROPERTY(double CsvSampleRate READ CsvSampleRate WRITE SetCsvSampleRate)

public:
    enum TQVFileKind { fkNone, fkWave, fkCsv };
    Q_ENUM(TQVFileKind)

    /// How the samples of a loaded recording are stored in the file.
    enum TQVSampleFormat { sfNone, sfUInt8, sfInt16, sfInt24, sfInt32, sfFloat32, sfFloat64 };
    Q_ENUM(TQVSampleFormat)

    static constexpr int MaxBlockLength = 1 << 24;

    explicit TQVFilePlayer(QObject *owner = nullptr);
    ~TQVFilePlayer() override;

    QString FileName() const { return m_fileName; }
    /// Loads the file (an empty name unloads). Raises `EQVFileLoadError` and keeps the
    /// current recording when the file cannot be read.
    void SetFileName(const QString &fileName);
    /// Reads the current file again, e.g. after it changed on disk.
    void Reload();

    int BlockLength() const { return m_blockLength; }
    void SetBlockLength(int length);
    int HarmonizedBlockLength() const { return m_harmonizedLength; }
    void SetHarmonizedBlockLength(int length);
    bool Loop() const { return m_loop; }
    void SetLoop(bool loop);
    /// Sample rate of CSV files without a time column (default 1000 Hz).
    double CsvSampleRate() const { return m_csvSampleRate; }
    void SetCsvSampleRate(double rate);

    // What the loaded recording holds; zero and empty without one.
    TQVFileKind FileKind() const { return m_recording.Kind; }
    TQVSampleFormat SampleFormat() const { return m_recording.Format; }
    int ChannelCount() const { return m_recording.Channels; }
    double SampleRate() const;
    /// Samples per channel in the recording.
    qint64 FrameCount() const { return m_recording.Frames; }
    /// Column names from a CSV header row (without the time column); empty otherwise.
    QStringList ChannelNames() const { return m_recording.Names; }
    /// Value range of one channel: full scale for integer PCM, the data's extent otherwise.
    std::pair<float, float> ChannelRange(int channel) const;

    void GetSettings(TQVMeasureSourceSettings &settings) const override;
    /// Delivers one block on demand, as `Tick()` does.
    void RequestData() override;

    /// Delivers the next block. Does nothing without a recording, at the end of a recording
    /// played without `Loop`, and when called from inside a delivery of this player.
    void Tick();
    /// Back to the first sample; the stream time restarts at the recording's start.
    void Reset();
    /// Frame of the recording that the next block starts with.
    qint64 Position() const { return m_position; }
    /// Moves to `frame` (0 to FrameCount); other values are ignored. Harmonized samples
    /// waiting for a block are dropped, the stream time goes on.
    void SetPosition(qint64 frame);
    /// True when a recording played without `Loop` has delivered its last sample.
    bool AtEnd() const;

    /// Announces `mssRun` and delivers a block per block period from a timer. Without a
    /// recording it does nothing; at the end of a recording it starts from the beginning.
    void Run();
    /// Stops the timer and announces `mssStop`.
    void Stop();
    bool IsRunning() const { return m_state == mssRun; }
    TQVMeasureSourceState State() const { return m_state; }

private:
    // Whether buffers of that shape can be allocated; reports and refuses when not.
    bool BuffersFit(int channels, int blockLength, int harmonizedLength);

signals:
    void StateChanged(TQVMeasureSourceState state);
    /// A block length was refused because its buffers do not fit in memory; the source is
    /// left as it was.
    void ErrorOccurred(const QString &message);

private:
    struct Recording
    {
        TQVFileKind Kind = fkNone;
        TQVSampleFormat Format = sfNone;
        int Channels = 0;
        qint64 Frames = 0;
        double SampleRate = 0.0;   // 0: use CsvSampleRate
        long double StartTime = 0; // time of the first frame
        QByteArray Data;           // interleaved frames as stored in the file (CSV: float32)
        std::vector<std::pair<float, float>> Ranges;
        QStringList Names;
    };
    struct ChannelState
    {
        std::vector<float> Block;
        std::vector<float> Harmonized; // samples waiting for a harmonized block
    };

    static Recording LoadFile(const QString &fileName);
    void Install(Recording &&recording, const QString &fileName);
    void ConfigChanged();
    void PrepareBuffers();
    void Decode(qint64 frame, int count, int offset);
    void DeliverHarmonized();
    bool AnyLinkHarmonized() const;
    TQVDescArraySingle MakeHeader(qint64 streamSample) const;
    void Finish();
    int TimerInterval() const;

    Recording m_recording;
    QString m_fileName;
    // Grows only, so that a block in delivery never points at freed channel buffers.
    std::vector<ChannelState> m_channels;
    bool m_buffersStale = false;
    int m_blockLength = 1024;
    int m_harmonizedLength = 1024;
    bool m_loop = false;
    double m_csvSampleRate = 1000.0;
    qint64 m_position = 0;
    qint64 m_streamSample = 0; // samples delivered since the last reset
    qint64 m_harmonizedStart = 0;
    TQVMeasureSourceState m_state = mssStop;
    QTimer m_timer;
};
