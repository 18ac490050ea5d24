#pragma once
#include <core/PosixSync.h>

#include <QStringList>

namespace sync::test {

/// Captures what the thread logs during its lifetime, so that a test can compare all of it.
///
/// Only one may exist at a time.
class CapturedWarnings
{
public:
    CapturedWarnings();
    ~CapturedWarnings();
    CapturedWarnings(const CapturedWarnings&) = delete;
    CapturedWarnings& operator=(const CapturedWarnings&) = delete;

    /// A line for each message: "category: text".
    QStringList texts() const;

private:
    const QtMessageHandler previous;
};

} // namespace sync::test
