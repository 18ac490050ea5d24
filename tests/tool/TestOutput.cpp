#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/Progress.h>
#include <velmioctl/cli/Table.h>

#include <QJsonDocument>
#include <QTest>

#include <cerrno>
#include <memory>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

QByteArray contentOf(const File& file)
{
    std::rewind(file.get());
    QByteArray content(4096, '\0');
    content.resize(qsizetype(std::fread(content.data(), 1, size_t(content.size()), file.get())));
    return content;
}

} // namespace

class TestOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersAndMessagesGoSeparateWays()
    {
        const File answers(std::tmpfile());
        const File messages(std::tmpfile());
        Output output(answers.get(), messages.get(), {}, {});

        output.printText(u"answer"_s);
        output.note(u"note"_s);
        output.warning(u"careful"_s);
        output.error({ExitCode::OtherError, u"wrong"_s});
        output.ask(u"sure? "_s);

        QCOMPARE(output.finish(), 0);
        QCOMPARE(contentOf(answers), "answer\n");
        QCOMPARE(contentOf(messages), "note\nwarning: careful\nerror: wrong\nsure? ");
    }

    void errorsAreJsonWhereAnswersAre()
    {
        const File answers(std::tmpfile());
        const File messages(std::tmpfile());
        Output output(answers.get(), messages.get(), {}, {});
        output.setJson(true);

        output.error({ExitCode::NotFound, u"No \"a. b\" in 3.5 files? Look\nelsewhere. Or not."_s});

        const QJsonObject error = QJsonDocument::fromJson(contentOf(messages)).object();
        QCOMPARE(error[u"code"_s].toInt(), 3);
        QCOMPARE(error[u"cause"_s].toString(), u"not-found"_s);
        QCOMPARE(error[u"message"_s].toString(), u"No \"a. b\" in 3.5 files?"_s);
        QCOMPARE(error[u"remedy"_s].toString(), u"Look\nelsewhere. Or not."_s);
    }

    void jsonReadsBackAsItWas()
    {
        const File answers(std::tmpfile());
        const File messages(std::tmpfile());
        Output output(answers.get(), messages.get(), {}, {});
        const QJsonObject object{{u"name"_s, u"a\n\x1b\u65e5\""_s}, {u"id"_s, 3}};

        output.print(object);

        QCOMPARE(output.finish(), 0);
        QCOMPARE(QJsonDocument::fromJson(contentOf(answers)).object(), object);
    }

    void jsonOnATerminalHidesNothing()
    {
        const File answers(std::tmpfile());
        const File messages(std::tmpfile());
        Output output(answers.get(), messages.get(), {.interactive = true}, {.interactive = true});
        output.setJson(true);
        const QJsonObject object{{u"name"_s, u"a\u009b\u202e\U000E0041"_s}};

        output.print(object);
        output.print(QJsonArray{object});
        output.printJsonLine(object);
        output.printBytes("\"\u009b\"");
        output.error({ExitCode::OtherError, u"\u009b\u202e"_s});

        const QByteArray all = contentOf(answers) + contentOf(messages);
        QVERIFY(std::all_of(all.begin(), all.end(), [](char byte) { return byte > 0; }));
        QCOMPARE(all.count("\\u009b\\u202e"), 4);
    }

    void messageIsColouredOnlyWhereWelcome()
    {
        const File answers(std::tmpfile());
        const File messages(std::tmpfile());
        Output output(answers.get(), messages.get(), {}, {true, 80, true, true});

        output.error({ExitCode::OtherError, u"wrong"_s});

        QCOMPARE(contentOf(messages), "\x1b[31merror: \x1b[0mwrong\n");
    }

    void controlsInMessagesAreEscaped()
    {
        const File answers(std::tmpfile());
        const File messages(std::tmpfile());
        Output output(answers.get(), messages.get(), {}, {});

        output.warning(u"\x1b[2J"_s);

        QCOMPARE(contentOf(messages), "warning: \\x1b[2J\n");
    }

    void failedWriteIsNoticedAtTheEnd()
    {
        // Opened for reading only, so writes fail.
        const File answers(std::fopen("/dev/null", "r"));
        const File messages(std::tmpfile());
        Output output(answers.get(), messages.get(), {}, {});

        output.printText(u"answer"_s);

        QCOMPARE(output.finish(), EBADF);
    }

    void progressIsSilentOutsideTerminals()
    {
        const File stream(std::tmpfile());

        const Progress progress(stream.get(), {});

        QVERIFY(!progress.due());
    }

    void progressTakesItsLineAway()
    {
        const File stream(std::tmpfile());
        {
            Progress progress(stream.get(), {true, 6, true, true});
            progress.show(u"abc\ndefg"_s);
        }

        QCOMPARE(contentOf(stream), "\r\x1b[Kabc\\n\r\x1b[K");
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestOutput)
#include "TestOutput.moc"
