#include <config/Sha256FileHash.h>

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>

namespace sync::config {

namespace {

constexpr qint64 BlockBytes = 256 * 1024;

} // namespace

Sha256FileHash::~Sha256FileHash() = default;

QString Sha256FileHash::GetFileHash(QString absoluteFilePath)
{
    // Checked before the file is opened: opening a pipe would wait for its writer.
    if (!QFileInfo(absoluteFilePath).isFile())
        return {};
    QFile file(absoluteFilePath);
    // The blocks are larger than the device's own buffer, which would only be copied.
    if (!file.open(QIODevice::ReadOnly | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        return {};

    // Not addData(QIODevice*), which does not distinguish a failed read from the end of the file.
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QByteArray block(BlockBytes, Qt::Uninitialized);
    for (;;) {
        const qint64 length = file.read(block.data(), block.size());
        if (length < 0)
            return {};
        if (length == 0)
            return QString::fromLatin1(hash.result().toHex());
        hash.addData(QByteArrayView(block.constData(), length));
    }
}

} // namespace sync::config
