#include <velmioctl/store/Credentials.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// A host with its port and path, of what stands after the "//" of a URL.
QString withoutUserAndQuery(const QString& rest)
{
    static const QRegularExpression query(u"[?#]"_s);
    static const QRegularExpression path(uR"([/\\])"_s);
    static const QRegularExpression port(uR"(:\d*\z|\A\[[^\]]*\]\z)"_s);
    QString place = rest.section(query, 0, 0);
    const QString authority = place.section(path, 0, 0);
    if (authority.contains(u'@'))
        return place.mid(authority.lastIndexOf(u'@') + 1);
    // A password may have a "/", "?" or "#" that nobody has encoded.
    if (authority.contains(u':') && !port.match(authority).hasMatch())
        return {};
    return place;
}

} // namespace

QString withoutCredentials(const QString& text)
{
    static const QRegularExpression url(uR"(([A-Za-z][A-Za-z0-9+.-]*://)([^\s"'<>]*))"_s);
    if (!text.contains(u"://"_s))
        return text;
    QString result;
    qsizetype end = 0;
    for (auto urls = url.globalMatch(text); urls.hasNext();) {
        const auto found = urls.next();
        result += QStringView(text).mid(end, found.capturedStart(2) - end);
        result += withoutUserAndQuery(found.captured(2));
        end = found.capturedEnd();
    }
    return result + text.mid(end);
}

QString urlWithoutCredentials(const QString& text)
{
    static const QRegularExpression url(
        uR"(\A(\s*(?:[A-Za-z][A-Za-z0-9+.-]*:[/\\]+)?)(.*)\z)"_s,
        QRegularExpression::DotMatchesEverythingOption);
    const auto found = url.match(text);
    return found.captured(1) + withoutUserAndQuery(found.captured(2));
}

} // namespace velmioctl
