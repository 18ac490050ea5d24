#include <testkit/checks/CheckRun.h>

#include <database/ErrorGuard.h>
#include <database/FailureLog.h>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

// Statements that cannot be prepared, used like a manager does: only exec() is checked.
void failsOnWhatCannotBePrepared(CheckRun& run)
{
    for (const QString& sql :
         {u"SELECT FROM WHERE"_s, u"SELECT words FROM VelmioMissing"_s,
          u"SELECT missing FROM VelmioCheck"_s,
          u"INSERT INTO VelmioMissing (words) VALUES (:w)"_s}) {
        const Query query = run.database.prepare(sql, {{u":w"_s, u"w"_s}});
        run.expect(!query->exec(), u"exec() of %1 returned true"_s.arg(sql));
        run.expect(!query->next() && !query->isValid(), u"%1 has a row"_s.arg(sql));
        run.expect(query->value(0).isNull(), u"%1 has a value"_s.arg(sql));
    }
}

void failsOnADuplicateId(CheckRun& run)
{
    const QString sql = u"INSERT INTO VelmioCheck (id, words) VALUES (:id, :words)"_s;
    run.database.exec(sql, {{u":id"_s, 1}, {u":words"_s, u"first"_s}});

    const Query second = run.database.prepare(sql, {{u":id"_s, 1}, {u":words"_s, u"second"_s}});
    run.expect(!second->exec(), u"exec() of a second row with the same id returned true"_s);
    run.expect(
        run.database.words() == QStringList{u"first"_s},
        u"the rows after it are: "_s + run.database.words().join(u", "_s));
}

void tellsItsErrors(CheckRun& run)
{
    const Query good = run.database.exec(u"SELECT words FROM VelmioCheck"_s);
    run.expect(
        good->lastError().trimmed().isEmpty(),
        u"lastError() after a success is "_s + shown(good->lastError()));
    const Bindings sameId{{u":id"_s, 1}};
    const QString add = u"INSERT INTO VelmioCheck (id) VALUES (:id)"_s;
    run.database.exec(add, sameId);
    const Query bad = run.database.prepare(add, sameId);
    run.expect(
        !bad->exec() && !bad->lastError().trimmed().isEmpty(),
        u"lastError() after a failure is empty"_s);
    // The failure of another query is not this one's.
    run.expect(good->lastError().trimmed().isEmpty(), u"lastError() is that of another query"_s);
}

void countsItsFailures(CheckRun& run)
{
    auto& source = run.needs<database::FailureSource>(u"FailureSource"_s);
    QStringList reported;
    auto listening =
        source.onFailure([&](const database::Failure& failure) { reported.append(failure.text); });
    const database::ErrorGuard guard(source);

    run.database.insert(u"words"_s, u"good"_s);
    run.expect(!guard.failed(), u"a call that succeeded was counted as a failure"_s);
    const int before = source.failureCount();
    const Query bad = run.database.prepare(u"SELECT words FROM VelmioMissing"_s);
    run.expect(!bad->exec(), u"exec() of an unknown table returned true"_s);
    run.expect(guard.failed(), u"failureCount() is the same after a failure"_s);
    run.expect(
        !reported.isEmpty() && reported.size() == source.failureCount() - before,
        u"%1 failures were counted, and %2 reported"_s.arg(source.failureCount() - before)
            .arg(reported.size()));
    const auto last = source.lastFailure();
    run.expect(
        last && !last->isEmpty() && last->text == reported.value(reported.size() - 1),
        u"lastFailure() is not the failure that was reported last"_s);
    listening.end();
    reported.clear();
    bad->exec();
    run.expect(reported.isEmpty(), u"a failure was reported after the listening had ended"_s);
}

} // namespace

QList<Check> errorChecks()
{
    return {
        {u"failsOnWhatCannotBePrepared"_s,
         u"exec() returns false of a text that cannot be prepared, and no row follows."_s,
         failsOnWhatCannotBePrepared},
        {u"failsOnADuplicateId"_s, u"exec() returns false when a constraint is violated."_s,
         failsOnADuplicateId},
        {u"tellsItsErrors"_s, u"lastError() is empty after a success, and only then."_s,
         tellsItsErrors},
        {u"countsItsFailures"_s,
         u"A FailureSource counts and reports every failed call, and nothing else."_s,
         countsItsFailures},
    };
}

} // namespace sync::testkit
