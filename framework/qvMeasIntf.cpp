#include "qvMeasIntf.h"

// ---------------------------------------------------------------------------------------
// TQVMeasureSource

TQVMeasureSource::TQVMeasureSource(QObject *owner)
    : TQVComponent(owner)
{
}

TQVMeasureSource::~TQVMeasureSource()
{
    // The links belong to their consumers: they are only told that the source is gone.
    for (TQVMeasureLink *link : std::as_const(m_links)) {
        link->m_source = nullptr;
        link->UpdateSettings();
    }
    m_links.clear();
    m_harmonizeFlags.clear();
}

void TQVMeasureSource::AddMeasureLink(TQVMeasureLink *link)
{
    m_links.append(link);
    m_harmonizeFlags.append(0);
    link->m_source = this;
    link->UpdateSettings();
}

void TQVMeasureSource::RemoveMeasureLink(TQVMeasureLink *link)
{
    link->m_source = nullptr;
    const qsizetype index = m_links.indexOf(link);
    if (index < 0)
        return;
    m_harmonizeFlags.removeAt(index);
    m_links.removeAt(index);
    link->UpdateSettings();
}

void TQVMeasureSource::SetHarmonizeData(TQVMeasureLink *link, bool value)
{
    const qsizetype index = m_links.indexOf(link);
    if (index >= 0)
        m_harmonizeFlags[index] = value ? qint32(-1) : qint32(0);
}

bool TQVMeasureSource::GetHarmonizeData(TQVMeasureLink *link) const
{
    const qsizetype index = m_links.indexOf(link);
    if (index < 0 || index >= m_harmonizeFlags.size())
        throw EListError(QVLoadResString(TQVResString::ListIndexOutOfBounds).arg(index));
    return m_harmonizeFlags.at(index) != 0;
}

void TQVMeasureSource::GetSettings(TQVMeasureSourceSettings &) const
{
}

void TQVMeasureSource::ReportError(const std::exception &error)
{
    const auto *own = dynamic_cast<const EQVException *>(&error);
    emit ErrorOccurred(own ? own->Message() : QString::fromLocal8Bit(error.what()));
}

void TQVMeasureSource::RequestData()
{
}

void TQVMeasureSource::UpdateLinks()
{
    ForEachLink([](TQVMeasureLink *link) { link->UpdateSettings(); });
}

bool TQVMeasureSource::DeliverData(TQVDescArraySingle &data)
{
    return Deliver([&data](TQVMeasureLink *link) { link->NewData(data); });
}

bool TQVMeasureSource::DeliverState(TQVMeasureSourceState state)
{
    return Deliver([state](TQVMeasureLink *link) { link->StateNotify(state); });
}

void TQVMeasureSource::RetireBuffer(std::shared_ptr<void> buffer)
{
    if (Delivering() && buffer)
        m_retired.push_back(std::move(buffer));
}

TQVMeasureSource::DeliveryScope::DeliveryScope(TQVMeasureSource *source)
    : m_source(source)
{
    ++source->m_deliveryDepth;
}

TQVMeasureSource::DeliveryScope::~DeliveryScope()
{
    // A source deleted during the delivery has nothing left to release.
    if (m_source && --m_source->m_deliveryDepth == 0)
        m_source->m_retired.clear();
}

// ---------------------------------------------------------------------------------------
// TQVMeasureLink

namespace {

// Walks upstream from `candidate` through stages: true when a stage on the way is fed by
// `owner`, so that connecting would close a loop.
bool WouldCloseLoop(const TQVMeasureSource *candidate, const QObject *owner)
{
    if (!owner)
        return false;
    while (auto *stage = qobject_cast<const TQVMLSBase *>(candidate)) {
        const TQVMeasureSource *upstream = stage->GetQVMeasureSource();
        if (upstream == owner)
            return true;
        candidate = upstream;
    }
    return false;
}

// The input link of a stage: also tells the stage when its source went away without the
// stage being asked (the source was deleted).
class StageInputLink final : public TQVMeasureLink
{
public:
    using TQVMeasureLink::TQVMeasureLink;

    void UpdateSettings() override
    {
        if (!Source() && OnSourceGone)
            OnSourceGone();
        TQVMeasureLink::UpdateSettings();
    }

    std::function<void()> OnSourceGone;
};

} // namespace

TQVMeasureLink::TQVMeasureLink(QObject *owner)
    : m_owner(owner)
{
}

TQVMeasureLink::~TQVMeasureLink()
{
    SeTQVMeasureSource(nullptr);
}

void TQVMeasureLink::SeTQVMeasureSource(TQVMeasureSource *newSource)
{
    if (newSource == m_source)
        return;
    if (m_source)
        m_source->RemoveMeasureLink(this);
    // The old connection is deliberately not restored when the new one is refused.
    if (WouldCloseLoop(newSource, m_owner))
        return;
    m_source = newSource;
    if (newSource)
        newSource->AddMeasureLink(this);
}

void TQVMeasureLink::NewData(TQVDescArraySingle &data)
{
    if (OnNewData && m_source)
        OnNewData(this, data);
}

void TQVMeasureLink::StateNotify(TQVMeasureSourceState state)
{
    if (OnChangedState && m_source)
        OnChangedState(this, state);
}

void TQVMeasureLink::UpdateSettings()
{
    if (OnUpdateSettings && m_source)
        OnUpdateSettings(this);
}

bool TQVMeasureLink::SetHarmonize(bool value)
{
    if (!m_source)
        return false;
    m_source->SetHarmonizeData(this, value);
    return m_source->GetHarmonizeData(this) == value;
}

void TQVMeasureLink::CheckedUpdateSettings(TQVMeasureSourceCapabilities required, int channelCount,
                                           TQVResString message)
{
    if (!m_source)
        return;
    TQVMeasureSourceSettings settings{};
    m_source->GetSettings(settings);
    if (!QVSettingsValid(settings))
        return;
    if (m_source->Capabilities().ContainsAll(required) && settings.ChannelCount == channelCount) {
        TQVMeasureLink::UpdateSettings();
        return;
    }
    SeTQVMeasureSource(nullptr);
    throw EQVMSIncompatibleSource(QVLoadResString(message));
}

void TQVMeasureLinkSingleValue::UpdateSettings()
{
    CheckedUpdateSettings({mscContinuous, mscSingleValue, mscSingleChannel}, 1,
                          TQVResString::IncompatibleSingleValue);
}

void TQVMeasureLinkSingleChannel::UpdateSettings()
{
    CheckedUpdateSettings({mscContinuous, mscSingleChannel}, 1, TQVResString::IncompatibleSingleChannel);
}

void TQVMeasureLinkDualChannel::UpdateSettings()
{
    CheckedUpdateSettings({mscContinuous, mscDualChannel}, 2, TQVResString::IncompatibleDualChannel);
}

// ---------------------------------------------------------------------------------------
// TQVMLSBase

TQVMLSBase::TQVMLSBase(QObject *owner)
    : TQVMeasureSource(owner)
{
    auto *input = new StageInputLink(this);
    input->OnSourceGone = [this] { NotifySourceChange(); };
    m_inputLink = input;
    m_inputLink->OnUpdateSettings = [this](TQVMeasureLink *link) { MLSOnUpdateSettings(link); };
    m_inputLink->OnChangedState = [this](TQVMeasureLink *link, TQVMeasureSourceState state) {
        MLSOnChangedState(link, state);
    };
    m_inputLink->OnNewData = [this](TQVMeasureLink *link, TQVDescArraySingle &data) {
        MLSOnNewData(link, data);
    };
}

TQVMLSBase::~TQVMLSBase()
{
    delete m_inputLink;
    m_inputLink = nullptr;
}

TQVMeasureSource *TQVMLSBase::GetQVMeasureSource() const
{
    return m_inputLink ? m_inputLink->Source() : nullptr;
}

void TQVMLSBase::SetQVMeasureSource(TQVMeasureSource *source)
{
    if (!m_inputLink || source == m_inputLink->Source() || source == this)
        return;
    // One announcement for the outermost call, after a refusal too; a refusal disconnects
    // through a nested call.
    const bool outermost = !m_settingSource;
    m_settingSource = true;
    NotifyAfter([&] { m_inputLink->SeTQVMeasureSource(source); },
                [&] {
                    if (!outermost)
                        return;
                    m_settingSource = false;
                    NotifySourceChange();
                });
}

void TQVMLSBase::WriteMeasureSource(TQVMeasureSource *source)
{
    GuardedWrite([&] { SetQVMeasureSource(source); });
}

void TQVMLSBase::NotifySourceChange()
{
    const TQVMeasureSource *source = GetQVMeasureSource();
    if (m_settingSource || source == m_announcedSource)
        return;
    m_announcedSource = source;
    emit MeasureSourceChanged();
}

int TQVMLSBase::InputBlockLength(const TQVMeasureSourceSettings &settings) const
{
    TQVMeasureSource *source = GetQVMeasureSource();
    // GetHarmonizeData raises for a link the source does not know.
    const bool harmonized = source && source->Links().contains(m_inputLink) && source->GetHarmonizeData(m_inputLink);
    return harmonized ? settings.HarmonizedBlockLength : settings.BlockLength;
}

void TQVMLSBase::GetSettings(TQVMeasureSourceSettings &settings) const
{
    TQVMeasureSource *source = GetQVMeasureSource();
    if (!source) {
        QVClearSettings(settings);
        return;
    }
    source->GetSettings(settings);
    AdjustSettings(settings);
}

bool TQVMLSBase::AcceptsSource(TQVMeasureSourceCapabilities sourceCapabilities) const
{
    return sourceCapabilities.Contains(mscContinuous);
}

QString TQVMLSBase::IncompatibleSourceMessage() const
{
    return QVLoadResString(TQVResString::StageNeedsContinuous);
}

void TQVMLSBase::MLSOnUpdateSettings(TQVMeasureLink *)
{
    TQVMeasureSource *source = GetQVMeasureSource();
    if (!source)
        return;
    TQVMeasureSourceSettings settings{};
    source->GetSettings(settings);
    if (ChecksSettingsValidity() && !QVSettingsValid(settings))
        return;

    SetCapabilities(source->Capabilities());
    if (!AcceptsSource(Capabilities())) {
        SetQVMeasureSource(nullptr);
        throw EQVMSIncompatibleSource(IncompatibleSourceMessage());
    }
    if (UsesHarmonizeStep())
        HarmonizeStep();
    SetCapabilities(AdjustCapabilities(Capabilities()));
    SourceSettingsChanged(settings);
    UpdateLinks();
}

void TQVMLSBase::MLSOnChangedState(TQVMeasureLink *, TQVMeasureSourceState state)
{
    DeliverState(state);
}

void TQVMLSBase::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    DeliverData(data);
}

void TQVMLSBase::HarmonizeStep()
{
    if (!Capabilities().Contains(mscCanHarmonize))
        return;
    // Made on the stage itself with its own input link, which is not among the stage's
    // links, so the base implementation records nothing. Kept as the stages have it.
    SetHarmonizeData(m_inputLink, m_requestHarmonizedData);
    if (m_requestHarmonizedData)
        SetCapabilities(Capabilities() + mscCanHarmonize);
}

void TQVMLSBase::ApplyRequestHarmonizedData(bool value, bool storeWhileUnconnected)
{
    const bool before = m_requestHarmonizedData;
    TQVMeasureSource *source = GetQVMeasureSource();
    if (!source) {
        if (storeWhileUnconnected)
            m_requestHarmonizedData = value;
    } else if (!source->Capabilities().Contains(mscCanHarmonize)) {
        m_requestHarmonizedData = false;
    } else {
        SetHarmonizeData(m_inputLink, value);
        m_requestHarmonizedData = value;
        if (value)
            SetCapabilities(Capabilities() + mscCanHarmonize);
    }
    if (m_requestHarmonizedData != before)
        emit SettingsChanged();
}
