// Which day goes first when disks are full: what a deletion pass asks an index, and how it chooses.

#ifndef LOCALSTORAGE_INDEXMGR_OLDESTDAY_H
#define LOCALSTORAGE_INDEXMGR_OLDESTDAY_H

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "Log/LogError.h"
#include "Osl/Osl.h"
#include "RecordTree/RecordPath.h"

/// Days that a deletion pass leaves alone: paths of day folders.
using PassedOverDays = std::set<std::string>;

/// What a deletion pass leaves alone.
struct passedOver {
    PassedOverDays setDays;
    std::vector<std::string> vRecDirs;  ///< whole record directories
};

/// After a look at a folder that failed: logs it, unless the folder is gone. Ends the pass, by a
/// std::system_error, when the process has no handle or memory to spare: what it cannot see for
/// that must not let a newer day go first.
inline void PassOverUnreadable(const char* pMethod, const std::string& strPath) {
    const int nError = OSL_GetSystemLastError();
    LogErrorUnlessGone(pMethod, "cannot be read, passed over", strPath, nError);
    if (OSL_IsShortage(nError)) throw std::system_error(nError, std::generic_category());
}

/// The oldest day of one record directory.
struct dayOffer {
    dayFolder stDay;
    long lTime = 0;  ///< modification time of its folder
    int nDisk = 0;   ///< CRecordDisk::Disk
};

/// What a deletion pass asks of one record directory, in either layout.
class COldestDays {
public:
    virtual ~COldestDays() = default;

    /// The oldest day that is not passed over. False: there is none, or the disk is not there.
    virtual bool GetOldestDate(const PassedOverDays& setPassedOver, dayOffer& offer) = 0;
    /// Appends the paths of all files of a day that was offered.
    virtual void ListDay(const dayFolder& stDay, std::vector<recordPath>& vFiles) = 0;
};

/// A day with its files.
struct oldestDay {
    dayFolder stDay;
    std::vector<recordPath> vFiles;
    int nDisk = 0;  ///< which must still be there when they are deleted: CRecordDisk::Disk
};

/// The offer with the earliest day; of equal days the one with the earlier time, of equal times the
/// first. There is at least one.
inline std::size_t ChooseOldestDay(const std::vector<dayOffer>& vOffers) {
    const auto isBefore = [](const dayOffer& a, const dayOffer& b) {
        const int nOrder = a.stDay.strDay.compare(b.stDay.strDay);
        return nOrder != 0 ? nOrder < 0 : a.lTime < b.lTime;
    };
    return static_cast<std::size_t>(std::min_element(vOffers.begin(), vOffers.end(), isBefore) -
                                    vOffers.begin());
}

#endif  // LOCALSTORAGE_INDEXMGR_OLDESTDAY_H
