#pragma once
#include <core/PosixSync.h>

#include <interf/IDatabaseFactory.h>

#include <QString>

#include <memory>

namespace sync::test {

/// Adds a row for each engine with which behaviour is tested, in its one column "engine".
void addEngineRows();

/// Opens the database file with an engine of addEngineRows(), creating it with its tables.
std::shared_ptr<interf::factory::IDatabaseFactory> openEngine(
    const QString& engine, const QString& path);

} // namespace sync::test
