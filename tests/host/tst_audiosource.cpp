// The sound card source: sample conversion and the bounded queue without a device, then a
// tone captured from a PulseAudio server and the server's loss while running.

#include <cmath>
#include <cstring>
#include <tuple>

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
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

} // namespace

// A skip, or a failure where scripts/test.sh promises a server (VELMORA_REQUIRE_AUDIO=1).
#define AUDIO_SKIP(reason)                                                                                   \
    if (qEnvironmentVariable("VELMORA_REQUIRE_AUDIO") == QLatin1String("1"))                                 \
        FAIL() << reason;                                                                                    \
    else                                                                                                     \
        GTEST_SKIP() << reason

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
    // Frame n holds n in channel 0 and n + 1/8 in channel 1; the calls cut frames apart, as a
    // device does. Cases: frames per call, calls, QueueBlocks.
    constexpr int block = 64;
    for (const auto &[feed, calls, queueBlocks] : {std::tuple{10, 40, 2}, {block * 7 + 3, 3, 4}, {block * 2, 5, 1}}) {
        SCOPED_TRACE(testing::Message() << feed << " frames x " << calls << ", queue " << queueBlocks);
        TQVFedAudio audio;
        audio.SetChannelCount(2);
        audio.SetBlockLength(block);
        audio.SetQueueBlocks(queueBlocks);
        audio.SetSampleRate(1000);
        TQVTestConsumer consumer;
        consumer.Connect(&audio);
        qint64 reported = 0;
        QObject::connect(&audio, &TQVAudioSource::OverrunsChanged, [&](qint64 total) { reported = total; });
        QAudioFormat format;
        format.setSampleFormat(QAudioFormat::Float);
        format.setChannelCount(2);
        audio.BeginStream(format);
        audio.Run();

        std::vector<float> frames;
        for (int n = 0; n < feed * calls; ++n)
            frames.insert(frames.end(), {float(n), float(n) + 0.125f});
        const QByteArray bytes = Bytes(frames);
        const auto end = [&](int i) { return i < 0 ? 0 : i + 1 < calls ? (i + 1) * (bytes.size() / calls) + 3 : bytes.size(); };
        // The model: after each call, whole blocks beyond QueueBlocks go, oldest first, then
        // every whole block is delivered.
        qint64 queued = 0, dropped = 0, next = 0;
        std::vector<qint64> firstFrames;
        for (int i = 0; i < calls; ++i) {
            audio.Accept(bytes.constData() + end(i - 1), end(i) - end(i - 1));
            queued += end(i) / 8 - end(i - 1) / 8;
            const qint64 excess = std::max<qint64>(0, (queued - qint64(queueBlocks) * block + block - 1) / block);
            dropped += excess;
            queued -= excess * block;
            next += excess * block;
            for (; queued >= block; queued -= block, next += block)
                firstFrames.push_back(next);
        }
        EXPECT_EQ(audio.Overruns(), dropped);
        EXPECT_EQ(reported, dropped);
        ASSERT_EQ(consumer.Blocks.size(), firstFrames.size());
        for (std::size_t b = 0; b < firstFrames.size(); ++b) {
            const auto &got = consumer.Blocks[b];
            EXPECT_EQ(got.Channels[0][0], float(firstFrames[b]));
            EXPECT_EQ(got.Channels[1][block - 1], float(firstFrames[b] + block - 1) + 0.125f);
            EXPECT_NEAR(double(got.HeaderValueA), firstFrames[b] / 1000.0, 1e-12); // gaps show in time
        }
        audio.Pause();
        audio.Accept(bytes.constData(), bytes.size()); // suspended: dropped unseen
        audio.Stop();
        EXPECT_EQ(consumer.Blocks.size(), firstFrames.size());
        EXPECT_EQ(consumer.States, (std::vector<TQVMeasureSourceState>{mssRun, mssPause, mssStop}));
    }
}

// A reachable PulseAudio server (scripts/test.sh starts one with a null sink): a tone played
// into the sink comes back through source -> FFT -> analyzer with its frequency and RMS.
TEST(AudioCapture, ToneFromTheServerHasItsFrequencyAndRms)
{
    const QString pacat = QStandardPaths::findExecutable(QStringLiteral("pacat"));
    if (pacat.isEmpty() || QMediaDevices::audioInputs().isEmpty()) {
        AUDIO_SKIP("no PulseAudio server with an audio input is reachable");
    }
    constexpr int rate = 48000, fftLength = 4096;
    constexpr double frequency = 1500.0, amplitude = 0.5;
    std::vector<float> tone(std::size_t(rate) * 8); // handed over at once, played in real time
    for (std::size_t n = 0; n < tone.size(); ++n)
        tone[n] = float(amplitude * std::sin(2.0L * M_PIl * frequency * n / rate));
    QProcess player;
    player.start(pacat, {"--raw", "--format=float32le", "--rate=48000", "--channels=1",
                         "--device=" + qEnvironmentVariable("VELMORA_AUDIO_SINK", QStringLiteral("@DEFAULT_SINK@"))});
    ASSERT_TRUE(player.waitForStarted(5000));
    player.write(Bytes(tone));
    player.closeWriteChannel();

    TQVAudioSource audio;
    audio.SetDevice(qEnvironmentVariable("VELMORA_AUDIO_DEVICE"));
    audio.SetBlockLength(fftLength);
    TQVAnalyzer rms, peak;
    rms.SetCompression(TQVAnalyzer::mcoRMS);
    rms.SetQVMeasureSource(&audio);
    TQVFFTSingleSingle fft;
    fft.SetLeakFunction(QVAnalysis::wnHanning);
    fft.SetQVMeasureSource(&audio);
    peak.OnUserData = [&](float &value, QVDescArraySingle data) { // the largest amplitude's frequency
        TQVMeasureSourceSettings axis{};
        fft.GetSettings(axis);
        value = float(axis.XStart + (std::max_element(data.Data, data.Data + data.Count) - data.Data) * axis.XSpan / (data.Count - 1));
    };
    peak.SetQVMeasureSource(&fft);
    std::vector<float> levels, peaks;
    QObject::connect(&rms, &TQVAnalyzer::Analyzed, [&](float v) { levels.push_back(v); });
    QObject::connect(&peak, &TQVAnalyzer::Analyzed, [&](float v) { peaks.push_back(v); });
    audio.Run();
    ASSERT_EQ(audio.State(), mssRun) << audio.ErrorString().toStdString();

    // The tone arrives after the server's latency: judge nine blocks inside it.
    const auto first = [&] { return std::find_if(levels.begin(), levels.end(), [](float v) { return v > 0.1f; }) - levels.begin(); };
    ASSERT_TRUE(QVPumpUntil([&] { return std::ptrdiff_t(levels.size()) > first() + 10; }, 15000)) << levels.size() << " blocks";
    audio.Stop();
    for (std::size_t b = std::size_t(first()) + 1; b < std::size_t(first()) + 10; ++b) {
        EXPECT_NEAR(levels[b], amplitude / std::sqrt(2.0), 0.01 * amplitude / std::sqrt(2.0)) << "block " << b;
        EXPECT_NEAR(peaks[b], frequency, double(rate) / fftLength) << "block " << b;
    }
    EXPECT_EQ(audio.Overruns(), 0);
    player.kill();
    player.waitForFinished();
}

// The input goes away while the source runs, with its module or with the whole server:
// mssError with a message, no hang. A private server, and the capture in a child process of
// this test, so that no other test loses its server or its input.
TEST(AudioCapture, LosingTheInputOrTheServerGivesAnError)
{
    if (qEnvironmentVariableIsSet("VELMORA_AUDIO_CHILD")) {
        TQVAudioSource audio;
        audio.SetDevice(QStringLiteral("velmora_capture"));
        audio.SetBlockLength(480);
        TQVTestConsumer consumer;
        consumer.Connect(&audio);
        audio.Run();
        ASSERT_EQ(audio.State(), mssRun) << audio.ErrorString().toStdString();
        QVPumpUntil([&] { return !consumer.Blocks.empty(); }, 5000);
        std::printf("capturing\n");
        std::fflush(stdout);
        ASSERT_TRUE(QVPumpUntil([&] { return audio.State() == mssError; }, 10000));
        EXPECT_EQ(consumer.States.back(), mssError);
        std::printf("error: %s\n", qPrintable(audio.ErrorString()));
        return;
    }
    for (const bool killServer : {false, true}) {
        SCOPED_TRACE(killServer ? "server killed" : "input module unloaded");
        const QString pulseaudio = QStandardPaths::findExecutable(QStringLiteral("pulseaudio"));
        QTemporaryDir dir;
        const QString socket = dir.filePath(QStringLiteral("native"));
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"HOME", "XDG_RUNTIME_DIR", "PULSE_RUNTIME_PATH"})
            env.insert(QString::fromLatin1(name), dir.path());
        QProcess server;
        server.setProcessEnvironment(env);
        server.start(pulseaudio, {"-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                                  "--load=module-native-protocol-unix auth-anonymous=1 socket=" + socket,
                                  "--load=module-null-sink sink_name=velmora_null format=float32le rate=48000 channels=1",
                                  "--load=module-remap-source master=velmora_null.monitor source_name=velmora_capture"});
        if (pulseaudio.isEmpty() || !server.waitForStarted(5000) || !QVPumpUntil([&] { return QFileInfo::exists(socket); }, 10000)) {
            AUDIO_SKIP("no private PulseAudio server: " << server.readAllStandardError().toStdString());
        }
        env.insert(QStringLiteral("PULSE_SERVER"), "unix:" + socket);
        QProcess child, pactl;
        pactl.setProcessEnvironment(env);
        env.insert(QStringLiteral("VELMORA_AUDIO_CHILD"), QStringLiteral("1"));
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(), {"--gtest_filter=AudioCapture.LosingTheInputOrTheServerGivesAnError"});
        QByteArray out;
        ASSERT_TRUE(QVPumpUntil([&] { return (out += child.readAllStandardOutput()).contains("capturing"); }, 20000)) << out.toStdString();
        if (killServer)
            server.kill();
        else
            pactl.start(QStringLiteral("pactl"), {"unload-module", "module-remap-source"});
        ASSERT_TRUE(child.waitForFinished(15000)) << "the source hung";
        out += child.readAllStandardOutput();
        EXPECT_EQ(child.exitCode(), 0) << out.toStdString();
        EXPECT_TRUE(out.contains("error: The audio input")) << out.toStdString();
        pactl.waitForFinished();
        server.kill();
        server.waitForFinished();
    }
}
