#include <support/RecordingDatabaseFactory.h>

#include <database/TransactionalScope.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDateTime>

using namespace Qt::StringLiterals;
using sync::database::TransactionalScope;

namespace sync::test {

namespace {

QString boolText(bool value)
{
    return value ? u"true"_s : u"false"_s;
}

// Without zone names, so that the text is the same in every zone in which the tests run.
QString timeText(const QDateTime& time)
{
    if (!time.isValid())
        return u"null"_s;
    const QString clock = time.toString(u"yyyy-MM-ddTHH:mm:ss.zzz"_s);
    switch (time.timeSpec()) {
    case Qt::UTC:
        return clock + u" UTC"_s;
    case Qt::LocalTime:
        return clock + u" local"_s;
    default:
        return clock + u" offset %1"_s.arg(time.offsetFromUtc());
    }
}

// A null text differs from an empty one in a database, so the log distinguishes them.
QString valueText(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return u"null"_s;
    case QMetaType::QDateTime:
        return timeText(value.toDateTime());
    case QMetaType::QByteArray:
        return value.isNull() ? u"null"_s : QString::fromLatin1(value.toByteArray().toHex());
    case QMetaType::QString: {
        const QString text = value.toString();
        return text.isNull() ? u"null"_s : u'\'' + text + u'\'';
    }
    default:
        return value.toString();
    }
}

QString bindLine(const QString& placeholder, const QVariant& value)
{
    const QString type = value.isValid() ? QString::fromLatin1(value.typeName()) : u"invalid"_s;
    return u"bind "_s + placeholder + u' ' + type + u' ' + valueText(value);
}

QString depthText()
{
    return u", depth "_s + QString::number(TransactionalScope::depth());
}

} // namespace

struct RecordingDatabaseFactory::State
{
    Answer answerTo(const QString& sql)
    {
        ++executed;
        if (const auto found = byPosition.constFind(executed); found != byPosition.cend())
            return *found;
        for (auto found = byText.crbegin(); found != byText.crend(); ++found) {
            if (sql.contains(found->first))
                return found->second;
        }
        return others;
    }

    QStringList log;
    QMap<int, Answer> byPosition;
    QList<std::pair<QString, Answer>> byText;
    Answer others;
    int executed = 0;
    bool transactionResult = true;
    bool rowCallsNoted = false;
};

class RecordingQuery : public interf::IQSqlQueryWrapper
{
public:
    explicit RecordingQuery(std::shared_ptr<RecordingDatabaseFactory::State> state)
        : state(std::move(state))
    {
        this->state->log.append(u"create query"_s + depthText());
    }
    ~RecordingQuery() override { state->log.append(u"release"_s); }

    RecordingQuery(const RecordingQuery&) = delete;
    RecordingQuery& operator=(const RecordingQuery&) = delete;

    QString lastError() const override { return current.fails ? u"told to fail"_s : QString(); }
    QString lastQuery() const override { return sql; }

    QVariant value(int index) const override
    {
        noteRowCall(u"value "_s + QString::number(index));
        return standsOnRow() ? current.rows.at(row).value(index) : QVariant();
    }

    bool next() override
    {
        if (row < current.rows.size())
            ++row;
        noteRowCall(u"next "_s + boolText(standsOnRow()));
        return standsOnRow();
    }

    bool isValid() const override
    {
        noteRowCall(u"isValid "_s + boolText(standsOnRow()));
        return standsOnRow();
    }

    bool prepare(const QString& text) override
    {
        // A copy, because the text may be raw characters of a caller.
        sql = QString(text.constData(), text.size());
        state->log.append(u"prepare "_s + sql);
        return true;
    }

    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        values.insert(placeholder, value);
        state->log.append(bindLine(placeholder, value));
    }

    QVariant boundValue(const QString& placeholder) const override
    {
        return values.value(placeholder);
    }

    void setForwardOnly(bool forward) override
    {
        state->log.append(u"setForwardOnly "_s + boolText(forward));
    }

    bool exec() override
    {
        state->log.append(u"exec"_s + depthText());
        current = state->answerTo(sql);
        row = -1;
        if (current.throws)
            throw ExecException();
        return !current.fails;
    }

    QVariant lastInsertId() const override { return current.lastInsertId; }
    int numRowsAffected() const override { return current.numRowsAffected; }

private:
    bool standsOnRow() const { return !current.fails && row >= 0 && row < current.rows.size(); }

    void noteRowCall(const QString& line) const
    {
        if (state->rowCallsNoted)
            state->log.append(line);
    }

    const std::shared_ptr<RecordingDatabaseFactory::State> state;
    QString sql;
    QMap<QString, QVariant> values;
    Answer current;
    qsizetype row = -1;
};

class RecordingDatabase : public interf::IQSqlDatabaseWrapper
{
public:
    explicit RecordingDatabase(std::shared_ptr<RecordingDatabaseFactory::State> state)
        : state(std::move(state))
    {
    }

    bool transaction() override { return note(u"transaction"_s); }
    bool commit() override { return note(u"commit"_s); }
    bool rollback() override { return note(u"rollback"_s); }

private:
    bool note(const QString& line)
    {
        state->log.append(line);
        return state->transactionResult;
    }

    const std::shared_ptr<RecordingDatabaseFactory::State> state;
};

RecordingDatabaseFactory::RecordingDatabaseFactory()
    : state(std::make_shared<State>())
{
}

RecordingDatabaseFactory::~RecordingDatabaseFactory() = default;

std::shared_ptr<interf::IQSqlDatabaseWrapper> RecordingDatabaseFactory::GetDatabase()
{
    state->log.append(u"get database"_s);
    return std::make_shared<RecordingDatabase>(state);
}

std::shared_ptr<interf::IQSqlQueryWrapper> RecordingDatabaseFactory::CreateQuery()
{
    return std::make_shared<RecordingQuery>(state);
}

void RecordingDatabaseFactory::answer(int position, Answer answer)
{
    state->byPosition.insert(position, std::move(answer));
}

void RecordingDatabaseFactory::answer(const QString& sql, Answer answer)
{
    state->byText.append({sql, std::move(answer)});
}

void RecordingDatabaseFactory::answerOthers(Answer answer)
{
    state->others = std::move(answer);
}

void RecordingDatabaseFactory::setTransactionResult(bool result)
{
    state->transactionResult = result;
}

void RecordingDatabaseFactory::noteRowCalls()
{
    state->rowCallsNoted = true;
}

QStringList RecordingDatabaseFactory::log() const
{
    return state->log;
}

QStringList RecordingDatabaseFactory::takeLog()
{
    return std::exchange(state->log, {});
}

void RecordingDatabaseFactory::note(const QString& line)
{
    state->log.append(line);
}

QStringList statementLog(const QString& sql, const QStringList& binds, int depth)
{
    const QString depthNote = u", depth "_s + QString::number(depth);
    QStringList lines{u"create query"_s + depthNote, u"prepare "_s + sql};
    for (const QString& bind : binds)
        lines.append(u"bind "_s + bind);
    return lines << u"exec"_s + depthNote << u"release"_s;
}

} // namespace sync::test
