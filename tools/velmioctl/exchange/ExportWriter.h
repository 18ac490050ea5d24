#pragma once

#include <velmioctl/exchange/ExportHeader.h>
#include <velmioctl/exchange/RowSource.h>

#include <functional>

namespace velmioctl::exchange {

/// Writes an export: JSON with one field on each line, the same for the same rows.
class ExportWriter
{
public:
    /// Takes the text, piece by piece.
    using Sink = std::function<void(const QByteArray& text)>;

    /// An export with secrets needs a seal, unless it is of version 1.
    explicit ExportWriter(Sink sink, std::optional<ExportSeal> seal = {});

    void begin(const ExportHeader& header);
    void beginTable(const TableShape& table, qint64 lastId);
    void write(const Row& row);
    void endTable();
    void end();

private:
    void put(const QByteArray& text);

    const Sink sink;
    std::optional<ExportSeal> seal;
    const TableShape* table = nullptr;
    bool anyTable = false;
    bool anyRow = false;
};

} // namespace velmioctl::exchange
