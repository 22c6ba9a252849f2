// The recordings of the host that is killed, by their numbers.

#ifndef LOCALSTORAGE_TESTS_HOUSE_KILLED_H
#define LOCALSTORAGE_TESTS_HOUSE_KILLED_H

#include <string>

#include "Support/Host.h"

inline std::string NumberedCamera(int nNumber) {
    return nNumber % 3 == 0 ? "front_door" : "cam01_" + std::to_string(nNumber % 3) + "_0";
}

/// Ten minutes each, one after the other, from 2024-03-01 on.
inline recFileInfo NumberedFile(int nNumber) {
    constexpr int PER_HOUR = 6, PER_DAY = 24 * PER_HOUR;
    recFileInfo stFile;
    stFile.stStartTime = BlockTime(2024, 3, 1 + nNumber / PER_DAY, nNumber % PER_DAY / PER_HOUR,
                                   nNumber % PER_HOUR * 10);
    stFile.stEndTime = stFile.stStartTime;
    stFile.stEndTime.byMinute += 9;
    return stFile;
}

#endif  // LOCALSTORAGE_TESTS_HOUSE_KILLED_H
