#pragma once

#include <string>

/*
 * Where the virtual TV set is. A set is a directory; see create.h for what is in it. The
 * environment is read at every call, so that a program (a test, above all) may name another set
 * while it runs. All functions may be called on any thread.
 */
namespace tvset {

/** TVSET_ROOT, else `tvset` under XDG_RUNTIME_DIR, else /tmp/tvset-UID. An empty name is none. */
std::string rootPath();

/** The path of something in the set, given its path relative to the root: `run`, `config/KEY`. */
std::string pathInSet(const std::string& relative);

/** Ends the process with status 2 and a message on standard error if there is no set. */
void requireSet(const char* programName);

}  // namespace tvset
