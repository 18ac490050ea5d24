#include "FuzzInput.h"

#include <velmioctl/bundle/Redactor.h>

#include <fuzzer/FuzzedDataProvider.h>

using namespace Qt::StringLiterals;
using namespace velmioctl;
using sync::test::fuzzRequire;

namespace {

// No word of the program, and no part of one.
constexpr auto Secret = "qxzvkw"_L1;

} // namespace

/// Puts a secret into any text: none of what a bundle would show of the text contains it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const bundle::Redactor redactor(false);
    FuzzedDataProvider input(bytes, size);
    const auto place = input.ConsumeIntegral<std::uint16_t>();
    const std::string rest = input.ConsumeRemainingBytesAsString();
    QString text =
        sync::test::fuzzText(reinterpret_cast<const std::uint8_t*>(rest.data()), rest.size());
    text.insert(place % (text.size() + 1), Secret);

    for (const QString& shown :
         {redactor.message(text), redactor.path(text), redactor.url(text), redactor.name(text)})
        fuzzRequire(!shown.contains(Secret, Qt::CaseInsensitive));
    for (int at = 0; at <= static_cast<int>(Disclosure::Counted); ++at) {
        const QJsonValue shown =
            redactor.value(exchange::Text{text.toUtf8()}, static_cast<Disclosure>(at));
        fuzzRequire(!shown.toString().contains(Secret, Qt::CaseInsensitive));
    }
    return 0;
}
