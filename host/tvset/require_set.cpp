/* Linked into a program that has no code of its own for the workstation: no set, no start. */

#include <errno.h>

#include "host/tvset/set.h"

namespace {

__attribute__((constructor)) void requireSetAtStart() {
    tvset::requireSet(program_invocation_short_name);
}

}  // namespace
