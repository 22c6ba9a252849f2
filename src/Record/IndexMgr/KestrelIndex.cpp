#include "IndexMgr/KestrelIndex.h"

#include <utility>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/IndexLog.h"
#include "IndexMgr/RecDirName.h"
#include "RecordTree/Names.h"

namespace {

enum class Keep { Directories, Files };

// Appends the names of the kind that stays and that `verify` accepts; removes everything else.
void ListAndClean(const std::string& strPath, Keep eKeep, bool (*verify)(std::string_view),
                  std::list<std::string>& lsName) {
    std::list<std::string> lsDir, lsFile;
    if (!GetSubTargetList(strPath, lsDir, lsFile)) return EndPassOnShortage();
    std::list<std::string>& lsKind = eKeep == Keep::Directories ? lsDir : lsFile;
    for (auto it = lsKind.begin(); it != lsKind.end();) {
        const auto itName = it++;
        if (verify(*itName)) lsName.splice(lsName.end(), lsKind, itName);
    }
    for (const std::string& strName : lsDir) DeleteDirectory(strPath + "/" + strName);
    for (const std::string& strName : lsFile) OSL_DeleteFile((strPath + "/" + strName).c_str());
}

void LogNoDay(const char* pQuery, const char* pDate, const std::string& strPrevRecPath) {
    WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, __LINE__,
             "[wtb][CKestrelIndex::%s] %s fail, m_strPrevRecPath [%s]", pQuery, pDate,
             strPrevRecPath.c_str());
}

}  // namespace

CKestrelIndex::CKestrelIndex(const std::string& strRecDir, CRecordDir* pRecordDir)
    : m_strPrevRecPath(strRecDir), m_pRecordDir(pRecordDir) {}

std::string CKestrelIndex::GetRecordTree() const {
    return m_strPrevRecPath + "/" + RecDirName();
}

std::string CKestrelIndex::GetImageTree() const {
    return m_strPrevRecPath + "/" + IMAGE_FOLDER;
}

bool CKestrelIndex::VerifyDateDir(std::string_view strName) {
    return IsScannedDateDir(strName);
}

bool CKestrelIndex::VerifyChannelDir(std::string_view) {
    return true;
}

bool CKestrelIndex::VerifyRecFile(std::string_view strName) {
    return IsScannedFile(strName, RECORDING_EXTENSION);
}

bool CKestrelIndex::VerifyImgFile(std::string_view strName) {
    return IsScannedFile(strName, PICTURE_EXTENSION);
}

void CKestrelIndex::GetDateList(const std::string& strPath, std::list<std::string>& lsDate) {
    ListAndClean(strPath, Keep::Directories, VerifyDateDir, lsDate);
    lsDate.sort();
}

void CKestrelIndex::GetChannelList(const std::string& strPath, std::list<std::string>& lsChannel) {
    ListAndClean(strPath, Keep::Directories, VerifyChannelDir, lsChannel);
}

void CKestrelIndex::GetRecFileList(const std::string& strPath, std::list<std::string>& lsRecFile) {
    ListAndClean(strPath, Keep::Files, VerifyRecFile, lsRecFile);
    lsRecFile.sort();
}

void CKestrelIndex::GetImgFileList(const std::string& strPath, std::list<std::string>& lsImgFile) {
    ListAndClean(strPath, Keep::Files, VerifyImgFile, lsImgFile);
    lsImgFile.sort();
}

bool CKestrelIndex::GetOldestDate(std::string& strDate, long& lTime,
                                  const PassedOverDays& setPassedOver) {
    return GetOldest(GetRecordTree(), strDate, lTime, setPassedOver);
}

bool CKestrelIndex::GetOldestImgDate(std::string& strDate, long& lTime,
                                     const PassedOverDays& setPassedOver) {
    return GetOldest(GetImageTree(), strDate, lTime, setPassedOver);
}

bool CKestrelIndex::GetOldest(const std::string& strTree, std::string& strDate, long& lTime,
                              const PassedOverDays& setPassedOver) const {
    if (m_pRecordDir && !m_pRecordDir->IsPresent()) return false;
    std::list<std::string> lsDate;
    GetDateList(strTree, lsDate);
    for (const std::string& strName : lsDate) {
        if (setPassedOver.count(strTree + "/" + strName) > 0) continue;
        strDate = strName;
        OSL_FINFO_S stInfo;
        if (!GetFolderAttribute(strTree, strDate, stInfo)) return false;
        lTime = stInfo.tModify;
        return true;
    }
    return false;
}

int CKestrelIndex::QueryOldestRecFile(std::string& strOldestDir, std::list<std::string>& lsRecFile,
                                      const PassedOverDays& setPassedOver) {
    std::string strDate;
    long lTime = 0;
    if (!GetOldestDate(strDate, lTime, setPassedOver)) {
        LogNoDay("QueryOldestRecFile", "GetOldestDate", m_strPrevRecPath);
        return 0;
    }
    strOldestDir = GetRecordTree() + "/" + strDate;
    return ListDay(strOldestDir, GetRecFileList, lsRecFile);
}

int CKestrelIndex::QueryOldestImgFile(std::string& strOldestDir, std::list<std::string>& lsImgFile,
                                      const PassedOverDays& setPassedOver) {
    std::string strDate;
    long lTime = 0;
    if (!GetOldestImgDate(strDate, lTime, setPassedOver)) {
        LogNoDay("QueryOldestImgFile", "GetOldestImgDate", m_strPrevRecPath);
        return 0;
    }
    strOldestDir = GetImageTree() + "/" + strDate;
    return ListDay(strOldestDir, GetImgFileList, lsImgFile);
}

int CKestrelIndex::ListDay(const std::string& strDayDir, ListFiles pListFiles,
                           std::list<std::string>& lsFile) const {
    std::list<std::string> lsChannel;
    GetChannelList(strDayDir, lsChannel);
    int nFiles = 0;
    for (const std::string& strChannel : lsChannel) {
        std::list<std::string> lsName;
        pListFiles(strDayDir + "/" + strChannel, lsName);
        for (const std::string& strName : lsName) {
            lsFile.push_back(strDayDir + "/" + strChannel + "/" + strName);
            ++nFiles;
        }
    }
    return nFiles;
}
