/* tvset: creates a virtual TV set, and runs the parts of it that are processes of their own. */

#include <errno.h>
#include <string.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "host/tvset/set.h"
#include "host/tvset/tool/create.h"
#include "host/tvset/tool/primary_hal.h"

namespace {

int create(const tvset::SetOptions& options) {
    tvset::requireSafeRoot("tvset");
    const std::string root = tvset::rootPath();
    try {
        tvset::createSet(root, options);
    } catch (const std::exception& error) {
        fprintf(stderr, "tvset: %s\n", error.what());
        return 1;
    }
    std::cout << root << '\n';
    return 0;
}

/** @return the exit status, once all output is written. */
int finish(int status) {
    if (std::cout.flush() || status != 0) return status;
    fprintf(stderr, "tvset: cannot write the result: %s\n", strerror(errno));
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    tvset::fillStandardDescriptors("tvset");
    CLI::App app("Makes the virtual TV set that TVSET_ROOT names, and runs its primary audio HAL.",
                 "tvset");
    app.require_subcommand(1);
    tvset::SetOptions options;
    std::string model = "plain";
    unsigned segment = options.segment;
    unsigned centerMode = options.centerMode;
    bool notReady = false;

    CLI::App* make = app.add_subcommand("create", "Make a set that works at once");
    make->add_option("--model", model, "Without or with a back-end controller")
            ->check(CLI::IsMember({"plain", "backend"}))
            ->capture_default_str();
    make->add_option("--segment", segment, "Segment byte of the EEPROM (83, 0x53)")
            ->check(CLI::Range(0, 255));
    make->add_option("--center-mode", centerMode, "Centre-speaker-mode byte of the EEPROM (1)")
            ->check(CLI::Range(0, 255));
    make->add_flag("--not-ready", notReady, "Leave out the middleware's ready marker");
    make->add_flag("--hal", options.hasHal,
                   "Declare the primary audio HAL: services wait for it without limit");

    CLI::App* primaryHal = app.add_subcommand(
            "primary-hal", "Run the primary audio HAL of the set until a signal ends it");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return finish(app.exit(error) == 0 ? 0 : 2);
    }
    if (*primaryHal) {
        tvset::requireSet("tvset");
        return tvset::servePrimaryHal();
    }
    options.hasBackEnd = model == "backend";
    options.segment = static_cast<uint8_t>(segment);
    options.centerMode = static_cast<uint8_t>(centerMode);
    options.isReady = !notReady;
    return finish(create(options));
}
