#include <velmioctl/records/FileListing.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Names.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FileConfigurationType;

namespace velmioctl {

namespace {

// The word for a column of files, such as "client-path"; empty for one that a table cannot show.
QString wordFor(const Column& column)
{
    if (column.kind == ValueKind::Properties)
        return {};
    return QString::fromLatin1(column.label).toLower().replace(u' ', u'-');
}

// The places of columns of files in their table.
std::vector<size_t> chosenColumns(const std::vector<std::string>& words)
{
    const auto& columns = findTable("FileConfiguration")->columns;
    std::vector<size_t> chosen;
    for (const std::string& word : words) {
        const QString wanted = QString::fromStdString(word);
        const auto found = std::find_if(
            columns.begin(), columns.end(),
            [&wanted](const Column& column) { return wordFor(column) == wanted; });
        if (wanted.isEmpty() || found == columns.end()) {
            QStringList known;
            for (const std::string& one : fileColumnWords())
                known += QString::fromStdString(one);
            throw CommandError(
                ExitCode::Usage, u"Unknown column %1. The columns are %2."_s.arg(
                                     quoted(wanted), known.join(u", "_s)));
        }
        chosen.push_back(size_t(found - columns.begin()));
    }
    return chosen;
}

// As the columns have it: a clock reading in UTC.
QString storedTimeFrom(const std::string& text)
{
    const QString given = QString::fromStdString(text);
    QDateTime time = QDateTime::fromString(given, Qt::ISODateWithMs);
    if (!time.isValid()) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 is not a time. Write it as in 2026-12-31 or 2026-12-31T08:30, in UTC."_s.arg(
                quoted(given)));
    }
    if (time.timeSpec() == Qt::LocalTime)
        time.setTimeSpec(Qt::UTC);
    return time.toUTC().toString(u"yyyy-MM-dd'T'HH:mm:ss.zzz"_s);
}

// A regular expression that matches what a pattern of GLOB does: "*", "?" and sets in brackets.
QString expressionFrom(const QString& pattern)
{
    QString expression = u"^"_s;
    bool inSet = false;
    for (qsizetype at = 0; at < pattern.size(); ++at) {
        const QChar character = pattern[at];
        if (inSet) {
            expression += character == u'\\' ? u"\\\\"_s : QString(character);
            // The first character of a set is not its end.
            inSet = character != u']' || u"[^"_s.contains(pattern[at - 1]);
        } else if (character == u'*' || character == u'?') {
            expression += character == u'*' ? u".*"_s : u"."_s;
        } else if (character == u'[') {
            expression += character;
            inSet = true;
        } else {
            expression += QRegularExpression::escape(QString(character));
        }
    }
    return expression + u'$';
}

// The WHERE clause of the options, and what to bind to it.
std::pair<QString, std::vector<WatchedDatabase::Binding>> conditionOf(
    Session& session, const FileListOptions& options)
{
    QStringList conditions;
    std::vector<WatchedDatabase::Binding> bindings;
    const auto add = [&](const QString& condition, const QString& name, const QVariant& value) {
        conditions += condition + u' ' + name;
        bindings.emplace_back(name, value);
    };
    // Only SQLite has GLOB; other engines have regular expressions.
    const auto addPattern = [&](const std::string& pattern) {
        if (session.database().isFile())
            add(u"clientPath GLOB"_s, u":path"_s, QString::fromStdString(pattern));
        else
            add(u"clientPath ~"_s, u":path"_s, expressionFrom(QString::fromStdString(pattern)));
    };
    if (options.folder) {
        const auto folder = session.folder(*options.folder);
        add(folder.isRoot() ? u"rootFolderId ="_s : u"folderConfigurationId ="_s, u":folder"_s,
            folder.getId());
    }
    if (options.status)
        add(u"syncStatus ="_s, u":status"_s, syncStatusFrom(*options.status));
    // Without the zone that may follow.
    if (options.modifiedSince)
        add(u"substr(lastModifiedDateTime, 1, 23) >="_s, u":modified"_s,
            storedTimeFrom(*options.modifiedSince));
    if (options.largerThan >= 0)
        add(u"size >"_s, u":size"_s, options.largerThan);
    if (options.path)
        addPattern(*options.path);
    if (conditions.isEmpty())
        return {};
    return {u" WHERE "_s + conditions.join(u" AND "_s), std::move(bindings)};
}

// Only ids, of which one page is read as records: a table may have more rows than fit in memory.
std::vector<int> readIds(Session& session, const FileListOptions& options, const QString& table)
{
    const auto [condition, bindings] = conditionOf(session, options);
    const auto query = session.database().select(
        u"SELECT id FROM "_s + table + condition + u" ORDER BY "_s + fileOrderFrom(options.order) +
            u", id LIMIT "_s +
            QString::number(
                options.limit < 0 ? std::numeric_limits<long long>::max() : options.limit) +
            u" OFFSET "_s + QString::number(options.offset),
        bindings);
    std::vector<int> ids;
    while (query->next())
        ids.push_back(query->value(0).toInt());
    session.database().check();
    return ids;
}

void print(
    Session& session, const QVector<FileConfiguration>& files, const std::vector<size_t>& columns,
    const QString& emptyNote)
{
    const auto& all = findTable("FileConfiguration")->columns;
    QStringList headings;
    for (const size_t column : columns)
        headings += QString::fromLatin1(all[column].label).toUpper();
    Table table(headings);
    for (size_t at = 0; at < columns.size(); ++at) {
        if (all[columns[at]].kind == ValueKind::Number)
            table.alignRight(int(at));
    }
    QJsonArray array;
    for (const FileConfiguration& file : files) {
        if (session.output.json()) {
            array.append(toJson(file));
            continue;
        }
        const ColumnValues record(file);
        QStringList cells;
        for (const size_t column : columns)
            cells += cellOf(record, column);
        table.addRow(cells);
    }
    session.output.printList(array, table, emptyNote);
}

const std::vector<std::string> UsualColumns{"id",   "folder",   "status",
                                            "size", "modified", "client-path"};

} // namespace

std::vector<std::string> fileColumnWords()
{
    std::vector<std::string> words;
    for (const Column& column : findTable("FileConfiguration")->columns) {
        if (const QString word = wordFor(column); !word.isEmpty())
            words.push_back(word.toStdString());
    }
    return words;
}

FileConfiguration readFile(Session& session, int id, FileConfigurationType type)
{
    FileConfiguration file;
    switch (type) {
    case sync::config::GeneratedFile:
        file = session.files().GetGeneratedFileConfigurationById(id);
        break;
    case sync::config::BaseFile:
        file = session.files().GetBaseFileConfigurationById(id);
        break;
    default:
        file = session.files().GetFileConfigurationById(id);
        break;
    }
    session.database().check();
    return file;
}

void listFiles(Session& session, const FileListOptions& options)
{
    const FileConfigurationType type = fileTypeFrom(options.type);
    const auto columns = chosenColumns(options.columns.empty() ? UsualColumns : options.columns);
    const auto ids = readIds(session, options, session.files().GetTableNameByFileType(type));
    QVector<FileConfiguration> files;
    for (const int id : ids) {
        FileConfiguration file = readFile(session, id, type);
        if (file.getId() == -1)
            continue;
        if (options.asLines)
            session.output.printJsonLine(toJson(file));
        else
            files.append(std::move(file));
    }
    if (!options.asLines)
        print(session, files, columns, u"No files match. 'velmioctl scan' registers files."_s);
}

void printFiles(Session& session, const QVector<FileConfiguration>& files, const QString& emptyNote)
{
    print(session, files, chosenColumns(UsualColumns), emptyNote);
}

} // namespace velmioctl
