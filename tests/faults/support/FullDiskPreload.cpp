#include "DiskBudget.h"

namespace {

/// Loaded into another program by LD_PRELOAD: SQLite's files may grow by VELMIO_DISK_BUDGET bytes.
class Preload
{
public:
    Preload() { sync::test::installWatchedVfs(); }

private:
    sync::test::DiskBudget disk{qEnvironmentVariable("VELMIO_DISK_BUDGET").toLongLong()};
    sync::test::IoWatch watch{disk};
};

const Preload preload;

} // namespace
