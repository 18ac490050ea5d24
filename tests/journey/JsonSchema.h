#pragma once

#include <QJsonObject>
#include <QStringList>

/// A JSON Schema. It knows the keywords that ours uses; any other keyword is a violation, so that
/// none is ignored.
///
/// Stricter than the standard: a key that the schema does not name is a violation as well.
class JsonSchema
{
public:
    /// An empty schema if the file cannot be read.
    explicit JsonSchema(const QString& path);

    QJsonObject root() const { return document; }

    /// The violations of a value against the schema of a property, with their places in the value.
    QStringList violations(const QString& property, const QJsonValue& value) const;

private:
    QStringList violations(
        const QJsonObject& schema, const QJsonValue& value, const QString& place) const;
    QStringList inObject(
        const QJsonObject& schema, const QJsonObject& value, const QString& place) const;
    QJsonObject resolved(const QJsonObject& schema) const;

    QJsonObject document;
};
