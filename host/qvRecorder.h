#pragma once

#include <vector>

#include <QtCore/QFile>
#include <QtCore/QString>

#include "framework/qvMeasIntf.h"

/// \brief A sink that writes the blocks of a chain to a file: WAV (IEEE float, 32 bits, every
/// channel of the stream, at its sample rate) or CSV (a time column, then one column per
/// channel).
///
/// `Start()` creates the file from the settings of the connected source; every block that
/// arrives while recording is appended and handed to the operating system at once, and a
/// WAV header is patched after every block, so that the file is always complete and a crash
/// loses at most the block being written. `TQVFilePlayer` reads both back with the same
/// 32-bit samples. A file that cannot be created or written (a full disk, a size limit, a
/// path without permission) stops the recording with a message in `ErrorString` and
/// through `ErrorOccurred`; the file keeps every block written before, with a header that
/// matches them. A change of the stream's channel count or rate also ends the recording.
class TQVRecorder : public TQVComponent
{
    Q_OBJECT
    Q_PROPERTY(TQVMeasureSource *MeasureSource READ GetQVMeasureSource WRITE SetQVMeasureSource NOTIFY MeasureSourceChanged)
    Q_PROPERTY(QString FileName READ FileName WRITE SetFileName NOTIFY SettingsChanged)
    Q_PROPERTY(TQVRecordFormat Format READ Format WRITE SetFormat NOTIFY SettingsChanged)
    Q_PROPERTY(bool Recording READ Recording WRITE SetRecording NOTIFY RecordingChanged)
    Q_PROPERTY(qint64 FramesWritten READ FramesWritten NOTIFY RecordingChanged)
    Q_PROPERTY(QString ErrorString READ ErrorString NOTIFY ErrorOccurred)

public:
    enum TQVRecordFormat { rfWave, rfCsv };
    Q_ENUM(TQVRecordFormat)

    explicit TQVRecorder(QObject *owner = nullptr);
    /// Finishes the file and disconnects.
    ~TQVRecorder() override;

    TQVMeasureSource *GetQVMeasureSource() const { return m_link.Source(); }
    /// Connects to `source` (null disconnects); a recording in progress ends first.
    void SetQVMeasureSource(TQVMeasureSource *source);
    QString FileName() const { return m_fileName; }
    /// Ignored while recording.
    void SetFileName(const QString &fileName);
    TQVRecordFormat Format() const { return m_format; }
    /// Ignored while recording; unknown values are ignored.
    void SetFormat(TQVRecordFormat format);

    /// \brief Creates `FileName` (replacing a file of that name) for the stream of the
    /// connected source and records from the next block on. False, with the reason in
    /// `ErrorString` and `ErrorOccurred`, without a source, without a sample rate or when
    /// the file cannot be created. Ignored (true) while recording.
    bool Start();
    /// Ends the recording; the file stays complete. Ignored when not recording.
    void Stop();
    bool Recording() const { return m_file.isOpen(); }
    /// `Start()` or `Stop()`; never raises.
    void SetRecording(bool recording);
    /// Frames per channel in the file of the current or last recording.
    qint64 FramesWritten() const { return m_frames; }
    /// Why the last recording could not start or ended early; empty after a clean start.
    QString ErrorString() const { return m_error; }

signals:
    void MeasureSourceChanged();
    void SettingsChanged();
    void RecordingChanged(bool recording);
    /// The recording could not start or stopped on an error; `message` says why.
    void ErrorOccurred(const QString &message);

private:
    void OnData(TQVDescArraySingle &block);
    void OnSettings();
    bool WriteHeader();
    bool WriteAll(const char *data, qint64 size);
    bool WriteBlock(const TQVDescArraySingle &block, int count);
    void Fail(const QString &message);

    TQVMeasureLink m_link;
    QString m_fileName;
    TQVRecordFormat m_format = rfWave;
    QFile m_file;
    QString m_error;
    int m_channels = 0;
    double m_sampleRate = 0.0;
    qint64 m_frames = 0;
    long double m_startTime = 0; // time of the first frame written
    qint64 m_end = 0; // file size after the last complete block
    std::vector<char> m_buffer;
};
