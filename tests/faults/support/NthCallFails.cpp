#include "NthCallFails.h"

#include <iterator>

using namespace Qt::StringLiterals;

namespace sync::test {

QString Fault::text() const
{
    static const QString names[] = {u"I/O error"_s, u"full disk"_s, u"short write"_s};
    return names[kind] + (lasting ? u", lasting"_s : u", once"_s);
}

QList<Fault> allFaults()
{
    QList<Fault> faults;
    for (const auto kind : {Fault::InputOutput, Fault::FullDisk, Fault::ShortWrite}) {
        faults.append({kind, false});
        faults.append({kind, true});
    }
    return faults;
}

NthCallFails::NthCallFails(const Fault& fault, int nth)
    : fault(fault)
    , nth(nth)
{
}

IoFate NthCallFails::before(const IoCall& call)
{
    if (!canHit(call))
        return {};
    ++calls;
    if (calls < nth || (calls > nth && !fault.lasting))
        return {};
    if (hitCall.isEmpty())
        hitCall = call.text();
    return failureOf(call);
}

bool NthCallFails::canHit(const IoCall& call) const
{
    switch (fault.kind) {
    case Fault::InputOutput:
        return true;
    case Fault::FullDisk:
        return call.kind == IoCall::Write || (call.kind == IoCall::ShmMap && call.flag);
    case Fault::ShortWrite:
        return call.kind == IoCall::Write;
    }
    return false;
}

IoFate NthCallFails::failureOf(const IoCall& call) const
{
    static constexpr int Codes[] = {
        SQLITE_CANTOPEN,       SQLITE_IOERR_READ,   SQLITE_IOERR_WRITE, SQLITE_IOERR_FSYNC,
        SQLITE_IOERR_TRUNCATE, SQLITE_IOERR_FSTAT,  SQLITE_IOERR_LOCK,  SQLITE_IOERR_SHMMAP,
        SQLITE_IOERR_SHMLOCK,  SQLITE_IOERR_DELETE, SQLITE_IOERR_ACCESS};
    static_assert(std::size(Codes) == IoCall::Access + 1);
    switch (fault.kind) {
    case Fault::InputOutput:
        return {Codes[call.kind]};
    case Fault::FullDisk:
        return {call.kind == IoCall::Write ? SQLITE_FULL : SQLITE_IOERR_SHMSIZE};
    case Fault::ShortWrite:
        return {SQLITE_IOERR_WRITE, call.bytes.size() / 2};
    }
    return {};
}

} // namespace sync::test
