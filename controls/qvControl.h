#pragma once

#include <memory>

#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtGui/QAccessible>
#include <QtWidgets/QWidget>

#include "controls/qvColor.h"

#include "framework/qvComponent.h"
#include "framework/qvGlobal.h"

/// \brief Base of the display and input controls: a QWidget with the component state
/// (designing, loading, `Loaded`) and the published `Tag`, `Version` and `Copyright`.
///
/// Every published property notifies: a value property through the class's own
/// `ValueChanged`, the others through `AppearanceChanged` (looks) or `SettingsChanged`
/// (range and behaviour). The signals fire after the new value is stored, only when it
/// changed, and never from painting.
class QV_WIDGETS_EXPORT TQVCustomControl : public QWidget, public TQVComponentState
{
    Q_OBJECT
    Q_PROPERTY(int Tag READ Tag WRITE SetTag NOTIFY SettingsChanged)
    Q_PROPERTY(QString Version READ Version WRITE SetVersion NOTIFY SettingsChanged)
    Q_PROPERTY(QString Copyright READ Copyright WRITE SetCopyright NOTIFY SettingsChanged)

public:
    explicit TQVCustomControl(QWidget *parent = nullptr);
    ~TQVCustomControl() override;

    /// Stores the tag; emits `SettingsChanged` when it changed.
    void SetTag(int tag);

    /// \brief Runs `write` (a setter that may raise a library exception) for the WRITE accessor
    /// of a published property and turns an exception into `ErrorOccurred`, so that nothing
    /// crosses the event loop. While a form is being loaded it raises as the setter does, so
    /// that the form reader reports it as a form error at the property's line.
    template<typename F>
    void GuardedWrite(F &&write)
    {
        if (IsLoading()) {
            write();
            return;
        }
        try {
            write();
        } catch (const std::exception &error) {
            ReportError(error);
        } catch (...) {
            ReportError();
        }
    }

signals:
    /// A property that changes the looks (colours, fonts, pictures, texts, layout) changed.
    void AppearanceChanged();
    /// A property that changes the range or the behaviour changed.
    void SettingsChanged();
    /// \brief A write through the meta-object (setProperty, Qt Designer, the workbench) that
    /// the C++ setter refuses with an exception; `message` is that exception's text. The
    /// state is what the refused setter left.
    void ErrorOccurred(const QString &message);

protected:
    enum class TQVChangeGroup : quint8 { Appearance, Settings };
    /// The end of a setter that changed something: requests a repaint and emits the group's
    /// signal.
    void Changed(TQVChangeGroup group);
    /// Emits the group's signal only (the setter has requested its repaint).
    void Notify(TQVChangeGroup group);

private:
    void ReportError(const std::exception &error);
    void ReportError();
};

/// \brief Declares the Qt face of colour property `Name`: `QtName()` returns the colour as a
/// `QColor` resolved through the palette, `SetQtName(const QColor &)` stores its plain value
/// through `SetName`. Writing the colour that is shown already changes nothing, so a system
/// colour (button face...) read and written back by Qt Designer stays a system colour.
#define QV_QCOLOR_FACE(Name)                                                                           \
    QColor Qt##Name() const { return ToQColor(Name()); }                                               \
    void SetQt##Name(const QColor &color)                                                              \
    {                                                                                                  \
        if (color.isValid() && QVFromQColor(color) != QVFromQColor(Qt##Name()))                        \
            Set##Name(QVFromQColor(color));                                                            \
    }

/// \brief The panel every display and input control derives from: a background `Color`,
/// an outer and an inner bevel of `BevelWidth` pixels with `BorderWidth` pixels between them,
/// and a `Caption`. Descendants paint in `Paint`; the panel has drawn its frame and
/// background by then, unless the descendant paints the whole area itself.
class QV_WIDGETS_EXPORT TQVCustomPanel : public TQVCustomControl
{
    Q_OBJECT
    Q_PROPERTY(TQVBevelCut BevelInner READ BevelInner WRITE SetBevelInner NOTIFY AppearanceChanged)
    Q_PROPERTY(TQVBevelCut BevelOuter READ BevelOuter WRITE SetBevelOuter NOTIFY AppearanceChanged)
    Q_PROPERTY(int BevelWidth READ BevelWidth WRITE SetBevelWidth NOTIFY AppearanceChanged)
    Q_PROPERTY(int BorderWidth READ BorderWidth WRITE SetBorderWidth NOTIFY AppearanceChanged)
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption NOTIFY AppearanceChanged)
    Q_PROPERTY(quint32 Color READ Color WRITE SetColor NOTIFY AppearanceChanged)
    Q_PROPERTY(QColor QtColor READ QtColor WRITE SetQtColor NOTIFY AppearanceChanged STORED false)

public:
    enum TQVBevelCut : quint8 { bvNone, bvLowered, bvRaised, bvSpace };
    Q_ENUM(TQVBevelCut)

    explicit TQVCustomPanel(QWidget *parent = nullptr);
    ~TQVCustomPanel() override;

    TQVBevelCut BevelInner() const;
    void SetBevelInner(TQVBevelCut cut);
    TQVBevelCut BevelOuter() const;
    void SetBevelOuter(TQVBevelCut cut);
    int BevelWidth() const;
    void SetBevelWidth(int width);
    int BorderWidth() const;
    void SetBorderWidth(int width);
    QString Caption() const;
    void SetCaption(const QString &caption);
    TQVColor Color() const;
    void SetColor(TQVColor color);
    QV_QCOLOR_FACE(Color)

    /// `color` resolved against this widget's palette.
    QColor ToQColor(TQVColor color) const { return QVToQColor(color, palette()); }
    /// The area inside the bevels and the border.
    QRect ClientRect() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    /// Draws the background, the bevels and the caption; descendants that paint their whole
    /// area override `Paint` and skip this.
    void PaintPanel(QPainter &painter);
    /// Background and bevels only; returns the rectangle inside them.
    QRect PaintFrame(QPainter &painter);
    /// Called by `paintEvent` with a painter clipped to the event's region.
    virtual void Paint(QPainter &painter);

private:
    class PrivateData;
    std::unique_ptr<PrivateData> m_data;
};

/// Stores `value` in `field`; true when that changed it (the common start of a setter).
template <typename T, typename U>
bool QVChange(T &field, const U &value)
{
    if (field == value)
        return false;
    field = value;
    return true;
}

/// \brief How a value control shows itself to assistive technology: a value interface over
/// its `Value`, `ValueMin` and `ValueMax` properties (and `ValueStepWidth` for inputs), the
/// name from the accessible name, else the caption property, else a default.
struct TQVValueAccessibility
{
    const char *ClassName = nullptr; ///< the class it answers for (and the translation context)
    QAccessible::Role Role = QAccessible::Indicator;
    const char *DefaultName = nullptr;       ///< untranslated, e.g. QT_TRANSLATE_NOOP("TQVDial", "Dial")
    const char *CaptionProperty = "Caption"; ///< may be null
    bool Input = false;                      ///< assistive technology may set the value
    QString (*ValueText)(const QWidget *widget) = nullptr; ///< null: the value in the widget's locale
};

/// Registers the accessibility of one value control class; later calls for the same class
/// are ignored.
QV_WIDGETS_EXPORT void QVInstallValueAccessibility(const TQVValueAccessibility &description);

/// \brief A three-dimensional frame of `width` pixels inside `r`: `topLeft` on the top and
/// left edges, `bottomRight` on the others; returns the rectangle inside it.
QV_WIDGETS_EXPORT QRect QVFrame3D(QPainter &painter, QRect r, const QColor &topLeft, const QColor &bottomRight,
                                  int width);
