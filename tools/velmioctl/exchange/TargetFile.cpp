#include <velmioctl/exchange/TargetFile.h>

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/exchange/ExportHeader.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace velmioctl::exchange {

namespace {

bool isExport(const QString& path)
{
    constexpr qint64 StartBytes = 200;
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray start = file.read(StartBytes).simplified();
    return start.startsWith(QByteArray("{ \"format\": \"") + FormatName);
}

} // namespace

TargetFile::TargetFile(const QString& path)
    : file(path)
{
    const QFileInfo present(path);
    if ((present.exists() || present.isSymLink()) && !isExport(path)) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 exists and is not an export, so it is not replaced. Give a new file."_s.arg(
                quoted(path)));
    }
    const auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner;
    // Before the first byte, because a replaced file may have been readable by others.
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(ownerOnly))
        fail();
}

void TargetFile::write(const QByteArray& bytes)
{
    if (file.write(bytes) != bytes.size())
        fail();
}

void TargetFile::commit()
{
    if (!file.commit())
        fail();
}

void TargetFile::fail() const
{
    throw CommandError(
        ExitCode::OtherError,
        u"Cannot write the file %1: %2. Give another path, or check for a full disk."_s.arg(
            quoted(path()), file.errorString()));
}

} // namespace velmioctl::exchange
