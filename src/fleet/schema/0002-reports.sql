-- Version 2 of the fleet: what 'velmioctl fleet push' keeps of each store, so that reports over
-- thousands of stores need not read their rows, and views for other people's tools.

-- The last push of each store, and what it found there.
CREATE TABLE IF NOT EXISTS velmio.Pushes (
    store TEXT COLLATE "C" PRIMARY KEY,
    name TEXT NOT NULL, -- what a person calls the store: the machine, unless another was given
    firstPush TIMESTAMPTZ NOT NULL, -- by the clock of the server, as all times of this table
    lastPush TIMESTAMPTZ NOT NULL,
    pushes BIGINT NOT NULL, -- how many there were
    changes BIGINT NOT NULL, -- of the row of Counters after the last one
    libraryVersion TEXT NOT NULL, -- version of the program that pushed
    schemaVersion INTEGER NOT NULL, -- of the file of the store
    redacted BOOLEAN NOT NULL, -- names and paths are tokens
    files BIGINT NOT NULL,
    bytes BIGINT NOT NULL, -- size of the files
    folders BIGINT NOT NULL,
    rootFolders BIGINT NOT NULL,
    outOfSync BIGINT NOT NULL, -- files and folders with that status
    outOfSyncSince TIMESTAMPTZ, -- the first push with some, of an unbroken run; NULL without
    lastSyncTime TEXT COLLATE "C" -- end of the last synchronisation of a folder, UTC of the client
);

-- What doctor found at the last push; only how much, and no names.
CREATE TABLE IF NOT EXISTS velmio.Findings (
    store TEXT COLLATE "C" NOT NULL,
    checkId TEXT COLLATE "C" NOT NULL, -- as doctor names it
    severity TEXT NOT NULL, -- error, warning or note
    title TEXT NOT NULL,
    rows BIGINT NOT NULL, -- how many findings
    PRIMARY KEY (store, checkId)
);

-- What each store held at the last push of a day, for 90 days.
CREATE TABLE IF NOT EXISTS velmio.History (
    store TEXT COLLATE "C" NOT NULL,
    day DATE NOT NULL,
    files BIGINT NOT NULL,
    bytes BIGINT NOT NULL,
    outOfSync BIGINT NOT NULL,
    PRIMARY KEY (store, day)
);

-- By what a push finds the rows that differ without reading those of the fleet.
CREATE TABLE IF NOT EXISTS velmio.RowDigests (
    store TEXT COLLATE "C" NOT NULL,
    tableName TEXT COLLATE "C" NOT NULL,
    block INTEGER NOT NULL, -- ids from 128 * block on
    digests BYTEA NOT NULL, -- for each row its id modulo 128, in one byte, and 8 bytes of hash
    PRIMARY KEY (store, tableName, block)
);

ALTER TABLE velmio.Pushes ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.Pushes TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.Pushes TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.Pushes FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.Findings ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.Findings TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.Findings TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.Findings FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.History ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.History TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.History TO velmio_service
    USING (store = current_setting('velmio.store', true));
CREATE POLICY every_store ON velmio.History FOR SELECT TO velmio_report USING (true);
ALTER TABLE velmio.RowDigests ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_store ON velmio.RowDigests TO velmio_client
    USING (store = CURRENT_USER::text);
CREATE POLICY chosen_store ON velmio.RowDigests TO velmio_service
    USING (store = current_setting('velmio.store', true));

-- The views keep their names, columns and meanings. A change of them gets views with the prefix v2_.
-- They show all stores, so only velmio_report may read them.

CREATE OR REPLACE VIEW velmio.v1_stores AS SELECT
    store, -- its id
    name, -- what a person calls it
    firstPush, -- time of its first push
    lastPush, -- time of its last push
    pushes, -- how many there were
    libraryVersion, -- version of the program that pushed
    schemaVersion, -- of the file of the store
    redacted, -- true if names and paths are tokens
    files, -- how many there are
    bytes, -- size of the files
    folders, -- how many there are, root folders included
    rootFolders, -- how many there are
    outOfSync, -- files and folders with that status
    outOfSyncSince, -- time of the first push with some; NULL without
    lastSyncTime -- end of the last synchronisation of a folder, UTC of the client
FROM velmio.Pushes;

CREATE OR REPLACE VIEW velmio.v1_findings AS SELECT
    store, -- its id
    name, -- what a person calls it
    checkId, -- of doctor
    severity, -- error, warning or note
    title, -- what was found
    rows -- how many findings
FROM velmio.Findings JOIN velmio.Pushes USING (store);

CREATE OR REPLACE VIEW velmio.v1_history AS SELECT
    store, -- its id
    name, -- what a person calls it
    day, -- by the clock of the server
    History.files, -- how many there were
    History.bytes, -- size of the files
    History.outOfSync -- files and folders with that status
FROM velmio.History JOIN velmio.Pushes USING (store);

CREATE OR REPLACE VIEW velmio.v1_growth AS SELECT
    Pushes.store, -- its id
    name, -- what a person calls it
    earlier.day AS sinceDay, -- the first day of the last 30 on which there was a push
    Pushes.files - earlier.files AS newFiles, -- since that day; negative if there are fewer
    Pushes.bytes - earlier.bytes AS newBytes -- the same
FROM velmio.Pushes JOIN LATERAL (
    SELECT day, files, bytes FROM velmio.History
    WHERE History.store = Pushes.store AND day > CURRENT_DATE - 30 ORDER BY day LIMIT 1
) AS earlier ON true;

CREATE OR REPLACE VIEW velmio.v1_servers AS SELECT
    store, -- its id
    name, -- what a person calls it
    id, -- of the server in the store
    alias, -- name of the server
    davUrl, -- URL of the DAV endpoint
    webServiceUrl -- URL of the web-service endpoint
FROM velmio.ServerConfiguration JOIN velmio.Pushes USING (store);

-- Last, so that nobody sees a table before its policies restrict them.
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.Pushes TO velmio_client, velmio_service;
GRANT SELECT ON velmio.Pushes TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.Findings TO velmio_client, velmio_service;
GRANT SELECT ON velmio.Findings TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.History TO velmio_client, velmio_service;
GRANT SELECT ON velmio.History TO velmio_report;
GRANT SELECT, INSERT, UPDATE, DELETE ON velmio.RowDigests TO velmio_client, velmio_service;
GRANT SELECT ON velmio.v1_stores, velmio.v1_findings, velmio.v1_history, velmio.v1_growth TO velmio_report;
GRANT SELECT ON velmio.v1_servers TO velmio_report;
