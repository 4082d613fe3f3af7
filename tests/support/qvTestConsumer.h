#pragma once

#include <memory>
#include <string>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>

#include "framework/qvMeasIntf.h"

/// Runs the event loop until `done()` holds or `timeoutMs` have passed, and returns `done()`.
/// The deadline only ends a hung wait; nothing asserts on speed.
template <typename Done>
bool QVPumpUntil(Done done, int timeoutMs)
{
    for (QDeadlineTimer deadline(timeoutMs); !done() && !deadline.hasExpired(); QThread::yieldCurrentThread())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return done();
}

/// Ordered record of what reached the consumers of a test, shared between them.
using TQVEventLog = std::vector<std::string>;

/// A consumer at the end of a chain: owns one link of the chosen variant and records
/// every callback (settings, state, data) with copies of the data it received.
class TQVTestConsumer : public QObject
{
public:
    enum LinkKind { Plain, SingleValue, SingleChannel, DualChannel };

    struct Block
    {
        long double HeaderValueA = 0;
        long double HeaderValueB = 0;
        int HeaderWord = 0;
        std::vector<std::vector<float>> Channels; // copies of slots 0..64 (empty when no data)
        const float *Channel0Pointer = nullptr;
    };

    explicit TQVTestConsumer(LinkKind kind = Plain, const std::string &name = "consumer",
                             TQVEventLog *log = nullptr);
    ~TQVTestConsumer() override;

    TQVMeasureLink &Link() { return *m_link; }
    void Connect(TQVMeasureSource *source) { m_link->SeTQVMeasureSource(source); }
    /// Channel `channel` of the blocks from `firstBlock` on, joined into one stream.
    std::vector<float> Joined(int channel, std::size_t firstBlock = 0) const;

    int SettingsCalls = 0;
    std::vector<TQVMeasureSourceState> States;
    std::vector<Block> Blocks;
    TQVMeasureSourceSettings LastSettings{};

private:
    std::unique_ptr<TQVMeasureLink> m_link;
    std::string m_name;
    TQVEventLog *m_log;
};

/// A source whose capabilities and settings a test sets directly, and which sends a block
/// or a state change when told to.
class TQVTestSource : public TQVMeasureSource
{
public:
    explicit TQVTestSource(QObject *owner = nullptr);
    /// With `capabilities` and the settings of `SetSettings`.
    TQVTestSource(TQVMeasureSourceCapabilities capabilities, int channels, int blockLength = 1024,
                  long double span = 1.0L);

    void SetCaps(TQVMeasureSourceCapabilities capabilities) { SetCapabilities(capabilities); }
    /// Valid settings: `channels` channels of `blockLength` samples spanning `span`.
    void SetSettings(int channels, int blockLength = 1024, long double span = 1.0L);
    TQVMeasureSourceSettings Settings{};

    void GetSettings(TQVMeasureSourceSettings &settings) const override;

    void Send(TQVDescArraySingle &block) { DeliverData(block); }
    void SendState(TQVMeasureSourceState state) { DeliverState(state); }
};

/// A block with `channels` channels whose sample k of channel c is c * 1000 + k.
struct TQVTestBlock
{
    TQVTestBlock(int channels, int count);
    std::vector<std::vector<float>> Samples;
    TQVDescArraySingle Block{};
};
