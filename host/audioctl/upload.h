#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>

namespace audioctl {

/** A file that is to be uploaded, read from front to back. */
class ParameterFile {
  public:
    /**
     * Throws UsageError if it cannot be read, is no regular file, has no known size, or is
     * larger than a buffer of the service can be.
     */
    explicit ParameterFile(const std::string& name);

    /** In bytes, at most 2^31 - 1; bytes that are appended to the file later are not uploaded. */
    int32_t size() const { return mSize; }
    /** Reads exactly the next bytes. Throws UsageError if they are not there any more. */
    void read(uint8_t* bytes, size_t count);

  private:
    [[noreturn]] void refuse(const std::string& why) const;

    const std::string mName;
    std::unique_ptr<FILE, int (*)(FILE*)> mFile;
    int32_t mSize = 0;
};

/**
 * Uploads a file to the back-end controller and waits for the outcome, which is printed on standard
 * output; the progress goes to standard error. The first SIGINT or SIGTERM discards what is
 * appended or, once the transfer runs, asks for its cancellation.
 *
 * @return whether everything was transferred. Throws Refusal if the service refused before the
 *     transfer, or was not to go on; ServiceError if the connection is lost; UsageError for the
 *     file. No buffer is left in the service then, if it still lives.
 */
bool upload(com::zavo::dtv::hardware::audio::V5_0::IHeadphoneVirtualizer& service,
            com::zavo::dtv::hardware::audio::V5_0::ParamType kind, ParameterFile& file);

}  // namespace audioctl
