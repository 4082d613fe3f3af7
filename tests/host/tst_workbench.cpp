// The workbench: building, editing, storing and running a form through the model, and the
// property editor and design-mode dragging of the main window (offscreen).

#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>
#include <numbers>

#include <gtest/gtest.h>

#include <QtCore/QSettings>
#include <QtCore/QTemporaryDir>
#include <QtGui/QUndoStack>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtGui/QClipboard>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QToolBox>
#include <QtWidgets/QToolButton>

#include "host/qvSignalGenerator.h"
#include "host/workbench/qvWorkbench.h"
#include "host/workbench/qvWorkbenchModel.h"
#include "indicators/QVMLSingleSinks.h"
#include "stream/qvMLSSimpleSources.h"
#include "controls/qvCommon.h"

namespace {

QStringList Names(const TQVWorkbenchModel &model)
{
    QStringList names;
    for (QObject *c : model.Components())
        names.append(c->objectName());
    return names;
}

QAction *ActionNamed(const QWidget &window, const char *text)
{
    for (QAction *action : window.findChildren<QAction *>()) {
        if (action->text() == QLatin1String(text))
            return action;
    }
    return nullptr;
}

struct Chain
{
    TQVSignalGenerator *Generator = nullptr;
    TQVAnalyzer *Analyzer = nullptr;
    TQVMeter *Meter = nullptr;
    TQVBarGraph *Bar = nullptr;
};

// Generator -> RMS analyzer -> meter and bar graph, set up through the model only.
Chain BuildChain(TQVWorkbenchModel &m)
{
    Chain c;
    c.Generator = qobject_cast<TQVSignalGenerator *>(m.AddComponent(QStringLiteral("TQVSignalGenerator")));
    c.Analyzer = qobject_cast<TQVAnalyzer *>(m.AddComponent(QStringLiteral("TQVAnalyzer")));
    c.Meter = qobject_cast<TQVMeter *>(m.AddComponent(QStringLiteral("TQVMeter")));
    c.Bar = qobject_cast<TQVBarGraph *>(m.AddComponent(QStringLiteral("TQVBarGraph")));
    const struct { QObject *Target; const char *Name; QVariant Value; } settings[] = {
        {c.Generator, "SampleRate", 48000.0},      {c.Generator, "BlockLength", 1000},
        {c.Generator, "Frequency", QStringLiteral("1000")}, {c.Generator, "Amplitude", 0.75},
        {c.Generator, "Offset", 0.1},               {c.Analyzer, "Compression", QStringLiteral("mcoRMS")},
        {c.Analyzer, "MeasureSource", QStringLiteral("SignalGenerator1")},
        {c.Meter, "AutoConfig", false},             {c.Meter, "ValueMax", 2.0},
        {c.Meter, "MeasureSource", QStringLiteral("Analyzer1")},
        {c.Bar, "AutoConfig", false},               {c.Bar, "ValueMax", 2.0},
        {c.Bar, "MeasureSource", QVariant::fromValue<QObject *>(c.Analyzer)},
    };
    for (const auto &s : settings)
        EXPECT_EQ(m.SetProperty(s.Target, QString::fromLatin1(s.Name), s.Value), QString()) << s.Name;
    return c;
}

// RMS of block `block` of offset + amplitude * sin(2 pi f n / fs), n counted from 0.
double ReferenceRms(int block, int length, double fs, double f, double amplitude, double offset)
{
    long double sum = 0.0L;
    for (long long n = (long long)block * length; n < (long long)(block + 1) * length; ++n) {
        const long double x = offset + amplitude * std::sin(2.0L * std::numbers::pi_v<long double> * f * n / fs);
        sum += x * x;
    }
    return double(std::sqrt(sum / length));
}

} // namespace

TEST(WorkbenchModel, CreatesUniquelyNamedComponentsInDesigningState)
{
    TQVWorkbenchModel m;
    const char *classes[] = {"TQVSignalGenerator", "TQVAnalyzer", "TQVAnalyzer", "TQVMeter", "TQVBarGraph"};
    const QStringList expected = {"SignalGenerator1", "Analyzer1", "Analyzer2", "Meter1", "BarGraph1"};
    for (const char *name : classes)
        ASSERT_NE(m.AddComponent(QString::fromLatin1(name)), nullptr) << name;
    EXPECT_EQ(Names(m), expected);
    EXPECT_EQ(m.NonVisualComponents().size(), 3);
    ASSERT_EQ(m.VisualComponents().size(), 2);
    for (QObject *c : m.Components())
        EXPECT_TRUE(TQVComponentState::Of(c)->IsDesigning()) << qPrintable(c->objectName());
    for (QWidget *w : m.VisualComponents())
        EXPECT_EQ(w->parentWidget(), m.Surface());
    EXPECT_FALSE(m.VisualComponents()[0]->geometry().intersects(m.VisualComponents()[1]->geometry()));

    // A freed name is taken again; unknown classes and bad names are refused with a reason.
    ASSERT_TRUE(m.RemoveComponent(m.Component(QStringLiteral("Analyzer1"))));
    EXPECT_EQ(m.AddComponent(QStringLiteral("TQVAnalyzer"))->objectName(), QStringLiteral("Analyzer1"));
    QSignalSpy errors(&m, &TQVWorkbenchModel::ErrorOccurred);
    EXPECT_EQ(m.AddComponent(QStringLiteral("TQVNoSuchThing")), nullptr);
    EXPECT_TRUE(m.LastError().contains(QStringLiteral("TQVNoSuchThing")));
    QObject *bar = m.Component(QStringLiteral("BarGraph1"));
    for (const char *bad : {"2bad", "Meter1", "with space", "end", ""})
        EXPECT_NE(m.Rename(bar, QString::fromLatin1(bad)), QString()) << bad;
    EXPECT_EQ(errors.count(), 6);
    EXPECT_EQ(m.Rename(bar, QStringLiteral("Level_2")), QString());
    EXPECT_EQ(m.Components().size(), 5);
    EXPECT_EQ(m.Component(QStringLiteral("Level_2")), bar);
}

TEST(WorkbenchModel, RefusedPropertyWritesLeaveTheFormAsItWas)
{
    TQVWorkbenchModel m;
    Chain c = BuildChain(m); // that the writes took is the saved form's test: it runs the chain
    const QString before = m.FormText();
    ASSERT_FALSE(before.isEmpty());

    QString library; // what a meter of its own raises for the generator
    try {
        TQVMeter(nullptr).SetMeasureSource(c.Generator);
    } catch (const EQVMSIncompatibleSource &e) {
        library = e.Message();
    }
    ASSERT_FALSE(library.isEmpty());
    QSignalSpy errors(&m, &TQVWorkbenchModel::ErrorOccurred);
    const QString error = m.SetProperty(c.Meter, QStringLiteral("MeasureSource"), QVariant::fromValue<QObject *>(c.Generator));
    EXPECT_TRUE(error.contains(library)) << qPrintable(error);
    ASSERT_EQ(errors.count(), 1);
    EXPECT_EQ(errors.at(0).at(0).toString(), error);
    EXPECT_EQ(c.Generator->Links().size(), 1); // only the analyzer; the meter's source shows in the form text

    // Writes that cannot be converted or named are refused before they reach the component.
    const struct { QObject *Target; const char *Name; QVariant Value; } refused[] = {
        {c.Analyzer, "Compression", QStringLiteral("mcoNope")}, {c.Analyzer, "Compression", 99},
        {c.Generator, "Frequency", QStringLiteral("fast")},      {c.Generator, "NoSuchProperty", 1},
        {c.Meter, "MeasureSource", QStringLiteral("Nobody")},    {c.Meter, "MeasureSource", QStringLiteral("BarGraph1")},
        {c.Meter, "MeasureSource", 42},                          {c.Meter, "Name", QStringLiteral("Analyzer1")},
    };
    for (const auto &r : refused)
        EXPECT_NE(m.SetProperty(r.Target, QString::fromLatin1(r.Name), r.Value), QString()) << r.Name;
    EXPECT_EQ(errors.count(), 1 + int(std::size(refused)));
    EXPECT_EQ(m.FormText(), before);

    // Several at once: refusals come as one text and leave no step; a partial write is one step.
    const int steps = m.UndoStack()->count();
    const QString both = m.SetPropertyOfAll({c.Meter, c.Bar}, QStringLiteral("MeasureSource"),
                                            QVariant::fromValue<QObject *>(c.Generator));
    EXPECT_TRUE(both.contains(library) && both.count(u'\n') == 1) << qPrintable(both);
    EXPECT_EQ(errors.count(), 2 + int(std::size(refused)));
    EXPECT_EQ(m.FormText(), before);
    EXPECT_TRUE(m.UndoStack()->count() == steps && !m.UndoStack()->canRedo());
    EXPECT_NE(m.SetPropertyOfAll({c.Generator, c.Meter}, QStringLiteral("Amplitude"), 0.25), QString());
    EXPECT_EQ(c.Generator->Amplitude(), 0.25);
    EXPECT_EQ(m.UndoStack()->count(), steps + 1);
    m.UndoStack()->undo();
    EXPECT_EQ(m.FormText(), before);

    // Removing a source unconnects its consumers and its own input; a removed one is gone.
    ASSERT_TRUE(m.RemoveComponent(c.Analyzer));
    EXPECT_EQ(c.Meter->MeasureSource(), nullptr);
    EXPECT_EQ(c.Bar->MeasureSource(), nullptr);
    EXPECT_EQ(c.Generator->Links().size(), 0);
    EXPECT_FALSE(m.RemoveComponent(c.Analyzer));
}

TEST(WorkbenchModel, SavedFormOpensAndRunsLikeTheOriginal)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString file = dir.filePath(QStringLiteral("chain.vform"));
    TQVWorkbenchModel first;
    Chain a = BuildChain(first);
    EXPECT_TRUE(first.IsModified());
    ASSERT_TRUE(first.Save(file)) << qPrintable(first.LastError());
    EXPECT_FALSE(first.IsModified());

    TQVWorkbenchModel second;
    ASSERT_TRUE(second.Open(file)) << qPrintable(second.LastError());
    EXPECT_EQ(Names(second), Names(first));
    auto *generator = qobject_cast<TQVSignalGenerator *>(second.Component(QStringLiteral("SignalGenerator1")));
    auto *analyzer = qobject_cast<TQVAnalyzer *>(second.Component(QStringLiteral("Analyzer1")));
    auto *meter = qobject_cast<TQVMeter *>(second.Component(QStringLiteral("Meter1")));
    auto *bar = qobject_cast<TQVBarGraph *>(second.Component(QStringLiteral("BarGraph1")));
    ASSERT_TRUE(generator && analyzer && meter && bar); // their connections show in the run below
    EXPECT_EQ(meter->geometry(), a.Meter->geometry());
    for (QObject *c : second.Components())
        EXPECT_TRUE(TQVComponentState::Of(c)->IsDesigning());

    EXPECT_EQ(second.Tick(3), 0); // nothing runs in design mode
    constexpr int Blocks = 7;
    const double rms = ReferenceRms(Blocks - 1, 1000, 48000.0, 1000.0, 0.75, 0.1);
    for (TQVWorkbenchModel *m : {&first, &second}) {
        m->Run();
        EXPECT_TRUE(qobject_cast<TQVSignalGenerator *>(m->Component(QStringLiteral("SignalGenerator1")))->IsRunning());
        for (QObject *c : m->Components())
            EXPECT_FALSE(TQVComponentState::Of(c)->IsDesigning());
        // The form is fixed while it runs.
        EXPECT_FALSE(m->RemoveComponent(m->Component(QStringLiteral("Analyzer1"))));
        EXPECT_EQ(m->AddComponent(QStringLiteral("TQVLed")), nullptr);
        EXPECT_EQ(m->Tick(Blocks), Blocks);
        m->Stop();
        for (const char *display : {"Meter1", "BarGraph1"})
            EXPECT_NEAR(m->Component(QString::fromLatin1(display))->property("Value").toDouble(), rms, 2e-6 * rms);
    }
    EXPECT_EQ(generator->State(), mssStop);
    EXPECT_TRUE(TQVComponentState::Of(meter)->IsDesigning());

    // Forms that cannot be read leave the open one untouched.
    QFile broken(dir.filePath(QStringLiteral("broken.vform")));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("object Gen9: TQVSignalGenerator\nend\nobject X: TQVNoSuchClass\nend\n");
    broken.close();
    const QString text = second.FormText();
    EXPECT_FALSE(second.Open(broken.fileName()));
    EXPECT_TRUE(second.LastError().contains(QStringLiteral("TQVNoSuchClass")));
    EXPECT_FALSE(second.Open(dir.filePath(QStringLiteral("missing.vform"))));
    EXPECT_FALSE(second.Load(text.left(text.size() / 2)));
    EXPECT_FALSE(second.Save(dir.filePath(QStringLiteral("no/such/dir/x.vform"))));
    EXPECT_EQ(second.FormText(), text);
    EXPECT_EQ(second.FileName(), file);
    EXPECT_EQ(meter->MeasureSource(), analyzer);
}

TEST(WorkbenchWindow, PropertyEditorOffersEnumNamesAndCompatibleSources)
{
    TQVWorkbench w;
    w.SetModalErrors(false);
    QSignalSpy shown(&w, &TQVWorkbench::ErrorShown);
    TQVWorkbenchModel &m = w.Model();
    QObject *generator = m.AddComponent(QStringLiteral("TQVSignalGenerator"));
    auto *analyzer = qobject_cast<TQVAnalyzer *>(m.AddComponent(QStringLiteral("TQVAnalyzer")));
    auto *meter = qobject_cast<TQVMeter *>(m.AddComponent(QStringLiteral("TQVMeter")));
    ASSERT_TRUE(generator && analyzer && meter);
    EXPECT_EQ(w.Selected(), meter); // a new component is selected

    w.Select(analyzer);
    auto *compression = qobject_cast<QComboBox *>(w.PropertyEditorWidget(QStringLiteral("Compression")));
    ASSERT_NE(compression, nullptr);
    EXPECT_EQ(compression->itemText(5), QVEnumDisplayName(QStringLiteral("mcoRMS")));
    emit compression->activated(5);
    EXPECT_EQ(analyzer->Compression(), TQVAnalyzer::mcoRMS);
    ASSERT_EQ(m.SetProperty(analyzer, QStringLiteral("MeasureSource"), QStringLiteral("SignalGenerator1")), QString());

    // The meter takes single values: the analyzer, not the generator's blocks.
    w.Select(meter);
    auto *sources = qobject_cast<QComboBox *>(w.PropertyEditorWidget(QStringLiteral("MeasureSource")));
    ASSERT_NE(sources, nullptr);
    ASSERT_EQ(sources->count(), 2);
    EXPECT_EQ(sources->itemText(1), QStringLiteral("Analyzer1"));
    emit sources->activated(1);
    EXPECT_EQ(meter->MeasureSource(), analyzer);
    EXPECT_EQ(sources->currentText(), QStringLiteral("Analyzer1"));
    EXPECT_EQ(shown.count(), 0);

    // While the form runs the editor follows the values, except the one being edited.
    auto *value = qobject_cast<QLineEdit *>(w.PropertyEditorWidget(QStringLiteral("Value")));
    auto *gap = qobject_cast<QLineEdit *>(w.PropertyEditorWidget(QStringLiteral("ValueGap")));
    w.show();
    w.activateWindow();
    ASSERT_TRUE(value && gap && QTest::qWaitForWindowActive(&w));
    gap->setFocus();
    gap->setText(QStringLiteral("0.2"));
    m.Run();
    EXPECT_TRUE(QTest::qWaitFor([&] { return meter->Value() > 0.1 && std::abs(value->text().toDouble() - meter->Value()) < 0.01; }));
    EXPECT_EQ(gap->text(), QStringLiteral("0.2"));
    m.Stop();

    EXPECT_NE(qobject_cast<QToolButton *>(w.PropertyEditorWidget(QStringLiteral("IndicatorColor"))), nullptr);
    auto *autoConfig = qobject_cast<QCheckBox *>(w.PropertyEditorWidget(QStringLiteral("AutoConfig")));
    ASSERT_NE(autoConfig, nullptr);
    EXPECT_TRUE(autoConfig->isChecked());
    autoConfig->setChecked(false);
    EXPECT_FALSE(meter->AutoConfig());

    // SI prefixes by name: the slider's label prefix takes kilo.
    QObject *slider = m.AddComponent(QStringLiteral("TQVSlider"));
    auto *prefix = qobject_cast<QComboBox *>(w.PropertyEditorWidget(QStringLiteral("LabelScientificUnitPosfix")));
    ASSERT_NE(prefix, nullptr);
    const int kilo = prefix->findText(QStringLiteral("kilo"), Qt::MatchStartsWith);
    ASSERT_GE(kilo, 0);
    prefix->setCurrentIndex(kilo);
    emit prefix->activated(kilo);
    EXPECT_EQ(slider->property("LabelScientificUnitPosfix").toInt(), int(sipKilo));
}

TEST(WorkbenchModel, SourceChooserOffersWhatTheCapabilityRulesAccept)
{
    TQVWorkbenchModel m;
    auto add = [&](const char *className, const char *source = nullptr) {
        QObject *c = m.AddComponent(QString::fromLatin1(className));
        if (c && source) {
            EXPECT_EQ(m.SetProperty(c, QStringLiteral("MeasureSource"), QString::fromLatin1(source)), QString());
        }
        return c;
    };
    add("TQVSignalGenerator");
    m.SetProperty(add("TQVSignalGenerator"), QStringLiteral("ChannelCount"), 2);
    add("TQVAnalyzer", "SignalGenerator1");
    add("TQVIIRFilter", "SignalGenerator1");
    add("TQVFFTSingleSingle", "IIRFilter1");
    add("TQVSelectorDual", "SignalGenerator2");
    using Caps = TQVMeasureSourceCapabilities;
    // What each consumer's class requires of a source with `channels` channels.
    const std::map<std::string, std::function<bool(Caps, int)>> rules = {
        {"TQVMeter", [](Caps c, int n) { return c.ContainsAll({mscContinuous, mscSingleValue, mscSingleChannel}) && n == 1; }},
        {"TQVIIRFilter", [](Caps c, int) { return c.ContainsAll({mscContinuous, mscSingleChannel}); }},
        {"TQVFFTSingleSingle", [](Caps c, int) { return c.ContainsAll({mscContinuous, mscSingleChannel}) && !c.Contains(mscSingleValue); }},
        {"TQVSelectorDual", [](Caps c, int) { return c.Contains(mscContinuous) && !c.Contains(mscSingleChannel); }},
    };
    // Consumers fresh on the form, and the filter of the chain, which cannot take the FFT
    // stage it feeds; the table of candidates is the form's sources.
    QObject *const filter = m.Component(QStringLiteral("IIRFilter1"));
    for (QObject *c : {add("TQVMeter"), add("TQVFFTSingleSingle"), add("TQVSelectorDual"), filter}) {
        ASSERT_NE(c, nullptr);
        QStringList expected, offered;
        for (TQVMeasureSource *source : m.Sources(c)) {
            TQVMeasureSourceSettings settings{};
            source->GetSettings(settings);
            const bool loop = c == filter && source->objectName() == QStringLiteral("FFTSingleSingle1");
            // A source without valid settings (a stage without input) is checked later.
            if (!loop && (!QVSettingsValid(settings) ||
                          rules.at(c->metaObject()->className())(source->Capabilities(), int(settings.ChannelCount))))
                expected.append(source->objectName());
        }
        for (TQVMeasureSource *source : m.CompatibleSources(c, QStringLiteral("MeasureSource")))
            offered.append(source->objectName());
        EXPECT_EQ(offered.join(u' ').toStdString(), expected.join(u' ').toStdString()) << qPrintable(c->objectName());
        EXPECT_FALSE(offered.isEmpty()) << qPrintable(c->objectName());
    }
    // The probes left no links behind.
    EXPECT_EQ(qobject_cast<TQVMeasureSource *>(m.Component(QStringLiteral("SignalGenerator1")))->Links().size(), 2);
    EXPECT_EQ(qobject_cast<TQVMeasureSource *>(m.Component(QStringLiteral("FFTSingleSingle1")))->Links().size(), 0);
}

TEST(WorkbenchText, EnumDisplayNames)
{
    const struct { const char *Key, *Name; } cases[] = {
        {"wnHanning", "Hanning"},          {"mcoRMS", "RMS"},
        {"sdoComplexFFT", "Complex FFT"},  {"wnBlackmanHarris67dB", "Blackman Harris 67 dB"},
        {"qvtsFillPreTrigger", "Fill Pre Trigger"}, {"lesArrowLeftRight", "Arrow Left Right"},
        {"scLinear", "Linear"},            {"FFTSize", "FFT Size"},
        {"Linear", "Linear"},              {"lower", "lower"},
        {"ab_cdEf", "ab cd Ef"},              {"rate48kHz", "48 kHz"},
        {"x2", "2"},                       {"", ""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(QVEnumDisplayName(QString::fromLatin1(c.Key)).toStdString(), c.Name) << c.Key;
}

TEST(WorkbenchWindow, DragMovesComponentsInDesignModeOnly)
{
    TQVWorkbench w;
    w.SetModalErrors(false);
    w.show();
    TQVWorkbenchModel &m = w.Model();
    auto *meter = qobject_cast<QWidget *>(m.AddComponent(QStringLiteral("TQVMeter"), QPoint(40, 40)));
    ASSERT_NE(meter, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
    const QPoint grip(30, 30);
    auto drag = [&](QPoint delta) {
        QTest::mousePress(meter, Qt::LeftButton, {}, grip);
        QTest::mouseMove(meter, grip + delta);
        QTest::mouseRelease(meter, Qt::LeftButton, {}, grip + delta);
    };
    drag(QPoint(48, 32));
    EXPECT_EQ(meter->pos(), QPoint(88, 72));
    auto *left = qobject_cast<QSpinBox *>(w.PropertyEditorWidget(QStringLiteral("Left")));
    ASSERT_NE(left, nullptr);
    EXPECT_EQ(left->value(), 88);
    left->setValue(100);
    EXPECT_EQ(meter->x(), 100);

    m.Run();
    drag(QPoint(40, 40));
    EXPECT_EQ(meter->pos(), QPoint(100, 72));
    m.Stop();

    // Resize handles: the right bottom one grows the meter in snapped steps, the left one
    // stops at the minimum size; each drag is one step of the history.
    const int steps = m.UndoStack()->count();
    const struct { QPoint Grip, Delta; QRect Expected; } resizes[] = {
        {QPoint(100 + 133 + 2, 72 + 133 + 2), QPoint(31, 17), QRect(100, 72, 164, 152)},
        {QPoint(100 - 3, 72 + 76), QPoint(400, 0), QRect(256, 72, 8, 152)},
    };
    for (const auto &r : resizes) {
        ASSERT_EQ(w.Selected(), meter);
        QTest::mousePress(m.Surface(), Qt::LeftButton, {}, r.Grip);
        QTest::mouseMove(m.Surface(), r.Grip + r.Delta / 2);
        QTest::mouseMove(m.Surface(), r.Grip + r.Delta);
        QTest::mouseRelease(m.Surface(), Qt::LeftButton, {}, r.Grip + r.Delta);
        EXPECT_EQ(meter->geometry(), r.Expected);
    }
    EXPECT_EQ(m.UndoStack()->count(), steps + 2);
    m.UndoStack()->undo();
    m.UndoStack()->undo();
    EXPECT_EQ(meter->geometry(), QRect(100, 72, 133, 133));
    QTest::mouseClick(m.Surface(), Qt::LeftButton, {}, QPoint(900, 600));
    EXPECT_EQ(w.Selected(), nullptr);
}

// Wires are drawn between connected components, faint while the form runs.
TEST(WorkbenchWindow, WiresFadeWhileRunning)
{
    TQVWorkbench w;
    w.SetModalErrors(false);
    w.show();
    BuildChain(w.Model());
    auto *wires = w.findChild<QWidget *>(QStringLiteral("Wires"));
    const auto strongest = [&] {
        QImage image(wires->size(), QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        wires->render(&image, QPoint(), QRegion(), {});
        int alpha = 0;
        for (int i = 0; i < image.width() * image.height(); ++i)
            alpha = std::max(alpha, qAlpha(image.pixel(i % image.width(), i / image.width())));
        return alpha;
    };
    const int designing = strongest();
    w.Model().Run();
    EXPECT_LT(strongest(), designing / 2);
    w.Model().Stop();
    EXPECT_GT(strongest(), 200);
}

// A rectangle on the empty form and Ctrl+clicks select several components, which then move,
// go and come back, and are copied together, each gesture one step of the history.
TEST(WorkbenchWindow, SeveralSelectedComponentsActTogether)
{
    TQVWorkbench w;
    w.SetModalErrors(false);
    w.show();
    w.PlaceExample();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
    TQVWorkbenchModel &m = w.Model();
    const auto widget = [&m](const char *name) { return qobject_cast<QWidget *>(m.Component(QLatin1String(name))); };
    QWidget *meter = widget("Meter1"), *bar = widget("BarGraph1"), *plot = widget("Plot1");
    ASSERT_TRUE(meter && bar && plot && meter->pos() == QPoint(24, 24) && plot->y() > 100);
    QTest::mousePress(m.Surface(), Qt::LeftButton, {}, QPoint(8, 8));
    QTest::mouseMove(m.Surface(), QPoint(200, 60));
    QTest::mouseMove(m.Surface(), QPoint(bar->x() + 4, 100));
    QTest::mouseRelease(m.Surface(), Qt::LeftButton, {}, QPoint(bar->x() + 4, 100));
    EXPECT_EQ(w.SelectedComponents(), QList<QObject *>({meter, bar}));
    EXPECT_FALSE(ActionNamed(w, "&Across")->isEnabled()); // spacing takes three
    auto *valueMax = qobject_cast<QLineEdit *>(w.PropertyEditorWidget(QStringLiteral("ValueMax")));
    ASSERT_NE(valueMax, nullptr);
    valueMax->setText(QStringLiteral("2.5"));
    valueMax->setModified(true);
    emit valueMax->editingFinished(); // goes to both
    EXPECT_EQ(meter->property("ValueMax").toDouble() + bar->property("ValueMax").toDouble(), 5.0);
    for (qsizetype expected : {3, 2}) {
        QTest::mouseClick(plot, Qt::LeftButton, Qt::ControlModifier, QPoint(10, 10));
        EXPECT_EQ(w.SelectedComponents().size(), expected);
    }

    const QRect meterAt = meter->geometry(), barAt = bar->geometry();
    const int steps = m.UndoStack()->count();
    QTest::mousePress(meter, Qt::LeftButton, {}, QPoint(30, 30));
    QTest::mouseMove(meter, QPoint(70, 46)); // the meter moves under the pointer: one move only
    QTest::mouseRelease(meter, Qt::LeftButton, {}, QPoint(70, 46));
    EXPECT_EQ(meter->geometry(), meterAt.translated(40, 16));
    EXPECT_EQ(bar->geometry(), barAt.translated(40, 16));
    EXPECT_EQ(m.UndoStack()->count(), steps + 1);
    // A handle of the current widget moves the same edges of the others, in one step.
    auto *current = qobject_cast<QWidget *>(w.Selected());
    ASSERT_TRUE(current == meter || current == bar);
    const QRect before[] = {meter->geometry(), bar->geometry()};
    const QPoint grip = current->geometry().topLeft() - QPoint(3, 3); // grows up and left
    QTest::mousePress(m.Surface(), Qt::LeftButton, {}, grip);
    QTest::mouseMove(m.Surface(), grip - QPoint(31, 17));
    QTest::mouseRelease(m.Surface(), Qt::LeftButton, {}, grip - QPoint(31, 17));
    const QSize grown = meter->size() - before[0].size();
    EXPECT_TRUE(grown.width() > 0 && grown.height() > 0 && bar->size() - before[1].size() == grown);
    EXPECT_TRUE(meter->geometry().bottomRight() == before[0].bottomRight() && bar->geometry().bottomRight() == before[1].bottomRight());
    m.UndoStack()->undo();
    EXPECT_TRUE(meter->geometry() == before[0] && bar->geometry() == before[1]);

    ActionNamed(w, "&Delete")->trigger();
    EXPECT_EQ(Names(m), QStringList({"SignalGenerator1", "Analyzer1", "Plot1"}));
    m.UndoStack()->undo();
    EXPECT_EQ(m.UndoStack()->count(), steps + 2);
    for (const char *name : {"Meter1", "BarGraph1"})
        EXPECT_EQ(widget(name)->property("MeasureSource").value<QObject *>(), m.Component(QStringLiteral("Analyzer1"))) << name;
    m.UndoStack()->undo();
    EXPECT_EQ(widget("Meter1")->geometry(), meterAt);

    ActionNamed(w, "Select &All")->trigger();
    ActionNamed(w, "&Copy")->trigger();
    ActionNamed(w, "&Paste")->trigger();
    EXPECT_EQ(m.Components().size(), 10);
    EXPECT_EQ(w.SelectedComponents(), m.Components().mid(5)); // the copies
    EXPECT_EQ(m.UndoStack()->count(), steps + 1);
    ActionNamed(w, "&Width")->trigger(); // on the current component, the plot's copy
    EXPECT_EQ(widget("Meter2")->width(), plot->width());
    const QRect copyAt = widget("Meter2")->geometry();
    QTest::keyClick(m.Surface(), Qt::Key_Right);                                           // by the snap step
    QTest::keyClick(m.Surface(), Qt::Key_Down, Qt::ShiftModifier | Qt::ControlModifier); // taller by a pixel
    EXPECT_EQ(widget("Meter2")->geometry(), copyAt.translated(4, 0).adjusted(0, 0, 0, 1));
    EXPECT_EQ(widget("Plot2")->height(), plot->height() + 1);
}

TEST(WorkbenchWindow, RecentFilesDropMissingOnesWithAMessage)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.path()); // not the user's list
    TQVWorkbench w;
    w.SetModalErrors(false);
    QSignalSpy shown(&w, &TQVWorkbench::ErrorShown);
    w.Model().AddComponent(QStringLiteral("TQVSignalGenerator"));
    QStringList saved;
    for (int i = 0; i < 10; ++i) {
        saved.prepend(dir.filePath(QStringLiteral("form%1.vform").arg(i)));
        ASSERT_TRUE(w.Model().Save(saved.first()));
        ASSERT_TRUE(w.OpenFile(saved.first()));
    }
    EXPECT_EQ(w.RecentFiles(), saved.mid(0, 8));
    ASSERT_TRUE(QFile::remove(saved[1]));
    EXPECT_FALSE(w.OpenRecent(saved[1]));
    ASSERT_EQ(shown.count(), 1);
    EXPECT_TRUE(shown.at(0).at(0).toString().contains(saved[1]));
    QStringList left = saved.mid(0, 8);
    left.removeAll(saved[1]);
    EXPECT_EQ(w.RecentFiles(), left);
    EXPECT_TRUE(w.OpenRecent(saved[5]));
    EXPECT_EQ(w.RecentFiles().first(), saved[5]);
    EXPECT_EQ(w.Model().FileName(), saved[5]);
}

TEST(WorkbenchWindow, PaletteAndDeleteWorkOnTheModel)
{
    TQVWorkbench w;
    w.SetModalErrors(false);
    QToolBox *palette = w.Palette();
    ASSERT_NE(palette, nullptr);
    QListWidget *host = nullptr;
    for (int i = 0; i < palette->count(); ++i) {
        auto *list = qobject_cast<QListWidget *>(palette->widget(i));
        ASSERT_NE(list, nullptr);
        EXPECT_EQ(list->count(), w.Model().Registry().PageClasses(palette->itemText(i)).size());
        for (int k = 0; k < list->count(); ++k)
            EXPECT_FALSE(list->item(k)->icon().isNull()) << qPrintable(list->item(k)->text());
        if (palette->itemText(i) == TQVWorkbenchModel::HostPageName())
            host = list;
    }
    ASSERT_NE(host, nullptr);
    emit host->itemClicked(host->item(0)); // the generator
    ASSERT_EQ(w.Model().Components().size(), 1);
    QObject *generator = w.Model().Components().first();
    EXPECT_EQ(generator->objectName(), QStringLiteral("SignalGenerator1"));
    ASSERT_EQ(w.Tray()->count(), 1);
    EXPECT_EQ(w.Tray()->item(0)->text(), QStringLiteral("SignalGenerator1"));

    QAction *remove = ActionNamed(w, "&Delete"), *copy = ActionNamed(w, "&Copy"), *paste = ActionNamed(w, "&Paste");
    QAction *cut = ActionNamed(w, "Cu&t"), *duplicate = ActionNamed(w, "D&uplicate");
    ASSERT_TRUE(remove && copy && paste && cut && duplicate);
    // Copy puts the form text on the clipboard; Paste and Duplicate place and select copies.
    w.Select(generator);
    copy->trigger();
    EXPECT_EQ(QApplication::clipboard()->text(), w.Model().CopyText({generator}));
    paste->trigger();
    duplicate->trigger();
    EXPECT_EQ(Names(w.Model()), QStringList({"SignalGenerator1", "SignalGenerator2", "SignalGenerator3"}));
    EXPECT_EQ(w.Selected(), w.Model().Components().last());
    cut->trigger();
    EXPECT_EQ(w.Model().Components().size(), 2);
    EXPECT_TRUE(QApplication::clipboard()->text().contains(QLatin1String("SignalGenerator3")));
    w.Select(generator);
    remove->trigger();
    EXPECT_EQ(Names(w.Model()), QStringList({"SignalGenerator2"}));
    EXPECT_EQ(w.Tray()->count(), 1);
    EXPECT_EQ(w.Selected(), nullptr);
    EXPECT_FALSE(remove->isEnabled() || cut->isEnabled() || copy->isEnabled());
}

// Pasted components keep their connections to the form and among themselves, get free
// names and do not hide what they were copied from; what the form cannot satisfy is left
// unconnected, and bad text or a running form changes nothing.
TEST(WorkbenchModel, PasteConnectsNamesAndPlacesCopies)
{
    TQVWorkbenchModel m;
    const Chain c = BuildChain(m);
    const QString meterText = m.CopyText({c.Meter});
    for (int k = 1; k <= 2; ++k) {
        const QList<QObject *> pasted = m.Paste(meterText);
        ASSERT_EQ(pasted.size(), 1) << qPrintable(m.LastError());
        const auto *meter = qobject_cast<TQVMeter *>(pasted.first());
        ASSERT_NE(meter, nullptr);
        EXPECT_EQ(meter->objectName(), QStringLiteral("Meter%1").arg(k + 1));
        EXPECT_EQ(meter->MeasureSource(), c.Analyzer);
        EXPECT_EQ(meter->ValueMax(), 2.0);
        EXPECT_EQ(meter->geometry(), c.Meter->geometry().translated(16 * k, 16 * k));
    }
    // The pair in the form's order whatever the order asked for; the copied analyzer is fed
    // by the copied generator, not by the original.
    const QList<QObject *> pair = m.Paste(m.CopyText({c.Analyzer, c.Generator}));
    ASSERT_EQ(pair.size(), 2);
    EXPECT_EQ(pair[0]->objectName(), QStringLiteral("SignalGenerator2"));
    EXPECT_EQ(pair[1]->objectName(), QStringLiteral("Analyzer2"));
    EXPECT_EQ(qobject_cast<TQVAnalyzer *>(pair[1])->GetQVMeasureSource(), pair[0]);

    // A name not on the form, a component of the wrong class, a source the sink refuses.
    const QString analyzerText = m.CopyText({c.Analyzer});
    for (const auto &[text, from, to] : {std::tuple{analyzerText, "SignalGenerator1", "Nowhere"},
                                        {analyzerText, "SignalGenerator1", "Meter1"},
                                        {meterText, "Analyzer1", "SignalGenerator1"}}) {
        const QList<QObject *> pasted = m.Paste(QString(text).replace(QLatin1String(from), QLatin1String(to)));
        ASSERT_EQ(pasted.size(), 1) << to << ": " << qPrintable(m.LastError());
        EXPECT_EQ(pasted.first()->property("MeasureSource").value<QObject *>(), nullptr) << to;
    }

    const QString form = m.FormText();
    const int steps = m.UndoStack()->count();
    for (const QString &bad : {QStringLiteral("object X: TQVNope\nend\n"), QStringLiteral("just words")})
        EXPECT_TRUE(m.Paste(bad).isEmpty() && !m.LastError().isEmpty()) << qPrintable(bad);
    m.Run();
    EXPECT_TRUE(m.Paste(meterText).isEmpty() && !m.LastError().isEmpty());
    m.Stop();
    EXPECT_EQ(m.FormText(), form);
    EXPECT_EQ(m.UndoStack()->count(), steps);
}

// Each arrangement measured on its result: the compared edges, centres or sizes agree with
// the reference's (centres within the pixel that rounding leaves), the other coordinates
// stay, gaps come out equal with the outer widgets in place; one step undoes it.
TEST(WorkbenchModel, ArrangeLinesWidgetsUpOnTheReference)
{
    using A = TQVWorkbenchModel::TQVArrangement;
    TQVWorkbenchModel m;
    const QList<QRect> start = {QRect(40, 100, 120, 90), QRect(300, 20, 61, 200), QRect(170, 260, 33, 47)};
    QList<QWidget *> w;
    for (const QRect &r : start) {
        w.append(qobject_cast<QWidget *>(m.AddComponent(QStringLiteral("TQVLed"))));
        ASSERT_EQ(m.SetGeometry(w.last(), r), QString());
    }
    using Measure = int (*)(const QRect &);
    // What must agree with the reference, what must stay for each widget, and by how much.
    const struct { A Arrangement; Measure Compared, Kept; int Tolerance; } rows[] = {
        {A::Lefts, [](const QRect &r) { return r.left(); }, [](const QRect &r) { return r.y() * 65536 + r.width(); }, 0},
        {A::Centers, [](const QRect &r) { return 2 * r.x() + r.width(); }, [](const QRect &r) { return r.y(); }, 1},
        {A::Rights, [](const QRect &r) { return r.right(); }, [](const QRect &r) { return r.y() * 65536 + r.width(); }, 0},
        {A::Tops, [](const QRect &r) { return r.top(); }, [](const QRect &r) { return r.x() * 65536 + r.height(); }, 0},
        {A::Middles, [](const QRect &r) { return 2 * r.y() + r.height(); }, [](const QRect &r) { return r.x(); }, 1},
        {A::Bottoms, [](const QRect &r) { return r.bottom(); }, [](const QRect &r) { return r.x() * 65536 + r.height(); }, 0},
        {A::SameWidth, [](const QRect &r) { return r.width(); }, [](const QRect &r) { return r.x() * 65536 + r.y(); }, 0},
        {A::SameHeight, [](const QRect &r) { return r.height(); }, [](const QRect &r) { return r.x() * 65536 + r.y(); }, 0},
        {A::SameSize, [](const QRect &r) { return r.width() * 65536 + r.height(); }, [](const QRect &r) { return r.x() * 65536 + r.y(); }, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(int(row.Arrangement));
        const int steps = m.UndoStack()->index();
        ASSERT_EQ(m.ArrangeComponents(w, row.Arrangement, w[1]), QString());
        EXPECT_EQ(w[1]->geometry(), start[1]);
        for (int i = 0; i < 3; ++i) {
            EXPECT_LE(std::abs(row.Compared(w[i]->geometry()) - row.Compared(start[1])), row.Tolerance) << i;
            EXPECT_EQ(row.Kept(w[i]->geometry()), row.Kept(start[i])) << i;
        }
        EXPECT_EQ(m.UndoStack()->index(), steps + 1);
        m.UndoStack()->undo();
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(w[i]->geometry(), start[i]);
    }
    // Across: 40..159, 170..202, 300..360 in order; down they overlap, so the gaps are negative.
    for (const A spacing : {A::SpaceAcross, A::SpaceDown}) {
        const bool across = spacing == A::SpaceAcross;
        ASSERT_EQ(m.ArrangeComponents(w, spacing), QString());
        QList<QRect> g = {w[0]->geometry(), w[1]->geometry(), w[2]->geometry()};
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(across ? g[i].y() : g[i].x(), across ? start[i].y() : start[i].x()) << i;
        const auto low = [across](const QRect &r) { return across ? r.left() : r.top(); };
        const auto high = [across](const QRect &r) { return across ? r.right() : r.bottom(); };
        std::sort(g.begin(), g.end(), [&](const QRect &a, const QRect &b) { return low(a) < low(b); });
        EXPECT_EQ(g.first(), across ? start[0] : start[1]);
        EXPECT_EQ(g.last(), across ? start[1] : start[2]);
        EXPECT_LE(std::abs((low(g[1]) - high(g[0])) - (low(g[2]) - high(g[1]))), 1);
        m.UndoStack()->undo();
    }
    EXPECT_NE(m.ArrangeComponents(w.mid(1), A::SpaceAcross), QString());
    EXPECT_NE(m.ArrangeComponents({w[0]}, A::Lefts), QString());

    // The stacking follows the form's order: raised widgets go last, lowered ones first.
    m.AddComponent(QStringLiteral("TQVAnalyzer"));
    const auto stacked = [&m] {
        QStringList names = Names(m);
        for (QObject *c : m.Surface()->children())
            names.append(c->isWidgetType() ? c->objectName() : QString());
        return names.join(u' ').simplified();
    };
    ASSERT_EQ(m.RaiseComponents({w[1], w[0]}), QString());
    EXPECT_EQ(stacked(), "Led3 Analyzer1 Led1 Led2 Led3 Led1 Led2");
    ASSERT_EQ(m.LowerComponents({w[1]}), QString());
    EXPECT_EQ(stacked(), "Led2 Led3 Analyzer1 Led1 Led2 Led3 Led1");
    m.UndoStack()->undo();
    m.UndoStack()->undo();
    ASSERT_TRUE(m.RemoveComponent(w[0])); // undoing a delete restores the stacking too
    m.UndoStack()->undo();
    EXPECT_EQ(stacked(), "Led1 Led2 Led3 Analyzer1 Led1 Led2 Led3");
}

TEST(WorkbenchModel, UndoAndRedoReplayAnEditingSession)
{
    TQVWorkbenchModel m;
    QUndoStack *stack = m.UndoStack();
    const QString initial = m.FormText();
    enum Kind { Place, Set, Move, Remove, Paste };
    struct Gesture { Kind What; const char *Name, *Property; QVariant Value; int Steps; };
    // Each gesture with the number of steps the history should have after it.
    const Gesture session[] = {
        {Place, "TQVSignalGenerator", nullptr, {}, 1},
        {Place, "TQVAnalyzer", nullptr, {}, 2},
        {Place, "TQVMeter", nullptr, QPoint(40, 40), 3},
        {Set, "SignalGenerator1", "Frequency", 250.0, 4},
        {Set, "SignalGenerator1", "Frequency", 500.0, 4}, // merged with the previous write
        {Set, "Analyzer1", "MeasureSource", QStringLiteral("SignalGenerator1"), 5},
        {Set, "Analyzer1", "Compression", QStringLiteral("mcoRMS"), 6},
        {Set, "Meter1", "MeasureSource", QStringLiteral("Analyzer1"), 7},
        {Move, "Meter1", nullptr, QRect(64, 48, 200, 180), 8}, // a move and resize
        {Move, "Meter1", nullptr, QRect(80, 48, 200, 180), 9}, // moves never merge
        {Set, "Meter1", "Name", QStringLiteral("Level"), 10},
        {Set, "Level", "RangeNumber", 3, 11},
        {Set, "Level", "RangeCurrent", 2, 12},
        {Set, "Level", "RangeColor", quint32(0x00C8F0), 13},
        {Paste, "Level", nullptr, {}, 14}, // Meter1, fed by the analyzer too
        {Remove, "Analyzer1", nullptr, {}, 15}, // the meters lose their source
        {Place, "TQVAnalyzer", nullptr, {}, 16},
        {Remove, "SignalGenerator1", nullptr, {}, 17},
    };
    const auto apply = [&m](const Gesture &g) {
        QObject *c = m.Component(QString::fromLatin1(g.Name));
        switch (g.What) {
        case Place:
            return m.AddComponent(QString::fromLatin1(g.Name), g.Value.isValid() ? g.Value.toPoint() : QPoint(-1, -1))
                != nullptr;
        case Set:
            return m.SetProperty(c, QString::fromLatin1(g.Property), g.Value).isEmpty();
        case Move:
            return m.SetGeometry(qobject_cast<QWidget *>(c), g.Value.toRect()).isEmpty();
        case Remove:
            return m.RemoveComponent(c);
        case Paste:
            return m.Paste(m.CopyText({c})).size() == 1;
        }
        return false;
    };
    QSignalSpy replaced(&m, &TQVWorkbenchModel::FormReplaced);
    std::vector<std::string> texts{initial.toStdString()};
    for (const auto &gesture : session) {
        ASSERT_TRUE(apply(gesture)) << qPrintable(m.LastError()) << " at step " << texts.size();
        texts.push_back(m.FormText().toStdString());
        EXPECT_EQ(stack->count(), gesture.Steps);
        const int index = stack->index();
        while (stack->canUndo())
            stack->undo();
        EXPECT_EQ(m.FormText(), initial) << qPrintable(m.FormText());
        while (stack->canRedo())
            stack->redo();
        EXPECT_EQ(stack->index(), index);
        EXPECT_EQ(m.FormText().toStdString(), texts.back()) << "after gesture " << texts.size() - 1;
    }
    // Step by step back through every stored state (undoing everything at once would hide
    // a wrong intermediate one, such as a move's old geometry), then forward again at once.
    texts.erase(texts.begin() + 4); // the merged frequency write has no state of its own
    for (int i = int(texts.size()) - 2; i >= 0; --i) {
        stack->undo();
        EXPECT_EQ(m.FormText().toStdString(), texts[i]) << "undo to " << i;
    }
    while (stack->canRedo())
        stack->redo();
    auto *meter = qobject_cast<TQVMeter *>(m.Component(QStringLiteral("Level")));
    ASSERT_NE(meter, nullptr);
    stack->undo(); // the generator is back, feeding nothing yet: the new analyzer is unconnected
    stack->undo();
    stack->undo(); // the deleted analyzer is back, connected again on both sides
    auto *analyzer = qobject_cast<TQVAnalyzer *>(m.Component(QStringLiteral("Analyzer1")));
    ASSERT_NE(analyzer, nullptr);
    EXPECT_EQ(meter->MeasureSource(), analyzer);
    EXPECT_EQ(qobject_cast<TQVMeter *>(m.Component(QStringLiteral("Meter1")))->MeasureSource(), analyzer);
    EXPECT_EQ(analyzer->GetQVMeasureSource(), m.Component(QStringLiteral("SignalGenerator1")));
    // A refused write adds nothing; opening a form starts a new history.
    EXPECT_EQ(replaced.count(), 0); // every step was replayed on the components themselves
    const int steps = stack->count();
    EXPECT_FALSE(m.SetProperty(analyzer, QStringLiteral("Compression"), QStringLiteral("mcoNope")).isEmpty());
    EXPECT_EQ(stack->count(), steps);
    ASSERT_TRUE(m.Load(m.FormText()));
    EXPECT_EQ(stack->count(), 0);
}
