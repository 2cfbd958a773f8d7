#include "platform/tempfiles.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <unistd.h>

namespace ut::platform {

namespace {

// Fixed storage, so that a handler never meets memory being freed: a slot is
// claimed (kFilling), filled, published (kLive) and released (kFree).
enum : int { kFree = 0, kFilling = 1, kLive = 2 };
constexpr int kSlots = 64;

struct Slot {
    std::atomic<int> state{kFree};
    char path[PATH_MAX];
};

Slot g_slots[kSlots];

void onSignal(int signo) {
    const int saved = errno;
    removeRegisteredTemporaries();
    errno = saved;
    ::signal(signo, SIG_DFL);
    ::raise(signo);
}

} // namespace

int registerTemporary(const std::string& nativePath) {
    if (nativePath.empty() || nativePath.size() >= PATH_MAX)
        return -1;
    for (int i = 0; i < kSlots; ++i) {
        int expected = kFree;
        if (!g_slots[i].state.compare_exchange_strong(expected, kFilling, std::memory_order_acquire))
            continue;
        std::memcpy(g_slots[i].path, nativePath.c_str(), nativePath.size() + 1);
        g_slots[i].state.store(kLive, std::memory_order_release);
        return i;
    }
    return -1;
}

void unregisterTemporary(int slot) {
    if (slot >= 0 && slot < kSlots)
        g_slots[slot].state.store(kFree, std::memory_order_release);
}

void unregisterTemporary(const std::string& nativePath) {
    for (int i = 0; i < kSlots; ++i) {
        if (g_slots[i].state.load(std::memory_order_acquire) == kLive && nativePath == g_slots[i].path) {
            unregisterTemporary(i);
            return;
        }
    }
}

void removeRegisteredTemporaries() {
    for (auto& slot : g_slots)
        if (slot.state.load(std::memory_order_acquire) == kLive)
            ::unlink(slot.path);
}

void removeTemporariesOnSignals() {
    for (int signo : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        struct sigaction action {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(signo, &action, nullptr);
    }
}

} // namespace ut::platform
