#include "qvRecorder.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <QtCore/QCoreApplication>
#include <QtCore/QtEndian>

#include "qvSourcesLog_p.h"

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

constexpr qint64 WaveHeaderSize = 44;
// The RIFF size field is 32 bits and counts everything after its own 8 bytes.
constexpr qint64 WaveMaxSize = 0xFFFFFFFFLL + 8;

void Put16(char *p, quint16 v) { qToLittleEndian(v, p); }
void Put32(char *p, quint32 v) { qToLittleEndian(v, p); }

void Append(std::vector<char> &out, const char *first, const char *last) { out.insert(out.end(), first, last); }

// Channel k of frame i to out[i * channels + k]; `Channels` > 0 fixes the count at compile
// time, so that the common stereo case is vectorised.
template <int Channels>
void Interleave(float *__restrict out, const TQVDescArraySingle &block, int count, int channels = Channels)
{
    if constexpr (Channels > 0) {
        const float *__restrict in[Channels];
        for (int k = 0; k < Channels; ++k)
            in[k] = block.Channels[k].Data;
        for (int i = 0; i < count; ++i)
            for (int k = 0; k < Channels; ++k)
                out[i * Channels + k] = in[k][i];
    } else {
        for (int k = 0; k < channels; ++k) {
            const float *in = block.Channels[k].Data;
            for (int i = 0; i < count; ++i)
                out[std::size_t(i) * std::size_t(channels) + std::size_t(k)] = in[i];
        }
    }
}

} // namespace

TQVRecorder::TQVRecorder(QObject *owner)
    : TQVComponent(owner)
    , m_link(this)
{
    m_link.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &block) { OnData(block); };
    m_link.OnUpdateSettings = [this](TQVMeasureLink *) { OnSettings(); };
}

TQVRecorder::~TQVRecorder()
{
    Stop();
    m_link.SeTQVMeasureSource(nullptr);
}

void TQVRecorder::SetQVMeasureSource(TQVMeasureSource *source)
{
    if (source == m_link.Source())
        return;
    Stop();
    m_link.SeTQVMeasureSource(source);
    emit MeasureSourceChanged();
}

void TQVRecorder::SetFileName(const QString &fileName)
{
    if (Recording() || fileName == m_fileName)
        return;
    m_fileName = fileName;
    emit SettingsChanged();
}

void TQVRecorder::SetFormat(TQVRecordFormat format)
{
    if (Recording() || format == m_format || (format != rfWave && format != rfCsv))
        return;
    m_format = format;
    emit SettingsChanged();
}

void TQVRecorder::SetRecording(bool recording)
{
    if (recording)
        Start();
    else
        Stop();
}

bool TQVRecorder::Start()
{
    if (Recording())
        return true;
    TQVMeasureSourceSettings settings{};
    if (TQVMeasureSource *source = m_link.Source())
        source->GetSettings(settings);
    const long double rate = settings.XSpan > 0 ? settings.BlockLength / static_cast<long double>(settings.XSpan) : 0;
    if (!m_link.Source() || settings.ChannelCount < 1 || settings.ChannelCount > QVChannelSlots || !(rate > 0)
        || !std::isfinite(double(rate))) {
        Fail(QCoreApplication::translate("TQVRecorder", "Cannot record \"%1\": the source delivers no stream of equidistant samples")
                 .arg(m_fileName));
        return false;
    }
    m_channels = settings.ChannelCount;
    m_sampleRate = double(rate);
    m_frames = 0;
    m_file.setFileName(m_fileName);
    if (m_fileName.isEmpty() || !m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        Fail(QCoreApplication::translate("TQVRecorder", "Cannot create \"%1\": %2")
                 .arg(m_fileName, m_fileName.isEmpty() ? QCoreApplication::translate("TQVRecorder", "no file name") : m_file.errorString()));
        return false;
    }
    m_end = 0;
    if (!m_error.isEmpty())
        m_error.clear();
    if (!WriteHeader())
        return false;
    emit RecordingChanged(true);
    return true;
}

void TQVRecorder::Stop()
{
    if (!Recording())
        return;
    m_file.close();
    emit RecordingChanged(false);
}

void TQVRecorder::Fail(const QString &message)
{
    if (Recording()) {
        // Drop a partly written block: the header already describes what came before.
        m_file.resize(m_end);
        m_file.close();
        emit RecordingChanged(false);
    }
    m_error = message;
    qCWarning(lcVelmoraSources, "%s", qPrintable(message));
    emit ErrorOccurred(message);
}

bool TQVRecorder::WriteHeader()
{
    m_buffer.clear();
    if (m_format == rfWave) {
        m_buffer.assign(WaveHeaderSize, 0);
        char *p = m_buffer.data();
        std::memcpy(p, "RIFF", 4);
        Put32(p + 4, quint32(WaveHeaderSize - 8));
        std::memcpy(p + 8, "WAVEfmt ", 8);
        Put32(p + 16, 16);
        Put16(p + 20, 3); // IEEE float
        Put16(p + 22, quint16(m_channels));
        Put32(p + 24, quint32(std::lround(m_sampleRate)));
        Put32(p + 28, quint32(std::lround(m_sampleRate)) * quint32(4 * m_channels));
        Put16(p + 32, quint16(4 * m_channels));
        Put16(p + 34, 32);
        std::memcpy(p + 36, "data", 4);
    } else {
        const QByteArray header = [this] {
            QByteArray line("time [s]");
            for (int k = 0; k < m_channels; ++k)
                line += ",ch" + QByteArray::number(k + 1);
            return line + '\n';
        }();
        Append(m_buffer, header.constData(), header.constData() + header.size());
    }
    if (!WriteAll(m_buffer.data(), qint64(m_buffer.size()))) {
        Fail(QCoreApplication::translate("TQVRecorder", "Cannot write \"%1\": %2").arg(m_fileName, m_file.errorString()));
        return false;
    }
    m_end = qint64(m_buffer.size());
    return true;
}

bool TQVRecorder::WriteAll(const char *data, qint64 size)
{
    const qint64 written = m_file.write(data, size);
    // A short write leaves no reason behind; writing the rest again yields it (a full disk,
    // the size limit).
    return written == size || (written >= 0 && m_file.write(data + written, size - written) == size - written);
}

void TQVRecorder::OnSettings()
{
    if (!Recording())
        return;
    TQVMeasureSourceSettings settings{};
    if (TQVMeasureSource *source = m_link.Source())
        source->GetSettings(settings);
    const long double rate = settings.XSpan > 0 ? settings.BlockLength / static_cast<long double>(settings.XSpan) : 0;
    if (settings.ChannelCount != m_channels || std::fabs(double(rate) - m_sampleRate) > 1e-9 * m_sampleRate) {
        Fail(QCoreApplication::translate("TQVRecorder", "Recording \"%1\" stopped: the stream changed its channel count or sample rate")
                 .arg(m_fileName));
    }
}

void TQVRecorder::OnData(TQVDescArraySingle &block)
{
    if (!Recording())
        return;
    int count = block.Channels[0].Count;
    for (int k = 0; k < m_channels; ++k)
        count = QVHasData(block.Channels[k]) ? std::min(count, block.Channels[k].Count) : 0;
    if (m_frames == 0)
        m_startTime = block.HeaderValueA;
    if (count > 0 && WriteBlock(block, count))
        m_frames += count;
}

bool TQVRecorder::WriteBlock(const TQVDescArraySingle &block, int count)
{
    const int channels = m_channels;
    m_buffer.clear();
    if (m_format == rfWave) {
        const qint64 bytes = qint64(count) * channels * 4;
        if (m_end + bytes > WaveMaxSize) {
            Fail(QCoreApplication::translate("TQVRecorder", "Recording \"%1\" stopped: a WAV file holds at most 4 GiB")
                     .arg(m_fileName));
            return false;
        }
        m_buffer.resize(std::size_t(bytes));
        // Floats as the host stores them: little-endian hosts only, as the player.
        auto *out = reinterpret_cast<float *>(m_buffer.data());
        if (channels == 1)
            std::memcpy(out, block.Channels[0].Data, std::size_t(bytes));
        else if (channels == 2)
            Interleave<2>(out, block, count);
        else
            Interleave<0>(out, block, count, channels);
    } else {
        char text[64];
        for (int i = 0; i < count; ++i) {
            // Time on the grid from the first sample; 17 digits give the double back exactly.
            const double time = double(m_startTime + static_cast<long double>(m_frames + i) / m_sampleRate);
            Append(m_buffer, text, text + std::snprintf(text, sizeof text, "%.17g", time));
            for (int k = 0; k < channels; ++k) {
                text[0] = ',';
                // Shortest text that reads back as the same float.
                const auto result = std::to_chars(text + 1, text + sizeof text, block.Channels[k].Data[i]);
                Append(m_buffer, text, result.ptr);
            }
            m_buffer.push_back('\n');
        }
    }
    if (!WriteAll(m_buffer.data(), qint64(m_buffer.size()))) {
        Fail(QCoreApplication::translate("TQVRecorder", "Cannot write \"%1\": %2; the file keeps the %3 frames before")
                 .arg(m_fileName, m_file.errorString())
                 .arg(m_frames));
        return false;
    }
    const qint64 end = m_end + qint64(m_buffer.size());
    if (m_format == rfWave) {
        char riffSize[4], dataSize[4];
        Put32(riffSize, quint32(end - 8));
        Put32(dataSize, quint32(end - WaveHeaderSize));
#ifdef Q_OS_UNIX
        // Written in place, without moving the file position.
        const int fd = m_file.handle();
        const bool ok = ::pwrite(fd, riffSize, 4, 4) == 4 && ::pwrite(fd, dataSize, 4, 40) == 4;
#else
        const bool ok = m_file.seek(4) && m_file.write(riffSize, 4) == 4 && m_file.seek(40)
                        && m_file.write(dataSize, 4) == 4 && m_file.seek(end);
#endif
        if (!ok) {
            Fail(QCoreApplication::translate("TQVRecorder", "Cannot write \"%1\": %2; the file keeps the %3 frames before")
                     .arg(m_fileName, m_file.errorString())
                     .arg(m_frames));
            return false;
        }
    }
    m_end = end;
    return true;
}
