#include <config/statement/DateTimes.h>

namespace sync::config {

QDateTime readDateTime(const QVariant& column)
{
    return column.toDateTime();
}

QDateTime readUtcDateTime(const QVariant& column)
{
    QDateTime time = readDateTime(column);
    time.setTimeSpec(Qt::UTC);
    return time;
}

} // namespace sync::config
