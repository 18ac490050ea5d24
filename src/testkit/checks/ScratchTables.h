#pragma once

namespace sync::testkit {

struct Host;

/// Creates the empty tables that every check begins with, and replaces existing ones; throws
/// Stopped.
void makeScratchTables(const Host& host);

/// Drops them as far as possible.
void dropScratchTables(const Host& host);

} // namespace sync::testkit
