#pragma once

#include <QString>

namespace velmio::benchmarks {

/// The databases of the workloads, in one folder. Each is created when it is first needed.
class Stores
{
public:
    explicit Stores(const QString& folder);

    const QString& folder() const { return directory; }

    /// Each of these returns the path of a store with records of the data set.
    QString withFiles(int files);     ///< `files` files and their folders.
    QString withTree(int folders);    ///< `folders` folders with ten files each.
    QString withFolders(int folders); ///< `folders` folders and no files.

    /// Makes a new copy of a store and returns its path.
    QString copyOf(const QString& store, const QString& name);
    QString pathOf(const QString& name) const;

private:
    QString directory;
};

/// Removes a store and its companion files.
void removeStore(const QString& path);

} // namespace velmio::benchmarks
