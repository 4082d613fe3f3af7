#pragma once

#include <QtCore/QLocale>
#include <QtGui/QFont>
#include <QtGui/QRegion>

#include <utility>
#include <vector>

#include <functional>

#include <QtCore/QList>
#include <QtGui/QFont>
#include <QtGui/QPixmap>

#include "controls/qvCommon.h"
#include "controls/qvControl.h"
#include "controls/scale/qvScaleDraw.h"

/// \brief An input control: a button dragged (or placed by a click) along a vertical or
/// horizontal track sets a floating-point `Value`, optionally snapped to `ValueStepWidth`.
///
/// The track shows the colour range table; scale lines and labels stand beside it; pictures
/// can replace the track and the button (the mask makes parts of the button transparent).
/// Every accepted value change calls `OnValueChange`, emits `ValueChanged` and repaints only
/// the old and the new button area at once.
class QV_WIDGETS_EXPORT TQVSlider : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(int SliderWidth READ SliderWidth WRITE SetSliderWidth)
    Q_PROPERTY(int ButtonWidth READ ButtonWidth WRITE SetButtonWidth)
    Q_PROPERTY(int ButtonHeight READ ButtonHeight WRITE SetButtonHeight)
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
    Q_PROPERTY(double Value READ Value WRITE SetValue NOTIFY ValueChanged USER true)
    Q_PROPERTY(double ValueStepWidth READ ValueStepWidth WRITE SetValueStepWidth)
    Q_PROPERTY(double LabelingGap READ LabelingGap WRITE SetLabelingGap)
    Q_PROPERTY(int LabelScientificUnitPosfix READ LabelScientificUnitPosfixInt WRITE SetLabelScientificUnitPosfixInt)
    Q_PROPERTY(QString LabelTextPosfix READ LabelTextPosfix WRITE SetLabelTextPosfix)
    Q_PROPERTY(quint32 BevelColor1 READ BevelColor1 WRITE SetBevelColor1)
    Q_PROPERTY(quint32 BevelColor2 READ BevelColor2 WRITE SetBevelColor2)
    Q_PROPERTY(quint32 ButtonColor READ ButtonColor WRITE SetButtonColor)
    Q_PROPERTY(quint32 ButtonBorderColor READ ButtonBorderColor WRITE SetButtonBorderColor)
    Q_PROPERTY(QPixmap PictureSlide READ PictureSlide WRITE SetPictureSlide)
    Q_PROPERTY(QPixmap PictureButton READ PictureButton WRITE SetPictureButton)
    Q_PROPERTY(QPixmap PictureMask READ PictureMask WRITE SetPictureMask)
    Q_PROPERTY(QString ButtonCaption READ ButtonCaption WRITE SetButtonCaption)
    Q_PROPERTY(QFont ButtonFont READ ButtonFont WRITE SetButtonFont)
    Q_PROPERTY(quint32 ButtonFontColor READ ButtonFontColor WRITE SetButtonFontColor)
    Q_PROPERTY(bool ButtonTransparent READ ButtonTransparent WRITE SetButtonTransparent)
    Q_PROPERTY(QFont LabelingFont READ LabelingFont WRITE SetLabelingFont)
    Q_PROPERTY(quint32 LabelingFontColor READ LabelingFontColor WRITE SetLabelingFontColor)
    Q_PROPERTY(bool ReduceFlicker READ ReduceFlicker WRITE SetReduceFlicker)
    Q_PROPERTY(TQVKind Kind READ Kind WRITE SetKind)
    Q_PROPERTY(TLabelingOrientation LabelingOrientation READ LabelingOrientation WRITE SetLabelingOrientation)
    Q_PROPERTY(TLabelingStyle LabelingStyle READ LabelingStyle WRITE SetLabelingStyle)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout)
    // The range table as text, for Qt Designer; forms keep it in the custom stream data.
    Q_PROPERTY(QString RangeTable READ RangeTable WRITE SetRangeTable DESIGNABLE true)
    Q_CLASSINFO("FormCustomData", "RangeTable")

public:
    enum TQVKind : quint8 { sbHorizontal, sbVertical };
    Q_ENUM(TQVKind)
    /// The labelled side: `lboLeft`/`lboAbove` the first (left of a vertical, above a
    /// horizontal track), `lboRight`/`lboBelow` the second.
    enum TLabelingOrientation : quint8 { lboLeft, lboRight, lboAbove, lboBelow };
    Q_ENUM(TLabelingOrientation)
    /// `lbsAsymmetric` moves the track to one side and the labels toward it (labels only).
    enum TLabelingStyle : quint8 { lbsNone, lbsLines, lbsLabels, lbsBoth, lbsSymmetric, lbsAsymmetric };
    Q_ENUM(TLabelingStyle)

    using TRangeEntry = TQVRangeEntry;
    /// The five values the form stream keeps beside the range table.
    struct TStreamDoubles
    {
        double Value = 0.0;
        double ValueMin = 0.0;
        double ValueMax = 100.0;
        double ValueStepWidth = 0.0;
        double LabelingGap = 5.0;
        bool operator==(const TStreamDoubles &) const = default;
    };
    static constexpr int MaxRanges = TQVRangeTable::MaxRanges;

    using TQVNotifyEvent = std::function<void(TQVSlider *sender)>;

    explicit TQVSlider(QWidget *parent = nullptr);
    ~TQVSlider() override;

    int SliderWidth() const { return m_sliderWidth; }
    void SetSliderWidth(int width);
    int ButtonWidth() const { return m_buttonWidth; }
    /// Limited to Width - 2 (vertical) or Height - 2 (horizontal); ignored in the asymmetric
    /// style while a button picture is set.
    void SetButtonWidth(int width);
    int ButtonHeight() const { return m_buttonHeight; }
    void SetButtonHeight(int height);

    int RangeNumber() const { return m_ranges.Number(); }
    /// Accepts 1..16; the last range's limit becomes `ValueMax`.
    void SetRangeNumber(int number);
    int RangeCurrent() const { return m_ranges.Current(); }
    /// Selects the range (1..16) that `RangeLimit` and `RangeColor` address.
    void SetRangeCurrent(int index);
    double RangeLimit() const { return m_ranges.Limit(); }
    void SetRangeLimit(double limit);
    TQVColor RangeColor() const { return m_ranges.Color(); }
    void SetRangeColor(TQVColor color);

    int LabelingDecimals() const { return m_labelingDecimals; }
    void SetLabelingDecimals(int decimals);
    int OffsetLower() const { return m_offsetLower; }
    void SetOffsetLower(int offset);
    int OffsetUpper() const { return m_offsetUpper; }
    void SetOffsetUpper(int offset);

    double Value() const { return m_value; }
    /// Snaps to `ValueStepWidth` (half to even), then clamps to `ValueMin`..`ValueMax`.
    /// An accepted change calls `OnValueChange`, emits `ValueChanged` and repaints the
    /// button area at once.
    void SetValue(double value);
    double ValueMin() const { return m_valueMin; }
    /// Ignored unless strictly below `ValueMax`; `Value` is not clamped.
    void SetValueMin(double value);
    double ValueMax() const { return m_valueMax; }
    /// Ignored unless strictly above `ValueMin`; `Value` is not clamped.
    void SetValueMax(double value);
    double ValueStepWidth() const { return m_valueStepWidth; }
    /// 0 or less switches snapping off; a change re-snaps `Value`.
    void SetValueStepWidth(double step);
    double LabelingGap() const { return m_labelingGap; }
    /// Value distance of two scale lines, > 0. Painting enlarges it when lines would lie
    /// closer than 2 pixels.
    void SetLabelingGap(double gap);

    TSiPrefixesId LabelScientificUnitPosfix() const { return m_labelScientificUnitPosfix; }
    void SetLabelScientificUnitPosfix(TSiPrefixesId id) { m_labelScientificUnitPosfix = id; }
    int LabelScientificUnitPosfixInt() const { return int(m_labelScientificUnitPosfix); }
    void SetLabelScientificUnitPosfixInt(int id);
    QString LabelTextPosfix() const { return m_labelTextPosfix; }
    void SetLabelTextPosfix(const QString &text) { m_labelTextPosfix = text; }

    TQVColor BevelColor1() const { return m_bevelColor1; }
    void SetBevelColor1(TQVColor color);
    TQVColor BevelColor2() const { return m_bevelColor2; }
    void SetBevelColor2(TQVColor color);
    TQVColor ButtonColor() const { return m_buttonColor; }
    void SetButtonColor(TQVColor color);
    TQVColor ButtonBorderColor() const { return m_buttonBorderColor; }
    void SetButtonBorderColor(TQVColor color);

    QPixmap PictureSlide() const { return m_pictureSlide; }
    void SetPictureSlide(const QPixmap &picture);
    QPixmap PictureButton() const { return m_pictureButton; }
    void SetPictureButton(const QPixmap &picture);
    QPixmap PictureMask() const { return m_pictureMask; }
    void SetPictureMask(const QPixmap &picture);

    QString ButtonCaption() const { return m_buttonCaption; }
    void SetButtonCaption(const QString &caption);
    QFont ButtonFont() const { return m_buttonFont; }
    void SetButtonFont(const QFont &font);
    TQVColor ButtonFontColor() const { return m_buttonFontColor; }
    void SetButtonFontColor(TQVColor color);
    bool ButtonTransparent() const { return m_buttonTransparent; }
    void SetButtonTransparent(bool transparent);
    QFont LabelingFont() const { return m_labelingFont; }
    void SetLabelingFont(const QFont &font);
    TQVColor LabelingFontColor() const { return m_labelingFontColor; }
    void SetLabelingFontColor(TQVColor color);

    bool ReduceFlicker() const { return m_reduceFlicker; }
    /// Composes every repaint in an off-screen pixmap and copies it in one step.
    void SetReduceFlicker(bool reduce);
    TQVKind Kind() const { return m_kind; }
    /// At design time (not while loading) also swaps width and height.
    void SetKind(TQVKind kind);
    TLabelingOrientation LabelingOrientation() const { return m_labelingOrientation; }
    void SetLabelingOrientation(TLabelingOrientation orientation);
    TLabelingStyle LabelingStyle() const { return m_labelingStyle; }
    /// `lbsAsymmetric` without a button picture widens the button across the control.
    void SetLabelingStyle(TLabelingStyle style);

    /// The button interior as last painted (the area a press grabs).
    TQVScaleLayout ScaleLayout() const { return m_scaleLayout; }
    /// \brief `slAdaptive` lays the track out beside its measured labels and draws a thumb that
    /// follows the palette, with hover and focus states (see TQVScaleLayout); `slClassic`, the
    /// default, keeps the classic geometry and button.
    void SetScaleLayout(TQVScaleLayout layout);
    /// The adaptive layout of the last full paint (invalid in the classic layout).
    const TQVLinearScaleLayout &AdaptiveLayout() const { return m_layout; }

    QRect ButtonRect() const { return m_buttonRect; }
    /// The track as last painted (the area a click jumps in).
    QRect SlideRect() const { return m_slideRect; }
    /// Label metrics measured by the last paint.
    int LabelWidth() const { return m_labelWidth; }
    int LabelHeight() const { return m_labelHeight; }
    bool Dragging() const { return m_dragging; }

    // Data of the form stream's custom properties: "Ranges" (written when `RangeNumber` > 0),
    // "Doubles" (always written) and the older read-only "Range" (both together). The
    // readers store as they are: no clamping, no limit check.
    /// Ranges 1..`RangeNumber`.
    QList<TRangeEntry> Ranges() const;
    bool HasRangesData() const { return m_ranges.Number() > 0; }
    /// `RangeNumber` becomes the number of entries; entries beyond 16 are dropped.
    void ReadRanges(const QList<TRangeEntry> &ranges);
    TStreamDoubles Doubles() const;
    void ReadDoubles(const TStreamDoubles &values);
    /// The older "Range" property: the range table and the five values.
    void ReadRange(const QList<TRangeEntry> &ranges, const TStreamDoubles &values);
    /// \brief The ranges in use as text for Qt Designer forms: rows `0xCOLOR:limit` joined
    /// by ';' (see `QVRangeTableText`).
    QString RangeTable() const;
    /// \brief Replaces the table from `RangeTable` text, as `ReadRanges` does (empty text
    /// gives no ranges); text with a malformed row leaves the table unchanged.
    void SetRangeTable(const QString &text);
    /// \brief Defines "Ranges" and "Doubles", and the read-only "Range" of older forms;
    /// reading keeps at most 16 pairs and drops the rest.
    void DefineProperties(TQVFiler &filer) override;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// Called on every accepted value change, before `ValueChanged` and the repaint.
    TQVNotifyEvent OnValueChange;

signals:
    void ValueChanged(double value);

protected:
    void Paint(QPainter &painter) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool event(QEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

    void PaintSlideTrack(QPainter &painter);
    void PaintLabeling(QPainter &painter);
    void PaintButton(QPainter &painter);

private:
    TQVScaleLayout m_scaleLayout = slClassic;
    TQVLinearScaleDraw m_scaleDraw;
    TQVLinearScaleLayout m_layout;
    bool m_hover = false; // the mouse is over the thumb (adaptive look)
    bool Adaptive() const { return m_scaleLayout == slAdaptive; }
    TQVLinearScaleSpec ScaleSpec() const;
    int ThumbLength() const;
    int ThumbAcross() const;
    double AdaptiveValueAt(double position) const;
    void PaintThumb(QPainter &painter, const QRect &thumb);
    void SetHover(bool hover);

    bool Vertical() const { return m_kind == sbVertical; }
    int MaxButtonWidth() const;
    void LimitButtonWidth();
    void CheckLimits();
    /// Travel length of the button.
    int Travel() const;
    /// The button rectangle for `value` (travel geometry).
    QRect ButtonGeometry(double value) const;
    /// The whole area the button paints for `value` (wider in the transparent asymmetric style).
    QRect ButtonPaintArea(double value) const;
    void PaintNewValue(double oldValue);
    /// Paints a value repaint from the background cache; false when it cannot.
    bool PaintValueFromBackground(QPainter &painter, const QRegion &region);
    bool ButtonCacheable() const;
    void StartDrag(const QPoint &pos);
    QString FormatLabel(const QString &format, double value) const;
    QString LabelFormat() const;
    int TextWidth8() const;

    int m_sliderWidth = 10;
    int m_buttonWidth = 40;
    int m_buttonHeight = 10;
    int m_labelingDecimals = 1;
    int m_labelWidth = 0;
    int m_labelHeight = 0;
    int m_lastWidth = 0;
    int m_lastHeight = 0;
    int m_offsetLower = 8;
    int m_offsetUpper = 8;
    double m_value = 0.0;
    double m_valueMin = 0.0;
    double m_valueMax = 100.0;
    double m_labelingGap = 5.0;
    double m_valueStepWidth = 0.0;
    double m_dragStartValue = 0.0;
    TQVColor m_bevelColor1 = QVColors::clBtnHighlight;
    TQVColor m_bevelColor2 = QVColors::clBtnShadow;
    TQVColor m_buttonBorderColor = QVColors::clBtnFace;
    TQVColor m_buttonColor = QVColors::clBtnFace;
    TQVColor m_buttonFontColor = QVColors::clBlack;
    TQVColor m_labelingFontColor = QVColors::clBlack;
    QPixmap m_pictureSlide;
    QPixmap m_pictureButton;
    QPixmap m_pictureMask;
    QString m_buttonCaption;
    TQVKind m_kind = sbVertical;
    QFont m_buttonFont;
    bool m_buttonTransparent = false;
    QFont m_labelingFont;
    QRect m_buttonRect;
    QRect m_buttonPaintArea;
    bool m_dragging = false;
    QPoint m_dragStart;
    QPixmap m_offscreen;
    // Everything but the button, as last painted in full; a value change blits from it and
    // draws only the button. Any other paint may have changed the background and drops it.
    QPixmap m_background;
    bool m_backgroundValid = false;
    // The opaque button as last drawn, and its inner rectangle relative to it: a value
    // change blits it instead of drawing the frames again.
    QPixmap m_buttonImage;
    QRect m_buttonImageInner;
    QRect m_valueRegion; // the area a value repaint is painting, else empty
    bool m_reduceFlicker = false;
    TQVRangeTable m_ranges;
    TLabelingOrientation m_labelingOrientation = lboLeft;
    TLabelingStyle m_labelingStyle = lbsNone;
    QRect m_slideRect;
    TSiPrefixesId m_labelScientificUnitPosfix = sipNone;
    QString m_labelTextPosfix;
};
