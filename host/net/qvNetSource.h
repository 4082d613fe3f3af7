#pragma once

#include <memory>
#include <vector>

#include "framework/qvMeasIntf.h"
#include "host/net/qvNetMessage.h"

namespace QVNet {
class NotifiedSocket;
}

/// \brief A source that receives the stream a `TQVNetSink` publishes and delivers it like
/// any other source: the publisher's settings, capabilities, run states and blocks (with
/// their own headers).
///
/// Setting `Endpoint` ("tcp://host:5555") subscribes at once; ZeroMQ connects in the
/// background and reconnects after the publisher went away. Messages are read on the event
/// loop (a notifier on the socket), never waiting. Blocks are delivered once the first
/// settings arrived. The sequence numbers of the messages are checked: messages lost on the
/// way (a subscriber that fell behind by more than the high-water marks of both ends loses
/// the newest ones) and a publisher that restarted are reported through `GapDetected` and
/// counted. A message that does not decode is rejected, counted and reported through
/// `ErrorOccurred`.
class TQVNetSource : public TQVMeasureSource
{
    Q_OBJECT
    Q_PROPERTY(QString Endpoint READ Endpoint WRITE WriteEndpoint NOTIFY EndpointChanged)
    Q_PROPERTY(int HighWaterMark READ HighWaterMark WRITE SetHighWaterMark NOTIFY SettingsChanged)

public:
    explicit TQVNetSource(QObject *owner = nullptr);
    ~TQVNetSource() override;

    QString Endpoint() const { return m_endpoint; }
    /// Subscribes to `endpoint` (empty: unsubscribes; the settings are kept). Raises
    /// `EQVException` when ZeroMQ refuses it or a TCP port is not 1 to 65535; the source
    /// then receives nothing. A host name that does not resolve is reported later through
    /// `ErrorOccurred`.
    void SetEndpoint(const QString &endpoint);
    QV_GUARDED_WRITE(Endpoint, const QString &)
    /// Messages queued before the newest are dropped, 1 or more (default 64); taken at the
    /// next subscription.
    int HighWaterMark() const { return m_highWaterMark; }
    void SetHighWaterMark(int messages);

    /// The publisher's settings; cleared until the first arrived.
    void GetSettings(TQVMeasureSourceSettings &settings) const override;
    /// Whether settings arrived.
    bool HasSettings() const { return m_haveSettings; }
    TQVMeasureSourceState State() const { return m_state; }

    /// Reads and handles the messages waiting, at most `limit`; returns how many. The event
    /// loop calls it; a program without one may call it itself.
    int Receive(int limit = 256);

    /// Blocks delivered since the last subscription.
    qint64 BlocksReceived() const { return m_blocks; }
    /// Gaps in the sequence (restarts of the publisher included).
    qint64 Gaps() const { return m_gaps; }
    /// Messages lost in the gaps within one session of the publisher.
    qint64 MessagesLost() const { return m_lost; }
    /// Messages rejected because they did not decode.
    qint64 Rejected() const { return m_rejected; }

signals:
    void EndpointChanged(const QString &endpoint);
    void StateChanged(TQVMeasureSourceState state);
    /// A gap in the sequence: `missing` messages were lost, or -1 when the publisher
    /// restarted (a new session: what was lost is unknown). Emitted before the message that
    /// follows the gap is delivered.
    void GapDetected(qint64 missing);

private:
    void Handle(const void *data, std::size_t size);
    void CheckSequence(const QVNet::Header &header);
    void ApplySettings(const QVNet::Message &message);
    bool ApplyState(TQVMeasureSourceState state);
    bool DeliverBlock(QVNet::Message &message);
    void Report(const QString &message);

    std::unique_ptr<QVNet::NotifiedSocket> m_socket;
    QString m_endpoint;
    int m_highWaterMark = 64;
    QVNet::Message m_message;
    std::vector<float> m_unaligned; // samples copied out of an unaligned message
    bool m_haveSettings = false;
    TQVMeasureSourceSettings m_settings{};
    TQVMeasureSourceState m_state = mssStop;
    bool m_haveSession = false;
    quint64 m_session = 0;
    quint64 m_expected = 0;
    qint64 m_blocks = 0;
    qint64 m_gaps = 0;
    qint64 m_lost = 0;
    qint64 m_rejected = 0;
    bool m_receiving = false;
};
