#include <gtest/gtest.h>

#include <cstring>

#include "framework/qvMeasData.h"

// The records are binary contracts with the host's sources: a record written field by
// field must read back from the documented byte offsets.

TEST(Layout, BlockHeaderAtDocumentedOffsets)
{
    TQVDescArraySingle block{};
    block.HeaderValueA = 1.5L;
    block.HeaderValueB = -2.0L;
    block.HeaderWord = 0x01020304;
    float samples[3] = {1, 2, 3};
    block.Channels[64] = QVDescArraySingle{samples, 3};

    const auto *bytes = reinterpret_cast<const unsigned char *>(&block);
    EXPECT_EQ(TQVExtended::FromLongDouble(1.5L).ToLongDouble(),
              reinterpret_cast<const TQVExtended *>(bytes + 0)->ToLongDouble());
    EXPECT_EQ(reinterpret_cast<const TQVExtended *>(bytes + 16)->ToLongDouble(), -2.0L);
    std::int32_t word = 0;
    std::memcpy(&word, bytes + 28, 4);
    EXPECT_EQ(word, 0x01020304);

    const std::size_t slot = 32 + 64 * sizeof(QVDescArraySingle);
    float *data = nullptr;
    std::memcpy(&data, bytes + slot, sizeof data);
    EXPECT_EQ(data, samples);
    std::int32_t count = 0;
    std::memcpy(&count, bytes + slot + sizeof(void *), 4);
    EXPECT_EQ(count, 3);
}

TEST(Layout, SettingsAtDocumentedOffsets)
{
    TQVMeasureSourceSettings settings{};
    EXPECT_EQ(sizeof settings, 304u);
    settings.XSpan = 0.1L;
    settings.ChannelCount = 7;
    settings.RangeMin = -5.0f;
    settings.RangeMax = 5.0f;
    settings.BlockLength = 1000;
    settings.HarmonizedBlockLength = 4096;

    const auto *bytes = reinterpret_cast<const unsigned char *>(&settings);
    EXPECT_EQ(reinterpret_cast<const TQVExtended *>(bytes + 16)->ToLongDouble(), 0.1L);
    std::int32_t i = 0;
    float f = 0;
    std::memcpy(&i, bytes + 28, 4);
    EXPECT_EQ(i, 7);
    std::memcpy(&f, bytes + 32, 4);
    EXPECT_EQ(f, -5.0f);
    std::memcpy(&f, bytes + 36, 4);
    EXPECT_EQ(f, 5.0f);
    std::memcpy(&i, bytes + 40, 4);
    EXPECT_EQ(i, 1000);
    std::memcpy(&i, bytes + 300, 4);
    EXPECT_EQ(i, 4096);
}

TEST(Layout, ClearedSettingsKeepBlockLengthAndHostArea)
{
    TQVMeasureSourceSettings settings{};
    settings.XStart = 3.0L;
    settings.XSpan = 1.0L;
    settings.ChannelCount = 2;
    settings.RangeMin = -1.0f;
    settings.RangeMax = 1.0f;
    settings.BlockLength = 512;
    settings.HarmonizedBlockLength = 1024;
    std::memset(settings.HostArea, 0xAB, sizeof settings.HostArea);

    QVClearSettings(settings);
    EXPECT_EQ(static_cast<long double>(settings.XStart), 0.0L);
    EXPECT_EQ(static_cast<long double>(settings.XSpan), 0.0L);
    EXPECT_EQ(settings.ChannelCount, 0);
    EXPECT_EQ(settings.RangeMin, 0.0f);
    EXPECT_EQ(settings.RangeMax, 0.0f);
    EXPECT_EQ(settings.HarmonizedBlockLength, 0);
    EXPECT_EQ(settings.BlockLength, 512);
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
