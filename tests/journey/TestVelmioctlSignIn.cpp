#include "PseudoTerminal.h"
#include "VelmioctlRunner.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

/// Runs over the servers 1 and 2, and sign-in 1.
namespace {

const QStringList AddKim{
    u"add"_s, u"--server"_s,    u"1"_s,     u"--domain"_s,   u"north"_s,    u"--user"_s,
    u"kim"_s, u"--domain-id"_s, u"dom-7"_s, u"--property"_s, u"Region=x"_s, u"--password-stdin"_s,
};

const QStringList AddKimElsewhere{
    u"add"_s,   u"--server"_s, u"2"_s,   u"--domain"_s,
    u"north"_s, u"--user"_s,   u"kim"_s, u"--password-stdin"_s,
};

const QJsonObject Kim{
    {u"id"_s, 1},
    {u"serverId"_s, 1},
    {u"domain"_s, u"north"_s},
    {u"domainId"_s, u"dom-7"_s},
    {u"userName"_s, u"kim"_s},
    {u"passwordStored"_s, true},
    {u"properties"_s, QJsonObject{{u"Region"_s, u"x"_s}}},
};

} // namespace

class TestVelmioctlSignIn : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(tool->execute(u"INSERT INTO ServerConfiguration (id) VALUES (1), (2)"_s));
        QCOMPARE(feed(AddKim, "first secret\n").exitCode, 0);
    }

    void cleanup() { tool.reset(); }

    void addStoresWhatIsGiven()
    {
        QCOMPARE(json({u"show"_s, u"1"_s}).object(), Kim);
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void secondSignInOfAUserIsRefused()
    {
        const auto again = feed(AddKim, "other secret\n");
        const auto other = feed(AddKimElsewhere, "other secret\n");
        const auto moved = run({u"set"_s, u"2"_s, u"--server"_s, u"1"_s});

        QCOMPARE(again.exitCode, 2);
        QVERIFY(again.errors.contains(u"'velmioctl signin password 1'"_s));
        QCOMPARE(other.exitCode, 0);
        QCOMPARE(moved.exitCode, 2);
        QCOMPARE(json({u"list"_s}).array().size(), 2);
        QCOMPARE(json({u"show"_s, u"2"_s}).object()[u"serverId"_s].toInt(), 2);
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void passwordIsTheFirstLine_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QString>("password");
        QTest::newRow("without line end") << QByteArray("p w") << u"p w"_s;
        QTest::newRow("more lines") << QByteArray(" p w \nmore\n") << u" p w "_s;
        QTest::newRow("line end of Windows") << QByteArray("p\r\nmore") << u"p"_s;
        QTest::newRow("Unicode") << QByteArray("\xc3\xa9\xf0\x9f\x94\x91\n")
                                 << u"\u00e9\U0001f511"_s;
    }

    void passwordIsTheFirstLine()
    {
        QFETCH(QByteArray, input);
        QFETCH(QString, password);

        QCOMPARE(feed({u"password"_s, u"1"_s, u"--password-stdin"_s}, input).exitCode, 0);

        QCOMPARE(revealed(1), password);
    }

    void passwordIsShownOnRequestOnly()
    {
        const auto hidden = run({u"show"_s, u"1"_s});
        const auto shown = run({u"show"_s, u"1"_s, u"--reveal"_s});

        QVERIFY(hidden.output.contains(u"password         ********\n"_s));
        QVERIFY(shown.output.contains(u"password         first secret\n"_s));
    }

    void listTellsWhetherAPasswordIsStored()
    {
        QVERIFY(tool->execute(u"INSERT INTO AuthenticationConfiguration (userName, serverId)"
                              u" VALUES ('ana', 2)"_s));

        QCOMPARE(
            run({u"list"_s}).output, u"ID  SERVER  PASSWORD  USER  DOMAIN\n"
                                     u" 1       1  set       kim   north\n"
                                     u" 2       2  none      ana\n"_s);
        const QJsonArray ofOneServer = json({u"list"_s, u"--server"_s, u"1"_s}).array();
        QCOMPARE(ofOneServer.size(), 1);
        QCOMPARE(ofOneServer[0].toObject(), Kim);
        QVERIFY(run({u"list"_s, u"--server"_s, u"3"_s}).errors.contains(u"velmioctl signin add"_s));
    }

    void listNeedsNoKey()
    {
        QVERIFY(QFile::remove(tool->keyPath()));

        const auto listed = run({u"list"_s});

        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.errors, QString());
        QVERIFY(!QFile::exists(tool->keyPath()));
    }

    void setChangesOnlyWhatIsGiven()
    {
        QJsonObject expected = Kim;
        expected[u"serverId"_s] = 2;
        expected[u"userName"_s] = u"ana"_s;

        const auto changed = json({u"set"_s, u"1"_s, u"--server"_s, u"2"_s, u"--user"_s, u"ana"_s});

        QCOMPARE(changed.object(), expected);
        QCOMPARE(revealed(1), u"first secret"_s);
        run(
            {u"set"_s, u"1"_s, u"--domain"_s, u"south"_s, u"--domain-id"_s, u"dom-8"_s,
             u"--unset-property"_s, u"Region"_s});
        expected[u"domain"_s] = u"south"_s;
        expected[u"domainId"_s] = u"dom-8"_s;
        expected[u"properties"_s] = QJsonObject();
        QCOMPARE(json({u"show"_s, u"1"_s}).object(), expected);
    }

    void setKeepsAPasswordThatCannotBeRead()
    {
        const QString kept = tool->path(u"kept"_s);
        QVERIFY(QFile::rename(tool->keyPath(), kept));

        const auto changed = run({u"set"_s, u"1"_s, u"--domain-id"_s, u"dom-8"_s});

        QCOMPARE(changed.exitCode, 0);
        QVERIFY(QFile::rename(kept, tool->keyPath()));
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    // The password could not be read for the new user, not even when the key is back.
    void changeThatWouldLeaveThePasswordBehindIsRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("user") << QStringList{u"signin"_s, u"set"_s, u"1"_s, u"--user"_s, u"ana"_s};
        QTest::newRow("server") << QStringList{
            u"signin"_s, u"set"_s, u"1"_s, u"--server"_s, u"2"_s};
        QTest::newRow("address of the server")
            << QStringList{u"server"_s, u"set"_s, u"1"_s, u"--dav-url"_s, u"https://new.example"_s};
    }

    void changeThatWouldLeaveThePasswordBehindIsRefused()
    {
        QFETCH(QStringList, arguments);
        const QString kept = tool->path(u"kept"_s);
        QVERIFY(QFile::rename(tool->keyPath(), kept));

        const auto refused = tool->run(arguments);

        QCOMPARE(refused.exitCode, 7);
        QVERIFY(refused.errors.contains(u"Nothing was changed"_s));
        QVERIFY(QFile::rename(kept, tool->keyPath()));
        QCOMPARE(revealed(1), u"first secret"_s);
        QCOMPARE(tool->run(arguments).exitCode, 0);
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void passwordChangesAllOfTheUser()
    {
        feed(AddKimElsewhere, "second secret\n");
        feed(
            {u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"north"_s, u"--user"_s, u"ana"_s,
             u"--password-stdin"_s},
            "third secret\n");

        const auto changed = tool->feedJson(
            {u"signin"_s, u"password"_s, u"2"_s, u"--password-stdin"_s}, "fourth secret\n");
        const auto forPeople =
            feed({u"password"_s, u"1"_s, u"--password-stdin"_s}, "fifth secret\n");

        const QJsonObject expected{
            {u"domain"_s, u"north"_s}, {u"userName"_s, u"kim"_s}, {u"changed"_s, 2}};
        QCOMPARE(changed.object(), expected);
        QVERIFY(forPeople.output.contains(u"in 2 sign-ins."_s));
        QCOMPARE(revealed(1), u"fifth secret"_s);
        QCOMPARE(revealed(2), u"fifth secret"_s);
        QCOMPARE(revealed(3), u"third secret"_s);
    }

    void passwordOfASignInWithoutDomainIsRefused()
    {
        QVERIFY(tool->execute(u"UPDATE AuthenticationConfiguration SET domain = NULL"_s));

        const auto changed = feed({u"password"_s, u"1"_s, u"--password-stdin"_s}, "new\n");

        QCOMPARE(changed.exitCode, 3);
        QVERIFY(changed.errors.contains(u"velmioctl signin set"_s));
    }

    void removeNamesWhatRefersToIt()
    {
        QVERIFY(tool->execute(u"INSERT INTO FolderConfiguration (clientPath, authenticationId)"
                              u" VALUES ('/home/kim/Work', 1)"_s));

        const auto unasked = run({u"remove"_s, u"1"_s});
        const auto agreed = json({u"remove"_s, u"1"_s, u"--yes"_s});

        QCOMPARE(unasked.exitCode, 2);
        QVERIFY(unasked.errors.contains(u"folders 1 (\"/home/kim/Work\")"_s));
        QVERIFY(unasked.errors.contains(u"--yes"_s));
        QCOMPARE(agreed.object(), (QJsonObject{{u"id"_s, 1}, {u"removed"_s, true}}));
        QVERIFY(agreed.errors.contains(u"folders 1 (\"/home/kim/Work\")"_s));
        QCOMPARE(json({u"list"_s}).array().size(), 0);
    }

    void unknownIsNotFound_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("remedy");
        const QString signIns = u"velmioctl signin list"_s;
        QTest::newRow("show") << QStringList{u"show"_s, u"9"_s} << signIns;
        QTest::newRow("set") << QStringList{u"set"_s, u"9"_s, u"--user"_s, u"x"_s} << signIns;
        QTest::newRow("password") << QStringList{u"password"_s, u"9"_s, u"--password-stdin"_s}
                                  << signIns;
        QTest::newRow("remove") << QStringList{u"remove"_s, u"9"_s, u"--yes"_s} << signIns;
        QTest::newRow("server") << QStringList{u"set"_s, u"1"_s, u"--server"_s, u"9"_s}
                                << u"velmioctl server list"_s;
    }

    void unknownIsNotFound()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, remedy);

        const auto answer = run(arguments);

        QCOMPARE(answer.exitCode, 3);
        QVERIFY(answer.errors.contains(remedy));
        QCOMPARE(json({u"show"_s, u"1"_s}).object(), Kim);
    }

    void wrongArgumentsAreUsageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        const QStringList password{u"password"_s, u"1"_s, u"--password-stdin"_s};
        QTest::newRow("nothing") << QStringList{} << QByteArray();
        QTest::newRow("no id") << QStringList{u"show"_s} << QByteArray();
        QTest::newRow("no number") << QStringList{u"show"_s, u"kim"_s} << QByteArray();
        QTest::newRow("no user")
            << QStringList{u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s, u"d"_s} << QByteArray();
        QTest::newRow("empty password") << password << QByteArray("\n");
        QTest::newRow("no password") << password << QByteArray();
        QTest::newRow("no UTF-8") << password << QByteArray("\xff\n");
        QTest::newRow("endless password") << password << QByteArray(70'000, 'x');
    }

    void wrongArgumentsAreUsageErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);

        QCOMPARE(feed(arguments, input).exitCode, 2);

        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void nothingIsAskedWithoutATerminal_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("add") << QStringList{u"add"_s, u"--server"_s, u"1"_s, u"--domain"_s,
                                            u"d"_s,   u"--user"_s,   u"u"_s};
        QTest::newRow("password") << QStringList{u"password"_s, u"1"_s};
    }

    void nothingIsAskedWithoutATerminal()
    {
        QFETCH(QStringList, arguments);

        const auto answer = feed(arguments, "not to be taken\n");

        QCOMPARE(answer.exitCode, 2);
        QVERIFY(answer.errors.contains(u"--password-stdin"_s));
        QCOMPARE(json({u"list"_s}).array().size(), 1);
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void secretsInArgumentsAreNotRepeated_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("word") << QStringList{u"password"_s, u"1"_s, u"Canary"_s};
        QTest::newRow("option") << QStringList{u"password"_s, u"1"_s, u"--password=Canary"_s};
        QTest::newRow("option and word")
            << QStringList{u"password"_s, u"1"_s, u"--password"_s, u"Canary"_s};
        QTest::newRow("id") << QStringList{u"password"_s, u"Canary"_s};
        QTest::newRow("flag") << QStringList{u"password"_s, u"1"_s, u"--password-stdin=Canary"_s};
    }

    void secretsInArgumentsAreNotRepeated()
    {
        QFETCH(QStringList, arguments);

        const auto answer = run(arguments);

        QCOMPARE(answer.exitCode, 2);
        QVERIFY(!answer.errors.contains(u"Canary"_s));
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void unusableKeyEndsWithItsOwnCode_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("add") << AddKimElsewhere;
        QTest::newRow("password") << QStringList{u"password"_s, u"1"_s, u"--password-stdin"_s};
        QTest::newRow("reveal") << QStringList{u"show"_s, u"1"_s, u"--reveal"_s};
    }

    void unusableKeyEndsWithItsOwnCode()
    {
        QFETCH(QStringList, arguments);
        QFile key(tool->keyPath());
        QVERIFY(key.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));

        const auto answer = feed(arguments, "new secret\n");

        QCOMPARE(answer.exitCode, 7);
        QVERIFY(answer.errors.contains(u"Take the rights to it from all others"_s));
        QVERIFY(key.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
        QCOMPARE(json({u"list"_s}).array().size(), 1);
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void lostKeyIsWarnedOf()
    {
        QVERIFY(QFile::remove(tool->keyPath()));

        const auto changed = feed({u"password"_s, u"1"_s, u"--password-stdin"_s}, "new secret\n");

        QCOMPARE(changed.exitCode, 0);
        QVERIFY(changed.errors.contains(u"velmioctl secrets verify"_s));
        QCOMPARE(revealed(1), u"new secret"_s);
    }

    void terminalAsksTwiceWithoutEcho()
    {
        PseudoTerminal terminal(*tool, {u"signin"_s, u"password"_s, u"1"_s});

        QVERIFY(terminal.waitFor("New password: "));
        const bool echoAtFirst = terminal.hasEcho();
        terminal.type("typed secret\n");
        QVERIFY(terminal.waitFor("Repeat it: "));
        const bool echoAtSecond = terminal.hasEcho();
        terminal.type("typed secret\n");

        QCOMPARE(terminal.exitCode(), 0);
        QVERIFY(!echoAtFirst);
        QVERIFY(!echoAtSecond);
        QVERIFY(terminal.hasEcho());
        QVERIFY(!terminal.transcript().contains("typed"));
        QCOMPARE(revealed(1), u"typed secret"_s);
    }

    void terminalShowsALongPasswordWhole()
    {
        const QByteArray password(200, 'p');
        feed({u"password"_s, u"1"_s, u"--password-stdin"_s}, password);

        PseudoTerminal terminal(*tool, {u"signin"_s, u"show"_s, u"1"_s, u"--reveal"_s});

        QCOMPARE(terminal.exitCode(), 0);
        QVERIFY(terminal.transcript().contains(password));
    }

    void terminalRefusesTwoDifferentPasswords()
    {
        PseudoTerminal terminal(*tool, {u"signin"_s, u"password"_s, u"1"_s});

        QVERIFY(terminal.waitFor("New password: "));
        terminal.type("typed secret\n");
        QVERIFY(terminal.waitFor("Repeat it: "));
        terminal.type("typed secrets\n");

        QCOMPARE(terminal.exitCode(), 2);
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void terminalIsPutBackByAnInterruption()
    {
        PseudoTerminal terminal(*tool, {u"signin"_s, u"password"_s, u"1"_s});

        QVERIFY(terminal.waitFor("New password: "));
        terminal.type("half\x03");

        QCOMPARE(terminal.exitCode(), 128 + SIGINT);
        QVERIFY(terminal.hasEcho());
        QCOMPARE(revealed(1), u"first secret"_s);
    }

    void aPasswordReachesNoCoreFile()
    {
        PseudoTerminal terminal(*tool, {u"signin"_s, u"password"_s, u"1"_s});

        QVERIFY(terminal.waitFor("New password: "));
        terminal.type("typed secret\n");
        QVERIFY(terminal.waitFor("Repeat it: "));
        terminal.type("\x1c");

        QCOMPARE(terminal.exitCode(), 128 + SIGQUIT);
        QCOMPARE(QDir(tool->path({})).entryList({u"core*"_s}, QDir::Files), QStringList());
    }

private:
    VelmioctlRun run(const QStringList& arguments) const
    {
        return tool->run(QStringList{u"signin"_s} + arguments);
    }
    VelmioctlRun json(const QStringList& arguments) const
    {
        return tool->json(QStringList{u"signin"_s} + arguments);
    }
    VelmioctlRun feed(const QStringList& arguments, const QByteArray& input) const
    {
        return tool->feed(QStringList{u"signin"_s} + arguments, input);
    }
    QString revealed(int id) const
    {
        return json({u"show"_s, QString::number(id), u"--reveal"_s})
            .object()[u"password"_s]
            .toString();
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlSignIn)
#include "TestVelmioctlSignIn.moc"
