#include <base/system/Volumes.h>

#include <QUuid>

#include <iterator>
#include <sys/attr.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::base {

QByteArray fileSystemTypeOf(const QString& path)
{
    struct statfs volume
    {
    };
    return ::statfs(path.toUtf8().constData(), &volume) == 0 ? QByteArray(volume.f_fstypename)
                                                             : QByteArray();
}

QString volumeIdOf(const QString& path)
{
    struct statfs volume
    {
    };
    if (::statfs(path.toUtf8().constData(), &volume) != 0)
        return {};
    attrlist wanted{};
    wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
    wanted.volattr = ATTR_VOL_INFO | ATTR_VOL_UUID;
    // As getattrlist(2) fills it.
    struct Answer
    {
        quint32 length;
        unsigned char uuid[16];
    } answer{};
    if (::getattrlist(volume.f_mntonname, &wanted, &answer, sizeof(answer), 0) == 0 &&
        answer.length == sizeof(answer)) {
        const QByteArrayView bytes(std::begin(answer.uuid), std::end(answer.uuid));
        return u"uuid:"_s + QUuid::fromRfc4122(bytes).toString(QUuid::WithoutBraces);
    }
    return QString::fromUtf8(volume.f_fstypename) + u':' + QString::fromUtf8(volume.f_mntfromname);
}

} // namespace sync::base
