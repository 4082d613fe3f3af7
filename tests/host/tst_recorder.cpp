// The recorder: what it writes reads back through the file player with the same bits, and a
// size limit ends a recording with an error and a file that holds the blocks before it.

#include <cmath>
#include <csignal>
#include <cstring>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <QtCore/QTemporaryDir>

#include "host/qvFilePlayer.h"
#include "host/qvRecorder.h"
#include "host/qvSignalGenerator.h"
#include "support/qvTestConsumer.h"

namespace {

constexpr int Block = 500;

// Noise of amplitudes 1e-30 to 1e+30 across the channels: every float text and bit pattern
// range is exercised.
void Prepare(TQVSignalGenerator &generator, int channels, double rate)
{
    generator.SetChannelCount(channels);
    generator.SetSampleRate(rate);
    generator.SetBlockLength(Block);
    for (int k = 0; k < channels; ++k)
        generator.SetChannel(k, {TQVSignalGenerator::wfNoise, 0, std::pow(10.0, 10 * (k % 7) - 30), 0, std::pow(10.0, 10 * (k % 7) - 30), 0});
}

// Every sample the player delivers, block by block, channel-major.
std::vector<std::vector<float>> Played(TQVFilePlayer &player)
{
    TQVTestConsumer consumer;
    consumer.Connect(&player);
    player.SetBlockLength(Block);
    while (!player.AtEnd() && player.FrameCount() > 0)
        player.Tick();
    std::vector<std::vector<float>> channels(std::size_t(player.ChannelCount()));
    for (const auto &block : consumer.Blocks)
        for (std::size_t k = 0; k < channels.size(); ++k)
            channels[k].insert(channels[k].end(), block.Channels[k].begin(), block.Channels[k].end());
    return channels;
}

bool SameBits(const std::vector<float> &a, const std::vector<float> &b, std::size_t count)
{
    return a.size() >= count && b.size() >= count && std::memcmp(a.data(), b.data(), count * sizeof(float)) == 0;
}

struct Case
{
    int Channels;
    TQVRecorder::TQVRecordFormat Format;
};

} // namespace

TEST(Recorder, RoundTripsThroughThePlayerBitForBit)
{
    for (const Case c : {Case{1, TQVRecorder::rfWave}, Case{2, TQVRecorder::rfWave}, Case{65, TQVRecorder::rfWave},
                         Case{1, TQVRecorder::rfCsv}, Case{2, TQVRecorder::rfCsv}, Case{65, TQVRecorder::rfCsv}}) {
        SCOPED_TRACE(testing::Message() << c.Channels << " channels, format " << c.Format);
        QTemporaryDir dir;
        const double rate = c.Format == TQVRecorder::rfWave ? 44100.0 : 977.0;
        TQVSignalGenerator generator;
        Prepare(generator, c.Channels, rate);
        TQVTestConsumer sent;
        sent.Connect(&generator);
        TQVRecorder recorder;
        recorder.SetMeasureSource(&generator);
        recorder.SetFormat(c.Format);
        recorder.SetFileName(dir.filePath("r"));
        generator.Tick(); // before the start: not recorded
        ASSERT_TRUE(recorder.Start()) << recorder.ErrorString().toStdString();
        for (int i = 0; i < 4; ++i)
            generator.Tick();
        recorder.Stop();
        generator.Tick(); // after the stop: not recorded
        EXPECT_EQ(recorder.FramesWritten(), 4 * Block);

        TQVFilePlayer player;
        player.SetFileName(dir.filePath("r"));
        ASSERT_EQ(player.ChannelCount(), c.Channels);
        EXPECT_NEAR(player.SampleRate(), rate, rate * 1e-12);
        const auto played = Played(player);
        for (int k = 0; k < c.Channels; ++k) {
            std::vector<float> expected;
            for (int b = 1; b <= 4; ++b)
                expected.insert(expected.end(), sent.Blocks[b].Channels[k].begin(), sent.Blocks[b].Channels[k].end());
            ASSERT_EQ(played[std::size_t(k)].size(), expected.size());
            EXPECT_TRUE(SameBits(played[std::size_t(k)], expected, expected.size())) << "channel " << k;
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
        TQVSignalGenerator generator;
        Prepare(generator, 2, 8000.0);
        TQVTestConsumer sent;
        sent.Connect(&generator);
        TQVRecorder recorder;
        recorder.SetMeasureSource(&generator);
        recorder.SetFormat(format);
        recorder.SetFileName(dir.filePath("limited"));
        QStringList errors;
        QObject::connect(&recorder, &TQVRecorder::ErrorOccurred, [&](const QString &m) { errors << m; });
        ASSERT_TRUE(recorder.Start());

        rlimit limited = original;
        limited.rlim_cur = 60000; // a few blocks of either format, then a block cut short
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
        for (int i = 0; i < 40; ++i)
            generator.Tick();
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &original), 0);

        ASSERT_EQ(errors.size(), 1);
        EXPECT_FALSE(recorder.Recording());
        EXPECT_EQ(recorder.ErrorString(), errors[0]);
        EXPECT_TRUE(errors[0].contains(dir.filePath("limited")));
        const qint64 kept = recorder.FramesWritten();
        EXPECT_GT(kept, 0);
        EXPECT_LT(kept, 40 * Block);
        EXPECT_EQ(kept % Block, 0);

        TQVFilePlayer player;
        player.SetFileName(dir.filePath("limited"));
        EXPECT_EQ(player.FrameCount(), kept);
        const auto played = Played(player);
        for (int k = 0; k < 2; ++k) {
            std::vector<float> expected;
            for (const auto &block : sent.Blocks)
                expected.insert(expected.end(), block.Channels[k].begin(), block.Channels[k].end());
            EXPECT_TRUE(SameBits(played[std::size_t(k)], expected, std::size_t(kept)));
        }
    }

    // A path that cannot be created is the same kind of error, before anything is written.
    TQVSignalGenerator generator;
    TQVRecorder recorder;
    recorder.SetMeasureSource(&generator);
    recorder.SetFileName(QStringLiteral("/nonexistent-folder/r.wav"));
    int errors = 0;
    QObject::connect(&recorder, &TQVRecorder::ErrorOccurred, [&] { ++errors; });
    EXPECT_FALSE(recorder.Start());
    EXPECT_EQ(errors, 1);
    EXPECT_TRUE(recorder.ErrorString().contains(QStringLiteral("/nonexistent-folder/r.wav")));
}
