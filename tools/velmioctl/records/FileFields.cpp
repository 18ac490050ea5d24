#include <velmioctl/records/FileFields.h>

#include <config/FileConfigManager.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Names.h>
#include <velmioctl/store/Session.h>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;

namespace velmioctl {

void FileFields::addTo(Command& command)
{
    command.addOption("--server-path", serverPath, "Its place on the server")->typeName("PATH");
    command.addOption("--name", name, "Name to show")->typeName("NAME");
    command.addOption("--product", product, "Id of the product registration")->typeName("ID");
    command.addOption("--parent", parent, "Id of the file that a generated file or base copy has")
        ->typeName("ID");
    command.addOption("--status", status, "unknown, syncing, out-of-sync, created, or a number")
        ->typeName("STATUS")
        ->offersWords(syncStatusWords());
    command
        .addOption(
            "--privileges", privileges,
            "Some of view, download, update, delete, share; or all, none, or a number")
        ->typeName("WORDS")
        ->offersWords(privilegeWords());
    command.addOption("--sync-option", syncOption, "How to synchronise, a number of the client")
        ->typeName("NUMBER");
    command.addOption("--operation", operation, "The last operation, a number of the client")
        ->typeName("NUMBER");
    command.addOption("--owner", owner, "The server's id of the owner")->typeName("ID");
    command.addOption("--server-file-id", serverFileId, "The server's id of the file")
        ->typeName("ID");
    command.addOption("--server-version-id", serverVersionId, "The server's id of the version")
        ->typeName("ID");
    command.addOption("--checksum", checkSum, "SHA-256 of the content")->typeName("HEX");
    command.addOption("--md5", checkSumMd5, "MD5 of the content")->typeName("HEX");
    properties.addSetTo(command);
}

void FileFields::apply(FileConfiguration& file, Session& session) const
{
    if (serverPath) {
        const QString path = QString::fromStdString(*serverPath);
        if (!path.startsWith(u'/')) {
            throw CommandError(
                ExitCode::Usage,
                u"The server path %1 is not absolute: begin it with a \"/\"."_s.arg(quoted(path)));
        }
        file.setServerPath(path);
    }
    if (name)
        file.setName(QString::fromStdString(*name));
    if (product)
        file.setProductConfigurationId(*product);
    if (parent)
        file.setParentFileId(*parent);
    if (status) {
        file.setSyncStatus(
            static_cast<sync::config::FileSynchronizationStatus>(syncStatusFrom(*status)));
    }
    if (privileges)
        file.setPrivileges(privilegesFrom(*privileges));
    if (syncOption)
        file.setSyncOption(*syncOption);
    if (operation)
        file.setLastOperationType(*operation);
    if (owner)
        file.setOwnerId(QString::fromStdString(*owner));
    if (serverFileId)
        file.setServerFileId(QString::fromStdString(*serverFileId));
    if (serverVersionId)
        file.setServerFileVersionId(QString::fromStdString(*serverVersionId));
    if (checkSum)
        file.setCheckSum(QString::fromStdString(*checkSum));
    if (checkSumMd5)
        file.setCheckSumMD5(QString::fromStdString(*checkSumMd5));
    file.setNameValueProperties(properties.applied(file.getNameValueProperties(), session.files()));
}

} // namespace velmioctl
