#include <base/system/FolderEntries.h>

namespace sync::base {

// HFS+ stores names decomposed. APFS keeps them as given and finds them in either form.
bool decomposesNames()
{
    return true;
}

} // namespace sync::base
