-- Version 4 of the configuration database: what identifies folders and files on the disk, so that one
-- that was renamed or moved is recognised, and a mark of each root folder.
--
-- A program of version 1 to 3 may go on using the file, because it leaves the new tables alone. What
-- it adds or moves has no row, or an outdated one, until the next scan. A row without its record means
-- nothing, because ids are not used again.

-- The folders, as the last scan saw them.
CREATE TABLE FolderOnDisk (
    folderId INTEGER PRIMARY KEY, -- FolderConfiguration.id
    volume INTEGER NOT NULL, -- first 64 bits of the SHA-256 of the id of its volume
    fileId INTEGER NOT NULL, -- number of the folder on its volume; used again after a removal
    createdNs INTEGER -- when it was created, in ns since 1970; NULL if unknown, or too recent to identify it
);
CREATE INDEX FolderOnDiskByFileId ON FolderOnDisk (fileId);

-- The ordinary files, as the last scan saw them.
CREATE TABLE FileOnDisk (
    fileConfigurationId INTEGER PRIMARY KEY, -- FileConfiguration.id
    volume INTEGER NOT NULL, -- as in FolderOnDisk
    fileId INTEGER NOT NULL, -- number of the file on its volume; used again after a removal
    createdNs INTEGER -- when it was created, in ns since 1970; NULL if unknown, or too recent to identify it
);
CREATE INDEX FileOnDiskByFileId ON FileOnDisk (fileId);

-- A mark of each root folder that no other one has, and whether it waits for a person.
CREATE TABLE RootFolderMark (
    rootId INTEGER PRIMARY KEY, -- FolderConfiguration.id of the root folder
    mark TEXT NOT NULL, -- 128 random bits as hexadecimal digits; a host may keep them in the root too
    paused INTEGER NOT NULL -- 1 if its paths come from another machine and were not compared yet
);
