#include "FuzzStore.h"

#include <database/DatabaseError.h>

#include <QLoggingCategory>

using namespace Qt::StringLiterals;
using namespace sync::database;
using namespace sync::test;

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    return 0;
}

/// Opens any bytes as a database file: the file opens, or is refused with a text and left
/// unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QByteArray image = fuzzBytes(bytes, size);
    fuzzRemoveFiles();
    fuzzWrite(fuzzStorePath(), image);
    try {
        fuzzUse(SqliteDatabaseFactory::open(fuzzStorePath()));
    } catch (const DatabaseError& error) {
        fuzzRequire(!error.text().isEmpty());
        fuzzRequire(fuzzRead(fuzzStorePath()) == image);
    }
    return 0;
}
