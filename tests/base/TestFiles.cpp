#include <base/system/FileRights.h>
#include <base/system/Files.h>
#include <base/system/FolderEntries.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>

using namespace Qt::StringLiterals;
using namespace sync::base;

/// The files of the system, by the same checks on each one.
class TestFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { folder = std::make_unique<QTemporaryDir>(); }

    void newFileIsOfTheUserAlone()
    {
        const QString path = write(u"one"_s);

        const auto examined = examine(openForReading(path, Links::Keep).get());

        QVERIFY(examined);
        QCOMPARE(examined->status.kind, FileKind::File);
        QCOMPARE(examined->status.size, 3);
        QVERIFY(!examined->rights.othersMayUse);
        QCOMPARE(examined->rights.owner, currentUser());
    }

    void newFolderIsOfTheUserAlone()
    {
        const QString path = folder->filePath(u"new"_s);
        QVERIFY(createOwnFolder(path));

        const auto examined = ExaminedFolder(path).examine();

        QVERIFY(examined);
        QCOMPARE(examined->status.kind, FileKind::Folder);
        QVERIFY(!examined->rights.othersMayUse);
    }

    void examinedNameIsThatInTheFolder()
    {
        const QString path = write(u"one"_s);
        const ExaminedFolder examined(folder->path());

        QCOMPARE(examined.examine(QFileInfo(path).fileName())->status.size, 3);
        QVERIFY(!examined.examine(u"missing"_s));
    }

    void rightsOfOthersCanBeTaken()
    {
        const QString path = folder->filePath(u"open"_s);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        file.setPermissions(file.permissions() | QFile::ReadGroup | QFile::ReadOther);

        QVERIFY(closeToOthers(path));

        QVERIFY(!examine(openForReading(path, Links::Keep).get())->rights.othersMayUse);
    }

    void fileKeepsItsIdAndOthersHaveAnother()
    {
        const QString one = write(u"one"_s);
        const QString two = write(u"two"_s);
        const FileId id = statusOf(one, Links::Keep)->id;
        QVERIFY(id != statusOf(two, Links::Keep)->id);

        const QString renamed = folder->filePath(u"renamed"_s);
        QVERIFY(renameToNew(one, renamed));

        QCOMPARE(statusOf(renamed, Links::Keep)->id.inode, id.inode);
    }

    void newNameReplacesNothing()
    {
        const QString one = write(u"one"_s);
        const QString two = write(u"other"_s);

        QVERIFY(!renameToNew(one, two));

        QCOMPARE(errno, EEXIST);
        QCOMPARE(statusOf(two, Links::Keep)->size, 5);
    }

    void renamedFileReplacesAnother()
    {
        const QString one = write(u"one"_s);
        const QString two = write(u"other"_s);

        QVERIFY(renameOver(one, two));

        QCOMPARE(statusOf(two, Links::Keep)->size, 3);
        QVERIFY(!statusOf(one, Links::Keep));
        QCOMPARE(errno, ENOENT);
    }

    void missingFilesAndFoldersAreCalledSo()
    {
        QVERIFY(!openForReading(folder->filePath(u"a"_s), Links::Keep).isOpen());
        QCOMPARE(errno, ENOENT);
        QVERIFY(!statusOf(folder->filePath(u"a/b"_s), Links::Follow));
        QCOMPARE(errno, ENOENT);
        QVERIFY(!removeFile(folder->filePath(u"a"_s)));
        QCOMPARE(errno, ENOENT);
        QVERIFY(!mayAccess(folder->filePath(u"a"_s), Existence));
        QCOMPARE(errno, ENOENT);
    }

    void fileIsNoFolder()
    {
        const FolderReader reader(write(u"one"_s).toStdString(), Links::Keep);

        QVERIFY(!reader.isOpen());
        QCOMPARE(errno, ENOTDIR);
    }

    void folderListsItsEntries()
    {
        write(u"one"_s);
        QVERIFY(createOwnFolder(folder->filePath(u"\u00fcber"_s)));

        QStringList entries;
        FolderReader reader(folder->path().toStdString(), Links::Keep);
        QVERIFY(reader.isOpen());
        while (const FolderReader::Entry* entry = reader.next()) {
            const auto status = statusOf(reader.folder(), entry->name);
            QVERIFY(status);
            QCOMPARE(status->kind, entry->kind);
            entries += entry->kind == FileKind::Folder ? QString::fromUtf8(entry->name) : u"file"_s;
        }
        QCOMPARE(errno, 0);

        entries.sort();
        QCOMPARE(entries, QStringList({u"file"_s, u"\u00fcber"_s}));
    }

    // The old limit of Windows is 260 characters for the whole path.
    void pathsMayBeLong()
    {
        QString path = folder->path();
        for (int depth = 0; depth < 8; ++depth) {
            path += u'/' + QString(60, u'x');
            QVERIFY(createOwnFolder(path));
        }
        path += u"/name.XXXXXX"_s;

        const FileDescriptor file = createUniqueFile(path);

        QVERIFY(file.isOpen());
        QVERIFY(writeBytes(file.get(), "content"));
        QVERIFY(syncToMedium(file.get()));
        QVERIFY(syncEntries(QFileInfo(path).path()));
        QCOMPARE(statusOf(path, Links::Keep)->size, 7);
        QCOMPARE(pathFromLibrary(pathForLibrary(path).constData()), path);
    }

    void namesThatWindowsReservesAreFoundAsTheyAre()
    {
        const QString plain = write(u"plain"_s);
        QVERIFY(renameToNew(plain, folder->filePath(u"a"_s)));
        QVERIFY(renameToNew(write(u"with a dot"_s), folder->filePath(u"a."_s)));

        QCOMPARE(statusOf(folder->filePath(u"a."_s), Links::Keep)->size, 10);
        QCOMPARE(statusOf(folder->filePath(u"a"_s), Links::Keep)->size, 5);
        QVERIFY(removeFile(folder->filePath(u"a."_s)));
        QVERIFY(removeFile(folder->filePath(u"a"_s)));
    }

private:
    QString write(const QString& content) const
    {
        QString path = folder->filePath(u"file.XXXXXX"_s);
        const FileDescriptor file = createUniqueFile(path);
        return writeBytes(file.get(), content.toUtf8()) ? path : QString();
    }

    std::unique_ptr<QTemporaryDir> folder;
};

QTEST_GUILESS_MAIN(TestFiles)
#include "TestFiles.moc"
