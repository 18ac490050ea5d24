#include "FuzzInput.h"

#include <config/xml/NameValueXml.h>
#include <support/NameValueDom.h>

#include <QStringList>

using namespace sync::config;
using sync::test::fuzzRequire;
using sync::test::fuzzText;
using sync::test::readNameValueDom;
using sync::test::writeNameValueDom;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QString text = fuzzText(bytes, size);
    fuzzRequire(readNameValueXml(text) == readNameValueDom(text));

    // The lines of the same text are also used as alternating keys and values.
    QMap<QString, QString> properties;
    const QStringList parts = text.split(u'\n');
    for (qsizetype index = 0; index + 1 < parts.size(); index += 2)
        properties.insert(parts[index], parts[index + 1]);
    fuzzRequire(writeNameValueXml(properties) == writeNameValueDom(properties));
    return 0;
}
