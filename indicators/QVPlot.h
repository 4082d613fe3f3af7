#pragma once

#include <array>
#include <memory>
#include <utility>
#include <vector>

#include <QtCore/QList>
#include <QtCore/QPoint>
#include <QtCore/QPointF>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

#include "controls/qvControl.h"
#include "controls/scale/qvScaleDraw.h"
#include "framework/qvMeasIntf.h"

class QLocale;

/// \brief A graph sink: draws the channels of every block of its source against the
/// abscissa the source announces, as time traces or spectra.
///
/// Sample i of a channel with n samples lies at x = XStart + i * XSpan / n: a block covers
/// [XStart, XStart + XSpan) in n equal steps, the way the sampled sources and the trigger
/// report their span. A single-value source (`mscSingleValue`) is plotted as a rolling
/// history of its last `HistoryLength` values instead, the newest at XStart and each older
/// one XSpan further left. A new block repaints only the plot area unless the axes changed.
class QV_WIDGETS_EXPORT TQVPlot : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(TQVMeasureSource *MeasureSource READ GetQVMeasureSource WRITE WriteMeasureSource NOTIFY SettingsChanged)
    Q_PROPERTY(quint32 ChannelMask READ ChannelMask WRITE SetChannelMask NOTIFY SettingsChanged)
    Q_PROPERTY(int ChannelCurrent READ ChannelCurrent WRITE SetChannelCurrent NOTIFY SettingsChanged)
    Q_PROPERTY(quint32 ChannelColor READ ChannelColor WRITE SetChannelColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtChannelColor READ QtChannelColor WRITE SetQtChannelColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(QString ChannelName READ ChannelName WRITE SetChannelName NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVPlotScale ScaleY READ ScaleY WRITE SetScaleY NOTIFY SettingsChanged)
    Q_PROPERTY(double DecibelReference READ DecibelReference WRITE SetDecibelReference NOTIFY SettingsChanged)
    Q_PROPERTY(double DecibelFloor READ DecibelFloor WRITE SetDecibelFloor NOTIFY SettingsChanged)
    Q_PROPERTY(bool PowerValues READ PowerValues WRITE SetPowerValues NOTIFY SettingsChanged)
    Q_PROPERTY(bool AutoScale READ AutoScale WRITE SetAutoScale NOTIFY SettingsChanged)
    Q_PROPERTY(double YMin READ YMin WRITE SetYMin NOTIFY SettingsChanged)
    Q_PROPERTY(double YMax READ YMax WRITE SetYMax NOTIFY SettingsChanged)
    Q_PROPERTY(bool XLog READ XLog WRITE SetXLog NOTIFY SettingsChanged)
    Q_PROPERTY(bool Grid READ Grid WRITE SetGrid NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 GridColor READ GridColor WRITE SetGridColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtGridColor READ QtGridColor WRITE SetQtGridColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 Background READ Background WRITE SetBackground NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtBackground READ QtBackground WRITE SetQtBackground NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 AxisColor READ AxisColor WRITE SetAxisColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtAxisColor READ QtAxisColor WRITE SetQtAxisColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(QString XUnit READ XUnit WRITE SetXUnit NOTIFY AppearanceChanged)
    Q_PROPERTY(QString YUnit READ YUnit WRITE SetYUnit NOTIFY AppearanceChanged)
    Q_PROPERTY(QString Title READ Title WRITE SetTitle NOTIFY AppearanceChanged)
    Q_PROPERTY(bool Legend READ Legend WRITE SetLegend NOTIFY AppearanceChanged)
    Q_PROPERTY(int HistoryLength READ HistoryLength WRITE SetHistoryLength NOTIFY SettingsChanged)
    Q_PROPERTY(double LineWidth READ LineWidth WRITE SetLineWidth NOTIFY AppearanceChanged)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout NOTIFY AppearanceChanged)
    Q_PROPERTY(bool XAutoScale READ XAutoScale WRITE SetXAutoScale NOTIFY SettingsChanged)
    Q_PROPERTY(double XMin READ XMin WRITE SetXMin NOTIFY SettingsChanged)
    Q_PROPERTY(double XMax READ XMax WRITE SetXMax NOTIFY SettingsChanged)
    Q_PROPERTY(bool Interactive READ Interactive WRITE SetInteractive NOTIFY SettingsChanged)
    Q_PROPERTY(bool Cursors READ Cursors WRITE SetCursors NOTIFY SettingsChanged)
    Q_PROPERTY(double Cursor1 READ Cursor1 WRITE SetCursor1 NOTIFY SettingsChanged)
    Q_PROPERTY(double Cursor2 READ Cursor2 WRITE SetCursor2 NOTIFY SettingsChanged)
    Q_PROPERTY(bool PeakMarker READ PeakMarker WRITE SetPeakMarker NOTIFY SettingsChanged)
    Q_PROPERTY(bool CursorStatistics READ CursorStatistics WRITE SetCursorStatistics NOTIFY SettingsChanged)
    Q_PROPERTY(bool Distortion READ Distortion WRITE SetDistortion NOTIFY SettingsChanged)
    Q_PROPERTY(int DistortionHarmonics READ DistortionHarmonics WRITE SetDistortionHarmonics NOTIFY SettingsChanged)
    Q_PROPERTY(TQVPlotAveraging Averaging READ Averaging WRITE SetAveraging NOTIFY SettingsChanged)
    Q_PROPERTY(int AverageCount READ AverageCount WRITE SetAverageCount NOTIFY SettingsChanged)
    Q_PROPERTY(bool MaxHold READ MaxHold WRITE SetMaxHold NOTIFY SettingsChanged)
    Q_PROPERTY(bool MinHold READ MinHold WRITE SetMinHold NOTIFY SettingsChanged)
    Q_PROPERTY(QString UpperLimit READ UpperLimit WRITE SetUpperLimit NOTIFY SettingsChanged)
    Q_PROPERTY(QString LowerLimit READ LowerLimit WRITE SetLowerLimit NOTIFY SettingsChanged)
    Q_PROPERTY(quint32 LimitColor READ LimitColor WRITE SetLimitColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtLimitColor READ QtLimitColor WRITE SetQtLimitColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(bool LimitFailed READ LimitFailed NOTIFY LimitResultChanged STORED false)

public:
    /// `scDecibel` shows 20 log10(|y| / DecibelReference), or 10 log10 with `PowerValues`.
    enum TQVPlotScale : quint8 { scLinear, scDecibel };
    Q_ENUM(TQVPlotScale)
    /// \brief Averaging of the blocks on the display side. `avLinear`: the mean of the first
    /// `AverageCount` blocks after a reset, which then stays; `avExponential`: the mean of the
    /// blocks so far until `AverageCount`, then each block weighs 1 / `AverageCount`.
    enum TQVPlotAveraging : quint8 { avNone, avLinear, avExponential };
    Q_ENUM(TQVPlotAveraging)

    /// Channels 0 to MaxTraces - 1 can be drawn.
    static constexpr int MaxTraces = 8;

    explicit TQVPlot(QWidget *parent = nullptr);
    ~TQVPlot() override;

    /// The connected source, or null.
    TQVMeasureSource *MeasureSource() const;
    /// \brief Connects to `source` (null disconnects). A source that is not continuous is
    /// refused: the plot ends unconnected and `EQVMSIncompatibleSource` is raised.
    void SetMeasureSource(TQVMeasureSource *source);
    /// `MeasureSource` and `SetMeasureSource` under the names the stages use.
    TQVMeasureSource *GetQVMeasureSource() const { return MeasureSource(); }
    void SetQVMeasureSource(TQVMeasureSource *source) { SetMeasureSource(source); }
    /// \brief The write of the published `MeasureSource`: `SetMeasureSource`, with a refused
    /// source reported through `ErrorOccurred` instead of raised.
    void WriteMeasureSource(TQVMeasureSource *source);
    TQVMeasureLink *InputLink() const;

    /// Bit k shows channel k (only bits 0 to 7 count; default all).
    quint32 ChannelMask() const;
    void SetChannelMask(quint32 mask);
    /// The channel that `ChannelColor` and `ChannelName` address, 0 to 7.
    int ChannelCurrent() const;
    void SetChannelCurrent(int channel);
    TQVColor ChannelColor() const;
    void SetChannelColor(TQVColor color);
    QV_QCOLOR_FACE(ChannelColor)
    QString ChannelName() const;
    void SetChannelName(const QString &name);
    /// Colour of channel `channel`; 0 outside 0 to 7.
    TQVColor TraceColor(int channel) const;
    /// Ignored outside 0 to 7.
    void SetTraceColor(int channel, TQVColor color);
    /// Legend text of channel `channel` (default "Ch k"); empty outside 0 to 7.
    QString TraceName(int channel) const;
    void SetTraceName(int channel, const QString &name);

    TQVPlotScale ScaleY() const;
    void SetScaleY(TQVPlotScale scale);
    double DecibelReference() const;
    /// Ignored unless finite and greater than 0.
    void SetDecibelReference(double reference);
    /// Lowest level in dB: lower levels are drawn on it; a zero has no level and leaves a
    /// gap in the trace. Ignored unless finite.
    double DecibelFloor() const;
    void SetDecibelFloor(double floor);
    /// The samples are powers (10 log10) rather than amplitudes (20 log10).
    bool PowerValues() const;
    void SetPowerValues(bool power);

    bool AutoScale() const;
    void SetAutoScale(bool autoScale);
    /// The fixed range without `AutoScale`, in displayed units (dB when `ScaleY` is dB).
    double YMin() const;
    /// Ignored unless finite and below `YMax`.
    void SetYMin(double value);
    double YMax() const;
    /// Ignored unless finite and above `YMin`.
    void SetYMax(double value);
    /// Sets both ends at once; ignored unless finite with `yMin` < `yMax`.
    void SetYRange(double yMin, double yMax);

    /// Logarithmic abscissa; samples at x <= 0 are not drawn.
    bool XLog() const;
    void SetXLog(bool xLog);
    bool Grid() const;
    void SetGrid(bool grid);
    TQVColor GridColor() const;
    void SetGridColor(TQVColor color);
    QV_QCOLOR_FACE(GridColor)
    /// Colour of the plot area.
    TQVColor Background() const;
    void SetBackground(TQVColor color);
    QV_QCOLOR_FACE(Background)
    /// Colour of the frame, the ticks and the labels.
    TQVColor AxisColor() const;
    void SetAxisColor(TQVColor color);
    QV_QCOLOR_FACE(AxisColor)
    /// Unit after the SI prefix of the x labels ("s", "Hz").
    QString XUnit() const;
    void SetXUnit(const QString &unit);
    /// Unit of the y labels; linear labels take an SI prefix, dB labels none ("dB", "dBV").
    QString YUnit() const;
    void SetYUnit(const QString &unit);
    QString Title() const;
    void SetTitle(const QString &title);
    /// Shows the names of the drawn channels with their colours in the header line above
    /// the plot area, right-aligned (the title then moves to the left).
    bool Legend() const;
    void SetLegend(bool legend);
    /// Values kept for a single-value source, 2 to 1000000.
    int HistoryLength() const;
    void SetHistoryLength(int length);
    /// Trace pen width in pixels, 0.5 to 10.
    double LineWidth() const;
    void SetLineWidth(double width);
    TQVScaleLayout ScaleLayout() const;
    /// \brief `slAdaptive` lays the axes out around their measured labels: 1-2-5 steps with both
    /// ends, one SI prefix per linear axis, major and minor ticks, the grid on the major ticks,
    /// fonts and pens following the size and default colours following the palette (see
    /// TQVScaleLayout); `slClassic`, the default, keeps the classic geometry.
    void SetScaleLayout(TQVScaleLayout layout);
    /// The axes of the last adaptive layout (empty in the classic layout).
    const TQVPlotAxesLayout &AdaptiveLayout() const;

    // Measuring: zoom, cursors, peak marker, averaging and hold. All of it is off by default.

    /// \brief The abscissa follows the source (default). Without it the shown x range is
    /// [`XMin`, `XMax`].
    bool XAutoScale() const;
    void SetXAutoScale(bool autoScale);
    double XMin() const;
    /// Ignored unless finite and below `XMax`.
    void SetXMin(double value);
    double XMax() const;
    /// Ignored unless finite and above `XMin`.
    void SetXMax(double value);
    /// \brief Mouse and keyboard zoom, pan and cursor dragging: a left drag zooms into its
    /// rubber band (a flat band the x axis only, a narrow one the y axis only), the wheel zooms
    /// around the pointer (with Shift the x axis only, with Ctrl the y axis only), a right or
    /// middle drag pans; + and - zoom, the arrows pan, Backspace goes back, Home or Escape
    /// resets. A left press near a cursor drags that cursor.
    bool Interactive() const;
    void SetInteractive(bool interactive);
    /// Two vertical cursors with their readouts and their difference.
    bool Cursors() const;
    /// Switching the cursors on while both sit at one place spreads them over the shown range.
    void SetCursors(bool cursors);
    /// Abscissa of cursor 1 and 2; a write is ignored unless finite.
    double Cursor1() const;
    void SetCursor1(double x);
    double Cursor2() const;
    void SetCursor2(double x);
    /// A marker on the highest bin of the readout channel, refined between bins.
    bool PeakMarker() const;
    void SetPeakMarker(bool marker);
    /// \brief Maximum, minimum, peak-to-peak, mean and RMS of the readout channel between
    /// the cursors, added to their readout (mean and RMS on a linear scale only).
    bool CursorStatistics() const;
    void SetCursorStatistics(bool statistics);
    /// \brief THD, THD+N and SINAD of the strongest tone of the readout channel, read as an
    /// amplitude spectrum over the shown x range, added to the readout; the harmonics
    /// counted are numbered above their peaks.
    bool Distortion() const;
    void SetDistortion(bool distortion);
    /// The highest harmonic that THD counts, 2 to 100 (10); other values are ignored.
    int DistortionHarmonics() const;
    void SetDistortionHarmonics(int harmonics);
    TQVPlotAveraging Averaging() const;
    void SetAveraging(TQVPlotAveraging averaging);
    /// Blocks averaged, 2 to 100000.
    int AverageCount() const;
    void SetAverageCount(int count);
    /// Element-wise maximum of the shown blocks since the last reset, drawn as a fainter trace.
    bool MaxHold() const;
    void SetMaxHold(bool hold);
    /// Element-wise minimum, likewise.
    bool MinHold() const;
    void SetMinHold(bool hold);

    /// \brief The upper limit line of the pass/fail test: points "x y; x y; ..." in x units and
    /// displayed units (dB on a decibel scale), x not decreasing; two points at one x make a
    /// step, and the tighter level holds at the step. Between its first and last x, every
    /// sample of the shown channels (as drawn: averaged, without the holds) must lie at or
    /// below the line, joined straight on the shown axes. Empty: no upper limit. A text that
    /// does not read as such points is ignored.
    QString UpperLimit() const;
    void SetUpperLimit(const QString &points);
    /// The lower limit line, likewise: the samples must lie at or above it.
    QString LowerLimit() const;
    void SetLowerLimit(const QString &points);
    /// Colour of the limit lines, of the area beyond them and of the samples that fail.
    TQVColor LimitColor() const;
    void SetLimitColor(TQVColor color);
    QV_QCOLOR_FACE(LimitColor)
    /// A sample now on the plot fails a limit line.
    bool LimitFailed() const;
    /// \brief The limit test of the samples now on the plot: "failed", "tested" (samples
    /// within the lines' x extent), "violations", "margin" (the least distance of a sample
    /// inside its limits, in displayed units; negative when one fails), "marginX" and
    /// "channel" of that sample, and "firstX" (the lowest x of a failing sample) when one
    /// fails. Empty without limit lines.
    Q_INVOKABLE QVariantMap LimitReading() const;
    /// Reads a limit text into points; false for a text that `SetUpperLimit` would ignore.
    static bool ParseLimit(const QString &text, QList<QPointF> *points);
    /// The text of a limit line through `points` (x not decreasing), as the limits store it.
    static QString LimitText(const QList<QPointF> &points);

    /// Blocks in the present average of channel `channel` (0 without averaging).
    Q_INVOKABLE int AveragedBlocks(int channel) const;
    /// The max hold and min hold traces (empty when off or out of range).
    const std::vector<float> &MaxHoldData(int channel) const;
    const std::vector<float> &MinHoldData(int channel) const;

    /// The channel the cursors and the peak marker read: the lowest shown channel with data, or -1.
    Q_INVOKABLE int ReadoutChannel() const;
    /// \brief The readout channel's displayed value at cursor `which` (1 or 2), interpolated
    /// linearly between its samples; NaN outside the trace or without data.
    Q_INVOKABLE double CursorValue(int which) const;
    /// \brief Abscissa of the peak marker: the highest sample of the readout channel, refined
    /// by a parabola through the logarithms of the magnitudes of it and its two neighbours
    /// (exact for a Gaussian peak, within 0.02 bin for a Hann window); NaN without data.
    Q_INVOKABLE double PeakX() const;
    /// The peak's displayed value at the parabola's vertex; NaN without data.
    Q_INVOKABLE double PeakValue() const;
    /// \brief Statistics of the readout channel's displayed values at the samples from the
    /// left cursor up to the right one, without it, so that a gate of whole periods holds
    /// each phase once (values that are not finite left out), whether or not
    /// they are shown: "count", "max", "maxX", "min", "minX", "mean", "rms" (the first
    /// sample of equals). Without such samples only "count" (0).
    Q_INVOKABLE QVariantMap GateStatistics() const;
    /// \brief The distortion reading, whether or not it is shown: "fundamental" (x of the
    /// fundamental), "thd" and "thdN" (ratios), "sinad" (dB) and "harmonics" (per harmonic
    /// counted: "number", "x" and "y" of its highest bin, "dBc"); empty without a tone,
    /// and without "thd" when no harmonic is in range.
    Q_INVOKABLE QVariantMap DistortionReading() const;
    /// The text lines of the cursor and peak readouts as drawn.
    Q_INVOKABLE QStringList ReadoutLines() const;
    /// \brief The box of those lines in widget coordinates (empty without readouts): at the
    /// top or bottom edge of the plot area where it hides least of the traces, the cursors
    /// and the peak marker; the top right corner, then the other corners, of equals. It
    /// moves only to a place that hides clearly less, so that it does not jump to and fro
    /// with a live trace.
    Q_INVOKABLE QRect ReadoutRect() const;

    /// \brief The shown traces as comma-separated values, as they are drawn.
    ///
    /// A header row names the columns: "x [XUnit]", then for each shown channel with data
    /// its name with "[YUnit]", followed by its max and min hold when on. One row per
    /// sample: the abscissa and the displayed values (levels on a decibel scale), each in
    /// the shortest text that reads back to the same number, empty where not finite. When
    /// the channels differ in length, each one has an x column of its own and the rows of
    /// a shorter one end in empty fields. Lines end in "\n"; fields with a comma or quote
    /// are quoted. Only the header when nothing is shown.
    Q_INVOKABLE QString TracesCsv() const;
    /// \brief Writes `TracesCsv()` as UTF-8 to `fileName` (a path or a "file:" URL); an
    /// existing file is replaced only when the whole text is written. False, with the
    /// reason through `ErrorOccurred`, when it cannot be written.
    Q_INVOKABLE bool SaveTracesCsv(const QString &fileName);

    /// Views on the zoom stack; 0 when the axes follow their settings.
    Q_INVOKABLE int ZoomDepth() const;

public slots:
    /// \brief Pushes the present view and shows [x0, x1] x [y0, y1] (y in displayed units).
    /// Ignored unless finite with x0 < x1, y0 < y1, a span that doubles can resolve and
    /// x0 > 0 on a log axis.
    void ZoomTo(double x0, double x1, double y0, double y1);
    /// \brief Scales the view by `factor` (below 1 zooms in) around the fraction (`fx`, `fy`)
    /// of the plot area (0, 0 = bottom left); the ends snap out to a 1-2-5 step of a
    /// twentieth of the span. `axes`: 1 x only, 2 y only, 3 both.
    void ZoomBy(double factor, double fx = 0.5, double fy = 0.5, int axes = 3);
    /// Moves the view by the fractions `dx`, `dy` of its width and height.
    void Pan(double dx, double dy);
    /// Returns to the view before the last zoom.
    void ZoomBack();
    /// Empties the zoom stack: the axes follow their settings again.
    void ZoomReset();
    /// Restarts the averages and the hold traces.
    void ResetProcessing();

public:

    // What the plot shows now.

    /// The samples of channel `channel` as shown: as received, or their average with
    /// `Averaging` (empty when none or out of range).
    const std::vector<float> &TraceData(int channel) const;
    /// Abscissa of sample `index` of channel `channel`, by the rule in the class comment.
    double SampleX(int channel, int index) const;
    /// The displayed abscissa range: [XStart, XStart + XSpan] of the settings; for a
    /// single-value source [XStart - (HistoryLength - 1) XSpan, XStart]; [0, 1] without settings.
    double XMinShown() const;
    double XMaxShown() const;
    /// The displayed ordinate range (after autoscaling), in displayed units.
    double YMinShown() const;
    double YMaxShown() const;
    /// The plot area in widget coordinates: x maps linearly (or by log10) from
    /// [XMinShown, XMaxShown] onto [left, left + width], y from [YMaxShown, YMinShown] onto
    /// [top, top + height].
    QRect PlotRect() const;
    /// Tick values and labels of the axes as drawn now.
    QList<double> XTicks() const;
    QStringList XTickLabels() const;
    QList<double> YTicks() const;
    QStringList YTickLabels() const;
    /// The value of sample `y` in displayed units: `y` itself, or its level in dB clamped to
    /// `DecibelFloor` (minus infinity for 0, NaN for NaN).
    double DisplayValue(double y) const;

    /// \brief Tick positions of a 1-2-5 scale over [lo, hi] with at most about `maxTicks`
    /// intervals: every multiple of the step inside the range.
    static QList<double> LinearTicks(double lo, double hi, int maxTicks, double *stepOut = nullptr);
    /// \brief Label of `value` on a scale with tick distance `step`: scaled to the SI prefix
    /// that suits `magnitude` (the largest absolute value on the scale), with just enough
    /// decimals for `step`, e.g. "500 µs", "2.5 kHz". No prefix when `usePrefix` is false.
    static QString TickLabel(double value, double step, double magnitude, const QString &unit, bool usePrefix,
                             const QLocale &locale);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    /// A block or a settings change altered what the plot shows.
    void DataChanged();
    /// The zoom stack changed.
    void ZoomChanged();
    /// The limit test's verdict changed (`LimitFailed`).
    void LimitResultChanged(bool failed);

protected:
    void Paint(QPainter &painter) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    struct Axis
    {
        QList<double> Ticks;
        QList<double> MinorTicks; ///< unlabelled grid lines of a log axis
        QStringList Labels;
        bool operator==(const Axis &) const = default;
    };
    struct Layout
    {
        QRect Plot;
        QRect TitleRect;
        QRect LegendRect;
        QList<int> LegendChannels;
        Axis X;
        Axis Y;
        double XLo = 0, XHi = 1, YLo = -1, YHi = 1;
        bool operator==(const Layout &) const = default;
    };

    void MLOnUpdateSettings(TQVMeasureLink *link);
    void MLOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data);
    void ReadSettings();
    /// Recomputes ranges and layout; a repaint of the plot area only when the axes stayed.
    void Refresh(bool dataOnly);
    void UpdateYRange();
    void UpdateXRange();
    Layout ComputeLayout() const;
    Layout ComputeAdaptiveLayout();
    bool Adaptive() const;
    QSize AdaptiveSizeHint(bool minimum) const;
    // Colours as drawn: in the adaptive layout the default ones follow the palette.
    QColor AxisInk() const;
    QColor BackgroundInk() const;
    QColor GridInk() const;
    QColor TraceInk(int channel) const;
    bool ChannelShown(int channel) const;
    double MapX(double x, const QRect &plot) const;
    double MapY(double v, const QRect &plot) const;

    void PaintAxes(QPainter &painter);
    void PaintPlotArea(QPainter &painter);
    void PaintTrace(QPainter &painter, int channel);
    void PaintSeries(QPainter &painter, int channel, const std::vector<float> &trace, const QColor &colour);
    void PaintMeasuring(QPainter &painter);
    QFont MeasuringFont() const;
    static std::array<int, 3> ReadoutColumns(const QFontMetrics &fm, const QStringList &lines);
    /// The four corners, then seven places between the top corners and seven between the bottom ones.
    static constexpr int ReadoutPlaces = 18;
    QRect ReadoutBox(const std::array<int, 3> &widths, int lines, const QFontMetrics &fm, int current, int *chosen) const;
    std::vector<QRectF> ReadoutObstacles() const;
    /// The numbers of the harmonics that THD counts, each in its box above its peak.
    std::vector<std::pair<QRect, QString>> HarmonicLabels() const;
    double ReadoutHides(const QRect &box, const std::vector<QRectF> &obstacles) const;
    void Process(int channel);
    /// Shows a view: pushed, or in place of the one on top (wheel, keys, pan).
    void PushView(double x0, double x1, double y0, double y1, bool replaceTop = false);
    std::pair<double, double> PeakReading() const;
    /// \brief Each sample's margin to the limit lines in displayed units (negative where it
    /// fails, NaN where it is not tested); empty without limit lines or data.
    std::vector<double> LimitMargins(int channel) const;
    void SetLimitLine(bool upper, const QString &points);
    void UpdateLimitVerdict();
    void PaintLimits(QPainter &painter);
    /// The first and last sample of channel `k` inside the shown x range.
    std::pair<int, int> ShownSamples(int k) const;
    void DropZoom();
    double UnmapX(double px, const QRect &plot) const;
    double UnmapY(double py, const QRect &plot) const;
    QString Reading(double value, const QString &unit, bool prefix) const;
    QString Percent(double ratio) const;
    void PaintLegend(QPainter &painter);
    void PaintAdaptiveGrid(QPainter &painter);

    class PrivateData;
    std::unique_ptr<PrivateData> m_data;
};
