#define LOG_TAG "hidl"

#include "host/hidl/peer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <map>
#include <utility>

#include <log/log.h>

#include "host/hidl/channel.h"

namespace android::hardware {

namespace {

struct Peers {
    std::mutex lock;
    std::map<pid_t, std::weak_ptr<Peer>> all;  // guarded by lock
    size_t memory = 0;                         // guarded by lock
};

Peers& peers() {
    static auto* instance = new Peers;  // outlives connections that end at exit
    return *instance;
}

}  // namespace

std::shared_ptr<Peer> Peer::of(pid_t pid) {
    const std::lock_guard<std::mutex> lock(peers().lock);
    std::weak_ptr<Peer>& entry = peers().all[pid];
    std::shared_ptr<Peer> peer = entry.lock();
    if (peer == nullptr) entry = peer = std::make_shared<Peer>(pid);
    return peer;
}

Peer::~Peer() {
    const std::lock_guard<std::mutex> lock(peers().lock);
    const auto it = peers().all.find(mPid);
    if (it != peers().all.end() && it->second.expired()) peers().all.erase(it);
}

size_t Peer::connections() const {
    const std::lock_guard<std::mutex> lock(mLock);
    return mChannels.size();
}

void Peer::logClosed(const char* why) const {
    ALOGW("closed a connection of process %d: %s", mPid, why);
}

void Peer::logNotCalled(uint64_t call) {
    {
        const std::lock_guard<std::mutex> lock(mLock);
        if (std::exchange(mCallMissed, call) == call) return;
    }
    ALOGW("did not call process %d: no time is left for it", mPid);
}

void Peer::giveUp(const char* why) {
    logClosed(why);
    mIsGivenUp = true;
    const std::lock_guard<std::mutex> lock(mLock);
    for (const Channel* channel : mChannels) channel->shutdown();
}

void Peer::add(const Channel* channel) {
    const std::lock_guard<std::mutex> lock(mLock);
    mChannels.insert(channel);
}

void Peer::remove(const Channel* channel) {
    const std::lock_guard<std::mutex> lock(mLock);
    mChannels.erase(channel);
}

bool Peer::Memory::claim(size_t size) {
    if (size == mSize) return true;
    const std::lock_guard<std::mutex> lock(peers().lock);
    const size_t ofPeer = mPeer.mMemory - mSize + size;
    const size_t ofAll = peers().memory - mSize + size;
    if (size > mSize && (ofPeer > limits::kMaxPeerMemory || ofAll > limits::kMaxMemory)) {
        return false;
    }
    mPeer.mMemory = ofPeer;
    peers().memory = ofAll;
    mSize = size;
    return true;
}

limits::Duration Peer::waited(uint64_t call) const {
    const std::lock_guard<std::mutex> lock(mLock);
    return mCall == call ? mWaited : limits::Duration(0);
}

void Peer::addWait(uint64_t call, limits::Duration duration) {
    const std::lock_guard<std::mutex> lock(mLock);
    mWaited = duration + (mCall == call ? mWaited : limits::Duration(0));
    mCall = call;
}

pid_t trustedPeer(int socket) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return -1;
    return peer.uid == geteuid() ? peer.pid : -1;
}

}  // namespace android::hardware
