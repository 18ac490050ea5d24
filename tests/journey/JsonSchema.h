#pragma once

#include <QJsonObject>
#include <QStringList>

/// A JSON Schema, of which it knows the keywords that ours uses: another one is a violation, so
/// that nothing is passed over.
///
/// Stricter than the standard: a key that the schema does not name is a violation as well.
class JsonSchema
{
public:
    /// An empty schema when the file cannot be read.
    explicit JsonSchema(const QString& path);

    QJsonObject root() const { return document; }

    /// What is wrong with a value for the schema of a property, with the places in the value.
    QStringList violations(const QString& property, const QJsonValue& value) const;

private:
    QStringList violations(
        const QJsonObject& schema, const QJsonValue& value, const QString& place) const;
    QStringList inObject(
        const QJsonObject& schema, const QJsonObject& value, const QString& place) const;
    QJsonObject resolved(const QJsonObject& schema) const;

    QJsonObject document;
};
