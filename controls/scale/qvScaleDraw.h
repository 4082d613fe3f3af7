#pragma once

#include <utility>
#include <vector>

#include <QtCore/QLineF>
#include <QtCore/QLocale>
#include <QtCore/QRect>
#include <QtCore/QRectF>
#include <QtCore/QString>
#include <QtGui/QColor>
#include <QtGui/QFont>

#include "controls/qvColor.h"
#include "controls/scale/qvScaleEngine.h"
#include "framework/qvGlobal.h"

class QPainter;

/// \brief What a linear scale shows: its value range, tick gap, label texts and where labels go.
struct TQVLinearScaleSpec
{
    bool Vertical = true;
    double ValueMin = 0.0;
    double ValueMax = 100.0;
    double Gap = 5.0;     ///< value distance between two lines
    int Decimals = 1;     ///< label decimals
    int DefaultDecimals = 1; ///< the control's own default; the adaptive layout uses the step's decimals while `Decimals` has it
    int PrefixId = 0;     ///< SI prefix of the labels
    QString Suffix;       ///< unit text after each label
    QLocale Locale;
    QFont Font;
    QColor Ink;           ///< labels and lines
    bool FirstSide = true;   ///< labels left of a vertical, above a horizontal scale
    bool SecondSide = false; ///< labels right of a vertical, below a horizontal scale
    bool Labels = false;
    bool Lines = false;
    bool Symmetric = false;  ///< lines only between labels and bar, on both sides

    /// \brief Sides, labels and lines from a labelling style and orientation as the bar graph and
    /// the slider number them: styles none, lines, labels, both, symmetric, asymmetric (labels);
    /// orientations left, right, above, below (left and above are the first side).
    void SetStyle(int labelingStyle, int orientation);
    /// \brief The ink of labels and lines: `color` resolved against `palette`; in the adaptive
    /// layout the default black follows the palette's text colour, so labels stay legible.
    void SetInk(TQVColor color, const QPalette &palette, bool adaptive);
};

/// \brief The classic geometry of a linear scale: the scale area in which `ValueMin`..`ValueMax`
/// map onto pixels, the box across the track that lines stop at, and the label placement of the
/// asymmetric slider style.
struct TQVClassicLinearGeometry
{
    QRect Area;           ///< left, top, right, bottom as edges (right and bottom exclusive)
    QSize Widget;         ///< the control's size
    int BarThickness = 10; ///< bar or track thickness, centred across the control
    bool Asymmetric = false; ///< labels move toward an off-centre track
    int Width8 = 0;          ///< text width of "8" in the label font (asymmetric only)
};

/// \brief One measured label of an adaptive scale.
struct TQVScaleLabelBox
{
    QRectF Box;
    QString Text;
};

/// \brief An adaptive linear scale laid out in a rectangle: the bar or track, the ticks and the
/// labels beside it, none of which overlap, all inside the rectangle.
struct TQVLinearScaleLayout
{
    QRect Track;                      ///< the bar or track
    double Lower = 0.0, Upper = 0.0;  ///< pixel positions of `ValueMin` and `ValueMax` along the scale
    std::vector<std::pair<QLineF, bool>> Ticks; ///< tick lines, major flag
    std::vector<TQVScaleLabelBox> Labels;
    QFont Font;
    double Pen = 1.0;                 ///< tick pen width
    bool IsValid() const { return Track.isValid(); }
    /// The pixel position along the scale of `value` (unclamped).
    double PositionOf(double value, double valueMin, double valueMax) const;
};

/// \brief Painter-only drawing of linear scales (bar graph and slider): the classic labelling, and
/// the adaptive layout with its painting. Keeps the label texts of the last scale, so that a
/// partial repaint does not format them again.
class QV_WIDGETS_EXPORT TQVLinearScaleDraw
{
public:
    struct TClassicResult
    {
        double Gap = 0.0;   ///< the gap after the guard (lines at least 2 pixels apart)
        int LabelWidth = 0; ///< width of the last label measured
        int LabelHeight = 0;
    };

    /// \brief Paints labels and lines the classic way into `geometry.Area`; returns the guarded gap,
    /// which the control keeps as its own. Nothing for an unusable range or area.
    TClassicResult PaintClassic(QPainter &painter, const TQVLinearScaleSpec &scale,
                                const TQVClassicLinearGeometry &geometry);

    /// \brief Lays out an adaptive scale in `bounds`: a track `thickness` pixels across, whose ends
    /// keep at least `marginLower` and `marginUpper` pixels from the ends of `bounds` and lie `inset`
    /// pixels beyond the ends of the scale (the slider's half button). The label font follows the
    /// size of `bounds`, up to one and a half times `scale.Font`.
    static TQVLinearScaleLayout LayoutAdaptive(const TQVLinearScaleSpec &scale, const QRect &bounds, int thickness,
                                               int inset, int marginLower, int marginUpper);
    /// \brief The size an adaptive scale wants (`minimum` false) or needs at least (`minimum` true)
    /// with a track `thickness` pixels across and `inset` pixels beyond each end of the scale.
    static QSize AdaptiveSizeHint(const TQVLinearScaleSpec &scale, int thickness, int inset, bool minimum);
    /// Paints the ticks and labels of `layout` (not the track).
    static void PaintAdaptive(QPainter &painter, const TQVLinearScaleLayout &layout, const QColor &ink);

    /// Forgets the cached label texts.
    void Invalidate() { m_labels.clear(); m_key = {}; }

private:
    struct TLabelKey
    {
        double First = 0, Step = 0, Last = 0;
        QString Format, Suffix;
        int PrefixId = 0;
        QFont Font;
        QLocale Locale;
        bool operator==(const TLabelKey &) const = default;
    };
    TLabelKey m_key;
    std::vector<std::pair<QString, int>> m_labels;
};

/// \brief What a round scale shows: its arc (degrees, 0 straight up, clockwise), value range,
/// tick gap, label texts, and how much of its room the scale takes.
struct TQVRoundScaleSpec
{
    double Angle1 = -120.0;
    double Angle2 = 120.0;
    double ValueMin = 0.0;
    double ValueMax = 10.0;
    double Gap = 1.0;      ///< the user's tick gap; minor ticks are never finer
    int Decimals = 0;
    int DefaultDecimals = 0;
    int PrefixId = 0; ///< SI prefix of the labels, its symbol right after the number ("50k")
    QLocale Locale;
    QFont Font;
    bool Labels = true;
    bool LabelsInside = false;
    bool Ticks = true;
    double ScalePercent = 100.0; ///< radius relative to the room there is
    double BandPercent = 10.0;   ///< width of the scale band, percent of the radius
    double ShiftX = 0.0;         ///< centre shift, percent of the width
    double ShiftY = 0.0;         ///< centre shift, percent of the height
    double HubFraction = 0.08;   ///< room kept around the centre, relative to the radius
};

/// \brief An adaptive round scale laid out in a rectangle: the arc sized to the bounding box of
/// its angles and labels, with float geometry so that it stays smooth at any pixel ratio.
struct TQVRoundScaleLayout
{
    QPointF Centre;
    double Outer = 0.0, Inner = 0.0;
    double Angle1 = 0.0, Angle2 = 0.0, ValueMin = 0.0, ValueMax = 1.0;
    std::vector<std::pair<QLineF, bool>> Ticks;
    std::vector<TQVScaleLabelBox> Labels;
    QFont Font;
    double Pen = 1.0;
    bool Valid = false;
    /// The angle of `value`, clamped to the scale.
    double AngleOf(double value) const;
};

/// \brief Painter-only drawing of round scales (meter and dial).
class QV_WIDGETS_EXPORT TQVRoundScaleDraw
{
public:
    /// One coloured band of the scale: values `From`..`To`.
    struct TBand
    {
        double From, To;
        QColor Color;
    };
    /// \brief Lays out an adaptive round scale in `bounds`: the largest arc whose labels, ticks and
    /// centre fit, the label font following the size.
    static TQVRoundScaleLayout LayoutAdaptive(const TQVRoundScaleSpec &scale, const QRect &bounds);
    /// Paints the bands (clamped to the scale), the edge arc, ticks and labels of `layout`.
    static void PaintAdaptive(QPainter &painter, const TQVRoundScaleLayout &layout, const std::vector<TBand> &bands,
                              const QColor &ink);

private:
    static TQVRoundScaleLayout Layout(const TQVRoundScaleSpec &scale, const QRect &bounds);
};

/// \brief One axis of a plot for the adaptive plot layout.
struct TQVPlotAxisInfo
{
    double ValueMin = 0.0;
    double ValueMax = 1.0;
    bool Log = false;    ///< positions along log10 (needs `ValueMin` > 0; no division otherwise)
    bool Prefix = true;  ///< the labels read in an SI prefix of the unit (off for dB)
    QString Unit;
    QLocale Locale;
    /// \brief The position of `value` between `from` (at `ValueMin`) and `to` (at `ValueMax`),
    /// also where a difference of the ends overflows; NaN where a log axis has no place for it.
    double Position(double value, double from, double to) const;
    bool operator==(const TQVPlotAxisInfo &) const = default;
};

/// \brief Plot axes laid out in a rectangle: the plot area beside its measured labels, ticks
/// outside its frame, labels clear of each other and of the plot area, all inside the rectangle.
struct TQVPlotAxesLayout
{
    QRect Plot;                                 ///< inside the frame
    int Frame = 1;                              ///< frame width around `Plot`
    TQVScaleDivision X, Y;
    std::vector<std::pair<QLineF, bool>> Ticks; ///< tick lines of both axes, major flag
    std::vector<TQVScaleLabelBox> Labels;       ///< the x labels, then the y labels
    QFont Font;
    double Pen = 1.0;                           ///< tick and frame pen width
    bool IsValid() const { return Plot.isValid(); }
};

/// \brief The label font of an adaptive plot of `size`: `font` grown or shrunk with the size
/// (its own size at 400 × 250), between 7 points (or the user's size when smaller) and one and
/// a half times the user's size.
QV_WIDGETS_EXPORT QFont QVAdaptivePlotFont(const QFont &font, const QSize &size);

/// \brief Lays out plot axes in `bounds`: y labels left of the plot area, x labels below it, the
/// upper y label and the end x labels inside `bounds`. The font gives way by up to two points
/// where the plot area would get too small for it.
QV_WIDGETS_EXPORT TQVPlotAxesLayout QVLayoutPlotAxes(const TQVPlotAxisInfo &x, const TQVPlotAxisInfo &y,
                                                     const QFont &font, const QRect &bounds);

/// \brief The size plot axes want (`minimum` false) or need (`minimum` true) in `font`: their
/// label bands and a plot area of 4 × 2.5 (24 × 12) label lines.
QV_WIDGETS_EXPORT QSize QVPlotAxesSizeHint(const TQVPlotAxisInfo &x, const TQVPlotAxisInfo &y, const QFont &font,
                                           bool minimum);

/// \brief Paints frame, ticks and labels of `layout` in `ink`, snapped to the device pixels of
/// `painter`.
QV_WIDGETS_EXPORT void QVPaintPlotAxes(QPainter &painter, const TQVPlotAxesLayout &layout, const QColor &ink);

/// \brief `rect` with its edges on device pixels of a device with pixel ratio `dpr`, at least one
/// device pixel across: crisp fills at any ratio.
QV_WIDGETS_EXPORT QRectF QVSnapToDevice(const QRectF &rect, double dpr);
