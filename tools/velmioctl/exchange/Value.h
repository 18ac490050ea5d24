#pragma once

#include <QByteArray>

#include <variant>
#include <vector>

namespace velmioctl::exchange {

struct Null
{
    bool operator==(const Null&) const = default;
};

/// The bytes of a text, which may not be valid UTF-8.
struct Text
{
    QByteArray bytes;
    bool operator==(const Text&) const = default;
};

struct Blob
{
    QByteArray bytes;
    bool operator==(const Blob&) const = default;
};

/// A secret, encrypted with the passphrase of an export.
struct Sealed
{
    QByteArray bytes;
    bool operator==(const Sealed&) const = default;
};

/// A secret that an export does not hold.
struct LeftOut
{
    bool operator==(const LeftOut&) const = default;
};

/// What is shown of a value with credentials in it, and the value, encrypted like a secret; empty
/// if the export has no secrets.
struct Masked
{
    QByteArray shown = {};
    QByteArray sealed = {};
    bool operator==(const Masked&) const = default;
};

/// A value as SQLite stores it, or what an export has instead.
using Value = std::variant<Null, qint64, double, Text, Blob, Sealed, LeftOut, Masked>;

/// True if the kind and every bit are equal.
bool isSame(const Value& left, const Value& right);

/// A value as JSON on one line; empty for a secret that was left out.
QByteArray toJson(const Value& value);

/// A text as a JSON string; it must be valid UTF-8.
QByteArray quotedJson(const QByteArray& text);

/// A row of a table.
struct Row
{
    qint64 id = 0;
    qint64 line = 0;           ///< Where it begins in an export; 0 for a row of a database.
    std::vector<Value> values; ///< In the order of the table's columns.
};

} // namespace velmioctl::exchange
