#include <velmioctl/tree/Commands.h>

#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Names.h>
#include <velmioctl/store/Records.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/tree/Explanation.h>
#include <velmioctl/tree/IgnoreFile.h>

#include <QHash>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;
using sync::config::ScheduleEntry;

namespace velmioctl {

namespace {

const QString None = u"none"_s;

// In the order of PathKind.
const QStringList KindWords{u"missing"_s, u"file"_s,  u"folder"_s,
                            u"link"_s,    u"other"_s, u"unreadable"_s};

QJsonValue referenceJson(const Explanation::Reference& reference)
{
    if (reference.id <= 0)
        return {};
    return QJsonObject{
        {u"id"_s, reference.id}, {u"exists"_s, reference.exists}, {u"name"_s, reference.name}};
}

QJsonValue jsonOrNull(const FolderConfiguration& folder)
{
    return folder.getId() == -1 ? QJsonValue() : QJsonValue(toJson(folder));
}

QJsonValue jsonOrNull(const std::optional<ScheduleEntry>& schedule)
{
    return schedule ? QJsonValue(toJson(*schedule)) : QJsonValue();
}

QJsonObject explanationJson(const Explanation& all)
{
    QJsonArray reasons;
    for (const auto& reason : all.reasons) {
        reasons.append(QJsonObject{
            {u"id"_s, reason.id},
            {u"text"_s, reason.text},
            {u"remedy"_s, reason.remedy},
            {u"since"_s, toJson(reason.since)}});
    }
    QJsonArray files;
    for (const auto& file : all.files)
        files.append(QJsonObject{{u"id"_s, file.id}, {u"type"_s, file.type}});
    QJsonArray overlaps;
    for (const auto& overlap : all.overlaps) {
        overlaps.append(QJsonObject{
            {u"kind"_s, overlap.kind}, {u"id"_s, overlap.id}, {u"path"_s, overlap.path}});
    }
    return {
        {u"path"_s, all.path},
        {u"onDisk"_s, KindWords.at(int(all.kind))},
        {u"inside"_s, all.inside},
        {u"registered"_s, all.registered()},
        {u"reasons"_s, reasons},
        {u"files"_s, files},
        {u"root"_s, jsonOrNull(all.root)},
        {u"folder"_s, jsonOrNull(all.folder)},
        {u"serverPath"_s, all.serverPath},
        {u"signIn"_s, referenceJson(all.signIn)},
        {u"server"_s, referenceJson(all.server)},
        {u"product"_s, referenceJson(all.product)},
        {u"schedule"_s, jsonOrNull(all.schedule)},
        {u"overlaps"_s, overlaps},
    };
}

QString numbered(int id, const QString& text)
{
    return u"%1  "_s.arg(id) + text;
}

QString shown(const FolderConfiguration& folder)
{
    return folder.getId() == -1 ? None : numbered(folder.getId(), folder.getClientPath());
}

QString shown(const Explanation::Reference& reference)
{
    if (reference.id <= 0)
        return None;
    return numbered(reference.id, reference.exists ? reference.name : u"does not exist"_s);
}

QString shown(const std::optional<ScheduleEntry>& schedule)
{
    if (!schedule)
        return None;
    const int folder = schedule->getFolderConfigId();
    const QString owner = folder == 0 ? u"the default"_s : u"of folder %1"_s.arg(folder);
    return numbered(schedule->getId(), owner + u", interval %1"_s.arg(schedule->getSyncInterval()));
}

QString recordOf(const Explanation& all)
{
    QStringList records;
    if (all.folderIsPath)
        records += u"folder %1"_s.arg(all.folder.getId());
    for (const auto& file : all.files)
        records += u"%1 file %2"_s.arg(fileTypeName(file.type), QString::number(file.id));
    return records.isEmpty() ? None : records.join(u", "_s);
}

QString shown(const Explanation::Overlap& overlap)
{
    static const QHash<QString, QString> remarks{
        {u"around"_s, u"a root folder that contains it"_s},
        {u"below"_s, u"a root folder in it"_s},
        {u"server"_s, u"the server path of another root folder"_s},
        {u"spelling"_s, u"the same except for case or normal form"_s}};
    return numbered(overlap.id, overlap.path) + u", "_s + remarks.value(overlap.kind);
}

QString sinceOf(const Explanation::Reason& reason)
{
    return reason.since.isValid()
               ? u" Its last operation was at %1."_s.arg(reason.since.toString(Qt::ISODate))
               : QString();
}

void print(Output& output, const Explanation& all)
{
    const int columns = output.answerTerminal().columns;
    QString answer = all.inside ? u"in:"_s : u"out:"_s;
    for (const auto& reason : all.reasons)
        answer += u' ' + reason.text + sinceOf(reason) +
                  (reason.remedy.isEmpty() ? QString() : u' ' + reason.remedy);
    output.printText(escapeControls(all.path));
    output.printText(wrapped(answer, columns) + u'\n');

    FieldList fields;
    fields.add(u"on disk"_s, KindWords.at(int(all.kind)));
    fields.add(u"record"_s, recordOf(all));
    fields.add(u"root"_s, shown(all.root));
    fields.add(u"folder"_s, shown(all.folder));
    fields.add(u"server path"_s, all.serverPath.isEmpty() ? None : all.serverPath);
    fields.add(u"sign-in"_s, shown(all.signIn));
    fields.add(u"server"_s, shown(all.server));
    fields.add(u"product"_s, shown(all.product));
    fields.add(u"schedule"_s, shown(all.schedule));
    if (all.overlaps.isEmpty())
        fields.add(u"overlaps"_s, None);
    for (const auto& overlap : all.overlaps)
        fields.add(u"overlaps"_s, shown(overlap));
    output.print(fields);
}

void explain(Session& session, const std::string& path, const IgnoreFile& ignored)
{
    session.requireFile();
    const Explanation all = explain(session, absolutePath(path), ignored);
    if (session.output.json())
        session.output.print(explanationJson(all));
    else
        print(session.output, all);
    session.exitCode = all.inside ? ExitCode::Ok : ExitCode::Findings;
}

} // namespace

void addExplainCommand(Command& app, Session& session)
{
    auto* const command = app.addSubcommand(
        "explain", "Show what applies to a path, and why it is synchronised or not");
    const auto path = std::make_shared<std::string>();
    command->addOption("PATH", *path, "A file or folder, existing or not")
        ->required()
        ->offersFiles();
    command->example("velmioctl explain Work/Plans/plan.txt");
    const auto ignored = std::make_shared<IgnoreFile>();
    ignored->addOption(*command);
    command->callback([&session, path, ignored] { explain(session, *path, *ignored); });
}

} // namespace velmioctl
