#include "RecordFields.h"

#include <config/FileLink.h>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

QString linksText(const QList<FileLink>& links)
{
    QStringList texts;
    for (const FileLink& link : links)
        texts.append(
            QStringList{QString::number(link.FileId), link.Path, link.RefId, link.ServerFileId}
                .join(u'|'));
    return texts.join(u'\n');
}

// NULL sorts before any time.
QString sortText(const QDateTime& time)
{
    return time.isValid() ? fieldText(time) : QString();
}

struct Field
{
    const char* name;
    std::function<QVariant(const FileConfiguration&)> read;
};

const std::vector<Field>& fields()
{
    static const std::vector<Field> all{
        {"folderConfigurationId", &FileConfiguration::getFolderConfigurationId},
        {"productConfigurationId", &FileConfiguration::getProductConfigurationId},
        {"name", &FileConfiguration::getName},
        {"clientPath", &FileConfiguration::getClientPath},
        {"serverPath", &FileConfiguration::getServerPath},
        {"checkSum", &FileConfiguration::getCheckSum},
        {"checkSumMD5", &FileConfiguration::getCheckSumMD5},
        {"createdDateTime", &FileConfiguration::getCreatedDateTime},
        {"lastModifiedDateTime", &FileConfiguration::getLastModifiedDateTime},
        {"size", &FileConfiguration::getSize},
        {"lastOperationType", &FileConfiguration::getLastOperationType},
        {"lastOperationTime", &FileConfiguration::getLastOperationTime},
        {"rootFolderId", &FileConfiguration::getRootFolderId},
        {"syncOption", &FileConfiguration::getSyncOption},
        {"parentFileId", &FileConfiguration::getParentFileId},
        {"ownerId", &FileConfiguration::getOwnerId},
        {"privileges", &FileConfiguration::getPrivileges},
        {"fileType", [](const FileConfiguration& file) { return int(file.getFileType()); }},
        {"serverFileId", &FileConfiguration::getServerFileId},
        {"serverFileVersionId", &FileConfiguration::getServerFileVersionId},
        {"fileLinks", [](const FileConfiguration& file) { return linksText(file.getFileLinks()); }},
        {"fileLinksDate", &FileConfiguration::getFileLinksDate},
        {"syncStatus", [](const FileConfiguration& file) { return int(file.getSyncStatus()); }},
        {"syncStatusChanged", &FileConfiguration::getSyncStatusChanged},
    };
    return all;
}

} // namespace

QString fieldText(const QVariant& value)
{
    if (value.typeId() != QMetaType::QDateTime)
        return value.toString();
    const QDateTime time = value.toDateTime();
    if (!time.isValid())
        return u"none"_s;
    return time.toString(u"yyyy-MM-dd hh:mm:ss.zzz "_s) +
           (time.timeSpec() == Qt::UTC ? u"UTC"_s : u"local"_s);
}

QString fieldDifference(const FileConfiguration& expected, const FileConfiguration& actual)
{
    for (const auto& [name, read] : fields()) {
        const QString left = fieldText(read(expected));
        const QString right = fieldText(read(actual));
        if (left != right)
            return u"%1 is \"%2\" and not \"%3\""_s.arg(QLatin1StringView(name), right, left);
    }
    if (expected.getNameValueProperties() != actual.getNameValueProperties())
        return u"other name-value properties"_s;
    return {};
}

bool isInOrder(const QVector<FileConfiguration>& files, interf::FileConfigOrderByEnum order)
{
    // Each serves two values, ascending and descending. Text compares by UTF-8 bytes, as in SQLite.
    using Less = std::function<bool(const FileConfiguration&, const FileConfiguration&)>;
    const auto by = [](auto key) {
        return Less([key](const FileConfiguration& left, const FileConfiguration& right) {
            return key(left) < key(right);
        });
    };
    using File = const FileConfiguration&;
    const std::vector<Less> orders{
        by([](File file) { return file.getId(); }),
        by([](File file) { return file.getName().toUtf8(); }),
        by([](File file) { return file.getFolderConfigurationId(); }),
        by([](File file) { return file.getClientPath().toUtf8(); }),
        by([](File file) { return file.getServerPath().toUtf8(); }),
        by([](File file) { return file.getCheckSum().toUtf8(); }),
        by([](File file) { return sortText(file.getCreatedDateTime()); }),
        by([](File file) { return sortText(file.getLastModifiedDateTime()); }),
        by([](File file) { return file.getSyncStatus(); }),
        by([](File file) { return file.getLastOperationType(); }),
        by([](File file) { return file.getSize(); }),
    };
    const auto at = static_cast<std::size_t>(order < 0 || order > 21 ? 0 : order);
    const Less& less = orders[at / 2];
    const bool ascending = at % 2 == 0;
    return std::is_sorted(
        files.begin(), files.end(), [&](const FileConfiguration& left, const auto& right) {
            return ascending ? less(left, right) : less(right, left);
        });
}

} // namespace sync::test
