#include <velmioctl/exchange/RowSecrets.h>

#include <core/Crypto.h>
#include <velmioctl/exchange/JsonReader.h>
#include <velmioctl/exchange/Masks.h>

#include <QBuffer>
#include <QtEndian>

#include <algorithm>

using sync::core::crypto::SecretText;
using sync::core::crypto::SecureBytes;

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

// A mark and what follows it.
SecureBytes marked(char mark, QByteArrayView content)
{
    SecureBytes bytes(static_cast<std::size_t>(content.size()) + 1);
    bytes.data()[0] = static_cast<unsigned char>(mark);
    std::copy(content.begin(), content.end(), bytes.data() + 1);
    return bytes;
}

SecureBytes passwordBytes(const SecretText& password)
{
    const QString text = password.view();
    SecureBytes bytes(static_cast<std::size_t>(text.size()) * sizeof(QChar) + 1);
    bytes.data()[0] = PasswordMark;
    qToLittleEndian<char16_t>(text.constData(), text.size(), bytes.data() + 1);
    return bytes;
}

SecretText passwordFrom(const SecureBytes& bytes)
{
    const std::size_t units = (bytes.size() - 1) / sizeof(QChar);
    SecureBytes utf16(units * sizeof(QChar));
    qFromLittleEndian<char16_t>(bytes.data() + 1, static_cast<qsizetype>(units), utf16.data());
    return SecretText(std::move(utf16));
}

// Only bytes can be an encrypted password.
StoredPassword passwordIn(PasswordReader& reader, const Value& value)
{
    const auto* const blob = std::get_if<Blob>(&value);
    return blob ? reader.read(blob->bytes)
                : StoredPassword{.state = StoredPassword::State::Damaged};
}

// Empty for a value that is not encrypted.
QByteArray sealedIn(const Value& value)
{
    if (const auto* const mask = std::get_if<Masked>(&value))
        return mask->sealed;
    const auto* const sealed = std::get_if<Sealed>(&value);
    return sealed ? sealed->bytes : QByteArray();
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
        const QByteArray place = placeOf(table, column, row.id);
        if (!column.isSecret()) {
            Value seen = masked(column, value);
            if (auto* const mask = std::get_if<Masked>(&seen)) {
                mask->sealed = sealed(marked(ValueMark, toJson(value)), place);
                value = std::move(seen);
            }
        } else if (!std::holds_alternative<Null>(value)) {
            value = Sealed{sealed(
                isPasswordColumn(column) ? toBytes(value) : marked(ValueMark, toJson(value)),
                place)};
        }
    }
}

bool RowSecrets::unseal(const TableShape& table, Row& row, const Row* stored, Purpose purpose)
{
    for (size_t at = 0; at < table.columns.size(); ++at) {
        Value& value = row.values[at];
        const QByteArray hidden = sealedIn(value);
        if (hidden.isEmpty())
            continue;
        const auto bytes = box.unseal(hidden, placeOf(table, table.columns[at], row.id));
        if (!bytes || bytes->size() == 0)
            return false;
        value = fromBytes(*bytes, value, stored ? stored->values[at] : Null(), purpose);
    }
    return true;
}

QByteArray RowSecrets::sealed(const SecureBytes& bytes, const QByteArray& place) const
{
    return box.seal({bytes.data(), bytes.size()}, place);
}

SecureBytes RowSecrets::toBytes(const Value& stored)
{
    const StoredPassword password = passwordIn(reader, stored);
    if (password.state == StoredPassword::State::Ok)
        return passwordBytes(password.password);
    if (password.state == StoredPassword::State::None)
        return marked(NoPasswordMark, {});
    ++unreadablePasswords;
    return marked(ValueMark, toJson(stored));
}

Value RowSecrets::fromBytes(
    const SecureBytes& bytes, const Value& sealed, const Value& stored, Purpose purpose)
{
    const auto mark = static_cast<char>(bytes.data()[0]);
    if (mark == ValueMark) {
        const char* const json = reinterpret_cast<const char*>(bytes.data() + 1);
        QByteArray text = QByteArray::fromRawData(json, static_cast<qsizetype>(bytes.size()) - 1);
        QBuffer buffer(&text);
        buffer.open(QIODevice::ReadOnly);
        return JsonReader(buffer, {}).readValue();
    }
    const bool hasPassword = mark == PasswordMark;
    const SecretText password = hasPassword ? passwordFrom(bytes) : SecretText();
    const StoredPassword present = passwordIn(reader, stored);
    const auto wanted = hasPassword ? StoredPassword::State::Ok : StoredPassword::State::None;
    if (present.state == wanted && present.password.view() == password.view())
        return stored;
    if (purpose == Purpose::Compare)
        return sealed;
    return Blob{sync::core::crypto::Encrypt(password.view()).toByteArray()};
}

bool isSamePassword(PasswordReader& reader, const Value& left, const Value& right)
{
    const StoredPassword first = passwordIn(reader, left);
    const StoredPassword second = passwordIn(reader, right);
    return !first.isUnreadable() && first.state == second.state &&
           first.password.view() == second.password.view();
}

} // namespace velmioctl::exchange
