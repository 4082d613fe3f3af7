#include "qvAudioSource.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtMultimedia/QAudioSource>
#include <QtMultimedia/QMediaDevices>

#include "qvSourcesLog_p.h"

namespace {

template <typename T, typename Scale>
void Deinterleave(const char *data, int channels, int frames, float *const *out, int offset, Scale scale)
{
    for (int i = 0; i < frames; ++i) {
        for (int k = 0; k < channels; ++k, data += sizeof(T)) {
            T v;
            std::memcpy(&v, data, sizeof v);
            out[k][offset + i] = scale(v);
        }
    }
}

} // namespace

bool QVAudioToFloat(QAudioFormat::SampleFormat format, const char *data, int channels, int frames,
                    float *const *out, int offset)
{
    switch (format) {
    case QAudioFormat::UInt8:
        Deinterleave<quint8>(data, channels, frames, out, offset, [](quint8 v) { return float(int(v) - 128) * 0x1p-7f; });
        return true;
    case QAudioFormat::Int16:
        Deinterleave<qint16>(data, channels, frames, out, offset, [](qint16 v) { return float(v) * 0x1p-15f; });
        return true;
    case QAudioFormat::Int32:
        Deinterleave<qint32>(data, channels, frames, out, offset, [](qint32 v) { return float(double(v) * 0x1p-31); });
        return true;
    case QAudioFormat::Float:
        Deinterleave<float>(data, channels, frames, out, offset, [](float v) { return v; });
        return true;
    default:
        return false;
    }
}

TQVAudioSource::TQVAudioSource(QObject *owner)
    : TQVBlockSource(1, owner)
{
    m_devicePoll.setInterval(500);
    connect(&m_devicePoll, &QTimer::timeout, this, &TQVAudioSource::DevicesChanged);
    ConfigChanged();
}

TQVAudioSource::~TQVAudioSource()
{
    StreamStopping();
}

QStringList TQVAudioSource::Devices()
{
    QStringList names;
    for (const QAudioDevice &device : QMediaDevices::audioInputs())
        names << device.description();
    return names;
}

void TQVAudioSource::SetDevice(const QString &device)
{
    if (device == m_device)
        return;
    m_device = device;
    emit DeviceChanged(device);
}

void TQVAudioSource::SetChannelCount(int count)
{
    if (State() == mssRun || State() == mssPause || count < 1 || count > QVChannelSlots || count == ChannelCount()
        || !BuffersFit(count, BlockLength(), HarmonizedBlockLength()))
        return;
    SetChannels(count);
    NotifyAfter([this] { ConfigChanged(); }, [this] { emit ChannelCountChanged(ChannelCount()); });
}

void TQVAudioSource::SetSampleRate(double rate)
{
    rate = std::round(rate);
    if (State() == mssRun || State() == mssPause || !(rate >= 1.0 && rate <= 1e6) || rate == m_sampleRate)
        return;
    m_sampleRate = rate;
    NotifyAfter([this] { ConfigChanged(); }, [this] { emit SampleRateChanged(m_sampleRate); });
}

void TQVAudioSource::SetQueueBlocks(int blocks)
{
    if (blocks < 1 || blocks > 1024 || blocks == m_queueBlocks)
        return;
    m_queueBlocks = blocks;
    emit SettingsChanged();
}

void TQVAudioSource::Pause()
{
    if (State() != mssRun)
        return;
    if (m_audio)
        m_audio->suspend();
    AnnounceState(mssPause);
}

long double TQVAudioSource::StreamStartTime() const
{
    return static_cast<long double>(m_droppedFrames) / static_cast<long double>(m_sampleRate);
}

QAudioDevice TQVAudioSource::FindDevice() const
{
    if (m_device.isEmpty())
        return QMediaDevices::defaultAudioInput();
    for (const QAudioDevice &device : QMediaDevices::audioInputs()) {
        if (device.description() == m_device || QString::fromUtf8(device.id()) == m_device)
            return device;
    }
    return {};
}

bool TQVAudioSource::PrepareRun()
{
    if (State() == mssPause && m_audio) {
        m_audio->resume();
        return true;
    }
    StreamStopping();
    const QAudioDevice device = FindDevice();
    if (device.isNull()) {
        Fail(m_device.isEmpty() ? QCoreApplication::translate("TQVAudioSource", "No audio input device is present")
                                : QCoreApplication::translate("TQVAudioSource", "The audio input \"%1\" is not present").arg(m_device));
        return false;
    }
    QAudioFormat format;
    format.setSampleRate(int(m_sampleRate));
    format.setChannelCount(ChannelCount());
    const auto supported = [&](QAudioFormat::SampleFormat sampleFormat) {
        format.setSampleFormat(sampleFormat);
        return device.isFormatSupported(format);
    };
    if (!supported(QAudioFormat::Float) && !supported(QAudioFormat::Int32) && !supported(QAudioFormat::Int16)
        && !supported(QAudioFormat::UInt8)) {
        Fail(QCoreApplication::translate("TQVAudioSource", "The audio input \"%1\" does not support %2 Hz with %3 channels")
                 .arg(device.description())
                 .arg(m_sampleRate)
                 .arg(ChannelCount()));
        return false;
    }

    m_openDevice = device;
    m_audio = std::make_unique<QAudioSource>(device, format);
    // Ask for short fragments, so that blocks follow the device closely (about 20 ms).
    m_audio->setBufferSize(format.bytesForDuration(200000));
    connect(m_audio.get(), &QAudioSource::stateChanged, this, [this](QAudio::State state) {
        if (state != QAudio::StoppedState || !m_audio || m_audio->error() == QAudio::NoError)
            return;
        Fail(m_audio->error() == QAudio::OpenError
                 ? QCoreApplication::translate("TQVAudioSource", "The audio input \"%1\" could not be opened").arg(m_openDevice.description())
                 : QCoreApplication::translate("TQVAudioSource", "The audio input \"%1\" failed: the device was removed or the sound server stopped")
                       .arg(m_openDevice.description()));
    });
    m_mediaDevices = std::make_unique<QMediaDevices>();
    connect(m_mediaDevices.get(), &QMediaDevices::audioInputsChanged, this, &TQVAudioSource::DevicesChanged);
    m_devicePoll.start();
    BeginStream(format);
    m_io = m_audio->start();
    if (!m_io || m_audio->error() != QAudio::NoError) {
        Fail(QCoreApplication::translate("TQVAudioSource", "The audio input \"%1\" could not be opened").arg(device.description()));
        return false;
    }
    connect(m_io, &QIODevice::readyRead, this, &TQVAudioSource::ReadDevice);
    if (!m_error.isEmpty()) {
        m_error.clear();
        emit ErrorStringChanged();
    }
    return true;
}

void TQVAudioSource::StreamStopping()
{
    m_devicePoll.stop();
    m_mediaDevices.reset();
    if (m_audio) {
        QAudioSource *audio = m_audio.release();
        audio->disconnect(this);
        if (m_io)
            m_io->disconnect(this);
        audio->stop();
        // It may be emitting the signal that brought us here.
        audio->deleteLater();
    }
    m_io = nullptr;
    m_format = QAudioFormat();
}

void TQVAudioSource::Fail(const QString &message)
{
    StreamStopping();
    m_error = message;
    qCWarning(lcVelmoraSources, "%s", qPrintable(message));
    emit ErrorStringChanged();
    const QPointer<TQVAudioSource> alive(this);
    AnnounceState(mssError);
    if (alive)
        emit ErrorOccurred(message);
}

void TQVAudioSource::DevicesChanged()
{
    const QList<QAudioDevice> inputs = QMediaDevices::audioInputs();
    if (m_audio && std::none_of(inputs.begin(), inputs.end(), [this](const QAudioDevice &d) { return d.id() == m_openDevice.id(); }))
        Fail(QCoreApplication::translate("TQVAudioSource", "The audio input \"%1\" was removed").arg(m_openDevice.description()));
}

void TQVAudioSource::BeginStream(const QAudioFormat &format)
{
    m_format = format;
    m_partial.clear();
    m_queue.assign(std::size_t(ChannelCount()), {});
    m_queueRead = 0;
    m_droppedFrames = 0;
    if (m_overruns != 0) {
        m_overruns = 0;
        emit OverrunsChanged(0);
    }
    RestartStream();
}

void TQVAudioSource::ReadDevice()
{
    if (!m_io)
        return;
    const QByteArray bytes = m_io->readAll();
    Accept(bytes.constData(), bytes.size());
}

void TQVAudioSource::Accept(const char *data, qint64 bytes)
{
    const int channels = ChannelCount();
    const int frameBytes = m_format.bytesPerFrame();
    if (State() != mssRun || bytes <= 0 || frameBytes <= 0 || m_format.channelCount() != channels
        || m_queue.size() != std::size_t(channels))
        return;
    m_partial.append(data, bytes);
    const int frames = int(m_partial.size() / frameBytes);
    m_convertOut.resize(std::size_t(channels));
    for (int k = 0; k < channels; ++k) {
        std::vector<float> &queue = m_queue[std::size_t(k)];
        queue.resize(queue.size() + std::size_t(frames));
        m_convertOut[std::size_t(k)] = queue.data() + queue.size() - frames;
    }
    QVAudioToFloat(m_format.sampleFormat(), m_partial.constData(), channels, frames, m_convertOut.data(), 0);
    m_partial.remove(0, qsizetype(frames) * frameBytes);

    // The chain fell behind: keep the newest QueueBlocks blocks, drop whole blocks before them.
    const qint64 block = BlockLength();
    if (const qint64 excess = QueuedFrames() - qint64(m_queueBlocks) * block; excess > 0) {
        const qint64 dropped = (excess + block - 1) / block;
        m_queueRead += dropped * block;
        m_droppedFrames += dropped * block;
        m_overruns += dropped;
        emit OverrunsChanged(m_overruns);
    }

    const QPointer<TQVAudioSource> alive(this);
    while (State() == mssRun && !Delivering() && QueuedFrames() >= BlockLength()) {
        const qint64 before = QueuedFrames();
        Tick();
        if (!alive)
            return;
        if (QueuedFrames() == before)
            break;
    }
    if (!Delivering() && m_queueRead > 0 && m_queue.size() == std::size_t(ChannelCount())) {
        const qint64 read = std::min<qint64>(m_queueRead, qint64(m_queue[0].size()));
        for (std::vector<float> &queue : m_queue)
            queue.erase(queue.begin(), queue.begin() + read);
        m_queueRead = 0;
    }
}

int TQVAudioSource::FillFrames(float *const *channels, qint64, int count)
{
    if (QueuedFrames() < count || m_queue.size() < std::size_t(ChannelCount()))
        return 0;
    for (int k = 0; k < ChannelCount(); ++k)
        std::copy_n(m_queue[std::size_t(k)].begin() + m_queueRead, count, channels[k]);
    m_queueRead += count;
    return count;
}
