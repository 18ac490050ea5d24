#include <base/system/FolderEntries.h>

namespace sync::base {

bool decomposesNames()
{
    return false;
}

} // namespace sync::base
