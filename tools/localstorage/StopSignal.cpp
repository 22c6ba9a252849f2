#include "StopSignal.h"

#include <csignal>

namespace {

std::atomic<bool> g_bStop = false;
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers may set it");

void OnSignal(int) {
    g_bStop = true;
}

}  // namespace

const std::atomic<bool>& CatchStopSignals() {
    struct sigaction st = {};
    st.sa_handler = OnSignal;
    st.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &st, nullptr);
    sigaction(SIGTERM, &st, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return g_bStop;
}

void RequestStop() {
    g_bStop = true;
}
