-- Version 1 of the configuration database.
--
-- Times are ISO 8601 texts with milliseconds that keep the clock reading as it was stored; a "Z" or
-- an offset stands behind them only when the stored value had one. Ids are never used again, as
-- references between tables are not cascaded. Text compares case-sensitively. Every column but the
-- id may be NULL.

-- The servers that the client synchronises with.
CREATE TABLE ServerConfiguration (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    alias TEXT,               -- name to show
    davUrl TEXT,              -- URL of the DAV endpoint
    webServiceUrl TEXT,       -- URL of the web-service endpoint
    nameValueProperties TEXT, -- further properties, as XML
    binaryDiffEncoder TEXT    -- name of the encoder for binary differences
);
CREATE INDEX ServerConfigurationByUrls ON ServerConfiguration (davUrl, webServiceUrl);

-- The stored sign-ins.
CREATE TABLE AuthenticationConfiguration (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    domain TEXT,              -- domain of the sign-in
    domainId TEXT,            -- the server's id of the domain
    userName TEXT,
    encryptedPassword BLOB,   -- enciphered, never in clear
    nameValueProperties TEXT, -- further properties, as XML
    serverId INTEGER          -- ServerConfiguration.id
);
CREATE INDEX AuthenticationConfigurationByUser ON AuthenticationConfiguration (domain, userName);

-- The products that are registered with a server.
CREATE TABLE ProductConfiguration (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT,                -- name to show
    consumerKey TEXT,         -- what the product presents to the server
    consumerSecret TEXT,      -- in clear; NULL after an update of the record
    serverId INTEGER,         -- ServerConfiguration.id
    nameValueProperties TEXT  -- further properties, as XML
);
CREATE INDEX ProductConfigurationByKey ON ProductConfiguration (serverId, consumerKey);

-- The synchronised folders: roots, and every folder below them.
CREATE TABLE FolderConfiguration (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    authenticationId INTEGER, -- the sign-in it is synchronised with: AuthenticationConfiguration.id
    name TEXT,                -- name to show
    remoteShortKey TEXT,      -- the server's short key of the tree
    remoteLongKey TEXT,       -- the server's long key of the folder
    clientPath TEXT,          -- absolute path on the client, without a trailing slash
    serverPath TEXT,          -- path on the server
    syncStatus INTEGER,       -- 1 syncing, 2 out of sync, 3 registered by the library itself
    nameValueProperties TEXT, -- further properties, as XML
    parentId INTEGER,         -- FolderConfiguration.id of the folder above; 0 for a root
    lastOperationTime TEXT,   -- time of the last operation, UTC
    lastSyncTime TEXT,        -- end of the last synchronisation, UTC
    folderOption INTEGER,     -- 1 only the files directly in a root, others with its subfolders
    lastOperationType INTEGER, -- the client's last operation on it
    syncDriveType INTEGER,    -- kind of drive, a value of the client
    rootId INTEGER,           -- FolderConfiguration.id of the tree's root; a root's own id
    syncOption INTEGER,       -- how it is synchronised, a value of the client
    ownerId TEXT,             -- the server's id of the owner
    privileges INTEGER,       -- rights: 1 view, 2 download, 4 update, 8 delete, 16 share
    serverRoot TEXT,          -- root of the tree on the server
    productConfigurationId INTEGER, -- the product that brought it: ProductConfiguration.id
    serverFolderId TEXT       -- the server's id of the folder
);
CREATE INDEX FolderConfigurationByAuthentication ON FolderConfiguration (authenticationId);
CREATE INDEX FolderConfigurationByClientPath ON FolderConfiguration (clientPath);
CREATE INDEX FolderConfigurationByParent ON FolderConfiguration (parentId, name);
CREATE INDEX FolderConfigurationByRoot ON FolderConfiguration (rootId);
CREATE INDEX FolderConfigurationByServerFolder ON FolderConfiguration (serverFolderId);
CREATE INDEX FolderConfigurationBySyncStatus ON FolderConfiguration (syncStatus);

-- A root folder's rootId is its own id, which its INSERT cannot know. Set here it is part of that
-- INSERT, so that no crash leaves a root without it.
CREATE TRIGGER FolderConfigurationRootNamesItself AFTER INSERT ON FolderConfiguration
WHEN NEW.parentId = 0 AND NEW.rootId = -1
BEGIN
    UPDATE FolderConfiguration SET rootId = NEW.id WHERE id = NEW.id;
END;

-- The synchronised files.
CREATE TABLE FileConfiguration (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    folderConfigurationId INTEGER, -- the folder that holds it: FolderConfiguration.id
    name TEXT,                     -- file name without its path
    clientPath TEXT,               -- absolute path on the client
    serverPath TEXT,               -- path on the server
    checkSum TEXT,                 -- checksum of the content, as the host's hash service gives it
    createdDateTime TEXT,          -- creation time of the client's file, UTC
    lastModifiedDateTime TEXT,     -- last modification of the client's file, UTC
    syncStatus INTEGER,            -- 1 syncing, 2 not synced, 3 registered by the library itself
    lastOperationType INTEGER,     -- the client's last operation on it
    size INTEGER,                  -- bytes
    nameValueProperties TEXT,      -- further properties, as XML
    lastOperationTime TEXT,        -- time of the last operation, UTC
    rootFolderId INTEGER,          -- root of the folder's tree: FolderConfiguration.id
    syncOption INTEGER,            -- how it is synchronised, a value of the client
    parentFileId INTEGER,          -- not used here: -1
    fileType INTEGER,              -- 0
    ownerId TEXT,                  -- the server's id of the owner
    privileges INTEGER,            -- rights: 1 view, 2 download, 4 update, 8 delete, 16 share
    productConfigurationId INTEGER, -- the product that brought it: ProductConfiguration.id
    serverFileId TEXT,             -- the server's id of the file
    serverFileVersionId TEXT,      -- the server's id of the version last seen
    checkSumMD5 TEXT,              -- MD5 checksum of the content
    fileLinks TEXT                 -- the files it links to, as XML
);
CREATE INDEX FileConfigurationByClientPath ON FileConfiguration (clientPath);
CREATE INDEX FileConfigurationByFolder ON FileConfiguration (folderConfigurationId, syncStatus);
CREATE INDEX FileConfigurationByRoot ON FileConfiguration (rootFolderId);
CREATE INDEX FileConfigurationByServerFile ON FileConfiguration (serverFileId);
CREATE INDEX FileConfigurationByServerPath ON FileConfiguration (serverPath);

-- Files that the client generated as companions of a synchronised file.
CREATE TABLE GeneratedFileConfiguration (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    folderConfigurationId INTEGER, -- the folder that holds it: FolderConfiguration.id
    name TEXT,                     -- file name without its path
    clientPath TEXT,               -- absolute path on the client
    serverPath TEXT,               -- path on the server
    checkSum TEXT,                 -- checksum of the content, as the host's hash service gives it
    createdDateTime TEXT,          -- creation time of the client's file, UTC
    lastModifiedDateTime TEXT,     -- last modification of the client's file, UTC
    syncStatus INTEGER,            -- 1 syncing, 2 not synced, 3 registered by the library itself
    lastOperationType INTEGER,     -- the client's last operation on it
    size INTEGER,                  -- bytes
    nameValueProperties TEXT,      -- further properties, as XML
    lastOperationTime TEXT,        -- time of the last operation, UTC
    rootFolderId INTEGER,          -- root of the folder's tree: FolderConfiguration.id
    syncOption INTEGER,            -- how it is synchronised, a value of the client
    parentFileId INTEGER,          -- the file it belongs to: FileConfiguration.id
    fileType INTEGER,              -- 1
    ownerId TEXT,                  -- the server's id of the owner
    privileges INTEGER,            -- rights: 1 view, 2 download, 4 update, 8 delete, 16 share
    productConfigurationId INTEGER, -- the product that brought it: ProductConfiguration.id
    serverFileId TEXT,             -- the server's id of the file
    serverFileVersionId TEXT,      -- the server's id of the version last seen
    checkSumMD5 TEXT,              -- MD5 checksum of the content
    fileLinks TEXT                 -- the files it links to, as XML
);
CREATE INDEX GeneratedFileConfigurationByClientPath ON GeneratedFileConfiguration (clientPath);
CREATE INDEX GeneratedFileConfigurationByParent ON GeneratedFileConfiguration (parentFileId);
CREATE INDEX GeneratedFileConfigurationByRoot ON GeneratedFileConfiguration (rootFolderId);

-- Base (backup) copies of synchronised files.
CREATE TABLE BaseFileConfiguration (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    folderConfigurationId INTEGER, -- the folder that holds it: FolderConfiguration.id
    name TEXT,                     -- file name without its path
    clientPath TEXT,               -- absolute path on the client
    serverPath TEXT,               -- path on the server
    checkSum TEXT,                 -- checksum of the content, as the host's hash service gives it
    createdDateTime TEXT,          -- creation time of the client's file, UTC
    lastModifiedDateTime TEXT,     -- last modification of the client's file, UTC
    syncStatus INTEGER,            -- 1 syncing, 2 not synced, 3 registered by the library itself
    lastOperationType INTEGER,     -- the client's last operation on it
    size INTEGER,                  -- bytes
    nameValueProperties TEXT,      -- further properties, as XML
    lastOperationTime TEXT,        -- time of the last operation, UTC
    rootFolderId INTEGER,          -- root of the folder's tree: FolderConfiguration.id
    syncOption INTEGER,            -- how it is synchronised, a value of the client
    parentFileId INTEGER,          -- the file it belongs to: FileConfiguration.id
    fileType INTEGER,              -- 2
    ownerId TEXT,                  -- the server's id of the owner
    privileges INTEGER,            -- rights: 1 view, 2 download, 4 update, 8 delete, 16 share
    productConfigurationId INTEGER, -- the product that brought it: ProductConfiguration.id
    serverFileId TEXT,             -- the server's id of the file
    serverFileVersionId TEXT,      -- the server's id of the version last seen
    checkSumMD5 TEXT,              -- MD5 checksum of the content
    fileLinks TEXT                 -- the files it links to, as XML
);
CREATE INDEX BaseFileConfigurationByParent ON BaseFileConfiguration (parentFileId);
CREATE INDEX BaseFileConfigurationByRoot ON BaseFileConfiguration (rootFolderId);

-- When and how often to synchronise.
CREATE TABLE Schedules (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    folderConfigurationId INTEGER, -- FolderConfiguration.id; 0 for the default schedule
    startTime TEXT,                -- local time
    expireTime TEXT,               -- local time
    syncScheduleType INTEGER,      -- kind of schedule, a value of the client
    syncInterval INTEGER           -- length of the interval, as the client counts it
);
CREATE INDEX SchedulesByFolder ON Schedules (folderConfigurationId);
INSERT INTO Schedules (folderConfigurationId, syncScheduleType, syncInterval) VALUES (0, 0, 30);
