#pragma once

#include <QString>

namespace velmio::benchmarks {

/// The databases that the workloads run on, in a folder of their own, each made when it is first
/// asked for.
class Stores
{
public:
    explicit Stores(const QString& folder);

    const QString& folder() const { return place; }

    /// So many files of the data set, with their folders.
    QString withFiles(int files);
    /// So many folders of the data set, ten files in each.
    QString withTree(int folders);
    /// So many folders of the data set and no file.
    QString withFolders(int folders);

    /// A fresh copy of a store under a name; its path.
    QString copyOf(const QString& store, const QString& name);
    QString pathOf(const QString& name) const;

private:
    QString place;
};

/// With its log.
void removeStore(const QString& path);

} // namespace velmio::benchmarks
