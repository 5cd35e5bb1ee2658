/* audioctl: calls the audio services from the command line. */

#include <hidl/HidlTransportSupport.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "host/audioctl/callbacks.h"
#include "host/audioctl/errors.h"
#include "host/audioctl/methods.h"
#include "host/audioctl/status.h"
#include "host/hidl/event_loop.h"
#include "host/hidl/service_table.h"
#include "host/tvset/set.h"

using namespace audioctl;
using android::sp;
using android::wp;
using android::hardware::EventLoop;

namespace {

enum ExitStatus : int { kDone = 0, kBadUsage = 2, kNoService = 3 };

constexpr char kGeneralHelp[] =
        "Exit status: 0 done, 2 bad usage, 3 no such service or connection lost.\n"
        "The set is the one that TVSET_ROOT names.";

constexpr char kCallHelp[] =
        "Without METHOD the methods of IFACE are listed, without IFACE the interfaces.\n"
        "\n"
        "IFACE is a name for the newest version, or NAME@VERSION. Each ARG is JSON:\n"
        "  string       also a bare word that is no JSON\n"
        "  float        also NaN, Infinity or -Infinity\n"
        "  enumeration  a number or a name\n"
        "  structure    an object with all fields\n"
        "  interface    null, or callback: audioctl then prints the calls that arrive on an\n"
        "               object of its own, and ends after the first. If the method answers a\n"
        "               status other than 0, nothing is waited for.\n"
        "@FILE stands for the JSON that a file holds; for a vec<uint8_t> for its bytes.\n"
        "The result is printed as one line of JSON, null for a method without one.\n"
        "\n"
        "  audioctl call IOutputSpeaker setTvPosition 1\n"
        "  audioctl call IHdmiAudio setAudioCapabilities '[\"ARC_DD_PLUS\"]'\n"
        "  audioctl call IHdmiAudio@1.1 setCallback callback --stay\n"
        "  audioctl call IAcousticCalibration setCalibratedData @examples/calibration.json\n"
        "  audioctl call IHeadphoneVirtualizer append 1 @device.bin";

/** Prints a result at once: a script may be waiting for it. */
void printLine(const std::string& line) {
    puts(line.c_str());
    fflush(stdout);
}

int list() {
    tvset::requireSet("audioctl");
    for (const std::string& name : android::hardware::details::listServices()) printLine(name);
    return kDone;
}

int status() {
    tvset::requireSet("audioctl");
    const char* const noColor = getenv("NO_COLOR");
    const bool isPlain = !isatty(STDOUT_FILENO) || (noColor != nullptr && *noColor != '\0');
    if (!printStatus(isPlain ? Look::PLAIN : Look::RICH)) {
        throw ServiceError("no service is registered");
    }
    return kDone;
}

/** From its creation on, SIGINT and SIGTERM do not end the process but are noted by its loop. */
class StopSignals : public android::hardware::EventSource {
  public:
    static std::shared_ptr<StopSignals> watch() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        const int fd = signalfd(-1, &signals, SFD_CLOEXEC);
        auto source = std::make_shared<StopSignals>();
        EventLoop::instance().add(fd, EPOLLIN, source, &source->mKey);
        return source;
    }
    void onEvents(uint32_t) override { mHaveCome = true; }
    bool haveCome() const { return mHaveCome; }

  private:
    EventLoop::Key mKey = 0;
    bool mHaveCome = false;
};

class DeathNotice : public android::hardware::hidl_death_recipient {
  public:
    void serviceDied(uint64_t, const wp<IBase>&) override { mHasCome = true; }
    bool hasCome() const { return mHasCome; }

  private:
    bool mHasCome = false;
};

/** Prints calls as they arrive, up to the first or, with `stop`, until that comes. */
void printCalls(IBase& service, Callbacks& callbacks, const StopSignals* stop) {
    const sp<DeathNotice> death = new DeathNotice;
    const bool isAlive = service.linkToDeath(death, 0).withDefault(false);
    while (true) {
        const auto calls = callbacks.take();
        for (const std::string& call : calls) printLine(call);
        if (stop == nullptr ? !calls.empty() : stop->haveCome()) return;
        if (!isAlive || death->hasCome()) throw ServiceError("the service has died");
        EventLoop::instance().runOnce(std::chrono::milliseconds(-1));
    }
}

void callService(const Interface& interface, const Call& call, Callbacks& callbacks,
                 bool shouldStay) {
    const sp<IBase> service = interface.getService();
    if (service == nullptr) throw ServiceError("no such service is registered");
    const Json result = call(*service);
    const bool isRefused = !result.is_null() && result != 0;
    const bool shouldWait = callbacks.areServed() && !isRefused;
    // A script that has seen the result may stop audioctl.
    const auto stop = shouldWait && shouldStay ? StopSignals::watch() : nullptr;
    printLine(toLine(result));
    if (shouldWait) printCalls(*service, callbacks, stop.get());
}

struct CallOptions {
    std::string interface;
    std::string method;
    std::vector<std::string> arguments;
    bool shouldStay = false;
};

int call(const CallOptions& options) {
    if (options.interface.empty()) {
        for (const Interface& known : interfaces()) printLine(known.fullName());
        return kDone;
    }
    const Interface& interface = findInterface(options.interface);
    if (options.method.empty()) {
        for (const Method* known : interface.methods()) printLine(known->signature());
        return kDone;
    }

    // This thread alone serves the callbacks: each is answered before audioctl ends.
    android::hardware::configureRpcThreadpool(1, true);
    Callbacks callbacks;
    const Call call = interface.method(options.method).bind(options.arguments, &callbacks);
    if (options.shouldStay && !callbacks.areServed()) {
        throw UsageError("--stay is for a call with the argument callback");
    }
    tvset::requireSet("audioctl");
    try {
        callService(interface, call, callbacks, options.shouldStay);
    } catch (const ServiceError& error) {
        throw ServiceError(interface.fullName() + ": " + error.what());
    }
    return kDone;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Calls the audio services of the virtual TV set.", "audioctl");
    app.require_subcommand(1);
    app.footer(kGeneralHelp);
    int exitStatus = kDone;
    app.add_subcommand("list", "Show the registered services, one a line")->final_callback([&] {
        exitStatus = list();
    });
    app.add_subcommand("status", "Show what the services tell of the set")->final_callback([&] {
        exitStatus = status();
    });

    CallOptions options;
    CLI::App* caller = app.add_subcommand("call", "Call a method of a service");
    caller->add_option("IFACE", options.interface, "Interface");
    caller->add_option("METHOD", options.method, "Method; its arguments, each an ARG, follow");
    caller->add_flag("--stay", options.shouldStay,
                     "With callback: print every call until stopped by SIGINT or SIGTERM");
    // The arguments: as options, CLI11 would take a list apart and -1 for a flag.
    caller->allow_extras();
    caller->footer(kCallHelp);
    caller->final_callback([&] {
        options.arguments = caller->remaining();
        exitStatus = call(options);
    });

    try {
        app.parse(argc, argv);
        return exitStatus;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kBadUsage;
    } catch (const UsageError& error) {
        fprintf(stderr, "audioctl: %s\n", error.what());
        return kBadUsage;
    } catch (const ServiceError& error) {
        fprintf(stderr, "audioctl: %s\n", error.what());
        return kNoService;
    }
}
