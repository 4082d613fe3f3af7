#pragma once

#include <memory>

#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtGui/QAccessible>
#include <QtWidgets/QWidget>

#include "controls/qvColor.h"

#include "framework/qvComponent.h"
#include "framework/qvGlobal.h"

// QV_FOR_EACH(M, a, b, c) expands to M(a) M(b) M(c) (up to 256 arguments).
#define QV_PARENS ()
#define QV_EXPAND(...) QV_EXPAND3(QV_EXPAND3(QV_EXPAND3(QV_EXPAND3(__VA_ARGS__))))
#define QV_EXPAND3(...) QV_EXPAND2(QV_EXPAND2(QV_EXPAND2(QV_EXPAND2(__VA_ARGS__))))
#define QV_EXPAND2(...) QV_EXPAND1(QV_EXPAND1(QV_EXPAND1(QV_EXPAND1(__VA_ARGS__))))
#define QV_EXPAND1(...) __VA_ARGS__
#define QV_FOR_EACH(macro, ...) __VA_OPT__(QV_EXPAND(QV_FOR_EACH_STEP(macro, __VA_ARGS__)))
#define QV_FOR_EACH_STEP(macro, first, ...) \
    macro(first) __VA_OPT__(QV_FOR_EACH_AGAIN QV_PARENS(macro, __VA_ARGS__))
#define QV_FOR_EACH_AGAIN() QV_FOR_EACH_STEP

/// A class deriving from both: naming `setX` in it is ambiguous exactly when `W` has a
/// member `setX` (overloaded or not) besides the one of `Shadow`.
template<typename W, typename Shadow>
struct TQVFormSetterProbe : W, Shadow
{
};

/// The aliases `Base` already has; none for a class outside the control hierarchy.
template<typename Base>
QStringList QVInheritedFormSetters()
{
    if constexpr (requires { Base::FormSetterProperties(); })
        return Base::FormSetterProperties();
    else
        return {};
}

#define QV_FORM_SETTER_NAME(Name) QStringLiteral(#Name),
#define QV_FORM_SETTER(Name)                                                                        \
    void set##Name(const QVariant &value) { SetFormProperty(#Name, value); }                        \
    struct QVFormSetterShadow_##Name                                                                \
    {                                                                                               \
        void set##Name();                                                                           \
    };                                                                                              \
    template<typename W>                                                                            \
    static constexpr bool QVFormSetterFree_##Name =                                                 \
        requires { &TQVFormSetterProbe<W, QVFormSetterShadow_##Name>::set##Name; };                \
    static_assert(QVFormSetterFree_##Name<QWidget>,                                                 \
                  "set" #Name " would hide a member of QWidget: leave " #Name " out of QV_FORM_SETTERS");

/// \brief Declares, in the public section of a widget class derived from `Base`, a lower-case
/// setter alias `setName(const QVariant &)` for each designable property `Name` the class
/// itself publishes (the base's aliases are inherited), and `static FormSetterProperties()`,
/// the names of all aliases the class has, the base's first.
///
/// A `.ui` form compiled by `uic` sets a property without `stdset="0"` through `set` + its
/// name (`setValue`), while the widget classes spell their setters `SetValue`. An alias writes
/// the property through the meta-object, exactly as `setProperty` would, so the class's own
/// setter runs with its own checks. Left out: `Style` (the alias would hide
/// `QWidget::setStyle`; such a name does not compile) and `MeasureSource` (an object pointer,
/// which a form cannot hold). A property added to a class is added to its list too; a test
/// compares every catalogued class's list with its meta-object.
#ifdef Q_MOC_RUN
#define QV_FORM_SETTERS(Base, ...)
#else
#define QV_FORM_SETTERS(Base, ...)                                                                  \
public:                                                                                             \
    static QStringList FormSetterProperties()                                                       \
    {                                                                                               \
        return QVInheritedFormSetters<Base>()                                                       \
            + QStringList{QV_FOR_EACH(QV_FORM_SETTER_NAME, __VA_ARGS__)};                           \
    }                                                                                               \
    QV_FOR_EACH(QV_FORM_SETTER, __VA_ARGS__)
#endif

/// \brief Base of the display and input controls: a QWidget with the component state
/// (designing, loading, `Loaded`) and the published `Tag`, `Version` and `Copyright`.
///
/// Each class in the hierarchy declares the setter aliases of its own properties with
/// `QV_FORM_SETTERS`.
class QV_WIDGETS_EXPORT TQVCustomControl : public QWidget, public TQVComponentState
{
    Q_OBJECT
    Q_PROPERTY(int Tag READ Tag WRITE SetTag)
    Q_PROPERTY(QString Version READ Version WRITE SetVersion)
    Q_PROPERTY(QString Copyright READ Copyright WRITE SetCopyright)

public:
    explicit TQVCustomControl(QWidget *parent = nullptr);
    ~TQVCustomControl() override;

    QV_FORM_SETTERS(QWidget, Tag, Version, Copyright)

protected:
    // The body of every setter alias. Writes `value` to the property `name` of this object's
    // class; an invalid value, a name the class does not publish or a value that cannot be
    // converted to the property's type is reported with a warning and changes nothing.
    void SetFormProperty(const char *name, const QVariant &value);
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

    QV_FORM_SETTERS(TQVCustomControl, BevelInner, BevelOuter, BevelWidth, BorderWidth, Caption, Color)

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
