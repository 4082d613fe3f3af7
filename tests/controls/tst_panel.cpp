#include <gtest/gtest.h>

#include <QtGui/QImage>
#include <QtGui/QPalette>
#include <QtGui/QPixmap>

#include <utility>
#include <vector>

#include "controls/qvControl.h"

namespace {

using Cut = TQVCustomPanel::TQVBevelCut;

const QColor Face(128, 128, 128);
const QColor Light(250, 250, 200);
const QColor Dark(40, 40, 90);

QPalette TestPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Button, Face);
    palette.setColor(QPalette::Light, Light);
    palette.setColor(QPalette::Dark, Dark);
    return palette;
}

QImage Render(TQVCustomPanel &panel)
{
    QPixmap pixmap = panel.grab();
    pixmap.setDevicePixelRatio(1);
    return pixmap.toImage().scaled(panel.size()).convertToFormat(QImage::Format_RGB32);
}

// The ring `depth` pixels in from the edge, sampled in the middle of each side: top and left in
// one colour, bottom and right in the other.
void ExpectRing(const QImage &image, int depth, const QColor &topLeft, const QColor &bottomRight)
{
    SCOPED_TRACE(depth);
    const int w = image.width(), h = image.height();
    EXPECT_EQ(image.pixelColor(w / 2, depth), topLeft);
    EXPECT_EQ(image.pixelColor(depth, h / 2), topLeft);
    EXPECT_EQ(image.pixelColor(w / 2, h - 1 - depth), bottomRight);
    EXPECT_EQ(image.pixelColor(w - 1 - depth, h / 2), bottomRight);
}

} // namespace

TEST(Panel, ClientRectFollowsBevelsAndBorder)
{
    TQVCustomPanel panel;
    panel.resize(100, 60);
    const Cut cuts[] = {TQVCustomPanel::bvNone, TQVCustomPanel::bvLowered, TQVCustomPanel::bvRaised,
                        TQVCustomPanel::bvSpace};
    for (Cut outer : cuts) {
        for (Cut inner : cuts) {
            for (int bevel : {1, 3}) {
                for (int border : {0, 2}) {
                    panel.SetBevelOuter(outer);
                    panel.SetBevelInner(inner);
                    panel.SetBevelWidth(bevel);
                    panel.SetBorderWidth(border);
                    const int inset = border + (outer != TQVCustomPanel::bvNone ? bevel : 0)
                        + (inner != TQVCustomPanel::bvNone ? bevel : 0);
                    EXPECT_EQ(panel.ClientRect(), QRect(inset, inset, 100 - 2 * inset, 60 - 2 * inset))
                        << int(outer) << int(inner) << bevel << border;
                }
            }
        }
    }
    panel.resize(6, 6);
    panel.SetBorderWidth(5);
    EXPECT_TRUE(panel.ClientRect().isEmpty());
    EXPECT_GE(panel.ClientRect().width(), 0);
    EXPECT_GE(panel.ClientRect().height(), 0);
}

TEST(Panel, PaintsBevelsBorderAndBackground)
{
    TQVCustomPanel panel;
    panel.setPalette(TestPalette());
    panel.resize(40, 30);
    panel.SetColor(QVColors::clRed);
    const QColor red(255, 0, 0);
    // A border is in the background colour, and so is a spacing bevel.
    const struct { Cut outer, inner; int bevel, border; std::vector<std::pair<QColor, QColor>> rings; } cases[] = {
        {TQVCustomPanel::bvRaised, TQVCustomPanel::bvNone, 2, 0, {{Light, Dark}, {Light, Dark}, {red, red}}},
        {TQVCustomPanel::bvRaised, TQVCustomPanel::bvLowered, 1, 2,
         {{Light, Dark}, {red, red}, {red, red}, {Dark, Light}, {red, red}}},
        {TQVCustomPanel::bvSpace, TQVCustomPanel::bvRaised, 1, 0, {{red, red}, {Light, Dark}, {red, red}}},
    };
    for (const auto &c : cases) {
        panel.SetBevelOuter(c.outer);
        panel.SetBevelInner(c.inner);
        panel.SetBevelWidth(c.bevel);
        panel.SetBorderWidth(c.border);
        const QImage image = Render(panel);
        ASSERT_EQ(image.size(), QSize(40, 30));
        for (int depth = 0; depth < int(c.rings.size()); ++depth)
            ExpectRing(image, depth, c.rings[size_t(depth)].first, c.rings[size_t(depth)].second);
        EXPECT_EQ(image.pixelColor(37, 27), red);
    }

    // Invalid settings are ignored.
    panel.SetBevelWidth(0);
    EXPECT_EQ(panel.BevelWidth(), 1);
    panel.SetBorderWidth(-1);
    EXPECT_EQ(panel.BorderWidth(), 0);
    panel.SetBevelOuter(Cut(7));
    EXPECT_EQ(panel.BevelOuter(), TQVCustomPanel::bvSpace);
}

TEST(Panel, SystemColoursFollowThePalette)
{
    TQVCustomPanel panel;
    panel.resize(30, 20);
    panel.setPalette(TestPalette());
    EXPECT_EQ(panel.Color(), QVColors::clBtnFace);
    EXPECT_EQ(Render(panel).pixelColor(15, 10), Face);

    QPalette other = TestPalette();
    const QColor themed(10, 160, 60);
    other.setColor(QPalette::Button, themed);
    panel.setPalette(other);
    EXPECT_EQ(Render(panel).pixelColor(15, 10), themed);

    // A system colour stored with a top byte of 0xFF resolves the same way.
    EXPECT_EQ(QVToQColor(0xFF00000Fu, other), themed);
    EXPECT_EQ(QVToQColor(QVColors::clBtnHighlight, other), Light);
    EXPECT_EQ(QVToQColor(0xFF000010u, other), Dark);
    EXPECT_EQ(QVToQColor(0x00336699u, other), QColor(0x99, 0x66, 0x33));
    EXPECT_EQ(QVFromQColor(QColor(0x99, 0x66, 0x33)), 0x00336699u);
}
