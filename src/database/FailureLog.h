#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/DatabaseError.h>
#include <database/Listeners.h>

#include <QString>

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>

namespace sync::database {

/// A call on a database that failed.
struct Failure
{
    /// What was called.
    enum class Kind {
        Statement, ///< exec() or next() of a query, transaction() or rollback().
        Commit,    ///< commit(), or a scope's end: the changes were rolled back.
        Opening,   ///< CreateQuery(): no connection could be opened.
    };

    Kind kind = Kind::Statement;                              ///< What was called.
    DatabaseError::Cause cause = DatabaseError::Cause::Other; ///< For programs that react to it.
    QString text;                                             ///< For a person, without any value.

    /// True if nothing failed.
    bool isEmpty() const { return text.isEmpty(); }
};

/// Offered by factories that count what fails: what ErrorGuard needs. Any thread may call.
class VELMIO_DATABASE_EXPORT FailureSource
{
public:
    virtual ~FailureSource();

    /// How many calls have failed, on all threads.
    virtual int failureCount() const = 0;

    /// The last of these failures, of any thread; nothing if none has failed.
    virtual std::optional<Failure> lastFailure() const = 0;

    /// Calls the function with every later failure, on the thread where it happens, until the
    /// result is destroyed. The function must neither throw nor use the factory.
    [[nodiscard]] virtual Listening onFailure(
        std::function<void(const Failure& failure)> function) = 0;
};

/// Counts failures and reports them, for a factory and its queries to share.
///
/// The mutex guards the last failure alone and is never held during a call of a listener.
class VELMIO_DATABASE_EXPORT FailureLog final : public FailureSource
{
public:
    FailureLog();
    ~FailureLog() override;

    /// Counts a failure and calls the listeners. The caller holds no lock.
    void report(const Failure& failure) noexcept;

    int failureCount() const override;
    std::optional<Failure> lastFailure() const override;
    [[nodiscard]] Listening onFailure(
        std::function<void(const Failure& failure)> function) override;

private:
    std::atomic<int> count = 0;
    mutable std::mutex mutex;
    std::optional<Failure> last;
    Listeners<Failure> listeners;
};

} // namespace sync::database
