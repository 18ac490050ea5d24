#include <support/PostgresServer.h>

#include <support/AsNobody.h>

#include <QDir>
#include <QFile>
#include <QProcess>

#include <libpq-fe.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <functional>
#include <memory>
#include <mutex>
#include <semaphore>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

// Debian keeps the server's programs of each version in a folder of its own, outside PATH.
QString programFolder()
{
    const QDir versions(u"/usr/lib/postgresql"_s);
    QString newest;
    int newestVersion = 0;
    for (const QString& version : versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString programs = versions.filePath(version + u"/bin"_s);
        if (version.toInt() > newestVersion && QFile::exists(programs + u"/initdb"_s)) {
            newest = programs;
            newestVersion = version.toInt();
        }
    }
    return newest;
}

struct Close
{
    void operator()(PGconn* connection) const { PQfinish(connection); }
    void operator()(PGresult* result) const { PQclear(result); }
};
using Connection = std::unique_ptr<PGconn, Close>;
using Result = std::unique_ptr<PGresult, Close>;

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void prepareChild()
{
    becomeNobody();
    // It must not outlive a test that is killed.
    ::prctl(PR_SET_PDEATHSIG, SIGQUIT);
}

void runProgram(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setWorkingDirectory(u"/"_s);
    process.setChildProcessModifier(prepareChild);
    process.start(programFolder() + u'/' + program, arguments);
    process.waitForFinished(-1);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        qFatal("%s failed: %s", qPrintable(program), process.readAll().constData());
}

/// A thread that lives as long as the process. A server ends with the thread that has started it
/// (PR_SET_PDEATHSIG), and any thread may start one.
class Starter
{
public:
    static pid_t fork(const std::function<void()>& child)
    {
        static Starter* const starter = new Starter; // never ends
        const std::lock_guard one(starter->callers);
        starter->child = &child;
        starter->asked.release();
        starter->answered.acquire();
        return starter->pid;
    }

private:
    Starter()
    {
        std::thread([this] { run(); }).detach();
    }

    [[noreturn]] void run()
    {
        for (;;) {
            asked.acquire();
            pid = ::fork();
            if (pid == 0) {
                (*child)();
                ::_exit(127);
            }
            answered.release();
        }
    }

    std::mutex callers;
    std::binary_semaphore asked{0};
    std::binary_semaphore answered{0};
    const std::function<void()>* child = nullptr;
    pid_t pid = 0;
};

} // namespace

bool PostgresServer::isInstalled()
{
    return !programFolder().isEmpty();
}

PostgresServer* PostgresServer::shared()
{
    static const auto server = isInstalled() ? std::make_unique<PostgresServer>() : nullptr;
    return server.get();
}

PostgresServer::PostgresServer(const Options& options)
    : preload(options.preload)
    , folder(QDir::tempPath() + u"/velmio-pg.XXXXXX"_s) // short, for the name of the socket
{
    giveToNobody(folder.path());
    runProgram(
        u"initdb"_s, {u"--pgdata"_s, dataFolder(), u"--username=postgres"_s, u"--auth=trust"_s,
                      u"--no-sync"_s, u"--no-locale"_s, u"--encoding=UTF8"_s});
    configure(options);
    start();
}

PostgresServer::PostgresServer(PostgresServer& primary, const Options& options)
    : preload(options.preload)
    , folder(QDir::tempPath() + u"/velmio-pg.XXXXXX"_s)
{
    giveToNobody(folder.path());
    runProgram(
        u"pg_basebackup"_s, {u"--pgdata"_s, dataFolder(), u"--dbname"_s, primary.connection(),
                             u"--write-recovery-conf"_s, u"--checkpoint=fast"_s, u"--no-sync"_s});
    configure(options);
    start();
}

PostgresServer::~PostgresServer()
{
    if (pid != 0)
        kill();
}

QString PostgresServer::connection(const QString& login) const
{
    return u"host=%1 dbname=postgres user=%2"_s.arg(socketFolder(), login);
}

QString PostgresServer::run(const QString& sql) const
{
    const Connection database(PQconnectdb(connection().toUtf8().constData()));
    const Result result(PQexec(database.get(), sql.toUtf8().constData()));
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        qFatal("%s: %s", qPrintable(sql), PQerrorMessage(database.get()));
    return PQntuples(result.get()) > 0 ? QString::fromUtf8(PQgetvalue(result.get(), 0, 0))
                                       : QString();
}

void PostgresServer::configure(const Options& options) const
{
    QFile file(dataFolder() + u"/postgresql.auto.conf"_s);
    if (!file.open(QIODevice::Append))
        qFatal("Cannot write the configuration of the server");
    QStringList lines{
        u"listen_addresses = ''"_s, u"unix_socket_directories = '%1'"_s.arg(socketFolder()),
        u"fsync = %1"_s.arg(options.syncsFiles ? u"on"_s : u"off"_s), u"shared_buffers = 32MB"_s,
        u"max_connections = 60"_s};
    lines += options.settings;
    file.write(lines.join(u'\n').toUtf8() + '\n');
}

void PostgresServer::start()
{
    const QByteArray program = QFile::encodeName(programFolder() + u"/postgres"_s);
    const QByteArray data = QFile::encodeName(dataFolder());
    const QByteArray log = QFile::encodeName(folder.filePath(u"log"_s));
    const QByteArray full = QFile::encodeName(fullDiskFile());
    pid = Starter::fork([&] {
        prepareChild();
        if (!preload.isEmpty()) {
            ::setenv("VELMIO_FULL_DISK", full.constData(), 1);
            ::setenv("LD_PRELOAD", preload.constData(), 1);
        }
        if (::chdir("/") == 0 && ::freopen(log.constData(), "a", stderr) &&
            ::freopen(log.constData(), "a", stdout))
            ::execl(
                program.constData(), program.constData(), "-D", data.constData(),
                static_cast<char*>(nullptr));
    });
    const QByteArray target = connection().toUtf8();
    while (PQping(target.constData()) != PQPING_OK) {
        if (::waitpid(pid, nullptr, WNOHANG) == pid)
            qFatal("The server has ended: %s", readAll(folder.filePath(u"log"_s)).constData());
        ::usleep(2000); // until it listens, which only another attempt can find out
    }
}

void PostgresServer::kill()
{
    end(SIGQUIT);
}

void PostgresServer::stop()
{
    end(SIGINT);
}

void PostgresServer::end(int signal)
{
    ::kill(pid, signal);
    ::waitpid(std::exchange(pid, 0), nullptr, 0);
}

void PostgresServer::promote()
{
    run(u"SELECT pg_promote()"_s);
}

} // namespace sync::test
