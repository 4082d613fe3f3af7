#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include <QtGui/QBackingStore>
#include <QtGui/QImage>
#include <QtGui/QScreen>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>

#include "controls/qvDial.h"
#include "controls/qvmeterInt.h"
#include "indicators/QVPanelMeterInt.h"

namespace {

// Two offscreen screens, scaled by Qt to pixel ratio 1 and 2 (the offscreen platform's own
// ratio leaves its backing store at ratio 1), set before the test main creates the application.
const bool ScreensConfigured = [] {
    qputenv("QT_QPA_PLATFORM", QByteArray("offscreen:configfile=") + VELMORA_REPAINT_SCREENS);
    qputenv("QT_SCREEN_SCALE_FACTORS", "ratio1=1;ratio2=2");
    return true;
}();

struct Case
{
    const char *name;
    std::function<std::unique_ptr<QWidget>()> make;
    std::function<void(QWidget &, double)> setValue;
    std::function<void(QWidget &)> recolour; // a property a value repaint must not miss
    double values[4];                          // small and large jumps
};

template<typename W>
Case Make(const char *name, QSize size, void (W::*set)(double), void (W::*colour)(TQVColor), double a, double b,
          double c, double d)
{
    return {name,
            [size] {
                auto w = std::make_unique<W>();
                w->resize(size);
                return std::unique_ptr<QWidget>(std::move(w));
            },
            [set](QWidget &w, double v) { (static_cast<W &>(w).*set)(v); },
            [colour](QWidget &w) { (static_cast<W &>(w).*colour)(0x3060C0); },
            {a, b, c, d}};
}

// What the window shows: the offscreen platform's backing store is an image.
QImage Screen(QWidget &w)
{
    QPaintDevice *device = w.backingStore() ? w.backingStore()->paintDevice() : nullptr;
    if (!device || device->devType() != QInternal::Image)
        return {};
    return static_cast<QImage *>(device)->convertToFormat(QImage::Format_RGB32);
}

QImage FullRender(QWidget &w)
{
    return w.grab().toImage().convertToFormat(QImage::Format_RGB32);
}

// Empty when equal, else the sizes or the number and box of the differing pixels.
std::string Difference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size())
        return "sizes differ: " + std::to_string(a.width()) + "x" + std::to_string(a.height()) + " and " + std::to_string(b.width()) + "x" + std::to_string(b.height());
    int count = 0;
    QRect box;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.pixel(x, y) != b.pixel(x, y)) {
                ++count;
                box |= QRect(x, y, 1, 1);
            }
    if (count == 0)
        return {};
    return std::to_string(count) + " pixels differ in " + std::to_string(box.x()) + "," + std::to_string(box.y()) + " "
        + std::to_string(box.width()) + "x" + std::to_string(box.height());
}

} // namespace

// After value repaints, also after a colour or size change, the screen equals a fresh full
// render at the same value, in both scale layouts and at pixel ratio 1 and 2.
TEST(ValueRepaint, ScreenEqualsAFullRender)
{
    ASSERT_TRUE(ScreensConfigured);
    ASSERT_EQ(QGuiApplication::screens().size(), 2);
    const Case cases[] = {
        Make<TQVMeterInt>("meter", {200, 200}, &TQVMeterInt::SetValue, &TQVMeterInt::SetIndicatorColor, 1.0, 1.4, -9.0, 9.7),
        Make<TQVDial>("dial", {160, 160}, &TQVDial::SetValue, &TQVDial::SetIndicatorColor, 20, 21, 80, 3),
        Make<TQVPanelMeterInt>("panel meter", {220, 80}, &TQVPanelMeterInt::SetValue, &TQVPanelMeterInt::SetDigitColor,
                               1.23, 1.24, -876.5, 42),
    };
    for (const Case &c : cases)
        for (QScreen *screen : QGuiApplication::screens())
            for (int layout : {0, 1}) {
                const qreal dpr = screen->devicePixelRatio();
                SCOPED_TRACE(testing::Message() << c.name << " layout " << layout << " dpr " << dpr);
                std::unique_ptr<QWidget> w = c.make();
                if (w->metaObject()->indexOfProperty("ScaleLayout") >= 0)
                    ASSERT_TRUE(w->setProperty("ScaleLayout", layout));
                else if (layout == 1)
                    continue;
                w->move(screen->geometry().topLeft() + QPoint(10, 10));
                w->show();
                ASSERT_TRUE(QTest::qWaitForWindowExposed(w.get()));
                QApplication::processEvents();
                ASSERT_EQ(w->devicePixelRatioF(), dpr);
                // Each step ends with a value repaint of its own.
                const std::function<void(QWidget &)> steps[] = {
                    [](QWidget &) {},
                    [](QWidget &) {},
                    c.recolour,
                    [](QWidget &x) { x.resize(x.size() + QSize(13, 7)); },
                };
                for (int i = 0; i < 4; ++i) {
                    steps[i](*w);
                    QApplication::processEvents();
                    c.setValue(*w, c.values[i]);
                    EXPECT_EQ(Difference(Screen(*w), FullRender(*w)), "") << "step " << i;
                }
            }
}
