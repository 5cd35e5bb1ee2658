#pragma once

#include <string>

#include "host/audioctl/meanings.h"

/* The texts of `--help` below the list of options, in 80 columns. */
namespace audioctl {

constexpr char kGeneralHelp[] =
        R"(Exit status: 0 done, 1 refused (upload only), 2 bad usage or no set, 3 no such
service or connection lost. `audioctl COMMAND --help` describes a command.
On a workstation the set is the one that TVSET_ROOT names, or the default one.)";

constexpr char kListHelp[] =
        R"(A line is PACKAGE@VERSION::INTERFACE/INSTANCE, the newest version of a service
that a living process serves. If there is none, standard error says so.

  $ audioctl list
  com.zavo.dtv.hardware.audio@3.1::IHdmiAudio/default
  ...

Exit status: 0 done, 2 bad usage or no set.)";

constexpr char kStatusHelp[] =
        R"(Nothing is changed. A service that is not registered is shown as "not there",
the encoding listener, which has nothing to tell, as "there". Bold and Unicode
are for a terminal; otherwise, or with NO_COLOR set, the text is plain ASCII.

  $ audioctl status | less

--svg draws what is stored of the room calibration: the gains, volume and delay
of each channel, and the default curve of its group if the set uses one. Nothing
is printed; a FILE that is there is replaced.

  $ audioctl status --svg room.svg

Exit status: 0 done; 2 bad usage, no set, or FILE cannot be written; 3 no
service at all, none of the room calibration to draw, or connection lost.)";

constexpr char kDebugHelp[] =
        R"(For faults in the field: what the service found at start, what it keeps, and how
the last transfers ended. Nothing is changed or logged, and the platform is not
asked. On a set: lshal debug PACKAGE@VERSION::INTERFACE/default

  $ audioctl debug IHdmiAudio
  middleware: ready
  ...

Exit status: 0 done, 2 bad usage or no set, 3 no such service or connection
lost.)";

constexpr char kWatchHelp[] =
        R"(Each successful setAudioCapabilities of any client gives a line on standard
output: the names that were stored, separated by blanks. "audioctl: watching" on
standard error tells that it has begun. If the service ends it waits for the next
one, and says so. SIGINT (Ctrl-C) or SIGTERM ends it.

  $ audioctl watch
  audioctl: watching
  ARC_DD_PLUS ARC_MP4AAC_5_1

Exit status: 0 stopped, 2 bad usage or no set, 3 no such service.)";

inline std::string uploadHelp() {
    std::string outcomes;
    for (const Meaning& outcome : kOfOutcome) {
        outcomes += "  " + inWords(kOfOutcome, outcome.code) + "\n";
    }
    return R"(FILE holds the parameters as they are, 2147483647 bytes at most. It must be a
regular file that tells its size, which those under /proc are not.

The outcome is a line on standard output, the progress is on standard error:
  transferred 1048576 bytes
)" + outcomes +
           R"(What the service refuses before the transfer is told on standard error, with its
status. Nothing is left in the service then.

SIGINT (Ctrl-C) or SIGTERM discards what is appended; once the transfer runs, it
asks the controller to cancel, and audioctl goes on waiting for the outcome.
A second one ends audioctl at once, whatever the service does.

  $ audioctl upload hrtf hrtf.bin && echo in use

Exit status: 0 transferred; 1 refused, another outcome, or stopped; 2 bad usage,
no set, or FILE cannot be read or is not such a file; 3 no such service or
connection lost.)";
}

constexpr char kCallHelp[] =
        R"(Without METHOD the methods of IFACE are listed, without IFACE the interfaces.

IFACE is a name for the newest version, or NAME@VERSION. Each ARG is JSON:
  string       also a bare word that is not JSON and does not begin with a hyphen
  float        also "NaN", "Infinity" or "-Infinity", with the quotes
  enumeration  a number or a name
  structure    an object with all fields
  interface    null, or callback: audioctl then prints the calls that arrive on an
               object of its own, and ends after the first. If the method answers a
               status other than 0, nothing is waited for.
@FILE stands for the JSON that a file holds; for a vec<uint8_t> for its bytes. A
pipe is read to its end.
The result is printed as one line of JSON, null for a method without one.

  $ audioctl call IOutputSpeaker setTvPosition 1
  $ audioctl call IHdmiAudio setAudioCapabilities '["ARC_DD_PLUS"]'
  $ audioctl call IHdmiAudio@1.1 setCallback callback --stay
  $ audioctl call IAcousticCalibration setCalibratedData @examples/calibration.json
  $ audioctl call IHeadphoneVirtualizer append 1 @device.bin

Exit status: 0 the method has answered, whatever its status; 2 bad usage or no
set; 3 no such service or connection lost, also while calls are waited for.)";

}  // namespace audioctl
