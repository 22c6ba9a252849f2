#include "records/FolderInUse.h"

#include <algorithm>

#include "RecordTree/IndexFiles.h"
#include "RecordTree/Names.h"
#include "records/Tree.h"

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

std::vector<hiddenRecordings> FindHidden(const std::vector<std::string>& vecDirs,
                                         const std::vector<recording>& vecFound) {
    std::vector<hiddenRecordings> vecHidden;
    for (const std::string& strDir : vecDirs) {
        hiddenRecordings st;
        st.strDir = strDir;
        st.strInUse = FolderInUse(strDir, vecDirs);
        st.strFolder = st.strInUse == RECORD_FOLDER ? BACKUP_FOLDER : RECORD_FOLDER;
        for (const recording& stFound : vecFound) {
            st.nCount += stFound.strDisk == strDir && stFound.strFolder == st.strFolder;
        }
        if (st.nCount > 0) vecHidden.push_back(std::move(st));
    }
    return vecHidden;
}
