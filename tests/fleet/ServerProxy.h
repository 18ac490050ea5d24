#pragma once

#include <QString>
#include <QTemporaryDir>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace sync::test {

class PostgresServer;

/// Stands between clients and a server, and cuts a connection at a chosen round trip.
class ServerProxy
{
public:
    /// Where the connection is cut.
    enum class Cut {
        BeforeServer, ///< the server never gets the request
        BeforeClient, ///< the server has answered, and the client never learns it
    };

    explicit ServerProxy(PostgresServer& server);
    ~ServerProxy();
    Q_DISABLE_COPY_MOVE(ServerProxy)

    /// What libpq takes to connect through the proxy.
    QString connection() const;

    /// Cuts at the n-th round trip from now on, counted from 1, and runs `then` before the client
    /// notices. 0 cuts nothing and counts on.
    void cutAt(int roundTrip, Cut cut, std::function<void()> then = {});

    /// How many round trips there were since cutAt().
    int roundTrips() const { return count; }

private:
    void accept();
    void forward(int client, int server);

    PostgresServer& server;
    QTemporaryDir folder;
    int listener = -1;
    std::thread acceptor;
    std::vector<std::thread> forwarders;
    std::atomic<bool> ending = false;
    std::atomic<int> count = 0;

    std::mutex mutex; // guards what follows
    int target = 0;
    Cut kind = Cut::BeforeServer;
    std::function<void()> action;
};

} // namespace sync::test
