#pragma once

#include <velmioctl/exchange/ExportRows.h>

#include <QFile>

#include <memory>

namespace velmioctl::exchange {

/// A file with an export in it. Throws CommandError.
class ExportFile
{
public:
    explicit ExportFile(const QString& path);

    ExportRows& rows() { return *exportRows; }

    /// Begins anew with rows().
    void rewind();

private:
    QFile file;
    std::unique_ptr<ExportRows> exportRows;
};

} // namespace velmioctl::exchange
