#include "qvThreadBridge.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QScopeGuard>

// ---------------------------------------------------------------------------------------
// TQVBridgeQueue
//
// A ring of preallocated blocks. A push reserves the slot after the last one under the
// lock, copies without it and marks the slot ready under it again; the consumer takes the
// oldest slot only when it is ready and frees it after delivering it, so a slot is never
// written and read at the same time. Reservation order is delivery order.

template <typename Copy>
TQVPushResult TQVBridgeQueue::PushWith(bool pointersValid, int channelCount, int count, Copy copy)
{
    std::unique_lock lock(m_mutex);
    if (!m_open)
        return TQVPushResult::Closed;
    if (!pointersValid || channelCount != m_channels || count != m_blockLength) {
        m_shapeErrors.fetch_add(1, std::memory_order_relaxed);
        return TQVPushResult::ShapeMismatch;
    }
    const qint64 sequence = m_sequence++;
    const int capacity = int(m_slots.size());
    if (m_used == capacity) {
        m_overruns.fetch_add(1, std::memory_order_relaxed);
        return TQVPushResult::Overrun;
    }
    const int index = (m_head + m_used) % capacity;
    ++m_used;
    ++m_writers;
    Slot &slot = m_slots[std::size_t(index)];
    slot.Sequence = sequence;
    slot.DroppedBefore = m_overruns.load(std::memory_order_relaxed);
    slot.Ready = false;
    float *block = m_samples.data() + std::size_t(index) * std::size_t(m_channels) * std::size_t(m_blockLength);
    const int length = m_blockLength;
    lock.unlock();

    copy(block, length);

    lock.lock();
    slot.Ready = true;
    m_accepted.fetch_add(1, std::memory_order_relaxed);
    if (--m_writers == 0)
        m_idle.notify_all();
    return TQVPushResult::Accepted;
}

TQVPushResult TQVBridgeQueue::Push(const float *const *channels, int channelCount, int count)
{
    bool valid = channels != nullptr && channelCount >= 1 && channelCount <= QVChannelSlots;
    for (int k = 0; valid && k < channelCount; ++k)
        valid = channels[k] != nullptr;
    return PushWith(valid, channelCount, count, [&](float *block, int length) {
        for (int k = 0; k < channelCount; ++k)
            std::memcpy(block + std::size_t(k) * std::size_t(length), channels[k], std::size_t(length) * sizeof(float));
    });
}

TQVPushResult TQVBridgeQueue::PushInterleaved(const float *frames, int channelCount, int count)
{
    const bool valid = frames != nullptr && channelCount >= 1 && channelCount <= QVChannelSlots;
    return PushWith(valid, channelCount, count, [&](float *block, int length) {
        for (int k = 0; k < channelCount; ++k) {
            float *out = block + std::size_t(k) * std::size_t(length);
            for (int i = 0; i < length; ++i)
                out[i] = frames[std::size_t(i) * std::size_t(channelCount) + std::size_t(k)];
        }
    });
}

bool TQVBridgeQueue::IsOpen() const
{
    std::lock_guard lock(m_mutex);
    return m_open;
}

void TQVBridgeQueue::Open(int channels, int blockLength, int capacity)
{
    // Allocated before taking the lock: a failure leaves the queue as it was.
    std::vector<float> samples(std::size_t(capacity) * std::size_t(channels) * std::size_t(blockLength));
    std::vector<Slot> ring(static_cast<std::size_t>(capacity));
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_writers == 0; });
    m_samples.swap(samples);
    m_slots.swap(ring);
    m_head = 0;
    m_used = 0;
    m_channels = channels;
    m_blockLength = blockLength;
    m_sequence = 0;
    m_overruns.store(0, std::memory_order_relaxed);
    m_shapeErrors.store(0, std::memory_order_relaxed);
    m_accepted.store(0, std::memory_order_relaxed);
    m_open = true;
    lock.unlock();
    // The old blocks go here, outside the lock.
}

void TQVBridgeQueue::Close()
{
    std::unique_lock lock(m_mutex);
    m_open = false;
    m_idle.wait(lock, [this] { return m_writers == 0; });
}

void TQVBridgeQueue::Release()
{
    std::vector<float> samples;
    std::vector<Slot> ring;
    std::unique_lock lock(m_mutex);
    if (m_open)
        return;
    m_idle.wait(lock, [this] { return m_writers == 0; });
    m_samples.swap(samples);
    m_slots.swap(ring);
    m_head = 0;
    m_used = 0;
}

bool TQVBridgeQueue::Front(Slot &slot, const float *&samples, qint64 &overrunsSoFar) const
{
    std::lock_guard lock(m_mutex);
    overrunsSoFar = m_used == 0 ? m_overruns.load(std::memory_order_relaxed) : -1;
    if (m_used == 0 || !m_slots[std::size_t(m_head)].Ready)
        return false;
    slot = m_slots[std::size_t(m_head)];
    samples = m_samples.data() + std::size_t(m_head) * std::size_t(m_channels) * std::size_t(m_blockLength);
    return true;
}

void TQVBridgeQueue::PopFront()
{
    std::lock_guard lock(m_mutex);
    if (m_used == 0)
        return;
    m_head = (m_head + 1) % int(m_slots.size());
    --m_used;
}

// ---------------------------------------------------------------------------------------
// TQVThreadBridge

TQVThreadBridge::TQVThreadBridge(QObject *owner)
    : TQVMeasureSource(owner)
{
    connect(&m_timer, &QTimer::timeout, this, &TQVThreadBridge::Drain);
    ConfigChanged();
}

TQVThreadBridge::~TQVThreadBridge()
{
    m_timer.stop();
    m_queue->Close();
    m_queue->Release();
}

void TQVThreadBridge::SetChannelCount(int count)
{
    if (IsOpen() || count < 1 || count > QVChannelSlots || count == m_channels)
        return;
    m_channels = count;
    ConfigChangedThen([&] { emit ChannelCountChanged(count); });
}

void TQVThreadBridge::SetBlockLength(int length)
{
    if (IsOpen() || length < 1 || length > MaxBlockLength || length == m_blockLength)
        return;
    m_blockLength = length;
    ConfigChangedThen([&] { emit BlockLengthChanged(length); });
}

void TQVThreadBridge::SetSampleRate(double rate)
{
    if (IsOpen() || !std::isfinite(rate) || rate <= 0.0 || rate == m_sampleRate)
        return;
    m_sampleRate = rate;
    ConfigChangedThen([&] { emit SampleRateChanged(rate); });
}

void TQVThreadBridge::SetCapacity(int capacity)
{
    if (IsOpen() || capacity < 1 || capacity > MaxCapacity || capacity == m_capacity)
        return;
    m_capacity = capacity;
    emit SettingsChanged();
}

void TQVThreadBridge::SetRangeMin(float value)
{
    if (IsOpen() || !std::isfinite(value) || value == m_rangeMin)
        return;
    m_rangeMin = value;
    ConfigChangedThen([this] { emit SettingsChanged(); });
}

void TQVThreadBridge::SetRangeMax(float value)
{
    if (IsOpen() || !std::isfinite(value) || value == m_rangeMax)
        return;
    m_rangeMax = value;
    ConfigChangedThen([this] { emit SettingsChanged(); });
}

void TQVThreadBridge::SetDrainInterval(int milliseconds)
{
    if (milliseconds < 0 || milliseconds == m_drainInterval)
        return;
    m_drainInterval = milliseconds;
    if (IsOpen() && !m_stopPending) {
        if (milliseconds > 0)
            m_timer.start(milliseconds);
        else
            m_timer.stop();
    }
    emit SettingsChanged();
}

void TQVThreadBridge::ConfigChanged()
{
    TQVMeasureSourceCapabilities capabilities{mscContinuous, mscEquidistant};
    if (m_channels == 1)
        capabilities.Include(mscSingleChannel);
    if (m_channels == 2)
        capabilities.Include(mscDualChannel);
    if (m_blockLength == 1)
        capabilities.Include(mscSingleValue);
    SetCapabilities(capabilities);
    UpdateLinks();
}

void TQVThreadBridge::GetSettings(TQVMeasureSourceSettings &settings) const
{
    settings.XStart = 0.0L;
    settings.XSpan = static_cast<long double>(m_blockLength) / static_cast<long double>(m_sampleRate);
    settings.ChannelCount = m_channels;
    settings.RangeMin = m_rangeMin;
    settings.RangeMax = m_rangeMax;
    settings.BlockLength = m_blockLength;
    settings.HarmonizedBlockLength = m_blockLength;
}

void TQVThreadBridge::Open()
{
    if (IsOpen() || m_draining)
        return;
    try {
        m_queue->Open(m_channels, m_blockLength, m_capacity);
    } catch (const std::bad_alloc &) {
        throw EQVException(QCoreApplication::translate("TQVThreadBridge",
                                                       "Thread bridge: cannot allocate %1 blocks of %2 x %3 samples")
                               .arg(m_capacity)
                               .arg(m_channels)
                               .arg(m_blockLength));
    }
    m_reportedOverruns = 0;
    m_reportedShapeErrors = 0;
    m_stopPending = false;
    m_state = mssRun;
    DeliverState(mssRun);
    emit StateChanged(mssRun);
    if (m_drainInterval > 0)
        m_timer.start(m_drainInterval);
}

void TQVThreadBridge::Close()
{
    if (!IsOpen() || m_stopPending)
        return;
    m_timer.stop();
    m_queue->Close();
    // The drain, running or started here, delivers the rest and then announces the stop.
    m_stopPending = true;
    if (!m_draining)
        Drain();
}

void TQVThreadBridge::AnnounceStop()
{
    m_stopPending = false;
    m_state = mssStop;
    DeliverState(mssStop);
    emit StateChanged(mssStop);
}

int TQVThreadBridge::Drain()
{
    if (m_draining)
        return 0;
    m_draining = true;
    const QPointer<TQVThreadBridge> alive(this);
    const auto guard = qScopeGuard([&] {
        if (alive)
            m_draining = false;
    });

    // The shape cannot change while open, and the queue is closed before the bridge is,
    // so the shape of the queued blocks is the bridge's.
    const int channels = m_channels;
    const int length = m_blockLength;
    int delivered = 0;
    TQVBridgeQueue::Slot slot;
    const float *samples = nullptr;
    qint64 overrunsSoFar = -1;
    while ((delivered < m_capacity || m_stopPending) && m_queue->Front(slot, samples, overrunsSoFar)) {
        if (slot.DroppedBefore > m_reportedOverruns) {
            m_reportedOverruns = slot.DroppedBefore;
            emit Overrun(m_reportedOverruns);
        }
        TQVDescArraySingle block{};
        block.HeaderValueA = static_cast<long double>(slot.Sequence) * length / static_cast<long double>(m_sampleRate);
        block.HeaderValueB = 0.0L;
        block.HeaderWord = channels;
        for (int k = 0; k < channels; ++k)
            block.Channels[k] = QVDescArraySingle{const_cast<float *>(samples) + std::size_t(k) * std::size_t(length), length};
        if (!DeliverData(block))
            return delivered + 1; // a consumer deleted the bridge
        m_queue->PopFront();
        ++delivered;
    }
    if (overrunsSoFar > m_reportedOverruns) {
        m_reportedOverruns = overrunsSoFar;
        emit Overrun(m_reportedOverruns);
    }
    if (const qint64 errors = m_queue->ShapeErrors(); errors > m_reportedShapeErrors) {
        m_reportedShapeErrors = errors;
        emit ShapeMismatch(errors);
    }
    if (m_stopPending) {
        m_draining = false;
        AnnounceStop();
    }
    return delivered;
}
