#pragma once

#include <android-base/unique_fd.h>

#include <optional>
#include <string>

/* The set's own files, past the seam. All functions may be called on any thread. */
namespace tvset {

/**
 * Whether a FIFO is where a file should be; errno is ENXIO then, else left alone. To open one would
 * be to wait for somebody at its other end. There is no race to lose: only this user puts one
 * there.
 */
bool isFifo(const std::string& path);

/** What open() does, but it fails for a FIFO. A file that it makes is open to this user alone. */
android::base::unique_fd openFile(const std::string& path, int flags);

/** The whole content; none, with errno, if it cannot be read. */
std::optional<std::string> readFile(const std::string& path);

}  // namespace tvset
