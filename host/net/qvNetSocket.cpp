#include "qvNetSocket_p.h"

#include <utility>

#include <QtCore/QCoreApplication>

#include "framework/qvExceptions.h"

namespace QVNet {

zmq::context_t &Context()
{
    static auto *context = new zmq::context_t(1);
    return *context;
}

namespace {

// Host and port of a TCP endpoint; both empty for other transports.
std::pair<QString, QString> TcpHostAndPort(const QString &endpoint)
{
    if (!endpoint.startsWith(QLatin1String("tcp://")))
        return {};
    QString address = endpoint.mid(6);
    address = address.mid(address.lastIndexOf(QLatin1Char(';')) + 1);
    const qsizetype colon = address.lastIndexOf(QLatin1Char(':'));
    QString host = colon < 0 ? address : address.left(colon);
    if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
        host = host.mid(1, host.size() - 2);
    return {host, colon < 0 ? QString() : address.mid(colon + 1)};
}

} // namespace

QString TcpHost(const QString &endpoint)
{
    return TcpHostAndPort(endpoint).first;
}

void CheckTcpPort(const QString &endpoint, bool bind, const QString &failure)
{
    const auto [host, port] = TcpHostAndPort(endpoint);
    if (host.isEmpty() || (bind && port == QLatin1String("*")))
        return;
    bool number = false;
    const int value = port.toInt(&number);
    if (!number || value < (bind ? 0 : 1) || value > 65535)
        throw EQVException(failure.arg(
            endpoint, QCoreApplication::translate("QVNet", "the port must be a number from %1 to 65535").arg(bind ? 0 : 1)));
}

NotifiedSocket::NotifiedSocket(zmq::socket_type type, const QString &endpoint, QObject *owner,
                               const std::function<void(zmq::socket_t &, const std::string &)> &setup,
                               std::function<void()> onReadable, const QString &failure)
    : m_socket(Context(), type)
{
    try {
        m_socket.set(zmq::sockopt::linger, 0);
        setup(m_socket, endpoint.toStdString());
    } catch (const zmq::error_t &error) {
        throw EQVException(failure.arg(endpoint, QString::fromLocal8Bit(error.what())));
    }
    m_notifier = std::make_unique<QSocketNotifier>(qintptr(m_socket.get(zmq::sockopt::fd)), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, owner, onReadable);
    m_later.setSingleShot(true);
    m_later.setInterval(0);
    QObject::connect(&m_later, &QTimer::timeout, owner, std::move(onReadable));
    // Messages may be waiting before the first edge.
    m_later.start();
}

} // namespace QVNet
