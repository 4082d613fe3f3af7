#pragma once

#include "controls/qvControl.h"

/// \brief Rotary knob input control on a circular scale. (Being written.)
class QV_WIDGETS_EXPORT TQVDial : public TQVCustomPanel
{
    Q_OBJECT

public:
    explicit TQVDial(QWidget *owner = nullptr);
    ~TQVDial() override;
};
