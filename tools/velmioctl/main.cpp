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

// Qt warns of a locale in another encoding and goes over to this one; here it is done before, so
// that no command prints that warning.
void chooseUtf8Locale()
{
    qputenv("LC_ALL", "C.UTF-8");
}

} // namespace

int main(int argc, char** argv)
{
    // A parent may have had it ignored; "velmioctl ... | head" is to end without a word.
    std::signal(SIGPIPE, SIG_DFL);

    // Nobody asks for them here, and to keep them is an eighth of a lookup's instructions.
    sync::database::SqliteDatabaseFactory::disableMemoryStatistics();

    const bool utf8 = velmioctl::environmentUsesUtf8();
    if (!utf8)
        chooseUtf8Locale();
    // What the engine logs is what the commands tell as their own errors and warnings.
    QLoggingCategory::setFilterRules(QStringLiteral("velmio.database=false"));
    // Without names of its own: the default place of the database is the library's to choose.
    const QCoreApplication application(argc, argv);

    const velmioctl::Output output(
        stdout, stderr, velmioctl::terminalOf(STDOUT_FILENO, utf8),
        velmioctl::terminalOf(STDERR_FILENO, utf8));
    velmioctl::Session session(output);
    return static_cast<int>(velmioctl::runApplication(argc, argv, session));
}
