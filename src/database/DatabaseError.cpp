#include <database/DatabaseError.h>

namespace sync::database {

DatabaseError::DatabaseError(Cause cause, const QString& text)
    : std::runtime_error(text.toStdString())
    , reason(cause)
{
}

DatabaseError::~DatabaseError() = default;

QString DatabaseError::text() const
{
    return QString::fromUtf8(what());
}

} // namespace sync::database
