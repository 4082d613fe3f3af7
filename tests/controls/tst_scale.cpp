#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <tuple>

#include <QtGui/QImage>

#include "controls/qvbargraphint.h"
#include "controls/qvDial.h"
#include "controls/qvmeterInt.h"
#include "controls/qvSlider.h"
#include "controls/scale/qvScaleDraw.h"
#include "controls/scale/qvScaleEngine.h"

namespace {

// The smallest member of the 1-2-5 series not below `raw`, found by walking the series.
long double SeriesStepAtLeast(long double raw)
{
    for (int e = -15; e <= 15; ++e) {
        for (long double m : {1.0L, 2.0L, 5.0L}) {
            const long double step = m * std::pow(10.0L, e);
            if (step >= raw * (1 - 1e-12L))
                return step;
        }
    }
    return 0;
}

bool InSeries(double step)
{
    const long double nice = SeriesStepAtLeast(step);
    return std::fabs(nice - step) <= 1e-12L * step;
}

} // namespace

TEST(ScaleEngine, NiceStepsAndTheirDecimals)
{
    for (double raw = 1.37e-9; raw < 1e9; raw *= 2.91) {
        const double step = QVNiceStep(raw);
        EXPECT_NEAR(step, double(SeriesStepAtLeast(raw)), step * 1e-12) << raw;
        // A step of m · 10^-d needs exactly d decimals (0 for whole steps).
        const int d = step >= 1.0 ? 0 : int(std::lround(-std::floor(std::log10(step) + 1e-9)));
        EXPECT_EQ(QVStepDecimals(step), d) << step;
    }
    EXPECT_EQ(QVNiceStep(0.0), 0.0);
    EXPECT_EQ(QVNiceStep(std::nan("")), 0.0);
    EXPECT_EQ(QVStepDecimals(0.25), 2);
}

TEST(ScaleEngine, LabelStrideIsTheSmallestThatKeepsLabelsApart)
{
    for (int pitch = 1; pitch <= 40; pitch += 3) {
        for (int need = 0; need <= 130; need += 7) {
            int k = 1;
            while (k * pitch < need)
                ++k;
            EXPECT_EQ(QVLabelStride(pitch, need), k) << pitch << ' ' << need;
            EXPECT_EQ(QVLabelStride(double(pitch), double(need)), k);
        }
    }
    EXPECT_EQ(QVLabelStride(0, 50), 1);
}

// The adaptive division over a matrix of ranges and lengths, with labels 7 pixels a character.
TEST(ScaleEngine, AdaptiveDivisionLabelsBothEndsWithoutCollisions)
{
    struct Range { double lo, hi, gap; int prefix; };
    const Range ranges[] = {{0, 1, 0.1, 0},     {0, 10, 0.5, 0},         {-1e6, 1e6, 1000, 0}, {1, 1 + 1e-6, 1e-8, 0},
                            {0, 7.3, 0.5, 0},   {-40, 12, 1, 0},        {0, 400000, 5000, sipKilo}, {0, 1e-6, 0, sipMikro},
                            {1e15, 1e15 + 1, 0, 0}, {-1e18 - 256, -1e18, 0, 0}};
    for (const Range &range : ranges) {
        for (double length : {60.0, 120.0, 250.0, 800.0}) {
            TQVAdaptiveScaleRequest r;
            r.ValueMin = range.lo;
            r.ValueMax = range.hi;
            r.Length = length;
            r.MinTickGap = range.gap;
            r.PrefixId = range.prefix;
            r.Locale = QLocale::c();
            r.Extent = [](const QString &text) { return 7.0 * text.size(); };
            const TQVScaleDivision div = QVAdaptiveDivision(r);
            SCOPED_TRACE(testing::Message() << range.lo << ".." << range.hi << " in " << length);
            ASSERT_FALSE(div.IsEmpty());
            std::vector<double> majors;
            for (const TQVScaleTick &t : div.Ticks)
                if (t.Major)
                    majors.push_back(t.Value);
            ASSERT_EQ(majors.size(), div.Texts.size());
            EXPECT_TRUE(InSeries(div.MajorStep)) << div.MajorStep;
            EXPECT_EQ(majors.front(), range.lo);
            if (majors.size() > 1) {
                EXPECT_EQ(majors.back(), range.hi);
            }
            const double perValue = length / (range.hi - range.lo);
            std::set<QString> distinct;
            for (std::size_t i = 0; i < majors.size(); ++i) {
                distinct.insert(div.Texts[i]);
                if (i > 0) {
                    const double apart = (majors[i] - majors[i - 1]) * perValue;
                    EXPECT_GE(apart, 3.5 * (div.Texts[i].size() + div.Texts[i - 1].size()) + r.LabelPadding - 1e-9);
                }
                // Inner labels stand on multiples of the step.
                if (i > 0 && i + 1 < majors.size()) {
                    const double k = majors[i] / div.MajorStep;
                    EXPECT_NEAR(k, std::round(k), 1e-6) << majors[i];
                }
            }
            EXPECT_EQ(distinct.size(), div.Texts.size()) << "labels repeat";
            for (std::size_t i = 1; i < div.Ticks.size(); ++i) {
                EXPECT_GT(div.Ticks[i].Value, div.Ticks[i - 1].Value);
                if (!div.Ticks[i].Major && !div.Ticks[i - 1].Major) {
                    EXPECT_GE((div.Ticks[i].Value - div.Ticks[i - 1].Value) * perValue, r.MinTickPixels - 1e-9);
                }
            }
            EXPECT_GE(div.MinorStep, range.gap * (1 - 1e-9));
        }
    }
}

TEST(ScaleEngine, AdaptiveTextsUseTheStepsDecimals)
{
    TQVAdaptiveScaleRequest r;
    r.ValueMin = 0;
    r.ValueMax = 10;
    r.Length = 400;
    r.Locale = QLocale::c();
    r.Extent = [](const QString &text) { return 7.0 * text.size(); };
    for (double step : {0.5, 1.0, 2.0}) {
        r.MinTickGap = step;
        const TQVScaleDivision div = QVAdaptiveDivision(r);
        for (const QString &text : div.Texts) // QVStepDecimals is checked against the closed form above
            EXPECT_EQ(text.contains(QLatin1Char('.')) ? text.size() - text.indexOf(QLatin1Char('.')) - 1 : 0,
                      QVStepDecimals(div.MajorStep)) << text.toStdString();
    }
    r.Decimals = 3; // the user's decimals win
    EXPECT_EQ(QVAdaptiveDivision(r).Texts.front(), QStringLiteral("0.000"));
    // Number and unit apart, as on the plot's axes; a sign stays attached, a spaced unit as it is.
    r.Decimals = 0;
    r.ValueMax = 10000;
    // A compact prefix follows the number at once, and zero reads without it.
    for (const auto &[suffix, prefix, compact, first, last] :
         {std::tuple{"", int(sipKilo), true, "0", "10k"}, {"Hz", int(sipKilo), false, "0 kHz", "10 kHz"},
          {"\u00b0", int(sipNone), false, "0\u00b0", "10000\u00b0"}, {" V", int(sipNone), false, "0 V", "10000 V"}}) {
        r.Suffix = QString::fromUtf8(suffix);
        r.PrefixId = prefix;
        r.CompactPrefix = compact;
        EXPECT_EQ(QVAdaptiveDivision(r).Texts.front(), QString::fromUtf8(first));
        EXPECT_EQ(QVAdaptiveDivision(r).Texts.back(), QString::fromUtf8(last));
    }
    r.ValueMax = 1e6; // zero without an exponent beside scientific labels
    EXPECT_EQ(QVAdaptiveDivision(r).Texts.front(), QStringLiteral("0 V"));
}

namespace {

struct LayoutCase
{
    double lo, hi;
    int prefix;
    int w, h;
};

// The labels of a linear control: inside the widget, off the track, apart; returns how many.
std::size_t ExpectApart(const TQVLinearScaleControl &control, const char *what)
{
    std::vector<QRectF> labels;
    for (const auto &label : control.AdaptiveLayout().Labels)
        labels.push_back(label.Box);
    const QRectF body(control.AdaptiveLayout().Track), widget(control.rect());
    for (std::size_t i = 0; i < labels.size(); ++i) {
        EXPECT_TRUE(widget.contains(labels[i])) << what << " label " << i << " leaves the widget";
        EXPECT_FALSE(labels[i].intersects(body)) << what << " label " << i << " covers the bar";
        for (std::size_t j = i + 1; j < labels.size(); ++j)
            EXPECT_FALSE(labels[i].intersects(labels[j])) << what << " labels " << i << " and " << j << " overlap";
    }
    return labels.size();
}

} // namespace

// In the adaptive layout no label covers the bar, track, arc or another label, and all stay in
// the widget; nothing is written back into the published gap.
TEST(ScaleLayout, AdaptiveLabelsStayApartAndInside)
{
    const LayoutCase cases[] = {{0, 1, 0, 60, 60},           {0, 10, 0, 120, 300},      {-1e6, 1e6, 0, 250, 250},
                                {1, 1 + 1e-6, 0, 300, 120},  {0, 400000, sipKilo, 90, 800}, {0, 10, 0, 800, 140},
                                {-40, 12, 0, 260, 160},      {0, 1e-6, sipMikro, 160, 60}, {0, 1e5, 0, 160, 160},  {0, 10, 0, 80, 80}};
    for (const LayoutCase &c : cases) {
        SCOPED_TRACE(testing::Message() << c.lo << ".." << c.hi << " at " << c.w << "x" << c.h);
        QImage image(c.w, c.h, QImage::Format_ARGB32);
        for (bool vertical : {true, false}) {
            TQVBarGraphInt bar;
            bar.SetScaleLayout(slAdaptive);
            bar.SetKind(vertical ? TQVBarGraphInt::sbVertical : TQVBarGraphInt::sbHorizontal);
            bar.SetValueParams(c.lo, c.hi);
            bar.SetLabelingGap((c.hi - c.lo) / 1000);
            bar.SetLabelScientificUnitPosfix(c.prefix);
            bar.SetLabelTextPosfix(c.prefix ? QStringLiteral("Hz") : QString());
            bar.SetLabelingStyle(TQVBarGraphInt::lbsSymmetric);
            bar.resize(c.w, c.h);
            bar.render(&image);
            EXPECT_EQ(bar.LabelingGap(), (c.hi - c.lo) / 1000);
            const std::size_t count = ExpectApart(bar, "bar");
            if (std::min(c.w, c.h) >= 120) {
                EXPECT_GE(count, 4u); // both ends, on both sides
            }

            TQVSlider slider;
            slider.SetScaleLayout(slAdaptive);
            slider.SetKind(vertical ? TQVSlider::sbVertical : TQVSlider::sbHorizontal);
            slider.SetValueMax(c.hi);
            slider.SetValueMin(c.lo);
            slider.SetLabelScientificUnitPosfix(c.prefix);
            slider.SetLabelingStyle(TQVSlider::lbsBoth);
            slider.SetLabelingOrientation(TQVSlider::lboRight);
            slider.resize(c.w, c.h);
            slider.render(&image);
            ExpectApart(slider, "slider");
        }

        // Round scales: labels inside the widget, beyond the arc (and the dial's knob), apart;
        // large values read in a prefix, as neither has its unit on the scale.
        const auto expectRound = [&](auto &widget, const char *what) {
            widget.SetScaleLayout(slAdaptive);
            widget.SetValueMax(c.hi);
            widget.SetValueMin(c.lo);
            widget.SetValueGap((c.hi - c.lo) / 1000);
            widget.resize(c.w, c.h);
            widget.render(&image);
            EXPECT_EQ(widget.ValueGap(), (c.hi - c.lo) / 1000) << what;
            const TQVRoundScaleLayout &round = widget.AdaptiveLayout();
            ASSERT_TRUE(round.Valid) << what;
            const auto &labels = round.Labels;
            if (std::min(c.w, c.h) >= 80) {
                EXPECT_GE(labels.size(), 2u) << what;
            }
            if (c.hi == 1e5) {
                EXPECT_EQ(labels.back().Text, QStringLiteral("100k")) << what;
            }
            for (std::size_t i = 0; i < labels.size(); ++i) {
                const QRectF &box = labels[i].Box;
                EXPECT_TRUE(QRectF(widget.rect()).contains(box)) << what << " label " << i << " leaves the widget";
                // The nearest point of the box to the centre lies beyond the arc.
                const QPointF p(std::clamp(round.Centre.x(), box.left(), box.right()),
                                std::clamp(round.Centre.y(), box.top(), box.bottom()));
                EXPECT_GT(std::hypot(p.x() - round.Centre.x(), p.y() - round.Centre.y()), round.Outer) << what << " label " << i;
                for (std::size_t j = i + 1; j < labels.size(); ++j)
                    EXPECT_FALSE(box.intersects(labels[j].Box)) << what << " labels " << i << " and " << j << " overlap";
            }
        };
        TQVMeterInt meter;
        expectRound(meter, "meter");
        TQVDial dial;
        expectRound(dial, "dial");
        EXPECT_LT(dial.Geometry().KnobRadius, dial.AdaptiveLayout().Outer);
        dial.SetScaleAngle2(100.0); // a new arc is laid out again
        EXPECT_EQ(dial.AdaptiveLayout().Angle2, 100.0);
    }
}

// At its size hint an adaptive bar shows its labels on both sides, in the instrument's own font.
TEST(ScaleLayout, AdaptiveSizeHintLeavesRoomForTheLabels)
{
    for (auto kind : {TQVBarGraphInt::sbVertical, TQVBarGraphInt::sbHorizontal}) {
        TQVBarGraphInt bar;
        bar.SetScaleLayout(slAdaptive);
        bar.SetKind(kind);
        bar.SetValueParams(0, 400000);
        bar.SetLabelScientificUnitPosfix(sipKilo);
        bar.SetLabelTextPosfix(QStringLiteral("Hz"));
        bar.SetLabelingStyle(TQVBarGraphInt::lbsSymmetric);
        bar.resize(bar.sizeHint());
        QImage image(bar.size(), QImage::Format_ARGB32);
        bar.render(&image);
        const TQVLinearScaleLayout &layout = bar.AdaptiveLayout();
        int first = 0, second = 0;
        for (const auto &label : layout.Labels)
            ++(kind == TQVBarGraphInt::sbVertical ? (label.Box.right() <= layout.Track.left() ? first : second)
                                                  : (label.Box.bottom() <= layout.Track.top() ? first : second));
        EXPECT_GE(first, 2);
        EXPECT_EQ(first, second);
        EXPECT_LE(bar.minimumSizeHint().width(), bar.sizeHint().width());
        EXPECT_LE(bar.minimumSizeHint().height(), bar.sizeHint().height());
    }
}
