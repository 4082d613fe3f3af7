#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QThread>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <zmq.hpp>

#include "host/net/qvNetSink.h"
#include "host/net/qvNetSource.h"
#include "support/qvTestConsumer.h"

// The message format against hand-made damage, then a chain on a velmora-node process:
// order, settings, states, a restart and a slow subscriber. Deadlines only end hung waits.

namespace {

using Bytes = std::vector<std::byte>;

template <typename T>
void Poke(Bytes &bytes, std::size_t offset, T value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

Bytes EncodedBlock(const TQVDescArraySingle &block)
{
    Bytes bytes(QVNet::BlockSize(block));
    QVNet::EncodeBlock(bytes.data(), {QVNet::Kind::Block, 7, 42}, block);
    return bytes;
}

Bytes EncodedSettings()
{
    TQVMeasureSourceSettings settings{};
    settings.XSpan = 0.25L;
    settings.ChannelCount = 2;
    settings.BlockLength = 5;
    settings.HostArea[255] = 9;
    Bytes bytes(QVNet::SettingsSize);
    QVNet::EncodeSettings(bytes.data(), {}, settings, {mscContinuous, mscDualChannel}, mssPause);
    return bytes;
}

Bytes EncodedState()
{
    Bytes bytes(QVNet::StateSize);
    QVNet::EncodeState(bytes.data(), {}, mssRun);
    return bytes;
}

TEST(NetMessage, MalformedMessagesAreRejectedWithTheirReason)
{
    TQVTestBlock source(2, 5);
    source.Block.Channels[1].Count = 3;
    source.Block.HeaderValueA = 1.5L;
    struct Case
    {
        const char *Name;
        std::function<Bytes()> Make;
        QVNet::Error Expected;
    };
    using Damage = std::function<void(Bytes &)>;
    const auto damaged = [](std::function<Bytes()> make, Damage damage) {
        return [make, damage] {
            Bytes bytes = make();
            damage(bytes);
            return bytes;
        };
    };
    const auto block = [&](Damage damage) { return damaged([&] { return EncodedBlock(source.Block); }, damage); };
    const auto settings = [&](Damage damage) { return damaged(EncodedSettings, damage); };
    const Case cases[] = {
        {"block", block([](Bytes &) {}), QVNet::Error::None},
        {"settings", settings([](Bytes &) {}), QVNet::Error::None},
        {"state", EncodedState, QVNet::Error::None},
        {"empty", [] { return Bytes(); }, QVNet::Error::Truncated},
        {"header cut", block([](Bytes &b) { b.resize(QVNet::HeaderSize - 1); }), QVNet::Error::Truncated},
        {"magic", block([](Bytes &b) { b[0] = std::byte('X'); }), QVNet::Error::Magic},
        {"version", block([](Bytes &b) { b[4] = std::byte(2); }), QVNet::Error::Version},
        {"kind", block([](Bytes &b) { b[5] = std::byte(9); }), QVNet::Error::Kind},
        {"block fixed part cut", block([](Bytes &b) { b.resize(QVNet::BlockFixedSize - 1); }), QVNet::Error::Truncated},
        {"last sample cut", block([](Bytes &b) { b.pop_back(); }), QVNet::Error::Truncated},
        {"trailing byte", block([](Bytes &b) { b.push_back(std::byte(0)); }), QVNet::Error::Size},
        {"66 slots", block([](Bytes &b) { Poke<quint32>(b, 44, 66); }), QVNet::Error::SlotCount},
        {"2^32-1 slots", block([](Bytes &b) { Poke<quint32>(b, 44, 0xFFFFFFFFu); }), QVNet::Error::SlotCount},
        {"65 slots, counts missing", block([](Bytes &b) { Poke<quint32>(b, 44, 65); }), QVNet::Error::Truncated},
        {"count 2^32-1", block([](Bytes &b) { Poke<quint32>(b, 48, 0xFFFFFFFFu); }), QVNet::Error::SampleCount},
        {"count 2^24+1", block([](Bytes &b) { Poke<quint32>(b, 48, (1u << 24) + 1); }), QVNet::Error::SampleCount},
        {"count 2^24", block([](Bytes &b) { Poke<quint32>(b, 48, 1u << 24); }), QVNet::Error::Truncated},
        {"settings cut", settings([](Bytes &b) { b.pop_back(); }), QVNet::Error::Truncated},
        {"settings long", settings([](Bytes &b) { b.push_back(std::byte(0)); }), QVNet::Error::Size},
        {"66 channels", settings([](Bytes &b) { Poke<qint32>(b, 40, 66); }), QVNet::Error::Value},
        {"negative length", settings([](Bytes &b) { Poke<qint32>(b, 52, -1); }), QVNet::Error::Value},
        {"NaN span", settings([](Bytes &b) { Poke<double>(b, 32, std::nan("")); }), QVNet::Error::Value},
        {"capability bit 7", settings([](Bytes &b) { b[60] = std::byte(0x81); }), QVNet::Error::Value},
        {"settings state 5", settings([](Bytes &b) { b[61] = std::byte(5); }), QVNet::Error::Value},
        {"state 5", damaged(EncodedState, [](Bytes &b) { b.back() = std::byte(5); }), QVNet::Error::Value},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.Name);
        const Bytes bytes = c.Make();
        QVNet::Message message;
        EXPECT_EQ(QVNet::Decode(bytes.data(), bytes.size(), message), c.Expected);
        EXPECT_EQ(QVNet::ErrorText(c.Expected).isEmpty(), c.Expected == QVNet::Error::None);
    }

    // What decodes is what went in.
    QVNet::Message message;
    Bytes bytes = EncodedBlock(source.Block);
    ASSERT_EQ(QVNet::Decode(bytes.data(), bytes.size(), message), QVNet::Error::None);
    EXPECT_EQ(message.Head.Sequence, 42u);
    EXPECT_EQ((long double)message.Block.HeaderValueA, 1.5L);
    ASSERT_EQ(message.Slots, 2);
    for (int c = 0; c < 2; ++c) {
        ASSERT_EQ(message.Block.Channels[c].Count, c == 0 ? 5 : 3);
        std::vector<float> samples(std::size_t(message.Block.Channels[c].Count));
        std::memcpy(samples.data(), message.Samples[c], samples.size() * sizeof(float));
        EXPECT_EQ(samples, std::vector<float>(source.Samples[c].begin(), source.Samples[c].begin() + samples.size()));
    }
    bytes = EncodedSettings();
    ASSERT_EQ(QVNet::Decode(bytes.data(), bytes.size(), message), QVNet::Error::None);
    EXPECT_EQ((long double)message.Settings.XSpan, 0.25L);
    EXPECT_EQ(message.Settings.HostArea[255], 9);
    EXPECT_EQ(message.Capabilities.Bits(), TQVMeasureSourceCapabilities({mscContinuous, mscDualChannel}).Bits());
    EXPECT_EQ(message.State, mssPause);
}

TEST(NetSource, ForeignPublishersAndBadEndpointsAreReported)
{
    zmq::context_t context;
    zmq::socket_t publisher(context, zmq::socket_type::pub);
    publisher.set(zmq::sockopt::linger, 0);
    publisher.bind("tcp://127.0.0.1:*");
    TQVNetSource source;
    QSignalSpy errors(&source, &TQVMeasureSource::ErrorOccurred);
    source.SetEndpoint(QString::fromStdString(publisher.get(zmq::sockopt::last_endpoint)));
    EXPECT_TRUE(QTest::qWaitFor([&] {
        publisher.send(zmq::buffer(std::string("HTTP/1.1 200 OK")), zmq::send_flags::dontwait);
        return !errors.isEmpty();
    }, 5000));
    EXPECT_EQ(errors.first().first().toString(), QVNet::ErrorText(QVNet::Error::Magic));
    EXPECT_GE(source.Rejected(), 1);
    // A refused endpoint raises from the setter and is only reported through the meta-object.
    // Several foreign messages may have arrived in one turn: count from here.
    const qsizetype rejections = errors.size();
    EXPECT_THROW(source.SetEndpoint(QStringLiteral("nonsense")), EQVException);
    EXPECT_TRUE(source.setProperty("Endpoint", QStringLiteral("tcp://")));
    EXPECT_EQ(errors.size(), rejections + 1);
    // ZeroMQ would retry these for ever: the port is checked at once, the host looked up.
    EXPECT_THROW(source.SetEndpoint(QStringLiteral("tcp://127.0.0.1:65536")), EQVException);
    EXPECT_THROW(source.SetEndpoint(QStringLiteral("tcp://localhost:*")), EQVException);
    TQVNetSink sink; // a bind would take 65537 as port 1
    EXPECT_THROW(sink.SetEndpoint(QStringLiteral("tcp://127.0.0.1:65537")), EQVException);
    source.SetEndpoint(QStringLiteral("tcp://nosuchhost.invalid:5555"));
    ASSERT_TRUE(errors.wait(60000)); // a machine without a name server may take a while
    EXPECT_TRUE(errors.last().first().toString().contains(QLatin1String("\"tcp://nosuchhost.invalid:5555\"")));
}

// velmora-node publishing its generator (48 kHz, 1024 samples) on a free port.
class NetNode : public ::testing::Test
{
protected:
    void Start(const QString &bind, QStringList extra = {})
    {
        m_node.start(QStringLiteral(VELMORA_NODE_PATH), QStringList{QStringLiteral("--bind"), bind} + extra);
        ASSERT_TRUE(m_node.waitForReadyRead(10000)) << qPrintable(m_node.readAllStandardError());
        const QString banner = QString::fromLocal8Bit(m_node.readAllStandardOutput());
        const QRegularExpressionMatch match = QRegularExpression(QStringLiteral(" on (tcp://\\S+) ")).match(banner);
        ASSERT_TRUE(match.hasMatch()) << qPrintable(banner);
        m_endpoint = match.captured(1);
    }
    void TearDown() override
    {
        m_node.kill();
        m_node.waitForFinished();
    }
    bool WaitFor(const std::function<bool()> &done) { return QTest::qWaitFor(done, 10000); }
    static long double Span(int length) { return length / 48000.0L; }

    QProcess m_node;
    QString m_endpoint;
};

TEST_F(NetNode, BlocksSettingsStatesAndARestartReachTheChain)
{
    Start(QStringLiteral("tcp://127.0.0.1:*"));
    TQVNetSource source;
    TQVMLSBase stage; // remote data through an ordinary stage
    stage.SetQVMeasureSource(&source);
    TQVTestConsumer consumer(TQVTestConsumer::SingleChannel);
    consumer.Connect(&stage);
    QSignalSpy gaps(&source, &TQVNetSource::GapDetected);
    source.SetEndpoint(m_endpoint);

    ASSERT_TRUE(WaitFor([&] { return consumer.Blocks.size() >= 10; }));
    EXPECT_EQ(consumer.States.front(), mssRun);
    EXPECT_EQ(consumer.LastSettings.BlockLength, 1024);
    EXPECT_DOUBLE_EQ(double(consumer.LastSettings.XSpan), double(Span(1024)));
    for (std::size_t i = 1; i < consumer.Blocks.size(); ++i) {
        EXPECT_NEAR(double(consumer.Blocks[i].HeaderValueA - consumer.Blocks[i - 1].HeaderValueA), double(Span(1024)),
                    1e-9);
        EXPECT_EQ(consumer.Blocks[i].Channels[0].size(), 1024u);
    }

    // Settings and states from the node's standard input.
    m_node.write("block-length 512\nstop\n");
    ASSERT_TRUE(WaitFor([&] { return consumer.States.back() == mssStop; }));
    EXPECT_EQ(consumer.LastSettings.BlockLength, 512);
    QByteArray refusals; // a value the source refuses is reported, not dropped silently
    m_node.write("block-length 0\n");
    ASSERT_TRUE(WaitFor([&] { return refusals.append(m_node.readAllStandardError()).contains("refused: block-length 0"); }));
    m_node.write("run\n");
    ASSERT_TRUE(WaitFor([&] { return consumer.States.back() == mssRun && !consumer.Blocks.empty(); }));
    ASSERT_TRUE(WaitFor([&] { return consumer.Blocks.back().Channels[0].size() == 512u; }));
    EXPECT_TRUE(gaps.isEmpty());

    // A new node on the same port: the subscription resumes and the restart is a gap.
    // Blocks of the old node may still wait in the socket: count from the gap.
    std::size_t before = 0;
    const QMetaObject::Connection counting =
        QObject::connect(&source, &TQVNetSource::GapDetected, [&] { before = consumer.Blocks.size(); });
    TearDown();
    Start(m_endpoint);
    ASSERT_TRUE(WaitFor([&] { return !gaps.isEmpty() && consumer.Blocks.size() >= before + 5; }));
    QObject::disconnect(counting);
    ASSERT_EQ(gaps.size(), 1);
    EXPECT_EQ(gaps.first().first().toLongLong(), -1);
    EXPECT_EQ(source.Gaps(), 1);
    EXPECT_EQ(consumer.LastSettings.BlockLength, 1024);
    EXPECT_NEAR(double(consumer.Blocks.back().HeaderValueA - consumer.Blocks[before].HeaderValueA),
                double(Span(1024) * (consumer.Blocks.size() - 1 - before)), 1e-9);
}

// Option values that are no numbers or that the sources refuse end the node, naming them.
TEST(NetNodeOptions, RefusedValuesStopTheNode)
{
    for (const char *bad : {"--rate=-5", "--channels=99", "--block-length=x", "--hwm=0"}) {
        QProcess node;
        node.start(QStringLiteral(VELMORA_NODE_PATH), {QStringLiteral("--bind=tcp://127.0.0.1:*"), QString::fromLatin1(bad)});
        ASSERT_TRUE(node.waitForFinished(10000)) << bad;
        EXPECT_EQ(node.exitCode(), 1);
        EXPECT_TRUE(node.readAllStandardError().contains(QByteArray(bad).replace('=', ' '))) << bad;
    }
}

TEST_F(NetNode, ASlowSubscriberLosesBlocksAndCountsThemWhileTheNodeGoesOn)
{
    // 64 channels: 12 MB/s, more than the socket buffers of the system hold for the pause.
    Start(QStringLiteral("tcp://127.0.0.1:*"),
          {QStringLiteral("--hwm"), QStringLiteral("4"), QStringLiteral("--channels"), QStringLiteral("64")});
    TQVNetSource source;
    source.SetHighWaterMark(4);
    TQVTestConsumer consumer;
    consumer.Connect(&source);
    QSignalSpy gaps(&source, &TQVNetSource::GapDetected);
    source.SetEndpoint(m_endpoint);
    ASSERT_TRUE(WaitFor([&] { return consumer.Blocks.size() >= 3; }));
    ASSERT_TRUE(gaps.isEmpty());

    QThread::msleep(1500); // about 70 blocks come while nothing is read
    const std::size_t before = consumer.Blocks.size();
    ASSERT_TRUE(WaitFor([&] { return !gaps.isEmpty() && consumer.Blocks.size() >= before + 10; }));
    // The stream time jumps over what was lost: the node did not wait for the subscriber.
    long double jump = 0;
    for (std::size_t i = before; i < consumer.Blocks.size(); ++i)
        jump = std::max(jump, consumer.Blocks[i].HeaderValueA - consumer.Blocks[i - 1].HeaderValueA);
    const qint64 lostBlocks = std::llround(double(jump / Span(1024))) - 1;
    EXPECT_GE(lostBlocks, 40);
    // Lost messages: those blocks, and at most the two settings announcements meanwhile.
    EXPECT_GE(source.MessagesLost(), lostBlocks);
    EXPECT_LE(source.MessagesLost(), lostBlocks + 2);
    EXPECT_EQ(source.Gaps(), gaps.size());
    EXPECT_EQ(gaps.first().first().toLongLong(), source.MessagesLost());
}

} // namespace
