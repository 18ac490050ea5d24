#include <core/KeyError.h>

namespace sync::core::crypto {

KeyError::KeyError(Cause cause, const QString& text)
    : std::runtime_error(text.toStdString())
    , reason(cause)
{
}

KeyError::~KeyError() = default;

QString KeyError::text() const
{
    return QString::fromUtf8(what());
}

} // namespace sync::core::crypto
