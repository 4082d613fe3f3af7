#include "qvNetSink.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QRandomGenerator>

#include "qvNetSocket_p.h"

TQVNetSink::TQVNetSink(QObject *owner)
    : TQVMLSBase(owner)
    , m_session(QRandomGenerator::global()->generate64())
{
    m_announce.setInterval(1000);
    connect(&m_announce, &QTimer::timeout, this, &TQVNetSink::Announce);
    connect(this, &TQVMLSBase::MeasureSourceChanged, this, [this] {
        if (!GetQVMeasureSource())
            m_haveSettings = false;
    });
}

TQVNetSink::~TQVNetSink() = default;

void TQVNetSink::SetEndpoint(const QString &endpoint)
{
    const QString failure = QCoreApplication::translate("TQVNetSink", "Cannot publish on \"%1\": %2");
    QVNet::MoveSocket(
        m_socket, m_endpoint, endpoint,
        [&] {
            QVNet::CheckTcpPort(endpoint, true, failure);
            m_sent = 0;
            const int highWaterMark = m_highWaterMark;
            m_socket = std::make_unique<QVNet::NotifiedSocket>(
                zmq::socket_type::xpub, endpoint, this,
                [highWaterMark](zmq::socket_t &socket, const std::string &address) {
                    socket.set(zmq::sockopt::sndhwm, highWaterMark);
                    socket.set(zmq::sockopt::xpub_verbose, 1);
                    socket.bind(address);
                },
                [this] { ReadSubscriptions(); },
                failure);
            if (m_announce.interval() > 0)
                m_announce.start();
        },
        [this] { emit EndpointChanged(m_endpoint); });
}

QString TQVNetSink::BoundEndpoint() const
{
    return m_socket ? QString::fromStdString(m_socket->Socket().get(zmq::sockopt::last_endpoint)) : QString();
}

void TQVNetSink::SetHighWaterMark(int messages)
{
    if (messages >= 1)
        StoreChanged(m_highWaterMark, messages, [this] { emit SettingsChanged(); });
}

void TQVNetSink::SetAnnounceInterval(int milliseconds)
{
    if (milliseconds < 0 || milliseconds == m_announce.interval())
        return;
    m_announce.setInterval(milliseconds);
    if (milliseconds == 0)
        m_announce.stop();
    else if (m_socket)
        m_announce.start();
    emit SettingsChanged();
}

template <typename Encode>
void TQVNetSink::Publish(std::size_t size, Encode encode)
{
    if (!m_socket)
        return;
    zmq::message_t message(size);
    // The sequence counts every message offered, so that one the socket drops shows as a gap.
    encode(static_cast<std::byte *>(message.data()), QVNet::Header{QVNet::Kind::State, m_session, m_sequence++});
    if (m_socket->Socket().send(message, zmq::send_flags::dontwait))
        ++m_sent;
    // Sending may consume the descriptor's edge that announced a subscription: look now and
    // then (the periodic announcement covers the rest).
    if (m_sent % 16 == 0)
        ReadSubscriptions();
}

void TQVNetSink::Announce()
{
    if (!m_haveSettings)
        return;
    Publish(QVNet::SettingsSize, [this](std::byte *out, const QVNet::Header &header) {
        QVNet::EncodeSettings(out, header, m_settings, Capabilities() - mscCanHarmonize, m_state);
    });
}

void TQVNetSink::ReadSubscriptions()
{
    bool subscribed = false;
    zmq::message_t message;
    while (m_socket && m_socket->Socket().recv(message, zmq::recv_flags::dontwait)) {
        // XPUB hands up (un)subscriptions: 1 or 0, then the topic.
        subscribed = subscribed || (message.size() >= 1 && *static_cast<const char *>(message.data()) == 1);
    }
    if (subscribed)
        Announce();
}

void TQVNetSink::SourceSettingsChanged(const TQVMeasureSourceSettings &settings)
{
    // Blocks go out as they arrive (this stage does not ask for harmonized ones), so a
    // subscriber is offered the natural length only.
    m_settings = settings;
    m_settings.HarmonizedBlockLength = InputBlockLength(settings);
    m_haveSettings = true;
    Announce();
}

void TQVNetSink::MLSOnChangedState(TQVMeasureLink *link, TQVMeasureSourceState state)
{
    m_state = state;
    Publish(QVNet::StateSize,
            [state](std::byte *out, const QVNet::Header &header) { QVNet::EncodeState(out, header, state); });
    TQVMLSBase::MLSOnChangedState(link, state);
}

void TQVNetSink::MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data)
{
    if (m_haveSettings) {
        Publish(QVNet::BlockSize(data),
                [&data](std::byte *out, const QVNet::Header &header) { QVNet::EncodeBlock(out, header, data); });
    }
    TQVMLSBase::MLSOnNewData(link, data);
}
