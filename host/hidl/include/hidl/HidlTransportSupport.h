#pragma once

#include <string>

#include <android/hidl/base/1.0/IBase.h>
#include <android/hidl/manager/1.0/IServiceManager.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <hwbinder/IBinder.h>
#include <hwbinder/Parcel.h>
#include <hwbinder/ProcessState.h>
#include <log/log.h>

namespace android::hardware {

/**
 * Says how calls to this process's objects will be served, before the first is registered. One
 * thread is supported: the caller's own, with `callerWillJoin` and joinRpcThreadpool(), or one
 * that is started when it is needed.
 *
 * @param maxThreads 1: any other number ends the process.
 */
void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);

/**
 * Serves calls and death notices on the calling thread; if one serves them already, only waits.
 * Does not return.
 */
void joinRpcThreadpool();

/** Finds and lists services, and tells when one is registered. In this process; any thread. */
sp<hidl::manager::V1_0::IServiceManager> defaultServiceManager();

status_t readFromParcel(Status* status, const Parcel& parcel);
status_t writeToParcel(const Status& status, Parcel* parcel);

// Strings and arrays within structures: the reader takes their contents from the stream and points
// them to it. `handle` and `offset` say where the structure stands in a parcel being written.

status_t readEmbeddedFromParcel(const hidl_string& string, const Parcel& parcel, size_t handle,
                                size_t offset);
status_t writeEmbeddedToParcel(const hidl_string& string, Parcel* parcel, size_t handle,
                               size_t offset);

template <typename T>
status_t readEmbeddedFromParcel(const hidl_vec<T>& vec, const Parcel& parcel, size_t /* handle */,
                                size_t /* offset */, size_t* childHandle) {
    const size_t count = vec.size();  // as the peer wrote it
    const void* data;
    status_t error = parcel.readBuffer(uint64_t{count} * sizeof(T), childHandle, &data);
    // The structure lies in the message; its destructor must not free the peer's pointer.
    new (const_cast<hidl_vec<T>*>(&vec)) hidl_vec<T>;
    if (error != OK) return error;
    T* elements = static_cast<T*>(const_cast<void*>(data));
    const_cast<hidl_vec<T>&>(vec).setToExternal(elements, count);
    return OK;
}

template <typename T>
status_t writeEmbeddedToParcel(const hidl_vec<T>& vec, Parcel* parcel, size_t handle, size_t offset,
                               size_t* childHandle) {
    parcel->clearEmbedded(handle, offset, static_cast<uint32_t>(vec.size()));
    return parcel->writeStructures(vec.data(), vec.size(), childHandle);
}

/** Passes the death of a remote object on to the recipient that a client linked. */
class hidl_binder_death_recipient : public IBinder::DeathRecipient {
  public:
    hidl_binder_death_recipient(const sp<hidl_death_recipient>& recipient, uint64_t cookie,
                                const sp<hidl::base::V1_0::IBase>& base)
        : mRecipient(recipient), mCookie(cookie), mBase(base) {}
    void binderDied(const wp<IBinder>& who) override;
    const wp<hidl_death_recipient>& getRecipient() const { return mRecipient; }

  private:
    const wp<hidl_death_recipient> mRecipient;  // the client keeps it
    const uint64_t mCookie;
    const wp<hidl::base::V1_0::IBase> mBase;
};

/** The object that represents an interface object on the transport: its stub, or its remote. */
sp<IBinder> getOrCreateCachedBinder(hidl::base::V1_0::IBase* object);

/** Whether two references lead to the same object, through whatever proxies. */
bool interfacesEqual(const sp<hidl::base::V1_0::IBase>& a, const sp<hidl::base::V1_0::IBase>& b);

namespace details {

/** A map that generated code fills and asks from any thread. */
template <typename Key, typename Value>
class ConcurrentMap {
  public:
    void set(const Key& key, Value value) {
        std::lock_guard<std::mutex> lock(mLock);
        mMap[key] = std::move(value);
    }
    Value get(const Key& key, Value fallback) const {
        std::lock_guard<std::mutex> lock(mLock);
        auto it = mMap.find(key);
        return it == mMap.end() ? std::move(fallback) : it->second;
    }
    void erase(const Key& key) {
        std::lock_guard<std::mutex> lock(mLock);
        mMap.erase(key);
    }
    void eraseIfEqual(const Key& key, const void* value) {
        std::lock_guard<std::mutex> lock(mLock);
        auto it = mMap.find(key);
        if (it != mMap.end() && it->second.unsafe_get() == value) mMap.erase(it);
    }

  private:
    mutable std::mutex mLock;
    std::map<Key, Value> mMap;
};

struct SchedPrio {
    int sched_policy;
    int prio;
};

using BnConstructorMap = ConcurrentMap<std::string, std::function<sp<IBinder>(void*)>>;
using BsConstructorMap =
        ConcurrentMap<std::string, std::function<sp<hidl::base::V1_0::IBase>(void*)>>;

/** How to make the stub of an interface, by its name. */
BnConstructorMap& getBnConstructorMap();
/** How to make the passthrough wrapper of an interface, by its name. */
BsConstructorMap& getBsConstructorMap();

// These are pointers because generated code runs after static objects are destroyed.
/** The stub of each local object that has been sent somewhere. */
extern ConcurrentMap<const hidl::base::V1_0::IBase*, wp<BHwBinder>>* gBnMap;
/** Priorities and security labels that a server asked for; none can be asked for here. */
extern ConcurrentMap<wp<hidl::base::V1_0::IBase>, SchedPrio>* gServicePrioMap;
extern ConcurrentMap<wp<hidl::base::V1_0::IBase>, bool>* gServiceSidMap;

/** Whether an object offers an interface, asked of the object itself. */
Return<bool> canCastInterface(hidl::base::V1_0::IBase* object, const char* descriptor);

template <typename Child, typename Parent, typename BpChild>
Return<sp<Child>> castInterface(sp<Parent> parent, const char* descriptor, bool emitError) {
    if (parent == nullptr) return sp<Child>();
    Return<bool> can = canCastInterface(parent.get(), descriptor);
    if (!can.isOk()) {
        if (emitError) return statusOf(can);
        return sp<Child>();
    }
    if (!can) return sp<Child>();
    if (!parent->isRemote()) return sp<Child>(static_cast<Child*>(parent.get()));
    return sp<Child>(new BpChild(getOrCreateCachedBinder(parent.get())));
}

/** Passthrough is not offered: the object itself. */
template <typename T>
sp<T> wrapPassthrough(sp<T> object) {
    return object;
}

/** @return the object registered under a name, as a binder; null if there is none. */
sp<IBinder> findService(const std::string& descriptor, const std::string& instance,
                        bool shouldWait);
/** The local interface object behind a stub, or null for a remote one. */
sp<hidl::base::V1_0::IBase> localObject(const sp<IBinder>& binder);

}  // namespace details

/** The interface object that a binder, received in a call or found by name, stands for. */
template <typename IType, typename ProxyType, typename StubType>
sp<IType> fromBinder(const sp<IBinder>& binder) {
    if (binder == nullptr) return nullptr;
    sp<hidl::base::V1_0::IBase> local = details::localObject(binder);
    if (local == nullptr) return new ProxyType(binder);
    // Others chose which of our objects this is: it may be one of another interface.
    if (!details::canCastInterface(local.get(), IType::descriptor).withDefault(false)) {
        return nullptr;
    }
    return static_cast<IType*>(local.get());
}

namespace details {

template <typename BpType, typename IType = typename BpType::Pure>
sp<IType> getServiceInternal(const std::string& instance, bool retry, bool getStub) {
    if (getStub) return nullptr;
    return fromBinder<IType, BpType, void>(findService(IType::descriptor, instance, retry));
}

status_t registerAsServiceInternal(const sp<hidl::base::V1_0::IBase>& service,
                                   const std::string& instance);

}  // namespace details

}  // namespace android::hardware
