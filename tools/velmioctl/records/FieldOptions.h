#pragma once

#include <velmioctl/store/Columns.h>

#include <QMap>
#include <QString>

#include <deque>
#include <optional>
#include <string>

namespace velmioctl {

class Command;

/// The options that give the fields of a record: one for each column that has an option, and
/// --property and --unset-property for a table with properties. They must live as long as the
/// commands.
class FieldOptions
{
public:
    explicit FieldOptions(const QByteArray& table);

    enum class Purpose { Add, Change };

    /// Adds the options of all columns, except one, to a command that adds or changes a record.
    void addTo(Command& command, Purpose purpose, const QByteArray& except = {});

    /// The columns that an option was given for, with their new values. Throws CommandError for a
    /// value that the column does not accept.
    std::vector<std::pair<const Column*, QVariant>> given() const;
    /// The value for a column; invalid when its option was not given.
    QVariant value(const QByteArray& column) const;

    /// Changes the given fields of a record of the table's class, except its properties.
    void apply(void* record) const;

    /// The properties of a record with the given changes. Throws CommandError for an option that
    /// is not KEY=VALUE, or for a property that cannot be stored.
    QMap<QString, QString> properties(QMap<QString, QString> before) const;

private:
    struct Given
    {
        const Column* column;
        std::optional<int> number = {};
        std::optional<std::string> text = {};
    };

    void addOption(Command& command, const Column& column, bool required);

    const TableShape& table;
    std::deque<Given> options; // of all commands; the parser keeps pointers to them
    std::vector<std::string> assignments;
    std::vector<std::string> removals;
};

} // namespace velmioctl
