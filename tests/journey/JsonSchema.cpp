#include "JsonSchema.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QStringList KnownKeywords{
    u"$ref"_s,  u"additionalProperties"_s, u"anyOf"_s,    u"description"_s, u"enum"_s,
    u"items"_s, u"properties"_s,           u"required"_s, u"type"_s};

bool hasType(const QJsonValue& value, const QString& type)
{
    switch (value.type()) {
    case QJsonValue::Null:
        return type == u"null";
    case QJsonValue::Bool:
        return type == u"boolean";
    case QJsonValue::Double:
        return type == u"number" ||
               (type == u"integer" && value.toDouble() == double(value.toInteger()));
    case QJsonValue::String:
        return type == u"string";
    case QJsonValue::Array:
        return type == u"array";
    case QJsonValue::Object:
        return type == u"object";
    default:
        return false;
    }
}

// One type, or a list of them.
bool hasAType(const QJsonValue& value, const QJsonValue& types)
{
    if (types.isString())
        return hasType(value, types.toString());
    const QJsonArray all = types.toArray();
    return std::any_of(all.begin(), all.end(), [&value](const QJsonValue& type) {
        return hasType(value, type.toString());
    });
}

} // namespace

JsonSchema::JsonSchema(const QString& path)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        document = QJsonDocument::fromJson(file.readAll()).object();
}

QStringList JsonSchema::violations(const QString& property, const QJsonValue& value) const
{
    const QJsonObject schema = document[u"properties"_s].toObject()[property].toObject();
    if (schema.isEmpty())
        return {property + u": has no schema"_s};
    return violations(schema, value, property);
}

QStringList JsonSchema::violations(
    const QJsonObject& unresolved, const QJsonValue& value, const QString& place) const
{
    const QJsonObject schema = resolved(unresolved);
    for (const QString& keyword : schema.keys()) {
        if (!KnownKeywords.contains(keyword))
            return {place + u": unknown keyword "_s + keyword};
    }
    if (schema.contains(u"anyOf"_s)) {
        QStringList all;
        for (const QJsonValue& choice : schema[u"anyOf"_s].toArray()) {
            const QStringList found = violations(choice.toObject(), value, place);
            if (found.isEmpty())
                return {};
            all += found;
        }
        return all;
    }
    if (!hasAType(value, schema[u"type"_s]))
        return {place + u": is of another type"_s};
    if (schema.contains(u"enum"_s) && !schema[u"enum"_s].toArray().contains(value))
        return {place + u": is another word"_s};
    if (value.isObject())
        return inObject(schema, value.toObject(), place);
    QStringList all;
    for (const QJsonValue& item : value.toArray())
        all += violations(schema[u"items"_s].toObject(), item, place + u"[]"_s);
    return all;
}

QStringList JsonSchema::inObject(
    const QJsonObject& schema, const QJsonObject& value, const QString& place) const
{
    QStringList all;
    for (const QJsonValue& key : schema[u"required"_s].toArray()) {
        if (!value.contains(key.toString()))
            all += place + u": lacks "_s + key.toString();
    }
    const QJsonObject properties = schema[u"properties"_s].toObject();
    for (const QString& key : value.keys()) {
        const QJsonValue known =
            properties.contains(key) ? properties[key] : schema[u"additionalProperties"_s];
        const QString inside = place + u'.' + key;
        all += known.isObject() ? violations(known.toObject(), value[key], inside)
                                : QStringList{inside + u": is not in the schema"_s};
    }
    return all;
}

QJsonObject JsonSchema::resolved(const QJsonObject& schema) const
{
    const QString reference = schema[u"$ref"_s].toString();
    if (reference.isEmpty())
        return schema;
    return document[u"$defs"_s].toObject()[reference.section(u'/', -1)].toObject();
}
