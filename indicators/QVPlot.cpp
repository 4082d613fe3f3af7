#include "indicators/QVPlot.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <tuple>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <QtCore/QEvent>
#include <QtCore/QLocale>
#include <QtCore/QSaveFile>
#include <QtCore/QUrl>
#include <QtGui/QFontMetrics>
#include <QtGui/QFontMetricsF>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtGui/QPalette>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtGui/QPolygonF>

#include "controls/qvCommon.h"
#include "controls/qvFormat.h"
#include "controls/scale/qvScaleEngine.h"
#include "controls/scale/qvPaintKit.h"
#include "analysis/qvDistortion.h"
#include "framework/qvResStrings.h"
#include "indicators/qvGraphSink_p.h"
#include "indicators/qvLimitLine_p.h"

namespace {

// Trace colours (0x00BBGGRR): saturated enough for a white plot area, distinct from each
// other also for the common kinds of colour blindness in the first four.
constexpr std::array<TQVColor, TQVPlot::MaxTraces> DefaultColors = {
    0xC0661A, // blue
    0x1A6EE0, // orange
    0x3C9A2B, // green
    0x5C25C2, // crimson
    0xB04A7A, // violet
    0x8A7A0B, // teal
    0x0A8FD9, // amber
    0x57504A, // graphite
};

constexpr TQVColor DefaultGridColor = 0xE6E1DC;
constexpr TQVColor DefaultAxisColor = 0x403A36;

constexpr int TickLength = 4;
constexpr int LabelGap = 3;
constexpr int LegendSwatch = 18;

// Identifier of the SI prefix for a power of ten that is a multiple of 3, -24 to 24.
int PrefixIdForExponent(int e3)
{
    if (e3 == 0)
        return sipNone;
    if (e3 < 0)
        return sipMilli + e3 / 3 + 1; // -3 milli, -6 micro, ... -24 yocto
    return sipKilo + e3 / 3 - 1;       // 3 kilo, 6 mega, ... 24 yotta
}

bool Finite(double v) { return std::isfinite(v); }


// Min/max decimation: the sample's key (itself, or its magnitude in dB, where the level rises
// with it) and whether it can be placed at all.
float Key(float y, bool decibel) { return decibel ? std::fabs(y) : y; }
bool Placeable(float y, bool decibel)
{
    return std::fabs(y) <= std::numeric_limits<float>::max() && !(decibel && y == 0.0f);
}

struct RunExtremes
{
    float Lo, Hi;
    bool Bad; // a sample that cannot be placed: the caller scans the run one by one
};

// The extremes of the keys of samples [from, to), four at a time where SSE2 is there.
template <bool Decibel>
RunExtremes ScanRun(const float *x, int from, int to)
{
    RunExtremes r{std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(), false};
    int j = from;
#ifdef __SSE2__
    __m128 lo = _mm_set1_ps(r.Lo), hi = _mm_set1_ps(r.Hi), bad = _mm_setzero_ps();
    const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
    const __m128 largest = _mm_set1_ps(std::numeric_limits<float>::max());
    for (; j + 4 <= to; j += 4) {
        __m128 v = _mm_loadu_ps(x + j);
        const __m128 magnitude = _mm_and_ps(v, absMask);
        bad = _mm_or_ps(bad, _mm_cmpnle_ps(magnitude, largest)); // NaN and infinities
        if constexpr (Decibel) {
            bad = _mm_or_ps(bad, _mm_cmpeq_ps(magnitude, _mm_setzero_ps()));
            v = magnitude;
        }
        lo = _mm_min_ps(lo, v);
        hi = _mm_max_ps(hi, v);
    }
    alignas(16) float l[4], h[4];
    _mm_store_ps(l, lo);
    _mm_store_ps(h, hi);
    for (int k = 0; k < 4; ++k) {
        r.Lo = std::min(r.Lo, l[k]);
        r.Hi = std::max(r.Hi, h[k]);
    }
    r.Bad = _mm_movemask_ps(bad) != 0;
#endif
    for (; j < to; ++j) {
        r.Bad = r.Bad || !Placeable(x[j], Decibel);
        r.Lo = std::min(r.Lo, Key(x[j], Decibel));
        r.Hi = std::max(r.Hi, Key(x[j], Decibel));
    }
    return r;
}

} // namespace

// What the plot keeps: its properties, the received traces and the layout drawn last.
class TQVPlot::PrivateData
{
public:
    std::unique_ptr<TQVMeasureLink> inputLink;

    std::array<std::vector<float>, MaxTraces> traces;
    std::array<TQVColor, MaxTraces> colors = DefaultColors;
    std::array<QString, MaxTraces> names;
    long double xStart = 0.0L;
    long double xSpan = 0.0L;
    bool settingsValid = false;
    bool singleValue = false;

    quint32 channelMask = 0xFF;
    int channelCurrent = 0;
    TQVPlotScale scaleY = scLinear;
    double decibelReference = 1.0;
    double decibelFloor = -200.0;
    bool powerValues = false;
    bool autoScale = true;
    double yMin = -1.0;
    double yMax = 1.0;
    bool xLog = false;
    bool grid = true;
    TQVColor gridColor = DefaultGridColor;
    TQVColor background = QVColors::clWhite;
    TQVColor axisColor = DefaultAxisColor;
    QString xUnit = QStringLiteral("s");
    QString yUnit = QStringLiteral("V");
    QString title;
    bool legend = false;
    int historyLength = 500;
    double lineWidth = 1.0;
    TQVScaleLayout scaleLayout = slClassic;

    double xLo = 0.0, xHi = 1.0; // shown ranges
    double yLo = -1.0, yHi = 1.0;
    bool yFromData = false; // the autoscaled range has seen data since the last reset
    Layout layout;
    TQVPlotAxesLayout axes;
    // What the adaptive axes were laid out for.
    TQVPlotAxisInfo axesX, axesY;
    QFont axesFont;
    QRect axesBounds;

    // Measuring.
    bool xAutoScale = true;
    double xMin = 0.0, xMax = 1.0;
    bool interactive = false;
    bool cursors = false;
    double cursor1 = 0.0, cursor2 = 0.0;
    bool peakMarker = false;
    bool cursorStatistics = false;
    bool distortion = false;
    int distortionHarmonics = 10;
    TQVPlotAveraging averaging = avNone;
    int averageCount = 8;
    bool maxHold = false, minHold = false;
    QString upperLimitText, lowerLimitText;
    std::vector<QPointF> upperLimit, lowerLimit;
    TQVColor limitColor = 0x2828D0; // red
    bool limitFailed = false;
    struct Processing
    {
        std::vector<double> mean;
        int blocks = 0;
        std::vector<float> maxHold, minHold;
    };
    std::array<Processing, MaxTraces> processing;
    struct View
    {
        double x0, x1, y0, y1;
    };
    std::vector<View> zoom;
    bool zoomTransient = false; // the view on top came from the wheel, a key or a pan
    enum class Drag : quint8 { None, Band, Pan, Cursor1, Cursor2 } drag = Drag::None;
    QPoint pressAt, dragAt;
    int readoutPlace = 0; // see ReadoutBox
    View pressView{};
};

TQVPlot::TQVPlot(QWidget *parent)
    : TQVCustomPanel(parent)
    , m_data(std::make_unique<PrivateData>())
{
    m_data->inputLink = std::make_unique<TQVMeasureLink>(this);
    for (int k = 0; k < MaxTraces; ++k)
        m_data->names[std::size_t(k)] = tr("Ch %1").arg(k);
    m_data->inputLink->OnUpdateSettings = [this](TQVMeasureLink *link) { MLOnUpdateSettings(link); };
    m_data->inputLink->OnNewData = [this](TQVMeasureLink *link, TQVDescArraySingle &data) { MLOnNewData(link, data); };
    setAccessibleName(tr("Plot"));
    // The plot area is painted opaque on every repaint.
    setAttribute(Qt::WA_OpaquePaintEvent);
    Refresh(false);
}

TQVPlot::~TQVPlot()
{
    // No callback may reach the plot while the link disconnects.
    m_data->inputLink->OnNewData = nullptr;
    m_data->inputLink->OnUpdateSettings = nullptr;
    m_data->inputLink.reset();
}

// ---------------------------------------------------------------------------------------
// Accessors

TQVMeasureSource *TQVPlot::MeasureSource() const
{
    return m_data->inputLink->Source();
}

TQVMeasureLink *TQVPlot::InputLink() const
{
    return m_data->inputLink.get();
}

quint32 TQVPlot::ChannelMask() const
{
    return m_data->channelMask;
}

int TQVPlot::ChannelCurrent() const
{
    return m_data->channelCurrent;
}

TQVColor TQVPlot::ChannelColor() const
{
    return TraceColor(m_data->channelCurrent);
}

void TQVPlot::SetChannelColor(TQVColor color)
{
    SetTraceColor(m_data->channelCurrent, color);
}

QString TQVPlot::ChannelName() const
{
    return TraceName(m_data->channelCurrent);
}

void TQVPlot::SetChannelName(const QString &name)
{
    SetTraceName(m_data->channelCurrent, name);
}

TQVPlot::TQVPlotScale TQVPlot::ScaleY() const
{
    return m_data->scaleY;
}

double TQVPlot::DecibelReference() const
{
    return m_data->decibelReference;
}

double TQVPlot::DecibelFloor() const
{
    return m_data->decibelFloor;
}

bool TQVPlot::PowerValues() const
{
    return m_data->powerValues;
}

bool TQVPlot::AutoScale() const
{
    return m_data->autoScale;
}

double TQVPlot::YMin() const
{
    return m_data->yMin;
}

double TQVPlot::YMax() const
{
    return m_data->yMax;
}

bool TQVPlot::XLog() const
{
    return m_data->xLog;
}

bool TQVPlot::Grid() const
{
    return m_data->grid;
}

TQVColor TQVPlot::GridColor() const
{
    return m_data->gridColor;
}

TQVColor TQVPlot::Background() const
{
    return m_data->background;
}

TQVColor TQVPlot::AxisColor() const
{
    return m_data->axisColor;
}

QString TQVPlot::XUnit() const
{
    return m_data->xUnit;
}

QString TQVPlot::YUnit() const
{
    return m_data->yUnit;
}

QString TQVPlot::Title() const
{
    return m_data->title;
}

bool TQVPlot::Legend() const
{
    return m_data->legend;
}

int TQVPlot::HistoryLength() const
{
    return m_data->historyLength;
}

double TQVPlot::LineWidth() const
{
    return m_data->lineWidth;
}

TQVScaleLayout TQVPlot::ScaleLayout() const
{
    return m_data->scaleLayout;
}

const TQVPlotAxesLayout &TQVPlot::AdaptiveLayout() const
{
    return m_data->axes;
}

double TQVPlot::XMinShown() const
{
    return m_data->xLo;
}

double TQVPlot::XMaxShown() const
{
    return m_data->xHi;
}

double TQVPlot::YMinShown() const
{
    return m_data->yLo;
}

double TQVPlot::YMaxShown() const
{
    return m_data->yHi;
}

QList<double> TQVPlot::XTicks() const
{
    return m_data->layout.X.Ticks;
}

QStringList TQVPlot::XTickLabels() const
{
    return m_data->layout.X.Labels;
}

QList<double> TQVPlot::YTicks() const
{
    return m_data->layout.Y.Ticks;
}

QStringList TQVPlot::YTickLabels() const
{
    return m_data->layout.Y.Labels;
}

bool TQVPlot::Adaptive() const
{
    return m_data->scaleLayout == slAdaptive;
}

// ---------------------------------------------------------------------------------------
// Source

void TQVPlot::SetMeasureSource(TQVMeasureSource *source)
{
    QVConnectGraphSink(*m_data->inputLink, source, [this] { emit SettingsChanged(); });
}

void TQVPlot::WriteMeasureSource(TQVMeasureSource *source)
{
    GuardedWrite([&] { SetMeasureSource(source); });
}

void TQVPlot::MLOnUpdateSettings(TQVMeasureLink *link)
{
    TQVMeasureSourceSettings settings{};
    if (!QVReadGraphSinkSettings(*link, settings))
        return;
    ReadSettings();
    Refresh(false);
    emit DataChanged();
}

void TQVPlot::ReadSettings()
{
    TQVMeasureSource *source = m_data->inputLink->Source();
    TQVMeasureSourceSettings settings{};
    if (source)
        source->GetSettings(settings);
    const bool valid = source && QVSettingsValid(settings) && std::isfinite(double(settings.XStart))
        && std::isfinite(double(settings.XSpan));
    if (!valid) {
        m_data->settingsValid = false;
        return;
    }
    const bool single = source->Capabilities().Contains(mscSingleValue);
    if (single != m_data->singleValue) {
        for (auto &trace : m_data->traces)
            trace.clear();
    }
    m_data->singleValue = single;
    m_data->settingsValid = true;
    m_data->xStart = settings.XStart;
    m_data->xSpan = settings.XSpan;
    // Channels the source no longer delivers disappear.
    for (int k = std::max(0, int(settings.ChannelCount)); k < MaxTraces; ++k)
        m_data->traces[std::size_t(k)].clear();
    // Averages and holds of another axis mean nothing.
    m_data->processing = {};
}

void TQVPlot::MLOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    bool any = false;
    for (int k = 0; k < MaxTraces; ++k)
        any = any || QVHasData(data.Channels[k]);
    if (!any)
        return;
    for (int k = 0; k < MaxTraces; ++k) {
        const QVDescArraySingle &slot = data.Channels[k];
        std::vector<float> &trace = m_data->traces[std::size_t(k)];
        if (m_data->singleValue) {
            if (!QVHasData(slot))
                continue;
            trace.push_back(slot.Data[0]);
            if (trace.size() > std::size_t(m_data->historyLength))
                trace.erase(trace.begin(), trace.end() - m_data->historyLength);
        } else if (QVHasData(slot)) {
            trace.assign(slot.Data, slot.Data + slot.Count);
            Process(k);
        } else {
            trace.clear();
            m_data->processing[std::size_t(k)] = {};
        }
    }
    Refresh(true);
    emit DataChanged();
}

// ---------------------------------------------------------------------------------------
// Properties

void TQVPlot::SetChannelMask(quint32 mask)
{
    if (mask == m_data->channelMask)
        return;
    m_data->channelMask = mask;
    m_data->yFromData = false;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetChannelCurrent(int channel)
{
    if (channel < 0 || channel >= MaxTraces || !QVChange(m_data->channelCurrent, channel))
        return;
    // ChannelColor and ChannelName now read another channel.
    Notify(TQVChangeGroup::Settings);
    Notify(TQVChangeGroup::Appearance);
}

TQVColor TQVPlot::TraceColor(int channel) const
{
    return channel >= 0 && channel < MaxTraces ? m_data->colors[std::size_t(channel)] : 0;
}

void TQVPlot::SetTraceColor(int channel, TQVColor color)
{
    if (channel < 0 || channel >= MaxTraces || m_data->colors[std::size_t(channel)] == color)
        return;
    m_data->colors[std::size_t(channel)] = color;
    Changed(TQVChangeGroup::Appearance);
}

QString TQVPlot::TraceName(int channel) const
{
    return channel >= 0 && channel < MaxTraces ? m_data->names[std::size_t(channel)] : QString();
}

void TQVPlot::SetTraceName(int channel, const QString &name)
{
    if (channel < 0 || channel >= MaxTraces || m_data->names[std::size_t(channel)] == name)
        return;
    m_data->names[std::size_t(channel)] = name;
    Refresh(false);
    Notify(TQVChangeGroup::Appearance);
}

void TQVPlot::SetScaleY(TQVPlotScale scale)
{
    if (scale == m_data->scaleY || scale > scDecibel)
        return;
    m_data->scaleY = scale;
    m_data->yFromData = false; // an autoscaled range starts afresh in the new units
    DropZoom();
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetDecibelReference(double reference)
{
    if (reference == m_data->decibelReference || !Finite(reference) || !(reference > 0.0))
        return;
    m_data->decibelReference = reference;
    m_data->yFromData = false;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetDecibelFloor(double floor)
{
    if (floor == m_data->decibelFloor || !Finite(floor))
        return;
    m_data->decibelFloor = floor;
    m_data->yFromData = false;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetPowerValues(bool power)
{
    if (power == m_data->powerValues)
        return;
    m_data->powerValues = power;
    m_data->yFromData = false;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetAutoScale(bool autoScale)
{
    if (autoScale == m_data->autoScale)
        return;
    m_data->autoScale = autoScale;
    m_data->yFromData = false;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetYMin(double value)
{
    if (value == m_data->yMin || !Finite(value) || !(value < m_data->yMax))
        return;
    m_data->yMin = value;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetYMax(double value)
{
    if (value == m_data->yMax || !Finite(value) || !(value > m_data->yMin))
        return;
    m_data->yMax = value;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetYRange(double yMin, double yMax)
{
    if (!Finite(yMin) || !Finite(yMax) || !(yMin < yMax) || (yMin == m_data->yMin && yMax == m_data->yMax))
        return;
    m_data->yMin = yMin;
    m_data->yMax = yMax;
    Refresh(false);
    Notify(TQVChangeGroup::Appearance);
}

void TQVPlot::SetXLog(bool xLog)
{
    if (xLog == m_data->xLog)
        return;
    m_data->xLog = xLog;
    DropZoom();
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetGrid(bool grid)
{
    if (grid == m_data->grid)
        return;
    m_data->grid = grid;
    Changed(TQVChangeGroup::Appearance);
}

void TQVPlot::SetGridColor(TQVColor color)
{
    if (color == m_data->gridColor)
        return;
    m_data->gridColor = color;
    Changed(TQVChangeGroup::Appearance);
}

void TQVPlot::SetBackground(TQVColor color)
{
    if (color == m_data->background)
        return;
    m_data->background = color;
    Changed(TQVChangeGroup::Appearance);
}

void TQVPlot::SetAxisColor(TQVColor color)
{
    if (color == m_data->axisColor)
        return;
    m_data->axisColor = color;
    Changed(TQVChangeGroup::Appearance);
}

void TQVPlot::SetXUnit(const QString &unit)
{
    if (unit == m_data->xUnit)
        return;
    m_data->xUnit = unit;
    Refresh(false);
    Notify(TQVChangeGroup::Appearance);
}

void TQVPlot::SetYUnit(const QString &unit)
{
    if (unit == m_data->yUnit)
        return;
    m_data->yUnit = unit;
    Refresh(false);
    Notify(TQVChangeGroup::Appearance);
}

void TQVPlot::SetTitle(const QString &title)
{
    if (title == m_data->title)
        return;
    m_data->title = title;
    Refresh(false);
    Notify(TQVChangeGroup::Appearance);
}

void TQVPlot::SetLegend(bool legend)
{
    if (legend == m_data->legend)
        return;
    m_data->legend = legend;
    Refresh(false);
    Notify(TQVChangeGroup::Appearance);
}

void TQVPlot::SetScaleLayout(TQVScaleLayout layout)
{
    if (layout == m_data->scaleLayout || layout > slAdaptive)
        return;
    m_data->scaleLayout = layout;
    updateGeometry();
    Refresh(false);
    Notify(TQVChangeGroup::Appearance);
}

void TQVPlot::SetHistoryLength(int length)
{
    if (length == m_data->historyLength || length < 2 || length > 1000000)
        return;
    m_data->historyLength = length;
    if (m_data->singleValue) {
        for (auto &trace : m_data->traces) {
            if (trace.size() > std::size_t(length))
                trace.erase(trace.begin(), trace.end() - length);
        }
    }
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetLineWidth(double width)
{
    if (width == m_data->lineWidth || !Finite(width) || width < 0.5 || width > 10.0)
        return;
    m_data->lineWidth = width;
    Changed(TQVChangeGroup::Appearance);
}

// ---------------------------------------------------------------------------------------
// What is shown

const std::vector<float> &TQVPlot::TraceData(int channel) const
{
    static const std::vector<float> none;
    return channel >= 0 && channel < MaxTraces ? m_data->traces[std::size_t(channel)] : none;
}

double TQVPlot::SampleX(int channel, int index) const
{
    const std::vector<float> &trace = TraceData(channel);
    const long double n = trace.empty() ? 1.0L : static_cast<long double>(trace.size());
    if (!m_data->settingsValid)
        return double(index);
    if (m_data->singleValue) // the newest value at XStart, one XSpan per older value
        return double(m_data->xStart - (n - 1.0L - index) * m_data->xSpan);
    return double(m_data->xStart + index * m_data->xSpan / n);
}

QRect TQVPlot::PlotRect() const
{
    return m_data->layout.Plot;
}

double TQVPlot::DisplayValue(double y) const
{
    if (m_data->scaleY == scLinear)
        return y;
    const double factor = m_data->powerValues ? 10.0 : 20.0;
    const double level = factor * std::log10(std::fabs(y) / m_data->decibelReference);
    // A zero has no level (minus infinity): it is not drawn, like NaN.
    if (!Finite(level))
        return std::isnan(level) ? level : -std::numeric_limits<double>::infinity();
    return std::max(level, m_data->decibelFloor);
}

QColor TQVPlot::AxisInk() const
{
    return Adaptive() && m_data->axisColor == DefaultAxisColor ? palette().color(QPalette::WindowText) : ToQColor(m_data->axisColor);
}

QColor TQVPlot::BackgroundInk() const
{
    return Adaptive() && m_data->background == QVColors::clWhite ? palette().color(QPalette::Base) : ToQColor(m_data->background);
}

QColor TQVPlot::GridInk() const
{
    if (!Adaptive() || m_data->gridColor != DefaultGridColor)
        return ToQColor(m_data->gridColor);
    // A faint line of the text colour on the plot area, light or dark.
    const QColor base = BackgroundInk(), text = palette().color(QPalette::Text);
    const auto mix = [](int a, int b) { return (a * 84 + b * 16) / 100; };
    return QColor(mix(base.red(), text.red()), mix(base.green(), text.green()), mix(base.blue(), text.blue()));
}

QColor TQVPlot::TraceInk(int channel) const
{
    const TQVColor color = m_data->colors[std::size_t(channel)];
    // The default traces are saturated for a light plot area; on a dark one they are lightened.
    if (Adaptive() && color == DefaultColors[std::size_t(channel)] && BackgroundInk().lightness() < 128)
        return ToQColor(color).lighter(160);
    return ToQColor(color);
}

bool TQVPlot::ChannelShown(int channel) const
{
    return (m_data->channelMask >> channel) & 1u;
}

void TQVPlot::UpdateXRange()
{
    if (!m_data->zoom.empty() || (!m_data->xAutoScale && (!m_data->xLog || m_data->xMin > 0.0))) {
        m_data->xLo = m_data->zoom.empty() ? m_data->xMin : m_data->zoom.back().x0;
        m_data->xHi = m_data->zoom.empty() ? m_data->xMax : m_data->zoom.back().x1;
        return;
    }
    double lo = 0.0, hi = 1.0;
    if (m_data->settingsValid) {
        const long double a = m_data->singleValue ? m_data->xStart - (m_data->historyLength - 1) * m_data->xSpan : m_data->xStart;
        const long double b = m_data->singleValue ? m_data->xStart : m_data->xStart + m_data->xSpan;
        lo = double(std::min(a, b));
        hi = double(std::max(a, b));
    } else {
        std::size_t longest = 0;
        for (const auto &trace : m_data->traces)
            longest = std::max(longest, trace.size());
        if (longest > 1)
            hi = double(longest - 1);
    }
    if (m_data->xLog && hi > 0.0 && !(lo > 0.0)) {
        // The first sample right of zero opens a logarithmic axis.
        double first = hi / 1000.0;
        for (int k = 0; k < MaxTraces; ++k) {
            const std::size_t n = m_data->traces[std::size_t(k)].size();
            for (std::size_t i = 0; i < std::min<std::size_t>(n, 4); ++i) {
                const double x = SampleX(k, int(i));
                if (x > 0.0) {
                    first = std::min(first, x);
                    break;
                }
            }
        }
        lo = first;
    }
    if (!(hi > lo)) // a degenerate span still gets an axis
        hi = lo + (lo != 0.0 ? std::fabs(lo) : 1.0);
    m_data->xLo = lo;
    m_data->xHi = hi;
}

void TQVPlot::UpdateYRange()
{
    if (!m_data->zoom.empty()) {
        m_data->yLo = m_data->zoom.back().y0;
        m_data->yHi = m_data->zoom.back().y1;
        return;
    }
    if (!m_data->autoScale) {
        m_data->yLo = m_data->yMin;
        m_data->yHi = m_data->yMax;
        return;
    }
    double lo = std::numeric_limits<double>::infinity();
    double hi = -lo;
    for (int k = 0; k < MaxTraces; ++k) {
        if (!ChannelShown(k))
            continue;
        const auto &held = m_data->processing[std::size_t(k)];
        for (const std::vector<float> *series : {&std::as_const(m_data->traces[std::size_t(k)]), &held.maxHold, &held.minHold}) {
            for (float y : *series) {
                const double v = DisplayValue(double(y));
                // Levels on the dB floor are zeros or below it: they do not pull the range down.
                if (!Finite(v) || (m_data->scaleY == scDecibel && v <= m_data->decibelFloor))
                    continue;
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
        }
    }
    if (!(hi >= lo)) { // nothing to scale to
        if (!m_data->yFromData) {
            m_data->yLo = m_data->scaleY == scDecibel ? -100.0 : -1.0;
            m_data->yHi = m_data->scaleY == scDecibel ? 0.0 : 1.0;
        }
        return;
    }
    const bool fresh = !m_data->yFromData;
    m_data->yFromData = true;
    // Hysteresis: a range that holds the data and that the data fills to at least 40 %
    // stays, so that a noisy trace does not make the axis jitter.
    if (!fresh && lo >= m_data->yLo && hi <= m_data->yHi && (hi - lo) >= 0.4 * (m_data->yHi - m_data->yLo))
        return;
    double span = hi - lo;
    if (span <= std::fabs(hi) * 1e-9 || span == 0.0)
        span = hi != 0.0 ? std::fabs(hi) * 0.2 : 2.0;
    const double a = lo - 0.05 * span - (hi == lo ? span / 2 : 0.0);
    const double b = hi + 0.05 * span + (hi == lo ? span / 2 : 0.0);
    // Round the ends out to a fine 1-2-5 step, so the ends are round numbers.
    double step = 0.0;
    LinearTicks(a, b, 20, &step);
    if (step > 0.0) {
        m_data->yLo = std::floor(a / step + 1e-9) * step + 0.0; // + 0.0: no negative zero
        m_data->yHi = std::ceil(b / step - 1e-9) * step + 0.0;
    } else {
        m_data->yLo = a;
        m_data->yHi = b;
    }
    if (!(m_data->yHi > m_data->yLo)) {
        m_data->yLo = a;
        m_data->yHi = b;
    }
}

void TQVPlot::Refresh(bool dataOnly)
{
    const Layout before = m_data->layout;
    UpdateXRange();
    UpdateYRange();
    if (Adaptive()) {
        m_data->layout = ComputeAdaptiveLayout();
    } else {
        m_data->axes = {};
        m_data->layout = ComputeLayout();
    }
    if (dataOnly && m_data->layout == before)
        update(m_data->layout.Plot);
    else
        update();
    UpdateLimitVerdict();
}

// ---------------------------------------------------------------------------------------
// Scales

QList<double> TQVPlot::LinearTicks(double lo, double hi, int maxTicks, double *stepOut)
{
    QList<double> ticks;
    if (stepOut)
        *stepOut = 0.0;
    if (!Finite(lo) || !Finite(hi) || !(hi > lo) || maxTicks < 1)
        return ticks;
    const double step = QVNiceStep((hi - lo) / maxTicks);
    if (!(step > 0.0) || (hi - lo) / step > 1000.0)
        return ticks;
    if (stepOut)
        *stepOut = step;
    const double first = std::ceil(lo / step - 1e-9);
    const double last = std::floor(hi / step + 1e-9);
    for (double k = first; k <= last; k += 1.0) {
        double v = k * step;
        if (std::fabs(v) < step * 1e-9)
            v = 0.0;
        ticks.append(v);
    }
    return ticks;
}

QString TQVPlot::TickLabel(double value, double step, double magnitude, const QString &unit, bool usePrefix,
                           const QLocale &locale)
{
    int e3 = 0;
    const int e10 = Finite(magnitude) && magnitude > 0.0 ? int(std::floor(std::log10(magnitude) + 1e-9)) : 0;
    if (usePrefix ? e10 < -24 || e10 >= 27 : e10 >= 15) {
        // Beyond the prefixes (or a number that would need more than 15 digits): a mantissa
        // with the decimals of the step, as the adaptive scales write it.
        const double unitStep = std::fabs(step) / std::pow(10.0, e10);
        const int decimals = std::clamp(QVStepDecimals(Finite(unitStep) ? unitStep : 1.0), 1, 15);
        const QString number = QVFormatFloat(QStringLiteral("0.") + QString(decimals, QLatin1Char('0'))
                                                 + QStringLiteral("E-00"), value, locale);
        return unit.isEmpty() ? number : number + QLatin1Char(' ') + unit;
    }
    if (usePrefix)
        e3 = int(std::floor(e10 / 3.0)) * 3;
    TSiPrefixesStruct prefix;
    GetSIInfos(PrefixIdForExponent(e3), prefix);
    const double factor = e3 == 0 ? 1.0 : prefix.Factor;
    const double scaledStep = std::fabs(step) / factor;
    const int decimals = std::min(QVStepDecimals(scaledStep), 9);
    double scaled = value / factor;
    if (std::fabs(scaled) < scaledStep * 1e-6)
        scaled = 0.0;
    const QString pattern = decimals == 0 ? QStringLiteral("0") : QStringLiteral("0.") + QString(decimals, QLatin1Char('0'));
    const QString number = QVFormatFloat(pattern, scaled, locale);
    const QString suffix = (e3 == 0 ? QString() : prefix.Symbol) + unit;
    return suffix.isEmpty() ? number : number + QLatin1Char(' ') + suffix;
}

TQVPlot::Layout TQVPlot::ComputeLayout() const
{
    Layout l;
    l.XLo = m_data->xLo;
    l.XHi = m_data->xHi;
    l.YLo = m_data->yLo;
    l.YHi = m_data->yHi;
    const QFontMetrics fm(font());
    const QRect c = ClientRect().adjusted(6, 4, -6, -4);
    int top = c.top() + fm.height() / 2 + 2;
    if (m_data->legend) {
        for (int k = 0; k < MaxTraces; ++k) {
            if (ChannelShown(k) && !m_data->traces[std::size_t(k)].empty())
                l.LegendChannels.append(k);
        }
    }
    if (!m_data->title.isEmpty() || !l.LegendChannels.isEmpty()) {
        QFont bold = font();
        bold.setBold(true);
        const QFontMetrics tm(bold);
        const int line = std::max(tm.height(), fm.height());
        if (!m_data->title.isEmpty())
            l.TitleRect = QRect(c.left(), c.top(), c.width(), line);
        if (!l.LegendChannels.isEmpty()) {
            int w = 0;
            for (int k : l.LegendChannels)
                w += LegendSwatch + 4 + fm.horizontalAdvance(m_data->names[std::size_t(k)]) + 12;
            l.LegendRect = QRect(c.right() + 1 - w, c.top(), w, line);
        }
        top = c.top() + line + 6;
    }
    const int bottom = c.bottom() + 1 - (fm.height() + TickLength + LabelGap);
    const int height = std::max(bottom - top, 1);

    // Ordinate: about one labelled line per 1.6 text lines.
    const bool decibel = m_data->scaleY == scDecibel;
    double yStep = 0.0;
    l.Y.Ticks = LinearTicks(m_data->yLo, m_data->yHi, std::max(2, height * 5 / (fm.height() * 8)), &yStep);
    const double yMag = std::max(std::fabs(m_data->yLo), std::fabs(m_data->yHi));
    int yWidth = 0;
    for (double v : l.Y.Ticks) {
        l.Y.Labels.append(TickLabel(v, yStep, yMag, m_data->yUnit, !decibel, locale()));
        yWidth = std::max(yWidth, fm.horizontalAdvance(l.Y.Labels.last()));
    }
    const int left = c.left() + yWidth + TickLength + LabelGap + 2;

    // Abscissa: ticks as dense as the widest label allows; the last label may reach half its
    // width beyond the plot area.
    auto xAxis = [&](int width, int &widest) {
        Axis axis;
        widest = 0;
        if (m_data->xLog && m_data->xLo > 0.0) {
            const double decades = std::log10(m_data->xHi / m_data->xLo);
            const int d0 = int(std::floor(std::log10(m_data->xLo) + 1e-9));
            const int d1 = int(std::ceil(std::log10(m_data->xHi) - 1e-9));
            const bool dense = decades * 3 * fm.horizontalAdvance(QStringLiteral("000 kHz")) < width;
            for (int d = d0; d <= d1; ++d) {
                const double base = std::pow(10.0, d);
                for (int m = 1; m <= 9; ++m) {
                    const double v = m * base;
                    if (v < m_data->xLo * (1 - 1e-9) || v > m_data->xHi * (1 + 1e-9))
                        continue;
                    if (m == 1 || (dense && (m == 2 || m == 5))) {
                        axis.Ticks.append(v);
                        axis.Labels.append(TickLabel(v, v, v, m_data->xUnit, true, locale()));
                        widest = std::max(widest, fm.horizontalAdvance(axis.Labels.last()));
                    } else {
                        axis.MinorTicks.append(v);
                    }
                }
            }
            if (axis.Ticks.size() >= 2)
                return axis;
            axis = Axis(); // less than a decade: a linear scale reads better
        }
        int maxTicks = std::max(2, width / 70);
        for (int attempt = 0; attempt < 4; ++attempt) {
            double step = 0.0;
            axis.Ticks = LinearTicks(m_data->xLo, m_data->xHi, maxTicks, &step);
            axis.Labels.clear();
            widest = 0;
            const double mag = std::max(std::fabs(m_data->xLo), std::fabs(m_data->xHi));
            for (double v : axis.Ticks) {
                axis.Labels.append(TickLabel(v, step, mag, m_data->xUnit, true, locale()));
                widest = std::max(widest, fm.horizontalAdvance(axis.Labels.last()));
            }
            const double spacing = step > 0.0 ? width * step / (m_data->xHi - m_data->xLo) : width;
            if (spacing >= widest + 16 || maxTicks <= 2)
                break;
            maxTicks = std::max(2, int(maxTicks * spacing / (widest + 16)));
        }
        return axis;
    };
    int widest = 0;
    xAxis(std::max(c.right() + 1 - left - 16, 1), widest);
    const int right = c.right() + 1 - std::max(8, widest / 2 + 1);
    const int width = std::max(right - left, 1);
    l.X = xAxis(width, widest);
    l.Plot = QRect(left, top, width, height);
    return l;
}

TQVPlot::Layout TQVPlot::ComputeAdaptiveLayout()
{
    Layout l;
    l.XLo = m_data->xLo;
    l.XHi = m_data->xHi;
    l.YLo = m_data->yLo;
    l.YHi = m_data->yHi;
    const QFont labelFont = QVAdaptivePlotFont(font(), size());
    const QFontMetricsF fm(labelFont);
    const int margin = std::max(2, QVRoundPx(fm.height() * 0.3));
    QRect c = ClientRect().adjusted(margin, margin, -margin, -margin);
    if (m_data->legend) {
        for (int k = 0; k < MaxTraces; ++k) {
            if (ChannelShown(k) && !m_data->traces[std::size_t(k)].empty())
                l.LegendChannels.append(k);
        }
    }
    if (!m_data->title.isEmpty() || !l.LegendChannels.isEmpty()) {
        QFont bold = labelFont;
        bold.setBold(true);
        const int line = int(std::ceil(std::max(QFontMetricsF(bold).height(), fm.height())));
        if (!m_data->title.isEmpty())
            l.TitleRect = QRect(c.left(), c.top(), c.width(), line);
        if (!l.LegendChannels.isEmpty()) {
            double w = 0;
            for (int k : l.LegendChannels)
                w += fm.height() * 2.6 + fm.horizontalAdvance(m_data->names[std::size_t(k)]);
            l.LegendRect = QRect(c.right() + 1 - int(std::ceil(w)), c.top(), int(std::ceil(w)), line);
        }
        c.setTop(c.top() + line + margin);
    }
    const TQVPlotAxisInfo x{m_data->xLo, m_data->xHi, m_data->xLog, true, m_data->xUnit, locale()};
    const TQVPlotAxisInfo y{m_data->yLo, m_data->yHi, false, m_data->scaleY != scDecibel, m_data->yUnit, locale()};
    // A block that leaves ranges and size as they were keeps the axes: measuring the labels
    // costs several times what the traces do.
    TQVPlotAxesLayout &axes = m_data->axes;
    if (!axes.IsValid() || !(x == m_data->axesX) || !(y == m_data->axesY) || labelFont != m_data->axesFont
        || c != m_data->axesBounds) {
        axes = QVLayoutPlotAxes(x, y, labelFont, c);
        m_data->axesX = x;
        m_data->axesY = y;
        m_data->axesFont = labelFont;
        m_data->axesBounds = c;
    }
    l.Plot = axes.Plot;
    const auto fill = [](const TQVScaleDivision &div, Axis &axis, bool minorGrid) {
        std::size_t label = 0;
        for (const TQVScaleTick &tick : div.Ticks) {
            if (tick.Major) {
                axis.Ticks.append(tick.Value);
                axis.Labels.append(div.Texts[label++]);
            } else if (minorGrid) {
                axis.MinorTicks.append(tick.Value);
            }
        }
    };
    fill(axes.X, l.X, m_data->xLog);
    fill(axes.Y, l.Y, false);
    return l;
}

double TQVPlot::MapX(double x, const QRect &plot) const
{
    if (m_data->xLog) {
        if (!(x > 0.0) || !(m_data->xLo > 0.0))
            return std::numeric_limits<double>::quiet_NaN();
        return plot.left() + std::log10(x / m_data->xLo) / std::log10(m_data->xHi / m_data->xLo) * plot.width();
    }
    const double px = plot.left() + (x - m_data->xLo) / (m_data->xHi - m_data->xLo) * plot.width();
    // An axis of ±1e308 overflows the differences.
    return std::isfinite(px) ? px : plot.left() + QVSpanFraction(x, m_data->xLo, m_data->xHi) * plot.width();
}

double TQVPlot::MapY(double v, const QRect &plot) const
{
    const double py = plot.top() + (m_data->yHi - v) / (m_data->yHi - m_data->yLo) * plot.height();
    return std::isfinite(py) ? py : plot.top() + QVSpanFraction(v, m_data->yHi, m_data->yLo) * plot.height();
}

// ---------------------------------------------------------------------------------------
// Painting

void TQVPlot::resizeEvent(QResizeEvent *event)
{
    TQVCustomPanel::resizeEvent(event);
    Refresh(false);
}

void TQVPlot::changeEvent(QEvent *event)
{
    TQVCustomPanel::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::LocaleChange)
        Refresh(false);
}

QSize TQVPlot::sizeHint() const
{
    if (!Adaptive())
        return QSize(400, 250);
    return AdaptiveSizeHint(false).expandedTo(QSize(400, 250));
}

QSize TQVPlot::minimumSizeHint() const
{
    return Adaptive() ? AdaptiveSizeHint(true) : QSize(160, 100);
}

QSize TQVPlot::AdaptiveSizeHint(bool minimum) const
{
    const TQVPlotAxisInfo x{m_data->xLo, m_data->xHi, m_data->xLog, true, m_data->xUnit, locale()};
    const TQVPlotAxisInfo y{m_data->yLo, m_data->yHi, false, m_data->scaleY != scDecibel, m_data->yUnit, locale()};
    const QSize axes = QVPlotAxesSizeHint(x, y, font(), minimum);
    const QFontMetricsF fm(font());
    const int margin = std::max(2, QVRoundPx(fm.height() * 0.3));
    const int header = m_data->title.isEmpty() && !m_data->legend ? 0 : int(std::ceil(fm.height() * 1.1)) + margin;
    // What the frame and bevels take around the client area.
    const QSize frame = size() - ClientRect().size();
    return axes + QSize(2 * margin, 2 * margin + header) + frame.expandedTo(QSize(0, 0));
}

void TQVPlot::Paint(QPainter &painter)
{
    // A data repaint covers the plot area only; frame, ticks and labels stay as they are.
    const QRect dirty = painter.clipBoundingRect().toAlignedRect();
    if (!m_data->layout.Plot.contains(dirty)) {
        PaintPanel(painter);
        PaintAxes(painter);
    }
    PaintPlotArea(painter);
}

void TQVPlot::PaintAxes(QPainter &painter)
{
    if (Adaptive()) {
        if (!m_data->layout.TitleRect.isNull()) {
            QFont bold = QVAdaptivePlotFont(font(), size());
            bold.setBold(true);
            painter.setFont(bold);
            painter.setPen(AxisInk());
            const bool beside = !m_data->layout.LegendRect.isNull();
            const QRect box = beside ? m_data->layout.TitleRect.adjusted(m_data->layout.Plot.left() - m_data->layout.TitleRect.left(), 0,
                                                                   m_data->layout.LegendRect.left() - m_data->layout.TitleRect.right() - 1, 0)
                                     : m_data->layout.TitleRect;
            const QString title = QFontMetrics(bold).elidedText(m_data->title, Qt::ElideRight, std::max(0, box.width()));
            painter.drawText(box, (beside ? Qt::AlignLeft : Qt::AlignHCenter) | Qt::AlignVCenter, title);
        }
        if (!m_data->layout.LegendRect.isNull())
            PaintLegend(painter);
        QVPaintPlotAxes(painter, m_data->axes, AxisInk());
        return;
    }
    const QRect p = m_data->layout.Plot;
    const QColor ink = ToQColor(m_data->axisColor);
    const QFontMetrics fm(font());
    painter.setFont(font());

    if (!m_data->layout.TitleRect.isNull()) {
        QFont bold = font();
        bold.setBold(true);
        painter.setFont(bold);
        painter.setPen(ink);
        // Beside a legend the title starts at the plot area's left edge.
        const bool beside = !m_data->layout.LegendRect.isNull();
        const QRect box = beside ? m_data->layout.TitleRect.adjusted(p.left() - m_data->layout.TitleRect.left(), 0, 0, 0)
                                 : m_data->layout.TitleRect;
        painter.drawText(box, (beside ? Qt::AlignLeft : Qt::AlignHCenter) | Qt::AlignVCenter, m_data->title);
        painter.setFont(font());
    }
    if (!m_data->layout.LegendRect.isNull())
        PaintLegend(painter);

    // Frame one pixel outside the plot area.
    painter.fillRect(QRect(p.left() - 1, p.top() - 1, p.width() + 2, 1), ink);
    painter.fillRect(QRect(p.left() - 1, p.bottom() + 1, p.width() + 2, 1), ink);
    painter.fillRect(QRect(p.left() - 1, p.top(), 1, p.height()), ink);
    painter.fillRect(QRect(p.right() + 1, p.top(), 1, p.height()), ink);

    painter.setPen(ink);
    for (qsizetype i = 0; i < m_data->layout.Y.Ticks.size(); ++i) {
        const int y = std::clamp(QVFloorPx(MapY(m_data->layout.Y.Ticks[i], p)), p.top(), p.bottom());
        painter.fillRect(QRect(p.left() - 1 - TickLength, y, TickLength, 1), ink);
        const QRect box(0, y - fm.height() / 2, p.left() - 1 - TickLength - LabelGap, fm.height());
        painter.drawText(box, Qt::AlignRight | Qt::AlignVCenter, m_data->layout.Y.Labels[i]);
    }
    for (qsizetype i = 0; i < m_data->layout.X.Ticks.size(); ++i) {
        const int x = std::clamp(QVFloorPx(MapX(m_data->layout.X.Ticks[i], p)), p.left(), p.right());
        painter.fillRect(QRect(x, p.bottom() + 2, 1, TickLength), ink);
        const int w = fm.horizontalAdvance(m_data->layout.X.Labels[i]);
        const QRect box(x - w / 2 - 1, p.bottom() + 2 + TickLength + LabelGap - 1, w + 2, fm.height());
        painter.drawText(box, Qt::AlignCenter, m_data->layout.X.Labels[i]);
    }
}

void TQVPlot::PaintPlotArea(QPainter &painter)
{
    const QRect p = m_data->layout.Plot;
    painter.save();
    painter.setClipRect(p, Qt::IntersectClip);
    painter.fillRect(p, BackgroundInk());
    if (m_data->grid && Adaptive()) {
        PaintAdaptiveGrid(painter);
    } else if (m_data->grid) {
        const QColor grid = ToQColor(m_data->gridColor);
        QColor minor = grid;
        minor.setAlphaF(0.45f);
        auto vertical = [&](double x, const QColor &colour) {
            const int px = QVFloorPx(MapX(x, p));
            if (px > p.left() && px < p.right())
                painter.fillRect(QRect(px, p.top(), 1, p.height()), colour);
        };
        for (double x : m_data->layout.X.MinorTicks)
            vertical(x, minor);
        for (double x : m_data->layout.X.Ticks)
            vertical(x, grid);
        for (double y : m_data->layout.Y.Ticks) {
            const int py = QVFloorPx(MapY(y, p));
            if (py > p.top() && py < p.bottom())
                painter.fillRect(QRect(p.left(), py, p.width(), 1), grid);
        }
    }
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (int k = 0; k < MaxTraces; ++k) {
        if (!ChannelShown(k))
            continue;
        // The hold traces under the live one, in its colour but fainter.
        const auto &held = m_data->processing[std::size_t(k)];
        QColor faint = TraceInk(k);
        faint.setAlphaF(0.45f);
        for (const std::vector<float> *series : {&held.maxHold, &held.minHold}) {
            if (!series->empty())
                PaintSeries(painter, k, *series, faint);
        }
        if (!m_data->traces[std::size_t(k)].empty())
            PaintTrace(painter, k);
    }
    PaintLimits(painter);
    PaintMeasuring(painter);
    painter.restore();
}

void TQVPlot::PaintAdaptiveGrid(QPainter &painter)
{
    const QRect p = m_data->layout.Plot;
    const double dpr = QVTargetPixelRatio(painter, *this);
    const QColor grid = GridInk();
    QColor minor = grid;
    minor.setAlphaF(0.45f);
    // One device pixel at a ratio of 2 and more, thicker with the pens of a large plot.
    const double w = std::max(1.0 / dpr, m_data->axes.Pen * 0.5);
    const auto vertical = [&](double x, const QColor &colour) {
        const double px = MapX(x, p);
        if (px > p.left() + w && px < p.left() + p.width() - w)
            painter.fillRect(QVSnapToDevice(QRectF(px - w / 2.0, p.top(), w, p.height()), dpr), colour);
    };
    for (double x : m_data->layout.X.MinorTicks)
        vertical(x, minor);
    for (double x : m_data->layout.X.Ticks)
        vertical(x, grid);
    for (double y : m_data->layout.Y.Ticks) {
        const double py = MapY(y, p);
        if (py > p.top() + w && py < p.top() + p.height() - w)
            painter.fillRect(QVSnapToDevice(QRectF(p.left(), py - w / 2.0, p.width(), w), dpr), grid);
    }
}

void TQVPlot::PaintTrace(QPainter &painter, int channel)
{
    PaintSeries(painter, channel, m_data->traces[std::size_t(channel)], TraceInk(channel));
}

void TQVPlot::PaintSeries(QPainter &painter, int channel, const std::vector<float> &trace, const QColor &colour)
{
    const QRect p = m_data->layout.Plot;
    const int n = int(trace.size());
    const double dpr = std::max(QVTargetPixelRatio(painter, *this), 1.0);
    const int columns = std::max(1, int(std::ceil(p.width() * dpr)));

    // A cosmetic pen: up to one pixel wide the raster engine draws it on its fast
    // antialiased line path; a geometric pen with round joins costs an angle and an arc per
    // vertex, several times the whole trace. Its width counts device pixels, so the line
    // width (logical pixels, as everything else) is scaled by the ratio.
    QPen pen(colour, m_data->lineWidth * dpr);
    pen.setCosmetic(true);
    painter.setPen(pen);

    // Screen positions; a sample that cannot be placed (NaN, x <= 0 on a log axis) breaks
    // the line.
    std::vector<QPointF> line;
    std::vector<QLineF> segments;
    auto flush = [&]() {
        if (line.size() == 1) {
            painter.drawPoint(line.front());
        } else if (line.size() > 1 && pen.widthF() <= 1.0) {
            painter.drawPolyline(line.data(), int(line.size()));
        } else if (line.size() > 1) {
            // A wider pen strokes each segment on its own: as one polyline, the outline of a
            // dense zigzag (noise, decimated extremes) crosses itself thousands of times and
            // takes the rasterizer seconds to fill.
            segments.clear();
            for (std::size_t i = 1; i < line.size(); ++i)
                segments.emplace_back(line[i - 1], line[i]);
            painter.drawLines(segments.data(), int(segments.size()));
        }
        line.clear();
    };
    const double yClampLo = p.top() - 4.0 * p.height(); // keeps far-off values drawable
    const double yClampHi = p.bottom() + 4.0 * p.height();
    auto screenY = [&](double v) { return std::clamp(MapY(v, p), yClampLo, yClampHi); };

    if (n <= columns) {
        line.reserve(std::size_t(n));
        for (int i = 0; i < n; ++i) {
            const double x = MapX(SampleX(channel, i), p);
            const double v = DisplayValue(double(trace[std::size_t(i)]));
            if (!Finite(x) || !Finite(v)) {
                flush();
                continue;
            }
            line.emplace_back(x, screenY(v));
        }
        flush();
        return;
    }

    // More samples than device pixel columns: every column draws the extremes of its
    // samples in the order they occurred, so that a single-sample spike stays visible. The
    // extremes are found on the raw samples (their magnitudes in dB, where the level rises
    // with them) and only they are converted; on a linear axis the pixel column of a sample
    // is a linear function of its index.
    line.reserve(std::size_t(columns) * 2);
    const bool decibel = m_data->scaleY == scDecibel;
    const double px0 = MapX(SampleX(channel, 0), p);
    const double start = (px0 - p.left()) * dpr; // column position of sample 0
    const double step = (MapX(SampleX(channel, n - 1), p) - px0) / (n - 1) * dpr;
    const bool linearX = !m_data->xLog && Finite(start) && Finite(step) && step > 0.0;
    int column = -1;
    double lo = 0.0, hi = 0.0;
    int loAt = 0, hiAt = 0;
    auto emitColumn = [&]() {
        if (column < 0)
            return;
        const double cx = p.left() + (column + 0.5) / dpr;
        const double vLo = DisplayValue(lo), vHi = DisplayValue(hi); // in dB the magnitudes give the levels
        if (!Finite(vLo) || !Finite(vHi)) { // a level beyond double range
            flush();
            return;
        }
        const double yLo = screenY(vLo), yHi = screenY(vHi);
        // Extremes within a quarter of a device pixel are one point: half the segments for a
        // smooth trace, and the same picture.
        if (std::fabs(yLo - yHi) * dpr < 0.25)
            line.emplace_back(cx, (yLo + yHi) / 2.0);
        else if (loAt <= hiAt)
            line.insert(line.end(), {QPointF(cx, yLo), QPointF(cx, yHi)});
        else
            line.insert(line.end(), {QPointF(cx, yHi), QPointF(cx, yLo)});
    };
    for (int i = 0; i < n;) {
        // The run of samples [i, end) that falls into column c.
        int c = -1, end = i + 1;
        if (linearX) {
            c = int(std::floor(start + i * step));
            end = int(std::clamp(std::ceil((c + 1 - start) / step), double(i + 1), double(n)));
        } else {
            const double x = MapX(SampleX(channel, i), p);
            if (!Finite(x)) {
                emitColumn();
                column = -1;
                flush();
                i = end;
                continue;
            }
            c = QVFloorPx((x - p.left()) * dpr);
        }
        if (c < 0 || c >= columns) {
            i = end;
            continue;
        }
        while (i < end) {
            // The extremes of the run up to the first sample that cannot be placed (NaN,
            // infinities and, in dB, zeros), which breaks the line. Ties keep the earlier
            // sample. A first pass without branches; a run with such a sample is scanned again.
            float runLo = std::numeric_limits<float>::infinity(), runHi = -runLo;
            int runLoAt = -1, runHiAt = -1, j = end;
            const RunExtremes fast = decibel ? ScanRun<true>(trace.data(), i, end) : ScanRun<false>(trace.data(), i, end);
            if (!fast.Bad) {
                // Only the order of the two extremes counts: whichever comes first.
                runLo = fast.Lo;
                runHi = fast.Hi;
                int first = i;
                while (first < end && !(Key(trace[std::size_t(first)], decibel) == runLo || Key(trace[std::size_t(first)], decibel) == runHi))
                    ++first;
                const bool loFirst = Key(trace[std::size_t(first)], decibel) == runLo;
                runLoAt = loFirst ? first : end - 1;
                runHiAt = loFirst ? end - 1 : first;
                if (runLo == runHi)
                    runLoAt = runHiAt = first;
            } else {
                for (j = i; j < end; ++j) {
                    const float y = trace[std::size_t(j)];
                    if (!Placeable(y, decibel))
                        break;
                    const float v = Key(y, decibel);
                    if (v < runLo) {
                        runLo = v;
                        runLoAt = j;
                    }
                    if (v > runHi) {
                        runHi = v;
                        runHiAt = j;
                    }
                }
            }
            if (runLoAt >= 0 && c != column) {
                emitColumn();
                column = c;
                lo = runLo;
                hi = runHi;
                loAt = runLoAt;
                hiAt = runHiAt;
            } else if (runLoAt >= 0) {
                if (runLo < lo) {
                    lo = runLo;
                    loAt = runLoAt;
                }
                if (runHi > hi) {
                    hi = runHi;
                    hiAt = runHiAt;
                }
            }
            if (j < end) {
                emitColumn();
                column = -1;
                flush();
                ++j;
            }
            i = j;
        }
    }
    emitColumn();
    flush();
}

void TQVPlot::PaintLegend(QPainter &painter)
{
    const QFont legendFont = Adaptive() ? QVAdaptivePlotFont(font(), size()) : font();
    const QFontMetrics fm(legendFont);
    const double line = QFontMetricsF(legendFont).height();
    const int swatch = Adaptive() ? QVRoundPx(line * 1.2) : LegendSwatch;
    const int gap = Adaptive() ? QVRoundPx(line * 0.3) : 4;
    const int space = Adaptive() ? QVRoundPx(line * 0.8) : 12;
    const QRect r = m_data->layout.LegendRect;
    const double mid = r.top() + r.height() / 2.0;
    int x = r.left();
    painter.save();
    painter.setFont(legendFont);
    for (int k : m_data->layout.LegendChannels) {
        QPen pen(TraceInk(k), Adaptive() ? std::max(2.0, m_data->axes.Pen * 1.5) : 2.0);
        pen.setCapStyle(Qt::FlatCap);
        painter.setPen(pen);
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.drawLine(QPointF(x, mid), QPointF(x + swatch, mid));
        painter.setRenderHint(QPainter::Antialiasing, false);
        x += swatch + gap;
        const QString &name = m_data->names[std::size_t(k)];
        const int w = fm.horizontalAdvance(name);
        painter.setPen(AxisInk());
        painter.drawText(QRect(x, r.top(), w + 2, r.height()), Qt::AlignLeft | Qt::AlignVCenter, name);
        x += w + space;
    }
    painter.restore();
}

// ---------------------------------------------------------------------------------------
// Measuring: averaging and hold

bool TQVPlot::XAutoScale() const
{
    return m_data->xAutoScale;
}

double TQVPlot::XMin() const
{
    return m_data->xMin;
}

double TQVPlot::XMax() const
{
    return m_data->xMax;
}

bool TQVPlot::Interactive() const
{
    return m_data->interactive;
}

bool TQVPlot::Cursors() const
{
    return m_data->cursors;
}

double TQVPlot::Cursor1() const
{
    return m_data->cursor1;
}

double TQVPlot::Cursor2() const
{
    return m_data->cursor2;
}

bool TQVPlot::PeakMarker() const
{
    return m_data->peakMarker;
}

bool TQVPlot::CursorStatistics() const
{
    return m_data->cursorStatistics;
}

bool TQVPlot::Distortion() const
{
    return m_data->distortion;
}

int TQVPlot::DistortionHarmonics() const
{
    return m_data->distortionHarmonics;
}

TQVPlot::TQVPlotAveraging TQVPlot::Averaging() const
{
    return m_data->averaging;
}

int TQVPlot::AverageCount() const
{
    return m_data->averageCount;
}

bool TQVPlot::MaxHold() const
{
    return m_data->maxHold;
}

bool TQVPlot::MinHold() const
{
    return m_data->minHold;
}

int TQVPlot::ZoomDepth() const
{
    return int(m_data->zoom.size());
}

void TQVPlot::SetXAutoScale(bool autoScale)
{
    if (autoScale == m_data->xAutoScale)
        return;
    m_data->xAutoScale = autoScale;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetXMin(double value)
{
    if (value == m_data->xMin || !Finite(value) || !(value < m_data->xMax) || !Finite(m_data->xMax - value))
        return;
    m_data->xMin = value;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetXMax(double value)
{
    if (value == m_data->xMax || !Finite(value) || !(value > m_data->xMin) || !Finite(value - m_data->xMin))
        return;
    m_data->xMax = value;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetInteractive(bool interactive)
{
    if (interactive == m_data->interactive)
        return;
    m_data->interactive = interactive;
    m_data->drag = PrivateData::Drag::None;
    setFocusPolicy(interactive ? Qt::StrongFocus : Qt::NoFocus);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetCursors(bool cursors)
{
    if (cursors == m_data->cursors)
        return;
    m_data->cursors = cursors;
    // Not while a form loads: it sets the stored positions next (a cursor at 0 is not stored).
    if (cursors && m_data->cursor1 == m_data->cursor2 && !IsLoading()) {
        const double third = (m_data->xHi - m_data->xLo) / 3.0;
        m_data->cursor1 = m_data->xLog ? m_data->xLo * std::pow(m_data->xHi / m_data->xLo, 1.0 / 3.0) : m_data->xLo + third;
        m_data->cursor2 = m_data->xLog ? m_data->xLo * std::pow(m_data->xHi / m_data->xLo, 2.0 / 3.0) : m_data->xHi - third;
    }
    update(m_data->layout.Plot);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetCursor1(double x)
{
    if (x == m_data->cursor1 || !Finite(x))
        return;
    m_data->cursor1 = x;
    update(m_data->layout.Plot);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetCursor2(double x)
{
    if (x == m_data->cursor2 || !Finite(x))
        return;
    m_data->cursor2 = x;
    update(m_data->layout.Plot);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetPeakMarker(bool marker)
{
    if (marker == m_data->peakMarker)
        return;
    m_data->peakMarker = marker;
    update(m_data->layout.Plot);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetCursorStatistics(bool statistics)
{
    if (statistics == m_data->cursorStatistics)
        return;
    m_data->cursorStatistics = statistics;
    update(m_data->layout.Plot);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetDistortion(bool distortion)
{
    if (distortion == m_data->distortion)
        return;
    m_data->distortion = distortion;
    update(m_data->layout.Plot);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetDistortionHarmonics(int harmonics)
{
    if (harmonics == m_data->distortionHarmonics || harmonics < 2 || harmonics > 100)
        return;
    m_data->distortionHarmonics = harmonics;
    update(m_data->layout.Plot);
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetAveraging(TQVPlotAveraging averaging)
{
    if (averaging == m_data->averaging || averaging > avExponential)
        return;
    m_data->averaging = averaging;
    ResetProcessing();
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetAverageCount(int count)
{
    if (count == m_data->averageCount || count < 2 || count > 100000)
        return;
    m_data->averageCount = count;
    ResetProcessing();
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetMaxHold(bool hold)
{
    if (hold == m_data->maxHold)
        return;
    m_data->maxHold = hold;
    ResetProcessing();
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::SetMinHold(bool hold)
{
    if (hold == m_data->minHold)
        return;
    m_data->minHold = hold;
    ResetProcessing();
    Notify(TQVChangeGroup::Settings);
}

void TQVPlot::ResetProcessing()
{
    m_data->processing = {};
    Refresh(false);
}

// ---------------------------------------------------------------------------------------
// Limit test

QString TQVPlot::UpperLimit() const
{
    return m_data->upperLimitText;
}

QString TQVPlot::LowerLimit() const
{
    return m_data->lowerLimitText;
}

void TQVPlot::SetUpperLimit(const QString &points)
{
    SetLimitLine(true, points);
}

void TQVPlot::SetLowerLimit(const QString &points)
{
    SetLimitLine(false, points);
}

void TQVPlot::SetLimitLine(bool upper, const QString &points)
{
    QString &text = upper ? m_data->upperLimitText : m_data->lowerLimitText;
    if (points == text || !QVParseLimitLine(points, upper ? m_data->upperLimit : m_data->lowerLimit))
        return;
    text = points;
    Refresh(false);
    Notify(TQVChangeGroup::Settings);
}

TQVColor TQVPlot::LimitColor() const
{
    return m_data->limitColor;
}

void TQVPlot::SetLimitColor(TQVColor color)
{
    if (color == m_data->limitColor)
        return;
    m_data->limitColor = color;
    Changed(TQVChangeGroup::Appearance);
}

bool TQVPlot::LimitFailed() const
{
    return m_data->limitFailed;
}

bool TQVPlot::ParseLimit(const QString &text, QList<QPointF> *points)
{
    std::vector<QPointF> read;
    if (!QVParseLimitLine(text, read))
        return false;
    if (points)
        *points = QList<QPointF>(read.begin(), read.end());
    return true;
}

QString TQVPlot::LimitText(const QList<QPointF> &points)
{
    return QVLimitLineText(std::vector<QPointF>(points.begin(), points.end()));
}

std::vector<double> TQVPlot::LimitMargins(int channel) const
{
    const std::vector<float> &trace = m_data->traces[std::size_t(channel)];
    if (trace.empty() || (m_data->upperLimit.empty() && m_data->lowerLimit.empty()))
        return {};
    // The lines on the shown x axis, where they are joined straight.
    const bool log = m_data->xLog;
    const auto onAxis = [log](std::vector<QPointF> line) {
        for (QPointF &p : line)
            p.setX(!log ? p.x() : p.x() > 0.0 ? std::log10(p.x()) : -std::numeric_limits<double>::infinity());
        return line;
    };
    const std::vector<QPointF> upper = onAxis(m_data->upperLimit), lower = onAxis(m_data->lowerLimit);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> margins(trace.size(), nan);
    for (std::size_t i = 0; i < trace.size(); ++i) {
        const double x = SampleX(channel, int(i)), v = DisplayValue(trace[i]);
        const double u = !log ? x : x > 0.0 ? std::log10(x) : nan;
        const double above = QVLimitAt(upper, u, true), below = QVLimitAt(lower, u, false);
        if (std::isnan(v) || (std::isnan(above) && std::isnan(below)))
            continue;
        margins[i] = std::fmin(above - v, v - below); // fmin passes over the missing one
    }
    return margins;
}

QVariantMap TQVPlot::LimitReading() const
{
    if (m_data->upperLimit.empty() && m_data->lowerLimit.empty())
        return {};
    int tested = 0, violations = 0, channel = -1;
    double margin = std::numeric_limits<double>::infinity(), marginX = 0.0;
    double firstX = std::numeric_limits<double>::infinity();
    for (int k = 0; k < MaxTraces; ++k) {
        if (!ChannelShown(k))
            continue;
        const std::vector<double> margins = LimitMargins(k);
        for (std::size_t i = 0; i < margins.size(); ++i) {
            if (std::isnan(margins[i]))
                continue;
            ++tested;
            const double x = SampleX(k, int(i));
            if (margins[i] < 0.0) {
                ++violations;
                firstX = std::min(firstX, x);
            }
            if (channel < 0 || margins[i] < margin)
                std::tie(margin, marginX, channel) = std::tuple{margins[i], x, k};
        }
    }
    QVariantMap reading{{QStringLiteral("failed"), violations > 0},
                        {QStringLiteral("tested"), tested},
                        {QStringLiteral("violations"), violations}};
    if (channel >= 0) {
        reading.insert(QStringLiteral("margin"), margin);
        reading.insert(QStringLiteral("marginX"), marginX);
        reading.insert(QStringLiteral("channel"), channel);
    }
    if (violations > 0)
        reading.insert(QStringLiteral("firstX"), firstX);
    return reading;
}

void TQVPlot::UpdateLimitVerdict()
{
    bool failed = false;
    for (int k = 0; k < MaxTraces && !failed; ++k) {
        if (ChannelShown(k)) {
            for (double margin : LimitMargins(k))
                failed = failed || margin < 0.0;
        }
    }
    if (failed != m_data->limitFailed) {
        m_data->limitFailed = failed;
        emit LimitResultChanged(failed);
    }
}

void TQVPlot::PaintLimits(QPainter &painter)
{
    if (m_data->upperLimit.empty() && m_data->lowerLimit.empty())
        return;
    const QRect p = m_data->layout.Plot;
    const QColor ink = ToQColor(m_data->limitColor);
    // The area beyond each line faintly tinted, the line itself solid.
    QColor tint = ink;
    tint.setAlphaF(0.08f);
    const double dpr = std::max(QVTargetPixelRatio(painter, *this), 1.0);
    QPen pen(ink, 1.5 * dpr);
    pen.setCosmetic(true);
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (const auto &[line, upper] : {std::pair{&m_data->upperLimit, true}, std::pair{&m_data->lowerLimit, false}}) {
        QPolygonF polyline;
        for (const QPointF &point : *line) {
            // A point at x <= 0 on a log axis carries the next level to the left edge.
            const double x = m_data->xLog && !(point.x() > 0.0) ? p.left() - 1.0 : MapX(point.x(), p);
            const double y = std::clamp(MapY(point.y(), p), p.top() - 4.0 * p.height(), p.bottom() + 4.0 * p.height());
            if (Finite(x) && Finite(y))
                polyline << QPointF(x, y);
        }
        if (polyline.isEmpty())
            continue;
        const double edge = upper ? p.top() - 1.0 : p.bottom() + 1.0;
        QPolygonF area = polyline;
        area << QPointF(polyline.last().x(), edge) << QPointF(polyline.first().x(), edge);
        painter.setPen(Qt::NoPen);
        painter.setBrush(tint);
        painter.drawPolygon(area);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(pen);
        painter.drawPolyline(polyline);
    }
    // The failing samples once more, in the limit colour over their trace.
    for (int k = 0; k < MaxTraces; ++k) {
        if (!ChannelShown(k))
            continue;
        const std::vector<double> margins = LimitMargins(k);
        std::vector<float> failing(margins.size(), std::numeric_limits<float>::quiet_NaN());
        bool any = false;
        for (std::size_t i = 0; i < margins.size(); ++i) {
            if (margins[i] < 0.0) {
                failing[i] = m_data->traces[std::size_t(k)][i];
                any = true;
            }
        }
        if (any)
            PaintSeries(painter, k, failing, ink);
    }
}

int TQVPlot::AveragedBlocks(int channel) const
{
    return channel >= 0 && channel < MaxTraces ? m_data->processing[std::size_t(channel)].blocks : 0;
}

const std::vector<float> &TQVPlot::MaxHoldData(int channel) const
{
    static const std::vector<float> none;
    return channel >= 0 && channel < MaxTraces ? m_data->processing[std::size_t(channel)].maxHold : none;
}

const std::vector<float> &TQVPlot::MinHoldData(int channel) const
{
    static const std::vector<float> none;
    return channel >= 0 && channel < MaxTraces ? m_data->processing[std::size_t(channel)].minHold : none;
}

// The block just stored in the trace of `channel` goes into the average, which then replaces
// it, and into the hold traces.
void TQVPlot::Process(int channel)
{
    PrivateData::Processing &state = m_data->processing[std::size_t(channel)];
    std::vector<float> &trace = m_data->traces[std::size_t(channel)];
    const std::size_t n = trace.size();
    if (m_data->averaging != avNone) {
        if (state.mean.size() != n) {
            state.mean.assign(n, 0.0);
            state.blocks = 0;
        }
        // A linear average is complete after AverageCount blocks and stays until a reset.
        if (m_data->averaging == avExponential || state.blocks < m_data->averageCount) {
            state.blocks = std::min(state.blocks + 1, m_data->averageCount);
            const double weight = 1.0 / state.blocks;
            for (std::size_t i = 0; i < n; ++i) {
                const double v = trace[i];
                if (Finite(v)) // a NaN or an infinity would spoil the average for good
                    state.mean[i] += (v - state.mean[i]) * weight;
            }
        }
        for (std::size_t i = 0; i < n; ++i)
            trace[i] = float(state.mean[i]);
    }
    const auto hold = [&](bool on, std::vector<float> &held, auto better) {
        if (!on)
            return;
        if (held.size() != n) {
            held = trace;
            return;
        }
        for (std::size_t i = 0; i < n; ++i) {
            if (better(trace[i], held[i]) || std::isnan(held[i]))
                held[i] = trace[i];
        }
    };
    hold(m_data->maxHold, state.maxHold, std::greater<float>());
    hold(m_data->minHold, state.minHold, std::less<float>());
}

// ---------------------------------------------------------------------------------------
// Measuring: zoom

namespace {

// A range a double can resolve, with a span that does not overflow.
bool Resolvable(double lo, double hi)
{
    return Finite(lo) && Finite(hi) && hi > lo && Finite(hi - lo) && (hi - lo) > 1e-12 * std::max(std::fabs(lo), std::fabs(hi));
}

// Rounds [lo, hi] out to the 1-2-5 step of a twentieth of its span.
void SnapOut(double &lo, double &hi)
{
    const double step = QVNiceStep((hi - lo) / 20.0);
    if (!(step > 0.0))
        return;
    const double a = std::floor(lo / step + 1e-9) * step + 0.0, b = std::ceil(hi / step - 1e-9) * step + 0.0;
    if (Resolvable(a, b)) {
        lo = a;
        hi = b;
    }
}

} // namespace

void TQVPlot::PushView(double x0, double x1, double y0, double y1, bool replaceTop)
{
    if (!Resolvable(x0, x1) || !Resolvable(y0, y1) || (m_data->xLog && !(x0 > 0.0 && x1 / x0 > 1.0 + 1e-9)))
        return;
    // Wheel turns, keys and pans in a row change one view; the first of them pushes it.
    if (replaceTop && m_data->zoomTransient && !m_data->zoom.empty())
        m_data->zoom.back() = {x0, x1, y0, y1};
    else
        m_data->zoom.push_back({x0, x1, y0, y1});
    m_data->zoomTransient = replaceTop;
    Refresh(false);
    emit ZoomChanged();
}

void TQVPlot::ZoomTo(double x0, double x1, double y0, double y1)
{
    PushView(x0, x1, y0, y1);
}

void TQVPlot::ZoomBy(double factor, double fx, double fy, int axes)
{
    if (!Finite(factor) || !(factor > 0.0) || axes < 1 || axes > 3)
        return;
    factor = std::clamp(factor, 1e-3, 1e3);
    fx = Finite(fx) ? std::clamp(fx, 0.0, 1.0) : 0.5;
    fy = Finite(fy) ? std::clamp(fy, 0.0, 1.0) : 0.5;
    double x0 = m_data->xLo, x1 = m_data->xHi, y0 = m_data->yLo, y1 = m_data->yHi;
    const auto scale = [factor](double &a, double &b, double f) {
        const double c = a + f * (b - a);
        a = c - (c - a) * factor;
        b = c + (b - c) * factor;
    };
    if (axes & 1) {
        if (m_data->xLog && x0 > 0.0) {
            double l0 = std::log10(x0), l1 = std::log10(x1);
            scale(l0, l1, fx);
            x0 = std::pow(10.0, l0);
            x1 = std::pow(10.0, l1);
        } else {
            scale(x0, x1, fx);
            SnapOut(x0, x1);
        }
    }
    if (axes & 2) {
        scale(y0, y1, fy);
        SnapOut(y0, y1);
    }
    PushView(x0, x1, y0, y1, true);
}

void TQVPlot::Pan(double dx, double dy)
{
    if (!Finite(dx) || !Finite(dy))
        return;
    dx = std::clamp(dx, -100.0, 100.0);
    dy = std::clamp(dy, -100.0, 100.0);
    double x0 = m_data->xLo, x1 = m_data->xHi;
    if (m_data->xLog && x0 > 0.0) {
        const double k = std::pow(x1 / x0, dx);
        x0 *= k;
        x1 *= k;
    } else {
        const double d = dx * (x1 - x0);
        x0 += d;
        x1 += d;
    }
    const double d = dy * (m_data->yHi - m_data->yLo);
    PushView(x0, x1, m_data->yLo + d, m_data->yHi + d, true);
}

void TQVPlot::ZoomBack()
{
    if (m_data->zoom.empty())
        return;
    m_data->zoom.pop_back();
    m_data->zoomTransient = false;
    Refresh(false);
    emit ZoomChanged();
}

// Views taken in other units or on another kind of axis mean nothing.
void TQVPlot::DropZoom()
{
    if (m_data->zoom.empty())
        return;
    m_data->zoom.clear();
    emit ZoomChanged();
}

void TQVPlot::ZoomReset()
{
    if (m_data->zoom.empty())
        return;
    DropZoom();
    Refresh(false);
}

double TQVPlot::UnmapX(double px, const QRect &plot) const
{
    const double f = plot.width() > 0 ? (px - plot.left()) / plot.width() : 0.0;
    if (m_data->xLog && m_data->xLo > 0.0)
        return m_data->xLo * std::pow(m_data->xHi / m_data->xLo, f);
    return m_data->xLo + f * (m_data->xHi - m_data->xLo);
}

double TQVPlot::UnmapY(double py, const QRect &plot) const
{
    const double f = plot.height() > 0 ? (py - plot.top()) / plot.height() : 0.0;
    return m_data->yHi - f * (m_data->yHi - m_data->yLo);
}

// ---------------------------------------------------------------------------------------
// Measuring: readouts

int TQVPlot::ReadoutChannel() const
{
    for (int k = 0; k < MaxTraces; ++k) {
        if (ChannelShown(k) && !m_data->traces[std::size_t(k)].empty())
            return k;
    }
    return -1;
}

double TQVPlot::CursorValue(int which) const
{
    const int k = ReadoutChannel();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    if (k < 0 || (which != 1 && which != 2))
        return nan;
    const std::vector<float> &trace = m_data->traces[std::size_t(k)];
    const int n = int(trace.size());
    const double x = which == 1 ? m_data->cursor1 : m_data->cursor2;
    // The fractional sample index: SampleX inverted.
    const double x0 = SampleX(k, 0), dx = n > 1 ? SampleX(k, 1) - x0 : 1.0;
    const double at = (x - x0) / dx;
    if (!Finite(at) || at < 0.0 || at > n - 1)
        return nan;
    const int i = std::min(int(at), n - 1);
    const double a = DisplayValue(trace[std::size_t(i)]);
    if (i + 1 >= n)
        return a;
    return a + (at - i) * (DisplayValue(trace[std::size_t(i) + 1]) - a);
}

QVariantMap TQVPlot::GateStatistics() const
{
    const int k = ReadoutChannel();
    const double low = std::min(m_data->cursor1, m_data->cursor2), high = std::max(m_data->cursor1, m_data->cursor2);
    int count = 0, maxAt = -1, minAt = -1;
    double sum = 0.0, squares = 0.0;
    const std::vector<float> empty;
    const std::vector<float> &trace = k < 0 ? empty : m_data->traces[std::size_t(k)];
    for (int i = 0; i < int(trace.size()); ++i) {
        const double x = SampleX(k, i), v = DisplayValue(trace[std::size_t(i)]);
        if (x < low || x >= high || !Finite(v))
            continue;
        ++count;
        sum += v;
        squares += v * v;
        if (maxAt < 0 || v > DisplayValue(trace[std::size_t(maxAt)]))
            maxAt = i;
        if (minAt < 0 || v < DisplayValue(trace[std::size_t(minAt)]))
            minAt = i;
    }
    QVariantMap statistics{{QStringLiteral("count"), count}};
    if (count > 0) {
        statistics.insert({{QStringLiteral("max"), DisplayValue(trace[std::size_t(maxAt)])},
                           {QStringLiteral("maxX"), SampleX(k, maxAt)},
                           {QStringLiteral("min"), DisplayValue(trace[std::size_t(minAt)])},
                           {QStringLiteral("minX"), SampleX(k, minAt)},
                           {QStringLiteral("mean"), sum / count},
                           {QStringLiteral("rms"), std::sqrt(squares / count)}});
    }
    return statistics;
}

namespace {

// The peak sample of `trace` within [from, to] and its parabolic refinement on the log
// magnitudes: the offset in samples and the magnitude at the vertex.
struct Peak
{
    int Index = -1;
    double Offset = 0.0;
    double Magnitude = 0.0;
};

Peak FindPeak(const std::vector<float> &trace, int from, int to, const std::function<double(double)> &display)
{
    Peak peak;
    double best = -std::numeric_limits<double>::infinity();
    for (int i = std::max(from, 0); i <= std::min(to, int(trace.size()) - 1); ++i) {
        const double v = display(trace[std::size_t(i)]);
        if (Finite(v) && v > best) {
            best = v;
            peak.Index = i;
        }
    }
    if (peak.Index < 0)
        return peak;
    const int k = peak.Index;
    peak.Magnitude = trace[std::size_t(k)];
    if (k < 1 || k + 1 >= int(trace.size()))
        return peak;
    const double m[3] = {trace[std::size_t(k) - 1], peak.Magnitude, trace[std::size_t(k) + 1]};
    // Log magnitudes: a Gaussian peak is a parabola there, and the main lobe of the usual
    // windows nearly so. All three samples must have one sign.
    if (!(m[0] * m[1] > 0.0 && m[2] * m[1] > 0.0))
        return peak;
    const double a = std::log(std::fabs(m[0])), b = std::log(std::fabs(m[1])), c = std::log(std::fabs(m[2]));
    peak.Offset = QVPeakOffset(a, b, c);
    peak.Magnitude = std::copysign(std::exp(b - 0.25 * (a - c) * peak.Offset), m[1]);
    return peak;
}

} // namespace

// Only the samples inside the shown x range count: a zoom measures its own span.
std::pair<int, int> TQVPlot::ShownSamples(int k) const
{
    int from = 0, to = int(m_data->traces[std::size_t(k)].size()) - 1;
    while (from <= to && SampleX(k, from) < m_data->xLo)
        ++from;
    while (to >= from && SampleX(k, to) > m_data->xHi)
        --to;
    return {from, to};
}

std::pair<double, double> TQVPlot::PeakReading() const
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const int k = ReadoutChannel();
    if (k < 0)
        return {nan, nan};
    const std::vector<float> &trace = m_data->traces[std::size_t(k)];
    const auto [from, to] = ShownSamples(k);
    const Peak peak = FindPeak(trace, from, to, [this](double y) { return DisplayValue(y); });
    if (peak.Index < 0)
        return {nan, nan};
    const double x = SampleX(k, peak.Index);
    const double next = peak.Offset >= 0.0 ? SampleX(k, peak.Index + 1) - x : x - SampleX(k, peak.Index - 1);
    return {x + peak.Offset * next, DisplayValue(peak.Magnitude)};
}

QVariantMap TQVPlot::DistortionReading() const
{
    const int k = ReadoutChannel();
    const int n = k < 0 ? 0 : int(m_data->traces[std::size_t(k)].size());
    if (n < 3)
        return {};
    // The samples are bins, the first of them x0 / dx bins above 0 Hz.
    const double x0 = SampleX(k, 0), dx = SampleX(k, 1) - x0;
    if (!(dx > 0.0))
        return {};
    const std::vector<float> &trace = m_data->traces[std::size_t(k)];
    std::vector<double> power(std::size_t(n), 0.0);
    for (std::size_t i = 0; i < power.size(); ++i)
        power[i] = m_data->powerValues ? std::fabs(double(trace[i])) : double(trace[i]) * trace[i];
    const auto [from, to] = ShownSamples(k);
    const TQVDistortion d = QVDistortion(power.data(), n, from, to, m_data->distortionHarmonics, x0 / dx);
    if (std::isnan(d.Fundamental))
        return {};
    QVariantList harmonics;
    for (const TQVHarmonic &h : d.Harmonics) {
        harmonics.append(QVariantMap{{QStringLiteral("number"), h.Number},
                                     {QStringLiteral("x"), SampleX(k, h.Peak)},
                                     {QStringLiteral("y"), DisplayValue(trace[std::size_t(h.Peak)])},
                                     {QStringLiteral("dBc"), 10.0 * std::log10(h.Power / d.FundamentalPower)}});
    }
    QVariantMap reading{{QStringLiteral("fundamental"), x0 + d.Fundamental * dx},
                        {QStringLiteral("thdN"), d.ThdN},
                        {QStringLiteral("sinad"), d.Sinad},
                        {QStringLiteral("harmonics"), harmonics}};
    if (!d.Harmonics.empty())
        reading.insert(QStringLiteral("thd"), d.Thd);
    return reading;
}

double TQVPlot::PeakX() const
{
    return PeakReading().first;
}

double TQVPlot::PeakValue() const
{
    return PeakReading().second;
}

// A reading with about four significant digits, with the SI prefix of its own magnitude.
QString TQVPlot::Reading(double value, const QString &unit, bool prefix) const
{
    if (!Finite(value))
        return QStringLiteral("\u2014");
    const double magnitude = std::fabs(value);
    const double step = prefix ? (magnitude > 0.0 ? QVNiceStep(magnitude * 1e-3) : 1.0) : 0.01;
    return TickLabel(value, step, magnitude, unit, prefix, locale());
}

// A ratio in percent with about four significant digits.
QString TQVPlot::Percent(double ratio) const
{
    if (!Finite(ratio))
        return QStringLiteral("\u2014");
    const double percent = 100.0 * ratio;
    const int decimals = percent > 0.0 ? std::clamp(3 - int(std::floor(std::log10(percent))), 0, 6) : 2;
    return locale().toString(percent, 'f', decimals) + QStringLiteral(" %");
}

QStringList TQVPlot::ReadoutLines() const
{
    QStringList lines;
    const bool decibel = m_data->scaleY == scDecibel;
    // Differences of levels are in dB whatever the reference.
    const QString deltaUnit = decibel ? QStringLiteral("dB") : m_data->yUnit;
    if (m_data->cursors) {
        const double y1 = CursorValue(1), y2 = CursorValue(2);
        lines << QStringLiteral("C1\t%1\t%2").arg(Reading(m_data->cursor1, m_data->xUnit, true), Reading(y1, m_data->yUnit, !decibel));
        lines << QStringLiteral("C2\t%1\t%2").arg(Reading(m_data->cursor2, m_data->xUnit, true), Reading(y2, m_data->yUnit, !decibel));
        const double dx = m_data->cursor2 - m_data->cursor1;
        QString dxText = Reading(dx, m_data->xUnit, true);
        if (m_data->xUnit == QStringLiteral("s") && dx != 0.0)
            dxText += QStringLiteral(" (%1)").arg(Reading(1.0 / std::fabs(dx), QStringLiteral("Hz"), true));
        lines << QStringLiteral("\u0394\t%1\t%2").arg(dxText, Reading(y2 - y1, deltaUnit, !decibel));
        if (m_data->cursorStatistics) {
            const QVariantMap s = GateStatistics();
            const auto value = [&s](const char *key) {
                return s.value(QLatin1String(key), std::numeric_limits<double>::quiet_NaN()).toDouble();
            };
            const auto line = [&](const QString &name, const char *x, double y, const QString &unit) {
                lines << QStringLiteral("%1\t%2\t%3")
                             .arg(name, x ? Reading(value(x), m_data->xUnit, true) : QString(), Reading(y, unit, !decibel));
            };
            line(tr("Max"), "maxX", value("max"), m_data->yUnit);
            line(tr("Min"), "minX", value("min"), m_data->yUnit);
            line(tr("p-p"), nullptr, value("max") - value("min"), deltaUnit);
            if (!decibel) {
                line(tr("Mean"), nullptr, value("mean"), m_data->yUnit);
                line(tr("RMS"), nullptr, value("rms"), m_data->yUnit);
            }
        }
    }
    if (m_data->peakMarker) {
        lines << QStringLiteral("%1\t%2\t%3").arg(tr("Peak"), Reading(PeakX(), m_data->xUnit, true),
                                                 Reading(PeakValue(), m_data->yUnit, !decibel));
    }
    if (m_data->distortion) {
        const QVariantMap d = DistortionReading();
        const auto value = [&d](const char *key) {
            return d.value(QLatin1String(key), std::numeric_limits<double>::quiet_NaN()).toDouble();
        };
        const QString dB = QStringLiteral("dB");
        lines << QStringLiteral("f\u2080\t%1\t").arg(Reading(value("fundamental"), m_data->xUnit, true));
        for (const auto &[name, key] : {std::pair{QStringLiteral("THD"), "thd"}, std::pair{QStringLiteral("THD+N"), "thdN"}})
            lines << QStringLiteral("%1\t%2\t%3").arg(name, Percent(value(key)), Reading(20.0 * std::log10(value(key)), dB, false));
        lines << QStringLiteral("SINAD\t\t%1").arg(Reading(value("sinad"), dB, false));
    }
    const QVariantMap limit = LimitReading();
    if (!limit.isEmpty()) {
        // The verdict, and where the samples come closest to a line (or pass it furthest).
        const auto value = [&limit](const char *key) {
            return limit.value(QLatin1String(key), std::numeric_limits<double>::quiet_NaN()).toDouble();
        };
        lines << QStringLiteral("%1\t%2\t%3")
                     .arg(limit.value(QStringLiteral("failed")).toBool() ? tr("Fail") : tr("Pass"),
                          Reading(value("marginX"), m_data->xUnit, true), Reading(value("margin"), deltaUnit, !decibel));
    }
    return lines;
}

// ---------------------------------------------------------------------------------------
// Measuring: drawing and input

QFont TQVPlot::MeasuringFont() const
{
    return Adaptive() ? QVAdaptivePlotFont(font(), size()) : font();
}

std::array<int, 3> TQVPlot::ReadoutColumns(const QFontMetrics &fm, const QStringList &lines)
{
    std::array<int, 3> widths{};
    for (const QString &line : lines) {
        const QStringList cells = line.split(QLatin1Char('\t'));
        for (std::size_t c = 0; c < 3 && c < std::size_t(cells.size()); ++c)
            widths[c] = std::max(widths[c], fm.horizontalAdvance(cells[qsizetype(c)]));
    }
    return widths;
}

QRect TQVPlot::ReadoutRect() const
{
    const QStringList lines = ReadoutLines();
    const QFontMetrics fm(MeasuringFont());
    return lines.isEmpty() ? QRect() : ReadoutBox(ReadoutColumns(fm, lines), int(lines.size()), fm, m_data->readoutPlace, nullptr);
}

QRect TQVPlot::ReadoutBox(const std::array<int, 3> &widths, int lines, const QFontMetrics &fm, int current, int *chosen) const
{
    // Three columns (name, x, y) with two spaces between them, in a padding of 4 pixels.
    const int gap = fm.horizontalAdvance(QStringLiteral("  ")), pad = 4;
    const QSize size(widths[0] + widths[1] + widths[2] + 2 * gap + 2 * pad, lines * fm.height() + 2 * pad);
    // Places along the top and the bottom edge of the plot area, the corners first.
    const QRect p = m_data->layout.Plot;
    const int left = p.left() + 4, right = p.right() - size.width() - 3;
    const int top = p.top() + 4, bottom = p.bottom() - size.height() - 3;
    std::array<QRect, ReadoutPlaces> places;
    for (int i = 0; i < ReadoutPlaces; ++i) {
        const int edge = i < 4 ? i / 2 : (i - 4) / 7, step = i < 4 ? (i % 2) * 8 : (i - 4) % 7 + 1;
        places[std::size_t(i)] = QRect(QPoint(right - (right - left) * step / 8, edge ? bottom : top), size);
    }
    // The place that hides least, the first of equals; the box leaves its place only for one
    // that hides clearly less, so that it does not jump to and fro with a live trace.
    const std::vector<QRectF> obstacles = ReadoutObstacles();
    std::array<double, ReadoutPlaces> hidden{};
    for (std::size_t i = 0; i < places.size(); ++i)
        hidden[i] = ReadoutHides(places[i], obstacles);
    const auto best = std::size_t(std::min_element(hidden.begin(), hidden.end()) - hidden.begin());
    current = std::clamp(current, 0, ReadoutPlaces - 1);
    const int place = hidden[best] + size.width() / 8.0 + 1.0 < hidden[std::size_t(current)] ? int(best) : current;
    if (chosen)
        *chosen = place;
    return places[std::size_t(place)];
}

std::vector<QRectF> TQVPlot::ReadoutObstacles() const
{
    // A trace is taken in runs of samples, about two per pixel column, each run as the
    // rectangle of its extremes joined to the run before. A cursor is its line, the peak its point.
    const QRect p = m_data->layout.Plot;
    const bool decibel = m_data->scaleY == scDecibel;
    std::vector<QRectF> obstacles;
    for (int k = 0; k < MaxTraces; ++k) {
        if (!ChannelShown(k))
            continue;
        const auto &held = m_data->processing[std::size_t(k)];
        const std::array<const std::vector<float> *, 3> drawn = {&m_data->traces[std::size_t(k)], &held.maxHold, &held.minHold};
        for (const std::vector<float> *series : drawn) {
            const int n = int(series->size());
            const int stride = std::max(1, n / std::max(1, 2 * p.width()));
            bool joined = false;
            QRectF last;
            for (int i = 0; i < n; i += stride) {
                const int end = std::min(n, i + stride);
                float lo = std::numeric_limits<float>::infinity(), hi = -lo;
                bool placeable = true;
                for (int j = i; j < end && placeable; ++j) {
                    const float y = (*series)[std::size_t(j)];
                    placeable = Placeable(y, decibel);
                    lo = std::min(lo, Key(y, decibel));
                    hi = std::max(hi, Key(y, decibel));
                }
                const double xa = MapX(SampleX(k, i), p), xb = MapX(SampleX(k, end - 1), p);
                const double ya = MapY(DisplayValue(hi), p), yb = MapY(DisplayValue(lo), p);
                if (!placeable || !Finite(xa) || !Finite(xb) || !Finite(ya) || !Finite(yb)) {
                    joined = false;
                    continue;
                }
                const QRectF run(QPointF(std::min(xa, xb), std::min(ya, yb)), QPointF(std::max(xa, xb), std::max(ya, yb)));
                obstacles.push_back(joined ? run.united(last) : run);
                last = run;
                joined = true;
            }
        }
    }
    for (const auto &label : HarmonicLabels())
        obstacles.emplace_back(label.first);
    if (m_data->cursors) {
        for (double x : {m_data->cursor1, m_data->cursor2})
            obstacles.emplace_back(QPointF(MapX(x, p), p.top()), QPointF(MapX(x, p), p.bottom()));
    }
    if (m_data->peakMarker) {
        const auto [x, v] = PeakReading();
        obstacles.emplace_back(QPointF(MapX(x, p), MapY(v, p)), QSizeF(0, 0));
    }
    return obstacles;
}

std::vector<std::pair<QRect, QString>> TQVPlot::HarmonicLabels() const
{
    std::vector<std::pair<QRect, QString>> labels;
    if (!m_data->distortion)
        return labels;
    const QRect p = m_data->layout.Plot;
    const QFontMetrics fm(MeasuringFont());
    for (const QVariant &harmonic : DistortionReading().value(QStringLiteral("harmonics")).toList()) {
        const QVariantMap h = harmonic.toMap();
        const double x = MapX(h.value(QStringLiteral("x")).toDouble(), p), y = MapY(h.value(QStringLiteral("y")).toDouble(), p);
        if (!Finite(x) || x < p.left() || x > p.right())
            continue;
        const QString number = h.value(QStringLiteral("number")).toString();
        const QSize size(fm.horizontalAdvance(number) + 2, fm.height());
        // Just above the peak, and inside the plot area when the peak is off its top or foot.
        const int top = std::clamp(Finite(y) ? int(y) - 2 - size.height() : p.bottom(), p.top() + 1, p.bottom() - size.height());
        labels.emplace_back(QRect(QPoint(int(x) - size.width() / 2, top), size), number);
    }
    return labels;
}

double TQVPlot::ReadoutHides(const QRect &box, const std::vector<QRectF> &obstacles) const
{
    // Pixel columns of the box (with a margin of 2 pixels) that a trace crosses; a hidden
    // cursor or peak counts as much as a trace across the whole box.
    const QRectF area = QRectF(box).adjusted(-2, -2, 2, 2);
    const std::size_t marks = (m_data->cursors ? 2 : 0) + (m_data->peakMarker ? 1 : 0);
    double hidden = 0.0;
    for (std::size_t i = 0; i < obstacles.size(); ++i) {
        const QRectF &o = obstacles[i];
        if (!Finite(o.left()) || !Finite(o.top()) || o.right() < area.left() || o.left() > area.right()
            || o.bottom() < area.top() || o.top() > area.bottom())
            continue;
        hidden += i + marks >= obstacles.size() ? box.width()
                                                 : std::max(1.0, std::min(o.right(), area.right()) - std::max(o.left(), area.left()));
    }
    return hidden;
}

void TQVPlot::PaintMeasuring(QPainter &painter)
{
    const QRect p = m_data->layout.Plot;
    const QColor ink = AxisInk();
    const QFont font = MeasuringFont();
    const QFontMetrics fm(font);
    painter.setFont(font);
    painter.setRenderHint(QPainter::Antialiasing, false);
    if (m_data->cursors) {
        QPen pen(ink, 1.0, Qt::DashLine);
        pen.setCosmetic(true);
        for (int which : {1, 2}) {
            const double px = MapX(which == 1 ? m_data->cursor1 : m_data->cursor2, p);
            if (!Finite(px) || px < p.left() || px > p.left() + p.width())
                continue;
            const int x = QVFloorPx(px);
            painter.setPen(pen);
            painter.drawLine(QPoint(x, p.top()), QPoint(x, p.bottom()));
            // The cursor's number in a tag at the foot of its line.
            const QString tag = QString::number(which);
            const QRect box(x - fm.horizontalAdvance(tag) / 2 - 3, p.bottom() - fm.height() - 1, fm.horizontalAdvance(tag) + 6,
                            fm.height());
            painter.fillRect(box, ink);
            painter.setPen(BackgroundInk());
            painter.drawText(box, Qt::AlignCenter, tag);
        }
    }
    if (m_data->peakMarker) {
        const double x = MapX(PeakX(), p), y = MapY(PeakValue(), p);
        if (Finite(x) && Finite(y)) {
            // A downward triangle whose tip sits on the peak.
            const double s = std::max(4.0, fm.height() * 0.4);
            const QPointF tip(x, std::max(double(p.top()) + 1.5 * s, y - 2.0));
            const QPointF tri[3] = {tip, tip + QPointF(-s * 0.7, -s * 1.2), tip + QPointF(s * 0.7, -s * 1.2)};
            painter.setRenderHint(QPainter::Antialiasing, true);
            painter.setPen(QPen(BackgroundInk(), 1.0));
            painter.setBrush(TraceInk(std::max(ReadoutChannel(), 0)));
            painter.drawPolygon(tri, 3);
            painter.setBrush(Qt::NoBrush);
            painter.setRenderHint(QPainter::Antialiasing, false);
        }
    }
    // Harmonic numbers on a veil of the background, legible over a noisy trace.
    QColor veil = BackgroundInk();
    veil.setAlphaF(0.7f);
    painter.setPen(ink);
    for (const auto &[box, number] : HarmonicLabels()) {
        painter.fillRect(box, veil);
        painter.drawText(box, Qt::AlignCenter, number);
    }
    const QStringList lines = ReadoutLines();
    if (!lines.isEmpty()) {
        const std::array<int, 3> widths = ReadoutColumns(fm, lines);
        const int gap = fm.horizontalAdvance(QStringLiteral("  ")), pad = 4;
        const QRect box = ReadoutBox(widths, int(lines.size()), fm, m_data->readoutPlace, &m_data->readoutPlace);
        QColor fill = BackgroundInk();
        fill.setAlphaF(0.88f);
        painter.fillRect(box, fill);
        QColor edge = ink;
        edge.setAlphaF(0.35f);
        painter.setPen(edge);
        painter.drawRect(box.adjusted(0, 0, -1, -1));
        painter.setPen(ink);
        int y = box.top() + pad;
        // A failed limit test, the last line, says so in the limit colour.
        const qsizetype failLine = m_data->limitFailed ? lines.size() - 1 : -1;
        for (qsizetype l = 0; l < lines.size(); ++l) {
            const QStringList cells = lines[l].split(QLatin1Char('\t'));
            int x = box.left() + pad;
            painter.setPen(l == failLine ? ToQColor(m_data->limitColor) : ink);
            for (std::size_t c = 0; c < 3 && c < std::size_t(cells.size()); ++c) {
                const Qt::Alignment align = (c == 0 ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter;
                painter.drawText(QRect(x, y, widths[c], fm.height()), align, cells[qsizetype(c)]);
                x += widths[c] + gap;
            }
            y += fm.height();
        }
    }
    if (m_data->drag == PrivateData::Drag::Band) {
        QPen pen(ink, 1.0, Qt::DashLine);
        pen.setCosmetic(true);
        painter.setPen(pen);
        QColor fill = ink;
        fill.setAlphaF(0.08f);
        const QRect band = QRect(m_data->pressAt, m_data->dragAt).normalized();
        painter.fillRect(band, fill);
        painter.drawRect(band);
    }
}

void TQVPlot::mousePressEvent(QMouseEvent *event)
{
    const QRect p = m_data->layout.Plot;
    const QPoint at = event->position().toPoint();
    if (!m_data->interactive || !p.contains(at))
        return TQVCustomPanel::mousePressEvent(event);
    m_data->pressAt = m_data->dragAt = at;
    m_data->pressView = {m_data->xLo, m_data->xHi, m_data->yLo, m_data->yHi};
    using Drag = PrivateData::Drag;
    if (event->button() == Qt::LeftButton) {
        m_data->drag = Drag::Band;
        for (int which : {1, 2}) {
            const double px = MapX(which == 1 ? m_data->cursor1 : m_data->cursor2, p);
            if (m_data->cursors && Finite(px) && std::fabs(px - at.x()) <= 4.0)
                m_data->drag = which == 1 ? Drag::Cursor1 : Drag::Cursor2;
        }
    } else if (event->button() == Qt::RightButton || event->button() == Qt::MiddleButton) {
        m_data->drag = Drag::Pan;
    }
    event->accept();
}

void TQVPlot::mouseMoveEvent(QMouseEvent *event)
{
    using Drag = PrivateData::Drag;
    const QRect p = m_data->layout.Plot;
    if (m_data->drag == Drag::None || p.isEmpty())
        return TQVCustomPanel::mouseMoveEvent(event);
    const QPoint at(std::clamp(event->position().toPoint().x(), p.left(), p.right()),
                    std::clamp(event->position().toPoint().y(), p.top(), p.bottom()));
    m_data->dragAt = at;
    switch (m_data->drag) {
    case Drag::Band: update(p); break;
    case Drag::Cursor1: SetCursor1(UnmapX(at.x(), p)); break;
    case Drag::Cursor2: SetCursor2(UnmapX(at.x(), p)); break;
    case Drag::Pan: {
        // Relative to the view at the press, so that the data follows the pointer.
        const PrivateData::View v = m_data->pressView;
        const double dx = -double(at.x() - m_data->pressAt.x()) / p.width();
        const double dy = double(at.y() - m_data->pressAt.y()) / p.height();
        const double k = m_data->xLog && v.x0 > 0.0 ? std::pow(v.x1 / v.x0, dx) : 0.0;
        const double x0 = k > 0.0 ? v.x0 * k : v.x0 + dx * (v.x1 - v.x0);
        const double x1 = k > 0.0 ? v.x1 * k : v.x1 + dx * (v.x1 - v.x0);
        const double d = dy * (v.y1 - v.y0);
        PushView(x0, x1, v.y0 + d, v.y1 + d, true);
        break;
    }
    case Drag::None: break;
    }
    event->accept();
}

void TQVPlot::mouseReleaseEvent(QMouseEvent *event)
{
    using Drag = PrivateData::Drag;
    const Drag drag = std::exchange(m_data->drag, Drag::None);
    if (drag == Drag::None)
        return TQVCustomPanel::mouseReleaseEvent(event);
    const QRect p = m_data->layout.Plot;
    if (drag == Drag::Band) {
        update(p);
        const QRect band = QRect(m_data->pressAt, m_data->dragAt).normalized();
        // A flat band zooms the x axis only, a narrow one the y axis only; a click nothing.
        const bool zoomX = band.width() >= 5, zoomY = band.height() >= 5;
        if (zoomX || zoomY) {
            double x0 = zoomX ? UnmapX(band.left(), p) : m_data->xLo, x1 = zoomX ? UnmapX(band.right() + 1, p) : m_data->xHi;
            double y0 = zoomY ? UnmapY(band.bottom() + 1, p) : m_data->yLo, y1 = zoomY ? UnmapY(band.top(), p) : m_data->yHi;
            if (zoomX && !m_data->xLog)
                SnapOut(x0, x1);
            if (zoomY)
                SnapOut(y0, y1);
            ZoomTo(x0, x1, y0, y1);
        }
    }
    event->accept();
}

void TQVPlot::wheelEvent(QWheelEvent *event)
{
    const QRect p = m_data->layout.Plot;
    const QPointF at = event->position();
    if (!m_data->interactive || p.isEmpty() || !p.contains(at.toPoint()))
        return TQVCustomPanel::wheelEvent(event);
    const double notches = std::clamp(event->angleDelta().y() / 120.0, -10.0, 10.0);
    const int axes = event->modifiers() & Qt::ShiftModifier ? 1 : event->modifiers() & Qt::ControlModifier ? 2 : 3;
    if (notches != 0.0)
        ZoomBy(std::pow(1.25, -notches), (at.x() - p.left()) / p.width(), (p.top() + p.height() - at.y()) / p.height(), axes);
    event->accept();
}

void TQVPlot::keyPressEvent(QKeyEvent *event)
{
    if (!m_data->interactive)
        return TQVCustomPanel::keyPressEvent(event);
    switch (event->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal: ZoomBy(0.8); break;
    case Qt::Key_Minus: ZoomBy(1.25); break;
    case Qt::Key_Left: Pan(-0.1, 0.0); break;
    case Qt::Key_Right: Pan(0.1, 0.0); break;
    case Qt::Key_Up: Pan(0.0, 0.1); break;
    case Qt::Key_Down: Pan(0.0, -0.1); break;
    case Qt::Key_Backspace: ZoomBack(); break;
    case Qt::Key_Home:
    case Qt::Key_Escape: ZoomReset(); break;
    default: return TQVCustomPanel::keyPressEvent(event);
    }
    event->accept();
}

// ---------------------------------------------------------------------------------------
// Export

namespace {

// The shortest text that reads back to the same number; empty when not finite.
template <typename Number>
QString ShortestText(Number value)
{
    if (!std::isfinite(value))
        return QString();
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return QString::fromLatin1(text, end - text);
}

QString CsvField(const QString &text)
{
    if (!text.contains(u',') && !text.contains(u'"') && !text.contains(u'\n') && !text.contains(u'\r'))
        return text;
    return u'"' + QString(text).replace(QStringLiteral("\""), QStringLiteral("\"\"")) + u'"';
}

QString WithUnit(const QString &name, const QString &unit)
{
    return unit.isEmpty() ? name : QStringLiteral("%1 [%2]").arg(name, unit);
}

} // namespace

QString TQVPlot::TracesCsv() const
{
    struct Column
    {
        int Channel;
        const std::vector<float> *Values; // null: the channel's abscissa
        QString Name;
    };
    std::vector<Column> columns;
    std::size_t rows = 0, firstLength = 0;
    bool sameLength = true;
    for (int k = 0; k < MaxTraces; ++k) {
        const std::vector<float> &trace = m_data->traces[std::size_t(k)];
        if (!ChannelShown(k) || trace.empty())
            continue;
        if (firstLength == 0)
            firstLength = trace.size();
        sameLength = sameLength && trace.size() == firstLength;
        rows = std::max(rows, trace.size());
        const QString &name = m_data->names[std::size_t(k)];
        columns.push_back({k, nullptr, QString()});
        columns.push_back({k, &trace, WithUnit(name, m_data->yUnit)});
        const auto &held = m_data->processing[std::size_t(k)];
        if (m_data->maxHold && held.maxHold.size() == trace.size())
            columns.push_back({k, &held.maxHold, WithUnit(tr("%1 max").arg(name), m_data->yUnit)});
        if (m_data->minHold && held.minHold.size() == trace.size())
            columns.push_back({k, &held.minHold, WithUnit(tr("%1 min").arg(name), m_data->yUnit)});
    }
    // One abscissa for all when every channel has as many samples.
    if (sameLength) {
        for (std::size_t i = columns.size(); i-- > 1;) {
            if (!columns[i].Values)
                columns.erase(columns.begin() + std::ptrdiff_t(i));
        }
    }
    const QString xName = WithUnit(QStringLiteral("x"), m_data->xUnit);
    QStringList line;
    for (const Column &column : columns)
        line << CsvField(column.Values ? column.Name : xName);
    QString text = (columns.empty() ? CsvField(xName) : line.join(u',')) + u'\n';
    const bool decibel = m_data->scaleY == scDecibel;
    for (std::size_t i = 0; i < rows; ++i) {
        line.clear();
        for (const Column &column : columns) {
            const std::size_t length = m_data->traces[std::size_t(column.Channel)].size();
            if (i >= length)
                line << QString();
            else if (!column.Values)
                line << ShortestText(SampleX(column.Channel, int(i)));
            else if (decibel)
                line << ShortestText(DisplayValue(double((*column.Values)[i])));
            else
                line << ShortestText((*column.Values)[i]);
        }
        text += line.join(u',') + u'\n';
    }
    return text;
}

bool TQVPlot::SaveTracesCsv(const QString &fileName)
{
    const QString path = fileName.startsWith(QLatin1String("file:")) ? QUrl(fileName).toLocalFile() : fileName;
    QSaveFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::WriteOnly) || file.write(TracesCsv().toUtf8()) < 0 || !file.commit()) {
        emit ErrorOccurred(tr("The traces could not be written to %1: %2")
                               .arg(path, path.isEmpty() ? tr("no file name") : file.errorString()));
        return false;
    }
    return true;
}
