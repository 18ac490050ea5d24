#pragma once

#include <interf/IDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QString>
#include <QVariant>

#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <utility>

namespace velmioctl::doctor {

/// A check's SELECT failed, so there may be more than it has found. The text is the engine's.
class ReadFailure : public std::runtime_error
{
public:
    explicit ReadFailure(const QString& text)
        : std::runtime_error(text.toStdString())
    {
    }

    QString text() const { return QString::fromUtf8(what()); }
};

/// A SELECT whose failure cannot be mistaken for the end of its rows.
class CheckQuery
{
public:
    using Binding = std::pair<QString, QVariant>;

    /// Throws ReadFailure.
    CheckQuery(
        sync::interf::factory::IDatabaseFactory& database, const QString& sql,
        std::initializer_list<Binding> bindings = {});

    /// Moves to the next row; throws ReadFailure.
    bool next();

    QVariant value(int column) const { return query->value(column); }
    QString text(int column) const { return value(column).toString(); }
    long long number(int column) const { return value(column).toLongLong(); }

private:
    const std::shared_ptr<sync::interf::IQSqlQueryWrapper> query;
};

} // namespace velmioctl::doctor
