#include <base/Ownership.h>

#include <QTest>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

using namespace sync::base;

namespace {

constexpr uid_t Stranger = 65534;

// The user that the tests run as.
struct stat ownFile(mode_t mode)
{
    struct stat status
    {
    };
    status.st_mode = S_IFREG | mode;
    status.st_uid = ::geteuid();
    status.st_gid = ::getpwuid(status.st_uid)->pw_gid;
    return status;
}

} // namespace

class TestOwnership : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyTheUserAndRootAreTrustedOwners()
    {
        struct stat status = ownFile(0600);
        QVERIFY(hasTrustedOwner(status, status.st_uid));
        status.st_uid = 0;
        QVERIFY(hasTrustedOwner(status, 1));
        status.st_uid = Stranger;
        QVERIFY(!hasTrustedOwner(status, 1));
        QCOMPARE(hasTrustedOwner(status, Stranger), ::geteuid() == 0);
    }

    void anotherGroupMayNotWrite()
    {
        struct stat status = ownFile(0620);
        status.st_gid = Stranger;
        QVERIFY(othersMayWrite(status));
        status.st_mode = S_IFREG | 0644;
        QVERIFY(!othersMayWrite(status));
    }

    void theGroupOfTheUserAloneMayWrite()
    {
        const struct stat status = ownFile(0660);
        const bool isOwn =
            ::getgrgid(status.st_gid)->gr_name == QByteArray(::getpwuid(status.st_uid)->pw_name);
        QCOMPARE(othersMayWrite(status), !isOwn);
    }
};

QTEST_GUILESS_MAIN(TestOwnership)
#include "TestOwnership.moc"
