#pragma once

#include <sys/epoll.h>

#include <string>

/*
 * The completion files of the back-end controller's driver are plain files here, for which epoll
 * has no use. So a descriptor that listens for writers of the file is registered in place of one
 * of the file itself. All functions may be called on any thread.
 */
namespace tvset {

/** Whether a descriptor is open on the file that a path leads to now. */
bool isOpenOn(int fd, const std::string& path);

/** Whether a descriptor is one of a completion file. */
bool isCompletionFile(int fd);

/**
 * What epoll_ctl does to add a completion file: it becomes ready, once, whenever someone has
 * written to it and closed it.
 */
int addCompletionFile(int epoll, int file, const epoll_event& event);

/** Takes notice of events that have been reported, so that they are not reported again. */
void settleEvents(int epoll, const epoll_event* events, int count);

/** A descriptor is about to be closed: gives up what has been registered in its place. */
void forgetCompletionFile(int file);

}  // namespace tvset
