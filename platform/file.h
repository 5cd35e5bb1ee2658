#pragma once

#include <cerrno>
#include <cstdio>
#include <memory>

namespace com::zavo::dtv::hardware::audio::platform {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

/** An open file, or none; closed with the object. */
using File = std::unique_ptr<FILE, FileCloser>;

/**
 * Reads `size` bytes from the current position of the file.
 *
 * @return whether all of them could be read; if not, errno has the reason, 0 at the end of the
 * file.
 */
inline bool readWhole(FILE* file, void* destination, size_t size) {
    errno = 0;
    return fread(destination, 1, size, file) == size;
}

}  // namespace com::zavo::dtv::hardware::audio::platform
