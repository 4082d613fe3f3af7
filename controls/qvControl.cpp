#include "qvControl.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>
#include <QtCore/QMetaProperty>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QAccessibleWidget>

#include <algorithm>
#include <vector>

#include "controls/scale/qvPaintKit.h"
#include "framework/qvExceptions.h"

TQVCustomControl::TQVCustomControl(QWidget *parent)
    : QWidget(parent)
{
    InheritDesigning(parent);
}

TQVCustomControl::~TQVCustomControl() = default;

void TQVCustomControl::SetTag(int tag)
{
    if (tag == Tag())
        return;
    TQVComponentState::SetTag(tag);
    emit SettingsChanged();
}

void TQVCustomControl::Changed(TQVChangeGroup group)
{
    update();
    Notify(group);
}

void TQVCustomControl::Notify(TQVChangeGroup group)
{
    if (group == TQVChangeGroup::Appearance)
        emit AppearanceChanged();
    else
        emit SettingsChanged();
}

void TQVCustomControl::ReportError(const std::exception &error)
{
    const auto *own = dynamic_cast<const EQVException *>(&error);
    emit ErrorOccurred(own ? own->Message() : QString::fromLocal8Bit(error.what()));
}

void TQVCustomControl::ReportError()
{
    emit ErrorOccurred(QCoreApplication::translate("TQVCustomControl", "Unknown error"));
}

class TQVCustomPanel::PrivateData
{
public:
    TQVBevelCut BevelInner = bvNone;
    TQVBevelCut BevelOuter = bvRaised;
    int BevelWidth = 1;
    int BorderWidth = 0;
    QString Caption;
    TQVColor Color = QVColors::clBtnFace;
};

TQVCustomPanel::TQVCustomPanel(QWidget *parent)
    : TQVCustomControl(parent)
    , m_data(std::make_unique<PrivateData>())
{
}

TQVCustomPanel::~TQVCustomPanel() = default;

TQVCustomPanel::TQVBevelCut TQVCustomPanel::BevelInner() const { return m_data->BevelInner; }
TQVCustomPanel::TQVBevelCut TQVCustomPanel::BevelOuter() const { return m_data->BevelOuter; }
int TQVCustomPanel::BevelWidth() const { return m_data->BevelWidth; }
int TQVCustomPanel::BorderWidth() const { return m_data->BorderWidth; }
QString TQVCustomPanel::Caption() const { return m_data->Caption; }
TQVColor TQVCustomPanel::Color() const { return m_data->Color; }

void TQVCustomPanel::SetBevelInner(TQVBevelCut cut)
{
    if (cut <= bvSpace && QVChange(m_data->BevelInner, cut))
        Changed(TQVChangeGroup::Appearance);
}

void TQVCustomPanel::SetBevelOuter(TQVBevelCut cut)
{
    if (cut <= bvSpace && QVChange(m_data->BevelOuter, cut))
        Changed(TQVChangeGroup::Appearance);
}

void TQVCustomPanel::SetBevelWidth(int width)
{
    if (width >= 1 && QVChange(m_data->BevelWidth, width))
        Changed(TQVChangeGroup::Appearance);
}

void TQVCustomPanel::SetBorderWidth(int width)
{
    if (width >= 0 && QVChange(m_data->BorderWidth, width))
        Changed(TQVChangeGroup::Appearance);
}

void TQVCustomPanel::SetCaption(const QString &caption)
{
    if (QVChange(m_data->Caption, caption))
        Changed(TQVChangeGroup::Appearance);
}

void TQVCustomPanel::SetColor(TQVColor color)
{
    if (QVChange(m_data->Color, color))
        Changed(TQVChangeGroup::Appearance);
}

QRect TQVCustomPanel::ClientRect() const
{
    const int bevel = QVPinPx(m_data->BevelWidth, 0);
    int inset = QVPinPx(m_data->BorderWidth, 0);
    if (m_data->BevelOuter != bvNone)
        inset += bevel;
    if (m_data->BevelInner != bvNone)
        inset += bevel;
    QRect r = rect().adjusted(inset, inset, -inset, -inset);
    // A panel smaller than its frame has an empty client area, not a negative one.
    r.setWidth(std::max(r.width(), 0));
    r.setHeight(std::max(r.height(), 0));
    return r;
}

void TQVCustomPanel::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.setClipRegion(event->region());
    Paint(painter);
}

void TQVCustomPanel::Paint(QPainter &painter)
{
    PaintPanel(painter);
}

QRect QVFrame3D(QPainter &painter, QRect r, const QColor &topLeft, const QColor &bottomRight, int width)
{
    // Only the rings that fit: a huge width costs no more than the rectangle.
    width = QVFrameFit(width, r);
    for (int k = 0; k < width; ++k) {
        painter.fillRect(QRect(r.left(), r.top(), r.width(), 1), topLeft);
        painter.fillRect(QRect(r.left(), r.top(), 1, r.height()), topLeft);
        painter.fillRect(QRect(r.left(), r.bottom(), r.width(), 1), bottomRight);
        painter.fillRect(QRect(r.right(), r.top(), 1, r.height()), bottomRight);
        r.adjust(1, 1, -1, -1);
    }
    return r;
}

QRect TQVCustomPanel::PaintFrame(QPainter &painter)
{
    const QColor light = ToQColor(QVColors::clBtnHighlight);
    const QColor shadow = ToQColor(QVColors::clBtnShadow);
    QRect r = rect();
    painter.fillRect(r, ToQColor(m_data->Color));
    const int width = QVPinPx(m_data->BevelWidth, 0);
    const int border = QVPinPx(m_data->BorderWidth, 0);
    const auto bevel = [&](TQVBevelCut cut) {
        if (cut == bvLowered)
            r = QVFrame3D(painter, r, shadow, light, width);
        else if (cut == bvRaised)
            r = QVFrame3D(painter, r, light, shadow, width);
        else if (cut == bvSpace)
            r.adjust(width, width, -width, -width);
    };
    bevel(m_data->BevelOuter);
    r.adjust(border, border, -border, -border);
    bevel(m_data->BevelInner);
    return r;
}

void TQVCustomPanel::PaintPanel(QPainter &painter)
{
    const QRect r = PaintFrame(painter);
    if (!m_data->Caption.isEmpty()) {
        painter.setPen(ToQColor(QVColors::clBtnText));
        painter.setFont(font());
        painter.drawText(r, Qt::AlignCenter, m_data->Caption);
    }
}

namespace {

std::vector<TQVValueAccessibility> &ValueAccessibilities()
{
    static std::vector<TQVValueAccessibility> descriptions;
    return descriptions;
}

class TQVValueAccessible : public QAccessibleWidget, public QAccessibleValueInterface
{
public:
    TQVValueAccessible(QWidget *widget, const TQVValueAccessibility &description)
        : QAccessibleWidget(widget, description.Role)
        , m_description(description)
    {
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::ValueInterface)
            return static_cast<QAccessibleValueInterface *>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    QString text(QAccessible::Text t) const override
    {
        if (t == QAccessible::Name) {
            QString name = widget()->accessibleName();
            if (name.isEmpty() && m_description.CaptionProperty)
                name = widget()->property(m_description.CaptionProperty).toString();
            if (name.isEmpty() && m_description.DefaultName)
                name = QCoreApplication::translate(m_description.ClassName, m_description.DefaultName);
            return name;
        }
        if (t == QAccessible::Value) {
            if (m_description.ValueText)
                return m_description.ValueText(widget());
            return widget()->locale().toString(widget()->property("Value").toDouble());
        }
        return QAccessibleWidget::text(t);
    }

    QVariant currentValue() const override { return widget()->property("Value"); }
    void setCurrentValue(const QVariant &value) override
    {
        if (m_description.Input)
            widget()->setProperty("Value", value.toDouble());
    }
    QVariant maximumValue() const override { return widget()->property("ValueMax"); }
    QVariant minimumValue() const override { return widget()->property("ValueMin"); }
    QVariant minimumStepSize() const override
    {
        return m_description.Input ? std::max(0.0, widget()->property("ValueStepWidth").toDouble()) : 0.0;
    }

private:
    TQVValueAccessibility m_description;
};

// Qt asks with the object's class name and then with its base classes' names, so a sink
// derived from a control finds the control's description.
QAccessibleInterface *ValueAccessibleFactory(const QString &className, QObject *object)
{
    if (!object || !object->isWidgetType())
        return nullptr;
    for (const TQVValueAccessibility &description : ValueAccessibilities()) {
        if (className == QLatin1String(description.ClassName))
            return new TQVValueAccessible(static_cast<QWidget *>(object), description);
    }
    return nullptr;
}

} // namespace

void QVInstallValueAccessibility(const TQVValueAccessibility &description)
{
    static const bool factoryInstalled = (QAccessible::installFactory(ValueAccessibleFactory), true);
    Q_UNUSED(factoryInstalled);
    auto &descriptions = ValueAccessibilities();
    for (const TQVValueAccessibility &known : descriptions) {
        if (qstrcmp(known.ClassName, description.ClassName) == 0)
            return;
    }
    descriptions.push_back(description);
}
