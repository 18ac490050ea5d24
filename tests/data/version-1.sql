-- The rows of version-1.db, a database of schema version 1 for the tests of later ones. It was made by
-- the last program of that version, and is never made again:
--
--     velmioctl --database version-1.db init
--     sqlite3 version-1.db < version-1.sql

INSERT INTO ServerConfiguration (id, alias, davUrl, webServiceUrl, nameValueProperties, binaryDiffEncoder) VALUES
    (1, 'first', 'https://dav.example.com/a', 'https://ws.example.com/b', '<nameValueProperties><nameValueProperty><name>note</name><value>s1</value></nameValueProperty></nameValueProperties>', 'vcdiff'),
    (4, 'Zwölf ☃', 'https://dav.example.org/c', 'https://ws.example.org/d', NULL, NULL);

INSERT INTO AuthenticationConfiguration (id, domain, domainId, userName, encryptedPassword, nameValueProperties, serverId) VALUES
    (2, 'example', 'D-17', 'kim', x'00ff10a55a', '<nameValueProperties><nameValueProperty><name>note</name><value>a1</value></nameValueProperty></nameValueProperties>', 1),
    (5, 'elsewhere', 'D-18', 'lee', NULL, NULL, 4);

INSERT INTO ProductConfiguration (id, name, consumerKey, consumerSecret, serverId, nameValueProperties) VALUES
    (3, 'Drive', 'key-31', 'secret-32', 1, '<nameValueProperties><nameValueProperty><name>note</name><value>p1</value></nameValueProperty></nameValueProperties>'),
    (6, 'Share', 'key-61', NULL, 4, NULL);

INSERT INTO FolderConfiguration (id, authenticationId, name, remoteShortKey, remoteLongKey, clientPath, serverPath, syncStatus, nameValueProperties, parentId, lastOperationTime, lastSyncTime, folderOption, lastOperationType, syncDriveType, rootId, syncOption, ownerId, privileges, serverRoot, productConfigurationId, serverFolderId) VALUES
    (7, 2, 'work', 'sk7', 'lk7', '/home/kim/work', '/Team/home/kim/work', 2, '<nameValueProperties><nameValueProperty><name>note</name><value>f7</value></nameValueProperty></nameValueProperties>', 0, '2024-05-07T10:11:12.013', '2024-06-07T14:15:16.017', 0, 3, 4, 7, 5, 'owner7', 31, '/Root', 3, 'server-folder-7'),
    (8, 2, 'plans', 'sk8', 'lk8', '/home/kim/work/plans', '/Team/home/kim/work/plans', 2, '<nameValueProperties><nameValueProperty><name>note</name><value>f8</value></nameValueProperty></nameValueProperties>', 7, '2024-05-08T10:11:12.013', '2024-06-08T14:15:16.017', 1, 3, 4, 7, 5, 'owner8', 31, '/Root', 3, 'server-folder-8'),
    (9, 2, 'old', 'sk9', 'lk9', '/home/kim/work/plans/old', '/Team/home/kim/work/plans/old', 2, '<nameValueProperties><nameValueProperty><name>note</name><value>f9</value></nameValueProperty></nameValueProperties>', 8, '2024-05-09T10:11:12.013', '2024-06-09T14:15:16.017', 0, 3, 4, 7, 5, 'owner9', 31, '/Root', 3, 'server-folder-9');

INSERT INTO FileConfiguration (id, folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime, lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties, lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges, productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5, fileLinks) VALUES
    (10, 7, 'a.txt', '/home/kim/work/a.txt', '/Team/home/kim/work/a.txt', 'sha-10', '2023-01-10T01:02:03.004', '2023-02-10T05:06:07.008', 1, 6, 1010, '<nameValueProperties><nameValueProperty><name>note</name><value>file10</value></nameValueProperty></nameValueProperties>', '2023-03-10T09:10:11.012', 7, 5, -1, 0, 'file-owner10', 15, 3, 'server-file-10', 'version-10', 'md5-10', '<FileLinks><FileLink><FileId>10</FileId></FileLink></FileLinks>'),
    (11, 8, 'b.txt', '/home/kim/work/plans/b.txt', '/Team/home/kim/work/plans/b.txt', 'sha-11', '2023-01-11T01:02:03.004', '2023-02-11T05:06:07.008', 1, 6, 1011, '<nameValueProperties><nameValueProperty><name>note</name><value>file11</value></nameValueProperty></nameValueProperties>', '2023-03-11T09:10:11.012', 7, 5, -1, 0, 'file-owner11', 15, 3, 'server-file-11', 'version-11', 'md5-11', '<FileLinks><FileLink><FileId>11</FileId></FileLink></FileLinks>');

INSERT INTO GeneratedFileConfiguration (id, folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime, lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties, lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges, productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5, fileLinks) VALUES
    (12, 7, 'a.preview', '/home/kim/work/a.preview', '/Team/home/kim/work/a.preview', 'sha-12', '2023-01-12T01:02:03.004', '2023-02-12T05:06:07.008', 1, 6, 1012, '<nameValueProperties><nameValueProperty><name>note</name><value>file12</value></nameValueProperty></nameValueProperties>', '2023-03-12T09:10:11.012', 7, 5, 10, 1, 'file-owner12', 15, 3, 'server-file-12', 'version-12', 'md5-12', '<FileLinks><FileLink><FileId>12</FileId></FileLink></FileLinks>');

INSERT INTO BaseFileConfiguration (id, folderConfigurationId, name, clientPath, serverPath, checkSum, createdDateTime, lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties, lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId, privileges, productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5, fileLinks) VALUES
    (13, 7, 'a', '/home/kim/.base/a', '/Team/home/kim/.base/a', 'sha-13', '2023-01-13T01:02:03.004', '2023-02-13T05:06:07.008', 1, 6, 1013, '<nameValueProperties><nameValueProperty><name>note</name><value>file13</value></nameValueProperty></nameValueProperties>', '2023-03-13T09:10:11.012', 7, 5, 10, 2, 'file-owner13', 15, 3, 'server-file-13', 'version-13', 'md5-13', '<FileLinks><FileLink><FileId>13</FileId></FileLink></FileLinks>');

INSERT INTO Schedules (id, folderConfigurationId, startTime, expireTime, syncScheduleType, syncInterval) VALUES
    (2, 7, '2024-07-08T09:10:00.000', '2025-07-08T09:10:00.000', 1, 45);

-- Ids that were used and are gone must not come back.
INSERT INTO ServerConfiguration (id) VALUES (90);
DELETE FROM ServerConfiguration WHERE id = 90;
PRAGMA wal_checkpoint(TRUNCATE);
