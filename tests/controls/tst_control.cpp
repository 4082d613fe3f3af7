#include <gtest/gtest.h>

#include <QtCore/QVariant>
#include <QtWidgets/QWidget>

#include "controls/qvControl.h"
#include "framework/qvMeasIntf.h"

TEST(CustomControl, PublishesTheComponentProperties)
{
    TQVCustomControl control;
    EXPECT_EQ(control.property("Version").toString(), QStringLiteral("7.0"));
    control.setProperty("Version", QStringLiteral("8.0"));
    EXPECT_EQ(control.property("Version").toString(), QStringLiteral("7.0"));
    EXPECT_EQ(control.property("Copyright").toString(), QVCopyrightText());
    control.setProperty("Tag", -7);
    EXPECT_EQ(control.Tag(), -7);
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
