#include <tree/TreeWatch.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/SqliteDatabaseFactory.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <vector>

using namespace Qt::StringLiterals;
using sync::config::FolderConfigManager;
using sync::config::FolderConfiguration;
using sync::database::SqliteDatabaseFactory;

namespace sync::tree {

namespace {

/// Changes the disk step by step: each step waits until the records are as expected.
class Steps : public WatchObserver
{
public:
    struct Step
    {
        std::function<void()> change;
        QStringList expected; // recorded paths below the root, sorted
    };

    Steps()
        : factory(SqliteDatabaseFactory::open(directory.filePath(u"configuration.db"_s)))
    {
        QDir().mkpath(pathOf({}));
        root.setParentId(0);
        root.setClientPath(directory.filePath(u"root"_s));
        root.setServerPath(u"/server"_s);
        root.setFolderOption(config::WithSubfolders);
        folders->Add(root);
    }

    QString pathOf(const QString& name) const { return directory.filePath(u"root/"_s + name); }

    void write(const QString& name, const QByteArray& content = "content") const
    {
        QFile file(pathOf(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QStringList recorded()
    {
        QStringList paths;
        for (const auto& file : files.GetAll())
            paths += file.getClientPath().mid(root.getClientPath().size() + 1);
        paths.sort();
        return paths;
    }

    // Ends after the last step, or when a step does not come about.
    bool goOn() override
    {
        if (++looks > MostLooks)
            return false;
        if (recorded() != steps[step].expected)
            return true;
        looks = 0;
        if (++step == steps.size())
            return false;
        steps[step].change();
        return true;
    }

    void progress(const QString&, const ScanCounts&) override { ++visited; }

    QTemporaryDir directory;
    std::shared_ptr<SqliteDatabaseFactory> factory;
    std::shared_ptr<FolderConfigManager> folders =
        std::make_shared<FolderConfigManager>(factory, nullptr);
    config::FileConfigManager files{
        factory, std::make_shared<config::Sha256FileHash>(), nullptr, folders};
    FolderConfiguration root;
    std::vector<Step> steps;
    std::size_t step = 0;
    int visited = 0;

private:
    static constexpr int MostLooks = 40; // of half a second
    int looks = 0;
};

} // namespace

class TestTreeWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsFollowTheDisk()
    {
        Steps steps;
        steps.write(u"first"_s);
        steps.steps = {
            {{}, {u"first"_s}},
            {[&] { steps.write(u"second"_s); }, {u"first"_s, u"second"_s}},
            {[&] {
                 QVERIFY(QDir().mkpath(steps.pathOf(u"a/b"_s)));
                 steps.write(u"a/b/deep"_s);
             },
             {u"a/b/deep"_s, u"first"_s, u"second"_s}},
            {[&] { steps.write(u"a/b/later"_s); },
             {u"a/b/deep"_s, u"a/b/later"_s, u"first"_s, u"second"_s}},
            {[&] { QVERIFY(QDir().rename(steps.pathOf(u"a"_s), steps.pathOf(u"c"_s))); },
             {u"c/b/deep"_s, u"c/b/later"_s, u"first"_s, u"second"_s}},
            {[&] { steps.write(u"c/b/last"_s); },
             {u"c/b/deep"_s, u"c/b/last"_s, u"c/b/later"_s, u"first"_s, u"second"_s}}};

        TreeWatch(TreeStore::of(steps.factory), steps, {}).run(steps.root);

        QCOMPARE(steps.step, steps.steps.size());
    }

    void changeOfAFileReadsItsFolderAlone()
    {
        Steps steps;
        QVERIFY(QDir().mkpath(steps.pathOf(u"a"_s)));
        QVERIFY(QDir().mkpath(steps.pathOf(u"b"_s)));
        for (int number = 0; number < 50; ++number)
            steps.write(u"b/%1"_s.arg(number, 2, 10, QChar(u'0')));
        QStringList before;
        for (int number = 0; number < 50; ++number)
            before += u"b/%1"_s.arg(number, 2, 10, QChar(u'0'));
        int visitedBefore = 0;
        steps.steps = {
            {{}, before},
            {[&] {
                 visitedBefore = steps.visited;
                 steps.write(u"a/new"_s);
             },
             QStringList{u"a/new"_s} + before}};

        TreeWatch(TreeStore::of(steps.factory), steps, {}).run(steps.root);

        QCOMPARE(steps.step, steps.steps.size());
        QCOMPARE(steps.visited - visitedBefore, 2); // the folder and its file
    }
};

} // namespace sync::tree

QTEST_GUILESS_MAIN(sync::tree::TestTreeWatch)
#include "TestTreeWatch.moc"
