#include <velmioctl/store/StoredXml.h>

#include <base/XmlReader.h>

namespace velmioctl {

bool holdsXml(const Column& column)
{
    return column.kind == ValueKind::Properties || column.name == "fileLinks";
}

bool isNestedTooDeeply(const QString& xml)
{
    // A property or a link is inside the root, and nothing is inside of it.
    constexpr int DeepestWritten = 1;
    sync::base::XmlReader reader(xml);
    while (reader.next()) {
        if (reader.isStartElement() && reader.depth() > DeepestWritten)
            return true;
    }
    return false;
}

} // namespace velmioctl
