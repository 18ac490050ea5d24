#pragma once

#include <QByteArray>

#include <vector>

namespace velmioctl::bundle {

/// A file in an archive. The name is plain ASCII.
struct Entry
{
    QByteArray name;
    QByteArray content;
    QByteArray holds; ///< What it is, for a person.
};

/// The bytes of a .tar.gz of them, in a folder of that name. Does not say who
/// created it. Throws CommandError.
QByteArray toTarGz(const QByteArray& folder, const std::vector<Entry>& entries);

} // namespace velmioctl::bundle
