#pragma once
#include <core/PosixSync.h>

#include <base/PerThread.h>
#include <testkit/PassingFactory.h>

#include <QDateTime>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

/// \file
/// Factories that break one promise about a single statement, as a host's factory might.

namespace sync::test {

inline QStringList placeholdersOf(const QString& sql)
{
    static const QRegularExpression placeholder(QStringLiteral(":\\w+"));
    QStringList names;
    for (const auto& match : placeholder.globalMatch(sql)) {
        if (!names.contains(match.captured()))
            names.append(match.captured());
    }
    return names;
}

/// Changes bound values.
class BindingQuery : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        inner->bindValue(placeholder, changed(value));
    }

    virtual QVariant changed(const QVariant& value) const = 0;
};

/// Changes bound texts that are not null.
class TextQuery : public BindingQuery
{
public:
    using BindingQuery::BindingQuery;

    QVariant changed(const QVariant& value) const override
    {
        const bool isText =
            value.typeId() == QMetaType::QString && !value.isNull() && !value.toString().isNull();
        return isText ? QVariant(changedText(value.toString())) : value;
    }

    virtual QString changedText(const QString& text) const = 0;
};

/// Changes the statement.
class PreparingQuery : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool prepare(const QString& sql) override { return inner->prepare(changed(sql)); }

    virtual QString changed(QString sql) const = 0;
};

class BindsByPosition : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool prepare(const QString& sql) override
    {
        placeholders = placeholdersOf(sql);
        return inner->prepare(sql);
    }
    void bindValue(const QString&, const QVariant& value) override
    {
        if (!placeholders.isEmpty())
            inner->bindValue(placeholders.takeFirst(), value);
    }

private:
    QStringList placeholders;
};

class BindsTheFirstOccurrenceOnly : public PreparingQuery
{
public:
    using PreparingQuery::PreparingQuery;

    QString changed(QString sql) const override
    {
        const QStringList placeholders = placeholdersOf(sql);
        for (const QString& name : placeholders) {
            const qsizetype second = sql.indexOf(name, sql.indexOf(name) + name.size());
            if (second > 0 && !sql.mid(second + name.size(), 1)
                                   .contains(QRegularExpression(QStringLiteral("\\w"))))
                sql.insert(second + name.size(), QStringLiteral("Again"));
        }
        return sql;
    }
};

class BindsByPrefix : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool prepare(const QString& sql) override
    {
        unbound = placeholdersOf(sql);
        return inner->prepare(sql);
    }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        unbound.removeIf([&](const QString& name) {
            const bool begins = name.startsWith(placeholder);
            if (begins)
                inner->bindValue(name, value);
            return begins;
        });
    }

private:
    QStringList unbound;
};

class TakesValuesForPlaceholders : public TextQuery
{
public:
    using TextQuery::TextQuery;

    QString changedText(const QString& text) const override
    {
        return text.startsWith(u':') ? QString() : text;
    }
};

class FillsUnboundPlaceholders : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool prepare(const QString& sql) override
    {
        for (const QString& name : placeholdersOf(sql))
            unbound.insert(name);
        return inner->prepare(sql);
    }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        unbound.remove(placeholder);
        inner->bindValue(placeholder, value);
    }
    bool exec() override
    {
        for (const QString& name : std::exchange(unbound, {}))
            inner->bindValue(name, QStringLiteral(""));
        return inner->exec();
    }

private:
    QSet<QString> unbound;
};

class TellsAnotherStatement : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    QString lastQuery() const override
    {
        static const QRegularExpression placeholder(QStringLiteral(":\\w+"));
        return inner->lastQuery().replace(placeholder, QStringLiteral("?"));
    }
};

class ForgetsWhatIsBound : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    QVariant boundValue(const QString&) const override { return {}; }
};

class Has32BitNumbers : public BindingQuery
{
public:
    using BindingQuery::BindingQuery;

    QVariant changed(const QVariant& value) const override
    {
        if (value.typeId() != QMetaType::LongLong || value.isNull())
            return value;
        return static_cast<int>(value.toLongLong());
    }
};

class HasSinglePrecision : public BindingQuery
{
public:
    using BindingQuery::BindingQuery;

    QVariant changed(const QVariant& value) const override
    {
        if (value.typeId() != QMetaType::Double || value.isNull())
            return value;
        return static_cast<double>(static_cast<float>(value.toDouble()));
    }
};

class CutsLongTexts : public TextQuery
{
public:
    using TextQuery::TextQuery;

    QString changedText(const QString& text) const override { return text.left(65535); }
};

class TrimsTexts : public TextQuery
{
public:
    using TextQuery::TextQuery;

    QString changedText(const QString& text) const override { return text.trimmed(); }
};

class CutsSurrogates : public TextQuery
{
public:
    using TextQuery::TextQuery;

    QString changedText(const QString& text) const override
    {
        QString kept(QLatin1StringView(""));
        for (const QChar character : text)
            kept += character.isSurrogate() ? QChar(u'#') : character;
        return kept;
    }
};

class NormalisesTexts : public TextQuery
{
public:
    using TextQuery::TextQuery;

    QString changedText(const QString& text) const override
    {
        return text.normalized(QString::NormalizationForm_C);
    }
};

class CutsAtNul : public TextQuery
{
public:
    using TextQuery::TextQuery;

    QString changedText(const QString& text) const override
    {
        return text.left(text.indexOf(QChar(u'\0')));
    }
};

class CutsBytesAtNul : public BindingQuery
{
public:
    using BindingQuery::BindingQuery;

    QVariant changed(const QVariant& value) const override
    {
        const QByteArray bytes = value.toByteArray();
        if (value.typeId() != QMetaType::QByteArray || bytes.isNull())
            return value;
        return QByteArray(bytes.constData());
    }
};

class StoresNullAsEmpty : public BindingQuery
{
public:
    using BindingQuery::BindingQuery;

    QVariant changed(const QVariant& value) const override
    {
        const bool isNull =
            value.isNull() || (value.typeId() == QMetaType::QString && value.toString().isNull());
        return isNull ? QVariant(QStringLiteral("")) : value;
    }
};

class StoresEmptyAsNull : public TextQuery
{
public:
    using TextQuery::TextQuery;

    QString changedText(const QString& text) const override
    {
        return text.isEmpty() ? QString() : text;
    }
};

class ConvertsTimesToLocalTime : public BindingQuery
{
public:
    using BindingQuery::BindingQuery;

    QVariant changed(const QVariant& value) const override
    {
        return value.typeId() == QMetaType::QDateTime ? value.toDateTime().toLocalTime() : value;
    }
};

class ConvertsTimesToUtc : public BindingQuery
{
public:
    using BindingQuery::BindingQuery;

    QVariant changed(const QVariant& value) const override
    {
        return value.typeId() == QMetaType::QDateTime ? value.toDateTime().toUTC() : value;
    }
};

class CutsMilliseconds : public BindingQuery
{
public:
    using BindingQuery::BindingQuery;

    QVariant changed(const QVariant& value) const override
    {
        QDateTime time = value.toDateTime();
        if (value.typeId() != QMetaType::QDateTime || !time.isValid())
            return value;
        return time.addMSecs(-time.time().msec());
    }
};

class ConvertsTypedTimes : public PassingTypedQuery
{
public:
    using PassingTypedQuery::PassingTypedQuery;

    QDateTime utcTimeValue(int index) const override { return value(index).toDateTime().toUTC(); }
};

class HoldsTextOfNumbers : public PassingTypedQuery
{
public:
    using PassingTypedQuery::PassingTypedQuery;

    bool holdsText(int index, QStringView text) const override { return textValue(index) == text; }
};

class StoresTypedNullAsEmpty : public PassingTypedQuery
{
public:
    using PassingTypedQuery::PassingTypedQuery;

    void bindText(const QString& placeholder, const QString& value) override
    {
        inner->bindText(placeholder, value.isNull() ? QStringLiteral("") : value);
    }
};

class RefusesSemicolons : public PreparingQuery
{
public:
    using PreparingQuery::PreparingQuery;

    QString changed(QString sql) const override { return sql.endsWith(u';') ? QString() : sql; }
};

class ComparesByType : public PreparingQuery
{
public:
    using PreparingQuery::PreparingQuery;

    QString changed(QString sql) const override
    {
        return sql.replace(QStringLiteral("parentId = '"), QStringLiteral("+parentId = '"));
    }
};

class ReplacesEmptyListByNull : public PreparingQuery
{
public:
    using PreparingQuery::PreparingQuery;

    QString changed(QString sql) const override
    {
        return sql.replace(QStringLiteral("IN ()"), QStringLiteral("IN (NULL)"));
    }
};

class IgnoresCase : public PreparingQuery
{
public:
    using PreparingQuery::PreparingQuery;

    QString changed(QString sql) const override
    {
        return sql.replace(QStringLiteral("= :words"), QStringLiteral("= :words COLLATE NOCASE"));
    }
};

/// Returns the id of another INSERT, as a trigger that writes to a log table might.
class TellsAnotherId : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool exec() override
    {
        const bool done = inner->exec();
        earlier = std::exchange(base::ofThisThread<Latest>().id, inner->lastInsertId());
        return done;
    }
    QVariant lastInsertId() const override { return earlier; }

private:
    struct Latest
    {
        QVariant id;
    };
    QVariant earlier;
};

class CountsNoRows : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    int numRowsAffected() const override { return -1; }
};

/// Like a database that does not count rows that an UPDATE leaves unchanged.
class CountsChangedRows : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool exec() override
    {
        const QString sql = inner->lastQuery();
        again = std::exchange(base::ofThisThread<Before>().sql, sql) == sql;
        return inner->exec();
    }
    int numRowsAffected() const override
    {
        const bool isUpdate = inner->lastQuery().startsWith(QStringLiteral("UPDATE"));
        return isUpdate && again ? 0 : inner->numRowsAffected();
    }

private:
    struct Before
    {
        QString sql;
    };
    bool again = false;
};

/// Returns a query again while it is still in use.
class ReusesItsQuery : public PassingFactory<PassingQuery>
{
public:
    using PassingFactory::PassingFactory;

    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override
    {
        auto& last = base::ofThisThread<Last>().query;
        auto query = last.lock();
        if (!query) {
            query = PassingFactory::CreateQuery();
            last = query;
        }
        return query;
    }

private:
    struct Last
    {
        std::weak_ptr<interf::IQSqlQueryWrapper> query;
    };
};

class OrdersUpwardsOnly : public PreparingQuery
{
public:
    using PreparingQuery::PreparingQuery;

    QString changed(QString sql) const override { return sql.remove(QStringLiteral(" DESC")); }
};

/// Like a driver that fetches only one block of rows.
class StopsAfterABlock : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool next() override { return rows++ < 255 && inner->next(); }

private:
    int rows = 0;
};

class StandsOnARowTooEarly : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool exec() override
    {
        fresh = inner->exec();
        return fresh;
    }
    bool next() override
    {
        fresh = false;
        return inner->next();
    }
    bool isValid() const override { return fresh || inner->isValid(); }

private:
    bool fresh = false;
};

class AnswersTheNearestColumn : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    QVariant value(int index) const override { return inner->value(std::max(index, 0)); }
};

class ExecutesWhatIsNotPrepared : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool prepare(const QString& sql) override
    {
        prepared = inner->prepare(sql);
        return prepared;
    }
    bool exec() override { return !prepared || inner->exec(); }

private:
    bool prepared = false;
};

class IgnoresDuplicates : public PreparingQuery
{
public:
    using PreparingQuery::PreparingQuery;

    QString changed(QString sql) const override
    {
        return sql.replace(
            QStringLiteral("INSERT INTO VelmioCheck (id"),
            QStringLiteral("INSERT OR IGNORE INTO VelmioCheck (id"));
    }
};

class TellsNoError : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    QString lastError() const override { return {}; }
};

class AlwaysTellsAnError : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    QString lastError() const override { return QStringLiteral("no error"); }
};

/// Like PostgreSQL, which stores an updated row in another place.
class MovesUpdatedRows : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool prepare(const QString& sql) override
    {
        if (sql.startsWith(QStringLiteral("CREATE")))
            moved = false;
        moved = moved.load() || sql.startsWith(QStringLiteral("UPDATE"));
        const bool unordered = sql == QStringLiteral("SELECT words FROM VelmioCheck");
        return inner->prepare(moved && unordered ? sql + QStringLiteral(" ORDER BY id DESC") : sql);
    }

    static inline std::atomic<bool> moved = false; // the threads of a check share it
};

} // namespace sync::test
