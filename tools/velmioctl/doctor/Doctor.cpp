#include <velmioctl/doctor/Doctor.h>

#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/StoreInspection.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/doctor/Checks.h>
#include <velmioctl/doctor/RecordChecks.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::database::StoreInspection;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::doctor {

namespace {

using Kind = StoreInspection::Kind;

/// Runs checks. One that cannot read is a finding and does not stop the others.
class Examination
{
public:
    Examination(const QString& path, Examiner& examiner)
        : path(path)
        , examiner(examiner)
        , found([&examiner](const Check& check, const Row& row) { examiner.found(check, row); })
    {
    }

    void run()
    {
        checkAccess(path, found);
        const StoreInspection store(path);
        checkStore(store, found);
        checkSchema(store, found);
        const auto kind = store.kind();
        const bool isOurs = kind == Kind::Ours || kind == Kind::Altered;
        if (isOurs || kind == Kind::TooNew || kind == Kind::Damaged)
            reportFiles();
        if (isOurs && store.readsWal() && isReadableWithItsSchema(store))
            guarded(u"store"_s, [this] { readStore(); });
    }

private:
    void reportFiles()
    {
        reportOpenFiles(filesOpenToOthers(path), found);
        checkOwners(path, found);
        checkKeyBeside(path, found);
    }

    void readStore()
    {
        const auto database =
            SqliteDatabaseFactory::openReadOnlyWith({.foreignSchema = true}, path);
        checkEngine(*database, found);
        // One moment, which ends before the disk is looked at: that may take long.
        const auto moment = database->GetDatabase();
        moment->transaction();
        for (const RecordCheck& check : recordChecks())
            checkRecords(check, *database);
        guarded(u"server.default-missing"_s, [&] { checkDefaultServer(*database, path, found); });
        guarded(u"signin.password-unreadable"_s, [&] { checkSecrets(*database, found); });
        moment->commit();
        guarded(u"file.gone"_s, [&] { checkDisk(*database, found); });
    }

    void checkRecords(const RecordCheck& check, IDatabaseFactory& database)
    {
        bool any = false;
        guarded(check.check.id, [&] {
            check.run(database, check.check, [&](const Check& running, const Row& row) {
                any = true;
                examiner.found(running, row);
            });
            if (!any)
                return;
            for (const Fix& fix : fixes()) {
                if (fix.check != check.check.id)
                    continue;
                if (const long long count = countOf(fix, database); count > 0)
                    examiner.fixable(fix, count);
            }
        });
    }

    template <typename Work>
    void guarded(const QString& checkId, Work work)
    {
        try {
            work();
        } catch (const ReadFailure& error) {
            reportFailedCheck(checkId, error.text(), found);
        } catch (const DatabaseError& error) {
            reportFailedCheck(checkId, error.text(), found);
        }
    }

    const QString path;
    Examiner& examiner;
    const Found found;
};

// check -> how many errors it finds
std::map<QString, long long> countFindings(WatchedDatabase& database)
{
    std::map<QString, long long> counts;
    try {
        for (const RecordCheck& check : recordChecks()) {
            if (check.check.severity != Severity::Error)
                continue;
            check.run(database, check.check, [&counts](const Check& running, const Row&) {
                ++counts[running.id];
            });
        }
    } catch (const ReadFailure&) {
        // database.check() throws with the cause.
    }
    database.check();
    return counts;
}

} // namespace

std::vector<Check> allChecks()
{
    std::vector<Check> all = storeChecks();
    for (const RecordCheck& check : recordChecks())
        all.push_back(check.check);
    for (auto* const more : {fileChecks, secretChecks, diskChecks}) {
        for (Check& check : more())
            all.push_back(std::move(check));
    }
    return all;
}

bool isReadableWithItsSchema(const StoreInspection& store)
{
    const auto differences = store.schemaDifferences();
    return std::none_of(differences.begin(), differences.end(), [](const auto& difference) {
        return difference.canAct && difference.repair.isEmpty();
    });
}

void examine(const QString& path, Examiner& examiner)
{
    Examination(path, examiner).run();
}

std::vector<std::pair<const Fix*, long long>> repair(
    Session& session, const QStringList& schemaRepairs)
{
    WatchedDatabase& database = session.writableDatabase();
    Transaction transaction(database);
    for (const QString& statement : schemaRepairs)
        database.change(statement, {});
    const auto before = countFindings(database);
    std::vector<std::pair<const Fix*, long long>> repaired;
    for (const Fix& fix : fixes()) {
        if (const long long count = apply(fix, database); count > 0)
            repaired.emplace_back(&fix, count);
    }
    for (const auto& [check, count] : countFindings(database)) {
        const auto earlier = before.find(check);
        if (count > (earlier == before.end() ? 0 : earlier->second)) {
            throw CommandError(
                ExitCode::OtherError, u"Nothing was changed: the fixes would have led to new "
                                      u"findings of %1. Repair what was "
                                      u"found step by step, as the remedies say."_s.arg(check));
        }
    }
    transaction.commit();
    return repaired;
}

} // namespace velmioctl::doctor
