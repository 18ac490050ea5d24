#pragma once
#include <core/PosixSync.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace sync::test {

/// Notes what each commit of this process makes of a database, for as long as it lives.
///
/// One at a time, and only for connections that are opened meanwhile.
class CommittedStates
{
public:
    struct State
    {
        QStringList dump;
        /// Where the journey stood when the commit that made it was begun.
        qsizetype begun = 0;
    };

    /// The file exists. `position` tells where the journey stands.
    CommittedStates(QString path, std::function<qsizetype()> position);
    ~CommittedStates();
    CommittedStates(const CommittedStates&) = delete;
    CommittedStates& operator=(const CommittedStates&) = delete;

    /// The state at the beginning and those that the commits have made of it, up to now. Each
    /// differs from the one before it.
    const QList<State>& states();

private:
    void note(const QStringList& dump);
    void noteBeforeCommit();

    const QString path;
    const std::function<qsizetype()> position;
    QList<State> noted;
    qsizetype begun = 0;
    bool commitBegun = false;
};

} // namespace sync::test
