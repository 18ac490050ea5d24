#include <support/FileBytes.h>
#include <support/SystemCalls.h>

#include <base/FileError.h>
#include <base/PartialFile.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using sync::base::FileError;
using sync::base::PartialFile;
using sync::test::readFile;
using sync::test::SystemCall;
using sync::test::SystemCallWatch;
using sync::test::writeFile;

namespace {

constexpr int NothingThrown = 0;

/// The errno with which an action fails; NothingThrown if it succeeds.
int errorOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const FileError& error) {
        return error.code();
    }
    return NothingThrown;
}

/// Makes calls of one kind fail, for paths that are folders or for those that are not.
class Failing
{
public:
    Failing(const QByteArray& name, bool folders, int error)
        : watch([name, folders, error](const SystemCall& call) {
            return call.name == name && QFileInfo(QFile::decodeName(call.path)).isDir() == folders
                       ? error
                       : 0;
        })
    {
    }

private:
    const SystemCallWatch watch;
};

} // namespace

/// Also the folders in which files are published.
class TestPartialFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aFileWithoutANameIsRemoved();
    void publishReplacesNothing_data();
    void publishReplacesNothing();
    void publishNeedsNoHardLinks();
    void aFolderThatTakesNoSyncIsAccepted_data();
    void aFolderThatTakesNoSyncIsAccepted();
    void aFailedSyncOfTheFolderIsAnErrorWithTheFileInPlace_data();
    void aFailedSyncOfTheFolderIsAnErrorWithTheFileInPlace();
    void aFailedSyncOfTheFileLeavesNothing_data();
    void aFailedSyncOfTheFileLeavesNothing();

private:
    void publish(const QByteArray& bytes, bool over = false) const
    {
        PartialFile file(target);
        file.append(bytes);
        over ? file.publishOver() : file.publish();
    }
    QStringList entries() const
    {
        return QDir(folder->path()).entryList(QDir::Files | QDir::Hidden);
    }

    std::unique_ptr<QTemporaryDir> folder;
    QString target;
};

void TestPartialFile::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
    target = folder->filePath(u"file"_s);
}

void TestPartialFile::aFileWithoutANameIsRemoved()
{
    {
        PartialFile file(target);
        file.append("half");
        writeFile(file.path() + u"-journal"_s, "of SQLite");
    }

    QCOMPARE(entries(), QStringList());
}

void TestPartialFile::publishReplacesNothing_data()
{
    QTest::addColumn<int>("linkError");
    QTest::newRow("hard links") << 0;
    QTest::newRow("no hard links") << EPERM;
}

void TestPartialFile::publishReplacesNothing()
{
    QFETCH(const int, linkError);
    writeFile(target, "old");
    const Failing failing("link", false, linkError);

    QCOMPARE(errorOf([this] { publish("new"); }), EEXIST);

    QCOMPARE(readFile(target), QByteArray("old"));
    QCOMPARE(entries(), QStringList(u"file"_s));
}

// A memory stick says EPERM.
void TestPartialFile::publishNeedsNoHardLinks()
{
    const SystemCallWatch watch(
        [](const SystemCall& call) { return call.name == "link" ? EPERM : 0; });

    publish("new");

    QCOMPARE(readFile(target), QByteArray("new"));
    QCOMPARE(entries(), QStringList(u"file"_s));
}

void TestPartialFile::aFolderThatTakesNoSyncIsAccepted_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("EINVAL") << EINVAL;
    QTest::newRow("EBADF") << EBADF;
    QTest::newRow("ENOTSUP") << ENOTSUP;
    QTest::newRow("ENOSYS") << ENOSYS;
}

void TestPartialFile::aFolderThatTakesNoSyncIsAccepted()
{
    QFETCH(const int, error);
    const Failing failing("fsync", true, error);

    publish("first");
    publish("second", true);

    QCOMPARE(readFile(target), QByteArray("second"));
}

void TestPartialFile::aFailedSyncOfTheFolderIsAnErrorWithTheFileInPlace_data()
{
    QTest::addColumn<bool>("over");
    QTest::newRow("publish") << false;
    QTest::newRow("publishOver") << true;
}

// Somebody may use it already, and removing it would have to be synced as well.
void TestPartialFile::aFailedSyncOfTheFolderIsAnErrorWithTheFileInPlace()
{
    QFETCH(const bool, over);
    const Failing failing("fsync", true, EIO);

    QCOMPARE(errorOf([&] { publish("new", over); }), EIO);

    QCOMPARE(readFile(target), QByteArray("new"));
    QCOMPARE(entries(), QStringList(u"file"_s));
}

void TestPartialFile::aFailedSyncOfTheFileLeavesNothing_data()
{
    aFailedSyncOfTheFolderIsAnErrorWithTheFileInPlace_data();
}

void TestPartialFile::aFailedSyncOfTheFileLeavesNothing()
{
    QFETCH(const bool, over);
    const Failing failing("fsync", false, EIO);

    QCOMPARE(errorOf([&] { publish("new", over); }), EIO);

    QCOMPARE(entries(), QStringList());
}

QTEST_GUILESS_MAIN(TestPartialFile)
#include "TestPartialFile.moc"
