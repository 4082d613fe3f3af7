#include "qvDial.h"

TQVDial::TQVDial(QWidget *owner)
    : TQVCustomPanel(owner)
{
}

TQVDial::~TQVDial() = default;
