#include <velmioctl/records/FolderFields.h>

#include <config/FolderConfigManager.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Names.h>
#include <velmioctl/store/Session.h>

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

void FolderFields::addTo(Command& command)
{
    command.addOption("--name", name, "Name to show")->typeName("NAME");
    command.addOption("--signin", signIn, "Id of the sign-in to synchronise with")->typeName("ID");
    command.addOption("--product", product, "Id of the product registration")->typeName("ID");
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
    command.addOption("--drive-type", driveType, "Kind of drive, a number of the client")
        ->typeName("NUMBER");
    command.addOption("--owner", owner, "The server's id of the owner")->typeName("ID");
    command.addOption("--server-root", serverRoot, "Root of the tree on the server")
        ->typeName("PATH");
    command.addOption("--server-folder-id", serverFolderId, "The server's id of the folder")
        ->typeName("ID");
    command.addOption("--short-key", shortKey, "The server's short key")->typeName("KEY");
    command.addOption("--long-key", longKey, "The server's long key")->typeName("KEY");
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
