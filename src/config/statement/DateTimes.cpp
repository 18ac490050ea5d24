#include <config/statement/DateTimes.h>

#include <core/time/ClockReading.h>

#include <QString>

namespace sync::config {

namespace {

using core::parseClockReading;

std::u16string_view textIn(const QVariant& column)
{
    if (column.typeId() != QMetaType::QString)
        return {};
    const auto& text = *static_cast<const QString*>(column.constData());
    return {reinterpret_cast<const char16_t*>(text.utf16()), std::size_t(text.size())};
}

QDateTime utcTime(std::chrono::milliseconds sinceEpoch)
{
    return QDateTime::fromMSecsSinceEpoch(sinceEpoch.count(), Qt::UTC);
}

} // namespace

QDateTime readDateTime(const QVariant& column)
{
    if (const auto reading = parseClockReading(textIn(column))) {
        const QDateTime clock = utcTime(reading->sinceEpoch);
        if (reading->zone == u"Z")
            return clock;
        if (reading->zone.empty())
            return QDateTime(clock.date(), clock.time(), Qt::LocalTime);
        if (const auto offset = core::parseZoneOffset(reading->zone))
            return QDateTime(clock.date(), clock.time(), Qt::OffsetFromUTC, int(offset->count()));
    }
    return column.toDateTime();
}

QDateTime readUtcDateTime(const QVariant& column)
{
    // A new label makes the zone of the text irrelevant, and asking the system for the local one
    // takes a microsecond.
    if (const auto reading = parseClockReading(textIn(column));
        reading && core::isPlainZone(reading->zone))
        return utcTime(reading->sinceEpoch);
    QDateTime time = column.toDateTime();
    time.setTimeSpec(Qt::UTC);
    return time;
}

} // namespace sync::config
