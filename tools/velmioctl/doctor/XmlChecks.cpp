#include <velmioctl/doctor/RecordChecks.h>

#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/store/StoredXml.h>

using namespace Qt::StringLiterals;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::doctor {

namespace {

void checkNesting(IDatabaseFactory& database, const Check& check, const Found& found)
{
    for (const TableShape& table : tableShapes()) {
        const QString name = QString::fromLatin1(table.name);
        for (const Column& column : table.columns) {
            if (!holdsXml(column))
                continue;
            // Most records have no properties: SQLite passes over those faster.
            CheckQuery query(
                database,
                u"SELECT id, %1, %2 FROM %3 WHERE %2 LIKE '%<%<%<%>%'"
                u" AND %2 <> '<!DOCTYPE NameValueXml>' || char(10) || '<NameValueXml/>' || char(10)"_s
                    .arg(
                        QString::fromLatin1(table.nameColumn()->name),
                        QString::fromLatin1(column.name), name));
            while (query.next()) {
                if (isNestedTooDeeply(query.text(2)))
                    found(
                        check,
                        {name, query.number(0), query.text(1), QString::fromLatin1(column.name)});
            }
        }
    }
}

} // namespace

std::vector<RecordCheck> xmlChecks()
{
    return {
        {{u"record.xml-nested"_s, Severity::Warning,
          u"properties or links with elements inside of them"_s,
          u"No client writes such, so they came from outside, perhaps to forge a property or to "
          u"slow clients down. Clients read only the start of them."_s,
          u"Compare the record with the server. What sets a property of a record, such as "
          u"'velmioctl file set {id} --property KEY=VALUE', writes all of its properties again."_s},
         checkNesting},
    };
}

} // namespace velmioctl::doctor
