#pragma once

/* Parts of the set that take a while until they are ready, counted in questions. */
namespace tvset {

/**
 * Answers one question whether a part is ready. Its file holds, in decimal, how many questions are
 * answered with no before; -1 is never, and so is what is not a number. Each process counts anew,
 * and does so again when the file holds another number. Not for several threads at a time.
 *
 * @param file  relative to the root of the set: `bectrl/launch_after`
 */
bool isReady(const char* file);

}  // namespace tvset
