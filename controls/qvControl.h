#pragma once

#include <QtWidgets/QWidget>

#include "controls/qvColor.h"

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

/// \brief The panel every display and input control derives from: a background `Color`,
/// an outer and an inner bevel of `BevelWidth` pixels with `BorderWidth` pixels between them,
/// and a `Caption`. Descendants paint in `Paint`; the panel has drawn its frame and
/// background by then, unless the descendant paints the whole area itself.
class QV_WIDGETS_EXPORT TQVCustomPanel : public TQVCustomControl
{
    Q_OBJECT
    Q_PROPERTY(TQVBevelCut BevelInner READ BevelInner WRITE SetBevelInner)
    Q_PROPERTY(TQVBevelCut BevelOuter READ BevelOuter WRITE SetBevelOuter)
    Q_PROPERTY(int BevelWidth READ BevelWidth WRITE SetBevelWidth)
    Q_PROPERTY(int BorderWidth READ BorderWidth WRITE SetBorderWidth)
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption)
    Q_PROPERTY(quint32 Color READ Color WRITE SetColor)

public:
    enum TQVBevelCut : quint8 { bvNone, bvLowered, bvRaised, bvSpace };
    Q_ENUM(TQVBevelCut)

    explicit TQVCustomPanel(QWidget *parent = nullptr);
    ~TQVCustomPanel() override;

    TQVBevelCut BevelInner() const { return m_bevelInner; }
    void SetBevelInner(TQVBevelCut cut);
    TQVBevelCut BevelOuter() const { return m_bevelOuter; }
    void SetBevelOuter(TQVBevelCut cut);
    int BevelWidth() const { return m_bevelWidth; }
    void SetBevelWidth(int width);
    int BorderWidth() const { return m_borderWidth; }
    void SetBorderWidth(int width);
    QString Caption() const { return m_caption; }
    void SetCaption(const QString &caption);
    TQVColor Color() const { return m_color; }
    void SetColor(TQVColor color);

    /// `color` resolved against this widget's palette.
    QColor ToQColor(TQVColor color) const { return QVToQColor(color, palette()); }
    /// The area inside the bevels and the border.
    QRect ClientRect() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    /// Draws the background, the bevels and the caption; descendants that paint their whole
    /// area override `Paint` and skip this.
    void PaintPanel(QPainter &painter);
    /// Called by `paintEvent` with a painter clipped to the event's region.
    virtual void Paint(QPainter &painter);

private:
    TQVBevelCut m_bevelInner = bvNone;
    TQVBevelCut m_bevelOuter = bvRaised;
    int m_bevelWidth = 1;
    int m_borderWidth = 0;
    QString m_caption;
    TQVColor m_color = QVColors::clBtnFace;
};
