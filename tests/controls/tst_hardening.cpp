// Absurd values written through the meta-object or read from forms: every instrument keeps
// them, paints at any size and pixel ratio in well under a second, takes new values and
// reports sane rectangles. Overflows and overruns fail the sanitizer build.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <memory>

#include <QtCore/QElapsedTimer>
#include <QtGui/QImage>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>

#include "controls/qvSlider.h"
#include "framework/qvForm.h"
#include "framework/qvRegistry.h"
#include "indicators/QVPlot.h"
#include "indicators/qvRegister.h"

namespace {

const TQVClassRegistry &Registry()
{
    static const TQVClassRegistry registry = [] {
        TQVClassRegistry r;
        Register(r);
        return r;
    }();
    return registry;
}

void PaintEverywhere(QWidget &w)
{
    for (const QSize size : {QSize(1, 1), QSize(7, 300), QSize(80, 80), QSize(260, 160), QSize(800, 600)}) {
        w.resize(size);
        for (const int dpr : {1, 2}) {
            SCOPED_TRACE(QStringLiteral("%1x%2 @%3").arg(size.width()).arg(size.height()).arg(dpr).toStdString());
            QImage image(size * dpr, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            image.setDevicePixelRatio(dpr);
            QElapsedTimer timer;
            timer.start();
            w.render(&image);
            EXPECT_LT(timer.elapsed(), 1000);
            EXPECT_EQ(qAlpha(image.pixel(0, 0)), 255);
            // Pinned pixel values keep every rectangle far from the ends of int.
            const auto *slider = qobject_cast<TQVSlider *>(&w);
            for (const QRect r : {static_cast<TQVCustomPanel &>(w).ClientRect(), QRect(QPoint(), w.sizeHint()),
                                  QRect(QPoint(), w.minimumSizeHint()), slider ? slider->ButtonRect() : QRect()})
                EXPECT_LT(std::max({std::abs(r.left()), std::abs(r.top()), std::abs(r.right()), std::abs(r.bottom())}), 1 << 20);
        }
    }
    w.show(); // value repaints run on a visible widget only
    for (const double v : {1e308, -1e308, std::nan(""), 0.5, HUGE_VAL}) {
        if (w.metaObject()->indexOfProperty("Value") >= 0)
            w.setProperty("Value", v);
    }
    EXPECT_FALSE(std::isnan(w.property("Value").toDouble())); // the last value written was +inf
    for (int i = 0; i < 2; ++i) { // a remainder plus INT_MAX once overflowed the dial's notch count
        QWheelEvent wheel(QPointF(), QPointF(), QPoint(), QPoint(0, INT_MAX), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&w, &wheel);
    }
    // Painting may enlarge a scale gap, never to infinity: forms store it.
    for (const char *gap : {"ValueGap", "LabelingGap"})
        EXPECT_FALSE(std::isinf(w.property(gap).toDouble())) << gap;
}

} // namespace

TEST(Hardening, AbsurdPropertyValuesPaintAndReadBack)
{
    struct Row
    {
        const char *cls, *property;
        QVariant value;
    } const rows[] = {
        // Reported: a NaN needle tip overran the slices; widths overflowed; a frame loop of seconds.
        {"TQVMeter", "ValueMin", -1e308}, {"TQVMeter", "MeterAngle1", 1e308}, {"TQVMeter", "MeterAngle2", 1e308},
        {"TQVMeter", "BevelWidth", INT_MAX}, {"TQVDial", "BorderWidth", INT_MAX},
        {"TQVPanelMeter", "BevelWidth", INT_MAX}, {"TQVBarGraph", "BevelWidth", INT_MAX},
        {"TQVSlider", "BevelWidth", INT_MAX}, {"TQVBarGraph", "BarWidth", INT_MIN},
        {"TQVBarGraph", "OffsetLower", INT_MIN}, {"TQVBarGraph", "OffsetUpper", INT_MIN},
        {"TQVSlider", "OffsetLower", INT_MAX}, {"TQVSlider", "OffsetUpper", INT_MAX},
        {"TQVSlider", "ButtonHeight", INT_MAX},
        // Found since: bands wound a million turns and ticks by the hundred thousand (paints
        // of seconds), label patterns of gigabytes, overflowing borders, an infinite gap.
        {"TQVMeter", "ValueMax", -1e18}, {"TQVMeter", "RangeLimit", 1e18}, {"TQVMeter", "MeterAngle1", -1e18},
        {"TQVBarGraph", "ValueMin", -1e308}, {"TQVBarGraph", "LabelingDecimals", INT_MAX},
        {"TQVSlider", "LabelingDecimals", INT_MAX}, {"TQVSlider", "SliderWidth", INT_MAX},
        {"TQVSlider", "ValueMin", -HUGE_VAL}, {"TQVPlot", "BorderWidth", INT_MAX}, {"TQVPlot", "YMin", -1e308},
        {"TQVLed", "BorderWidth", INT_MAX},
    };
    for (const int layout : {0, 1})
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.cls) + "." + row.property + " = " + row.value.toString().toStdString()
                     + (layout ? " (adaptive)" : ""));
        const QString cls = QString::fromLatin1(row.cls);
        std::unique_ptr<QWidget> w(cls == u"TQVPlot" ? new TQVPlot : qobject_cast<QWidget *>(Registry().Create(cls)));
        w->setProperty("LabelingStyle", "lbsSymmetric"); // where there is one: the scale is computed too
        if (layout)
            w->setProperty("ScaleLayout", layout); // where the class has it
        w->setProperty(row.property, row.value);
        PaintEverywhere(*w);
        EXPECT_EQ(w->property(row.property), row.value);
    }
}

TEST(Hardening, FormsWithAbsurdValuesPaint)
{
    const char *const forms[] = {
        // Reported: the needle's slices overran on a NaN tip.
        "object Meter1: TQVMeter\n  Left = 0\n  Top = 0\n  Width = 133\n  Height = 133\n  ValueMin = -1E308\nend\n",
        // Stream data skips the setters: a negative gap made every paint count labels for seconds.
        "object Slider1: TQVSlider\n  LabelingStyle = lbsBoth\n  Doubles = ( 0.0 0.0 100.0 0.0 -1.0 )\nend\n",
        // An infinite step snapped every new value to NaN.
        "object Slider1: TQVSlider\n  Doubles = ( 0.0 0.0 100.0 +INF 5.0 )\nend\n",
    };
    for (const char *form : forms) {
        SCOPED_TRACE(form);
        QWidget owner;
        auto *widget = qobject_cast<QWidget *>(TQVFormReader(Registry()).ReadUtf8(form, &owner).value(0));
        ASSERT_NE(widget, nullptr);
        PaintEverywhere(*widget);
    }
}
