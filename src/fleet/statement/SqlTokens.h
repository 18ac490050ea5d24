#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <vector>

namespace sync::fleet {

/// A part of a statement: a word, a text in quotes, a placeholder, or one other character.
struct SqlToken
{
    enum class Kind { Word, Quoted, Placeholder, Symbol };

    Kind kind = Kind::Symbol;
    QByteArray text;
    bool afterBlank = false; // or after a comment

    /// True for this word or symbol, in any case.
    bool is(QByteArrayView expected) const
    {
        return kind != Kind::Quoted &&
               QByteArrayView(text).compare(expected, Qt::CaseInsensitive) == 0;
    }
};

using SqlTokens = std::vector<SqlToken>;

/// Splits a statement, without blanks, comments and the semicolon at its end.
SqlTokens tokensOf(const QByteArray& sql);

} // namespace sync::fleet
