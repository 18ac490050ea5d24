#include "CommandLineSample.h"

#include <velmioctl/cli/CommandTree.h>
#include <velmioctl/cli/HelpText.h>
#include <velmioctl/cli/UsageMessage.h>

#include <QTest>

#include <vector>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// The error message of parsing the arguments.
QString complaint(CommandLine& line, const std::vector<const char*>& arguments)
{
    std::vector<const char*> all{"velmioctl"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    try {
        line.parse(int(all.size()), all.data());
        return {};
    } catch (const CommandError& error) {
        return error.code() == ExitCode::Usage ? error.text() : u"another error"_s;
    }
}

} // namespace

class TestCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slipOfTheFingerIsCorrected_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("meant");
        QTest::newRow("left out") << u"sever"_s << u"server"_s;
        QTest::newRow("added") << u"serrver"_s << u"server"_s;
        QTest::newRow("replaced") << u"folter"_s << u"folder"_s;
        QTest::newRow("swapped") << u"satts"_s << u"stats"_s;
        QTest::newRow("swapped in a short word") << u"lsit"_s << u"list"_s;
        QTest::newRow("only begun") << u"explai"_s << u"explain"_s;
        QTest::newRow("hardly begun") << u"ex"_s << u"explain"_s;
    }

    void slipOfTheFingerIsCorrected()
    {
        QFETCH(QString, word);
        QFETCH(QString, meant);

        const QString found = nearest(
            word, {u"server"_s, u"folder"_s, u"stats"_s, u"status"_s, u"list"_s, u"explain"_s});

        QCOMPARE(found, meant);
    }

    void otherWordsAreNotGuessed_data()
    {
        QTest::addColumn<QString>("word");
        QTest::newRow("far from all") << u"frobnicate"_s;
        QTest::newRow("begins two") << u"sta"_s;
        QTest::newRow("short") << u"x"_s;
        QTest::newRow("empty") << QString();
    }

    void otherWordsAreNotGuessed()
    {
        QFETCH(QString, word);

        QCOMPARE(nearest(word, {u"stature"_s, u"statuses"_s, u"folder"_s}), QString());
    }

    void mistypedCommandLineSuggests_data()
    {
        QTest::addColumn<std::vector<const char*>>("arguments");
        QTest::addColumn<QString>("message");
        const auto row = [](const char* name, const std::vector<const char*>& arguments,
                            const QString& message) {
            QTest::newRow(name) << arguments << message;
        };
        row("noun", {"sever", "list"}, u"Unknown command \"sever\". Did you mean \"server\"?"_s);
        row("verb", {"server", "lst"}, u"Unknown command \"lst\". Did you mean \"list\"?"_s);
        row("option", {"server", "list", "--jsno"},
            u"Unknown option \"--jsno\". Did you mean \"--json\"?"_s);
        row("begun option", {"folder", "add", "Work", "--server-pa=/Work"},
            u"Unknown option \"--server-pa\". Did you mean \"--server-path\"?"_s);
        row("strange command", {"frobnicate"}, u"Unknown command \"frobnicate\"."_s);
        row("strange option", {"stats", "--frobnicate"}, u"Unknown option \"--frobnicate\"."_s);
        row("word too many", {"server", "list", "all"}, u"Unexpected argument \"all\"."_s);
    }

    void mistypedCommandLineSuggests()
    {
        QFETCH(std::vector<const char*>, arguments);
        QFETCH(QString, message);
        CommandLineSample sample;

        QCOMPARE(complaint(sample.line, arguments).section(u'\n', 0, 0), message);
    }

    void possibleSecretsAreNotRepeated_data()
    {
        QTest::addColumn<std::vector<const char*>>("arguments");
        const auto row = [](const char* name, const std::vector<const char*>& arguments) {
            QTest::newRow(name) << arguments;
        };
        row("word", {"signin", "password", "1", "Canary"});
        row("value of an unknown option", {"signin", "password", "1", "--pasword=Canary"});
        row("short option", {"signin", "password", "1", "-pCanary"});
        row("in the place of an id", {"product", "set", "Canary"});
        row("value of a flag", {"product", "set", "1", "--secret=Canary"});
    }

    void possibleSecretsAreNotRepeated()
    {
        QFETCH(std::vector<const char*>, arguments);
        CommandLineSample sample;

        const QString message = complaint(sample.line, arguments);

        QVERIFY(!message.isEmpty());
        QVERIFY2(!message.contains(u"Canary"_s), "the message repeats what may be a secret");
    }

    void missingCommandListsThem()
    {
        CommandLineSample sample;

        QCOMPARE(
            complaint(sample.line, {"secrets"}),
            u"\"velmioctl secrets\" needs a command: verify, rekey, prune, where.\n"
            "See 'velmioctl secrets --help'."_s);
    }

    void wrongValuesSayWhatIsAllowed_data()
    {
        QTest::addColumn<std::vector<const char*>>("arguments");
        QTest::addColumn<QString>("message");
        const auto row = [](const char* name, const std::vector<const char*>& arguments,
                            const QString& message) {
            QTest::newRow(name) << arguments << message;
        };
        const QString limit = u"--limit must be a whole number from 0 to 9223372036854775807."_s;
        const QString id = u"ID must be a whole number from 1 to 2147483647."_s;
        row("negative", {"file", "list", "--limit", "-3"}, limit);
        row("no number", {"file", "list", "--limit", "x"}, limit);
        row("fraction", {"file", "list", "--limit", "1.5"}, limit);
        row("too large", {"file", "list", "--limit", "99999999999999999999"}, limit);
        row("id", {"server", "show", "abc"}, id);
        row("id too large", {"server", "show", "3000000000"}, id);
        row("range", {"folder", "tree", "--depth", "-1"},
            u"--depth must be a whole number from 0 to 1000000."_s);
        row("word", {"scan", "--hash", "sometimes"},
            u"--hash must be one of always, changed, never."_s);
        row("argument", {"server", "show"}, u"An argument is missing: ID: Id of the server."_s);
        row("option", {"server", "add", "--web-service-url", "https://w"},
            u"An argument is missing: --dav-url URL: URL of the DAV endpoint."_s);
        row("value", {"server", "add", "--alias"},
            u"A value is missing: --alias NAME: Name to show; the default is the host of the web "
            u"service."_s);
        row("value of a flag", {"stats", "--json=3"}, u"--json takes no value."_s);
        row("twice", {"file", "list", "--limit", "1", "--limit", "2"},
            u"--limit can be given only once."_s);
        row("excluded", {"folder", "list", "--all", "--orphans"},
            u"--all and --orphans cannot be given together."_s);
        row("needed", {"export", "--passphrase-stdin"},
            u"--passphrase-stdin is allowed only with --with-secrets."_s);
    }

    void wrongValuesSayWhatIsAllowed()
    {
        QFETCH(std::vector<const char*>, arguments);
        QFETCH(QString, message);
        CommandLineSample sample;

        QCOMPARE(complaint(sample.line, arguments).section(u'\n', 0, 0), message);
    }

    void helpOfEveryCommandHasAnExample()
    {
        CommandLineSample sample;
        for (const Command* const command : allCommands(sample.program())) {
            if (!command->subcommands().empty())
                continue;
            const QString& fullName = command->description().fullName;
            const auto& examples = command->description().examples;
            QVERIFY2(!examples.empty(), qPrintable(fullName));
            for (const QString& example : examples)
                QVERIFY2(example.startsWith(fullName), qPrintable(example));
            QVERIFY(helpOf(*command, sample.program(), 0)
                        .contains(u"Examples:\n  "_s + examples.front()));
        }
    }

    void helpFitsItsWidth_data()
    {
        QTest::addColumn<int>("columns");
        QTest::newRow("narrow") << 60;
        QTest::newRow("usual") << 80;
        QTest::newRow("wide") << 200;
    }

    void helpFitsItsWidth()
    {
        QFETCH(int, columns);
        CommandLineSample sample;
        for (const Command* const command : allCommands(sample.program())) {
            const QString help = helpOf(*command, sample.program(), columns);
            // Examples are copied as a whole.
            for (const QString& line : help.section(u"\nExamples:"_s, 0, 0).split(u'\n'))
                QVERIFY2(line.size() <= columns, qPrintable(line));
        }
    }

    void hiddenCommandsRunAndAreNotInTheHelp()
    {
        bool ran = false;
        CommandLine line("tool", "Does something.");
        line.program().addHiddenSubcommand("secretly", "Hidden")->callback([&ran] { ran = true; });

        const std::vector<const char*> arguments{"tool", "secretly"};
        line.parse(int(arguments.size()), arguments.data());

        QVERIFY(ran);
        QVERIFY(!helpOf(line.program(), line.program(), 0).contains(u"secretly"_s));
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestCommandLine)
#include "TestCommandLine.moc"
