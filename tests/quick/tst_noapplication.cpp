// Without a QApplication the instrument items cannot hold widgets: each warns, stays empty
// and takes every write and paint without a crash.
#include <gtest/gtest.h>

#include <QtGui/QGuiApplication>
#include <QtQuick/QQuickView>

#include "quick/qvQuickInstruments.h"

TEST(QuickWithoutApplication, ItemsStayEmptyAndTakeEverything)
{
    QQuickView view;
    view.resize(200, 200);
    QQuickItem *root = view.contentItem();
    const std::vector<TQVQuickInstrument *> items{new TQVQuickMeter(root), new TQVQuickDial(root),
        new TQVQuickBarGraph(root), new TQVQuickSlider(root), new TQVQuickPanelMeter(root), new TQVQuickLed(root),
        new TQVQuickPlot(root)};
    view.show();
    for (TQVQuickInstrument *item : items) {
        EXPECT_EQ(item->widget(), nullptr);
        item->setSize(QSizeF(120, 80));
        item->setCaption(QStringLiteral("x"));
        item->setColor(Qt::red);
        EXPECT_FALSE(item->color().isValid());
        if (auto *valued = qobject_cast<TQVQuickValueInstrument *>(item)) {
            valued->setValue(5.0);
            EXPECT_EQ(valued->value(), 0.0);
        }
    }
    EXPECT_FALSE(view.grabWindow().isNull());
}

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
