// The recorder: what it writes reads back through the file player with the same bits, and a
// size limit ends a recording with an error and a file that holds the blocks before it.

#include <cmath>
#include <csignal>
#include <cstring>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>

#include "host/qvFilePlayer.h"
#include "host/qvRecorder.h"
#include "host/qvSignalGenerator.h"
#include "support/qvTestConsumer.h"

namespace {

constexpr int Block = 500;

// A generator of noise with amplitudes from 1e-30 to 1e+30 across the channels (every range
// of float texts and bit patterns), what it sent, and a recorder on it.
struct Rig
{
    Rig(int channels, double rate, TQVRecorder::TQVRecordFormat format, const QString &file)
    {
        generator.SetChannelCount(channels);
        generator.SetSampleRate(rate);
        generator.SetBlockLength(Block);
        for (int k = 0; k < channels; ++k) {
            const double a = std::pow(10.0, 10 * (k % 7) - 30);
            generator.SetChannel(k, {TQVSignalGenerator::wfNoise, 0, a, 0, a, 0});
        }
        sent.Connect(&generator);
        recorder.SetQVMeasureSource(&generator);
        recorder.SetFormat(format);
        recorder.SetFileName(file);
    }
    TQVSignalGenerator generator;
    TQVTestConsumer sent;
    TQVRecorder recorder;
};

// Channel by channel, every sample the player delivers.
std::vector<std::vector<float>> Played(const QString &file)
{
    TQVFilePlayer player;
    player.SetFileName(file);
    TQVTestConsumer consumer;
    consumer.Connect(&player);
    while (!player.AtEnd())
        player.Tick();
    std::vector<std::vector<float>> channels;
    for (int k = 0; k < player.ChannelCount(); ++k)
        channels.push_back(consumer.Joined(k));
    return channels;
}

bool SameBits(const std::vector<float> &a, const std::vector<float> &b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

} // namespace

TEST(Recorder, RoundTripsThroughThePlayerBitForBit)
{
    for (const auto format : {TQVRecorder::rfWave, TQVRecorder::rfCsv}) {
        for (const int channels : {1, 2, 65}) {
            SCOPED_TRACE(testing::Message() << channels << " channels, format " << format);
            QTemporaryDir dir;
            const double rate = format == TQVRecorder::rfWave ? 44100.0 : 977.0;
            Rig rig(channels, rate, format, dir.filePath("r"));
            rig.generator.Tick(); // before the start: not recorded
            ASSERT_TRUE(rig.recorder.Start()) << rig.recorder.ErrorString().toStdString();
            for (int i = 0; i < 4; ++i)
                rig.generator.Tick();
            rig.recorder.Stop();
            rig.generator.Tick(); // after the stop: not recorded
            EXPECT_EQ(rig.recorder.FramesWritten(), 4 * Block);

            TQVFilePlayer player;
            player.SetFileName(dir.filePath("r"));
            EXPECT_NEAR(player.SampleRate(), rate, rate * 1e-12);
            const auto played = Played(dir.filePath("r"));
            ASSERT_EQ(played.size(), std::size_t(channels));
            for (int k = 0; k < channels; ++k) {
                std::vector<float> expected = rig.sent.Joined(k, 1);
                expected.resize(4 * Block);
                EXPECT_TRUE(SameBits(played[std::size_t(k)], expected)) << "channel " << k;
            }
        }
    }
}

TEST(Recorder, FileSizeLimitStopsWithAnErrorAndKeepsTheBlocksBefore)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit original{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &original), 0);
    for (const auto format : {TQVRecorder::rfWave, TQVRecorder::rfCsv}) {
        SCOPED_TRACE(format);
        QTemporaryDir dir;
        Rig rig(2, 8000.0, format, dir.filePath("limited"));
        QStringList errors;
        QObject::connect(&rig.recorder, &TQVRecorder::ErrorOccurred, [&](const QString &m) { errors << m; });
        ASSERT_TRUE(rig.recorder.Start());
        rlimit limited = original;
        limited.rlim_cur = 60000; // a few blocks of either format, then a block cut short
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
        for (int i = 0; i < 40; ++i)
            rig.generator.Tick();
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &original), 0);

        ASSERT_EQ(errors.size(), 1);
        EXPECT_FALSE(rig.recorder.Recording());
        EXPECT_EQ(rig.recorder.ErrorString(), errors[0]);
        EXPECT_TRUE(errors[0].contains(dir.filePath("limited")));
        const qint64 kept = rig.recorder.FramesWritten();
        EXPECT_TRUE(kept > 0 && kept < 40 * Block && kept % Block == 0) << kept;
        const auto played = Played(dir.filePath("limited"));
        for (int k = 0; k < 2; ++k) {
            std::vector<float> expected = rig.sent.Joined(k);
            expected.resize(std::size_t(kept));
            EXPECT_TRUE(SameBits(played[std::size_t(k)], expected));
        }
    }

    // A path that cannot be created is the same kind of error, before anything is written. It
    // is logged in the category "velmora.sources" too, which a program can turn off.
    Rig rig(1, 8000.0, TQVRecorder::rfWave, QStringLiteral("/nonexistent-folder/r.wav"));
    int errors = 0;
    QObject::connect(&rig.recorder, &TQVRecorder::ErrorOccurred, [&] { ++errors; });
    static QStringList logged;
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &c, const QString &m) {
        logged << QString::fromLatin1(c.category) + u' ' + m;
    });
    EXPECT_FALSE(rig.recorder.Start());
    QLoggingCategory::setFilterRules(QStringLiteral("velmora.sources.warning=false"));
    EXPECT_FALSE(rig.recorder.Start());
    QLoggingCategory::setFilterRules(QString());
    qInstallMessageHandler(previous);
    EXPECT_EQ(errors, 2);
    EXPECT_TRUE(rig.recorder.ErrorString().contains(QStringLiteral("/nonexistent-folder/r.wav")));
    EXPECT_EQ(logged, QStringList{QStringLiteral("velmora.sources ") + rig.recorder.ErrorString()});
}
