#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include <QtGui/QAccessible>
#include <QtWidgets/QWidget>

#include "controls/qvControl.h"
#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "controls/qvmeterInt.h"
#include "framework/qvMeasIntf.h"

TEST(CustomControl, PublishesTheComponentProperties)
{
    TQVCustomControl control;
    control.setProperty("Version", QStringLiteral("8.0")); // read-only
    EXPECT_EQ(control.property("Version").toString(), QStringLiteral("7.0"));
    EXPECT_EQ(control.property("Copyright").toString(), QVCopyrightText());
}

TEST(CustomControl, SharesDesignStateWithNonVisualComponents)
{
    QWidget form;
    TQVCustomControl outer(&form);
    QVSetDesigning(&form, true);
    EXPECT_TRUE(outer.IsDesigning());

    // Created on a designing control: designing from the start, like a component would be.
    TQVCustomControl inner(&outer);
    EXPECT_TRUE(inner.IsDesigning());
    TQVComponent component(&outer);
    EXPECT_TRUE(component.IsDesigning());

    inner.BeginLoading();
    EXPECT_TRUE(inner.IsLoading());
    inner.Loaded();
    EXPECT_FALSE(inner.IsLoading());
}

// The value controls share one accessible interface: the name is the accessible name, else the
// caption, else the class's own; inputs take a value from assistive technology within their
// range, displays ignore it.
TEST(ValueAccessibility, NameValueAndWrites)
{
    const struct { std::function<QWidget *()> make; QAccessible::Role role; const char *caption; bool input; } cases[] = {
        {[] { return new TQVDial; }, QAccessible::Dial, "Caption", true},
        {[] { return new TQVSlider; }, QAccessible::Slider, "ButtonCaption", true},
        {[] { return new TQVMeterInt; }, QAccessible::ProgressBar, nullptr, false},
    };
    for (const auto &c : cases) {
        const std::unique_ptr<QWidget> w(c.make());
        SCOPED_TRACE(w->metaObject()->className());
        ASSERT_TRUE(w->setProperty("Value", 2.5));
        QAccessibleInterface *iface = QAccessible::queryAccessibleInterface(w.get());
        ASSERT_NE(iface, nullptr);
        EXPECT_EQ(iface->role(), c.role);
        EXPECT_FALSE(iface->text(QAccessible::Name).isEmpty());
        if (c.caption) {
            ASSERT_TRUE(w->setProperty(c.caption, QStringLiteral("Gain")));
            EXPECT_EQ(iface->text(QAccessible::Name), QStringLiteral("Gain"));
        }
        w->setAccessibleName(QStringLiteral("Input gain"));
        EXPECT_EQ(iface->text(QAccessible::Name), QStringLiteral("Input gain"));
        QAccessibleValueInterface *value = iface->valueInterface();
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(value->currentValue().toDouble(), 2.5);
        const double max = w->property("ValueMax").toDouble();
        EXPECT_EQ(value->maximumValue().toDouble(), max);
        value->setCurrentValue(max + 40);
        EXPECT_EQ(w->property("Value").toDouble(), c.input ? max : 2.5);
    }
}
