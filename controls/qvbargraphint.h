#pragma once

#include <array>

#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtGui/QFont>
#include <QtGui/QPixmap>

#include "controls/qvColor.h"
#include "controls/qvCommon.h"
#include "controls/qvControl.h"
#include "controls/scale/qvScaleDraw.h"

/// \brief A display control that shows one value as a filled bar along a vertical or
/// horizontal track, coloured piecewise by a table of up to 16 colour ranges, with scale
/// lines and labels beside it and an optional background picture.
///
/// `SetValue` is the hot path: it repaints at once only the strip between the old and the
/// new end of the bar. Every other property change requests a full repaint. The frame
/// around the bar is `BevelWidth` pixels wide; the panel's own bevels start as none.
class QV_WIDGETS_EXPORT TQVBarGraphInt : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(int BarWidth READ BarWidth WRITE SetSliderWidth)
    Q_PROPERTY(int RangeNumber READ RangeNumber WRITE SetRangeNumber)
    Q_PROPERTY(int RangeCurrent READ RangeCurrent WRITE SetRangeCurrent)
    Q_PROPERTY(double RangeLimit READ RangeLimit WRITE SetRangeLimit)
    Q_PROPERTY(quint32 RangeColor READ RangeColor WRITE SetRangeColor)
    Q_PROPERTY(int LabelingDecimals READ LabelingDecimals WRITE SetLabelingDecimals)
    Q_PROPERTY(int OffsetLower READ OffsetLower WRITE SetOffsetLower)
    Q_PROPERTY(int OffsetUpper READ OffsetUpper WRITE SetOffsetUpper)
    // The ends before the value, and the upper end first: forms and Qt Designer set
    // properties in this order, and the setters refuse what does not fit the current range.
    Q_PROPERTY(double ValueMax READ ValueMax WRITE SetValueMax)
    Q_PROPERTY(double ValueMin READ ValueMin WRITE SetValueMin)
    Q_PROPERTY(double Value READ Value WRITE SetValue)
    Q_PROPERTY(double LabelingGap READ LabelingGap WRITE SetLabelingGap)
    Q_PROPERTY(int LabelScientificUnitPosfix READ LabelScientificUnitPosfix WRITE SetLabelScientificUnitPosfix)
    Q_PROPERTY(QString LabelTextPosfix READ LabelTextPosfix WRITE SetLabelTextPosfix)
    Q_PROPERTY(quint32 BevelColor1 READ BevelColor1 WRITE SetBevelColor1)
    Q_PROPERTY(quint32 BevelColor2 READ BevelColor2 WRITE SetBevelColor2)
    Q_PROPERTY(quint32 BarColor READ BarColor WRITE SetBarColor)
    Q_PROPERTY(QPixmap PictureBackground READ PictureBackground WRITE SetPictureBackground)
    Q_PROPERTY(TQVBarKind Kind READ Kind WRITE SetKind)
    Q_PROPERTY(QFont LabelingFont READ LabelingFont WRITE SetLabelingFont)
    Q_PROPERTY(quint32 LabelingFontColor READ LabelingFontColor WRITE SetLabelingFontColor)
    Q_PROPERTY(TQVLabelingOrientation LabelingOrientation READ LabelingOrientation WRITE SetLabelingOrientation)
    Q_PROPERTY(TQVLabelingStyle LabelingStyle READ LabelingStyle WRITE SetLabelingStyle)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout)
    // The range table as text, for Qt Designer; forms keep it in the custom stream data.
    Q_PROPERTY(QString RangeTable READ RangeTable WRITE SetRangeTable DESIGNABLE true)
    Q_CLASSINFO("FormCustomData", "RangeTable")

public:
    enum TQVBarKind : quint8 { sbHorizontal, sbVertical };
    Q_ENUM(TQVBarKind)
    /// `lboLeft`/`lboAbove` put labels on the first side (left of a vertical bar, above a
    /// horizontal one), `lboRight`/`lboBelow` on the second.
    enum TQVLabelingOrientation : quint8 { lboLeft, lboRight, lboAbove, lboBelow };
    Q_ENUM(TQVLabelingOrientation)
    /// `lbsSymmetric` draws labels and lines on both sides.
    enum TQVLabelingStyle : quint8 { lbsNone, lbsLines, lbsLabels, lbsBoth, lbsSymmetric };
    Q_ENUM(TQVLabelingStyle)

    using RangeEntry = TQVRangeEntry;
    static constexpr int MaxRanges = TQVRangeTable::MaxRanges;

    explicit TQVBarGraphInt(QWidget *parent = nullptr);
    ~TQVBarGraphInt() override;

    int BarWidth() const { return m_barWidth; }
    /// Thickness of the bar across the track.
    void SetSliderWidth(int width);
    void SetBarWidth(int width) { SetSliderWidth(width); }
    int RangeNumber() const { return m_ranges.Number(); }
    /// Accepts 1 to 16; runs `CheckLimits`.
    void SetRangeNumber(int number);
    int RangeCurrent() const { return m_ranges.Current(); }
    /// Accepts 1 to 16, also above `RangeNumber`.
    void SetRangeCurrent(int index);
    /// The limit of range `RangeCurrent`; 0 when that range is not in use.
    double RangeLimit() const { return m_ranges.Limit(); }
    /// Ignored when range `RangeCurrent` is not in use; runs `CheckLimits`.
    void SetRangeLimit(double limit);
    /// The colour of range `RangeCurrent`; 0 when that range is not in use.
    TQVColor RangeColor() const { return m_ranges.Color(); }
    /// Ignored when range `RangeCurrent` is not in use.
    void SetRangeColor(TQVColor color);
    int LabelingDecimals() const { return m_labelingDecimals; }
    void SetLabelingDecimals(int decimals);
    int OffsetLower() const { return m_offsetLower; }
    void SetOffsetLower(int offset);
    int OffsetUpper() const { return m_offsetUpper; }
    void SetOffsetUpper(int offset);

    double Value() const { return m_value; }
    /// \brief Shows `value`, clamped to `ValueMin`..`ValueMax`; repaints only the strip
    /// between the old and the new end of the bar, synchronously.
    void SetValue(double value);
    double ValueMin() const { return m_valueMin; }
    /// Ignored unless below `ValueMax`; does not touch `Value`.
    void SetValueMin(double value);
    double ValueMax() const { return m_valueMax; }
    /// Ignored unless above `ValueMin`; does not touch `Value`.
    void SetValueMax(double value);
    /// \brief Sets both ends without any check, runs `CheckLimits` and repaints; `Value`
    /// is not clamped.
    void SetValueParams(double valueMin, double valueMax);
    double LabelingGap() const { return m_labelingGap; }
    /// Ignored unless greater than 0. Painting enlarges the gap when lines would lie
    /// closer than 2 pixels.
    void SetLabelingGap(double gap);

    TSiPrefixesId LabelScientificUnitPosfix() const { return m_labelPrefix; }
    /// SI prefix that scales the labels; identifiers outside the table are ignored. Takes
    /// effect with the next repaint.
    void SetLabelScientificUnitPosfix(int id);
    QString LabelTextPosfix() const { return m_labelTextPosfix; }
    /// Unit text appended to every label. Takes effect with the next repaint.
    void SetLabelTextPosfix(const QString &text);

    TQVColor BevelColor1() const { return m_bevelColor1; }
    void SetBevelColor1(TQVColor color);
    TQVColor BevelColor2() const { return m_bevelColor2; }
    void SetBevelColor2(TQVColor color);
    TQVColor BarColor() const { return m_barColor; }
    void SetBarColor(TQVColor color);
    QPixmap PictureBackground() const { return m_picture; }
    /// Stretched over the background; a null pixmap removes it.
    void SetPictureBackground(const QPixmap &picture);
    TQVBarKind Kind() const { return m_kind; }
    /// In the form designer (and not while loading) also swaps width and height.
    void SetKind(TQVBarKind kind);
    QFont LabelingFont() const { return m_labelingFont; }
    void SetLabelingFont(const QFont &font);
    TQVColor LabelingFontColor() const { return m_labelingFontColor; }
    void SetLabelingFontColor(TQVColor color);
    TQVLabelingOrientation LabelingOrientation() const { return m_labelingOrientation; }
    void SetLabelingOrientation(TQVLabelingOrientation orientation);
    TQVLabelingStyle LabelingStyle() const { return m_labelingStyle; }
    void SetLabelingStyle(TQVLabelingStyle style);

    TQVScaleLayout ScaleLayout() const { return m_scaleLayout; }
    /// \brief `slAdaptive` lays the bar out beside its measured labels (see TQVScaleLayout);
    /// `slClassic`, the default, keeps the classic geometry.
    void SetScaleLayout(TQVScaleLayout layout);
    /// The adaptive layout of the last full paint (invalid in the classic layout).
    const TQVLinearScaleLayout &AdaptiveLayout() const { return m_layout; }

    /// \brief The ranges in use (1..`RangeNumber`), for the form writer.
    QList<RangeEntry> Ranges() const;
    /// \brief Replaces the table as the form reader does: `RangeNumber` becomes the number
    /// of entries, limits are stored as they are (no `CheckLimits`). Entries beyond 16 are
    /// ignored; an empty list is ignored. Requests a full repaint.
    void SetRanges(const QList<RangeEntry> &ranges);
    /// \brief Stores the values written with the range table directly, without checks,
    /// clamping or `CheckLimits`, as the form reader does. Requests a full repaint.
    void SetStreamedValues(double value, double valueMin, double valueMax, double labelingGap);
    /// \brief The ranges in use as text for Qt Designer forms: rows `0xCOLOR:limit` joined
    /// by ';' (see `QVRangeTableText`).
    QString RangeTable() const;
    /// \brief Replaces the table from `RangeTable` text, as `SetRanges` does; text with a
    /// malformed row, and empty text, leave the table unchanged.
    void SetRangeTable(const QString &text);
    /// \brief Stores the range table and the values as the custom property "Range" while
    /// `RangeNumber` > 0; reading keeps at most 16 pairs and drops the rest.
    void DefineProperties(TQVFiler &filer) override;

    /// The bar's rectangle as last painted, before its frame was drawn.
    QRect BarRect() const { return m_barRect; }
    /// Zero-thickness rectangle at the current value's end of the bar, from the last
    /// `SetValue` that repainted.
    QRect NewValueRect() const { return m_newValueRect; }
    /// Width of the last label measured while painting.
    int LabelWidth() const { return m_labelWidth; }
    /// Height of the labeling font, measured while painting.
    int LabelHeight() const { return m_labelHeight; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// The smaller of two integers.
    static int min(int a, int b) { return a < b ? a : b; }
    /// The larger of two integers.
    static int max(int a, int b) { return a > b ? a : b; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void Paint(QPainter &painter) override;
    /// Draws the bar: track, frame and the filled colour ranges up to `Value`.
    void PaintSlider(QPainter &painter);
    /// Draws the scale lines and labels beside the bar.
    void PaintLabeling(QPainter &painter);
    /// Repaints at once only the strip between `oldValue`'s and `Value`'s end of the bar.
    void PaintNewValue(double oldValue);
    /// Keeps every range limit within `ValueMin`..`ValueMax`; the last one becomes `ValueMax`.
    void CheckLimits();

private:
    void UpdateAccessibleValue();
    QRect ValueRect(double value) const;
    QString LabelFormat() const;
    TQVLinearScaleSpec ScaleSpec() const;
    bool Adaptive() const { return m_scaleLayout == slAdaptive; }

    int m_barWidth = 10;
    int m_labelingDecimals = 1;
    int m_labelWidth = 0;
    int m_labelHeight = 0;
    int m_offsetLower = 8;
    int m_offsetUpper = 8;
    double m_value = 0.0;
    double m_valueMin = 0.0;
    double m_valueMax = 100.0;
    double m_labelingGap = 5.0;
    TQVColor m_bevelColor1 = QVColors::clBtnHighlight;
    TQVColor m_bevelColor2 = QVColors::clBtnShadow;
    TQVColor m_barColor = QVColors::clBtnFace;
    QPixmap m_picture;
    QPixmap m_scaledPicture;
    TQVBarKind m_kind = sbVertical;
    QFont m_labelingFont;
    TQVColor m_labelingFontColor = QVColors::clBlack;
    QRect m_newValueRect;
    TQVRangeTable m_ranges;
    TQVLabelingOrientation m_labelingOrientation = lboLeft;
    TQVLabelingStyle m_labelingStyle = lbsNone;
    QRect m_barRect;
    TSiPrefixesId m_labelPrefix = sipNone;
    QString m_labelTextPosfix;
    // The strip of the value repaint in progress; a paint event inside it draws the bar only.
    QRect m_valueStrip;
    TQVScaleLayout m_scaleLayout = slClassic;
    TQVLinearScaleDraw m_scaleDraw;
    TQVLinearScaleLayout m_layout;
};
