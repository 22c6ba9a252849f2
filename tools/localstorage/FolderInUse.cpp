#include "FolderInUse.h"

#include <algorithm>

#include "Output.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/Names.h"
#include "Tree.h"

namespace {

bool HasIndex(const std::string& strDir) {
    const auto vecFolders = RecordFolders(strDir);
    return std::any_of(vecFolders.begin(), vecFolders.end(), [&](const std::string& strFolder) {
        return Exists(strDir + "/" + strFolder + "/" + INDEX_FILE_LEVEL1);
    });
}

}  // namespace

bool IsClientLayout(const std::string& strDir) {
    return !HasIndex(strDir) && FindLayout(strDir, LOCAL_STORAGE_CLIENT) &&
           !FindLayout(strDir, LOCAL_STORAGE_REMOTE_BACKUP);
}

std::string FolderInUse(const std::string& strDir, const std::vector<std::string>& vecDirs) {
    const bool bBackup = std::any_of(vecDirs.begin(), vecDirs.end(), [](const std::string& strOne) {
        return Exists(strOne + "/" + BACKUP_FOLDER);
    });
    return bBackup && !IsClientLayout(strDir) ? BACKUP_FOLDER : RECORD_FOLDER;
}

void TellHidden(const std::vector<std::string>& vecDirs, const std::vector<recording>& vecFound) {
    for (const std::string& strDir : vecDirs) {
        const std::string strInUse = FolderInUse(strDir, vecDirs);
        const auto nHidden = std::count_if(
            vecFound.begin(), vecFound.end(),
            [&](const recording& st) { return st.strDisk == strDir && st.strFolder != strInUse; });
        if (nHidden == 0) continue;
        PrintMessage(strDir + ": hosts use " + strInUse + " and do not find " +
                     Count(static_cast<std::uint64_t>(nHidden), "recording") +
                     " beside it; see \"localstorage check\"");
    }
}
