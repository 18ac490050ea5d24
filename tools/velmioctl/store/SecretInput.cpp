#include <velmioctl/store/SecretInput.h>

#include <base/system/Files.h>
#include <base/system/Terminal.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/HiddenPrompt.h>
#include <velmioctl/cli/SecretLine.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>

using namespace Qt::StringLiterals;
using sync::core::crypto::SecretText;
using sync::core::crypto::SecureBytes;

namespace velmioctl {

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

SecretText SecretInput::read(Session& session) const
{
    return read(session, Kind::New);
}

SecretText SecretInput::readKnown(Session& session) const
{
    return read(session, Kind::Known);
}

SecretText SecretInput::read(Session& session, Kind kind) const
{
    if (file)
        return fromFile();
    const bool terminal = sync::base::isTerminal(sync::base::standardInput());
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
    return checked(readSecretLine(sync::base::standardInput()));
}

SecretText SecretInput::fromFile() const
{
    const QString path = absolutePath(*file);
    const auto opened = sync::base::openForReading(path, sync::base::Links::Follow);
    if (!opened.isOpen()) {
        throw CommandError(
            ExitCode::NotFound,
            u"The file %1 cannot be read. Give a file with the %2 in its first line."_s.arg(
                quoted(path), QString::fromStdString(name)));
    }
    return checked(readSecretLine(opened.get()));
}

SecretText SecretInput::fromTerminal(Session& session, Kind kind) const
{
    const QString what = QString::fromStdString(name);
    if (kind == Kind::Known) {
        const QString question = what.at(0).toUpper() + what.mid(1) + u": "_s;
        return checked(readHidden(session.output, question));
    }
    SecretText secret = checked(readHidden(session.output, u"New %1: "_s.arg(what)));
    if (checked(readHidden(session.output, u"Repeat it: "_s)).view() != secret.view()) {
        throw CommandError(
            ExitCode::Usage,
            u"The two entries differ. Nothing was changed. Run the command again."_s);
    }
    return secret;
}

SecretText SecretInput::checked(const SecureBytes& bytes) const
{
    const QString what = QString::fromStdString(name);
    if (bytes.size() == 0)
        throw CommandError(ExitCode::Usage, u"The %1 is empty."_s.arg(what));
    if (bytes.size() > LongestSecretBytes) {
        throw CommandError(
            ExitCode::Usage, u"The %1 is longer than %2 bytes. Only the first line of the input is "
                             u"read."_s.arg(what)
                                 .arg(LongestSecretBytes));
    }
    const auto secret = SecretText::fromUtf8(bytes);
    if (!secret) {
        throw CommandError(
            ExitCode::Usage, u"The %1 is not valid UTF-8. Give it in that encoding."_s.arg(what));
    }
    return *secret;
}

} // namespace velmioctl
