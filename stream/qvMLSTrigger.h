#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "framework/qvMeasIntf.h"

/// \brief A stage that watches one channel of a continuous stream for a trigger condition
/// and assembles output blocks of exactly `BufferSize` samples per channel: `PreTrigger`
/// samples from before the trigger point followed by the samples from the trigger point on.
///
/// Each completed block goes to `OnTrigger`, to `Triggered` and then to every downstream
/// link. The rest of the input block in which an output block completes is dropped; the
/// next pre-trigger fill starts with the next input block. State changes of the source are
/// not forwarded.
class QV_CORE_EXPORT TQVMLSTrigger : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(TQVTriggerType TriggerType READ TriggerType WRITE SetTriggerType NOTIFY TriggerTypeChanged)
    Q_PROPERTY(float TriggerLimit READ TriggerLimit WRITE SetTriggerLimit NOTIFY TriggerLimitChanged)
    Q_PROPERTY(float TriggerLimitHigh READ TriggerLimitHigh WRITE SetTriggerLimitHigh NOTIFY TriggerLimitHighChanged)
    Q_PROPERTY(float TriggerSlope READ TriggerSlope WRITE SetTriggerSlope NOTIFY SettingsChanged)
    Q_PROPERTY(int TriggerChannel READ TriggerChannel WRITE SetTriggerChannel NOTIFY SettingsChanged)
    Q_PROPERTY(bool SingleShot READ SingleShot WRITE SetSingleShot NOTIFY SettingsChanged)
    Q_PROPERTY(int BufferSize READ BufferSize WRITE WriteBufferSize NOTIFY BufferSizeChanged)
    Q_PROPERTY(int PreTrigger READ PreTrigger WRITE SetPreTrigger NOTIFY PreTriggerChanged)
    // Changes with the blocks and with every read, so it has no signal: poll it, or follow
    // `Triggered`.
    Q_PROPERTY(TQVTriggerState TriggerState READ GetTriggerState)

public:
    enum TQVTriggerType : quint8 {
        trtPos,        ///< rising through TriggerLimit
        trtNeg,        ///< falling through TriggerLimit
        trtPosSlope,   ///< above TriggerLimit with the slope test
        trtRangeSlope, ///< strictly between TriggerLimit and TriggerLimitHigh with the slope test
        trtNegSlope,   ///< below TriggerLimit with the slope test
        trtOff,        ///< free running: consecutive blocks
    };
    Q_ENUM(TQVTriggerType)

    enum TQVTriggerState : quint8 {
        qvtsFillPreTrigger,
        qvtsWaitForTrigger,
        qvtsFillTrigger,
        qvtsTriggerDone,
    };
    Q_ENUM(TQVTriggerState)

    /// A completed output block; valid during the call only.
    using TQVOnTriggerD7 = std::function<void(TQVDescArraySingle &data)>;

    explicit TQVMLSTrigger(QObject *owner = nullptr);
    ~TQVMLSTrigger() override;

    TQVTriggerType TriggerType() const { return m_triggerType; }
    void SetTriggerType(TQVTriggerType type);
    float TriggerLimit() const { return m_limit; }
    void SetTriggerLimit(float limit);
    float TriggerLimitHigh() const { return m_limitHigh; }
    void SetTriggerLimitHigh(float limit);
    float TriggerSlope() const { return m_slope; }
    void SetTriggerSlope(float slope);
    int TriggerChannel() const { return m_triggerChannel; }
    /// Accepts 0 to 64; other values are ignored.
    void SetTriggerChannel(int channel);
    bool SingleShot() const { return m_singleShot; }
    void SetSingleShot(bool singleShot);

    int BufferSize() const { return m_bufferSize; }
    /// Ignored unless `size` > 2. Lowers `PreTrigger` to `size` - 1 when it does not fit,
    /// restarts the assembly and lets the downstream links re-read the settings.
    void SetBufferSize(int size);
    QV_GUARDED_WRITE(BufferSize, int)
    int PreTrigger() const { return m_preTrigger; }
    /// When `samples` >= `BufferSize`, `BufferSize` becomes the previous `PreTrigger` + 1.
    /// Restarts the assembly; the downstream links are not told.
    void SetPreTrigger(int samples);

    /// Arms the next single shot.
    void StartSingleShot();
    /// Restarts the assembly and arms the next single shot.
    void Reset();
    /// The assembly state. Reading it clears the triggered latch, so that
    /// `qvtsTriggerDone` after a trigger is reported once (in single-shot mode it stays
    /// until the trigger is re-armed).
    TQVTriggerState GetTriggerState();

    /// Called with every completed output block before the downstream links get it.
    TQVOnTriggerD7 OnTrigger;

signals:
    /// Emitted with every completed output block right after `OnTrigger`. The block and its
    /// arrays are valid during the call only: connect directly.
    void Triggered(const TQVDescArraySingle &data);
    void TriggerTypeChanged(TQVTriggerType type);
    void TriggerLimitChanged(float limit);
    void TriggerLimitHighChanged(float limit);
    void BufferSizeChanged(int size);
    void PreTriggerChanged(int samples);

protected:
    QString IncompatibleSourceMessage() const override;
    void AdjustSettings(TQVMeasureSourceSettings &settings) const override;
    void MLSOnChangedState(TQVMeasureLink *link, TQVMeasureSourceState state) override;
    void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data) override;

private:
    /// Announces `BufferSize` and `PreTrigger` where they differ from the values given.
    void NotifySizes(int bufferSize, int preTrigger);
    void ResetAssembly();
    int EffectivePreTrigger() const;
    void Redimension(const TQVDescArraySingle &data);
    void MarkChannelsWithoutStore();
    void FillPreTrigger(const TQVDescArraySingle &data, int count, int pre, int &idx, bool &more);
    void WaitForTrigger(const TQVDescArraySingle &data, int count, int pre, int &idx, bool &more);
    void FillTrigger(const TQVDescArraySingle &data, int count, int &idx);
    int Scan(const float *x, int count, int idx);
    void CopyToStore(const TQVDescArraySingle &data, int idx, int position, int samples);
    void SlideWindow(const TQVDescArraySingle &data, int idx, int samples, int pre);

    TQVTriggerType m_triggerType = trtRangeSlope;
    float m_limit = 0.0f;
    float m_limitHigh = 0.01f;
    float m_slope = 0.01f;
    int m_triggerChannel = 0;
    bool m_singleShot = false;
    int m_bufferSize = 1024;
    int m_preTrigger = 0;

    // Assembly state; positions are 1-based.
    bool m_shotDone = false;
    float m_previous = 1.0f;
    int m_position = 1;
    bool m_preTriggerFilled = false;
    bool m_triggered = false;
    bool m_fillingTrigger = false;

    // One store per channel: BufferSize floats, or none for a channel without data.
    std::array<std::vector<float>, QVChannelSlots> m_store;
    // Over the bytes of the block's slots: all ones on the data pointer of every channel
    // without a store, zero elsewhere.
    std::array<std::uint64_t, sizeof(TQVDescArraySingle::Channels) / (sizeof(std::uint64_t))> m_withoutStore;
    std::array<int, QVChannelSlots> m_active{}; // channels with a store, ascending
    int m_activeCount = 0;
    bool m_sizeChanged = true;
    TQVDescArraySingle m_output{};
    TQVExtended m_one;
};
