#pragma once

/* Parts of the set that are not ready at once; how long they take is counted in queries. */
namespace tvset {

/**
 * Whether a part is ready. Its file holds, in decimal, how many queries are answered with no
 * first; with -1, or anything that is not a number, the part never becomes ready. Each process
 * counts for itself, and starts again when the number in the file changes. Not for several threads
 * at a time.
 *
 * @param file  relative to the root of the set: `bectrl/launch_after`
 */
bool isReady(const char* file);

}  // namespace tvset
