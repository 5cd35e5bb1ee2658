#pragma once

#include <functional>

#include <hidl/HidlSupport.h>

namespace android::hardware {

class BHwBinder;
class BpHwBinder;
class Parcel;

/** Names an object across processes; random, so that nobody can guess that of another. */
struct Identity {
    uint64_t words[2] = {0, 0};

    static Identity random();
    bool isNull() const { return words[0] == 0 && words[1] == 0; }
    bool operator==(const Identity& o) const {
        return words[0] == o.words[0] && words[1] == o.words[1];
    }
    bool operator<(const Identity& o) const {
        return words[0] != o.words[0] ? words[0] < o.words[0] : words[1] < o.words[1];
    }
};

/** An object that can be called through the transport, of this process or of another. */
class IBinder : public virtual RefBase {
  public:
    /** Sends a reply. It may point into memory that is valid during this call only. */
    using TransactCallback = std::function<void(Parcel&)>;

    enum : uint32_t { FLAG_ONEWAY = 1 };

    /** Told of the death of a remote object, on the RPC thread. */
    class DeathRecipient : public virtual RefBase {
      public:
        virtual void binderDied(const wp<IBinder>& who) = 0;
    };

    /**
     * Calls a method. Any thread. A one-way call is on its way then, behind those of other threads
     * to the same object, and its outcome is not reported.
     *
     * @return OK; DEAD_OBJECT if the other side is gone or was given up; TIMED_OUT if it has just
     *     been given up; WOULD_BLOCK if it has no time left for calls; FAILED_TRANSACTION if the
     *     message takes more than a set could carry; -ELOOP for too many nested calls; or the
     *     error that the other side met.
     */
    virtual status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0,
                              TransactCallback callback = nullptr) = 0;

    /**
     * @return OK; DEAD_OBJECT if it is dead already; NO_MEMORY if the system watches no more
     *     descriptors, or for too many links, which ends the connection; INVALID_OPERATION for a
     *     local object.
     */
    virtual status_t linkToDeath(const sp<DeathRecipient>&) { return INVALID_OPERATION; }
    /** @return OK, NAME_NOT_FOUND if the recipient is not linked (any more). */
    virtual status_t unlinkToDeath(const wp<DeathRecipient>&) { return INVALID_OPERATION; }

    virtual BHwBinder* localBinder() { return nullptr; }
    virtual BpHwBinder* remoteBinder() { return nullptr; }
};

/** An object of this process. Derived classes unpack a call and run it in onTransact(). */
class BHwBinder : public IBinder {
  public:
    ~BHwBinder() override;
    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0,
                      TransactCallback callback = nullptr) override;
    BHwBinder* localBinder() override { return this; }
    /** The name under which other processes know this object. */
    const Identity& identity() const { return mIdentity; }
    /** Callers' security labels are not known here. */
    void setRequestingSid(bool) {}

  protected:
    virtual status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                uint32_t flags = 0, TransactCallback callback = nullptr) = 0;

    int mSchedPolicy = SCHED_NORMAL;
    int mSchedPriority = 0;

  private:
    const Identity mIdentity = Identity::random();
};

/** Part of every proxy: the remote object that it stands for. */
class BpHwRefBase : public virtual RefBase {
  public:
    explicit BpHwRefBase(const sp<IBinder>& remote) : mRemote(remote) {}
    IBinder* remote() const { return mRemote.get(); }

  private:
    const sp<IBinder> mRemote;
};

/** Part of every proxy: leads generated code from the proxy to the remote object. */
class IInterface : public virtual RefBase {
  public:
    static IBinder* asBinder(IInterface* interface);

  protected:
    virtual IBinder* onAsBinder() = 0;
};

template <typename INTERFACE>
class BpInterface : public INTERFACE, public IInterface, public BpHwRefBase {
  public:
    explicit BpInterface(const sp<IBinder>& remote) : BpHwRefBase(remote) {}

  protected:
    IBinder* onAsBinder() override { return remote(); }
};

}  // namespace android::hardware
