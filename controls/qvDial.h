#pragma once

#include <functional>
#include <memory>

#include <QtCore/QPointF>
#include <QtCore/QRect>

#include "controls/qvControl.h"
#include "controls/scale/qvScaleDraw.h"
#include "controls/scale/qvScaleEngine.h"

/// \brief Rotary knob input control: a shaded knob turns on a circular scale with ticks and
/// labels and sets a floating-point `Value`, optionally snapped to `ValueStepWidth`.
///
/// Angles are in degrees, 0 points straight up, positive angles turn clockwise; the value v
/// lies at angle ScaleAngle1 + (ScaleAngle2 - ScaleAngle1) * (v - ValueMin) / (ValueMax - ValueMin).
///
/// Geometry (all lengths in pixels, C = ClientRect()):
/// - centre (cx, cy) = (C.left + C.width / 2, C.top + C.height / 2), side s = min(C.width, C.height);
/// - label size M = max(widest of the labels of ValueMin and ValueMax, font height);
///   labels are shown when s / 2 - 17 - 1.5 * M >= 0 (the knob keeps at least M / 2), else
///   M = 0 and the scale moves out to the edge;
/// - outer tick radius R = s / 2 - 4 - M with labels, s / 2 - 2 without;
/// - scale arc radius Ri = R - 8 (major ticks run from Ri to R, minor ones from Ri to Ri + 4);
/// - knob radius Rk = Ri - 5; the knob area `KnobRect()` is the square of half side Rk + 3
///   around the centre, widened to whole pixels;
/// - a label's centre lies at radius R + 3 + (w * |sin a| + h * |cos a|) / 2 for its text
///   size w x h and angle a.
/// A point at angle a and radius r is (cx + r sin a, cy - r cos a).
///
/// Every accepted value change calls `OnValueChange`, emits `ValueChanged` and repaints only
/// the knob area at once.
///
/// Geometry and label sizes are computed once per size, property, font or locale change.
/// Everything that does not turn (panel, scale, labels, the knob's shadow, body and cap) is
/// kept in pixmaps at the target's pixel ratio and rebuilt by every other paint, so a value
/// repaint blits them and draws only the grip ridges and the indicator.
class QV_WIDGETS_EXPORT TQVDial : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(double ScaleAngle1 READ ScaleAngle1 WRITE SetScaleAngle1 NOTIFY SettingsChanged)
    Q_PROPERTY(double ScaleAngle2 READ ScaleAngle2 WRITE SetScaleAngle2 NOTIFY SettingsChanged)
    Q_PROPERTY(double ValueMin READ ValueMin WRITE SetValueMin NOTIFY SettingsChanged)
    Q_PROPERTY(double ValueMax READ ValueMax WRITE SetValueMax NOTIFY SettingsChanged)
    Q_PROPERTY(double Value READ Value WRITE SetValue NOTIFY ValueChanged USER true)
    Q_PROPERTY(double ValueGap READ ValueGap WRITE SetValueGap NOTIFY SettingsChanged)
    Q_PROPERTY(double ValueStepWidth READ ValueStepWidth WRITE SetValueStepWidth NOTIFY SettingsChanged)
    Q_PROPERTY(int ValueDecimals READ ValueDecimals WRITE SetValueDecimals NOTIFY SettingsChanged)
    Q_PROPERTY(TQVDialIndicatorStyle IndicatorStyle READ IndicatorStyle WRITE SetIndicatorStyle NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 KnobColor READ KnobColor WRITE SetKnobColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtKnobColor READ QtKnobColor WRITE SetQtKnobColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 IndicatorColor READ IndicatorColor WRITE SetIndicatorColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtIndicatorColor READ QtIndicatorColor WRITE SetQtIndicatorColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 ScaleColor READ ScaleColor WRITE SetScaleColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtScaleColor READ QtScaleColor WRITE SetQtScaleColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout NOTIFY AppearanceChanged)

public:
    /// The mark on the knob that points at the value: a dot, a triangle at the rim, a line.
    enum TQVDialIndicatorStyle : quint8 { diaCircle, diaTriangle, diaLine };
    Q_ENUM(TQVDialIndicatorStyle)

    using TQVNotifyEvent = std::function<void(TQVDial *sender)>;

    /// Geometry of the current size and font (see the class description).
    struct TGeometry
    {
        QPointF Centre;
        double LabelSize = 0.0; ///< M, 0 when the labels are left out
        double ScaleRadius = 0.0; ///< R
        double ArcRadius = 0.0; ///< Ri
        double KnobRadius = 0.0; ///< Rk
    };

    explicit TQVDial(QWidget *owner = nullptr);
    ~TQVDial() override;

    double ScaleAngle1() const;
    /// Ignored unless finite, within -720..720, below `ScaleAngle2` and at most 360 from it.
    void SetScaleAngle1(double angle);
    double ScaleAngle2() const;
    /// Ignored unless finite, within -720..720, above `ScaleAngle1` and at most 360 from it.
    void SetScaleAngle2(double angle);

    double Value() const;
    /// Snaps to `ValueStepWidth` (half to even), then clamps to `ValueMin`..`ValueMax`.
    /// An accepted change calls `OnValueChange`, emits `ValueChanged` and repaints the knob
    /// area at once. NaN is ignored.
    void SetValue(double value);
    double ValueMin() const;
    /// Ignored unless finite and strictly below `ValueMax`; `Value` is not clamped.
    void SetValueMin(double value);
    double ValueMax() const;
    /// Ignored unless finite and strictly above `ValueMin`; `Value` is not clamped.
    void SetValueMax(double value);
    double ValueGap() const;
    /// Value distance of two ticks, > 0. Painting uses a multiple of it when ticks would lie
    /// closer than 4 pixels on the arc; the property keeps its value.
    void SetValueGap(double gap);
    double ValueStepWidth() const;
    /// 0 or less switches snapping off; a change re-snaps `Value`.
    void SetValueStepWidth(double step);
    int ValueDecimals() const;
    /// Decimals of the labels, 0..15.
    void SetValueDecimals(int decimals);
    TQVDialIndicatorStyle IndicatorStyle() const;
    void SetIndicatorStyle(TQVDialIndicatorStyle style);

    TQVColor KnobColor() const;
    void SetKnobColor(TQVColor color);
    QV_QCOLOR_FACE(KnobColor)
    TQVColor IndicatorColor() const;
    void SetIndicatorColor(TQVColor color);
    QV_QCOLOR_FACE(IndicatorColor)
    /// Colour of the arc, the ticks and the labels.
    TQVScaleLayout ScaleLayout() const;
    /// \brief `slAdaptive` labels 1-2-5 steps with both ends and minor ticks between them (see
    /// TQVScaleLayout); `slClassic`, the default, labels every k-th multiple of `ValueGap`.
    void SetScaleLayout(TQVScaleLayout layout);
    TQVColor ScaleColor() const;
    void SetScaleColor(TQVColor color);
    QV_QCOLOR_FACE(ScaleColor)

    /// The angle of `value` on the scale, in degrees.
    double ValueToAngle(double value) const;
    /// The value at `angle`, taken modulo 360 into ScaleAngle1..ScaleAngle1 + 360 (so an angle
    /// in the gap of the scale gives a value above `ValueMax`); not clamped.
    double AngleToValue(double angle) const;
    /// Float-format pattern of the labels: "0.00E-00" when ValueMin <= -100000, ValueMax >= 100000
    /// or the range is below 0.001, else "0" or "0." with `ValueDecimals` zeros.
    QString LabelFormat() const;
    TGeometry Geometry() const;
    /// The scale of the adaptive layout, as laid out for the present size (not valid in the
    /// classic layout).
    const TQVRoundScaleLayout &AdaptiveLayout() const;
    /// The area a value change repaints.
    QRect KnobRect() const;
    /// Whether the left button holds the knob (between `SliderPressed` and `SliderReleased`).
    bool Dragging() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// Called on every accepted value change, before `ValueChanged` and the repaint.
    TQVNotifyEvent OnValueChange;

signals:
    void ValueChanged(double value);
    /// After `ValueChanged`, when the user changed the value (mouse, keys, wheel), not a call
    /// or a stream: what a host sends on to the hardware, without echoing its own writes.
    void ValueEdited(double value);
    /// A press of the left button started a drag (after the jump of a press beside the
    /// knob, which is an edit of its own); `Dragging()` is true from here on.
    void SliderPressed();
    /// The drag ended: the moment to apply a value that is costly to change.
    void SliderReleased();

protected:
    void Paint(QPainter &painter) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

    /// Panel, caption and scale: everything that does not move with the value.
    void PaintBackground(QPainter &painter);
    void PaintScale(QPainter &painter, const TGeometry &g);
    void PaintKnob(QPainter &painter, const TGeometry &g);

private:
    class PrivateData;

    double Span() const;
    double Step() const;
    /// Mouse angle around the centre in degrees (0 up, clockwise), in (-180, 180].
    double MouseAngle(const TGeometry &g, const QPointF &pos) const;
    void StartDrag(double angle);
    void EditValue(double value);
    void PropertyChanged(bool geometry);
    void EnsureCaches(qreal dpr);
    void PaintKnobBody(QPainter &painter, const TGeometry &g);
    void PaintMovingParts(QPainter &painter);

    std::unique_ptr<PrivateData> m_data;
};
