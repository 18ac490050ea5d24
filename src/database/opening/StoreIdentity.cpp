#include <database/opening/StoreIdentity.h>

#include <base/system/Process.h>
#include <database/DatabaseError.h>
#include <database/connection/SqliteHandle.h>

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QSysInfo>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

QString machineStamp(const QByteArray& machineId, qint64 userId, const QString& storeId)
{
    // The purpose of the hash, so that it matches no other program's hash of the same machine.
    const QByteArray key("velmio store identity");
    const QByteArray text = machineId + '\n' + QByteArray::number(userId) + '\n' + storeId.toUtf8();
    const QByteArray code =
        QMessageAuthenticationCode::hash(text, key, QCryptographicHash::Sha256).toHex();
    return QString::fromLatin1(code);
}

QString ownMachineStamp(const QString& storeId)
{
    return machineStamp(QSysInfo::machineUniqueId(), base::currentUserNumber(), storeId);
}

StoreIdentity readIdentity(sqlite3* database, const QString& path)
{
    StoreIdentity identity;
    identity.storeId = queryText(database, "SELECT storeId FROM StoreIdentity", path);
    const QString stored = queryText(database, "SELECT machineStamp FROM StoreIdentity", path);
    identity.stamped = !stored.isEmpty();
    identity.moved = identity.stamped && stored != ownMachineStamp(identity.storeId);
    return identity;
}

void stamp(sqlite3* database, const StoreIdentity& identity)
{
    // Hexadecimal digits.
    const QByteArray sql = "UPDATE StoreIdentity SET machineStamp = '" +
                           ownMachineStamp(identity.storeId).toLatin1() +
                           "' WHERE machineStamp IS NULL";
    sqlite3_exec(database, sql.constData(), nullptr, nullptr, nullptr);
}

bool admitsVersion(sqlite3* database, int version, const QString& path)
{
    const QByteArray sql = "SELECT count(*) FROM StoreIdentity WHERE lastCompatibleVersion <= " +
                           QByteArray::number(version);
    try {
        return queryNumber(database, sql.constData(), path) > 0;
    } catch (const DatabaseError&) {
        return false; // What cannot be read permits nothing.
    }
}

} // namespace sync::database
