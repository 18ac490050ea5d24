#include "FuzzInput.h"

#include <velmioctl/Application.h>
#include <velmioctl/store/Session.h>

#include <QByteArrayList>
#include <QLoggingCategory>
#include <QMap>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace velmioctl;
using namespace sync::test;

namespace {

std::FILE* nowhere = nullptr;

bool run(const char* database, QByteArrayList arguments)
{
    arguments.prepend("velmioctl");
    std::vector<const char*> words;
    for (const QByteArray& argument : std::as_const(arguments))
        words.push_back(argument.constData());
    Session session(Output(nowhere, nowhere, {}, {}));
    session.databaseOption = database;
    return runApplication(static_cast<int>(words.size()), words.data(), session) == ExitCode::Ok;
}

QByteArray exported(const char* database)
{
    fuzzRequire(run(database, {"export", "text"}));
    return fuzzRead(u"text"_s);
}

// A word that the command line accepts as a value.
QByteArray word(FuzzedDataProvider& input)
{
    const auto bytes = QByteArray::fromStdString(input.ConsumeRandomLengthString(64));
    return 'w' + QString::fromUtf8(bytes).remove(QChar(0)).toUtf8();
}

/// A store, and what its backups must bring back.
class Exchange
{
public:
    explicit Exchange(FuzzedDataProvider& input)
        : input(input)
    {
        run("a.db", {"init"});
    }

    void step()
    {
        switch (input.ConsumeIntegralInRange(0, 6)) {
        case 0:
            run("a.db", {"server", "add", "--alias", word(input), "--dav-url", "https://d.example",
                         "--web-service-url", "https://w.example"});
            break;
        case 1:
            run("a.db", {"schedule", "add", "--start", word(input), "--interval", "5"});
            break;
        case 2:
            run("a.db", {"server", "remove", id(), "--yes"});
            break;
        case 3:
            backUp();
            break;
        case 4:
            restore();
            break;
        case 5:
            copy();
            break;
        default:
            importChanged();
            break;
        }
    }

private:
    QByteArray id() { return QByteArray::number(input.ConsumeIntegralInRange(0, 4)); }

    void backUp()
    {
        const QByteArray file = "backup" + id();
        if (run("a.db", {"backup", file}))
            backups.insert(file, exported("a.db"));
    }

    void restore()
    {
        const QByteArray file = "backup" + id();
        const bool restored = run("a.db", {"restore", file, "--yes"});
        fuzzRequire(restored == backups.contains(file));
        fuzzRequire(!restored || exported("a.db") == backups.value(file));
    }

    // A new store becomes the same by an import, unless something of it is masked.
    void copy()
    {
        const QByteArray before = exported("a.db");
        if (before.contains("{\"masked\": "))
            return;
        for (const char* const file : {"b.db", "b.db-wal", "b.db-shm"})
            QFile::remove(QString::fromLatin1(file));
        fuzzRequire(run("b.db", {"init"}) && run("b.db", {"import", "text", "--yes"}));
        fuzzRequire(exported("b.db") == before);
    }

    // All of an edited export is imported, or nothing.
    void importChanged()
    {
        const QByteArray before = exported("a.db");
        QByteArray text = before;
        const auto at = input.ConsumeIntegralInRange<qsizetype>(0, text.size());
        text.replace(at, input.ConsumeIntegralInRange(0, 4), word(input));
        fuzzWrite(u"edited"_s, text);
        const bool imported = run("a.db", {"import", "edited", "--replace", "--yes"});
        fuzzRequire(imported || exported("a.db") == before);
    }

    FuzzedDataProvider& input;
    QMap<QByteArray, QByteArray> backups; // name -> what an export of it is
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    nowhere = std::fopen("/dev/null", "r+");
    const QByteArray folder = fuzzFolder().toLocal8Bit();
    for (const char* const variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "HOME"})
        qputenv(variable, folder);
    fuzzRequire(nowhere && ::dup2(::fileno(nowhere), STDIN_FILENO) == STDIN_FILENO);
    return 0;
}

/// Changes, backs up, restores, exports and imports stores in any order: what was stored is there.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    fuzzRemoveFiles();
    fuzzRequire(::chdir(fuzzFolder().toLocal8Bit().constData()) == 0);
    FuzzedDataProvider input(bytes, size);
    Exchange exchange(input);
    constexpr int MostSteps = 8;
    for (int step = 0; step < MostSteps && input.remaining_bytes() > 0; ++step)
        exchange.step();
    return 0;
}
