#pragma once

#include <optional>
#include <string>

#include <android-base/unique_fd.h>

/* The set's own files, without the seam. All functions may be called on any thread. */
namespace tvset {

/**
 * Whether there is a FIFO in place of a file; errno is ENXIO then, else preserved. Opening one
 * would block until somebody opens its other end. That it may appear after this check does not
 * matter: only this user can put one there.
 */
bool isFifo(const std::string& path);

/** open(), but it fails for a FIFO. A file that it creates is accessible to this user alone. */
android::base::unique_fd openFile(const std::string& path, int flags);

/** The content; none, with errno, if it cannot be read. */
std::optional<std::string> readFile(const std::string& path);

}  // namespace tvset
