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

    int Tag() const { return m_tag; }
    void SetTag(int tag) { m_tag = tag; }

    QString Version() const { return QVVersionText(); }
    void SetVersion(const QString &) {}
    QString Copyright() const { return QVCopyrightText(); }
    void SetCopyright(const QString &) {}

private:
    int m_tag = 0;
};
