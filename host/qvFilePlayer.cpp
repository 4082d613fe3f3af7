#include "qvFilePlayer.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QtEndian>


namespace {

[[noreturn]] void Fail(const QString &message)
{
    throw EQVFileLoadError(message);
}

// ---------------------------------------------------------------------------------------
// Sample decoding. Integer PCM is scaled by 2^-(bits-1), so full scale is -1 to just
// below +1; 8-bit samples are unsigned with 128 as zero.

template <TQVFilePlayer::TQVSampleFormat Format>
float ReadSample(const uchar *p)
{
    using enum TQVFilePlayer::TQVSampleFormat;
    if constexpr (Format == sfUInt8) {
        return float(int(p[0]) - 128) * 0x1p-7f;
    } else if constexpr (Format == sfInt16) {
        return float(qFromLittleEndian<qint16>(p)) * 0x1p-15f;
    } else if constexpr (Format == sfInt24) {
        const qint32 raw = qint32(p[0]) | qint32(p[1]) << 8 | qint32(p[2]) << 16;
        return float((raw ^ 0x800000) - 0x800000) * 0x1p-23f;
    } else if constexpr (Format == sfInt32) {
        return float(double(qFromLittleEndian<qint32>(p)) * 0x1p-31);
    } else if constexpr (Format == sfFloat32) {
        return std::bit_cast<float>(qFromLittleEndian<quint32>(p));
    } else {
        const double value = std::bit_cast<double>(qFromLittleEndian<quint64>(p));
        if (std::isnan(value) || std::fabs(value) <= double(FLT_MAX))
            return float(value);
        return std::copysign(INFINITY, float(value > 0 ? 1 : -1));
    }
}

int BytesPerSample(TQVFilePlayer::TQVSampleFormat format)
{
    using enum TQVFilePlayer::TQVSampleFormat;
    switch (format) {
    case sfUInt8: return 1;
    case sfInt16: return 2;
    case sfInt24: return 3;
    case sfInt32:
    case sfFloat32: return 4;
    case sfFloat64: return 8;
    case sfNone: break;
    }
    return 0;
}

// Channel k of frames [frame, frame + count) into out[k] + offset, for every channel.
template <TQVFilePlayer::TQVSampleFormat Format>
void DecodeAs(const uchar *data, int channels, qint64 frame, int count, float *const *out, int offset)
{
    constexpr int bytes = Format == TQVFilePlayer::sfUInt8 ? 1
                        : Format == TQVFilePlayer::sfInt16 ? 2
                        : Format == TQVFilePlayer::sfInt24 ? 3
                        : Format == TQVFilePlayer::sfFloat64 ? 8 : 4;
    const qsizetype stride = qsizetype(bytes) * channels;
    const uchar *p = data + frame * stride;
    for (int i = 0; i < count; ++i, p += stride) {
        for (int k = 0; k < channels; ++k)
            out[k][offset + i] = ReadSample<Format>(p + qsizetype(k) * bytes);
    }
}

void Decode(TQVFilePlayer::TQVSampleFormat format, const QByteArray &data, int channels, qint64 frame,
            int count, float *const *out, int offset)
{
    using enum TQVFilePlayer::TQVSampleFormat;
    const auto *bytes = reinterpret_cast<const uchar *>(data.constData());
    switch (format) {
    case sfUInt8: DecodeAs<sfUInt8>(bytes, channels, frame, count, out, offset); break;
    case sfInt16: DecodeAs<sfInt16>(bytes, channels, frame, count, out, offset); break;
    case sfInt24: DecodeAs<sfInt24>(bytes, channels, frame, count, out, offset); break;
    case sfInt32: DecodeAs<sfInt32>(bytes, channels, frame, count, out, offset); break;
    case sfFloat32: DecodeAs<sfFloat32>(bytes, channels, frame, count, out, offset); break;
    case sfFloat64: DecodeAs<sfFloat64>(bytes, channels, frame, count, out, offset); break;
    case sfNone: break;
    }
}

// The extent of every channel's finite samples; a constant channel gets +-1 around its
// value, a channel without finite samples -1 to 1.
std::vector<std::pair<float, float>> DataRanges(TQVFilePlayer::TQVSampleFormat format, const QByteArray &data,
                                                int channels, qint64 frames)
{
    std::vector<std::pair<float, float>> ranges(std::size_t(channels), {INFINITY, -INFINITY});
    constexpr int chunk = 4096;
    std::vector<std::vector<float>> buffers(static_cast<std::size_t>(channels), std::vector<float>(chunk));
    std::vector<float *> out(static_cast<std::size_t>(channels));
    for (int k = 0; k < channels; ++k)
        out[std::size_t(k)] = buffers[std::size_t(k)].data();
    for (qint64 frame = 0; frame < frames; frame += chunk) {
        const int count = int(std::min<qint64>(chunk, frames - frame));
        Decode(format, data, channels, frame, count, out.data(), 0);
        for (int k = 0; k < channels; ++k) {
            auto &[low, high] = ranges[std::size_t(k)];
            for (int i = 0; i < count; ++i) {
                const float x = out[std::size_t(k)][i];
                if (std::isfinite(x)) {
                    low = std::min(low, x);
                    high = std::max(high, x);
                }
            }
        }
    }
    for (auto &[low, high] : ranges) {
        if (low > high) {
            low = -1.0f;
            high = 1.0f;
        } else if (low == high) {
            low -= 1.0f;
            high += 1.0f;
        }
    }
    return ranges;
}

// ---------------------------------------------------------------------------------------
// WAV

constexpr int MaxChannels = QVChannelSlots;

QString ChunkName(const char *id)
{
    QString name;
    for (int i = 0; i < 4; ++i)
        name += (id[i] >= 0x20 && id[i] < 0x7F) ? QChar(id[i]) : QChar('?');
    return name;
}

QByteArray ReadAt(QFile &file, const QString &fileName, qint64 position, qint64 size)
{
    QByteArray bytes;
    if (!file.seek(position) || (bytes = file.read(size)).size() != size)
        Fail(QCoreApplication::translate("TQVFilePlayer", "Cannot read \"%1\": %2").arg(fileName, file.errorString()));
    return bytes;
}

struct WaveFormat
{
    TQVFilePlayer::TQVSampleFormat Format = TQVFilePlayer::sfNone;
    int Channels = 0;
    double SampleRate = 0.0;
    int BlockAlign = 0;
};

WaveFormat ParseFormat(const QString &fileName, const QByteArray &body)
{
    using enum TQVFilePlayer::TQVSampleFormat;
    if (body.size() < 16)
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": the fmt chunk is too short (%2 bytes)").arg(fileName).arg(body.size()));
    const auto *p = reinterpret_cast<const uchar *>(body.constData());
    int tag = qFromLittleEndian<quint16>(p);
    const int channels = qFromLittleEndian<quint16>(p + 2);
    const quint32 rate = qFromLittleEndian<quint32>(p + 4);
    const int blockAlign = qFromLittleEndian<quint16>(p + 12);
    const int bits = qFromLittleEndian<quint16>(p + 14);
    int validBits = bits;

    constexpr int extensible = 0xFFFE;
    if (tag == extensible) {
        if (body.size() < 40 || qFromLittleEndian<quint16>(p + 16) < 22)
            Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": the fmt chunk is too short (%2 bytes)").arg(fileName).arg(body.size()));
        if (const int valid = qFromLittleEndian<quint16>(p + 18); valid != 0)
            validBits = valid;
        // The sub-format is a GUID whose last twelve bytes are fixed for these formats and
        // whose first four hold the plain format tag.
        static constexpr uchar guidTail[12] = {0x00, 0x00, 0x10, 0x00, 0x80, 0x00,
                                               0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
        if (std::memcmp(p + 28, guidTail, sizeof guidTail) == 0 && qFromLittleEndian<quint32>(p + 24) <= 0xFFFF)
            tag = int(qFromLittleEndian<quint32>(p + 24));
    }

    TQVFilePlayer::TQVSampleFormat format = sfNone;
    if (tag == 1 && validBits <= bits) {
        format = bits == 8 ? sfUInt8 : bits == 16 ? sfInt16 : bits == 24 ? sfInt24 : bits == 32 ? sfInt32 : sfNone;
    } else if (tag == 3 && validBits == bits) {
        format = bits == 32 ? sfFloat32 : bits == 64 ? sfFloat64 : sfNone;
    }
    if (format == sfNone || validBits < 1) {
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": unsupported sample format (format tag 0x%2, %3 bits per sample)")
                 .arg(fileName)
                 .arg(QString::number(tag, 16).toUpper().rightJustified(4, QChar('0')))
                 .arg(bits));
    }
    if (channels < 1 || channels > MaxChannels)
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": %2 channels; 1 to %3 are supported").arg(fileName).arg(channels).arg(MaxChannels));
    if (rate == 0)
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": invalid sample rate %2").arg(fileName).arg(rate));
    if (blockAlign != channels * BytesPerSample(format)) {
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": block alignment %2 does not match %3 channels of %4 bits")
                 .arg(fileName)
                 .arg(blockAlign)
                 .arg(channels)
                 .arg(bits));
    }
    return {format, channels, double(rate), blockAlign};
}

// Reads the RIFF chunks one by one: chunks other than "fmt " and "data" are skipped, every
// chunk is followed by a pad byte when its size is odd, and the search ends as soon as both
// were found, so that anything after them is never read.
void LoadWave(QFile &file, const QString &fileName, TQVFilePlayer::TQVSampleFormat &format, int &channels,
                     double &rate, qint64 &frames, QByteArray &data)
{
    const qint64 end = file.size();
    const QByteArray riff = end >= 12 ? ReadAt(file, fileName, 0, 12) : QByteArray();
    if (riff.size() < 12 || !riff.startsWith("RIFF") || riff.mid(8, 4) != "WAVE")
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" is not a RIFF WAVE file").arg(fileName));

    WaveFormat wave;
    bool haveFormat = false;
    qint64 dataOffset = -1;
    qint64 dataSize = 0;
    qint64 position = 12;
    while (!(haveFormat && dataOffset >= 0)) {
        if (position >= end) {
            Fail(haveFormat ? QCoreApplication::translate("TQVFilePlayer", "\"%1\" has no data chunk").arg(fileName)
                            : QCoreApplication::translate("TQVFilePlayer", "\"%1\" has no fmt chunk").arg(fileName));
        }
        if (end - position < 8) {
            Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" is truncated: an incomplete chunk header at offset %2").arg(fileName).arg(position));
        }
        const QByteArray header = ReadAt(file, fileName, position, 8);
        const qint64 size = qFromLittleEndian<quint32>(header.constData() + 4);
        const qint64 body = position + 8;
        if (header.startsWith("data") && dataOffset < 0) {
            if (body + size > end) {
                Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" is truncated: the data chunk declares %2 bytes but holds %3")
                         .arg(fileName)
                         .arg(size)
                         .arg(end - body));
            }
            dataOffset = body;
            dataSize = size;
        } else if (body + size > end) {
            Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" is truncated: the '%2' chunk at offset %3 ends after the end of the file")
                     .arg(fileName, ChunkName(header.constData()))
                     .arg(position));
        } else if (header.startsWith("fmt ") && !haveFormat) {
            wave = ParseFormat(fileName, ReadAt(file, fileName, body, std::min<qint64>(size, 64)));
            haveFormat = true;
        }
        position = body + size + (size & 1);
    }

    if (dataSize % wave.BlockAlign != 0) {
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": the data chunk of %2 bytes does not hold whole frames of %3 bytes")
                 .arg(fileName)
                 .arg(dataSize)
                 .arg(wave.BlockAlign));
    }
    if (dataSize == 0)
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" holds no samples").arg(fileName));
    data = ReadAt(file, fileName, dataOffset, dataSize);
    format = wave.Format;
    channels = wave.Channels;
    rate = wave.SampleRate;
    frames = dataSize / wave.BlockAlign;
}

// ---------------------------------------------------------------------------------------
// CSV

// A finite decimal number with an optional sign and exponent; nothing else on the field.
bool ParseNumber(QByteArrayView field, double &value)
{
    // from_chars takes no plus sign, so one is skipped here; "+-1" stays invalid.
    const bool plus = field.startsWith('+');
    if (plus)
        field = field.sliced(1);
    if (field.isEmpty() || (plus && field.startsWith('-')))
        return false;
    const char *first = field.data();
    const char *last = first + field.size();
    const auto [ptr, ec] = std::from_chars(first, last, value, std::chars_format::general);
    return ec == std::errc() && ptr == last && std::isfinite(value);
}

QByteArrayView Trimmed(QByteArrayView field)
{
    while (!field.isEmpty() && (field.front() == ' ' || field.front() == '\t'))
        field = field.sliced(1);
    while (!field.isEmpty() && (field.back() == ' ' || field.back() == '\t'))
        field.chop(1);
    if (field.size() >= 2 && field.front() == '"' && field.back() == '"')
        field = field.sliced(1, field.size() - 2);
    return field;
}

void SplitFields(QByteArrayView line, char separator, std::vector<QByteArrayView> &fields)
{
    fields.clear();
    qsizetype start = 0;
    for (qsizetype i = 0; i <= line.size(); ++i) {
        if (i == line.size() || line[i] == separator) {
            fields.push_back(Trimmed(line.sliced(start, i - start)));
            start = i + 1;
        }
    }
}

bool IsTimeName(QByteArrayView name)
{
    const QByteArray lower = name.toByteArray().toLower();
    if (!lower.startsWith("time"))
        return false;
    return lower.size() == 4 || lower[4] == ' ' || lower[4] == '[' || lower[4] == '(' || lower[4] == '/';
}

QString Shown(QByteArrayView token)
{
    constexpr qsizetype longest = 40;
    if (token.size() <= longest)
        return QString::fromUtf8(token);
    return QString::fromUtf8(token.first(longest)) + QStringLiteral("...");
}

void LoadCsv(QFile &file, const QString &fileName, TQVFilePlayer::TQVSampleFormat &format, int &channels,
                    double &rate, long double &startTime, qint64 &frames, QByteArray &data, QStringList &names)
{
    const QByteArray text = file.readAll();
    if (file.error() != QFileDevice::NoError)
        Fail(QCoreApplication::translate("TQVFilePlayer", "Cannot read \"%1\": %2").arg(fileName, file.errorString()));
    QByteArrayView rest(text);
    if (rest.startsWith("\xEF\xBB\xBF"))
        rest = rest.sliced(3);

    std::vector<float> values;
    std::vector<double> times;
    std::vector<int> timeLines;
    std::vector<QByteArrayView> fields;
    char separator = 0;
    int columns = 0;
    bool timeColumn = false;
    int lineNumber = 0;
    while (!rest.isEmpty()) {
        const qsizetype newline = rest.indexOf('\n');
        QByteArrayView line = newline < 0 ? rest : rest.first(newline);
        rest = newline < 0 ? QByteArrayView() : rest.sliced(newline + 1);
        ++lineNumber;
        if (line.endsWith('\r'))
            line.chop(1);
        const QByteArrayView content = Trimmed(line);
        if (content.isEmpty() || content.startsWith('#'))
            continue;

        if (separator == 0) {
            separator = line.contains('\t') ? '\t' : line.contains(';') ? ';' : ',';
            SplitFields(line, separator, fields);
            columns = int(fields.size());
            double ignored = 0.0;
            const bool header = std::none_of(fields.begin(), fields.end(),
                                             [&](QByteArrayView f) { return ParseNumber(f, ignored); });
            if (header) {
                timeColumn = IsTimeName(fields[0]);
                for (std::size_t k = timeColumn ? 1 : 0; k < fields.size(); ++k)
                    names.append(QString::fromUtf8(fields[k]));
            }
            const int count = columns - (timeColumn ? 1 : 0);
            if (count < 1 || count > MaxChannels)
                Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": %2 channels; 1 to %3 are supported").arg(fileName).arg(count).arg(MaxChannels));
            if (header)
                continue;
        } else {
            SplitFields(line, separator, fields);
        }

        if (int(fields.size()) != columns) {
            Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" line %2: %3 columns where %4 are expected")
                     .arg(fileName)
                     .arg(lineNumber)
                     .arg(fields.size())
                     .arg(columns));
        }
        for (int k = 0; k < columns; ++k) {
            double value = 0.0;
            if (!ParseNumber(fields[std::size_t(k)], value)) {
                Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" line %2: '%3' is not a valid number")
                         .arg(fileName)
                         .arg(lineNumber)
                         .arg(Shown(fields[std::size_t(k)])));
            }
            if (timeColumn && k == 0) {
                times.push_back(value);
                timeLines.push_back(lineNumber);
            } else {
                values.push_back(std::fabs(value) <= double(FLT_MAX) ? float(value)
                                                                     : std::copysign(FLT_MAX, float(value)));
            }
        }
    }

    channels = columns - (timeColumn ? 1 : 0);
    frames = channels > 0 ? qint64(values.size()) / channels : 0;
    if (frames == 0)
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" holds no samples").arg(fileName));
    rate = 0.0;
    startTime = 0.0L;
    if (timeColumn) {
        if (frames < 2)
            Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": a time column needs at least two rows").arg(fileName));
        // Each time must lie nearest to its own point of the grid from the first to the
        // last time, so that rounded times pass and gaps or repeats do not.
        const long double first = times.front();
        const long double step = (static_cast<long double>(times.back()) - first) / (frames - 1);
        for (qint64 i = 1; i < frames; ++i) {
            const long double off = times[std::size_t(i)] - (first + step * i);
            if (!(times[std::size_t(i)] > times[std::size_t(i - 1)]) || !(std::fabs(off) <= step / 2)) {
                Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" line %2: the time column is not equidistant")
                         .arg(fileName)
                         .arg(timeLines[std::size_t(i)]));
            }
        }
        rate = double(1.0L / step);
        if (!std::isfinite(rate))
            Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\": the time step is too small to give a sample rate").arg(fileName));
        startTime = first;
    }
    data.resize(qsizetype(values.size()) * qsizetype(sizeof(float)));
    auto *out = reinterpret_cast<uchar *>(data.data());
    for (std::size_t i = 0; i < values.size(); ++i)
        qToLittleEndian(std::bit_cast<quint32>(values[i]), out + i * sizeof(float));
    format = TQVFilePlayer::sfFloat32;
}

} // namespace

// ---------------------------------------------------------------------------------------
// TQVFilePlayer

TQVFilePlayer::TQVFilePlayer(QObject *owner)
    : TQVBlockSource(0, owner)
{
    ConfigChanged();
}

TQVFilePlayer::~TQVFilePlayer() = default;

TQVFilePlayer::Recording TQVFilePlayer::LoadFile(const QString &fileName)
{
    Recording r;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        Fail(QCoreApplication::translate("TQVFilePlayer", "Cannot open \"%1\": %2").arg(fileName, file.errorString()));
    // A file that starts as RIFF is read as WAV whatever its name; a .wav file must be one.
    const QByteArray magic = file.peek(4);
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    try {
        if (magic == "RIFF" || suffix == QLatin1String("wav") || suffix == QLatin1String("wave")) {
            LoadWave(file, fileName, r.Format, r.Channels, r.SampleRate, r.Frames, r.Data);
            r.Kind = fkWave;
        } else {
            LoadCsv(file, fileName, r.Format, r.Channels, r.SampleRate, r.StartTime, r.Frames, r.Data, r.Names);
            r.Kind = fkCsv;
        }
        if (r.Format == sfFloat32 || r.Format == sfFloat64)
            r.Ranges = DataRanges(r.Format, r.Data, r.Channels, r.Frames);
        else
            r.Ranges.assign(std::size_t(r.Channels), {-1.0f, 1.0f});
    } catch (const std::bad_alloc &) {
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" is too large to load").arg(fileName));
    }
    return r;
}

void TQVFilePlayer::SetFileName(const QString &fileName)
{
    if (fileName == m_fileName)
        return;
    Recording recording = fileName.isEmpty() ? Recording{} : LoadFile(fileName);
    NotifyAfter([&] { Install(std::move(recording), fileName); },
                [&] {
                    if (m_fileName == fileName)
                        emit FileNameChanged(fileName);
                });
}

void TQVFilePlayer::Reload()
{
    if (!m_fileName.isEmpty())
        Install(LoadFile(m_fileName), m_fileName);
}

void TQVFilePlayer::Install(Recording &&recording, const QString &fileName)
{
    if (!BuffersFit(std::max(1, recording.Channels), BlockLength(), HarmonizedBlockLength(), false))
        Fail(QCoreApplication::translate("TQVFilePlayer", "\"%1\" is too large to load").arg(fileName));
    m_recording = std::move(recording);
    m_fileName = fileName;
    m_position = 0;
    SetChannels(m_recording.Channels);
    RestartStream();
    if (m_recording.Kind == fkNone)
        Stop();
    ConfigChanged();
}

void TQVFilePlayer::SetLoop(bool loop)
{
    StoreChanged(m_loop, loop, [this] { emit SettingsChanged(); });
}

void TQVFilePlayer::SetCsvSampleRate(double rate)
{
    if (!std::isfinite(rate) || rate <= 0.0 || rate == m_csvSampleRate)
        return;
    m_csvSampleRate = rate;
    NotifyAfter(
        [this] {
            if (m_recording.Kind != fkNone && m_recording.SampleRate == 0.0)
                ConfigChanged();
        },
        [this] { emit SettingsChanged(); });
}

double TQVFilePlayer::SampleRate() const
{
    if (m_recording.Kind == fkNone)
        return 0.0;
    return m_recording.SampleRate > 0.0 ? m_recording.SampleRate : m_csvSampleRate;
}

std::pair<float, float> TQVFilePlayer::ChannelRange(int channel) const
{
    if (channel < 0 || channel >= m_recording.Channels)
        return {0.0f, 0.0f};
    return m_recording.Ranges[std::size_t(channel)];
}

bool TQVFilePlayer::AtEnd() const
{
    return m_recording.Kind != fkNone && !m_loop && m_position >= m_recording.Frames;
}

std::pair<float, float> TQVFilePlayer::ValueRange() const
{
    float low = m_recording.Ranges[0].first;
    float high = m_recording.Ranges[0].second;
    for (const auto &[lo, hi] : m_recording.Ranges) {
        low = std::min(low, lo);
        high = std::max(high, hi);
    }
    return {low, high};
}

void TQVFilePlayer::Reset()
{
    m_position = 0;
    RestartStream();
}

void TQVFilePlayer::SetPosition(qint64 frame)
{
    if (m_recording.Kind == fkNone || frame < 0 || frame > m_recording.Frames)
        return;
    m_position = frame;
    PrepareBuffers();
}

bool TQVFilePlayer::PrepareRun()
{
    if (AtEnd())
        Reset();
    return true;
}

int TQVFilePlayer::FillFrames(float *const *channels, qint64, int count)
{
    const qint64 frames = m_recording.Frames;
    if (!m_loop)
        count = int(std::min<qint64>(count, frames - m_position));
    for (int filled = 0; filled < count;) {
        if (m_position >= frames)
            m_position = 0;
        const int part = int(std::min<qint64>(count - filled, frames - m_position));
        Decode(m_recording.Format, m_recording.Data, m_recording.Channels, m_position, part, channels, filled);
        filled += part;
        m_position += part;
    }
    if (m_loop && m_position >= frames)
        m_position = 0;
    return count;
}
