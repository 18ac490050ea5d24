#pragma once
#include <core/PosixSync.h>

#include "WatchedVfs.h"

#include <QList>
#include <QString>

namespace sync::test {

/// A way in which calls to the operating system fail.
struct Fault
{
    enum Kind {
        InputOutput, ///< Any call.
        FullDisk,    ///< A write, or the growth of the WAL index.
        ShortWrite,  ///< A write, half of which is done.
    };

    Kind kind;
    /// True if all later calls fail, too.
    bool lasting;

    QString text() const;
};

QList<Fault> allFaults();

/// Makes the n-th call fail, counting only calls that the fault can hit.
class NthCallFails : public IoWatcher
{
public:
    NthCallFails(const Fault& fault, int nth);

    IoFate before(const IoCall& call) override;

    /// The call that failed first; empty when there were fewer than n calls.
    QByteArray hit() const { return hitCall; }

    bool isLasting() const { return fault.lasting; }

private:
    bool canHit(const IoCall& call) const;
    IoFate failureOf(const IoCall& call) const;

    const Fault fault;
    const int nth;
    int calls = 0;
    QByteArray hitCall;
};

} // namespace sync::test
