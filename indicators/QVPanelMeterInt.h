#pragma once

#include "controls/qvControl.h"

/// \brief Digital panel meter. (Being written.)
class QV_WIDGETS_EXPORT TQVPanelMeterInt : public TQVCustomPanel
{
    Q_OBJECT
    Q_PROPERTY(double Value READ Value WRITE SetValue)

public:
    explicit TQVPanelMeterInt(QWidget *owner = nullptr);
    ~TQVPanelMeterInt() override;

    double Value() const { return m_value; }
    void SetValue(double value);

private:
    double m_value = 0.0;
};
