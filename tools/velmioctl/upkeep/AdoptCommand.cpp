#include <velmioctl/upkeep/Commands.h>

#include <database/SqliteDatabaseFactory.h>
#include <tree/RootPlace.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

void adopt(Session& session, bool yes)
{
    WatchedDatabase& database = session.writableDatabase();
    const bool moved = database.engine().isMoved();
    if (moved) {
        session.confirm(
            yes, u"Adopt the database %1 for this machine and your account?"_s.arg(
                     quoted(database.path())));
        try {
            // First: with a place of another machine, a scan could refuse a root folder.
            sync::tree::RootPlace::forgetAll(session.treeStore());
            database.engine().adopt();
        } catch (const sync::database::DatabaseError& error) {
            throw commandError(error);
        }
    }
    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"storeId"_s, database.engine().storeId()},
            {u"adopted"_s, moved},
        });
        return;
    }
    session.output.printText(
        moved ? u"The database %1 is yours now."_s.arg(quoted(database.path()))
              : u"The database %1 is yours already."_s.arg(quoted(database.path())));
}

} // namespace

void addAdoptCommand(Command& app, Session& session)
{
    auto* const command = app.addSubcommand(
        "adopt", "Make a database that was copied or moved here your own, so that it can be used");
    const auto yes = std::make_shared<bool>(false);
    command->addFlag("--yes", *yes, "Adopt without asking");
    command->example("velmioctl adopt --yes");
    command->callback([&session, yes] { adopt(session, *yes); });
}

} // namespace velmioctl
