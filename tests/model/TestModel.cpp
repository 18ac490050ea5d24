#include "ModelRun.h"
#include "Shrink.h"

#include <core/Crypto.h>
#include <core/HostKeyStore.h>
#include <support/Engines.h>

#include <QTest>

using namespace Qt::StringLiterals;
using sync::test::ModelRun;
using sync::test::Step;

namespace {

// The number of steps on one store, before the next one begins with an empty store.
constexpr int StepsOfAStore = 500;

std::vector<Step> stepsOf(std::uint64_t seed, int count)
{
    std::mt19937_64 random(seed);
    std::vector<Step> steps(static_cast<std::size_t>(count));
    std::generate(steps.begin(), steps.end(), std::ref(random));
    return steps;
}

struct Failure
{
    QString text; // what differed and after which steps; empty when nothing did
    std::size_t steps = 0;
};

Failure failureOf(const QString& engine, const std::vector<Step>& steps)
{
    ModelRun run(engine);
    QStringList done;
    for (const Step step : steps) {
        const QString difference = run.perform(step);
        done.append(run.lastStep());
        if (!difference.isEmpty())
            return {
                done.join(u'\n') + u"\n-> "_s + difference, static_cast<std::size_t>(done.size())};
    }
    return {};
}

int environmentNumber(const char* name, int otherwise)
{
    bool set = false;
    const int number = qEnvironmentVariableIntValue(name, &set);
    return set ? number : otherwise;
}

} // namespace

/// Random sequences of all operations lead to the same state in a store and in a model in plain
/// memory.
///
/// VELMIO_MODEL_STEPS and VELMIO_MODEL_SEED choose a longer run, and another one.
class TestModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        sync::core::crypto::setKeyStore(
            std::make_shared<sync::core::crypto::HostKeyStore>(QByteArray(32, 'k')));
    }

    void storeAndModelAgreeAfterEachStep_data() { sync::test::addEngineRows(); }
    void storeAndModelAgreeAfterEachStep()
    {
        QFETCH(QString, engine);
        // Each statement asks a server.
        const int usualSteps = engine == u"postgres" ? 2'500 : 10'000;
        const int steps = environmentNumber("VELMIO_MODEL_STEPS", usualSteps);
        const auto firstSeed =
            static_cast<std::uint64_t>(environmentNumber("VELMIO_MODEL_SEED", 1));

        for (int done = 0; done < steps; done += StepsOfAStore) {
            const std::uint64_t seed = firstSeed + static_cast<std::uint64_t>(done / StepsOfAStore);
            std::vector<Step> sequence = stepsOf(seed, std::min(StepsOfAStore, steps - done));
            const Failure failure = failureOf(engine, sequence);
            if (failure.text.isEmpty())
                continue;
            sequence.resize(failure.steps);
            const auto fails = [&engine](const std::vector<Step>& some) {
                return !failureOf(engine, some).text.isEmpty();
            };
            const Failure shortest = failureOf(engine, sync::test::shrunk<Step>(sequence, fails));
            QFAIL(qPrintable(u"seed %1, shortest sequence:\n"_s.arg(seed) + shortest.text));
        }
    }

    void failingSequenceIsShrunk()
    {
        const std::vector<int> numbers{5, 3, 8, 1, 9, 7, 2, 7, 4, 6, 0};
        const auto fails = [](const std::vector<int>& some) {
            const auto nine = std::find(some.begin(), some.end(), 9);
            return nine != some.end() && std::find(nine, some.end(), 4) != some.end();
        };

        const std::vector<int> shortest = sync::test::shrunk<int>(numbers, fails);

        QCOMPARE(shortest, (std::vector<int>{9, 4}));
    }
};

QTEST_GUILESS_MAIN(TestModel)
#include "TestModel.moc"
