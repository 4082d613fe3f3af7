#pragma once

#include <utility>
#include <vector>

#include <QtCore/QTimer>

#include "framework/qvMeasIntf.h"

/// \brief Base of the host sources that deliver a stream of equidistant frames in blocks:
/// the signal generator, the file player, and the live sources to come.
///
/// Owns what they share: the channel count, `BlockLength` and `HarmonizedBlockLength`
/// with their limits and the memory check, the channel buffers, the block header, cutting
/// the stream into blocks and re-blocking it for links that asked for harmonized data, the
/// run timer and state, the common settings fields and the capabilities.
///
/// A descendant supplies the samples through `FillFrames`, its rate through `SampleRate`
/// and its value range through `ValueRange`. `Tick()` asks `FillFrames` for the next
/// `BlockLength` frames and delivers what it got. A live source whose device pushes samples
/// keeps them until a block's worth is there, then calls `Tick()` on the source's thread and
/// copies them out in `FillFrames`; it returns 0 from `TimerInterval` so that `Run` starts
/// no timer. Block headers: `HeaderValueA` is the time of the block's first frame in
/// seconds (`StreamStartTime` plus frames / rate), `HeaderValueB` is 0 and `HeaderWord` the
/// number of channels.
class TQVBlockSource : public TQVMeasureSource
{
    Q_OBJECT

public:
    static constexpr int MaxBlockLength = 1 << 24;

    explicit TQVBlockSource(int channelCount, QObject *owner = nullptr);
    ~TQVBlockSource() override;

    int ChannelCount() const { return m_channelCount; }
    int BlockLength() const { return m_blockLength; }
    /// 1 to `MaxBlockLength`; other values are ignored, lengths whose buffers do not fit
    /// are refused and reported through `ErrorOccurred`.
    void SetBlockLength(int length);
    QV_GUARDED_WRITE(BlockLength, int)
    int HarmonizedBlockLength() const { return m_harmonizedLength; }
    /// 0 (none) to `MaxBlockLength`; otherwise as `SetBlockLength`.
    void SetHarmonizedBlockLength(int length);
    QV_GUARDED_WRITE(HarmonizedBlockLength, int)
    /// Frames per second; 0 while the source has no stream (it then delivers nothing).
    virtual double SampleRate() const = 0;

    /// Cleared without a stream; otherwise `XStart` 0, `XSpan` one block, the channel
    /// count, both block lengths and `ValueRange`.
    void GetSettings(TQVMeasureSourceSettings &settings) const override;
    /// Delivers one block on demand, as `Tick()` does.
    void RequestData() override;

    /// Delivers the next block: as many frames as `FillFrames` gave, none when it gave none.
    /// Ignored without a stream, and from inside a delivery of this source unless
    /// `TicksWhileDelivering`.
    void Tick();
    /// Announces `mssRun` and delivers a block per `TimerInterval` from a timer.
    void Run();
    /// Stops the timer and announces `mssStop`.
    void Stop();
    bool IsRunning() const { return m_state == mssRun; }
    TQVMeasureSourceState State() const { return m_state; }
    /// Frames per channel produced since the stream last restarted.
    qint64 StreamFrame() const { return m_streamFrame; }

signals:
    void StateChanged(TQVMeasureSourceState state);
    // Without an argument: the properties are published by the descendants, and a NOTIFY
    // signal of a base class cannot carry one.
    void BlockLengthChanged();
    void HarmonizedBlockLengthChanged();

protected:
    /// \brief Writes frames [firstFrame, firstFrame + count) of the stream: channel k into
    /// elements 0 .. count-1 of `channels[k]`, for k below `ChannelCount()`. Returns how many it
    /// wrote, fewer at the end of a recording (or of what a live source holds).
    virtual int FillFrames(float *const *channels, qint64 firstFrame, int count) = 0;
    /// Envelope of every channel's values, for the settings.
    virtual std::pair<float, float> ValueRange() const = 0;
    /// Time of frame 0 in seconds (base: 0).
    virtual long double StreamStartTime() const { return 0.0L; }
    /// Asked after each block: true ends the stream, dropping the harmonized samples
    /// waiting and stopping the source (base: never).
    virtual bool StreamEnded() const { return false; }
    /// Called by `Run` before it announces `mssRun`; false refuses the start (base: true).
    virtual bool PrepareRun() { return true; }
    /// \brief Whether a `Tick()` from inside a delivery of this source delivers a block
    /// (base: no, it is ignored). When it does, the block out keeps its buffers until its
    /// delivery ends, and the harmonized cut restarts after the nested block.
    virtual bool TicksWhileDelivering() const { return false; }
    /// Period of the run timer in ms: one block period, at least 1; 0 runs no timer.
    virtual int TimerInterval() const;
    /// Called by `Stop` (and by `AnnounceState`) when the source leaves `mssRun` or
    /// `mssPause`, before the new state is announced: a live source closes its device here.
    virtual void StreamStopping() {}
    /// \brief Enters `mssPause` or `mssError`: stops the run timer and announces the state to
    /// the links and through `StateChanged`; ignored when it is the current state. `Run`
    /// leaves either again, `Stop` goes to `mssStop`. `StreamStopping` is called on the way
    /// into `mssError`.
    void AnnounceState(TQVMeasureSourceState state);

    /// Whether buffers of that shape can be allocated; when not, reports it through a warning
    /// and `ErrorOccurred` unless `report` is false (the source is left as it was).
    bool BuffersFit(int channels, int blockLength, int harmonizedLength, bool report = true);
    /// Takes `count` channels without any check; call `ConfigChanged` afterwards.
    void SetChannels(int count) { m_channelCount = count; }
    /// Sizes the buffers, drops the harmonized samples waiting, adjusts the timer and the
    /// capabilities and lets the links check the settings.
    void ConfigChanged();
    /// Sizes the buffers for the current shape and drops the harmonized samples waiting.
    /// While a block is out it is deferred to the end of the delivery, since the block
    /// points into them.
    void PrepareBuffers();
    /// Frame 0 again: the stream time restarts, harmonized samples waiting are dropped.
    void RestartStream();

private:
    struct ChannelBuffers
    {
        std::vector<float> Block;
        std::vector<float> Harmonized; // samples waiting for a harmonized block
    };

    // Both lengths at once, within the limits and when their buffers fit.
    void SetLengths(int blockLength, int harmonizedLength);
    // New block buffers for a nested tick; the old ones live on until the delivery ends.
    void RenewBlockBuffers();
    TQVDescArraySingle MakeHeader(qint64 firstFrame) const;
    bool AnyLinkHarmonized() const;
    // False when a consumer deleted the source.
    bool DeliverHarmonized();

    // Grows only, so that a block in delivery never points at freed channel buffers.
    std::vector<ChannelBuffers> m_channels;
    int m_channelCount;
    int m_blockLength = 1024;
    int m_harmonizedLength = 1024;
    bool m_buffersStale = false;
    qint64 m_streamFrame = 0;
    qint64 m_harmonizedStart = 0;
    TQVMeasureSourceState m_state = mssStop;
    QTimer m_timer;
};
