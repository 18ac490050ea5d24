#include "PseudoTerminal.h"
#include "VelmioctlRunner.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Runs over the servers 1 and 2, and product 1.
namespace {

const QStringList AddDesktop{
    u"add"_s,        u"--server"_s,       u"1"_s,    u"--name"_s,
    u"Desktop"_s,    u"--consumer-key"_s, u"ck-5"_s, u"--secret-stdin"_s,
    u"--property"_s, u"Region=x"_s,
};

const QJsonObject Desktop{
    {u"id"_s, 1},
    {u"serverId"_s, 1},
    {u"name"_s, u"Desktop"_s},
    {u"consumerKey"_s, u"ck-5"_s},
    {u"secretStored"_s, true},
    {u"properties"_s, QJsonObject{{u"Region"_s, u"x"_s}}},
};

} // namespace

class TestVelmioctlProduct : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(tool->execute(u"INSERT INTO ServerConfiguration (id) VALUES (1), (2)"_s));
        QCOMPARE(feed(AddDesktop, "first secret\nmore\n").exitCode, 0);
    }

    void cleanup() { tool.reset(); }

    void addStoresWhatIsGiven()
    {
        QCOMPARE(json({u"show"_s, u"1"_s}).object(), Desktop);
        QCOMPARE(revealed(), u"first secret"_s);
    }

    void secretIsShownOnRequestOnly()
    {
        const auto hidden = run({u"show"_s, u"1"_s});
        const auto shown = run({u"show"_s, u"1"_s, u"--reveal"_s});

        QVERIFY(hidden.output.contains(u"consumer secret  ********\n"_s));
        QVERIFY(shown.output.contains(u"consumer secret  first secret\n"_s));
    }

    void listTellsWhetherASecretIsStored()
    {
        QVERIFY(tool->execute(u"INSERT INTO ProductConfiguration (name, consumerKey, serverId)"
                              u" VALUES ('Phone', 'ck-6', 2)"_s));

        QCOMPARE(
            run({u"list"_s}).output, u"ID  SERVER  SECRET  CONSUMER KEY  NAME\n"
                                     u" 1       1  set     ck-5          Desktop\n"
                                     u" 2       2  none    ck-6          Phone\n"_s);
        const QJsonArray ofOneServer = json({u"list"_s, u"--server"_s, u"1"_s}).array();
        QCOMPARE(ofOneServer.size(), 1);
        QCOMPARE(ofOneServer[0].toObject(), Desktop);
        QVERIFY(
            run({u"list"_s, u"--server"_s, u"3"_s}).errors.contains(u"velmioctl product add"_s));
        QCOMPARE(
            json({u"show"_s, u"2"_s, u"--reveal"_s}).object()[u"consumerSecret"_s],
            QJsonValue(QJsonValue::Null));
    }

    void setKeepsSecretAndProperties()
    {
        QJsonObject expected = Desktop;
        expected[u"name"_s] = u"Renamed"_s;

        const auto changed = json({u"set"_s, u"1"_s, u"--name"_s, u"Renamed"_s});

        QCOMPARE(changed.object(), expected);
        QCOMPARE(revealed(), u"first secret"_s);
    }

    void setChangesOnlyWhatIsGiven()
    {
        QJsonObject expected = Desktop;
        expected[u"serverId"_s] = 2;
        expected[u"consumerKey"_s] = u"ck-7"_s;
        expected[u"properties"_s] = QJsonObject{{u"Zone"_s, u"y"_s}};

        const auto changed = json(
            {u"set"_s, u"1"_s, u"--server"_s, u"2"_s, u"--consumer-key"_s, u"ck-7"_s,
             u"--property"_s, u"Zone=y"_s, u"--unset-property"_s, u"Region"_s});

        QCOMPARE(changed.object(), expected);
        QCOMPARE(revealed(), u"first secret"_s);
    }

    void setStoresANewSecret()
    {
        QCOMPARE(feed({u"set"_s, u"1"_s, u"--secret-stdin"_s}, "second secret\n").exitCode, 0);

        QCOMPARE(json({u"show"_s, u"1"_s}).object(), Desktop);
        QCOMPARE(revealed(), u"second secret"_s);
    }

    void setAsksForANewSecretAtATerminal()
    {
        PseudoTerminal terminal(*tool, {u"product"_s, u"set"_s, u"1"_s, u"--secret"_s});

        QVERIFY(terminal.waitFor("New secret: "));
        const bool echo = terminal.hasEcho();
        terminal.type("typed one\n");
        QVERIFY(terminal.waitFor("Repeat it: "));
        terminal.type("typed one\n");

        QCOMPARE(terminal.exitCode(), 0);
        QVERIFY(!echo);
        QVERIFY(!terminal.transcript().contains("typed"));
        QCOMPARE(revealed(), u"typed one"_s);
    }

    void removeNamesWhatRefersToIt()
    {
        const QStringList tables{
            u"FolderConfiguration"_s, u"FileConfiguration"_s, u"GeneratedFileConfiguration"_s,
            u"BaseFileConfiguration"_s};
        for (const QString& table : tables) {
            QVERIFY(tool->execute(
                u"INSERT INTO %1 (clientPath, productConfigurationId) VALUES ('/of/%1', 1)"_s.arg(
                    table)));
        }

        const auto unasked = run({u"remove"_s, u"1"_s});
        const auto agreed = json({u"remove"_s, u"1"_s, u"--yes"_s});

        const QString staying =
            u"base copies 1 (\"/of/BaseFileConfiguration\"); files 1 (\"/of/FileConfiguration\"); "
            u"folders 1 (\"/of/FolderConfiguration\"); generated files 1 "
            u"(\"/of/GeneratedFileConfiguration\")"_s;
        QCOMPARE(unasked.exitCode, 2);
        QVERIFY(unasked.errors.contains(staying));
        QCOMPARE(agreed.object(), (QJsonObject{{u"id"_s, 1}, {u"removed"_s, true}}));
        QVERIFY(agreed.errors.contains(staying));
        QCOMPARE(json({u"list"_s}).array().size(), 0);
    }

    void unknownIsNotFound_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("remedy");
        const QString products = u"velmioctl product list"_s;
        QTest::newRow("show") << QStringList{u"show"_s, u"9"_s} << products;
        QTest::newRow("set") << QStringList{u"set"_s, u"9"_s, u"--name"_s, u"x"_s} << products;
        QTest::newRow("remove") << QStringList{u"remove"_s, u"9"_s, u"--yes"_s} << products;
        QTest::newRow("server") << QStringList{u"set"_s, u"1"_s,        u"--name"_s,
                                               u"x"_s,   u"--server"_s, u"9"_s}
                                << u"velmioctl server list"_s;
    }

    void unknownIsNotFound()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, remedy);

        const auto answer = run(arguments);

        QCOMPARE(answer.exitCode, 3);
        QVERIFY(answer.errors.contains(remedy));
        QCOMPARE(json({u"show"_s, u"1"_s}).object(), Desktop);
    }

    void wrongArgumentsAreUsageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        const QStringList set{u"set"_s, u"1"_s};
        QTest::newRow("nothing") << QStringList{};
        QTest::newRow("no name") << QStringList{u"add"_s, u"--server"_s, u"1"_s};
        QTest::newRow("empty secret") << set + QStringList{u"--secret-stdin"_s};
        QTest::newRow("no terminal") << set + QStringList{u"--secret"_s};
        QTest::newRow("no terminal when adding") << QStringList{
            u"add"_s, u"--server"_s, u"1"_s, u"--name"_s, u"Phone"_s, u"--consumer-key"_s, u"ck"_s};
        QTest::newRow("property") << set + QStringList{u"--property"_s, u"Key"_s};
    }

    void wrongArgumentsAreUsageErrors()
    {
        QFETCH(QStringList, arguments);

        QCOMPARE(run(arguments).exitCode, 2);

        QCOMPARE(json({u"list"_s}).array().size(), 1);
        QCOMPARE(revealed(), u"first secret"_s);
    }

private:
    VelmioctlRun run(const QStringList& arguments) const
    {
        return tool->run(QStringList{u"product"_s} + arguments);
    }
    VelmioctlRun json(const QStringList& arguments) const
    {
        return tool->json(QStringList{u"product"_s} + arguments);
    }
    VelmioctlRun feed(const QStringList& arguments, const QByteArray& input) const
    {
        return tool->feed(QStringList{u"product"_s} + arguments, input);
    }
    QString revealed() const
    {
        return json({u"show"_s, u"1"_s, u"--reveal"_s}).object()[u"consumerSecret"_s].toString();
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlProduct)
#include "TestVelmioctlProduct.moc"
