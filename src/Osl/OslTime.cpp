#include <mutex>
#include <time.h>

#include "Osl/Osl.h"
#include "Osl/OslCalls.h"

namespace {

struct timespec Now(clockid_t nClock) {
    struct timespec stNow = {};
    OSL_Call().pfnClock(nClock, &stNow);
    return stNow;
}

std::int64_t Milliseconds(const struct timespec& stTime) {
    return std::int64_t{stTime.tv_sec} * 1000 + stTime.tv_nsec / 1000000;
}

}  // namespace

std::time_t OSL_Time() {
    return Now(CLOCK_REALTIME).tv_sec;
}

std::int64_t OSL_TimeMilliseconds() {
    return Milliseconds(Now(CLOCK_REALTIME));
}

std::int64_t OSL_TickMilliseconds() {
    return Milliseconds(Now(CLOCK_MONOTONIC));
}

bool OSL_LocalTime(std::time_t t, std::tm& stTime, OSL_Zone eZone) {
    // The C library guards the zone by itself, but where no thread checker can see it.
    static std::mutex s_mtx;
    static std::time_t s_tAsked = 0;
    const std::lock_guard<std::mutex> guard(s_mtx);
    const std::time_t tNow = OSL_Time();
    // localtime_r alone would never learn that the machine's time zone was changed.
    if (eZone == OSL_Zone::AskedNow || tNow != s_tAsked) ::tzset();
    s_tAsked = tNow;
    std::tm stLocal;
    if (!::localtime_r(&t, &stLocal)) return false;
    stTime = stLocal;
    return true;
}
