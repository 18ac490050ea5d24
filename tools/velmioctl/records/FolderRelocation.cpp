#include <velmioctl/records/FolderRelocation.h>

#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <tree/Relocation.h>
#include <tree/RootPlace.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Interruption.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/records/FolderPaths.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/RootFolders.h>

#include <QJsonObject>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::tree::PathMapping;
using sync::tree::Relocation;

namespace velmioctl {

namespace {

// A path of Windows would be a relative one here.
FolderConfiguration rootFrom(Session& session, const std::string& idOrPath)
{
    const QString path = QString::fromStdString(idOrPath);
    if (!sync::tree::isWindowsPath(path))
        return session.rootFolder(idOrPath);
    const PathMapping mapping(path, u"/"_s);
    const auto roots = session.folders().GetAllRootFolders();
    session.database().check();
    for (const FolderConfiguration& root : roots) {
        if (mapping.mapped(root.getClientPath()) == u"/"_s)
            return root;
    }
    throw notFound(u"Root folder "_s + quoted(path), u"folder list"_s, u"root folders"_s);
}

QJsonObject comparisonJson(const Relocation::Comparison& found)
{
    return {{u"folders"_s, found.folders},     {u"missingFolders"_s, found.missingFolders},
            {u"files"_s, found.files},         {u"missing"_s, found.missing},
            {u"otherSize"_s, found.otherSize}, {u"otherTime"_s, found.otherTime},
            {u"read"_s, found.read},           {u"otherContent"_s, found.otherContent}};
}

QJsonObject changesJson(const Relocation::Changes& changes)
{
    return {
        {u"folders"_s, changes.folders},
        {u"files"_s, changes.files},
        {u"generatedFiles"_s, changes.generatedFiles},
        {u"baseFiles"_s, changes.baseFiles},
        {u"links"_s, changes.links}};
}

QString textOf(const Relocation::Comparison& found)
{
    return u"At the new place are %1 of %2 and %3 of %4. Of another size: %5. Modified at another "
           u"time: %6. Read: %7, with other content: %8."_s.arg(
               QString::number(found.folders - found.missingFolders),
               counted(found.folders, u"folder"_s), QString::number(found.files - found.missing),
               counted(found.files, u"file"_s), QString::number(found.otherSize),
               QString::number(found.otherTime), QString::number(found.read),
               QString::number(found.otherContent));
}

QString textOf(const Relocation::Changes& changes)
{
    return u"Paths that change: %1, %2, %3 and %4. Records with links that change: %5."_s.arg(
        counted(changes.folders, u"folder"_s), counted(changes.files, u"file"_s),
        counted(changes.generatedFiles, u"generated file"_s),
        changes.baseFiles == 1 ? u"1 base copy"_s : u"%1 base copies"_s.arg(changes.baseFiles),
        QString::number(changes.links));
}

/// A relocation, from the comparison to the answer.
class FolderRelocation
{
public:
    FolderRelocation(Session& session, const RelocationOptions& options)
        : session(session)
        , options(options)
        , root(rootFrom(session, options.root))
        , newPath(absolutePath(options.newPath))
        , relocation(
              session.treeStore(), std::make_shared<sync::config::Sha256FileHash>(), root, newPath)
    {
    }

    void run()
    {
        requireNewPlace();
        if (!compare())
            return;
        changes = relocation.preview();
        show();
        if (!found.agrees() && !options.force) {
            throw CommandError(
                ExitCode::Findings,
                u"Nothing was changed, because %1 does not hold most of what is recorded of %2. "
                u"Give the directory that the root folder is in now, or add --force."_s.arg(
                    quoted(newPath), described(root)));
        }
        if (!options.dryRun)
            apply();
        answer();
    }

private:
    void requireNewPlace()
    {
        const bool isPaused = sync::tree::RootPlace(session.treeStore(), root).state() ==
                              sync::tree::RootState::Paused;
        if (newPath == root.getClientPath() && !isPaused) {
            throw CommandError(
                ExitCode::Usage, u"The root folder %1 has that path already. Give the directory "
                                 u"that it is in now."_s.arg(described(root)));
        }
        requireDirectory(newPath, u"Connect its drive, or give the right path."_s);
        refuseOverlap(session, newPath, root.getId());
    }

    // False if a signal ended it.
    bool compare()
    {
        const Interruption interruption;
        Progress progress(stderr, session.output.progressTerminal());
        const auto reading =
            options.verify == "all" ? Relocation::Reading::All : Relocation::Reading::Samples;
        const auto comparison = relocation.compare(reading, [&](long long compared) {
            if (progress.due())
                progress.show(u"%1 files"_s.arg(compared));
            return !interruption.requested();
        });
        session.exitCode = interruption.exitCode();
        found = comparison.value_or(Relocation::Comparison());
        return comparison.has_value();
    }

    void show()
    {
        if (!session.output.json())
            session.output.printText(textOf(found) + u'\n' + textOf(changes));
    }

    void apply()
    {
        session.confirm(
            options.yes, u"Make a backup, then change the paths of the root folder %1 to %2? No "
                         u"file on the disk is changed."_s.arg(described(root), quoted(newPath)));
        session.backUp(sync::database::DatabaseBackups::Reason::Fix);
        changes = relocation.apply();
        session.folders().ClearCaches();
        const FolderConfiguration moved = session.folder(std::to_string(root.getId()));
        sync::tree::RootPlace(session.treeStore(), moved).remember(true);
    }

    void answer()
    {
        if (session.output.json()) {
            session.output.print(QJsonObject{
                {u"id"_s, root.getId()},
                {u"from"_s, root.getClientPath()},
                {u"to"_s, newPath},
                {u"comparison"_s, comparisonJson(found)},
                {u"changes"_s, changesJson(changes)},
                {u"relocated"_s, !options.dryRun}});
        } else if (!options.dryRun) {
            session.output.printText(
                u"Relocated %1 to %2."_s.arg(described(root), quoted(newPath)));
        }
    }

    Session& session;
    const RelocationOptions& options;
    const FolderConfiguration root;
    const QString newPath;
    const Relocation relocation;
    Relocation::Comparison found;
    Relocation::Changes changes;
};

} // namespace

void RelocationOptions::addTo(Command& command)
{
    command
        .addOption("ROOT", root, "Id or path of the root folder; the path may be of another system")
        ->required()
        ->offersFolders();
    command.addOption("NEWPATH", newPath, "The directory that it is in now")
        ->required()
        ->offersFolders();
    command
        .addOption(
            "--verify", verify,
            "Which files to read and compare with their checksums: samples (the default), or all")
        ->choices({"samples", "all"});
    command.addFlag("--dry-run", dryRun, "Show what would change, and change nothing");
    command.addFlag("--force", force, "Also if most of what is recorded is not there");
    command.addFlag("--yes", yes, "Relocate without asking");
    command.example("velmioctl folder relocate Work /media/kim/Work --dry-run");
}

void relocateFolder(Session& session, const RelocationOptions& options)
{
    session.requireFile();
    if (!options.dryRun)
        session.writableDatabase();
    try {
        FolderRelocation(session, options).run();
    } catch (const sync::database::DatabaseError& error) {
        session.database().fail(error);
    }
}

} // namespace velmioctl
