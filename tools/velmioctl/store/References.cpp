#include <velmioctl/store/References.h>

#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

constexpr int MostNames = 3;

} // namespace

void References::find(WatchedDatabase& database, const QString& kind, const QString& sql, int id)
{
    const auto query = database.select(sql, {{u":id"_s, id}});
    QStringList names;
    int more = 0;
    while (query->next()) {
        if (names.size() == MostNames)
            ++more;
        else
            names +=
                u"%1 (%2)"_s.arg(query->value(0).toString(), quoted(query->value(1).toString()));
    }
    database.check();
    if (names.isEmpty())
        return;
    QString text = kind + u' ' + names.join(u", "_s);
    if (more > 0)
        text += u" and %1 more"_s.arg(more);
    kinds += text;
}

void References::confirmRemoval(Session& session, bool yes, const QString& question) const
{
    if (kinds.isEmpty()) {
        session.confirm(yes, question);
        return;
    }
    const QString staying = u"What refers to it stays: %1."_s.arg(kinds.join(u"; "_s));
    if (yes)
        session.output.warning(staying);
    session.confirm(yes, question + u' ' + staying);
}

} // namespace velmioctl
