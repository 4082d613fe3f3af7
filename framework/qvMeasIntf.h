#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPointer>

#include "qvComponent.h"
#include "qvExceptions.h"
#include "qvGlobal.h"
#include "qvMeasData.h"
#include "qvResStrings.h"
#include "qvSet.h"

namespace QVMeasure {
Q_NAMESPACE_EXPORT(QV_CORE_EXPORT)

/// What a source delivers. Value k is bit k of `TQVMeasureSourceCapabilities`.
enum TQVMeasureSourceCapabilitiesType : quint8 {
    mscContinuous,
    mscEquidistant,
    mscCanHarmonize,
    mscSingleChannel,
    mscDualChannel,
    mscSingleValue,
};
Q_ENUM_NS(TQVMeasureSourceCapabilitiesType)

/// Run state of a source, forwarded down a chain.
enum TQVMeasureSourceState : quint8 {
    mssRun,
    mssStop,
    mssError,
    mssPause,
    mssAbort,
};
Q_ENUM_NS(TQVMeasureSourceState)

} // namespace QVMeasure

using QVMeasure::TQVMeasureSourceCapabilitiesType;
using QVMeasure::TQVMeasureSourceState;
using enum QVMeasure::TQVMeasureSourceCapabilitiesType;
using enum QVMeasure::TQVMeasureSourceState;

using TQVMeasureSourceCapabilities = TQVSet<TQVMeasureSourceCapabilitiesType, quint8>;
static_assert(sizeof(TQVMeasureSourceCapabilities) == 1);

class TQVMeasureLink;
class TQVMeasureSource;
class TQVMLSBase;

/// A new block arrived at `link`; the block and its arrays are valid during the call only.
using TQVNotifyData = std::function<void(TQVMeasureLink *link, TQVDescArraySingle &data)>;
/// The source of `link` changed its run state.
using TQVNotifyState = std::function<void(TQVMeasureLink *link, TQVMeasureSourceState state)>;
/// The settings of the source of `link` changed (and passed the link's check).
using TQVNotifyLink = std::function<void(TQVMeasureLink *link)>;

/// \brief Raised by a consumer that cannot work with what its source delivers; the
/// consumer is already disconnected when it is raised.
class QV_CORE_EXPORT EQVMSIncompatibleSource : public EQVException
{
public:
    using EQVException::EQVException;
};

/// \brief Base of everything that produces measurement blocks.
///
/// Keeps the links attached to it in order of attachment, a harmonize flag per link and
/// its capability set. It never pushes data by itself: descendants deliver blocks with
/// `DeliverData` (or `NewData` on chosen links).
class QV_CORE_EXPORT TQVMeasureSource : public TQVComponent
{
    Q_OBJECT

public:
    explicit TQVMeasureSource(QObject *owner = nullptr);
    /// Leaves every attached link with a null source and tells it through `UpdateSettings`.
    ~TQVMeasureSource() override;

    /// Appends the link (no duplicate test), sets its source and lets it check the settings.
    /// Low level: consumers connect with `TQVMeasureLink::SeTQVMeasureSource`, which
    /// refuses connections that would close a loop.
    virtual void AddMeasureLink(TQVMeasureLink *link);
    /// Nulls the link's source; when the link is attached, detaches it and lets it update.
    virtual void RemoveMeasureLink(TQVMeasureLink *link);
    /// Records whether the link wants harmonized blocks; unknown links are ignored.
    virtual void SetHarmonizeData(TQVMeasureLink *link, bool value);
    /// The harmonize flag of an attached link. Raises `EListError` for an unknown link.
    virtual bool GetHarmonizeData(TQVMeasureLink *link) const;
    /// Fills the caller's record; the base leaves it untouched.
    virtual void GetSettings(TQVMeasureSourceSettings &settings) const;
    /// Asks for a block on demand; the base does nothing.
    virtual void RequestData();

    /// Calls `UpdateSettings` on every attached link in order, so a change ripples down.
    void UpdateLinks();

    TQVMeasureSourceCapabilities Capabilities() const { return m_capabilities; }
    const QList<TQVMeasureLink *> &Links() const { return m_links; }
    bool Active() const { return m_active; }

signals:
    /// A write through the meta-object (setProperty, Designer, QML, a property editor) was
    /// refused; `message` is the text of the exception the C++ setter raises for it. Host
    /// sources also report refused buffer sizes here.
    void ErrorOccurred(const QString &message);
    /// A property that changes the processing and has no signal of its own changed.
    void SettingsChanged();

protected:
    /// \brief Runs `write` (a raising setter) for the WRITE accessor of a published property:
    /// an exception leaves the state as the setter leaves it and is reported through
    /// `ErrorOccurred` instead of crossing the event loop. While a form is being loaded it
    /// raises as the setter does, so that the form reader reports it as a form error.
    template <typename Write>
    void GuardedWrite(Write write);
    /// Runs `change`, then `notify`, also when `change` raises (the exception goes on).
    template <typename Change, typename Notify>
    static void NotifyAfter(Change change, Notify notify);
    /// Stores `value` in `field` and then runs `notify`, unless it equals the stored value.
    template <typename T, typename Notify>
    static void StoreChanged(T &field, const T &value, Notify notify)
    {
        if (field == value)
            return;
        field = value;
        notify();
    }

    void SetCapabilities(TQVMeasureSourceCapabilities capabilities) { m_capabilities = capabilities; }
    /// Hands the block to every attached link in order of attachment. Returns false when a
    /// consumer deleted this source during the delivery: the caller must not touch it then.
    bool DeliverData(TQVDescArraySingle &data);
    /// Hands the state to every attached link in order of attachment; false as `DeliverData`.
    bool DeliverState(TQVMeasureSourceState state);
    /// \brief Delivers through `call(link)` for every attached link, as `DeliverData` does:
    /// `Delivering` is true meanwhile (deliveries nest), also when a consumer raises, and the
    /// buffers retired meanwhile are released when the outermost delivery ends.
    template <typename Call>
    bool Deliver(Call call);
    /// \brief Counts a delivery for its lifetime (`Delivering` is true meanwhile): for a source
    /// whose handlers read its output before the links do. Survives exceptions and the
    /// source's deletion.
    class QV_CORE_EXPORT DeliveryScope
    {
    public:
        explicit DeliveryScope(TQVMeasureSource *source);
        ~DeliveryScope();
        DeliveryScope(const DeliveryScope &) = delete;
        DeliveryScope &operator=(const DeliveryScope &) = delete;
        /// False once a consumer deleted the source.
        bool SourceAlive() const { return !m_source.isNull(); }

    private:
        QPointer<TQVMeasureSource> m_source;
    };
    /// True while a block or a state is out to the links.
    bool Delivering() const { return m_deliveryDepth > 0; }
    /// \brief Keeps `buffer`, which the source has just replaced, alive until the outermost
    /// delivery in progress ends: a consumer may still read the block it points into.
    /// Released at once when no delivery is in progress.
    void RetireBuffer(std::shared_ptr<void> buffer);
    /// Calls `call(link)` for every attached link in order. A link that connects or
    /// disconnects during a call does not make the others miss theirs. Returns false when
    /// a call deleted this source (the walk stops there).
    template <typename Call>
    bool ForEachLink(Call call);

private:
    void ReportError(const std::exception &error);

    TQVMeasureSourceCapabilities m_capabilities;
    QList<qint32> m_harmonizeFlags;
    QList<TQVMeasureLink *> m_links;
    bool m_active = true;
    int m_deliveryDepth = 0;
    std::vector<std::shared_ptr<void>> m_retired;
};

template <typename Call>
bool TQVMeasureSource::ForEachLink(Call call)
{
    const QPointer<TQVMeasureSource> alive(this);
    for (qsizetype i = 0; i < m_links.size(); ++i) {
        TQVMeasureLink *link = m_links.at(i);
        call(link);
        if (!alive)
            return false;
        if (i >= m_links.size() || m_links.at(i) != link) {
            // The list changed during the call: go on after this link where it stands
            // now, or at its old place if it left.
            const qsizetype now = m_links.indexOf(link);
            i = now >= 0 ? now : i - 1;
        }
    }
    return true;
}

template <typename Write>
void TQVMeasureSource::GuardedWrite(Write write)
{
    if (IsLoading()) {
        write();
        return;
    }
    try {
        write();
    } catch (const std::exception &error) {
        ReportError(error);
    }
}

template <typename Change, typename Notify>
void TQVMeasureSource::NotifyAfter(Change change, Notify notify)
{
    try {
        change();
    } catch (...) {
        notify();
        throw;
    }
    notify();
}

/// Defines `Write<Name>(value)`, the WRITE accessor of a published property of a source:
/// calls the setter `Set<Name>` through `GuardedWrite`, so that it never raises.
#define QV_GUARDED_WRITE(Name, Type) \
    void Write##Name(Type value) { GuardedWrite([&] { Set##Name(value); }); }

template <typename Call>
bool TQVMeasureSource::Deliver(Call call)
{
    DeliveryScope scope(this);
    return ForEachLink(call);
}

/// \brief The consumer's end of a connection to a source; owned by the consumer.
///
/// The owner sets the three callbacks after construction. The link never owns its source.
class QV_CORE_EXPORT TQVMeasureLink
{
public:
    explicit TQVMeasureLink(QObject *owner);
    /// Disconnects, so that the source forgets the link.
    virtual ~TQVMeasureLink();

    TQVMeasureLink(const TQVMeasureLink &) = delete;
    TQVMeasureLink &operator=(const TQVMeasureLink &) = delete;

    QObject *Owner() const { return m_owner; }
    void SetOwner(QObject *owner) { m_owner = owner; }
    TQVMeasureSource *Source() const { return m_source; }

    /// Connects to `newSource` (null disconnects). A connection that would feed the owner
    /// from its own output is refused silently and leaves the link unconnected.
    void SeTQVMeasureSource(TQVMeasureSource *newSource);

    void NewData(TQVDescArraySingle &data);
    void StateNotify(TQVMeasureSourceState state);
    /// Reports a settings change to the owner; variants check compatibility first.
    virtual void UpdateSettings();

    /// Asks the source for harmonized blocks; true when the source honoured the request.
    bool SetHarmonize(bool value);

    TQVNotifyLink OnUpdateSettings;
    TQVNotifyState OnChangedState;
    TQVNotifyData OnNewData;

protected:
    /// The common check of the variants: accept only when the source has every capability
    /// in `required` and reports `channelCount` channels; otherwise disconnect and raise.
    void CheckedUpdateSettings(TQVMeasureSourceCapabilities required, int channelCount,
                               TQVResString message);

private:
    friend class TQVMeasureSource;

    TQVMeasureSource *m_source = nullptr;
    QObject *m_owner = nullptr;
};

/// \brief A link that accepts only single values of one channel.
class QV_CORE_EXPORT TQVMeasureLinkSingleValue : public TQVMeasureLink
{
public:
    using TQVMeasureLink::TQVMeasureLink;
    void UpdateSettings() override;
};

/// \brief A link that accepts only one continuous channel.
class QV_CORE_EXPORT TQVMeasureLinkSingleChannel : public TQVMeasureLink
{
public:
    using TQVMeasureLink::TQVMeasureLink;
    void UpdateSettings() override;
};

/// \brief A link that accepts only two continuous channels.
class QV_CORE_EXPORT TQVMeasureLinkDualChannel : public TQVMeasureLink
{
public:
    using TQVMeasureLink::TQVMeasureLink;
    void UpdateSettings() override;
};

/// \brief Base of every processing stage: a source for downstream links that owns one
/// input link to an upstream source.
///
/// The stage pattern lives here once: connecting through `MeasureSource`, re-reading and
/// checking the upstream settings and rippling them down, forwarding state changes and
/// delivering blocks to every downstream link. A stage overrides only what differs: its
/// capability requirement and message, how it adjusts capabilities and settings, and what
/// it does with a block. Used as it is, the base is a pass-through stage that forwards
/// blocks, settings and states unchanged and requires a continuous source.
class QV_CORE_EXPORT TQVMLSBase : public TQVMeasureSource
{
    Q_OBJECT
    Q_PROPERTY(TQVMeasureSource *MeasureSource READ GetQVMeasureSource WRITE WriteMeasureSource NOTIFY
                   MeasureSourceChanged)

public:
    explicit TQVMLSBase(QObject *owner = nullptr);
    /// Frees the input link first, then detaches the downstream links.
    ~TQVMLSBase() override;

    virtual TQVMeasureSource *GetQVMeasureSource() const;
    /// Connects the input link; ignored for the current source and for the stage itself.
    /// Raises `EQVMSIncompatibleSource` (the stage is then unconnected) when the stage, or a
    /// consumer further down, cannot work with the source.
    virtual void SetQVMeasureSource(TQVMeasureSource *source);
    /// The WRITE accessor of `MeasureSource`: `SetQVMeasureSource` without raising.
    void WriteMeasureSource(TQVMeasureSource *source);

    /// Cleared settings without a source; otherwise the source's, adjusted by the stage.
    void GetSettings(TQVMeasureSourceSettings &settings) const override;

    TQVMeasureLink *InputLink() const { return m_inputLink; }

signals:
    /// The source changed: connected, disconnected (also by a refusal) or deleted.
    void MeasureSourceChanged();

public:

    /// The length of the blocks that `settings` (the source's) announce to this stage's
    /// input: the harmonized length when the source honours this link's harmonize request,
    /// else the natural one.
    int InputBlockLength(const TQVMeasureSourceSettings &settings) const;

protected:
    /// Settings of the upstream source changed.
    virtual void MLSOnUpdateSettings(TQVMeasureLink *link);
    /// The upstream source changed its state; the base forwards it to every link.
    virtual void MLSOnChangedState(TQVMeasureLink *link, TQVMeasureSourceState state);
    /// A block arrived; the base forwards it unchanged to every link.
    virtual void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data);

    /// Whether the stage can work with a source of these capabilities (base: continuous).
    virtual bool AcceptsSource(TQVMeasureSourceCapabilities sourceCapabilities) const;
    /// Message of the error raised when `AcceptsSource` refuses.
    virtual QString IncompatibleSourceMessage() const;
    /// Whether settings with zero channels or zero span are ignored (base: yes).
    virtual bool ChecksSettingsValidity() const { return true; }
    /// The stage's own capabilities from those of its accepted source (base: unchanged).
    virtual TQVMeasureSourceCapabilities AdjustCapabilities(TQVMeasureSourceCapabilities capabilities) const
    {
        return capabilities;
    }
    /// Adjusts the source's settings into what this stage delivers (base: unchanged).
    virtual void AdjustSettings(TQVMeasureSourceSettings &) const {}
    /// Called after an accepted settings change, before the change ripples down: the place
    /// where a stage re-reads what it derives from the source's settings.
    virtual void SourceSettingsChanged(const TQVMeasureSourceSettings &) {}

    // Harmonized data, for stages that publish `RequestHarmonizedData`.
    bool RequestHarmonizedData() const { return m_requestHarmonizedData; }
    /// Whether a settings change passes the request on to the source (off in the base).
    virtual bool UsesHarmonizeStep() const { return false; }
    /// The setter of `RequestHarmonizedData`; `storeWhileUnconnected` decides whether a
    /// write without a source is kept or ignored.
    void ApplyRequestHarmonizedData(bool value, bool storeWhileUnconnected);

private:
    void HarmonizeStep();
    /// Emits `MeasureSourceChanged` when the source differs from the one last announced.
    void NotifySourceChange();

    TQVMeasureLink *m_inputLink = nullptr;
    bool m_requestHarmonizedData = false;
    const TQVMeasureSource *m_announcedSource = nullptr; // compared only, never used
    bool m_settingSource = false;
};
