#pragma once

#include <string>

#include <hidl/HidlSupport.h>

namespace com::zavo::dtv::hardware::audio::platform {

/**
 * What a service answers to debug(): its state in lines of ASCII, `LABEL: VALUE`. Used on one
 * thread.
 */
class DebugText {
  public:
    /** Adds a line. What is not printable in it becomes a question mark. */
    __attribute__((format(printf, 3, 4))) void add(const std::string& label, const char* format,
                                                   ...);

    /**
     * Writes the lines, the first 4096 bytes of them, to the first descriptor of a handle. Nobody
     * is told of a failure, since debug() has no result; a null handle is one, too.
     *
     * The caller is the thread that serves every client, so this never waits: a pipe or socket
     * that has no room for the text goes without. Terminals and other devices always do, since a
     * write to them may wait.
     */
    void writeTo(const ::android::hardware::hidl_handle& handle) const;

  private:
    std::string mText;
};

}  // namespace com::zavo::dtv::hardware::audio::platform
