#pragma once

#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>

#include <QString>

namespace velmio::benchmarks {

/// Records like those in a client's database: 742 bytes on disk for each file, including indexes;
/// one file in ten has properties, and one in twenty has two links.
///
/// Record `number`, counted from 0, is always the same. Files are ordered by folder, as in a walk
/// of the disk, with FilesPerFolder files in each. Server ids and checksums are in no order.
constexpr int FilesPerFolder = 50;

/// The root of the tree that contains all records.
constexpr int RootFolderId = 1;

/// Has no id yet. Folder 0 is the root. Each folder has eight subfolders.
sync::config::FolderConfiguration sampleFolder(int number);

/// Has no id yet. Its folder has the id 1 + `number` / `filesPerFolder`.
sync::config::FileConfiguration sampleFile(int number, int filesPerFolder = FilesPerFolder);

QString clientPathOfFile(int number, int filesPerFolder = FilesPerFolder);

/// Changes the fields that the client updates after the transfer of a new version.
void changeContent(sync::config::FileConfiguration& file, int version);

/// Compare all stored fields except the id.
bool sameFile(
    const sync::config::FileConfiguration& left, const sync::config::FileConfiguration& right);
bool sameFolder(
    const sync::config::FolderConfiguration& left, const sync::config::FolderConfiguration& right);

} // namespace velmio::benchmarks
