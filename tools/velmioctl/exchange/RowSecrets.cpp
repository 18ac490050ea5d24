#include <velmioctl/exchange/RowSecrets.h>

#include <core/Cipher.h>
#include <core/Crypto.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/exchange/JsonReader.h>
#include <velmioctl/exchange/Masks.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QBuffer>
#include <QtEndian>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::config::PasswordContexts;
using sync::core::crypto::SecretContext;
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
StoredPassword passwordIn(
    PasswordReader& reader, const Value& value, const SecretContext& context = {})
{
    const auto* const blob = std::get_if<Blob>(&value);
    return blob ? reader.read(blob->bytes, context)
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

QString textOf(const Value& value)
{
    if (const auto* const text = std::get_if<Text>(&value))
        return QString::fromUtf8(text->bytes);
    const auto* const number = std::get_if<qint64>(&value);
    return number ? QString::number(*number) : QString();
}

// Unknown for a row of another table.
SecretContext contextOf(const TableShape& table, const Row& row, const PasswordContexts& contexts)
{
    if (table.name != "AuthenticationConfiguration")
        return {};
    const auto* const server = std::get_if<qint64>(&row.values[table.indexOf("serverId")]);
    return contexts.of(
        textOf(row.values[table.indexOf("domain")]), textOf(row.values[table.indexOf("userName")]),
        server ? static_cast<int>(*server) : 0);
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

void RowSecrets::seal(const TableShape& table, Row& row, const PasswordContexts& contexts)
{
    // Before what identifies the record may be masked.
    const SecretContext context = contextOf(table, row, contexts);
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
                isPasswordColumn(column) ? toBytes(value, context)
                                         : marked(ValueMark, toJson(value)),
                place)};
        }
    }
}

bool RowSecrets::unseal(
    const TableShape& table, Row& row, const Row* stored, Purpose purpose,
    const PasswordContexts& contexts)
{
    for (size_t at = 0; at < table.columns.size(); ++at) {
        Value& value = row.values[at];
        const QByteArray hidden = sealedIn(value);
        if (hidden.isEmpty())
            continue;
        const auto bytes = box.unseal(hidden, placeOf(table, table.columns[at], row.id));
        if (!bytes || bytes->size() == 0)
            return false;
        value = fromBytes(
            *bytes, value, stored ? stored->values[at] : Null(), purpose,
            stored ? contextOf(table, *stored, contexts) : SecretContext());
        // Stored bytes are what could not be read where they were exported.
        if (purpose == Purpose::Store && isPasswordColumn(table.columns[at]) &&
            static_cast<char>(bytes->data()[0]) != ValueMark)
            storedIds.push_back(row.id);
    }
    return true;
}

QByteArray RowSecrets::sealed(const SecureBytes& bytes, const QByteArray& place) const
{
    return box.seal({bytes.data(), bytes.size()}, place);
}

void RowSecrets::bindStored(WatchedDatabase& database)
{
    const PasswordContexts contexts(database);
    for (const qint64 id : storedIds) {
        const auto query = database.select(
            u"SELECT encryptedPassword, domain, userName, serverId"
            u" FROM AuthenticationConfiguration WHERE id = :id"_s,
            {{u":id"_s, id}});
        query->next();
        const QByteArray value = query->value(0).toByteArray();
        const SecretContext context = contexts.of(
            query->value(1).toString(), query->value(2).toString(), query->value(3).toInt());
        const auto ring = sync::core::crypto::keyStore()->read();
        using sync::core::crypto::Unsealed;
        const Unsealed here = sync::core::crypto::unseal(value, ring, context);
        const Unsealed anywhere = sync::core::crypto::unseal(value, ring);
        const bool isBound = here.bound && here.outcome == Unsealed::Outcome::Read;
        if (isBound || anywhere.outcome != Unsealed::Outcome::Read)
            continue;
        database.change(
            u"UPDATE AuthenticationConfiguration SET encryptedPassword = :value WHERE id = :id"_s,
            {{u":value"_s, sync::core::crypto::Encrypt(anywhere.secret.view(), context)},
             {u":id"_s, id}});
    }
}

SecureBytes RowSecrets::toBytes(const Value& stored, const SecretContext& context)
{
    const StoredPassword password = passwordIn(reader, stored, context);
    if (password.state == StoredPassword::State::Ok)
        return passwordBytes(password.password);
    if (password.state == StoredPassword::State::None)
        return marked(NoPasswordMark, {});
    ++unreadablePasswords;
    return marked(ValueMark, toJson(stored));
}

Value RowSecrets::fromBytes(
    const SecureBytes& bytes, const Value& sealed, const Value& stored, Purpose purpose,
    const SecretContext& context)
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
    const StoredPassword present = passwordIn(reader, stored, context);
    const auto wanted = hasPassword ? StoredPassword::State::Ok : StoredPassword::State::None;
    if (present.state == wanted && present.password.view() == password.view())
        return stored;
    if (purpose == Purpose::Compare)
        return sealed;
    // Its server may come later in the file: bindStored() binds it.
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
