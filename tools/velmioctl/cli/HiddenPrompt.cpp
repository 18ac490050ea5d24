#include <velmioctl/cli/HiddenPrompt.h>

#include <base/system/Terminal.h>
#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/SecretLine.h>

using sync::base::HiddenInput;
using sync::core::crypto::SecureBytes;

namespace velmioctl {

namespace {

SecureBytes askHidden(Output& output, const QString& question)
{
    const HiddenInput hidden;
    output.ask(question);
    SecureBytes line =
        readSecretLine(sync::base::standardInput(), [&hidden] { return hidden.wait(); });
    // The line end was not shown either.
    output.note({});
    return line;
}

} // namespace

SecureBytes readHidden(Output& output, const QString& question)
{
    SecureBytes line = askHidden(output, question);
    if (const int signal = HiddenInput::signal(); signal != 0)
        throw EndedBySignal{signal};
    return line;
}

} // namespace velmioctl
