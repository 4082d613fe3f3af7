#include "qvmeterInt.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QHashFunctions>
#include <QtGui/QAccessible>
#include <QtGui/QFontMetrics>
#include <QtGui/QPaintEngine>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtWidgets/QAccessibleWidget>

#include "controls/qvbargraphint.h"
#include "controls/qvFormat.h"
#include "controls/qvPeakHold_p.h"
#include "controls/scale/qvScaleEngine.h"
#include "controls/scale/qvPaintKit.h"
#include "framework/qvFiler.h"

namespace {

constexpr double Pi = 3.141592653589793;
// Upper bound of ticks and labels kept, so that an absurd scale cannot exhaust memory.
constexpr int MaxTicks = 100000;

double Radians(double degrees)
{
    return degrees * Pi / 180.0;
}

// An angle as painted: the setters test only the stored pair, so a stored angle can be any
// finite number; beyond ±720 it draws as ±720, and a scale never winds more than 4 turns.
double PaintAngle(double degrees)
{
    return std::clamp(degrees, -720.0, 720.0);
}

// The angle a band spans, pinned to two turns: a limit far past the scale's end draws a
// ring, not a star of a thousand turns.
double BandArc(double degrees)
{
    return std::isnan(degrees) ? 0.0 : std::clamp(degrees, -720.0, 720.0);
}

template<typename T>
void Grow(std::vector<T> &buffer, int size)
{
    if (size > int(buffer.size()))
        buffer.resize(std::size_t(size));
}

} // namespace

// Rectangles that together cover the indicator: the hub and slices along its length.
struct TQVMeterInt::TQVSlices
{
    static constexpr int MaxSlices = 9;
    std::array<QRect, MaxSlices> Rects{};
    int Count = 0;
    QRect Bounds() const;
};

class TQVMeterInt::PrivateData
{
public:
    struct RangeState
    {
        std::vector<QPoint> Polygon;
        int Count = 0;
    };

    explicit PrivateData(TQVMeterInt *owner) : peak(owner, &TQVMeterInt::ResetPeak) {}

    double meterAngle1 = -120.0;
    double meterAngle2 = 120.0;
    double valueMin = -10.0;
    double valueMax = 10.0;
    double valueGap = 1.0;
    double value = 0.0;
    int indicatorScale = 100;
    int meterScaleWidth = 10;
    int meterScale = 100;
    int rangeNumber = 1;
    int rangeCurrent = 1;
    int bevelOuterWidth = 1;
    int valueDecimals = 0;
    int meterShiftX = 0;
    int meterShiftY = 0;
    TQVColor indicatorColor = QVColors::clBlack;
    bool reduceFlicker = false;
    QString legend1;
    QString legend2;
    TQVIndicatorStyle indicatorStyle = indWedge;
    TQVLabelingStyle labelingStyle = labOutside;
    TQVTickStyle tickStyle = ticFull;
    TQVLegendPosition legendPosition = LegBottom;

    // Scale geometry.
    double innerRadius = 0.0;
    double outerRadius = 0.0;
    int meterCenterX = 0;
    int meterCenterBottom = 0;
    int labelMarginX = 0;
    int labelMarginY = 0;
    bool scaleInvalid = false;
    RangeEntry ranges[MaxRanges];
    RangeState rangeStates[MaxRanges];
    std::vector<QPoint> tickPoints; // capacity: two points per tick
    int tickCount = 0;              // points in use
    double labelRadius = 0.0;
    std::vector<QPoint> labelPoints;
    std::vector<QString> labelTexts;
    int labelCount = 0;
    double labelCircleRadius = 0.0;
    std::vector<QPoint> outlinePoints;
    int outlineCount = 0;
    QSize geometrySize; // the size the geometry was computed for

    // Everything but the indicator, as last painted; a value change blits from it.
    QPixmap background;
    bool backgroundValid = false;
    TQVScaleLayout scaleLayout = slClassic;
    TQVRoundScaleLayout roundLayout;
    QPixmap offscreen;
    // The hub, which never moves, drawn once per size, colour and pixel ratio.
    QPixmap hubImage;
    QPen indicatorPen;
    QBrush indicatorBrush;
    quint64 hubKey = 0;
    TQVSlices indicatorSlices; // the indicator as last painted
    QRect valueArea;           // the area a value repaint is painting, else empty
    // Within it, what that repaint restores: old and new indicator, old and new drag pointer.
    TQVSlices restore[4];
    TQVPeakHold peak;
    TQVSlices peakSlices; // the drag pointer as last painted
    double paintedPeak = std::numeric_limits<double>::quiet_NaN(); // its value then, NaN if hidden
};

TQVMeterInt::TQVMeterInt(QWidget *owner)
    : TQVCustomPanel(owner)
    , m_data(std::make_unique<PrivateData>(this))
{
    QVInstallValueAccessibility({"TQVMeterInt", QAccessible::ProgressBar, QT_TRANSLATE_NOOP("TQVMeterInt", "Meter")});

    // Every pixel comes from the background cache or the indicator.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    setAccessibleName(tr("Meter"));
    resize(133, 133);
    Recalc();
}

TQVMeterInt::~TQVMeterInt() = default;

double TQVMeterInt::MeterAngle1() const { return m_data->meterAngle1; }
double TQVMeterInt::MeterAngle2() const { return m_data->meterAngle2; }
double TQVMeterInt::ValueMin() const { return m_data->valueMin; }
double TQVMeterInt::ValueMax() const { return m_data->valueMax; }
double TQVMeterInt::ValueGap() const { return m_data->valueGap; }
double TQVMeterInt::Value() const { return m_data->value; }
int TQVMeterInt::RangeNumber() const { return m_data->rangeNumber; }
int TQVMeterInt::RangeCurrent() const { return m_data->rangeCurrent; }
double TQVMeterInt::RangeLimit() const { return m_data->ranges[m_data->rangeCurrent - 1].Limit; }
TQVColor TQVMeterInt::RangeColor() const { return m_data->ranges[m_data->rangeCurrent - 1].Color; }
bool TQVMeterInt::RangeCheck() const { return m_data->ranges[m_data->rangeCurrent - 1].Check; }
int TQVMeterInt::IndicatorScale() const { return m_data->indicatorScale; }
int TQVMeterInt::MeterScaleWidth() const { return m_data->meterScaleWidth; }
int TQVMeterInt::MeterScale() const { return m_data->meterScale; }
int TQVMeterInt::BevelOuterWidth() const { return m_data->bevelOuterWidth; }
int TQVMeterInt::ValueDecimals() const { return m_data->valueDecimals; }
int TQVMeterInt::MeterShiftX() const { return m_data->meterShiftX; }
int TQVMeterInt::MeterShiftY() const { return m_data->meterShiftY; }
TQVColor TQVMeterInt::IndicatorColor() const { return m_data->indicatorColor; }
bool TQVMeterInt::ReduceFlicker() const { return m_data->reduceFlicker; }
QString TQVMeterInt::Legend1() const { return m_data->legend1; }
QString TQVMeterInt::Legend2() const { return m_data->legend2; }
TQVMeterInt::TQVIndicatorStyle TQVMeterInt::IndicatorStyle() const { return m_data->indicatorStyle; }
TQVMeterInt::TQVLabelingStyle TQVMeterInt::LabelingStyle() const { return m_data->labelingStyle; }
TQVMeterInt::TQVTickStyle TQVMeterInt::TickStyle() const { return m_data->tickStyle; }
TQVMeterInt::TQVLegendPosition TQVMeterInt::LegendPosition() const { return m_data->legendPosition; }
TQVScaleLayout TQVMeterInt::ScaleLayout() const { return m_data->scaleLayout; }
const TQVRoundScaleLayout &TQVMeterInt::AdaptiveLayout() const { EnsureGeometry(); return m_data->roundLayout; }

// ---------------------------------------------------------------------------------------
// Properties

void TQVMeterInt::SetMeterAngle1(double angle)
{
    if (!std::isfinite(angle) || angle == m_data->meterAngle1)
        return;
    // The stored pair is tested, not the new angle: an invalid pair locks both setters.
    if (!(m_data->meterAngle1 < m_data->meterAngle2) || m_data->meterAngle1 > 360.0 || m_data->meterAngle1 < -360.0)
        return;
    m_data->meterAngle1 = angle;
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetMeterAngle2(double angle)
{
    if (!std::isfinite(angle) || angle == m_data->meterAngle2)
        return;
    if (!(m_data->meterAngle1 < m_data->meterAngle2) || m_data->meterAngle2 > 360.0 || m_data->meterAngle2 < -360.0)
        return;
    m_data->meterAngle2 = angle;
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetValueMin(double value)
{
    if (!std::isfinite(value) || value == m_data->valueMin)
        return;
    m_data->valueMin = value;
    if (!(m_data->valueMax > m_data->valueMin)) {
        m_data->valueMax = m_data->valueMin + 1.0;
        if (!(m_data->valueMax > m_data->valueMin)) // too large for a step of 1
            m_data->valueMax = std::nextafter(m_data->valueMin, HUGE_VAL);
    }
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetValueMax(double value)
{
    if (!std::isfinite(value) || value == m_data->valueMax)
        return;
    m_data->valueMax = value;
    if (!(m_data->valueMax > m_data->valueMin)) {
        m_data->valueMin = m_data->valueMax - 1.0;
        if (!(m_data->valueMin < m_data->valueMax))
            m_data->valueMin = std::nextafter(m_data->valueMax, -HUGE_VAL);
    }
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetValueGap(double gap)
{
    if (!(gap > 0.0) || !std::isfinite(gap) || gap == m_data->valueGap)
        return;
    m_data->valueGap = gap;
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetValue(double value)
{
    if (std::isnan(value) || value == m_data->value)
        return;
    const int oldRange = RangeIndexOf(m_data->value);
    m_data->value = value;
    const int newRange = RangeIndexOf(m_data->value);
    if (newRange != oldRange && newRange >= 1 && m_data->ranges[newRange - 1].Check) {
        if (OnRangeCheck)
            OnRangeCheck(this, newRange);
        emit RangeChecked(newRange);
    }
    if (QAccessible::isActive()) {
        QAccessibleValueChangeEvent event(this, m_data->value);
        QAccessible::updateAccessibility(&event);
    }
    m_data->peak.Offer(value);
    emit ValueChanged(m_data->value);
    RepaintValue();
}

void TQVMeterInt::RepaintValue()
{
    if (!isVisible() || !updatesEnabled())
        return;
    EnsureGeometry();
    // One rectangle for Qt (a many-rectangle region costs more in its machinery than it
    // saves); inside it only the slices of the indicators are restored, the rest of the
    // rectangle keeps what the opaque widget showed.
    m_data->restore[0] = m_data->indicatorSlices;
    m_data->restore[1] = IndicatorSlicesAt(m_data->value);
    // The drag pointer is restored and drawn whole when it moved or an indicator slice
    // touches it: drawn only in part, its edge pixels would differ from a full paint.
    const double shown = ShownPeak();
    const bool moved = shown != m_data->paintedPeak && !(std::isnan(shown) && std::isnan(m_data->paintedPeak));
    const TQVSlices pointer = std::isnan(shown) ? TQVSlices() : IndicatorSlicesAt(shown, true);
    bool touched = moved;
    for (int k = 0; k < 2 && !touched; ++k)
        for (int i = 0; i < m_data->restore[k].Count && !touched; ++i)
            for (int j = 0; j < pointer.Count && !touched; ++j)
                touched = m_data->restore[k].Rects[std::size_t(i)].intersects(pointer.Rects[std::size_t(j)]);
    m_data->restore[2] = touched ? m_data->peakSlices : TQVSlices();
    m_data->restore[3] = touched ? pointer : TQVSlices();
    m_data->valueArea = QRect();
    for (const TQVSlices &slices : m_data->restore)
        m_data->valueArea |= slices.Bounds();
    if (!m_data->valueArea.isEmpty())
        repaint(m_data->valueArea);
    m_data->valueArea = QRect();
}

bool TQVMeterInt::PeakHold() const { return m_data->peak.On(); }
int TQVMeterInt::PeakHoldTime() const { return m_data->peak.Time(); }
double TQVMeterInt::Peak() const { return m_data->peak.Peak(); }

void TQVMeterInt::SetPeakHold(bool hold)
{
    if (!m_data->peak.SetOn(hold, m_data->value))
        return;
    RepaintValue();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetPeakHoldTime(int milliseconds)
{
    if (m_data->peak.SetTime(milliseconds))
        Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::ResetPeak()
{
    if (m_data->peak.Release(m_data->value))
        RepaintValue();
}

double TQVMeterInt::ShownPeak() const
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    if (!m_data->peak.On() || m_data->indicatorScale <= 0)
        return nan;
    const double peak = std::clamp(m_data->peak.Peak(), m_data->valueMin, m_data->valueMax);
    return peak > std::clamp(m_data->value, m_data->valueMin, m_data->valueMax) ? peak : nan;
}

void TQVMeterInt::SetRangeNumber(int number)
{
    if (number < 0 || number > MaxRanges || number == m_data->rangeNumber)
        return;
    m_data->rangeNumber = number;
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetRangeCurrent(int index)
{
    if (index < 1 || index > MaxRanges || index == m_data->rangeCurrent)
        return;
    m_data->rangeCurrent = index;
    // RangeColor now reads another range.
    Notify(TQVChangeGroup::Settings);
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetRangeLimit(double limit)
{
    double &stored = m_data->ranges[m_data->rangeCurrent - 1].Limit;
    if (std::isnan(limit) || limit == stored)
        return;
    stored = limit;
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetRangeColor(TQVColor color)
{
    TQVColor &stored = m_data->ranges[m_data->rangeCurrent - 1].Color;
    if (color == stored)
        return;
    stored = color;
    Invalidate();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetRangeCheck(bool check)
{
    if (QVChange(m_data->ranges[m_data->rangeCurrent - 1].Check, check))
        Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetIndicatorScale(int percent)
{
    percent = std::clamp(percent, 0, 200);
    if (percent == m_data->indicatorScale)
        return;
    m_data->indicatorScale = percent;
    Changed(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetMeterScaleWidth(int percent)
{
    percent = std::clamp(percent, 0, 100);
    if (percent == m_data->meterScaleWidth)
        return;
    m_data->meterScaleWidth = percent;
    Recalc();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetMeterScale(int percent)
{
    percent = std::clamp(percent, 50, 210);
    if (percent == m_data->meterScale)
        return;
    m_data->meterScale = percent;
    Recalc();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetBevelOuterWidth(int width)
{
    if (width < 0 || width == m_data->bevelOuterWidth)
        return;
    m_data->bevelOuterWidth = width;
    Recalc();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetValueDecimals(int decimals)
{
    if (decimals < 0 || decimals > 15 || decimals == m_data->valueDecimals)
        return;
    m_data->valueDecimals = decimals;
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

void TQVMeterInt::SetMeterShiftX(int percent)
{
    percent = std::clamp(percent, -60, 60);
    if (percent == m_data->meterShiftX)
        return;
    m_data->meterShiftX = percent;
    Recalc();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetMeterShiftY(int percent)
{
    percent = std::clamp(percent, -60, 60);
    if (percent == m_data->meterShiftY)
        return;
    m_data->meterShiftY = percent;
    Recalc();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetIndicatorColor(TQVColor color)
{
    if (color == m_data->indicatorColor)
        return;
    m_data->indicatorColor = color;
    Changed(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetReduceFlicker(bool reduce)
{
    if (reduce == m_data->reduceFlicker)
        return;
    m_data->reduceFlicker = reduce;
    // Sized on the next paint, when the target's pixel ratio is known.
    m_data->offscreen = QPixmap();
    Changed(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetLegend1(const QString &text)
{
    if (text == m_data->legend1)
        return;
    m_data->legend1 = text;
    Invalidate();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetLegend2(const QString &text)
{
    if (text == m_data->legend2)
        return;
    m_data->legend2 = text;
    Invalidate();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetIndicatorStyle(TQVIndicatorStyle style)
{
    if (style == m_data->indicatorStyle || style > indWedge)
        return;
    m_data->indicatorStyle = style;
    Changed(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetLabelingStyle(TQVLabelingStyle style)
{
    if (style == m_data->labelingStyle || style > labOutside)
        return;
    m_data->labelingStyle = style;
    Recalc();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetTickStyle(TQVTickStyle style)
{
    if (style == m_data->tickStyle || style > ticLarge)
        return;
    m_data->tickStyle = style;
    Recalc();
    Notify(TQVChangeGroup::Appearance);
}

void TQVMeterInt::SetScaleLayout(TQVScaleLayout layout)
{
    if (layout == m_data->scaleLayout || layout > slAdaptive)
        return;
    m_data->scaleLayout = layout;
    Recalc();
    Notify(TQVChangeGroup::Appearance);
}

TQVRoundScaleSpec TQVMeterInt::ScaleSpec() const
{
    TQVRoundScaleSpec scale;
    scale.Angle1 = m_data->meterAngle1;
    scale.Angle2 = m_data->meterAngle2;
    scale.ValueMin = m_data->valueMin;
    scale.ValueMax = m_data->valueMax;
    scale.Gap = m_data->valueGap;
    scale.Decimals = m_data->valueDecimals;
    scale.DefaultDecimals = 0;
    // The unit stands in the legend: large and small ranges read "50k", "200µ" on the scale.
    scale.PrefixId = QVCompactPrefix(m_data->valueMin, m_data->valueMax);
    scale.Locale = locale();
    scale.Font = font();
    scale.Labels = m_data->labelingStyle != labNone;
    scale.LabelsInside = m_data->labelingStyle == labInside;
    scale.Ticks = m_data->tickStyle != ticNone;
    scale.ScalePercent = m_data->meterScale;
    scale.BandPercent = m_data->meterScaleWidth;
    scale.ShiftX = m_data->meterShiftX;
    scale.ShiftY = m_data->meterShiftY;
    return scale;
}

void TQVMeterInt::SetLegendPosition(TQVLegendPosition position)
{
    if (position == m_data->legendPosition || position > LegBottom)
        return;
    m_data->legendPosition = position;
    Invalidate();
    Notify(TQVChangeGroup::Appearance);
}

QList<TQVMeterInt::RangeEntry> TQVMeterInt::Ranges() const
{
    return QList<RangeEntry>(m_data->ranges, m_data->ranges + m_data->rangeNumber);
}

void TQVMeterInt::SetRanges(const QList<RangeEntry> &ranges)
{
    if (QList<RangeEntry>(ranges.first(std::min<qsizetype>(ranges.size(), MaxRanges))) == Ranges())
        return;
    m_data->rangeNumber = int(std::min<qsizetype>(ranges.size(), MaxRanges));
    std::copy_n(ranges.begin(), m_data->rangeNumber, m_data->ranges);
    Recalc();
    Notify(TQVChangeGroup::Settings);
}

QString TQVMeterInt::RangeTable() const
{
    QList<TQVRangeTableRow> rows;
    for (const RangeEntry &entry : Ranges())
        rows.append(TQVRangeTableRow{entry.Color, entry.Limit, entry.Check});
    return QVRangeTableText(rows, true);
}

void TQVMeterInt::SetRangeTable(const QString &text)
{
    QList<TQVRangeTableRow> rows;
    if (!QVParseRangeTable(text, true, rows))
        return;
    QList<RangeEntry> ranges;
    for (const TQVRangeTableRow &row : rows.first(std::min<qsizetype>(rows.size(), MaxRanges)))
        ranges.append(RangeEntry{row.Limit, row.Check, row.Color});
    SetRanges(ranges);
}

void TQVMeterInt::DefineProperties(TQVFiler &filer)
{
    TQVCustomPanel::DefineProperties(filer);
    filer.DefineProperty(
        QStringLiteral("Ranges"),
        [this](TQVReader &reader) {
            QList<RangeEntry> ranges;
            reader.ReadListBegin();
            while (!reader.EndOfList()) {
                RangeEntry entry;
                entry.Color = reader.ReadColor();
                entry.Limit = reader.ReadDouble();
                entry.Check = reader.ReadBoolean();
                if (ranges.size() < MaxRanges)
                    ranges.append(entry);
            }
            reader.ReadListEnd();
            SetRanges(ranges);
        },
        [this](TQVWriter &writer) {
            writer.WriteListBegin();
            for (const RangeEntry &entry : Ranges()) {
                writer.WriteInteger(entry.Color);
                writer.WriteDouble(entry.Limit);
                writer.WriteBoolean(entry.Check);
            }
            writer.WriteListEnd();
        },
        m_data->rangeNumber > 0);
}

// ---------------------------------------------------------------------------------------
// Geometry accessors: a resize of a hidden widget is only announced when it is shown, so
// they bring the geometry up to the current size first.

int TQVMeterInt::MeterCenterX() const { EnsureGeometry(); return m_data->meterCenterX; }
int TQVMeterInt::MeterCenterBottom() const { EnsureGeometry(); return m_data->meterCenterBottom; }
double TQVMeterInt::InnerRadius() const { EnsureGeometry(); return m_data->innerRadius; }
double TQVMeterInt::OuterRadius() const { EnsureGeometry(); return m_data->outerRadius; }
int TQVMeterInt::LabelMarginX() const { EnsureGeometry(); return m_data->labelMarginX; }
int TQVMeterInt::LabelMarginY() const { EnsureGeometry(); return m_data->labelMarginY; }
bool TQVMeterInt::ScaleInvalid() const { EnsureGeometry(); return m_data->scaleInvalid; }
double TQVMeterInt::LabelRadius() const { EnsureGeometry(); return m_data->labelRadius; }
double TQVMeterInt::LabelCircleRadius() const { EnsureGeometry(); return m_data->labelCircleRadius; }

QPolygon TQVMeterInt::TickPoints() const
{
    EnsureGeometry();
    return QPolygon(QList<QPoint>(m_data->tickPoints.begin(), m_data->tickPoints.begin() + m_data->tickCount));
}

QPolygon TQVMeterInt::LabelPoints() const
{
    EnsureGeometry();
    return QPolygon(QList<QPoint>(m_data->labelPoints.begin(), m_data->labelPoints.begin() + m_data->labelCount));
}

QStringList TQVMeterInt::LabelTexts() const
{
    EnsureGeometry();
    return QStringList(m_data->labelTexts.begin(), m_data->labelTexts.begin() + m_data->labelCount);
}

QPolygon TQVMeterInt::RangePolygon(int index) const
{
    EnsureGeometry();
    if (index < 1 || index > m_data->rangeNumber)
        return QPolygon();
    const PrivateData::RangeState &s = m_data->rangeStates[index - 1];
    return QPolygon(QList<QPoint>(s.Polygon.begin(), s.Polygon.begin() + s.Count));
}

QPolygon TQVMeterInt::OutlinePoints() const
{
    EnsureGeometry();
    return QPolygon(QList<QPoint>(m_data->outlinePoints.begin(), m_data->outlinePoints.begin() + m_data->outlineCount));
}

QRect TQVMeterInt::IndicatorRect() const
{
    EnsureGeometry();
    return IndicatorRectAt(m_data->value);
}

QSize TQVMeterInt::sizeHint() const
{
    return QSize(133, 133);
}

QSize TQVMeterInt::minimumSizeHint() const
{
    return QSize(40, 40);
}

// ---------------------------------------------------------------------------------------
// Scale geometry

void TQVMeterInt::RecalcGeometry()
{
    m_data->geometrySize = size();
    m_data->roundLayout = {};
    if (m_data->scaleLayout == slAdaptive) {
        // The adaptive scale paints from its own float geometry; the indicator and the legends
        // read the centre and the radii.
        m_data->roundLayout = TQVRoundScaleDraw::LayoutAdaptive(ScaleSpec(), ClientRect());
        m_data->scaleInvalid = !m_data->roundLayout.Valid;
        m_data->tickCount = m_data->labelCount = m_data->outlineCount = 0;
        for (PrivateData::RangeState &state : m_data->rangeStates)
            state.Count = 0;
        if (m_data->roundLayout.Valid) {
            m_data->meterCenterX = QVRoundPx(m_data->roundLayout.Centre.x());
            m_data->meterCenterBottom = m_data->geometrySize.height() - QVRoundPx(m_data->roundLayout.Centre.y());
            m_data->outerRadius = m_data->roundLayout.Outer;
            m_data->innerRadius = m_data->roundLayout.Inner;
            m_data->labelCircleRadius = m_data->innerRadius;
        }
        m_data->backgroundValid = false;
        return;
    }
    CalcLabel();
    CalcPolygons();
    m_data->backgroundValid = false;
}

void TQVMeterInt::Recalc()
{
    RecalcGeometry();
    update();
}

void TQVMeterInt::EnsureGeometry() const
{
    if (m_data->geometrySize != size())
        const_cast<TQVMeterInt *>(this)->RecalcGeometry();
}

void TQVMeterInt::Invalidate()
{
    m_data->backgroundValid = false;
    update();
}

QPoint TQVMeterInt::PointAt(double angle, double radius) const
{
    const double a = Radians(angle);
    return QPoint(QVRoundPx(m_data->meterCenterX + std::sin(a) * radius),
                  QVRoundPx(m_data->geometrySize.height() - std::cos(a) * radius - m_data->meterCenterBottom));
}

double TQVMeterInt::AngleOf(double value) const
{
    const double a1 = PaintAngle(m_data->meterAngle1), a2 = PaintAngle(m_data->meterAngle2);
    const double angle = a1 + (a2 - a1) * (value - m_data->valueMin) / (m_data->valueMax - m_data->valueMin);
    // A range of ±1e308 overflows the differences.
    return std::isfinite(angle) ? angle : a1 + (a2 - a1) * QVSpanFraction(value, m_data->valueMin, m_data->valueMax);
}

void TQVMeterInt::CalcRadii()
{
    const int w = m_data->geometrySize.width();
    const int h = m_data->geometrySize.height();
    m_data->meterCenterX = QVRoundPx(m_data->meterShiftX * w / 100.0) + w / 2;
    m_data->meterCenterBottom = h / 2 - QVRoundPx(m_data->meterShiftY * h / 100.0);
    const double base = m_data->meterCenterBottom + m_data->labelMarginY >= m_data->meterCenterX + m_data->labelMarginX
        ? w / 2.0 - m_data->bevelOuterWidth - m_data->labelMarginX
        : h / 2.0 - m_data->bevelOuterWidth - m_data->labelMarginY;
    m_data->outerRadius = base * m_data->meterScale / 100.0;
    if (m_data->outerRadius < 1.0)
        m_data->outerRadius = 1.0;
    m_data->innerRadius = (1.0 - m_data->meterScaleWidth / 100.0) * m_data->outerRadius;
}

void TQVMeterInt::CalcPolygons()
{
    CalcRadii();
    const int nInner = std::clamp(QVRoundPx(11.0 * std::sqrt(m_data->innerRadius) + 6.0), 1, 300);
    const int nOuter = std::clamp(QVRoundPx(11.0 * std::sqrt(m_data->outerRadius) + 4.0), 1, 300);
    const bool inside = m_data->labelingStyle == labInside;
    Grow(m_data->outlinePoints, inside ? nOuter : nInner);
    const int outlineCapacity = int(m_data->outlinePoints.size());
    m_data->outlineCount = 0;
    if (m_data->rangeNumber < 1)
        return;

    const double arc = PaintAngle(m_data->meterAngle2) - PaintAngle(m_data->meterAngle1);
    const double span = m_data->valueMax - m_data->valueMin;
    double a = PaintAngle(m_data->meterAngle1);
    for (int i = 0; i < m_data->rangeNumber; ++i) {
        const double lower = i == 0 ? m_data->valueMin : m_data->ranges[i - 1].Limit;
        const double s = BandArc(std::isfinite(span) ? arc * (m_data->ranges[i].Limit - lower) / span
                                                     : arc * (QVSpanFraction(m_data->ranges[i].Limit, m_data->valueMin, m_data->valueMax)
                                                              - QVSpanFraction(lower, m_data->valueMin, m_data->valueMax)));
        const int k = std::clamp(QVRoundPx(s * nInner / 360.0), 2, 300);
        const int m = std::clamp(QVRoundPx(s * nOuter / 360.0), 2, 300);
        PrivateData::RangeState &state = m_data->rangeStates[i];
        Grow(state.Polygon, k + m);

        const double innerStep = s / (k - 1);
        for (int j = 0; j < k; ++j) {
            const QPoint p = PointAt(a, m_data->innerRadius);
            state.Polygon[std::size_t(j)] = p;
            if (!inside && m_data->outlineCount < outlineCapacity)
                m_data->outlinePoints[std::size_t(m_data->outlineCount++)] = p;
            a += innerStep;
        }
        a -= innerStep; // the range's end angle, where the next range begins

        const double outerStep = s / (m - 1);
        double b = a;
        for (int j = 0; j < m; ++j) {
            state.Polygon[std::size_t(k + j)] = PointAt(b, m_data->outerRadius);
            b -= outerStep;
        }
        state.Count = k + m;
        if (inside) {
            for (int j = k + m - 1; j >= k && m_data->outlineCount < outlineCapacity; --j)
                m_data->outlinePoints[std::size_t(m_data->outlineCount++)] = state.Polygon[std::size_t(j)];
        }
    }
}

void TQVMeterInt::CalcTicks()
{
    const double length = 2.0 * Pi * m_data->innerRadius * (PaintAngle(m_data->meterAngle2) - PaintAngle(m_data->meterAngle1)) * m_data->meterScale / 36000.0;
    const double span = m_data->valueMax - m_data->valueMin;
    // A span that overflows when scaled (±1e308) cannot be divided into ticks.
    if (!(length > 0.0) || !std::isfinite(span * 4.0)) {
        m_data->scaleInvalid = true;
        m_data->tickCount = 0;
        return;
    }
    m_data->scaleInvalid = false;
    // Ticks never closer than 4 pixels: the published gap itself grows.
    if (span * 4.0 / m_data->valueGap > length)
        m_data->valueGap = span * 4.0 / length;
    const double gap = m_data->valueGap;

    int count = QVRoundPx(span / gap) + 1;
    double first = std::nearbyint(m_data->valueMin / gap) * gap;
    if (first < m_data->valueMin) {
        first += gap;
        --count;
    }
    if (m_data->tickStyle == ticNone) {
        m_data->tickCount = 0;
        return;
    }
    Grow(m_data->tickPoints, 2 * std::min(count, MaxTicks));
    const int capacity = int(m_data->tickPoints.size());

    const bool inside = m_data->labelingStyle == labInside;
    const double middle = m_data->innerRadius + (m_data->outerRadius - m_data->innerRadius) / 2.0;
    double from = m_data->innerRadius, to = m_data->outerRadius;
    switch (m_data->tickStyle) {
    case ticHalf:
        from = inside ? middle : m_data->innerRadius;
        to = inside ? m_data->outerRadius : middle;
        m_data->labelRadius = inside ? m_data->innerRadius : middle;
        break;
    case ticFull:
        m_data->labelRadius = m_data->innerRadius;
        break;
    case ticLarge:
        from = inside ? m_data->innerRadius - 5.0 : m_data->innerRadius;
        to = inside ? m_data->outerRadius : m_data->outerRadius + 5.0;
        m_data->labelRadius = inside ? m_data->innerRadius - 5.0 : m_data->innerRadius;
        break;
    case ticNone:
        break;
    }

    int points = 0;
    for (int i = 0; points + 1 < capacity; ++i) {
        const double v = first + i * gap;
        if (!(v <= m_data->valueMax))
            break;
        const double a = AngleOf(v);
        m_data->tickPoints[std::size_t(points++)] = PointAt(a, from);
        m_data->tickPoints[std::size_t(points++)] = PointAt(a, to);
    }
    m_data->tickCount = points;
}

QString TQVMeterInt::LabelFormat() const
{
    return QVLabelFormat(TQVLabelFormatRule::Round, m_data->valueMin, m_data->valueMax, m_data->valueDecimals);
}

void TQVMeterInt::CalcLabel()
{
    const QString format = LabelFormat();
    const QLocale loc = locale();
    const QFontMetrics fm(font());
    CalcRadii();
    m_data->labelCount = 0;
    if (m_data->labelingStyle == labNone) {
        m_data->labelMarginX = m_data->labelMarginY = 5;
        CalcRadii();
        CalcTicks();
        return;
    }

    const bool inside = m_data->labelingStyle == labInside;
    const int textHeight = fm.height();
    const int textWidth = std::max(fm.horizontalAdvance(QVFormatFloat(format, m_data->valueMin, loc)),
                                   fm.horizontalAdvance(QVFormatFloat(format, m_data->valueMax, loc)));
    const int h = textHeight + 10;
    const int w = textWidth + 10;
    const int d = QVRoundPx(std::sqrt(double(w) * w + double(h) * h));
    if (inside) {
        m_data->labelMarginX = m_data->labelMarginY = 5;
    } else {
        // Room for the widest label standing at its distance outside the band, on any side.
        const int r = QVRoundPx(std::sqrt(double(textWidth) * textWidth + double(textHeight) * textHeight) / 2.0 + 5.0);
        m_data->labelMarginX = m_data->labelMarginY = QVRoundPx(r + std::max(textWidth, textHeight) / 2.0);
    }
    CalcRadii();
    const double circle = inside ? m_data->innerRadius - d : m_data->outerRadius + d / 2.0;
    m_data->labelCircleRadius = circle;
    CalcTicks();

    const double span = m_data->valueMax - m_data->valueMin;
    if (!std::isfinite(span * 4.0))
        return; // no ticks either (CalcTicks)
    const double gap = m_data->valueGap;
    const double arcLength = 2.0 * Pi * circle * (PaintAngle(m_data->meterAngle2) - PaintAngle(m_data->meterAngle1)) / 360.0;
    const int pitch = QVRoundPx((arcLength - 1.0) * gap / span);
    if (pitch <= 0) {
        m_data->scaleInvalid = true;
        return;
    }

    // Every label gets at least the width of the widest text with a sign's room.
    const double widest = std::abs(m_data->valueMin) >= std::abs(m_data->valueMax) ? m_data->valueMin : m_data->valueMax;
    const int widestWidth = fm.horizontalAdvance(QVFormatFloat(format, widest, loc) + QLatin1Char('-'));
    int multiple = 1;
    double step = gap;
    int p = pitch;
    while (p < widestWidth) {
        step += gap;
        p += pitch;
        ++multiple;
    }
    const int capacity = std::clamp(QVRoundPx(span / step) + 1, 1, MaxTicks);
    Grow(m_data->labelPoints, capacity);
    Grow(m_data->labelTexts, capacity);

    double first = std::nearbyint(m_data->valueMin / gap) * gap;
    if (first < m_data->valueMin)
        first += gap;
    const double lengthen[4] = {0.0, 0.0, 5.0, 10.0}; // inner point of a labelled tick, by style
    const int height = m_data->geometrySize.height();
    int n = 0;
    for (; n < capacity; ++n) {
        const double v = first + n * step;
        if (!(v <= m_data->valueMax))
            break;
        QString text = QVFormatFloat(format, v, loc).left(20);
        const double a = Radians(AngleOf(v));
        const int lw = fm.horizontalAdvance(text);
        const int lh = fm.height();
        const int r = QVRoundPx(std::sqrt(double(lw) * lw + double(lh) * lh) / 2.0 + 5.0);
        const double radius = inside ? m_data->innerRadius - r : m_data->outerRadius + r;
        m_data->labelPoints[std::size_t(n)] = QPoint(QVRoundPx(m_data->meterCenterX + std::sin(a) * radius - lw / 2.0),
                                               QVRoundPx(height - std::cos(a) * radius - m_data->meterCenterBottom - lh / 2.0));
        m_data->labelTexts[std::size_t(n)] = std::move(text);

        // The labelled tick reaches towards its label.
        const long long tick = (long long)n * multiple;
        if (m_data->tickStyle == ticNone || 2 * tick + 1 >= m_data->tickCount)
            continue;
        const double ta = AngleOf(first + double(tick) * gap);
        if (inside)
            m_data->tickPoints[std::size_t(2 * tick)] = PointAt(ta, m_data->innerRadius - lengthen[m_data->tickStyle]);
        else if (m_data->tickStyle == ticHalf)
            m_data->tickPoints[std::size_t(2 * tick + 1)] = PointAt(ta, m_data->outerRadius);
        else
            m_data->tickPoints[std::size_t(2 * tick + 1)] = PointAt(ta, m_data->outerRadius + (m_data->tickStyle == ticFull ? 4.0 : 8.0));
    }
    m_data->labelCount = n;
}

int TQVMeterInt::RangeIndexOf(double value) const
{
    const double v = std::clamp(value, m_data->valueMin, m_data->valueMax);
    for (int i = 0; i < m_data->rangeNumber; ++i) {
        if (v <= m_data->ranges[i].Limit)
            return i + 1;
    }
    return 0;
}

// ---------------------------------------------------------------------------------------
// Painting

namespace {

struct IndicatorShape
{
    QPointF Centre, Tip, Tail, BaseLeft, BaseRight;
    double Hub = 0.0;
    double Pen = 0.0;
};

IndicatorShape ShapeOf(QPointF centre, double outerRadius, int scale, double angle, bool wedge)
{
    IndicatorShape s;
    const double a = Radians(angle);
    const QPointF dir(std::sin(a), -std::cos(a));
    const QPointF across(-dir.y(), dir.x());
    const double length = outerRadius * scale / 100.0;
    s.Centre = centre;
    s.Tip = centre + dir * length;
    s.Hub = std::max(3.0, outerRadius * 0.06);
    s.Pen = std::max(1.5, outerRadius / 45.0);
    const double half = wedge ? std::max(3.0, outerRadius * 0.045) : 0.0;
    s.BaseLeft = centre + across * half;
    s.BaseRight = centre - across * half;
    s.Tail = wedge ? centre : centre - dir * (2.0 * s.Hub);
    return s;
}

// The drag pointer starts just outside the hub.
QPointF PointerBase(const IndicatorShape &s)
{
    const QPointF along = s.Tip - s.Centre;
    const double length = std::hypot(along.x(), along.y());
    return length > s.Hub + 1.0 ? s.Centre + along * ((s.Hub + 1.0) / length) : s.Tip;
}

} // namespace

TQVMeterInt::TQVSlices TQVMeterInt::IndicatorSlicesAt(double value, bool pointer) const
{
    const double v = std::clamp(value, m_data->valueMin, m_data->valueMax);
    const QPointF centre(m_data->meterCenterX, m_data->geometrySize.height() - m_data->meterCenterBottom);
    const IndicatorShape s = ShapeOf(centre, m_data->outerRadius, m_data->indicatorScale, AngleOf(v), m_data->indicatorStyle == indWedge);
    // Room for the pen and the antialiased edge.
    const int margin = int(std::ceil(s.Pen / 2.0)) + 2;
    const auto box = [&](std::initializer_list<QPointF> points) {
        double left = HUGE_VAL, right = -HUGE_VAL, top = HUGE_VAL, bottom = -HUGE_VAL;
        for (const QPointF &p : points) {
            left = std::min(left, p.x());
            right = std::max(right, p.x());
            top = std::min(top, p.y());
            bottom = std::max(bottom, p.y());
        }
        return QRectF(QPointF(left, top), QPointF(right, bottom))
            .toAlignedRect()
            .adjusted(-margin, -margin, margin, margin)
            .intersected(rect());
    };
    // The hub, then the indicator in slices along its length: a slanted needle's bounding
    // box is mostly background, and restoring it costs by area.
    TQVSlices slices;
    const double extent = std::ceil(s.Hub) + 1;
    if (!pointer)
        slices.Rects[slices.Count++] = box({centre - QPointF(extent, extent), centre + QPointF(extent, extent)});
    const double length = std::hypot(s.Tip.x() - centre.x(), s.Tip.y() - centre.y());
    const int count = std::clamp(QVFloorPx(length / 32.0), 1, TQVSlices::MaxSlices - 1);
    const auto along = [](QPointF from, QPointF to, double t) { return from + (to - from) * t; };
    const QPointF base = pointer ? PointerBase(s) : s.Tail;
    for (int i = 0; i < count; ++i) {
        const double t0 = double(i) / count, t1 = double(i + 1) / count;
        slices.Rects[slices.Count++] = m_data->indicatorStyle == indWedge && !pointer
            ? box({along(s.BaseLeft, s.Tip, t0), along(s.BaseRight, s.Tip, t0), along(s.BaseLeft, s.Tip, t1),
                   along(s.BaseRight, s.Tip, t1)})
            : box({along(base, s.Tip, t0), along(base, s.Tip, t1)});
    }
    return slices;
}

QRect TQVMeterInt::TQVSlices::Bounds() const
{
    QRect bounds;
    for (int i = 0; i < Count; ++i)
        bounds |= Rects[std::size_t(i)];
    return bounds;
}

QRect TQVMeterInt::IndicatorRectAt(double value) const
{
    return IndicatorSlicesAt(value).Bounds();
}

void TQVMeterInt::PaintIndicator(QPainter &painter)
{
    const double v = std::clamp(m_data->value, m_data->valueMin, m_data->valueMax);
    const QPointF centre(m_data->meterCenterX, height() - m_data->meterCenterBottom);
    const bool wedge = m_data->indicatorStyle == indWedge;
    const IndicatorShape s = ShapeOf(centre, m_data->outerRadius, m_data->indicatorScale, AngleOf(v), wedge);
    const QColor colour = ToQColor(m_data->indicatorColor);
    // Pen and brush are kept between paints (a new one allocates), and the state is reset
    // by hand (save() copies it).
    if (m_data->indicatorBrush.color() != colour || m_data->indicatorBrush.style() != Qt::SolidPattern)
        m_data->indicatorBrush = QBrush(colour);
    const double penWidth = wedge ? 1.0 : s.Pen;
    if (m_data->indicatorPen.color() != colour || m_data->indicatorPen.widthF() != penWidth || !m_data->indicatorPen.isCosmetic()) {
        m_data->indicatorPen = QPen(colour, penWidth);
        m_data->indicatorPen.setCosmetic(true);
    }
    const bool antialiased = painter.testRenderHint(QPainter::Antialiasing);
    // The raster engine's antialiased fill of a long slanted shape costs several times a
    // plain fill; the cosmetic antialiased line is its fast path. So the wedge is filled
    // plainly and its long edges smoothed with such lines, and the needle is one.
    if (m_data->indicatorScale > 0) {
        if (wedge) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(m_data->indicatorBrush);
            const QPointF triangle[3] = {s.BaseLeft, s.Tip, s.BaseRight};
            painter.drawPolygon(triangle, 3);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(m_data->indicatorPen);
            painter.drawLine(s.BaseLeft, s.Tip);
            painter.drawLine(s.BaseRight, s.Tip);
        } else {
            if (!antialiased)
                painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(m_data->indicatorPen);
            painter.drawLine(s.Tail, s.Tip);
        }
        painter.setRenderHint(QPainter::Antialiasing, antialiased);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::NoBrush);
    }
    PaintHub(painter, centre, s.Hub, colour);
    m_data->indicatorSlices = IndicatorSlicesAt(m_data->value);
}

void TQVMeterInt::PaintPointer(QPainter &painter)
{
    const double peak = ShownPeak();
    m_data->paintedPeak = peak;
    m_data->peakSlices = TQVSlices();
    if (std::isnan(peak))
        return;
    const QPointF centre(m_data->meterCenterX, height() - m_data->meterCenterBottom);
    const IndicatorShape s = ShapeOf(centre, m_data->outerRadius, m_data->indicatorScale, AngleOf(peak), false);
    const int range = RangeIndexOf(peak);
    QPen pen(ToQColor(range > 0 ? m_data->ranges[range - 1].Color : m_data->indicatorColor), s.Pen);
    pen.setCosmetic(true);
    pen.setCapStyle(Qt::FlatCap);
    const bool antialiased = painter.testRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(pen);
    painter.drawLine(PointerBase(s), s.Tip);
    painter.setRenderHint(QPainter::Antialiasing, antialiased);
    painter.setPen(Qt::NoPen);
    m_data->peakSlices = IndicatorSlicesAt(peak, true);
}

void TQVMeterInt::PaintHub(QPainter &painter, QPointF centre, double radius, const QColor &colour)
{
    // Drawn into a pixmap once and blitted: a value change then costs only the needle.
    const qreal dpr = QVTargetPixelRatio(painter, *this);
    const QColor screw = ToQColor(Color());
    const int extent = int(std::ceil(radius)) + 1;
    const quint64 key = qHashMulti(0, extent, radius, colour.rgba(), screw.rgba(), dpr);
    if (m_data->hubImage.isNull() || key != m_data->hubKey) {
        m_data->hubImage = QPixmap((QSizeF(2 * extent, 2 * extent) * dpr).toSize());
        m_data->hubImage.setDevicePixelRatio(dpr);
        m_data->hubImage.fill(Qt::transparent);
        QPainter hub(&m_data->hubImage);
        hub.setRenderHint(QPainter::Antialiasing);
        hub.setPen(Qt::NoPen);
        hub.setBrush(colour);
        const QPointF middle(extent, extent);
        hub.drawEllipse(middle, radius, radius);
        // A light pivot screw in the hub.
        hub.setBrush(screw);
        hub.drawEllipse(middle, radius * 0.35, radius * 0.35);
        m_data->hubKey = key;
    }
    painter.drawPixmap(centre - QPointF(extent, extent), m_data->hubImage);
}

void TQVMeterInt::PaintLegends(QPainter &painter)
{
    const QFontMetrics fm(font());
    const QColor ink = ToQColor(QVColors::clBtnText);
    painter.setPen(ink);
    painter.setFont(font());
    const QRect client = ClientRect();
    if (!Caption().isEmpty()) {
        const QRect plate(client.left(), client.bottom() - fm.height() - 1, client.width(), fm.height());
        painter.drawText(plate, Qt::AlignHCenter | Qt::AlignTop, Caption());
    }

    const int lines = (m_data->legend1.isEmpty() ? 0 : 1) + (m_data->legend2.isEmpty() ? 0 : 1);
    if (lines == 0)
        return;
    const QPointF centre(m_data->meterCenterX, height() - m_data->meterCenterBottom);
    const double hub = std::max(3.0, m_data->outerRadius * 0.06);
    const double face = m_data->labelingStyle == labInside ? m_data->labelCircleRadius : m_data->innerRadius;
    const double distance = std::max(hub + 4.0, 0.25 * face);
    const int blockHeight = lines * fm.height();
    const int blockWidth = std::max(fm.horizontalAdvance(m_data->legend1), fm.horizontalAdvance(m_data->legend2));
    QRectF block(0, 0, blockWidth, blockHeight);
    switch (m_data->legendPosition) {
    case legLeft:
        block.moveCenter(QPointF(centre.x() - distance - blockWidth / 2.0, centre.y()));
        break;
    case LegRight:
        block.moveCenter(QPointF(centre.x() + distance + blockWidth / 2.0, centre.y()));
        break;
    case LegTop:
        block.moveCenter(QPointF(centre.x(), centre.y() - distance - blockHeight / 2.0));
        break;
    case LegBottom:
        block.moveCenter(QPointF(centre.x(), centre.y() + distance + blockHeight / 2.0));
        break;
    }
    const Qt::Alignment align = m_data->legendPosition == legLeft ? Qt::AlignRight
        : m_data->legendPosition == LegRight                      ? Qt::AlignLeft
                                                            : Qt::AlignHCenter;
    QRect line = block.toAlignedRect();
    line.setHeight(fm.height());
    for (const QString *text : {&m_data->legend1, &m_data->legend2}) {
        if (text->isEmpty())
            continue;
        painter.drawText(line, align | Qt::AlignTop, *text);
        line.translate(0, fm.height());
    }
}

void TQVMeterInt::PaintBackground(QPainter &painter)
{
    // The panel's background and bevels; the caption goes on the name plate (PaintLegends)
    // instead of the centre, where the pivot sits.
    TQVCustomPanel::PaintFrame(painter);
    const QColor ink = ToQColor(QVColors::clBtnText);
    if (m_data->scaleLayout == slAdaptive) {
        std::vector<TQVRoundScaleDraw::TBand> bands;
        double lower = m_data->valueMin;
        for (int i = 0; i < m_data->rangeNumber; ++i) {
            bands.push_back({lower, m_data->ranges[i].Limit, ToQColor(m_data->ranges[i].Color)});
            lower = std::max(lower, m_data->ranges[i].Limit);
        }
        TQVRoundScaleDraw::PaintAdaptive(painter, m_data->roundLayout, bands, ink);
        PaintLegends(painter);
        return;
    }

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < m_data->rangeNumber; ++i) {
        const PrivateData::RangeState &s = m_data->rangeStates[i];
        const QColor colour = ToQColor(m_data->ranges[i].Color);
        // A pen of the fill colour closes the antialiased seams between adjacent bands.
        painter.setPen(QPen(colour, 1.0));
        painter.setBrush(colour);
        painter.drawPolygon(s.Polygon.data(), s.Count);
    }
    painter.translate(0.5, 0.5); // one-pixel lines on pixel centres
    painter.setPen(QPen(ink, 1.0));
    painter.setBrush(Qt::NoBrush);
    if (m_data->outlineCount > 1)
        painter.drawPolyline(m_data->outlinePoints.data(), m_data->outlineCount);
    if (!m_data->scaleInvalid) {
        for (int i = 0; i + 1 < m_data->tickCount; i += 2)
            painter.drawLine(m_data->tickPoints[std::size_t(i)], m_data->tickPoints[std::size_t(i + 1)]);
    }
    painter.restore();

    if (!m_data->scaleInvalid && m_data->labelCount > 0) {
        const QFontMetrics fm(font());
        painter.setFont(font());
        painter.setPen(ink);
        for (int i = 0; i < m_data->labelCount; ++i) {
            const QPoint &p = m_data->labelPoints[std::size_t(i)];
            painter.drawText(QPoint(p.x(), p.y() + fm.ascent()), m_data->labelTexts[std::size_t(i)]);
        }
    }
    PaintLegends(painter);
}

void TQVMeterInt::Paint(QPainter &painter)
{
    EnsureGeometry();
    PaintBackground(painter);
    PaintPointer(painter);
    PaintIndicator(painter);
}

void TQVMeterInt::PaintRegion(QPainter &painter, const QRegion &region, qreal dpr)
{
    painter.setClipRegion(region);
    PaintRects(painter, region.begin(), region.end(), dpr, true);
}

// Restores `first`..`last` from the background picture, then draws the indicator and, with
// `pointer`, the drag pointer; the caller has set the clip.
void TQVMeterInt::PaintRects(QPainter &painter, const QRect *first, const QRect *last, qreal dpr, bool pointer)
{
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    if (!m_data->backgroundValid || m_data->background.size() != pixels || m_data->background.devicePixelRatioF() != dpr) {
        m_data->background = QPixmap(pixels);
        m_data->background.setDevicePixelRatio(dpr);
        QPainter background(&m_data->background);
        PaintBackground(background);
        m_data->backgroundValid = true;
    }
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const QRect *r = first; r != last; ++r)
        painter.drawPixmap(*r, m_data->background, QRectF(QPointF(r->topLeft()) * dpr, QSizeF(r->size()) * dpr));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (pointer || std::isnan(ShownPeak()))
        PaintPointer(painter); // without a pointer, records that none stands
    PaintIndicator(painter);
}

void TQVMeterInt::PaintValue(QPainter &painter, qreal dpr)
{
    // Only the slices of the old and the new indicator; the rest of the area keeps what the
    // opaque widget showed. On the widget the paint system clips to the area already.
    if (painter.device() != this)
        painter.setClipRect(m_data->valueArea);
    QRect rects[4 * TQVSlices::MaxSlices];
    int n = 0;
    for (const TQVSlices &slices : m_data->restore)
        for (int i = 0; i < slices.Count; ++i)
            rects[n++] = slices.Rects[std::size_t(i)];
    PaintRects(painter, rects, rects + n, dpr, m_data->restore[3].Count > 0);
}

void TQVMeterInt::paintEvent(QPaintEvent *event)
{
    EnsureGeometry();
    // Only a paint of exactly the value area may reuse the background: Qt may have merged
    // other pending updates (a panel property, an expose) into the event.
    const bool valuePaint = !m_data->valueArea.isEmpty() && m_data->valueArea.contains(event->rect());
    if (!valuePaint)
        m_data->backgroundValid = false;
    QPainter painter(this);
    // The real target decides the pixel ratio (a grab or render may differ from the screen).
    const qreal dpr = QVTargetPixelRatio(painter, *this);
    if (!m_data->reduceFlicker) {
        if (valuePaint)
            PaintValue(painter, dpr);
        else
            PaintRegion(painter, event->region(), dpr);
        return;
    }
    const QSize pixels = (QSizeF(size()) * dpr).toSize();
    if (m_data->offscreen.size() != pixels || m_data->offscreen.devicePixelRatioF() != dpr) {
        m_data->offscreen = QPixmap(pixels);
        m_data->offscreen.setDevicePixelRatio(dpr);
    }
    {
        QPainter offscreen(&m_data->offscreen);
        if (valuePaint)
            PaintValue(offscreen, dpr);
        else
            PaintRegion(offscreen, event->region(), dpr);
    }
    if (valuePaint)
        painter.setClipRect(m_data->valueArea);
    else
        painter.setClipRegion(event->region());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawPixmap(0, 0, m_data->offscreen);
}

void TQVMeterInt::resizeEvent(QResizeEvent *event)
{
    TQVCustomPanel::resizeEvent(event);
    Recalc();
}

void TQVMeterInt::changeEvent(QEvent *event)
{
    TQVCustomPanel::changeEvent(event);
    switch (event->type()) {
    case QEvent::FontChange:
    case QEvent::LocaleChange:
        Recalc();
        break;
    case QEvent::PaletteChange:
    case QEvent::StyleChange:
        Invalidate();
        break;
    default:
        break;
    }
}
