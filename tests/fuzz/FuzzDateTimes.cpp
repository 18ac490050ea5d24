#include "FuzzInput.h"

#include <config/statement/DateTimes.h>

using namespace sync::config;
using sync::test::fuzzRequire;
using sync::test::fuzzText;

namespace {

bool isSame(const QDateTime& left, const QDateTime& right)
{
    return left.isValid() == right.isValid() && left.date() == right.date() &&
           left.time() == right.time() && left.timeSpec() == right.timeSpec() &&
           left.offsetFromUtc() == right.offsetFromUtc();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QVariant column = fuzzText(bytes, size);
    const QDateTime expected = column.toDateTime();
    fuzzRequire(isSame(readDateTime(column), expected));

    QDateTime labelled = expected;
    labelled.setTimeSpec(Qt::UTC);
    fuzzRequire(isSame(readUtcDateTime(column), labelled));
    return 0;
}
