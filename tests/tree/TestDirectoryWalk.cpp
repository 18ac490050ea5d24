#include <tree/walk/DirectoryWalk.h>

#include <base/FilePaths.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::tree {

namespace {

class Tree
{
public:
    QString root() const { return directory.path(); }
    void makeFolder(const QString& path) const { QVERIFY(QDir(root()).mkpath(path)); }
    void makeFile(const QString& path) const
    {
        QFile file(root() + u'/' + path);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }

private:
    QTemporaryDir directory;
};

struct Walked
{
    QStringList folders; // relative to the root, which is left out
    QStringList files;
    QStringList others; // links, pipes, sockets and devices
    QStringList incomplete;
    QList<TreeProblem> problems;
};

Walked walk(const QString& root, DirectoryWalk::Depth depth = DirectoryWalk::Depth::All)
{
    Walked walked;
    DirectoryWalk walk(
        root, depth, [&walked](const TreeProblem& problem) { walked.problems += problem; });
    const auto relative = [&root](const QString& path) {
        return path.mid(root.size() + (root.endsWith(u'/') ? 0 : 1));
    };
    while (const auto* const folder = walk.next()) {
        if (folder->path != root)
            walked.folders += relative(folder->path);
        if (!folder->complete)
            walked.incomplete += relative(folder->path);
        for (const DirectoryWalk::Entry& entry : folder->entries) {
            const QString path = relative(
                base::joinPath(folder->path, base::textOfName(entry.name).value_or(QString())));
            (entry.regular ? walked.files : walked.others) += path;
        }
    }
    return walked;
}

} // namespace

class TestDirectoryWalk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void visitsFoldersParentsFirstAndSorted()
    {
        const Tree tree;
        for (const QString& path : {u"b/2"_s, u"b/10"_s, u"a b"_s, u"\u00e9"_s, u".h"_s, u"B"_s})
            tree.makeFolder(path);

        const Walked walked = walk(tree.root());

        QCOMPARE(
            walked.folders,
            (QStringList{u".h"_s, u"B"_s, u"a b"_s, u"b"_s, u"b/10"_s, u"b/2"_s, u"\u00e9"_s}));
        QVERIFY(walked.problems.isEmpty());
    }

    void doesNotFollowLinks()
    {
        const Tree tree;
        const Tree other;
        other.makeFolder(u"inside"_s);
        tree.makeFolder(u"folder"_s);
        tree.makeFile(u"file"_s);
        QVERIFY(QFile::link(other.root(), tree.root() + u"/link"_s));
        QVERIFY(QFile::link(tree.root(), tree.root() + u"/folder/loop"_s));

        const Walked walked = walk(tree.root());

        QCOMPARE(walked.folders, QStringList{u"folder"_s});
        QVERIFY(walked.problems.isEmpty());
    }

    void tellsFilesFromLinksAndPipes()
    {
        const Tree tree;
        tree.makeFolder(u"folder"_s);
        tree.makeFile(u"folder/b"_s);
        tree.makeFile(u"folder/a"_s);
        tree.makeFile(u"file"_s);
        tree.makeFile(u"x.{SyncTemp}"_s);
        // A mark that is part of the name.
        tree.makeFile(u"\ufeffmarked"_s);
        QVERIFY(QFile::link(tree.root() + u"/file"_s, tree.root() + u"/link"_s));
        QCOMPARE(::mkfifo(QFile::encodeName(tree.root() + u"/pipe"_s).constData(), 0600), 0);

        const Walked walked = walk(tree.root());

        QCOMPARE(
            walked.files,
            (QStringList{u"file"_s, u"\ufeffmarked"_s, u"folder/a"_s, u"folder/b"_s}));
        QCOMPARE(walked.others, (QStringList{u"link"_s, u"pipe"_s}));
        QVERIFY(walked.incomplete.isEmpty());
    }

    void topLevelEndsWithTheRoot()
    {
        const Tree tree;
        tree.makeFolder(u"folder"_s);
        tree.makeFile(u"folder/a"_s);
        tree.makeFile(u"file"_s);

        const Walked walked = walk(tree.root(), DirectoryWalk::Depth::TopLevel);

        QCOMPARE(walked.files, QStringList{u"file"_s});
        QVERIFY(walked.folders.isEmpty());
    }

    void followsTheRootItself()
    {
        const Tree tree;
        tree.makeFolder(u"real/inside"_s);
        QVERIFY(QFile::link(tree.root() + u"/real"_s, tree.root() + u"/link"_s));

        QCOMPARE(walk(tree.root() + u"/link"_s).folders, QStringList{u"inside"_s});
    }

    void passesOverScratchFolderInAnyCase()
    {
        const Tree tree;
        tree.makeFolder(u".{SyncTemp}/inside"_s);
        tree.makeFolder(u"a/.{sYNCtEMP}"_s);
        tree.makeFolder(u"a/.{SyncBackup}"_s);

        QCOMPARE(walk(tree.root()).folders, (QStringList{u"a"_s, u"a/.{SyncBackup}"_s}));
    }

    void invalidNamesAreReportedAndNotEntered()
    {
        const Tree tree;
        tree.makeFolder(u"good"_s);
        const QByteArray bad = QFile::encodeName(tree.root()) + "/bad\xff";
        QCOMPARE(::mkdir(bad.constData(), 0700), 0);
        QCOMPARE(::mkdir((bad + "/inside").constData(), 0700), 0);
        const QByteArray badFile = QFile::encodeName(tree.root()) + "/good/file\xff";
        QCOMPARE(::mknod(badFile.constData(), S_IFREG | 0600, 0), 0);

        const Walked walked = walk(tree.root());
        ::rmdir((bad + "/inside").constData());
        ::rmdir(bad.constData());
        ::unlink(badFile.constData());

        QCOMPARE(walked.folders, QStringList{u"good"_s});
        QCOMPARE(walked.problems.size(), 2);
        QCOMPARE(walked.problems.first().kind, TreeProblem::Kind::InvalidFolderName);
        QCOMPARE(walked.problems.first().path, bad);
        QCOMPARE(walked.problems.last().kind, TreeProblem::Kind::InvalidFileName);
        QCOMPARE(walked.problems.last().path, badFile);
        QVERIFY(walked.files.isEmpty());
    }

    void unreadableFolderIsVisitedAndReported()
    {
        const Tree tree;
        tree.makeFolder(u"closed/inside"_s);
        tree.makeFolder(u"open"_s);
        const QByteArray closed = QFile::encodeName(tree.root() + u"/closed"_s);
        QCOMPARE(::chmod(closed.constData(), 0), 0);
        // Permissions do not restrict root, who continues as another user for this.
        const bool isRoot = ::geteuid() == 0;
        constexpr uid_t Nobody = 65534;
        if (isRoot) {
            QCOMPARE(::chmod(QFile::encodeName(tree.root()).constData(), 0755), 0);
            QCOMPARE(::seteuid(Nobody), 0);
        }

        const Walked walked = walk(tree.root());
        if (isRoot)
            QCOMPARE(::seteuid(0), 0);
        QCOMPARE(::chmod(closed.constData(), 0700), 0);

        QCOMPARE(walked.folders, (QStringList{u"closed"_s, u"open"_s}));
        QCOMPARE(walked.incomplete, QStringList{u"closed"_s});
        QCOMPARE(walked.problems.size(), 1);
        QCOMPARE(walked.problems.first().kind, TreeProblem::Kind::UnreadableFolder);
        QCOMPARE(walked.problems.first().path, closed);
        QCOMPARE(walked.problems.first().error, EACCES);
    }

    void missingRootIsReported()
    {
        const Tree tree;

        const Walked walked = walk(tree.root() + u"/none"_s);

        QVERIFY(walked.folders.isEmpty());
        QCOMPARE(walked.problems.size(), 1);
        QCOMPARE(walked.problems.first().error, ENOENT);
    }

    void folderThatVanishesIsNoTrouble()
    {
        const Tree tree;
        tree.makeFolder(u"a"_s);
        tree.makeFolder(u"b"_s);
        int problems = 0;
        DirectoryWalk walk(tree.root(), DirectoryWalk::Depth::All, [&problems](const TreeProblem&) {
            ++problems;
        });

        QVERIFY(walk.next());
        const QString first = walk.next()->path;
        QVERIFY(QDir(tree.root()).rmdir(u"b"_s));
        const auto* const second = walk.next();

        QCOMPARE(first, tree.root() + u"/a"_s);
        QVERIFY(!second);
        QCOMPARE(problems, 0);
    }

    void descendsByTheNameOnTheDisk()
    {
        const Tree tree;
        tree.makeFolder(u"disk/inside"_s);
        DirectoryWalk walk(tree.root(), DirectoryWalk::Depth::All, [](const TreeProblem&) {});

        DirectoryWalk::Folder* const root = walk.next();
        QVERIFY(root);
        QCOMPARE(root->folders.size(), size_t(1));
        root->folders.front().path = tree.root() + u"/record"_s;

        QStringList paths;
        while (const auto* const folder = walk.next())
            paths += folder->path;
        QCOMPARE(
            paths, QStringList({tree.root() + u"/record"_s, tree.root() + u"/record/inside"_s}));
    }

    void folderThatBecomesALinkIsNotEntered()
    {
        const Tree tree;
        const Tree other;
        other.makeFolder(u"inside"_s);
        tree.makeFolder(u"a"_s);
        DirectoryWalk walk(tree.root(), DirectoryWalk::Depth::All, [](const TreeProblem&) {});
        QVERIFY(walk.next());

        QVERIFY(QDir(tree.root()).rmdir(u"a"_s));
        QVERIFY(QFile::link(other.root(), tree.root() + u"/a"_s));

        QVERIFY(!walk.next());
    }

    void deepTreeIsWalkedToItsEnd()
    {
        const Tree tree;
        constexpr int Depth = 500;
        QString path;
        for (int depth = 0; depth < Depth; ++depth)
            path += u"d/"_s;
        tree.makeFolder(path);

        QCOMPARE(walk(tree.root()).folders.size(), Depth);
    }
};

} // namespace sync::tree

QTEST_GUILESS_MAIN(sync::tree::TestDirectoryWalk)
#include "TestDirectoryWalk.moc"
