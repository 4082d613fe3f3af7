#include "qvNetSocket_p.h"

#include "framework/qvExceptions.h"

namespace QVNet {

zmq::context_t &Context()
{
    static auto *context = new zmq::context_t(1);
    return *context;
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
