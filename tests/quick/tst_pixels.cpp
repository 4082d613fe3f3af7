// One painting path: every instrument item, grabbed from its window at device pixel ratio 2,
// shows exactly the pixels its widget class renders at ratio 2 (vectors and text drawn in
// device pixels, nothing scaled up), after a value change too.
#include <functional>

#include <gtest/gtest.h>

#include <QtGui/QImage>
#include <QtQuick/QQuickView>
#include <QtWidgets/QApplication>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/QVPlot.h"
#include "quick/qvQuickInstruments.h"

namespace {

struct TPixelCase
{
    const char *Name;
    std::function<TQVQuickInstrument *(QQuickItem *)> MakeItem;
    std::function<QWidget *()> MakeWidget;
    QSize Size;
};

template <typename Item, typename Widget>
TPixelCase Case(const char *name, QSize size)
{
    return {name, [](QQuickItem *parent) { return new Item(parent); }, [] { return new Widget; }, size};
}

using QuickPixels = ::testing::TestWithParam<TPixelCase>;

std::string CaseName(const ::testing::TestParamInfo<TPixelCase> &info) { return info.param.Name; }

// The widget's own rendering at ratio 2 on the window's white.
QImage WidgetPixels(QWidget &widget)
{
    QImage image(widget.size() * 2, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(2.0);
    image.fill(Qt::white);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image.convertToFormat(QImage::Format_RGB32);
}

// Pixels whose channels differ by more than 2 (rounding of the blend onto the window).
int Mismatches(const QImage &a, const QImage &b)
{
    int count = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            count += std::abs(qRed(p) - qRed(q)) > 2 || std::abs(qGreen(p) - qGreen(q)) > 2
                     || std::abs(qBlue(p) - qBlue(q)) > 2;
        }
    return count;
}

TEST_P(QuickPixels, ItemShowsTheWidgetsPixelsAtRatio2)
{
    const TPixelCase &c = GetParam();
    QQuickView view;
    view.setColor(Qt::white);
    view.resize(c.Size);
    TQVQuickInstrument *item = c.MakeItem(view.contentItem());
    item->setSize(QSizeF(c.Size));
    std::unique_ptr<QWidget> widget(c.MakeWidget());
    widget->resize(c.Size);
    for (QWidget *w : {item->widget(), widget.get()}) {
        w->setProperty("ScaleLayout", 1);
        w->setProperty("ValueMax", 10.0);
        w->setProperty("Value", 3.0);
    }
    view.show();
    QCoreApplication::processEvents();
    ASSERT_EQ(view.effectiveDevicePixelRatio(), 2.0);
    for (double value : {3.0, 7.5}) {
        for (QWidget *w : {item->widget(), widget.get()})
            w->setProperty("Value", value);
        QCoreApplication::processEvents();
        const QImage shown = view.grabWindow().convertToFormat(QImage::Format_RGB32), expected = WidgetPixels(*widget);
        ASSERT_EQ(shown.size(), expected.size()) << c.Name;
        EXPECT_EQ(Mismatches(shown, expected), 0) << c.Name << " at value " << value;
    }
}

// The dial and the slider show their focus ring while the item has the active focus, as the
// widget does while it has the focus of an active window.
class QuickFocusPixels : public QuickPixels {};

TEST_P(QuickFocusPixels, FocusedItemShowsTheFocusedWidgetsPixels)
{
    const TPixelCase &c = GetParam();
    std::unique_ptr<QWidget> widget(c.MakeWidget());
    widget->resize(c.Size);
    widget->setProperty("ScaleLayout", 1); // the slider's ring belongs to this layout
    widget->show();
    widget->activateWindow();
    widget->setFocus();
    QCoreApplication::processEvents();
    ASSERT_TRUE(widget->hasFocus());
    const QImage expected = WidgetPixels(*widget);
    widget->hide();

    QQuickView view;
    view.setColor(Qt::white);
    view.resize(c.Size);
    TQVQuickInstrument *item = c.MakeItem(view.contentItem());
    item->setSize(QSizeF(c.Size));
    item->widget()->setProperty("ScaleLayout", 1);
    view.show();
    view.requestActivate();
    QCoreApplication::processEvents();
    const QImage unfocused = view.grabWindow().convertToFormat(QImage::Format_RGB32);
    item->forceActiveFocus();
    QCoreApplication::processEvents();
    ASSERT_TRUE(item->hasActiveFocus());
    const QImage shown = view.grabWindow().convertToFormat(QImage::Format_RGB32);
    EXPECT_GT(Mismatches(unfocused, expected), 0) << c.Name << ": no focus ring to compare";
    EXPECT_EQ(Mismatches(shown, expected), 0) << c.Name;
}

INSTANTIATE_TEST_SUITE_P(Focus, QuickFocusPixels,
                         ::testing::Values(Case<TQVQuickDial, TQVDial>("dial", {170, 170}),
                                           Case<TQVQuickSlider, TQVSlider>("slider", {70, 220})), CaseName);

INSTANTIATE_TEST_SUITE_P(
    Items, QuickPixels,
    ::testing::Values(Case<TQVQuickMeter, TQVMeter>("meter", {260, 180}), Case<TQVQuickDial, TQVDial>("dial", {170, 170}),
                      Case<TQVQuickBarGraph, TQVBarGraph>("bargraph", {80, 220}),
                      Case<TQVQuickSlider, TQVSlider>("slider", {70, 220}),
                      Case<TQVQuickPanelMeter, TQVPanelMeter>("panelmeter", {220, 70}),
                      Case<TQVQuickLed, TQVLed>("led", {40, 40}), Case<TQVQuickPlot, TQVPlot>("plot", {360, 220})),
    CaseName);

} // namespace

int main(int argc, char **argv)
{
    // Ratio 2, the case where an upscaled paint would show.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_SCALE_FACTOR", "2");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
