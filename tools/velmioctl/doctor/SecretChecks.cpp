#include <velmioctl/doctor/Checks.h>

#include <config/PasswordContexts.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/doctor/Finding.h>
#include <velmioctl/store/StoredPassword.h>

using namespace Qt::StringLiterals;

namespace velmioctl::doctor {

namespace {

const Check KeyMissing{
    u"secrets.key-missing"_s, Severity::Error, u"passwords without their key"_s,
    u"The client cannot sign in with them."_s,
    u"Restore the key from a backup ('velmioctl secrets where' shows its place), or store the "
    u"passwords again: 'velmioctl signin password {id}'."_s};
const Check PasswordUnreadable{
    u"signin.password-unreadable"_s, Severity::Error, u"passwords that cannot be decrypted"_s,
    u"The client cannot sign in with them."_s,
    u"Store them again: 'velmioctl signin password {id}'."_s};
const Check PasswordMoved{
    u"signin.password-moved"_s, Severity::Error,
    u"passwords that do not belong to the sign-in or server where they are"_s,
    u"The client cannot sign in with them. Somebody has changed the database without the client, "
    u"or a copy of it was put in its place."_s,
    u"Check the user and the server ('velmioctl signin show {id}', 'velmioctl server list') before "
    u"you store them again: 'velmioctl signin password {id}'. If you made the change yourself, "
    u"'velmioctl secrets rekey --accept-moved' keeps them."_s};

// Why no key is available; empty if one is.
QString keyProblem(const PasswordReader& reader)
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
    return {KeyMissing, PasswordUnreadable, PasswordMoved};
}

void checkSecrets(sync::interf::factory::IDatabaseFactory& database, const Found& found)
{
    PasswordReader reader;
    std::vector<Row> withoutKey;
    std::vector<Row> unreadable;
    std::vector<Row> moved;
    CheckQuery query(
        database, u"SELECT id, coalesce(userName, '') || ' on ' || coalesce(domain, ''),"
                  u" encryptedPassword, domain, userName, serverId"
                  u" FROM AuthenticationConfiguration ORDER BY id"_s);
    const sync::config::PasswordContexts contexts(database);
    while (query.next()) {
        const StoredPassword password = reader.read(
            query.value(2),
            contexts.of(query.text(3), query.text(4), static_cast<int>(query.number(5))));
        if (!password.isUnreadable())
            continue;
        auto& rows = password.state == StoredPassword::State::NoKey ? withoutKey
                     : password.isDisplaced()                       ? moved
                                                                    : unreadable;
        rows.push_back({SignInTable, query.number(0), query.text(1), password.reason});
    }
    const QString problem = keyProblem(reader);
    for (Row& row : withoutKey) {
        row.detail = problem;
        found(KeyMissing, row);
    }
    for (const Row& row : unreadable)
        found(PasswordUnreadable, row);
    for (const Row& row : moved)
        found(PasswordMoved, row);
}

} // namespace velmioctl::doctor
