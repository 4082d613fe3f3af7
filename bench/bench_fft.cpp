// Speed of the FFT engine against FFTW 3 (single precision) and KissFFT (float): the engine's
// ComplexFFT forward on N complex points, its RealFFT on 2N real samples (rectangular
// window, amplitudes without phase), and the kernel's Transform on each code path. FFTW
// runs interleaved and in place for the complex transform (its fastest layout, so the
// strictest yardstick) and out of place for r2c; KissFFT runs out of place (in place it
// allocates a buffer per call).
//
// Subject and peers are timed in alternating batches (at least four calls, some 50 us)
// within each iteration, so that all of them see the same machine load; the best batch of
// each counts, as for the other yardsticks, which keeps the figures steady on a busy machine.
//
// A forward transform in place shrinks (ours, 1/N) or grows (FFTW, unscaled) the data by
// about sqrt(N) per call, so the in-place subjects restore their input every RestoreEvery
// calls (the copy is part of their time), starting from sqrt(N)^(RestoreEvery/2) (ours) or
// its inverse (FFTW) so that the values stay far from the subnormal range, where float
// products stall the processor, and from overflow.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fftw3.h>
#include <kiss_fft.h>
#include <kiss_fftr.h>

#include "analysis/qvFFT.h"
#include "analysis/qvFFTKernel.h"
#include "kernels/qvKernelDispatch_p.h"
#include "qvBenchSupport.h"

namespace {

constexpr double FftwTargetRatio = 3.0;
constexpr double FftwRealTargetRatio = 1.2; // the real transform against FFTW's r2c
constexpr double KissTargetRatio = 1.0;
constexpr int RestoreEvery = 8;
constexpr int WarmupCalls = 4;
constexpr int CountedCalls = 64;
// Calls per timed batch: at least MinBatchCalls, and about BatchPoints points (some 50 us
// of transform on the development machine).
constexpr int BatchPoints = 1 << 15;
constexpr int MinBatchCalls = 4;

// FFTW_MEASURE unless the run is a short smoke run (see main).
unsigned g_fftwFlags = FFTW_MEASURE;

int Log2(int n)
{
    int l = 0;
    while ((1 << l) < n)
        ++l;
    return l;
}

std::vector<float> Noise(int count, unsigned seed, float amplitude = 1.0f)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    std::vector<float> v(std::size_t(count), 0.0f);
    for (float &x : v)
        x = amplitude * value(random);
    return v;
}

// Start amplitude of the in-place forward transforms, see above.
float InPlaceAmplitude(int n)
{
    return float(std::pow(std::sqrt(double(n)), RestoreEvery / 2));
}

/// One transform to time: a subject or a peer.
class TQVTransform
{
public:
    virtual ~TQVTransform() = default;
    virtual void Run() = 0;
};

// ---------------------------------------------------------------------------------------
// Peers, planned once per size.

class TQVFftwComplex : public TQVTransform
{
public:
    explicit TQVFftwComplex(int n)
    {
        m_data = fftwf_alloc_complex(std::size_t(n));
        m_plan = fftwf_plan_dft_1d(n, m_data, m_data, FFTW_FORWARD, g_fftwFlags);
        m_source = Noise(2 * n, 1, 1.0f / InPlaceAmplitude(n));
        Restore();
    }
    ~TQVFftwComplex() override
    {
        fftwf_destroy_plan(m_plan);
        fftwf_free(m_data);
    }
    void Run() override
    {
        if (++m_calls % RestoreEvery == 0)
            Restore();
        fftwf_execute(m_plan);
        benchmark::ClobberMemory();
    }

private:
    void Restore() { std::memcpy(m_data, m_source.data(), m_source.size() * sizeof(float)); }

    int m_calls = 0;
    fftwf_complex *m_data = nullptr;
    fftwf_plan m_plan = nullptr;
    std::vector<float> m_source;
};

class TQVFftwReal : public TQVTransform
{
public:
    explicit TQVFftwReal(int count)
    {
        m_in = fftwf_alloc_real(std::size_t(count));
        m_out = fftwf_alloc_complex(std::size_t(count / 2 + 1));
        m_plan = fftwf_plan_dft_r2c_1d(count, m_in, m_out, g_fftwFlags);
        const std::vector<float> noise = Noise(count, 2);
        std::memcpy(m_in, noise.data(), noise.size() * sizeof(float));
    }
    ~TQVFftwReal() override
    {
        fftwf_destroy_plan(m_plan);
        fftwf_free(m_in);
        fftwf_free(m_out);
    }
    void Run() override
    {
        fftwf_execute(m_plan);
        benchmark::ClobberMemory();
    }

private:
    float *m_in = nullptr;
    fftwf_complex *m_out = nullptr;
    fftwf_plan m_plan = nullptr;
};

class TQVKissComplex : public TQVTransform
{
public:
    explicit TQVKissComplex(int n) : m_in(std::size_t(n)), m_out(std::size_t(n))
    {
        m_cfg = kiss_fft_alloc(n, 0, nullptr, nullptr);
        const std::vector<float> noise = Noise(2 * n, 1);
        for (int k = 0; k < n; ++k)
            m_in[std::size_t(k)] = {noise[std::size_t(2 * k)], noise[std::size_t(2 * k + 1)]};
    }
    ~TQVKissComplex() override { kiss_fft_free(m_cfg); }
    void Run() override
    {
        kiss_fft(m_cfg, m_in.data(), m_out.data());
        benchmark::ClobberMemory();
    }

private:
    kiss_fft_cfg m_cfg = nullptr;
    std::vector<kiss_fft_cpx> m_in, m_out;
};

class TQVKissReal : public TQVTransform
{
public:
    explicit TQVKissReal(int count) : m_in(Noise(count, 2)), m_out(std::size_t(count / 2 + 1))
    {
        m_cfg = kiss_fftr_alloc(count, 0, nullptr, nullptr);
    }
    ~TQVKissReal() override { kiss_fftr_free(m_cfg); }
    void Run() override
    {
        kiss_fftr(m_cfg, m_in.data(), m_out.data());
        benchmark::ClobberMemory();
    }

private:
    kiss_fftr_cfg m_cfg = nullptr;
    std::vector<float> m_in;
    std::vector<kiss_fft_cpx> m_out;
};

enum class TQVPeerKind { FftwComplex, KissComplex, FftwReal, KissReal };

TQVTransform &Peer(TQVPeerKind kind, int size)
{
    static std::map<std::pair<TQVPeerKind, int>, std::unique_ptr<TQVTransform>> peers;
    std::unique_ptr<TQVTransform> &peer = peers[{kind, size}];
    if (!peer) {
        switch (kind) {
        case TQVPeerKind::FftwComplex: peer = std::make_unique<TQVFftwComplex>(size); break;
        case TQVPeerKind::KissComplex: peer = std::make_unique<TQVKissComplex>(size); break;
        case TQVPeerKind::FftwReal: peer = std::make_unique<TQVFftwReal>(size); break;
        case TQVPeerKind::KissReal: peer = std::make_unique<TQVKissReal>(size); break;
        }
    }
    return *peer;
}

struct TQVPeerRow
{
    TQVPeerKind Kind;
    std::string Name;    // yardstick column
    std::string Counter; // benchmark counter
    double TargetRatio;  // <= 0: informational
};

// Times `subject` against `peers` in alternating batches (ns per call of the best batch of
// each), counts its allocations and records one summary row per peer, "<name> vs <peer>".
void Compare(benchmark::State &state, const std::string &name, int points, TQVTransform &subject,
             const std::vector<TQVPeerRow> &peers)
{
    const double allocs = QVAllocsPerCall([&subject] { subject.Run(); }, WarmupCalls, CountedCalls);
    std::vector<TQVTransform *> peerTransforms;
    for (const TQVPeerRow &row : peers)
        peerTransforms.push_back(&Peer(row.Kind, points));

    using Clock = std::chrono::steady_clock;
    const int batch = std::max(MinBatchCalls, BatchPoints / points);
    const auto timeBatch = [batch](TQVTransform &transform) {
        transform.Run(); // untimed: brings its data back into the cache after the others
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < batch; ++i)
            transform.Run();
        return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    };
    double subjectNs = 1e300;
    std::vector<double> peerNs(peers.size(), 1e300);
    for (auto _ : state) {
        subjectNs = std::min(subjectNs, timeBatch(subject));
        for (std::size_t p = 0; p < peers.size(); ++p)
            peerNs[p] = std::min(peerNs[p], timeBatch(*peerTransforms[p]));
    }
    subjectNs /= batch;
    state.counters["subject_ns"] = subjectNs;
    state.counters["allocs"] = allocs;
    for (std::size_t p = 0; p < peers.size(); ++p) {
        const TQVPeerRow &row = peers[p];
        const double ns = peerNs[p] / batch;
        state.counters[row.Counter + "_ns"] = ns;
        QVRecordResult({name + " vs " + row.Counter, subjectNs, row.Name, ns, row.TargetRatio, allocs, 0.0});
    }
}

// ---------------------------------------------------------------------------------------
// Subjects

// The forward transform of e^(-2 pi i b k / N) is 1 at bin b and 0 elsewhere.
template <typename Forward>
bool ForwardFindsTone(Forward &&forward, int n)
{
    const int bin = n / 8 + 3;
    std::vector<float> re(std::size_t(n), 0.0f), im(std::size_t(n), 0.0f);
    for (int k = 0; k < n; ++k) {
        const double angle = 2.0 * std::numbers::pi * double((std::int64_t(bin) * k) % n) / n;
        re[std::size_t(k)] = float(std::cos(angle));
        im[std::size_t(k)] = float(-std::sin(angle));
    }
    forward(re.data(), im.data());
    double error = 0.0;
    for (int k = 0; k < n; ++k)
        error = std::max(error, std::hypot(re[std::size_t(k)] - (k == bin ? 1.0 : 0.0), double(im[std::size_t(k)])));
    return error < 1e-4;
}

/// The engine at N points with a complex vector of noise; a forward ComplexFFT in place per
/// call, or the kernel's Transform on the vector when a kernel is given.
class TQVComplexSubject : public TQVTransform
{
public:
    explicit TQVComplexSubject(int n) : m_n(n)
    {
        m_fft.SetExponent(Log2(n));
        m_vector = m_fft.NewComplex(n);
        m_sourceRe = Noise(n, 1, InPlaceAmplitude(n));
        m_sourceIm = Noise(n, 3, InPlaceAmplitude(n));
        if (Ready())
            Restore();
    }
    bool Ready() const
    {
        return m_fft.Size() == m_n && m_vector && m_vector->Count() == m_n && m_fft.CosTable()
            && m_fft.CosTable()->Count() == m_n && m_fft.SinTable() && m_fft.SinTable()->Count() == m_n;
    }
    const TQVFFT &Engine() const { return m_fft; }
    void UseKernel(const TQVFFTKernel *kernel) { m_kernel = kernel; }

    // One forward transform of re/im through the vector.
    void Forward(float *re, float *im)
    {
        float *vr = m_vector->Re()->Data();
        float *vi = m_vector->Im()->Data();
        std::memcpy(vr, re, std::size_t(m_n) * sizeof(float));
        std::memcpy(vi, im, std::size_t(m_n) * sizeof(float));
        Transform();
        std::memcpy(re, vr, std::size_t(m_n) * sizeof(float));
        std::memcpy(im, vi, std::size_t(m_n) * sizeof(float));
        Restore();
    }

    void Run() override
    {
        if (++m_calls % RestoreEvery == 0)
            Restore();
        Transform();
        benchmark::ClobberMemory();
    }

private:
    void Transform()
    {
        if (m_kernel)
            m_kernel->Transform(m_vector->Re()->Data(), m_vector->Im()->Data(), false);
        else
            m_fft.ComplexFFT(m_vector, false);
    }
    void Restore()
    {
        std::memcpy(m_vector->Re()->Data(), m_sourceRe.data(), m_sourceRe.size() * sizeof(float));
        std::memcpy(m_vector->Im()->Data(), m_sourceIm.data(), m_sourceIm.size() * sizeof(float));
    }

    int m_n;
    int m_calls = 0;
    TQVFFT m_fft;
    TQVComplexVector *m_vector = nullptr;
    const TQVFFTKernel *m_kernel = nullptr;
    std::vector<float> m_sourceRe, m_sourceIm;
};

const std::vector<TQVPeerRow> &ComplexPeers()
{
    static const std::vector<TQVPeerRow> peers{
        {TQVPeerKind::FftwComplex, "FFTW c2c in place", "FFTW", FftwTargetRatio},
        {TQVPeerKind::KissComplex, "KissFFT c2c", "KissFFT", KissTargetRatio},
    };
    return peers;
}

void BM_ComplexFFT(benchmark::State &state)
{
    const int n = int(state.range(0));
    TQVComplexSubject subject(n);
    if (!subject.Ready()) {
        state.SkipWithError("the engine has no tables or vector of this size");
        return;
    }
    if (!ForwardFindsTone([&subject](float *re, float *im) { subject.Forward(re, im); }, n)) {
        state.SkipWithError("ComplexFFT does not find a single tone on its bin");
        return;
    }
    Compare(state, "ComplexFFT " + std::to_string(n), n, subject, ComplexPeers());
}

// The kernel alone, prepared from the engine's tables, on one code path; informational.
void BM_KernelTransform(benchmark::State &state, QVKernels::TQVKernelPath path)
{
    using QVKernels::TQVKernelPath;
    const int n = int(state.range(0));
    if (!QVKernels::Available(path)) {
        state.SkipWithError("code path not available on this processor");
        return;
    }
    TQVComplexSubject subject(n);
    if (!subject.Ready()) {
        state.SkipWithError("the engine has no tables or vector of this size");
        return;
    }
    const TQVKernelPath previous = QVKernels::Active();
    QVKernels::Select(path);
    TQVFFTKernel kernel;
    kernel.Prepare(n, subject.Engine().CosTable()->Data(), subject.Engine().SinTable()->Data());
    subject.UseKernel(&kernel);
    if (!ForwardFindsTone([&subject](float *re, float *im) { subject.Forward(re, im); }, n)) {
        QVKernels::Select(previous);
        state.SkipWithError("the kernel does not find a single tone on its bin");
        return;
    }
    // The portable path is what processors without AVX2 run: against both peers.
    std::vector<TQVPeerRow> peers;
    for (TQVPeerRow row : ComplexPeers()) {
        row.TargetRatio = 0.0;
        if (path == TQVKernelPath::Portable || row.Kind == TQVPeerKind::FftwComplex)
            peers.push_back(row);
    }
    const char *pathName = path == TQVKernelPath::Avx2 ? "AVX2" : "portable";
    Compare(state, std::string("kernel ") + pathName + " " + std::to_string(n), n, subject, peers);
    QVKernels::Select(previous);
}

/// RealFFT of 2N samples: a sine of amplitude 1 on bin N/8 + 3 over an offset of 0.25. With
/// the rectangular window the output holds the offset in re[0], 1 on the sine's bin and 0
/// elsewhere; the input is left as it was, so every call sees the same samples.
class TQVRealSubject : public TQVTransform
{
public:
    explicit TQVRealSubject(int count) : m_count(count), m_n(count / 2), m_bin(count / 16 + 3)
    {
        m_fft.SetExponent(Log2(m_n));
        m_fft.SetLeakType(wnRectangle);
        m_input = m_fft.NewArray(count);
        m_output = m_fft.NewComplex(m_n);
        if (!Ready())
            return;
        for (int k = 0; k < count; ++k) {
            const double angle = 2.0 * std::numbers::pi * double((std::int64_t(m_bin) * k) % count) / count;
            (*m_input)[k] = float(0.25 + std::sin(angle));
        }
    }
    bool Ready() const
    {
        return m_fft.Size() == m_n && m_input && m_input->Count() == m_count && m_output
            && m_output->Count() == m_n;
    }
    bool AmplitudesRight() const
    {
        const float *a = m_output->Re()->Data();
        double error = std::fabs(a[0] - 0.25);
        for (int k = 1; k < m_n; ++k)
            error = std::max(error, std::fabs(a[k] - (k == m_bin ? 1.0 : 0.0)));
        return error < 1e-3;
    }
    void Run() override
    {
        m_fft.RealFFT(m_input, m_output, false);
        benchmark::ClobberMemory();
    }

private:
    int m_count, m_n, m_bin;
    TQVFFT m_fft;
    TQVVector *m_input = nullptr;
    TQVComplexVector *m_output = nullptr;
};

void BM_RealFFT(benchmark::State &state)
{
    const int count = int(state.range(0));
    TQVRealSubject subject(count);
    if (!subject.Ready()) {
        state.SkipWithError("the engine has no vectors of this size");
        return;
    }
    subject.Run();
    if (!subject.AmplitudesRight()) {
        state.SkipWithError("RealFFT does not give the sine's amplitude on its bin");
        return;
    }
    static const std::vector<TQVPeerRow> peers{
        {TQVPeerKind::FftwReal, "FFTW r2c", "FFTW", FftwRealTargetRatio},
        {TQVPeerKind::KissReal, "KissFFT r2c", "KissFFT", KissTargetRatio},
    };
    Compare(state, "RealFFT " + std::to_string(count), count, subject, peers);
    if (!subject.AmplitudesRight())
        state.SkipWithError("RealFFT changed its result while timed");
}

constexpr int ComplexSizes[] = {1 << 10, 1 << 12, 1 << 16};
constexpr int RealCounts[] = {1 << 11, 1 << 17};

void RegisterAll()
{
    const auto sizes = [](benchmark::internal::Benchmark *b, const auto &list) {
        for (int n : list)
            b->Arg(n);
    };
    sizes(benchmark::RegisterBenchmark("BM_ComplexFFT", BM_ComplexFFT), ComplexSizes);
    sizes(benchmark::RegisterBenchmark("BM_RealFFT", BM_RealFFT), RealCounts);
    sizes(benchmark::RegisterBenchmark("BM_KernelAVX2", BM_KernelTransform, QVKernels::TQVKernelPath::Avx2),
          ComplexSizes);
    sizes(benchmark::RegisterBenchmark("BM_KernelPortable", BM_KernelTransform, QVKernels::TQVKernelPath::Portable),
          ComplexSizes);
}

} // namespace

int main(int argc, char **argv)
{
    // A smoke run (--benchmark_min_time below 0.1 s) plans FFTW with FFTW_ESTIMATE: measured
    // plans for 2^16 and 2^17 points take many seconds, and the figures are not read anyway.
    const char *prefix = "--benchmark_min_time=";
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], prefix, std::strlen(prefix)) == 0 && std::atof(argv[i] + std::strlen(prefix)) < 0.1)
            g_fftwFlags = FFTW_ESTIMATE;
    }
    RegisterAll();
    return QVBenchMain(argc, argv);
}
