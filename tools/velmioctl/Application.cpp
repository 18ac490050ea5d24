#include "Application.h"

#include "FileCommands.h"
#include "FolderCommands.h"
#include "InitCommand.h"
#include "ScanCommand.h"
#include "ServerCommands.h"
#include "Session.h"
#include "StatsCommand.h"
#include "StatusCommand.h"
#include "Text.h"

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
    addFolderCommands(app, session);
    addFileCommands(app, session);
    addScanCommand(app, session);
    addStatusCommand(app, session);
    addStatsCommand(app, session);
    app.footer("Exit codes: 0 done, 1 findings, 2 wrong usage, 3 not found, 4 database busy,\n"
               "5 damaged, 6 too new, 7 key unavailable, 8 other error, 130 interrupted.");
}

// What went wrong on the command line. A word that nothing takes comes first: without it the parser
// would only tell what is missing.
QString messageOf(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> words = app.remaining(true);
    if (words.empty())
        return QString::fromUtf8(error.what());
    const QString kind = words.front().starts_with('-') ? u"option"_s : u"command"_s;
    return u"There is no %1 %2 here."_s.arg(kind, quoted(QString::fromStdString(words.front())));
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
