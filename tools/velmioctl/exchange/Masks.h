#pragma once

#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

namespace velmioctl::exchange {

/// A value as others may see it: Masked if it has further properties, or credentials in a URL, and
/// the value itself otherwise. A secret is left out.
Value masked(const Column& column, const Value& value);

/// What is shown of a value; the same for a value and for its mask.
QByteArray shownOf(const Column& column, const Value& value);

} // namespace velmioctl::exchange
