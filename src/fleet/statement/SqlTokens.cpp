#include <fleet/statement/SqlTokens.h>

#include <utility>

namespace sync::fleet {

namespace {

bool isWordCharacter(char character)
{
    const auto unit = static_cast<unsigned char>(character);
    return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') ||
           (unit >= '0' && unit <= '9') || unit == '_' || unit >= 0x80;
}

/// Reads one token after the other.
class Scanner
{
public:
    explicit Scanner(const QByteArray& sql)
        : sql(sql)
    {
    }

    SqlTokens run()
    {
        SqlTokens tokens;
        for (bool blank = skipBlanks(); at < sql.size(); blank = skipBlanks()) {
            SqlToken token = next();
            token.afterBlank = blank;
            tokens.push_back(std::move(token));
        }
        while (!tokens.empty() && tokens.back().text == ";")
            tokens.pop_back();
        return tokens;
    }

private:
    char peek(qsizetype offset = 0) const
    {
        return at + offset < sql.size() ? sql.at(at + offset) : '\0';
    }

    SqlToken take(SqlToken::Kind kind, qsizetype end)
    {
        const qsizetype start = std::exchange(at, end);
        return {kind, sql.mid(start, end - start)};
    }

    SqlToken next()
    {
        const char first = peek();
        if (first == '\'' || first == '"')
            return take(SqlToken::Kind::Quoted, endOfQuoted(first));
        if (isWordCharacter(first))
            return take(SqlToken::Kind::Word, endOfWord(at));
        if (first == ':' && peek(1) == ':')
            return take(SqlToken::Kind::Symbol, at + 2);
        if (first == ':' && isWordCharacter(peek(1)))
            return take(SqlToken::Kind::Placeholder, endOfWord(at + 1));
        return take(SqlToken::Kind::Symbol, at + 1);
    }

    qsizetype endOfWord(qsizetype from) const
    {
        while (from < sql.size() && isWordCharacter(sql.at(from)))
            ++from;
        return from;
    }

    // A quote inside is written twice.
    qsizetype endOfQuoted(char quote) const
    {
        qsizetype end = at;
        do {
            end = sql.indexOf(quote, end + 1);
            if (end < 0)
                return sql.size();
            ++end;
        } while (end < sql.size() && sql.at(end) == quote);
        return end;
    }

    bool skipBlanks()
    {
        const qsizetype start = at;
        for (;;) {
            if (isBlank(peek())) {
                ++at;
            } else if (peek() == '-' && peek(1) == '-') {
                at = endOf(sql.indexOf('\n', at), 1);
            } else if (peek() == '/' && peek(1) == '*') {
                at = endOf(sql.indexOf("*/", at), 2);
            } else {
                return at != start;
            }
        }
    }

    static bool isBlank(char character)
    {
        return character == ' ' || character == '\t' || character == '\r' || character == '\n';
    }

    qsizetype endOf(qsizetype found, qsizetype size) const
    {
        return found < 0 ? sql.size() : found + size;
    }

    const QByteArray& sql;
    qsizetype at = 0;
};

} // namespace

SqlTokens tokensOf(const QByteArray& sql)
{
    return Scanner(sql).run();
}

} // namespace sync::fleet
