#pragma once

#include <optional>

#include <QtGui/QColor>
#include <QtGui/QImage>
#include <QtQml/qqml.h>
#include <QtQuick/QQuickPaintedItem>
#include <QtWidgets/QWidget>

#include "framework/qvMeasIntf.h"
#include "quick/qvQuickFace.h"

class TQVCustomPanel;

/// \brief Base of the instrument items: a Qt Quick item that owns one instance of the
/// instrument widget (shown, but never on screen) and shows what the widget's own painting
/// code paints, at the window's device pixel ratio.
///
/// The widget keeps the item's size. Every repaint it asks for (a property change, the
/// synchronous repaint of a value) is rendered at once into the item's image and then
/// copied by the scene graph. Its value, range and looks are reached through the item's
/// lowerCamel properties (see `QVQuickFace`). Key, mouse and wheel events go to the
/// widget's own handlers. Widgets need a `QApplication`: without one the item warns, holds
/// no widget and paints nothing.
class QV_QUICK_EXPORT TQVQuickInstrument : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(QString caption READ caption WRITE setCaption NOTIFY captionChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    Q_PROPERTY(ScaleLayout scaleLayout READ scaleLayout WRITE setScaleLayout NOTIFY scaleLayoutChanged)
    /// The painting widget, for the rest of its published properties (UpperCamel, so in
    /// JavaScript only: `meter.widget.ValueGap = 0.1`).
    Q_PROPERTY(QObject *widget READ widget CONSTANT)

public:
    /// The widgets' `ScaleLayout`: the classic layout, or labels measured and placed around
    /// the scale at any size.
    enum ScaleLayout { Classic, Adaptive };
    Q_ENUM(ScaleLayout)

    ~TQVQuickInstrument() override;

    /// The widget that paints the item (null without a `QApplication`).
    QWidget *widget() const;

    QString caption() const;
    void setCaption(const QString &caption);
    QColor color() const;
    void setColor(const QColor &color);
    ScaleLayout scaleLayout() const { return ScaleLayout(Read("ScaleLayout").toInt()); }
    void setScaleLayout(ScaleLayout layout) { Write("ScaleLayout", int(layout)); }

    void paint(QPainter *painter) override;

signals:
    void captionChanged();
    void colorChanged();
    void scaleLayoutChanged();
    /// A write the widget refused (an incompatible `source`...); `message` is the library's text.
    void errorOccurred(const QString &message);

protected:
    using WidgetFactory = TQVCustomPanel *(*)();
    TQVQuickInstrument(WidgetFactory make, QQuickItem *parent);

    /// Connects the notify signals of the leaf class's properties; its constructor calls it.
    void LinkProperties();
    QVariant Read(const char *name) const;
    void Write(const char *name, const QVariant &value);
    /// The `source` of a sink item.
    TQVMeasureSource *SourceOf() const;
    void SetSource(TQVMeasureSource *source);
    /// Lets the dial and the slider take focus, keys and the mouse.
    void AcceptInput();

    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData &data) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void Forward(QEvent *event);
    /// Lets the widget paint `region` into the image and asks the scene graph for it.
    void PaintWidget(const QRegion &region);

    TQVCustomPanel *m_widget = nullptr;
    QImage m_image; // the widget's pixels at the window's ratio
    bool m_rendering = false;
};

/// \brief An instrument with a numeric value on a scale: `value`, `valueMin`, `valueMax`.
///
/// While QML creates the item, the three and the step of the labels are kept and written
/// when it is complete, ends first, so that their order in the QML text does not matter (a
/// widget refuses a lower end above its upper one, clamps the value to its range, and
/// widens a step that would crowd the ticks of the range it has at the time).
class QV_QUICK_EXPORT TQVQuickValueInstrument : public TQVQuickInstrument
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(double value READ value WRITE setValue NOTIFY valueChanged)
    Q_PROPERTY(double valueMin READ valueMin WRITE setValueMin NOTIFY valueMinChanged)
    Q_PROPERTY(double valueMax READ valueMax WRITE setValueMax NOTIFY valueMaxChanged)

public:
    double value() const { return Read("Value").toDouble(); }
    void setValue(double value) { WriteValue(Value, value); }
    double valueMin() const { return Read("ValueMin").toDouble(); }
    void setValueMin(double value) { WriteValue(ValueMin, value); }
    double valueMax() const { return Read("ValueMax").toDouble(); }
    void setValueMax(double value) { WriteValue(ValueMax, value); }

signals:
    void valueChanged();
    void valueMinChanged();
    void valueMaxChanged();

protected:
    /// `gapName` is the widget's property of the labels' step.
    TQVQuickValueInstrument(WidgetFactory make, QQuickItem *parent, const char *gapName = "ValueGap")
        : TQVQuickInstrument(make, parent), m_gapName(gapName) {}
    void componentComplete() override;
    double Gap() const { return Read(m_gapName).toDouble(); }
    void SetGap(double gap) { WriteValue(Step, gap); }

private:
    enum Slot { ValueMax, ValueMin, Step, Value, Slots };
    void WriteValue(Slot slot, double value);

    const char *m_gapName;
    std::optional<double> m_pending[Slots];
};

/// \brief The needle meter (`TQVMeter`): a sink of a single-value `source`, with colour
/// `ranges` of `{limit, color, check}`.
class QV_QUICK_EXPORT TQVQuickMeter : public TQVQuickValueInstrument
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Meter)
    Q_PROPERTY(TQVMeasureSource *source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(QVariantList ranges READ ranges WRITE setRanges NOTIFY rangesChanged)
    Q_PROPERTY(QColor indicatorColor READ indicatorColor WRITE setIndicatorColor NOTIFY indicatorColorChanged)
    Q_PROPERTY(QString legend1 READ legend1 WRITE setLegend1 NOTIFY legend1Changed)
    Q_PROPERTY(QString legend2 READ legend2 WRITE setLegend2 NOTIFY legend2Changed)
    Q_PROPERTY(double valueGap READ valueGap WRITE setValueGap NOTIFY valueGapChanged)
    Q_PROPERTY(int valueDecimals READ valueDecimals WRITE setValueDecimals NOTIFY valueDecimalsChanged)
    Q_PROPERTY(IndicatorStyle indicatorStyle READ indicatorStyle WRITE setIndicatorStyle NOTIFY indicatorStyleChanged)
    /// Whether the range follows the source's (on by default); off keeps `valueMin`, `valueMax`.
    Q_PROPERTY(bool autoConfig READ autoConfig WRITE setAutoConfig NOTIFY autoConfigChanged)
    /// A drag pointer at the highest value, for `peakHoldTime` milliseconds (0: until `resetPeak()`).
    Q_PROPERTY(bool peakHold READ peakHold WRITE setPeakHold NOTIFY peakHoldChanged)
    Q_PROPERTY(int peakHoldTime READ peakHoldTime WRITE setPeakHoldTime NOTIFY peakHoldTimeChanged)

public:
    enum IndicatorStyle { Needle, Wedge };
    Q_ENUM(IndicatorStyle)

    explicit TQVQuickMeter(QQuickItem *parent = nullptr);

    TQVMeasureSource *source() const { return SourceOf(); }
    void setSource(TQVMeasureSource *source) { SetSource(source); }
    QVariantList ranges() const { return QVQuickFace::RangesFromTable(Read("RangeTable").toString()); }
    void setRanges(const QVariantList &ranges) { Write("RangeTable", QVQuickFace::TableFromRanges(ranges, true)); }
    QColor indicatorColor() const { return Read("QtIndicatorColor").value<QColor>(); }
    void setIndicatorColor(const QColor &color) { Write("QtIndicatorColor", color); }
    QString legend1() const { return Read("Legend1").toString(); }
    void setLegend1(const QString &text) { Write("Legend1", text); }
    QString legend2() const { return Read("Legend2").toString(); }
    void setLegend2(const QString &text) { Write("Legend2", text); }
    double valueGap() const { return Gap(); }
    void setValueGap(double gap) { SetGap(gap); }
    int valueDecimals() const { return Read("ValueDecimals").toInt(); }
    void setValueDecimals(int decimals) { Write("ValueDecimals", decimals); }
    IndicatorStyle indicatorStyle() const { return IndicatorStyle(Read("IndicatorStyle").toInt()); }
    void setIndicatorStyle(IndicatorStyle style) { Write("IndicatorStyle", int(style)); }
    bool autoConfig() const { return Read("AutoConfig").toBool(); }
    void setAutoConfig(bool on) { Write("AutoConfig", on); }
    bool peakHold() const { return Read("PeakHold").toBool(); }
    void setPeakHold(bool on) { Write("PeakHold", on); }
    int peakHoldTime() const { return Read("PeakHoldTime").toInt(); }
    void setPeakHoldTime(int milliseconds) { Write("PeakHoldTime", milliseconds); }
    Q_INVOKABLE void resetPeak();

signals:
    void sourceChanged();
    void rangesChanged();
    void indicatorColorChanged();
    void legend1Changed();
    void legend2Changed();
    void valueGapChanged();
    void valueDecimalsChanged();
    void indicatorStyleChanged();
    void autoConfigChanged();
    void peakHoldChanged();
    void peakHoldTimeChanged();
};

/// \brief The dial (`TQVDial`): an input; keys, mouse and wheel turn it.
class QV_QUICK_EXPORT TQVQuickDial : public TQVQuickValueInstrument
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Dial)
    Q_PROPERTY(double valueStepWidth READ valueStepWidth WRITE setValueStepWidth NOTIFY valueStepWidthChanged)
    Q_PROPERTY(QColor knobColor READ knobColor WRITE setKnobColor NOTIFY knobColorChanged)
    Q_PROPERTY(double valueGap READ valueGap WRITE setValueGap NOTIFY valueGapChanged)
    Q_PROPERTY(int valueDecimals READ valueDecimals WRITE setValueDecimals NOTIFY valueDecimalsChanged)
    /// Whether the mouse holds the knob (a drag is under way).
    Q_PROPERTY(bool pressed READ pressed NOTIFY pressedChanged)

public:
    explicit TQVQuickDial(QQuickItem *parent = nullptr);

    bool pressed() const;

    double valueStepWidth() const { return Read("ValueStepWidth").toDouble(); }
    void setValueStepWidth(double step) { Write("ValueStepWidth", step); }
    QColor knobColor() const { return Read("QtKnobColor").value<QColor>(); }
    void setKnobColor(const QColor &color) { Write("QtKnobColor", color); }
    double valueGap() const { return Gap(); }
    void setValueGap(double gap) { SetGap(gap); }
    int valueDecimals() const { return Read("ValueDecimals").toInt(); }
    void setValueDecimals(int decimals) { Write("ValueDecimals", decimals); }

signals:
    void valueStepWidthChanged();
    void knobColorChanged();
    void valueGapChanged();
    void valueDecimalsChanged();
    void pressedChanged();
    /// The user changed the value (mouse, wheel, keys), after `valueChanged`.
    void moved();
};

/// \brief The linear scale of the bar graph and the slider: its orientation, labels and unit.
class QV_QUICK_EXPORT TQVQuickLinearScaleInstrument : public TQVQuickValueInstrument
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(Kind kind READ kind WRITE setKind NOTIFY kindChanged)
    Q_PROPERTY(LabelingStyle labelingStyle READ labelingStyle WRITE setLabelingStyle NOTIFY labelingStyleChanged)
    Q_PROPERTY(double labelingGap READ labelingGap WRITE setLabelingGap NOTIFY labelingGapChanged)
    Q_PROPERTY(int labelingDecimals READ labelingDecimals WRITE setLabelingDecimals NOTIFY labelingDecimalsChanged)
    /// Written after every label ("Hz").
    Q_PROPERTY(QString unitText READ unitText WRITE setUnitText NOTIFY unitTextChanged)
    /// The SI prefix the labels are divided by, as its symbol ("k", "M", "m"; micro as "u" or
    /// the micro sign); empty for none. An unknown symbol is ignored with a warning.
    Q_PROPERTY(QString unitPrefix READ unitPrefix WRITE setUnitPrefix NOTIFY unitPrefixChanged)

public:
    enum Kind { Horizontal, Vertical };
    Q_ENUM(Kind)
    /// Tick lines, labels, or both; on one side, or on both (`Symmetric`), with labels on
    /// one and lines on the other (`Asymmetric`, the slider only).
    enum LabelingStyle { NoLabeling, Lines, Labels, Both, Symmetric, Asymmetric };
    Q_ENUM(LabelingStyle)

    Kind kind() const { return Kind(Read("Kind").toInt()); }
    void setKind(Kind kind) { Write("Kind", int(kind)); }
    LabelingStyle labelingStyle() const { return LabelingStyle(Read("LabelingStyle").toInt()); }
    void setLabelingStyle(LabelingStyle style) { Write("LabelingStyle", int(style)); }
    double labelingGap() const { return Gap(); }
    void setLabelingGap(double gap) { SetGap(gap); }
    int labelingDecimals() const { return Read("LabelingDecimals").toInt(); }
    void setLabelingDecimals(int decimals) { Write("LabelingDecimals", decimals); }
    QString unitText() const { return Read("LabelTextPosfix").toString(); }
    void setUnitText(const QString &unit) { Write("LabelTextPosfix", unit); }
    QString unitPrefix() const { return QVQuickFace::PrefixSymbol(Read("LabelScientificUnitPosfix")); }
    void setUnitPrefix(const QString &symbol);

signals:
    void kindChanged();
    void labelingStyleChanged();
    void labelingGapChanged();
    void labelingDecimalsChanged();
    void unitTextChanged();
    void unitPrefixChanged();

protected:
    TQVQuickLinearScaleInstrument(WidgetFactory make, QQuickItem *parent)
        : TQVQuickValueInstrument(make, parent, "LabelingGap") {}
};

/// \brief The bar graph (`TQVBarGraph`): a sink of a single-value `source`, with colour
/// `ranges` of `{limit, color}`.
class QV_QUICK_EXPORT TQVQuickBarGraph : public TQVQuickLinearScaleInstrument
{
    Q_OBJECT
    QML_NAMED_ELEMENT(BarGraph)
    Q_PROPERTY(TQVMeasureSource *source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(QVariantList ranges READ ranges WRITE setRanges NOTIFY rangesChanged)
    Q_PROPERTY(QColor barColor READ barColor WRITE setBarColor NOTIFY barColorChanged)
    /// Whether the range follows the source's (on by default); off keeps `valueMin`, `valueMax`.
    Q_PROPERTY(bool autoConfig READ autoConfig WRITE setAutoConfig NOTIFY autoConfigChanged)
    /// A marker at the highest value, for `peakHoldTime` milliseconds (0: until `resetPeak()`).
    Q_PROPERTY(bool peakHold READ peakHold WRITE setPeakHold NOTIFY peakHoldChanged)
    Q_PROPERTY(int peakHoldTime READ peakHoldTime WRITE setPeakHoldTime NOTIFY peakHoldTimeChanged)

public:
    explicit TQVQuickBarGraph(QQuickItem *parent = nullptr);

    TQVMeasureSource *source() const { return SourceOf(); }
    void setSource(TQVMeasureSource *source) { SetSource(source); }
    QVariantList ranges() const { return QVQuickFace::RangesFromTable(Read("RangeTable").toString()); }
    void setRanges(const QVariantList &ranges) { Write("RangeTable", QVQuickFace::TableFromRanges(ranges, false)); }
    QColor barColor() const { return Read("QtBarColor").value<QColor>(); }
    void setBarColor(const QColor &color) { Write("QtBarColor", color); }
    bool autoConfig() const { return Read("AutoConfig").toBool(); }
    void setAutoConfig(bool on) { Write("AutoConfig", on); }
    bool peakHold() const { return Read("PeakHold").toBool(); }
    void setPeakHold(bool on) { Write("PeakHold", on); }
    int peakHoldTime() const { return Read("PeakHoldTime").toInt(); }
    void setPeakHoldTime(int milliseconds) { Write("PeakHoldTime", milliseconds); }
    Q_INVOKABLE void resetPeak();

signals:
    void sourceChanged();
    void rangesChanged();
    void barColorChanged();
    void autoConfigChanged();
    void peakHoldChanged();
    void peakHoldTimeChanged();
};

/// \brief The slider (`TQVSlider`): an input; keys and mouse move it.
class QV_QUICK_EXPORT TQVQuickSlider : public TQVQuickLinearScaleInstrument
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Slider)
    Q_PROPERTY(double valueStepWidth READ valueStepWidth WRITE setValueStepWidth NOTIFY valueStepWidthChanged)
    Q_PROPERTY(QVariantList ranges READ ranges WRITE setRanges NOTIFY rangesChanged)
    /// Whether the mouse holds the thumb (a drag is under way).
    Q_PROPERTY(bool pressed READ pressed NOTIFY pressedChanged)

public:
    explicit TQVQuickSlider(QQuickItem *parent = nullptr);

    bool pressed() const;

    double valueStepWidth() const { return Read("ValueStepWidth").toDouble(); }
    void setValueStepWidth(double step) { Write("ValueStepWidth", step); }
    QVariantList ranges() const { return QVQuickFace::RangesFromTable(Read("RangeTable").toString()); }
    void setRanges(const QVariantList &ranges) { Write("RangeTable", QVQuickFace::TableFromRanges(ranges, false)); }

signals:
    void valueStepWidthChanged();
    void rangesChanged();
    void pressedChanged();
    /// The user changed the value (mouse, keys), after `valueChanged`.
    void moved();
};

/// \brief The digital panel meter (`TQVPanelMeter`): a sink of a single-value `source`.
class QV_QUICK_EXPORT TQVQuickPanelMeter : public TQVQuickValueInstrument
{
    Q_OBJECT
    QML_NAMED_ELEMENT(PanelMeter)
    Q_PROPERTY(TQVMeasureSource *source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(QString unitText READ unitText WRITE setUnitText NOTIFY unitTextChanged)
    Q_PROPERTY(int decimals READ decimals WRITE setDecimals NOTIFY decimalsChanged)
    /// Ranges every value as a multimeter does (an SI prefix of the thousands, see `AutoPrefix`).
    Q_PROPERTY(bool autoPrefix READ autoPrefix WRITE setAutoPrefix NOTIFY autoPrefixChanged)

public:
    explicit TQVQuickPanelMeter(QQuickItem *parent = nullptr);

    TQVMeasureSource *source() const { return SourceOf(); }
    void setSource(TQVMeasureSource *source) { SetSource(source); }
    QString unitText() const { return Read("UnitText").toString(); }
    void setUnitText(const QString &unit) { Write("UnitText", unit); }
    int decimals() const { return Read("Decimals").toInt(); }
    void setDecimals(int decimals) { Write("Decimals", decimals); }
    bool autoPrefix() const { return Read("AutoPrefix").toBool(); }
    void setAutoPrefix(bool on) { Write("AutoPrefix", on); }

signals:
    void sourceChanged();
    void unitTextChanged();
    void decimalsChanged();
    void autoPrefixChanged();
};

/// \brief The LED (`TQVLed`): `value` is on or off; as a sink of a single-value `source` it
/// lights while the value lies above `limit`.
class QV_QUICK_EXPORT TQVQuickLed : public TQVQuickInstrument
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Led)
    Q_PROPERTY(bool value READ value WRITE setValue NOTIFY valueChanged)
    Q_PROPERTY(TQVMeasureSource *source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(double limit READ limit WRITE setLimit NOTIFY limitChanged)
    Q_PROPERTY(QColor colorActive READ colorActive WRITE setColorActive NOTIFY colorActiveChanged)
    /// How the source's value lights the LED: above `limit`, below it, inside or outside the
    /// widget's `RangeLower`..`RangeUpper`.
    Q_PROPERTY(Compare compare READ compare WRITE setCompare NOTIFY compareChanged)

public:
    enum Compare { Over, Under, InRange, OutOfRange };
    Q_ENUM(Compare)

    explicit TQVQuickLed(QQuickItem *parent = nullptr);

    bool value() const { return Read("Value").toBool(); }
    void setValue(bool on) { Write("Value", on); }
    TQVMeasureSource *source() const { return SourceOf(); }
    void setSource(TQVMeasureSource *source) { SetSource(source); }
    double limit() const { return Read("Limit").toDouble(); }
    void setLimit(double limit) { Write("Limit", limit); }
    QColor colorActive() const { return Read("QtColorActive").value<QColor>(); }
    void setColorActive(const QColor &color) { Write("QtColorActive", color); }
    Compare compare() const { return Compare(Read("Compare").toInt()); }
    void setCompare(Compare compare) { Write("Compare", int(compare)); }

signals:
    void valueChanged();
    void sourceChanged();
    void limitChanged();
    void colorActiveChanged();
    void compareChanged();
};

/// \brief The plot (`TQVPlot`): traces of a `source`'s channels against time or frequency.
class QV_QUICK_EXPORT TQVQuickPlot : public TQVQuickInstrument
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Plot)
    Q_PROPERTY(TQVMeasureSource *source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    Q_PROPERTY(int scaleY READ scaleY WRITE setScaleY NOTIFY scaleYChanged)
    Q_PROPERTY(bool autoScale READ autoScale WRITE setAutoScale NOTIFY autoScaleChanged)
    Q_PROPERTY(double yMin READ yMin WRITE setYMin NOTIFY yMinChanged)
    Q_PROPERTY(double yMax READ yMax WRITE setYMax NOTIFY yMaxChanged)
    Q_PROPERTY(QString yUnit READ yUnit WRITE setYUnit NOTIFY yUnitChanged)
    Q_PROPERTY(QString xUnit READ xUnit WRITE setXUnit NOTIFY xUnitChanged)
    Q_PROPERTY(bool xLog READ xLog WRITE setXLog NOTIFY xLogChanged)
    Q_PROPERTY(bool xAutoScale READ xAutoScale WRITE setXAutoScale NOTIFY xAutoScaleChanged)
    Q_PROPERTY(double xMin READ xMin WRITE setXMin NOTIFY xMinChanged)
    Q_PROPERTY(double xMax READ xMax WRITE setXMax NOTIFY xMaxChanged)
    /// Mouse and keys zoom and pan (rubber band, wheel, right or middle drag) and drag cursors.
    Q_PROPERTY(bool interactive READ interactive WRITE setInteractive NOTIFY interactiveChanged)
    Q_PROPERTY(bool cursors READ cursors WRITE setCursors NOTIFY cursorsChanged)
    Q_PROPERTY(double cursor1 READ cursor1 WRITE setCursor1 NOTIFY cursor1Changed)
    Q_PROPERTY(double cursor2 READ cursor2 WRITE setCursor2 NOTIFY cursor2Changed)
    Q_PROPERTY(bool peakMarker READ peakMarker WRITE setPeakMarker NOTIFY peakMarkerChanged)
    Q_PROPERTY(bool cursorStatistics READ cursorStatistics WRITE setCursorStatistics NOTIFY cursorStatisticsChanged)
    Q_PROPERTY(bool distortion READ distortion WRITE setDistortion NOTIFY distortionChanged)
    Q_PROPERTY(int distortionHarmonics READ distortionHarmonics WRITE setDistortionHarmonics NOTIFY distortionHarmonicsChanged)
    Q_PROPERTY(Averaging averaging READ averaging WRITE setAveraging NOTIFY averagingChanged)
    Q_PROPERTY(int averageCount READ averageCount WRITE setAverageCount NOTIFY averageCountChanged)
    Q_PROPERTY(bool maxHold READ maxHold WRITE setMaxHold NOTIFY maxHoldChanged)
    Q_PROPERTY(bool minHold READ minHold WRITE setMinHold NOTIFY minHoldChanged)
    /// Limit lines of the pass/fail test as lists of points (`Qt.point(x, y)` or `{x, y}`).
    Q_PROPERTY(QVariantList upperLimit READ upperLimit WRITE setUpperLimit NOTIFY upperLimitChanged)
    Q_PROPERTY(QVariantList lowerLimit READ lowerLimit WRITE setLowerLimit NOTIFY lowerLimitChanged)
    Q_PROPERTY(bool limitFailed READ limitFailed NOTIFY limitFailedChanged)

public:
    /// The plot's display-side averaging (`TQVPlot::TQVPlotAveraging`).
    enum Averaging { NoAveraging, Linear, Exponential };
    Q_ENUM(Averaging)

    explicit TQVQuickPlot(QQuickItem *parent = nullptr);

    bool xLog() const { return Read("XLog").toBool(); }
    void setXLog(bool on) { Write("XLog", on); }
    bool xAutoScale() const { return Read("XAutoScale").toBool(); }
    void setXAutoScale(bool on) { Write("XAutoScale", on); }
    double xMin() const { return Read("XMin").toDouble(); }
    void setXMin(double value) { Write("XMin", value); }
    double xMax() const { return Read("XMax").toDouble(); }
    void setXMax(double value) { Write("XMax", value); }
    bool interactive() const { return Read("Interactive").toBool(); }
    void setInteractive(bool on);
    bool cursors() const { return Read("Cursors").toBool(); }
    void setCursors(bool on) { Write("Cursors", on); }
    double cursor1() const { return Read("Cursor1").toDouble(); }
    void setCursor1(double x) { Write("Cursor1", x); }
    double cursor2() const { return Read("Cursor2").toDouble(); }
    void setCursor2(double x) { Write("Cursor2", x); }
    bool peakMarker() const { return Read("PeakMarker").toBool(); }
    void setPeakMarker(bool on) { Write("PeakMarker", on); }
    bool cursorStatistics() const { return Read("CursorStatistics").toBool(); }
    void setCursorStatistics(bool on) { Write("CursorStatistics", on); }
    bool distortion() const { return Read("Distortion").toBool(); }
    void setDistortion(bool on) { Write("Distortion", on); }
    int distortionHarmonics() const { return Read("DistortionHarmonics").toInt(); }
    void setDistortionHarmonics(int harmonics) { Write("DistortionHarmonics", harmonics); }
    Averaging averaging() const { return Averaging(Read("Averaging").toInt()); }
    void setAveraging(Averaging mode) { Write("Averaging", int(mode)); }
    int averageCount() const { return Read("AverageCount").toInt(); }
    void setAverageCount(int count) { Write("AverageCount", count); }
    bool maxHold() const { return Read("MaxHold").toBool(); }
    void setMaxHold(bool on) { Write("MaxHold", on); }
    bool minHold() const { return Read("MinHold").toBool(); }
    void setMinHold(bool on) { Write("MinHold", on); }
    QVariantList upperLimit() const { return LimitPoints("UpperLimit"); }
    void setUpperLimit(const QVariantList &points) { WriteLimit("UpperLimit", points); }
    QVariantList lowerLimit() const { return LimitPoints("LowerLimit"); }
    void setLowerLimit(const QVariantList &points) { WriteLimit("LowerLimit", points); }
    bool limitFailed() const { return Read("LimitFailed").toBool(); }

    /// The plot's measuring: the zoom stack, the averages and holds, the readouts.
    Q_INVOKABLE void zoomTo(double x0, double x1, double y0, double y1);
    Q_INVOKABLE void zoomBack();
    Q_INVOKABLE void zoomReset();
    Q_INVOKABLE int zoomDepth() const;
    Q_INVOKABLE void resetProcessing();
    Q_INVOKABLE double peakX() const;
    Q_INVOKABLE double peakValue() const;
    Q_INVOKABLE double cursorValue(int which) const;
    Q_INVOKABLE QVariantMap gateStatistics() const;
    Q_INVOKABLE QVariantMap distortionReading() const;
    Q_INVOKABLE QVariantMap limitReading() const;
    Q_INVOKABLE QStringList readoutLines() const;
    Q_INVOKABLE QRect readoutRect() const;
    /// The shown traces as comma-separated values, and written to a file (a path or a URL).
    Q_INVOKABLE QString tracesCsv() const;
    Q_INVOKABLE bool saveTracesCsv(const QString &fileName);

    TQVMeasureSource *source() const { return SourceOf(); }
    void setSource(TQVMeasureSource *source) { SetSource(source); }
    QString title() const { return Read("Title").toString(); }
    void setTitle(const QString &title) { Write("Title", title); }
    /// 0: linear, 1: decibel.
    int scaleY() const { return Read("ScaleY").toInt(); }
    void setScaleY(int scale) { Write("ScaleY", scale); }
    bool autoScale() const { return Read("AutoScale").toBool(); }
    void setAutoScale(bool autoScale) { Write("AutoScale", autoScale); }
    double yMin() const { return Read("YMin").toDouble(); }
    void setYMin(double value) { Write("YMin", value); }
    double yMax() const { return Read("YMax").toDouble(); }
    void setYMax(double value) { Write("YMax", value); }
    QString yUnit() const { return Read("YUnit").toString(); }
    void setYUnit(const QString &unit) { Write("YUnit", unit); }
    QString xUnit() const { return Read("XUnit").toString(); }
    void setXUnit(const QString &unit) { Write("XUnit", unit); }

signals:
    void sourceChanged();
    void titleChanged();
    void scaleYChanged();
    void autoScaleChanged();
    void yMinChanged();
    void yMaxChanged();
    void yUnitChanged();
    void xUnitChanged();
    void xLogChanged();
    void xAutoScaleChanged();
    void xMinChanged();
    void xMaxChanged();
    void interactiveChanged();
    void cursorsChanged();
    void cursor1Changed();
    void cursor2Changed();
    void peakMarkerChanged();
    void cursorStatisticsChanged();
    void distortionChanged();
    void distortionHarmonicsChanged();
    void averagingChanged();
    void averageCountChanged();
    void maxHoldChanged();
    void minHoldChanged();
    void upperLimitChanged();
    void lowerLimitChanged();
    void limitFailedChanged();

private:
    QVariantList LimitPoints(const char *name) const;
    void WriteLimit(const char *name, const QVariantList &points);
};

/// \brief The waterfall (`TQVWaterfall`): a spectrum per block, newest on top, levels as colours.
class QV_QUICK_EXPORT TQVQuickWaterfall : public TQVQuickInstrument
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Waterfall)
    Q_PROPERTY(TQVMeasureSource *source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    Q_PROPERTY(int channel READ channel WRITE setChannel NOTIFY channelChanged)
    Q_PROPERTY(double levelMin READ levelMin WRITE setLevelMin NOTIFY levelMinChanged)
    Q_PROPERTY(double levelMax READ levelMax WRITE setLevelMax NOTIFY levelMaxChanged)
    Q_PROPERTY(QString levelUnit READ levelUnit WRITE setLevelUnit NOTIFY levelUnitChanged)
    Q_PROPERTY(bool colorBar READ colorBar WRITE setColorBar NOTIFY colorBarChanged)
    Q_PROPERTY(QString xUnit READ xUnit WRITE setXUnit NOTIFY xUnitChanged)
    Q_PROPERTY(bool timeAxis READ timeAxis WRITE setTimeAxis NOTIFY timeAxisChanged)

public:
    explicit TQVQuickWaterfall(QQuickItem *parent = nullptr);

    TQVMeasureSource *source() const { return SourceOf(); }
    void setSource(TQVMeasureSource *source) { SetSource(source); }
    QString title() const { return Read("Title").toString(); }
    void setTitle(const QString &title) { Write("Title", title); }
    int channel() const { return Read("Channel").toInt(); }
    void setChannel(int channel) { Write("Channel", channel); }
    double levelMin() const { return Read("LevelMin").toDouble(); }
    void setLevelMin(double level) { Write("LevelMin", level); }
    double levelMax() const { return Read("LevelMax").toDouble(); }
    void setLevelMax(double level) { Write("LevelMax", level); }
    QString levelUnit() const { return Read("LevelUnit").toString(); }
    void setLevelUnit(const QString &unit) { Write("LevelUnit", unit); }
    bool colorBar() const { return Read("ColorBar").toBool(); }
    void setColorBar(bool on) { Write("ColorBar", on); }
    QString xUnit() const { return Read("XUnit").toString(); }
    void setXUnit(const QString &unit) { Write("XUnit", unit); }
    bool timeAxis() const { return Read("TimeAxis").toBool(); }
    void setTimeAxis(bool on) { Write("TimeAxis", on); }

signals:
    void sourceChanged();
    void titleChanged();
    void channelChanged();
    void levelMinChanged();
    void levelMaxChanged();
    void levelUnitChanged();
    void colorBarChanged();
    void xUnitChanged();
    void timeAxisChanged();
};
