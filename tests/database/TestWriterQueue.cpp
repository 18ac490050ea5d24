#include <database/pool/WriterQueue.h>

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using sync::database::WriterQueue;

class TestWriterQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isTheSameForOneFileWhileSomebodyHoldsIt();
    void letsOneWriterInAtATime();
    void servesWritersInTheOrderInWhichTheyCame();
    void givesUpWhenTheTurnDoesNotComeInTime();
};

void TestWriterQueue::isTheSameForOneFileWhileSomebodyHoldsIt()
{
    const auto first = WriterQueue::forFile(u"/a"_s);

    QCOMPARE(WriterQueue::forFile(u"/a"_s), first);
    QVERIFY(WriterQueue::forFile(u"/b"_s) != first);
}

void TestWriterQueue::letsOneWriterInAtATime()
{
    WriterQueue queue;
    std::atomic<int> inside = 0;
    std::atomic<int> overlaps = 0;
    int turns = 0;

    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer) {
        writers.emplace_back([&] {
            for (int turn = 0; turn < 500; ++turn) {
                if (!queue.enter(1min))
                    continue;
                overlaps += ++inside > 1 ? 1 : 0;
                ++turns;
                --inside;
                queue.leave();
            }
        });
    }
    for (auto& writer : writers)
        writer.join();

    QCOMPARE(overlaps.load(), 0);
    QCOMPARE(turns, 2000);
}

void TestWriterQueue::servesWritersInTheOrderInWhichTheyCame()
{
    WriterQueue queue;
    std::vector<int> order;
    std::vector<std::thread> writers;
    QVERIFY(queue.enter(0ms));

    for (int writer = 0; writer < 5; ++writer) {
        writers.emplace_back([&queue, &order, writer] {
            if (queue.enter(1min)) {
                order.push_back(writer);
                queue.leave();
            }
        });
        while (queue.waitingCount() < static_cast<std::size_t>(writer) + 1)
            std::this_thread::yield();
    }
    queue.leave();
    for (auto& writer : writers)
        writer.join();

    QCOMPARE(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

void TestWriterQueue::givesUpWhenTheTurnDoesNotComeInTime()
{
    WriterQueue queue;
    QVERIFY(queue.enter(0ms));

    QVERIFY(!queue.enter(1ms));

    queue.leave();
    QVERIFY(queue.enter(0ms));
    queue.leave();
}

QTEST_GUILESS_MAIN(TestWriterQueue)
#include "TestWriterQueue.moc"
