#pragma once

#include <memory>
#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QIODevice>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtMultimedia/QAudioDevice>
#include <QtMultimedia/QAudioFormat>

#include "host/qvBlockSource.h"

class QAudioSource;
class QMediaDevices;

/// \brief Converts `frames` interleaved frames of `channels` channels in `format` from `data`
/// into `out[k][offset ..]`, channel by channel, scaled to full scale +-1: UInt8 (v - 128)
/// / 128, Int16 v / 2^15, Int32 v / 2^31, Float unchanged. Returns false (and writes
/// nothing) for any other format.
bool QVAudioToFloat(QAudioFormat::SampleFormat format, const char *data, int channels, int frames,
                    float *const *out, int offset);

/// \brief A host source that captures a sound card input: the device's frames in blocks of
/// `BlockLength`, converted to float with full scale +-1.
///
/// `Run()` opens `Device` (by its description or id; empty: the system's default input)
/// with `SampleRate` and `ChannelCount`, in 32-bit float when the device offers it, else
/// 32-bit, 16-bit or 8-bit integers. The device sets the pace: a block goes out as soon as
/// its frames are there. `Pause()` suspends the device (`mssPause`), `Run()` resumes,
/// `Stop()` closes it. When the chain falls behind, at most `QueueBlocks` blocks wait; older
/// ones are dropped and counted in `Overruns` (the block times go on, so the gap shows). A
/// device that cannot be opened, is removed or fails while running (an unplugged card, a
/// stopped sound server) puts the source into `mssError` with a message in `ErrorString`
/// and through `ErrorOccurred`.
class TQVAudioSource : public TQVBlockSource
{
    Q_OBJECT
    Q_PROPERTY(QString Device READ Device WRITE SetDevice NOTIFY DeviceChanged)
    Q_PROPERTY(int ChannelCount READ ChannelCount WRITE SetChannelCount NOTIFY ChannelCountChanged)
    Q_PROPERTY(double SampleRate READ SampleRate WRITE SetSampleRate NOTIFY SampleRateChanged)
    Q_PROPERTY(int BlockLength READ BlockLength WRITE WriteBlockLength NOTIFY BlockLengthChanged)
    Q_PROPERTY(int HarmonizedBlockLength READ HarmonizedBlockLength WRITE WriteHarmonizedBlockLength NOTIFY
                   HarmonizedBlockLengthChanged)
    Q_PROPERTY(int QueueBlocks READ QueueBlocks WRITE SetQueueBlocks NOTIFY SettingsChanged)
    Q_PROPERTY(qint64 Overruns READ Overruns NOTIFY OverrunsChanged)
    Q_PROPERTY(QString ErrorString READ ErrorString NOTIFY ErrorStringChanged)

public:
    explicit TQVAudioSource(QObject *owner = nullptr);
    ~TQVAudioSource() override;

    /// Descriptions of the audio inputs present now.
    static QStringList Devices();

    QString Device() const { return m_device; }
    /// A description or id of `Devices()`, or empty for the default input; takes effect with
    /// the next `Run()` that opens the device (from `mssStop` or `mssError`).
    void SetDevice(const QString &device);
    /// 1 to 65, while neither running nor paused; other values are ignored, and so are
    /// counts whose buffers do not fit (reported through `ErrorOccurred`).
    void SetChannelCount(int count);
    double SampleRate() const override { return m_sampleRate; }
    /// 1 Hz to 1 MHz (rounded to whole Hz), while neither running nor paused; other values
    /// are ignored.
    void SetSampleRate(double rate);
    /// 1 to 1024; the most blocks that wait for the chain before the oldest is dropped.
    int QueueBlocks() const { return m_queueBlocks; }
    void SetQueueBlocks(int blocks);

    /// Suspends the device and announces `mssPause`; ignored unless running.
    void Pause();
    /// Blocks dropped since the last `Run()` from `mssStop`.
    qint64 Overruns() const { return m_overruns; }
    /// Why the source last went into `mssError`; empty after a clean start.
    QString ErrorString() const { return m_error; }
    /// The format the device was opened with (invalid while stopped).
    QAudioFormat InputFormat() const { return m_format; }

signals:
    void DeviceChanged(const QString &device);
    void ChannelCountChanged(int count);
    void SampleRateChanged(double rate);
    /// Blocks were dropped; `total` counts them since the last start.
    void OverrunsChanged(qint64 total);
    void ErrorStringChanged();

protected:
    int FillFrames(float *const *channels, qint64 firstFrame, int count) override;
    std::pair<float, float> ValueRange() const override { return {-1.0f, 1.0f}; }
    long double StreamStartTime() const override;
    int TimerInterval() const override { return 0; }
    /// Opens the device, or resumes it from `mssPause`.
    bool PrepareRun() override;
    void StreamStopping() override;

    /// Takes `format` as the stream's format (the device's, once open): the queue empties,
    /// the stream time and the overrun count restart.
    void BeginStream(const QAudioFormat &format);
    /// Takes raw interleaved bytes in the stream's format, as the device delivers them:
    /// queues them, drops the oldest blocks beyond `QueueBlocks` and delivers every whole
    /// block while running.
    void Accept(const char *data, qint64 bytes);
    /// Closes the device and enters `mssError` with `message`.
    void Fail(const QString &message);

private:
    QAudioDevice FindDevice() const;
    void ReadDevice();
    void DevicesChanged();
    qint64 QueuedFrames() const { return m_queue.empty() ? 0 : qint64(m_queue[0].size()) - m_queueRead; }

    QString m_device;
    double m_sampleRate = 48000.0;
    int m_queueBlocks = 16;
    qint64 m_overruns = 0;
    qint64 m_droppedFrames = 0;
    QString m_error;
    QAudioFormat m_format;
    QAudioDevice m_openDevice;
    std::unique_ptr<QMediaDevices> m_mediaDevices;
    QTimer m_devicePoll; // the list of inputs, while open: not every backend signals a change
    std::unique_ptr<QAudioSource> m_audio;
    QPointer<QIODevice> m_io; // owned by m_audio, which may drop it on an error
    QByteArray m_partial;        // bytes of an incomplete frame
    std::vector<std::vector<float>> m_queue; // per channel, frames waiting for a block
    qint64 m_queueRead = 0;                  // frames of m_queue already delivered
    std::vector<float *> m_convertOut;
};
