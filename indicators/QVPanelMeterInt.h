#pragma once

#include <limits>

#include <QtCore/QRect>
#include <QtCore/QString>

#include "controls/qvCommon.h"
#include "controls/qvControl.h"

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
    Q_PROPERTY(double Value READ Value WRITE SetValue)
    Q_PROPERTY(int Decimals READ Decimals WRITE SetDecimals)
    Q_PROPERTY(int Digits READ Digits WRITE SetDigits)
    Q_PROPERTY(QString UnitText READ UnitText WRITE SetUnitText)
    Q_PROPERTY(int SIPrefix READ SIPrefix WRITE SetSIPrefix)
    Q_PROPERTY(TQVDigitStyle DigitStyle READ DigitStyle WRITE SetDigitStyle)
    Q_PROPERTY(quint32 DigitColor READ DigitColor WRITE SetDigitColor)
    Q_PROPERTY(quint32 BackgroundColor READ BackgroundColor WRITE SetBackgroundColor)
    Q_PROPERTY(QString OverRangeText READ OverRangeText WRITE SetOverRangeText)
    Q_PROPERTY(double ValueMin READ ValueMin WRITE SetValueMin)
    Q_PROPERTY(double ValueMax READ ValueMax WRITE SetValueMax)

public:
    enum TQVDigitStyle : quint8 { dsSevenSegment, dsFont };
    Q_ENUM(TQVDigitStyle)

    static constexpr int MinDigits = 1;
    static constexpr int MaxDigits = 12;
    static constexpr int MaxDecimals = 9;

    explicit TQVPanelMeterInt(QWidget *owner = nullptr);
    ~TQVPanelMeterInt() override;

    double Value() const { return m_value; }
    /// \brief Stores `value`; repaints the digit area at once when the displayed text changes.
    void SetValue(double value);
    int Decimals() const { return m_decimals; }
    /// Accepts 0 to 9; at most `Digits` - 1 of them are shown.
    void SetDecimals(int decimals);
    int Digits() const { return m_digits; }
    /// Number of digit positions (without the sign position); accepts 1 to 12.
    void SetDigits(int digits);
    QString UnitText() const { return m_unitText; }
    void SetUnitText(const QString &text);
    TSiPrefixesId SIPrefix() const { return m_prefix; }
    /// \brief The value is shown divided by the prefix's factor and the prefix symbol precedes
    /// `UnitText`; identifiers outside the table are ignored.
    void SetSIPrefix(int id);
    TQVDigitStyle DigitStyle() const { return m_digitStyle; }
    void SetDigitStyle(TQVDigitStyle style);
    TQVColor DigitColor() const { return m_digitColor; }
    void SetDigitColor(TQVColor color);
    TQVColor BackgroundColor() const { return m_backgroundColor; }
    /// Colour of the display window behind the digits.
    void SetBackgroundColor(TQVColor color);
    QString OverRangeText() const { return m_overRangeText; }
    void SetOverRangeText(const QString &text);
    double ValueMin() const { return m_valueMin; }
    /// Lower end of the display range; ignored when NaN or not below `ValueMax`.
    void SetValueMin(double value);
    double ValueMax() const { return m_valueMax; }
    /// Upper end of the display range; ignored when NaN or not above `ValueMin`.
    void SetValueMax(double value);

    /// \brief The text the digits show: the formatted number, `OverRangeText` (preceded by
    /// "-" below the range), or "----" for NaN.
    QString DisplayText() const { return m_displayText; }
    /// The prefix symbol followed by `UnitText`.
    QString UnitLabel() const;
    /// True while the over-range text is shown.
    bool IsOverRange() const { return m_overRange; }
    /// The area of the digit positions (sign position included), repainted on value changes.
    QRect DigitRect() const;
    /// The colour of unlit segments: one fifth of the way from `BackgroundColor` to `DigitColor`.
    QColor UnlitColor() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void Paint(QPainter &painter) override;
    void changeEvent(QEvent *event) override;

private:
    struct Layout
    {
        QRect window;   // display window (BackgroundColor)
        QRect caption;  // caption line above the window, empty without a caption
        QRect digits;   // all digit positions
        int digitHeight = 0;
        int digitWidth = 0;
        int pitch = 0;  // digit width plus the gap that holds the decimal point
        int unitPixelSize = 0;
    };

    Layout ComputeLayout() const;
    Layout ComputeLayout(QRect client) const;
    QString FormatValue(bool &overRange) const;
    void UpdateText(bool repaintNow);
    void PropertyChanged();
    void PaintBackground(QPainter &painter, const Layout &layout);
    void PaintSevenSegment(QPainter &painter, const Layout &layout);
    void PaintFontDigits(QPainter &painter, const Layout &layout);

    double m_value = 0.0;
    int m_decimals = 2;
    int m_digits = 5;
    QString m_unitText;
    TSiPrefixesId m_prefix = sipNone;
    TQVDigitStyle m_digitStyle = dsSevenSegment;
    TQVColor m_digitColor = 0x2828FF;
    TQVColor m_backgroundColor = 0x141414;
    QString m_overRangeText = QStringLiteral("OL");
    double m_valueMin = -std::numeric_limits<double>::infinity();
    double m_valueMax = std::numeric_limits<double>::infinity();
    QString m_displayText;
    bool m_overRange = false;
};
