#include <gtest/gtest.h>

#include <cstring>

#include "framework/qvMeasData.h"

// Offsets and sizes of the records are checked at compile time; these are the helpers
// that every consumer relies on to read them.

TEST(Layout, ClearedSettingsKeepBlockLengthAndHostArea)
{
    TQVMeasureSourceSettings settings;
    std::memset(static_cast<void *>(&settings), 0xAB, sizeof settings);

    QVClearSettings(settings);
    EXPECT_EQ(static_cast<long double>(settings.XStart), 0.0L);
    EXPECT_EQ(static_cast<long double>(settings.XSpan), 0.0L);
    EXPECT_EQ(settings.ChannelCount, 0);
    EXPECT_EQ(settings.RangeMin, 0.0f);
    EXPECT_EQ(settings.RangeMax, 0.0f);
    EXPECT_EQ(settings.HarmonizedBlockLength, 0);
    EXPECT_EQ(settings.BlockLength, int(0xABABABABu));
    for (unsigned char b : settings.HostArea)
        ASSERT_EQ(b, 0xAB);
}

TEST(Layout, ValidityAndEmptySlots)
{
    TQVMeasureSourceSettings settings{};
    settings.ChannelCount = 1;
    EXPECT_FALSE(QVSettingsValid(settings)); // span zero
    settings.XSpan = 0.5L;
    EXPECT_TRUE(QVSettingsValid(settings));
    settings.ChannelCount = 0;
    EXPECT_FALSE(QVSettingsValid(settings));

    float x = 1.0f;
    EXPECT_FALSE(QVHasData(QVDescArraySingle{&x, 0}));
    EXPECT_FALSE(QVHasData(QVDescArraySingle{&x, -3}));
    EXPECT_FALSE(QVHasData(QVDescArraySingle{nullptr, 5}));
    EXPECT_TRUE(QVHasData(QVDescArraySingle{&x, 1}));

    TQVDescArraySingle block{};
    block.HeaderWord = 9;
    for (auto &slot : block.Channels)
        slot = QVDescArraySingle{&x, 1};
    QVClearChannels(block);
    EXPECT_EQ(block.HeaderWord, 9);
    for (const auto &slot : block.Channels) {
        EXPECT_EQ(slot.Data, nullptr);
        EXPECT_EQ(slot.Count, 0);
    }
}
