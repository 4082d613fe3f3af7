#pragma once

#include <functional>
#include <memory>

#include <QtCore/QList>
#include <QtCore/QStringList>
#include <QtGui/QBrush>
#include <QtGui/QPen>
#include <QtGui/QPixmap>
#include <QtGui/QPolygon>

#include "controls/qvColor.h"
#include "controls/qvControl.h"
#include "controls/scale/qvScaleDraw.h"

/// \brief Analog needle meter: a circular scale band between `MeterAngle1` and
/// `MeterAngle2` (degrees, 0 straight up, clockwise positive), divided into up to 16
/// coloured value ranges, with ticks, numeric labels, two legend texts and a needle or
/// wedge indicator.
///
/// `SetValue` is the hot path: it repaints at once only the area of the old and the new
/// indicator, from a cached image of everything else. Every other property change
/// recomputes the scale geometry and requests a full repaint.
class QV_WIDGETS_EXPORT TQVMeterInt : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(double MeterAngle1 READ MeterAngle1 WRITE SetMeterAngle1 NOTIFY SettingsChanged)
    Q_PROPERTY(double MeterAngle2 READ MeterAngle2 WRITE SetMeterAngle2 NOTIFY SettingsChanged)
    Q_PROPERTY(double ValueMin READ ValueMin WRITE SetValueMin NOTIFY SettingsChanged)
    Q_PROPERTY(double ValueMax READ ValueMax WRITE SetValueMax NOTIFY SettingsChanged)
    Q_PROPERTY(double Value READ Value WRITE SetValue NOTIFY ValueChanged)
    Q_PROPERTY(double RangeLimit READ RangeLimit WRITE SetRangeLimit NOTIFY SettingsChanged)
    Q_PROPERTY(double ValueGap READ ValueGap WRITE SetValueGap NOTIFY SettingsChanged)
    Q_PROPERTY(int IndicatorScale READ IndicatorScale WRITE SetIndicatorScale NOTIFY AppearanceChanged)
    Q_PROPERTY(int MeterScaleWidth READ MeterScaleWidth WRITE SetMeterScaleWidth NOTIFY AppearanceChanged)
    Q_PROPERTY(int MeterScale READ MeterScale WRITE SetMeterScale NOTIFY AppearanceChanged)
    Q_PROPERTY(int RangeNumber READ RangeNumber WRITE SetRangeNumber NOTIFY SettingsChanged)
    Q_PROPERTY(int RangeCurrent READ RangeCurrent WRITE SetRangeCurrent NOTIFY SettingsChanged)
    Q_PROPERTY(int BevelOuterWidth READ BevelOuterWidth WRITE SetBevelOuterWidth NOTIFY AppearanceChanged)
    Q_PROPERTY(int ValueDecimals READ ValueDecimals WRITE SetValueDecimals NOTIFY SettingsChanged)
    Q_PROPERTY(int MeterShiftX READ MeterShiftX WRITE SetMeterShiftX NOTIFY AppearanceChanged)
    Q_PROPERTY(int MeterShiftY READ MeterShiftY WRITE SetMeterShiftY NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 RangeColor READ RangeColor WRITE SetRangeColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtRangeColor READ QtRangeColor WRITE SetQtRangeColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 IndicatorColor READ IndicatorColor WRITE SetIndicatorColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtIndicatorColor READ QtIndicatorColor WRITE SetQtIndicatorColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(bool RangeCheck READ RangeCheck WRITE SetRangeCheck NOTIFY SettingsChanged)
    Q_PROPERTY(bool ReduceFlicker READ ReduceFlicker WRITE SetReduceFlicker NOTIFY AppearanceChanged)
    Q_PROPERTY(bool PeakHold READ PeakHold WRITE SetPeakHold NOTIFY SettingsChanged)
    Q_PROPERTY(int PeakHoldTime READ PeakHoldTime WRITE SetPeakHoldTime NOTIFY SettingsChanged)
    Q_PROPERTY(QString Legend1 READ Legend1 WRITE SetLegend1 NOTIFY AppearanceChanged)
    Q_PROPERTY(QString Legend2 READ Legend2 WRITE SetLegend2 NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVIndicatorStyle IndicatorStyle READ IndicatorStyle WRITE SetIndicatorStyle NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVLabelingStyle LabelingStyle READ LabelingStyle WRITE SetLabelingStyle NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVTickStyle TickStyle READ TickStyle WRITE SetTickStyle NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVLegendPosition LegendPosition READ LegendPosition WRITE SetLegendPosition NOTIFY AppearanceChanged)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout NOTIFY AppearanceChanged)
    // The range table as text, for Qt Designer; forms keep it in the custom stream data.
    Q_PROPERTY(QString RangeTable READ RangeTable WRITE SetRangeTable DESIGNABLE true NOTIFY SettingsChanged)
    Q_CLASSINFO("FormCustomData", "RangeTable")

public:
    enum TQVIndicatorStyle : quint8 { indNeedle, indWedge };
    Q_ENUM(TQVIndicatorStyle)
    /// Where the labels stand: none, inside the scale band or outside it.
    enum TQVLabelingStyle : quint8 { labNone, labInside, labOutside };
    Q_ENUM(TQVLabelingStyle)
    enum TQVTickStyle : quint8 { ticNone, ticHalf, ticFull, ticLarge };
    Q_ENUM(TQVTickStyle)
    /// Side of the pivot on which the two legend texts stand.
    enum TQVLegendPosition : quint8 { legLeft, LegRight, LegTop, LegBottom };
    Q_ENUM(TQVLegendPosition)

    /// \brief One colour range: values from the previous range's limit (from `ValueMin` for
    /// range 1) up to `Limit` are painted in `Color`; `Check` makes entering it an event.
    struct RangeEntry
    {
        double Limit = 10.0;
        bool Check = false;
        TQVColor Color = QVColors::clGreen;
        bool operator==(const RangeEntry &) const = default;
    };
    static constexpr int MaxRanges = 16;

    /// Called with the 1-based range that the value has just entered.
    using TQVRangeCheck = std::function<void(TQVMeterInt *sender, int range)>;

    explicit TQVMeterInt(QWidget *owner = nullptr);
    ~TQVMeterInt() override;

    double MeterAngle1() const;
    /// Refused while the stored angles are out of order or `MeterAngle1` lies outside
    /// -360..360 (an invalid pair locks both angle setters).
    void SetMeterAngle1(double angle);
    double MeterAngle2() const;
    /// Mirror of `SetMeterAngle1`, testing the stored `MeterAngle2`.
    void SetMeterAngle2(double angle);

    double ValueMin() const;
    /// Non-finite values are ignored; when `ValueMax` is then not above it, `ValueMax`
    /// becomes `ValueMin` + 1.
    void SetValueMin(double value);
    double ValueMax() const;
    /// Non-finite values are ignored; when `ValueMin` is then not below it, `ValueMin`
    /// becomes `ValueMax` - 1.
    void SetValueMax(double value);
    /// Value distance between ticks; the scale calculation enlarges it when ticks would
    /// lie closer than 4 pixels.
    double ValueGap() const;
    /// Ignored unless finite and above 0.
    void SetValueGap(double gap);
    double Value() const;
    /// \brief Stores `value` (not clamped; the indicator stops at the scale ends), fires
    /// `OnRangeCheck` when a checked range is entered and repaints only the indicator's
    /// old and new area, synchronously. NaN is ignored.
    void SetValue(double value);

    int RangeNumber() const;
    /// Number of ranges in use, 0 to 16; other values are ignored.
    void SetRangeNumber(int number);
    int RangeCurrent() const;
    /// Range (1 to 16) that `RangeLimit`, `RangeColor` and `RangeCheck` address.
    void SetRangeCurrent(int index);
    double RangeLimit() const;
    /// Not clamped to the scale; NaN is ignored.
    void SetRangeLimit(double limit);
    TQVColor RangeColor() const;
    void SetRangeColor(TQVColor color);
    QV_QCOLOR_FACE(RangeColor)
    bool RangeCheck() const;
    void SetRangeCheck(bool check);

    int IndicatorScale() const;
    /// Indicator length in percent of the outer radius, clamped to 0..200.
    void SetIndicatorScale(int percent);
    int MeterScaleWidth() const;
    /// Band width in percent of the outer radius, clamped to 0..100.
    void SetMeterScaleWidth(int percent);
    int MeterScale() const;
    /// Scale size in percent, clamped to 50..210.
    void SetMeterScale(int percent);
    int BevelOuterWidth() const;
    /// Pixels kept free inside the control's edge; negative values are ignored.
    void SetBevelOuterWidth(int width);
    int ValueDecimals() const;
    /// Decimals of the labels, 0 to 15; other values are ignored.
    void SetValueDecimals(int decimals);
    int MeterShiftX() const;
    /// Pivot shift in percent of the width, clamped to -60..60 (positive: right).
    void SetMeterShiftX(int percent);
    int MeterShiftY() const;
    /// Pivot shift in percent of the height, clamped to -60..60 (positive: down).
    void SetMeterShiftY(int percent);

    TQVColor IndicatorColor() const;
    void SetIndicatorColor(TQVColor color);
    QV_QCOLOR_FACE(IndicatorColor)
    bool ReduceFlicker() const;
    /// Composes every repaint in an off-screen pixmap and copies it in one step.
    void SetReduceFlicker(bool reduce);
    /// \brief A drag pointer: a thin line to the highest value shown since it last moved, in
    /// the colour of the range that holds it (else `IndicatorColor`), drawn while it stands
    /// beyond the indicator.
    bool PeakHold() const;
    /// Switching it on starts the pointer at the present value; off removes it.
    void SetPeakHold(bool hold);
    /// \brief Milliseconds the pointer stays before it falls back to the present value
    /// (1500); 0 keeps it until `ResetPeak`. Ignored outside 0 to 3600000.
    int PeakHoldTime() const;
    void SetPeakHoldTime(int milliseconds);
    /// The value the pointer holds; NaN without `PeakHold`.
    double Peak() const;
    /// Puts the pointer back to the present value.
    void ResetPeak();

    QString Legend1() const;
    void SetLegend1(const QString &text);
    QString Legend2() const;
    void SetLegend2(const QString &text);
    TQVIndicatorStyle IndicatorStyle() const;
    void SetIndicatorStyle(TQVIndicatorStyle style);
    TQVLabelingStyle LabelingStyle() const;
    void SetLabelingStyle(TQVLabelingStyle style);
    TQVTickStyle TickStyle() const;
    void SetTickStyle(TQVTickStyle style);
    TQVLegendPosition LegendPosition() const;
    void SetLegendPosition(TQVLegendPosition position);
    TQVScaleLayout ScaleLayout() const;
    /// \brief `slAdaptive` sizes the arc to the bounding box of its angles and labels, labels
    /// 1-2-5 steps with both ends and never enlarges `ValueGap` (see TQVScaleLayout); `slClassic`,
    /// the default, keeps the classic geometry.
    void SetScaleLayout(TQVScaleLayout layout);
    /// The adaptive layout of the current size (invalid in the classic layout).
    const TQVRoundScaleLayout &AdaptiveLayout() const;

    /// \brief The ranges in use (1..`RangeNumber`), for the form writer.
    QList<RangeEntry> Ranges() const;
    /// \brief Replaces the table as the form reader does: `RangeNumber` becomes the number
    /// of entries (an empty list gives 0; entries beyond 16 are dropped), limits are stored
    /// as they are. Recomputes the scale and requests a full repaint.
    void SetRanges(const QList<RangeEntry> &ranges);
    /// \brief The ranges in use as text for Qt Designer forms: rows `0xCOLOR:limit:check`
    /// joined by ';' (see `QVRangeTableText`).
    QString RangeTable() const;
    /// \brief Replaces the table from `RangeTable` text, as `SetRanges` does (empty text
    /// gives no ranges); text with a malformed row leaves the table unchanged.
    void SetRangeTable(const QString &text);
    /// \brief Stores the ranges in use as the custom property "Ranges" while `RangeNumber`
    /// > 0: colour, limit and check of each; reading keeps at most 16 and drops the rest.
    void DefineProperties(TQVFiler &filer) override;

    // Scale geometry, as computed for the current size and properties.
    int MeterCenterX() const;
    /// The pivot's distance from the bottom edge.
    int MeterCenterBottom() const;
    double InnerRadius() const;
    double OuterRadius() const;
    int LabelMarginX() const;
    int LabelMarginY() const;
    /// Set when the scale has no usable extent (no ticks or labels are drawn then).
    bool ScaleInvalid() const;
    /// Radius where tick ends meet the labels.
    double LabelRadius() const;
    /// Radius of the circle the label spacing is measured on.
    double LabelCircleRadius() const;
    /// Two points (start, end) per tick.
    QPolygon TickPoints() const;
    /// Top-left corner of each label.
    QPolygon LabelPoints() const;
    QStringList LabelTexts() const;
    /// The band polygon of range `index` (1..`RangeNumber`); empty otherwise.
    QPolygon RangePolygon(int index) const;
    /// The scale edge that faces away from the labels.
    QPolygon OutlinePoints() const;
    /// The area the indicator paints at the current value.
    QRect IndicatorRect() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// Called when the value enters a range whose `RangeCheck` is set, before `RangeChecked`.
    TQVRangeCheck OnRangeCheck;

signals:
    void RangeChecked(int range);
    /// The value changed (after `SetValue` stored it).
    void ValueChanged(double value);

protected:
    void paintEvent(QPaintEvent *event) override;
    void Paint(QPainter &painter) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

    /// Centre and radii from the size, shifts, margins and scale properties.
    void CalcRadii();
    /// The range band polygons and the outline.
    void CalcPolygons();
    /// Ticks; may enlarge `ValueGap`.
    void CalcTicks();
    /// Margins, radii, ticks and labels.
    void CalcLabel();

private:
    class PrivateData;
    struct TQVSlices;

    void Recalc();
    void RecalcGeometry();
    void EnsureGeometry() const;
    void Invalidate();
    QString LabelFormat() const;
    QPoint PointAt(double angle, double radius) const;
    double AngleOf(double value) const;
    int RangeIndexOf(double value) const;
    /// The indicator's slices at `value`, or the drag pointer's (no hub).
    TQVSlices IndicatorSlicesAt(double value, bool pointer = false) const;
    /// The drag pointer's value as drawn now (within the scale), NaN while it is hidden.
    double ShownPeak() const;
    /// Repaints at once the old and new indicator and, if it moved, the drag pointer.
    void RepaintValue();
    void PaintPointer(QPainter &painter);
    QRect IndicatorRectAt(double value) const;
    void PaintRects(QPainter &painter, const QRect *first, const QRect *last, qreal dpr, bool pointer);
    void PaintValue(QPainter &painter, qreal dpr);
    void PaintBackground(QPainter &painter);
    void PaintIndicator(QPainter &painter);
    void PaintHub(QPainter &painter, QPointF centre, double radius, const QColor &colour);
    void PaintRegion(QPainter &painter, const QRegion &region, qreal dpr);
    void PaintLegends(QPainter &painter);
    TQVRoundScaleSpec ScaleSpec() const;

    std::unique_ptr<PrivateData> m_data;
};
