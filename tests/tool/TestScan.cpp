#include <support/AsNobody.h>
#include <support/SystemCalls.h>
#include <velmioctl/cli/Interruption.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>
#include <velmioctl/tree/Scan.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <database/DatabaseBackups.h>
#include <interf/IQSqlQueryWrapper.h>
#include <tree/FileState.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <unistd.h>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::test::AsNobody;
using sync::test::giveToNobody;
using sync::tree::FileHash;
using sync::tree::FileState;
using sync::tree::hashFile;
using sync::tree::readFileState;

namespace velmioctl {

namespace {

/// A database and a tree of folders with one registered root.
class Place
{
public:
    explicit Place(const QStringList& folders)
    {
        for (const QString& folder : folders)
            QDir(rootPath()).mkpath(folder);
        session.databaseOption = (directory.path() + u"/configuration.db"_s).toStdString();
        session.createDatabase();
        root.setParentId(0);
        root.setClientPath(rootPath());
        root.setServerPath(u"/server"_s);
        root.setFolderOption(sync::config::WithSubfolders);
        session.folders().Add(root);
    }

    QString rootPath() const { return directory.path() + u"/root"_s; }
    long long registered()
    {
        return session.database().number(u"SELECT count(*) FROM FolderConfiguration"_s) - 1;
    }

    QString filePath(const QString& name) const { return rootPath() + u'/' + name; }
    void writeFile(const QString& name) const
    {
        QFile file(filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(name.toUtf8());
    }
    void run(const QString& sql)
    {
        const auto query = session.database().CreateQuery();
        query->prepare(sql);
        QVERIFY(query->exec());
    }
    long long storedFiles()
    {
        return session.database().number(u"SELECT count(*) FROM FileConfiguration"_s);
    }
    QTemporaryDir directory;
    Session session{Output(stdout, stderr, {}, {})};
    FolderConfiguration root;
};

} // namespace

class TestScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void registersMissingFoldersOnce()
    {
        Place place({u"a/b"_s, u"c"_s});
        Progress progress(stderr, {});
        Scan scan(place.session, progress, {}, [] { return false; });

        scan.run(place.root, place.root);
        const ScanCounts first = scan.counts();
        scan.run(place.root, place.root);

        QCOMPARE(first.folders.seen, 3);
        QCOMPARE(first.folders.added, 3);
        QCOMPARE(scan.counts().folders.seen, 3);
        QCOMPARE(scan.counts().folders.added, 0);
        QCOMPARE(place.registered(), 3);
    }

    void stopKeepsWhatIsWrittenAndTheNextScanGoesOn()
    {
        constexpr int Files = 5000;
        Place place({u"a"_s});
        for (int number = 0; number < Files; ++number)
            place.writeFile(u"a/%1"_s.arg(number));
        Progress progress(stderr, {});
        // After the first batch was handed over, and before the last one is.
        int questions = 0;
        Scan stopped(place.session, progress, {Scan::HashMode::Never}, [&questions] {
            return ++questions > 3000;
        });

        stopped.run(place.root, place.root);
        Scan scan(place.session, progress, {Scan::HashMode::Never}, [] { return false; });
        scan.run(place.root, place.root);

        QVERIFY(stopped.counts().files.seen < Files);
        QVERIFY(stopped.counts().files.added < Files);
        QCOMPARE(stopped.counts().files.added + scan.counts().files.added, Files);
        QCOMPARE(place.storedFiles(), Files);
    }

    void stopBeforeTheBatchRegistersNothing()
    {
        Place place({u"a"_s, u"b"_s});
        Progress progress(stderr, {});
        int questions = 0;
        Scan scan(place.session, progress, {}, [&questions] { return ++questions > 2; });

        scan.run(place.root, place.root);

        QCOMPARE(scan.counts().folders.seen, 1);
        QCOMPARE(scan.counts().folders.added, 0);
        QCOMPARE(place.registered(), 0);
    }

    void refusedFolderIsCountedAndTheRestGoesOn()
    {
        Place place({u"a"_s, u"b"_s});
        Progress progress(stderr, {});
        Scan scan(place.session, progress, {}, [] { return false; });
        // Without its row no folder has a parent, and the library refuses each of them.
        QVERIFY(place.session.folders().Remove(place.root.getId()));

        scan.run(place.root, place.root);

        QCOMPARE(scan.counts().folders.failed, 2);
        QCOMPARE(scan.counts().folders.added, 0);
    }

    void failedBatchIsUndoneAndCounted()
    {
        Place place({u"a"_s, u"b"_s, u"c"_s});
        const auto trigger = place.session.database().CreateQuery();
        trigger->prepare(u"CREATE TRIGGER refuse BEFORE INSERT ON FolderConfiguration "
                         u"WHEN NEW.name = 'b' BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
        QVERIFY(trigger->exec());
        Progress progress(stderr, {});
        Scan scan(place.session, progress, {}, [] { return false; });

        QVERIFY_THROWS_EXCEPTION(CommandError, scan.run(place.root, place.root));

        QCOMPARE(scan.counts().folders.failed, 3);
        QCOMPARE(scan.counts().folders.added, 0);
        QCOMPARE(place.registered(), 0);
    }

    void failedReadPrunesNothing()
    {
        Place place({u"a"_s, u"b"_s, u"c"_s});
        place.writeFile(u"a/gone"_s);
        place.writeFile(u"b/stays"_s);
        Progress progress(stderr, {});
        Scan(place.session, progress, {}, [] { return false; }).run(place.root, place.root);
        QVERIFY(QFile::remove(place.filePath(u"a/gone"_s)));
        // Asked before the root, before the folder "a", which no longer has a file, before "b" and
        // twice for its file, long after the file was found missing.
        int questions = 0;
        Scan scan(place.session, progress, {.prune = true, .noMoves = true}, [&place, &questions] {
            if (++questions == 5)
                place.run(u"ALTER TABLE FileConfiguration RENAME TO Away"_s);
            return false;
        });

        QVERIFY_THROWS_EXCEPTION(CommandError, scan.run(place.root, place.root));
        place.run(u"ALTER TABLE Away RENAME TO FileConfiguration"_s);

        QCOMPARE(scan.counts().files.missing, 1);
        QCOMPARE(scan.counts().prunedFiles, 0);
        QCOMPARE(place.storedFiles(), 2);
    }

    void failureThatWasToldBeforePrunesNothing()
    {
        Place place({u"a"_s});
        place.writeFile(u"a/gone"_s);
        Progress progress(stderr, {});
        Scan(place.session, progress, {}, [] { return false; }).run(place.root, place.root);
        QVERIFY(QFile::remove(place.filePath(u"a/gone"_s)));
        Scan scan(place.session, progress, {Scan::HashMode::Changed, true}, [&place] {
            try {
                place.session.database().select(u"SELECT nothing FROM nowhere"_s);
            } catch (const CommandError&) {
                return false;
            }
            return true;
        });

        QVERIFY_THROWS_EXCEPTION(CommandError, scan.run(place.root, place.root));

        QCOMPARE(scan.counts().files.missing, 1);
        QCOMPARE(scan.counts().prunedFiles, 0);
        QCOMPARE(place.storedFiles(), 1);
    }

    void unreadableFileIsStoredWithoutChecksum()
    {
        Place place({u"a"_s});
        place.writeFile(u"a/closed"_s);
        QVERIFY(QFile::setPermissions(place.filePath(u"a/closed"_s), {}));
        QVERIFY(giveToNobody(place.directory.path()));
        Progress progress(stderr, {});
        Scan scan(place.session, progress, {}, [] { return false; });

        {
            const AsNobody asNobody;
            scan.run(place.root, place.root);
        }

        QCOMPARE(scan.counts().files.unreadable, 1);
        QCOMPARE(scan.counts().files.added, 1);
        QVERIFY(scan.counts().hasFindings());
        QCOMPARE(
            place.session.files()
                .GetFileConfigurationByClientPath(place.filePath(u"a/closed"_s))
                .getCheckSum(),
            QString());
    }

    void unreadableFolderLosesNothing_data()
    {
        QTest::addColumn<QFile::Permissions>("permissions");
        QTest::newRow("closed") << QFile::Permissions();
        // Its names can be read, but nothing can be said about what they stand for.
        QTest::newRow("not to be entered") << QFile::Permissions(QFile::ReadOwner);
    }

    void unreadableFolderLosesNothing()
    {
        QFETCH(const QFile::Permissions, permissions);
        Place place({u"a/b"_s});
        place.writeFile(u"a/file"_s);
        place.writeFile(u"a/b/deep"_s);
        Progress progress(stderr, {});
        Scan(place.session, progress, {}, [] { return false; }).run(place.root, place.root);
        QVERIFY(QFile::setPermissions(place.filePath(u"a"_s), permissions));
        QVERIFY(giveToNobody(place.directory.path()));
        Scan scan(place.session, progress, {Scan::HashMode::Changed, true}, [] { return false; });

        {
            const AsNobody asNobody;
            scan.run(place.root, place.root);
        }
        QFile::setPermissions(
            place.filePath(u"a"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

        QCOMPARE(scan.counts().folders.unreadable, 1);
        QCOMPARE(scan.counts().files.missing, 0);
        QCOMPARE(scan.counts().folders.missing, 0);
        QCOMPARE(place.storedFiles(), 2);
        QCOMPARE(place.registered(), 2);
    }

    void folderThatIsReadInPartLosesNothing()
    {
        Place place({u"a/b"_s});
        place.writeFile(u"a/file"_s);
        Progress progress(stderr, {});
        Scan(place.session, progress, {}, [] { return false; }).run(place.root, place.root);
        QVERIFY(QFile::remove(place.filePath(u"a/file"_s)));
        QVERIFY(QDir(place.rootPath()).rmdir(u"a/b"_s));
        Scan scan(place.session, progress, {Scan::HashMode::Changed, true}, [] { return false; });

        {
            const QByteArray folder = QFile::encodeName(place.filePath(u"a"_s));
            const sync::test::SystemCallWatch failing([folder](const sync::test::SystemCall& call) {
                return call.name == "readdir" && call.path == folder ? EIO : 0;
            });
            scan.run(place.root, place.root);
        }

        QCOMPARE(scan.counts().folders.unreadable, 1);
        QCOMPARE(scan.counts().files.missing, 0);
        QCOMPARE(scan.counts().folders.missing, 0);
        QCOMPARE(place.storedFiles(), 1);
        QCOMPARE(place.registered(), 2);
    }

    // Its path, and not its parent, says where it has to be.
    void folderBelowAnotherParentIsNotMissing()
    {
        Place place({u"a/b"_s, u"c"_s});
        place.writeFile(u"a/b/deep"_s);
        Progress progress(stderr, {});
        Scan(place.session, progress, {}, [] { return false; }).run(place.root, place.root);
        place.run(
            u"UPDATE FolderConfiguration SET parentId = (SELECT id FROM FolderConfiguration WHERE "
            u"clientPath = '%1') WHERE clientPath = '%2'"_s.arg(
                place.filePath(u"c"_s), place.filePath(u"a/b"_s)));
        Scan scan(place.session, progress, {Scan::HashMode::Changed, true}, [] { return false; });

        scan.run(place.root, place.root);

        QCOMPARE(scan.counts().folders.missing, 0);
        QCOMPARE(place.storedFiles(), 1);
        QCOMPARE(place.registered(), 3);
    }

    void fileThatChangesMeanwhileHasNoHash()
    {
        const Place place({u"a"_s});
        place.writeFile(u"a/file"_s);
        const QString path = place.filePath(u"a/file"_s);
        const auto before = readFileState(path);
        QVERIFY(before.has_value());
        QCOMPARE(hashFile(path, *before).outcome, FileHash::Outcome::Done);

        FileState earlier = *before;
        ++earlier.modifiedNs;

        QCOMPARE(hashFile(path, earlier).outcome, FileHash::Outcome::Unstable);
        QVERIFY(QFile::remove(path));
        QCOMPARE(hashFile(path, *before).outcome, FileHash::Outcome::Unstable);
    }

    void timesAreThoseOfTheLibrary()
    {
        Place place({u"a"_s});
        place.writeFile(u"a/file"_s);
        Progress progress(stderr, {});

        Scan(place.session, progress, {Scan::HashMode::Never, false}, [] {
            return false;
        }).run(place.root, place.root);

        QFileInfo file(place.filePath(u"a/file"_s));
        auto stored = place.session.files().GetFileConfigurationByClientPath(file.filePath());
        QVERIFY(place.session.files().FileAndConfigTimestampsAreEqual(file, stored));
        QCOMPARE(stored.getLastModifiedDateTime(), file.lastModified());
    }

    void databaseAndItsBackupsAreNoFilesOfTheUser()
    {
        Place place({u"folder"_s});
        place.root.setClientPath(place.directory.path());
        QVERIFY(place.session.folders().Update(place.root));
        using sync::database::DatabaseBackups;
        DatabaseBackups(place.session.databasePath()).make(DatabaseBackups::Reason::Manual);
        Progress progress(stderr, {});
        Scan scan(place.session, progress, {}, [] { return false; });

        scan.run(place.root, place.root);

        QCOMPARE(place.registered(), 2); // "root" and "folder" in it
        QCOMPARE(place.storedFiles(), 0);
    }

    void signalIsARequestWhileListenedTo()
    {
        const Interruption interruption;
        QVERIFY(!interruption.requested());
        QCOMPARE(interruption.exitCode(), ExitCode::Ok);

        std::raise(SIGTERM);

        QVERIFY(interruption.requested());
        QCOMPARE(interruption.exitCode(), ExitCode::Terminated);
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestScan)
#include "TestScan.moc"
