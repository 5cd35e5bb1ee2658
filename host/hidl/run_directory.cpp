#include "host/hidl/run_directory.h"

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <limits.h>
#include <string.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include <android-base/stringprintf.h>

#include "host/hidl/environment.h"

namespace android::hardware {

using base::StringPrintf;
using base::unique_fd;

namespace {

bool parseSocketName(const std::string& text, Identity* identity) {
    return text.size() == 32 && text.find_first_not_of("0123456789abcdef") == std::string::npos &&
           sscanf(text.c_str(), "%16" SCNx64 "%16" SCNx64, &identity->words[0],
                  &identity->words[1]) == 2;
}

/** However long the directory's own name is. */
sockaddr_un addressOf(const Identity& identity, int directory) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "/proc/self/fd/%d/%s", directory,
             socketName(identity).c_str());
    return address;
}

}  // namespace

std::string encode(const std::string& name) {
    std::string encoded;
    for (const char c : name) {
        const bool isPlain = isalnum(static_cast<unsigned char>(c)) || strchr("@:._-", c);
        encoded += isPlain && c != '\0' ? std::string(1, c) : StringPrintf("%%%02X", uint8_t(c));
    }
    return encoded;
}

std::string decode(const std::string& encoded) {
    std::string name;
    for (size_t i = 0; i < encoded.size(); i++) {
        const bool isEncoded = encoded[i] == '%';
        name += isEncoded ? char(strtoul(encoded.substr(i + 1, 2).c_str(), nullptr, 16))
                          : encoded[i];
        if (isEncoded) i += 2;
    }
    return name;
}

std::string socketName(const Identity& identity) {
    return StringPrintf("%016" PRIx64 "%016" PRIx64, identity.words[0], identity.words[1]);
}

RunDirectory::RunDirectory()
    : mFd(open(environment::runDirectory().c_str(),
               O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {}

status_t RunDirectory::prepare() const {
    struct stat owner;
    if (mFd < 0 || flock(mFd, LOCK_EX | LOCK_NB) != 0) return -errno;
    if (fstat(mFd, &owner) != 0 || owner.st_uid != geteuid()) return PERMISSION_DENIED;
    return fchmod(mFd, 0700) == 0 ? OK : -errno;
}

std::string RunDirectory::target(const std::string& link) const {
    char path[NAME_MAX + 1];
    const ssize_t length = readlinkat(mFd, link.c_str(), path, sizeof(path));
    return std::string(path, length < 0 ? 0 : size_t(length));
}

bool RunDirectory::find(const std::string& link, Identity* identity) const {
    const std::string first = target(link);
    return parseSocketName(first, identity) || parseSocketName(target(first), identity);
}

status_t RunDirectory::setLink(const std::string& link, const std::string& target) const {
    const std::string fresh = ".new";
    remove(fresh);
    if (symlinkat(target.c_str(), mFd, fresh.c_str()) == 0 &&
        renameat(mFd, fresh.c_str(), mFd, link.c_str()) == 0) {
        return OK;
    }
    const status_t error = -errno;
    remove(fresh);
    return error;
}

void RunDirectory::remove(const std::string& name) const {
    unlinkat(mFd, name.c_str(), 0);
}

ForeignFd RunDirectory::connectTo(const Identity& identity) const {
    ForeignFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = addressOf(identity, mFd);
    if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        const int error = errno;
        socket.reset();
        errno = error;
    } else {
        fcntl(socket, F_SETFL, 0);
    }
    return socket;
}

bool RunDirectory::isServed(const Identity& identity) const {
    return connectTo(identity) >= 0 || errno == EAGAIN;
}

unique_fd RunDirectory::listenAt(const Identity& identity) const {
    unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf(identity, mFd);
    if (bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(socket, SOMAXCONN) != 0) {
        return {};
    }
    return socket;
}

}  // namespace android::hardware
