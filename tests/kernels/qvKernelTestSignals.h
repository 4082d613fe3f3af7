#pragma once

// Test signals and comparisons shared by the kernel tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

namespace {

using Signal = std::vector<float>;

constexpr long double Pi = std::numbers::pi_v<long double>;
constexpr int LongSignal = 100000;

inline Signal NoiseAndSines(int count, unsigned seed)
{
    std::mt19937 random(seed);
    std::normal_distribution<float> noise(0.0f, 0.3f);
    Signal x(std::size_t(count), 0.0f);
    for (int n = 0; n < count; ++n)
        x[std::size_t(n)] = noise(random) + float(0.7 * std::sin(0.0123 * n) + 0.4 * std::sin(0.31 * n + 1.0)
                                                  + 0.2 * std::sin(0.0011 * n) + 0.05);
    return x;
}

// Distance in representable floats (finite values).
inline std::int64_t Ulps(float a, float b)
{
    const auto ordinal = [](float v) {
        std::int32_t i;
        std::memcpy(&i, &v, sizeof i);
        return i < 0 ? -std::int64_t(i & 0x7fffffff) : std::int64_t(i);
    };
    return std::llabs(ordinal(a) - ordinal(b));
}

inline ::testing::AssertionResult WithinUlps(const Signal &got, const Signal &want, std::int64_t ulps)
{
    if (got.size() != want.size())
        return ::testing::AssertionFailure() << "sizes differ";
    int bad = 0;
    std::size_t first = 0;
    for (std::size_t n = 0; n < got.size(); ++n) {
        if (!std::isfinite(want[n]) || Ulps(got[n], want[n]) > ulps) {
            if (bad++ == 0)
                first = n;
        }
    }
    if (bad == 0)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << bad << " samples off by more than " << ulps << " ulp, first at " << first
                                         << ": " << got[first] << " instead of " << want[first];
}

/// Runs `filter` over `x` in calls of `chunk` samples (all at once when 0).
template <typename Filter>
Signal InChunks(Signal x, int chunk, Filter &&filter)
{
    const int count = int(x.size()), step = chunk > 0 ? chunk : count;
    for (int base = 0; base < count; base += step)
        filter(x.data() + base, std::min(step, count - base));
    return x;
}

} // namespace
