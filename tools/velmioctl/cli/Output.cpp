#include <velmioctl/cli/Output.h>

#include <base/system/Files.h>
#include <base/system/Terminal.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>

#include <QJsonDocument>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace velmioctl {

Output::Output(
    std::FILE* answers, std::FILE* messages, Terminal answerTerminal, Terminal messageTerminal)
    : answers(answers)
    , messages(messages)
    , answersAt(answerTerminal)
    , messagesAt(messageTerminal)
{
}

void Output::print(const Table& table)
{
    Terminal terminal = answersAt;
    if (isWide)
        terminal.columns = 0;
    write(table.toText(terminal).toUtf8());
}

void Output::print(const FieldList& fields)
{
    write(fields.toText(answersAt).toUtf8());
}

void Output::print(const QJsonObject& object)
{
    printBytes(QJsonDocument(object).toJson(QJsonDocument::Indented));
}

void Output::print(const QJsonArray& array)
{
    printBytes(QJsonDocument(array).toJson(QJsonDocument::Indented));
}

void Output::printJsonLine(const QJsonObject& object)
{
    printBytes(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
}

void Output::printList(const QJsonArray& array, const Table& table, const QString& emptyNote)
{
    if (jsonWanted)
        print(array);
    else if (table.isEmpty())
        note(emptyNote);
    else
        print(table);
}

void Output::printText(const QString& text)
{
    write((escapeControlsInLines(text) + u'\n').toUtf8());
}

void Output::printLines(const QString& text)
{
    write(text.toUtf8());
}

void Output::printBytes(const QByteArray& bytes)
{
    write(answersAt.interactive ? escapeInJson(bytes) : bytes);
}

void Output::note(const QString& text)
{
    if (!quiet)
        say({}, text);
}

void Output::detail(const QString& text)
{
    if (verbose)
        say({}, text);
}

void Output::warning(const QString& text)
{
    say(coloured(u"warning: "_s, Colour::Yellow, messagesAt), text);
}

void Output::error(const CommandError& error)
{
    if (!jsonWanted) {
        say(coloured(u"error: "_s, Colour::Red, messagesAt), error.text());
        return;
    }
    const QJsonObject object{
        {u"code"_s, int(error.code())},
        {u"cause"_s, error.cause()},
        {u"message"_s, error.message()},
        {u"remedy"_s, error.remedy()}};
    const QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    flush();
    std::fputs((messagesAt.interactive ? escapeInJson(json) : json).constData(), messages);
    std::fflush(messages);
}

void Output::ask(const QString& text)
{
    flush();
    std::fputs(escapeControls(text).toUtf8().constData(), messages);
    std::fflush(messages);
}

int Output::finish()
{
    flush();
    // Some file systems find out only now that they have no space; pipes and terminals have nothing
    // to sync.
    if (failure == 0 && !sync::base::syncToMedium(sync::base::fileBehind(answers)) &&
        (sync::base::isOutOfSpace(errno) || errno == EIO))
        failure = errno;
    return failure;
}

void Output::write(const QByteArray& bytes)
{
    if (std::fwrite(bytes.constData(), 1, size_t(bytes.size()), answers) != size_t(bytes.size()) &&
        failure == 0)
        failure = errno;
}

void Output::flush()
{
    if (std::fflush(answers) != 0 && failure == 0)
        failure = errno;
}

void Output::say(const QString& label, const QString& text)
{
    // Keeps the order if both go to one terminal.
    flush();
    std::fputs((label + escapeControlsInLines(text) + u'\n').toUtf8().constData(), messages);
    std::fflush(messages);
}

} // namespace velmioctl
