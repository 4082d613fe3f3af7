#pragma once

#include <memory>

#include <QtCore/QList>
#include <QtGui/QFont>

#include "controls/qvCommon.h"
#include "controls/qvControl.h"
#include "controls/scale/qvScaleDraw.h"

class TQVLinearScaleControlPrivate;

/// \brief The common base of the bar graph and the slider: a value on a straight track between
/// `ValueMin` and `ValueMax`, coloured by a range table, with a linear scale of lines and labels
/// beside it in the classic or the adaptive layout.
///
/// The base owns the value range, the range table, the scale's texts, font, colours and offsets,
/// and their setters; the derived class publishes them as properties in its own order (forms
/// store properties in declaration order), sets the value with its own rules and paints the
/// track. The two differ in a few acceptance rules, passed as `TQVLinearScaleRules`.
class QV_WIDGETS_EXPORT TQVLinearScaleControl : public TQVCustomPanel
{
    Q_OBJECT

public:
    using TQVScaleLayout = QVScale::TQVScaleLayout;
    using RangeEntry = TQVRangeEntry;
    static constexpr int MaxRanges = TQVRangeTable::MaxRanges;

    /// The acceptance rules in which the bar graph and the slider differ.
    struct TQVLinearScaleRules
    {
        bool NonNegativeOffsets = false; ///< offsets below 0 are ignored
        bool FiniteGapOnly = false;      ///< an infinite `LabelingGap` is ignored
        bool EmptyTableClears = false;   ///< an empty `RangeTable` text empties the table
        TQVColor FirstRangeColor = QVColors::clBlack;
    };

    ~TQVLinearScaleControl() override;

    int RangeNumber() const;
    /// Accepts 1 to 16; keeps the limits within the value range.
    void SetRangeNumber(int number);
    int RangeCurrent() const;
    /// Selects the range (1 to 16, also above `RangeNumber`) that `RangeLimit` and
    /// `RangeColor` address.
    void SetRangeCurrent(int index);
    /// The limit of range `RangeCurrent`; 0 when that range is not in use.
    double RangeLimit() const;
    /// Ignored when range `RangeCurrent` is not in use; keeps the limits within the value range.
    void SetRangeLimit(double limit);
    /// The colour of range `RangeCurrent`; 0 when that range is not in use.
    TQVColor RangeColor() const;
    /// Ignored when range `RangeCurrent` is not in use.
    void SetRangeColor(TQVColor color);
    QV_QCOLOR_FACE(RangeColor)
    /// The ranges in use (1..`RangeNumber`), for the form writer.
    QList<RangeEntry> Ranges() const;
    /// \brief The ranges in use as text for Qt Designer forms: rows `0xCOLOR:limit` joined by
    /// ';' (see `QVRangeTableText`).
    QString RangeTable() const;
    /// \brief Replaces the table from `RangeTable` text as the form reader does (no limit
    /// checks); text with a malformed row leaves the table unchanged.
    void SetRangeTable(const QString &text);

    int LabelingDecimals() const;
    void SetLabelingDecimals(int decimals);
    int OffsetLower() const;
    void SetOffsetLower(int offset);
    int OffsetUpper() const;
    void SetOffsetUpper(int offset);

    double Value() const;
    double ValueMin() const;
    /// Ignored unless strictly below `ValueMax`; `Value` is not clamped.
    void SetValueMin(double value);
    double ValueMax() const;
    /// Ignored unless strictly above `ValueMin`; `Value` is not clamped.
    void SetValueMax(double value);
    double LabelingGap() const;
    /// Value distance of two scale lines, ignored unless greater than 0. Painting the classic
    /// layout enlarges it when lines would lie closer than 2 pixels.
    void SetLabelingGap(double gap);

    TSiPrefixesId LabelScientificUnitPosfix() const;
    /// SI prefix that scales the labels; identifiers outside the table are ignored.
    void SetLabelScientificUnitPosfix(int id);
    QString LabelTextPosfix() const;
    /// Unit text appended to every label.
    void SetLabelTextPosfix(const QString &text);

    TQVColor BevelColor1() const;
    void SetBevelColor1(TQVColor color);
    QV_QCOLOR_FACE(BevelColor1)
    TQVColor BevelColor2() const;
    void SetBevelColor2(TQVColor color);
    QV_QCOLOR_FACE(BevelColor2)
    QFont LabelingFont() const;
    void SetLabelingFont(const QFont &font);
    TQVColor LabelingFontColor() const;
    void SetLabelingFontColor(TQVColor color);
    QV_QCOLOR_FACE(LabelingFontColor)

    TQVScaleLayout ScaleLayout() const;
    /// \brief `slAdaptive` lays the track out beside its measured labels (see TQVScaleLayout);
    /// `slClassic`, the default, keeps the classic geometry.
    void SetScaleLayout(TQVScaleLayout layout);
    /// The adaptive layout of the last full paint (invalid in the classic layout).
    const TQVLinearScaleLayout &AdaptiveLayout() const;

    /// Width of the last label measured while painting.
    int LabelWidth() const;
    /// Height of the labeling font, measured while painting.
    int LabelHeight() const;

protected:
    TQVLinearScaleControl(const TQVLinearScaleRules &rules, QWidget *parent);

    /// The shared state, for the derived class's painting and stream code.
    TQVLinearScaleControlPrivate &Scale() { return *m_scale; }
    const TQVLinearScaleControlPrivate &Scale() const { return *m_scale; }

    /// Replaces the table as the form reader does: `RangeNumber` becomes the number of entries
    /// (beyond 16 dropped), limits are stored as they are. Requests a full repaint.
    void AssignRanges(const QList<RangeEntry> &ranges);
    /// Keeps every range limit within `ValueMin`..`ValueMax`; the last one becomes `ValueMax`.
    void CheckLimits();
    /// The scale as the scale draw needs it.
    TQVLinearScaleSpec ScaleSpec() const;
    /// The track's direction, the labelled side and the labelling style, as the derived class's
    /// enumerations (0 horizontal, 1 vertical; sides and styles in the order of the bar graph's).
    int KindValue() const;
    int OrientationValue() const;
    int StyleValue() const;
    bool Vertical() const { return KindValue() == 1; }
    /// Store a new direction, side or style (at most `maxStyle`) and request a new layout;
    /// false when the value is out of range or unchanged. A new direction in the form
    /// designer, outside loading, also swaps width and height.
    bool StoreKind(int kind);
    bool StoreOrientation(int orientation);
    bool StoreStyle(int style, int maxStyle);
    bool Adaptive() const;
    /// Stores what the classic scale draw measured and the gap it may have enlarged.
    void StoreClassicResult(const TQVLinearScaleDraw::TClassicResult &result);
    /// Tells assistive technology that the value changed; nothing when no client listens.
    void NotifyAccessibleValue();

    /// Called after `ScaleLayout` changed, before the repaint.
    virtual void ScaleLayoutChanged() {}

private:
    std::unique_ptr<TQVLinearScaleControlPrivate> m_scale;
};
