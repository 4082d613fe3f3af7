#pragma once

#include <functional>
#include <memory>

#include <QtCore/QRect>
#include <QtCore/QString>

#include "controls/qvCommon.h"
#include "controls/qvControl.h"
#include "controls/scale/qvScaleEngine.h"

/// \brief A digital panel meter: shows one number in seven-segment or font digits inside a
/// display window, with a fixed sign position, an over-range indication and a unit label
/// (SI prefix symbol followed by `UnitText`).
///
/// `SetValue` is the hot path: it formats the value and repaints only the digit area,
/// synchronously, and only when the displayed text changes. Every other property change
/// requests a full repaint.
class QV_WIDGETS_EXPORT TQVPanelMeterInt : public TQVCustomPanel
{
    Q_OBJECT
    Q_CLASSINFO("FormNumbers", "SIPrefix")
    Q_PROPERTY(double Value READ Value WRITE SetValue NOTIFY ValueChanged)
    Q_PROPERTY(int Decimals READ Decimals WRITE SetDecimals NOTIFY SettingsChanged)
    Q_PROPERTY(int Digits READ Digits WRITE SetDigits NOTIFY SettingsChanged)
    Q_PROPERTY(QString UnitText READ UnitText WRITE SetUnitText NOTIFY AppearanceChanged)
    Q_PROPERTY(QVSI::TSiPrefixesId SIPrefix READ SIPrefix WRITE SetSIPrefix NOTIFY SettingsChanged)
    Q_PROPERTY(bool AutoPrefix READ AutoPrefix WRITE SetAutoPrefix NOTIFY SettingsChanged)
    Q_PROPERTY(TQVDigitStyle DigitStyle READ DigitStyle WRITE SetDigitStyle NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 DigitColor READ DigitColor WRITE SetDigitColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtDigitColor READ QtDigitColor WRITE SetQtDigitColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 BackgroundColor READ BackgroundColor WRITE SetBackgroundColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtBackgroundColor READ QtBackgroundColor WRITE SetQtBackgroundColor NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(QString OverRangeText READ OverRangeText WRITE SetOverRangeText NOTIFY AppearanceChanged)
    Q_PROPERTY(double ValueMin READ ValueMin WRITE SetValueMin NOTIFY SettingsChanged)
    Q_PROPERTY(double ValueMax READ ValueMax WRITE SetValueMax NOTIFY SettingsChanged)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout NOTIFY AppearanceChanged)

public:
    enum TQVDigitStyle : quint8 { dsSevenSegment, dsFont };
    Q_ENUM(TQVDigitStyle)

    static constexpr int MinDigits = 1;
    static constexpr int MaxDigits = 12;
    static constexpr int MaxDecimals = 9;

    explicit TQVPanelMeterInt(QWidget *owner = nullptr);
    ~TQVPanelMeterInt() override;

    double Value() const;
    /// \brief Stores `value`; repaints the digit area at once when the displayed text changes.
    void SetValue(double value);
    int Decimals() const;
    /// Accepts 0 to 9; at most `Digits` - 1 of them are shown.
    void SetDecimals(int decimals);
    int Digits() const;
    /// Number of digit positions (without the sign position); accepts 1 to 12.
    void SetDigits(int digits);
    QString UnitText() const;
    void SetUnitText(const QString &text);
    TSiPrefixesId SIPrefix() const;
    /// \brief The value is shown divided by the prefix's factor and the prefix symbol precedes
    /// `UnitText`; identifiers outside the table are ignored.
    void SetSIPrefix(int id);
    bool AutoPrefix() const;
    /// \brief Ranges every value as a multimeter does: the prefix of the thousands (yocto to
    /// yotta) that leaves 1 to 3 integer digits after rounding, with as many decimals as
    /// `Digits` leaves room for, at most `Decimals`. `SIPrefix` is kept for when it is off.
    void SetAutoPrefix(bool on);
    /// The prefix the value is shown in: `SIPrefix`, or the one `AutoPrefix` chose.
    TSiPrefixesId ShownPrefix() const;
    TQVDigitStyle DigitStyle() const;
    void SetDigitStyle(TQVDigitStyle style);
    TQVColor DigitColor() const;
    void SetDigitColor(TQVColor color);
    QV_QCOLOR_FACE(DigitColor)
    TQVColor BackgroundColor() const;
    /// Colour of the display window behind the digits.
    void SetBackgroundColor(TQVColor color);
    QV_QCOLOR_FACE(BackgroundColor)
    QString OverRangeText() const;
    void SetOverRangeText(const QString &text);
    double ValueMin() const;
    /// Lower end of the display range; ignored when NaN or not below `ValueMax`.
    void SetValueMin(double value);
    double ValueMax() const;
    /// Upper end of the display range; ignored when NaN or not above `ValueMin`.
    void SetValueMax(double value);
    TQVScaleLayout ScaleLayout() const;
    /// \brief `slAdaptive` sizes the digits to the window with the unit measured beside them
    /// and takes digits, unlit segments and window from the palette while `DigitColor` and
    /// `BackgroundColor` are at their defaults; `slClassic`, the default, keeps the classic look.
    void SetScaleLayout(TQVScaleLayout layout);

    /// \brief The text the digits show: the formatted number, `OverRangeText` (preceded by
    /// "-" below the range), or "----" for NaN.
    QString DisplayText() const;
    /// The prefix symbol followed by `UnitText`.
    QString UnitLabel() const;
    /// True while the over-range text is shown.
    bool IsOverRange() const;
    /// The area of the digit positions (sign position included), repainted on value changes.
    QRect DigitRect() const;
    /// The colour of unlit segments: one fifth of the way from `BackgroundColor` to `DigitColor`
    /// (in the adaptive layout from the colours painted, see `SetScaleLayout`).
    QColor UnlitColor() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    /// The value changed (after `SetValue` stored it); NaN replacing NaN is no change.
    void ValueChanged(double value);

protected:
    void Paint(QPainter &painter) override;
    void changeEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    class PrivateData;
    struct Layout;

    const Layout &CurrentLayout() const;
    Layout ComputeLayout(QRect client) const;
    void UpdateText(bool repaintNow);
    // The unit label the layout makes room for: with `AutoPrefix`, the widest by `advance`.
    QString LayoutUnitLabel(const std::function<int(const QString &)> &advance) const;
    void UpdateDecimalPoint();
    void PropertyChanged();
    QColor InkColor() const;
    QColor WindowColor() const;
    QSize AdaptiveHint(int windowHeight) const;
    QSize AroundWindow(QSize window) const;
    void PaintBackground(QPainter &painter, const Layout &layout);
    void PaintDigits(QPainter &painter, const Layout &layout);
    void PaintSevenSegment(QPainter &painter, const Layout &layout);
    void PaintFontDigits(QPainter &painter, const Layout &layout);

    std::unique_ptr<PrivateData> m_data;
};
