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
    /** Adds a line. Bytes that are not printable ASCII become question marks. */
    __attribute__((format(printf, 3, 4))) void add(const std::string& label, const char* format,
                                                   ...);

    /**
     * Writes the first 4096 bytes of the lines to the first descriptor of a handle. A failure,
     * such as a null handle, is not reported: debug() has no result.
     *
     * Called on the thread that serves all clients, so it never blocks: nothing is written to a
     * pipe or socket without room for the text, nor to any other kind of file, where a write may
     * block.
     */
    void writeTo(const ::android::hardware::hidl_handle& handle) const;

  private:
    std::string mText;
};

}  // namespace com::zavo::dtv::hardware::audio::platform
