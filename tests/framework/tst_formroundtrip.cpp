#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMetaEnum>
#include <QtCore/QMetaProperty>
#include <QtCore/QRegularExpression>
#include <QtWidgets/QWidget>

#include "analysis/qvCatalogue.h"
#include "analysis/qvFilter.h"
#include "analysis/qvMLSFFT.h"
#include "framework/qvMeasIntf.h"
#include "controls/qvSlider.h"
#include "controls/qvbargraphint.h"
#include "controls/qvmeterInt.h"
#include "framework/qvExceptions.h"
#include "framework/qvForm.h"
#include "host/qvSignalGenerator.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/qvRegister.h"
#include "stream/qvMLSSimpleSources.h"

namespace {

using Range = TQVRangeEntry;
using MeterRange = TQVMeterInt::RangeEntry;

class WidgetFormTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_registry.RegisterClass<TQVCustomPanel, QWidget>();
        m_registry.RegisterClass<TQVBarGraphInt, QWidget>();
        m_registry.RegisterClass<TQVSlider, QWidget>();
        m_registry.RegisterClass<TQVMeterInt, QWidget>();
        Register(m_registry);
    }

    QObject *ReadOne(const QString &text)
    {
        const QList<QObject *> read = TQVFormReader(m_registry).Read(text, &m_owner);
        return read.size() == 1 ? read.first() : nullptr;
    }

    TQVClassRegistry m_registry;
    QWidget m_owner;
};

// Index of the first property that a class of the library declares (Qt's classes: Q and a capital).
int FirstLibraryProperty(const QMetaObject *meta)
{
    for (const QMetaObject *m = meta; m; m = m->superClass()) {
        const char *name = m->className();
        if (name[0] == 'Q' && name[1] >= 'A' && name[1] <= 'Z')
            return m->propertyCount();
    }
    return 0;
}

QObject *ReferenceOf(const QVariant &value)
{
    return value.isValid() && value.constData() ? *static_cast<QObject *const *>(value.constData()) : nullptr;
}

bool IsComparable(const QMetaProperty &p)
{
    static const QList<int> types{QMetaType::Bool,   QMetaType::Int,    QMetaType::UInt,    QMetaType::LongLong,
                                  QMetaType::ULongLong, QMetaType::Float, QMetaType::Double, QMetaType::QString,
                                  QMetaType::QStringList};
    return p.isEnumType() || (p.metaType().flags() & QMetaType::PointerToQObject) || types.contains(p.metaType().id());
}

// Every readable property of the library's classes of a comparable type, stored or not
// (`RangeTable` shows the range tables, `TriggerState` a derived state): floats bit for
// bit, references by the name of their target.
void ExpectSameProperties(QObject *a, QObject *b)
{
    const QMetaObject *meta = a->metaObject();
    ASSERT_EQ(meta, b->metaObject());
    for (int i = FirstLibraryProperty(meta); i < meta->propertyCount(); ++i) {
        const QMetaProperty p = meta->property(i);
        if (!IsComparable(p))
            continue;
        const QVariant x = p.read(a);
        const QVariant y = p.read(b);
        const QString where = QString::fromLatin1(meta->className()) + u'.' + QString::fromLatin1(p.name());
        if (p.metaType().flags() & QMetaType::PointerToQObject) {
            QObject *tx = ReferenceOf(x), *ty = ReferenceOf(y);
            EXPECT_EQ(tx ? tx->objectName() : QString(), ty ? ty->objectName() : QString()) << qPrintable(where);
        } else if (p.metaType().id() == QMetaType::Double || p.metaType().id() == QMetaType::Float) {
            const double dx = x.toDouble(), dy = y.toDouble();
            EXPECT_EQ(std::memcmp(&dx, &dy, sizeof dx), 0) << qPrintable(where) << ' ' << dx << ' ' << dy;
        } else {
            EXPECT_EQ(x, y) << qPrintable(where);
        }
    }
    if (auto *wa = qobject_cast<QWidget *>(a)) {
        EXPECT_EQ(wa->geometry(), qobject_cast<QWidget *>(b)->geometry()) << meta->className();
    }
}

template <typename T>
QList<QVariant> Variants(std::initializer_list<T> values)
{
    QList<QVariant> list;
    for (T v : values)
        list.append(QVariant::fromValue(v));
    return list;
}

// Values that differ from `current`, most interesting first; the test takes the first one
// the setter keeps as it is.
QList<QVariant> Candidates(const QMetaProperty &p, const QVariant &current)
{
    if (p.isEnumType()) {
        QList<QVariant> list;
        const QMetaEnum e = p.enumerator();
        for (int k = e.keyCount() - 1; k >= 0; --k) {
            if (e.value(k) != current.toInt())
                list.append(QVariant(e.value(k)));
        }
        return list;
    }
    const int i = current.toInt();
    const quint32 u = current.toUInt();
    const double d = current.toDouble();
    const float f = current.toFloat();
    // Values that a float holds too come last, for setters that round to float.
    switch (p.metaType().id()) {
    case QMetaType::Bool: return {QVariant(!current.toBool())};
    case QMetaType::Int: return Variants<int>({i + 3, i + 1, i - 1, 2 * i, 7, 1, 0});
    case QMetaType::UInt: return Variants<quint32>({u ^ 0x00A5C3E1u, u + 1, 5u});
    case QMetaType::Double:
        return Variants<double>({d + 1.0 / 3.0, d - 1.0 / 3.0, d * 1.5 + 0.1, d / 3.0, 0.3, 0.5, 2.5, -1.25});
    case QMetaType::Float:
        return Variants<float>({f + 1.0f / 3.0f, f - 1.0f / 3.0f, f * 1.5f + 0.1f, f / 3.0f, 0.3f, 0.5f, 2.5f});
    case QMetaType::QString: return {QVariant(QStringLiteral("Text µ \"1\"\n2"))};
    }
    return {};
}

bool Takes(QObject *object, const QMetaProperty &p, const QVariant &value)
{
    try {
        if (!p.write(object, value))
            return false;
    } catch (const EQVException &) {
        return false;
    }
    QVariant expected = value;
    if (!p.isEnumType())
        expected.convert(p.metaType());
    const QVariant actual = p.read(object);
    return p.isEnumType() ? actual.toInt() == value.toInt() : actual == expected;
}

// Gives every stored property of `object` of a type the form keeps a value of its own:
// a reference that is still null the first source in `sources` that is accepted, values
// from `presets` (by "Class.Property" or property name) where given, the rest generic
// candidates. Returns the properties that kept their default.
QStringList SetNonDefaultValues(QObject *object, const QList<QObject *> &sources, const QVariantMap &presets,
                                const QStringList &skipped)
{
    QStringList unchanged;
    const QMetaObject *meta = object->metaObject();
    for (int i = FirstLibraryProperty(meta); i < meta->propertyCount(); ++i) {
        const QMetaProperty p = meta->property(i);
        const QString property = QString::fromLatin1(p.name());
        const QString name = QString::fromLatin1(meta->className()) + u'.' + property;
        if (!p.isStored() || !p.isWritable() || !IsComparable(p) || skipped.contains(property)
            || skipped.contains(name))
            continue;
        bool taken = false;
        if (p.metaType().flags() & QMetaType::PointerToQObject) {
            taken = ReferenceOf(p.read(object)) != nullptr;
            for (QObject *source : sources) {
                if (source != object && !taken && source->metaObject()->inherits(p.metaType().metaObject()))
                    taken = Takes(object, p, QVariant(p.metaType(), &source));
            }
        } else if (presets.contains(name) || presets.contains(property)) {
            taken = Takes(object, p, presets.value(name, presets.value(property)));
        } else {
            for (const QVariant &v : Candidates(p, p.read(object))) {
                if ((taken = Takes(object, p, v)))
                    break;
            }
        }
        if (!taken)
            unchanged.append(name);
    }
    return unchanged;
}

QString CorpusPath(const char *folder)
{
    return QStringLiteral(VELMORA_SOURCE_DIR) + u'/' + QLatin1StringView(folder);
}

// Counts the live instances of every class of `registry` created through it.
void CountInstances(TQVClassRegistry &registry, int &live)
{
    for (const QString &name : registry.ClassNames()) {
        const TQVComponentFactory factory = registry.Factory(name);
        registry.RegisterClass(name, [factory, &live](QObject *owner) -> QObject * {
            QObject *object = factory(owner);
            if (object) {
                ++live;
                QObject::connect(object, &QObject::destroyed, [&live] { --live; });
            }
            return object;
        });
    }
}

} // namespace

TEST_F(WidgetFormTest, EmptyMeterRangesAreNotWritten)
{
    // The text of a table is pinned by the widgets seed (FuzzSeedsLoad). No ranges: nothing
    // custom is written, and the count of 0 comes back.
    TQVMeterInt meter;
    meter.setObjectName(QStringLiteral("M"));
    meter.SetRanges({});
    const QString empty = TQVFormWriter(m_registry).Write(&meter);
    EXPECT_FALSE(empty.contains(QStringLiteral("Ranges"))) << qPrintable(empty);
    auto *copy = qobject_cast<TQVMeterInt *>(ReadOne(empty));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->RangeNumber(), 0);
    delete copy;
}

TEST_F(WidgetFormTest, OlderStreamsLoadUncheckedWithSignedColours)
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
    delete slider;

    // The meter sink reads the table of its display part, a colour signed too.
    auto *sink = qobject_cast<TQVMeter *>(
        ReadOne(QStringLiteral("object S: TQVMeter\n  Ranges = ( -2147483633 4.0 True 65280 8.0 False )\nend\n")));
    ASSERT_NE(sink, nullptr);
    EXPECT_EQ(sink->Ranges(), QList<MeterRange>({{4.0, true, QVColors::clBtnFace}, {8.0, false, 0x00FF00u}}));
    delete sink;
}

TEST_F(WidgetFormTest, RangeEntriesBeyondSixteenAreReadAndDropped)
{
    // Twenty entries i, i + 0.5 (and a check on odd i); the first sixteen stay, read back
    // through the range table text (its format: RangeTableText).
    QString pairs, triples;
    for (int i = 1; i <= 20; ++i) {
        pairs += QStringLiteral("%1 %2.5 ").arg(i).arg(i);
        triples += QStringLiteral("%1 %2.5 %3 ").arg(i).arg(i).arg(i % 2 ? QStringLiteral("True") : QStringLiteral("False"));
    }
    const std::pair<const char *, QString> cases[] = {
        {"TQVBarGraphInt", QStringLiteral("Range = ( ( %1) 1.0 0.0 30.0 2.0 )").arg(pairs)},
        {"TQVSlider", QStringLiteral("Ranges = ( %1)").arg(pairs)},
        {"TQVMeterInt", QStringLiteral("Ranges = ( %1)").arg(triples)},
    };
    for (const auto &[className, property] : cases) {
        QObject *object =
            ReadOne(QStringLiteral("object X: %1\n  %2\n  Tag = 5\nend\n").arg(QLatin1StringView(className), property));
        ASSERT_NE(object, nullptr) << className;
        const QStringList rows = object->property("RangeTable").toString().split(u';');
        EXPECT_EQ(rows.size(), 16) << className;
        EXPECT_TRUE(rows.first().startsWith(QStringLiteral("0x00000001:1.5"))) << className;
        EXPECT_TRUE(rows.last().startsWith(QStringLiteral("0x00000010:16.5"))) << className;
        EXPECT_EQ(object->property("Tag").toInt(), 5); // reading went on after the list
        delete object;
    }
}

TEST(FormRoundTrip, EveryRegisteredComponentKeepsItsStoredState)
{
    TQVClassRegistry registry;
    Register(registry);
    RegisterStreamComponents(registry);
    registry.RegisterClass<TQVSignalGenerator>();
    QStringList classes = registry.PageClasses(QVPalettePageName());
    ASSERT_EQ(classes.size(), 20);
    classes.prepend(QStringLiteral("TQVSignalGenerator"));

    // One instance of each class; the generator feeds the stages and the analyzer the
    // single-value sinks.
    QWidget form;
    QList<QObject *> objects;
    for (const QString &name : classes) {
        QObject *object = registry.Create(name, &form);
        ASSERT_NE(object, nullptr) << qPrintable(name);
        object->setObjectName(name.mid(3) + QStringLiteral("1"));
        auto *widget = qobject_cast<QWidget *>(object);
        if (widget)
            widget->setGeometry(int(objects.size()) * 7, 11, 90 + int(objects.size()), 130);
        objects.append(object);
    }
    // Sources: the generator feeds the stages; a single selector and the analyzer behind it
    // give the single values of one channel that the sinks take. They are connected first,
    // so that no later connection changes what a consumer already accepted.
    QObject *generator = objects.first();
    auto *source = qobject_cast<TQVMeasureSource *>(generator);
    auto *selector = form.findChild<TQVSelectorSingle *>();
    auto *dual = form.findChild<TQVSelectorDual *>();
    auto *analyzer = form.findChild<TQVAnalyzer *>();
    ASSERT_TRUE(source && selector && dual && analyzer);
    generator->setProperty("ChannelCount", 2);
    selector->SetQVMeasureSource(source);
    dual->SetQVMeasureSource(source);
    analyzer->SetQVMeasureSource(selector);
    const QVariantMap presets{
        {QStringLiteral("CoefficientList"),
         QStringList{QStringLiteral("0.25"), QStringLiteral("-0.5"), QStringLiteral("0.125")}},
        {QStringLiteral("Selector"), QStringList{QStringLiteral("0 -> 1"), QStringLiteral("1 -> 0")}},
        // Not the last range, whose limit the bar graph and the slider tie to ValueMax.
        {QStringLiteral("RangeCurrent"), 2},
        // Two channels for the dual selector.
        {QStringLiteral("TQVSignalGenerator.ChannelCount"), 2},
    };
    // SampleFrequency follows the source. The selectors' RequestHarmonizedData needs the
    // source connected first (see HarmonizedRequestSurvivesTheReferences).
    const QStringList skipped{QStringLiteral("SampleFrequency"), QStringLiteral("RequestHarmonizedData"),
                              QStringLiteral("RangeTable")}; // the range table text: tested below
    for (QObject *object : objects) {
        const QStringList unchanged =
            SetNonDefaultValues(object, {generator, selector, dual, analyzer}, presets, skipped);
        for (const QString &name : unchanged) {
            // Writes to these are ignored by design.
            EXPECT_TRUE(name.endsWith(QStringLiteral(".Version")) || name.endsWith(QStringLiteral(".Copyright")))
                << qPrintable(name) << " kept its default";
        }
    }
    // Custom data that no published property reaches.
    const QList<Range> pairs{{0x8000000Fu, -1.0 / 3.0}, {0x0000FF, 0.1}, {0x00FF00, 1e-310}};
    const QList<MeterRange> triples{{-7.25, true, 0x123456}, {1.0 / 7.0, false, QVColors::clBtnShadow}};
    const QList<float> floats{1.0f / 3.0f, -2.5e-8f, std::numeric_limits<float>::denorm_min()};
    for (QObject *object : objects) {
        if (auto *bar = qobject_cast<TQVBarGraphInt *>(object))
            bar->SetRanges(pairs);
        if (auto *slider = qobject_cast<TQVSlider *>(object))
            slider->ReadRanges(pairs);
        if (auto *meter = qobject_cast<TQVMeterInt *>(object))
            meter->SetRanges(triples);
        if (auto *fir = qobject_cast<TQVFIRFilter *>(object))
            fir->SetFloats(floats);
    }

    const QString text = TQVFormWriter(registry).Write(objects);
    // The SI prefix is typed at the Qt face but stays a number in forms.
    EXPECT_TRUE(text.contains(QRegularExpression(QStringLiteral("\n  LabelScientificUnitPosfix = \\d+\n"))));
    QWidget owner;
    const QList<QObject *> read = TQVFormReader(registry).Read(text, &owner);
    ASSERT_EQ(read.size(), objects.size());
    for (int i = 0; i < objects.size(); ++i) {
        SCOPED_TRACE(qPrintable(classes[i]));
        QObject *copy = read[i];
        EXPECT_EQ(copy->parent(), &owner);
        EXPECT_EQ(copy->objectName(), objects[i]->objectName());
        EXPECT_FALSE(TQVComponentState::Of(copy)->IsLoading());
        ExpectSameProperties(objects[i], copy); // the ranges through the exact RangeTable text
        if (auto *slider = qobject_cast<TQVSlider *>(copy)) {
            EXPECT_EQ(slider->Doubles(), qobject_cast<TQVSlider *>(objects[i])->Doubles());
        }
        if (auto *fir = qobject_cast<TQVFIRFilter *>(copy)) {
            EXPECT_EQ(fir->Floats(), floats);
        }
    }
    // Each copy written again gives the text of its original.
    for (int i = 0; i < objects.size(); ++i) {
        EXPECT_EQ(TQVFormWriter(registry).Write(read[i]).toStdString(),
                  TQVFormWriter(registry).Write(objects[i]).toStdString());
    }
}

// The geometry is set before the published properties, and a reference to a component read
// before is set at once, so that properties depending on either come out as stored.
TEST_F(WidgetFormTest, SliderButtonWidthDoesNotDependOnTheOrderOfGeometry)
{
    TQVSlider slider;
    slider.setObjectName(QStringLiteral("S"));
    slider.setGeometry(0, 0, 120, 300);
    slider.SetButtonWidth(100);
    ASSERT_EQ(slider.ButtonWidth(), 100);
    auto *copy = qobject_cast<TQVSlider *>(ReadOne(TQVFormWriter(m_registry).Write(&slider)));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->ButtonWidth(), 100);
}

TEST(FormRoundTrip, HarmonizedRequestSurvivesTheReferences)
{
    TQVClassRegistry registry;
    RegisterStreamComponents(registry, QString());
    registry.RegisterClass<TQVSignalGenerator>();
    QObject form;
    auto *generator = new TQVSignalGenerator(&form);
    generator->setObjectName(QStringLiteral("G"));
    generator->SetChannelCount(2);
    auto *matrix = new TQVSelectorMatrix(&form);
    matrix->setObjectName(QStringLiteral("M"));
    matrix->SetQVMeasureSource(generator);
    matrix->SetRequestHarmonizedData(true);
    ASSERT_TRUE(matrix->RequestHarmonizedData());
    QObject owner;
    const QList<QObject *> read =
        TQVFormReader(registry).Read(TQVFormWriter(registry).Write({generator, matrix}), &owner);
    ASSERT_EQ(read.size(), 2);
    EXPECT_TRUE(qobject_cast<TQVSelectorMatrix *>(read[1])->RequestHarmonizedData());
}

TEST_F(WidgetFormTest, CompoundStagesDoNotDuplicateTheirInnerFFTs)
{
    TQVFFTSingleSingle stage;
    stage.setObjectName(QStringLiteral("F"));
    QObject *copy = ReadOne(TQVFormWriter(m_registry).Write(&stage));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->findChildren<TQVFFT *>().size(), stage.findChildren<TQVFFT *>().size());
}

TEST(RangeTableText, RoundTripsEveryColourAndLimitExactly)
{
    TQVBarGraphInt bar;
    TQVSlider slider;
    TQVMeterInt meter;
    // Written by hand: eight hex digits, shortest C-locale limits, ';' between rows.
    bar.SetRanges({{0x0000FF, 0.5}, {QVColors::clBtnFace, -2.25}, {0x123456, 1e300}});
    EXPECT_EQ(bar.RangeTable(), QStringLiteral("0x000000FF:0.5;0x8000000F:-2.25;0x00123456:1e+300"));
    meter.SetRanges({{10.0, true, 0x00FF00}, {-0.0, false, 0xFFFFFFFFu}});
    EXPECT_EQ(meter.RangeTable(), QStringLiteral("0x0000FF00:10:1;0xFFFFFFFF:-0:0"));

    const double limits[] = {1.0 / 3.0,
                             -0.1,
                             std::numeric_limits<double>::denorm_min(),
                             std::numeric_limits<double>::max(),
                             -std::numeric_limits<double>::infinity(),
                             std::nextafter(1.0, 2.0),
                             -0.0,
                             123456789012345678.0};
    QList<Range> pairs;
    QList<MeterRange> triples;
    TQVColor color = 0x80000014u;
    for (double limit : limits) {
        pairs.append(Range{color, limit});
        triples.append(MeterRange{limit, (color & 1) != 0, color});
        color = color * 2654435761u + 12345u;
    }
    bar.SetRanges(pairs);
    slider.ReadRanges(pairs);
    meter.SetRanges(triples);
    TQVBarGraphInt bar2;
    TQVSlider slider2;
    TQVMeterInt meter2;
    for (auto [from, to] : {std::pair<QObject *, QObject *>{&bar, &bar2}, {&slider, &slider2}, {&meter, &meter2}}) {
        to->setProperty("RangeTable", from->property("RangeTable"));
        EXPECT_EQ(to->property("RangeTable"), from->property("RangeTable")); // -0 keeps its sign
    }
    // Exact: == on doubles differs from a bitwise comparison only for zeros (above) and NaNs (none).
    EXPECT_EQ(bar2.Ranges(), pairs);
    EXPECT_EQ(slider2.Ranges(), pairs);
    EXPECT_EQ(meter2.Ranges(), triples);

    // Typed text: blanks, short and lower-case hex, exponents, a leading '+'.
    slider.setProperty("RangeTable", QStringLiteral(" 0xff : 1e3 ; 0X8000000f:+.5;0x0:-7"));
    EXPECT_EQ(slider.Ranges(), QList<Range>({{0xFF, 1000.0}, {0x8000000F, 0.5}, {0, -7.0}}));
    meter.setProperty("RangeTable", QStringLiteral("0x1:2:1"));
    EXPECT_EQ(meter.Ranges(), QList<MeterRange>({{2.0, true, 1}}));
}

TEST(RangeTableText, MalformedTextLeavesTheTableAndExcessRowsAreCut)
{
    const char *const malformed[] = {
        "0x0000FF",            // no limit
        "0x0000FF:1:1",        // a check on a two-field row
        "255:1",               // decimal colour
        "0x:1",                // no hex digits
        "0x123456789:1",       // more than 32 bits
        "0xGG:1",              // not hex
        "0xFF:1,5",            // decimal comma
        "0xFF:1.5x",           // trailing text
        "0xFF:nan",            // NaN limit
        "0xFF:1e999",          // overflow
        "0xFF:++1",            // two signs
        "0xFF:",               // empty limit
        "0xFF:1;",             // empty last row
        "0xFF:1;;0xFE:2",      // empty row between
        "0xFF:1;0xFE:two",     // a bad row after a good one
        "0xFF:１",             // a non-ASCII digit
    };
    TQVBarGraphInt bar;
    TQVSlider slider;
    TQVMeterInt meter;
    const QList<Range> pairs{{0x0000FF, 5.0}, {0x00FF00, 9.5}};
    const QList<MeterRange> triples{{5.0, true, 0x0000FF}};
    bar.SetRanges(pairs);
    slider.ReadRanges(pairs);
    meter.SetRanges(triples);
    for (const char *text : malformed) {
        bar.SetRangeTable(QString::fromUtf8(text));
        slider.SetRangeTable(QString::fromUtf8(text));
        EXPECT_EQ(bar.Ranges(), pairs) << text;
        EXPECT_EQ(slider.Ranges(), pairs) << text;
    }
    const char *const malformedTriples[] = {
        "0xFF:1",          // no check
        "0xFF:1:2",        // check not 0 or 1
        "0xFF:1:true",     // check as a word
        "0xFF:1:",         // empty check
        "0xFF:1:0:0",      // a fourth field
        "0xFF:nan:1",      // NaN limit
        "0xGG:1:1",        // not hex
        "0xFF:1:1;0xFE:2", // a short row after a good one
    };
    for (const char *text : malformedTriples) {
        meter.SetRangeTable(QString::fromUtf8(text));
        EXPECT_EQ(meter.Ranges(), triples) << text;
    }

    // Empty text: no rows where the control allows that (slider, meter), the bar graph
    // always keeps at least one.
    bar.SetRangeTable(QString());
    slider.SetRangeTable(QStringLiteral("  "));
    meter.SetRangeTable(QString());
    EXPECT_EQ(bar.Ranges(), pairs);
    EXPECT_EQ(slider.RangeNumber(), 0);
    EXPECT_EQ(meter.RangeNumber(), 0);

    QStringList rows, meterRows;
    for (int i = 1; i <= 20; ++i) {
        rows.append(QStringLiteral("0x%1:%2").arg(i, 0, 16).arg(i));
        meterRows.append(rows.last() + QStringLiteral(":1"));
    }
    bar.SetRangeTable(rows.join(u';'));
    slider.SetRangeTable(rows.join(u';'));
    meter.SetRangeTable(meterRows.join(u';'));
    EXPECT_EQ(bar.Ranges().last(), (Range{16, 16.0}));
    EXPECT_EQ(slider.Ranges().last(), (Range{16, 16.0}));
    EXPECT_EQ(meter.Ranges().last(), (MeterRange{16.0, true, 16}));
    EXPECT_EQ(bar.RangeNumber() + slider.RangeNumber() + meter.RangeNumber(), 3 * 16);
}

// The corpus of malformed forms: each NAME.form beside NAME.expected, the exact message.
TEST(FormCorpus, MalformedFormsGiveTheirExactErrorAndLeaveNothing)
{
    TQVClassRegistry registry;
    QVRegisterCoreClasses(registry);
    Register(registry);
    RegisterStreamComponents(registry);
    int live = 0;
    CountInstances(registry, live);
    const QDir dir(CorpusPath("tests/framework/forms"));
    const QStringList forms = dir.entryList({QStringLiteral("*.form")}, QDir::Files, QDir::Name);
    ASSERT_GE(forms.size(), 20);
    for (const QString &name : forms) {
        QFile form(dir.filePath(name));
        QFile expected(dir.filePath(name.chopped(5) + QStringLiteral(".expected")));
        ASSERT_TRUE(form.open(QIODevice::ReadOnly)) << qPrintable(name);
        ASSERT_TRUE(expected.open(QIODevice::ReadOnly)) << qPrintable(name) << " has no .expected file";
        const QString message = QString::fromUtf8(expected.readAll()).trimmed();
        QWidget owner;
        try {
            TQVFormReader(registry).ReadUtf8(form.readAll(), &owner);
            ADD_FAILURE() << qPrintable(name) << " was accepted";
        } catch (const EQVFormError &e) {
            EXPECT_EQ(e.Message(), message) << qPrintable(name);
            EXPECT_TRUE(message.startsWith(QStringLiteral("Form line %1, column %2: ").arg(e.Line()).arg(e.Column())))
                << qPrintable(name);
        }
        EXPECT_TRUE(owner.children().isEmpty()) << qPrintable(name);
        EXPECT_EQ(live, 0) << qPrintable(name);
    }
}

// The valid seeds of the fuzz run are forms of the writer; they must keep loading.
TEST(FormCorpus, FuzzSeedsLoad)
{
    TQVClassRegistry registry;
    QVRegisterCoreClasses(registry);
    Register(registry);
    RegisterStreamComponents(registry);
    const QDir dir(CorpusPath("tests/fuzz/corpus"));
    const QStringList seeds = dir.entryList({QStringLiteral("*.form")}, QDir::Files, QDir::Name);
    ASSERT_FALSE(seeds.isEmpty());
    for (const QString &name : seeds) {
        QFile seed(dir.filePath(name));
        ASSERT_TRUE(seed.open(QIODevice::ReadOnly)) << qPrintable(name);
        const QByteArray data = seed.readAll();
        QWidget owner;
        QList<QObject *> read;
        EXPECT_NO_THROW(read = TQVFormReader(registry).ReadUtf8(data, &owner)) << qPrintable(name);
        EXPECT_FALSE(read.isEmpty()) << qPrintable(name);
        if (!read.isEmpty()) {
            EXPECT_EQ(TQVFormWriter(registry).Write(read).toUtf8(), data) << qPrintable(name);
        }
    }
}
