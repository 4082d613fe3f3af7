#include <gtest/gtest.h>

#include <QtCore/QMetaProperty>
#include <QtCore/QVariant>

#include "framework/qvComponent.h"
#include "framework/qvExceptions.h"
#include "framework/qvMeasIntf.h"
#include "framework/qvResStrings.h"

namespace {

class LoadTracker : public TQVComponent
{
public:
    using TQVComponent::TQVComponent;
    void Loaded() override
    {
        TQVComponent::Loaded();
        loadingSeenInLoaded = IsLoading();
        ++loadedCalls;
    }
    bool loadingSeenInLoaded = true;
    int loadedCalls = 0;
};

} // namespace

TEST(Component, PublishesTagVersionAndCopyrightThroughTheMetaObject)
{
    TQVComponent component;
    const QMetaObject *meta = component.metaObject();
    for (const char *name : {"Tag", "Version", "Copyright", "objectName"})
        EXPECT_GE(meta->indexOfProperty(name), 0) << name;

    EXPECT_EQ(component.property("Version").toString(), QStringLiteral("7.0"));
    const QString notice = component.property("Copyright").toString();
    EXPECT_FALSE(notice.isEmpty());

    // Writes to the informational strings are accepted and ignored.
    EXPECT_TRUE(component.setProperty("Version", QStringLiteral("1.0")));
    EXPECT_TRUE(component.setProperty("Copyright", QStringLiteral("someone else")));
    EXPECT_EQ(component.property("Version").toString(), QStringLiteral("7.0"));
    EXPECT_EQ(component.property("Copyright").toString(), notice);

    EXPECT_TRUE(component.setProperty("Tag", 42));
    EXPECT_EQ(component.Tag(), 42);
}

TEST(Component, OwnerOwnsAndNames)
{
    auto *owner = new QObject;
    auto *component = new TQVComponent(owner);
    component->setObjectName(QStringLiteral("Source1"));
    EXPECT_EQ(owner->findChild<TQVComponent *>(QStringLiteral("Source1")), component);
    bool destroyed = false;
    QObject::connect(component, &QObject::destroyed, [&] { destroyed = true; });
    delete owner;
    EXPECT_TRUE(destroyed);
}

TEST(Component, DesigningIsInheritedFromTheOwnerAndPropagated)
{
    TQVComponent form;
    EXPECT_FALSE(form.IsDesigning());
    form.SetDesigning(true);
    TQVComponent child(&form);
    EXPECT_TRUE(child.IsDesigning());

    QObject plain(&form);
    TQVComponent grandChild(&plain); // through an owner without state
    EXPECT_TRUE(grandChild.IsDesigning());

    QVSetDesigning(&form, false);
    EXPECT_FALSE(form.IsDesigning());
    EXPECT_FALSE(child.IsDesigning());
    EXPECT_FALSE(grandChild.IsDesigning());
    QVSetDesigning(&plain, true);
    EXPECT_TRUE(grandChild.IsDesigning());
    EXPECT_FALSE(form.IsDesigning());
}

TEST(Component, LoadedEndsTheLoadingState)
{
    LoadTracker component;
    EXPECT_FALSE(component.IsLoading());
    component.BeginLoading();
    EXPECT_TRUE(component.IsLoading());
    EXPECT_EQ(component.ComponentState() & TQVComponentState::csLoading, TQVComponentState::csLoading);
    component.Loaded();
    EXPECT_EQ(component.loadedCalls, 1);
    EXPECT_FALSE(component.loadingSeenInLoaded);
    EXPECT_FALSE(component.IsLoading());
}

TEST(Component, ExceptionsCarryTheirMessage)
{
    const QString text = QStringLiteral("Wert außerhalb des Bereichs");
    try {
        throw ERangeError(text);
    } catch (const EQVException &e) {
        EXPECT_EQ(e.Message(), text);
        EXPECT_EQ(QString::fromUtf8(e.what()), text);
    }
    EXPECT_THROW(throw EConvertError(text), EQVException);
    EXPECT_THROW(throw EListError(text), EQVException);
    EXPECT_THROW(throw EQVMSIncompatibleSource(text), EQVException);
    EXPECT_THROW(throw EQVMSIncompatibleSource(text), std::exception);
}

TEST(Component, StringTableHoldsTheExactTexts)
{
    EXPECT_EQ(QVLoadResString(TQVResString::IncompatibleSingleValue),
              QStringLiteral("Component can process only individual values from channel 0!"));
    EXPECT_EQ(QVLoadResString(TQVResString::IncompatibleSingleChannel),
              QStringLiteral("Component can process only values from channel 0!"));
    EXPECT_EQ(QVLoadResString(TQVResString::IncompatibleDualChannel),
              QStringLiteral("Component can process only values from the channels 0 and 1!"));
}

TEST(Component, CapabilitySetUsesOrdinalBits)
{
    TQVMeasureSourceCapabilities caps{mscContinuous, mscSingleChannel};
    EXPECT_EQ(caps.Bits(), 0b001001);
    EXPECT_TRUE(caps.Contains(mscSingleChannel));
    EXPECT_FALSE(caps.Contains(mscDualChannel));
    caps = caps - mscSingleChannel + mscDualChannel;
    EXPECT_EQ(caps.Bits(), 0b010001);
    EXPECT_TRUE(caps.ContainsAll({mscContinuous, mscDualChannel}));
    EXPECT_FALSE(caps.ContainsAll({mscContinuous, mscSingleValue}));
    EXPECT_EQ((caps * TQVMeasureSourceCapabilities{mscDualChannel, mscSingleValue}).Bits(), 0b010000);
    EXPECT_TRUE(TQVMeasureSourceCapabilities().IsEmpty());
    EXPECT_EQ(TQVMeasureSourceCapabilities::FromBits(0b100000), TQVMeasureSourceCapabilities{mscSingleValue});
}
