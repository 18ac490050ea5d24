#include <velmioctl/store/References.h>

#include <config/FileConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

constexpr int MostNames = 3;

// "folders 3 ("/home/kim/Work"), 4 ("/home/kim/Plans") and 2 more"; empty for none.
QString holdersIn(WatchedDatabase& database, const TableShape& table, const Column& column, int id)
{
    const auto query = database.select(
        u"SELECT id, %1 FROM %2 WHERE %3 = :id"_s.arg(
            QString::fromLatin1(table.nameColumn()->name), QString::fromLatin1(table.name),
            QString::fromLatin1(column.name)),
        {{u":id"_s, id}});
    QStringList names;
    int more = 0;
    while (query->next()) {
        const QString name = quoted(query->value(1).toString());
        if (names.size() == MostNames)
            ++more;
        else
            names += u"%1 (%2)"_s.arg(query->value(0).toString(), name);
    }
    database.check();
    if (names.isEmpty())
        return {};
    const QString text = QString::fromLatin1(table.plural) + u' ' + names.join(u", "_s);
    return more == 0 ? text : text + u" and %1 more"_s.arg(more);
}

} // namespace

void confirmRemoval(
    Session& session, const QByteArray& target, int id, bool yes, const QString& question)
{
    QStringList holders;
    for (const TableShape& table : tableShapes()) {
        for (const Column& column : table.columns) {
            if (column.target == target)
                holders += holdersIn(session.database(), table, column, id);
        }
    }
    holders.removeAll(QString());
    if (holders.isEmpty()) {
        session.confirm(yes, question);
    } else {
        const QString staying =
            u"These records refer to it and stay: %1."_s.arg(holders.join(u"; "_s));
        if (yes)
            session.output.warning(staying);
        session.confirm(yes, question + u' ' + staying);
    }
    session.backUp(sync::database::DatabaseBackups::Reason::Removal);
}

void printRemoved(Session& session, int id, const QString& named)
{
    if (session.output.json())
        session.output.print(QJsonObject{{u"id"_s, id}, {u"removed"_s, true}});
    else
        session.output.printText(u"Removed the %1."_s.arg(named));
}

QStringList filesDeletedWith(Session& session, int fileId)
{
    QStringList paths;
    const auto base = session.files().GetBaseFileConfigurationByParentFileId(fileId);
    session.database().check();
    if (base.getId() != -1)
        paths += base.getClientPath();
    const auto generated = session.files().GetGeneratedFileConfigurationsByParentFileId(fileId);
    session.database().check();
    for (const auto& file : generated)
        paths += file.getClientPath();
    paths.removeIf([](const QString& path) { return path.isEmpty() || !QFileInfo::exists(path); });
    return paths;
}

} // namespace velmioctl
