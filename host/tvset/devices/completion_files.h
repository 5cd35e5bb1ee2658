#pragma once

#include <sys/epoll.h>

#include <string>

/*
 * The completion files of the back-end controller's driver are regular files here, which epoll
 * rejects. An inotify descriptor that watches the file is registered in its place. All functions
 * may be called on any thread.
 */
namespace tvset {

/** Whether a descriptor refers to the file that is at the path now. */
bool isOpenOn(int fd, const std::string& path);

/** Whether a descriptor refers to a completion file. */
bool isCompletionFile(int fd);

/**
 * EPOLL_CTL_ADD for a completion file: it becomes ready, once, whenever someone has written to it
 * and closed it. @return 0, or -1 with errno.
 */
int addCompletionFile(int epoll, int file, const epoll_event& event);

/** Clears events that epoll_wait has reported, so that they are not reported again. */
void clearReportedEvents(int epoll, const epoll_event* events, int count);

/** Removes what has been registered in place of a descriptor, which is about to be closed. */
void removeCompletionFile(int file);

}  // namespace tvset
