#include "Catalogue/FolderInUse.h"

#include <algorithm>

#include "Catalogue/Tree.h"
#include "Osl/Osl.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/Names.h"

namespace {

bool HasIndex(const std::string& strDir) {
    const auto vFolders = RecordFolders(strDir);
    return std::any_of(vFolders.begin(), vFolders.end(), [&](const std::string& strFolder) {
        return Exists(strDir + "/" + strFolder + "/" + INDEX_FILE_LEVEL1);
    });
}

enum class RecordFolder { None, Readable, Unreadable };

RecordFolder LookAtRecordFolder(const std::string& strDir) {
    const std::string strPath = strDir + "/" + RECORD_FOLDER;
    OSL_FINFO_S stInfo;
    if (OSL_GetFileInfo(strPath.c_str(), stInfo) != 0) return RecordFolder::None;
    return OSL_OwnDir(OSL_OpenDir(strPath.c_str(), OSL_LastLink::IsFollowed))
               ? RecordFolder::Readable
               : RecordFolder::Unreadable;
}

}  // namespace

bool IsClientLayout(const std::string& strDir) {
    return !HasIndex(strDir) && FindLayout(strDir, LOCAL_STORAGE_CLIENT) &&
           !FindLayout(strDir, LOCAL_STORAGE_REMOTE_BACKUP);
}

CFolderInUse::CFolderInUse(const std::vector<std::string>& vDirs) {
    for (const std::string& strOne : vDirs) {
        m_bBackup = m_bBackup || Exists(strOne + "/" + BACKUP_FOLDER);
        const RecordFolder eFolder = LookAtRecordFolder(strOne);
        m_bReadable = m_bReadable || eFolder == RecordFolder::Readable;
        m_bUnreadable = m_bUnreadable || eFolder == RecordFolder::Unreadable;
    }
}

void CFolderInUse::Add(const CFolderInUse& objOther) {
    m_bBackup |= objOther.m_bBackup;
    m_bReadable |= objOther.m_bReadable;
    m_bUnreadable |= objOther.m_bUnreadable;
}

std::string CFolderInUse::In(const std::string& strDir) const {
    // Of the remote-backup layout.
    const bool bBackup = m_bBackup && (m_bUnreadable || !m_bReadable);
    return bBackup && !IsClientLayout(strDir) ? BACKUP_FOLDER : RECORD_FOLDER;
}

std::vector<hiddenRecordings> FindHidden(const std::vector<std::string>& vDirs,
                                         const std::vector<recording>& vFound) {
    std::vector<hiddenRecordings> vHidden;
    const CFolderInUse objFolder(vDirs);
    for (const std::string& strDir : vDirs) {
        hiddenRecordings st;
        st.strDir = strDir;
        st.strInUse = objFolder.In(strDir);
        st.strFolder = st.strInUse == RECORD_FOLDER ? BACKUP_FOLDER : RECORD_FOLDER;
        for (const recording& stFound : vFound) {
            st.nCount += stFound.strDir == strDir && stFound.strFolder == st.strFolder;
        }
        if (st.nCount > 0) vHidden.push_back(std::move(st));
    }
    return vHidden;
}
