#include <velmioctl/upkeep/Commands.h>

#include <database/DatabaseBackups.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;
using sync::database::DatabaseBackups;

namespace velmioctl {

namespace {

void init(Session& session)
{
    const QFileInfo file(session.databasePath());
    const bool existed = file.exists() && file.size() > 0;
    // An empty file is the only trace of a database that was lost, unless no backup says so.
    if (file.isFile() && !existed) {
        if (!DatabaseBackups(file.filePath()).list().isEmpty())
            session.filledDatabasePath();
        QFile::remove(file.filePath());
    }
    const QString path = session.createDatabase().path();
    if (session.output.json()) {
        session.output.print(QJsonObject{{u"path"_s, path}, {u"created"_s, !existed}});
        return;
    }
    session.output.printText(
        existed ? u"The database %1 exists already and can be used."_s.arg(quoted(path))
                : u"Created the database %1."_s.arg(quoted(path)));
}

} // namespace

void addInitCommand(Command& app, Session& session)
{
    app.addSubcommand("init", "Create the database, and its folders if they are missing")
        ->example("velmioctl init --database test.db")
        ->callback([&session] { init(session); });
}

} // namespace velmioctl
