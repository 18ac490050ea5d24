#pragma once

#include <core/SecureBytes.h>
#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

#include <QJsonValue>
#include <QSet>
#include <QString>

namespace velmioctl::bundle {

/// Replaces personal data by tokens. The same text has the same token within a bundle, so that it
/// can be followed, and each bundle has its own key, so that nobody can guess names.
class Redactor
{
public:
    explicit Redactor(bool keepPaths);

    /// Without paths, and with a key of at least 16 bytes: the same text has the same token
    /// wherever the key is the same.
    explicit Redactor(sync::core::crypto::SecureBytes key);

    /// A token even with keepPaths if it has a password or query of a URL in it.
    QString name(const QString& text) const;
    /// Its components keep their places.
    QString path(const QString& text) const;
    QString url(const QString& text) const;
    QString identifier(const QByteArray& bytes) const;

    /// A message: only numbers and words of this program stay, and text in quotes is treated as a
    /// name or path.
    QString message(const QString& text) const;

    /// A value of a column; undefined if it must not be shown.
    QJsonValue value(const exchange::Value& value, Disclosure disclosure) const;

private:
    QJsonValue textValue(const QByteArray& text, Disclosure disclosure) const;
    QString words(const QString& text) const;

    const bool keepPaths;
    const sync::core::crypto::SecureBytes key;
    QSet<QString> vocabulary; // lower case
};

} // namespace velmioctl::bundle
