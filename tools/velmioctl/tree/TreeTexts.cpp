#include <velmioctl/tree/TreeTexts.h>

#include <base/FileError.h>
#include <base/FilePaths.h>
#include <base/WindowsNames.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/tree/RootFolders.h>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::tree::RootState;
using sync::tree::TreeProblem;

namespace velmioctl {

namespace {

QString describeInvalidName(const TreeProblem& problem)
{
    const auto path = sync::base::textOfName(problem.path.toStdString());
    const QStringView name = path ? QStringView(*path).sliced(path->lastIndexOf(u'/') + 1) : u"";
    return u"The name of the %1 \"%2\" %3, so it cannot be synchronised. Rename it."_s.arg(
        problem.kind == TreeProblem::Kind::InvalidFileName ? u"file"_s : u"folder"_s,
        escapeBytes(problem.path),
        path ? sync::base::windowsNameProblem(name) : u"is not valid UTF-8"_s);
}

} // namespace

QString wordFor(RootState state)
{
    switch (state) {
    case RootState::Present:
        return u"present"_s;
    case RootState::Paused:
        return u"paused"_s;
    case RootState::Restored:
        return u"restored"_s;
    case RootState::Exchanged:
        return u"exchanged"_s;
    case RootState::OtherDisk:
        return u"other-disk"_s;
    case RootState::Empty:
        return u"empty"_s;
    case RootState::Unreadable:
        return u"unreadable"_s;
    case RootState::Missing:
        return u"missing"_s;
    }
    Q_UNREACHABLE();
}

QString describe(RootState state, const FolderConfiguration& root)
{
    const QString id = QString::number(root.getId());
    if (state == RootState::Missing) {
        return u"The root folder %1 does not exist. Connect its drive, give its new place with "
               u"'velmioctl folder relocate %2 NEWPATH', or remove its records with 'velmioctl "
               u"folder clean %2'."_s.arg(described(root), id);
    }
    if (state == RootState::Unreadable) {
        return u"The root folder %1 is not accessible. Give yourself the right to enter the "
               u"folders above it, or connect its drive."_s.arg(described(root));
    }
    if (state == RootState::Paused) {
        return u"The paths of the root folder %1 come from an import, and nothing has compared it "
               u"with the disk yet. Run 'velmioctl folder relocate %2 NEWPATH' with the directory "
               u"that it is in, or 'velmioctl scan %2 --force'."_s.arg(described(root), id);
    }
    if (state == RootState::Restored) {
        return u"The root folder %1 is another directory now, with earlier versions of files, as "
               u"after a restore from a backup. A scan would record them as changes. If that is "
               u"right, run 'velmioctl scan %2 --force'."_s.arg(described(root), id);
    }
    const QString remedy =
        u" Connect its drive. If this was done on purpose, run 'velmioctl scan %1 --force'."_s.arg(
            id);
    if (state == RootState::Empty)
        return u"The root folder %1 is empty, but has records of files or folders."_s.arg(
                   described(root)) +
               remedy;
    if (state == RootState::OtherDisk)
        return u"Another disk is in the place of the root folder %1, without most of what is "
               u"recorded."_s.arg(described(root)) +
               remedy;
    return u"Another folder is in the place of the root folder %1, without most of what is "
           u"recorded."_s.arg(described(root)) +
           remedy;
}

QString describe(const TreeProblem& problem)
{
    using Kind = TreeProblem::Kind;
    const QString path = quoted(QString::fromUtf8(problem.path));
    switch (problem.kind) {
    case Kind::UnreadableFolder:
        return u"The folder %1 cannot be read: %2. Change its permissions, and run the command again."_s
            .arg(path, sync::base::systemErrorText(problem.error));
    case Kind::InvalidFolderName:
    case Kind::InvalidFileName:
        return describeInvalidName(problem);
    case Kind::InaccessibleFile:
        return u"The file %1 is not accessible: %2. Change its permissions, and run the command again."_s
            .arg(path, sync::base::systemErrorText(problem.error));
    case Kind::UnreadableFile:
        return u"The file %1 cannot be read, so its record has no checksum. Change its "
               u"permissions, and scan again with --hash always."_s.arg(path);
    case Kind::UnstableFile:
        return u"The file %1 changed while it was read. Scan again."_s.arg(path);
    case Kind::RefusedFolder:
        return u"The folder %1 could not be registered. Check whether 'velmioctl folder tree' "
               u"shows its parent, and scan again."_s.arg(path);
    case Kind::UnstorableRecord:
        return u"The record of the file %1 has properties or links that cannot be stored again, so "
               u"it was not changed. 'velmioctl file show %2' and 'velmioctl file links %2' show "
               u"them."_s.arg(path, QString::number(problem.id));
    }
    Q_UNREACHABLE();
}

} // namespace velmioctl
