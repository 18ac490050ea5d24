#pragma once

#include <core/SecureBytes.h>
#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

#include <QJsonValue>
#include <QSet>
#include <QString>

namespace velmioctl::bundle {

/// Replaces what would tell of a person by tokens: the same for the same text, so that it can be
/// followed through a bundle, and under a key of that bundle alone, so that nobody can try names.
class Redactor
{
public:
    explicit Redactor(bool keepPaths);

    QString name(const QString& text) const;
    /// Its components keep their places.
    QString path(const QString& text) const;
    QString url(const QString& text) const;
    QString identifier(const QByteArray& bytes) const;

    /// A message: only words that this program uses itself and numbers stay, and what stands in
    /// quotes becomes a name or path.
    QString message(const QString& text) const;

    /// A value of a column; undefined for one that is to stay out.
    QJsonValue value(const exchange::Value& value, Disclosure disclosure) const;

private:
    QJsonValue textValue(const QByteArray& text, Disclosure disclosure) const;
    QString words(const QString& text) const;

    const bool keepPaths;
    const sync::core::crypto::SecureBytes key;
    QSet<QString> vocabulary; // lower case
};

} // namespace velmioctl::bundle
