#include "VelmioctlRunner.h"

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QStandardPaths>

#ifdef Q_OS_UNIX
    #include <support/AsNobody.h>
#endif

using namespace Qt::StringLiterals;

namespace {

constexpr int LongestRunMs = 60'000;

} // namespace

QJsonObject VelmioctlRun::object() const
{
    return QJsonDocument::fromJson(output.toUtf8()).object();
}

QJsonArray VelmioctlRun::array() const
{
    return QJsonDocument::fromJson(output.toUtf8()).array();
}

VelmioctlRunner::VelmioctlRunner()
    : environment(QProcessEnvironment::systemEnvironment())
    , program(QStringLiteral(VELMIOCTL))
{
    for (const QString& name :
         {u"HOME"_s, u"XDG_CONFIG_HOME"_s, u"XDG_DATA_HOME"_s, u"XDG_CACHE_HOME"_s})
        environment.insert(name, homePath());
    environment.insert(u"XDG_STATE_HOME"_s, homePath() + u"/state"_s);
    // Its settings would be read besides those in the home folder.
    environment.insert(u"XDG_CONFIG_DIRS"_s, homePath());
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
}

VelmioctlRun VelmioctlRunner::run(const QStringList& arguments) const
{
    return runPlain(QStringList{u"--database"_s, databasePath()} + arguments);
}

VelmioctlRun VelmioctlRunner::json(const QStringList& arguments) const
{
    return run(QStringList{u"--json"_s} + arguments);
}

VelmioctlRun VelmioctlRunner::feed(const QStringList& arguments, const QByteArray& input) const
{
    return runPlain(QStringList{u"--database"_s, databasePath()} + arguments, input);
}

VelmioctlRun VelmioctlRunner::feedJson(const QStringList& arguments, const QByteArray& input) const
{
    return feed(QStringList{u"--json"_s} + arguments, input);
}

bool VelmioctlRunner::execute(const QString& sql) const
{
    return execute(sql, databasePath());
}

bool VelmioctlRunner::execute(const QString& sql, const QString& database)
{
    const auto factory = sync::database::SqliteDatabaseFactory::open(database);
    const auto query = factory->CreateQuery();
    return query->prepare(sql) && query->exec();
}

VelmioctlRun VelmioctlRunner::runPlain(const QStringList& arguments, const QByteArray& input) const
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(directory.path());
#ifdef Q_OS_UNIX
    if (asNobody)
        process.setChildProcessModifier(sync::test::becomeNobody);
#endif
    process.start(programPath(), arguments);
    process.write(input);
    process.closeWriteChannel();
    VelmioctlRun result;
    if (process.waitForFinished(LongestRunMs) && process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    result.output = QString::fromUtf8(process.readAllStandardOutput());
    result.errors = QString::fromUtf8(process.readAllStandardError());
    return result;
}

QString VelmioctlRunner::keyPath() const
{
#ifdef Q_OS_WIN
    const QString state =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/State"_s;
#else
    const QString state = homePath() + u"/state"_s;
#endif
    return state + u"/velmio/password.key"_s;
}

QByteArray VelmioctlRunner::databaseBytes() const
{
    QByteArray bytes;
    for (const QString& suffix : {u""_s, u"-wal"_s}) {
        QFile file(databasePath() + suffix);
        if (file.open(QIODevice::ReadOnly))
            bytes += file.readAll();
    }
    return bytes;
}

QString VelmioctlRunner::makeFolder(const QString& name) const
{
    QDir(directory.path()).mkpath(name);
    return path(name);
}

void VelmioctlRunner::writeFile(const QString& name, const QByteArray& content) const
{
    QFile file(path(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
}
