#include "qvControl.h"

TQVCustomControl::TQVCustomControl(QWidget *parent)
    : QWidget(parent)
{
    InheritDesigning(parent);
}

TQVCustomControl::~TQVCustomControl() = default;
