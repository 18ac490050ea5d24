#include <config/DatabaseConfigurationManager.h>

#include <config/statement/RowReader.h>
#include <config/statement/Statement.h>
#include <config/xml/NameValueXml.h>
#include <interf/IDatabaseFactory.h>

namespace sync::config {

DatabaseConfigurationManager::DatabaseConfigurationManager(
    std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory)
    : databaseFactory(std::move(databaseFactory))
{
}

DatabaseConfigurationManager::~DatabaseConfigurationManager() = default;

QMap<QString, QString> DatabaseConfigurationManager::ToNameValuePropertyMap(QString xml) const
{
    return readNameValueXml(xml);
}

QString DatabaseConfigurationManager::ToNameValuePropertyString(QMap<QString, QString> properties)
{
    return writeNameValueXml(properties);
}

bool DatabaseConfigurationManager::IsStorable(const QMap<QString, QString>& properties)
{
    return isStorable(properties);
}

Statement DatabaseConfigurationManager::_Prepare(const QString& sql) const
{
    return {databaseFactory->CreateQuery(), sql};
}

QMap<QString, QString> DatabaseConfigurationManager::_NameValueProperties(
    const RowReader& row, int column) const
{
    const bool none = row.holds(column, emptyNameValueXml());
    return ToNameValuePropertyMap(none ? emptyNameValueXml() : row.text(column));
}

} // namespace sync::config
