#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <numeric>
#include <thread>

#include <android/log.h>
#include <com/zavo/dtv/hardware/audio/3.1/IAcousticCalibration.h>
#include <com/zavo/dtv/hardware/audio/3.1/IHdmiAudio.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputEncodingStatusListener.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputExternal.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputSpeaker.h>
#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>
#include <hidl/HidlTransportSupport.h>

#include "host/tvset/devices/operation.h"
#include "platform/PrimaryHalAccessor.h"
#include "tests/support/processes.h"

/* Small services for tests and benchmarks, and their clients' callbacks. */
namespace fakes {

using namespace android;
using namespace android::hardware;
using namespace com::zavo::dtv::hardware::audio;
using hidl::base::V1_0::IBase;
using hidl::manager::V1_0::IServiceManager;
using hidl::manager::V1_0::IServiceNotification;
using V1_1::IHdmiAudioCallback;
using V3_1::TvPositionType;
using Words = hidl_vec<hidl_string>;

struct Callback : IHdmiAudioCallback {
    explicit Callback(std::function<void(const Words&)> f) : told(std::move(f)) {}
    Return<void> onCapabilityChanged(const Words& words) override {
        told(words);
        return Void();
    }
    const std::function<void(const Words&)> told;
};

struct DeathRecorder : hidl_death_recipient {
    void serviceDied(uint64_t cookie, const wp<IBase>&) override {
        gJournal.say("death of " + std::to_string(cookie) +
                     (gettid() == getpid() ? " on the RPC thread" : " elsewhere"));
    }
};

/** A service that does what its client's words say: setAudioCapabilities({ORDER, ARGUMENT}). */
struct FakeHdmiAudio : V3_1::IHdmiAudio {
    explicit FakeHdmiAudio(bool shouldObey = true) : obeys(shouldObey) {}
    Return<void> getAudioCapabilities(getAudioCapabilities_cb answer) override {
        answer(kept);
        if (notifiesLate) gJournal.say(tell({"late"}) == 0 ? "told" : "not told");
        return Void();
    }
    Return<int32_t> setAudioCapabilities(const Words& words) override {
        const std::string order = obeys && words.size() > 0 ? words[0] : "keep";
        const std::string argument = words.size() > 1 ? words[1] : hidl_string();
        if (order == "keep") return (kept = words).size();
        if (order == "say") gJournal.say(argument);
        if (order == "tell") return tell(words);
        if (order == "tell late") notifiesLate = true;
        if (order == "tell from a worker") std::thread([=] { tell({argument}); }).detach();
        if (order == "work") usleep(useconds_t(std::stoi(argument)) * 1000);
        if (order == "wait") gOrders.next();
        if (order == "link") return callback->linkToDeath(recorder, 7).withDefault(false) ? 1 : 0;
        if (order == "unlink") return callback->unlinkToDeath(recorder).withDefault(false) ? 1 : 0;
        if (order == "hand over") {
            sp<V1_1::IHdmiAudio> other = V1_1::IHdmiAudio::getService(argument);
            return other->setCallback(callback).isOk() ? 0 : -1;
        }
        return 0;
    }
    Return<void> setCallback(const sp<IHdmiAudioCallback>& given) override {
        if (!obeys) return Void();
        const char* what = given == nullptr                   ? "null"
                           : given == own                     ? "my own object"
                           : interfacesEqual(callback, given) ? "the same callback"
                                                              : "another callback";
        callback = given;
        gJournal.say(what);
        return Void();
    }
    Return<void> debug(const hidl_handle& handle, const Words&) override {
        const native_handle_t* given = handle.getNativeHandle();
        std::string words = given == nullptr ? "no handle" : std::to_string(given->numFds) + ",";
        for (int i = 0; given != nullptr && i < given->numInts; i++)
            words += " " + std::to_string(given->data[given->numFds + i]);
        if (obeys) gJournal.say(words);
        return Void();
    }
    Return<void> notifySyspropsChanged() override {
        gJournal.say("properties changed");
        return Void();
    }
    int32_t tell(const Words& words) {
        Return<void> told = callback->onCapabilityChanged(words);
        return told.isOk() ? 0 : told.isDeadObject() ? -1 : -2;
    }

    const bool obeys;
    Words kept;
    bool notifiesLate = false;
    sp<IHdmiAudioCallback> callback;
    sp<IHdmiAudioCallback> own;
    const sp<DeathRecorder> recorder = new DeathRecorder;
};

struct FakeSpeaker : V3_1::IOutputSpeaker {
    Return<V2_0::SurroundType> getSurroundType() override { return V2_0::SurroundType::TYPE_2; }
    Return<TvPositionType> getTvPosition() override { return TvPositionType::WALL_MOUNT; }
    Return<int32_t> setTvPosition(int32_t type) override { return -type; }
};

struct FakeListener : V3_1::IOutputEncodingStatusListener {
    Return<void> onForceEncodingChanged(bool) override { return Void(); }
    Return<void> onEncodingFormatChanged(const hidl_string&) override { return Void(); }
};

struct FakeExternal : V3_1::IOutputExternal {
    using Listener = V2_0::IOutputEncodingStatusListener;
    Return<int32_t> setForceEncodingEnabled(bool enable) override { return enable ? 1 : 0; }
    Return<bool> getForceEncodingEnabled() override { return true; }
    Return<int32_t> setEncodingFormat(const hidl_string& kept) override {
        format = kept;
        return int32_t(kept.size());
    }
    Return<void> getEncodingFormat(getEncodingFormat_cb answer) override {
        answer(format);
        return Void();
    }
    Return<void> getAvailableEncodingFormats(getAvailableEncodingFormats_cb answer) override {
        answer({});
        return Void();
    }
    Return<int32_t> registerEncodingFormatListener(const sp<Listener>& listener) override {
        return listener == own ? 1 : 0;
    }
    Return<int32_t> unregisterEncodingFormatListener(const sp<Listener>& listener) override {
        return listener == nullptr ? 1 : 0;
    }

    hidl_string format;
    sp<Listener> own;
};

struct FakeCalibration : V3_1::IAcousticCalibration {
    Return<int32_t> setEnabled(bool) override { return 0; }
    Return<bool> getEnabled() override { return true; }
    Return<int32_t> setCalibratedData(const hidl_vec<V3_0::calibratedData>& data) override {
        kept = data;
        return int32_t(data.size());
    }
    Return<void> getCalibratedData(getCalibratedData_cb answer) override {
        answer(kept);
        return Void();
    }
    Return<void> getCalibrationParameters(getCalibrationParameters_cb answer) override {
        answer(parameters());
        return Void();
    }
    static V3_0::calibrationParameters parameters() {
        V3_0::calibrationParameters all{};
        all.param1 = -1;
        all.param14 = 14.5f;
        all.frequencyRanges1 = {{"Front", 10, 100}, {"", 20, 200}};
        all.bands = {{"Parametric", 1, 2, 3}};
        all.channelCurves = {{"Front", true, {{"a", 1, 2, 3}, {"", 0, 0, -9}}}, {"x", false, {}}};
        return all;
    }

    hidl_vec<V3_0::calibratedData> kept;
};

struct FakeVirtualizerCallback : V5_0::IHeadphoneVirtualizerCallback {
    Return<void> onTransferResult(int32_t) override { return Void(); }
};

struct FakeVirtualizer : V5_0::IHeadphoneVirtualizer {
    using Handler = V5_0::IHeadphoneVirtualizerCallback;
    Return<int32_t> setVirtualizerEnabled(bool) override { return 0; }
    Return<bool> getVirtualizerEnabled() override { return true; }
    Return<int32_t> setVirtualizerType(const hidl_string&) override { return 0; }
    Return<void> getVirtualizerType(getVirtualizerType_cb answer) override {
        answer("");
        return Void();
    }
    Return<void> getAvailableVirtualizerTypes(getAvailableVirtualizerTypes_cb answer) override {
        answer(Words{std::string(700'000, 'a'), std::string(700'000, 'b')});
        return Void();
    }
    Return<int32_t> setUpmixEnabled(bool) override { return 0; }
    Return<bool> getUpmixEnabled() override { return true; }
    Return<int32_t> allocateParameterBuffer(V5_0::ParamType, int32_t) override { return 0; }
    Return<int32_t> discardParameterBuffer(int32_t) override { return 0; }
    Return<int32_t> getMaxAppendSize() override { return 4; }
    Return<int32_t> append(int32_t, const hidl_vec<uint8_t>& data) override {
        return std::accumulate(data.begin(), data.end(), int32_t(data.size()));
    }
    Return<int32_t> apply(int32_t result, const sp<Handler>& handler) override {
        if (handler == nullptr) return -1;
        std::thread([=] {
            gJournal.say(handler->onTransferResult(result).isOk() ? "called" : "not");
        }).detach();
        return 0;
    }
    Return<int32_t> cancel(int32_t) override { return 0; }
};

/** The set's primary audio device, in this process. */
struct FakeDevice : platform::IPrimaryDevice {
    using Parameters = hidl_vec<android::hardware::audio::V5_0::ParameterValue>;
    Return<platform::Result> setParameters(const Parameters& context,
                                           const Parameters& parameters) override {
        const std::string sent = toString(context) + ", " + toString(parameters);
        const int32_t result = tvset::perform("setParameters", sent, [] { return 0; });
        if (result < 0) return Status::fromStatusT(DEAD_OBJECT);
        return platform::Result::OK;
    }
};

/** A service that hands out the object that it was given. */
struct FakeManager : IServiceManager {
    Return<sp<IBase>> get(const hidl_string&, const hidl_string&) override { return given; }
    Return<void> list(list_cb answer) override {
        answer({});
        return Void();
    }
    Return<bool> registerForNotifications(const hidl_string&, const hidl_string&,
                                          const sp<IServiceNotification>& callback) override {
        given = callback;
        return true;
    }
    sp<IBase> given;
};

struct Notification : IServiceNotification {
    Return<void> onRegistration(const hidl_string& name, const hidl_string& instance,
                                bool isPreexisting) override {
        gJournal.say(std::string(name) + "/" + std::string(instance) +
                     (isPreexisting ? " is there" : " has come"));
        return Void();
    }
};

inline void logToJournal(const __android_logger_data* entry, const char* text) {
    if (entry->tag != std::string("hidl")) return;
    const std::string line = text;  // without the time that a peer had: it depends on the machine
    gJournal.say(line.substr(0, line.find(" within ")));
}

/** A process that serves one of each as "default" and reports what its runtime logs. */
[[noreturn]] inline void serve() {
    __android_log_set_logger(logToJournal);
    configureRpcThreadpool(1, true);
    sp<FakeExternal> external = new FakeExternal;
    external->own = new FakeListener;
    for (const status_t status :
         {sp(new FakeHdmiAudio)->registerAsService(), sp(new FakeSpeaker)->registerAsService(),
          external->registerAsService(), external->own->registerAsService(),
          sp(new FakeCalibration)->registerAsService(), sp(new FakeManager)->registerAsService(),
          sp(new FakeVirtualizer)->registerAsService()}) {
        if (status != OK) gJournal.say("not registered: " + std::to_string(status));
    }
    gJournal.say("ready");
    joinRpcThreadpool();
    _exit(1);
}

inline sp<V3_1::IHdmiAudio> hdmiAudio() {
    return V3_1::IHdmiAudio::getService("default");
}

/** @return the answer of a FakeHdmiAudio, or -99 if none came. */
inline int32_t order(const sp<V1_0::IHdmiAudio>& service, const Words& words) {
    return service->setAudioCapabilities(words).withDefault(-99);
}

/** Gives the server a callback that it did not have. */
inline sp<IHdmiAudioCallback> give(std::function<void(const Words&)> told) {
    sp<IHdmiAudioCallback> callback = new Callback(std::move(told));
    EXPECT_TRUE(hdmiAudio()->setCallback(callback).isOk());
    EXPECT_EQ("another callback", gJournal.next());
    return callback;
}

/** What the runtime logs when it ends a connection. */
inline std::string closed(const std::string& why, pid_t pid = getpid()) {
    return "closed a connection of process " + std::to_string(pid) + ": " + why;
}

}  // namespace fakes
