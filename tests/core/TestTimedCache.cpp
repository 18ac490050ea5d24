#include <core/TimedCache.h>

#include <QTest>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

namespace sync::core {

namespace {

// A cache of the number of its load, over a clock that only moves when it is set.
struct CountingCache
{
    explicit CountingCache(int lifetimeMs)
        : cache(
              lifetimeMs, [this] { return load(); }, [this] { return nowMs.load(); })
    {
    }

    int load()
    {
        if (loaderThrows)
            throw std::runtime_error("told to");
        return ++loads;
    }

    std::atomic<qint64> nowMs = 1'600'000'000'000;
    std::atomic<int> loads = 0;
    bool loaderThrows = false;
    TimedCache<int> cache;
};

} // namespace

class TestTimedCache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newCacheLoadsOnItsFirstResult()
    {
        CountingCache counting(1000);

        QCOMPARE(counting.loads.load(), 0);
        QCOMPARE(counting.cache.Result(), 1);

        QCOMPARE(counting.cache.Result(), 1);
    }

    void clearedCacheLoadsAgain()
    {
        CountingCache counting(1000);
        counting.cache.Result();

        counting.cache.Clear();
        QCOMPARE(counting.loads.load(), 1);

        QCOMPARE(counting.cache.Result(), 2);
    }

    void valueLastsForItsLifetimeInWholeSeconds_data()
    {
        QTest::addColumn<int>("lifetimeMs");
        QTest::addColumn<qint64>("movedMs");
        QTest::addColumn<bool>("reloads");

        QTest::newRow("same moment") << 1000 << qint64(0) << false;
        QTest::newRow("one second") << 1000 << qint64(1000) << false;
        QTest::newRow("just under two seconds") << 1000 << qint64(1999) << false;
        QTest::newRow("two seconds") << 1000 << qint64(2000) << true;
        QTest::newRow("1999 ms last as long as 1000") << 1999 << qint64(1999) << false;
        QTest::newRow("1999 ms last no longer than 1000") << 1999 << qint64(2000) << true;
        QTest::newRow("short lifetime in the same second") << 999 << qint64(999) << false;
        QTest::newRow("short lifetime after a second") << 999 << qint64(1000) << true;
        QTest::newRow("no lifetime in the same second") << 0 << qint64(999) << false;
        QTest::newRow("no lifetime after a second") << 0 << qint64(1000) << true;
        QTest::newRow("clock set back a little") << 1000 << qint64(-1999) << false;
        QTest::newRow("clock set back further") << 1000 << qint64(-2000) << true;
        QTest::newRow("clock set back by a year") << 1000 << qint64(-31'536'000'000) << true;
        QTest::newRow("a year later") << 1000 << qint64(31'536'000'000) << true;
    }

    void valueLastsForItsLifetimeInWholeSeconds()
    {
        QFETCH(int, lifetimeMs);
        QFETCH(qint64, movedMs);
        CountingCache counting(lifetimeMs);
        counting.cache.Result();

        counting.nowMs += movedMs;
        const bool reloads = counting.cache.Result() == 2;

        QTEST(reloads, "reloads");
    }

    void ageCountsFromTheStartOfTheLoad()
    {
        qint64 nowMs = 0;
        int loads = 0;
        const auto slowLoader = [&] {
            nowMs += 1500;
            return ++loads;
        };
        TimedCache<int> cache(1000, slowLoader, [&] { return nowMs; });
        cache.Result();

        nowMs = 2000;

        QCOMPARE(cache.Result(), 2);
    }

    void exceptionOfTheLoaderKeepsThePreviousValue()
    {
        CountingCache counting(1000);
        counting.cache.Result();
        counting.nowMs += 5000;
        counting.loaderThrows = true;

        QVERIFY_THROWS_EXCEPTION(std::runtime_error, counting.cache.Result());

        // Still loaded at the first moment, and not locked.
        counting.nowMs -= 5000;
        QCOMPARE(counting.cache.Result(), 1);
    }

    void exceptionOfTheFirstLoadLeavesTheCacheEmpty()
    {
        CountingCache counting(1000);
        counting.loaderThrows = true;
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, counting.cache.Result());
        counting.loaderThrows = false;

        QCOMPARE(counting.cache.Result(), 1);
    }

    void cacheWithoutLoaderThrows()
    {
        TimedCache<int> cache(1000, {});

        QVERIFY_THROWS_EXCEPTION(std::bad_function_call, cache.Result());
        QVERIFY_THROWS_EXCEPTION(std::bad_function_call, cache.Result());
    }

    void epochIsATimeLikeAnyOther()
    {
        CountingCache counting(1000);
        counting.nowMs = 0;

        QCOMPARE(counting.cache.Result(), 1);
        QCOMPARE(counting.cache.Result(), 1);
    }

    void realClockServesTheCachedValue()
    {
        int loads = 0;
        TimedCache<int> cache(3'600'000, [&loads] { return ++loads; });
        cache.Result();

        QCOMPARE(cache.Result(), 1);
    }

    void destructorIsTheOnlyVirtualOperation()
    {
        struct Hiding : TimedCache<int>
        {
            using TimedCache::TimedCache;
            int Result() { return -1; }
        };
        Hiding hiding(1000, [] { return 1; });
        TimedCache<int>& cache = hiding;

        QVERIFY(std::has_virtual_destructor_v<TimedCache<int>>);
        QCOMPARE(cache.Result(), 1);
    }

    void threadsMayReadAndClearAtOnce()
    {
        CountingCache counting(1000);
        std::atomic<bool> sound = true;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&counting, &sound, i] {
                for (int call = 0; call < 2000; ++call) {
                    if (i == 0 && call % 10 == 0)
                        counting.cache.Clear();
                    counting.nowMs += 100;
                    // A clear by another thread leaves 0.
                    const int value = counting.cache.Result();
                    if (value < 0 || value > counting.loads)
                        sound = false;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();

        QVERIFY(sound);
        QVERIFY(counting.loads > 1);
    }

    void threadsThatBothFindTheValueStaleLoadItOneAfterTheOther()
    {
        int loads = 0;
        std::atomic<bool> overlapping = false;
        // Repeated in case the second thread was held up between reading the clock and the value.
        for (int attempt = 0; attempt < 100 && loads != 2; ++attempt) {
            std::promise<void> firstLoads;
            std::promise<void> secondAsks;
            std::atomic<int> running = 0;
            loads = 0;
            const auto loader = [&] {
                if (++running > 1)
                    overlapping = true;
                if (++loads == 1) {
                    firstLoads.set_value();
                    secondAsks.get_future().wait();
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                }
                --running;
                return loads;
            };
            std::atomic<int> clockReads = 0;
            const auto clock = [&]() -> qint64 {
                if (++clockReads == 2)
                    secondAsks.set_value();
                return 0;
            };
            TimedCache<int> cache(1000, loader, clock);

            std::thread first([&cache] { cache.Result(); });
            firstLoads.get_future().wait();
            cache.Result();
            first.join();
            QVERIFY(!overlapping);
        }

        QCOMPARE(loads, 2);
    }
};

} // namespace sync::core

QTEST_GUILESS_MAIN(sync::core::TestTimedCache)
#include "TestTimedCache.moc"
