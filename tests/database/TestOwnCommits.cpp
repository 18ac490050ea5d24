#include <database/changes/OwnCommits.h>

#include <QTest>

using sync::database::OwnCommits;

/// What a poll sees at each point of a commit; the counter stands for the one in shared memory.
class TestOwnCommits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ownCommitsAreNotExternal();
    void externalCommitsAreCounted();
    void aFailedCommitCountsAsNone();
    void externalCommitsBeforeAnOwnOneAreSeenDuringIt();
    void theAnswerWaitsForTheEndOfAStatement();

private:
    OwnCommits own;
    std::uint32_t counter = 0;
};

void TestOwnCommits::ownCommitsAreNotExternal()
{
    counter = 7;
    const auto before = own.commitsOfOthers(&counter);

    own.begin(counter);
    const auto begun = own.commitsOfOthers(&counter);
    ++counter; // in the WAL, and not yet counted as the store's own
    const auto written = own.commitsOfOthers(&counter);
    own.count();
    const auto counted = own.commitsOfOthers(&counter);
    own.end();

    QCOMPARE(begun, before);
    QCOMPARE(written, before);
    QCOMPARE(counted, before);
    QCOMPARE(own.commitsOfOthers(&counter), before);
}

void TestOwnCommits::externalCommitsAreCounted()
{
    const auto before = own.commitsOfOthers(&counter);

    counter += 3;

    QCOMPARE(own.commitsOfOthers(&counter), *before + 3);
}

void TestOwnCommits::aFailedCommitCountsAsNone()
{
    const auto before = own.commitsOfOthers(&counter);

    own.begin(counter);
    own.end();

    QCOMPARE(own.commitsOfOthers(&counter), before);
}

void TestOwnCommits::externalCommitsBeforeAnOwnOneAreSeenDuringIt()
{
    const auto before = own.commitsOfOthers(&counter);

    ++counter;
    own.begin(counter);

    QCOMPARE(own.commitsOfOthers(&counter), *before + 1);
    own.end();
}

void TestOwnCommits::theAnswerWaitsForTheEndOfAStatement()
{
    const auto before = own.commitsOfOthers(&counter);

    own.begin({});
    ++counter; // of another process, before the statement has the write lock
    const auto during = own.commitsOfOthers(&counter);
    own.end();

    QVERIFY(!during);
    QCOMPARE(own.commitsOfOthers(&counter), *before + 1);
}

QTEST_APPLESS_MAIN(TestOwnCommits)
#include "TestOwnCommits.moc"
