#include <base/system/Process.h>
#include <base/system/Terminal.h>
#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/Application.h>
#include <velmioctl/cli/HiddenPrompt.h>
#include <velmioctl/store/Session.h>

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstdio>
#include <string>
#include <vector>

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
    // A core file would contain the secrets that a command has read, and outlive it.
    sync::base::protectMemory();
    // For "velmioctl ... | head".
    sync::base::endWithReader();

    // Nothing here reads them, and keeping them costs an eighth of a lookup's instructions.
    sync::database::SqliteDatabaseFactory::disableMemoryStatistics();

    const bool utf8 = sync::base::usesUtf8();
    if (!utf8)
        chooseUtf8Locale();
    // The commands report what the engine logs as their own errors and warnings.
    QLoggingCategory::setFilterRules(QStringLiteral("velmio.database=false"));
    // Without an application name: the library chooses the default path of the database.
    const QCoreApplication application(argc, argv);

    const velmioctl::Output output(
        stdout, stderr, velmioctl::terminalOf(stdout, utf8), velmioctl::terminalOf(stderr, utf8));
    velmioctl::Session session(output);
    const std::vector<std::string> texts = sync::base::arguments(argc, argv);
    std::vector<const char*> arguments;
    arguments.reserve(texts.size());
    for (const std::string& text : texts)
        arguments.push_back(text.c_str());
    try {
        return static_cast<int>(
            velmioctl::runApplication(int(arguments.size()), arguments.data(), session));
    } catch (const velmioctl::EndedBySignal& ended) {
        sync::base::endBySignal(ended.signal);
        return 128 + ended.signal;
    }
}
