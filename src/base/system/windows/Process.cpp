#include <base/system/Process.h>

#include <base/system/FileRights.h>
#include <base/system/windows/Native.h>

#include <QCryptographicHash>

#include <cerrno>

#include <sddl.h>
#include <shellapi.h>

using namespace Qt::StringLiterals;

namespace sync::base {

void protectMemory()
{
    // No error report, which holds memory, is written or sent.
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    // Other processes of the user may wait for this one, end it and see that it runs. The owner has
    // no more rights (OW), or could give themselves the others.
    const QString rights = u"D:P(A;;0x101001;;;%1)(A;;0x101001;;;OW)"_s.arg(currentUser());
    LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(
            rights.toStdWString().c_str(), SDDL_REVISION_1, descriptor.out(), nullptr))
        ::SetKernelObjectSecurity(
            ::GetCurrentProcess(), DACL_SECURITY_INFORMATION, descriptor.get());
}

// A write to a closed pipe fails here, and sends no signal.
void endWithReader() {}

std::vector<std::string> arguments(int /*argc*/, const char* const* /*argv*/)
{
    int count = 0;
    const LocalMemory<wchar_t**> texts(::CommandLineToArgvW(::GetCommandLineW(), &count));
    std::vector<std::string> all;
    for (int at = 0; at < count; ++at)
        all.push_back(toUtf8(texts.get()[at]));
    return all;
}

QByteArray environmentVariable(const char* name)
{
    return qEnvironmentVariable(name).toUtf8();
}

int becomeProgram(const QString& /*path*/, char* const* /*argv*/)
{
    return ENOSYS;
}

void endBySignal(int /*signal*/) {}

qint64 currentUserNumber()
{
    const QByteArray hash =
        QCryptographicHash::hash(currentUser().toLatin1(), QCryptographicHash::Sha256);
    return hash.left(7).toHex().toLongLong(nullptr, 16);
}

} // namespace sync::base
