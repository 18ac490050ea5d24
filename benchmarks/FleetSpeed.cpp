#include "FleetSpeed.h"

#include "Dataset.h"
#include "Engine.h"
#include "FloorRecords.h"
#include "Measurement.h"
#include "Stores.h"

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <database/HostTransaction.h>
#include <fleet/PostgresDatabaseFactory.h>
#include <support/PostgresServer.h>

#include <QTemporaryDir>

#include <libpq-fe.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <functional>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

constexpr int Files = 20'000;
const QString StoreId = u"benchmark"_s;

struct Close
{
    void operator()(PGconn* connection) const { PQfinish(connection); }
    void operator()(PGresult* result) const { PQclear(result); }
};
using Connection = std::unique_ptr<PGconn, Close>;
using Result = std::unique_ptr<PGresult, Close>;

/// A row of a result in the text format.
struct LibpqRow
{
    const char* bytes(int column) const { return PQgetvalue(result, row, column); }
    int size(int column) const { return PQgetlength(result, row, column); }
    qint64 longInteger(int column) const
    {
        qint64 value = 0;
        std::from_chars(bytes(column), bytes(column) + size(column), value);
        return value;
    }
    int integer(int column) const { return int(longInteger(column)); }
    QString text(int column) const { return QString::fromUtf8(bytes(column), size(column)); }
    QDateTime time(int column) const
    {
        return PQgetisnull(result, row, column) ? QDateTime() : readTime(bytes(column));
    }
    QMap<QString, QString> properties(int column) const
    {
        if (std::strcmp(bytes(column), NoProperties) == 0)
            return {};
        return sync::config::readNameValueXml(text(column));
    }

    const PGresult* result;
    int row;
};

/// The values of a statement, as texts.
class LibpqValues
{
public:
    void bind(qint64 value) { texts[next()] = QByteArray::number(value); }
    void bind(const QString& value) { texts[next()] = value.toUtf8(); }
    void bind(const QDateTime& value)
    {
        const std::size_t at = next();
        if (value.isValid())
            texts[at] = QByteArray(timeText(value).characters, 24);
        else
            texts[at] = QByteArray();
        nulls[at] = !value.isValid();
    }
    void bindStatic(const char* text, int size)
    {
        texts[next()] = QByteArray::fromRawData(text, size);
    }

    Result run(PGconn* connection, const char* name)
    {
        return Result(PQexecPrepared(connection, name, int(count), values(), nullptr, nullptr, 0));
    }

    /// Without waiting for the answer.
    void send(PGconn* connection, const char* name)
    {
        PQsendQueryPrepared(connection, name, int(count), values(), nullptr, nullptr, 0);
    }

private:
    const char* const* values()
    {
        for (std::size_t at = 0; at < count; ++at)
            pointers[at] = nulls[at] ? nullptr : texts[at].constData();
        return pointers.data();
    }

    std::size_t next()
    {
        nulls[count] = false;
        return count++;
    }

    std::array<QByteArray, 28> texts;
    std::array<bool, 28> nulls{};
    std::array<const char*, 28> pointers{};
    std::size_t count = 0;
};

/// Hand-written calls of libpq, with prepared statements and no layers.
class LibpqFloor : public Engine
{
public:
    explicit LibpqFloor(const QString& target)
        : connection(PQconnectdb(target.toUtf8().constData()))
    {
        const std::string files = SelectFiles + " WHERE store = $1";
        prepare("lookup", files + " AND clientPath = $2 AND md5(clientPath) = md5($2) ORDER BY id");
        prepare("list", files + " AND folderConfigurationId = $2 ORDER BY name NULLS FIRST, id");
        prepare("all", files + " ORDER BY id");
        prepare("folder", SelectFolders + " WHERE store = $1 AND id = $2 ORDER BY id");
        std::string values;
        for (int column = 2; column <= 24; ++column)
            values += ", $" + std::to_string(column);
        const std::string into = "INSERT INTO velmio.FileConfiguration (store, " + FileColumns +
                                 ", id) VALUES ($1" + values + ", ";
        prepare(
            "add", "WITH turn AS (UPDATE velmio.Counters SET changes = changes + 1,"
                   " FileConfiguration = FileConfiguration + 1 WHERE store = $1"
                   " RETURNING FileConfiguration AS id) " +
                       into + "(SELECT id FROM turn)) RETURNING id");
        prepare("addInTransaction", into + "$25)");
        prepare(
            "turn", "SELECT FileConfiguration FROM velmio.Counters WHERE store = $1 FOR UPDATE");
        prepare(
            "count", "UPDATE velmio.Counters SET changes = changes + 1, FileConfiguration = $2"
                     " WHERE store = $1");
    }

    FileConfiguration fileByClientPath(const QString& path) override
    {
        LibpqValues values = ofStore();
        values.bind(path);
        const Result result = values.run(connection.get(), "lookup");
        FileConfiguration file;
        if (PQntuples(result.get()) > 0)
            readFile(LibpqRow{result.get(), 0}, file);
        return file;
    }
    QVector<FileConfiguration> filesOfFolder(int folderId) override
    {
        LibpqValues values = ofStore();
        values.bind(folderId);
        return read(values.run(connection.get(), "list"));
    }
    QVector<FileConfiguration> allFiles() override
    {
        return read(ofStore().run(connection.get(), "all"));
    }
    bool addFile(FileConfiguration& file) override
    {
        LibpqValues lookup = ofStore();
        lookup.bind(file.getClientPath());
        if (!read(lookup.run(connection.get(), "lookup")).isEmpty())
            return false; // the data set has no file twice
        if (!file.getFileLinks().isEmpty()) {
            LibpqValues root = ofStore();
            root.bind(file.getRootFolderId());
            root.run(connection.get(), "folder");
        }
        LibpqValues values = ofStore();
        bindFile(values, file);
        if (lastId > 0)
            values.bind(lastId + 1);
        const Result added = values.run(connection.get(), lastId > 0 ? "addInTransaction" : "add");
        if (lastId > 0)
            file.setId(++lastId);
        else if (PQntuples(added.get()) > 0)
            file.setId(LibpqRow{added.get(), 0}.integer(0));
        return PQresultStatus(added.get()) == PGRES_TUPLES_OK ||
               PQresultStatus(added.get()) == PGRES_COMMAND_OK;
    }
    bool begin() override
    {
        const Result begun(PQexec(connection.get(), "BEGIN"));
        const Result turn = ofStore().run(connection.get(), "turn");
        lastId = LibpqRow{turn.get(), 0}.integer(0);
        return true;
    }
    bool commit() override
    {
        LibpqValues values = ofStore();
        values.bind(lastId);
        values.run(connection.get(), "count");
        lastId = 0;
        const Result committed(PQexec(connection.get(), "COMMIT"));
        return PQresultStatus(committed.get()) == PGRES_COMMAND_OK;
    }

    QVector<FolderConfiguration> allFolders() override { return {}; }
    bool updateFile(const FileConfiguration&) override { return false; }
    bool cleanRootFolder(int) override { return false; }
    bool cleanFolder(int) override { return false; }

    /// Adds the first files of the data set to an empty store, several in each round trip.
    void fill(int files)
    {
        constexpr int AtOnce = 500;
        begin();
        PQenterPipelineMode(connection.get());
        while (lastId < files) {
            LibpqValues values = ofStore();
            bindFile(values, sampleFile(lastId));
            values.bind(++lastId);
            values.send(connection.get(), "addInTransaction");
            if (lastId % AtOnce == 0 || lastId == files)
                finishRoundTrip();
        }
        PQexitPipelineMode(connection.get());
        if (!commit())
            throw std::runtime_error(PQerrorMessage(connection.get()));
    }

private:
    void finishRoundTrip()
    {
        PQpipelineSync(connection.get());
        for (ExecStatusType status = PGRES_COMMAND_OK; status != PGRES_PIPELINE_SYNC;) {
            const Result result(PQgetResult(connection.get()));
            status = result ? PQresultStatus(result.get()) : PGRES_COMMAND_OK;
        }
    }

    void prepare(const char* name, const std::string& sql)
    {
        const Result result(PQprepare(connection.get(), name, sql.c_str(), 0, nullptr));
        if (PQresultStatus(result.get()) != PGRES_COMMAND_OK)
            throw std::runtime_error(PQerrorMessage(connection.get()));
    }

    static LibpqValues ofStore()
    {
        LibpqValues values;
        values.bind(StoreId);
        return values;
    }

    static QVector<FileConfiguration> read(const Result& result)
    {
        QVector<FileConfiguration> files;
        for (int row = 0; row < PQntuples(result.get()); ++row)
            readFile(LibpqRow{result.get(), row}, files.emplaceBack());
        return files;
    }

    const Connection connection;
    int lastId = 0; // of the open transaction
};

struct FleetWorkload
{
    const char* name;
    double goal;
    int operations;
    std::function<void(Engine& engine, int from, int operations)> run;
};

// Each addition is of a file that no run before has added.
void add(Engine& engine, int from, int operations)
{
    for (int number = from; number < from + operations; ++number) {
        FileConfiguration file = sampleFile(number);
        if (!engine.addFile(file) || file.getId() <= 0)
            throw std::runtime_error("a file could not be added");
    }
}

const std::vector<FleetWorkload>& workloads()
{
    static const std::vector<FleetWorkload> all{
        {"lookup", 1.15, 1000,
         [](Engine& engine, int from, int operations) {
             for (int number = 0; number < operations; ++number) {
                 const int file = (from + number * 7919) % Files;
                 if (engine.fileByClientPath(clientPathOfFile(file)).getId() != file + 1)
                     throw std::runtime_error("a file was not found");
             }
         }},
        {"list", 1.10, 300,
         [](Engine& engine, int from, int operations) {
             for (int number = 0; number < operations; ++number) {
                 const int folder = 1 + (from + number * 31) % (Files / FilesPerFolder);
                 if (engine.filesOfFolder(folder).size() != FilesPerFolder)
                     throw std::runtime_error("a folder is not whole");
             }
         }},
        {"GetAll", 1.15, 1,
         [](Engine& engine, int, int) {
             if (engine.allFiles().size() < Files)
                 throw std::runtime_error("a file is missing");
         }},
        {"durable Add", 1.10, 100, add},
        {"bulk Add", 1.25, 500,
         [](Engine& engine, int from, int operations) {
             if (!engine.begin())
                 throw std::runtime_error("no transaction");
             add(engine, from, operations);
             if (!engine.commit())
                 throw std::runtime_error("no commit");
         }},
    };
    return all;
}

double microseconds(const FleetWorkload& workload, Engine& engine, int from)
{
    const auto start = std::chrono::steady_clock::now();
    workload.run(engine, from, workload.operations);
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
    return time.count() / workload.operations;
}

} // namespace

bool compareFleet(int rounds)
{
    using sync::fleet::PostgresDatabaseFactory;
    using sync::test::PostgresServer;
    if (!PostgresServer::isInstalled()) {
        std::puts("not run: the package postgresql is not installed");
        return true;
    }
    PostgresServer server(
        PostgresServer::Options{.settings = {u"shared_buffers = 256MB"_s}, .syncsFiles = true});
    PostgresDatabaseFactory::open(server.connection(), StoreId);
    server.run(u"CREATE ROLE benchmark_service LOGIN IN ROLE velmio_service"_s);
    const QString login = server.connection(u"benchmark_service"_s);
    const auto engine = openManagers(PostgresDatabaseFactory::open(login, StoreId));
    LibpqFloor floor(login + u" options='-c velmio.store=%1 -c search_path=velmio'"_s.arg(StoreId));
    floor.fill(Files);
    server.run(u"VACUUM ANALYZE"_s);

    const QTemporaryDir folder;
    Stores stores(folder.path());
    const auto file = openEmbedded(stores.withFiles(Files));

    bool reached = true;
    int next = Files;
    std::printf("| workload | libpq us | fleet us | ratio | goal | SQLite us "
                "|\n|---|---|---|---|---|---|\n");
    for (const FleetWorkload& workload : workloads()) {
        std::array<std::vector<double>, 3> times;
        std::vector<double> ratios;
        const std::array<Engine*, 3> engines{&floor, engine.get(), file.get()};
        for (int round = -1; round < rounds; ++round) { // the first one warms up
            std::array<double, 3> time{};
            for (std::size_t turn = 0; turn < engines.size(); ++turn) {
                const std::size_t at = (turn + std::size_t(round + 1)) % engines.size();
                time[at] = microseconds(workload, *engines[at], next);
                next += workload.operations;
            }
            if (round < 0)
                continue;
            for (std::size_t at = 0; at < engines.size(); ++at)
                times[at].push_back(time[at]);
            ratios.push_back(time[1] / time[0]);
        }
        const double ratio = median(ratios);
        reached = reached && ratio <= workload.goal;
        std::printf(
            "| %s | %.1f | %.1f | %.2f | %.2f | %.1f |\n", workload.name, median(times[0]),
            median(times[1]), ratio, workload.goal, median(times[2]));
        std::fflush(stdout);
    }
    return reached;
}

} // namespace velmio::benchmarks
