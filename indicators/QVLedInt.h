#pragma once

#include <memory>

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
    Q_PROPERTY(quint32 ColorInactive READ ColorInactive WRITE SetColorInactive NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtColorInactive READ QtColorInactive WRITE SetQtColorInactive NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(quint32 ColorActive READ ColorActive WRITE SetColorActive NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtColorActive READ QtColorActive WRITE SetQtColorActive NOTIFY AppearanceChanged STORED false)
    Q_PROPERTY(bool Flashing READ Flashing WRITE SetFlashing NOTIFY SettingsChanged)
    Q_PROPERTY(int FlashInterval READ FlashInterval WRITE SetFlashInterval NOTIFY SettingsChanged)
    Q_PROPERTY(TQVLedStyle Style READ Style WRITE SetStyle NOTIFY AppearanceChanged)
    Q_PROPERTY(bool Value READ Value WRITE SetValue NOTIFY ValueChanged)
    Q_PROPERTY(TQVLEDCompare Compare READ Compare WRITE SetCompare NOTIFY SettingsChanged)
    Q_PROPERTY(double Limit READ Limit WRITE SetLimit NOTIFY SettingsChanged)
    Q_PROPERTY(double RangeLower READ RangeLower WRITE SetRangeLower NOTIFY SettingsChanged)
    Q_PROPERTY(double RangeUpper READ RangeUpper WRITE SetRangeUpper NOTIFY SettingsChanged)
    Q_PROPERTY(QVScale::TQVScaleLayout ScaleLayout READ ScaleLayout WRITE SetScaleLayout NOTIFY AppearanceChanged)

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

    TQVColor ColorInactive() const;
    void SetColorInactive(TQVColor color);
    QV_QCOLOR_FACE(ColorInactive)
    TQVColor ColorActive() const;
    void SetColorActive(TQVColor color);
    QV_QCOLOR_FACE(ColorActive)
    /// The colour the lamp is drawn in now (alternates while flashing).
    TQVColor CurrentColor() const;

    bool Flashing() const;
    void SetFlashing(bool flashing);
    /// Half-period of the flashing in milliseconds; values below 1 are ignored.
    int FlashInterval() const;
    void SetFlashInterval(int milliseconds);
    /// True while the flash timer runs.
    bool IsFlashTimerActive() const;

    TQVScaleLayout ScaleLayout() const;
    /// \brief `slAdaptive` draws the lamp with a soft highlight and shading; `slClassic`, the
    /// default, keeps the classic glint.
    void SetScaleLayout(TQVScaleLayout layout);
    TQVLedStyle Style() const;
    void SetStyle(TQVLedStyle style);

    bool Value() const;
    void SetValue(bool value);

    TQVLEDCompare Compare() const;
    void SetCompare(TQVLEDCompare compare);
    double Limit() const;
    void SetLimit(double limit);
    double RangeLower() const;
    void SetRangeLower(double lower);
    double RangeUpper() const;
    void SetRangeUpper(double upper);
    /// The last number given to `UpdateValue`.
    double LastValue() const;

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
    TQVColor StateColor() const;
    void RunTimer(bool run);
    /// Redraws the lamp synchronously.
    void LedPaint();
    void PaintCircle(QPainter &painter, const QColor &outline);
    void PaintPolygon(QPainter &painter, const QPolygon &points, const QColor &outline);

    class PrivateData;
    std::unique_ptr<PrivateData> m_data;
};
