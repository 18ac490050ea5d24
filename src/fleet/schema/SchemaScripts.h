#pragma once

#include <string_view>
#include <vector>

namespace sync::fleet {

/// The SQL scripts that lead from schema version n (the index) of a fleet to n + 1.
const std::vector<std::string_view>& schemaScripts();

} // namespace sync::fleet
