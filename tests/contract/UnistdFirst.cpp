// Compiled by a test without the force-include of our targets: it has to fail.
#include <unistd.h>

#include <core/PosixSync.h>
