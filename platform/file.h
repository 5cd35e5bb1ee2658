#pragma once

#include <cstdio>
#include <memory>

namespace com::zavo::dtv::hardware::audio::platform {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

/** An open file, or none; closed with the object. */
using File = std::unique_ptr<FILE, FileCloser>;

}  // namespace com::zavo::dtv::hardware::audio::platform
