/*
 * Linked into a service, which has no code of its own for the workstation: no set, or another
 * service on it, no start.
 */

#include <errno.h>

#include "host/tvset/set.h"

namespace {

/** Before all constructors without a number: those of a service may use the set. */
__attribute__((constructor(101))) void takeSetAtStart() {
    const char* const program = program_invocation_short_name;
    tvset::fillStandardDescriptors(program);
    tvset::requireSet(program);
    tvset::lockSet(program);
}

}  // namespace
