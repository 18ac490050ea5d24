#pragma once
#include <core/PosixSync.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace sync::test {

/// Records the state of a database after each commit of this process, for as long as it lives.
///
/// Only one may exist at a time. It sees only connections that are opened while it exists.
class CommittedStates
{
public:
    struct State
    {
        QStringList dump;
        /// Position in the journey when the commit that produced this state began.
        qsizetype begun = 0;
    };

    /// The file must exist. `position` returns the current position in the journey.
    CommittedStates(QString path, std::function<qsizetype()> position);
    ~CommittedStates();
    CommittedStates(const CommittedStates&) = delete;
    CommittedStates& operator=(const CommittedStates&) = delete;

    /// The initial state and the states after the commits so far. Consecutive states differ.
    const QList<State>& states();

private:
    void record(const QStringList& dump);
    void recordBeforeCommit();

    const QString path;
    const std::function<qsizetype()> position;
    QList<State> recorded;
    qsizetype begun = 0;
    bool commitBegun = false;
};

} // namespace sync::test
