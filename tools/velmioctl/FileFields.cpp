#include "FileFields.h"

#include "Names.h"
#include "Session.h"
#include "Text.h"

#include <config/FileConfigManager.h>

#include <CLI/CLI.hpp>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;

namespace velmioctl {

void FileFields::addTo(CLI::App& command)
{
    command.add_option("--server-path", serverPath, "Its place on the server")->type_name("PATH");
    command.add_option("--name", name, "Name to show")->type_name("NAME");
    command.add_option("--product", product, "Id of the product registration")->type_name("ID");
    command.add_option("--parent", parent, "Id of the file that a generated file or base copy has")
        ->type_name("ID");
    command.add_option("--status", status, "unknown, syncing, out-of-sync, created, or a number")
        ->type_name("STATUS");
    command
        .add_option(
            "--privileges", privileges,
            "Some of view, download, update, delete, share; or all, none, or a number")
        ->type_name("WORDS");
    command.add_option("--sync-option", syncOption, "How to synchronise, a number of the client")
        ->type_name("NUMBER");
    command.add_option("--operation", operation, "The last operation, a number of the client")
        ->type_name("NUMBER");
    command.add_option("--owner", owner, "The server's id of the owner")->type_name("ID");
    command.add_option("--server-file-id", serverFileId, "The server's id of the file")
        ->type_name("ID");
    command.add_option("--server-version-id", serverVersionId, "The server's id of the version")
        ->type_name("ID");
    command.add_option("--checksum", checkSum, "SHA-256 of the content")->type_name("HEX");
    command.add_option("--md5", checkSumMd5, "MD5 of the content")->type_name("HEX");
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
