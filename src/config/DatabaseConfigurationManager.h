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
/// Its only state is the factory, so it is as thread-safe as the factory.
class VELMIO_CONFIGURATION_EXPORT DatabaseConfigurationManager
{
public:
    /// Keeps the factory, which must not be null, and does not call it yet. A manager has no
    /// parent.
    explicit DatabaseConfigurationManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    virtual ~DatabaseConfigurationManager();

    DatabaseConfigurationManager(const DatabaseConfigurationManager&) = delete;
    DatabaseConfigurationManager& operator=(const DatabaseConfigurationManager&) = delete;

    /// Reads properties from the XML text that ToNameValuePropertyString() writes.
    ///
    /// Each child node of the document element becomes an entry: its name is the key, and the text
    /// of its first child is the value. A later node replaces an earlier one of the same name. Text
    /// that is not XML gives an empty map. Pure: any thread may call it.
    virtual QMap<QString, QString> ToNameValuePropertyMap(QString xml) const;

    /// Writes properties as a small XML document, one element for each, in ascending order of keys.
    ///
    /// Checks and escapes nothing, because other programs know this form; so it is open to
    /// injection. A value "x]]></k><role>admin</role><k>" of the key "k" reads back as the property
    /// "role" as well. A key that is not an XML name, or a value with a control character other
    /// than tab and line feed, loses all properties of the record, and a carriage return reads back
    /// as a line feed. Call IsStorable() for what comes from outside, such as from a server. Pure:
    /// any thread may call it.
    virtual QString ToNameValuePropertyString(QMap<QString, QString> properties);

    /// True if the properties read back from the store exactly as they are.
    ///
    /// Each key must be an XML name. No value may contain "]]>", a control character other than tab
    /// and line feed, half of a surrogate pair, U+FFFE or U+FFFF. Pure, in time linear in the
    /// length: any thread may call it.
    static bool IsStorable(const QMap<QString, QString>& properties);

protected:
    /// A new query of the factory, prepared with a statement text.
    Statement _Prepare(const QString& sql) const;

    /// The properties in a column of the row.
    QMap<QString, QString> _NameValueProperties(const RowReader& row, int column) const;

    /// Creates the queries of all operations; never null.
    const std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory;
};

} // namespace sync::config
