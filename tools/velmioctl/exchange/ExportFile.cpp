#include <velmioctl/exchange/ExportFile.h>

#include <velmioctl/cli/Text.h>

using namespace Qt::StringLiterals;

namespace velmioctl::exchange {

ExportFile::ExportFile(const QString& path)
    : file(path)
{
    if (!file.open(QIODevice::ReadOnly)) {
        throw CommandError(
            ExitCode::NotFound,
            u"The file %1 cannot be read: %2. Give a file that 'velmioctl export' has written."_s
                .arg(quoted(path), file.errorString()));
    }
    exportRows = std::make_unique<ExportRows>(file, quoted(path));
}

void ExportFile::rewind()
{
    file.seek(0);
    exportRows = std::make_unique<ExportRows>(file, quoted(file.fileName()));
}

} // namespace velmioctl::exchange
