#include "ServerProxy.h"

#include <support/PostgresServer.h>

#include <QDir>
#include <QFile>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

sockaddr_un addressIn(const QString& folder)
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    const QByteArray path = QFile::encodeName(folder + u"/.s.PGSQL.5432"_s);
    std::strncpy(address.sun_path, path.constData(), sizeof address.sun_path - 1);
    return address;
}

const sockaddr* generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

/// Reads the messages of a client, to find where its round trips end. A message of COPY counts as
/// one, though it has no answer.
/// https://www.postgresql.org/docs/current/protocol-message-formats.html
class Messages
{
public:
    /// How many round trips end in these bytes.
    int add(const char* bytes, ssize_t size)
    {
        int ends = 0;
        pending.append(bytes, size);
        for (;;) {
            // The first message has no type.
            const qsizetype header = started ? 1 : 0;
            if (pending.size() < header + 4)
                return ends;
            quint32 length = 0;
            for (qsizetype at = header; at < header + 4; ++at)
                length = length << 8U | static_cast<unsigned char>(pending.at(at));
            if (pending.size() < header + qsizetype(length))
                return ends;
            // Sync, Query and CopyData.
            if (started && QByteArrayView("SQd").contains(pending.at(0)))
                ++ends;
            pending.remove(0, header + qsizetype(length));
            started = true;
        }
    }

private:
    QByteArray pending;
    bool started = false;
};

bool sendAll(int target, const char* bytes, ssize_t size)
{
    while (size > 0) {
        const ssize_t sent = ::send(target, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes += sent;
        size -= sent;
    }
    return true;
}

} // namespace

ServerProxy::ServerProxy(PostgresServer& server)
    : server(server)
    , folder(QDir::tempPath() + u"/velmio-pp.XXXXXX"_s)
    , listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const sockaddr_un address = addressIn(folder.path());
    if (::bind(listener, generic(address), sizeof address) != 0 || ::listen(listener, 16) != 0)
        qFatal("Cannot listen in %s", qPrintable(folder.path()));
    acceptor = std::thread([this] { accept(); });
}

ServerProxy::~ServerProxy()
{
    ending = true;
    ::shutdown(listener, SHUT_RDWR);
    acceptor.join();
    for (std::thread& forwarder : forwarders)
        forwarder.join();
    ::close(listener);
}

QString ServerProxy::connection() const
{
    return server.connection().replace(server.socketFolder(), folder.path());
}

void ServerProxy::cutAt(int roundTrip, Cut cut, std::function<void()> then)
{
    const std::lock_guard lock(mutex);
    target = roundTrip;
    kind = cut;
    action = std::move(then);
    count = 0;
}

void ServerProxy::accept()
{
    while (!ending) {
        const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            return;
        const int upstream = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_un address = addressIn(server.socketFolder());
        if (::connect(upstream, generic(address), sizeof address) == 0) {
            forwarders.emplace_back([this, client, upstream] { forward(client, upstream); });
        } else {
            ::close(client);
            ::close(upstream);
        }
    }
}

// Both sockets are closed when either side or the cut ends the connection.
void ServerProxy::forward(int client, int upstream)
{
    Messages messages;
    std::function<void()> atCut;
    bool dropsAnswer = false;
    std::array<char, 65536> bytes{};
    std::array<pollfd, 2> sockets{{{client, POLLIN, 0}, {upstream, POLLIN, 0}}};
    for (bool open = true; open && !ending;) {
        if (::poll(sockets.data(), sockets.size(), 50) <= 0)
            continue;
        for (std::size_t from = 0; open && from < sockets.size(); ++from) {
            if ((sockets[from].revents & (POLLIN | POLLHUP | POLLERR)) == 0)
                continue;
            const ssize_t size = ::recv(sockets[from].fd, bytes.data(), bytes.size(), 0);
            open = size > 0;
            const int ends = open && from == 0 ? messages.add(bytes.data(), size) : 0;
            if (ends > 0) {
                const std::lock_guard lock(mutex);
                count += ends;
                if (target > 0 && count >= target) {
                    target = 0;
                    atCut = std::exchange(action, {});
                    dropsAnswer = kind == Cut::BeforeClient;
                    open = dropsAnswer;
                }
            }
            // The answer to a round trip that is cut has arrived, and ends here.
            if (from == 1 && dropsAnswer)
                open = false;
            open = open && sendAll(sockets[1 - from].fd, bytes.data(), size);
        }
    }
    if (atCut)
        atCut();
    ::close(upstream);
    ::close(client);
}

} // namespace sync::test
