#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include <QtCore/QTimer>

#include "framework/qvMeasIntf.h"

/// \brief What became of one pushed block.
enum class TQVPushResult {
    Accepted,      ///< copied into the queue
    Overrun,       ///< the queue was full: the block was dropped and counted
    ShapeMismatch, ///< channel count, length or pointers do not fit: refused and counted
    Closed,        ///< the bridge is not open: ignored, not counted
};

/// \brief The thread-safe queue behind a `TQVThreadBridge`: bounded, preallocated at
/// `Open`, shared between the bridge and any number of producer threads.
///
/// A producer may keep its own reference (`TQVThreadBridge::Queue()`), so the queue
/// outlives the bridge: after the bridge is closed or destroyed, pushes return `Closed`.
class TQVBridgeQueue
{
public:
    TQVBridgeQueue() = default;
    TQVBridgeQueue(const TQVBridgeQueue &) = delete;
    TQVBridgeQueue &operator=(const TQVBridgeQueue &) = delete;

    /// Copies one block given as `channelCount` arrays of `count` samples. Never blocks on
    /// the consumer and never allocates.
    TQVPushResult Push(const float *const *channels, int channelCount, int count);
    /// The same for `count` interleaved frames of `channelCount` samples each.
    TQVPushResult PushInterleaved(const float *frames, int channelCount, int count);

    bool IsOpen() const;
    /// Blocks dropped because the queue was full, since the last `Open`.
    qint64 Overruns() const { return m_overruns.load(std::memory_order_relaxed); }
    /// Pushes refused for their shape, since the last `Open`.
    qint64 ShapeErrors() const { return m_shapeErrors.load(std::memory_order_relaxed); }
    /// Blocks copied into the queue, since the last `Open`.
    qint64 Accepted() const { return m_accepted.load(std::memory_order_relaxed); }

private:
    friend class TQVThreadBridge;

    struct Slot
    {
        qint64 Sequence = 0;      // index of the block among the pushes of fitting shape
        qint64 DroppedBefore = 0; // overruns counted when it was pushed
        bool Ready = false;       // copy complete
    };

    template <typename Copy>
    TQVPushResult PushWith(bool pointersValid, int channelCount, int count, Copy copy);

    // The consumer's side, on the bridge's thread.
    void Open(int channels, int blockLength, int capacity);
    /// Refuses further pushes and waits until the copies in flight are complete.
    void Close();
    /// Frees the blocks; only when closed.
    void Release();
    /// The oldest complete block, or false. When the queue is empty, `overrunsSoFar`
    /// receives the overrun count (every later block was pushed after those), else -1.
    bool Front(Slot &slot, const float *&samples, qint64 &overrunsSoFar) const;
    void PopFront();

    mutable std::mutex m_mutex;
    std::condition_variable m_idle; // signalled when the last copy in flight completes
    std::vector<float> m_samples;   // capacity blocks of channels * blockLength samples
    std::vector<Slot> m_slots;
    int m_head = 0;
    int m_used = 0;    // reserved slots, complete or being copied
    int m_writers = 0; // copies in flight
    bool m_open = false;
    int m_channels = 0;
    int m_blockLength = 0;
    qint64 m_sequence = 0;
    std::atomic<qint64> m_overruns{0};
    std::atomic<qint64> m_shapeErrors{0};
    std::atomic<qint64> m_accepted{0};
};

/// \brief A source in the user-interface thread that is fed from an acquisition thread.
///
/// Set the shape (`ChannelCount`, `BlockLength`, `SampleRate`) and `Capacity`, then
/// `Open()`: the queue of `Capacity` blocks is allocated once and `mssRun` announced.
/// Producers call `Push` (or `Queue()->Push`) from any thread; it copies the samples and
/// returns at once. The bridge's thread delivers the queued blocks in order through
/// `Drain()`, which a timer calls every `DrainInterval` ms while open (0: the host calls it).
/// A full queue drops the new block and counts it; the next `Drain` emits `Overrun` with
/// the total just before the first block that follows the gap. `Close()` refuses further
/// pushes, delivers what is queued and announces `mssStop`. Block headers: `HeaderValueA`
/// is the time of the first sample counted over every push of fitting shape (dropped ones
/// included, so gaps show), `HeaderValueB` is 0, `HeaderWord` the channel count.
class TQVThreadBridge : public TQVMeasureSource
{
    Q_OBJECT
    Q_PROPERTY(int ChannelCount READ ChannelCount WRITE WriteChannelCount NOTIFY ChannelCountChanged)
    Q_PROPERTY(int BlockLength READ BlockLength WRITE WriteBlockLength NOTIFY BlockLengthChanged)
    Q_PROPERTY(double SampleRate READ SampleRate WRITE WriteSampleRate NOTIFY SampleRateChanged)
    Q_PROPERTY(int Capacity READ Capacity WRITE SetCapacity NOTIFY SettingsChanged)
    Q_PROPERTY(float RangeMin READ RangeMin WRITE WriteRangeMin NOTIFY SettingsChanged)
    Q_PROPERTY(float RangeMax READ RangeMax WRITE WriteRangeMax NOTIFY SettingsChanged)
    Q_PROPERTY(int DrainInterval READ DrainInterval WRITE SetDrainInterval NOTIFY SettingsChanged)

public:
    static constexpr int MaxBlockLength = 1 << 24;
    static constexpr int MaxCapacity = 1 << 16;

    explicit TQVThreadBridge(QObject *owner = nullptr);
    /// Closes the queue without delivering: a producer still holding it gets `Closed`.
    ~TQVThreadBridge() override;

    // The shape and capacity are ignored while open; invalid values are ignored.
    int ChannelCount() const { return m_channels; }
    void SetChannelCount(int count);
    QV_GUARDED_WRITE(ChannelCount, int)
    int BlockLength() const { return m_blockLength; }
    void SetBlockLength(int length);
    QV_GUARDED_WRITE(BlockLength, int)
    double SampleRate() const { return m_sampleRate; }
    void SetSampleRate(double rate);
    QV_GUARDED_WRITE(SampleRate, double)
    int Capacity() const { return m_capacity; }
    void SetCapacity(int capacity);
    float RangeMin() const { return m_rangeMin; }
    void SetRangeMin(float value);
    QV_GUARDED_WRITE(RangeMin, float)
    float RangeMax() const { return m_rangeMax; }
    void SetRangeMax(float value);
    QV_GUARDED_WRITE(RangeMax, float)
    int DrainInterval() const { return m_drainInterval; }
    void SetDrainInterval(int milliseconds);

    void GetSettings(TQVMeasureSourceSettings &settings) const override;

    /// Allocates the queue and announces `mssRun`. Raises `EQVException` when the queue
    /// cannot be allocated. Ignored while open or from inside a delivery.
    void Open();
    /// Refuses further pushes, delivers the queued blocks and announces `mssStop`. From
    /// inside a delivery, the rest is delivered and the stop announced when it returns.
    void Close();
    bool IsOpen() const { return m_state == mssRun; }
    TQVMeasureSourceState State() const { return m_state; }

    /// Delivers the queued blocks in order, at most `Capacity` per call, and reports
    /// overruns and shape errors. Call it on the bridge's thread only; a call from inside a
    /// delivery returns 0. Returns the number of blocks delivered.
    int Drain();

    /// Thread-safe: see `TQVBridgeQueue::Push`.
    TQVPushResult Push(const float *const *channels, int channelCount, int count)
    {
        return m_queue->Push(channels, channelCount, count);
    }
    TQVPushResult PushInterleaved(const float *frames, int channelCount, int count)
    {
        return m_queue->PushInterleaved(frames, channelCount, count);
    }
    /// The queue, for a producer that may outlive the bridge.
    std::shared_ptr<TQVBridgeQueue> Queue() const { return m_queue; }
    qint64 Overruns() const { return m_queue->Overruns(); }
    qint64 ShapeErrors() const { return m_queue->ShapeErrors(); }

signals:
    void StateChanged(TQVMeasureSourceState state);
    void ChannelCountChanged(int count);
    void BlockLengthChanged(int length);
    void SampleRateChanged(double rate);
    /// Blocks were dropped; `total` counts them since `Open`.
    void Overrun(qint64 total);
    /// Pushes were refused for their shape; `total` counts them since `Open`.
    void ShapeMismatch(qint64 total);

private:
    /// Re-reads the shape and lets the links check it, then emits `notify`, also when a
    /// link raises.
    template <typename Notify>
    void ConfigChangedThen(Notify notify)
    {
        NotifyAfter([this] { ConfigChanged(); }, notify);
    }
    void ConfigChanged();
    void AnnounceStop();

    const std::shared_ptr<TQVBridgeQueue> m_queue = std::make_shared<TQVBridgeQueue>();
    int m_channels = 1;
    int m_blockLength = 1024;
    double m_sampleRate = 48000.0;
    int m_capacity = 16;
    float m_rangeMin = -1.0f;
    float m_rangeMax = 1.0f;
    int m_drainInterval = 10;
    bool m_draining = false;
    bool m_stopPending = false;
    qint64 m_reportedOverruns = 0;
    qint64 m_reportedShapeErrors = 0;
    TQVMeasureSourceState m_state = mssStop;
    QTimer m_timer;
};
