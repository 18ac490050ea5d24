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
    /// outlive this. With a seal, the last call of nextTable() throws if the export was changed.
    ExportRows(QIODevice& device, const QString& name, std::optional<ExportSeal> expectedSeal = {});

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
    void readEnd();
    void readSecrets();
    void requireKey(const char* key, bool first = false);
    void endTable();
    void readRow();
    void readField(const QByteArray& key);
    void requireFields() const;

    std::optional<ExportSeal> seal;
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

    /// Throws unless the whole file is as it was sealed, and has the rows compare it again as they
    /// are read, because it may change meanwhile. `box` must outlive this.
    void requireSeal(const SecretBox& box);

    /// Starts again with the first row.
    void rewind();

private:
    QFile file;
    const SecretBox* sealedBy = nullptr;
    std::unique_ptr<ExportRows> exportRows;
};

} // namespace velmioctl::exchange
