#pragma once
#include <core/PosixSync.h>

#include <QStringList>

namespace sync::test {

/// Takes what the thread logs for as long as it lives, so that a test can compare all of it.
///
/// One at a time.
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
