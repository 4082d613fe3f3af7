#include "indicators/qvColorMap.h"

#include <algorithm>
#include <cmath>

namespace {

// A polynomial of degree 6 per channel, fitted to a perceptually uniform map of the
// blue-green-yellow kind (lightness rising about linearly from 15 to 92).
constexpr double Coefficients[7][3] = {
    {0.2777273272234177, 0.005407344544966578, 0.3340998053353061},
    {0.1050930431085774, 1.404613529898575, 1.384590162594685},
    {-0.3308618287255563, 0.214847559468213, 0.09509516302823659},
    {-4.634230498983486, -5.799100973351585, -19.33244095627987},
    {6.228269936347081, 14.17993336680509, 56.69055260068105},
    {4.776384997670288, -13.74514537774601, -65.35303263337234},
    {-5.435455855934631, 4.645852612178535, 26.3124352495832},
};

} // namespace

QRgb QVLevelColor(double t)
{
    t = std::isnan(t) ? 0.0 : std::clamp(t, 0.0, 1.0);
    int rgb[3];
    for (int c = 0; c < 3; ++c) {
        double v = 0.0;
        for (int k = 6; k >= 0; --k) // Horner
            v = v * t + Coefficients[k][c];
        rgb[c] = int(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
    }
    return qRgb(rgb[0], rgb[1], rgb[2]);
}

const std::array<QRgb, 256> &QVLevelColorTable()
{
    static const std::array<QRgb, 256> table = [] {
        std::array<QRgb, 256> t{};
        for (std::size_t k = 0; k < t.size(); ++k)
            t[k] = QVLevelColor(double(k) / 255.0);
        return t;
    }();
    return table;
}
