#include <velmioctl/store/SecretInput.h>

#include <base/FileDescriptor.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/HiddenPrompt.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>

#include <QFile>
#include <QStringDecoder>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using sync::base::FileDescriptor;

namespace velmioctl {

namespace {

constexpr qsizetype LongestSecretBytes = 65'536;

// The first line without its end. Byte by byte, so that what follows stays unread.
QByteArray readFirstLine(int descriptor)
{
    QByteArray line;
    char byte = 0;
    while (line.size() <= LongestSecretBytes) {
        const ssize_t count = ::read(descriptor, &byte, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0 || byte == '\n')
            break;
        line.append(byte);
    }
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

} // namespace

SecretInput::SecretInput(const char* secretName)
    : name(secretName)
{
}

Option* SecretInput::addTo(Command& command)
{
    return command.addFlag(
        "--" + name + "-stdin", fromStandardInput,
        "Read the " + name + " from the first line of standard input");
}

void SecretInput::addOptionalTo(Command& command)
{
    addTo(command);
    command.addFlag("--" + name, askedFor, "Ask for a new " + name + " at the terminal");
}

Option* SecretInput::addFileTo(Command& command)
{
    return command
        .addOption(
            "--" + name + "-file", file, "Read the " + name + " from the first line of a file")
        ->typeName("FILE")
        ->offersFiles();
}

QString SecretInput::read(Session& session) const
{
    return read(session, Kind::New);
}

QString SecretInput::readKnown(Session& session) const
{
    return read(session, Kind::Known);
}

QString SecretInput::read(Session& session, Kind kind) const
{
    if (file)
        return fromFile();
    const bool terminal = ::isatty(STDIN_FILENO) == 1;
    const QString what = QString::fromStdString(name);
    if (!fromStandardInput) {
        if (terminal && session.output.messageTerminal().interactive)
            return fromTerminal(session, kind);
        throw CommandError(
            ExitCode::Usage,
            u"There is no terminal to ask for the %1. Add --%1-stdin, and write it "
            u"to standard input."_s.arg(what));
    }
    if (terminal) {
        throw CommandError(
            ExitCode::Usage, u"Standard input is a terminal, which would show the %1. Omit "
                             u"--%1-stdin to be asked for it."_s.arg(what));
    }
    return checked(readFirstLine(STDIN_FILENO));
}

QString SecretInput::fromFile() const
{
    const QString path = absolutePath(*file);
    const FileDescriptor descriptor(
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen()) {
        throw CommandError(
            ExitCode::NotFound,
            u"The file %1 cannot be read. Give a file with the %2 in its first line."_s.arg(
                quoted(path), QString::fromStdString(name)));
    }
    return checked(readFirstLine(descriptor.get()));
}

QString SecretInput::fromTerminal(Session& session, Kind kind) const
{
    const QString what = QString::fromStdString(name);
    if (kind == Kind::Known) {
        const QString question = what.at(0).toUpper() + what.mid(1) + u": "_s;
        return checked(readHidden(session.output, question));
    }
    QString secret = checked(readHidden(session.output, u"New %1: "_s.arg(what)));
    if (checked(readHidden(session.output, u"Repeat it: "_s)) != secret) {
        throw CommandError(
            ExitCode::Usage,
            u"The two entries differ. Nothing was changed. Run the command again."_s);
    }
    return secret;
}

QString SecretInput::checked(const QByteArray& bytes) const
{
    const QString what = QString::fromStdString(name);
    if (bytes.isEmpty())
        throw CommandError(ExitCode::Usage, u"The %1 is empty."_s.arg(what));
    if (bytes.size() > LongestSecretBytes) {
        throw CommandError(
            ExitCode::Usage, u"The %1 is longer than %2 bytes. Only the first line of the input is "
                             u"read."_s.arg(what)
                                 .arg(LongestSecretBytes));
    }
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString secret = decode(bytes);
    if (decode.hasError()) {
        throw CommandError(
            ExitCode::Usage, u"The %1 is not valid UTF-8. Give it in that encoding."_s.arg(what));
    }
    return secret;
}

} // namespace velmioctl
