#include <config/statement/DateTimes.h>

#include <base/AsciiCopy.h>
#include <base/ClockReading.h>

#include <QString>

namespace sync::config {

namespace {

using base::parseClockReading;

// The text of a column, if it can be a stored time.
struct TimeText
{
    explicit TimeText(const QVariant& column)
    {
        if (column.typeId() != QMetaType::QString)
            return;
        const auto& text = *static_cast<const QString*>(column.constData());
        const bool fits = text.size() <= qsizetype(sizeof characters);
        if (fits && base::copyAscii(QStringView(text).utf16(), text.size(), characters))
            size = std::size_t(text.size());
    }

    std::string_view view() const { return {characters, size}; }

    char characters[32];
    std::size_t size = 0;
};

QDateTime utcTime(std::chrono::milliseconds sinceEpoch)
{
    return QDateTime::fromMSecsSinceEpoch(sinceEpoch.count(), Qt::UTC);
}

} // namespace

QDateTime readDateTime(const QVariant& column)
{
    const TimeText text(column);
    if (const auto reading = parseClockReading(text.view())) {
        QDateTime clock = utcTime(reading->sinceEpoch);
        if (reading->zone == "Z")
            return clock;
        if (reading->zone.empty())
            return QDateTime(clock.date(), clock.time(), Qt::LocalTime);
        if (const auto offset = base::parseZoneOffset(reading->zone))
            return QDateTime(clock.date(), clock.time(), Qt::OffsetFromUTC, int(offset->count()));
    }
    return column.toDateTime();
}

QDateTime readUtcDateTime(const QVariant& column)
{
    // The zone of the text is irrelevant because the time gets a new label. Asking the system for
    // the local zone would take a microsecond.
    const TimeText text(column);
    if (const auto reading = parseClockReading(text.view());
        reading && base::isPlainZone(reading->zone))
        return utcTime(reading->sinceEpoch);
    QDateTime time = column.toDateTime();
    time.setTimeSpec(Qt::UTC);
    return time;
}

} // namespace sync::config
