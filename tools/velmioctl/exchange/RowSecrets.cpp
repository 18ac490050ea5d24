#include <velmioctl/exchange/RowSecrets.h>

#include <core/Crypto.h>
#include <velmioctl/exchange/JsonReader.h>

#include <QBuffer>
#include <QtEndian>

namespace velmioctl::exchange {

namespace {

// The first byte of a secret: a password in UTF-16, a sign-in without one, or a value as JSON.
constexpr char PasswordMark = 'p';
constexpr char NoPasswordMark = 'n';
constexpr char ValueMark = 'v';

// A secret that was moved within an export cannot be decrypted.
QByteArray placeOf(const TableShape& table, const Column& column, qint64 id)
{
    return table.name + '.' + column.name + '.' + QByteArray::number(id);
}

QByteArray utf16(const QString& text)
{
    QByteArray bytes(text.size() * 2, '\0');
    qToLittleEndian<char16_t>(text.utf16(), text.size(), bytes.data());
    return bytes;
}

QString fromUtf16(const QByteArray& bytes)
{
    QString text(bytes.size() / 2, Qt::Uninitialized);
    qFromLittleEndian<char16_t>(bytes.constData(), text.size(), text.data());
    return text;
}

// Only bytes can be an encrypted password.
StoredPassword passwordIn(PasswordReader& reader, const Value& value)
{
    const auto* const blob = std::get_if<Blob>(&value);
    return blob ? reader.read(blob->bytes)
                : StoredPassword{.state = StoredPassword::State::Damaged};
}

bool isPasswordColumn(const Column& column)
{
    return column.name == "encryptedPassword";
}

} // namespace

RowSecrets::RowSecrets(SecretBox box)
    : box(std::move(box))
{
}

void RowSecrets::seal(const TableShape& table, Row& row)
{
    for (size_t at = 0; at < table.columns.size(); ++at) {
        const Column& column = table.columns[at];
        Value& value = row.values[at];
        if (!column.isSecret() || std::holds_alternative<Null>(value))
            continue;
        const QByteArray bytes =
            isPasswordColumn(column) ? toBytes(value) : ValueMark + toJson(value);
        value = Sealed{box.seal(bytes, placeOf(table, column, row.id))};
    }
}

bool RowSecrets::unseal(const TableShape& table, Row& row, const Row* stored, Purpose purpose)
{
    for (size_t at = 0; at < table.columns.size(); ++at) {
        Value& value = row.values[at];
        const auto* const sealed = std::get_if<Sealed>(&value);
        if (!sealed)
            continue;
        const auto bytes = box.unseal(sealed->bytes, placeOf(table, table.columns[at], row.id));
        if (!bytes || bytes->isEmpty())
            return false;
        value = fromBytes(*bytes, value, stored ? stored->values[at] : Null(), purpose);
    }
    return true;
}

QByteArray RowSecrets::toBytes(const Value& stored)
{
    const StoredPassword password = passwordIn(reader, stored);
    if (password.state == StoredPassword::State::Ok)
        return PasswordMark + utf16(password.password);
    if (password.state == StoredPassword::State::None)
        return QByteArray(1, NoPasswordMark);
    ++unreadablePasswords;
    return ValueMark + toJson(stored);
}

Value RowSecrets::fromBytes(
    const QByteArray& bytes, const Value& sealed, const Value& stored, Purpose purpose)
{
    if (bytes.front() == ValueMark) {
        QByteArray json = bytes.mid(1);
        QBuffer buffer(&json);
        buffer.open(QIODevice::ReadOnly);
        return JsonReader(buffer, {}).readValue();
    }
    const bool hasPassword = bytes.front() == PasswordMark;
    const QString password = hasPassword ? fromUtf16(bytes.mid(1)) : QString();
    const StoredPassword present = passwordIn(reader, stored);
    const auto wanted = hasPassword ? StoredPassword::State::Ok : StoredPassword::State::None;
    if (present.state == wanted && present.password == password)
        return stored;
    if (purpose == Purpose::Compare)
        return sealed;
    return Blob{sync::core::crypto::Encrypt(password).toByteArray()};
}

bool isSamePassword(PasswordReader& reader, const Value& left, const Value& right)
{
    const StoredPassword first = passwordIn(reader, left);
    const StoredPassword second = passwordIn(reader, right);
    return !first.isUnreadable() && first.state == second.state &&
           first.password == second.password;
}

} // namespace velmioctl::exchange
