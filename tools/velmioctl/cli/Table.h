#pragma once

#include <QStringList>

#include <vector>

namespace velmioctl {

struct Terminal;

/// Rows of cells under headings, in aligned columns.
class Table
{
public:
    explicit Table(QStringList headings);

    /// For columns of numbers.
    Table& alignRight(int column);

    /// For tables with what other commands want: nothing in them is shortened.
    Table& keepWhole();

    /// As many cells as there are headings; control characters in them are escaped.
    void addRow(const QStringList& cells);

    bool isEmpty() const { return rows.empty(); }

    /// The lines to print. Only for a terminal the last column is shortened to its width, in the
    /// middle, where paths say least.
    QString toText(const Terminal& terminal) const;

private:
    int widthBefore(int lastColumn) const;
    QString line(const QStringList& cells, const QString& lastCell) const;
    QString padded(const QString& cell, int column) const;

    QStringList headings;
    std::vector<QStringList> rows;
    std::vector<int> widths;
    std::vector<bool> rightAligned;
    bool isKeptWhole = false;
};

/// Names and their values, one on each line, never shortened: what is shown alone can be copied.
class FieldList
{
public:
    void add(const QString& name, const QString& value);
    QString toText(const Terminal& terminal) const;

private:
    std::vector<std::pair<QString, QString>> fields;
};

} // namespace velmioctl
