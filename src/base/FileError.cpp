#include <base/FileError.h>

#include <cerrno>
#include <system_error>

using namespace Qt::StringLiterals;

namespace sync::base {

QString systemErrorText(int code)
{
    return QString::fromLocal8Bit(std::generic_category().message(code));
}

bool isGone(int error)
{
    return error == ENOENT || error == ENOTDIR;
}

FileError::FileError(const QString& path, const QString& doing, int code)
    : std::runtime_error((doing + u' ' + path + u": "_s + systemErrorText(code)).toStdString())
    , errorCode(code)
{
}

} // namespace sync::base
