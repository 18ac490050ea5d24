#include <unistd.h>

#include <config/FolderConfiguration.h>

#include <QTest>

#include <type_traits>

namespace sync::contract {

class TestPosixSync : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namespaceAndPosixFunctionsLiveSideBySide();
};

void TestPosixSync::namespaceAndPosixFunctionsLiveSideBySide()
{
    static_assert(std::is_function_v<decltype(::posix_sync)>);
    const config::FolderConfiguration folder;

    QCOMPARE(folder.getId(), -1);
    QVERIFY(::getpid() > 0);
}

} // namespace sync::contract

QTEST_GUILESS_MAIN(sync::contract::TestPosixSync)
#include "TestPosixSync.moc"
