// Speed of the filter components on one channel of 1024-sample blocks, timed in the same run
// as their yardsticks: the FIR and the IIR low-pass against liquid-dsp (firfilt_rrrf with
// the same taps; iirfilt_rrrf designed as Butterworth second-order sections of the same
// order and cutoff), the RC and state-variable filters against a memcpy of the 4096-byte
// block. A subject is the component's `FilterArray` on one block in place, its state
// running on from block to block over a long signal; the peers read the block and write a
// buffer of their own.
//
// Subjects and peers are timed like the memcpy: the best of five batches (of 20 ms, or 1 ms
// in a smoke run), so that the ratios hold up on a machine busy with other work; the IIR
// low-pass and liquid-dsp in alternating batches. The state loop of each benchmark runs as
// well, for the usual per-benchmark lines.
//
// Informational rows: the bare order-2 recursion (the floor of the IIR low-pass of order 2),
// the IIR band-pass, the notch output, and the vectorised kernels on their portable path.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <liquid/liquid.h>

#include "analysis/qvFilter.h"
#include "kernels/qvKernelDispatch_p.h"
#include "qvBenchSupport.h"

namespace {

using QVKernels::TQVKernelPath;

constexpr int BlockSamples = 1024;
constexpr std::size_t BlockBytes = BlockSamples * sizeof(float);
constexpr int SignalBlocks = 16;
constexpr int WarmupBlocks = 16;
constexpr int CountedBlocks = 256;
constexpr float RelativeCutoff = 0.1f;

constexpr double FirTargetRatio = 1.0;
constexpr double IirTargetRatio = 1.0;
constexpr double RCTargetRatio = 10.0;
constexpr double SvfTargetRatio = 20.0;

const char *const MemcpyName = "memcpy 4096 B";

// Length of one batch of the best-of timing; shortened for smoke runs (see main).
std::chrono::nanoseconds g_batch = std::chrono::milliseconds(20);

/// Noise and sines cut into consecutive blocks, handed out in turn.
class TQVSignalBlocks
{
public:
    TQVSignalBlocks()
    {
        std::mt19937 random(11);
        std::normal_distribution<float> noise(0.0f, 0.3f);
        m_samples.resize(std::size_t(SignalBlocks) * BlockSamples);
        for (std::size_t n = 0; n < m_samples.size(); ++n)
            m_samples[n] = noise(random) + float(0.7 * std::sin(0.0123 * double(n)) + 0.4 * std::sin(0.31 * double(n)));
    }
    const float *Next()
    {
        const float *block = m_samples.data() + std::size_t(m_next) * BlockSamples;
        m_next = (m_next + 1) % SignalBlocks;
        return block;
    }
    const std::vector<float> &Samples() const { return m_samples; }

private:
    std::vector<float> m_samples;
    int m_next = 0;
};

std::vector<float> FirTaps(int count)
{
    // A windowed-sinc low-pass, so that the peers filter something meaningful.
    std::vector<float> h(std::size_t(count), 0.0f);
    const double middle = 0.5 * (count - 1);
    for (int i = 0; i < count; ++i) {
        const double t = i - middle;
        const double sinc = t == 0.0 ? 2.0 * RelativeCutoff
                                     : std::sin(2.0 * std::numbers::pi * RelativeCutoff * t) / (std::numbers::pi * t);
        const double window = 0.54 - 0.46 * std::cos(2.0 * std::numbers::pi * i / std::max(count - 1, 1));
        h[std::size_t(i)] = float(sinc * window);
    }
    return h;
}

// Runs the benchmark's state loop, then returns the best-of-batches ns per call of `op`.
template <typename Op>
double TimedNs(benchmark::State &state, Op &&op)
{
    for (auto _ : state)
        op();
    return QVYardstickNs(op, g_batch);
}

double MemcpyNs()
{
    static const double ns = QVMemcpyYardstickNs(BlockBytes);
    return ns;
}

// ---------------------------------------------------------------------------------------
// Peers: created once per size, timed by their own benchmarks (registered first); a subject
// selected without its peer times the peer itself.

class TQVPeer
{
public:
    virtual ~TQVPeer() = default;
    virtual void Run(const float *in, float *out) = 0;
    virtual std::string Name() const = 0;
};

class TQVLiquidFir : public TQVPeer
{
public:
    explicit TQVLiquidFir(int taps) : m_taps(taps)
    {
        std::vector<float> h = FirTaps(taps);
        m_filter = firfilt_rrrf_create(h.data(), unsigned(taps));
    }
    ~TQVLiquidFir() override { firfilt_rrrf_destroy(m_filter); }
    void Run(const float *in, float *out) override
    {
        firfilt_rrrf_execute_block(m_filter, const_cast<float *>(in), BlockSamples, out);
    }
    std::string Name() const override { return "liquid firfilt_rrrf " + std::to_string(m_taps); }

private:
    int m_taps;
    firfilt_rrrf m_filter;
};

class TQVLiquidIir : public TQVPeer
{
public:
    explicit TQVLiquidIir(int order) : m_order(order)
    {
        m_filter = iirfilt_rrrf_create_prototype(LIQUID_IIRDES_BUTTER, LIQUID_IIRDES_LOWPASS, LIQUID_IIRDES_SOS,
                                                 unsigned(order), RelativeCutoff, 0.0f, 1.0f, 60.0f);
    }
    ~TQVLiquidIir() override { iirfilt_rrrf_destroy(m_filter); }
    void Run(const float *in, float *out) override
    {
        iirfilt_rrrf_execute_block(m_filter, const_cast<float *>(in), BlockSamples, out);
    }
    std::string Name() const override { return "liquid iirfilt_rrrf SOS " + std::to_string(m_order); }

private:
    int m_order;
    iirfilt_rrrf m_filter;
};

enum class TQVPeerKind { Fir, Iir };

struct TQVPeerRecord
{
    std::unique_ptr<TQVPeer> Peer;
    TQVSignalBlocks Blocks;
    std::vector<float> Out = std::vector<float>(BlockSamples, 0.0f);
    double Ns = 0.0; // from its benchmark; 0 until timed
    void Run() { Peer->Run(Blocks.Next(), Out.data()); }
};

TQVPeerRecord &Peer(TQVPeerKind kind, int size)
{
    static std::map<std::pair<TQVPeerKind, int>, TQVPeerRecord> peers;
    TQVPeerRecord &record = peers[{kind, size}];
    if (!record.Peer) {
        if (kind == TQVPeerKind::Fir)
            record.Peer = std::make_unique<TQVLiquidFir>(size);
        else
            record.Peer = std::make_unique<TQVLiquidIir>(size);
    }
    return record;
}

double PeerNs(TQVPeerKind kind, int size)
{
    TQVPeerRecord &record = Peer(kind, size);
    if (record.Ns <= 0.0)
        record.Ns = QVYardstickNs([&record] { record.Run(); }, g_batch);
    return record.Ns;
}

void BM_Peer(benchmark::State &state, TQVPeerKind kind)
{
    TQVPeerRecord &record = Peer(kind, int(state.range(0)));
    record.Ns = TimedNs(state, [&record] {
        record.Run();
        benchmark::ClobberMemory();
    });
    state.SetLabel(record.Peer->Name());
}

// ---------------------------------------------------------------------------------------
// Subjects

/// A filter component fed block after block: `FilterArray` on work blocks filled from the
/// signal, in turn; after the last one they are filled again.
struct TQVSubject
{
    static constexpr int WorkBlocks = 8;

    explicit TQVSubject(TQVMLSFilterBase &filter) : Filter(filter) { Refill(); }
    void Refill()
    {
        for (int b = 0; b < WorkBlocks; ++b)
            std::memcpy(Block(b), Blocks.Next(), BlockBytes);
        Next = 0;
    }
    float *Block(int b) { return Work.data() + std::size_t(b) * BlockSamples; }
    void Run()
    {
        if (Next == WorkBlocks)
            Refill();
        Filter.FilterArray(Block(Next++), BlockSamples);
        benchmark::ClobberMemory();
    }

    TQVMLSFilterBase &Filter;
    TQVSignalBlocks Blocks;
    std::vector<float> Work = std::vector<float>(std::size_t(WorkBlocks) * BlockSamples, 0.0f);
    int Next = 0;
};

struct TQVTimed
{
    double Ns;
    double Allocs;
};

// ns per `FilterArray`, timed like the yardstick (the best of five batches of g_batch) with
// the refills of the work blocks outside the timed spans.
double FilterArrayNs(TQVSubject &subject)
{
    using Clock = std::chrono::steady_clock;
    double best = 0.0;
    for (int batch = 0; batch < 5; ++batch) {
        std::chrono::nanoseconds timed{0};
        std::int64_t calls = 0;
        while (timed < g_batch) {
            subject.Refill();
            const Clock::time_point start = Clock::now();
            for (int b = 0; b < TQVSubject::WorkBlocks; ++b)
                subject.Run();
            timed += Clock::now() - start;
            calls += TQVSubject::WorkBlocks;
        }
        const double ns = double(timed.count()) / double(calls);
        best = batch == 0 ? ns : std::min(best, ns);
    }
    return best;
}

// Allocations per block, then the benchmark's state loop.
double CountAndLoop(benchmark::State &state, TQVSubject &subject)
{
    const double allocs = QVAllocsPerCall([&subject] { subject.Run(); }, WarmupBlocks, CountedBlocks);
    for (auto _ : state)
        subject.Run();
    state.SetItemsProcessed(state.iterations() * BlockSamples);
    return allocs;
}

TQVTimed TimeSubject(benchmark::State &state, TQVSubject &subject)
{
    const double allocs = CountAndLoop(state, subject);
    return {FilterArrayNs(subject), allocs};
}

void Record(benchmark::State &state, const std::string &name, const TQVTimed &timed, const std::string &yardstick,
            double yardstickNs, double targetRatio)
{
    state.counters["yardstick_ns"] = yardstickNs;
    state.counters["ratio"] = timed.Ns / yardstickNs;
    state.counters["allocs_per_block"] = timed.Allocs;
    QVRecordResult({name, timed.Ns, yardstick, yardstickNs, targetRatio, timed.Allocs, 0.0});
}

// Largest difference between the first blocks of `filter` and of the peer, relative to the
// peer's largest output: both must filter the same signal with the same response.
double DifferenceFromPeer(TQVMLSFilterBase &filter, TQVPeer &peer)
{
    TQVSignalBlocks blocks;
    std::vector<float> ours(BlockSamples), theirs(BlockSamples);
    double difference = 0.0, largest = 0.0;
    for (int b = 0; b < 4; ++b) {
        const float *block = blocks.Next();
        std::memcpy(ours.data(), block, BlockBytes);
        filter.FilterArray(ours.data(), BlockSamples);
        peer.Run(block, theirs.data());
        for (int n = 0; n < BlockSamples; ++n) {
            difference = std::max(difference, double(std::fabs(ours[std::size_t(n)] - theirs[std::size_t(n)])));
            largest = std::max(largest, double(std::fabs(theirs[std::size_t(n)])));
        }
    }
    filter.Reset();
    return difference / std::max(largest, 1e-30);
}

void BM_Fir(benchmark::State &state)
{
    const int taps = int(state.range(0));
    TQVFIRFilter filter;
    const std::vector<float> h = FirTaps(taps);
    filter.SetCoefficients(taps, h.data());
    TQVLiquidFir check(taps);
    if (DifferenceFromPeer(filter, check) > 1e-5) {
        state.SkipWithError("the FIR filter and liquid-dsp disagree on the same taps");
        return;
    }
    TQVSubject subject(filter);
    const TQVTimed timed = TimeSubject(state, subject);
    TQVPeerRecord &peer = Peer(TQVPeerKind::Fir, taps);
    Record(state, "FIR " + std::to_string(taps) + " taps", timed, peer.Peer->Name(), PeerNs(TQVPeerKind::Fir, taps),
           FirTargetRatio);
}

// The subject and its peer in alternating batches (each about a quarter of g_batch, eight
// rounds), the best batch of each: both see the same load of the shared machine. The work
// blocks are refilled outside the timed spans.
template <typename Subject>
std::pair<double, double> AlternatingNs(Subject &subject, TQVPeerRecord &peer)
{
    using Clock = std::chrono::steady_clock;
    const auto batch = [](auto &&prepare, auto &&run) {
        std::chrono::nanoseconds timed{0};
        std::int64_t calls = 0;
        while (timed < g_batch / 4) {
            prepare();
            const Clock::time_point start = Clock::now();
            for (int b = 0; b < Subject::WorkBlocks; ++b)
                run();
            timed += Clock::now() - start;
            calls += Subject::WorkBlocks;
        }
        return double(timed.count()) / double(calls);
    };
    double subjectNs = 1e300, peerNs = 1e300;
    for (int round = 0; round < 8; ++round) {
        subjectNs = std::min(subjectNs, batch([&subject] { subject.Refill(); }, [&subject] { subject.Run(); }));
        peerNs = std::min(peerNs, batch([] {}, [&peer] {
            peer.Run();
            benchmark::ClobberMemory();
        }));
    }
    return {subjectNs, peerNs};
}

void BM_IirLowPass(benchmark::State &state)
{
    const int order = int(state.range(0));
    TQVIIRFilter filter;
    filter.SetSampleFrequency(1.0f);
    filter.SetCutoffFrequency(RelativeCutoff);
    filter.SetOrder(order);
    filter.SetFilterOutput(TQVIIRFilter::iirLowPass);
    TQVLiquidIir check(order);
    if (DifferenceFromPeer(filter, check) > 1e-3) {
        state.SkipWithError("the IIR low-pass and liquid-dsp's Butterworth sections disagree");
        return;
    }
    TQVSubject subject(filter);
    const double allocs = CountAndLoop(state, subject);
    TQVPeerRecord &peer = Peer(TQVPeerKind::Iir, order);
    const auto [ns, peerNs] = AlternatingNs(subject, peer);
    Record(state, "IIR low-pass order " + std::to_string(order), {ns, allocs}, peer.Peer->Name(), peerNs,
           IirTargetRatio);
}

/// The dependent part of one second-order section alone, y = (x - c1 y1) - c2 y2 in 80 bits
/// per sample, x read from the float block: a lower bound for any schedule of the order-2
/// recursion, whatever it does around it. (80-bit loads are slow, so nothing else is read.)
struct TQVRecursionFloor
{
    static constexpr int WorkBlocks = 8;

    void Refill() {}
    void Run()
    {
        const float *x = Blocks.Next();
        long double y1 = Y1, y2 = Y2;
        for (int n = 0; n < BlockSamples; ++n) {
            const long double y = (x[n] - C1 * y1) - C2 * y2;
            y2 = y1;
            y1 = y;
        }
        Y1 = y1;
        Y2 = y2;
        benchmark::DoNotOptimize(Y1);
    }

    TQVSignalBlocks Blocks;
    long double C1 = -1.5, C2 = 0.64, Y1 = 0.0L, Y2 = 0.0L;
};

void BM_IirFloor(benchmark::State &state)
{
    TQVRecursionFloor floor;
    for (auto _ : state)
        floor.Run();
    TQVPeerRecord &peer = Peer(TQVPeerKind::Iir, 2);
    const auto [ns, peerNs] = AlternatingNs(floor, peer);
    Record(state, "IIR order 2, bare 80-bit recursion (floor)", {ns, 0.0}, peer.Peer->Name(), peerNs, 0.0);
}

void BM_IirBandPass(benchmark::State &state)
{
    const int order = int(state.range(0));
    TQVIIRFilter filter;
    filter.SetSampleFrequency(1.0f);
    filter.SetCutoffFrequency(RelativeCutoff);
    filter.SetCutoffHighFrequency(1.2f * RelativeCutoff);
    filter.SetOrder(order);
    filter.SetFilterOutput(TQVIIRFilter::iirBandPass);
    TQVSubject subject(filter);
    const TQVTimed timed = TimeSubject(state, subject);
    Record(state, "IIR band-pass order " + std::to_string(order) + " (" + std::to_string(order / 2)
                      + " fourth-order sections)",
           timed, MemcpyName, MemcpyNs(), 0.0);
}

template <typename Filter>
void RunMemcpyRow(benchmark::State &state, Filter &filter, const std::string &name, double targetRatio)
{
    filter.SetSampleFrequency(1.0f);
    filter.SetCutoffFrequency(RelativeCutoff);
    TQVSubject subject(filter);
    const TQVTimed timed = TimeSubject(state, subject);
    Record(state, name, timed, MemcpyName, MemcpyNs(), targetRatio);
}

void BM_RCLowpass(benchmark::State &state)
{
    TQVRCLowpass filter;
    RunMemcpyRow(state, filter, "RC low-pass", RCTargetRatio);
}

void BM_RCHighpass(benchmark::State &state)
{
    TQVRCHighpass filter;
    RunMemcpyRow(state, filter, "RC high-pass", RCTargetRatio);
}

void BM_StateVariable(benchmark::State &state, TQVStateVariableFilter::TQVFilterOutput output, const char *name,
                      double targetRatio)
{
    TQVStateVariableFilter filter;
    filter.SetQ(2.0f);
    filter.SetFilterOutput(output);
    RunMemcpyRow(state, filter, name, targetRatio);
}

// The vectorised kernels with the portable path forced, for comparison.
void BM_FirPortable(benchmark::State &state)
{
    const int taps = int(state.range(0));
    const TQVKernelPath previous = QVKernels::Active();
    QVKernels::Select(TQVKernelPath::Portable);
    TQVFIRFilter filter;
    const std::vector<float> h = FirTaps(taps);
    filter.SetCoefficients(taps, h.data());
    TQVSubject subject(filter);
    const TQVTimed timed = TimeSubject(state, subject);
    QVKernels::Select(previous);
    TQVPeerRecord &peer = Peer(TQVPeerKind::Fir, taps);
    Record(state, "FIR " + std::to_string(taps) + " taps, portable path", timed, peer.Peer->Name(),
           PeerNs(TQVPeerKind::Fir, taps), 0.0);
}

template <typename Filter>
void BM_RecursivePortable(benchmark::State &state, const char *name)
{
    const TQVKernelPath previous = QVKernels::Active();
    QVKernels::Select(TQVKernelPath::Portable);
    Filter filter;
    RunMemcpyRow(state, filter, name, 0.0);
    QVKernels::Select(previous);
}

void RegisterAll()
{
    for (int taps : {64, 512})
        benchmark::RegisterBenchmark("BM_LiquidFir", BM_Peer, TQVPeerKind::Fir)->Arg(taps);
    for (int order : {2, 4, 10})
        benchmark::RegisterBenchmark("BM_LiquidIir", BM_Peer, TQVPeerKind::Iir)->Arg(order);
    benchmark::RegisterBenchmark("BM_Fir", BM_Fir)->Arg(64)->Arg(512);
    benchmark::RegisterBenchmark("BM_IirLowPass", BM_IirLowPass)->Arg(2)->Arg(4)->Arg(10);
    benchmark::RegisterBenchmark("BM_IirFloor", BM_IirFloor);
    benchmark::RegisterBenchmark("BM_IirBandPass", BM_IirBandPass)->Arg(10);
    benchmark::RegisterBenchmark("BM_RCLowpass", BM_RCLowpass);
    benchmark::RegisterBenchmark("BM_RCHighpass", BM_RCHighpass);
    benchmark::RegisterBenchmark("BM_StateVariableLow", BM_StateVariable, TQVStateVariableFilter::foLowPass,
                                 "state-variable low-pass", SvfTargetRatio);
    benchmark::RegisterBenchmark("BM_StateVariableNotch", BM_StateVariable, TQVStateVariableFilter::foNotch,
                                 "state-variable notch", SvfTargetRatio);
    benchmark::RegisterBenchmark("BM_FirPortable", BM_FirPortable)->Arg(512);
    benchmark::RegisterBenchmark("BM_RCLowpassPortable", BM_RecursivePortable<TQVRCLowpass>,
                                 "RC low-pass, portable path");
    benchmark::RegisterBenchmark("BM_StateVariablePortable", BM_RecursivePortable<TQVStateVariableFilter>,
                                 "state-variable low-pass, portable path");
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const char *prefix = "--benchmark_min_time=";
        if (std::strncmp(argv[i], prefix, std::strlen(prefix)) == 0 && std::atof(argv[i] + std::strlen(prefix)) < 0.1)
            g_batch = std::chrono::milliseconds(1);
    }
    RegisterAll();
    return QVBenchMain(argc, argv);
}
