#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QMap>
#include <QString>

#include <memory>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace sync::config {

class RowReader;
class Statement;

/// What all managers share: the database factory, and the text form of name-value properties.
///
/// Has no state but the factory, and so is as thread-safe as that.
class VELMIO_CONFIGURATION_EXPORT DatabaseConfigurationManager
{
public:
    /// Keeps the factory, which must not be null, and asks it nothing yet.
    explicit DatabaseConfigurationManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    virtual ~DatabaseConfigurationManager();

    DatabaseConfigurationManager(const DatabaseConfigurationManager&) = delete;
    DatabaseConfigurationManager& operator=(const DatabaseConfigurationManager&) = delete;

    /// Reads properties from the XML text that ToNameValuePropertyString() writes.
    ///
    /// Each child node of the document element becomes an entry: its name the key, the text of its
    /// first child the value, a later one of the same name in place of an earlier. Text that is no
    /// XML gives an empty map. Pure: any thread may call it.
    virtual QMap<QString, QString> ToNameValuePropertyMap(QString xml) const;

    /// Writes properties as a small XML document, one element for each, in ascending order of keys.
    ///
    /// Nothing is checked or escaped: a key that is no XML name, or a value that contains "]]>",
    /// yields text that does not read back. Pure: any thread may call it.
    virtual QString ToNameValuePropertyString(QMap<QString, QString> properties);

protected:
    /// A fresh query of the factory, prepared with a statement text.
    Statement _Prepare(const QString& sql) const;

    /// The properties in a column of the row.
    QMap<QString, QString> _NameValueProperties(const RowReader& row, int column) const;

    /// What all operations get their queries from; never null.
    const std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory;
};

} // namespace sync::config
