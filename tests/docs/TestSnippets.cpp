// The C++ that the pages show, as code that compiles and runs: each block of a page stands, line
// for line, in this file or in an example.

#include <config/AuthenticationConfigManager.h>
#include <config/AuthenticationConfiguration.h>
#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/PasswordKeys.h>
#include <config/ServerConfigManager.h>
#include <config/Sha256FileHash.h>
#include <core/FileKeyStore.h>
#include <core/HostKeyStore.h>
#include <core/SecretText.h>
#include <database/ChangeNotifier.h>
#include <database/ErrorGuard.h>
#include <database/HostTransaction.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;
using sync::config::AuthenticationConfigManager;
using sync::config::AuthenticationConfiguration;
using sync::config::FileConfigManager;
using sync::config::FileConfiguration;
using sync::config::FolderConfigManager;
using sync::config::ServerConfigManager;
using sync::config::ServerConfiguration;
using sync::database::ChangeNotifier;
using sync::database::HostTransaction;
using sync::database::RecordKind;
using sync::database::RecordKinds;
using sync::database::SqliteDatabaseFactory;

namespace {

using Factory = std::shared_ptr<SqliteDatabaseFactory>;

void tellTheUser(const QString& text)
{
    qInfo().noquote() << text;
}

QStringList removed;

void removeWhatIsNotIn(const QVector<FileConfiguration>& stored)
{
    removed.append(QString::number(stored.size()));
}

FileConfigManager fileManager(const Factory& factory)
{
    return FileConfigManager(
        factory, std::make_shared<sync::config::Sha256FileHash>(), nullptr,
        std::make_shared<FolderConfigManager>(factory, nullptr));
}

FileConfiguration fileAt(const QString& clientPath)
{
    FileConfiguration file;
    file.setClientPath(clientPath);
    return file;
}

bool addAll(const Factory& factory, QVector<FileConfiguration>& files)
{
    FileConfigManager manager = fileManager(factory);
    HostTransaction transaction(*factory);
    if (!transaction.isOpen())
        return false;
    for (auto& file : files) {
        if (!manager.Add(file))
            return false; // rolls back
    }
    return transaction.commit(); // true: all of it is on the disk
}

bool addSignIn(AuthenticationConfigManager& signIns, const SecureBytes& bytes)
{
    const auto password = SecretText::fromUtf8(bytes); // nothing if it is not UTF-8
    if (!password)
        return false;
    AuthenticationConfiguration signIn; // refers to the text, which has to outlive it
    signIn.setPassword(password->view());
    return signIns.Add(signIn);
}

void removeUnlessAReadFailed(const Factory& factory)
{
    FileConfigManager manager = fileManager(factory);
    const sync::database::ErrorGuard guard(*factory);
    const auto stored = manager.GetAll();
    if (guard.failed())
        return tellTheUser(factory->lastFailure()->text);
    removeWhatIsNotIn(stored);
}

/// The blocks of a page in a language, each as its lines without their indentation.
QList<QStringList> blocksOf(const QString& page, const QString& language)
{
    const QRegularExpression form(
        u"^```%1\\n(.*?)^```"_s.arg(language),
        QRegularExpression::MultilineOption | QRegularExpression::DotMatchesEverythingOption);
    QList<QStringList> blocks;
    for (const auto& match : form.globalMatch(page)) {
        QStringList lines;
        for (const auto& line : match.capturedView(1).split(u'\n', Qt::SkipEmptyParts))
            lines.append(line.trimmed().toString());
        blocks.append(lines);
    }
    return blocks;
}

QString readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// The lines of a source without indentation and empty lines, each between two line feeds.
QString strippedSource(const QString& path)
{
    QString text = u"\n"_s;
    for (const QString& line : readAll(path).split(u'\n')) {
        if (!line.trimmed().isEmpty())
            text += line.trimmed() + u'\n';
    }
    return text;
}

QStringList filesBelow(const QString& folder, const QString& pattern)
{
    QStringList paths;
    QDirIterator files(
        QStringLiteral(VELMIO_SOURCE_DIRECTORY "/") + folder, {pattern}, QDir::Files,
        QDirIterator::Subdirectories);
    while (files.hasNext())
        paths.append(files.next());
    paths.sort();
    return paths;
}

} // namespace

class TestSnippets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void everyBlockOfAPageIsBuiltAndNamesItsHeaders();
    void everyNamedTestExists();
    void oneOperationTellsItsFailure();
    void manyOperationsAreOneTransaction();
    void aPasswordIsStoredFromSecureBytes();
    void aScopeJoinsTheStepsOfARemoval();
    void nothingIsRemovedAfterAFailedRead();
    void aHostAcceptsThePasswordsOfABackup();
    void aHostKeepsTheKeyItself();
    void aHostClearsItsCachesWhenFoldersChange();

private:
    std::unique_ptr<QTemporaryDir> folder;
    Factory factory;
};

void TestSnippets::init()
{
    folder = std::make_unique<QTemporaryDir>();
    factory = SqliteDatabaseFactory::open(folder->filePath(u"store.db"_s));
    removed.clear();
}

void TestSnippets::everyBlockOfAPageIsBuiltAndNamesItsHeaders()
{
    QStringList sources;
    for (const auto& room :
         {u"tests/docs"_s, u"tests/testkit"_s, u"tests/consumers"_s, u"examples"_s}) {
        for (const QString& path :
             filesBelow(room, u"*.cpp"_s) + filesBelow(room, u"CMakeLists.txt"_s))
            sources.append(strippedSource(path));
    }
    const auto stands = [&sources](const QStringList& code, const QStringList& includes) {
        const QString text = u'\n' + code.join(u'\n') + u'\n';
        return std::any_of(sources.begin(), sources.end(), [&](const QString& source) {
            return source.contains(text) &&
                   std::all_of(includes.begin(), includes.end(), [&source](const QString& line) {
                       return source.contains(u'\n' + line + u'\n');
                   });
        });
    };

    QStringList nowhere;
    QStringList withoutHeaders; // a reader cannot find out where the names come from
    qsizetype blocks = 0;
    const QString readme = QStringLiteral(VELMIO_SOURCE_DIRECTORY "/README.md");
    for (const QString& page : filesBelow(u"docs"_s, u"*.md"_s) + QStringList{readme}) {
        for (const QString& language : {u"cpp"_s, u"cmake"_s}) {
            for (const QStringList& block : blocksOf(readAll(page), language)) {
                ++blocks;
                const QStringList includes = block.filter(QRegularExpression(u"^#include"_s));
                const QStringList code = block.mid(includes.size());
                const QString place = page.section(u'/', -1) + u": "_s + code.first();
                if (!stands(code, includes))
                    nowhere.append(place);
                if (language == u"cpp" && includes.isEmpty())
                    withoutHeaders.append(place);
            }
        }
    }

    QVERIFY(blocks > 10);
    QVERIFY2(nowhere.isEmpty(), qPrintable(nowhere.join(u"\n"_s)));
    QVERIFY2(withoutHeaders.isEmpty(), qPrintable(withoutHeaders.join(u"\n"_s)));
}

// The page of the security model promises nothing that no test shows.
void TestSnippets::everyNamedTestExists()
{
    static const QRegularExpression name(u"`((?:Test|Fuzz)[A-Za-z]+)(?:::([A-Za-z]+))?`"_s);
    QStringList missing;
    auto names = name.globalMatch(
        readAll(QStringLiteral(VELMIO_SOURCE_DIRECTORY "/docs/security-model.md")));
    QVERIFY(names.hasNext());
    while (names.hasNext()) {
        const auto named = names.next();
        const QStringList sources = filesBelow(u"tests"_s, named.captured(1) + u".cpp"_s);
        const QString slot = u"void "_s + named.captured(2);
        if (sources.isEmpty() ||
            (named.hasCaptured(2) && !readAll(sources.constFirst()).contains(slot + u"()"_s)))
            missing += named.captured();
    }

    QVERIFY2(missing.isEmpty(), qPrintable(missing.join(u"\n"_s)));
}

void TestSnippets::oneOperationTellsItsFailure()
{
    ServerConfigManager servers(factory);
    ServerConfiguration server;

    if (!servers.Add(server)) // false: nothing of it is in the database
        tellTheUser(factory->lastFailure()->text);

    QCOMPARE(server.getId(), 1);
}

void TestSnippets::manyOperationsAreOneTransaction()
{
    QVector<FileConfiguration> files{fileAt(u"/home/kim/a"_s), fileAt(u"/home/kim/b"_s)};
    QVector<FileConfiguration> withoutAPath{fileAt(u"/home/kim/c"_s), FileConfiguration()};

    QVERIFY(addAll(factory, files));
    QVERIFY(!addAll(factory, withoutAPath));

    QCOMPARE(fileManager(factory).GetAll().size(), 2);
}

void TestSnippets::aPasswordIsStoredFromSecureBytes()
{
    setKeyStore(std::make_shared<HostKeyStore>(QByteArray(32, 'k')));
    AuthenticationConfigManager signIns(factory);
    const auto bytesOf = [](const char* text) {
        const auto* const first = reinterpret_cast<const unsigned char*>(text);
        return SecureBytes::copyOf({first, std::strlen(text)});
    };

    QVERIFY(addSignIn(signIns, bytesOf("s\xc3\xa9same")));
    QVERIFY(!addSignIn(signIns, bytesOf("\xff")));

    QCOMPARE(signIns.GetAll().size(), 1);
    QCOMPARE(signIns.GetAll().constFirst().getPassword(), u"s\u00e9same"_s);
    setKeyStore(nullptr);
}

void TestSnippets::aScopeJoinsTheStepsOfARemoval()
{
    FolderConfigManager folders(factory, nullptr);
    sync::config::FolderConfiguration root;
    root.setParentId(0);
    QVERIFY(folders.Add(root));
    const int rootId = root.getId();

    {
        sync::database::TransactionalScope scope;
        folders.CleanRootFolder(rootId); // its steps are one transaction
    }

    QVERIFY(folders.GetAll().isEmpty());
}

void TestSnippets::nothingIsRemovedAfterAFailedRead()
{
    removeUnlessAReadFailed(factory);

    QCOMPARE(removed, QStringList{u"0"_s});
}

void TestSnippets::aHostAcceptsThePasswordsOfABackup()
{
    using sync::config::PasswordKeys;
    PasswordKeys(factory).useCurrentKey(PasswordKeys::Accept::Earlier); // after restore()

    QCOMPARE(PasswordKeys(factory).putBackIds(), QVector<int>());
}

void TestSnippets::aHostKeepsTheKeyItself()
{
    const QByteArray secretOfThisUser(32, 'k');

    sync::config::PasswordKeys keys(factory);
    keys.use(std::make_shared<sync::core::crypto::HostKeyStore>(secretOfThisUser));
    QCOMPARE(sync::core::crypto::keyStore()->backend(), sync::core::crypto::KeyBackend::Host);

    // The host hands the key over, so that only a store of ours can change it.
    keys.use(std::make_shared<sync::core::crypto::FileKeyStore>(folder->filePath(u"key"_s)));
    const auto outcome = keys.changeKey(); // the new key is durable before the first password
    if (!outcome.succeeded || !outcome.unreadableIds.isEmpty())
        tellTheUser(u"Some passwords have to be entered again."_s);
    keys.dropUnusedKeys(); // from a day after they were replaced

    QVERIFY(outcome.succeeded);
}

void TestSnippets::aHostClearsItsCachesWhenFoldersChange()
{
    FolderConfigManager folders(factory, nullptr);
    QVERIFY(folders.GetAll().isEmpty());

    const ChangeNotifier notifier(factory);
    QObject::connect(&notifier, &ChangeNotifier::changed, [&](RecordKinds kinds) {
        if (kinds.testFlag(RecordKind::Folder))
            folders.ClearCaches(); // the next GetAll() reads the database
    });

    RecordKinds changes;
    const auto listening = factory->onChange([&](RecordKinds kinds) { changes |= kinds; });

    const auto query = factory->CreateQuery();
    query->prepare(u"INSERT INTO FolderConfiguration (parentId) VALUES (0)"_s);
    QVERIFY(query->exec());
    QCOMPARE(changes, RecordKind::Folder);
    QCoreApplication::processEvents();
    QCOMPARE(folders.GetAll().size(), 1);
}

QTEST_GUILESS_MAIN(TestSnippets)
#include "TestSnippets.moc"
