#include <core/keys/SecretService.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QMap>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

const QString ServiceName = u"org.freedesktop.secrets"_s;

using Attributes = QMap<QString, QString>;
using Paths = QList<QDBusObjectPath>;

} // namespace

Keychain::Status statusInSecretService(
    Keychain::Status status, const QString& service, const QString& entryName)
{
    using Status = Keychain::Status;
    const QDBusConnection session = QDBusConnection::sessionBus();
    const bool isPresent =
        session.isConnected() && session.interface()->isServiceRegistered(ServiceName);
    if (status == Status::Failed && !isPresent)
        return Status::Absent;
    // Without the service, QtKeychain has used another keychain.
    if (status != Status::Empty || !isPresent)
        return status;

    qDBusRegisterMetaType<Attributes>();
    QDBusMessage search = QDBusMessage::createMethodCall(
        ServiceName, u"/org/freedesktop/secrets"_s, u"org.freedesktop.Secret.Service"_s,
        u"SearchItems"_s);
    // As QtKeychain names them.
    search << QVariant::fromValue(Attributes{{u"server"_s, service}, {u"user"_s, entryName}});
    const QDBusPendingReply<Paths, Paths> found = session.call(search);
    if (found.isError())
        return Status::Failed;
    const Paths locked = found.argumentAt<1>();
    return locked.isEmpty() ? Status::Empty : Status::Locked;
}

} // namespace sync::core::crypto
