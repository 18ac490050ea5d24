#include <velmioctl/doctor/SecretChecks.h>

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/doctor/Tables.h>
#include <velmioctl/store/StoredPassword.h>

using namespace Qt::StringLiterals;

namespace velmioctl::doctor {

namespace {

const Check KeyMissing{
    u"secrets.key-missing"_s, Severity::Error, u"passwords whose key is not there"_s,
    u"The client cannot sign in with them."_s,
    u"Bring the key back from a backup ('velmioctl secrets where' tells its place), or store the "
    u"passwords anew: 'velmioctl signin password {id}'."_s};
const Check PasswordUnreadable{
    u"signin.password-unreadable"_s, Severity::Error, u"passwords that cannot be deciphered"_s,
    u"The client cannot sign in with them."_s,
    u"Store them anew: 'velmioctl signin password {id}'."_s};

// Why no key can be had at all; empty when one can.
QString keyTrouble(const PasswordReader& reader)
{
    try {
        reader.requireKey();
        return {};
    } catch (const CommandError& error) {
        return error.text();
    }
}

} // namespace

std::vector<Check> secretChecks()
{
    return {KeyMissing, PasswordUnreadable};
}

void checkSecrets(sync::interf::factory::IDatabaseFactory& database, const Found& found)
{
    PasswordReader reader;
    std::vector<Row> withoutKey;
    std::vector<Row> unreadable;
    CheckQuery query(
        database, u"SELECT id, coalesce(userName, '') || ' on ' || coalesce(domain, ''),"
                  u" encryptedPassword FROM AuthenticationConfiguration ORDER BY id"_s);
    while (query.next()) {
        const StoredPassword password = reader.read(query.value(2));
        if (!password.isUnreadable())
            continue;
        auto& rows = password.state == StoredPassword::State::NoKey ? withoutKey : unreadable;
        rows.push_back({SignInTable, query.number(0), query.text(1), password.reason});
    }
    const QString trouble = keyTrouble(reader);
    for (Row& row : withoutKey) {
        row.detail = trouble;
        found(KeyMissing, row);
    }
    for (const Row& row : unreadable)
        found(PasswordUnreadable, row);
}

} // namespace velmioctl::doctor
