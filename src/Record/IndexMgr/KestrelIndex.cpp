#include "IndexMgr/KestrelIndex.h"

#include "FileSystem/FileSystem.h"
#include "RecordTree/Names.h"

namespace {

enum class Keep { Directories, Files };

// The names of the kind that stays and that `verify` accepts, sorted; everything else is removed.
template <typename F>
std::list<std::string> ListAndClean(const std::string& strPath, Keep eKeep, F verify,
                                    OSL_LastLink eLink = OSL_LastLink::Fails) {
    std::list<std::string> lsName, lsDir, lsFile;
    if (!GetSubTargetList(strPath, lsDir, lsFile, eLink)) {
        PassOverUnreadable("CKestrelIndex::ListDay", strPath);
        return lsName;
    }
    std::list<std::string>& lsKind = eKeep == Keep::Directories ? lsDir : lsFile;
    for (auto it = lsKind.begin(); it != lsKind.end();) {
        const auto itName = it++;
        if (verify(*itName)) lsName.splice(lsName.end(), lsKind, itName);
    }
    for (const std::string& strName : lsDir) DeleteDirectory(strPath + "/" + strName);
    for (const std::string& strName : lsFile) OSL_DeleteFile((strPath + "/" + strName).c_str());
    lsName.sort();
    return lsName;
}

}  // namespace

bool CKestrelIndex::GetOldestDate(const PassedOverDays& setPassedOver, dayOffer& offer) {
    if (m_pRecordDir && !m_pRecordDir->IsPresent()) return false;
    dayFolder& stDay = offer.stDay;
    stDay.strRecDir = m_strPrevRecPath;
    stDay.strTree = m_eKind == STORE_FILE_IMAGE ? IMAGE_FOLDER : RECORD_FOLDER;
    for (const std::string& strName : ListAndClean(stDay.Tree(), Keep::Directories,
                                                   IsScannedDateDir, OSL_LastLink::IsFollowed)) {
        stDay.strDay = strName;
        if (setPassedOver.count(stDay.Path()) > 0) continue;
        OSL_FINFO_S stInfo;
        if (!GetFolderAttribute(stDay.Tree(), strName, stInfo)) {
            PassOverUnreadable("CKestrelIndex::GetOldestDate", stDay.Path());
            return false;
        }
        offer.lTime = stInfo.tModify;
        return true;
    }
    return false;
}

void CKestrelIndex::ListDay(const dayFolder& stDay, std::vector<recordPath>& vFiles) {
    const auto isChannel = [](const std::string&) { return true; };
    const auto isFile = [this](const std::string& strName) {
        return IsScannedFile(strName,
                             m_eKind == STORE_FILE_IMAGE ? PICTURE_EXTENSION : RECORDING_EXTENSION);
    };
    for (const std::string& strChannel : ListAndClean(stDay.Path(), Keep::Directories, isChannel)) {
        const CChannelFolder folder(stDay, strChannel);
        for (const std::string& strName : ListAndClean(folder.Path(), Keep::Files, isFile)) {
            vFiles.push_back(folder.File(strName));
        }
    }
}
