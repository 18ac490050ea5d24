#pragma once
#include <core/PosixSync.h>

#include <QByteArray>

#include <functional>

namespace sync::test {

/// A call of the C library that changes a file or a folder, makes it durable, or lists it.
struct SystemCall
{
    QByteArray name; ///< Such as "link".
    QByteArray path; ///< What it changes; of two names the second.
};

/// Sees these calls of the whole process while it exists, from any thread. Only one may exist at a
/// time. Link SystemCalls.cpp into the test program itself: it takes the place of the functions.
class SystemCallWatch
{
public:
    /// Returns 0 to let a call happen, or the errno with which it fails instead. It is not called
    /// for what it does itself.
    using Fate = std::function<int(const SystemCall& call)>;

    explicit SystemCallWatch(Fate fate);
    ~SystemCallWatch();
    SystemCallWatch(const SystemCallWatch&) = delete;
    SystemCallWatch& operator=(const SystemCallWatch&) = delete;
};

} // namespace sync::test
