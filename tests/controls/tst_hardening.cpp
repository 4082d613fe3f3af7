// Absurd property values written through the meta-object, as a form or Qt Designer would:
// every instrument keeps what its setter accepted, paints at any size and pixel ratio,
// takes new values and reports sane rectangles. The faults these rows once triggered
// (integer overflows, out-of-range conversions, an overrun, paints of seconds) show up as
// failures of the sanitizer build.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <memory>

#include <QtCore/QElapsedTimer>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "framework/qvForm.h"
#include "framework/qvRegistry.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/QVPlot.h"
#include "indicators/qvRegister.h"

namespace {

constexpr double Nan = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();
// A rectangle or size hint beyond this has come from an overflow or a pixel never pinned.
constexpr int SaneBound = 1 << 20;

enum Expect { Kept, Ignored };

struct Row
{
    const char *cls;
    const char *property;
    QVariant value;
    Expect expect;
};

std::unique_ptr<QWidget> Make(const QString &cls)
{
    static TQVClassRegistry registry = [] {
        TQVClassRegistry r;
        Register(r);
        return r;
    }();
    if (cls == u"TQVPlot")
        return std::make_unique<TQVPlot>();
    auto widget = std::unique_ptr<QWidget>(qobject_cast<QWidget *>(registry.Create(cls)));
    // Labels on, so that the scale computations run too.
    if (cls == u"TQVBarGraph" || cls == u"TQVSlider")
        widget->setProperty("LabelingStyle", cls == u"TQVBarGraph" ? "lbsSymmetric" : "lbsBoth");
    return widget;
}

bool Sane(const QRect &r)
{
    return std::abs(r.left()) < SaneBound && std::abs(r.top()) < SaneBound && std::abs(r.right()) < SaneBound
        && std::abs(r.bottom()) < SaneBound;
}

QList<QRect> Rects(QWidget *w)
{
    QList<QRect> rects{static_cast<TQVCustomPanel *>(w)->ClientRect(), QRect(QPoint(), w->sizeHint()),
                       QRect(QPoint(), w->minimumSizeHint())};
    if (auto *s = qobject_cast<TQVSlider *>(w))
        rects << s->ButtonRect() << s->SlideRect();
    if (auto *d = qobject_cast<TQVDial *>(w))
        rects << d->KnobRect();
    if (auto *m = qobject_cast<TQVMeterInt *>(w))
        rects << m->IndicatorRect();
    if (auto *b = qobject_cast<TQVBarGraphInt *>(w))
        rects << b->BarRect();
    if (auto *p = qobject_cast<TQVPanelMeterInt *>(w))
        rects << p->DigitRect();
    if (auto *p = qobject_cast<TQVPlot *>(w))
        rects << p->PlotRect();
    return rects;
}

// Paints `w` at every test size and ratio, each paint in well under a second, then sets
// values on the visible widget (the value repaint paths).
void PaintEverywhere(QWidget &w)
{
    // Painting may enlarge a scale gap, never into infinity: forms store it.
    const char *const gaps[] = {"ValueGap", "LabelingGap"};
    const bool finite[] = {std::isfinite(w.property(gaps[0]).toDouble()), std::isfinite(w.property(gaps[1]).toDouble())};
    for (const QSize size : {QSize(1, 1), QSize(7, 300), QSize(80, 80), QSize(260, 160), QSize(800, 600)}) {
        w.resize(size);
        for (const int dpr : {1, 2}) {
            QImage image(size * dpr, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            image.setDevicePixelRatio(dpr);
            QElapsedTimer timer;
            timer.start();
            w.render(&image);
            EXPECT_LT(timer.elapsed(), 1000) << size.width() << "x" << size.height() << " @" << dpr;
            EXPECT_EQ(qAlpha(image.pixel(0, 0)), 255) << size.width() << "x" << size.height() << " @" << dpr;
            for (const QRect &r : Rects(&w))
                EXPECT_TRUE(Sane(r)) << r.x() << "," << r.y() << " " << r.width() << "x" << r.height();
        }
    }
    w.show();
    for (const double v : {1e308, -1e308, Nan, 0.5, Inf}) {
        if (w.metaObject()->indexOfProperty("Value") >= 0)
            w.setProperty("Value", v);
    }
    w.hide();
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(!finite[i] || std::isfinite(w.property(gaps[i]).toDouble())) << gaps[i];
}

} // namespace

TEST(Hardening, AbsurdPropertyValuesPaintAndKeepTheirValue)
{
    const Row rows[] = {
        // Reported: a NaN needle tip overran the slices; widths overflowed; a frame loop of seconds.
        {"TQVMeter", "ValueMin", -1e308, Kept},
        {"TQVMeter", "MeterAngle1", 1e308, Kept},
        {"TQVMeter", "MeterAngle2", 1e308, Kept},
        {"TQVMeter", "BevelWidth", INT_MAX, Kept},
        {"TQVDial", "BorderWidth", INT_MAX, Kept},
        {"TQVPanelMeter", "BevelWidth", INT_MAX, Kept},
        {"TQVBarGraph", "BevelWidth", INT_MAX, Kept},
        {"TQVSlider", "BevelWidth", INT_MAX, Kept},
        {"TQVBarGraph", "BarWidth", INT_MIN, Kept},
        {"TQVBarGraph", "OffsetLower", INT_MIN, Kept},
        {"TQVBarGraph", "OffsetUpper", INT_MIN, Kept},
        {"TQVSlider", "OffsetLower", INT_MAX, Kept},
        {"TQVSlider", "OffsetUpper", INT_MAX, Kept},
        {"TQVSlider", "ButtonHeight", INT_MAX, Kept},
        // Found since: bands wound a million times (paints of seconds), label patterns of
        // gigabytes, a border overflowing the client rectangle, a gap enlarged to infinity.
        {"TQVMeter", "ValueMax", -1e18, Kept},
        {"TQVMeter", "RangeLimit", 1e18, Kept},
        {"TQVMeter", "MeterAngle1", -1e18, Kept},
        {"TQVBarGraph", "ValueMin", -1e308, Kept},
        {"TQVBarGraph", "LabelingDecimals", INT_MAX, Kept},
        {"TQVSlider", "LabelingDecimals", INT_MAX, Kept},
        {"TQVSlider", "SliderWidth", INT_MAX, Kept},
        {"TQVPlot", "BorderWidth", INT_MAX, Kept},
        {"TQVPlot", "YMin", -1e308, Kept},
        {"TQVLed", "BorderWidth", INT_MAX, Kept},
        {"TQVDial", "ValueMax", Nan, Ignored},
        {"TQVSlider", "ValueMin", -Inf, Kept},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.cls) + "." + row.property + " = " + row.value.toString().toStdString());
        const std::unique_ptr<QWidget> w = Make(QString::fromLatin1(row.cls));
        const QVariant before = w->property(row.property);
        w->setProperty(row.property, row.value);
        PaintEverywhere(*w);
        EXPECT_EQ(w->property(row.property), row.expect == Kept ? row.value : before);
    }
}

TEST(Hardening, FormsWithAbsurdValuesReadBackAndPaint)
{
    struct FormRow
    {
        const char *text, *property;
        double stored;
    };
    const FormRow forms[] = {
        // Reported: the needle's slices overran on a NaN tip.
        {"object Meter1: TQVMeter\n"
         "  Left = 0\n"
         "  Top = 0\n"
         "  Width = 133\n"
         "  Height = 133\n"
         "  ValueMin = -1E308\n"
         "end\n",
         "ValueMin", -1e308},
        // Stream data skips the setters: a negative gap made every paint count labels for seconds.
        {"object Slider1: TQVSlider\n  LabelingStyle = lbsBoth\n  Doubles = ( 0.0 0.0 100.0 0.0 -1.0 )\nend\n",
         "LabelingGap", -1.0},
    };
    TQVClassRegistry registry;
    Register(registry);
    for (const FormRow &form : forms) {
        SCOPED_TRACE(form.text);
        QWidget owner;
        const QList<QObject *> read = TQVFormReader(registry).ReadUtf8(form.text, &owner);
        auto *widget = qobject_cast<QWidget *>(read.value(0));
        ASSERT_NE(widget, nullptr);
        EXPECT_EQ(widget->property(form.property).toDouble(), form.stored);
        PaintEverywhere(*widget);
    }
}
