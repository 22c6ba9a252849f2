#include "records/PrunePlan.h"

#include <algorithm>
#include <tuple>

#include "records/RecordingName.h"

std::vector<oldFile> EarlierThanToday(std::vector<oldFile> vecFiles, LocalTime tNow) {
    const LocalTime tToday = StartOfDay(tNow);
    const std::string strToday = DayName(tToday);
    std::erase_if(vecFiles,
                  [&](const oldFile& st) { return st.strDay >= strToday || st.tEnd > tToday; });
    std::sort(vecFiles.begin(), vecFiles.end(), [](const oldFile& a, const oldFile& b) {
        return std::tie(a.strDay, a.strDisk, a.strCamera, a.strName) <
               std::tie(b.strDay, b.strDisk, b.strCamera, b.strName);
    });
    return vecFiles;
}

std::vector<oldFile> BeforeDay(const std::vector<oldFile>& vecFiles, LocalTime tDay) {
    const std::string strDay = DayName(StartOfDay(tDay));
    std::vector<oldFile> vecChosen;
    std::copy_if(vecFiles.begin(), vecFiles.end(), std::back_inserter(vecChosen),
                 [&](const oldFile& st) { return st.strDay < strDay; });
    return vecChosen;
}

std::vector<oldFile> UntilFree(const std::vector<oldFile>& vecFiles,
                               const std::map<std::string, diskRoom>& mapRooms,
                               std::uint64_t nKeepFree) {
    std::map<std::uint64_t, std::uint64_t> mapFree;
    for (const auto& [strDisk, stRoom] : mapRooms) mapFree[stRoom.nDevice] = stRoom.nFreeBytes;
    std::vector<oldFile> vecChosen;
    std::string strDay, strDisk;
    for (const oldFile& st : vecFiles) {
        std::uint64_t& nFree = mapFree[mapRooms.at(st.strDisk).nDevice];
        const bool bDayBegun = st.strDay == strDay && st.strDisk == strDisk;
        if (nFree >= nKeepFree && !bDayBegun) continue;
        strDay = st.strDay;
        strDisk = st.strDisk;
        nFree += st.nBytes;
        vecChosen.push_back(st);
    }
    return vecChosen;
}
