#include <velmioctl/upkeep/Commands.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

void init(Session& session)
{
    const bool existed = QFileInfo::exists(session.databasePath());
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
