#pragma once

namespace sync::testkit {

struct Host;

/// Makes the empty tables that every check begins with, in the place of what is there; throws
/// Stopped.
void makeScratchTables(const Host& host);

/// Drops them, as far as that can be done.
void dropScratchTables(const Host& host);

} // namespace sync::testkit
