-- Version 2 of the configuration database: a store knows who it is, and where it belongs.
--
-- A program of version 1 may go on using the file: the eight tables are as they were, and it leaves
-- this one alone. What it misses is to notice that the file was moved.
CREATE TABLE StoreIdentity (
    id INTEGER PRIMARY KEY CHECK (id = 1), -- there is one row
    storeId TEXT NOT NULL, -- 128 random bits as hexadecimal digits; a copy of the file keeps them
    machineStamp TEXT, -- keyed hash of the machine and account that use it; NULL before the first
    createdTime TEXT NOT NULL, -- when this row was made, UTC
    lastCompatibleVersion INTEGER NOT NULL -- oldest schema version whose programs may use the file
);
INSERT INTO StoreIdentity (id, storeId, createdTime, lastCompatibleVersion)
VALUES (1, lower(hex(randomblob(16))), strftime('%Y-%m-%dT%H:%M:%f', 'now'), 1);
