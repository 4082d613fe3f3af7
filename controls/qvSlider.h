#pragma once

#include <functional>
#include <memory>

#include <QtCore/QList>
#include <QtGui/QFont>
#include <QtGui/QPixmap>

#include "controls/qvLinearScaleControl.h"

/// \brief An input control: a button dragged (or placed by a click) along a vertical or
/// horizontal track sets a floating-point `Value`, optionally snapped to `ValueStepWidth`.
///
/// The track shows the colour range table; scale lines and labels stand beside it; pictures
/// can replace the track and the button (the mask makes parts of the button transparent).
/// Every accepted value change calls `OnValueChange`, emits `ValueChanged` and repaints only
/// the old and the new button area at once.
class QV_WIDGETS_EXPORT TQVSlider : public TQVLinearScaleControl
{
    Q_OBJECT
    Q_PROPERTY(int SliderWidth READ SliderWidth WRITE SetSliderWidth NOTIFY AppearanceChanged)
    Q_PROPERTY(int ButtonWidth READ ButtonWidth WRITE SetButtonWidth NOTIFY AppearanceChanged)
    Q_PROPERTY(int ButtonHeight READ ButtonHeight WRITE SetButtonHeight NOTIFY AppearanceChanged)
    Q_PROPERTY(int RangeNumber READ RangeNumber WRITE SetRangeNumber NOTIFY SettingsChanged)
    Q_PROPERTY(int RangeCurrent READ RangeCurrent WRITE SetRangeCurrent NOTIFY SettingsChanged)
    Q_PROPERTY(double RangeLimit READ RangeLimit WRITE SetRangeLimit NOTIFY SettingsChanged)
    Q_PROPERTY(quint32 RangeColor READ RangeColor WRITE SetRangeColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtRangeColor READ QtRangeColor WRITE SetQtRangeColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(int LabelingDecimals READ LabelingDecimals WRITE SetLabelingDecimals NOTIFY SettingsChanged)
    Q_PROPERTY(int OffsetLower READ OffsetLower WRITE SetOffsetLower NOTIFY AppearanceChanged)
    Q_PROPERTY(int OffsetUpper READ OffsetUpper WRITE SetOffsetUpper NOTIFY AppearanceChanged)
    // The ends before the value, and the upper end first: forms and Qt Designer set
    // properties in this order, and the setters refuse what does not fit the current range.
    Q_PROPERTY(double ValueMax READ ValueMax WRITE SetValueMax NOTIFY SettingsChanged)
    Q_PROPERTY(double ValueMin READ ValueMin WRITE SetValueMin NOTIFY SettingsChanged)
    Q_PROPERTY(double Value READ Value WRITE SetValue NOTIFY ValueChanged USER true)
    Q_PROPERTY(double ValueStepWidth READ ValueStepWidth WRITE SetValueStepWidth NOTIFY SettingsChanged)
    Q_PROPERTY(double LabelingGap READ LabelingGap WRITE SetLabelingGap NOTIFY SettingsChanged)
    Q_PROPERTY(QVSI::TSiPrefixesId LabelScientificUnitPosfix READ LabelScientificUnitPosfix WRITE SetLabelScientificUnitPosfix NOTIFY SettingsChanged)
    Q_PROPERTY(QString LabelTextPosfix READ LabelTextPosfix WRITE SetLabelTextPosfix NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 BevelColor1 READ BevelColor1 WRITE SetBevelColor1 NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtBevelColor1 READ QtBevelColor1 WRITE SetQtBevelColor1 NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 BevelColor2 READ BevelColor2 WRITE SetBevelColor2 NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtBevelColor2 READ QtBevelColor2 WRITE SetQtBevelColor2 NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 ButtonColor READ ButtonColor WRITE SetButtonColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtButtonColor READ QtButtonColor WRITE SetQtButtonColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 ButtonBorderColor READ ButtonBorderColor WRITE SetButtonBorderColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtButtonBorderColor READ QtButtonBorderColor WRITE SetQtButtonBorderColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(QPixmap PictureSlide READ PictureSlide WRITE SetPictureSlide NOTIFY AppearanceChanged)
    Q_PROPERTY(QPixmap PictureButton READ PictureButton WRITE SetPictureButton NOTIFY AppearanceChanged)
    Q_PROPERTY(QPixmap PictureMask READ PictureMask WRITE SetPictureMask NOTIFY AppearanceChanged)
    Q_PROPERTY(QString ButtonCaption READ ButtonCaption WRITE SetButtonCaption NOTIFY AppearanceChanged)
    Q_PROPERTY(QFont ButtonFont READ ButtonFont WRITE SetButtonFont NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 ButtonFontColor READ ButtonFontColor WRITE SetButtonFontColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtButtonFontColor READ QtButtonFontColor WRITE SetQtButtonFontColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(bool ButtonTransparent READ ButtonTransparent WRITE SetButtonTransparent NOTIFY AppearanceChanged)
    Q_PROPERTY(QFont LabelingFont READ LabelingFont WRITE SetLabelingFont NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 LabelingFontColor READ LabelingFontColor WRITE SetLabelingFontColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtLabelingFontColor READ QtLabelingFontColor WRITE SetQtLabelingFontColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(bool ReduceFlicker READ ReduceFlicker WRITE SetReduceFlicker NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVKind Kind READ Kind WRITE SetKind NOTIFY AppearanceChanged)
    Q_PROPERTY(TLabelingOrientation LabelingOrientation READ LabelingOrientation WRITE SetLabelingOrientation NOTIFY AppearanceChanged)
    Q_PROPERTY(TLabelingStyle LabelingStyle READ LabelingStyle WRITE SetLabelingStyle NOTIFY AppearanceChanged)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout NOTIFY AppearanceChanged)
    // The range table as text, for Qt Designer; forms keep it in the custom stream data.
    Q_PROPERTY(QString RangeTable READ RangeTable WRITE SetRangeTable DESIGNABLE true NOTIFY SettingsChanged)
    Q_CLASSINFO("FormCustomData", "RangeTable")
    Q_CLASSINFO("FormNumbers", "LabelScientificUnitPosfix")

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

    using TQVNotifyEvent = std::function<void(TQVSlider *sender)>;

    explicit TQVSlider(QWidget *parent = nullptr);
    ~TQVSlider() override;

    int SliderWidth() const;
    void SetSliderWidth(int width);
    int ButtonWidth() const;
    /// Limited to Width - 2 (vertical) or Height - 2 (horizontal); ignored in the asymmetric
    /// style while a button picture is set.
    void SetButtonWidth(int width);
    int ButtonHeight() const;
    void SetButtonHeight(int height);

    /// Snaps to `ValueStepWidth` (half to even), then clamps to `ValueMin`..`ValueMax`.
    /// An accepted change calls `OnValueChange`, emits `ValueChanged` and repaints the
    /// button area at once.
    void SetValue(double value);
    double ValueStepWidth() const;
    /// 0 or less switches snapping off; a change re-snaps `Value`.
    void SetValueStepWidth(double step);

    TQVColor ButtonColor() const;
    void SetButtonColor(TQVColor color);
    QV_QCOLOR_FACE(ButtonColor)
    TQVColor ButtonBorderColor() const;
    void SetButtonBorderColor(TQVColor color);
    QV_QCOLOR_FACE(ButtonBorderColor)

    QPixmap PictureSlide() const;
    void SetPictureSlide(const QPixmap &picture);
    QPixmap PictureButton() const;
    void SetPictureButton(const QPixmap &picture);
    QPixmap PictureMask() const;
    void SetPictureMask(const QPixmap &picture);

    QString ButtonCaption() const;
    void SetButtonCaption(const QString &caption);
    QFont ButtonFont() const;
    void SetButtonFont(const QFont &font);
    TQVColor ButtonFontColor() const;
    void SetButtonFontColor(TQVColor color);
    QV_QCOLOR_FACE(ButtonFontColor)
    bool ButtonTransparent() const;
    void SetButtonTransparent(bool transparent);

    bool ReduceFlicker() const;
    /// Composes every repaint in an off-screen pixmap and copies it in one step.
    void SetReduceFlicker(bool reduce);
    TQVKind Kind() const;
    /// At design time (not while loading) also swaps width and height.
    void SetKind(TQVKind kind);
    TLabelingOrientation LabelingOrientation() const;
    void SetLabelingOrientation(TLabelingOrientation orientation);
    TLabelingStyle LabelingStyle() const;
    /// `lbsAsymmetric` without a button picture widens the button across the control.
    void SetLabelingStyle(TLabelingStyle style);

    /// The button interior as last painted (the area a press grabs).
    QRect ButtonRect() const;
    /// The track as last painted (the area a click jumps in).
    QRect SlideRect() const;
    /// Whether the left button holds the thumb (between `SliderPressed` and `SliderReleased`).
    bool Dragging() const;

    // Data of the form stream's custom properties: "Ranges" (written when `RangeNumber` > 0),
    // "Doubles" (always written) and the older read-only "Range" (both together). The
    // readers store as they are: no clamping, no limit check.
    bool HasRangesData() const { return RangeNumber() > 0; }
    /// `RangeNumber` becomes the number of entries; entries beyond 16 are dropped.
    void ReadRanges(const QList<TRangeEntry> &ranges) { AssignRanges(ranges); }
    TStreamDoubles Doubles() const;
    void ReadDoubles(const TStreamDoubles &values);
    /// The older "Range" property: the range table and the five values.
    void ReadRange(const QList<TRangeEntry> &ranges, const TStreamDoubles &values);
    /// \brief Defines "Ranges" and "Doubles", and the read-only "Range" of older forms;
    /// reading keeps at most 16 pairs and drops the rest.
    void DefineProperties(TQVFiler &filer) override;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// Called on every accepted value change, before `ValueChanged` and the repaint.
    TQVNotifyEvent OnValueChange;

signals:
    void ValueChanged(double value);
    /// After `ValueChanged`, when the user changed the value (mouse, keys), not a call
    /// or a stream: what a host sends on to the hardware, without echoing its own writes.
    void ValueEdited(double value);
    /// A press of the left button started a drag (after the jump of a press beside the
    /// thumb, which is an edit of its own); `Dragging()` is true from here on.
    void SliderPressed();
    /// The drag ended: the moment to apply a value that is costly to change.
    void SliderReleased();

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
    void ScaleLayoutChanged() override;

    void PaintSlideTrack(QPainter &painter);
    void PaintLabeling(QPainter &painter);
    void PaintButton(QPainter &painter);

private:
    class PrivateData;

    int ThumbLength() const;
    int ThumbAcross() const;
    double AdaptiveValueAt(double position) const;
    void PaintThumb(QPainter &painter, const QRect &thumb);
    void PaintCachedThumb(QPainter &painter, const QRect &thumb);
    void SetHover(bool hover);
    int MaxButtonWidth() const;
    /// Keeps `ButtonWidth` within what fits; true when that changed it.
    bool LimitButtonWidth();
    /// Travel length of the button.
    int Travel() const;
    /// The button rectangle for `value` (travel geometry).
    QRect ButtonGeometry(double value) const;
    /// The whole area the button paints for `value` (wider in the transparent asymmetric style).
    QRect ButtonPaintArea(double value) const;
    void PaintNewValue();
    /// Paints a value repaint from the background cache; false when it cannot.
    bool PaintValueFromBackground(QPainter &painter, const QRegion &region);
    bool ButtonCacheable() const;
    void StartDrag(const QPoint &pos);
    void EditValue(double value);
    QString FormatLabel(const QString &format, double value) const;
    QString LabelFormat() const;
    int TextWidth8() const;

    std::unique_ptr<PrivateData> m_data;
};
