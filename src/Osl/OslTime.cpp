#include <mutex>
#include <time.h>

#include "Osl/Osl.h"
#include "Osl/OslCalls.h"

std::time_t OSL_Time() {
    struct timespec stNow = {};
    OSL_Call().pfnClock(CLOCK_REALTIME, &stNow);
    return stNow.tv_sec;
}

std::int64_t OSL_TimeMilliseconds() {
    struct timespec stNow = {};
    OSL_Call().pfnClock(CLOCK_REALTIME, &stNow);
    return std::int64_t{stNow.tv_sec} * 1000 + stNow.tv_nsec / 1000000;
}

bool OSL_LocalTime(std::time_t t, std::tm& stTime) {
    // The C library guards the zone by itself, but where no thread checker can see it.
    static std::mutex s_mutex;
    const std::lock_guard<std::mutex> guard(s_mutex);
    ::tzset();  // localtime_r alone would never learn that the machine's time zone was changed
    std::tm stLocal;
    if (!::localtime_r(&t, &stLocal)) return false;
    stTime = stLocal;
    return true;
}
