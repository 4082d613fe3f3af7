#include "qvNetSource.h"

#include <cstring>

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QHostInfo>

#include "qvNetSocket_p.h"

namespace {

bool SameSettings(const TQVMeasureSourceSettings &a, const TQVMeasureSourceSettings &b)
{
    return (long double)a.XStart == (long double)b.XStart && (long double)a.XSpan == (long double)b.XSpan
           && a.ChannelCount == b.ChannelCount && a.RangeMin == b.RangeMin && a.RangeMax == b.RangeMax
           && a.BlockLength == b.BlockLength && a.HarmonizedBlockLength == b.HarmonizedBlockLength
           && std::memcmp(a.HostArea, b.HostArea, sizeof a.HostArea) == 0;
}

} // namespace

TQVNetSource::TQVNetSource(QObject *owner)
    : TQVMeasureSource(owner)
{
    SetCapabilities({});
}

TQVNetSource::~TQVNetSource() = default;

void TQVNetSource::SetEndpoint(const QString &endpoint)
{
    const QString failure = QCoreApplication::translate("TQVNetSource", "Cannot subscribe to \"%1\": %2");
    const QString host = QVNet::TcpHost(endpoint);
    QVNet::MoveSocket(
        m_socket, m_endpoint, endpoint,
        [&] {
            // ZeroMQ resolves the host in the background, retrying for ever: a typing error
            // would leave the source silent. Hence the port check and the lookup below.
            QVNet::CheckTcpPort(endpoint, false, failure);
            m_blocks = m_gaps = m_lost = m_rejected = 0;
            m_haveSession = false;
            const int highWaterMark = m_highWaterMark;
            m_socket = std::make_unique<QVNet::NotifiedSocket>(
                zmq::socket_type::sub, endpoint, this,
                [highWaterMark](zmq::socket_t &socket, const std::string &address) {
                    socket.set(zmq::sockopt::rcvhwm, highWaterMark);
                    // Everything: a foreign publisher is reported rather than filtered out.
                    socket.set(zmq::sockopt::subscribe, "");
                    socket.connect(address);
                },
                [this] { Receive(); }, failure);
            if (!host.isEmpty() && QHostAddress(host).isNull())
                QHostInfo::lookupHost(host, this, [this, endpoint, failure](const QHostInfo &info) {
                    if (info.error() != QHostInfo::NoError && endpoint == m_endpoint)
                        Report(failure.arg(endpoint, info.errorString()));
                });
        },
        [this] { emit EndpointChanged(m_endpoint); });
}

void TQVNetSource::SetHighWaterMark(int messages)
{
    if (messages >= 1)
        StoreChanged(m_highWaterMark, messages, [this] { emit SettingsChanged(); });
}

void TQVNetSource::GetSettings(TQVMeasureSourceSettings &settings) const
{
    if (!m_haveSettings) {
        QVClearSettings(settings);
        return;
    }
    settings = m_settings;
}

int TQVNetSource::Receive(int limit)
{
    if (m_receiving || !m_socket)
        return 0;
    const QPointer<TQVNetSource> alive(this);
    m_receiving = true;
    int count = 0;
    QVNet::NotifiedSocket *socket = m_socket.get();
    zmq::message_t message;
    // Until the socket has nothing more: that also re-arms its edge-triggered descriptor.
    while (count < limit && socket->Socket().recv(message, zmq::recv_flags::dontwait)) {
        ++count;
        try {
            Handle(message.data(), message.size());
        } catch (const std::exception &error) {
            // A consumer refused the settings or failed on a block: reported, the loop goes on.
            if (alive)
                Report(QString::fromLocal8Bit(error.what()));
        }
        if (!alive)
            return count;
        if (m_socket.get() != socket) { // a consumer changed the endpoint meanwhile
            m_receiving = false;
            return count;
        }
    }
    m_receiving = false;
    // More waiting: go on in the next turn, so that a fast publisher cannot starve the loop.
    if (count == limit)
        socket->ReadLater();
    return count;
}

void TQVNetSource::Handle(const void *data, std::size_t size)
{
    const QVNet::Error error = QVNet::Decode(data, size, m_message);
    if (error != QVNet::Error::None) {
        ++m_rejected;
        Report(QVNet::ErrorText(error));
        return;
    }
    const QPointer<TQVNetSource> alive(this);
    CheckSequence(m_message.Head);
    if (!alive)
        return;
    switch (m_message.Head.MessageKind) {
    case QVNet::Kind::Settings:
        ApplySettings(m_message);
        break;
    case QVNet::Kind::State:
        ApplyState(m_message.State);
        break;
    case QVNet::Kind::Block:
        if (m_haveSettings)
            DeliverBlock(m_message);
        break;
    }
}

void TQVNetSource::CheckSequence(const QVNet::Header &header)
{
    qint64 missing = 0;
    if (m_haveSession && header.Session != m_session)
        missing = -1;
    else if (m_haveSession && header.Sequence > m_expected)
        missing = qint64(header.Sequence - m_expected);
    m_haveSession = true;
    m_session = header.Session;
    m_expected = header.Sequence + 1;
    if (missing == 0)
        return;
    ++m_gaps;
    if (missing > 0)
        m_lost += missing;
    emit GapDetected(missing);
}

void TQVNetSource::ApplySettings(const QVNet::Message &message)
{
    const bool changed = !m_haveSettings || !SameSettings(message.Settings, m_settings)
                         || message.Capabilities.Bits() != Capabilities().Bits();
    if (changed) {
        m_settings = message.Settings;
        m_haveSettings = true;
        SetCapabilities(message.Capabilities);
        const QPointer<TQVNetSource> alive(this);
        UpdateLinks();
        if (!alive)
            return;
        emit SettingsChanged();
        if (!alive)
            return;
    }
    ApplyState(message.State);
}

bool TQVNetSource::ApplyState(TQVMeasureSourceState state)
{
    if (state == m_state)
        return true;
    m_state = state;
    const QPointer<TQVNetSource> alive(this);
    if (!DeliverState(state))
        return false;
    emit StateChanged(state);
    return alive;
}

bool TQVNetSource::DeliverBlock(QVNet::Message &message)
{
    TQVDescArraySingle &block = message.Block;
    if (!message.SamplesAligned) {
        std::size_t total = 0;
        for (int k = 0; k < message.Slots; ++k)
            total += std::size_t(block.Channels[k].Count);
        if (m_unaligned.size() < total)
            m_unaligned.resize(total);
        float *out = m_unaligned.data();
        for (int k = 0; k < message.Slots; ++k) {
            const int count = block.Channels[k].Count;
            if (count > 0) {
                std::memcpy(out, message.Samples[k], sizeof(float) * std::size_t(count));
                block.Channels[k].Data = out;
                out += count;
            }
        }
    }
    ++m_blocks;
    return DeliverData(block);
}

void TQVNetSource::Report(const QString &message)
{
    emit ErrorOccurred(message);
}
