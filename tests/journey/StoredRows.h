#pragma once

#include <support/RawDatabase.h>

#include <QFile>
#include <QStringList>

/// Everything in the tables of settings, one line for each row: the kind, literal and bytes of each
/// column, so that no two different values look alike; also the last assigned ids.
inline QStringList storedRows(const QString& path, const QStringList& leftOut = {})
{
    sync::test::RawDatabase database(path);
    QStringList lines = database.run(
        QStringLiteral("SELECT name || seq FROM sqlite_sequence WHERE seq <> 0 ORDER BY name"));
    for (const QString& table :
         {QStringLiteral("ServerConfiguration"), QStringLiteral("AuthenticationConfiguration"),
          QStringLiteral("ProductConfiguration"), QStringLiteral("FolderConfiguration"),
          QStringLiteral("FileConfiguration"), QStringLiteral("GeneratedFileConfiguration"),
          QStringLiteral("BaseFileConfiguration"), QStringLiteral("Schedules")}) {
        QStringList columns;
        const QStringList names =
            database.run(QStringLiteral("SELECT name FROM pragma_table_info('%1')").arg(table));
        for (const QString& name : names) {
            if (!leftOut.contains(name))
                columns += QStringLiteral("typeof(%1) || quote(%1) || ' ' ||"
                                          " coalesce(hex(CAST(%1 AS BLOB)), '')")
                               .arg(name);
        }
        const QStringList rows =
            database.run(QStringLiteral("SELECT %1 FROM %2 ORDER BY id")
                             .arg(columns.join(QStringLiteral(" || '|' || ")), table));
        for (const QString& row : rows)
            lines += table + QLatin1Char(' ') + row;
    }
    return lines;
}

/// Overwrites the only page of a table with noise. False if that fails.
inline bool damageTable(const QString& path, const QString& table)
{
    qint64 page = 0;
    {
        sync::test::RawDatabase raw(path);
        raw.run(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
        page = raw.value(QStringLiteral("SELECT rootpage FROM sqlite_schema WHERE name = '%1'")
                             .arg(table))
                   .toLongLong();
    }
    constexpr qint64 PageBytes = 4096;
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.seek((page - 1) * PageBytes) &&
           file.write(QByteArray(PageBytes, '\x5a')) == PageBytes;
}
