#pragma once
#include <core/PosixSync.h>

#include <testkit/PassingFactory.h>

#include <QMap>

#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// \file
/// Factories that serve several threads badly.

namespace sync::test {

/// Like a connection that only the thread that has opened it may use.
class ServesOneThread : public PassingFactory<PassingQuery>
{
public:
    using PassingFactory::PassingFactory;

    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override
    {
        return std::make_shared<OwnQuery>(
            inner->CreateQuery(), inner->GetDatabase(), std::this_thread::get_id() == owner);
    }

private:
    class OwnQuery : public PassingQuery
    {
    public:
        OwnQuery(
            std::shared_ptr<interf::IQSqlQueryWrapper> inner,
            std::shared_ptr<interf::IQSqlDatabaseWrapper> connection, bool usable)
            : PassingQuery(std::move(inner), std::move(connection))
            , usable(usable)
        {
        }

        bool exec() override { return usable && inner->exec(); }

    private:
        const bool usable;
    };

    const std::thread::id owner = std::this_thread::get_id();
};

/// Has one set of values for all queries.
class SharesItsValues : public PassingQuery
{
public:
    using PassingQuery::PassingQuery;

    bool prepare(const QString& sql) override
    {
        const std::lock_guard lock(mutex);
        values.clear();
        return inner->prepare(sql);
    }
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        const std::lock_guard lock(mutex);
        values.insert(placeholder, value);
        inner->bindValue(placeholder, value);
    }
    bool exec() override
    {
        {
            const std::lock_guard lock(mutex);
            for (auto value = values.begin(); value != values.end(); ++value)
                inner->bindValue(value.key(), value.value());
        }
        return inner->exec();
    }

private:
    static inline std::mutex mutex;
    static inline QMap<QString, QVariant> values;
};

/// Runs calls on a thread of its own, one after the other.
class OneThread
{
public:
    OneThread(const OneThread&) = delete;
    OneThread& operator=(const OneThread&) = delete;

    template <typename Call>
    auto run(Call call)
    {
        std::packaged_task<decltype(call())()> task(call);
        auto result = task.get_future();
        {
            const std::lock_guard lock(mutex);
            calls.push_back([&task] { task(); });
        }
        called.notify_one();
        return result.get();
    }

    OneThread()
        : thread([this] { work(); })
    {
    }
    ~OneThread()
    {
        run([this] { ended = true; });
        thread.join();
    }

private:
    void work()
    {
        std::unique_lock lock(mutex);
        while (!ended) {
            called.wait(lock, [this] { return !calls.empty(); });
            const auto call = std::move(calls.front());
            calls.erase(calls.begin());
            lock.unlock();
            call();
            lock.lock();
        }
    }

    std::mutex mutex;
    std::condition_variable called;
    std::vector<std::function<void()>> calls;
    bool ended = false;
    std::thread thread;
};

/// Runs the statements of all threads on one connection.
class SharesItsConnection : public interf::factory::IDatabaseFactory
{
public:
    explicit SharesItsConnection(std::shared_ptr<interf::factory::IDatabaseFactory> inner)
        : inner(std::move(inner))
    {
    }

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override
    {
        return std::make_shared<SharedDatabase>(thread, inner->GetDatabase());
    }
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override
    {
        return std::make_shared<SharedQuery>(thread, *inner);
    }

private:
    class SharedDatabase : public interf::IQSqlDatabaseWrapper
    {
    public:
        SharedDatabase(
            std::shared_ptr<OneThread> thread, std::shared_ptr<interf::IQSqlDatabaseWrapper> inner)
            : thread(std::move(thread))
            , inner(std::move(inner))
        {
        }

        bool transaction() override
        {
            return thread->run([this] { return inner->transaction(); });
        }
        bool commit() override
        {
            return thread->run([this] { return inner->commit(); });
        }
        bool rollback() override
        {
            return thread->run([this] { return inner->rollback(); });
        }

    private:
        const std::shared_ptr<OneThread> thread;
        const std::shared_ptr<interf::IQSqlDatabaseWrapper> inner;
    };

    class SharedQuery : public interf::IQSqlQueryWrapper
    {
    public:
        SharedQuery(
            const std::shared_ptr<OneThread>& thread, interf::factory::IDatabaseFactory& factory)
            : thread(thread)
            , inner(thread->run([&] { return factory.CreateQuery(); }))
        {
        }
        ~SharedQuery() override
        {
            thread->run([this] { inner.reset(); });
        }

        QString lastError() const override
        {
            return thread->run([this] { return inner->lastError(); });
        }
        QString lastQuery() const override
        {
            return thread->run([this] { return inner->lastQuery(); });
        }
        QVariant value(int index) const override
        {
            return thread->run([=, this] { return inner->value(index); });
        }
        bool next() override
        {
            return thread->run([this] { return inner->next(); });
        }
        bool isValid() const override
        {
            return thread->run([this] { return inner->isValid(); });
        }
        bool prepare(const QString& sql) override
        {
            return thread->run([=, this] { return inner->prepare(sql); });
        }
        void bindValue(const QString& placeholder, const QVariant& value) override
        {
            thread->run([=, this] { inner->bindValue(placeholder, value); });
        }
        QVariant boundValue(const QString& placeholder) const override
        {
            return thread->run([=, this] { return inner->boundValue(placeholder); });
        }
        void setForwardOnly(bool forward) override
        {
            thread->run([=, this] { inner->setForwardOnly(forward); });
        }
        bool exec() override
        {
            return thread->run([this] { return inner->exec(); });
        }
        QVariant lastInsertId() const override
        {
            return thread->run([this] { return inner->lastInsertId(); });
        }
        int numRowsAffected() const override
        {
            return thread->run([this] { return inner->numRowsAffected(); });
        }

    private:
        const std::shared_ptr<OneThread> thread;
        std::shared_ptr<interf::IQSqlQueryWrapper> inner;
    };

    const std::shared_ptr<OneThread> thread = std::make_shared<OneThread>();
    const std::shared_ptr<interf::factory::IDatabaseFactory> inner;
};

} // namespace sync::test
