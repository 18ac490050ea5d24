#include "AdoptCommand.h"

#include "Session.h"
#include "Text.h"
#include "WatchedDatabase.h"

#include <database/SqliteDatabaseFactory.h>

#include <CLI/CLI.hpp>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

void adopt(Session& session, bool yes)
{
    WatchedDatabase& database = session.database();
    const bool moved = database.engine().isMoved();
    if (moved) {
        session.confirm(
            yes, u"Make the database %1 this machine's and your account's own?"_s.arg(
                     quoted(database.path())));
        database.check(database.engine().adopt(), u"Adopting the database"_s);
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

void addAdoptCommand(CLI::App& app, Session& session)
{
    auto* const command = app.add_subcommand(
        "adopt", "Make a database that was copied or moved here your own, so that it can be used");
    const auto yes = std::make_shared<bool>(false);
    command->add_flag("--yes", *yes, "Adopt without asking");
    command->callback([&session, yes] { adopt(session, *yes); });
}

} // namespace velmioctl
