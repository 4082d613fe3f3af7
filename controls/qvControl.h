#pragma once

#include <memory>

#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtGui/QAccessible>
#include <QtWidgets/QWidget>

#include "controls/qvColor.h"

#include "framework/qvComponent.h"
#include "framework/qvGlobal.h"

/// The designable property names of the widget classes that get a lower-case setter alias
/// (`setValue` for `Value`) in `TQVCustomControl`. Left out: `Style` (the alias would hide
/// `QWidget::setStyle`) and `MeasureSource` (an object pointer, which a form cannot hold).
/// A property added to a widget class is added here too; a name whose alias would hide a
/// member of QWidget does not compile (see qvControl.cpp).
#define QV_FORM_PROPERTY_NAMES(X) \
    X(AutoConfig) X(AutoScale) X(AxisColor) X(Background) X(BackgroundColor) X(BarColor) \
    X(BarWidth) X(BevelColor1) X(BevelColor2) X(BevelInner) X(BevelOuter) X(BevelOuterWidth) \
    X(BevelWidth) X(BorderWidth) X(ButtonBorderColor) X(ButtonCaption) X(ButtonColor) \
    X(ButtonFont) X(ButtonFontColor) X(ButtonHeight) X(ButtonTransparent) X(ButtonWidth) \
    X(Caption) X(ChannelColor) X(ChannelCurrent) X(ChannelMask) X(ChannelName) X(Color) \
    X(ColorActive) X(ColorInactive) X(Compare) X(Copyright) X(DecibelFloor) \
    X(DecibelReference) X(Decimals) X(DigitColor) X(DigitStyle) X(Digits) X(FlashInterval) \
    X(Flashing) X(Grid) X(GridColor) X(HistoryLength) X(IndicatorColor) X(IndicatorScale) \
    X(IndicatorStyle) X(KnobColor) X(Kind) X(LabelScientificUnitPosfix) X(LabelTextPosfix) \
    X(LabelingDecimals) X(LabelingFont) X(LabelingFontColor) X(LabelingGap) \
    X(LabelingOrientation) X(LabelingStyle) X(Legend) X(Legend1) X(Legend2) \
    X(LegendPosition) X(Limit) X(LineWidth) X(MeterAngle1) X(MeterAngle2) X(MeterScale) \
    X(MeterScaleWidth) X(MeterShiftX) X(MeterShiftY) X(OffsetLower) X(OffsetUpper) \
    X(OverRangeText) X(PictureBackground) X(PictureButton) X(PictureMask) X(PictureSlide) \
    X(PowerValues) X(RangeCheck) X(RangeColor) X(RangeCurrent) X(RangeLimit) X(RangeLower) \
    X(RangeNumber) X(RangeTable) X(RangeUpper) X(ReduceFlicker) X(SIPrefix) X(ScaleAngle1) \
    X(ScaleAngle2) X(ScaleColor) X(ScaleLayout) X(ScaleY) X(SliderWidth) X(Tag) X(TickStyle) X(Title) \
    X(UnitText) X(Value) X(ValueDecimals) X(ValueGap) X(ValueMax) X(ValueMin) \
    X(ValueStepWidth) X(Version) X(XLog) X(XUnit) X(YMax) X(YMin) X(YUnit)

/// \brief Base of the display and input controls: a QWidget with the component state
/// (designing, loading, `Loaded`) and the published `Tag`, `Version` and `Copyright`.
///
/// A `.ui` form compiled by `uic` sets a property without `stdset="0"` through
/// `set` + its name (`setValue`), while the widget classes spell their setters `SetValue`.
/// The base therefore carries one such alias for every name in `QV_FORM_PROPERTY_NAMES`;
/// an alias writes the property through the meta-object, exactly as `setProperty` would,
/// so the class's own setter runs with its own checks.
class QV_WIDGETS_EXPORT TQVCustomControl : public QWidget, public TQVComponentState
{
    Q_OBJECT
    Q_PROPERTY(int Tag READ Tag WRITE SetTag)
    Q_PROPERTY(QString Version READ Version WRITE SetVersion)
    Q_PROPERTY(QString Copyright READ Copyright WRITE SetCopyright)

public:
    explicit TQVCustomControl(QWidget *parent = nullptr);
    ~TQVCustomControl() override;

    /// \brief The property names that have a lower-case setter alias, in the order of
    /// `QV_FORM_PROPERTY_NAMES`.
    static QStringList FormSetterProperties();

#define QV_FORM_SETTER(Name) \
    void set##Name(const QVariant &value) { SetFormProperty(#Name, value); }
    QV_FORM_PROPERTY_NAMES(QV_FORM_SETTER)
#undef QV_FORM_SETTER

private:
    // Writes `value` to the property `name` of this object's class; an invalid value, a
    // name the class does not publish or a value that cannot be converted to the
    // property's type is reported with a warning and changes nothing.
    void SetFormProperty(const char *name, const QVariant &value);
};

/// \brief The panel every display and input control derives from: a background `Color`,
/// an outer and an inner bevel of `BevelWidth` pixels with `BorderWidth` pixels between them,
/// and a `Caption`. Descendants paint in `Paint`; the panel has drawn its frame and
/// background by then, unless the descendant paints the whole area itself.
class QV_WIDGETS_EXPORT TQVCustomPanel : public TQVCustomControl
{
    Q_OBJECT
    Q_PROPERTY(TQVBevelCut BevelInner READ BevelInner WRITE SetBevelInner)
    Q_PROPERTY(TQVBevelCut BevelOuter READ BevelOuter WRITE SetBevelOuter)
    Q_PROPERTY(int BevelWidth READ BevelWidth WRITE SetBevelWidth)
    Q_PROPERTY(int BorderWidth READ BorderWidth WRITE SetBorderWidth)
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption)
    Q_PROPERTY(quint32 Color READ Color WRITE SetColor)

public:
    enum TQVBevelCut : quint8 { bvNone, bvLowered, bvRaised, bvSpace };
    Q_ENUM(TQVBevelCut)

    explicit TQVCustomPanel(QWidget *parent = nullptr);
    ~TQVCustomPanel() override;

    TQVBevelCut BevelInner() const;
    void SetBevelInner(TQVBevelCut cut);
    TQVBevelCut BevelOuter() const;
    void SetBevelOuter(TQVBevelCut cut);
    int BevelWidth() const;
    void SetBevelWidth(int width);
    int BorderWidth() const;
    void SetBorderWidth(int width);
    QString Caption() const;
    void SetCaption(const QString &caption);
    TQVColor Color() const;
    void SetColor(TQVColor color);

    /// `color` resolved against this widget's palette.
    QColor ToQColor(TQVColor color) const { return QVToQColor(color, palette()); }
    /// The area inside the bevels and the border.
    QRect ClientRect() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    /// Draws the background, the bevels and the caption; descendants that paint their whole
    /// area override `Paint` and skip this.
    void PaintPanel(QPainter &painter);
    /// Background and bevels only; returns the rectangle inside them.
    QRect PaintFrame(QPainter &painter);
    /// Called by `paintEvent` with a painter clipped to the event's region.
    virtual void Paint(QPainter &painter);

private:
    class PrivateData;
    std::unique_ptr<PrivateData> m_data;
};

/// Stores `value` in `field`; true when that changed it (the common start of a setter).
template <typename T, typename U>
bool QVChange(T &field, const U &value)
{
    if (field == value)
        return false;
    field = value;
    return true;
}

/// \brief How a value control shows itself to assistive technology: a value interface over
/// its `Value`, `ValueMin` and `ValueMax` properties (and `ValueStepWidth` for inputs), the
/// name from the accessible name, else the caption property, else a default.
struct TQVValueAccessibility
{
    const char *ClassName = nullptr; ///< the class it answers for (and the translation context)
    QAccessible::Role Role = QAccessible::Indicator;
    const char *DefaultName = nullptr;       ///< untranslated, e.g. QT_TRANSLATE_NOOP("TQVDial", "Dial")
    const char *CaptionProperty = "Caption"; ///< may be null
    bool Input = false;                      ///< assistive technology may set the value
    QString (*ValueText)(const QWidget *widget) = nullptr; ///< null: the value in the widget's locale
};

/// Registers the accessibility of one value control class; later calls for the same class
/// are ignored.
QV_WIDGETS_EXPORT void QVInstallValueAccessibility(const TQVValueAccessibility &description);

/// \brief A three-dimensional frame of `width` pixels inside `r`: `topLeft` on the top and
/// left edges, `bottomRight` on the others; returns the rectangle inside it.
QV_WIDGETS_EXPORT QRect QVFrame3D(QPainter &painter, QRect r, const QColor &topLeft, const QColor &bottomRight,
                                  int width);
