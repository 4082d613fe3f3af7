#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include <QtGui/QImage>
#include <QtGui/QKeyEvent>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtGui/qtestsupport_gui.h>
#include <QtWidgets/QApplication>

#include "controls/qvSlider.h"
#include "support/qvPaintRecorder.h"

namespace {

constexpr QRgb Silver = 0xFFC0C0C0, White = 0xFFFFFFFF, Dark = 0xFF404040, Red = 0xFFFF0000, Lime = 0xFF00FF00,
               Blue = 0xFF0000FF;

// A slider whose parts carry distinct plain colours.
void Colour(TQVSlider &s)
{
    s.SetColor(0xC0C0C0);
    s.SetBevelColor1(0xFFFFFF);
    s.SetBevelColor2(0x404040);
    s.SetButtonBorderColor(0x0000FF); // 0x00BBGGRR: red
    s.SetButtonColor(0x00FF00);
    s.SetRangeColor(0xFF0000); // blue
}

// The button rectangle by the travel geometry, computed here in long double.
QRect ExpectedButton(const TQVSlider &s, double v)
{
    const bool vertical = s.Kind() == TQVSlider::sbVertical;
    const long double travel = (vertical ? s.height() : s.width()) - s.ButtonHeight() - s.OffsetLower() - s.OffsetUpper();
    const int q = int(std::nearbyint((long double)(v - s.ValueMin()) * travel / (long double)(s.ValueMax() - s.ValueMin())));
    if (vertical) {
        const int left = (s.width() - s.ButtonWidth()) / 2 + 1, bottom = s.height() - q - s.OffsetLower();
        return QRect(QPoint(left, bottom - s.ButtonHeight()), QPoint(left + s.ButtonWidth() - 1, bottom - 1));
    }
    const int top = (s.height() - s.ButtonWidth()) / 2, left = s.OffsetLower() + q;
    return QRect(QPoint(left, top), QPoint(left + s.ButtonHeight() - 1, top + s.ButtonWidth() - 1));
}

void Key(QWidget &w, int key)
{
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(&w, &event);
}

} // namespace

TEST(SliderProperties, ConstructorValuesLimitsAndStreamData)
{
    TQVSlider s;
    EXPECT_EQ(s.size(), QSize(49, 165));
    EXPECT_EQ(s.Kind(), TQVSlider::sbVertical);
    EXPECT_EQ(s.RangeColor(), QVColors::clBtnFace);
    EXPECT_EQ(s.RangeLimit(), 100.0);

    s.SetButtonWidth(1000);
    EXPECT_EQ(s.ButtonWidth(), 47);
    s.SetButtonWidth(20);
    s.SetLabelingStyle(TQVSlider::lbsAsymmetric); // no button picture: the button spans the control
    EXPECT_EQ(s.ButtonWidth(), 47);
    s.SetLabelingStyle(TQVSlider::lbsNone);
    s.SetPictureButton(QPixmap(8, 8));
    s.SetLabelingStyle(TQVSlider::lbsAsymmetric);
    s.SetButtonWidth(12); // ignored while a button picture is set in this style
    EXPECT_EQ(s.ButtonWidth(), 47);

    // Invalid limits are ignored; the value is not clamped by a narrowed range.
    s.SetValue(80);
    s.SetValueMax(-5);
    s.SetValueMin(100);
    s.SetValueMax(std::nan(""));
    EXPECT_EQ(s.ValueMin(), 0.0);
    EXPECT_EQ(s.ValueMax(), 100.0);
    s.SetValueMax(50);
    EXPECT_EQ(s.Value(), 80.0);
    EXPECT_EQ(s.RangeLimit(), 50.0);

    // A new step re-snaps the current value (the rule, shared with the dial, is tested there).
    TQVSlider t;
    t.SetValue(12.34);
    t.SetValueStepWidth(5);
    EXPECT_EQ(t.Value(), 10.0);

    // The older "Range" data: ranges and values stored as they are, no clamping.
    const QList<TQVSlider::TRangeEntry> ranges{{0x0000FF, 30.0}, {0x00FF00, 70.0}, {0xFF0000, 250.0}};
    const TQVSlider::TStreamDoubles values{220.0, -10.0, 200.0, 2.5, 20.0};
    t.ReadRange(ranges, values);
    EXPECT_EQ(t.RangeNumber(), 3);
    EXPECT_EQ(t.Ranges(), ranges);
    EXPECT_EQ(t.Doubles(), values);
    EXPECT_TRUE(t.HasRangesData());
    t.ReadRanges({});
    EXPECT_FALSE(t.HasRangesData());
    t.grab(); // no ranges and a value outside the range must still paint
}

TEST(SliderPaint, ButtonPositionFollowsTravelGeometry)
{
    struct Case { bool vertical; double max; double value; bool reduceFlicker; qreal dpr; };
    const Case cases[] = {
        {true, 100, 0, false, 1},    {true, 100, 50, false, 1}, {true, 100, 77, true, 1},
        {true, 100, 100, false, 1},  {true, 278, 137, false, 1}, // q = 68.5 rounds to the even 68
        {false, 100, 12.5, false, 1}, {false, 100, 63, true, 1},  {false, 100, 100, false, 1},
        {true, 100, 33, true, 2},    {false, 100, 71, true, 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.vertical << " " << c.max << " " << c.value << " " << c.dpr);
        TQVSlider s;
        Colour(s);
        if (!c.vertical) {
            s.SetKind(TQVSlider::sbHorizontal);
            s.resize(165, 49);
        }
        s.SetValueMax(c.max);
        s.SetValue(c.value);
        s.SetReduceFlicker(c.reduceFlicker);
        QImage img((QSizeF(s.size()) * c.dpr).toSize(), QImage::Format_ARGB32);
        img.setDevicePixelRatio(c.dpr);
        s.render(&img);
        const auto px = [&](int x, int y) { return img.pixel(int(x * c.dpr), int(y * c.dpr)); };

        const QRect b = ExpectedButton(s, c.value);
        EXPECT_EQ(px(b.left(), b.top()), White);
        EXPECT_EQ(px(b.right(), b.bottom()), Dark);
        EXPECT_EQ(px(b.left() + 1, b.top() + 1), Red);
        EXPECT_EQ(px(b.left() + 2, b.center().y()), Dark); // sunken inner ring: shadow on the left
        for (QPoint p : {b.center(), b.topLeft() + QPoint(3, 3), b.bottomRight() - QPoint(3, 3)})
            EXPECT_EQ(px(p.x(), p.y()), Lime);
        // Just beside the button: the panel background, or the blue range inside the track.
        if (c.vertical) {
            EXPECT_EQ(px(b.left(), b.top() - 1), Silver);
            EXPECT_EQ(px(b.left(), b.bottom() + 1), Silver);
            if (b.top() - 2 > s.OffsetUpper() + 1) {
                EXPECT_EQ(px(24, b.top() - 2), Blue);
            }
        } else {
            EXPECT_EQ(px(b.left() - 1, b.top()), Silver);
            EXPECT_EQ(px(b.right() + 1, b.top()), Silver);
            if (b.left() - 2 > s.OffsetLower() + 1) {
                EXPECT_EQ(px(b.left() - 2, 24), Blue);
            }
        }
        EXPECT_EQ(s.ButtonRect(), b.adjusted(3, 3, -3, -3)); // the hit area is the interior
    }
}

TEST(SliderMouse, DragTrackClickSnapAndRelease)
{
    TQVSlider s;
    s.grab(); // lays out button and track
    const double travel = 165 - 10 - 16;
    s.SetValue(50);
    s.grab();
    QRect b = s.ButtonRect();

    // A press inside the button grabs it with its offset: the value follows the mouse delta.
    // Each change by the mouse is an edit as well; the drag is announced at both ends.
    QSignalSpy pressed(&s, &TQVSlider::SliderPressed), released(&s, &TQVSlider::SliderReleased),
        edited(&s, &TQVSlider::ValueEdited);
    const QPoint grip = b.topLeft() + QPoint(2, 1);
    QTest::mousePress(&s, Qt::LeftButton, Qt::NoModifier, grip);
    EXPECT_TRUE(s.Dragging());
    EXPECT_EQ(s.Value(), 50.0);
    EXPECT_EQ(pressed.count(), 1);
    EXPECT_EQ(edited.count(), 0);
    QTest::mouseMove(&s, grip + QPoint(7, -20));
    EXPECT_DOUBLE_EQ(s.Value(), 50 + 100 * 20 / travel);
    QTest::mouseMove(&s, grip + QPoint(0, 13));
    EXPECT_DOUBLE_EQ(s.Value(), 50 - 100 * 13 / travel);
    ASSERT_EQ(edited.count(), 2);
    EXPECT_EQ(edited.last().first().toDouble(), s.Value());

    // Releasing another button keeps the drag; the left release ends it.
    QTest::mouseRelease(&s, Qt::RightButton, Qt::NoModifier, grip);
    QTest::mouseMove(&s, grip + QPoint(0, -30));
    EXPECT_DOUBLE_EQ(s.Value(), 50 + 100 * 30 / travel);
    EXPECT_EQ(released.count(), 0);
    QTest::mouseRelease(&s, Qt::LeftButton, Qt::NoModifier, grip);
    EXPECT_FALSE(s.Dragging());
    QTest::mouseMove(&s, grip + QPoint(0, -60));
    QTest::mouseRelease(&s, Qt::LeftButton, Qt::NoModifier, grip);
    EXPECT_DOUBLE_EQ(s.Value(), 50 + 100 * 30 / travel);
    EXPECT_EQ(released.count(), 1);

    // A click on the track below the button puts the button centre under the mouse and drags;
    // a value set in code is no edit.
    s.SetValue(80);
    s.grab();
    EXPECT_EQ(edited.count(), 3);
    const QPoint click(24, 140);
    QTest::mousePress(&s, Qt::LeftButton, Qt::NoModifier, click);
    const double jumped = 100 * (165 - 5.0 - 8 - 140) / travel;
    EXPECT_DOUBLE_EQ(s.Value(), jumped);
    EXPECT_TRUE(s.Dragging());
    EXPECT_EQ(edited.count(), 4);
    EXPECT_EQ(pressed.count(), 2);
    s.grab();
    b = s.ButtonRect();
    EXPECT_LE(std::abs((b.top() + b.bottom() + 1) / 2.0 - 140), 1.0);
    QTest::mouseMove(&s, click + QPoint(0, -10));
    EXPECT_DOUBLE_EQ(s.Value(), jumped + 100 * 10 / travel);
    QTest::mouseRelease(&s, Qt::LeftButton, Qt::NoModifier, click);

    // A click beside the track does nothing; snapping before clamping: 97 -> 100 -> 95.
    QTest::mousePress(&s, Qt::LeftButton, Qt::NoModifier, QPoint(2, 60));
    EXPECT_FALSE(s.Dragging());
    s.SetValue(0);
    s.SetValueStepWidth(10);
    s.SetValueMax(95);
    s.grab();
    std::vector<double> seen;
    s.OnValueChange = [&](TQVSlider *sender) { seen.push_back(sender->Value()); };
    const QPoint start = s.ButtonRect().center();
    QTest::mousePress(&s, Qt::LeftButton, Qt::NoModifier, start);
    const int dy = int(std::ceil(96.5 * travel / 95)); // raw value just above 96.5
    QTest::mouseMove(&s, start - QPoint(0, dy));
    EXPECT_EQ(s.Value(), 95.0);
    EXPECT_EQ(seen, std::vector<double>{95.0});
    QTest::mouseMove(&s, start - QPoint(0, 2 * dy));
    EXPECT_EQ(seen.size(), 1u); // clamped to the same value: no event
}

TEST(SliderKeyboard, StepsPagesAndEnds)
{
    // Span 200: a step of 2 and a page of 20. A step width of 15 re-snaps -50 to -45 and makes the
    // page a whole number of steps: one.
    const struct { int key; double stepWidth, expected; } keys[] = {
        {Qt::Key_Up, 0, 2},    {Qt::Key_Down, 0, 0},       {Qt::Key_Down, 0, -2},      {Qt::Key_PageUp, 0, 18},
        {Qt::Key_End, 0, 150}, {Qt::Key_PageUp, 0, 150},   {Qt::Key_Home, 0, -50},     {Qt::Key_PageUp, 15, -30},
        {Qt::Key_Up, 15, -15}, {Qt::Key_PageDown, 15, -30}, {Qt::Key_PageDown, 15, -45},
    };
    for (bool vertical : {true, false}) {
        TQVSlider s;
        if (!vertical)
            s.SetKind(TQVSlider::sbHorizontal);
        EXPECT_EQ(s.focusPolicy(), Qt::StrongFocus);
        s.SetValueMin(-50);
        s.SetValueMax(150);
        s.SetValue(0);
        for (const auto &k : keys) {
            s.SetValueStepWidth(k.stepWidth);
            const bool arrow = k.key == Qt::Key_Up || k.key == Qt::Key_Down;
            Key(s, arrow && !vertical ? (k.key == Qt::Key_Up ? Qt::Key_Right : Qt::Key_Left) : k.key);
            EXPECT_DOUBLE_EQ(s.Value(), k.expected) << k.key << " vertical " << vertical;
        }
    }
}

TEST(SliderRepaint, ValueChangeRepaintsOnlyTheButtonArea)
{
    for (bool reduceFlicker : {false, true}) {
        SCOPED_TRACE(reduceFlicker);
        TQVSlider s;
        Colour(s);
        s.SetLabelingStyle(TQVSlider::lbsBoth);
        s.SetReduceFlicker(reduceFlicker);
        s.SetValue(50);
        s.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(s.windowHandle()));
        QApplication::processEvents();
        PaintRecorder recorder;
        s.installEventFilter(&recorder);

        std::vector<double> events, signalled;
        std::vector<size_t> paintsAtEvent;
        s.OnValueChange = [&](TQVSlider *sender) {
            EXPECT_EQ(sender, &s);
            events.push_back(sender->Value());
            paintsAtEvent.push_back(recorder.rects.size());
        };
        QObject::connect(&s, &TQVSlider::ValueChanged, [&](double v) { signalled.push_back(v); });

        const auto grown = [&](double v) { return ExpectedButton(s, v).adjusted(-2, -2, 2, 2); };
        s.SetValue(52); // overlapping: one area, the union grown by 2
        ASSERT_EQ(recorder.rects.size(), 1u);
        EXPECT_EQ(paintsAtEvent, std::vector<size_t>{0}); // the event runs before the repaint
        EXPECT_EQ(recorder.rects[0], grown(50).united(grown(52)));
        recorder.rects.clear();
        s.SetValue(90); // apart: the old area, then the new one
        ASSERT_EQ(recorder.rects.size(), 2u);
        EXPECT_EQ(recorder.rects[0], grown(52));
        EXPECT_EQ(recorder.rects[1], grown(90));
        recorder.rects.clear();
        s.SetValue(90);
        s.SetValue(95);
        s.SetValue(400); // clamped to 100
        s.SetValue(100);
        ASSERT_EQ(recorder.rects.size(), 2u);
        EXPECT_EQ(recorder.rects[1], grown(95).united(grown(100)));
        EXPECT_EQ(events, (std::vector<double>{52, 90, 95, 100}));
        EXPECT_EQ(signalled, events);
        // That the screen then equals a full paint is tested in tst_valuerepaint.cpp.
    }
}
