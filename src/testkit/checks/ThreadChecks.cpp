#include <testkit/checks/CheckRun.h>

#include <chrono>
#include <future>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

constexpr std::chrono::seconds Patience{10};

QStringList addRows(const Database& database, int thread)
{
    constexpr int Rows = 25;
    QStringList findings;
    for (int row = 0; row < Rows; ++row) {
        const QString text = u"%1-%2"_s.arg(thread).arg(row);
        const int id = database.insert(u"words"_s, text);
        const QString read =
            database.value(u"SELECT words FROM VelmioCheck WHERE id = :id"_s, {{u":id"_s, id}})
                .toString();
        if (read != text)
            findings.append(u"row %1, stored as %2, is %3"_s.arg(QString::number(id), text, read));
    }
    return findings;
}

void servesThreadsAtOnce(CheckRun& run)
{
    run.needThreads();
    constexpr int Threads = 4;
    constexpr int RowsInAll = 100;
    std::vector<std::future<QStringList>> threads;
    threads.reserve(Threads);
    for (int thread = 0; thread < Threads; ++thread) {
        threads.push_back(std::async(
            std::launch::async, [&run, thread] { return addRows(run.database, thread); }));
    }
    for (auto& thread : threads) {
        try {
            const QStringList findings = thread.get();
            for (const QString& finding : findings)
                run.expect(false, finding);
        } catch (const Stopped& stopped) {
            run.expect(false, stopped.finding);
        }
    }
    const qsizetype rows = run.database.words().size();
    run.expect(rows == RowsInAll, u"of %1 rows there are %2"_s.arg(RowsInAll).arg(rows));
}

void keepsQueriesOfThreadsApart(CheckRun& run)
{
    run.needThreads();
    // Step by step, so that each has prepared and bound when the other executes.
    const auto prepare = [&run](const QString& text) {
        return run.database.prepare(
            u"INSERT INTO VelmioCheck (words) VALUES (:words)"_s, {{u":words"_s, text}});
    };
    const Query first = prepare(u"first"_s);
    std::promise<void> secondIsPrepared;
    std::promise<void> firstHasRun;
    auto second = std::async(std::launch::async, [&] {
        const Query query = prepare(u"second"_s);
        secondIsPrepared.set_value();
        firstHasRun.get_future().wait();
        return query->exec();
    });
    secondIsPrepared.get_future().wait();
    const bool firstAdded = first->exec();
    firstHasRun.set_value();
    const bool secondAdded = second.get();

    run.expect(firstAdded && secondAdded, u"an INSERT of two threads in turn failed"_s);
    const QStringList words = run.database.words();
    run.expect(
        words == QStringList{u"first"_s, u"second"_s},
        u"two threads stored \"first\" and \"second\", and there is "_s + words.join(u", "_s));
}

void keepsTransactionsOfThreadsApart(CheckRun& run)
{
    run.needThreads();
    const auto connection = run.database.connection();
    if (!connection->transaction())
        throw Stopped{u"transaction() returned false"_s};
    const Query add = run.database.prepare(u"INSERT INTO VelmioCheck (words) VALUES ('open')"_s);
    run.expect(add->exec(), u"the INSERT in the transaction failed"_s);

    auto words = std::async(std::launch::async, [&run] { return run.database.words(); });
    const bool inTime = words.wait_for(Patience) == std::future_status::ready;
    // Lets the other thread continue if it waits for this one.
    run.expect(connection->rollback(), u"rollback() returned false"_s);
    const QStringList found = words.get();

    run.expect(inTime, u"a thread that reads waits for the transaction of another one"_s);
    run.expect(found.isEmpty(), u"a thread sees what another one has not committed"_s);
    run.expect(run.database.words().isEmpty(), u"the rows are there after rollback()"_s);
}

} // namespace

QList<Check> threadChecks()
{
    return {
        {u"servesThreadsAtOnce"_s,
         u"Four threads write and read at the same time, and none fails."_s, servesThreadsAtOnce},
        {u"keepsQueriesOfThreadsApart"_s, u"Queries of two threads do not mix their values."_s,
         keepsQueriesOfThreadsApart},
        {u"keepsTransactionsOfThreadsApart"_s,
         u"The transaction() of a thread is not seen, nor joined, by another."_s,
         keepsTransactionsOfThreadsApart},
    };
}

} // namespace sync::testkit
