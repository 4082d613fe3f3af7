#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/qvThreadBridge.h"
#include "support/qvTestConsumer.h"

// The bridge between a producer thread and the consumers on the test's thread. Sample i of
// channel c of block `seq` is seq * 8192 + c * 128 + i, exact in a float, so every block
// names itself. Deadlines only end a hung wait; nothing asserts on speed.

namespace {

float Value(qint64 seq, int c, int i)
{
    return float(seq * 8192 + c * 128 + i);
}

// Block `seq` as per-channel arrays and as interleaved frames.
struct Source
{
    Source(int channels, int length)
        : Planar(std::size_t(channels), std::vector<float>(std::size_t(length)))
        , Interleaved(std::size_t(channels * length))
    {
        for (auto &channel : Planar)
            Pointers.push_back(channel.data());
    }
    const float *const *Fill(qint64 seq)
    {
        const int channels = int(Planar.size()), length = int(Planar[0].size());
        for (int c = 0; c < channels; ++c)
            for (int i = 0; i < length; ++i)
                Interleaved[std::size_t(i * channels + c)] = Planar[std::size_t(c)][std::size_t(i)] = Value(seq, c, i);
        return Pointers.data();
    }
    std::vector<std::vector<float>> Planar;
    std::vector<float> Interleaved;
    std::vector<float *> Pointers;
};

// The sequence number a delivered block carries in its samples, or -1 when any sample is off.
qint64 SequenceOf(const TQVTestConsumer::Block &block, int channels, int length)
{
    const qint64 seq = qint64(block.Channels[0].at(0)) / 8192;
    for (int c = 0; c < QVChannelSlots; ++c) {
        const auto &samples = block.Channels[std::size_t(c)];
        if (samples.size() != std::size_t(c < channels ? length : 0))
            return -1;
        for (int i = 0; i < int(samples.size()); ++i)
            if (samples[std::size_t(i)] != Value(seq, c, i))
                return -1;
    }
    return seq;
}

// Drains by hand, or leaves the draining to the bridge's timer.
bool PumpUntil(const std::function<bool()> &done, bool drain, TQVThreadBridge &bridge)
{
    return QVPumpUntil(
        [&] {
            if (drain)
                bridge.Drain();
            return done();
        },
        20000);
}

struct Rig
{
    Rig(int channels, int length, int capacity, double rate = 1000.0)
    {
        Bridge.SetChannelCount(channels);
        Bridge.SetBlockLength(length);
        Bridge.SetCapacity(capacity);
        Bridge.SetSampleRate(rate);
        Consumer.Connect(&Bridge);
        QObject::connect(&Bridge, &TQVThreadBridge::Overrun, [this](qint64 total) {
            Events.push_back("overrun " + std::to_string(total));
        });
        Consumer.Link().OnNewData = [this, record = Consumer.Link().OnNewData](auto *link, auto &data) {
            record(link, data);
            Events.push_back("block " + std::to_string(SequenceOf(Consumer.Blocks.back(), Bridge.ChannelCount(),
                                                                  Bridge.BlockLength())));
            if (OnBlock)
                OnBlock();
        };
    }
    TQVThreadBridge Bridge;
    TQVTestConsumer Consumer;
    std::vector<std::string> Events;
    std::function<void()> OnBlock;
};

} // namespace

// A full queue drops the new block: drops are counted exactly and reported just before the
// first block after the gap, or at the end of a drain that empties the queue.
TEST(ThreadBridge, OverrunsAreCountedExactlyAndReportedWhereTheyHappened)
{
    Rig rig(2, 8, 3);
    rig.Bridge.SetDrainInterval(0);
    rig.Bridge.Open();
    Source source(2, 8);
    std::vector<TQVPushResult> results;
    auto push = [&](int from, int to) {
        for (int seq = from; seq < to; ++seq)
            results.push_back(rig.Bridge.Push(source.Fill(seq), 2, 8));
    };
    push(0, 10);
    EXPECT_EQ(rig.Bridge.Overruns(), 7);
    EXPECT_EQ(std::count(results.begin(), results.end(), TQVPushResult::Accepted), 3);
    EXPECT_EQ(rig.Bridge.Drain(), 3);
    push(10, 14); // 13 is dropped
    // A consumer that pushes from inside its callback: 14 finds the queue full, 15 fits
    // once block 10 has left. At most Capacity blocks per drain.
    std::vector<int> extra{14, 15};
    rig.OnBlock = [&] {
        if (!extra.empty()) {
            push(extra.front(), extra.front() + 1);
            extra.erase(extra.begin());
        }
    };
    EXPECT_EQ(rig.Bridge.Drain(), 3);
    EXPECT_EQ(rig.Bridge.Drain(), 1);
    const std::vector<std::string> expected{"block 0",  "block 1",  "block 2",  "overrun 7", "block 10",
                                            "block 11", "block 12", "overrun 9", "block 15"};
    EXPECT_EQ(rig.Events, expected);
    EXPECT_EQ(rig.Consumer.Blocks.back().HeaderValueA, 15 * 8 / 1000.0L);

    // Threaded, with a queue of two and a consumer that holds every block until the
    // producer has pushed four more (or is done): drops are certain, their number is not.
    // The producer's blocks, planar and interleaved by turns, arrive intact and in order.
    Rig slow(2, 32, 2);
    slow.Bridge.SetDrainInterval(0);
    constexpr int pushes = 3000;
    std::atomic<int> accepted{0}, dropped{0}, pushed{0};
    std::atomic<bool> finished{false};
    slow.OnBlock = [&] {
        const qint64 seq = SequenceOf(slow.Consumer.Blocks.back(), 2, 32);
        while (!finished && pushed < seq + 5)
            std::this_thread::yield();
    };
    slow.Bridge.Open();
    std::thread producer([&] {
        Source s(2, 32);
        for (int seq = 0; seq < pushes; ++seq) {
            const float *const *planar = s.Fill(seq);
            const TQVPushResult r = seq % 2 ? slow.Bridge.Queue()->PushInterleaved(s.Interleaved.data(), 2, 32)
                                            : slow.Bridge.Queue()->Push(planar, 2, 32);
            accepted += r == TQVPushResult::Accepted;
            dropped += r == TQVPushResult::Overrun;
            ++pushed;
        }
        finished = true;
    });
    PumpUntil([&] { return finished.load(); }, true, slow.Bridge);
    producer.join();
    slow.Bridge.Close(); // delivers the rest
    const qint64 overruns = slow.Bridge.Overruns();
    EXPECT_GT(overruns, 0);
    EXPECT_EQ(qint64(slow.Consumer.Blocks.size()) + overruns, pushes);
    EXPECT_EQ(accepted.load(), int(slow.Consumer.Blocks.size()));
    EXPECT_EQ(dropped.load(), overruns);
    // Before the d-th block with number s, exactly s - d drops have been reported.
    qint64 reported = 0, delivered = 0;
    for (const std::string &event : slow.Events) {
        const qint64 n = std::stoll(event.substr(event.find(' ') + 1));
        if (event.starts_with("overrun")) {
            EXPECT_GT(n, reported);
            reported = n;
        } else {
            ASSERT_GE(n, 0) << "a block with wrong samples";
            ASSERT_EQ(n - delivered, reported) << "block " << n;
            ++delivered;
        }
    }
    EXPECT_EQ(reported, overruns);
}

// Settings and capabilities follow the shape, which is fixed while open; pushes of the
// wrong shape are refused and counted, never delivered, and take no place in the stream;
// Close delivers what is queued before the stop, also when called from a consumer; pushes to
// a closed bridge are ignored; reopening starts the counts afresh.
TEST(ThreadBridge, SettingsShapesStatesAndClose)
{
    struct Case { int channels, length; double rate; TQVMeasureSourceCapabilities caps; };
    const Case cases[] = {
        {1, 256, 1000.0, {mscSingleChannel}},
        {2, 64, 44100.0, {mscDualChannel}},
        {1, 1, 10.0, {mscSingleChannel, mscSingleValue}},
        {QVChannelSlots, 8, 3.5, {}},
    };
    for (const Case &c : cases) {
        Rig rig(c.channels, c.length, 4, c.rate);
        const TQVMeasureSourceSettings &s = rig.Consumer.LastSettings;
        EXPECT_EQ(s.ChannelCount, c.channels);
        EXPECT_EQ(s.BlockLength, c.length);
        EXPECT_EQ(static_cast<long double>(s.XSpan), c.length / static_cast<long double>(c.rate));
        EXPECT_EQ(rig.Bridge.Capabilities(), c.caps + mscContinuous + mscEquidistant);
    }

    Rig rig(2, 4, 4);
    TQVThreadBridge &b = rig.Bridge;
    b.SetDrainInterval(0);
    b.SetRangeMin(-5.0f);
    b.SetRangeMax(5.0f);
    EXPECT_EQ(rig.Consumer.LastSettings.RangeMax, 5.0f);
    qint64 signalled = 0;
    QObject::connect(&b, &TQVThreadBridge::ShapeMismatch, [&](qint64 total) { signalled = total; });
    Source two(2, 4), three(3, 4);
    const float *withNull[2] = {two.Planar[0].data(), nullptr};
    std::vector<float> frames(8, 1.0f);
    EXPECT_EQ(b.Push(two.Fill(0), 2, 4), TQVPushResult::Closed);
    b.Open();
    b.SetChannelCount(3);
    b.SetBlockLength(9);
    b.SetCapacity(1);
    EXPECT_EQ(b.ChannelCount(), 2);
    EXPECT_EQ(b.BlockLength(), 4);
    EXPECT_EQ(b.Capacity(), 4);

    const std::pair<const char *, std::function<TQVPushResult()>> wrong[] = {
        {"three channels", [&] { return b.Push(three.Fill(0), 3, 4); }},
        {"one channel", [&] { return b.Push(two.Fill(0), 1, 4); }},
        {"longer", [&] { return b.Push(two.Fill(0), 2, 5); }},
        {"shorter", [&] { return b.Push(two.Fill(0), 2, 3); }},
        {"empty", [&] { return b.Push(two.Fill(0), 2, 0); }},
        {"negative", [&] { return b.Push(two.Fill(0), -2, -4); }},
        {"too many channels", [&] { return b.Push(two.Fill(0), QVChannelSlots + 1, 4); }},
        {"no arrays", [&] { return b.Push(nullptr, 2, 4); }},
        {"a null channel", [&] { return b.Push(withNull, 2, 4); }},
        {"no frames", [&] { return b.PushInterleaved(nullptr, 2, 4); }},
        {"interleaved, three channels", [&] { return b.PushInterleaved(frames.data(), 3, 2); }},
    };
    qint64 count = 0;
    for (const auto &[what, push] : wrong) {
        EXPECT_EQ(push(), TQVPushResult::ShapeMismatch) << what;
        EXPECT_EQ(b.ShapeErrors(), ++count) << what;
    }
    for (int seq = 0; seq < 6; ++seq)
        b.Push(two.Fill(seq), 2, 4);
    rig.OnBlock = [&] { b.Close(); }; // from inside the first delivery
    EXPECT_EQ(b.Drain(), 4);
    EXPECT_EQ(signalled, count);
    EXPECT_EQ(rig.Consumer.States, (std::vector{mssRun, mssStop}));
    EXPECT_EQ(rig.Events, (std::vector<std::string>{"block 0", "block 1", "block 2", "block 3", "overrun 2"}));
    EXPECT_EQ(rig.Consumer.Blocks[0].HeaderValueA, 0.0L);
    EXPECT_FALSE(b.IsOpen());
    EXPECT_EQ(b.Push(two.Fill(9), 2, 4), TQVPushResult::Closed);
    EXPECT_EQ(b.ShapeErrors(), count);

    rig.OnBlock = nullptr;
    b.Open();
    EXPECT_EQ(b.Overruns(), 0);
    EXPECT_EQ(b.Push(two.Fill(0), 2, 4), TQVPushResult::Accepted);
    b.Close();
    EXPECT_EQ(rig.Consumer.Blocks.size(), 5u);
    EXPECT_EQ(rig.Consumer.States, (std::vector{mssRun, mssStop, mssRun, mssStop}));
}

// A producer keeps the queue: closing or destroying the bridge while it pushes makes its
// pushes return Closed, and the producer ends on its own. (A threaded producer with the
// bridge draining by hand is the overrun test's.)
TEST(ThreadBridge, ClosingOrDestroyingWhileAProducerPushesIsSafe)
{
    for (bool destroy : {false, true}) {
        SCOPED_TRACE(destroy ? "destroyed" : "closed");
        auto bridge = std::make_unique<TQVThreadBridge>();
        bridge->SetBlockLength(64);
        bridge->SetCapacity(4);
        bridge->SetDrainInterval(1); // drained by the bridge's timer
        TQVTestConsumer consumer;
        consumer.Connect(bridge.get());
        bridge->Open();
        std::atomic<qint64> pushes{0};
        std::thread producer([&, queue = bridge->Queue()] {
            Source source(1, 64);
            for (qint64 seq = 0;; ++seq) {
                if (queue->Push(source.Fill(seq), 1, 64) == TQVPushResult::Closed)
                    return;
                ++pushes;
            }
        });
        EXPECT_TRUE(PumpUntil([&] { return consumer.Blocks.size() >= 20; }, false, *bridge)); // the producer must end
        if (destroy)
            bridge.reset();
        else
            bridge->Close();
        producer.join();
        EXPECT_GE(pushes.load(), 20);
        for (std::size_t b = 0; b < consumer.Blocks.size(); ++b)
            ASSERT_GE(SequenceOf(consumer.Blocks[b], 1, 64), 0) << "block " << b;
        EXPECT_EQ(consumer.Link().Source(), destroy ? nullptr : bridge.get());
    }
}
