#include <velmioctl/bundle/BundleCommand.h>

#include <velmioctl/bundle/BundleContent.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/exchange/TargetFile.h>
#include <velmioctl/store/Session.h>

#include <QDateTime>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace velmioctl::bundle {

namespace {

struct BundleOptions
{
    std::optional<std::string> file;
    bool keepPaths = false;
    bool dryRun = false;
};

// Of the folder in the archive as well.
QString nameFor(const QDateTime& time)
{
    return u"velmio-bundle-"_s + time.toString(u"yyyyMMdd'T'HHmmss'Z'"_s);
}

void show(Output& output, const std::vector<Entry>& entries, const BundleOptions& options)
{
    if (output.json())
        return;
    Table table({u"BYTES"_s, u"FILE"_s, u"HOLDS"_s});
    table.alignRight(0);
    for (const Entry& entry : entries) {
        table.addRow(
            {QString::number(entry.content.size()), QString::fromLatin1(entry.name),
             QString::fromLatin1(entry.holds)});
    }
    output.print(table);
    output.printText(
        options.keepPaths ? u"Names and paths are not replaced. Secrets are left out."_s
                          : u"Names and paths are replaced by tokens. Secrets are left out."_s);
}

void answer(Output& output, const std::vector<Entry>& entries, const QString& path, bool written)
{
    if (!output.json()) {
        if (written)
            output.printText(u"Wrote the bundle %1."_s.arg(quoted(path)));
        return;
    }
    QJsonArray files;
    for (const Entry& entry : entries) {
        files.append(QJsonObject{
            {u"name"_s, QString::fromLatin1(entry.name)}, {u"bytes"_s, entry.content.size()}});
    }
    output.print(QJsonObject{{u"path"_s, path}, {u"written"_s, written}, {u"files"_s, files}});
}

void run(Session& session, const BundleOptions& options)
{
    const QString database = session.existingDatabasePath();
    const QString name = nameFor(QDateTime::currentDateTimeUtc());
    const QString path =
        absolutePath(options.file ? *options.file : (name + u".tar.gz"_s).toStdString());
    if (QFileInfo::exists(path)) {
        throw CommandError(
            ExitCode::Usage, u"%1 already exists. Give a new file."_s.arg(quoted(path)));
    }
    // The work takes long: a place that cannot be written to is found before it.
    if (!options.dryRun)
        exchange::TargetFile{path};
    const auto entries = collect(database, Redactor(options.keepPaths), options.keepPaths);
    show(session.output, entries, options);
    if (!options.dryRun) {
        exchange::TargetFile target(path);
        target.write(toTarGz(name.toLatin1(), entries));
        target.commit();
    }
    answer(session.output, entries, path, !options.dryRun);
}

} // namespace

} // namespace velmioctl::bundle

namespace velmioctl {

void addBundleCommand(Command& app, Session& session)
{
    Command* const command = app.addSubcommand(
        "bundle", "Collect information for support, without secrets, names or paths");
    const auto options = std::make_shared<bundle::BundleOptions>();
    command
        ->addOption(
            "FILE", options->file, "A new .tar.gz file; the default is one in the current folder")
        ->offersFiles();
    command->addFlag("--keep-paths", options->keepPaths, "Keep names and paths as they are");
    command->addFlag("--dry-run", options->dryRun, "Show its content, and write nothing");
    command->example("velmioctl bundle --dry-run");
    command->example("velmioctl bundle report.tar.gz");
    command->callback([&session, options] { bundle::run(session, *options); });
}

} // namespace velmioctl
