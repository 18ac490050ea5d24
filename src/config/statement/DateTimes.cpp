#include <config/statement/DateTimes.h>

#include <QString>

#include <optional>

namespace sync::config {

namespace {

// The fields of a text "yyyy-MM-ddTHH:mm:ss.zzz", and what stands behind it.
struct TimeText
{
    QDate date;
    QTime time;
    QStringView zone;
};

// The number in `count` digits; -1 when one of them is none.
int number(const QChar* digits, int count)
{
    int value = 0;
    for (int i = 0; i < count; ++i) {
        const int digit = digits[i].unicode() - u'0';
        if (digit < 0 || digit > 9)
            return -1;
        value = value * 10 + digit;
    }
    return value;
}

// The fields of a text as the engine writes it; nothing for any other text or field out of range.
std::optional<TimeText> parse(QStringView text)
{
    constexpr qsizetype ClockLength = 23;
    if (text.size() < ClockLength)
        return {};
    const QChar* c = text.data();
    if (c[4] != u'-' || c[7] != u'-' || c[10] != u'T' || c[13] != u':' || c[16] != u':' ||
        c[19] != u'.')
        return {};

    // A field of -1 makes the date or the time invalid.
    const QDate date(number(c, 4), number(c + 5, 2), number(c + 8, 2));
    const QTime time(number(c + 11, 2), number(c + 14, 2), number(c + 17, 2), number(c + 20, 3));
    if (number(c, 4) < 0 || !date.isValid() || !time.isValid())
        return {};
    return TimeText{date, time, text.sliced(ClockLength)};
}

// The seconds in "+HH:mm" or "-HH:mm"; nothing for any other text.
std::optional<int> parseOffset(QStringView text)
{
    if (text.size() != 6 || text[3] != u':' || (text[0] != u'+' && text[0] != u'-'))
        return {};
    const int hours = number(text.data() + 1, 2);
    const int minutes = number(text.data() + 4, 2);
    if (hours < 0 || hours > 13 || minutes < 0 || minutes > 59)
        return {};
    const int seconds = (hours * 60 + minutes) * 60;
    return text[0] == u'-' ? -seconds : seconds;
}

QStringView textIn(const QVariant& column)
{
    if (column.typeId() != QMetaType::QString)
        return {};
    return *static_cast<const QString*>(column.constData());
}

} // namespace

QDateTime readDateTime(const QVariant& column)
{
    if (const auto text = parse(textIn(column))) {
        if (text->zone == u"Z")
            return QDateTime(text->date, text->time, Qt::UTC);
        if (text->zone.isEmpty())
            return QDateTime(text->date, text->time, Qt::LocalTime);
        if (const auto offset = parseOffset(text->zone))
            return QDateTime(text->date, text->time, Qt::OffsetFromUTC, *offset);
    }
    return column.toDateTime();
}

QDateTime readUtcDateTime(const QVariant& column)
{
    if (const auto text = parse(textIn(column))) {
        // A new label makes the zone of the text irrelevant, and asking the system for the local
        // one takes a microsecond.
        if (text->zone.isEmpty() || text->zone == u"Z" || parseOffset(text->zone))
            return QDateTime(text->date, text->time, Qt::UTC);
    }
    QDateTime time = column.toDateTime();
    time.setTimeSpec(Qt::UTC);
    return time;
}

} // namespace sync::config
