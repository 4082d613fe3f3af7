#pragma once

#include <QtWidgets/QWidget>

#include "framework/qvComponent.h"
#include "framework/qvGlobal.h"

/// \brief Base of the display and input controls: a QWidget with the component state
/// (designing, loading, `Loaded`) and the published `Tag`, `Version` and `Copyright`.
class QV_WIDGETS_EXPORT TQVCustomControl : public QWidget, public TQVComponentState
{
    Q_OBJECT
    Q_PROPERTY(int Tag READ Tag WRITE SetTag)
    Q_PROPERTY(QString Version READ Version WRITE SetVersion)
    Q_PROPERTY(QString Copyright READ Copyright WRITE SetCopyright)

public:
    explicit TQVCustomControl(QWidget *parent = nullptr);
    ~TQVCustomControl() override;
};
