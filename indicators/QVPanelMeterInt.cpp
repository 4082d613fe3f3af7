#include "QVPanelMeterInt.h"

TQVPanelMeterInt::TQVPanelMeterInt(QWidget *owner)
    : TQVCustomPanel(owner)
{
}

TQVPanelMeterInt::~TQVPanelMeterInt() = default;

void TQVPanelMeterInt::SetValue(double value)
{
    m_value = value;
    update();
}
