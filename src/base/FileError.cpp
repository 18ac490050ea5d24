#include <base/FileError.h>

#include <system_error>

using namespace Qt::StringLiterals;

namespace sync::base {

QString systemErrorText(int code)
{
    return QString::fromLocal8Bit(std::generic_category().message(code));
}

FileError::FileError(const QString& path, const QString& doing, int code)
    : std::runtime_error((doing + u' ' + path + u": "_s + systemErrorText(code)).toStdString())
    , errorCode(code)
{
}

} // namespace sync::base
