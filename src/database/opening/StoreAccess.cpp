#include <database/opening/StoreAccess.h>

#include <base/Ownership.h>
#include <database/DatabaseError.h>

#include <QFileInfo>

#include <array>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

constexpr std::array Suffixes{u"", u"-wal", u"-shm", u"-journal"};

} // namespace

Trust trustOf(const OpenOptions& options, Trust otherwise)
{
    return options.othersMayWrite ? Trust::Everybody : otherwise;
}

void requireTrusted(const QString& path, Trust trust)
{
    const QFileInfo file(path);
    const base::ExaminedFolder folder(file.path());
    const auto examinedFolder = folder.examine();
    if (trust == Trust::Everybody || !examinedFolder)
        return;
    const QString owner = folder.examine(file.fileName()).value_or(*examinedFolder).rights.owner;

    const auto check = [&](const QString& name, const base::FileRights& rights) {
        const bool isOfOwner = trust == Trust::StoreOwner && rights.owner == owner;
        QString finding = isOfOwner ? QString() : base::ownerFinding(name, rights, owner);
        if (finding.isEmpty() && trust == Trust::Owner)
            finding = base::writersFinding(name, rights);
        if (!finding.isEmpty())
            throw DatabaseError(
                DatabaseError::Cause::Untrusted,
                u"The database %1 is not used, because another user could have changed it: "
                u"%2."_s.arg(path, finding));
    };
    for (const auto* const suffix : Suffixes) {
        const QString name = file.path() + u'/' + file.fileName() + QString::fromUtf16(suffix);
        const auto found = folder.examine(QFileInfo(name).fileName());
        if (found)
            check(name, found->rights);
    }
    if (trust == Trust::Owner)
        check(file.path(), examinedFolder->rights);
}

} // namespace sync::database
