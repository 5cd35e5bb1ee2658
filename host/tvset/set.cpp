#include "host/tvset/set.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace tvset {
namespace {

std::string environment(const char* name) {
    const char* value = getenv(name);
    return value == nullptr ? "" : value;
}

[[noreturn]] void fail(const char* program, int status, const std::string& why) {
    fprintf(stderr, "%s: %s\n", program, why.c_str());
    _exit(status);
}

[[noreturn]] void refuse(const char* program, const std::string& path, const struct stat& found,
                         const char* why) {
    char text[100];
    snprintf(text, sizeof(text), " is %s; owner %u, mode %04o", why, found.st_uid,
             found.st_mode & 07777);
    fail(program, 2, "unsafe TV set: " + path + text);
}

[[noreturn]] void refuseKind(const char* program, const std::string& path,
                             const struct stat& found) {
    refuse(program, path, found, S_ISLNK(found.st_mode) ? "a link" : "not a directory");
}

/**
 * Refuses a directory in which others can create or replace files. One that may be public, as /tmp
 * is, may belong to root, and everybody may write it if it has the sticky bit.
 */
void requireNobodyElseIn(const char* program, const std::string& directory,
                         const struct stat& found, bool mayBePublic) {
    const bool isPublic = mayBePublic && (found.st_mode & S_ISVTX) != 0;
    if (found.st_uid != getuid() && !(mayBePublic && found.st_uid == 0)) {
        refuse(program, directory, found, "another user's");
    }
    if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !isPublic) {
        refuse(program, directory, found, "open to others for writing");
    }
}

/** In a program that links the seam, open() would go through it. */
int openWithoutSeam(const char* path, int flags) {
    return openat(AT_FDCWD, path, flags, 0600);
}

}  // namespace

std::string rootPath() {
    if (const auto root = environment("TVSET_ROOT"); !root.empty()) return root;
    if (const auto run = environment("XDG_RUNTIME_DIR"); !run.empty()) return run + "/tvset";
    return "/tmp/tvset-" + std::to_string(getuid());
}

std::string pathInSet(const std::string& relative) {
    return rootPath() + "/" + relative;
}

void fillStandardDescriptors(const char* program) {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) != -1) continue;
        // The opposite access: a write must fail, not pretend that the output was written.
        const int flags = fd == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (openWithoutSeam("/dev/null", flags) == -1) fail(program, 2, "cannot open /dev/null");
    }
}

void requireSafeRoot(const char* program) {
    const std::string root = rootPath();
    const bool isChosen = !environment("TVSET_ROOT").empty();
    struct stat found;
    const std::string above = root.substr(0, root.rfind('/'));
    if (!isChosen && stat(above.c_str(), &found) == 0) {
        requireNobodyElseIn(program, above, found, /* mayBePublic */ true);
    }
    if (fstatat(AT_FDCWD, root.c_str(), &found, isChosen ? 0 : AT_SYMLINK_NOFOLLOW) != 0) return;
    if (!S_ISDIR(found.st_mode)) refuseKind(program, root, found);
    requireNobodyElseIn(program, root, found, /* mayBePublic */ false);
}

void requireSet(const char* program) {
    requireSafeRoot(program);
    struct stat found;
    if (stat(pathInSet("fs").c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) {
        fail(program, 2, "no TV set at " + rootPath() + "; make one with 'tvset create'");
    }
    // Its mode is changed and sockets are put there.
    const std::string run = pathInSet("run");
    if (lstat(run.c_str(), &found) == 0 && !S_ISDIR(found.st_mode)) refuseKind(program, run, found);
}

void lockSet(const char* program) {
    const std::string path = pathInSet("lock");
    const int fd = openWithoutSeam(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC);
    // The lock belongs to the open file description. One of the process would end as soon as the
    // process closes any descriptor of the file, such as one that a client has passed to it.
    struct flock lock {};
    lock.l_type = F_WRLCK;
    char holder[16] = "";
    if (fd != -1 && fcntl(fd, F_OFD_SETLK, &lock) == 0) {
        const int size = snprintf(holder, sizeof(holder), "%d\n", getpid());
        // Only for the message below, which can do without.
        [[maybe_unused]] const bool isWritten =
                ftruncate(fd, 0) == 0 && pwrite(fd, holder, size_t(size), 0) == size;
        return;
    } else if (fd != -1 && (errno == EACCES || errno == EAGAIN)) {
        const ssize_t size = pread(fd, holder, sizeof(holder) - 1, 0);
        fail(program, 1,
             "the TV set at " + rootPath() + " has a service: process " +
                     (size > 0 ? std::to_string(atoi(holder)) : "unknown"));
    }
    fail(program, 2, "cannot lock " + path + ": " + strerror(errno));
}

}  // namespace tvset
