#pragma once

#include <velmioctl/bundle/Archive.h>
#include <velmioctl/bundle/Redactor.h>

namespace velmioctl::bundle {

/// Collects what a support bundle tells of a database. Reads it as it is, also a damaged one, and
/// changes nothing: what cannot be read is told as an error.
std::vector<Entry> collect(const QString& databasePath, const Redactor& redactor, bool keepPaths);

} // namespace velmioctl::bundle
