#pragma once

#include <memory>

#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtGui/QImage>

#include "controls/qvControl.h"
#include "framework/qvMeasIntf.h"

/// \brief A waterfall (spectrogram) sink: every block of its source becomes one row of
/// colours, the newest on top, the older ones moving down one row per block.
///
/// The abscissa is the source's [XStart, XStart + XSpan], as in the plot; the level of each
/// sample, 20 log10(|y| / `DecibelReference`) (10 log10 with `PowerValues`), is coloured by the
/// perceptual map of `QVLevelColor` from `LevelMin` (darkest) to `LevelMax` (lightest). When a
/// block has more samples than the plot area has pixel columns, a column shows the loudest of
/// its samples. A new block costs one row: the shown rows are moved down on the screen (a
/// blit) and only the new row is painted. With `TimeAxis`, clock times mark the rows on the
/// left and move down with them.
class QV_WIDGETS_EXPORT TQVWaterfall : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(TQVMeasureSource *MeasureSource READ GetQVMeasureSource WRITE WriteMeasureSource NOTIFY SettingsChanged)
    Q_PROPERTY(int Channel READ Channel WRITE SetChannel NOTIFY SettingsChanged)
    Q_PROPERTY(double LevelMin READ LevelMin WRITE SetLevelMin NOTIFY SettingsChanged)
    Q_PROPERTY(double LevelMax READ LevelMax WRITE SetLevelMax NOTIFY SettingsChanged)
    Q_PROPERTY(double DecibelReference READ DecibelReference WRITE SetDecibelReference NOTIFY SettingsChanged)
    Q_PROPERTY(bool PowerValues READ PowerValues WRITE SetPowerValues NOTIFY SettingsChanged)
    Q_PROPERTY(QString XUnit READ XUnit WRITE SetXUnit NOTIFY AppearanceChanged)
    Q_PROPERTY(QString LevelUnit READ LevelUnit WRITE SetLevelUnit NOTIFY AppearanceChanged)
    Q_PROPERTY(QString Title READ Title WRITE SetTitle NOTIFY AppearanceChanged)
    Q_PROPERTY(bool ColorBar READ ColorBar WRITE SetColorBar NOTIFY AppearanceChanged)
    Q_PROPERTY(bool TimeAxis READ TimeAxis WRITE SetTimeAxis NOTIFY AppearanceChanged)

public:
    /// Rows and columns of the history are capped at this many pixels; a larger area is
    /// drawn scaled.
    static constexpr int MaxImageSide = 4096;

    explicit TQVWaterfall(QWidget *parent = nullptr);
    ~TQVWaterfall() override;

    /// The connected source, or null.
    TQVMeasureSource *MeasureSource() const;
    /// \brief Connects to `source` (null disconnects). A source that is not continuous is
    /// refused: the waterfall ends unconnected and `EQVMSIncompatibleSource` is raised.
    void SetMeasureSource(TQVMeasureSource *source);
    TQVMeasureSource *GetQVMeasureSource() const { return MeasureSource(); }
    void SetQVMeasureSource(TQVMeasureSource *source) { SetMeasureSource(source); }
    /// The write of the published `MeasureSource`: a refused source goes to `ErrorOccurred`.
    void WriteMeasureSource(TQVMeasureSource *source);

    /// The channel shown, 0 to 7 (default 0).
    int Channel() const;
    void SetChannel(int channel);
    /// Level of the darkest colour in dB (default -120); ignored unless finite and below `LevelMax`.
    double LevelMin() const;
    void SetLevelMin(double level);
    /// Level of the lightest colour in dB (default 0); ignored unless finite and above `LevelMin`.
    double LevelMax() const;
    void SetLevelMax(double level);
    /// dB reference (default 1); ignored unless finite and greater than 0.
    double DecibelReference() const;
    void SetDecibelReference(double reference);
    /// The samples are powers (10 log10) rather than amplitudes (20 log10).
    bool PowerValues() const;
    void SetPowerValues(bool power);
    /// Unit after the SI prefix of the x labels (default "Hz").
    QString XUnit() const;
    void SetXUnit(const QString &unit);
    /// Unit of the colour bar's labels (default "dB").
    QString LevelUnit() const;
    void SetLevelUnit(const QString &unit);
    QString Title() const;
    void SetTitle(const QString &title);
    /// The colour bar with its level labels right of the rows (default on).
    bool ColorBar() const;
    void SetColorBar(bool bar);
    /// \brief Time marks left of the rows (default off): at the first row after each
    /// multiple of a step of the clock, a tick and that time ("HH:mm:ss", with tenths for
    /// steps under a second, "HH:mm" for whole minutes). The step is the shortest of 0.1 s,
    /// 0.2 s, 0.5 s, 1 s, 2 s, 5 s, 10 s, 15 s, 30 s, 1, 2, 5, 10, 15, 30 min and 1 h that
    /// keeps marks two text lines apart at the recent block rate.
    bool TimeAxis() const;
    void SetTimeAxis(bool on);

    /// The rows area in widget coordinates; row 0 (the newest) is its top line.
    QRect PlotRect() const;
    /// Blocks drawn since the last clear, at most the number of rows.
    int RowCount() const;
    /// The level in dB of column `column` of row `row` (0 the newest); NaN where there is none.
    double Level(int row, int column) const;
    /// The rows as shown, the newest on top, one pixel per row and column.
    QImage Image() const;
    /// The time mark of row `row` (0 the newest) as shown with `TimeAxis`; empty where none.
    QString TimeMark(int row) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

public slots:
    /// Forgets the rows.
    void Clear();

signals:
    /// A block added a row, or a settings change redrew them.
    void DataChanged();

protected:
    void Paint(QPainter &painter) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void MLOnUpdateSettings(TQVMeasureLink *link);
    void MLOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data);
    void Relayout();
    void Recolour();
    void PaintRows(QPainter &painter, const QRect &dirty);
    void PaintAxes(QPainter &painter);
    void PaintTimeMarks(QPainter &painter, const QRect &dirty);
    void MarkTime(int newRow);

    class PrivateData;
    std::unique_ptr<PrivateData> m_data;
};
