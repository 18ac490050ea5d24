#pragma once

#include <velmioctl/exchange/ExportHeader.h>
#include <velmioctl/exchange/JsonReader.h>
#include <velmioctl/exchange/RowSource.h>

#include <QFile>

#include <memory>

namespace velmioctl::exchange {

/// The rows of an export, read one by one. All functions throw TextError, with the line, for text
/// that the writer would not have written, except for blanks and the order of the fields of a row.
class ExportRows : public RowSource
{
public:
    /// Reads what comes before the rows. Errors refer to the export by `name`; the device must
    /// outlive this.
    ExportRows(QIODevice& device, const QString& name);

    const ExportHeader& header() const { return given; }

    bool nextTable() override;
    bool nextRow() override;

    /// Throws for the current table before its first row is read.
    [[noreturn]] void failAtTable(const QString& text) const { fail(text); }
    /// Throws for the current row.
    [[noreturn]] void failAtRow(const QString& text) const { reader.failAt(row().line, text); }

private:
    [[noreturn]] void fail(const QString& text) const { reader.fail(text); }
    void readHeader();
    void readSecrets();
    void requireKey(const char* key, bool first = false);
    void endTable();
    void readRow();
    void readField(const QByteArray& key);
    void requireFields() const;

    JsonReader reader;
    ExportHeader given;
    bool anyTable = false;
    bool inTable = false;
    bool anyRow = false;
    std::vector<bool> seen; // the columns that the row has
};

/// A file with an export in it. Throws CommandError.
class ExportFile
{
public:
    explicit ExportFile(const QString& path);

    ExportRows& rows() { return *exportRows; }

    /// Starts again with the first row.
    void rewind();

private:
    QFile file;
    std::unique_ptr<ExportRows> exportRows;
};

} // namespace velmioctl::exchange
