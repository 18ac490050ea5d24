#include <config/statement/RowReader.h>

namespace sync::config {

// Fast for the expected types: QVariant's conversions take as long as the rest of reading a column.

int RowReader::untypedInteger(int column) const
{
    const QVariant value = query->value(column);
    return value.typeId() == QMetaType::LongLong
               ? static_cast<int>(*static_cast<const qlonglong*>(value.constData()))
               : value.toInt();
}

QString RowReader::untypedText(int column) const
{
    const QVariant value = query->value(column);
    return value.typeId() == QMetaType::QString ? *static_cast<const QString*>(value.constData())
                                                : value.toString();
}

} // namespace sync::config
