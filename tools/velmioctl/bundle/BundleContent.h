#pragma once

#include <velmioctl/bundle/Archive.h>
#include <velmioctl/bundle/Redactor.h>

namespace velmioctl::bundle {

/// Collects the content of a support bundle, also of a damaged database, and changes nothing. What
/// cannot be read is reported as an error.
std::vector<Entry> collect(const QString& databasePath, const Redactor& redactor, bool keepPaths);

} // namespace velmioctl::bundle
