#include "FuzzInput.h"

#include <config/xml/FileLinksXml.h>
#include <support/FileLinksDom.h>

#include <QStringList>

#include <algorithm>

using namespace sync::config;
using sync::test::fuzzRequire;
using sync::test::fuzzText;

namespace {

bool equal(const QList<FileLink>& left, const QList<FileLink>& right)
{
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](const FileLink& one, const FileLink& other) {
            return one.FileId == other.FileId && one.Path == other.Path &&
                   one.RefId == other.RefId && one.ServerFileId == other.ServerFileId;
        });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QString text = fuzzText(bytes, size);
    QDateTime date;
    QDateTime dateByDom;
    fuzzRequire(equal(readFileLinksXml(text, date), sync::test::readByDom(text, dateByDom)));
    fuzzRequire(date == dateByDom && date.timeSpec() == dateByDom.timeSpec());

    // The lines of the same text are also used as the fields of links.
    QList<FileLink> links;
    const QStringList parts = text.split(u'\n');
    for (qsizetype index = 0; index + 3 < parts.size(); index += 4) {
        FileLink link;
        link.FileId = parts[index].toInt();
        link.RefId = parts[index + 1];
        link.ServerFileId = parts[index + 2];
        link.Path = parts[index + 3];
        links.append(link);
    }
    // The DOM writes the attributes of an element in no fixed order.
    const QString ours = writeFileLinksXml(links, date);
    const QString byDom = sync::test::writeByDom(links, date);
    fuzzRequire(std::is_permutation(ours.begin(), ours.end(), byDom.begin(), byDom.end()));
    fuzzRequire(equal(sync::test::readByDom(ours, date), sync::test::readByDom(byDom, dateByDom)));
    fuzzRequire(date == dateByDom);
    return 0;
}
