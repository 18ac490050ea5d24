#pragma once

#include <QByteArray>
#include <QVariant>

#include <limits>
#include <vector>

namespace velmioctl {

/// The ids of records are from 1 to this one. The fields of the records hold no higher one.
constexpr qint64 HighestId = std::numeric_limits<qint32>::max();

/// What a support bundle shows of a column.
enum class Disclosure {
    Denied,     ///< Nothing: secrets, and columns that may hold anything.
    Number,     ///< Integers as they are.
    Time,       ///< Times as they are.
    Name,       ///< A token, or with --keep-paths the name.
    Path,       ///< The same for each of its components.
    Url,        ///< The same; a user, a password and a query never.
    Identifier, ///< A token: servers hand them out, and may accept them as proof of a right.
    Counted,    ///< How many rows have which integer.
};

/// How a value is shown to a person, and what an option accepts for it.
enum class ValueKind {
    Number,
    NotNegative, ///< A number from 0.
    Text,
    Url,
    ServerPath, ///< Absolute; an option's value is cleaned for a folder.
    Time,       ///< UTC.
    LocalTime,  ///< A clock reading without a zone, or none.
    Status,
    FolderOption,
    FileType,
    Privileges,
    ParentFolder,  ///< The id of a folder; 0 for a root folder.
    DefaultFolder, ///< The id of a folder; 0 in the default schedule.
    Properties,    ///< Name-value properties.
    Secret,        ///< Only whether there is one.
};

/// Reads and writes the field of a record that a column holds. The record must be of the class
/// that belongs to the table.
struct FieldAccess
{
    QVariant (*read)(const void* record) = nullptr;
    void (*write)(void* record, const QVariant& value) = nullptr; ///< Null without an option.
};

/// The option of the commands that change a record. An empty name means no option.
struct FieldOption
{
    const char* name = "";
    const char* typeName = "";
    const char* text = "";
    bool required = false; ///< By the command that adds a record.
};

/// All that the tool knows of a column.
struct Column
{
    QByteArray name;
    Disclosure disclosure;
    ValueKind kind;
    QByteArray target = {};      ///< The table that its ids lead to; empty when it holds none.
    const char* label = nullptr; ///< For a person; null where it is not shown.
    FieldAccess field = {};
    FieldOption option = {};
    const char* jsonKey = nullptr; ///< The name when null.

    bool isSecret() const { return kind == ValueKind::Secret; }
};

/// A table of settings. Column 0 is the id.
struct TableShape
{
    QByteArray name;
    const char* plural;          ///< What a person calls its records.
    std::vector<Column> columns; ///< In the order of the schema.

    /// The place of a column; columns.size() for an unknown one.
    size_t indexOf(const QByteArray& column) const;
    /// The column that a person knows a record by; null without one.
    const Column* nameColumn() const;
};

/// All tables, sorted by name, which is the order in which they are exchanged.
const std::vector<TableShape>& tableShapes();

/// The same, for what takes some of them.
std::vector<const TableShape*> allTables();

/// Null for an unknown name.
const TableShape* findTable(const QByteArray& name);

} // namespace velmioctl
