#pragma once

#include <QStringList>

#include <vector>

namespace velmioctl {

struct Terminal;

/// Rows of cells under headings, in columns that line up on a terminal.
class Table
{
public:
    explicit Table(QStringList headings);

    /// Numbers stand with their last digits under each other.
    Table& alignRight(int column);

    /// As many cells as there are headings; control characters in them are escaped.
    void addRow(const QStringList& cells);

    bool isEmpty() const { return rows.empty(); }

    /// The lines to print. The last column is cut to a terminal's width, and to nothing else's.
    QString toText(const Terminal& terminal) const;

private:
    int widthBefore(int lastColumn) const;
    QString line(const QStringList& cells, const QString& lastCell) const;
    QString padded(const QString& cell, int column) const;

    QStringList headings;
    std::vector<QStringList> rows;
    std::vector<int> widths;
    std::vector<bool> rightAligned;
};

/// Names and their values, one below the other.
class FieldList
{
public:
    void add(const QString& name, const QString& value);
    QString toText(const Terminal& terminal) const;

private:
    std::vector<std::pair<QString, QString>> fields;
};

} // namespace velmioctl
