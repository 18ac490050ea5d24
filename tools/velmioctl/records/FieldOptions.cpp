#include <velmioctl/records/FieldOptions.h>

#include <config/DatabaseConfigurationManager.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Credentials.h>
#include <velmioctl/store/Names.h>

#include <QDateTime>
#include <QUrl>

using namespace Qt::StringLiterals;
using sync::config::DatabaseConfigurationManager;

namespace velmioctl {

namespace {

[[noreturn]] void failUsage(const QString& text)
{
    throw CommandError(ExitCode::Usage, text);
}

bool isNumber(ValueKind kind)
{
    return kind == ValueKind::Number || kind == ValueKind::NotNegative;
}

std::vector<std::string> wordsFor(ValueKind kind)
{
    switch (kind) {
    case ValueKind::Status:
        return syncStatusWords();
    case ValueKind::FolderOption:
        return folderOptionWords();
    case ValueKind::Privileges:
        return privilegeWords();
    default:
        return {};
    }
}

QString urlFrom(QString url)
{
    const QUrl parsed(url, QUrl::StrictMode);
    if (!parsed.isValid() || parsed.scheme().isEmpty() || parsed.host().isEmpty())
        failUsage(u"%1 is not a URL. Example: https://sync.example.com/dav."_s.arg(
            quoted(urlWithoutCredentials(url))));
    if (!parsed.userInfo().isEmpty()) {
        failUsage(u"The URL %1 was given with a user or password, which would be stored in clear. "
                  u"Give it without them, and store them with 'velmioctl signin add'."_s.arg(
                      quoted(urlWithoutCredentials(url))));
    }
    // As Add stores it: otherwise a server could not be found by its URLs after a change.
    if (url.endsWith(u'/'))
        url.chop(1);
    return url;
}

QString serverPathFrom(const QString& path)
{
    if (!path.startsWith(u'/'))
        failUsage(u"The server path %1 is not absolute. Begin it with \"/\"."_s.arg(quoted(path)));
    return path;
}

QDateTime localTimeFrom(const QString& text)
{
    if (text.compare(u"none"_s, Qt::CaseInsensitive) == 0)
        return {};
    QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
    // A schedule holds local clock readings: one of another zone would be stored as if it were one.
    if (!time.isValid() || time.timeSpec() != Qt::LocalTime) {
        failUsage(
            u"%1 is not a local time. Write it without a zone, as in 2026-12-31T08:30, or give none."_s
                .arg(quoted(text)));
    }
    return time;
}

QVariant valueFrom(ValueKind kind, const std::string& given)
{
    const QString text = QString::fromStdString(given);
    switch (kind) {
    case ValueKind::Url:
        return urlFrom(text);
    case ValueKind::ServerPath:
        return serverPathFrom(text);
    case ValueKind::LocalTime:
        return localTimeFrom(text);
    case ValueKind::Status:
        return syncStatusFrom(given);
    case ValueKind::FolderOption:
        return folderOptionFrom(given);
    case ValueKind::Privileges:
        return privilegesFrom(given);
    default:
        return text;
    }
}

// Another program may have stored what reads as a property, but would lose all when it is written.
void requireStorable(const QMap<QString, QString>& properties)
{
    for (auto property = properties.cbegin(); property != properties.cend(); ++property) {
        if (!DatabaseConfigurationManager::IsStorable({{property.key(), property.value()}})) {
            failUsage(
                u"Nothing was changed, because the stored property %1 of this record cannot be "
                u"stored again. Remove it with --unset-property %1."_s.arg(quoted(property.key())));
        }
    }
}

} // namespace

FieldOptions::FieldOptions(const QByteArray& tableName)
    : table(*findTable(tableName))
{
}

void FieldOptions::addOption(Command& command, const Column& column, bool required)
{
    const FieldOption& option = column.option;
    Given& given = options.emplace_back(Given{&column});
    Option* const added = isNumber(column.kind)
                              ? command.addOption(option.name, given.number, option.text)
                              : command.addOption(option.name, given.text, option.text);
    added->typeName(option.typeName)->required(required);
    if (column.kind == ValueKind::NotNegative)
        added->notNegative();
    if (const auto words = wordsFor(column.kind); !words.empty())
        added->offersWords(words);
    else if (!column.target.isEmpty() && column.target != "FileConfiguration") // Too many.
        added->offersStored(column.target.toStdString());
}

void FieldOptions::addTo(Command& command, Purpose purpose, const QByteArray& except)
{
    bool hasProperties = false;
    for (const Column& column : table.columns) {
        if (*column.option.name != '\0' && column.name != except)
            addOption(command, column, purpose == Purpose::Add && column.option.required);
        hasProperties = hasProperties || column.kind == ValueKind::Properties;
    }
    if (!hasProperties)
        return;
    command
        .addOption("--property", assignments, "Set a further property; may be given several times")
        ->typeName("KEY=VALUE")
        ->repeatable();
    if (purpose == Purpose::Change) {
        command
            .addOption(
                "--unset-property", removals,
                "Remove a further property; may be given several times")
            ->typeName("KEY")
            ->repeatable();
    }
}

std::vector<std::pair<const Column*, QVariant>> FieldOptions::given() const
{
    std::vector<std::pair<const Column*, QVariant>> values;
    for (const Given& option : options) {
        if (option.number)
            values.emplace_back(option.column, *option.number);
        if (option.text)
            values.emplace_back(option.column, valueFrom(option.column->kind, *option.text));
    }
    return values;
}

QVariant FieldOptions::value(const QByteArray& name) const
{
    for (const auto& [column, value] : given()) {
        if (column->name == name)
            return value;
    }
    return {};
}

void FieldOptions::apply(void* record) const
{
    for (const auto& [column, value] : given())
        column->field.write(record, value);
}

QMap<QString, QString> FieldOptions::properties(QMap<QString, QString> properties) const
{
    for (const std::string& removal : removals)
        properties.remove(QString::fromStdString(removal));

    for (const std::string& assignment : assignments) {
        const QString text = QString::fromStdString(assignment);
        const qsizetype equals = text.indexOf(u'=');
        if (equals < 1)
            failUsage(u"The property %1 is not of the form KEY=VALUE."_s.arg(quoted(text)));
        const QString key = text.left(equals);
        const QString value = text.mid(equals + 1);
        if (!DatabaseConfigurationManager::IsStorable({{key, value}})) {
            failUsage(
                u"The property %1 cannot be stored. Its key must be an XML name such as "
                u"FeatureName, and its value must not contain control characters or \"]]>\"."_s.arg(
                    quoted(text)));
        }
        properties.insert(key, value);
    }
    requireStorable(properties);
    return properties;
}

} // namespace velmioctl
