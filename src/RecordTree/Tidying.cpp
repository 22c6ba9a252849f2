#include "RecordTree/Tidying.h"

#include <algorithm>

#include "FileSystem/FileSystem.h"

bool RemoveIfIndexOnly(const std::string& strFolder, TreeLevel eLevel) {
    std::list<std::string> lsSubDir, lsSubFile;
    const auto isOfIndex = [eLevel](const std::string& strName) {
        const EntryVerdict eVerdict = JudgeEntry(eLevel, strName, false);
        return eVerdict == EntryVerdict::IndexFile || eVerdict == EntryVerdict::LeftOver;
    };
    if (!GetSubTargetList(strFolder, lsSubDir, lsSubFile) || !lsSubDir.empty() ||
        !std::all_of(lsSubFile.begin(), lsSubFile.end(), isOfIndex)) {
        return false;
    }
    for (const std::string& strName : lsSubFile) {
        OSL_DeleteFile((strFolder + "/" + strName).c_str());
    }
    return OSL_RemoveDir(strFolder.c_str()) == 0;
}
