#pragma once

#include <velmioctl/cli/Terminal.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <cstdio>

namespace velmioctl {

class CommandError;
class FieldList;
class Table;

/// Writes answers to standard output and messages to standard error.
class Output
{
public:
    Output(
        std::FILE* answers, std::FILE* messages, Terminal answerTerminal, Terminal messageTerminal);

    /// Answers as JSON, for programs.
    void setJson(bool value) { jsonWanted = value; }
    bool json() const { return jsonWanted; }

    /// Tables are not shortened to the width of a terminal.
    void setWide() { isWide = true; }

    const Terminal& answerTerminal() const { return answersAt; }
    const Terminal& messageTerminal() const { return messagesAt; }
    /// Where a progress line may be; no terminal if there is to be none.
    Terminal progressTerminal() const { return quiet ? Terminal{} : messagesAt; }

    /// Without remarks and progress.
    void setQuiet(bool value) { quiet = value; }

    void print(const Table& table);
    void print(const FieldList& fields);

    void print(const QJsonObject& object);
    void print(const QJsonArray& array);
    /// On a line of its own, for many rows.
    void printJsonLine(const QJsonObject& object);
    /// A list: as JSON, as a table, or as a note if it is empty.
    void printList(const QJsonArray& array, const Table& table, const QString& emptyNote);

    /// One line or several, without the last line end; control characters are escaped.
    void printText(const QString& text);

    /// Lines with their ends, in which names are already escaped.
    void printLines(const QString& text);

    /// JSON, or a piece of it, byte for byte; a terminal gets escapes that mean the same.
    void printBytes(const QByteArray& bytes);

    /// A remark for a person.
    void note(const QString& text);
    /// The same, for those who asked for details.
    void detail(const QString& text);
    void setVerbose(bool value) { verbose = value; }
    void warning(const QString& text);
    /// As JSON, on one line, where answers are.
    void error(const CommandError& error);

    /// A question without a line end.
    void ask(const QString& text);

    /// Makes the answers durable where they go into a file. Returns an errno if an answer could not
    /// be written, for example to a full disk, and 0 otherwise.
    int finish();

private:
    void write(const QByteArray& bytes);
    void flush();
    void say(const QString& label, const QString& text);

    std::FILE* answers;
    std::FILE* messages;
    Terminal answersAt;
    Terminal messagesAt;
    bool jsonWanted = false;
    bool isWide = false;
    bool quiet = false;
    bool verbose = false;
    int failure = 0; // the errno of the first answer that could not be written
};

} // namespace velmioctl
