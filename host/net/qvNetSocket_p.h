#pragma once

// What the sink and the source share around their ZeroMQ socket: the process's context, and
// a socket whose readable messages are announced on the event loop.

#include <functional>
#include <memory>

#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>
#include <QtCore/QString>
#include <QtCore/QTimer>

#include <zmq.hpp>

namespace QVNet {

/// The context of every stream socket of the process. Never terminated, so that a socket
/// left open at exit cannot hang it.
zmq::context_t &Context();

/// The host of a "tcp://[source;]host:port" endpoint, without the brackets of an IPv6
/// address; empty for other transports.
QString TcpHost(const QString &endpoint);

/// Raises `EQVException` with `failure` (%1 the endpoint) when a TCP endpoint's port is not a
/// number up to 65535 (from 1 to connect; 0 or "*" lets a bind choose one). ZeroMQ would take
/// the port modulo 65536 or retry for ever.
void CheckTcpPort(const QString &endpoint, bool bind, const QString &failure);

/// \brief A socket plus a notifier on its ZMQ_FD. The descriptor is edge-triggered, so
/// `onReadable` must read until a non-blocking receive finds nothing (which re-arms it), or
/// call `ReadLater()` to go on in the next turn of the event loop.
class NotifiedSocket
{
public:
    /// Opens a socket of `type`, lets `setup` set options and bind or connect it. Raises
    /// `EQVException` with `failure` (%1 the endpoint, %2 the reason) when ZeroMQ refuses.
    NotifiedSocket(zmq::socket_type type, const QString &endpoint, QObject *owner,
                   const std::function<void(zmq::socket_t &, const std::string &)> &setup,
                   std::function<void()> onReadable, const QString &failure);
    zmq::socket_t &Socket() { return m_socket; }
    /// Calls the handler from the event loop soon.
    void ReadLater() { m_later.start(); }

private:
    zmq::socket_t m_socket;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_later;
};

/// \brief Moves `socket` to `endpoint`: closes it, stores the endpoint in `current` and,
/// unless it is empty, lets `open()` open the new one. `changed()` runs when the endpoint
/// differs, also when `open` raises. Nothing happens when `socket` is already there.
template <typename Open, typename Changed>
void MoveSocket(std::unique_ptr<NotifiedSocket> &socket, QString &current, const QString &endpoint, Open open,
                Changed changed)
{
    if (endpoint == current && (socket || endpoint.isEmpty()))
        return;
    socket.reset();
    const bool differs = endpoint != current;
    current = endpoint;
    try {
        if (!endpoint.isEmpty())
            open();
    } catch (...) {
        if (differs)
            changed();
        throw;
    }
    if (differs)
        changed();
}

} // namespace QVNet
