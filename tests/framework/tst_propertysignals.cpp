#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include <QtCore/QEventLoop>
#include <QtCore/QMetaProperty>
#include <QtCore/QTimer>
#include <QtTest/QSignalSpy>

#include "analysis/qvCatalogue.h"
#include "analysis/qvFFT.h"
#include "analysis/qvFilter.h"
#include "analysis/qvMLSFFT.h"
#include "framework/qvForm.h"
#include "host/qvFilePlayer.h"
#include "host/qvSignalGenerator.h"
#include "host/qvThreadBridge.h"
#include "stream/qvMLSSimpleSources.h"

namespace {

// Properties without a signal: the fixed informational texts (writes ignored, so stored
// forms load whatever they hold) and the trigger state (changes with the blocks and with
// every read; announcing it would mean emitting per block).
bool HasNoSignalByDesign(const char *name)
{
    return qstrcmp(name, "Version") == 0 || qstrcmp(name, "Copyright") == 0 || qstrcmp(name, "TriggerState") == 0;
}

// Writes refused for a documented reason; `Reports`: through ErrorOccurred.
struct Refusal
{
    const char *Class;
    const char *Property;
    bool Reports;
};
const Refusal Refusals[] = {
    {"TQVSelectorDual", "RequestHarmonizedData", false},   // ignored while unconnected
    {"TQVSelectorMatrix", "RequestHarmonizedData", false}, // ignored while unconnected
    {"TQVFilePlayer", "FileName", true},                   // a file that does not exist
};

const Refusal *FindRefusal(const QObject *object, const char *property)
{
    for (const Refusal &r : Refusals) {
        if (qstrcmp(object->metaObject()->className(), r.Class) == 0 && qstrcmp(property, r.Property) == 0)
            return &r;
    }
    return nullptr;
}

// A value that differs from `now` and that the setter takes: the next enumeration key, the
// negation, int + 2 (the IIR order takes even steps), a floating-point value + 1, one more
// line, a fresh unconnected stage (its invalid settings are accepted by every stage).
QVariant ChangedValue(const QMetaProperty &p, const QVariant &now, QObject *freshSource)
{
    if (p.isEnumType()) {
        const QMetaEnum e = p.enumerator();
        for (int k = 0; k < e.keyCount(); ++k) {
            if (e.value(k) == now.toInt())
                return e.value((k + 1) % e.keyCount());
        }
        return {};
    }
    switch (p.metaType().id()) {
    case QMetaType::Bool: return !now.toBool();
    case QMetaType::Int: return now.toInt() + 2;
    case QMetaType::UInt: return now.toUInt() + 2;
    case QMetaType::Float: return now.toFloat() + 1.0f;
    case QMetaType::Double: return now.toDouble() + 1.0;
    case QMetaType::QString: return now.toString() + u'x';
    case QMetaType::QStringList: {
        QStringList lines = now.toStringList();
        lines.append(lines.isEmpty() ? QStringLiteral("0") : lines.last());
        return lines;
    }
    default: break;
    }
    if (p.metaType() == QMetaType::fromType<TQVMeasureSource *>())
        return QVariant::fromValue(qobject_cast<TQVMeasureSource *>(freshSource));
    return {};
}

std::vector<std::unique_ptr<QObject>> EveryComponent()
{
    TQVClassRegistry registry;
    QVRegisterCoreClasses(registry);
    std::vector<std::unique_ptr<QObject>> objects;
    for (const QString &name : registry.ClassNames())
        objects.emplace_back(registry.Create(name));
    objects.emplace_back(new TQVFFT);
    objects.emplace_back(new TQVSignalGenerator);
    objects.emplace_back(new TQVFilePlayer);
    objects.emplace_back(new TQVThreadBridge);
    return objects;
}

} // namespace

// Every property announces a change of its value once, a write of the same value not at
// all, and no write through the meta-object raises.
TEST(PropertySignals, EveryWriteOfAChangedValueEmitsTheNotifySignalOnce)
{
    const auto objects = EveryComponent();
    ASSERT_GE(objects.size(), 17u);
    for (const auto &object : objects) {
        const QMetaObject *meta = object->metaObject();
        auto *source = qobject_cast<TQVMeasureSource *>(object.get());
        for (int i = 0; i < meta->propertyCount(); ++i) {
            const QMetaProperty p = meta->property(i);
            const QString where = QString::fromLatin1(meta->className()) + u'.' + QString::fromLatin1(p.name());
            if (HasNoSignalByDesign(p.name())) {
                EXPECT_FALSE(p.hasNotifySignal()) << qPrintable(where);
                continue;
            }
            ASSERT_TRUE(p.hasNotifySignal()) << qPrintable(where);
            if (!p.isWritable())
                continue;
            TQVMLSBase fresh;
            const QVariant before = object->property(p.name());
            const QVariant changed = ChangedValue(p, before, &fresh);
            ASSERT_TRUE(changed.isValid()) << qPrintable(where) << " has a type the test cannot change";
            QSignalSpy notified(object.get(), p.notifySignal());
            std::unique_ptr<QSignalSpy> errors;
            if (source)
                errors = std::make_unique<QSignalSpy>(source, &TQVMeasureSource::ErrorOccurred);
            EXPECT_NO_THROW(object->setProperty(p.name(), changed)) << qPrintable(where);
            const Refusal *refusal = FindRefusal(object.get(), p.name());
            EXPECT_EQ(notified.count(), refusal ? 0 : 1) << qPrintable(where);
            EXPECT_EQ(object->property(p.name()) == before, refusal != nullptr) << qPrintable(where);
            if (errors) {
                EXPECT_EQ(errors->count(), refusal && refusal->Reports ? 1 : 0) << qPrintable(where);
            }
            notified.clear();
            object->setProperty(p.name(), object->property(p.name()));
            EXPECT_EQ(notified.count(), 0) << qPrintable(where) << ": the same value again";
        }
    }
}

// Writes from a slot in a running event loop: a source the stage (or a consumer further
// down) refuses is reported through ErrorOccurred with the message the C++ setter raises,
// and leaves the same state as that setter does on an identical chain.
TEST(PropertySignals, RefusedSourceFromTheEventLoopIsReportedAndLeavesTheSetterState)
{
    struct Chain
    {
        TQVSignalGenerator Previous, Offered;
        TQVMLSBase Front;          // the stage written to; a pass-through accepts any source
        std::unique_ptr<TQVMLSBase> Stage; // the refusing stage, written to or behind Front
    };
    struct Case
    {
        const char *Name;
        int PreviousChannels, OfferedChannels;
        std::function<TQVMLSBase *()> MakeStage;
        bool Downstream; // the refusal comes from the stage behind the one written to
        TQVResString Message;
    };
    const Case cases[] = {
        {"dual selector", 2, 1, [] { return new TQVSelectorDual; }, false, TQVResString::SelectorDualNeedsTwoChannels},
        {"single FFT", 1, 2, [] { return new TQVFFTSingleSingle; }, false, TQVResString::FFTNeedsOneChannel},
        {"IIR filter", 1, 2, [] { return new TQVIIRFilter; }, false, TQVResString::FilterNeedsOneChannel},
        {"dual selector behind", 2, 1, [] { return new TQVSelectorDual; }, true, TQVResString::SelectorDualNeedsTwoChannels},
    };
    for (const Case &c : cases) {
        // The chain as the C++ setter leaves it.
        auto build = [&c](Chain &chain) -> TQVMLSBase & {
            chain.Previous.SetChannelCount(c.PreviousChannels);
            chain.Offered.SetChannelCount(c.OfferedChannels);
            chain.Stage.reset(c.MakeStage());
            TQVMLSBase &written = c.Downstream ? chain.Front : *chain.Stage;
            if (c.Downstream)
                chain.Stage->SetQVMeasureSource(&chain.Front);
            written.SetQVMeasureSource(&chain.Previous);
            return written;
        };
        Chain reference;
        TQVMLSBase &referenceStage = build(reference);
        EXPECT_THROW(referenceStage.SetQVMeasureSource(&reference.Offered), EQVMSIncompatibleSource) << c.Name;

        Chain chain;
        TQVMLSBase &stage = build(chain);
        QSignalSpy errors(&stage, &TQVMeasureSource::ErrorOccurred);
        QSignalSpy sourceChanged(&stage, &TQVMLSBase::MeasureSourceChanged);
        QEventLoop loop;
        bool threw = false;
        QTimer::singleShot(0, &loop, [&] {
            try {
                stage.setProperty("MeasureSource", QVariant::fromValue<TQVMeasureSource *>(&chain.Offered));
            } catch (...) {
                threw = true;
            }
            loop.quit();
        });
        loop.exec();
        EXPECT_FALSE(threw) << c.Name;
        ASSERT_EQ(errors.count(), 1) << c.Name;
        EXPECT_EQ(errors.at(0).at(0).toString(), QVLoadResString(c.Message)) << c.Name;
        const bool connected = referenceStage.GetQVMeasureSource() != nullptr;
        EXPECT_EQ(connected, c.Downstream) << c.Name; // a stage that refuses is left unconnected
        EXPECT_EQ(stage.GetQVMeasureSource() == &chain.Offered, connected) << c.Name;
        EXPECT_EQ(chain.Stage->GetQVMeasureSource() == nullptr, reference.Stage->GetQVMeasureSource() == nullptr)
            << c.Name;
        EXPECT_EQ(chain.Previous.Links().size(), reference.Previous.Links().size()) << c.Name;
        EXPECT_EQ(chain.Offered.Links().size(), reference.Offered.Links().size()) << c.Name;
        EXPECT_EQ(sourceChanged.count(), 1) << c.Name; // from the previous source to the new state
    }
}

// A form load reports a refused source as a form error naming the property, as before.
TEST(PropertySignals, FormLoadStillReportsARefusedSource)
{
    TQVClassRegistry registry;
    QVRegisterCoreClasses(registry);
    TQVSignalGenerator host;
    host.setObjectName(QStringLiteral("Host"));
    TQVFormReader reader(registry);
    reader.SetExternalComponents({&host});
    QObject owner;
    try {
        reader.Read(QStringLiteral("object Dual1: TQVSelectorDual\n  MeasureSource = Host\nend\n"), &owner);
        ADD_FAILURE() << "the form was read";
    } catch (const EQVFormError &e) {
        EXPECT_EQ(e.Line(), 2);
        EXPECT_TRUE(e.Message().contains(QStringLiteral("MeasureSource"))) << qPrintable(e.Message());
        EXPECT_TRUE(e.Message().contains(QVLoadResString(TQVResString::SelectorDualNeedsTwoChannels)))
            << qPrintable(e.Message());
    }
    EXPECT_TRUE(owner.children().isEmpty());
    EXPECT_TRUE(host.Links().isEmpty());
}
