#include "RecordTree/ReservedSpace.h"

#include <cstdint>
#include <vector>

#include "FileSystem/ForEachEntry.h"
#include "Osl/Osl.h"
#include "RecordTree/Names.h"

namespace {

// A disk of another machine has a clock of its own.
constexpr std::int64_t CLOCKS_APART = 3600;  // s
// File systems allocate a little more than the content by themselves.
constexpr std::uint64_t UNRESERVED = 64 << 10;

// The name of the day before the one in which `t` lies; "" when the system cannot tell.
std::string DayBefore(std::time_t t) {
    std::tm stTime;
    if (!OSL_LocalTime(t - 86400, stTime)) return {};
    return GetDirName(dateInfo{static_cast<std::uint16_t>(stTime.tm_year + 1900),
                               static_cast<std::uint8_t>(stTime.tm_mon + 1),
                               static_cast<std::uint8_t>(stTime.tm_mday)});
}

class CReservedSpace {
public:
    explicit CReservedSpace(std::time_t tSince)
        : m_tSince(tSince - CLOCKS_APART), m_strDayBefore(DayBefore(tSince)) {}

    std::size_t GiveBack(const std::string& strFolder) {
        for (const std::string& strDay : FoldersIn(strFolder, OSL_LastLink::IsFollowed)) {
            const std::string strPath = strFolder + "/" + strDay;
            for (const std::string& strChannel : FoldersIn(strPath, OSL_LastLink::Fails)) {
                Channel(strPath + "/" + strChannel, strDay >= m_strDayBefore);
            }
        }
        return m_nFiles;
    }

private:
    static std::vector<std::string> FoldersIn(const std::string& strDir, OSL_LastLink eLink) {
        std::vector<std::string> vNames;
        const auto take = [&](const OSL_FIND_DATA& stData) {
            if (stData.wFileType == OSL_TYPE_DIR) vNames.emplace_back(stData.szName);
        };
        ForEachEntry(strDir, take, eLink);
        return vNames;
    }

    // A folder tells of the files that the run made in it, but not of one of a day or so before
    // that it continued.
    void Channel(const std::string& strChannel, bool bRecent) {
        OSL_FINFO_S stInfo;
        if (OSL_GetFileInfo(strChannel.c_str(), stInfo) != 0) return;
        if (!bRecent && stInfo.tModify < m_tSince) return;
        ForEachEntry(strChannel, [&](const OSL_FIND_DATA& stData) {
            if (stData.wFileType == OSL_TYPE_FILE) File(strChannel + "/" + stData.szName);
        });
    }

    void File(const std::string& strPath) {
        OSL_FINFO_S stInfo;
        if (OSL_GetFileInfo(strPath.c_str(), stInfo) != 0 || stInfo.tModify < m_tSince) return;
        if (stInfo.nAllocated < stInfo.nSize + UNRESERVED) return;
        const OSL_FileHandle hFile = OSL_OpenFile(strPath.c_str(), OSL_OPEN_WRITE, 0);
        if (hFile == OSL_INVALID_FILE) return;
        if (OSL_GiveBackSpace(hFile) == 0) ++m_nFiles;
        OSL_CloseFile(hFile);
    }

    const std::int64_t m_tSince;
    const std::string m_strDayBefore;
    std::size_t m_nFiles = 0;
};

}  // namespace

std::size_t GiveBackReservedSpace(const std::string& strFolder, std::time_t tSince) {
    return CReservedSpace(tSince).GiveBack(strFolder);
}
