#include "qvmeterInt.h"

TQVMeterInt::TQVMeterInt(QWidget *owner)
    : TQVCustomPanel(owner)
{
    resize(133, 133);
}

TQVMeterInt::~TQVMeterInt() = default;

void TQVMeterInt::SetValueMin(double value)
{
    m_valueMin = value;
}

void TQVMeterInt::SetValueMax(double value)
{
    m_valueMax = value;
    if (m_valueMax <= m_valueMin)
        m_valueMin = m_valueMax - 1;
}

void TQVMeterInt::SetValueGap(double value)
{
    m_valueGap = value;
}

void TQVMeterInt::SetValue(double value)
{
    m_value = value;
}
