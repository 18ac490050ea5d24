// The second line of the input is repeated up to 400,000 characters. The time limit of the run
// finds texts whose reading takes more than a time linear in their length.

#include "FuzzInput.h"

#include <config/xml/FileLinksXml.h>
#include <config/xml/NameValueXml.h>

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QString text = sync::test::fuzzText(bytes, size);
    const QString repeated = text.section(u'\n', 1, 1);
    const QString xml = text.section(u'\n', 0, 0) +
                        repeated.repeated(400'000 / std::max(qsizetype(1), repeated.size())) +
                        text.section(u'\n', 2);

    QDateTime date;
    sync::config::readFileLinksXml(xml, date);
    sync::config::readNameValueXml(xml);
    return 0;
}
