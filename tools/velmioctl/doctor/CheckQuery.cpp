#include <velmioctl/doctor/CheckQuery.h>

namespace velmioctl::doctor {

CheckQuery::CheckQuery(
    sync::interf::factory::IDatabaseFactory& database, const QString& sql,
    std::initializer_list<Binding> bindings)
    : query(database.CreateQuery())
{
    query->setForwardOnly(true);
    query->prepare(sql);
    for (const auto& [placeholder, value] : bindings)
        query->bindValue(placeholder, value);
    if (!query->exec())
        throw ReadFailure(query->lastError());
}

bool CheckQuery::next()
{
    if (query->next())
        return true;
    if (const QString error = query->lastError(); !error.isEmpty())
        throw ReadFailure(error);
    return false;
}

} // namespace velmioctl::doctor
