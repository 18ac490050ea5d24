#include <config/FileBatch.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <faults/support/NthQueryFails.h>
#include <interf/IDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <interf/IRefreshNativeFileViewer.h>
#include <support/Engines.h>

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace {

QString engine()
{
    QFETCH_GLOBAL(QString, engine);
    return engine;
}

class NotingViewer : public sync::interf::IRefreshNativeFileViewer
{
public:
    void Refresh(QString path) override { refreshed.append(path); }

    QStringList refreshed;
};

/// A store with a root folder, whose records depend on nothing but the order of operations.
class Store
{
public:
    explicit Store(const QString& rootPath)
        : database(sync::test::openEngine(engine(), directory.filePath(u"database"_s)))
    {
        FolderConfiguration root;
        root.setParentId(0);
        root.setClientPath(rootPath);
        root.setServerPath(u"/server"_s);
        if (!folders->Add(root))
            qFatal("Cannot add the root folder");
    }

    /// All rows of the tables that an addition may change.
    QStringList rows() const
    {
        QStringList all;
        for (const QString& table :
             {u"FileConfiguration"_s, u"BaseFileConfiguration"_s, u"GeneratedFileConfiguration"_s,
              u"FolderConfiguration"_s}) {
            const auto query = database->CreateQuery();
            query->prepare(u"SELECT * FROM %1 ORDER BY id"_s.arg(table));
            if (!query->exec())
                qFatal("%s", qPrintable(query->lastError()));
            while (query->next()) {
                QStringList row{table};
                // One engine has the name of the store in each row.
                for (int column = 0; column < 25; ++column)
                    row += query->value(column).toString().remove(directory.path());
                all += row.join(u'|');
            }
        }
        return all;
    }

    QTemporaryDir directory;
    std::shared_ptr<sync::interf::factory::IDatabaseFactory> database;
    std::shared_ptr<NotingViewer> viewer = std::make_shared<NotingViewer>();
    std::shared_ptr<FolderConfigManager> folders =
        std::make_shared<FolderConfigManager>(database, nullptr);
    FileConfigManager files{database, std::make_shared<Sha256FileHash>(), viewer, folders};
};

/// Random records: with paths of a few folders, so that some are the same file, of all types and
/// none, with and without links to files that exist.
class Records
{
public:
    Records()
    {
        QDir().mkpath(root());
        for (int number = 0; number < Paths; ++number) {
            QFile file(pathOf(number));
            if (!file.open(QIODevice::WriteOnly))
                qFatal("Cannot make a file");
        }
    }

    QString root() const { return directory.filePath(u"root"_s); }

    QVector<FileConfiguration> next()
    {
        QVector<FileConfiguration> files(random.bounded(1, 400));
        for (FileConfiguration& file : files)
            fill(file);
        return files;
    }

private:
    static constexpr int Paths = 250;

    QString pathOf(int number) const { return root() + u"/file%1"_s.arg(number); }
    QString anyPath() { return pathOf(random.bounded(Paths)); }

    void fill(FileConfiguration& file)
    {
        if (random.bounded(50) > 0)
            file.setClientPath(anyPath());
        file.setName(u"name %1"_s.arg(random.bounded(1000)));
        file.setFolderConfigurationId(random.bounded(1, 3));
        file.setRootFolderId(1);
        file.setSize(random.bounded(1000));
        file.setLastModifiedDateTime(
            QDateTime::fromMSecsSinceEpoch(random.bounded(1'000'000'000), Qt::UTC));
        // Mostly ordinary ones; type 4 does not exist.
        file.setFileType(
            static_cast<FileConfigurationType>(random.bounded(10) > 0 ? 0 : random.bounded(5)));
        if (random.bounded(3) == 0)
            file.setSyncStatus(FileCreated);
        if (random.bounded(5) == 0)
            file.setNameValueProperties({{u"key"_s, file.getName()}});
        if (random.bounded(40) == 0) {
            FileLink link;
            link.Path = anyPath();
            file.setFileLinks({link});
        }
    }

    QTemporaryDir directory;
    QRandomGenerator random{7};
};

} // namespace

/// A batch does what the additions of its records do one by one, over each engine.
class TestFileBatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data() { sync::test::addEngineRows(); }

    void equalsAdditionsOneByOne()
    {
        Records records;
        Store single(records.root());
        Store batched(records.root());
        for (int round = 0; round < 12; ++round) {
            QVector<FileConfiguration> one = records.next();
            QVector<FileConfiguration> all = one;

            QVector<int> expected;
            for (FileConfiguration& file : one)
                expected += single.files.Add(file) ? file.getId() : -1;
            const QVector<int> ids = FileBatch(batched.files).Add(all);

            QCOMPARE(ids, expected);
            for (qsizetype at = 0; at < all.size(); ++at)
                QCOMPARE(all[at].getId(), one[at].getId());
            QCOMPARE(batched.rows(), single.rows());
            QCOMPARE(batched.viewer->refreshed, single.viewer->refreshed);
        }
        QVERIFY(single.rows().size() > 500);
    }

    void joinsTheTransactionOfTheThread()
    {
        Records records;
        Store store(records.root());
        QVector<FileConfiguration> files = records.next();
        const QStringList before = store.rows();

        QVERIFY(store.files.transaction());
        QVERIFY(FileBatch(store.files).Add(files).constFirst() > 0);
        QVERIFY(store.files.rollback());

        QCOMPARE(store.rows(), before);
    }

    void addsNothingWhenDuplicatesCannotBeRead()
    {
        Records records;
        Store store(records.root());
        QVector<FileConfiguration> files = records.next();
        const auto failing = std::make_shared<sync::test::NthQueryFails>(store.database);
        FileConfigManager manager(
            failing, std::make_shared<Sha256FileHash>(), nullptr, store.folders);
        failing->failExec(1);

        const QVector<int> ids = FileBatch(manager).Add(files);

        QCOMPARE(std::count(ids.begin(), ids.end(), -1), ids.size());
        QCOMPARE(store.rows().size(), 1); // the root folder
    }

    void emptyBatchDoesNothing()
    {
        Store store(u"/root"_s);
        QVector<FileConfiguration> files;

        QCOMPARE(FileBatch(store.files).Add(files), QVector<int>());
    }
};

QTEST_GUILESS_MAIN(TestFileBatch)
#include "TestFileBatch.moc"
