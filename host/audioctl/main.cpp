/* audioctl: calls the audio services from the command line. */

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <hidl/HidlTransportSupport.h>

#include "host/audioctl/calibration_svg.h"
#include "host/audioctl/callbacks.h"
#include "host/audioctl/debug.h"
#include "host/audioctl/errors.h"
#include "host/audioctl/help.h"
#include "host/audioctl/home.h"
#include "host/audioctl/methods.h"
#include "host/audioctl/status.h"
#include "host/audioctl/text.h"
#include "host/audioctl/upload.h"
#include "host/audioctl/waiting.h"
#include "host/audioctl/watch.h"

using namespace audioctl;
using namespace com::zavo::dtv::hardware::audio;
using android::sp;

namespace {

enum ExitStatus : int { DONE = 0, REFUSED = 1, BAD_USAGE = 2, NO_SERVICE = 3 };

/** The registered services, each under its newest version alone. */
std::vector<std::string> newestServices() {
    std::vector<std::string> names;
    examine(android::hardware::defaultServiceManager()->list(
            [&](const auto& all) { names.assign(all.begin(), all.end()); }));
    // "PACKAGE@MAJOR.MINOR::INTERFACE/INSTANCE": names that differ in the version alone are the
    // same service.
    std::map<std::string, std::pair<std::pair<int, int>, std::string>> newest;
    for (const std::string& name : names) {
        const size_t at = name.find('@'), end = name.find("::", at);
        if (at == name.npos || end == name.npos) continue;  // no name of a service
        std::pair<int, int> version;
        sscanf(name.c_str() + at, "@%d.%d", &version.first, &version.second);
        auto& best = newest[name.substr(0, at) + name.substr(end)];
        best = std::max(best, {version, name});
    }
    names.clear();
    for (const auto& [service, best] : newest) names.push_back(best.second);
    std::sort(names.begin(), names.end());
    return names;
}

int list() {
    home::requireTvSet();
    const std::vector<std::string> names = newestServices();
    for (const std::string& name : names) printLine(name);
    if (names.empty()) fputs("audioctl: no service is registered\n", stderr);
    return DONE;
}

int status() {
    home::requireTvSet();
    const char* const noColor = getenv("NO_COLOR");
    const bool isPlain = !isatty(STDOUT_FILENO) || (noColor != nullptr && *noColor != '\0');
    if (!printStatus(isPlain ? Look::PLAIN : Look::RICH)) {
        throw ServiceError("no service is registered");
    }
    return DONE;
}

/** Runs a command with the service of an interface; complaints name the interface. */
template <typename Command>
void withService(const Interface& interface, Command command) {
    home::requireTvSet();
    home::configureCallbacks();
    try {
        const sp<IBase> service = interface.getService();
        if (service == nullptr) throw ServiceError("no such service is registered");
        command(*service);
    } catch (const ServiceError& error) {
        throw ServiceError(interface.fullName() + ": " + error.what());
    }
}

int drawStatus(const std::string& file) {
    withService(findInterface("IAcousticCalibration"), [&](IBase& service) {
        saveCalibrationSvg(static_cast<V3_1::IAcousticCalibration&>(service), file);
    });
    return DONE;
}

int debug(const std::string& interface) {
    withService(findInterface(interface), printDebug);
    return DONE;
}

int watchChanges() {
    withService(findInterface("IHdmiAudio"),
                [](IBase& service) { watch(static_cast<V1_1::IHdmiAudio*>(&service)); });
    return DONE;
}

struct UploadOptions {
    std::string kind;
    std::string file;
};

int uploadFile(const UploadOptions& options) {
    ParameterFile file(options.file);
    const auto kind = options.kind == "hrtf" ? V5_0::ParamType::HRTF_PARAMETER
                                             : V5_0::ParamType::DEVICE_PARAMETER;
    bool isTransferred = false;
    withService(findInterface("IHeadphoneVirtualizer"), [&](IBase& service) {
        auto& virtualizer = static_cast<V5_0::IHeadphoneVirtualizer&>(service);
        isTransferred = upload(virtualizer, kind, file);
    });
    return isTransferred ? DONE : REFUSED;
}

void callService(IBase& service, const Call& call, Callbacks& callbacks, bool shouldStay) {
    const Json result = call(service);
    const bool isRefused = !result.is_null() && result != 0;
    const bool shouldWait = callbacks.areServed() && !isRefused;
    // A script that has seen the result may stop audioctl.
    if (shouldWait && shouldStay) catchStopSignals();
    printLine(toLine(result));
    if (!shouldWait) return;
    serveUntil(service, [&] {
        const auto calls = callbacks.take();
        for (const std::string& arrived : calls) printLine(arrived);
        return shouldStay ? isStopRequested() : !calls.empty();
    });
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
        return DONE;
    }
    const Interface& interface = findInterface(options.interface);
    if (options.method.empty()) {
        for (const Method* known : interface.methods()) printLine(known->signature());
        return DONE;
    }

    static auto& callbacks = *new Callbacks;  // the service may call until audioctl has ended
    const Call call = interface.method(options.method).bind(options.arguments, &callbacks);
    if (options.shouldStay && !callbacks.areServed()) {
        throw UsageError("--stay is for a call with the argument callback");
    }
    withService(interface,
                [&](IBase& service) { callService(service, call, callbacks, options.shouldStay); });
    return DONE;
}

}  // namespace

int main(int argc, char** argv) {
    home::prepare();
    CLI::App app("Calls the audio services of a TV set.", "audioctl");
    app.require_subcommand(1);
    app.footer(kGeneralHelp);
    int exitStatus = DONE;
    const auto addCommand = [&](const char* name, const char* what, const std::string& help) {
        CLI::App* command = app.add_subcommand(name, what);
        command->footer(help);
        return command;
    };
    addCommand("list", "Show the registered services, one a line", kListHelp)->final_callback([&] {
        exitStatus = list();
    });
    std::string picture;
    CLI::App* teller = addCommand("status", "Show the state of the set as the services report it",
                                  kStatusHelp);
    teller->add_option("--svg", picture, "Draw the room calibration into FILE instead")
            ->type_name("FILE");
    teller->final_callback(
            [&] { exitStatus = teller->count("--svg") == 0 ? status() : drawStatus(picture); });
    std::string debugged;
    CLI::App* debugger = addCommand("debug", "Show the internal state of a service", kDebugHelp);
    debugger->add_option("IFACE", debugged, "Interface: NAME or NAME@VERSION")->required();
    debugger->final_callback([&] { exitStatus = debug(debugged); });
    addCommand("watch", "Show changes of the HDMI capabilities as they come", kWatchHelp)
            ->final_callback([&] { exitStatus = watchChanges(); });

    UploadOptions uploadOptions;
    CLI::App* uploader =
            addCommand("upload", "Upload parameters to the back-end controller", uploadHelp());
    uploader->add_option("KIND", uploadOptions.kind, "What the parameters are for")
            ->required()
            ->check(CLI::IsMember({"device", "hrtf"}));
    uploader->add_option("FILE", uploadOptions.file, "File with the parameters")->required();
    uploader->final_callback([&] { exitStatus = uploadFile(uploadOptions); });

    CallOptions options;
    CLI::App* caller = addCommand("call", "Call a method of a service", kCallHelp);
    caller->add_option("IFACE", options.interface, "Interface");
    caller->add_option("METHOD", options.method, "Method; its arguments, each an ARG, follow");
    caller->add_flag("--stay", options.shouldStay,
                     "With callback: print every call until stopped by SIGINT or SIGTERM");
    // The arguments: as options, CLI11 would take a list apart and -1 for a flag.
    caller->allow_extras();
    caller->final_callback([&] {
        options.arguments = caller->remaining();
        exitStatus = call(options);
    });

    try {
        app.parse(argc, argv);
        return exitStatus;
    } catch (const CLI::ParseError& error) {
        if (app.exit(error) != 0) return BAD_USAGE;
        if (std::cout.flush()) return DONE;
        fprintf(stderr, "audioctl: cannot write the help: %s\n", strerror(errno));
        return BAD_USAGE;
    } catch (const UsageError& error) {
        fprintf(stderr, "audioctl: %s\n", error.what());
        return BAD_USAGE;
    } catch (const Refusal& error) {
        fprintf(stderr, "audioctl: %s\n", error.what());
        return REFUSED;
    } catch (const ServiceError& error) {
        fprintf(stderr, "audioctl: %s\n", error.what());
        return NO_SERVICE;
    }
}
