#pragma once

#include <velmioctl/store/Columns.h>

#include <QString>

namespace velmioctl {

/// True for the columns with further properties and with links.
bool holdsXml(const Column& column);

/// True if elements of an XML text stand deeper than in any that a client writes: only what comes
/// from outside has such, and clients do not read it.
bool isNestedTooDeeply(const QString& xml);

} // namespace velmioctl
