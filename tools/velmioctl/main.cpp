#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/Application.h>
#include <velmioctl/store/Session.h>

#include <QCoreApplication>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

// Qt warns about a locale in another encoding and switches to this one. Doing it first keeps that
// warning out of every command.
void chooseUtf8Locale()
{
    qputenv("LC_ALL", "C.UTF-8");
}

} // namespace

int main(int argc, char** argv)
{
    // A parent may have set it to be ignored; "velmioctl ... | head" must end silently.
    std::signal(SIGPIPE, SIG_DFL);

    // Nothing here reads them, and keeping them costs an eighth of a lookup's instructions.
    sync::database::SqliteDatabaseFactory::disableMemoryStatistics();

    const bool utf8 = velmioctl::environmentUsesUtf8();
    if (!utf8)
        chooseUtf8Locale();
    // The commands report what the engine logs as their own errors and warnings.
    QLoggingCategory::setFilterRules(QStringLiteral("velmio.database=false"));
    // Without an application name: the library chooses the default path of the database.
    const QCoreApplication application(argc, argv);

    const velmioctl::Output output(
        stdout, stderr, velmioctl::terminalOf(STDOUT_FILENO, utf8),
        velmioctl::terminalOf(STDERR_FILENO, utf8));
    velmioctl::Session session(output);
    return static_cast<int>(velmioctl::runApplication(argc, argv, session));
}
