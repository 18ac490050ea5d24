#pragma once

#include <QString>

namespace velmioctl {

/// A text without the user, password, query and fragment of each URL in it, which may give access.
/// A URL begins with "scheme://" and ends before a blank, a quote or an angle bracket. Of one whose
/// password cannot be told from its host only the scheme is left.
QString withoutCredentials(const QString& text);

/// The same for a text that is a URL as a whole, even if it has no scheme.
QString urlWithoutCredentials(const QString& url);

} // namespace velmioctl
