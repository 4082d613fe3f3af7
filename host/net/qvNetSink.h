#pragma once

#include <memory>
#include <vector>

#include <QtCore/QTimer>

#include "framework/qvMeasIntf.h"
#include "host/net/qvNetMessage.h"

namespace QVNet {
class NotifiedSocket;
}

/// \brief A pass-through stage that publishes what passes it on a ZeroMQ endpoint: every
/// block, the settings and every change of the run state (`TQVNetSource` receives them).
///
/// Setting `Endpoint` ("tcp://*:5555", "ipc:///tmp/chain") binds at once; empty stops
/// publishing. Any source is accepted. The settings go out on every change, whenever a
/// subscriber subscribes (the socket is an XPUB that sees each subscription) and every
/// `AnnounceInterval` ms. Publishing never waits: a subscriber that falls behind by more than
/// `HighWaterMark` messages loses the newest ones, which it sees as a gap in the sequence.
/// Downstream links of the stage receive everything unchanged.
class TQVNetSink : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(QString Endpoint READ Endpoint WRITE WriteEndpoint NOTIFY EndpointChanged)
    Q_PROPERTY(int HighWaterMark READ HighWaterMark WRITE SetHighWaterMark NOTIFY SettingsChanged)
    Q_PROPERTY(int AnnounceInterval READ AnnounceInterval WRITE SetAnnounceInterval NOTIFY SettingsChanged)

public:
    explicit TQVNetSink(QObject *owner = nullptr);
    ~TQVNetSink() override;

    QString Endpoint() const { return m_endpoint; }
    /// Binds to `endpoint` (empty: stops publishing). Raises `EQVException` when ZeroMQ
    /// refuses it or a TCP port is beyond 65535; the sink then publishes nowhere.
    void SetEndpoint(const QString &endpoint);
    QV_GUARDED_WRITE(Endpoint, const QString &)
    /// Messages queued per subscriber, 1 or more (default 64); taken at the next bind.
    int HighWaterMark() const { return m_highWaterMark; }
    void SetHighWaterMark(int messages);
    /// Period of the settings announcement in ms (default 1000); 0 announces only on a
    /// change and a subscription.
    int AnnounceInterval() const { return m_announce.interval(); }
    void SetAnnounceInterval(int milliseconds);

    /// The endpoint bound, with a port chosen by the system filled in ("tcp://127.0.0.1:*"
    /// binds a free port); empty when not publishing.
    QString BoundEndpoint() const;
    /// Messages published since the last bind.
    qint64 MessagesSent() const { return m_sent; }
    /// The random id of this sink's stream, in every message header.
    quint64 Session() const { return m_session; }

    /// Sends the settings and the run state now (when a source delivered settings).
    void Announce();

signals:
    void EndpointChanged(const QString &endpoint);

protected:
    bool AcceptsSource(TQVMeasureSourceCapabilities) const override { return true; }
    void SourceSettingsChanged(const TQVMeasureSourceSettings &settings) override;
    void MLSOnChangedState(TQVMeasureLink *link, TQVMeasureSourceState state) override;
    void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data) override;

private:
    /// Publishes a message of `size` bytes that `encode(bytes, header)` writes.
    template <typename Encode>
    void Publish(std::size_t size, Encode encode);
    void ReadSubscriptions();

    std::unique_ptr<QVNet::NotifiedSocket> m_socket;
    QString m_endpoint;
    int m_highWaterMark = 64;
    quint64 m_session;
    quint64 m_sequence = 0;
    qint64 m_sent = 0;
    bool m_haveSettings = false;
    TQVMeasureSourceSettings m_settings{};
    TQVMeasureSourceState m_state = mssStop;
    QTimer m_announce;
};
