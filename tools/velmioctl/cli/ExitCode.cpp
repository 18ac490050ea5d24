#include <velmioctl/cli/ExitCode.h>

#include <base/FileError.h>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

QString writingRemedy(int code)
{
    switch (code) {
    case ENOSPC:
    case EDQUOT:
        return u"The disk is full: free some space and try again."_s;
    case EACCES:
    case EPERM:
    case EROFS:
        return u"Give another path, or yourself the right to write there."_s;
    case EIO:
        return u"Check the disk."_s;
    default:
        return u"Give another path."_s;
    }
}

} // namespace

CommandError writingError(const QString& what, int code)
{
    return {
        ExitCode::OtherError,
        u"%1: %2. %3"_s.arg(what, sync::base::systemErrorText(code), writingRemedy(code))};
}

} // namespace velmioctl
