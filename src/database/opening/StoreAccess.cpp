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
    const auto folderStatus = folder.status();
    if (trust == Trust::Everybody || !folderStatus)
        return;
    const uid_t owner = folder.status(file.fileName()).value_or(*folderStatus).st_uid;

    const auto check = [&](const QString& name, const struct stat& status) {
        const bool isOfOwner = trust == Trust::StoreOwner && status.st_uid == owner;
        QString finding = isOfOwner ? QString() : base::ownerFinding(name, status, owner);
        if (finding.isEmpty() && trust == Trust::Owner)
            finding = base::writersFinding(name, status);
        if (!finding.isEmpty())
            throw DatabaseError(
                DatabaseError::Cause::Untrusted,
                u"The database %1 is not used, because another user could have changed it: "
                u"%2."_s.arg(path, finding));
    };
    for (const auto* const suffix : Suffixes) {
        const QString name = file.path() + u'/' + file.fileName() + QString::fromUtf16(suffix);
        const auto status = folder.status(QFileInfo(name).fileName());
        if (status)
            check(name, *status);
    }
    if (trust == Trust::Owner)
        check(file.path(), *folderStatus);
}

} // namespace sync::database
