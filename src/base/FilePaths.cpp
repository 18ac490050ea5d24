#include <base/FilePaths.h>

#include <base/system/FolderEntries.h>

#include <QDir>
#include <QFileInfo>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace sync::base {

QString absoluteFilePath(const QString& givenPath)
{
    // A leading ":" means a resource to Qt, and ":memory:" is not a file to SQLite.
    const QString path = givenPath.startsWith(u':') ? u"./"_s + givenPath : givenPath;
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString resolvedFilePath(const QString& givenPath)
{
    const QString path = absoluteFilePath(givenPath);
    const QString target = QFileInfo(path).canonicalFilePath();
    return target.isEmpty() ? path : target;
}

std::string joinPath(const std::string& folder, const std::string& name)
{
    return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

QString joinPath(const QString& folder, const QString& name)
{
    return folder.endsWith(u'/') ? folder + name : folder + u'/' + name;
}

std::optional<QString> textOfName(const std::string& name)
{
    using Flag = QStringDecoder::Flag;
    QStringDecoder decode(QStringDecoder::Utf8, Flag::Stateless | Flag::ConvertInitialBom);
    QString decoded = decode(QByteArrayView(name.data(), qsizetype(name.size())));
    if (decode.hasError())
        return std::nullopt;
    return decomposesNames() ? decoded.normalized(QString::NormalizationForm_C) : decoded;
}

} // namespace sync::base
