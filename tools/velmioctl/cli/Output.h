#pragma once

#include <velmioctl/cli/Terminal.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <cstdio>

namespace velmioctl {

class FieldList;
class Table;

/// Where answers and messages go: answers to standard output, all else to standard error.
class Output
{
public:
    Output(
        std::FILE* answers, std::FILE* messages, Terminal answerTerminal, Terminal messageTerminal);

    /// Answers for programs, as JSON, in place of those for people.
    void setJson(bool value) { jsonWanted = value; }
    bool json() const { return jsonWanted; }

    const Terminal& answerTerminal() const { return answersAt; }
    const Terminal& messageTerminal() const { return messagesAt; }

    void print(const Table& table);
    void print(const FieldList& fields);
    /// The same, not cut to a terminal's width: for what is copied from there.
    void printWhole(const FieldList& fields);

    void print(const QJsonObject& object);
    void print(const QJsonArray& array);

    /// One line or several, without the last line end; control characters are escaped.
    void printText(const QString& text);

    /// Lines with their ends, whose names are escaped already.
    void printLines(const QString& text);

    /// The same, byte for byte.
    void printBytes(const QByteArray& bytes);

    /// A remark for the person at the terminal.
    void note(const QString& text);
    void warning(const QString& text);
    void error(const QString& text);

    /// A question without a line end.
    void ask(const QString& text);

    /// False when an answer could not be written, as to a full disk.
    bool finish();

private:
    void say(const QString& label, const QString& text);

    std::FILE* answers;
    std::FILE* messages;
    Terminal answersAt;
    Terminal messagesAt;
    bool jsonWanted = false;
};

} // namespace velmioctl
