#pragma once

#include <QtGlobal>

#include <algorithm>

namespace sync::test {

/// The step in which a test takes similar cases: 1, or for slow tools such as sanitizers the number
/// in VELMIO_TEST_STRIDE.
inline int testStride()
{
    return std::max(1, qEnvironmentVariableIntValue("VELMIO_TEST_STRIDE"));
}

/// `count` repetitions of a test, divided by the stride.
inline int repetitions(int count)
{
    return std::max(1, count / testStride());
}

} // namespace sync::test
