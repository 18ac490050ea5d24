#include <base/Ownership.h>

#include <base/system/posix/Rights.h>

#include <QTest>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

using namespace sync::base;

namespace {

constexpr uid_t Stranger = 65534;

gid_t ownGroup()
{
    return ::getpwuid(::geteuid())->pw_gid;
}

} // namespace

class TestOwnership : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyTheUserAndRootAreTrustedOwners()
    {
        const auto isTrusted = [](uid_t owner, uid_t storeOwner) {
            return hasTrustedOwner(rightsOf(0600, owner, ownGroup()), QString::number(storeOwner));
        };
        QVERIFY(isTrusted(::geteuid(), ::geteuid()));
        QVERIFY(isTrusted(::geteuid(), 1));
        QVERIFY(isTrusted(0, 1));
        QVERIFY(!isTrusted(Stranger, 1));
        QCOMPARE(isTrusted(Stranger, Stranger), ::geteuid() == 0);
    }

    void anotherGroupMayNotWrite()
    {
        QVERIFY(rightsOf(0620, ::geteuid(), Stranger).othersMayWrite);
        QVERIFY(!rightsOf(0644, ::geteuid(), Stranger).othersMayWrite);
    }

    void theGroupOfTheUserAloneMayWrite()
    {
        const bool isOwn =
            ::getgrgid(ownGroup())->gr_name == QByteArray(::getpwuid(::geteuid())->pw_name);
        QCOMPARE(rightsOf(0660, ::geteuid(), ownGroup()).othersMayWrite, !isOwn);
    }

    void anyRightOfOthersIsAUse()
    {
        QVERIFY(!rightsOf(0700, ::geteuid(), ownGroup()).othersMayUse);
        QVERIFY(rightsOf(0610, ::geteuid(), ownGroup()).othersMayUse);
        QVERIFY(rightsOf(0601, ::geteuid(), ownGroup()).othersMayUse);
    }
};

QTEST_GUILESS_MAIN(TestOwnership)
#include "TestOwnership.moc"
