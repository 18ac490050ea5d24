#pragma once

#include <support/PostgresServer.h>

#include <QCoreApplication>
#include <QTest>

#include <cstdio>

namespace sync::test {

/// The main() of a test that needs a PostgreSQL server. Ends with the code that CTest reports as
/// "Skipped" where none is installed.
template <typename Test>
int runWithServer(int argc, char** argv)
{
    if (!PostgresServer::isInstalled()) {
        std::puts("not run: the package postgresql is not installed");
        return 77;
    }
    const QCoreApplication application(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace sync::test
