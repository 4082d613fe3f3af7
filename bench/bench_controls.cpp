// Value updates of the display controls, the hot path of a display fed by a measurement
// chain: 10 000 `SetValue` calls, each repainting only the strip (bar graph) or the button
// area (slider) at once, and 10 000 blocks through source -> analyzer (RMS) -> meter sink,
// each repainting only the needle's area; against the same number of full repaints of the
// same control, timed in alternating batches in the same run on the offscreen platform.
// Each runs in the classic scale layout and, where the class publishes `ScaleLayout`, in
// the adaptive one too (benchmark argument `layout`).
//
// The waterfall: a block (one new row, the others moved by a blit) against a full redraw of
// it. The plot's min/max decimation: a 65 536-point trace against a 1000-point trace into a
// plot area 1000 pixels wide.
//
// With the QML module: the value repaints of the Qt Quick items against those of their
// widgets, each frame rendered by the scene graph (software backend on the offscreen
// platform), and the demo panel in QML beside the widget one, in CPU per block.
//
// Heap allocations per `SetValue` of bar graph, slider, meter, dial and panel meter in
// steady state: two values alternate, so every call repaints. With
// VELMORA_ALLOC_BACKTRACE=n the allocations of n such calls are printed with their call
// stacks (function, file and line), to find where they come from.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <ctime>

#include <QtCore/QEvent>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "controls/qvbargraphint.h"
#include "controls/qvmeterInt.h"
#include "host/demo/qvDemoPanel.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/QVPanelMeterInt.h"
#include "indicators/QVPlot.h"
#include "indicators/qvWaterfall.h"
#include "indicators/qvWaterfall_p.h"
#include "qvBenchSupport.h"
#include "stream/qvMLSSimpleSources.h"
#ifdef VELMORA_DEMO_QML
#include <QtQuick/QQuickView>

#include "host/demo/qvQuickDemo.h"
#include "quick/qvQuickInstruments.h"
#endif

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

// The scale layouts: 0 classic (every class), 1 adaptive (where the class publishes the
// `ScaleLayout` property).
const char *const ScaleLayoutProperty = "ScaleLayout";

bool HasScaleLayout(const QMetaObject &meta)
{
    return meta.indexOfProperty(ScaleLayoutProperty) >= 0;
}

const char *LayoutName(int layout)
{
    return layout == 0 ? "classic" : "adaptive";
}

template <typename W>
void LayoutArgs(benchmark::internal::Benchmark *b)
{
    b->ArgName("layout")->Arg(0);
    if (HasScaleLayout(W::staticMetaObject))
        b->Arg(1);
}

// Switches `widget` to the layout of the benchmark's argument; false when it cannot.
bool ApplyLayout(benchmark::State &state, QWidget &widget)
{
    const int layout = int(state.range(0));
    if (layout == 0 && !HasScaleLayout(*widget.metaObject()))
        return true;
    if (widget.setProperty(ScaleLayoutProperty, layout))
        return true;
    state.SkipWithError("ScaleLayout cannot be set");
    return false;
}

std::string RowName(const char *name, benchmark::State &state)
{
    return std::string(name) + ", " + LayoutName(int(state.range(0)));
}

// A slowly varying measured value: 977 distinct values per period, so that consecutive
// values always differ by a few pixels, as an RMS display sees them.
std::vector<double> SweepValues(int count)
{
    std::vector<double> values(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
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

// Times `calls` value updates (`update(value)`) and `calls` full repaints of `widget` in
// alternating batches and records ns per call of each.
template <typename Update>
void RunValueRepaint(benchmark::State &state, QWidget &widget, Update &&update, const std::string &name,
                     double targetRatio = TargetRatio, int calls = Calls)
{
    if (!ApplyLayout(state, widget))
        return;
    widget.show();
    QCoreApplication::processEvents();
    TQVPaintCounter counter;
    widget.installEventFilter(&counter);
    const std::vector<double> values = SweepValues(calls);
    update(values.back() + 1.0);

    double valueNs = 0.0;
    double fullNs = 0.0;
    int valuePaints = 0;
    int fullPaints = 0;
    const int perBatch = calls / Batches;
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
    if (valuePaints < calls || valuePaints > 2 * calls || fullPaints != calls) {
        std::printf("%s: %d paint events for %d value updates, %d for %d full repaints\n", name.c_str(), valuePaints,
                    calls, fullPaints, calls);
        state.SkipWithError("the timed calls did not paint as expected");
        return;
    }
    state.counters["value_paints"] = valuePaints;
    const double allocs
        = QVAllocsPerCall([&, i = 0]() mutable { update(values[std::size_t(i++ % calls)]); }, 100, 1000);
    const double perValue = valueNs / calls;
    const double perFull = fullNs / calls;
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
    RunValueRepaint(state, bar, [&](double v) { bar.SetValue(v); },
                    RowName("bar graph SetValue, 70 x 300, lbsBoth", state));
}
BENCHMARK(BM_BarGraphSetValue)->Apply(LayoutArgs<TQVBarGraphInt>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_SliderSetValue(benchmark::State &state)
{
    TQVSlider slider;
    slider.resize(70, 300);
    slider.SetLabelingStyle(TQVSlider::lbsBoth);
    slider.SetLabelingGap(5);
    RunValueRepaint(state, slider, [&](double v) { slider.SetValue(v); },
                    RowName("slider SetValue, 70 x 300, lbsBoth", state));
}
BENCHMARK(BM_SliderSetValue)->Apply(LayoutArgs<TQVSlider>)->Iterations(1)->Unit(benchmark::kMillisecond);

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
    RunValueRepaint(state, meter, update, RowName("meter sink, block -> RMS -> needle", state), MeterTargetRatio);
}
BENCHMARK(BM_MeterSinkValue)->Apply(LayoutArgs<TQVMeter>)->Iterations(1)->Unit(benchmark::kMillisecond);

// The dial and the panel meter also repaint only their knob or digits on a value change;
// the dial's ratio is informational. The dial's knob is slow to draw: 1000 calls.
void BM_DialSetValue(benchmark::State &state)
{
    TQVDial dial;
    dial.resize(160, 160);
    RunValueRepaint(state, dial, [&](double v) { dial.SetValue(v); }, RowName("dial SetValue, 160 x 160", state), 0.0,
                    1000);
}
BENCHMARK(BM_DialSetValue)->Apply(LayoutArgs<TQVDial>)->Iterations(1)->Unit(benchmark::kMillisecond);

// The panel meter blits a picture per digit position; its full repaint blits the same ones.
constexpr double PanelMeterTargetRatio = 0.5;

void BM_PanelMeterSetValue(benchmark::State &state)
{
    TQVPanelMeterInt panel;
    panel.resize(220, 80);
    panel.SetDecimals(3);
    panel.SetUnitText(QStringLiteral("V"));
    RunValueRepaint(state, panel, [&](double v) { panel.SetValue(v); },
                    RowName("panel meter SetValue, 220 x 80", state), PanelMeterTargetRatio);
}
BENCHMARK(BM_PanelMeterSetValue)->Apply(LayoutArgs<TQVPanelMeterInt>)->Iterations(1)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------------------------------
// Heap allocations per SetValue

struct TQVAllocRow
{
    std::string Name;
    double AllocsPerSetValue = 0.0;
    double Ns = 0.0;
    double QtRepaint = 0.0; // allocations of a bare repaint of the same size and rect
};

// The yardstick of the allocation rows: a plain opaque widget whose paint event opens a
// painter, clips it to the event and fills the rect, what any paint event costs at least.
struct TQVBareWidget : QWidget
{
    TQVBareWidget() { setAttribute(Qt::WA_OpaquePaintEvent); }
    void paintEvent(QPaintEvent *event) override
    {
        QPainter painter(this);
        painter.setClipRegion(event->region());
        painter.fillRect(event->rect(), Qt::gray);
    }
};

// Allocations of one synchronous `repaint(rect)` of a bare widget of `size`.
double BareRepaintAllocs(QSize size, QRect rect)
{
    TQVBareWidget bare;
    bare.resize(size);
    bare.show();
    QCoreApplication::processEvents();
    return QVAllocsPerCall([&] { bare.repaint(rect); }, 100, 1000);
}

std::vector<TQVAllocRow> &AllocRows()
{
    static std::vector<TQVAllocRow> rows;
    return rows;
}

// Calls of `update` traced when VELMORA_ALLOC_BACKTRACE is set (a number; 2 if it is not one).
int TracedCalls()
{
    const char *text = std::getenv("VELMORA_ALLOC_BACKTRACE");
    if (!text || !*text)
        return 0;
    const int n = std::atoi(text);
    return n > 0 ? std::min(n, 100) : 2;
}

// Shows `widget`, alternates `update` between `a` and `b` (warm-up, then counted) and
// records the heap allocations and the time per call; every call must repaint.
void RunSetValueAllocs(benchmark::State &state, QWidget &widget, const std::function<void(double)> &update, double a,
                       double b, const char *name)
{
    // The rect of the value repaint, seen by a filter, for the yardstick.
    struct TQVRectRecorder : QObject
    {
        QRect Rect;
        bool eventFilter(QObject *, QEvent *event) override
        {
            if (event->type() == QEvent::Paint)
                Rect = static_cast<QPaintEvent *>(event)->rect();
            return false;
        }
    } recorder;
    constexpr int Warmup = 200, Counted = 2000;
    if (!ApplyLayout(state, widget))
        return;
    widget.show();
    QCoreApplication::processEvents();
    TQVPaintCounter counter;
    widget.installEventFilter(&counter);
    int call = 0;
    const auto next = [&] { update(call++ % 2 == 0 ? a : b); };
    double allocs = 0.0, ns = 0.0;
    for (auto _ : state) {
        for (int i = 0; i < Warmup; ++i)
            next();
        counter.Paints = 0;
        const std::uint64_t before = QVAllocCount();
        ns = BatchNs([&](int) { next(); }, Counted) / Counted;
        allocs = double(QVAllocCount() - before) / Counted;
    }
    widget.removeEventFilter(&counter);
    widget.installEventFilter(&recorder);
    next();
    widget.removeEventFilter(&recorder);
    const double qtRepaint = BareRepaintAllocs(widget.size(), recorder.Rect);
    if (counter.Paints < Counted) {
        std::printf("%s: %d paint events for %d SetValue calls\n", name, counter.Paints, Counted);
        state.SkipWithError("not every SetValue repainted");
        return;
    }
    state.counters["allocs_per_SetValue"] = allocs;
    state.counters["qt_repaint_allocs"] = qtRepaint;
    state.counters["value_ns"] = ns;
    const std::string row = RowName(name, state);
    auto &rows = AllocRows();
    const auto it = std::find_if(rows.begin(), rows.end(), [&](const TQVAllocRow &r) { return r.Name == row; });
    (it == rows.end() ? rows.emplace_back() : *it) = {row, allocs, ns, qtRepaint};

    if (const int traced = TracedCalls()) {
        QVAllocTraceBegin(4096);
        for (int i = 0; i < traced; ++i) {
            QVAllocTraceMark(i + 1);
            next();
        }
        int dropped = 0;
        const std::vector<TQVAllocRecord> records = QVAllocTraceEnd(&dropped);
        std::fprintf(stderr, "\n=== %s: %zu allocations in %d SetValue calls (%d not recorded) ===\n", row.c_str(),
                     records.size(), traced, dropped);
        QVPrintAllocTrace(records, stderr);
    }
}

void BM_BarGraphAllocs(benchmark::State &state)
{
    TQVBarGraphInt bar;
    bar.resize(70, 300);
    bar.SetLabelingStyle(TQVBarGraphInt::lbsBoth);
    bar.SetLabelingGap(5);
    RunSetValueAllocs(state, bar, [&](double v) { bar.SetValue(v); }, 40, 60, "bar graph 70 x 300");
}
BENCHMARK(BM_BarGraphAllocs)->Apply(LayoutArgs<TQVBarGraphInt>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_SliderAllocs(benchmark::State &state)
{
    TQVSlider slider;
    slider.resize(70, 300);
    slider.SetLabelingStyle(TQVSlider::lbsBoth);
    slider.SetLabelingGap(5);
    RunSetValueAllocs(state, slider, [&](double v) { slider.SetValue(v); }, 40, 60, "slider 70 x 300");
}
BENCHMARK(BM_SliderAllocs)->Apply(LayoutArgs<TQVSlider>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_MeterAllocs(benchmark::State &state)
{
    TQVMeterInt meter;
    meter.resize(200, 200);
    meter.SetValueMin(0);
    meter.SetValueMax(100);
    meter.SetValueGap(10);
    RunSetValueAllocs(state, meter, [&](double v) { meter.SetValue(v); }, 40, 60, "meter 200 x 200, wedge");
}
BENCHMARK(BM_MeterAllocs)->Apply(LayoutArgs<TQVMeterInt>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_DialAllocs(benchmark::State &state)
{
    TQVDial dial;
    dial.resize(160, 160);
    RunSetValueAllocs(state, dial, [&](double v) { dial.SetValue(v); }, 40, 60, "dial 160 x 160");
}
BENCHMARK(BM_DialAllocs)->Apply(LayoutArgs<TQVDial>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_PanelMeterAllocs(benchmark::State &state)
{
    TQVPanelMeterInt panel;
    panel.resize(220, 80);
    panel.SetDecimals(3);
    panel.SetUnitText(QStringLiteral("V"));
    RunSetValueAllocs(state, panel, [&](double v) { panel.SetValue(v); }, 1.234, 5.678, "panel meter 220 x 80");
}
BENCHMARK(BM_PanelMeterAllocs)->Apply(LayoutArgs<TQVPanelMeterInt>)->Iterations(1)->Unit(benchmark::kMillisecond);

// A waterfall of 600 x 300 fed 1024-bin blocks: each block (one new row, the shown ones
// moved on the screen, then the pending repaint processed) against a full redraw of the same
// waterfall (every row coloured again from its levels and the whole widget painted, here
// after a change of LevelMax), in alternating batches. Target: a row at most a tenth of the
// full redraw. The repaint of the unchanged widget is timed too (informational): it still
// draws every pixel of the rows, from the coloured image. Argument 1: with time marks, the
// clock advancing 100 ms per block (a mark every 5 s, 50 rows).
qint64 g_waterfallClock = 0;

void BM_WaterfallRow(benchmark::State &state)
{
    constexpr int Bins = 1024, Rows = 2000, PerBatch = Rows / Batches;
    const bool marks = state.range(0) != 0;
    QVSetWaterfallClock([] { return g_waterfallClock += 100; });
    TQVBenchSource source(1, Bins);
    TQVBenchBlock block(1, Bins);
    TQVWaterfall waterfall;
    waterfall.SetTimeAxis(marks);
    waterfall.resize(600, 300);
    waterfall.SetMeasureSource(&source);
    waterfall.show();
    QCoreApplication::processEvents();
    for (int i = 0; i < Bins; ++i) // a peak over a falling floor
        block.Samples[0][std::size_t(i)] = float(std::pow(10.0, -3.0 - 3.0 * i / Bins) + (i == 200 ? 0.5 : 0.0));
    const auto row = [&](int i) {
        block.Samples[0][std::size_t(i % Bins)] *= 1.5f; // a block unlike the one before
        source.Send(block.Block);
        QCoreApplication::processEvents();
    };
    for (int i = 0; i < waterfall.PlotRect().height(); ++i) // every row filled
        row(i);
    TQVPaintCounter counter;
    waterfall.installEventFilter(&counter);
    const auto redraw = [&](int i) {
        waterfall.SetLevelMax(i % 2 ? 0.0 : -0.5);
        QCoreApplication::processEvents();
    };
    double rowNs = 0.0, redrawNs = 0.0, repaintNs = 0.0;
    int rowPaints = 0, redrawPaints = 0;
    for (auto _ : state) {
        rowNs = redrawNs = repaintNs = 0.0;
        rowPaints = redrawPaints = 0;
        for (int b = 0; b < Batches; ++b) {
            counter.Paints = 0;
            rowNs += BatchNs(row, PerBatch);
            rowPaints += std::exchange(counter.Paints, 0);
            redrawNs += BatchNs(redraw, PerBatch);
            redrawPaints += std::exchange(counter.Paints, 0);
            repaintNs += BatchNs([&](int) { waterfall.repaint(); }, PerBatch);
        }
    }
    waterfall.removeEventFilter(&counter);
    if (rowPaints != Rows || redrawPaints != Rows) {
        std::printf("waterfall: %d paint events for %d rows, %d for %d full redraws\n", rowPaints, Rows, redrawPaints, Rows);
        state.SkipWithError("the timed calls did not paint as expected");
        return;
    }
    state.counters["row_ns"] = rowNs / Rows;
    state.counters["redraw_ns"] = redrawNs / Rows;
    state.counters["repaint_ns"] = repaintNs / Rows;
    const double allocs = QVAllocsPerCall([&, i = 0]() mutable { row(i++); }, 100, 1000);
    QVSetWaterfallClock(nullptr);
    const std::string name = marks ? "waterfall 600 x 300 with time marks" : "waterfall 600 x 300";
    QVRecordResult({name + ", row per 1024-bin block", rowNs / Rows, "full redraw (same waterfall)", redrawNs / Rows,
                    TargetRatio, allocs, -1.0});
    QVRecordResult({name + ", the same row", rowNs / Rows, "repaint (same waterfall)", repaintNs / Rows, 0.0, allocs,
                    -1.0});
}
BENCHMARK(BM_WaterfallRow)->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kMillisecond);

// Min/max decimation: a full repaint of a plot whose area is 1000 pixels wide, with a
// 65 536-point trace against a 1000-point trace (one sample per pixel column). Target: at
// most twice the time.
void BM_PlotDecimation(benchmark::State &state)
{
    constexpr int Repaints = 200;
    const auto makePlot = [](TQVBenchSource &source) {
        auto plot = std::make_unique<TQVPlot>();
        plot->SetAutoScale(false);
        plot->SetMeasureSource(&source);
        plot->resize(1100, 400);
        plot->show();
        for (int i = 0; i < 4; ++i) // the area exactly 1000 pixels wide (the labels take their room)
            plot->resize(plot->width() + 1000 - plot->PlotRect().width(), 400);
        return plot;
    };
    TQVBenchSource longSource(1, 65536), shortSource(1, 1000);
    TQVBenchBlock longBlock(1, 65536), shortBlock(1, 1000);
    for (TQVBenchBlock *b : {&longBlock, &shortBlock}) {
        const std::size_t n = b->Samples[0].size();
        std::uint32_t noise = 1;
        for (std::size_t i = 0; i < n; ++i) { // 20 periods of a sine with 1 % noise
            noise = noise * 1664525u + 1013904223u;
            b->Samples[0][i] = float(0.8 * std::sin(2.0 * std::numbers::pi * 20.0 * double(i) / double(n)) + 0.01 * (noise / 4294967296.0 - 0.5));
        }
    }
    const auto longPlot = makePlot(longSource), shortPlot = makePlot(shortSource);
    longSource.Send(longBlock.Block);
    shortSource.Send(shortBlock.Block);
    QCoreApplication::processEvents();
    if (longPlot->PlotRect().width() != 1000 || shortPlot->PlotRect().width() != 1000) {
        std::printf("plot areas %d and %d pixels wide\n", longPlot->PlotRect().width(), shortPlot->PlotRect().width());
        state.SkipWithError("the plot area is not 1000 pixels wide");
        return;
    }
    double longNs = 0.0, shortNs = 0.0;
    for (auto _ : state) {
        longNs = shortNs = 0.0;
        for (int b = 0; b < Batches; ++b) {
            longNs += BatchNs([&](int) { longPlot->repaint(); }, Repaints / Batches);
            shortNs += BatchNs([&](int) { shortPlot->repaint(); }, Repaints / Batches);
        }
    }
    state.counters["long_ns"] = longNs / Repaints;
    state.counters["short_ns"] = shortNs / Repaints;
    QVRecordResult({"plot 1000 px, repaint of a 65536-point trace", longNs / Repaints, "repaint of a 1000-point trace",
                    shortNs / Repaints, 2.0, 0.0, -1.0});

    // The same trace two pixels wide (or one logical pixel at ratio 2): stroked segment by
    // segment, off the one-pixel line path. Target: at most five times the time.
    longPlot->SetLineWidth(2.0);
    double wideNs = 0.0;
    for (int b = 0; b < Batches; ++b)
        wideNs += BatchNs([&](int) { longPlot->repaint(); }, Repaints / Batches);
    QVRecordResult({"plot 1000 px, 65536 points, LineWidth 2", wideNs / Repaints, "LineWidth 1", longNs / Repaints, 5.0,
                    0.0, -1.0});
}
BENCHMARK(BM_PlotDecimation)->Iterations(1)->Unit(benchmark::kMillisecond);

// CPU time of this thread (the widget demo) or of the whole process (the QML demo: the
// scene graph may render on a thread of its own), in ns.
double CpuNs(clockid_t clock)
{
    timespec t{};
    clock_gettime(clock, &t);
    return double(t.tv_sec) * 1e9 + double(t.tv_nsec);
}

// Runs `block` (one block through a demo panel and its repaints) 50 times to settle, then
// 1000 times timed: CPU per block against the block's duration in real time (1024 samples
// at 48 kHz). The panel must use under 5 % of one core.
template <typename Block>
void RunDemoChain(benchmark::State &state, Block &&block, clockid_t clock, const char *name)
{
    for (int i = 0; i < 50; ++i)
        block();
    constexpr int Blocks = 1000;
    double cpuNs = 0.0, wallNs = 0.0;
    for (auto _ : state) {
        const double cpu = CpuNs(clock);
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < Blocks; ++i)
            block();
        wallNs = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / Blocks;
        cpuNs = (CpuNs(clock) - cpu) / Blocks;
    }
    const double blockNs = 1e9 * TQVDemoPanel::BlockLength / TQVDemoPanel::SampleRate;
    state.counters["cpu_ns_per_block"] = cpuNs;
    state.counters["blocks_per_s"] = 1e9 / wallNs;
    state.counters["core_share"] = cpuNs / blockNs;
    const double allocs = QVAllocsPerCall(block, 10, 100);
    QVRecordResult({name, cpuNs, "block duration at 48 kHz", blockNs, 0.05, allocs, -1.0});
}

// The whole demo panel, shown offscreen: each block runs the generator, the low-pass, the
// RMS analyzer with its four displays, the trigger and the FFT, and then the pending
// repaints of the plots are processed.
void BM_DemoChainRealTime(benchmark::State &state)
{
    TQVDemoPanel panel;
    panel.resize(1000, 760);
    panel.show();
    QCoreApplication::processEvents();
    panel.Generator().Run();
    RunDemoChain(
        state,
        [&] {
            panel.Generator().Tick();
            QCoreApplication::processEvents();
        },
        CLOCK_THREAD_CPUTIME_ID, "demo chain, CPU per 1024-sample block");
}
BENCHMARK(BM_DemoChainRealTime)->Iterations(1)->Unit(benchmark::kMillisecond);

#ifdef VELMORA_DEMO_QML
// ---------------------------------------------------------------------------------------
// The Qt Quick items

// One frame of `view`, as the window system's update request starts it: the scene graph
// syncs the dirty items (the painted item paints its dirty area) and renders.
void RenderFrame(QQuickView &view)
{
    QEvent request(QEvent::UpdateRequest);
    QCoreApplication::sendEvent(&view, &request);
}

// `calls` value updates of the item, each with its frame, against `calls` value updates of
// a widget of the same class, size and configuration (a synchronous repaint of its value
// area), in alternating batches. The item must not cost more than the widget; its full
// repaint is recorded beside it, for information.
template <typename Item, typename Widget>
void RunQuickValueRepaint(benchmark::State &state, const std::string &name, QSize size,
                          const std::function<void(QWidget &)> &configure, int calls = 2000)
{
    QQuickView view;
    view.resize(size);
    auto *item = new Item(view.contentItem());
    item->setSize(QSizeF(size));
    Widget widget;
    widget.resize(size);
    for (QWidget *w : {item->widget(), static_cast<QWidget *>(&widget)}) {
        configure(*w);
        w->setProperty(ScaleLayoutProperty, int(state.range(0)));
    }
    view.show();
    widget.show();
    QCoreApplication::processEvents();
    RenderFrame(view);
    const std::vector<double> values = SweepValues(calls);
    const auto itemValue = [&](int i) {
        item->setValue(values[std::size_t(i)]);
        RenderFrame(view);
    };
    const auto widgetValue = [&](int i) { widget.setProperty("Value", values[std::size_t(i)]); };
    const auto itemFull = [&](int) {
        item->update();
        RenderFrame(view);
    };
    double itemNs = 0.0, widgetNs = 0.0, fullNs = 0.0;
    const int perBatch = calls / Batches;
    for (auto _ : state) {
        for (int b = 0; b < Batches; ++b) {
            itemNs += BatchNs([&](int i) { itemValue(b * perBatch + i); }, perBatch);
            widgetNs += BatchNs([&](int i) { widgetValue(b * perBatch + i); }, perBatch);
            fullNs += BatchNs(itemFull, perBatch);
        }
    }
    if (item->value() != values.back()) {
        state.SkipWithError("the item did not take the values");
        return;
    }
    state.counters["item_ns"] = itemNs / calls;
    state.counters["widget_ns"] = widgetNs / calls;
    const double allocs = QVAllocsPerCall([&, i = 0]() mutable { itemValue(i++ % calls); }, 100, 1000);
    QVRecordResult({name, itemNs / calls, "value repaint of the widget", widgetNs / calls, 1.0, allocs, -1.0});
    QVRecordResult({name + ", full", fullNs / calls, "value repaint of the item", itemNs / calls, 0.0, -1.0, -1.0});
}

void ConfigureLinear(QWidget &w)
{
    w.setProperty("LabelingStyle", "lbsBoth");
    w.setProperty("LabelingGap", 5.0);
}

void BM_QuickBarGraphValue(benchmark::State &state)
{
    RunQuickValueRepaint<TQVQuickBarGraph, TQVBarGraph>(state, RowName("quick bar graph value, 70 x 300", state),
                                                        QSize(70, 300), ConfigureLinear);
}
BENCHMARK(BM_QuickBarGraphValue)->Apply(LayoutArgs<TQVBarGraphInt>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_QuickSliderValue(benchmark::State &state)
{
    RunQuickValueRepaint<TQVQuickSlider, TQVSlider>(state, RowName("quick slider value, 70 x 300", state),
                                                    QSize(70, 300), ConfigureLinear);
}
BENCHMARK(BM_QuickSliderValue)->Apply(LayoutArgs<TQVSlider>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_QuickMeterValue(benchmark::State &state)
{
    RunQuickValueRepaint<TQVQuickMeter, TQVMeter>(state, RowName("quick meter value, 200 x 200", state),
                                                  QSize(200, 200), [](QWidget &w) { w.setProperty("ValueGap", 10.0); });
}
BENCHMARK(BM_QuickMeterValue)->Apply(LayoutArgs<TQVMeter>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_QuickDialValue(benchmark::State &state)
{
    RunQuickValueRepaint<TQVQuickDial, TQVDial>(state, RowName("quick dial value, 160 x 160", state), QSize(160, 160),
                                                [](QWidget &) {}, 500);
}
BENCHMARK(BM_QuickDialValue)->Apply(LayoutArgs<TQVDial>)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_QuickPanelMeterValue(benchmark::State &state)
{
    RunQuickValueRepaint<TQVQuickPanelMeter, TQVPanelMeter>(
        state, RowName("quick panel meter value, 220 x 80", state), QSize(220, 80),
        [](QWidget &w) { w.setProperty("Decimals", 3); });
}
BENCHMARK(BM_QuickPanelMeterValue)->Apply(LayoutArgs<TQVPanelMeterInt>)->Iterations(1)->Unit(benchmark::kMillisecond);

// The demo panel in QML, run as BM_DemoChainRealTime runs the widget one: each block, then
// the frame it asks for; CPU of the whole process.
void BM_QuickDemoChainRealTime(benchmark::State &state)
{
    TQVQuickDemo demo;
    if (!demo.Loaded()) {
        state.SkipWithError("demo.qml did not load");
        return;
    }
    demo.Show();
    QCoreApplication::processEvents();
    demo.RunBlocks(1);
    RunDemoChain(
        state,
        [&] {
            demo.Tick();
            demo.RenderFrame();
            QCoreApplication::processEvents();
        },
        CLOCK_PROCESS_CPUTIME_ID, "QML demo chain, CPU per 1024-sample block");
}
BENCHMARK(BM_QuickDemoChainRealTime)->Iterations(1)->Unit(benchmark::kMillisecond);
#endif

void PrintSummary()
{
    std::printf("\nSummary (ratio = value repaint / full repaint of the same control, timed in this run)\n");
    int missed = 0;
    for (const TQVBenchResult &r : QVResults()) {
        const bool informational = r.TargetRatio <= 0.0;
        const bool met = informational || r.Ratio() < r.TargetRatio;
        missed += met ? 0 : 1;
        char target[32] = "(none)";
        if (!informational)
            std::snprintf(target, sizeof target, "(< %g)", r.TargetRatio);
        std::printf("%-48s %10.1f ns  %-28s %10.1f ns  ratio %6.3f %-8s allocs/call %6.1f  %s\n", r.Name.c_str(),
                    r.SubjectNs, r.YardstickName.c_str(), r.YardstickNs, r.Ratio(), target, r.AllocsPerBlock,
                    informational ? "informational" : met ? "target met" : "TARGET MISSED");
    }
    std::printf("%d of %zu rows missed a target\n", missed, QVResults().size());
    if (!AllocRows().empty())
        std::printf("\nHeap allocations per SetValue in steady state (two values alternating, every call repaints);\n"
                    "of which Qt's repaint: a bare repaint(rect) of a plain opaque widget of the same size and rect\n");
    for (const TQVAllocRow &r : AllocRows())
        std::printf("%-48s %8.2f allocs/SetValue  of which Qt's repaint %6.2f  ours %6.2f %10.1f ns/SetValue\n",
                    r.Name.c_str(), r.AllocsPerSetValue, r.QtRepaint, r.AllocsPerSetValue - r.QtRepaint, r.Ns);
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
    const struct
    {
        const char *Name;
        const QMetaObject &Meta;
    } classes[] = {{"bar graph", TQVBarGraphInt::staticMetaObject}, {"slider", TQVSlider::staticMetaObject},
                   {"meter", TQVMeterInt::staticMetaObject},        {"dial", TQVDial::staticMetaObject},
                   {"panel meter", TQVPanelMeterInt::staticMetaObject}};
    for (const auto &c : classes)
        if (!HasScaleLayout(c.Meta))
            std::printf("%s: no ScaleLayout property, classic layout only\n", c.Name);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    PrintSummary();
    return 0;
}
