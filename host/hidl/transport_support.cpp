#define LOG_TAG "hidl"

#include <atomic>

#include <android/hidl/base/1.0/BnHwBase.h>
#include <android/hidl/base/1.0/BpHwBase.h>
#include <hidl/HidlTransportSupport.h>

#include "host/hidl/event_loop.h"
#include "host/hidl/objects.h"
#include "host/hidl/services.h"

namespace android::hardware {

using hidl::base::V1_0::BnHwBase;
using hidl::base::V1_0::BpHwBase;
using hidl::base::V1_0::IBase;
using hidl::manager::V1_0::IServiceManager;
using hidl::manager::V1_0::IServiceNotification;

namespace {

std::atomic<bool> gCallerWillJoin{false};

std::vector<std::string> interfaceChain(const sp<IBase>& object) {
    std::vector<std::string> chain;
    object->interfaceChain([&](const hidl_vec<hidl_string>& descriptors) {
              chain.assign(descriptors.begin(), descriptors.end());
          }).assertOk();
    return chain;
}

std::string fullName(const std::string& descriptor, const std::string& instance) {
    return descriptor + "/" + instance;
}

sp<IBase> toInterface(const sp<IBinder>& binder) {
    if (binder == nullptr) return nullptr;
    sp<IBase> local = details::localObject(binder);
    return local != nullptr ? local : sp<IBase>(new BpHwBase(binder));
}

/** The run directory as the platform's clients see it. */
class ServiceManager : public IServiceManager {
  public:
    Return<sp<IBase>> get(const hidl_string& descriptor, const hidl_string& instance) override {
        return toInterface(findService(fullName(descriptor, instance), /* shouldWait */ false));
    }
    Return<void> list(list_cb answer) override {
        const std::vector<std::string> names = listServices();
        answer(hidl_vec<hidl_string>(names.begin(), names.end()));
        return Void();
    }
    Return<bool> registerForNotifications(const hidl_string& descriptor,
                                          const hidl_string& instance,
                                          const sp<IServiceNotification>& callback) override {
        if (callback == nullptr) return false;
        const auto notify = [=](bool isPreexisting) {
            callback->onRegistration(descriptor, instance, isPreexisting).isOk();
        };
        ProcessState::self()->startThreadPool();
        return watchService(fullName(descriptor, instance), notify) == OK;
    }
};

}  // namespace

void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin) {
    LOG_ALWAYS_FATAL_IF(maxThreads != 1, "one RPC thread is supported, not %zu", maxThreads);
    gCallerWillJoin = callerWillJoin;
}

void joinRpcThreadpool() {
    EventLoop::instance().run();
}

sp<ProcessState> ProcessState::self() {
    static auto* self = new sp<ProcessState>(new ProcessState);
    return *self;
}

void ProcessState::startThreadPool() {
    if (!gCallerWillJoin) EventLoop::instance().runInBackground();
}

sp<IServiceManager> defaultServiceManager() {
    static auto* manager = new sp<IServiceManager>(new ServiceManager);
    return *manager;
}

status_t BHwBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags,
                             TransactCallback callback) {
    return onTransact(code, data, reply, flags, std::move(callback));
}

IBinder* IInterface::asBinder(IInterface* interface) {
    return interface == nullptr ? nullptr : interface->onAsBinder();
}

void hidl_binder_death_recipient::binderDied(const wp<IBinder>&) {
    const sp<hidl_death_recipient> recipient = mRecipient.promote();
    if (recipient != nullptr) recipient->serviceDied(mCookie, mBase);
}

status_t readEmbeddedFromParcel(const hidl_string& string, const Parcel& parcel, size_t, size_t) {
    const size_t length = string.size();  // as the peer wrote it: 32 bits
    size_t handle;
    const void* data;
    status_t error = parcel.readBuffer(uint64_t{length} + 1, &handle, &data);
    // The structure lies in the message; its destructor must not free the peer's pointer.
    auto* target = new (const_cast<hidl_string*>(&string)) hidl_string;
    if (error != OK) return error;
    const char* text = static_cast<const char*>(data);
    if (text[length] != '\0') return parcel.malformed();
    target->setToExternal(text, length);
    return OK;
}

status_t writeEmbeddedToParcel(const hidl_string& string, Parcel* parcel, size_t handle,
                               size_t offset) {
    parcel->clearEmbedded(handle, offset, static_cast<uint32_t>(string.size()));
    return parcel->writeBytes(string.c_str(), uint64_t{string.size()} + 1);
}

sp<IBinder> getOrCreateCachedBinder(IBase* object) {
    if (object == nullptr) return nullptr;
    if (object->isRemote()) {
        auto* proxy = dynamic_cast<BpHwRefBase*>(object);
        return proxy == nullptr ? nullptr : proxy->remote();
    }
    static auto* makeLock = new std::mutex;  // two threads must not make two stubs of one object
    std::lock_guard<std::mutex> lock(*makeLock);
    if (sp<BHwBinder> known = details::gBnMap->get(object, nullptr).promote(); known != nullptr) {
        return known;
    }
    const std::string descriptor = interfaceChain(object).front();
    auto makeStub = details::getBnConstructorMap().get(descriptor, nullptr);
    if (makeStub == nullptr) return nullptr;
    // Interfaces derive singly from IBase: the address is that of the interface as well.
    sp<IBinder> stub = makeStub(object);
    details::gBnMap->set(object, stub->localBinder());
    return stub;
}

bool interfacesEqual(const sp<IBase>& a, const sp<IBase>& b) {
    if (a == nullptr || b == nullptr || !a->isRemote() || !b->isRemote()) return a == b;
    return getOrCreateCachedBinder(a.get()) == getOrCreateCachedBinder(b.get());
}

namespace details {

ConcurrentMap<const IBase*, wp<BHwBinder>>* gBnMap = new ConcurrentMap<const IBase*, wp<BHwBinder>>;
ConcurrentMap<wp<IBase>, SchedPrio>* gServicePrioMap = new ConcurrentMap<wp<IBase>, SchedPrio>;
ConcurrentMap<wp<IBase>, bool>* gServiceSidMap = new ConcurrentMap<wp<IBase>, bool>;

BnConstructorMap& getBnConstructorMap() {
    static auto* map = new BnConstructorMap;
    return *map;
}

BsConstructorMap& getBsConstructorMap() {
    static auto* map = new BsConstructorMap;
    return *map;
}

Return<bool> canCastInterface(IBase* object, const char* descriptor) {
    bool isOffered = false;
    Return<void> status = object->interfaceChain([&](const hidl_vec<hidl_string>& chain) {
        for (const hidl_string& offered : chain) isOffered |= offered == descriptor;
    });
    if (!status.isOk()) return statusOf(status);
    return isOffered;
}

sp<IBase> localObject(const sp<IBinder>& binder) {
    auto* stub = dynamic_cast<BnHwBase*>(binder->localBinder());
    return stub == nullptr ? nullptr : stub->getImpl();
}

sp<IBinder> findService(const std::string& descriptor, const std::string& instance,
                        bool shouldWait) {
    return hardware::findService(fullName(descriptor, instance), shouldWait);
}

status_t registerAsServiceInternal(const sp<IBase>& service, const std::string& instance) {
    if (service == nullptr) return UNEXPECTED_NULL;
    sp<IBinder> stub = getOrCreateCachedBinder(service.get());
    if (stub == nullptr || stub->localBinder() == nullptr) return INVALID_OPERATION;
    std::vector<std::string> names;
    for (const std::string& descriptor : interfaceChain(service)) {
        names.push_back(fullName(descriptor, instance));
    }
    names.pop_back();  // every object is an IBase: that name adds nothing
    ProcessState::self()->startThreadPool();
    return registerService(names, stub->localBinder());
}

}  // namespace details
}  // namespace android::hardware
