#pragma once

#include <database/ChangeSource.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <optional>
#include <vector>

namespace sync::fleet {

/// The tables of the records, as the columns of velmio.Counters name them.
extern const std::vector<QByteArray> RecordTables;

/// A statement of a manager or a host in PostgreSQL's terms.
///
/// The tables of the records become the rows that the store has in them. Placeholders become
/// numbers, a new one each time, because the types of two places may differ. Rows come in the order
/// of their ids where the statement leaves it open, and NULL sorts before every value, as in
/// SQLite.
struct Translation
{
    enum class Kind {
        Read,
        Write, ///< changes rows
        Other, ///< such as CREATE TABLE
        Refused,
    };

    /// What a `$n` stands for: the store, the id of the new row, or a placeholder by its index.
    struct Parameter
    {
        enum class Meaning { Store, NewId, Value };
        Meaning meaning;
        std::size_t value = 0;
    };

    Kind kind = Kind::Other;
    QString refusal; ///< why the text is not understood
    QByteArray text;
    std::vector<Parameter> parameters; ///< of $1, $2 and so on

    /// The same without relying on a column "id", which a table of the host may not have; empty
    /// where that makes no difference. It has the same parameters.
    QByteArray textWithoutId;

    std::vector<QString> placeholders; ///< each once, with its colon
    database::RecordKinds writtenKinds;
    bool returnsId = false; ///< column 0 of the first row is the new row's id

    /// The table of the records to which it adds a row, as an index of RecordTables; and whether
    /// the statement says its id itself.
    std::optional<std::size_t> insertedTable;
    bool namesItsId = false;
};

/// Never fails: what PostgreSQL does not understand it says when the statement runs.
Translation translate(const QString& sql);

} // namespace sync::fleet
