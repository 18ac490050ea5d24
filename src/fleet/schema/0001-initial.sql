-- Version 1 of the fleet: many stores in one PostgreSQL database, in tables that they share.
--
-- Every statement can be run again, because they run one at a time: databases that spread tables over
-- several nodes take no schema statements in a transaction.
--
-- The columns are those of the embedded engine's tables. Each row also names its store, and each key
-- begins with it, so that a database of several nodes keeps a store on one of them. Text compares by
-- its bytes, as in SQLite, whatever the locale of the server.
--
-- Three roles, granted to the logins of people and programs:
--   velmio_client   a login of a client, which has the name of its store and sees that store alone
--   velmio_service  a program that sets velmio.store, and sees that store alone
--   velmio_report   reads every store and changes nothing
-- The owner of the tables is their administrator, whom no policy restricts.
CREATE ROLE velmio_client NOLOGIN;
CREATE ROLE velmio_service NOLOGIN;
CREATE ROLE velmio_report NOLOGIN;

CREATE SCHEMA IF NOT EXISTS velmio;

-- The versions that the schema has reached; the highest one counts.
CREATE TABLE IF NOT EXISTS velmio.SchemaVersions (
    version INTEGER PRIMARY KEY
);

-- The stores of the fleet.
CREATE TABLE IF NOT EXISTS velmio.Stores (
    store TEXT COLLATE "C" PRIMARY KEY, -- the id that the store was created with
    createdTime TEXT COLLATE "C" NOT NULL -- when it came to the fleet, UTC
);

-- The last id that each table of a store has assigned: ids are never used again, but a rollback takes
-- them back. A writer locks the row of its store before it changes anything else, and so the writers
-- of a store wait for each other and cannot deadlock. Each update leaves a dead row on the page until
-- the next one clears it up.
CREATE TABLE IF NOT EXISTS velmio.Counters (
    store TEXT COLLATE "C" PRIMARY KEY,
    changes BIGINT NOT NULL DEFAULT 0, -- how many transactions have changed the store
    ServerConfiguration INTEGER NOT NULL DEFAULT 0,
    AuthenticationConfiguration INTEGER NOT NULL DEFAULT 0,
    ProductConfiguration INTEGER NOT NULL DEFAULT 0,
    FolderConfiguration INTEGER NOT NULL DEFAULT 0,
    FileConfiguration INTEGER NOT NULL DEFAULT 0,
    GeneratedFileConfiguration INTEGER NOT NULL DEFAULT 0,
    BaseFileConfiguration INTEGER NOT NULL DEFAULT 0,
    Schedules INTEGER NOT NULL DEFAULT 0
) WITH (fillfactor = 25);

-- The servers that the client synchronises with.
CREATE TABLE IF NOT EXISTS velmio.ServerConfiguration (
    store TEXT COLLATE "C" NOT NULL,
    id INTEGER NOT NULL,
    alias TEXT COLLATE "C", -- name to show
    davUrl TEXT COLLATE "C", -- URL of the DAV endpoint
    webServiceUrl TEXT COLLATE "C", -- URL of the web-service endpoint
    nameValueProperties TEXT COLLATE "C", -- further properties, as XML
    binaryDiffEncoder TEXT COLLATE "C", -- name of the encoder for binary differences
    PRIMARY KEY (store, id)
);

-- The stored sign-ins.
CREATE TABLE IF NOT EXISTS velmio.AuthenticationConfiguration (
    store TEXT COLLATE "C" NOT NULL,
    id INTEGER NOT NULL,
    domain TEXT COLLATE "C", -- domain of the sign-in
    domainId TEXT COLLATE "C", -- the server's id of the domain
    userName TEXT COLLATE "C",
    encryptedPassword BYTEA, -- enciphered, never in clear
    nameValueProperties TEXT COLLATE "C", -- further properties, as XML
    serverId INTEGER, -- ServerConfiguration.id
    PRIMARY KEY (store, id)
);

-- The products that are registered with a server.
CREATE TABLE IF NOT EXISTS velmio.ProductConfiguration (
    store TEXT COLLATE "C" NOT NULL,
    id INTEGER NOT NULL,
    name TEXT COLLATE "C", -- name to show
    consumerKey TEXT COLLATE "C", -- what the product presents to the server
    consumerSecret TEXT COLLATE "C", -- in clear; NULL after an update of the record
    serverId INTEGER, -- ServerConfiguration.id
    nameValueProperties TEXT COLLATE "C", -- further properties, as XML
    PRIMARY KEY (store, id)
);

-- Long texts are indexed by their hash, because an index entry holds at most 2,704 bytes.

-- The synchronised folders: roots, and every folder below them.
CREATE TABLE IF NOT EXISTS velmio.FolderConfiguration (
    store TEXT COLLATE "C" NOT NULL,
    id INTEGER NOT NULL,
    authenticationId INTEGER, -- the sign-in it is synchronised with: AuthenticationConfiguration.id
    name TEXT COLLATE "C", -- name to show
    remoteShortKey TEXT COLLATE "C", -- the server's short key of the tree
    remoteLongKey TEXT COLLATE "C", -- the server's long key of the folder
    clientPath TEXT COLLATE "C", -- absolute path on the client, without a trailing slash
    serverPath TEXT COLLATE "C", -- path on the server
    syncStatus INTEGER, -- 1 syncing, 2 out of sync, 3 registered by the library itself
    nameValueProperties TEXT COLLATE "C", -- further properties, as XML
    parentId INTEGER, -- FolderConfiguration.id of the folder above; 0 for a root
    lastOperationTime TEXT COLLATE "C", -- time of the last operation, UTC
    lastSyncTime TEXT COLLATE "C", -- end of the last synchronisation, UTC
    folderOption INTEGER, -- 1 only the files directly in a root, others with its subfolders
    lastOperationType INTEGER, -- the client's last operation on it
    syncDriveType INTEGER, -- kind of drive, a value of the client
    rootId INTEGER, -- FolderConfiguration.id of the tree's root; a root's own id
    syncOption INTEGER, -- how it is synchronised, a value of the client
    ownerId TEXT COLLATE "C", -- the server's id of the owner
    privileges INTEGER, -- rights: 1 view, 2 download, 4 update, 8 delete, 16 share
    serverRoot TEXT COLLATE "C", -- root of the tree on the server
    productConfigurationId INTEGER, -- the product that brought it: ProductConfiguration.id
    serverFolderId TEXT COLLATE "C", -- the server's id of the folder
    PRIMARY KEY (store, id)
);
CREATE INDEX IF NOT EXISTS FolderConfigurationByClientPath
    ON velmio.FolderConfiguration (store, md5(clientPath));
CREATE INDEX IF NOT EXISTS FolderConfigurationByParent
    ON velmio.FolderConfiguration (store, parentId);
CREATE INDEX IF NOT EXISTS FolderConfigurationByRoot ON velmio.FolderConfiguration (store, rootId);
CREATE INDEX IF NOT EXISTS FolderConfigurationByServerFolder
    ON velmio.FolderConfiguration (store, md5(serverFolderId));

-- The synchronised files.
CREATE TABLE IF NOT EXISTS velmio.FileConfiguration (
    store TEXT COLLATE "C" NOT NULL,
    id INTEGER NOT NULL,
    folderConfigurationId INTEGER, -- the folder that holds it: FolderConfiguration.id
    name TEXT COLLATE "C", -- file name without its path
    clientPath TEXT COLLATE "C", -- absolute path on the client
    serverPath TEXT COLLATE "C", -- path on the server
    checkSum TEXT COLLATE "C", -- checksum of the content, as the host's hash service gives it
    createdDateTime TEXT COLLATE "C", -- creation time of the client's file, UTC
    lastModifiedDateTime TEXT COLLATE "C", -- last modification of the client's file, UTC
    syncStatus INTEGER, -- 1 syncing, 2 not synced, 3 registered by the library itself
    lastOperationType INTEGER, -- the client's last operation on it
    size BIGINT, -- bytes
    nameValueProperties TEXT COLLATE "C", -- further properties, as XML
    lastOperationTime TEXT COLLATE "C", -- time of the last operation, UTC
    rootFolderId INTEGER, -- root of the folder's tree: FolderConfiguration.id
    syncOption INTEGER, -- how it is synchronised, a value of the client
    parentFileId INTEGER, -- not used here: -1
    fileType INTEGER, -- 0
    ownerId TEXT COLLATE "C", -- the server's id of the owner
    privileges INTEGER, -- rights: 1 view, 2 download, 4 update, 8 delete, 16 share
    productConfigurationId INTEGER, -- the product that brought it: ProductConfiguration.id
    serverFileId TEXT COLLATE "C", -- the server's id of the file
    serverFileVersionId TEXT COLLATE "C", -- the server's id of the version last seen
    checkSumMD5 TEXT COLLATE "C", -- MD5 checksum of the content
    fileLinks TEXT COLLATE "C", -- the files it links to, as XML
    PRIMARY KEY (store, id)
);
CREATE INDEX IF NOT EXISTS FileConfigurationByClientPath
    ON velmio.FileConfiguration (store, md5(clientPath));
CREATE INDEX IF NOT EXISTS FileConfigurationByFolder
    ON velmio.FileConfiguration (store, folderConfigurationId, syncStatus);
CREATE INDEX IF NOT EXISTS FileConfigurationByRoot
    ON velmio.FileConfiguration (store, rootFolderId);
CREATE INDEX IF NOT EXISTS FileConfigurationByServerFile
    ON velmio.FileConfiguration (store, md5(serverFileId));
CREATE INDEX IF NOT EXISTS FileConfigurationByServerPath
    ON velmio.FileConfiguration (store, md5(serverPath));

-- Files that the client generated as companions of a synchronised file.
CREATE TABLE IF NOT EXISTS velmio.GeneratedFileConfiguration (
    store TEXT COLLATE "C" NOT NULL,
    id INTEGER NOT NULL,
    folderConfigurationId INTEGER, -- the folder that holds it: FolderConfiguration.id
    name TEXT COLLATE "C", -- file name without its path
    clientPath TEXT COLLATE "C", -- absolute path on the client
    serverPath TEXT COLLATE "C", -- path on the server
    checkSum TEXT COLLATE "C", -- checksum of the content, as the host's hash service gives it
    createdDateTime TEXT COLLATE "C", -- creation time of the client's file, UTC
    lastModifiedDateTime TEXT COLLATE "C", -- last modification of the client's file, UTC
    syncStatus INTEGER, -- 1 syncing, 2 not synced, 3 registered by the library itself
    lastOperationType INTEGER, -- the client's last operation on it
    size BIGINT, -- bytes
    nameValueProperties TEXT COLLATE "C", -- further properties, as XML
    lastOperationTime TEXT COLLATE "C", -- time of the last operation, UTC
    rootFolderId INTEGER, -- root of the folder's tree: FolderConfiguration.id
    syncOption INTEGER, -- how it is synchronised, a value of the client
    parentFileId INTEGER, -- the file it belongs to: FileConfiguration.id
    fileType INTEGER, -- 1
    ownerId TEXT COLLATE "C", -- the server's id of the owner
    privileges INTEGER, -- rights: 1 view, 2 download, 4 update, 8 delete, 16 share
    productConfigurationId INTEGER, -- the product that brought it: ProductConfiguration.id
    serverFileId TEXT COLLATE "C", -- the server's id of the file
    serverFileVersionId TEXT COLLATE "C", -- the server's id of the version last seen
    checkSumMD5 TEXT COLLATE "C", -- MD5 checksum of the content
    fileLinks TEXT COLLATE "C", -- the files it links to, as XML
    PRIMARY KEY (store, id)
);
CREATE INDEX IF NOT EXISTS GeneratedFileConfigurationByClientPath
    ON velmio.GeneratedFileConfiguration (store, md5(clientPath));
CREATE INDEX IF NOT EXISTS GeneratedFileConfigurationByParent
    ON velmio.GeneratedFileConfiguration (store, parentFileId);
CREATE INDEX IF NOT EXISTS GeneratedFileConfigurationByRoot
    ON velmio.GeneratedFileConfiguration (store, rootFolderId);

-- Base (backup) copies of synchronised files.
CREATE TABLE IF NOT EXISTS velmio.BaseFileConfiguration (
    store TEXT COLLATE "C" NOT NULL,
    id INTEGER NOT NULL,
    folderConfigurationId INTEGER, -- the folder that holds it: FolderConfiguration.id
    name TEXT COLLATE "C", -- file name without its path
    clientPath TEXT COLLATE "C", -- absolute path on the client
    serverPath TEXT COLLATE "C", -- path on the server
    checkSum TEXT COLLATE "C", -- checksum of the content, as the host's hash service gives it
    createdDateTime TEXT COLLATE "C", -- creation time of the client's file, UTC
    lastModifiedDateTime TEXT COLLATE "C", -- last modification of the client's file, UTC
    syncStatus INTEGER, -- 1 syncing, 2 not synced, 3 registered by the library itself
    lastOperationType INTEGER, -- the client's last operation on it
    size BIGINT, -- bytes
    nameValueProperties TEXT COLLATE "C", -- further properties, as XML
    lastOperationTime TEXT COLLATE "C", -- time of the last operation, UTC
    rootFolderId INTEGER, -- root of the folder's tree: FolderConfiguration.id
    syncOption INTEGER, -- how it is synchronised, a value of the client
    parentFileId INTEGER, -- the file it belongs to: FileConfiguration.id
    fileType INTEGER, -- 2
    ownerId TEXT COLLATE "C", -- the server's id of the owner
    privileges INTEGER, -- rights: 1 view, 2 download, 4 update, 8 delete, 16 share
    productConfigurationId INTEGER, -- the product that brought it: ProductConfiguration.id
    serverFileId TEXT COLLATE "C", -- the server's id of the file
    serverFileVersionId TEXT COLLATE "C", -- the server's id of the version last seen
    checkSumMD5 TEXT COLLATE "C", -- MD5 checksum of the content
    fileLinks TEXT COLLATE "C", -- the files it links to, as XML
    PRIMARY KEY (store, id)
);
CREATE INDEX IF NOT EXISTS BaseFileConfigurationByParent
    ON velmio.BaseFileConfiguration (store, parentFileId);
CREATE INDEX IF NOT EXISTS BaseFileConfigurationByRoot
    ON velmio.BaseFileConfiguration (store, rootFolderId);

-- When and how often to synchronise.
CREATE TABLE IF NOT EXISTS velmio.Schedules (
    store TEXT COLLATE "C" NOT NULL,
    id INTEGER NOT NULL,
    folderConfigurationId INTEGER, -- FolderConfiguration.id; 0 for the default schedule
    startTime TEXT COLLATE "C", -- local time
    expireTime TEXT COLLATE "C", -- local time
    syncScheduleType INTEGER, -- kind of schedule, a value of the client
    syncInterval INTEGER, -- length of the interval, as the client counts it
    PRIMARY KEY (store, id)
);

-- Who sees which rows.
ALTER TABLE velmio.Stores ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.Stores TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.Stores TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.Stores FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.Counters ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.Counters TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.Counters TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.Counters FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.ServerConfiguration ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.ServerConfiguration TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.ServerConfiguration TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.ServerConfiguration FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.AuthenticationConfiguration ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.AuthenticationConfiguration TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.AuthenticationConfiguration TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.AuthenticationConfiguration FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.ProductConfiguration ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.ProductConfiguration TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.ProductConfiguration TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.ProductConfiguration FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.FolderConfiguration ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.FolderConfiguration TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.FolderConfiguration TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.FolderConfiguration FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.FileConfiguration ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.FileConfiguration TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.FileConfiguration TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.FileConfiguration FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.GeneratedFileConfiguration ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.GeneratedFileConfiguration TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.GeneratedFileConfiguration TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.GeneratedFileConfiguration FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.BaseFileConfiguration ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.BaseFileConfiguration TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.BaseFileConfiguration TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.BaseFileConfiguration FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.Schedules ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.Schedules TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.Schedules TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.Schedules FOR SELECT TO velmio_report USING (true);

-- Last, so that nobody sees a table before its policies restrict them.
GRANT USAGE ON SCHEMA velmio TO velmio_client, velmio_service, velmio_report;
GRANT SELECT ON velmio.SchemaVersions TO velmio_client, velmio_service, velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.Stores TO velmio_client, velmio_service;
GRANT SELECT ON velmio.Stores TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.Counters TO velmio_client, velmio_service;
GRANT SELECT ON velmio.Counters TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.ServerConfiguration TO velmio_client, velmio_service;
GRANT SELECT ON velmio.ServerConfiguration TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.AuthenticationConfiguration TO velmio_client, velmio_service;
GRANT SELECT ON velmio.AuthenticationConfiguration TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.ProductConfiguration TO velmio_client, velmio_service;
GRANT SELECT ON velmio.ProductConfiguration TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.FolderConfiguration TO velmio_client, velmio_service;
GRANT SELECT ON velmio.FolderConfiguration TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.FileConfiguration TO velmio_client, velmio_service;
GRANT SELECT ON velmio.FileConfiguration TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.GeneratedFileConfiguration TO velmio_client, velmio_service;
GRANT SELECT ON velmio.GeneratedFileConfiguration TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.BaseFileConfiguration TO velmio_client, velmio_service;
GRANT SELECT ON velmio.BaseFileConfiguration TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.Schedules TO velmio_client, velmio_service;
GRANT SELECT ON velmio.Schedules TO velmio_report;
