#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDateTime>
#include <QString>
#include <QStringView>

namespace sync::interf {

/// Optional: a query that also reads and binds the types of the records, without a QVariant for
/// each value.
///
/// A factory may return queries of this kind. Without it the managers call value() and bindValue(),
/// and the records are the same.
class VELMIO_INTERFACES_EXPORT IQSqlTypedQuery : public IQSqlQueryWrapper
{
public:
    ~IQSqlTypedQuery() override;

    /// The same as value(index).toInt().
    virtual int intValue(int index) const = 0;

    /// The same as value(index).toLongLong().
    virtual qlonglong longLongValue(int index) const = 0;

    /// The same as value(index).toString().
    virtual QString textValue(int index) const = 0;

    /// True if the column holds exactly this ASCII text.
    virtual bool holdsText(int index, QStringView text) const = 0;

    /// The same as value(index).toDateTime(), labelled as UTC by setTimeSpec() and not converted.
    virtual QDateTime utcTimeValue(int index) const = 0;

    /// The same as bindValue() of such a value. @{
    virtual void bindNumber(const QString& placeholder, qlonglong value) = 0;
    virtual void bindText(const QString& placeholder, const QString& value) = 0;
    virtual void bindTime(const QString& placeholder, const QDateTime& value) = 0;
    ///@}
};

} // namespace sync::interf
