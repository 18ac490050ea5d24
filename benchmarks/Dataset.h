#pragma once

#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>

#include <QString>

namespace velmio::benchmarks {

/// Records of the shape that a client's database has: 742 bytes on disk for each file, indexes
/// included, nine files in ten without properties, one in twenty with two links.
///
/// Record `number`, counted from 0, is the same whenever it is asked for. Files lie in folders of
/// FilesPerFolder, one behind the other as a walk of the disk meets them; ids and checksums are in
/// no order.
constexpr int FilesPerFolder = 50;

/// All records belong to the tree of the folder with this id.
constexpr int RootFolderId = 1;

/// Without an id. Folder 0 is the root; the others lie below it, eight in each.
sync::config::FolderConfiguration sampleFolder(int number);

/// Without an id. The file lies in folder 1 + number / `filesPerFolder`.
sync::config::FileConfiguration sampleFile(int number, int filesPerFolder = FilesPerFolder);

QString clientPathOfFile(int number, int filesPerFolder = FilesPerFolder);

/// What the client changes when it has transferred a new version: content, times, size.
void changeContent(sync::config::FileConfiguration& file, int version);

/// All fields but the ids that the database gives, and those that it does not store.
bool sameFile(
    const sync::config::FileConfiguration& left, const sync::config::FileConfiguration& right);
bool sameFolder(
    const sync::config::FolderConfiguration& left, const sync::config::FolderConfiguration& right);

} // namespace velmio::benchmarks
