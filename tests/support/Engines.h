#pragma once
#include <core/PosixSync.h>

#include <interf/IDatabaseFactory.h>

#include <QString>

#include <memory>

namespace sync::test {

/// Adds a row for each engine with which behaviour is tested, in its one column "engine".
void addEngineRows();

/// False if what the engine needs is not installed.
bool isAvailable(const QString& engine);

/// Opens the database file with an engine of addEngineRows(), creating it with its tables.
std::shared_ptr<interf::factory::IDatabaseFactory> openEngine(
    const QString& engine, const QString& path);

/// Makes every DELETE from a table fail, until the result is destroyed or the store is gone.
std::shared_ptr<void> refuseRemoval(
    const QString& engine, interf::factory::IDatabaseFactory& factory, const QString& table);

} // namespace sync::test
