// A host's own connection, which needs only the interfaces.

#include <interf/IQSqlDatabaseWrapper.h>

namespace {

class NoTransactions : public sync::interf::IQSqlDatabaseWrapper
{
public:
    bool transaction() override { return false; }
    bool commit() override { return false; }
    bool rollback() override { return false; }
};

} // namespace

int main()
{
    NoTransactions database;
    return database.transaction() ? 1 : 0;
}
