#include <gtest/gtest.h>

#include "framework/qvComponent.h"
#include "framework/qvMeasIntf.h"

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
