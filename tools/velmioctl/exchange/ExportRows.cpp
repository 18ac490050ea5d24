#include <velmioctl/exchange/ExportRows.h>

#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Credentials.h>

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;

namespace velmioctl::exchange {

namespace {

constexpr QByteArrayView SqliteMagic("SQLite format 3\0", 16);

QString quotedName(const QByteArray& name)
{
    return quoted(withoutCredentials(QString::fromUtf8(name)));
}

} // namespace

ExportRows::ExportRows(
    QIODevice& device, const QString& name, std::optional<ExportSeal> expectedSeal)
    : seal(std::move(expectedSeal))
    , reader(device, name, [this](const QByteArray& bytes) {
        if (seal)
            seal->addRead(bytes);
    })
{
    readHeader();
}

bool ExportRows::nextTable()
{
    if (inTable)
        endTable();
    if (!reader.nextMember(!anyTable)) {
        readEnd();
        return false;
    }
    const QByteArray name = reader.readKey();
    const TableShape* const next = findTable(name);
    if (!next)
        fail(u"unknown table %1"_s.arg(quotedName(name)));
    if (anyTable && next->name <= currentTable->name) {
        fail(u"the table %1 must occur once, and before %2: tables are sorted by name"_s.arg(
            quotedName(name), quotedName(currentTable->name)));
    }
    currentTable = next;
    reader.beginObject();
    requireKey("lastId", true);
    currentLastId = reader.readInteger();
    requireKey("rows");
    reader.beginArray();
    anyTable = true;
    inTable = true;
    anyRow = false;
    return true;
}

bool ExportRows::nextRow()
{
    if (!inTable)
        return false;
    if (!reader.nextElement(!anyRow)) {
        inTable = false;
        if (reader.nextMember(false))
            fail(u"unexpected member after the rows of a table"_s);
        return false;
    }
    const qint64 lastRowId = currentRow.id;
    readRow();
    if (anyRow && currentRow.id <= lastRowId) {
        fail(u"the row %1 must occur once, and before row %2: rows are sorted by id"_s.arg(
            QString::number(currentRow.id), QString::number(lastRowId)));
    }
    anyRow = true;
    return true;
}

void ExportRows::readHeader()
{
    reader.beginObject();
    requireKey("format", true);
    if (reader.readString() != FormatName)
        fail(u"this is not an export of a configuration database"_s);
    requireKey("formatVersion");
    given.formatVersion = reader.readInteger();
    if (given.formatVersion < 1)
        fail(u"the format has no version %1"_s.arg(given.formatVersion));
    if (given.formatVersion > FormatVersion) {
        reader.fail(
            u"the format has version %1, but this program reads version %2"_s.arg(
                QString::number(given.formatVersion), QString::number(FormatVersion)),
            ExitCode::TooNew);
    }
    requireKey("schemaVersion");
    given.schemaVersion = reader.readInteger();
    if (const int known = SqliteDatabaseFactory::schemaVersion(); given.schemaVersion > known) {
        reader.fail(
            u"the rows are of schema version %1, but this program knows version %2"_s.arg(
                QString::number(given.schemaVersion), QString::number(known)),
            ExitCode::TooNew);
    }
    requireKey("secrets");
    if (reader.nextIsNull())
        reader.readNull();
    else
        readSecrets();
    requireKey("tables");
    reader.beginObject();
}

void ExportRows::readSecrets()
{
    SecretParameters secrets{.sealsExport = given.formatVersion > 1};
    reader.beginObject();
    requireKey("check", true);
    secrets.check = reader.readBase64();
    requireKey("cipher");
    if (reader.readString() != "xchacha20poly1305-ietf")
        fail(u"the cipher of the secrets is unknown"_s);
    requireKey("keyDerivation");
    if (reader.readString() != "argon2id13")
        fail(u"the derivation of the key to the secrets is unknown"_s);
    requireKey("memoryBytes");
    secrets.memoryBytes = reader.readInteger();
    requireKey("operations");
    secrets.operations = reader.readInteger();
    requireKey("salt");
    secrets.salt = reader.readBase64();
    if (reader.nextMember(false))
        fail(u"unexpected member of the secrets"_s);
    if (!SecretBox::isInRange(secrets))
        fail(u"the cost of deriving the key to the secrets is out of range"_s);
    given.secrets = secrets;
}

void ExportRows::readEnd()
{
    if (given.isSealed()) {
        requireKey("seal");
        reader.readBase64();
    }
    if (reader.nextMember(false))
        fail(u"unexpected member after the tables"_s);
    reader.readEnd();
    if (seal && !seal->matchesRead())
        fail(u"the export was changed while it was read. Nothing was changed in the database"_s);
}

void ExportRows::requireKey(const char* key, bool first)
{
    if (!reader.nextMember(first))
        fail(u"\"%1\" is missing"_s.arg(QLatin1StringView(key)));
    if (const QByteArray found = reader.readKey(); found != key)
        fail(u"expected \"%1\" and found %2"_s.arg(QLatin1StringView(key), quotedName(found)));
}

void ExportRows::endTable()
{
    while (nextRow()) {
    }
}

void ExportRows::readRow()
{
    const size_t columns = table().columns.size();
    currentRow.values.assign(columns, LeftOut());
    seen.assign(columns, false);
    reader.beginObject();
    currentRow.line = reader.line();
    for (bool first = true; reader.nextMember(first); first = false)
        readField(reader.readKey());
    requireFields();
    const auto* const id = std::get_if<qint64>(&currentRow.values[0]);
    if (!id)
        fail(u"the id of a row must be an integer"_s);
    currentRow.id = *id;
}

void ExportRows::readField(const QByteArray& key)
{
    const auto& columns = table().columns;
    const auto found = std::find_if(columns.begin(), columns.end(), [&key](const Column& column) {
        return column.name == key;
    });
    if (found == columns.end())
        fail(u"the table %1 has no column %2"_s.arg(quotedName(table().name), quotedName(key)));
    const auto at = static_cast<size_t>(found - columns.begin());
    if (seen[at])
        fail(u"the column %1 occurs twice in a row"_s.arg(quotedName(key)));
    seen[at] = true;

    Value& value = currentRow.values[at];
    value = reader.readValue();
    if (found->isSecret() && !given.secrets)
        fail(u"the column %1 is a secret, but the export says that it has none"_s.arg(
            quotedName(key)));
    const bool isNull = std::holds_alternative<Null>(value);
    if (std::holds_alternative<Sealed>(value) != (found->isSecret() && !isNull))
        fail(u"exactly the secrets must be encrypted: see the column %1"_s.arg(quotedName(key)));
    if (const auto* const mask = std::get_if<Masked>(&value);
        mask && !mask->sealed.isEmpty() && !given.secrets)
        fail(u"the column %1 has a secret, but the export says that it has none"_s.arg(
            quotedName(key)));
}

void ExportRows::requireFields() const
{
    for (size_t at = 0; at < seen.size(); ++at) {
        const Column& column = table().columns[at];
        if (!seen[at] && (!column.isSecret() || given.secrets)) {
            failAtRow(u"the row that begins here has no column %1"_s.arg(quotedName(column.name)));
        }
    }
}

ExportFile::ExportFile(const QString& path)
    : file(path)
{
    // Opening a pipe would wait for its other end, and it cannot be read twice.
    if (const QFileInfo info(path); info.exists() && !info.isFile() && !info.isDir()) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 is not a regular file. Give a file that 'velmioctl export' has written."_s.arg(
                quoted(path)));
    }
    if (!file.open(QIODevice::ReadOnly)) {
        throw CommandError(
            ExitCode::NotFound,
            u"The file %1 cannot be read: %2. Give a file that 'velmioctl export' has written."_s
                .arg(quoted(path), file.errorString()));
    }
    if (file.peek(SqliteMagic.size()) == SqliteMagic) {
        throw CommandError(
            ExitCode::Usage,
            u"%1 is a database, not an export. 'velmioctl restore' puts it in the place of yours, "
            u"and 'velmioctl export --database FILE' makes an export of it."_s.arg(quoted(path)));
    }
    exportRows = std::make_unique<ExportRows>(file, quoted(path));
}

void ExportFile::requireSeal(const SecretBox& box)
{
    constexpr qint64 PieceBytes = 65'536;
    ExportSeal seal = box.makeExportSeal();
    file.seek(0);
    for (QByteArray bytes = file.read(PieceBytes); !bytes.isEmpty(); bytes = file.read(PieceBytes))
        seal.addRead(bytes);
    if (!seal.matchesRead()) {
        throw CommandError(
            ExitCode::Usage,
            u"The export %1 was changed after it was written, or is not complete. Nothing was "
            u"imported. Make a new export or, if you know the change, import the rest with "
            u"--without-secrets."_s.arg(quoted(file.fileName())),
            u"changed-export"_s);
    }
    sealedBy = &box;
    rewind();
}

void ExportFile::rewind()
{
    file.seek(0);
    std::optional<ExportSeal> seal;
    if (sealedBy)
        seal = sealedBy->makeExportSeal();
    exportRows = std::make_unique<ExportRows>(file, quoted(file.fileName()), std::move(seal));
}

} // namespace velmioctl::exchange
