/*
 * Linked into a service, which has no code of its own for the workstation: the service does not
 * start without a set, or on one that another service uses.
 */

#include <errno.h>

#include "host/tvset/set.h"

namespace {

/** Runs before constructors without a priority: those of a service may use the set. */
__attribute__((constructor(101))) void requireSetAtStart() {
    const char* const program = program_invocation_short_name;
    tvset::fillStandardDescriptors(program);
    tvset::requireSet(program);
    tvset::lockSet(program);
}

}  // namespace
