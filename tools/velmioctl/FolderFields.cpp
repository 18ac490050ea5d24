#include "FolderFields.h"

#include "Names.h"
#include "Session.h"
#include "Text.h"

#include <config/FolderConfigManager.h>

#include <CLI/CLI.hpp>

#include <QDir>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

QString serverPathFrom(const std::string& text)
{
    const QString path = QString::fromStdString(text);
    if (!path.startsWith(u'/')) {
        throw CommandError(
            ExitCode::Usage,
            u"The server path %1 is not absolute: begin it with a \"/\"."_s.arg(quoted(path)));
    }
    return QDir::cleanPath(path);
}

} // namespace

void FolderFields::addTo(CLI::App& command)
{
    command.add_option("--name", name, "Name to show")->type_name("NAME");
    command.add_option("--signin", signIn, "Id of the sign-in to synchronise with")
        ->type_name("ID");
    command.add_option("--product", product, "Id of the product registration")->type_name("ID");
    command.add_option("--status", status, "unknown, syncing, out-of-sync, created, or a number")
        ->type_name("STATUS");
    command
        .add_option(
            "--privileges", privileges,
            "Some of view, download, update, delete, share; or all, none, or a number")
        ->type_name("WORDS");
    command.add_option("--sync-option", syncOption, "How to synchronise, a number of the client")
        ->type_name("NUMBER");
    command.add_option("--drive-type", driveType, "Kind of drive, a number of the client")
        ->type_name("NUMBER");
    command.add_option("--owner", owner, "The server's id of the owner")->type_name("ID");
    command.add_option("--server-root", serverRoot, "Root of the tree on the server")
        ->type_name("PATH");
    command.add_option("--server-folder-id", serverFolderId, "The server's id of the folder")
        ->type_name("ID");
    command.add_option("--short-key", shortKey, "The server's short key")->type_name("KEY");
    command.add_option("--long-key", longKey, "The server's long key")->type_name("KEY");
    properties.addSetTo(command);
}

void FolderFields::apply(FolderConfiguration& folder, Session& session) const
{
    applyNumbers(folder);
    applyTexts(folder);
    folder.setNameValueProperties(
        properties.applied(folder.getNameValueProperties(), session.folders()));
    // A negative id stands for none.
    if (signIn && *signIn >= 0)
        session.requireSignIn(*signIn);
    if (product && *product >= 0)
        session.requireProduct(*product);
}

void FolderFields::applyNumbers(FolderConfiguration& folder) const
{
    using namespace sync::config;
    if (signIn)
        folder.setAuthenticationId(*signIn);
    if (product)
        folder.setProductConfigurationId(*product);
    if (status)
        folder.setSyncStatus(static_cast<FolderSynchronizationStatus>(syncStatusFrom(*status)));
    if (option)
        folder.setFolderOption(static_cast<SynchronizationFolderOption>(folderOptionFrom(*option)));
    if (privileges)
        folder.setPrivileges(static_cast<FolderPrivileges>(privilegesFrom(*privileges)));
    if (syncOption)
        folder.setSyncOption(static_cast<FolderSyncOption>(*syncOption));
    if (driveType)
        folder.setSyncDriveType(static_cast<DriveType>(*driveType));
}

void FolderFields::applyTexts(FolderConfiguration& folder) const
{
    if (serverPath)
        folder.setServerPath(serverPathFrom(*serverPath));
    if (name)
        folder.setName(QString::fromStdString(*name));
    if (owner)
        folder.setOwnerId(QString::fromStdString(*owner));
    if (serverRoot)
        folder.setServerRoot(QString::fromStdString(*serverRoot));
    if (serverFolderId)
        folder.setServerFolderId(QString::fromStdString(*serverFolderId));
    if (shortKey)
        folder.setRemoteShortKey(QString::fromStdString(*shortKey));
    if (longKey)
        folder.setRemoteLongKey(QString::fromStdString(*longKey));
}

} // namespace velmioctl
