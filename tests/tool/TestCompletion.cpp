#include "CommandLineSample.h"

#include <velmioctl/cli/CommandTree.h>
#include <velmioctl/cli/generate/Generators.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl {

class TestCompletion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        bash = QStandardPaths::findExecutable(u"bash"_s);
        QVERIFY(!bash.isEmpty());
        QVERIFY(directory.isValid());
        QFile script(directory.filePath(u"script"_s));
        QVERIFY(script.open(QIODevice::WriteOnly));
        // In place of the program.
        script.write(
            "velmioctl()\n{\n    case $* in\n        'complete ServerConfiguration') printf "
            "'%s\\n' 1 "
            "12 3 ;;\n        '--database x.db complete ServerConfiguration') echo 7 ;;\n        "
            "'complete backups') echo latest ;;\n    esac\n}\n");
        script.write(bashCompletion(sample.program()).toUtf8());
        QFile file(directory.filePath(u"a file"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(QDir(directory.path()).mkdir(u"a folder"_s));
    }

    void bashOffersWhatMayFollow_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QStringList>("offers");
        const auto row = [](const char* name, const QString& words, const QStringList& offers) {
            QTest::newRow(name) << words.split(u' ') << offers;
        };
        row("noun", u"velmioctl ser"_s, {u"server"_s});
        row("nouns", u"velmioctl s"_s,
            {u"server"_s, u"signin"_s, u"scan"_s, u"schedule"_s, u"secrets"_s, u"status"_s,
             u"stats"_s});
        row("verbs", u"velmioctl secrets "_s, {u"verify"_s, u"rekey"_s, u"prune"_s, u"where"_s});
        row("noun behind an option", u"velmioctl --database x.db ini"_s, {u"init"_s});
        row("verb behind an option", u"velmioctl --json secrets w"_s, {u"where"_s});
        row("options", u"velmioctl signin show 1 --rev"_s, {u"--reveal"_s});
        row("option of the program", u"velmioctl stats --js"_s, {u"--json"_s});
        row("words of an option", u"velmioctl scan --hash "_s,
            {u"always"_s, u"changed"_s, u"never"_s});
        row("words behind =", u"velmioctl scan --hash = a"_s, {u"always"_s});
        row("all words behind =", u"velmioctl scan --hash ="_s,
            {u"always"_s, u"changed"_s, u"never"_s});
        row("words that begin so", u"velmioctl file list --order size"_s,
            {u"size"_s, u"size-desc"_s});
        row("file for the database", u"velmioctl stats --database a"_s,
            {u"a file"_s, u"a folder"_s});
        row("file argument", u"velmioctl restore --yes a"_s, {u"a file"_s, u"a folder"_s});
        row("folder argument", u"velmioctl folder add a"_s, {u"a folder"_s});
        row("folder behind an option", u"velmioctl folder add --name x a"_s, {u"a folder"_s});
        row("no second argument", u"velmioctl folder add Work a"_s, {});
        row("nothing for a free text", u"velmioctl server add --alias a"_s, {});
        row("ids", u"velmioctl server show 1"_s, {u"1"_s, u"12"_s});
        row("ids behind an option", u"velmioctl signin list --server "_s,
            {u"1"_s, u"12"_s, u"3"_s});
        row("ids of another database", u"velmioctl --database x.db server show "_s, {u"7"_s});
        row("ids of a database behind =", u"velmioctl --database = x.db server show "_s, {u"7"_s});
        row("backups", u"velmioctl restore l"_s, {u"latest"_s});
        row("tables", u"velmioctl export --tables Sch"_s, {u"Schedules"_s});
    }

    void bashOffersWhatMayFollow()
    {
        QFETCH(QStringList, words);
        QFETCH(QStringList, offers);
        QStringList found = offered(words);

        found.sort();
        offers.sort();
        QCOMPARE(found, offers);
    }

    void bashOffersEveryCommandAndOption()
    {
        for (const Command* const command : allCommands(sample.program())) {
            const QStringList words = command->description().fullName.split(u' ');
            QStringList expected;
            for (const OptionDescription& option : optionsOf(*command, sample.program()))
                expected += option.name;
            QCOMPARE(offered(words + QStringList{u"--"_s}), expected);
            if (command->subcommands().empty())
                continue;
            expected.clear();
            for (const auto& subcommand : command->subcommands())
                expected += subcommand->description().name;
            QCOMPARE(offered(words + QStringList{QString()}), expected);
        }
    }

    void zshKnowsEveryCommandAndOption()
    {
        const QString script = zshCompletion(sample.program());
        for (const Command* const command : allCommands(sample.program())) {
            const QString name = command->description().fullName;
            const QString head =
                u"\n_"_s + QString(name).replace(u' ', u'_').replace(u'-', u'_') + u"()\n{"_s;
            const QString body = script.section(head, 1).section(u"\n}"_s, 0, 0);
            QVERIFY2(!body.isEmpty(), qPrintable(name));
            for (const OptionDescription& option : optionsOf(*command, sample.program()))
                QVERIFY2(body.contains(option.name + u'['), qPrintable(option.name));
            for (const auto& subcommand : command->subcommands())
                QVERIFY(body.contains(u'\'' + subcommand->description().name + u':'));
        }
    }

    void fishKnowsEveryCommandAndOption()
    {
        const QString script = fishCompletion(sample.program());
        for (const Command* const command : allCommands(sample.program())) {
            const QString start = u"\ncomplete -c velmioctl -n '__velmioctl_command %1'"_s.arg(
                command->description().fullName);
            for (const auto& option : command->options()) {
                const QString name = option->description().name;
                if (command == &sample.program())
                    QVERIFY(script.contains(u"\ncomplete -c velmioctl -l "_s + name.mid(2)));
                else if (!option->description().isArgument())
                    QVERIFY2(script.contains(start + u" -l "_s + name.mid(2)), qPrintable(name));
            }
            for (const auto& subcommand : command->subcommands())
                QVERIFY(script.contains(start + u" -a "_s + subcommand->description().name));
        }
    }

    void hiddenCommandsAreNotOffered()
    {
        for (const QString& script :
             {bashCompletion(sample.program()), zshCompletion(sample.program()),
              fishCompletion(sample.program())})
            QVERIFY(!script.section(u'\n', 2).contains(u"generate "_s));
    }

private:
    // What bash offers for the last of the words.
    QStringList offered(const QStringList& words) const
    {
        QProcess shell;
        shell.setWorkingDirectory(directory.path());
        shell.start(
            bash,
            QStringList{
                u"-uc"_s,
                u"source ./script; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
                u"_velmioctl; printf '%s\\n' \"${COMPREPLY[@]}\""_s,
                u"bash"_s} +
                words);
        if (!shell.waitForFinished() || !shell.readAllStandardError().isEmpty())
            return {u"bash failed"_s};
        return QString::fromUtf8(shell.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    }

    CommandLineSample sample;
    QTemporaryDir directory;
    QString bash;
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestCompletion)
#include "TestCompletion.moc"
