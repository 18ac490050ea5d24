#include "FuzzStore.h"

#include <database/DatabaseBackups.h>
#include <database/DatabaseError.h>

#include <QLoggingCategory>

#include <fuzzer/FuzzedDataProvider.h>

using namespace Qt::StringLiterals;
using namespace sync::database;
using namespace sync::test;

namespace {

// Any bytes, or the store with a few changes.
QByteArray damagedImage(FuzzedDataProvider& input)
{
    if (input.ConsumeBool())
        return QByteArray::fromStdString(input.ConsumeRemainingBytesAsString());
    QByteArray image = fuzzImage();
    while (input.remaining_bytes() > 1)
        image[input.ConsumeIntegralInRange<qsizetype>(0, image.size() - 1)] =
            input.ConsumeIntegral<char>();
    return image;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    return 0;
}

/// Salvages a damaged store: the result opens and the damaged file is kept, or it is refused with a
/// text and left unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider input(bytes, size);
    const QByteArray image = damagedImage(input);
    fuzzRemoveFiles();
    fuzzWrite(fuzzStorePath(), image);
    try {
        const auto salvaged = DatabaseBackups(fuzzStorePath()).salvage();
        fuzzRequire(fuzzRead(salvaged.keptPath) == image);
    } catch (const DatabaseError& error) {
        fuzzRequire(!error.text().isEmpty());
        fuzzRequire(fuzzRead(fuzzStorePath()) == image);
        return 0;
    }
    fuzzUse(SqliteDatabaseFactory::open(fuzzStorePath()));
    return 0;
}
