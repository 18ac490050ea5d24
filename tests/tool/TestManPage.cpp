#include "CommandLineSample.h"

#include <velmioctl/cli/CommandTree.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/HelpText.h>
#include <velmioctl/cli/generate/Generators.h>

#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// A name as the page has it.
QString roff(const QString& name)
{
    return QString(name).replace(u'-', u"\\-"_s);
}

} // namespace

class TestManPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandHasASectionWithItsOptions()
    {
        CommandLineSample sample;
        const QStringList sections = manPage(sample.program()).split(u".SS "_s);
        qsizetype at = 0;
        for (const Command* const command : allCommands(sample.program())) {
            if (!command->subcommands().empty())
                continue;
            ++at;
            QVERIFY(at < sections.size());
            const QString& section = sections[at];
            QVERIFY2(
                section.startsWith(u'"' + roff(command->description().fullName) + u' '),
                qPrintable(section));
            for (const auto& option : command->options()) {
                QVERIFY2(
                    section.contains(u".B \""_s + roff(option->description().name)),
                    qPrintable(option->description().name));
            }
        }
        QCOMPARE(at, sections.size() - 1);
    }

    void exitCodesAreTheSameEverywhere()
    {
        CommandLineSample sample;
        QFile pages(QStringLiteral(VELMIO_SOURCE_DIR "/docs/velmioctl.md"));
        QVERIFY(pages.open(QIODevice::ReadOnly));
        const QString documented = QString::fromUtf8(pages.readAll());
        const QString manual = manPage(sample.program());
        const QString help = helpOf(sample.program(), sample.program(), 1000);

        QString table = u"| code | meaning |\n|---|---|\n"_s;
        for (const ExitCodeMeaning& meaning : exitCodeMeanings()) {
            const QString code = QString::number(int(meaning.code));
            table += u"| %1 | %2 |\n"_s.arg(code, meaning.text);
            QVERIFY(manual.contains(u".TP\n.B %1\n%2.\n"_s.arg(code, roff(meaning.text))));
            QVERIFY2(help.contains(meaning.text), qPrintable(code));
        }

        QVERIFY(documented.contains(table));
    }

    void hiddenCommandsAreLeftOut()
    {
        CommandLineSample sample;

        QVERIFY(!manPage(sample.program()).contains(u"velmioctl generate"_s));
    }

    void linesAreRequestsOnlyWhereMeant()
    {
        CommandLineSample sample;
        static const QRegularExpression request(u"^\\.(TH|SH|SS|TP|PP|B|RS|RE|nf|fi)( |$)"_s);
        for (const QString& line : manPage(sample.program()).split(u'\n')) {
            if (line.startsWith(u'.') || line.startsWith(u'\''))
                QVERIFY2(request.match(line).hasMatch(), qPrintable(line));
        }
    }

    void textsCannotCommandTheFormatter()
    {
        CommandLine line("tool", "Does something.");
        line.program()
            .addSubcommand("run", ".so /etc/passwd")
            ->example("tool run 'C:\\nowhere'")
            ->callback([] {});

        const QString page = manPage(line.program());

        QVERIFY(page.contains(u"\n\\&.so /etc/passwd.\n"_s));
        QVERIFY(page.contains(u"'C:\\enowhere'"_s));
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestManPage)
#include "TestManPage.moc"
