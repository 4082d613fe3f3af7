#include "qvMLSTrigger.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <QtCore/QScopeGuard>

#include "kernels/qvKernels.h"

// Positions are 1-based, as the trigger's documentation counts them: sample i of a block
// is x[i - 1], position p of the store is store[p - 1].

TQVMLSTrigger::TQVMLSTrigger(QObject *owner)
    : TQVMLSBase(owner)
    , m_one(1.0L)
{
    MarkChannelsWithoutStore();
}

TQVMLSTrigger::~TQVMLSTrigger() = default;

void TQVMLSTrigger::SetTriggerType(TQVTriggerType type)
{
    if (type >= trtPos && type <= trtOff)
        StoreChanged(m_triggerType, type, [&] { emit TriggerTypeChanged(type); });
}

void TQVMLSTrigger::SetTriggerLimit(float limit)
{
    StoreChanged(m_limit, limit, [&] { emit TriggerLimitChanged(limit); });
}

void TQVMLSTrigger::SetTriggerLimitHigh(float limit)
{
    StoreChanged(m_limitHigh, limit, [&] { emit TriggerLimitHighChanged(limit); });
}

void TQVMLSTrigger::SetTriggerSlope(float slope)
{
    StoreChanged(m_slope, slope, [this] { emit SettingsChanged(); });
}

void TQVMLSTrigger::SetTriggerChannel(int channel)
{
    if (channel >= 0 && channel <= QVMaxChannel)
        StoreChanged(m_triggerChannel, channel, [this] { emit SettingsChanged(); });
}

void TQVMLSTrigger::SetSingleShot(bool singleShot)
{
    StoreChanged(m_singleShot, singleShot, [this] { emit SettingsChanged(); });
}

void TQVMLSTrigger::SetBufferSize(int size)
{
    if (size <= 2 || size == m_bufferSize)
        return;
    const int bufferSize = m_bufferSize;
    const int preTrigger = m_preTrigger;
    m_bufferSize = size;
    m_sizeChanged = true;
    if (size <= m_preTrigger)
        m_preTrigger = size - 1;
    ResetAssembly();
    NotifyAfter([this] { UpdateLinks(); }, [&] { NotifySizes(bufferSize, preTrigger); });
}

void TQVMLSTrigger::SetPreTrigger(int samples)
{
    if (samples == m_preTrigger)
        return;
    const int bufferSize = m_bufferSize;
    const int preTrigger = m_preTrigger;
    // Deliberately the previous pre-trigger length, not the new one.
    if (samples >= m_bufferSize) {
        m_bufferSize = int(std::min<qint64>(qint64(m_preTrigger) + 1, INT_MAX));
        m_sizeChanged = true;
    }
    m_preTrigger = samples;
    ResetAssembly();
    NotifySizes(bufferSize, preTrigger);
}

void TQVMLSTrigger::NotifySizes(int bufferSize, int preTrigger)
{
    if (m_bufferSize != bufferSize)
        emit BufferSizeChanged(m_bufferSize);
    if (m_preTrigger != preTrigger)
        emit PreTriggerChanged(m_preTrigger);
}

void TQVMLSTrigger::StartSingleShot()
{
    m_shotDone = false;
}

void TQVMLSTrigger::Reset()
{
    ResetAssembly();
    m_shotDone = false;
}

TQVMLSTrigger::TQVTriggerState TQVMLSTrigger::GetTriggerState()
{
    TQVTriggerState state = qvtsFillPreTrigger;
    if (m_fillingTrigger)
        state = qvtsFillTrigger;
    else if (EffectivePreTrigger() < 1 || m_preTriggerFilled)
        state = (m_singleShot && m_shotDone) || m_triggered ? qvtsTriggerDone : qvtsWaitForTrigger;
    m_triggered = false;
    return state;
}

QString TQVMLSTrigger::IncompatibleSourceMessage() const
{
    return QVLoadResString(TQVResString::TriggerNeedsContinuous);
}

void TQVMLSTrigger::AdjustSettings(TQVMeasureSourceSettings &settings) const
{
    if (settings.BlockLength > 0) {
        settings.XSpan = static_cast<long double>(m_bufferSize) / static_cast<long double>(settings.BlockLength)
            * static_cast<long double>(settings.XSpan);
    }
}

void TQVMLSTrigger::MLSOnChangedState(TQVMeasureLink *, TQVMeasureSourceState state)
{
    if (state == mssRun)
        return;
    // The stream is interrupted: a partly assembled block is abandoned.
    m_shotDone = false;
    m_preTriggerFilled = false;
    m_fillingTrigger = false;
    m_position = 1;
}

void TQVMLSTrigger::ResetAssembly()
{
    m_previous = 1.0f;
    m_position = 1;
    m_preTriggerFilled = false;
    m_triggered = false;
    m_fillingTrigger = false;
}

int TQVMLSTrigger::EffectivePreTrigger() const
{
    // PreTrigger reaches BufferSize or more only through the SetPreTrigger rule; the
    // assembly then works with as many pre-trigger samples as the store has room for.
    return std::clamp(m_preTrigger, 0, std::max(m_bufferSize - 1, 0));
}

void TQVMLSTrigger::MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    // A block sent from inside a handler of our own output would overwrite the store that
    // the handlers are reading.
    if (Delivering())
        return;
    const QVDescArraySingle &trigger = data.Channels[m_triggerChannel];
    if (!QVHasData(trigger) || m_bufferSize < 1)
        return;
    Redimension(data);
    if (m_singleShot && m_shotDone)
        return;

    const int count = trigger.Count;
    const int pre = EffectivePreTrigger();
    int idx = 1;
    bool more = true;
    while (more) {
        more = false;
        if (m_fillingTrigger)
            FillTrigger(data, count, idx);
        else if (pre < 1 || m_preTriggerFilled)
            WaitForTrigger(data, count, pre, idx, more);
        else
            FillPreTrigger(data, count, pre, idx, more);
    }
}

void TQVMLSTrigger::Redimension(const TQVDescArraySingle &data)
{
    // Quick test for the steady state, where every store has the current size: only a
    // channel without a store that now brings data changes anything. Its pointer is
    // enough to rule that out for most channels.
    const bool pointers = QVKernels::MaskedOr(data.Channels, m_withoutStore.data(), m_withoutStore.size()) != 0;
    bool change = m_sizeChanged;
    for (int c = 0; c < QVChannelSlots && pointers && !change; ++c)
        change = m_store[std::size_t(c)].empty() && QVHasData(data.Channels[c]);
    if (change) {
        const std::size_t size = std::size_t(m_bufferSize);
        bool reallocated = false;
        m_activeCount = 0;
        for (int c = 0; c < QVChannelSlots; ++c) {
            std::vector<float> &store = m_store[std::size_t(c)];
            if (store.size() != size) {
                if (!QVHasData(data.Channels[c])) {
                    std::vector<float>().swap(store);
                } else {
                    std::vector<float>(size).swap(store);
                    reallocated = true;
                }
            }
            if (!store.empty())
                m_active[std::size_t(m_activeCount++)] = c;
        }
        MarkChannelsWithoutStore();
        m_sizeChanged = false;
        if (reallocated)
            ResetAssembly();
    }
    m_output.HeaderValueA = data.HeaderValueA;
    m_output.HeaderValueB = m_one;
    m_output.HeaderWord = data.HeaderWord;
}

void TQVMLSTrigger::MarkChannelsWithoutStore()
{
    unsigned char bytes[sizeof m_withoutStore] = {};
    for (int c = 0; c < QVChannelSlots; ++c) {
        if (m_store[std::size_t(c)].empty()) {
            std::memset(bytes + c * sizeof(QVDescArraySingle) + offsetof(QVDescArraySingle, Data), 0xff,
                        sizeof(QVDescArraySingle::Data));
        }
    }
    std::memcpy(m_withoutStore.data(), bytes, sizeof bytes);
}

void TQVMLSTrigger::FillPreTrigger(const TQVDescArraySingle &data, int count, int pre, int &idx, bool &more)
{
    const qint64 avail = qint64(count) - idx + m_position;
    if (avail >= pre) {
        const int samples = pre - m_position + 1;
        CopyToStore(data, idx, m_position, samples);
        idx += samples;
        m_position = pre + 1;
        m_preTriggerFilled = true;
        more = avail > pre;
    } else {
        const int samples = count - idx + 1;
        CopyToStore(data, idx, m_position, samples);
        m_position += samples;
    }
}

void TQVMLSTrigger::WaitForTrigger(const TQVDescArraySingle &data, int count, int pre, int &idx, bool &more)
{
    const int reached = Scan(data.Channels[m_triggerChannel].Data, count, idx);
    // A hit on the last sample of the block does not count; the scan resumes with the next.
    const bool found = reached < count;
    if (pre > 0)
        SlideWindow(data, idx, (found ? reached : count + 1) - idx, pre);
    if (found) {
        idx = reached;
        m_fillingTrigger = true;
        more = true;
    }
}

void TQVMLSTrigger::FillTrigger(const TQVDescArraySingle &data, int count, int &idx)
{
    const qint64 avail = qint64(count) - idx + m_position;
    if (avail < m_bufferSize) {
        const int samples = count - idx + 1;
        CopyToStore(data, idx, m_position, samples);
        m_position += samples;
        return;
    }
    CopyToStore(data, idx, m_position, m_bufferSize - m_position + 1);

    // The slots are set afresh for every output, whatever a handler did to them before.
    QVClearChannels(m_output);
    for (int k = 0; k < m_activeCount; ++k) {
        const int c = m_active[std::size_t(k)];
        m_output.Channels[c] = QVDescArraySingle{m_store[std::size_t(c)].data(), m_bufferSize};
    }

    // The rest of this input block is dropped: the next pre-trigger fill starts with the
    // next block. Whatever a handler raises, the output counts as delivered; the handlers
    // read the output as the links do, so a block fed back meanwhile is dropped.
    DeliveryScope scope(this);
    const auto finish = qScopeGuard([&] {
        if (!scope.SourceAlive())
            return;
        m_shotDone = true;
        m_triggered = true;
        m_preTriggerFilled = false;
        m_position = 1;
        m_fillingTrigger = false;
    });
    if (OnTrigger)
        OnTrigger(m_output);
    if (!scope.SourceAlive())
        return;
    emit Triggered(m_output);
    if (scope.SourceAlive())
        DeliverData(m_output);
}

int TQVMLSTrigger::Scan(const float *x, int count, int idx)
{
    using QVKernels::TQVScanKind;
    static constexpr TQVScanKind Kinds[] = {TQVScanKind::Rising, TQVScanKind::Falling, TQVScanKind::RisingSlope,
                                            TQVScanKind::InRangeSlope, TQVScanKind::FallingSlope};
    if (m_triggerType >= trtOff) // free running: the block starts here
        return idx;
    const QVKernels::TQVScanSetup setup{Kinds[m_triggerType], m_limit, m_limitHigh, m_slope};
    return QVKernels::TriggerScan(x, count, idx, setup, m_previous);
}

void TQVMLSTrigger::CopyToStore(const TQVDescArraySingle &data, int idx, int position, int samples)
{
    samples = std::min(samples, m_bufferSize - position + 1);
    if (samples <= 0 || idx < 1 || position < 1)
        return;
    // Every store in use gets the samples; a channel with fewer samples than the trigger
    // channel, or none in this block, contributes zeros for the ones it lacks.
    for (int k = 0; k < m_activeCount; ++k) {
        const int c = m_active[std::size_t(k)];
        float *target = m_store[std::size_t(c)].data() + (position - 1);
        const QVDescArraySingle &in = data.Channels[c];
        const int have = QVHasData(in) ? std::clamp(in.Count - (idx - 1), 0, samples) : 0;
        if (have > 0)
            QVKernels::CopySamples(target, in.Data + (idx - 1), have);
        if (have < samples)
            std::fill(target + have, target + samples, 0.0f);
    }
}

void TQVMLSTrigger::SlideWindow(const TQVDescArraySingle &data, int idx, int samples, int pre)
{
    if (samples <= 0)
        return;
    if (samples >= pre) {
        CopyToStore(data, idx + samples - pre, 1, pre);
        return;
    }
    const std::size_t kept = std::size_t(pre - samples);
    for (int k = 0; k < m_activeCount; ++k) {
        float *store = m_store[std::size_t(m_active[std::size_t(k)])].data();
        std::memmove(store, store + samples, kept * sizeof(float));
    }
    CopyToStore(data, idx, pre - samples + 1, samples);
}
