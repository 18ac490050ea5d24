#include "Scan.h"

#include "DirectoryWalk.h"
#include "Progress.h"
#include "Session.h"
#include "Text.h"
#include "WatchedDatabase.h"

#include <config/FolderConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QElapsedTimer>
#include <QFileInfo>

#include <cstring>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

// As many as are stored in well under a second, so that other writers wait no longer than that.
constexpr qsizetype BatchFolders = 2000;
// A slow disk does not hold back what was found on it for longer than this.
constexpr qint64 BatchMs = 500;

QString describe(const DirectoryWalk::Problem& problem)
{
    if (problem.kind == DirectoryWalk::Problem::Kind::InvalidName) {
        return u"The name of the folder \"%1\" is no valid UTF-8: rename it, it cannot be "
               u"synchronised."_s.arg(escapeBytes(problem.path));
    }
    return u"The folder %1 cannot be read (%2): give yourself the right to, and scan again."_s.arg(
        quoted(QString::fromUtf8(problem.path)),
        QString::fromLocal8Bit(std::strerror(problem.error)));
}

} // namespace

Scan::Scan(Session& session, Progress& progress, std::function<bool()> stopRequested)
    : session(session)
    , progress(progress)
    , stopRequested(std::move(stopRequested))
{
}

void Scan::run(const FolderConfiguration& root)
{
    current = {};
    const QString path = root.getClientPath();
    if (!QFileInfo(path).isDir()) {
        current.missing = true;
        progress.clear();
        session.output.error(
            u"The root folder %1 (id %2) is not there: connect its drive, or remove it with "
            u"'velmioctl folder clean %2'."_s.arg(quoted(path), QString::number(root.getId())));
        return;
    }
    // Nothing below such a root is synchronised.
    current.topLevel = root.getFolderOption() == sync::config::TopLevelOnly;
    if (current.topLevel)
        return;
    readKnownPaths();
    walk(root);
}

void Scan::readKnownPaths()
{
    if (std::exchange(knownPathsRead, true))
        return;
    const auto query = session.database().select(u"SELECT clientPath FROM FolderConfiguration"_s);
    while (query->next())
        knownPaths.insert(query->value(0).toString());
    session.database().check();
}

void Scan::walk(const FolderConfiguration& root)
{
    batch.clear();
    DirectoryWalk folders(root.getClientPath(), [this](const DirectoryWalk::Problem& problem) {
        const bool unreadable = problem.kind == DirectoryWalk::Problem::Kind::Unreadable;
        ++(unreadable ? current.unreadable : current.invalidNames);
        progress.clear();
        session.output.warning(describe(problem));
    });
    QElapsedTimer sinceStored;
    sinceStored.start();
    while (!stopRequested()) {
        const auto path = folders.next();
        if (!path)
            break;
        ++current.seen;
        showProgress(*path);
        if (!knownPaths.contains(*path))
            batch.append(*path);
        if (batch.size() >= BatchFolders || sinceStored.hasExpired(BatchMs)) {
            store(root);
            sinceStored.restart();
        }
    }
    store(root);
}

void Scan::store(const FolderConfiguration& root)
{
    if (batch.isEmpty() || stopRequested())
        return;
    const ScanCounts before = current;
    try {
        Transaction transaction(session.database());
        for (const QString& path : std::as_const(batch)) {
            if (stopRequested())
                break;
            add(path, root);
        }
        transaction.commit();
    } catch (const CommandError&) {
        // The whole batch was undone.
        current = before;
        current.failed += batch.size();
        throw;
    }
    batch.clear();
}

void Scan::add(const QString& path, const FolderConfiguration& root)
{
    const int id = session.folders().AddFolderAndParent(path, root).getId();
    session.database().check();
    if (id != -1) {
        ++current.added;
        knownPaths.insert(path);
        return;
    }
    ++current.failed;
    progress.clear();
    session.output.warning(
        u"The folder %1 could not be registered: scan again, and see whether its parent is in "
        u"'velmioctl folder tree'."_s.arg(quoted(path)));
}

void Scan::showProgress(const QString& path)
{
    if (progress.due()) {
        progress.show(u"%1 folders, %2 new: %3"_s.arg(
            QString::number(current.seen), QString::number(current.added + batch.size()), path));
    }
}

} // namespace velmioctl
