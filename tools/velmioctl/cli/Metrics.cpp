#include <velmioctl/cli/Metrics.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace velmioctl {

void Metrics::begin(QStringView name, QStringView help)
{
    current = name.toString();
    lines += u"# HELP %1 %2\n# TYPE %1 gauge\n"_s.arg(name, help);
}

void Metrics::add(Labels labels, long long value)
{
    QStringList texts;
    for (const auto& [label, text] : labels) {
        QString escaped = text;
        escaped.replace(u"\\"_s, u"\\\\"_s).replace(u"\""_s, u"\\\""_s).replace(u"\n"_s, u"\\n"_s);
        texts += QLatin1StringView(label) + u"=\""_s + escaped + u'"';
    }
    const QString set = texts.isEmpty() ? QString() : u'{' + texts.join(u',') + u'}';
    lines += u"%1%2 %3\n"_s.arg(current, set, QString::number(value));
}

void Metrics::add(QStringView name, QStringView help, long long value)
{
    begin(name, help);
    add({}, value);
}

} // namespace velmioctl
