#include <core/KeychainKeyStore.h>

#ifdef VELMIO_WITH_SECRET_SERVICE
    #include <core/keys/SecretService.h>
#endif

#include <QCoreApplication>
#include <QEventLoop>

#include <qt6keychain/keychain.h>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

const QString Service = u"velmio"_s;
const QString EntryName = u"password-keys"_s;

Keychain::Status statusOf(QKeychain::Error error)
{
    switch (error) {
    case QKeychain::NoError:
        return Keychain::Status::Done;
    case QKeychain::EntryNotFound:
        return Keychain::Status::Empty;
    case QKeychain::AccessDenied:
    case QKeychain::AccessDeniedByUser:
        return Keychain::Status::Locked;
    case QKeychain::NoBackendAvailable:
    case QKeychain::NotImplemented:
        return Keychain::Status::Absent;
    default:
        return Keychain::Status::Failed;
    }
}

Keychain::Answer run(QKeychain::Job& job)
{
    if (!QCoreApplication::instance())
        return {Keychain::Status::Absent, {}, u"it needs a running application object"_s};

    QEventLoop loop;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
    job.setAutoDelete(false);
    job.setKey(EntryName);
    job.start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    Keychain::Status status = statusOf(job.error());
    QString error = job.errorString();
#ifdef VELMIO_WITH_SECRET_SERVICE
    status = statusInSecretService(status, Service, EntryName);
    if (status == Keychain::Status::Locked && job.error() == QKeychain::EntryNotFound)
        error = u"it was not unlocked"_s;
#endif
    return {status, {}, error};
}

class QtKeychain : public Keychain
{
public:
    Answer read() override
    {
        QKeychain::ReadPasswordJob job(Service);
        Answer answer = run(job);
        answer.entry = job.binaryData();
        return answer;
    }

    Answer write(const QByteArray& entry) override
    {
        QKeychain::WritePasswordJob job(Service);
        job.setBinaryData(entry);
        return run(job);
    }
};

} // namespace

std::unique_ptr<Keychain> Keychain::system()
{
    return std::make_unique<QtKeychain>();
}

} // namespace sync::core::crypto
