#pragma once
#include <core/PosixSync.h>

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <sys/types.h>

namespace sync::test {

/// A PostgreSQL server of the test's own: a new database cluster in a temporary folder, on a socket
/// in the same folder. It is not root's, because the server refuses that.
class PostgresServer
{
public:
    /// What a test asks for.
    struct Options
    {
        /// Lines for its configuration.
        QStringList settings = {};
        /// True if commits must survive a kill of the machine; a kill of the server they always do.
        bool syncsFiles = false;
        /// A library for LD_PRELOAD. VELMIO_FULL_DISK is fullDiskFile() for it.
        QByteArray preload = {};
    };

    /// Whether the server's programs are installed.
    static bool isInstalled();

    /// The server that all tests of this process share; started when it is first asked for. Null
    /// when it is not installed.
    static PostgresServer* shared();

    /// Makes the cluster and starts it. Stops the test with the server's message if that fails.
    PostgresServer()
        : PostgresServer(Options())
    {
    }
    explicit PostgresServer(const Options& options);
    /// A standby that follows another server.
    PostgresServer(PostgresServer& primary, const Options& options);
    ~PostgresServer();
    Q_DISABLE_COPY_MOVE(PostgresServer)

    /// What libpq takes to connect as the superuser, or as another login.
    QString connection(const QString& login = QStringLiteral("postgres")) const;

    /// Runs statements as the superuser; stops the test if one fails. Column 0 of the first row of
    /// the last one; empty without a row.
    QString run(const QString& sql) const;

    /// Starts it again after kill() or stop(); returns when it accepts connections.
    void start();
    /// Ends all its processes at once, without a word to the clients and without tidying up.
    void kill();
    /// Ends it as an administrator does who does not wait for clients.
    void stop();
    /// Makes a standby take writes.
    void promote();

    /// The folder of the cluster's files.
    QString dataFolder() const { return folder.filePath(QStringLiteral("data")); }
    /// What a preloaded library may look for.
    QString fullDiskFile() const { return folder.filePath(QStringLiteral("full")); }
    /// The folder of its socket.
    QString socketFolder() const { return folder.path(); }

private:
    void configure(const Options& options) const;
    void end(int signal);

    const QByteArray preload;
    QTemporaryDir folder;
    pid_t pid = 0;
};

} // namespace sync::test
