#pragma once

#include <velmioctl/bundle/Redactor.h>
#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

namespace velmioctl::fleet {

/// What of the rows of a store leaves the machine: no secret, no further properties and no
/// credentials of a URL, as in an export without secrets.
class SentRows
{
public:
    /// With a redactor, which must outlive this, tokens stand for all texts but times.
    explicit SentRows(const bundle::Redactor* redactor);

    /// A row as a line of COPY in its text format, without the store.
    QByteArray lineOf(const TableShape& table, const exchange::Row& row);

    /// How many values were changed because PostgreSQL cannot store them as they are: text with a
    /// NUL character or in another encoding, and text in a column of numbers.
    qint64 changedValues() const { return changed; }

private:
    void append(QByteArray& line, const Column& column, const exchange::Value& value);
    void appendText(QByteArray& line, const Column& column, const QByteArray& text);
    QByteArray storable(const QByteArray& bytes);
    QByteArray redacted(const Column& column, const QByteArray& text) const;

    const bundle::Redactor* const redactor;
    qint64 changed = 0;
};

/// Appends a text as a field of COPY in its text format.
void appendField(QByteArray& line, const QByteArray& text);

} // namespace velmioctl::fleet
