#pragma once
#include <core/PosixSync.h>

#include "WatchedVfs.h"

#include <QList>
#include <QString>

namespace sync::test {

/// A way for calls to the operating system to fail.
struct Fault
{
    enum Kind {
        InputOutput, ///< Any call.
        FullDisk,    ///< A write, or the growth of the index of the log.
        ShortWrite,  ///< A write, of which half is done.
    };

    Kind kind;
    /// From that call on every one fails, and not that call alone.
    bool lasting;

    QString text() const;
};

/// All faults there are.
QList<Fault> allFaults();

/// Has the n-th call fail that a fault can hit.
class NthCallFails : public IoWatcher
{
public:
    NthCallFails(const Fault& fault, int nth);

    IoFate before(const IoCall& call) override;

    /// The call that failed first; empty when there were not so many calls.
    QByteArray hit() const { return hitCall; }

private:
    bool canHit(const IoCall& call) const;
    IoFate failureOf(const IoCall& call) const;

    const Fault fault;
    const int nth;
    int calls = 0;
    QByteArray hitCall;
};

} // namespace sync::test
