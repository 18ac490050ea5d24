#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/Application.h>
#include <velmioctl/cli/HiddenPrompt.h>
#include <velmioctl/store/Session.h>

#include <QCoreApplication>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#ifdef Q_OS_LINUX
    #include <sys/prctl.h>
#endif
#include <unistd.h>

namespace {

// Qt warns about a locale in another encoding and switches to this one. Doing it first keeps that
// warning out of every command.
void chooseUtf8Locale()
{
    qputenv("LC_ALL", "C.UTF-8");
}

// A core file would contain the secrets that a command has read, and outlive it.
void keepMemoryOutOfFiles()
{
    const rlimit none{.rlim_cur = 0, .rlim_max = 0};
    ::setrlimit(RLIMIT_CORE, &none);
#ifdef Q_OS_LINUX
    // A program that takes cores from the kernel ignores the limit.
    ::prctl(PR_SET_DUMPABLE, 0);
#endif
}

} // namespace

int main(int argc, char** argv)
{
    keepMemoryOutOfFiles();
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
    try {
        return static_cast<int>(velmioctl::runApplication(argc, argv, session));
    } catch (const velmioctl::EndedBySignal& ended) {
        std::raise(ended.signal);
        return 128 + ended.signal; // where the parent has it ignored
    }
}
