#pragma once

#include <QtGui/QPolygon>
#include <QtCore/QRect>

#include "controls/qvControl.h"
#include "controls/scale/qvScaleEngine.h"

class QTimer;

/// \brief A lamp of one of eight shapes that shows a boolean state in `ColorActive` or
/// `ColorInactive`, optionally flashing while on.
///
/// The state is set directly (`Value`) or derived from a number compared against `Limit`
/// or the range `RangeLower`..`RangeUpper` (`UpdateValue`). The lamp fills the whole
/// control: the panel's background colour `Color` is painted over the full area, bevels
/// included, and the shape is drawn on it.
class QV_WIDGETS_EXPORT TQVLedInt : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(quint32 ColorInactive READ ColorInactive WRITE SetColorInactive)
    Q_PROPERTY(quint32 ColorActive READ ColorActive WRITE SetColorActive)
    Q_PROPERTY(bool Flashing READ Flashing WRITE SetFlashing)
    Q_PROPERTY(int FlashInterval READ FlashInterval WRITE SetFlashInterval)
    Q_PROPERTY(TQVLedStyle Style READ Style WRITE SetStyle)
    Q_PROPERTY(bool Value READ Value WRITE SetValue NOTIFY ValueChanged)
    Q_PROPERTY(TQVLEDCompare Compare READ Compare WRITE SetCompare)
    Q_PROPERTY(double Limit READ Limit WRITE SetLimit)
    Q_PROPERTY(double RangeLower READ RangeLower WRITE SetRangeLower)
    Q_PROPERTY(double RangeUpper READ RangeUpper WRITE SetRangeUpper)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout)

public:
    enum TQVLedStyle : quint8 {
        lesCircle,
        lesRectangle,
        lesArrowLeft,
        lesArrowRight,
        lesArrowUp,
        lesArrowDown,
        lesArrowLeftRight,
        lesArrowUpDown
    };
    Q_ENUM(TQVLedStyle)

    enum TQVLEDCompare : quint8 { cmpOver, cmpUnder, cmpInRange, cmpOutOfRange };
    Q_ENUM(TQVLEDCompare)

    explicit TQVLedInt(QWidget *parent = nullptr);
    ~TQVLedInt() override;

    TQVColor ColorInactive() const { return m_colorInactive; }
    void SetColorInactive(TQVColor color);
    TQVColor ColorActive() const { return m_colorActive; }
    void SetColorActive(TQVColor color);
    /// The colour the lamp is drawn in now (alternates while flashing).
    TQVColor CurrentColor() const { return m_currentColor; }

    bool Flashing() const { return m_flashing; }
    void SetFlashing(bool flashing);
    /// Half-period of the flashing in milliseconds; values below 1 are ignored.
    int FlashInterval() const { return m_flashInterval; }
    void SetFlashInterval(int milliseconds);
    /// True while the flash timer runs.
    bool IsFlashTimerActive() const;

    TQVScaleLayout ScaleLayout() const { return m_scaleLayout; }
    /// \brief `slAdaptive` draws the lamp with a soft highlight and shading; `slClassic`, the
    /// default, keeps the classic glint.
    void SetScaleLayout(TQVScaleLayout layout);
    TQVLedStyle Style() const { return m_style; }
    void SetStyle(TQVLedStyle style);

    bool Value() const { return m_value; }
    void SetValue(bool value);

    TQVLEDCompare Compare() const { return m_compare; }
    void SetCompare(TQVLEDCompare compare);
    double Limit() const { return m_limit; }
    void SetLimit(double limit);
    double RangeLower() const { return m_rangeLower; }
    void SetRangeLower(double lower);
    double RangeUpper() const { return m_rangeUpper; }
    void SetRangeUpper(double upper);
    /// The last number given to `UpdateValue`.
    double LastValue() const { return m_lastValue; }

    /// \brief Stores `x` as `LastValue` and sets `Value` by comparing it according to `Compare`.
    void UpdateValue(float x);

    void Loaded() override;
    void SetDesigning(bool designing) override;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// The rectangle the lamp's shape occupies (the whole control except for the circle).
    QRect LampRect() const;

Q_SIGNALS:
    void ValueChanged(bool value);

protected:
    void Paint(QPainter &painter) override;
    /// Draws the shape in `CurrentColor` over whatever is below it.
    virtual void PaintLed(QPainter &painter);
    /// Timer handler: while on, swaps `CurrentColor` between the two colours.
    void Flash();

private:
    TQVColor StateColor() const { return m_value ? m_colorActive : m_colorInactive; }
    void RunTimer(bool run);
    /// Redraws the lamp synchronously.
    void LedPaint();
    void PaintCircle(QPainter &painter, const QColor &outline);
    void PaintPolygon(QPainter &painter, const QPolygon &points, const QColor &outline);

    TQVColor m_colorInactive = QVColors::clSilver;
    TQVColor m_colorActive = QVColors::clRed;
    TQVColor m_currentColor = QVColors::clSilver;
    bool m_flashing = false;
    int m_flashInterval = 1000;
    TQVLedStyle m_style = lesCircle;
    TQVScaleLayout m_scaleLayout = slClassic;
    bool m_value = false;
    QTimer *m_flashTimer = nullptr;
    TQVLEDCompare m_compare = cmpOver;
    double m_limit = 0.0;
    double m_rangeUpper = 0.0;
    double m_rangeLower = 0.0;
    double m_lastValue = 0.0;
};
