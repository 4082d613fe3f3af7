// Value updates of the display controls, the hot path of a display fed by a measurement
// chain: 10 000 `SetValue` calls, each repainting only the strip (bar graph) or the button
// area (slider) at once, and 10 000 blocks through source -> analyzer (RMS) -> meter sink,
// each repainting only the needle's area; against the same number of full repaints of the
// same control, timed in alternating batches in the same run on the offscreen platform.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <vector>

#include <benchmark/benchmark.h>

#include <ctime>

#include <QtCore/QEvent>
#include <QtWidgets/QApplication>

#include "controls/qvSlider.h"
#include "controls/qvbargraphint.h"
#include "host/demo/qvDemoPanel.h"
#include "indicators/QVMLSingleSinks.h"
#include "qvBenchSupport.h"
#include "stream/qvMLSSimpleSources.h"

namespace {

constexpr int Calls = 10000;
constexpr int Batches = 10;
// The value repaint of the linear controls must cost at most a tenth of a full repaint, the
// meter's at most a fifth.
constexpr double TargetRatio = 0.1;
constexpr double MeterTargetRatio = 0.2;

// Counts the paint events of a widget, to check that every timed call painted.
struct TQVPaintCounter : QObject
{
    int Paints = 0;
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++Paints;
        return false;
    }
};

// A slowly varying measured value: 977 distinct values per period, so that consecutive
// values always differ by a few pixels, as an RMS display sees them.
std::vector<double> SweepValues()
{
    std::vector<double> values(Calls);
    for (int i = 0; i < Calls; ++i)
        values[std::size_t(i)] = 50.0 + 45.0 * std::sin(2.0 * std::numbers::pi * i / 977.0);
    return values;
}

template <typename Op>
double BatchNs(Op &&op, int count)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i)
        op(i);
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// Times `Calls` value updates (`update(value)`) and `Calls` full repaints of `widget` in
// alternating batches and records ns per call of each.
template <typename Update>
void RunValueRepaint(benchmark::State &state, QWidget &widget, Update &&update, const char *name,
                     double targetRatio = TargetRatio)
{
    widget.show();
    QCoreApplication::processEvents();
    TQVPaintCounter counter;
    widget.installEventFilter(&counter);
    const std::vector<double> values = SweepValues();
    update(values.back() + 1.0);

    double valueNs = 0.0;
    double fullNs = 0.0;
    int valuePaints = 0;
    int fullPaints = 0;
    const int perBatch = Calls / Batches;
    for (auto _ : state) {
        valueNs = fullNs = 0.0;
        valuePaints = fullPaints = 0;
        for (int b = 0; b < Batches; ++b) {
            counter.Paints = 0;
            valueNs += BatchNs([&](int i) { update(values[std::size_t(b * perBatch + i)]); }, perBatch);
            valuePaints += counter.Paints;
            counter.Paints = 0;
            fullNs += BatchNs([&](int) { widget.repaint(); }, perBatch);
            fullPaints += counter.Paints;
        }
    }
    widget.removeEventFilter(&counter);
    // The slider repaints the old and the new button area separately when they do not meet.
    // Every update changes the value (the sweep has no two equal neighbours).
    if (valuePaints < Calls || valuePaints > 2 * Calls || fullPaints != Calls) {
        std::printf("%s: %d paint events for %d value updates, %d for %d full repaints\n", name, valuePaints, Calls,
                    fullPaints, Calls);
        state.SkipWithError("the timed calls did not paint as expected");
        return;
    }
    state.counters["value_paints"] = valuePaints;
    const double allocs = QVAllocsPerCall([&, i = 0]() mutable { update(values[std::size_t(i++ % Calls)]); }, 100, 1000);
    const double perValue = valueNs / Calls;
    const double perFull = fullNs / Calls;
    state.counters["value_ns"] = perValue;
    state.counters["full_ns"] = perFull;
    state.counters["ratio"] = perValue / perFull;
    QVRecordResult({name, perValue, "full repaint (same control)", perFull, targetRatio, allocs, -1.0});
}

void BM_BarGraphSetValue(benchmark::State &state)
{
    TQVBarGraphInt bar;
    bar.resize(70, 300);
    bar.SetLabelingStyle(TQVBarGraphInt::lbsBoth);
    bar.SetLabelingGap(5);
    bar.SetRangeNumber(3);
    const double limits[] = {60, 85, 100};
    const TQVColor colours[] = {QVColors::clGreen, QVColors::clYellow, QVColors::clRed};
    for (int i = 1; i <= 3; ++i) {
        bar.SetRangeCurrent(i);
        bar.SetRangeColor(colours[i - 1]);
        bar.SetRangeLimit(limits[i - 1]);
    }
    RunValueRepaint(state, bar, [&](double v) { bar.SetValue(v); }, "bar graph SetValue, 70 x 300, lbsBoth");
}
BENCHMARK(BM_BarGraphSetValue)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_SliderSetValue(benchmark::State &state)
{
    TQVSlider slider;
    slider.resize(70, 300);
    slider.SetLabelingStyle(TQVSlider::lbsBoth);
    slider.SetLabelingGap(5);
    RunValueRepaint(state, slider, [&](double v) { slider.SetValue(v); }, "slider SetValue, 70 x 300, lbsBoth");
}
BENCHMARK(BM_SliderSetValue)->Iterations(1)->Unit(benchmark::kMillisecond);

// Each update is a block of 16 equal samples v through the analyzer (RMS |v|) into the
// meter sink, whose needle then moves.
void BM_MeterSinkValue(benchmark::State &state)
{
    constexpr int BlockSamples = 16;
    TQVBenchSource source(1, BlockSamples);
    TQVBenchBlock block(1, BlockSamples);
    TQVAnalyzer analyzer;
    analyzer.SetCompression(TQVAnalyzer::mcoRMS);
    analyzer.SetQVMeasureSource(&source);
    TQVMeter meter;
    meter.SetAutoConfig(false);
    meter.resize(200, 200);
    meter.SetValueMin(0);
    meter.SetValueMax(100);
    meter.SetValueGap(10);
    meter.SetMeasureSource(&analyzer);
    const auto update = [&](double v) {
        std::fill(block.Samples[0].begin(), block.Samples[0].end(), float(v));
        source.Send(block.Block);
    };
    RunValueRepaint(state, meter, update, "meter sink, block -> RMS -> needle", MeterTargetRatio);
}
BENCHMARK(BM_MeterSinkValue)->Iterations(1)->Unit(benchmark::kMillisecond);

// CPU time of this thread, in ns.
double ThreadCpuNs()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) * 1e9 + double(t.tv_nsec);
}

// The whole demo panel, shown offscreen: each block runs the generator, the low-pass, the
// RMS analyzer with its four displays, the trigger and the FFT, and then the pending
// repaints of the plots are processed. CPU per block against the block's duration in real
// time (1024 samples at 48 kHz): the panel must use under 5 % of one core.
void BM_DemoChainRealTime(benchmark::State &state)
{
    TQVDemoPanel panel;
    panel.resize(1000, 760);
    panel.show();
    QCoreApplication::processEvents();
    panel.Generator().Run();
    const auto block = [&] {
        panel.Generator().Tick();
        QCoreApplication::processEvents();
    };
    for (int i = 0; i < 50; ++i)
        block();
    constexpr int Blocks = 1000;
    double cpuNs = 0.0, wallNs = 0.0;
    for (auto _ : state) {
        const double cpu = ThreadCpuNs();
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < Blocks; ++i)
            block();
        wallNs = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / Blocks;
        cpuNs = (ThreadCpuNs() - cpu) / Blocks;
    }
    const double blockNs = 1e9 * TQVDemoPanel::BlockLength / TQVDemoPanel::SampleRate;
    state.counters["cpu_ns_per_block"] = cpuNs;
    state.counters["blocks_per_s"] = 1e9 / wallNs;
    state.counters["core_share"] = cpuNs / blockNs;
    const double allocs = QVAllocsPerCall(block, 10, 100);
    QVRecordResult({"demo chain, CPU per 1024-sample block", cpuNs, "block duration at 48 kHz", blockNs, 0.05, allocs,
                    -1.0});
}
BENCHMARK(BM_DemoChainRealTime)->Iterations(1)->Unit(benchmark::kMillisecond);

void PrintSummary()
{
    std::printf("\nSummary (ratio = value repaint / full repaint of the same control, timed in this run)\n");
    int missed = 0;
    for (const TQVBenchResult &r : QVResults()) {
        const bool met = r.Ratio() < r.TargetRatio;
        missed += met ? 0 : 1;
        std::printf("%-40s %10.1f ns  %-28s %10.1f ns  ratio %6.3f (< %g)  allocs/call %6.1f  %s\n", r.Name.c_str(),
                    r.SubjectNs, r.YardstickName.c_str(), r.YardstickNs, r.Ratio(), r.TargetRatio, r.AllocsPerBlock,
                    met ? "target met" : "TARGET MISSED");
    }
    std::printf("%d of %zu rows missed a target\n", missed, QVResults().size());
    std::fflush(stdout);
}

} // namespace

// Widgets need a QApplication, so this program has its own main instead of QVBenchMain.
int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    QApplication app(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    PrintSummary();
    return 0;
}
