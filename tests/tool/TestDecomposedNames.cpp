#include <support/DecomposingFileSystem.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/Scan.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <filesystem>
#include <optional>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;
using sync::test::DecomposingFileSystem;

namespace velmioctl {

namespace {

QString decomposed(const QString& text)
{
    return text.normalized(QString::NormalizationForm_D);
}

void writeFile(const QString& path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("content");
}

/// Records in composed form, as a person types names, of a root folder "Übung" with a folder
/// "Ärger" and a file "Öl.txt" in each.
class Place
{
public:
    Place()
    {
        session.databaseOption = (directory.path() + u"/configuration.db"_s).toStdString();
        session.createDatabase();
        root.setParentId(0);
        root.setClientPath(rootPath());
        root.setServerPath(u"/server"_s);
        root.setFolderOption(sync::config::WithSubfolders);
        session.folders().Add(root);
        folder.setClientPath(rootPath() + u"/Ärger"_s);
        folder.setParentId(root.getId());
        folder.setRootId(root.getId());
        session.folders().Add(folder);
        addFile(root);
        addFile(folder);
    }

    QString rootPath() const { return directory.path() + u"/Übung"_s; }

    void makeFiles(const QString& rootOnDisk) const
    {
        QVERIFY(QDir().mkpath(rootOnDisk + decomposed(u"/Ärger"_s)));
        writeFile(rootOnDisk + decomposed(u"/Öl.txt"_s));
        writeFile(rootOnDisk + decomposed(u"/Ärger/Öl.txt"_s));
    }

    ScanCounts scan()
    {
        Progress progress(stderr, {});
        Scan scan(session, progress, {}, [] { return false; });
        scan.run(root, root);
        return scan.counts();
    }

    QStringList paths()
    {
        QStringList all;
        const auto query = session.database().CreateQuery();
        query->prepare(
            u"SELECT clientPath FROM FolderConfiguration UNION ALL SELECT clientPath FROM "
            u"FileConfiguration ORDER BY 1"_s);
        query->exec();
        while (query->next())
            all += query->value(0).toString();
        return all;
    }

    QTemporaryDir directory;
    Session session{Output(stdout, stderr, {}, {})};
    FolderConfiguration root;
    FolderConfiguration folder;

private:
    void addFile(const FolderConfiguration& of)
    {
        FileConfiguration file;
        file.setClientPath(of.getClientPath() + u"/Öl.txt"_s);
        file.setName(u"Öl.txt"_s);
        file.setFolderConfigurationId(of.getId());
        file.setRootFolderId(root.getId());
        session.files().Add(file);
    }
};

} // namespace

class TestDecomposedNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsKeepTheirTextAndAreFound()
    {
        Place place;
        place.makeFiles(decomposed(place.rootPath()));
        const QStringList before = place.paths();
        const DecomposingFileSystem decomposing;

        const ScanCounts counts = place.scan();

        QCOMPARE(place.paths(), before);
        QCOMPARE(counts.folders.seen, 1);
        QCOMPARE(counts.files.seen, 2);
        QCOMPARE(counts.folders.missing + counts.files.missing, 0);
        QCOMPARE(counts.problems(), 0);
    }

    void newFileIsRegisteredOnceInTheFolderOfTheRecord()
    {
        Place place;
        place.makeFiles(decomposed(place.rootPath()));
        writeFile(decomposed(place.rootPath() + u"/Ärger/Äpfel.txt"_s));
        const DecomposingFileSystem decomposing;

        const ScanCounts first = place.scan();
        const ScanCounts second = place.scan();

        QCOMPARE(first.files.added, 1);
        QCOMPARE(second.files.added + second.files.changed, 0);
        QVERIFY(
            place.paths().contains(place.rootPath() + u"/Ärger/"_s + decomposed(u"Äpfel.txt"_s)));
    }

    void changedFileKeepsItsRecord()
    {
        Place place;
        place.makeFiles(decomposed(place.rootPath()));
        const DecomposingFileSystem decomposing;
        place.scan();
        const QStringList before = place.paths();

        QFile file(decomposed(place.rootPath() + u"/Ärger/Öl.txt"_s));
        QVERIFY(file.open(QIODevice::Append));
        file.write("more");
        file.close();
        const ScanCounts counts = place.scan();

        QCOMPARE(counts.files.changed, 1);
        QCOMPARE(place.paths(), before);
    }

    void removedFilesAndFoldersAreMissing()
    {
        Place place;
        place.makeFiles(decomposed(place.rootPath()));
        QVERIFY(QDir(decomposed(place.rootPath() + u"/Ärger"_s)).removeRecursively());
        const DecomposingFileSystem decomposing;

        const ScanCounts counts = place.scan();

        QCOMPARE(counts.folders.missing, 1);
        QCOMPARE(counts.files.missing, 1);
    }

    void twoFormsOnOneDiskAreTwoFiles_data()
    {
        QTest::addColumn<bool>("isLink");
        QTest::newRow("files") << false;
        QTest::newRow("links to one file") << true;
    }

    // On a file system that keeps the forms apart.
    void twoFormsOnOneDiskAreTwoFiles()
    {
        QFETCH(const bool, isLink);
        Place place;
        place.makeFiles(place.rootPath());
        QVERIFY(QDir().mkpath(place.rootPath() + u"/Ärger"_s));
        const QString composed = place.rootPath() + u"/Öl.txt"_s;
        const QString other = place.rootPath() + decomposed(u"/Öl.txt"_s);
        if (isLink) {
            std::filesystem::create_hard_link(other.toStdString(), composed.toStdString());
        } else {
            writeFile(composed);
        }

        const ScanCounts counts = place.scan();

        QCOMPARE(counts.files.seen, 3);
        QCOMPARE(counts.files.added, 2);
        QCOMPARE(counts.folders.added, 1);
        QVERIFY(place.paths().contains(composed));
        QVERIFY(place.paths().contains(other));
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestDecomposedNames)
#include "TestDecomposedNames.moc"
