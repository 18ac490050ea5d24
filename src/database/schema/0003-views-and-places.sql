-- Version 3 of the configuration database: views for other people's tools, the place where a root
-- folder was last seen, and a number for backups that no clock can put in the wrong order.
--
-- A program of version 1 or 2 may go on using the file, because it leaves the new tables alone.

-- Numbers the backups of the store.
CREATE TABLE BackupCounter (
    id INTEGER PRIMARY KEY CHECK (id = 1), -- there is one row
    lastNumber INTEGER NOT NULL -- number of this backup, or of the one that was restored last; 0 before
);
INSERT INTO BackupCounter (id, lastNumber) VALUES (1, 0);

-- Where each root folder was when its files were last compared, so that another or an unmounted
-- volume in its place is noticed.
CREATE TABLE RootFolderPlace (
    rootId INTEGER PRIMARY KEY, -- FolderConfiguration.id of the root folder
    volumeId TEXT, -- identifies the volume on this machine
    fileId TEXT    -- identifies the folder on its volume
);

-- The views keep their names, columns and meanings. A change of them gets views with the prefix v2_.

CREATE VIEW v1_servers AS SELECT
    id, -- as in ServerConfiguration
    alias, -- name to show
    davUrl, -- URL of the DAV endpoint
    webServiceUrl, -- URL of the web-service endpoint
    binaryDiffEncoder -- name of the encoder for binary differences
FROM ServerConfiguration;

CREATE VIEW v1_signins AS SELECT
    signIn.id AS id, -- as in AuthenticationConfiguration
    serverId, -- id of the server
    alias AS serverAlias, -- name of the server; NULL if there is no such server
    domain, -- domain of the sign-in
    domainId, -- the server's id of the domain
    userName, -- name of the user
    coalesce(length(encryptedPassword), 0) > 0 AS hasPassword -- 1 if a password is stored
FROM AuthenticationConfiguration AS signIn
LEFT JOIN ServerConfiguration AS server ON server.id = serverId;

CREATE VIEW v1_folders AS SELECT
    id, -- as in FolderConfiguration
    rootId, -- id of the root folder
    parentId, -- id of the folder above; 0 for a root folder
    authenticationId AS signInId, -- id of the sign-in that it is synchronised with
    name, -- name to show
    clientPath, -- absolute path on the client
    serverPath, -- path on the server
    CASE coalesce(syncStatus, 0)
        WHEN 0 THEN 'unknown' WHEN 1 THEN 'syncing' WHEN 2 THEN 'out-of-sync'
        WHEN 3 THEN 'created' ELSE CAST(syncStatus AS TEXT)
    END AS syncStatus, -- unknown, syncing, out-of-sync or created
    CASE coalesce(folderOption, 0)
        WHEN 0 THEN 'unknown' WHEN 1 THEN 'top-level' WHEN 2 THEN 'subfolders'
        ELSE CAST(folderOption AS TEXT)
    END AS folderOption, -- top-level for the files directly in a root folder, else subfolders
    CASE
        WHEN coalesce(privileges, 0) = 0 THEN 'none'
        WHEN privileges & ~31 THEN CAST(privileges AS TEXT)
        ELSE rtrim(
            iif(privileges & 1, 'view ', '') || iif(privileges & 2, 'download ', '')
            || iif(privileges & 4, 'update ', '') || iif(privileges & 8, 'delete ', '')
            || iif(privileges & 16, 'share ', ''))
    END AS privileges, -- some of view, download, update, delete and share, or none
    lastOperationTime, -- time of the last operation, UTC
    lastSyncTime, -- end of the last synchronisation, UTC
    ownerId, -- the server's id of the owner
    serverFolderId -- the server's id of the folder
FROM FolderConfiguration;

CREATE VIEW v1_roots AS SELECT
    root.id AS id, -- as in FolderConfiguration
    root.name AS name, -- name to show
    clientPath, -- absolute path on the client
    serverPath, -- path on the server
    syncStatus, -- unknown, syncing, out-of-sync or created
    folderOption, -- top-level for the files directly in it, else subfolders
    lastSyncTime, -- end of the last synchronisation, UTC
    signInId, -- id of the sign-in that it is synchronised with
    userName, -- name of the user; NULL if there is no such sign-in
    serverId, -- id of the server; NULL if there is no such sign-in
    alias AS serverAlias -- name of the server; NULL if there is no such server
FROM v1_folders AS root
LEFT JOIN AuthenticationConfiguration AS signIn ON signIn.id = signInId
LEFT JOIN ServerConfiguration AS server ON server.id = serverId
WHERE parentId = 0;

CREATE VIEW v1_files AS SELECT
    storedIn AS fileType, -- ordinary, generated or base: the table of the file; an id is unique in its table only
    id, -- as in the table
    parentFileId, -- id of the ordinary file that it belongs to; -1 for an ordinary file
    folderConfigurationId AS folderId, -- id of the folder that holds it
    rootFolderId AS rootId, -- id of the root folder
    name, -- file name without its path
    clientPath, -- absolute path on the client
    serverPath, -- path on the server
    size, -- bytes
    checkSum, -- checksum of the content
    createdDateTime, -- creation time of the client's file, UTC
    lastModifiedDateTime, -- last modification of the client's file, UTC
    CASE coalesce(syncStatus, 0)
        WHEN 0 THEN 'unknown' WHEN 1 THEN 'syncing' WHEN 2 THEN 'out-of-sync'
        WHEN 3 THEN 'created' ELSE CAST(syncStatus AS TEXT)
    END AS syncStatus, -- unknown, syncing, out-of-sync or created
    lastOperationTime, -- time of the last operation, UTC
    ownerId, -- the server's id of the owner
    serverFileId, -- the server's id of the file
    serverFileVersionId -- the server's id of the version last seen
FROM (
    SELECT 'ordinary' AS storedIn, * FROM FileConfiguration
    UNION ALL SELECT 'generated', * FROM GeneratedFileConfiguration
    UNION ALL SELECT 'base', * FROM BaseFileConfiguration
);

CREATE VIEW v1_schedules AS SELECT
    entry.id AS id, -- as in Schedules
    entry.folderConfigurationId AS folderId, -- id of the folder; 0 for the default schedule
    clientPath, -- absolute path of the folder; NULL for the default schedule
    startTime, -- local time
    expireTime, -- local time
    syncScheduleType, -- kind of schedule, a value of the client
    syncInterval -- length of the interval, as the client counts it
FROM Schedules AS entry
LEFT JOIN FolderConfiguration AS folder ON folder.id = entry.folderConfigurationId;
