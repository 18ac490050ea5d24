#include <tree/moves/DiskIdentities.h>

#include <base/system/Volumes.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QtEndian>

namespace sync::tree {

namespace {

constexpr qint64 MsNs = 1'000'000;
constexpr qint64 SecondNs = 1'000 * MsNs;
// Longer than the resolution of times: some 10 ms, or two seconds where no fraction is kept.
constexpr qint64 FineNs = 20 * MsNs;
constexpr qint64 CoarseNs = 2 * SecondNs;

bool isTooRecent(qint64 createdNs)
{
    const qint64 ageNs = QDateTime::currentMSecsSinceEpoch() * MsNs - createdNs;
    return ageNs < (createdNs % SecondNs == 0 ? CoarseNs : FineNs);
}

} // namespace

DiskIdentity DiskIdentities::of(
    const base::FileId& id, const std::optional<qint64>& createdNs, const QString& path)
{
    auto volume = volumes.constFind(id.device);
    if (volume == volumes.cend()) {
        const QByteArray hash =
            QCryptographicHash::hash(base::volumeIdOf(path).toUtf8(), QCryptographicHash::Sha256);
        volume = volumes.insert(id.device, qFromBigEndian<qint64>(hash.constData()));
    }
    DiskIdentity identity{*volume, qint64(id.inode), createdNs};
    if (createdNs && isTooRecent(*createdNs))
        identity.createdNs.reset();
    return identity;
}

std::optional<DiskIdentity> DiskIdentities::of(
    const std::optional<base::FileStatus>& status, const QString& path)
{
    return status ? std::optional(of(status->id, createdNsOf(*status), path)) : std::nullopt;
}

std::optional<qint64> createdNsOf(const base::FileStatus& status)
{
    // 0 means that it is not known, as in QFileInfo.
    if (!status.created || status.created->seconds == 0)
        return std::nullopt;
    return status.created->seconds * SecondNs + status.created->nanoseconds;
}

} // namespace sync::tree
