#include <velmioctl/exchange/TargetFile.h>

#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/Ownership.h>
#include <base/PartialFile.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/exchange/ExportHeader.h>

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;
using sync::base::FileError;
using sync::base::PartialFile;

namespace velmioctl::exchange {

namespace {

constexpr qsizetype PendingBytes = 64 * 1024;

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

void TargetFile::requireOwnFolder(const QString& folder) const
{
    const auto found = sync::base::ExaminedFolder(folder).examine();
    if (!found)
        return; // Writing says why.
    QString finding = sync::base::ownerFinding(folder, found->rights, found->rights.owner);
    if (finding.isEmpty())
        finding = sync::base::writersFinding(folder, found->rights);
    if (!finding.isEmpty()) {
        throw CommandError(
            ExitCode::OtherError,
            u"%1 is not written, because another user could exchange it: %2."_s.arg(
                quoted(filePath), finding));
    }
}

TargetFile::TargetFile(const QString& path)
    : filePath(path)
    , replaces(isExport(path))
{
    const QFileInfo present(path);
    if ((present.exists() || present.isSymLink()) && !replaces) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 exists and is not an export, so it is not replaced. Give a new file."_s.arg(
                quoted(path)));
    }
    // What a symbolic link leads to is replaced, and not the link.
    const QString target = sync::base::resolvedFilePath(path);
    requireOwnFolder(QFileInfo(target).path());
    withWritingErrors([&] { file = std::make_unique<PartialFile>(target); });
}

TargetFile::~TargetFile() = default;

void TargetFile::write(const QByteArray& bytes)
{
    pending += bytes;
    if (pending.size() < PendingBytes)
        return;
    withWritingErrors([this] { file->append(pending); });
    pending.clear();
}

void TargetFile::commit()
{
    withWritingErrors([this] {
        file->append(pending);
        if (replaces)
            file->publishOver();
        else
            file->publish();
    });
}

template <class Action>
void TargetFile::withWritingErrors(const Action& action) const
{
    try {
        action();
    } catch (const FileError& error) {
        throw writingError(u"Cannot write the file "_s + quoted(filePath), error.code());
    }
}

} // namespace velmioctl::exchange
