#include <velmioctl/cli/Output.h>

#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

void write(std::FILE* file, const QByteArray& bytes)
{
    // The stream remembers a failure, and finish() checks it.
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), file);
}

} // namespace

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
    write(answers, table.toText(answersAt).toUtf8());
}

void Output::print(const FieldList& fields)
{
    write(answers, fields.toText(answersAt).toUtf8());
}

void Output::printWhole(const FieldList& fields)
{
    Terminal endless = answersAt;
    endless.columns = 0;
    write(answers, fields.toText(endless).toUtf8());
}

void Output::print(const QJsonObject& object)
{
    write(answers, QJsonDocument(object).toJson(QJsonDocument::Indented));
}

void Output::print(const QJsonArray& array)
{
    write(answers, QJsonDocument(array).toJson(QJsonDocument::Indented));
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
    write(answers, (escapeControlsInLines(text) + u'\n').toUtf8());
}

void Output::printLines(const QString& text)
{
    write(answers, text.toUtf8());
}

void Output::printBytes(const QByteArray& bytes)
{
    write(answers, bytes);
}

void Output::note(const QString& text)
{
    say({}, text);
}

void Output::warning(const QString& text)
{
    say(coloured(u"warning: "_s, Colour::Yellow, messagesAt), text);
}

void Output::error(const QString& text)
{
    say(coloured(u"error: "_s, Colour::Red, messagesAt), text);
}

void Output::ask(const QString& text)
{
    std::fflush(answers);
    write(messages, escapeControls(text).toUtf8());
    std::fflush(messages);
}

bool Output::finish()
{
    return std::fflush(answers) == 0 && std::ferror(answers) == 0;
}

void Output::say(const QString& label, const QString& text)
{
    // Keeps the order if both go to one terminal.
    std::fflush(answers);
    write(messages, (label + escapeControlsInLines(text) + u'\n').toUtf8());
    std::fflush(messages);
}

} // namespace velmioctl
