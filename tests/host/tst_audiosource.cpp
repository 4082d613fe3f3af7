// The sound card source: sample conversion and the bounded queue without a device, then a
// tone captured from a PulseAudio server and the server's loss while running.

#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtMultimedia/QMediaDevices>

#include "analysis/qvMLSFFT.h"
#include "host/qvAudioSource.h"
#include "stream/qvMLSSimpleSources.h"
#include "support/qvTestConsumer.h"

namespace {

template <typename T>
QByteArray Bytes(const std::vector<T> &values)
{
    return QByteArray(reinterpret_cast<const char *>(values.data()), qsizetype(values.size() * sizeof(T)));
}

// Without a device: the stream format is set directly and bytes are fed as a device would.
class TQVFedAudio : public TQVAudioSource
{
public:
    using TQVAudioSource::Accept;
    using TQVAudioSource::BeginStream;

protected:
    bool PrepareRun() override { return true; }
};

QAudioFormat Format(QAudioFormat::SampleFormat sampleFormat, int channels, int rate = 48000)
{
    QAudioFormat format;
    format.setSampleFormat(sampleFormat);
    format.setChannelCount(channels);
    format.setSampleRate(rate);
    return format;
}

bool Spin(const std::function<bool()> &done, int ms)
{
    QDeadlineTimer deadline(ms);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

bool AudioRequired()
{
    return qEnvironmentVariable("VELMORA_REQUIRE_AUDIO") == QLatin1String("1");
}

} // namespace

#define AUDIO_SKIP(reason)                                                                               \
    do {                                                                                                 \
        if (AudioRequired())                                                                             \
            FAIL() << reason << " (VELMORA_REQUIRE_AUDIO=1)";                                            \
        GTEST_SKIP() << reason;                                                                          \
    } while (0)

TEST(AudioConversion, EveryDeviceFormatScalesToFullScale)
{
    // Two channels, interleaved; the expected values are the closed forms in long double.
    const std::vector<quint8> u8{0, 255, 128, 1, 64, 200};
    const std::vector<qint16> i16{-32768, 32767, 0, 1, -12345, 20000};
    const std::vector<qint32> i32{INT32_MIN, INT32_MAX, 0, 1, -123456789, 987654321};
    const std::vector<float> f32{-1.0f, 1.0f, 0.0f, 1e-30f, -0.3f, 7.5f};
    struct Case
    {
        QAudioFormat::SampleFormat Format;
        QByteArray Data;
        std::function<long double(int)> Expected;
    };
    const Case cases[] = {
        {QAudioFormat::UInt8, Bytes(u8), [&](int i) { return (u8[i] - 128.0L) / 128.0L; }},
        {QAudioFormat::Int16, Bytes(i16), [&](int i) { return i16[i] / 32768.0L; }},
        {QAudioFormat::Int32, Bytes(i32), [&](int i) { return i32[i] / 2147483648.0L; }},
        {QAudioFormat::Float, Bytes(f32), [&](int i) { return f32[i]; }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.Format);
        std::vector<float> left(4, -9.0f), right(4, -9.0f);
        float *out[] = {left.data(), right.data()};
        ASSERT_TRUE(QVAudioToFloat(c.Format, c.Data.constData(), 2, 3, out, 1));
        EXPECT_EQ(left[0], -9.0f);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(left[i + 1], float(c.Expected(2 * i)));
            EXPECT_EQ(right[i + 1], float(c.Expected(2 * i + 1)));
        }
    }
    float sink = 0.0f, *out = &sink;
    EXPECT_FALSE(QVAudioToFloat(QAudioFormat::Unknown, "\0\0\0\0", 1, 1, &out, 0));
}

TEST(AudioQueue, SlowChainDropsTheOldestBlocksAndCountsThem)
{
    // Frames are numbered through every channel (channel k of frame n holds n + k / 8), fed
    // in pieces that cut frames apart, as a device delivers them.
    struct Case
    {
        int FeedFrames; // per call
        int Calls;
        int QueueBlocks;
    };
    constexpr int block = 64;
    for (const Case c : {Case{10, 40, 2}, Case{block * 7 + 3, 3, 4}, Case{block * 2, 5, 1}}) {
        SCOPED_TRACE(testing::Message() << c.FeedFrames << " frames x " << c.Calls << ", queue " << c.QueueBlocks);
        TQVFedAudio audio;
        audio.SetChannelCount(2);
        audio.SetBlockLength(block);
        audio.SetQueueBlocks(c.QueueBlocks);
        audio.SetSampleRate(1000);
        TQVTestConsumer consumer;
        consumer.Connect(&audio);
        std::vector<qint64> reports;
        QObject::connect(&audio, &TQVAudioSource::OverrunsChanged, [&](qint64 total) { reports.push_back(total); });
        audio.BeginStream(Format(QAudioFormat::Float, 2, 1000));
        audio.Run();
        ASSERT_EQ(audio.State(), mssRun);

        std::vector<float> frames;
        for (int n = 0; n < c.FeedFrames * c.Calls; ++n)
            frames.insert(frames.end(), {float(n), float(n) + 0.125f});
        const QByteArray bytes = Bytes(frames);
        const auto end = [&](int i) { return i + 1 < c.Calls ? (i + 1) * (bytes.size() / c.Calls) + 3 : bytes.size(); };
        for (int i = 0; i < c.Calls; ++i)
            audio.Accept(bytes.constData() + (i ? end(i - 1) : 0), end(i) - (i ? end(i - 1) : 0));

        // Each call leaves fewer than a block queued; the excess beyond QueueBlocks whole
        // blocks is dropped in whole blocks, oldest first.
        qint64 queued = 0, dropped = 0, expectedFirst = 0;
        std::vector<qint64> firstFrames;
        for (int i = 0; i < c.Calls; ++i) {
            queued += end(i) / 8 - (i ? end(i - 1) / 8 : 0); // whole frames so far
            const qint64 excess = queued - qint64(c.QueueBlocks) * block;
            if (excess > 0) {
                const qint64 blocks = (excess + block - 1) / block;
                dropped += blocks;
                queued -= blocks * block;
                expectedFirst += blocks * block;
            }
            for (; queued >= block; queued -= block, expectedFirst += block)
                firstFrames.push_back(expectedFirst);
        }
        EXPECT_EQ(audio.Overruns(), dropped);
        EXPECT_EQ(reports.empty() ? 0 : reports.back(), dropped);
        ASSERT_EQ(consumer.Blocks.size(), firstFrames.size());
        for (std::size_t b = 0; b < firstFrames.size(); ++b) {
            const auto &got = consumer.Blocks[b];
            EXPECT_EQ(got.Channels[0][0], float(firstFrames[b]));
            EXPECT_EQ(got.Channels[1][block - 1], float(firstFrames[b] + block - 1) + 0.125f);
            EXPECT_NEAR(double(got.HeaderValueA), firstFrames[b] / 1000.0, 1e-12); // gaps show in time
        }
        audio.Pause();
        audio.Accept(bytes.constData(), bytes.size()); // suspended: nothing is queued
        EXPECT_EQ(audio.State(), mssPause);
        EXPECT_EQ(consumer.Blocks.size(), firstFrames.size());
        audio.Stop();
        EXPECT_EQ(consumer.States, (std::vector<TQVMeasureSourceState>{mssRun, mssPause, mssStop}));
    }
}

// A reachable PulseAudio server (scripts/test.sh starts one with a null sink): a tone played
// into the sink comes back through source -> FFT -> analyzer with its frequency and RMS.
TEST(AudioCapture, ToneFromTheServerHasItsFrequencyAndRms)
{
    const QString pacat = QStandardPaths::findExecutable(QStringLiteral("pacat"));
    if (pacat.isEmpty() || QMediaDevices::audioInputs().isEmpty())
        AUDIO_SKIP("no PulseAudio server with an audio input is reachable");
    constexpr int rate = 48000, fftLength = 4096;
    constexpr double frequency = 1500.0, amplitude = 0.5;

    // Eight seconds of the tone, handed to pacat at once; it plays them in real time.
    std::vector<float> tone(std::size_t(rate) * 8);
    for (std::size_t n = 0; n < tone.size(); ++n)
        tone[n] = float(amplitude * std::sin(2.0L * M_PIl * frequency * n / rate));
    QStringList args{"--raw", "--format=float32le", "--rate=48000", "--channels=1"};
    if (const QString sink = qEnvironmentVariable("VELMORA_AUDIO_SINK"); !sink.isEmpty())
        args << "-d" << sink;
    QProcess player;
    player.start(pacat, args);
    ASSERT_TRUE(player.waitForStarted(5000));
    player.write(Bytes(tone));
    player.closeWriteChannel();

    TQVAudioSource audio;
    audio.SetDevice(qEnvironmentVariable("VELMORA_AUDIO_DEVICE"));
    audio.SetBlockLength(fftLength);
    TQVAnalyzer rms;
    rms.SetCompression(TQVAnalyzer::mcoRMS);
    rms.SetQVMeasureSource(&audio);
    TQVFFTSingleSingle fft;
    fft.SetLeakFunction(QVAnalysis::wnHanning);
    fft.SetQVMeasureSource(&audio);
    TQVAnalyzer peak; // the frequency of the largest amplitude, on the stage's axis
    peak.OnUserData = [&](float &value, QVDescArraySingle data) {
        TQVMeasureSourceSettings axis{};
        fft.GetSettings(axis);
        const int i = int(std::max_element(data.Data, data.Data + data.Count) - data.Data);
        value = float(axis.XStart + i * axis.XSpan / (data.Count - 1));
    };
    peak.SetQVMeasureSource(&fft);
    std::vector<float> levels, peaks;
    QObject::connect(&rms, &TQVAnalyzer::Analyzed, [&](float v) { levels.push_back(v); });
    QObject::connect(&peak, &TQVAnalyzer::Analyzed, [&](float v) { peaks.push_back(v); });
    audio.Run();
    ASSERT_EQ(audio.State(), mssRun) << audio.ErrorString().toStdString();

    // The tone arrives after the server's latency; judge the blocks from the first loud one on.
    const auto loud = [&] { return std::count_if(levels.begin(), levels.end(), [](float v) { return v > 0.1f; }); };
    ASSERT_TRUE(Spin([&] { return loud() >= 12; }, 15000)) << levels.size() << " blocks, " << loud() << " with the tone";
    audio.Stop();
    const auto first = std::find_if(levels.begin(), levels.end(), [](float v) { return v > 0.1f; }) - levels.begin();
    for (std::size_t b = std::size_t(first) + 1; b < std::size_t(first) + 10; ++b) { // inside the tone
        EXPECT_NEAR(levels[b], amplitude / std::sqrt(2.0), 0.01 * amplitude / std::sqrt(2.0)) << "block " << b;
        EXPECT_NEAR(peaks[b], frequency, double(rate) / fftLength) << "block " << b;
    }
    EXPECT_EQ(audio.Overruns(), 0);
    player.kill();
    player.waitForFinished();
}

// The server goes away while the source runs: mssError with a message, no hang. The capture
// runs in a child process of this test on a private server, so that no other test loses its
// server.
TEST(AudioCapture, StoppingTheServerGivesAnError)
{
    if (qEnvironmentVariableIsSet("VELMORA_AUDIO_CHILD")) {
        TQVAudioSource audio;
        audio.SetDevice(QStringLiteral("velmora_capture"));
        audio.SetBlockLength(480);
        TQVTestConsumer consumer;
        consumer.Connect(&audio);
        QString error;
        QObject::connect(&audio, &TQVAudioSource::ErrorOccurred, [&](const QString &m) { error = m; });
        audio.Run();
        ASSERT_EQ(audio.State(), mssRun) << audio.ErrorString().toStdString();
        Spin([&] { return !consumer.Blocks.empty(); }, 5000);
        std::printf("capturing\n");
        std::fflush(stdout);
        ASSERT_TRUE(Spin([&] { return audio.State() == mssError; }, 10000));
        EXPECT_EQ(consumer.States.back(), mssError);
        EXPECT_EQ(error, audio.ErrorString());
        std::printf("error: %s\n", qPrintable(error));
        return;
    }
    const QString pulseaudio = QStandardPaths::findExecutable(QStringLiteral("pulseaudio"));
    if (pulseaudio.isEmpty())
        AUDIO_SKIP("pulseaudio is not installed");
    QTemporaryDir dir;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"HOME", "XDG_RUNTIME_DIR", "PULSE_RUNTIME_PATH"})
        env.insert(QString::fromLatin1(name), dir.path());
    const QString socket = dir.filePath(QStringLiteral("native"));
    QProcess server;
    server.setProcessEnvironment(env);
    server.start(pulseaudio, {"-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                              "--load=module-native-protocol-unix auth-anonymous=1 socket=" + socket,
                              "--load=module-null-sink sink_name=velmora_null format=float32le rate=48000 channels=1",
                              "--load=module-remap-source master=velmora_null.monitor source_name=velmora_capture"});
    if (!server.waitForStarted(5000) || !Spin([&] { return QFileInfo::exists(socket); }, 10000))
        AUDIO_SKIP("a private PulseAudio server did not start: " << server.readAllStandardError().toStdString());

    QProcess child;
    env.insert(QStringLiteral("PULSE_SERVER"), "unix:" + socket);
    env.insert(QStringLiteral("VELMORA_AUDIO_CHILD"), QStringLiteral("1"));
    child.setProcessEnvironment(env);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--gtest_filter=AudioCapture.StoppingTheServerGivesAnError")});
    QByteArray out;
    ASSERT_TRUE(Spin([&] { return (out += child.readAllStandardOutput()).contains("capturing"); }, 20000)) << out.toStdString();
    server.kill();
    ASSERT_TRUE(child.waitForFinished(15000)) << "the source hung after the server stopped";
    out += child.readAllStandardOutput();
    EXPECT_EQ(child.exitCode(), 0) << out.toStdString();
    EXPECT_TRUE(out.contains("error: The audio input")) << out.toStdString();
    server.waitForFinished();
}
