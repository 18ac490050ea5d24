#pragma once

#include <velmioctl/exchange/ExportHeader.h>
#include <velmioctl/exchange/JsonReader.h>
#include <velmioctl/exchange/RowSource.h>

namespace velmioctl::exchange {

/// The rows of an export, read as they are asked for. All throws TextError, with the line, when the
/// text is none: what a writer would not have written is refused, but for blanks and the order of
/// the fields of a row.
class ExportRows : public RowSource
{
public:
    /// Reads what stands before the rows. `name` is what errors call the export; the device has to
    /// outlive this.
    ExportRows(QIODevice& device, const QString& name);

    const ExportHeader& header() const { return given; }

    bool nextTable() override;
    bool nextRow() override;

    /// Refuses the row.
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
    std::vector<bool> seen; // which columns the row has told
};

} // namespace velmioctl::exchange
