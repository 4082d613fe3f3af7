#pragma once

// The analyzer's sum of squares in 16 double lanes: the portable kernel and the tail of
// the wider ones. A product of two floats is exact in double, so the only errors are the
// additions of non-negative terms: per lane at most n / 16 of them, then at most 6 levels
// of the pairwise reduction, each rounding by 2^-53 relative to the sum.

namespace QVKernels {
namespace {

inline double SumOfSquaresLanes(const float *x, int n)
{
    constexpr int Lanes = 16;
    double lanes[Lanes] = {};
    int i = 0;
    for (; i + Lanes <= n; i += Lanes) {
        for (int k = 0; k < Lanes; ++k)
            lanes[k] += double(x[i + k]) * double(x[i + k]);
    }
    for (int k = 0; i < n; ++i, ++k)
        lanes[k] += double(x[i]) * double(x[i]);
    for (int width = Lanes / 2; width > 0; width /= 2) {
        for (int k = 0; k < width; ++k)
            lanes[k] += lanes[k + width];
    }
    return lanes[0];
}

} // namespace
} // namespace QVKernels
