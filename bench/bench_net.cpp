// Network streams over loopback TCP: 1024-sample blocks of 1, 8 and 64 channels from a
// TQVNetSink to a TQVNetSource and its consumer, against a raw ZeroMQ PUB/SUB pair that
// sends messages of the same size in the same run. Latency: one block out and back in at a
// time. Throughput: bursts of 32 blocks, then all of them received. Both ends spin on the
// same thread (ZeroMQ's I/O threads carry the bytes), so the ratio is what the format, the
// encoding and the delivery add. Heap allocations per block are informational (ZeroMQ
// allocates every message larger than 33 bytes).

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>

#include <zmq.hpp>

#include "host/net/qvNetSink.h"
#include "host/net/qvNetSource.h"
#include "qvBenchSupport.h"

namespace {

constexpr int BlockSamples = 1024;
constexpr int Burst = 32;
// Far above a burst: ZeroMQ returns a pipe's credit to the sender only now and then.
constexpr int HighWaterMark = 10000;
constexpr double TargetRatio = 1.2;
constexpr int Rounds = 10;

// The raw yardstick: a PUB/SUB pair over loopback that moves `bytes` per message.
class TQVRawPair
{
public:
    explicit TQVRawPair(std::size_t bytes)
        : m_payload(bytes, std::byte(1))
    {
        for (zmq::socket_t *socket : {&m_pub, &m_sub}) {
            socket->set(zmq::sockopt::linger, 0);
            socket->set(zmq::sockopt::sndhwm, HighWaterMark);
            socket->set(zmq::sockopt::rcvhwm, HighWaterMark);
        }
        m_pub.bind("tcp://127.0.0.1:*");
        m_sub.set(zmq::sockopt::subscribe, "");
        m_sub.connect(m_pub.get(zmq::sockopt::last_endpoint));
        // Subscriptions travel asynchronously: one message at a time until one arrives, then
        // nothing may be left on the way.
        zmq::message_t in;
        do {
            Send();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        } while (!m_sub.recv(in, zmq::recv_flags::dontwait));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        while (m_sub.recv(in, zmq::recv_flags::dontwait)) {
        }
    }
    void Send()
    {
        zmq::message_t out(m_payload.size());
        std::memcpy(out.data(), m_payload.data(), m_payload.size());
        m_pub.send(out, zmq::send_flags::dontwait);
    }
    /// False when a message did not come within a second.
    bool Receive(int count)
    {
        zmq::message_t in;
        const QDeadlineTimer deadline(1000);
        for (int got = 0; got < count;) {
            if (m_sub.recv(in, zmq::recv_flags::dontwait)) {
                benchmark::DoNotOptimize(*static_cast<const char *>(in.data()));
                ++got;
            } else if (deadline.hasExpired()) {
                return false;
            }
        }
        return true;
    }

private:
    zmq::context_t m_context{1};
    zmq::socket_t m_pub{m_context, zmq::socket_type::pub};
    zmq::socket_t m_sub{m_context, zmq::socket_type::sub};
    std::vector<std::byte> m_payload;
};

// A chain: bench source -> net sink ... net source -> consumer.
struct TQVNetChain
{
    explicit TQVNetChain(int channels)
        : Source(channels, BlockSamples)
        , Block(channels, BlockSamples)
    {
        Sink.SetHighWaterMark(HighWaterMark);
        Sink.SetQVMeasureSource(&Source);
        Sink.SetEndpoint(QStringLiteral("tcp://127.0.0.1:*"));
        Receiver.SetHighWaterMark(HighWaterMark);
        Consumer.Connect(&Receiver);
        Receiver.SetEndpoint(Sink.BoundEndpoint());
        const QDeadlineTimer deadline(10000);
        while (!Receiver.HasSettings() && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        Sink.SetAnnounceInterval(0); // no announcements inside the timed loops
    }
    bool Receive(int count)
    {
        const std::int64_t target = Consumer.Blocks() + count;
        const QDeadlineTimer deadline(1000);
        while (Consumer.Blocks() < target) {
            if (Receiver.Receive() == 0 && deadline.hasExpired())
                return false;
        }
        return true;
    }

    TQVBenchSource Source;
    TQVBenchBlock Block;
    TQVNetSink Sink;
    TQVNetSource Receiver;
    TQVBenchConsumer Consumer;
};

void Run(benchmark::State &state, int channels, bool burst)
{
    TQVNetChain chain(channels);
    if (!chain.Receiver.HasSettings()) {
        state.SkipWithError("the subscriber did not receive the settings");
        return;
    }
    TQVRawPair raw(QVNet::BlockSize(chain.Block.Block));
    const int count = burst ? Burst : 1;
    bool complete = true;
    const auto ours = [&] {
        for (int i = 0; i < count; ++i)
            chain.Source.Send(chain.Block.Block);
        complete = chain.Receive(count) && complete;
    };
    const auto theirs = [&] {
        for (int i = 0; i < count; ++i)
            raw.Send();
        complete = raw.Receive(count) && complete;
    };
    const double allocsPerBlock = QVAllocsPerCall(ours, 8, 64) / count;
    // Alternating short batches, the best of each: both meet the same load of the machine.
    double oursNs = 1e300;
    double rawNs = 1e300;
    for (auto _ : state) {
        for (int round = 0; round < Rounds; ++round) {
            oursNs = std::min(oursNs, QVYardstickNs(ours, std::chrono::milliseconds(20), 1) / count);
            rawNs = std::min(rawNs, QVYardstickNs(theirs, std::chrono::milliseconds(20), 1) / count);
        }
    }
    if (!complete || chain.Receiver.Gaps() != 0) {
        state.SkipWithError("blocks were lost on the way");
        return;
    }
    state.counters["blocks_per_s"] = 1e9 / oursNs;
    state.counters["raw_blocks_per_s"] = 1e9 / rawNs;
    state.counters["ratio"] = oursNs / rawNs;
    state.counters["allocs_per_block"] = allocsPerBlock;
    const std::string name = std::string(burst ? "throughput" : "latency") + ", " + std::to_string(channels)
                             + (channels == 1 ? " channel" : " channels");
    QVRecordResult({name, oursNs, "raw ZeroMQ PUB/SUB, same bytes", rawNs, TargetRatio, allocsPerBlock, -1.0});
}

void BM_NetLatency(benchmark::State &state)
{
    Run(state, int(state.range(0)), false);
}
BENCHMARK(BM_NetLatency)->Arg(1)->Arg(8)->Arg(64)->Iterations(1);

void BM_NetThroughput(benchmark::State &state)
{
    Run(state, int(state.range(0)), true);
}
BENCHMARK(BM_NetThroughput)->Arg(1)->Arg(8)->Arg(64)->Iterations(1);

} // namespace

int main(int argc, char **argv)
{
    return QVBenchMain(argc, argv);
}
