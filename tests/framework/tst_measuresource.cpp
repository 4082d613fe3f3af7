#include <gtest/gtest.h>

#include <functional>

#include "framework/qvMeasIntf.h"
#include "support/qvTestConsumer.h"

namespace {

struct CountingLink : TQVMeasureLink
{
    CountingLink() : TQVMeasureLink(nullptr) {}
    void UpdateSettings() override
    {
        ++updateCalls;
        TQVMeasureLink::UpdateSettings();
    }
    int updateCalls = 0;
};

} // namespace

TEST(MeasureSource, AddingAndRemovingTellTheLinkAndKeepTheHarmonizeFlagsParallel)
{
    TQVTestSource source, other;
    source.SetSettings(1);
    CountingLink a, b, c, stranger;
    int ownerCalls = 0, blocks = 0;
    a.OnUpdateSettings = [&](TQVMeasureLink *l) {
        EXPECT_EQ(l, &a);
        ++ownerCalls;
    };
    a.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) { ++blocks; };
    source.AddMeasureLink(&a);
    EXPECT_EQ(a.Source(), &source);
    EXPECT_EQ(a.updateCalls, 1);
    EXPECT_EQ(ownerCalls, 1);
    EXPECT_FALSE(source.GetHarmonizeData(&a));
    source.AddMeasureLink(&a); // no duplicate test: served twice
    TQVTestBlock block(1, 4);
    source.Send(block.Block);
    EXPECT_EQ(blocks, 2);
    source.RemoveMeasureLink(&a);
    source.RemoveMeasureLink(&a);
    EXPECT_TRUE(source.Links().isEmpty());

    for (CountingLink *link : {&a, &b, &c})
        source.AddMeasureLink(link);
    source.SetHarmonizeData(&a, true);
    source.SetHarmonizeData(&c, true);
    b.updateCalls = 0;
    source.RemoveMeasureLink(&b);
    EXPECT_EQ(b.Source(), nullptr);
    EXPECT_EQ(b.updateCalls, 1);
    EXPECT_EQ(source.Links(), (QList<TQVMeasureLink *>{&a, &c}));
    EXPECT_TRUE(source.GetHarmonizeData(&a) && source.GetHarmonizeData(&c));
    source.SetHarmonizeData(&c, false);
    EXPECT_FALSE(source.GetHarmonizeData(&c));
    EXPECT_TRUE(source.GetHarmonizeData(&a));

    other.AddMeasureLink(&stranger);
    stranger.updateCalls = 0;
    source.RemoveMeasureLink(&stranger); // not listed here: only the field is nulled
    EXPECT_EQ(stranger.Source(), nullptr);
    EXPECT_EQ(stranger.updateCalls, 0);
    EXPECT_EQ(other.Links().size(), 1);
    other.RemoveMeasureLink(&stranger);
}

TEST(MeasureSource, HarmonizeFlagOfAnUnknownLinkAndWhetherARequestIsHonoured)
{
    TQVTestSource source;
    TQVMeasureLink link(nullptr), stranger(nullptr);
    EXPECT_FALSE(link.SetHarmonize(true)); // no source
    link.SeTQVMeasureSource(&source);
    source.SetHarmonizeData(&stranger, true); // ignored
    EXPECT_FALSE(source.GetHarmonizeData(&link));
    try {
        source.GetHarmonizeData(&stranger);
        FAIL() << "expected the list-index error";
    } catch (const EListError &e) {
        EXPECT_EQ(e.Message(), QStringLiteral("List index out of bounds (-1)"));
    }
    EXPECT_TRUE(link.SetHarmonize(true));
    EXPECT_TRUE(source.GetHarmonizeData(&link));
    EXPECT_TRUE(link.SetHarmonize(false));
    EXPECT_FALSE(source.GetHarmonizeData(&link));

    struct Refusing : TQVTestSource
    {
        void SetHarmonizeData(TQVMeasureLink *, bool) override {}
    } refusing;
    link.SeTQVMeasureSource(&refusing);
    EXPECT_FALSE(link.SetHarmonize(true));
    EXPECT_TRUE(link.SetHarmonize(false));
}

TEST(MeasureSource, DestructionLeavesLinksWithoutSourceAndTellsEachOnce)
{
    CountingLink a, b;
    int ownerCalls = 0;
    a.OnUpdateSettings = b.OnUpdateSettings = [&](TQVMeasureLink *) { ++ownerCalls; };
    {
        TQVTestSource source;
        source.SetSettings(1);
        a.SeTQVMeasureSource(&source);
        b.SeTQVMeasureSource(&source);
        a.updateCalls = b.updateCalls = ownerCalls = 0;
    }
    EXPECT_TRUE(a.Source() == nullptr && b.Source() == nullptr);
    EXPECT_TRUE(a.updateCalls == 1 && b.updateCalls == 1);
    EXPECT_EQ(ownerCalls, 0); // with no source the owner hears nothing
}

TEST(MeasureSource, LinksThatDetachWhileServedDoNotMakeOthersMissABlock)
{
    TQVTestSource source, other;
    TQVMeasureLink a(nullptr), b(nullptr), c(nullptr), d(nullptr);
    std::vector<char> served;
    auto serve = [&served](char name, std::function<void()> then = {}) {
        return [&served, name, then](TQVMeasureLink *, TQVDescArraySingle &) {
            served.push_back(name);
            if (then)
                then();
        };
    };
    a.OnNewData = serve('a');
    b.OnNewData = serve('b', [&] {
        b.SeTQVMeasureSource(nullptr); // leaves during its own call
        d.SeTQVMeasureSource(&other); // moves a link not served yet
    });
    c.OnNewData = serve('c', [&] { a.SeTQVMeasureSource(nullptr); }); // removes a link served before it
    d.OnNewData = serve('d');
    for (TQVMeasureLink *link : {&a, &b, &c, &d})
        link->SeTQVMeasureSource(&source);
    TQVTestBlock block(1, 1);
    source.Send(block.Block);
    source.Send(block.Block);
    EXPECT_EQ(served, (std::vector<char>{'a', 'b', 'c', 'c'}));
    EXPECT_EQ(source.Links(), QList<TQVMeasureLink *>{&c});
}
