#include "records/PrunePlan.h"

#include <algorithm>
#include <tuple>

#include "Catalogue/RecordingName.h"

std::vector<oldFile> EarlierThanToday(std::vector<oldFile> vFiles, LocalTime tNow) {
    const LocalTime tToday = StartOfDay(tNow);
    const std::string strToday = DayName(tToday);
    std::erase_if(vFiles,
                  [&](const oldFile& st) { return st.strDay >= strToday || st.tEnd > tToday; });
    std::sort(vFiles.begin(), vFiles.end(), [](const oldFile& a, const oldFile& b) {
        return std::tie(a.strDay, a.strDir, a.strCamera, a.strName) <
               std::tie(b.strDay, b.strDir, b.strCamera, b.strName);
    });
    return vFiles;
}

std::vector<oldFile> BeforeDay(const std::vector<oldFile>& vFiles, LocalTime tDay) {
    const std::string strDay = DayName(StartOfDay(tDay));
    std::vector<oldFile> vChosen;
    std::copy_if(vFiles.begin(), vFiles.end(), std::back_inserter(vChosen),
                 [&](const oldFile& st) { return st.strDay < strDay; });
    return vChosen;
}

std::vector<oldFile> OlderThanKept(const std::vector<oldFile>& vFiles, const keepRules& stRules,
                                   LocalTime tNow) {
    std::vector<oldFile> vChosen;
    std::copy_if(vFiles.begin(), vFiles.end(), std::back_inserter(vChosen), [&](const oldFile& st) {
        const auto it = stRules.mOfCameras.find(st.strCamera);
        const unsigned nDays = it == stRules.mOfCameras.end() ? stRules.nDays : it->second;
        return nDays > 0 && st.strDay < DayName(StartOfDay(tNow) - std::chrono::days(nDays));
    });
    return vChosen;
}

std::vector<oldFile> UntilFree(const std::vector<oldFile>& vFiles,
                               const std::map<std::string, diskRoom>& mRooms,
                               std::uint64_t nKeepFree) {
    std::map<std::uint64_t, std::uint64_t> mFree;
    for (const auto& [strDir, stRoom] : mRooms) mFree[stRoom.nDevice] = stRoom.nFreeBytes;
    std::vector<oldFile> vChosen;
    std::string strDay, strDir;
    for (const oldFile& st : vFiles) {
        std::uint64_t& nFree = mFree[mRooms.at(st.strDir).nDevice];
        const bool bDayBegun = st.strDay == strDay && st.strDir == strDir;
        if (nFree >= nKeepFree && !bDayBegun) continue;
        strDay = st.strDay;
        strDir = st.strDir;
        nFree += st.nBytes;
        vChosen.push_back(st);
    }
    return vChosen;
}
