#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <utility>
#include <vector>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include "host/qvFilePlayer.h"
#include "support/qvTestConsumer.h"

// The file player against files written here: integer samples and their closed-form
// normalisation v / 2^(bits-1), float samples as written, CSV numbers as parsed by the
// standard library.

namespace {

using Player = TQVFilePlayer;

// Little-endian fields: {value, bytes} each.
void Le(QByteArray &out, std::initializer_list<std::pair<quint64, int>> fields)
{
    for (const auto &[value, bytes] : fields)
        for (int i = 0; i < bytes; ++i)
            out.append(char((value >> (8 * i)) & 0xFF));
}

struct Wave
{
    int tag = 1, bits = 16, channels = 1;
    quint32 rate = 8000;
    bool extensible = false, extraChunks = false;
    int validBits = 0;
};

// A RIFF WAVE file; with extraChunks, odd-sized unknown chunks (with their pad bytes) sit
// before, between and after the format and data chunks.
QByteArray WaveFile(const Wave &w, const QByteArray &samples, int declaredData = -1)
{
    QByteArray fmt;
    const quint64 frame = quint64(w.channels * w.bits / 8);
    Le(fmt, {{w.extensible ? 0xFFFE : w.tag, 2}, {w.channels, 2}, {w.rate, 4}, {w.rate * frame, 4}, {frame, 2},
             {w.bits, 2}});
    if (w.extensible) {
        Le(fmt, {{22, 2}, {w.validBits ? w.validBits : w.bits, 2}, {0, 4}, {w.tag, 4}});
        fmt.append(QByteArray::fromHex("000010008000" "00aa00389b71"));
    }
    QByteArray body("WAVE");
    auto chunk = [&](const char *id, const QByteArray &data, qint64 size) {
        body.append(id, 4);
        Le(body, {{quint64(size), 4}});
        body.append(data);
        if (data.size() % 2)
            body.append('\0');
    };
    if (w.extraChunks)
        chunk("JUNK", "abc", 3);
    chunk("fmt ", fmt, fmt.size());
    if (w.extraChunks)
        chunk("LIST", "INFOx", 5);
    chunk("data", samples, declaredData >= 0 ? declaredData : samples.size());
    if (w.extraChunks)
        chunk("smpl", "z", 1);
    QByteArray file("RIFF");
    Le(file, {{quint64(body.size()), 4}});
    return file + body;
}

// Sample n of channel c of the test recordings, and what the player must deliver for it.
struct Recorded
{
    QByteArray Bytes;
    std::vector<std::vector<float>> Expected; // per channel
    float Low = -1.0f, High = 1.0f;            // the envelope: full scale for integer samples
};

Recorded MakeSamples(const Wave &w, int frames)
{
    Recorded r;
    r.Expected.assign(std::size_t(w.channels), {});
    for (int n = 0; n < frames; ++n) {
        for (int c = 0; c < w.channels; ++c) {
            if (w.tag == 3) {
                const double x = 1.5 * std::sin(0.37 * n + c);
                const float f = float(x);
                quint64 bits = 0;
                std::memcpy(&bits, w.bits == 32 ? static_cast<const void *>(&f) : &x, std::size_t(w.bits / 8));
                Le(r.Bytes, {{bits, w.bits / 8}});
                r.Expected[std::size_t(c)].push_back(f);
                r.Low = n + c == 0 ? f : std::min(r.Low, f);
                r.High = n + c == 0 ? f : std::max(r.High, f);
                continue;
            }
            // Both extremes first, then values spread over the whole range.
            const long long half = 1LL << (w.bits - 1);
            const long long v = n == 0 ? -half : n == 1 ? half - 1
                               : (long long)((quint64(n) * 2654435761u + quint64(c) * 40503u) % quint64(2 * half)) - half;
            Le(r.Bytes, {{quint64(w.bits == 8 ? v + 128 : v), w.bits / 8}});
            r.Expected[std::size_t(c)].push_back(float(static_cast<long double>(v) / half));
        }
    }
    return r;
}

std::vector<std::size_t> Lengths(const TQVTestConsumer &consumer)
{
    std::vector<std::size_t> out;
    for (const auto &block : consumer.Blocks)
        out.push_back(block.Channels[0].size());
    return out;
}

struct Files
{
    QString Write(const QString &name, const QByteArray &bytes)
    {
        const QString path = Dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
            ADD_FAILURE() << "cannot write " << path.toStdString();
        return path;
    }
    QTemporaryDir Dir;
};

} // namespace

// Every sample format, 1 to 3 channels, plain and extensible headers, unknown chunks with
// odd sizes: the stream is the closed form, the settings describe the file.
TEST(FilePlayer, WaveFormatsPlayTheirSamplesNormalised)
{
    const Wave formats[] = {
        {1, 8, 1, 8000},
        {1, 16, 2, 44100, false, true},
        {1, 24, 3, 96000},
        {1, 32, 1, 48000, false, true},
        {3, 32, 2, 22050},
        {3, 64, 3, 1000, false, true},
        {1, 16, 3, 16000, true},
        {1, 24, 2, 48000, true, true, 20}, // 20 valid bits scale as the 24-bit container
        {3, 32, 1, 32000, true},
    };
    Files files;
    for (const Wave &w : formats) {
        SCOPED_TRACE(::testing::Message() << "tag " << w.tag << ", " << w.bits << " bits, " << w.channels << " ch");
        const Recorded rec = MakeSamples(w, 257);
        Player player;
        player.SetBlockLength(100);
        player.SetFileName(files.Write("x.wav", WaveFile(w, rec.Bytes)));
        TQVTestConsumer consumer;
        consumer.Connect(&player);
        EXPECT_EQ(player.FileKind(), Player::fkWave);
        EXPECT_EQ(player.ChannelCount(), w.channels);
        EXPECT_EQ(player.FrameCount(), 257);
        EXPECT_EQ(player.SampleRate(), double(w.rate));

        const TQVMeasureSourceSettings &s = consumer.LastSettings;
        EXPECT_EQ(s.ChannelCount, w.channels);
        EXPECT_EQ(static_cast<long double>(s.XSpan), 100.0L / w.rate);
        EXPECT_EQ(s.RangeMin, rec.Low);
        EXPECT_EQ(s.RangeMax, rec.High);

        for (int t = 0; t < 4; ++t)
            player.Tick();
        EXPECT_EQ(Lengths(consumer), (std::vector<std::size_t>{100, 100, 57}));
        for (int c = 0; c < w.channels; ++c)
            EXPECT_EQ(consumer.Joined(c), rec.Expected[std::size_t(c)]) << "channel " << c;
        EXPECT_EQ(consumer.Blocks.back().HeaderValueA, 200.0L / w.rate);
    }
}

// Block boundaries at the end: the last shorter block and mssStop, or wrapping around
// (several times when a block is longer than the recording). The harmonized cut of the
// stream is the block source's (tst_blocksource).
TEST(FilePlayer, EndOfRecordingStopsOrWraps)
{
    struct Case { int frames, block, ticks; bool loop; std::vector<std::size_t> lengths; };
    const Case cases[] = {
        {250, 100, 5, false, {100, 100, 50}},      {300, 100, 4, false, {100, 100, 100}},
        {250, 100, 5, true, {100, 100, 100, 100, 100}}, {70, 160, 3, true, {160, 160, 160}},
        {70, 160, 2, false, {70}},
    };
    const Wave w{1, 16, 2, 1000};
    Files files;
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.frames << " frames, block " << c.block << ", loop " << c.loop);
        const Recorded rec = MakeSamples(w, c.frames);
        Player player;
        player.SetFileName(files.Write("r.wav", WaveFile(w, rec.Bytes)));
        player.SetBlockLength(c.block);
        player.SetLoop(c.loop);
        TQVTestConsumer natural;
        natural.Connect(&player);
        player.Run();
        for (int t = 0; t < c.ticks; ++t)
            player.Tick();

        EXPECT_EQ(Lengths(natural), c.lengths);
        const std::vector<TQVMeasureSourceState> states =
            c.loop ? std::vector{mssRun} : std::vector{mssRun, mssStop};
        EXPECT_EQ(natural.States, states);
        EXPECT_EQ(player.IsRunning(), c.loop);
        for (int k = 0; k < 2; ++k) {
            const std::vector<float> got = natural.Joined(k);
            for (std::size_t i = 0; i < got.size(); ++i)
                ASSERT_EQ(got[i], rec.Expected[std::size_t(k)][i % std::size_t(c.frames)]) << "sample " << i;
        }
        if (!c.loop) { // at the end nothing more comes until the player is rewound
            player.Tick();
            EXPECT_EQ(natural.Blocks.size(), c.lengths.size());
            player.Run();
            player.Tick();
            EXPECT_EQ(natural.Blocks.back().Channels[0], std::vector<float>(rec.Expected[0].begin(),
                                                                            rec.Expected[0].begin() + std::min(c.block, c.frames)));
        }
    }
}

// Separators, header rows, comments, blank lines, CRLF, a byte-order mark, quotes, and a
// time column that sets the rate and start time.
TEST(FilePlayer, CsvFilesPlayTheirNumbers)
{
    struct Case
    {
        QByteArray text;
        QStringList names;
        double rate;
        long double start;
        std::vector<std::vector<double>> columns;
    };
    const Case cases[] = {
        {"a,b\n1,2\n-3.5,4e-3\n", {"a", "b"}, 1000.0, 0.0L, {{1, -3.5}, {2, 4e-3}}},
        {"\xEF\xBB\xBF# comment\r\n\r\n1.25;+2\r\n \r\n3;-0.5e+2\r\n", {}, 1000.0, 0.0L, {{1.25, 3}, {2, -50}}},
        {"\"left\"\t\"right\"\tz\n.5\t7\t1\n8.\t-9\t1\n", {"left", "right", "z"}, 1000.0, 0.0L,
         {{0.5, 8}, {7, -9}, {1, 1}}},
        {"Time [s], u\n0.5, 1\n0.8333, 2\n1.1667, 3\n1.5, 4\n", {"u"}, 3.0, 0.5L, {{1, 2, 3, 4}}},
        {"42\n", {}, 1000.0, 0.0L, {{42}}},
    };
    Files files;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text.toStdString());
        Player player;
        player.SetFileName(files.Write("t.csv", c.text));
        TQVTestConsumer consumer;
        consumer.Connect(&player);
        EXPECT_EQ(player.FileKind(), Player::fkCsv);
        EXPECT_EQ(player.ChannelNames(), c.names);
        EXPECT_NEAR(player.SampleRate(), c.rate, 1e-9 * c.rate);
        ASSERT_EQ(player.ChannelCount(), int(c.columns.size()));
        player.Tick();
        ASSERT_EQ(consumer.Blocks.size(), 1u);
        EXPECT_EQ(consumer.Blocks[0].HeaderValueA, c.start);
        float low = INFINITY, high = -INFINITY;
        for (std::size_t k = 0; k < c.columns.size(); ++k) {
            std::vector<float> want;
            for (double x : c.columns[k])
                want.push_back(float(x));
            EXPECT_EQ(consumer.Blocks[0].Channels[k], want) << "channel " << k;
            auto [lo, hi] = std::minmax_element(want.begin(), want.end());
            const bool flat = *lo == *hi; // a constant channel gets +-1 around its value
            EXPECT_EQ(player.ChannelRange(int(k)), std::make_pair(*lo - (flat ? 1.0f : 0.0f), *hi + (flat ? 1.0f : 0.0f)));
            low = std::min(low, player.ChannelRange(int(k)).first);
            high = std::max(high, player.ChannelRange(int(k)).second);
        }
        EXPECT_EQ(consumer.LastSettings.RangeMin, low);
        EXPECT_EQ(consumer.LastSettings.RangeMax, high);
    }

    // Without a time column the rate is the property's, and a change ripples down.
    Player player;
    player.SetFileName(files.Write("t.csv", "1\n2\n"));
    TQVTestConsumer consumer;
    consumer.Connect(&player);
    const int calls = consumer.SettingsCalls;
    player.SetCsvSampleRate(250.0);
    EXPECT_EQ(consumer.SettingsCalls, calls + 1);
    EXPECT_EQ(static_cast<long double>(consumer.LastSettings.XSpan), 1024.0L / 250.0L);
}

// Every malformed file raises its message and leaves the player as it was: same file,
// settings and position, and the stream goes on where it stood.
TEST(FilePlayer, MalformedFilesRaiseClearErrorsAndChangeNothing)
{
    Files files;
    const Wave w{1, 16, 2, 8000};
    const Recorded rec = MakeSamples(w, 10);
    const QByteArray good = WaveFile(w, rec.Bytes); // data chunk header at 36, samples at 44
    ASSERT_EQ(good.size(), 84);
    const QString goodPath = files.Write("good.wav", good);
    const QString bad = files.Dir.filePath("bad.wav"), badCsv = files.Dir.filePath("bad.csv");
    auto q = [](const QString &path) { return "\"" + path + "\""; };

    struct Case { QString path; QByteArray bytes; QString message; };
    std::vector<Case> cases;
    const QString missing = files.Dir.filePath("missing.wav");
    QFile probe(missing);
    probe.open(QIODevice::ReadOnly);
    cases.push_back({missing, {}, "Cannot open " + q(missing) + ": " + probe.errorString()});
    for (int cut : {0, 4, 11})
        cases.push_back({bad, good.left(cut), q(bad) + " is not a RIFF WAVE file"});
    cases.push_back({bad, good.left(12), q(bad) + " has no fmt chunk"});
    for (int cut : {13, 19})
        cases.push_back({bad, good.left(cut), q(bad) + " is truncated: an incomplete chunk header at offset 12"});
    for (int cut : {20, 35})
        cases.push_back({bad, good.left(cut), q(bad) + " is truncated: the 'fmt ' chunk at offset 12 ends after the end of the file"});
    cases.push_back({bad, good.left(36), q(bad) + " has no data chunk"});
    cases.push_back({bad, good.left(40), q(bad) + " is truncated: an incomplete chunk header at offset 36"});
    for (int cut : {44, 61, 83})
        cases.push_back({bad, good.left(cut), q(bad) + QString(" is truncated: the data chunk declares 40 bytes but holds %1").arg(cut - 44)});
    QByteArray magic = good;
    cases.push_back({bad, magic.replace(8, 4, "WAVF"), q(bad) + " is not a RIFF WAVE file"});
    cases.push_back({bad, WaveFile({2, 4, 1, 8000}, "ab"), q(bad) + ": unsupported sample format (format tag 0x0002, 4 bits per sample)"});
    cases.push_back({bad, WaveFile({3, 16, 1, 8000}, "ab"), q(bad) + ": unsupported sample format (format tag 0x0003, 16 bits per sample)"});
    cases.push_back({bad, WaveFile({1, 12, 1, 8000}, "ab"), q(bad) + ": unsupported sample format (format tag 0x0001, 12 bits per sample)"});
    cases.push_back({bad, WaveFile({1, 16, 1, 8000, true}, "ab").replace(50, 1, "\x11"), // sub-format GUID altered
                     q(bad) + ": unsupported sample format (format tag 0xFFFE, 16 bits per sample)"});
    cases.push_back({bad, WaveFile({1, 16, 0, 8000}, "ab"), q(bad) + ": 0 channels; 1 to 65 are supported"});
    cases.push_back({bad, WaveFile({1, 8, 66, 8000}, QByteArray(66, 'x')), q(bad) + ": 66 channels; 1 to 65 are supported"});
    cases.push_back({bad, WaveFile({1, 16, 1, 0}, "ab"), q(bad) + ": invalid sample rate 0"});
    cases.push_back({bad, QByteArray(good).replace(32, 1, "\x03"), q(bad) + ": block alignment 3 does not match 2 channels of 16 bits"});
    cases.push_back({bad, QByteArray(good).replace(16, 1, "\x0E"), q(bad) + ": the fmt chunk is too short (14 bytes)"});
    cases.push_back({bad, WaveFile(w, rec.Bytes.left(39)), q(bad) + ": the data chunk of 39 bytes does not hold whole frames of 4 bytes"});
    cases.push_back({bad, WaveFile(w, {}), q(bad) + " holds no samples"});
    cases.push_back({badCsv, "a;b\n1;2\n3;x4\n", q(badCsv) + " line 3: 'x4' is not a valid number"});
    cases.push_back({badCsv, "1,2\n\n# c\n3,\n", q(badCsv) + " line 4: '' is not a valid number"});
    cases.push_back({badCsv, "1,2\n3,nan\n", q(badCsv) + " line 2: 'nan' is not a valid number"});
    cases.push_back({badCsv, "1,2\n3,4,5\n", q(badCsv) + " line 2: 3 columns where 2 are expected"});
    cases.push_back({badCsv, "a,b\n", q(badCsv) + " holds no samples"});
    cases.push_back({badCsv, "time,u\n0,1\n1,2\n2,3\n5,4\n6,5\n7,6\n", q(badCsv) + " line 4: the time column is not equidistant"});
    cases.push_back({badCsv, "time,u\n0,1\n1,2\n2,3\n2,4\n4,5\n", q(badCsv) + " line 5: the time column is not equidistant"});
    cases.push_back({badCsv, "time,u\n0,1\n", q(badCsv) + ": a time column needs at least two rows"});
    cases.push_back({badCsv, "time,u\n0,1\n5e-324,2\n", q(badCsv) + ": the time step is too small to give a sample rate"});
    cases.push_back({badCsv, "time\n0\n1\n", q(badCsv) + ": 0 channels; 1 to 65 are supported"});

    Player player;
    player.SetBlockLength(3);
    player.SetFileName(goodPath);
    TQVTestConsumer consumer;
    consumer.Connect(&player);
    player.Tick();
    const int calls = consumer.SettingsCalls;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.message.toStdString());
        if (c.path != missing)
            files.Write(QFileInfo(c.path).fileName(), c.bytes);
        try {
            player.SetFileName(c.path);
            ADD_FAILURE() << "no error raised";
        } catch (const EQVFileLoadError &e) {
            EXPECT_EQ(e.Message().toStdString(), c.message.toStdString());
        }
        EXPECT_EQ(player.FileName(), goodPath);
        EXPECT_EQ(player.Position(), 3);
        EXPECT_EQ(player.ChannelCount(), 2);
        EXPECT_EQ(player.FrameCount(), 10);
    }
    EXPECT_EQ(consumer.SettingsCalls, calls);
    player.Tick();
    ASSERT_EQ(consumer.Blocks.size(), 2u);
    for (int k = 0; k < 2; ++k)
        EXPECT_EQ(consumer.Joined(k), std::vector<float>(rec.Expected[std::size_t(k)].begin(),
                                                          rec.Expected[std::size_t(k)].begin() + 6));

    // A file that loads replaces the stream from its first frame, with its own channels (from
    // inside a delivery as well: the block source defers the new buffers, tst_signalgenerator).
    const Wave trio{1, 24, 3, 8000};
    const Recorded other = MakeSamples(trio, 5);
    player.SetFileName(files.Write("trio.wav", WaveFile(trio, other.Bytes)));
    player.Tick();
    for (const std::vector<float> &channel : other.Expected) {
        const std::size_t k = std::size_t(&channel - other.Expected.data());
        EXPECT_EQ(consumer.Blocks.back().Channels[k], std::vector<float>(channel.begin(), channel.begin() + 3)) << k;
    }
}
