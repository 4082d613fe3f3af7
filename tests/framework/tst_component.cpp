#include <gtest/gtest.h>

#include <QtCore/QVariant>

#include "framework/qvComponent.h"
#include "framework/qvExceptions.h"
#include "framework/qvMeasIntf.h"

TEST(Component, InformationalStringsIgnoreWrites)
{
    TQVComponent component;
    const QString notice = component.property("Copyright").toString();
    EXPECT_FALSE(notice.isEmpty());
    EXPECT_TRUE(component.setProperty("Version", QStringLiteral("1.0")));
    EXPECT_TRUE(component.setProperty("Copyright", QStringLiteral("someone else")));
    EXPECT_EQ(component.property("Version").toString(), QStringLiteral("7.0"));
    EXPECT_EQ(component.property("Copyright").toString(), notice);
}

TEST(Component, TheOwnerOwnsAndPassesOnTheDesigningState)
{
    auto *form = new TQVComponent;
    form->SetDesigning(true);
    auto *child = new TQVComponent(form);
    auto *plain = new QObject(form);
    auto *grandChild = new TQVComponent(plain); // through an owner without state
    EXPECT_TRUE(child->IsDesigning() && grandChild->IsDesigning());

    QVSetDesigning(form, false);
    EXPECT_FALSE(form->IsDesigning() || child->IsDesigning() || grandChild->IsDesigning());
    QVSetDesigning(plain, true);
    EXPECT_TRUE(grandChild->IsDesigning());
    EXPECT_FALSE(form->IsDesigning());

    bool destroyed = false;
    QObject::connect(grandChild, &QObject::destroyed, [&] { destroyed = true; });
    delete form;
    EXPECT_TRUE(destroyed);
}

TEST(Component, ExceptionsCarryTheirMessage)
{
    const QString text = QStringLiteral("Wert außerhalb des Bereichs");
    try {
        throw EListError(text);
    } catch (const EQVException &e) {
        EXPECT_EQ(e.Message(), text);
        EXPECT_EQ(QString::fromUtf8(e.what()), text);
    }
}

TEST(Component, CapabilitySetUsesOrdinalBits)
{
    TQVMeasureSourceCapabilities caps{mscContinuous, mscSingleChannel};
    EXPECT_EQ(caps.Bits(), 0b001001);
    caps = caps - mscSingleChannel + mscDualChannel;
    EXPECT_EQ(caps.Bits(), 0b010001);
    EXPECT_TRUE(caps.ContainsAll({mscContinuous, mscDualChannel}));
    EXPECT_FALSE(caps.ContainsAll({mscContinuous, mscSingleValue}));
    EXPECT_EQ((caps * TQVMeasureSourceCapabilities{mscDualChannel, mscSingleValue}).Bits(), 0b010000);
    EXPECT_EQ(TQVMeasureSourceCapabilities::FromBits(0b100000), TQVMeasureSourceCapabilities{mscSingleValue});
}
