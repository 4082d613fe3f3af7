#pragma once

#include <memory>

#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtGui/QPixmap>

#include "controls/qvLinearScaleControl.h"

/// \brief A display control that shows one value as a filled bar along a vertical or
/// horizontal track, coloured piecewise by a table of up to 16 colour ranges, with scale
/// lines and labels beside it and an optional background picture.
///
/// `SetValue` is the hot path: it repaints at once only the strip between the old and the
/// new end of the bar. Every other property change requests a full repaint. The frame
/// around the bar is `BevelWidth` pixels wide; the panel's own bevels start as none.
class QV_WIDGETS_EXPORT TQVBarGraphInt : public TQVLinearScaleControl
{
    Q_OBJECT
    Q_PROPERTY(int BarWidth READ BarWidth WRITE SetSliderWidth NOTIFY AppearanceChanged)
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
    Q_PROPERTY(double Value READ Value WRITE SetValue NOTIFY ValueChanged)
    Q_PROPERTY(double LabelingGap READ LabelingGap WRITE SetLabelingGap NOTIFY SettingsChanged)
    Q_PROPERTY(QVSI::TSiPrefixesId LabelScientificUnitPosfix READ LabelScientificUnitPosfix WRITE SetLabelScientificUnitPosfix NOTIFY SettingsChanged)
    Q_PROPERTY(QString LabelTextPosfix READ LabelTextPosfix WRITE SetLabelTextPosfix NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 BevelColor1 READ BevelColor1 WRITE SetBevelColor1 NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtBevelColor1 READ QtBevelColor1 WRITE SetQtBevelColor1 NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 BevelColor2 READ BevelColor2 WRITE SetBevelColor2 NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtBevelColor2 READ QtBevelColor2 WRITE SetQtBevelColor2 NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 BarColor READ BarColor WRITE SetBarColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtBarColor READ QtBarColor WRITE SetQtBarColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(QPixmap PictureBackground READ PictureBackground WRITE SetPictureBackground NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVBarKind Kind READ Kind WRITE SetKind NOTIFY AppearanceChanged)
    Q_PROPERTY(QFont LabelingFont READ LabelingFont WRITE SetLabelingFont NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 LabelingFontColor READ LabelingFontColor WRITE SetLabelingFontColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtLabelingFontColor READ QtLabelingFontColor WRITE SetQtLabelingFontColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(TQVLabelingOrientation LabelingOrientation READ LabelingOrientation WRITE SetLabelingOrientation NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVLabelingStyle LabelingStyle READ LabelingStyle WRITE SetLabelingStyle NOTIFY AppearanceChanged)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout NOTIFY AppearanceChanged)
    // The range table as text, for Qt Designer; forms keep it in the custom stream data.
    Q_PROPERTY(QString RangeTable READ RangeTable WRITE SetRangeTable DESIGNABLE true NOTIFY SettingsChanged)
    Q_PROPERTY(bool PeakHold READ PeakHold WRITE SetPeakHold NOTIFY SettingsChanged)
    Q_PROPERTY(int PeakHoldTime READ PeakHoldTime WRITE SetPeakHoldTime NOTIFY SettingsChanged)
    Q_CLASSINFO("FormCustomData", "RangeTable")
    Q_CLASSINFO("FormNumbers", "LabelScientificUnitPosfix")

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

    explicit TQVBarGraphInt(QWidget *parent = nullptr);
    ~TQVBarGraphInt() override;

    int BarWidth() const;
    /// Thickness of the bar across the track.
    void SetSliderWidth(int width);
    void SetBarWidth(int width) { SetSliderWidth(width); }

    /// \brief Shows `value`, clamped to `ValueMin`..`ValueMax`; repaints only the strip
    /// between the old and the new end of the bar, synchronously.
    void SetValue(double value);
    /// \brief Sets both ends without any check, keeps the range limits within them and
    /// repaints; `Value` is not clamped.
    void SetValueParams(double valueMin, double valueMax);

    TQVColor BarColor() const;
    void SetBarColor(TQVColor color);
    QV_QCOLOR_FACE(BarColor)
    QPixmap PictureBackground() const;
    /// Stretched over the background; a null pixmap removes it.
    void SetPictureBackground(const QPixmap &picture);
    TQVBarKind Kind() const;
    /// In the form designer (and not while loading) also swaps width and height.
    void SetKind(TQVBarKind kind);
    TQVLabelingOrientation LabelingOrientation() const;
    void SetLabelingOrientation(TQVLabelingOrientation orientation);
    TQVLabelingStyle LabelingStyle() const;
    void SetLabelingStyle(TQVLabelingStyle style);

    /// \brief Replaces the table as the form reader does: `RangeNumber` becomes the number
    /// of entries, limits are stored as they are (no limit check). Entries beyond 16 are
    /// ignored; an empty list is ignored. Requests a full repaint.
    void SetRanges(const QList<RangeEntry> &ranges);
    /// \brief Stores the values written with the range table directly, without checks,
    /// clamping or limit checks, as the form reader does. Requests a full repaint.
    void SetStreamedValues(double value, double valueMin, double valueMax, double labelingGap);
    /// \brief Stores the range table and the values as the custom property "Range" while
    /// `RangeNumber` > 0; reading keeps at most 16 pairs and drops the rest.
    void DefineProperties(TQVFiler &filer) override;

    /// \brief A peak marker: a line across the bar at the highest value shown since the
    /// marker last moved, in the colour of its range, drawn while it stands above the bar.
    bool PeakHold() const;
    /// Switching it on starts the marker at the present value; off removes it.
    void SetPeakHold(bool hold);
    /// \brief Milliseconds the marker stays before it falls back to the present value
    /// (1500); 0 keeps it until `ResetPeak`. Ignored outside 0 to 3600000.
    int PeakHoldTime() const;
    void SetPeakHoldTime(int milliseconds);
    /// The value the marker holds; NaN without `PeakHold`.
    double Peak() const;
    /// Puts the marker back to the present value.
    void ResetPeak();

    /// The bar's rectangle as last painted, before its frame was drawn.
    QRect BarRect() const;
    /// Zero-thickness rectangle at the current value's end of the bar, from the last
    /// `SetValue` that repainted.
    QRect NewValueRect() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// The smaller of two integers.
    static int min(int a, int b) { return a < b ? a : b; }
    /// The larger of two integers.
    static int max(int a, int b) { return a > b ? a : b; }

signals:
    /// The shown value changed (after `SetValue` stored it).
    void ValueChanged(double value);

protected:
    void paintEvent(QPaintEvent *event) override;
    void Paint(QPainter &painter) override;
    /// Draws the bar: track, frame and the filled colour ranges up to `Value`.
    void PaintSlider(QPainter &painter);
    /// Draws the scale lines and labels beside the bar.
    void PaintLabeling(QPainter &painter);
    /// Repaints at once only the strip between `oldValue`'s and `Value`'s end of the bar.
    void PaintNewValue(double oldValue);

private:
    class PrivateData;

    QRect ValueRect(double value) const;
    /// Repaints the strips of the marker's old place and its new one.
    void RepaintPeak(double old);
    QString LabelFormat() const;

    std::unique_ptr<PrivateData> m_data;
};
