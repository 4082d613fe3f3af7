#pragma once

#include "controls/qvControl.h"

/// \brief Analog needle meter on a circular scale. (Being written.)
class QV_WIDGETS_EXPORT TQVMeterInt : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(double ValueMin READ ValueMin WRITE SetValueMin)
    Q_PROPERTY(double ValueMax READ ValueMax WRITE SetValueMax)
    Q_PROPERTY(double ValueGap READ ValueGap WRITE SetValueGap)
    Q_PROPERTY(double Value READ Value WRITE SetValue)

public:
    explicit TQVMeterInt(QWidget *owner = nullptr);
    ~TQVMeterInt() override;

    double ValueMin() const { return m_valueMin; }
    void SetValueMin(double value);
    double ValueMax() const { return m_valueMax; }
    void SetValueMax(double value);
    double ValueGap() const { return m_valueGap; }
    void SetValueGap(double value);
    double Value() const { return m_value; }
    void SetValue(double value);

private:
    double m_valueMin = -10.0;
    double m_valueMax = 10.0;
    double m_valueGap = 1.0;
    double m_value = 0.0;
};
