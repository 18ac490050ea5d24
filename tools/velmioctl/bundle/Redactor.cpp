#include <velmioctl/bundle/Redactor.h>

#include <base/Sodium.h>
#include <velmioctl/doctor/Doctor.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/Credentials.h>

#include <QRegularExpression>
#include <QStringList>
#include <QUrl>

using namespace Qt::StringLiterals;
using sync::core::crypto::SecureBytes;
using namespace velmioctl::exchange;

namespace velmioctl::bundle {

namespace {

// The words of findings, of SQLite's messages and of errors on opening that the checks do not have.
constexpr auto OwnWords =
    u"a an and another as at away backup be but cannot cell column created damaged database "
    u"denied disk does done empty entries error exist extends file first for freelist from "
    u"full has have holds image in index is it its key keychain keyed known link list locked "
    u"malformed missing mode move names needs never new newer no not null of off on only "
    u"operation or order other out outside page permission place program read reads "
    u"referenced regular right root row schema second several should size sqlite system table "
    u"than that the there this to tree unable unknown used velmio velmioctl version versions "
    u"wal well what while with write written wrong";

SecureBytes randomKey()
{
    sync::base::initializeSodium();
    return SecureBytes::random(crypto_generichash_KEYBYTES);
}

void addWords(QSet<QString>& vocabulary, const QString& text)
{
    static const QRegularExpression separators(u"[^A-Za-z]+"_s);
    const QStringList all = text.toLower().split(separators, Qt::SkipEmptyParts);
    vocabulary.unite(QSet<QString>(all.begin(), all.end()));
}

QSet<QString> makeVocabulary()
{
    QSet<QString> vocabulary;
    addWords(vocabulary, QString::fromUtf16(OwnWords));
    for (const doctor::Check& check : doctor::allChecks())
        addWords(vocabulary, check.id + u' ' + check.title + u' ' + check.leadsTo);
    for (const TableShape& table : tableShapes()) {
        addWords(vocabulary, QString::fromLatin1(table.name));
        for (const Column& column : table.columns)
            addWords(vocabulary, QString::fromLatin1(column.name));
    }
    return vocabulary;
}

bool isTime(const QString& text)
{
    static const QRegularExpression form(
        uR"(\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d{3})?(Z|[-+]\d\d:\d\d)?\z)"_s);
    return form.match(text).hasMatch();
}

// Also without a scheme or encoded, because nothing depends on what a bundle shows of a name.
bool mayGiveAccess(const QString& name)
{
    static const QRegularExpression userOrQuery(uR"(:[^/]*@|[?#][^/]*=)"_s);
    const QString text = QUrl::fromPercentEncoding(name.toUtf8());
    return withoutCredentials(text) != text || userOrQuery.match(text).hasMatch();
}

// A longer number may be personal data.
bool isNumber(const QString& word)
{
    static const QRegularExpression form(uR"(\A\d{1,10}\z)"_s);
    return form.match(word).hasMatch();
}

} // namespace

Redactor::Redactor(bool keepPaths)
    : keepPaths(keepPaths)
    , key(randomKey())
    , vocabulary(makeVocabulary())
{
}

Redactor::Redactor(SecureBytes key)
    : keepPaths(false)
    , key(std::move(key))
    , vocabulary(makeVocabulary())
{
}

QString Redactor::name(const QString& text) const
{
    const bool isKept = keepPaths && !mayGiveAccess(text);
    return isKept || text.isEmpty() ? text : identifier(text.toUtf8());
}

QString Redactor::path(const QString& text) const
{
    if (text.contains(u"://"_s))
        return url(text);
    QStringList components = text.split(u'/');
    for (QString& component : components)
        component = name(component);
    return components.join(u'/');
}

QString Redactor::url(const QString& text) const
{
    const QUrl given(text, QUrl::StrictMode);
    static const QStringList schemes{u"http"_s, u"https"_s, u"dav"_s, u"davs"_s, u"file"_s};
    if (!given.isValid() || !schemes.contains(given.scheme()))
        return text.isEmpty() ? text : identifier(text.toUtf8());
    QString kept = given.scheme() + u"://"_s + name(given.host());
    if (given.port() != -1)
        kept += u':' + QString::number(given.port());
    QStringList components = given.path().split(u'/');
    for (QString& component : components)
        component = name(component);
    return kept + components.join(u'/');
}

QString Redactor::identifier(const QByteArray& bytes) const
{
    constexpr size_t TokenBytes = crypto_generichash_BYTES_MIN;
    constexpr qsizetype ShownDigits = 12;
    QByteArray hash(TokenBytes, '\0');
    crypto_generichash(
        reinterpret_cast<unsigned char*>(hash.data()), TokenBytes,
        reinterpret_cast<const unsigned char*>(bytes.constData()),
        static_cast<unsigned long long>(bytes.size()), key.data(), key.size());
    return u"t-"_s + QString::fromLatin1(hash.toHex().left(ShownDigits));
}

QString Redactor::message(const QString& text) const
{
    // Without halves of surrogate pairs, in which a regular expression finds no words.
    QStringList parts = QString::fromUtf8(text.toUtf8()).split(u'"');
    for (qsizetype at = 0; at < parts.size(); ++at) {
        // Every second part is in quotes, unless the last quote is missing.
        const bool isQuoted = at % 2 == 1 && at + 1 < parts.size();
        parts[at] = isQuoted ? path(parts.at(at)) : words(parts.at(at));
    }
    return parts.join(u'"');
}

QString Redactor::words(const QString& text) const
{
    // A path without quotes is one word.
    static const QRegularExpression word(uR"([^\s,.:;()'=]+)"_s);
    static const QRegularExpression humps(u"(?<=[a-z])(?=[A-Z])|[-_]"_s);
    QString result;
    qsizetype end = 0;
    for (auto matches = word.globalMatch(text); matches.hasNext();) {
        const auto match = matches.next();
        result += text.mid(end, match.capturedStart() - end);
        end = match.capturedEnd();
        const QString found = match.captured();
        const QStringList parts = found.split(humps, Qt::SkipEmptyParts);
        const bool isKnown = std::all_of(parts.begin(), parts.end(), [this](const QString& part) {
            return vocabulary.contains(part.toLower()) || isNumber(part);
        });
        result +=
            vocabulary.contains(found.toLower()) || isKnown ? found : identifier(found.toUtf8());
    }
    return result + text.mid(end);
}

QJsonValue Redactor::value(const Value& value, Disclosure disclosure) const
{
    if (disclosure == Disclosure::Denied || disclosure == Disclosure::Counted)
        return QJsonValue::Undefined;
    if (std::holds_alternative<Null>(value))
        return QJsonValue::Null;
    const auto* const number = std::get_if<qint64>(&value);
    if (number && disclosure == Disclosure::Number)
        return *number;
    const auto* const text = std::get_if<Text>(&value);
    if (text && text->bytes.isValidUtf8())
        return textValue(text->bytes, disclosure);
    return identifier(toJson(value));
}

QJsonValue Redactor::textValue(const QByteArray& bytes, Disclosure disclosure) const
{
    const QString text = QString::fromUtf8(bytes);
    switch (disclosure) {
    case Disclosure::Name:
        return name(text);
    case Disclosure::Path:
        return path(text);
    case Disclosure::Url:
        return url(text);
    case Disclosure::Time:
        if (isTime(text))
            return text;
        break;
    default:
        break;
    }
    return bytes.isEmpty() ? QString() : identifier(bytes);
}

} // namespace velmioctl::bundle
