#pragma once

#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

namespace velmioctl::exchange {

/// A value as others may see it: Masked if it has further properties, or credentials in a URL, and
/// the value itself otherwise. A secret is left out.
Value masked(const Column& column, const Value& value);

/// A value as a push sends it to a fleet: a secret and further properties are NULL, and of a URL
/// what is shown is left.
Value sent(const Column& column, const Value& value);

/// What is shown of a value; the same for a value and for its mask.
QByteArray shownOf(const Column& column, const Value& value);

} // namespace velmioctl::exchange
