#include <velmioctl/records/PropertyOptions.h>

#include <config/DatabaseConfigurationManager.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>

using namespace Qt::StringLiterals;
using sync::config::DatabaseConfigurationManager;

namespace velmioctl {

void PropertyOptions::addSetTo(Command& command)
{
    command
        .addOption("--property", assignments, "Set a further property; may be given several times")
        ->typeName("KEY=VALUE")
        ->repeatable();
}

void PropertyOptions::addUnsetTo(Command& command)
{
    command
        .addOption(
            "--unset-property", removals, "Remove a further property; may be given several times")
        ->typeName("KEY")
        ->repeatable();
}

QMap<QString, QString> PropertyOptions::applied(
    QMap<QString, QString> properties, DatabaseConfigurationManager& manager) const
{
    for (const std::string& removal : removals)
        properties.remove(QString::fromStdString(removal));

    for (const std::string& assignment : assignments) {
        const QString text = QString::fromStdString(assignment);
        const qsizetype equals = text.indexOf(u'=');
        if (equals < 1) {
            throw CommandError(
                ExitCode::Usage,
                u"The property %1 reads wrong: write KEY=VALUE."_s.arg(quoted(text)));
        }
        const QString key = text.left(equals);
        const QMap<QString, QString> one{{key, text.mid(equals + 1)}};
        // The manager checks nothing, so what it cannot read back is found out here.
        if (manager.ToNameValuePropertyMap(manager.ToNameValuePropertyString(one)) != one) {
            throw CommandError(
                ExitCode::Usage,
                u"The property %1 cannot be stored: its key must be an XML name such as "
                u"FeatureName, and its value free of control characters and \"]]>\"."_s.arg(
                    quoted(text)));
        }
        properties.insert(key, one.first());
    }
    return properties;
}

} // namespace velmioctl
