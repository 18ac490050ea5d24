#include <base/PerThread.h>

#include <QTest>
#include <QThread>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using namespace sync::base;

namespace {

std::atomic<int> made = 0;
std::atomic<int> ended = 0;
std::atomic<int> damaged = 0;

/// Knows whether it still has its content on the thread that made it.
struct Whole
{
    Whole() { ++made; }
    ~Whole()
    {
        if (text != std::string(100, 'a') || thread != std::this_thread::get_id())
            ++damaged;
        ++ended;
    }

    std::string text = std::string(100, 'a');
    std::thread::id thread = std::this_thread::get_id();
};

struct Other : Whole
{
    // Asks for an object whose own end may have passed.
    ~Other() { ofThisThread<Whole>().text.resize(100, 'a'); }
};

void useBoth()
{
    QVERIFY(&ofThisThread<Whole>() == &ofThisThread<Whole>());
    ofThisThread<Other>().text += 'a';
    ofThisThread<Other>().text.pop_back();
}

// Its destructor runs after the main thread has ended what belongs to it; a sanitizer sees what is
// used then.
struct StaticObject
{
    ~StaticObject() { useBoth(); }
} staticObject;

} // namespace

/// Objects that each thread has its own of.
class TestPerThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // For the static object.
    void initTestCase() { useBoth(); }

    void init()
    {
        made = 0;
        ended = 0;
        damaged = 0;
    }

    void threadsOfTheLanguageEndTheirObjectsWhole()
    {
        for (int round = 0; round < 100; ++round) {
            std::vector<std::thread> threads;
            for (int thread = 0; thread < 4; ++thread)
                threads.emplace_back(useBoth);
            for (std::thread& thread : threads)
                thread.join();
        }

        QCOMPARE(damaged, 0);
        QCOMPARE(ended, made);
        QVERIFY(made >= 800);
    }

    void threadsOfTheToolkitEndTheirObjectsWhole()
    {
        for (int round = 0; round < 100; ++round) {
            const std::unique_ptr<QThread> thread(QThread::create(useBoth));
            thread->start();
            thread->wait();
        }

        // wait() can return before the objects have ended.
        QTRY_COMPARE(ended, made);
        QCOMPARE(damaged, 0);
        QVERIFY(made >= 200);
    }
};

QTEST_GUILESS_MAIN(TestPerThread)
#include "TestPerThread.moc"
