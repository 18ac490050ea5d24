#include <base/FileError.h>
#include <base/system/Process.h>
#include <base/system/Terminal.h>
#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/Application.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/HiddenPrompt.h>
#include <velmioctl/fleet/OtherProgram.h>
#include <velmioctl/store/Session.h>

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// Qt warns about a locale in another encoding and switches to this one. Doing it first keeps that
// warning out of every command.
class Utf8Locale
{
public:
    Utf8Locale() { qputenv(Name, "C.UTF-8"); }
    ~Utf8Locale() { before.isNull() ? qunsetenv(Name) : qputenv(Name, before); }
    Q_DISABLE_COPY_MOVE(Utf8Locale)

private:
    static constexpr auto Name = "LC_ALL";
    const QByteArray before = qgetenv(Name);
};

velmioctl::Output standardOutput(bool utf8)
{
    return velmioctl::Output(
        stdout, stderr, velmioctl::terminalOf(stdout, utf8), velmioctl::terminalOf(stderr, utf8));
}

int run(const std::vector<std::string>& texts, bool utf8)
{
    velmioctl::Session session(standardOutput(utf8));
    std::vector<const char*> arguments;
    arguments.reserve(texts.size());
    for (const std::string& text : texts)
        arguments.push_back(text.c_str());
    return static_cast<int>(
        velmioctl::runApplication(int(arguments.size()), arguments.data(), session));
}

// Returns only if that fails.
int runOtherProgram(int argc, char** argv, bool utf8)
{
    const QString program = QCoreApplication::applicationDirPath() + u"/velmioctl-fleet"_s;
    const int code = sync::base::becomeProgram(program, argv);
    velmioctl::Output output = standardOutput(utf8);
    output.setJson(velmioctl::asksForJson(argc, argv));
    output.error(velmioctl::CommandError(
        velmioctl::ExitCode::Usage,
        u"This is about a fleet, and velmioctl-fleet, which knows fleets, cannot be run: %1. "
        u"Install it beside velmioctl."_s.arg(sync::base::systemErrorText(code))));
    return static_cast<int>(velmioctl::ExitCode::Usage);
}

} // namespace

int main(int argc, char** argv)
{
    // A core file would contain the secrets that a command has read, and outlive it.
    sync::base::protectMemory();
    // For "velmioctl ... | head".
    sync::base::endWithReader();

    // Nothing here reads them, and keeping them costs an eighth of a lookup's instructions.
    sync::database::SqliteDatabaseFactory::disableMemoryStatistics();

    const bool utf8 = sync::base::usesUtf8();
    std::optional<Utf8Locale> locale;
    if (!utf8)
        locale.emplace();
    // The commands report what the engine logs as their own errors and warnings.
    QLoggingCategory::setFilterRules(QStringLiteral("velmio.database=false"));
    // Without an application name: the library chooses the default path of the database.
    const QCoreApplication application(argc, argv);
    try {
        return run(sync::base::arguments(argc, argv), utf8);
    } catch (const velmioctl::EndedBySignal& ended) {
        sync::base::endBySignal(ended.signal);
        return 128 + ended.signal;
    } catch (const velmioctl::fleet::NeedsOtherProgram&) {
        locale.reset();
        return runOtherProgram(argc, argv, utf8);
    }
}
