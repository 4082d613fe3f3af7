#include <gtest/gtest.h>

#include "framework/qvMeasIntf.h"
#include "support/qvTestConsumer.h"

namespace {

class CountingLink : public TQVMeasureLink
{
public:
    using TQVMeasureLink::TQVMeasureLink;
    void UpdateSettings() override
    {
        ++updateCalls;
        TQVMeasureLink::UpdateSettings();
    }
    int updateCalls = 0;
};

class RefusingSource : public TQVTestSource
{
public:
    void SetHarmonizeData(TQVMeasureLink *, bool) override {}
};

} // namespace

TEST(MeasureSource, StartsEmptyAndActive)
{
    TQVMeasureSource source;
    EXPECT_TRUE(source.Capabilities().IsEmpty());
    EXPECT_TRUE(source.Active());
    EXPECT_TRUE(source.Links().isEmpty());

    TQVMeasureSourceSettings settings{};
    settings.ChannelCount = 5;
    settings.XSpan = 2.0L;
    settings.BlockLength = 77;
    source.GetSettings(settings); // the base leaves the record untouched
    EXPECT_EQ(settings.ChannelCount, 5);
    EXPECT_EQ(static_cast<long double>(settings.XSpan), 2.0L);
    EXPECT_EQ(settings.BlockLength, 77);
}

TEST(MeasureSource, AddingSetsTheSourceAndUpdatesOnce)
{
    TQVTestSource source;
    source.SetSettings(1);
    int ownerCalls = 0;
    CountingLink link(nullptr);
    link.OnUpdateSettings = [&](TQVMeasureLink *l) {
        EXPECT_EQ(l, &link);
        ++ownerCalls;
    };
    source.AddMeasureLink(&link);
    EXPECT_EQ(link.Source(), &source);
    EXPECT_EQ(link.updateCalls, 1);
    EXPECT_EQ(ownerCalls, 1);
    ASSERT_EQ(source.Links().size(), 1);
    EXPECT_FALSE(source.GetHarmonizeData(&link));
    source.RemoveMeasureLink(&link);
}

TEST(MeasureSource, LinkAddedTwiceReceivesEveryBlockTwice)
{
    TQVTestSource source;
    TQVMeasureLink link(nullptr);
    int blocks = 0;
    link.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) { ++blocks; };
    source.AddMeasureLink(&link);
    source.AddMeasureLink(&link);
    TQVTestBlock block(1, 4);
    source.Send(block.Block);
    EXPECT_EQ(blocks, 2);
    source.RemoveMeasureLink(&link);
    source.RemoveMeasureLink(&link);
    EXPECT_TRUE(source.Links().isEmpty());
}

TEST(MeasureSource, RemovingAnUnknownLinkOnlyNullsItsSource)
{
    TQVTestSource source;
    TQVTestSource other;
    CountingLink link(nullptr);
    other.AddMeasureLink(&link);
    link.updateCalls = 0;

    source.RemoveMeasureLink(&link);
    EXPECT_EQ(link.Source(), nullptr);
    EXPECT_EQ(link.updateCalls, 0);
    // `other` still lists it: only the field was nulled.
    EXPECT_EQ(other.Links().size(), 1);
    other.RemoveMeasureLink(&link);
}

TEST(MeasureSource, RemovingKeepsHarmonizeFlagsParallelToLinks)
{
    TQVTestSource source;
    CountingLink a(nullptr), b(nullptr), c(nullptr);
    source.AddMeasureLink(&a);
    source.AddMeasureLink(&b);
    source.AddMeasureLink(&c);
    source.SetHarmonizeData(&a, true);
    source.SetHarmonizeData(&c, true);

    b.updateCalls = 0;
    source.RemoveMeasureLink(&b);
    EXPECT_EQ(b.Source(), nullptr);
    EXPECT_EQ(b.updateCalls, 1);
    ASSERT_EQ(source.Links().size(), 2);
    EXPECT_EQ(source.Links().at(0), &a);
    EXPECT_EQ(source.Links().at(1), &c);
    EXPECT_TRUE(source.GetHarmonizeData(&a));
    EXPECT_TRUE(source.GetHarmonizeData(&c));

    source.SetHarmonizeData(&c, false);
    EXPECT_FALSE(source.GetHarmonizeData(&c));
    EXPECT_TRUE(source.GetHarmonizeData(&a));
    source.RemoveMeasureLink(&a);
    source.RemoveMeasureLink(&c);
}

TEST(MeasureSource, HarmonizeDataOfAnUnattachedLink)
{
    TQVTestSource source;
    TQVMeasureLink attached(nullptr), stranger(nullptr);
    source.AddMeasureLink(&attached);

    source.SetHarmonizeData(&stranger, true); // ignored
    EXPECT_FALSE(source.GetHarmonizeData(&attached));
    try {
        source.GetHarmonizeData(&stranger);
        FAIL() << "expected the list-index error";
    } catch (const EListError &e) {
        EXPECT_EQ(e.Message(), QStringLiteral("List index out of bounds (-1)"));
    }
    source.RemoveMeasureLink(&attached);
}

TEST(MeasureSource, LinkSetHarmonizeReportsWhetherHonoured)
{
    TQVMeasureLink link(nullptr);
    EXPECT_FALSE(link.SetHarmonize(true)); // no source

    TQVTestSource source;
    link.SeTQVMeasureSource(&source);
    EXPECT_TRUE(link.SetHarmonize(true));
    EXPECT_TRUE(source.GetHarmonizeData(&link));
    EXPECT_TRUE(link.SetHarmonize(false));
    EXPECT_FALSE(source.GetHarmonizeData(&link));

    RefusingSource refusing;
    link.SeTQVMeasureSource(&refusing);
    EXPECT_FALSE(link.SetHarmonize(true));
    EXPECT_TRUE(link.SetHarmonize(false));
}

TEST(MeasureSource, DestructionLeavesLinksWithoutSourceAndTellsEachOnce)
{
    CountingLink a(nullptr), b(nullptr);
    int ownerCalls = 0;
    a.OnUpdateSettings = [&](TQVMeasureLink *) { ++ownerCalls; };
    b.OnUpdateSettings = [&](TQVMeasureLink *) { ++ownerCalls; };
    {
        TQVTestSource source;
        source.SetSettings(1);
        a.SeTQVMeasureSource(&source);
        b.SeTQVMeasureSource(&source);
        a.updateCalls = b.updateCalls = 0;
        ownerCalls = 0;
    }
    EXPECT_EQ(a.Source(), nullptr);
    EXPECT_EQ(b.Source(), nullptr);
    EXPECT_EQ(a.updateCalls, 1);
    EXPECT_EQ(b.updateCalls, 1);
    EXPECT_EQ(ownerCalls, 0); // with no source the owner hears nothing
}

TEST(MeasureSource, DeliversInOrderOfAttachment)
{
    TQVEventLog log;
    TQVTestSource source;
    source.SetSettings(1);
    TQVTestConsumer first(TQVTestConsumer::Plain, "first", &log);
    TQVTestConsumer second(TQVTestConsumer::Plain, "second", &log);
    TQVTestConsumer third(TQVTestConsumer::Plain, "third", &log);
    second.Connect(&source);
    first.Connect(&source);
    third.Connect(&source);
    EXPECT_EQ(log, (TQVEventLog{"second:settings", "first:settings", "third:settings"}));
    log.clear();

    TQVTestBlock block(1, 8);
    source.Send(block.Block);
    source.SendState(mssPause);
    EXPECT_EQ(log, (TQVEventLog{"second:data", "first:data", "third:data", "second:state", "first:state",
                                "third:state"}));
    EXPECT_EQ(first.States, std::vector<TQVMeasureSourceState>{mssPause});
    ASSERT_EQ(first.Blocks.size(), 1u);
    EXPECT_EQ(first.Blocks[0].Channel0Pointer, block.Samples[0].data()); // by reference, not copied
}

TEST(MeasureSource, LinksThatDetachWhileServedDoNotMakeOthersMissABlock)
{
    TQVTestSource source;
    TQVMeasureLink a(nullptr), b(nullptr), c(nullptr);
    std::vector<char> served;
    a.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) { served.push_back('a'); };
    b.OnNewData = [&](TQVMeasureLink *self, TQVDescArraySingle &) {
        served.push_back('b');
        self->SeTQVMeasureSource(nullptr); // leaves during its own call
    };
    c.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) {
        served.push_back('c');
        a.SeTQVMeasureSource(nullptr); // removes a link that was served before it
    };
    a.SeTQVMeasureSource(&source);
    b.SeTQVMeasureSource(&source);
    c.SeTQVMeasureSource(&source);
    TQVTestBlock block(1, 1);
    source.Send(block.Block);
    EXPECT_EQ(served, (std::vector<char>{'a', 'b', 'c'}));
    source.Send(block.Block);
    EXPECT_EQ(served, (std::vector<char>{'a', 'b', 'c', 'c'}));
    EXPECT_EQ(source.Links(), QList<TQVMeasureLink *>{&c});
}
