#pragma once

#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include "host/qvBlockSource.h"

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
/// Blocks, headers, harmonizing and the run state are those of `TQVBlockSource`; the
/// header time starts at the recording's start time.
class TQVFilePlayer : public TQVBlockSource
{
    Q_OBJECT
    Q_PROPERTY(QString FileName READ FileName WRITE WriteFileName NOTIFY FileNameChanged)
    Q_PROPERTY(int BlockLength READ BlockLength WRITE WriteBlockLength NOTIFY BlockLengthChanged)
    Q_PROPERTY(int HarmonizedBlockLength READ HarmonizedBlockLength WRITE WriteHarmonizedBlockLength NOTIFY
                   HarmonizedBlockLengthChanged)
    Q_PROPERTY(bool Loop READ Loop WRITE SetLoop NOTIFY SettingsChanged)
    Q_PROPERTY(double CsvSampleRate READ CsvSampleRate WRITE WriteCsvSampleRate NOTIFY SettingsChanged)

public:
    enum TQVFileKind { fkNone, fkWave, fkCsv };
    Q_ENUM(TQVFileKind)

    /// How the samples of a loaded recording are stored in the file.
    enum TQVSampleFormat { sfNone, sfUInt8, sfInt16, sfInt24, sfInt32, sfFloat32, sfFloat64 };
    Q_ENUM(TQVSampleFormat)

    explicit TQVFilePlayer(QObject *owner = nullptr);
    ~TQVFilePlayer() override;

    QString FileName() const { return m_fileName; }
    /// Loads the file (an empty name unloads). Raises `EQVFileLoadError` and keeps the
    /// current recording when the file cannot be read.
    void SetFileName(const QString &fileName);
    QV_GUARDED_WRITE(FileName, const QString &)
    /// Reads the current file again, e.g. after it changed on disk.
    void Reload();

    bool Loop() const { return m_loop; }
    void SetLoop(bool loop);
    /// Sample rate of CSV files without a time column (default 1000 Hz).
    double CsvSampleRate() const { return m_csvSampleRate; }
    void SetCsvSampleRate(double rate);
    QV_GUARDED_WRITE(CsvSampleRate, double)

    // What the loaded recording holds; zero and empty without one.
    TQVFileKind FileKind() const { return m_recording.Kind; }
    TQVSampleFormat SampleFormat() const { return m_recording.Format; }
    double SampleRate() const override;
    /// Samples per channel in the recording.
    qint64 FrameCount() const { return m_recording.Frames; }
    /// Column names from a CSV header row (without the time column); empty otherwise.
    QStringList ChannelNames() const { return m_recording.Names; }
    /// Value range of one channel: full scale for integer PCM, the data's extent otherwise.
    std::pair<float, float> ChannelRange(int channel) const;

    /// Back to the first sample; the stream time restarts at the recording's start.
    void Reset();
    /// Frame of the recording that the next block starts with.
    qint64 Position() const { return m_position; }
    /// Moves to `frame` (0 to FrameCount); other values are ignored. Harmonized samples
    /// waiting for a block are dropped, the stream time goes on.
    void SetPosition(qint64 frame);
    /// True when a recording played without `Loop` has delivered its last sample.
    bool AtEnd() const;

signals:
    void FileNameChanged(const QString &fileName);

protected:
    int FillFrames(float *const *channels, qint64 firstFrame, int count) override;
    std::pair<float, float> ValueRange() const override;
    long double StreamStartTime() const override { return m_recording.StartTime; }
    bool StreamEnded() const override { return AtEnd(); }
    /// Refuses without a recording; at the end of one, starts from the beginning.
    bool PrepareRun() override;

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
    static Recording LoadFile(const QString &fileName);
    void Install(Recording &&recording, const QString &fileName);

    Recording m_recording;
    QString m_fileName;
    bool m_loop = false;
    double m_csvSampleRate = 1000.0;
    qint64 m_position = 0;
};
