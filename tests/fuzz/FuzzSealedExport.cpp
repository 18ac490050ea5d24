#include "FuzzInput.h"

#include <core/Crypto.h>
#include <core/HostKeyStore.h>
#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/exchange/ExportRows.h>
#include <velmioctl/exchange/ExportWriter.h>
#include <velmioctl/exchange/RowSecrets.h>

#include <QBuffer>

#include <fuzzer/FuzzedDataProvider.h>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;
using namespace velmioctl;
using namespace velmioctl::exchange;
using sync::database::SqliteDatabaseFactory;
using sync::test::fuzzRequire;

namespace {

SecretText passphrase()
{
    return *SecretText::fromUtf8(SecureBytes(0));
}

struct Secrets
{
    SecretBox box = SecretBox::make(passphrase());
    RowSecrets rows{*SecretBox::open(box.parameters(), passphrase())};
    std::shared_ptr<SqliteDatabaseFactory> store =
        SqliteDatabaseFactory::open(sync::test::fuzzFolder() + u"/configuration.db"_s);
    sync::config::PasswordContexts contexts{*store};
};

Secrets& secrets()
{
    static Secrets secrets;
    return secrets;
}

// A row with only a secret.
Row rowWith(const TableShape& table, size_t column, Value secret)
{
    Row row{.id = 1, .values = std::vector<Value>(table.columns.size())};
    row.values[column] = std::move(secret);
    return row;
}

bool isSameSecret(const Value& left, const Value& right)
{
    PasswordReader reader;
    return isSame(left, right) || isSamePassword(reader, left, right);
}

// What was read from an export is the same after it was exported and read again.
void readSealed(const TableShape& table, size_t column, const QByteArray& sealed)
{
    const auto store = [&](Row& row) {
        return secrets().rows.unseal(
            table, row, nullptr, RowSecrets::Purpose::Store, secrets().contexts);
    };
    Row row = rowWith(table, column, Sealed{sealed});
    try {
        if (!store(row))
            return;
    } catch (const CommandError& error) {
        fuzzRequire(!error.text().isEmpty());
        return;
    }
    Row again = row;
    secrets().rows.seal(table, again, secrets().contexts);
    fuzzRequire(store(again) && isSameSecret(row.values[column], again.values[column]));
}

QByteArray sealedExport()
{
    const TableShape& table = *findTable("ProductConfiguration");
    Row row = rowWith(table, table.indexOf("consumerSecret"), Text{"secret"});
    row.values[0] = row.id;
    secrets().rows.seal(table, row, secrets().contexts);

    QByteArray text;
    ExportWriter writer(
        [&text](const QByteArray& piece) { text += piece; }, secrets().box.makeExportSeal());
    writer.begin({.schemaVersion = 1, .secrets = secrets().box.parameters()});
    writer.beginTable(table, row.id);
    writer.write(row);
    writer.endTable();
    writer.end();
    return text;
}

bool isRead(QByteArray text)
{
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    try {
        ExportRows rows(buffer, u"text"_s, secrets().box.makeExportSeal());
        while (rows.nextTable()) {
        }
        return true;
    } catch (const TextError& error) {
        fuzzRequire(!error.text().isEmpty());
        return false;
    }
}

// Nobody can change an export without the passphrase.
void readEdited(FuzzedDataProvider& input)
{
    static const QByteArray text = sealedExport();
    QByteArray edited = text;
    const auto at = input.ConsumeIntegralInRange<qsizetype>(0, text.size());
    const auto removed = input.ConsumeIntegralInRange<qsizetype>(0, text.size() - at);
    edited.replace(at, removed, QByteArray::fromStdString(input.ConsumeRemainingBytesAsString()));
    fuzzRequire(isRead(edited) == (edited == text));
}

void readSecret(bool isPassword, bool isSealed, const std::vector<unsigned char>& content)
{
    const TableShape& table =
        *findTable(isPassword ? "AuthenticationConfiguration" : "ProductConfiguration");
    const QByteArray name = isPassword ? "encryptedPassword" : "consumerSecret";
    const QByteArray place = table.name + '.' + name + ".1";
    readSealed(
        table, table.indexOf(name),
        isSealed ? secrets().box.seal(content, place)
                 : sync::test::fuzzBytes(content.data(), content.size()));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    setKeyStore(std::make_shared<HostKeyStore>(QByteArray(Key::Size, 'k')));
    secrets(); // takes seconds, which must not count as those of an input
    return 0;
}

/// Reads any bytes as a sealed secret of an export and as what is sealed in one, and an export that
/// they change.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider input(bytes, size);
    if (input.ConsumeBool()) {
        readEdited(input);
        return 0;
    }
    const bool isPassword = input.ConsumeBool();
    const bool isSealed = input.ConsumeBool();
    readSecret(isPassword, isSealed, input.ConsumeRemainingBytes<unsigned char>());
    return 0;
}
