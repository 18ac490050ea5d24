#include <velmioctl/cli/Table.h>

#include <velmioctl/cli/Terminal.h>
#include <velmioctl/cli/Text.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

constexpr int Gap = 2;
// A narrower last column would be useless: then the terminal may wrap the line.
constexpr int NarrowestLastColumn = 8;

QString fitted(const QString& cell, int columnsBefore, const Terminal& terminal)
{
    if (!terminal.interactive || terminal.columns <= 0)
        return cell;
    const int room = std::max(terminal.columns - columnsBefore, NarrowestLastColumn);
    return shortened(cell, room, terminal.utf8 ? u"\u2026"_s : u"..."_s);
}

QString withoutBlanksAtEnd(QString line)
{
    while (line.endsWith(u' '))
        line.chop(1);
    return line;
}

QString bold(const QString& text, const Terminal& terminal)
{
    return terminal.colours ? u"\x1b[1m"_s + text + u"\x1b[0m"_s : text;
}

} // namespace

Table::Table(QStringList headings)
    : headings(std::move(headings))
    , rightAligned(size_t(this->headings.size()), false)
{
    for (const QString& heading : this->headings)
        widths.push_back(displayWidth(heading));
}

Table& Table::alignRight(int column)
{
    rightAligned[size_t(column)] = true;
    return *this;
}

Table& Table::keepWhole()
{
    isKeptWhole = true;
    return *this;
}

void Table::addRow(const QStringList& cells)
{
    QStringList& row = rows.emplace_back();
    for (qsizetype column = 0; column < headings.size(); ++column) {
        row.append(escapeControls(cells.at(column)));
        int& width = widths[size_t(column)];
        width = std::max(width, displayWidth(row.last()));
    }
}

QString Table::toText(const Terminal& terminal) const
{
    const int before = widthBefore(int(headings.size()) - 1);
    const auto last = [&](const QString& cell) {
        return isKeptWhole ? cell : fitted(cell, before, terminal);
    };
    QString text = bold(line(headings, last(headings.last())), terminal) + u'\n';
    for (const QStringList& row : rows)
        text += line(row, last(row.last())) + u'\n';
    return text;
}

int Table::widthBefore(int lastColumn) const
{
    int width = 0;
    for (int column = 0; column < lastColumn; ++column)
        width += widths[size_t(column)] + Gap;
    return width;
}

QString Table::line(const QStringList& cells, const QString& lastCell) const
{
    const int last = int(headings.size()) - 1;
    QString text;
    for (int column = 0; column < last; ++column)
        text += padded(cells.at(column), column) + QString(Gap, u' ');
    text += rightAligned[size_t(last)] ? padded(lastCell, last) : lastCell;
    return withoutBlanksAtEnd(text);
}

QString Table::padded(const QString& cell, int column) const
{
    const QString blanks(std::max(0, widths[size_t(column)] - displayWidth(cell)), u' ');
    return rightAligned[size_t(column)] ? blanks + cell : cell + blanks;
}

void FieldList::add(const QString& name, const QString& value)
{
    fields.emplace_back(name, escapeControls(value));
}

QString FieldList::toText(const Terminal& terminal) const
{
    int width = 0;
    for (const auto& [name, value] : fields)
        width = std::max(width, displayWidth(name));

    QString text;
    for (const auto& [name, value] : fields) {
        const QString blanks(width - displayWidth(name) + Gap, u' ');
        text += bold(name, terminal) + withoutBlanksAtEnd(blanks + value) + u'\n';
    }
    return text;
}

} // namespace velmioctl
