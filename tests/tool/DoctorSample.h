#pragma once

#include <velmioctl/doctor/Doctor.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace velmioctl::doctor {

/// A database without findings, and its files on the disk.
///
/// Root 1 with the folders 2 and, in that, 3; root 4 on its own. Files 1 and 2 in folder 2, file 3
/// in folder 3. File 1 has a generated file and a base copy, and file 2 a link to it.
class DoctorSample
{
public:
    DoctorSample()
    {
        using namespace Qt::StringLiterals;
        for (const QString& folder : {u"root/a/b"_s, u"other"_s})
            QDir(directory.path()).mkpath(folder);
        for (const QString& name : {u"root/a/one"_s, u"root/a/two"_s, u"root/a/b/one"_s})
            writeFile(name);
        session.databaseOption = databasePath().toStdString();
        session.createDatabase();
        for (const QString& statement : statements())
            run(statement);
    }

    QString path(const QString& name) const { return directory.path() + u'/' + name; }
    QString databasePath() const { return path(QStringLiteral("configuration.db")); }

    void writeFile(const QString& name) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }

    /// Runs a statement in which "%R" stands for the path of the folder with all files.
    void run(QString sql)
    {
        const auto query = session.database().CreateQuery();
        query->prepare(sql.replace(QStringLiteral("%R"), directory.path()));
        QVERIFY2(query->exec(), qPrintable(query->lastError()));
    }

    /// The findings, as "check table id" or "check name", in the order of the checks. Without the
    /// note on the SQLite library, which depends on the machine.
    QStringList findings() const
    {
        struct Collector : Examiner
        {
            void found(const Check& check, const Row& row) override
            {
                if (check.id == QStringLiteral("store.sqlite-log-reset"))
                    return;
                const QString place =
                    row.table.isEmpty() ? row.name : row.table + u' ' + QString::number(row.id);
                list += check.id + u' ' + place;
            }
            void fixable(const Fix&, long long) override {}
            QStringList list;
        } collector;
        examine(databasePath(), collector);
        return collector.list;
    }

    QTemporaryDir directory;
    Session session{Output(stdout, stderr, {}, {})};

private:
    static QStringList statements()
    {
        using namespace Qt::StringLiterals;
        return {
            u"INSERT INTO ServerConfiguration (id, alias) VALUES (1, 'server')"_s,
            u"INSERT INTO AuthenticationConfiguration (id, userName, domain, serverId)"
            u" VALUES (1, 'kim', 'dom', 1), (2, 'lee', 'dom', 0)"_s,
            u"INSERT INTO ProductConfiguration (id, name, serverId)"
            u" VALUES (1, 'product', 1), (2, 'other', -1)"_s,
            u"INSERT INTO FolderConfiguration (id, parentId, rootId, authenticationId,"
            u" productConfigurationId, name, clientPath, serverPath) VALUES"
            u" (1, 0, 1, 1, 1, 'root', '%R/root', '/S/root'),"
            u" (2, 1, 1, 1, 1, 'a', '%R/root/a', '/S/root/a'),"
            u" (3, 2, 1, 1, 0, 'b', '%R/root/a/b', '/S/root/a/b'),"
            u" (4, 0, 4, -1, -1, 'other', '%R/other', '/S/other')"_s,
            u"INSERT INTO FileConfiguration (id, folderConfigurationId, rootFolderId, parentFileId,"
            u" productConfigurationId, fileType, name, clientPath, fileLinks) VALUES"
            u" (1, 2, 1, -1, 1, 0, 'one', '%R/root/a/one', NULL),"
            u" (2, 2, 1, -1, -1, 0, 'two', '%R/root/a/two', '<FileLinks FileDate=\"\">"
            u"<FileLink FileId=\"1\" RefId=\"\" ServerFileId=\"\" Path=\"one\"/>"
            u"<FileLink FileId=\"-1\" RefId=\"\" ServerFileId=\"\" Path=\"none\"/></FileLinks>'),"
            u" (3, 3, 1, -1, 0, 0, 'one', '%R/root/a/b/one', '')"_s,
            u"INSERT INTO GeneratedFileConfiguration (id, folderConfigurationId, rootFolderId,"
            u" parentFileId, productConfigurationId, fileType, clientPath)"
            u" VALUES (5, 2, 1, 1, 1, 1, '%R/generated')"_s,
            u"INSERT INTO BaseFileConfiguration (id, folderConfigurationId, rootFolderId,"
            u" parentFileId, productConfigurationId, fileType, clientPath)"
            u" VALUES (6, -1, 1, 1, -1, 2, '%R/base')"_s,
            u"INSERT INTO Schedules (id, folderConfigurationId) VALUES (7, 2)"_s,
        };
    }
};

} // namespace velmioctl::doctor
