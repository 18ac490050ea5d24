#include <velmioctl/tree/IgnoreFile.h>

#include <tree/IgnoreRules.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>

#include <QFile>

using namespace Qt::StringLiterals;

namespace velmioctl {

void IgnoreFile::addOption(Command& command)
{
    command
        .addOption(
            "--ignore", path,
            "File with patterns of names and paths to leave out, one in each line")
        ->offersFiles();
}

QString IgnoreFile::read() const
{
    if (!path)
        return {};
    QFile file(QString::fromStdString(*path));
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray text = file.readAll();
        if (file.error() == QFile::NoError)
            return QString::fromUtf8(text);
    }
    throw CommandError(
        ExitCode::Usage,
        u"The file %1 of --ignore cannot be read: %2. Give a text file with one "
        u"pattern in each line."_s.arg(quoted(file.fileName()), file.errorString()));
}

sync::tree::IgnoreRule ignoreRule(const QString& text, const QString& root)
{
    if (text.isEmpty())
        return {};
    return sync::tree::IgnoreRules(root, text);
}

} // namespace velmioctl
