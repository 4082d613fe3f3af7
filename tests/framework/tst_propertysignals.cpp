#include <gtest/gtest.h>

#include <map>

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtTest/QSignalSpy>

#include "analysis/qvCatalogue.h"
#include "analysis/qvFilter.h"
#include "analysis/qvMLSFFT.h"
#include "framework/qvForm.h"
#include "host/qvFilePlayer.h"
#include "host/qvSignalGenerator.h"
#include "host/qvThreadBridge.h"
#include "stream/qvMLSSimpleSources.h"

namespace {

// Exempt for a documented reason: the fixed informational texts and the trigger state (changes
// per block) have no signal; a harmonize request without a source is ignored; a file name that
// does not load is reported.
enum class Exempt { None, NoSignal, Ignored, Reported };
const std::map<std::string, Exempt> Exemptions = {{"Version", Exempt::NoSignal}, {"Copyright", Exempt::NoSignal},
    {"TriggerState", Exempt::NoSignal}, {"TQVFilePlayer.FileName", Exempt::Reported},
    {"TQVSelectorDual.RequestHarmonizedData", Exempt::Ignored}, {"TQVSelectorMatrix.RequestHarmonizedData", Exempt::Ignored}};

// A value the setter takes instead of `now` (int + 2: the IIR order takes even steps; an
// unconnected stage has invalid settings, which every stage accepts).
QVariant ChangedValue(const QMetaProperty &p, const QVariant &now, TQVMeasureSource *fresh)
{
    for (int k = 0, n = p.enumerator().keyCount(); p.isEnumType() && k < n; ++k) {
        if (p.enumerator().value(k) == now.toInt())
            return p.enumerator().value((k + 1) % n); // the next key
    }
    switch (p.metaType().id()) {
    case QMetaType::Bool: return !now.toBool();
    case QMetaType::Int: return now.toInt() + 2;
    case QMetaType::UInt: return now.toUInt() + 2;
    case QMetaType::Float: return now.toFloat() + 1.0f;
    case QMetaType::Double: return now.toDouble() + 1.0;
    case QMetaType::QString: return now.toString() + u'x';
    case QMetaType::QStringList: return now.toStringList() << now.toStringList().value(0, QStringLiteral("0"));
    }
    return p.metaType() == QMetaType::fromType<TQVMeasureSource *>() ? QVariant::fromValue(fresh) : QVariant();
}

template <typename T> TQVMLSBase *Make() { return new T; }

} // namespace

// Every property announces a change of its value once, a write of the same value not at
// all, and no write through the meta-object raises.
TEST(PropertySignals, EveryWriteOfAChangedValueEmitsTheNotifySignalOnce)
{
    TQVClassRegistry registry;
    QVRegisterCoreClasses(registry);
    std::vector<std::unique_ptr<QObject>> objects;
    for (const QString &name : registry.ClassNames())
        objects.emplace_back(registry.Create(name));
    for (QObject *o : std::initializer_list<QObject *>{new TQVFFT, new TQVSignalGenerator, new TQVFilePlayer, new TQVThreadBridge})
        objects.emplace_back(o);
    ASSERT_GE(objects.size(), 17u);
    for (const auto &object : objects) {
        const QMetaObject *meta = object->metaObject();
        for (int i = 0; i < meta->propertyCount(); ++i) {
            const QMetaProperty p = meta->property(i);
            const std::string where = std::string(meta->className()) + '.' + p.name();
            const auto it = Exemptions.count(where) ? Exemptions.find(where) : Exemptions.find(p.name());
            const Exempt exempt = it == Exemptions.end() ? Exempt::None : it->second;
            ASSERT_EQ(p.hasNotifySignal(), exempt != Exempt::NoSignal) << where;
            if (!p.isWritable())
                continue;
            TQVMLSBase fresh;
            const QVariant before = object->property(p.name());
            const QVariant changed = ChangedValue(p, before, &fresh);
            ASSERT_TRUE(changed.isValid()) << where << " has a type the test cannot change";
            if (exempt == Exempt::NoSignal) { // the informational texts ignore writes
                EXPECT_TRUE(object->setProperty(p.name(), changed) && object->property(p.name()) == before) << where;
                continue;
            }
            QSignalSpy notified(object.get(), p.notifySignal());
            auto *source = qobject_cast<TQVMeasureSource *>(object.get());
            QSignalSpy errors(source ? source : &fresh, &TQVMeasureSource::ErrorOccurred);
            EXPECT_NO_THROW(object->setProperty(p.name(), changed)) << where;
            EXPECT_EQ(notified.count(), exempt == Exempt::None ? 1 : 0) << where;
            EXPECT_EQ(object->property(p.name()) == before, exempt != Exempt::None) << where;
            EXPECT_EQ(errors.count(), exempt == Exempt::Reported ? 1 : 0) << where;
            notified.clear();
            object->setProperty(p.name(), object->property(p.name()));
            EXPECT_EQ(notified.count(), 0) << where << ": the same value again";
        }
    }
}

// A source written from a slot in a running event loop that the stage, or a consumer behind it,
// refuses: reported with the text the C++ setter raises, leaving the state that setter leaves.
TEST(PropertySignals, RefusedSourceFromTheEventLoopIsReportedAndLeavesTheSetterState)
{
    struct Chain
    {
        Chain(int previous, int offered, TQVMLSBase *stage, bool behind) : Stage(stage), Written(behind ? &Front : stage)
        {
            Previous.SetChannelCount(previous);
            Offered.SetChannelCount(offered);
            Stage->SetQVMeasureSource(behind ? &Front : nullptr);
            Written->SetQVMeasureSource(&Previous);
        }
        std::vector<qsizetype> State() const // written stage on the offered source, refuser connected, links
        { return {Written->GetQVMeasureSource() == &Offered, Stage->GetQVMeasureSource() != nullptr, Previous.Links().size(), Offered.Links().size()}; }
        TQVSignalGenerator Previous, Offered;
        TQVMLSBase Front; // a pass-through, written to when the refusal comes from behind it
        std::unique_ptr<TQVMLSBase> Stage;
        TQVMLSBase *Written;
    };
    const struct { int Previous, Offered; TQVMLSBase *(*Make)(); bool Behind; TQVResString Message; } cases[] = {
        {2, 1, Make<TQVSelectorDual>, false, TQVResString::SelectorDualNeedsTwoChannels},
        {1, 2, Make<TQVFFTSingleSingle>, false, TQVResString::FFTNeedsOneChannel},
        {1, 2, Make<TQVIIRFilter>, false, TQVResString::FilterNeedsOneChannel},
        {2, 1, Make<TQVSelectorDual>, true, TQVResString::SelectorDualNeedsTwoChannels},
    };
    for (const auto &c : cases) {
        Chain reference(c.Previous, c.Offered, c.Make(), c.Behind);
        EXPECT_THROW(reference.Written->SetQVMeasureSource(&reference.Offered), EQVMSIncompatibleSource);
        Chain chain(c.Previous, c.Offered, c.Make(), c.Behind);
        QSignalSpy errors(chain.Written, &TQVMeasureSource::ErrorOccurred);
        QSignalSpy sourceChanged(chain.Written, &TQVMLSBase::MeasureSourceChanged);
        QEventLoop loop;
        const auto write = [&] { chain.Written->setProperty("MeasureSource", QVariant::fromValue<TQVMeasureSource *>(&chain.Offered)); };
        QTimer::singleShot(0, &loop, [&] { write(); loop.quit(); });
        EXPECT_NO_THROW(loop.exec()); // an exception from the slot would leave exec()
        EXPECT_EQ(errors, QList<QVariantList>{{QVLoadResString(c.Message)}});
        EXPECT_EQ(chain.State(), reference.State()) << c.Behind;
        EXPECT_EQ(chain.State(), (std::vector<qsizetype>{c.Behind, 0, 0, c.Behind})); // refuser unconnected
        EXPECT_EQ(sourceChanged.count(), 1);
    }
}

// A form load still reports a refused source as a form error at the property's line.
TEST(PropertySignals, FormLoadStillReportsARefusedSource)
{
    TQVClassRegistry registry;
    registry.RegisterClass<TQVSelectorDual>();
    TQVSignalGenerator host;
    host.setObjectName(QStringLiteral("Host"));
    TQVFormReader reader(registry);
    reader.SetExternalComponents({&host});
    QString message;
    try {
        reader.Read(QStringLiteral("object Dual1: TQVSelectorDual\n  MeasureSource = Host\nend\n"));
    } catch (const EQVFormError &e) {
        message = e.Message();
    }
    EXPECT_TRUE(message.startsWith(QStringLiteral("Form line 2, column ")) && message.contains(QStringLiteral("MeasureSource"))
                && message.endsWith(QVLoadResString(TQVResString::SelectorDualNeedsTwoChannels))
                && host.Links().isEmpty())
        << qPrintable(message);
}
