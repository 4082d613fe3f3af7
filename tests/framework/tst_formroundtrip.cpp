#include <gtest/gtest.h>

#include <cstring>

#include <QtCore/QMetaProperty>
#include <QtWidgets/QWidget>

#include "controls/qvSlider.h"
#include "controls/qvbargraphint.h"
#include "framework/qvExceptions.h"
#include "framework/qvForm.h"

namespace {

using Range = TQVRangeEntry;

class WidgetFormTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_registry.RegisterClass<TQVCustomPanel, QWidget>();
        m_registry.RegisterClass<TQVBarGraphInt, QWidget>();
        m_registry.RegisterClass<TQVSlider, QWidget>();
    }

    QObject *ReadOne(const QString &text)
    {
        const QList<QObject *> read = TQVFormReader(m_registry).Read(text, &m_owner);
        return read.size() == 1 ? read.first() : nullptr;
    }

    TQVClassRegistry m_registry;
    QWidget m_owner;
};

// Every published property of a type the form stores, compared through the meta-object
// (doubles bit for bit).
void ExpectSameStoredProperties(QObject *a, QObject *b)
{
    const QMetaObject *meta = a->metaObject();
    ASSERT_EQ(meta, b->metaObject());
    for (int i = QWidget::staticMetaObject.propertyCount(); i < meta->propertyCount(); ++i) {
        const QMetaProperty p = meta->property(i);
        const int id = p.metaType().id();
        if (id >= QMetaType::FirstGuiType && id <= QMetaType::LastGuiType)
            continue; // fonts and pictures are not stored
        const QVariant x = p.read(a);
        const QVariant y = p.read(b);
        if (id == QMetaType::Double) {
            const double dx = x.toDouble(), dy = y.toDouble();
            EXPECT_EQ(std::memcmp(&dx, &dy, sizeof dx), 0) << p.name() << ' ' << dx << ' ' << dy;
        } else {
            EXPECT_EQ(x, y) << meta->className() << '.' << p.name();
        }
    }
}

} // namespace

TEST_F(WidgetFormTest, BarGraphAndSliderRoundTripWithTheirCustomData)
{
    TQVCustomPanel form;
    form.setObjectName(QStringLiteral("Form1"));
    form.SetCaption(QStringLiteral("Levels in µV"));
    auto *bar = new TQVBarGraphInt(&form);
    bar->setObjectName(QStringLiteral("Bar1"));
    bar->setGeometry(10, 20, 60, 180);
    bar->SetValueMax(200.0);
    bar->SetValue(150.1);
    bar->SetLabelingGap(12.5);
    bar->SetRangeNumber(3);
    const QList<Range> barRanges{{QVColors::clRed, 50.0}, {QVColors::clYellow, 0.1}, {QVColors::clBtnFace, 200.0}};
    bar->SetRanges(barRanges);
    auto *slider = new TQVSlider(&form);
    slider->setObjectName(QStringLiteral("Slider1"));
    slider->setGeometry(100, 5, 49, 220);
    slider->SetValueMin(-5.0);
    slider->SetValueMax(95.0);
    slider->SetValueStepWidth(0.1);
    slider->SetLabelingGap(7.5);
    slider->SetValue(1.0 / 3.0);
    const QList<Range> sliderRanges{{0x123456, -1.0 / 3.0}, {QVColors::clRed, 95.0}};
    slider->ReadRanges(sliderRanges);

    const QString text = TQVFormWriter(m_registry).Write(&form);
    const QString barRange = QStringLiteral("\n    Range = ( ( 255 50.0 65535 0.1 %1 200.0 ) 150.1 0.0 200.0 12.5 )\n")
                                 .arg(QVColors::clBtnFace);
    EXPECT_TRUE(text.contains(barRange)) << qPrintable(text);
    EXPECT_TRUE(text.contains(QStringLiteral("\n    Ranges = ( 1193046 ")));
    EXPECT_TRUE(text.contains(QStringLiteral("\n    Doubles = ( ")));

    auto *form2 = qobject_cast<TQVCustomPanel *>(ReadOne(text));
    ASSERT_NE(form2, nullptr);
    auto *bar2 = form2->findChild<TQVBarGraphInt *>(QStringLiteral("Bar1"));
    auto *slider2 = form2->findChild<TQVSlider *>(QStringLiteral("Slider1"));
    ASSERT_NE(bar2, nullptr);
    ASSERT_NE(slider2, nullptr);
    EXPECT_EQ(bar2->parentWidget(), form2);
    EXPECT_EQ(bar2->geometry(), QRect(10, 20, 60, 180));
    EXPECT_EQ(slider2->geometry(), QRect(100, 5, 49, 220));
    EXPECT_EQ(bar2->Ranges(), barRanges);
    EXPECT_EQ(bar2->Value(), 150.1);
    EXPECT_EQ(bar2->LabelingGap(), 12.5);
    EXPECT_EQ(slider2->Ranges(), sliderRanges);
    EXPECT_EQ(slider2->Doubles(), slider->Doubles());
    EXPECT_FALSE(slider2->IsLoading());
    ExpectSameStoredProperties(&form, form2);
    ExpectSameStoredProperties(bar, bar2);
    ExpectSameStoredProperties(slider, slider2);
}

TEST_F(WidgetFormTest, OlderSliderStreamLoadsRangesAndFiveValuesUnchecked)
{
    // Value above ValueMax: the stream is taken as it is, without clamping. A colour may
    // come as a signed 32-bit number (the button face system colour here).
    auto *slider = qobject_cast<TQVSlider *>(ReadOne(QStringLiteral("object S: TQVSlider\n"
                                                                    "  Range = ( ( -2147483633 10.5 65280 -3.25E+01 )\n"
                                                                    "            200.0 -50 150 2.5 12.0 )\n"
                                                                    "end\n")));
    ASSERT_NE(slider, nullptr);
    EXPECT_EQ(slider->RangeNumber(), 2);
    EXPECT_EQ(slider->Ranges(), QList<Range>({{QVColors::clBtnFace, 10.5}, {0x00FF00u, -32.5}}));
    EXPECT_EQ(slider->Doubles(), (TQVSlider::TStreamDoubles{200.0, -50.0, 150.0, 2.5, 12.0}));
}

TEST_F(WidgetFormTest, RangePairsBeyondSixteenAreReadAndDropped)
{
    QString pairs;
    for (int i = 1; i <= 20; ++i)
        pairs += QStringLiteral("%1 %2.5 ").arg(i).arg(i);
    struct Case
    {
        const char *className;
        QString property;
    };
    const Case cases[] = {
        {"TQVBarGraphInt", QStringLiteral("Range = ( ( %1) 1.0 0.0 30.0 2.0 )").arg(pairs)},
        {"TQVSlider", QStringLiteral("Ranges = ( %1)").arg(pairs)},
    };
    for (const Case &c : cases) {
        QObject *object = ReadOne(
            QStringLiteral("object X: %1\n  %2\n  Tag = 5\nend\n").arg(QLatin1StringView(c.className), c.property));
        ASSERT_NE(object, nullptr) << c.className;
        QList<Range> ranges;
        if (auto *bar = qobject_cast<TQVBarGraphInt *>(object))
            ranges = bar->Ranges();
        else
            ranges = qobject_cast<TQVSlider *>(object)->Ranges();
        ASSERT_EQ(ranges.size(), 16) << c.className;
        for (int i = 0; i < 16; ++i)
            EXPECT_EQ(ranges[i], (Range{TQVColor(i + 1), i + 1.5}));
        EXPECT_EQ(object->property("Tag").toInt(), 5); // reading went on after the list
        delete object;
    }
}

TEST_F(WidgetFormTest, ShortCustomDataIsAnErrorAndLeavesNothing)
{
    const struct
    {
        const char *text;
        const char *message;
    } cases[] = {
        {"object P: TQVCustomPanel\n  object S: TQVSlider\n    Doubles = ( 1 2 3 )\n  end\nend\n",
         "Form line 3, column 23: Floating point value expected but ')' found"},
        {"object B: TQVBarGraphInt\n  Range = ( ( 1 2.0 3 ) 1.0 2.0 3.0 4.0 )\nend\n",
         "Form line 2, column 23: Floating point value expected but ')' found"},
        {"object B: TQVBarGraphInt\n  Range = ( ( 4294967296 2.0 ) 1.0 2.0 3.0 4.0 )\nend\n",
         "Form line 2, column 15: Integer 4294967296 out of range"},
        {"object B: TQVBarGraphInt\n  Width = -4\nend\n", "Form line 2, column 11: Integer -4 out of range"},
    };
    for (const auto &c : cases) {
        try {
            TQVFormReader(m_registry).Read(QString::fromUtf8(c.text), &m_owner);
            ADD_FAILURE() << c.text;
        } catch (const EQVFormError &e) {
            EXPECT_EQ(e.Message(), QString::fromUtf8(c.message));
        }
        EXPECT_TRUE(m_owner.children().isEmpty());
    }
}
