#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/fleet/Commands.h>
#include <velmioctl/fleet/Fleet.h>
#include <velmioctl/store/Session.h>

#include <memory>

namespace velmioctl {

namespace {

using fleet::FleetOptions;

/// A command with the option that all of them have.
class FleetCommand
{
public:
    FleetCommand(
        Command& fleet, Session& session, void (*run)(Session& session, const FleetOptions&),
        const char* name, const char* text)
        : command(fleet.addSubcommand(name, text))
        , options(std::make_shared<FleetOptions>())
    {
        command
            ->addOption(
                "--to", options->to,
                "The fleet, as postgresql://HOST/NAME; the default is $VELMIO_FLEET. A password "
                "belongs into ~/.pgpass")
            ->typeName("CONNECTION");
        command->callback([&session, run, given = options] { run(session, *given); });
    }

    void addStore()
    {
        command->addOption("STORE", options->store, "The id of the store")->required();
    }

    Command* const command;
    const std::shared_ptr<FleetOptions> options;
};

void addPush(Command& fleet, Session& session)
{
    const FleetCommand push(
        fleet, session, fleet::push, "push",
        "Send what has changed in this database to the fleet, without secrets");
    push.command
        ->addOption(
            "--name", push.options->name,
            "What reports call the store; the default is this machine")
        ->typeName("NAME");
    push.command->addFlag("--redact", push.options->redact, "Send tokens for names and paths");
    push.command->example("velmioctl fleet push --to postgresql://db.example/fleet");
    push.command->example("velmioctl fleet push --redact");
}

void addReport(Command& fleet, Session& session)
{
    const FleetCommand report(
        fleet, session, fleet::report, "report",
        "Show which stores need attention, and what the fleet consists of");
    report.command
        ->addOption(
            "--stale-days", report.options->staleDays,
            "After how many days without a push a store is stale; the default is 7")
        ->typeName("NUMBER")
        ->notNegative();
    report.command
        ->addOption(
            "--limit", report.options->limit,
            "How many stores of each kind to show; the default is 10")
        ->typeName("NUMBER")
        ->notNegative();
    report.command->addFlag(
        "--prometheus", report.options->prometheus, "Answer as metrics in Prometheus' text format");
    report.command->example("velmioctl fleet report --stale-days 3");
    report.command->example("velmioctl fleet report --prometheus");
}

} // namespace

void addFleetCommands(Command& app, Session& session)
{
    Command* const fleet =
        app.addSubcommand("fleet", "Copies of many stores in one PostgreSQL database");
    fleet->requireSubcommand();

    const FleetCommand init(
        *fleet, session, fleet::init, "init",
        "Set up a fleet in a PostgreSQL database, or update it");
    init.command->addFlag(
        "--distributed", init.options->distributed, "Spread the stores over the nodes of Citus");
    init.command->example("velmioctl fleet init --to postgresql://db.example/fleet");

    addPush(*fleet, session);

    const FleetCommand list(*fleet, session, fleet::list, "list", "List the stores of the fleet");
    list.command->example("velmioctl fleet list --json");

    addReport(*fleet, session);

    FleetCommand show(*fleet, session, fleet::show, "show", "Show what is known of a store");
    show.addStore();
    show.command->example("velmioctl fleet show 0c38e1d6f0d7e2f5a9b1c4d8e3f7a6b2");

    FleetCommand forget(
        *fleet, session, fleet::forget, "forget", "Remove the copy of a store from the fleet");
    forget.addStore();
    forget.command->addFlag("--yes", forget.options->yes, "Do not ask");
    forget.command->example("velmioctl fleet forget 0c38e1d6f0d7e2f5a9b1c4d8e3f7a6b2 --yes");
}

} // namespace velmioctl
