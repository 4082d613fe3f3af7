// The sinks on their sources, and the Qt face of the widget classes.

#include "indicators/QVMLSingleSinks.h"
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <set>
#include <vector>

#include <QtCore/QEventLoop>
#include <QtCore/QMetaProperty>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <QtTest/QSignalSpy>

#include "framework/qvForm.h"
#include "framework/qvResStrings.h"
#include "host/qvSignalGenerator.h"
#include "indicators/QVPlot.h"
#include "indicators/qvRegister.h"
#include "support/qvTestConsumer.h"

using namespace Qt::StringLiterals;

namespace {

// A source of `channels` channels with `caps`, by default single values of one channel.
struct TQVValueSource : TQVTestSource
{
    explicit TQVValueSource(TQVMeasureSourceCapabilities caps = {mscContinuous, mscSingleChannel, mscSingleValue},
                            int channels = 1)
        : TQVTestSource(caps, channels)
    {
    }
    void SendSamples(std::vector<float> x)
    {
        TQVDescArraySingle block{};
        block.Channels[0] = {x.empty() ? nullptr : x.data(), qint32(x.size())};
        Send(block);
    }
};

// Properties no write changes: Version and Copyright ignore writes (forms load whatever they
// hold); MeasureSource, an object pointer, is tested with sources below.
const std::set<QByteArray> kUnchangeable{"Version", "Copyright", "MeasureSource", "LimitFailed"};

// Values other than `old` of the property's type; the setters refuse some (ranges, limits).
QList<QVariant> OtherValues(const QMetaProperty &property, const QVariant &old)
{
    QList<QVariant> values;
    if (property.isEnumType()) {
        for (int k = 0; k < property.enumerator().keyCount(); ++k)
            values.append(property.enumerator().value(k));
        return values;
    }
    const double x = old.toDouble();
    QFont font = old.value<QFont>();
    font.setPointSize(font.pointSize() + 3);
    switch (property.metaType().id()) {
    case QMetaType::Double: // an infinite end becomes finite, a huge one is halved
        return x - 1.0 == x ? QList<QVariant>{std::isinf(x) ? std::copysign(1e9, x) : x / 2}
                            : QList<QVariant>{x - 1.0, x + 1.0};
    case QMetaType::Int: return {old.toInt() - 1, old.toInt() + 1};
    case QMetaType::UInt: return {old.toUInt() ^ 0x10u};
    case QMetaType::Bool: return {!old.toBool()};
    case QMetaType::QString: // RangeTable: rows without and with the check flag; limit lines: points
        if (qstrcmp(property.name(), "RangeTable") == 0)
            return {u"0x000000FF:1"_s, u"0x000000FF:1:1"_s};
        return QByteArray(property.name()).endsWith("Limit") ? QList<QVariant>{u"0 1; 2 3"_s} : QList<QVariant>{old.toString() + u'x'};
    case QMetaType::QColor: return {QColor::fromRgb(old.value<QColor>().rgb() ^ 0x400008u)};
    case QMetaType::QFont: return {font};
    case QMetaType::QPixmap: return {QPixmap(4, 4)};
    default: return {};
    }
}

} // namespace

TEST(SinksAutoConfig, MeterKeepsItsDivisionsAndBarGraphTakesTheRange)
{
    // {min, max, gap, source range, divisions the scale had (halves to even, none gives one)}
    struct Case { double min, max, gap; float low, high; int divisions; };
    for (const Case &c : {Case{0, 100, 10, -1, 1, 10}, Case{0, 25, 10, -5, 5, 2}, Case{0, 35, 10, 0, 7, 4},
                          Case{0, 1, 5, -2, 2, 1}}) {
        SCOPED_TRACE(c.max);
        TQVValueSource source;
        source.Settings.RangeMin = c.low;
        source.Settings.RangeMax = c.high;
        TQVMeter meter;
        meter.SetValueMax(c.max);
        meter.SetValueMin(c.min);
        meter.SetValueGap(c.gap);
        meter.SetMeasureSource(&source);
        EXPECT_EQ(meter.ValueMin(), c.low);
        EXPECT_EQ(meter.ValueMax(), c.high);
        EXPECT_DOUBLE_EQ(meter.ValueGap(), double((static_cast<long double>(c.high) - c.low) / c.divisions));
    }

    // The bar graph takes the range, also when it changes later; without AutoConfig the
    // scales take nothing from the source.
    TQVValueSource source;
    TQVBarGraph bar;
    TQVMeter meter;
    bar.SetMeasureSource(&source);
    EXPECT_EQ(std::pair(bar.ValueMin(), bar.ValueMax()), std::pair(-1.0, 1.0));
    source.Settings.RangeMin = -3.75f;
    source.UpdateLinks();
    EXPECT_EQ(std::pair(bar.ValueMin(), bar.ValueMax()), std::pair(-3.75, 1.0));
    bar.SetAutoConfig(false);
    meter.SetAutoConfig(false);
    const auto scale = [&] { return std::tuple(meter.ValueMin(), meter.ValueMax(), meter.ValueGap()); };
    const auto meterScale = scale();
    meter.SetMeasureSource(&source);
    source.Settings.RangeMax = 4.75f;
    source.UpdateLinks();
    EXPECT_EQ(std::pair(bar.ValueMin(), bar.ValueMax()), std::pair(-3.75, 1.0));
    EXPECT_EQ(scale(), meterScale);
}

// The comparison rules are the lamp's (LedCompare); received values must reach them.
TEST(SinksLed, ThresholdsAreFloatsAndReevaluateOnlyOnRealChanges)
{
    TQVValueSource source;
    TQVLed led;
    led.SetMeasureSource(&source);
    int changes = 0;
    QObject::connect(&led, &TQVLedInt::ValueChanged, [&changes] { ++changes; });

    // A threshold is a 32-bit float: 0.1 is stored as 0.1f, which 0.1f does not exceed.
    ASSERT_TRUE(led.setProperty("Limit", 0.1));
    EXPECT_EQ(led.property("Limit").toFloat(), 0.1f);
    source.SendSamples({0.1f});
    EXPECT_FALSE(led.Value());

    source.SendSamples({5.0f});
    EXPECT_TRUE(led.Value());
    led.SetLimit(10.0f); // re-evaluates 5 without a new sample
    EXPECT_FALSE(led.Value());
    EXPECT_EQ(changes, 2);

    // With the lamp forced on, writes that change nothing must not re-evaluate it.
    led.SetValue(true);
    led.SetLimit(10.0f);
    led.setProperty("Limit", 10.0000001); // the same float
    led.SetRangeLower(0.0f);
    led.SetRangeUpper(0.0f);
    EXPECT_TRUE(led.Value());
    EXPECT_EQ(changes, 3);
    led.SetRangeUpper(8.0f); // a real change re-evaluates (still cmpOver: 5 > 10 is off)
    EXPECT_FALSE(led.Value());
}

// Every property notifies, and every write that changes it emits. A colour face (QtBarColor)
// writes the stored colour (BarColor, 0x00BBGGRR); a system colour reads as the palette's,
// follows it, and stays a system colour when the colour read is written back (as Qt Designer does).
TEST(QtFace, EveryPropertyNotifiesAndColourFacesWriteTheStoredColours)
{
    const QColor plain[] = {QColor(0x12, 0x34, 0x56), QColor(255, 0, 0), QColor(0, 0, 255, 100), Qt::white};
    for (const TQVCatalogueEntry &entry : QVWidgetCatalogue()) {
        const std::unique_ptr<QWidget> widget(qobject_cast<QWidget *>(entry.Factory(nullptr)));
        const QMetaObject *meta = widget->metaObject();
        SCOPED_TRACE(meta->className());
        widget->setProperty("RangeNumber", 3); // so that the range properties address one in use
        int faces = 0;
        for (int i = QWidget::staticMetaObject.propertyCount(); i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            SCOPED_TRACE(property.name());
            ASSERT_TRUE(property.hasNotifySignal());
            QSignalSpy spy(widget.get(), ('2' + property.notifySignal().methodSignature()).constData());
            const QVariant old = property.read(widget.get());
            property.write(widget.get(), old);
            EXPECT_EQ(spy.count(), 0) << "writing the current value";

            bool changed = false;
            for (const QVariant &value : OtherValues(property, old)) {
                spy.clear();
                const QVariant before = property.read(widget.get());
                property.write(widget.get(), value);
                const QVariant after = property.read(widget.get());
                if (before == after) // refused
                    continue;
                changed = true;
                ASSERT_GE(spy.count(), 1) << "no notify signal for a change";
                if (!spy.first().isEmpty()) { // a value signal carries the new value
                    EXPECT_EQ(spy.last().first(), after);
                }
            }
            EXPECT_EQ(changed, !kUnchangeable.count(property.name())) << "no write changed it";

            if (property.metaType() != QMetaType::fromType<QColor>())
                continue;
            ++faces;
            const QByteArray stored = QByteArray(property.name()).mid(2);
            ASSERT_GE(meta->indexOfProperty(stored.constData()), 0);
            EXPECT_FALSE(property.isStored());
            for (const QColor &c : plain) {
                ASSERT_TRUE(property.write(widget.get(), c));
                const quint32 expected = quint32(c.red()) | quint32(c.green()) << 8 | quint32(c.blue()) << 16;
                EXPECT_EQ(widget->property(stored.constData()).toUInt(), expected);
            }
            for (const auto &[system, role] : {std::pair{QVColors::clBtnFace, QPalette::Button},
                                               std::pair{QVColors::clWindow, QPalette::Base}}) {
                widget->setProperty(stored.constData(), system);
                QPalette palette = widget->palette();
                palette.setColor(role, QColor(1, 2, 3));
                widget->setPalette(palette);
                EXPECT_EQ(property.read(widget.get()).value<QColor>(), QColor(1, 2, 3));
                property.write(widget.get(), property.read(widget.get()));
                EXPECT_EQ(widget->property(stored.constData()).toUInt(), system);
            }
        }
        EXPECT_GE(faces, 1); // the panel's Color at least
    }
}

// The first value of each block of the good source reaches ValueChanged, once per change, and
// blocks without samples change nothing; a refused source written from the event loop is
// reported, one the C++ setter refuses raises, and a form load still raises it at its line.
TEST(QtFace, SourcesThroughTheMetaObject)
{
    struct Case { std::unique_ptr<QWidget> Widget; TQVMeasureSourceCapabilities Refused; TQVResString Message; };
    Case cases[] = {
        {std::make_unique<TQVLed>(), {mscContinuous, mscDualChannel}, TQVResString::IncompatibleSingleValue},
        {std::make_unique<TQVMeter>(), {mscContinuous}, TQVResString::IncompatibleSingleValue},
        {std::make_unique<TQVBarGraph>(), {mscContinuous, mscDualChannel}, TQVResString::IncompatibleSingleValue},
        {std::make_unique<TQVPanelMeter>(), {mscContinuous}, TQVResString::IncompatibleSingleValue},
        {std::make_unique<TQVPlot>(), {mscSingleChannel, mscSingleValue}, TQVResString::StageNeedsContinuous},
    };
    for (Case &k : cases) {
        QWidget *widget = k.Widget.get();
        SCOPED_TRACE(widget->metaObject()->className());
        TQVValueSource good, bad(k.Refused, 2);
        ASSERT_TRUE(widget->setProperty("MeasureSource", QVariant::fromValue<TQVMeasureSource *>(&good)));
        if (widget->metaObject()->indexOfSignal("ValueChanged(double)") >= 0) {
            QSignalSpy values(widget, SIGNAL(ValueChanged(double)));
            for (const std::vector<float> &x : {std::vector{0.25f, 9.0f}, {0.5f}, {}, {0.5f}, {-0.75f}})
                good.SendSamples(x);
            TQVDescArraySingle nullData{};
            nullData.Channels[0].Count = 5; // a count without samples
            good.Send(nullData);
            EXPECT_EQ(values, (QList<QVariantList>{{0.25}, {0.5}, {double(-0.75f)}}));
        }

        QSignalSpy errors(widget, SIGNAL(ErrorOccurred(QString)));
        QSignalSpy settings(widget, SIGNAL(SettingsChanged()));
        QEventLoop loop;
        QTimer::singleShot(0, widget, [&] {
            widget->setProperty("MeasureSource", QVariant::fromValue<TQVMeasureSource *>(&bad));
            loop.quit();
        });
        loop.exec();
        EXPECT_EQ(errors, QList<QVariantList>{{QVLoadResString(k.Message)}});
        EXPECT_EQ(widget->property("MeasureSource").value<TQVMeasureSource *>(), nullptr);
        EXPECT_EQ(settings.count(), 1) << "disconnected from the good source";
        EXPECT_TRUE(bad.Links().isEmpty());

        // Through the C++ setter of a sink: a raw stream of one channel is refused; a source
        // that turns into two channels while connected throws out of the change and leaves the
        // sink unconnected; a destroyed source leaves it unconnected, a destroyed sink its source.
        auto *sink = dynamic_cast<TQVSingleValueSink *>(widget);
        if (!sink)
            continue;
        TQVValueSource raw({mscContinuous, mscSingleChannel}), turning;
        EXPECT_THROW(sink->SetMeasureSource(&raw), EQVMSIncompatibleSource);
        EXPECT_EQ(sink->MeasureSource(), nullptr);
        EXPECT_TRUE(raw.Links().isEmpty());
        sink->SetMeasureSource(&turning);
        ASSERT_EQ(sink->MeasureSource(), &turning);
        turning.SetSettings(2);
        EXPECT_THROW(turning.UpdateLinks(), EQVMSIncompatibleSource);
        EXPECT_EQ(sink->MeasureSource(), nullptr);
        auto source = std::make_unique<TQVValueSource>();
        sink->SetMeasureSource(source.get());
        source.reset();
        EXPECT_EQ(sink->MeasureSource(), nullptr);
        turning.SetSettings(1);
        sink->SetMeasureSource(&turning);
        k.Widget.reset();
        EXPECT_TRUE(turning.Links().isEmpty());
        turning.SendSamples({1.0f});
    }

    TQVClassRegistry registry;
    registry.RegisterClass<TQVMeter, QWidget>();
    TQVSignalGenerator host; // blocks of samples, not single values
    host.setObjectName(u"Host"_s);
    TQVFormReader reader(registry);
    reader.SetExternalComponents({&host});
    QString message;
    try {
        reader.Read(u"object Meter1: TQVMeter\n  MeasureSource = Host\nend\n"_s);
    } catch (const EQVFormError &e) {
        message = e.Message();
    }
    EXPECT_TRUE(message.startsWith(u"Form line 2, column "_s) && message.contains(u"MeasureSource"_s)
                && message.endsWith(QVLoadResString(TQVResString::IncompatibleSingleValue)) && host.Links().isEmpty())
        << qPrintable(message);
}
