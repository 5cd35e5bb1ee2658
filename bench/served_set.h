#pragma once

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <hidl/HidlTransportSupport.h>

#include "bench/peers.h"
#include "tests/support/temp_set.h"

/** A set with a process that serves one object, and logs to /dev/null. */
template <typename Interface>
class ServedSet {
  public:
    /** @param make makes the object, in its process. */
    template <typename Make>
    explicit ServedSet(const Make& make)
        : set({.hasBackEnd = true}), mServer([&] {
              dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
              android::hardware::configureRpcThreadpool(1, true);
              const android::sp<Interface> made = make();
              if (made->registerAsService() == android::OK) android::hardware::joinRpcThreadpool();
          }) {}

    /**
     * Finds the object. Other processes are started before: they must not get the connections of
     * this one with them.
     */
    void connect() {
        setenv("TVSET_ROOT", set.path("").c_str(), 1);
        for (int tries = 0; service == nullptr && tries < 500; tries++) {
            usleep(10000);
            service = Interface::getService();
        }
        if (service == nullptr) {
            fprintf(stderr, "the benchmark's service did not start\n");
            exit(1);
        }
    }

    const TempSet set;
    android::sp<Interface> service;

  private:
    const ChildProcess mServer;
};
