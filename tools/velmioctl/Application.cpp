#include "Application.h"

#include "AdoptCommand.h"
#include "BackupCommands.h"
#include "ExplainCommand.h"
#include "FileCommands.h"
#include "FolderCommands.h"
#include "InitCommand.h"
#include "ProductCommands.h"
#include "ScanCommand.h"
#include "ScheduleCommands.h"
#include "SecretsCommands.h"
#include "ServerCommands.h"
#include "Session.h"
#include "SignInCommands.h"
#include "StatsCommand.h"
#include "StatusCommand.h"
#include "Text.h"
#include "doctor/DoctorCommand.h"

#include <core/KeyError.h>

#include <CLI/CLI.hpp>

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

void requireUtf8(int argc, const char* const* argv)
{
    for (int at = 1; at < argc; ++at) {
        QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString text = decode(QByteArrayView(argv[at]));
        if (decode.hasError()) {
            throw CommandError(
                ExitCode::Usage,
                u"The argument \"%1\" is no valid UTF-8: names of other encodings cannot be "
                u"stored."_s.arg(escapeBytes(argv[at])));
        }
    }
}

void setUp(CLI::App& app, Session& session)
{
    // Options of the program itself may stand behind the command as well.
    app.fallthrough();
    app.require_subcommand(1);
    app.set_version_flag("--version", "velmioctl " VELMIO_VERSION, "Print the version");
    app.add_option("--database", session.databaseOption, "The database file")->type_name("FILE");
    app.add_flag_callback(
        "--json", [&session] { session.output.setJson(true); }, "Answer as JSON, for programs");
    addInitCommand(app, session);
    addServerCommands(app, session);
    addSignInCommands(app, session);
    addProductCommands(app, session);
    addFolderCommands(app, session);
    addFileCommands(app, session);
    addScanCommand(app, session);
    addScheduleCommands(app, session);
    addSecretsCommands(app, session);
    addStatusCommand(app, session);
    addStatsCommand(app, session);
    addDoctorCommand(app, session);
    addExplainCommand(app, session);
    addAdoptCommand(app, session);
    addBackupCommands(app, session);
    app.footer("Exit codes: 0 done, 1 findings, 2 wrong usage, 3 not found, 4 database busy,\n"
               "5 damaged, 6 too new, 7 key unavailable, 8 other error, 130 interrupted.");
}

// Whether the command that was given can be told a secret, if not as an argument.
bool takesSecret(const CLI::App& app)
{
    for (const CLI::App* const noun : app.get_subcommands()) {
        for (const CLI::App* const command : noun->get_subcommands()) {
            for (const CLI::Option* const option : command->get_options()) {
                if (option->get_single_name().ends_with("-stdin"))
                    return true;
            }
        }
    }
    return false;
}

// What went wrong on the command line. A word that nothing takes comes first: without it the parser
// would only tell what is missing.
QString messageOf(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> words = app.remaining(true);
    if (words.empty()) {
        const QString text = QString::fromUtf8(error.what());
        // Behind it stands the word that reads wrong.
        return takesSecret(app) ? text.section(u" = "_s, 0, 0) + u'.' : text;
    }
    const bool isOption = words.front().starts_with('-');
    if (!isOption && takesSecret(app))
        return u"There is a word too many. Secrets are not taken as arguments."_s;
    // What stands behind an unknown option may be a secret that was meant for it.
    const QString word = QString::fromStdString(words.front()).section(u'=', 0, 0);
    return u"There is no %1 %2 here."_s.arg(isOption ? u"option"_s : u"command"_s, quoted(word));
}

ExitCode answerParseError(CLI::App& app, const CLI::ParseError& error, Output& output)
{
    // Help and version come as errors as well.
    if (error.get_exit_code() == int(CLI::ExitCodes::Success)) {
        std::ostringstream text;
        app.exit(error, text, text);
        output.printText(QString::fromStdString(text.str()).trimmed());
        return ExitCode::Ok;
    }
    output.error(
        messageOf(app, error) + u"\nSee 'velmioctl --help', or --help behind a command."_s);
    return ExitCode::Usage;
}

ExitCode runCommand(int argc, const char* const* argv, Session& session)
{
    CLI::App app(
        "Looks into and maintains the configuration database of the Sync Client.", "velmioctl");
    setUp(app, session);
    try {
        requireUtf8(argc, argv);
        app.parse(argc, argv);
        return session.exitCode;
    } catch (const CLI::ParseError& error) {
        return answerParseError(app, error, session.output);
    } catch (const CommandError& error) {
        session.output.error(error.text());
        return error.code();
    } catch (const sync::core::crypto::KeyError& error) {
        session.output.error(error.text());
        return ExitCode::KeyUnavailable;
    } catch (const std::exception& error) {
        session.output.error(
            QString::fromUtf8(error.what()) +
            u". This was not expected: run the command again, and report it should it stay."_s);
        return ExitCode::OtherError;
    }
}

} // namespace

ExitCode runApplication(int argc, const char* const* argv, Session& session)
{
    const ExitCode code = runCommand(argc, argv, session);
    if (session.output.finish())
        return code;
    session.output.error(
        u"The answer could not be written: check the disk that standard output leads to."_s);
    return code == ExitCode::Ok ? ExitCode::OtherError : code;
}

} // namespace velmioctl
