#include <velmioctl/Application.h>

#include <core/KeyError.h>
#include <database/DatabaseBackups.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/bundle/BundleCommand.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/HelpText.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/cli/generate/GenerateCommand.h>
#include <velmioctl/doctor/DoctorCommand.h>
#include <velmioctl/exchange/Commands.h>
#include <velmioctl/fleet/Commands.h>
#include <velmioctl/records/Commands.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/Commands.h>
#include <velmioctl/upkeep/Commands.h>

#include <QStringDecoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// Of docs/velmioctl.schema.json. Increased when a key changes its meaning or is removed.
constexpr int JsonSchemaVersion = 1;

void requireUtf8(int argc, const char* const* argv)
{
    for (int at = 1; at < argc; ++at) {
        QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString text = decode(QByteArrayView(argv[at]));
        if (decode.hasError()) {
            throw CommandError(
                ExitCode::Usage,
                u"The argument \"%1\" is not valid UTF-8. Names in other encodings cannot be "
                u"stored."_s.arg(escapeBytes(argv[at])));
        }
    }
}

const Command& subcommandOf(const Command& command, const QString& word)
{
    for (const auto& subcommand : command.subcommands()) {
        if (subcommand->description().name == word)
            return *subcommand;
    }
    throw CommandError(
        ExitCode::Usage, u"%1 has no command %2. See '%1 --help'."_s.arg(
                             command.description().fullName, quoted(word)));
}

void printVersion(Output& output)
{
    const QString version = QStringLiteral(VELMIO_VERSION);
    if (output.json())
        output.print(QJsonObject{{u"version"_s, version}, {u"jsonSchema"_s, JsonSchemaVersion}});
    else
        output.printText(u"velmioctl "_s + version);
}

void run(CommandLine& line, int argc, const char* const* argv, Output& output)
{
    const CommandLine::Request request = line.parse(argc, argv);
    if (request.help)
        output.printLines(helpOf(*request.help, line.program(), output.answerTerminal().columns));
    if (request.version)
        printVersion(output);
}

ExitCode failed(Session& session, const CommandError& error)
{
    session.output.error(error);
    return error.code();
}

ExitCode runCommand(int argc, const char* const* argv, Session& session)
{
    CommandLine line(
        "velmioctl", "Inspects and maintains the configuration database of the Sync Client.");
    addCommands(line.program(), session);
    session.output.setJson(asksForJson(argc, argv));
    try {
        requireUtf8(argc, argv);
        run(line, argc, argv, session.output);
        return session.exitCode;
    } catch (const CommandError& error) {
        return failed(session, error);
    } catch (const sync::core::crypto::KeyError& error) {
        return failed(session, {ExitCode::KeyUnavailable, error.text()});
    } catch (const std::exception& error) {
        return failed(
            session, {ExitCode::OtherError,
                      QString::fromUtf8(error.what()) +
                          u". This is a defect of velmioctl. Run the command again, and report it "
                          u"if it repeats."_s,
                      u"defect"_s});
    }
}

void addHelpCommand(Command& program, Output& output)
{
    auto* const help = program.addSubcommand("help", "Show the help of a command");
    const auto words = std::make_shared<std::vector<std::string>>();
    std::vector<std::string> names;
    for (const auto& command : program.subcommands())
        names.push_back(command->description().name.toStdString());
    help->addOption("COMMAND", *words, "The words of the command")->offersWords(names);
    help->example("velmioctl help server add");
    help->callback([&program, &output, words] {
        const Command* command = &program;
        for (const std::string& word : *words)
            command = &subcommandOf(*command, QString::fromStdString(word));
        const QString text = helpOf(*command, program, output.answerTerminal().columns);
        if (output.json())
            output.print(QJsonObject{{u"help"_s, text}});
        else
            output.printLines(text);
    });
}

// What the completions of the shells ask for: one entry on each line.
void addCompleteCommand(Command& program, Session& session)
{
    auto* const complete =
        program.addHiddenSubcommand("complete", "List the ids of a table, or the backups");
    const auto what = std::make_shared<std::string>();
    complete->addOption("WHAT", *what, "A table, or backups")->required();
    complete->callback([&session, what] {
        if (*what == "backups") {
            session.output.printText(u"latest"_s);
            const sync::database::DatabaseBackups backups(session.databasePath());
            for (const auto& backup : backups.list())
                session.output.printText(backup.path);
        } else if (const TableShape* const table = findTable(QByteArray::fromStdString(*what))) {
            const auto rows = session.database().select(
                u"SELECT id FROM %1 ORDER BY id"_s.arg(QString::fromLatin1(table->name)));
            while (rows->next())
                session.output.printText(rows->value(0).toString());
        }
    });
}

} // namespace

void addCommands(Command& program, Session& session)
{
    program.requireSubcommand();
    program
        .addOption(
            "--database", session.databaseOption,
            "The database file; the default is $VELMIO_DATABASE, or the one of your account. Or a "
            "fleet, as postgresql://HOST/NAME")
        ->typeName("FILE")
        ->offersFiles();
    program.addOption("--store", session.storeOption, "The id of a store of the fleet")
        ->typeName("ID");
    program.addFlagCallback(
        "--json", [&session] { session.output.setJson(true); }, "Answer as JSON, for programs");
    program.addFlagCallback(
        "-q,--quiet", [&session] { session.output.setQuiet(true); },
        "Print no remarks and no progress; errors and warnings stay");
    program.addFlagCallback(
        "-v,--verbose", [&session] { session.output.setVerbose(true); },
        "Also print details, such as each file that a scan stores");
    program.addFlag("--read-only", session.readOnly, "Refuse all commands that change something");
    program.addFlagCallback(
        "--wide", [&session] { session.output.setWide(); },
        "Do not shorten tables to the width of the terminal");
    // After --json, which must be known by then.
    program.addVersionFlag("--version", "Print the version");
    addInitCommand(program, session);
    addServerCommands(program, session);
    addSignInCommands(program, session);
    addProductCommands(program, session);
    addFolderCommands(program, session);
    addFileCommands(program, session);
    addScanCommand(program, session);
    addScheduleCommands(program, session);
    addSecretsCommands(program, session);
    addStatusCommand(program, session);
    addStatsCommand(program, session);
    addQueryCommand(program, session);
    addWatchCommand(program, session);
    addDoctorCommand(program, session);
    addExplainCommand(program, session);
    addAdoptCommand(program, session);
    addBackupCommands(program, session);
    addRecoveryCommands(program, session);
    addExportCommand(program, session);
    addImportCommand(program, session);
    addDiffCommand(program, session);
    addBundleCommand(program, session);
    addFleetCommands(program, session);
    addHelpCommand(program, session.output);
    addCompleteCommand(program, session);
    addGenerateCommand(program, session.output);
    std::vector<std::pair<QString, QString>> exitCodes;
    for (const ExitCodeMeaning& meaning : exitCodeMeanings())
        exitCodes.emplace_back(QString::number(int(meaning.code)), meaning.text);
    program.list(u"Exit codes"_s, exitCodes);
}

bool asksForJson(int argc, const char* const* argv)
{
    return std::any_of(
        argv, argv + argc, [](const char* argument) { return qstrcmp(argument, "--json") == 0; });
}

ExitCode runApplication(int argc, const char* const* argv, Session& session)
{
    const ExitCode code = runCommand(argc, argv, session);
    const int failure = session.output.finish();
    if (failure == 0)
        return code;
    session.output.error(
        writingError(u"The answer could not be written to standard output"_s, failure));
    return code == ExitCode::Ok ? ExitCode::OtherError : code;
}

} // namespace velmioctl
