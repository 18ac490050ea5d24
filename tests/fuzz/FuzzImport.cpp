#include "FuzzInput.h"

#include <velmioctl/exchange/ExportRows.h>
#include <velmioctl/exchange/ExportWriter.h>
#include <velmioctl/exchange/ImportRun.h>
#include <velmioctl/exchange/StoreRows.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <database/SqliteDatabaseFactory.h>

#include <QBuffer>
#include <QJsonDocument>
#include <QLoggingCategory>

using namespace Qt::StringLiterals;
using namespace velmioctl;
using namespace velmioctl::exchange;
using sync::database::SqliteDatabaseFactory;
using sync::test::fuzzBytes;
using sync::test::fuzzRequire;

namespace {

WatchedDatabase& database()
{
    static WatchedDatabase opened(
        SqliteDatabaseFactory::open(sync::test::fuzzFolder() + u"/configuration.db"_s));
    return opened;
}

// Writes all rows of the source as text. Secrets are included only if they are already sealed.
QByteArray exported(RowSource& rows, const ExportHeader& header)
{
    QByteArray text;
    ExportWriter writer([&text](const QByteArray& piece) { text += piece; });
    writer.begin(header);
    while (rows.nextTable()) {
        writer.beginTable(rows.table(), rows.lastId());
        while (rows.nextRow())
            writer.write(rows.row());
        writer.endTable();
    }
    writer.end();
    return text;
}

QByteArray rewritten(QByteArray text)
{
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    ExportRows rows(buffer, u"text"_s);
    ExportHeader header = rows.header();
    // Without the passphrase nothing can be sealed.
    header.formatVersion = 1;
    return exported(rows, header);
}

ImportPlan import(QByteArray text, RowWriter* writer)
{
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    ExportRows rows(buffer, u"text"_s);
    RowPaths paths({"/home=/Users"});
    return ImportRun(database(), {.replace = true}, paths, nullptr, writer).run(rows);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    return 0;
}

/// Reads any bytes as an export. Either they are refused with a text, or
/// - Qt also reads them as JSON,
/// - reading and writing the written text again gives the same text, and
/// - after an import, importing the written text changes nothing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QByteArray text = fuzzBytes(bytes, size);
    QByteArray canonical;
    try {
        canonical = rewritten(text);
    } catch (const TextError& error) {
        fuzzRequire(!error.text().isEmpty());
        return 0;
    }
    QJsonParseError error;
    QJsonDocument::fromJson(text, &error);
    fuzzRequire(error.error == QJsonParseError::NoError);
    fuzzRequire(rewritten(canonical) == canonical);

    // Rolled back at the end, so that every input runs on the same database.
    const Transaction transaction(database());
    RowWriter writer(database(), false);
    ImportPlan plan;
    try {
        plan = import(text, &writer);
    } catch (const TextError& error) {
        fuzzRequire(!error.text().isEmpty()); // an id that no record can hold
        return 0;
    }
    const ImportPlan again = import(canonical, nullptr);
    fuzzRequire(plan.tables.size() == again.tables.size());
    for (const TableChanges& changes : again.tables)
        fuzzRequire(changes.added + changes.removed == 0 && !changes.raisesLastId);
    return 0;
}
