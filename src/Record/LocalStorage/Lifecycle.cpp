// Start and stop of the engine.

#include <algorithm>
#include <new>

#include "FileSystem/FileSystem.h"
#include "LocalStorage/CallFailure.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"
#include "LocalStorage/StorageOptions.h"

namespace {

constexpr std::uint32_t MAX_CHANNELS = 64;
constexpr std::uint32_t MAX_FILE_SIZE = 2048;  // MiB

bool AreBoundsKept(const tagStoreInfo& stInfo) {
    return stInfo.nMaxChannels <= MAX_CHANNELS && stInfo.nFileSize <= MAX_FILE_SIZE &&
           stInfo.lsRecDir.size() != 0 &&
           !(stInfo.enumStreamType == STREAM_TYPE_RAW && stInfo.bAnalyze);
}

// A list without one, for which there was no memory, must not be used.
bool HasSentinel(const CVexList<pathNode>& list) {
    return list.end() != CVexList<pathNode>::iterator();
}

}  // namespace

CLocalStorage::CLocalStorage()
    : m_objDisks([this](const std::string& strRecDir) {
          const auto pDisk = m_pIndexMgr->Disk(strRecDir);
          return std::make_unique<CDiskAsker>(
              std::shared_ptr<CDiskCalls>(pDisk, &pDisk->Calls()), strRecDir,
              [pDisk](int nFailure) { return LookAtDisk(*pDisk, nFailure); });
      }),
      m_objSyncs([this](const CSyncedFile& file, void* pUser, int nError) {
          ReportUnsynced(file, pUser, nError);
      }),
      m_hDiskCheckEvent(OSL_CreateEvent()) {
    if (m_hDiskCheckEvent && HasSentinel(m_lsRecFile) && HasSentinel(m_stStoreInfo.lsRecDir)) {
        return;
    }
    OSL_CloseEvent(m_hDiskCheckEvent);
    throw std::bad_alloc();
}

CLocalStorage::~CLocalStorage() {
    OSL_CloseEvent(m_hDiskCheckEvent);
}

bool CLocalStorage::Initialize(tagStoreInfo& stStoreInfo) try {
    if (m_bInit) {
        LogText("[wtb][CLocalStorage::Initialize] already initialized");
        return true;
    }
    m_stStoreInfo = stStoreInfo;  // Deliberate: refused settings are kept, too
    m_objEvents.SetCallback(m_stStoreInfo.pFunCallback);
    if (!AreBoundsKept(m_stStoreInfo)) {
        return Fail(STORAGE_ERROR_PARAM,
                    "[wtb][CLocalStorage::Initialize] param error,             nMaxChannels [%d], "
                    "nFileSize [%d], lsRecDir.size() [%d], enumStreamType [%d], bAnalyze [%d]",
                    static_cast<int>(m_stStoreInfo.nMaxChannels),
                    static_cast<int>(m_stStoreInfo.nFileSize),
                    static_cast<int>(m_stStoreInfo.lsRecDir.size()),
                    static_cast<int>(m_stStoreInfo.enumStreamType), m_stStoreInfo.bAnalyze);
    }
    std::list<std::string> lsRecDir;
    ConvertVexListToStdList(m_stStoreInfo.lsRecDir, lsRecDir);
    if (std::count(lsRecDir.begin(), lsRecDir.end(), "") > 0) {
        return Fail(STORAGE_ERROR_PARAM, "[wtb][CLocalStorage::Initialize] empty path in lsRecDir");
    }
    for (std::string& strRecDir : lsRecDir) strRecDir = WithoutTrailingSlashes(strRecDir);
    LogText("[wtb][CLocalStorage::Initialize] first disk path [%s/]", lsRecDir.front().c_str());
    if (VerifyDuplicateDisk(lsRecDir)) {
        return Fail(STORAGE_ERROR_PARAM,
                    "[wtb][CLocalStorage::Initialize] VerifyDuplicateDisk fail");
    }

    if (!StartIndex(lsRecDir)) return false;
    ChooseFirstDisk(std::move(lsRecDir));
    if (!StartSync() || !StartDiskCheck()) return false;
    m_bInit = true;
    SetLastError(STORAGE_ERROR_NONE);
    return true;
} catch (const std::exception&) {
    StopDisks();
    SetLastError(STORAGE_ERROR_NO_MEMORY);
    return OutOfMemory("Initialize");
}

bool CLocalStorage::StartIndex(const std::list<std::string>& lsRecDir) {
    m_pIndexMgr.reset(new (std::nothrow) CIndexMgr(
        ConvertLocalStorageTypeToStorageType(m_stStoreInfo.enumStorageType),
        GetStorageOption(STORAGE_OPTION_REQUIRE_MOUNT) != 0));
    if (!m_pIndexMgr) {
        return Fail(STORAGE_ERROR_NO_MEMORY,
                    "[wtb][CLocalStorage::Initialize] new m_pIndexMgr fail");
    }
    const int nResult = m_pIndexMgr->Initialize(lsRecDir);
    if (nResult != 1 && nResult != 2) return true;
    StopDisks();
    return nResult == 1
               ? Fail(STORAGE_ERROR_INDEX,
                      "[wtb][CLocalStorage::Initialize] m_pIndexMgr->Initialize fail")
               : Fail(STORAGE_ERROR_INDEX_REPAIR,
                      "[wtb][CLocalStorage::Initialize] m_pIndexMgr->Initialize need repair index");
}

// A full disk is no error here: opening a recording tells.
void CLocalStorage::ChooseFirstDisk(std::list<std::string> lsRecDir) {
    // One directory under two names would hide the files that are open under the other one.
    lsRecDir.remove_if(
        [this](const std::string& strRecDir) { return m_pIndexMgr->IsOtherName(strRecDir); });
    m_objDisks.Assign(lsRecDir, m_stStoreInfo.bCycWrite);
    m_objDisks.Ask();
    if (m_objDisks.Choose() != CDisks::Room::None) return;
    if (m_stStoreInfo.bCycWrite) {
        LogText("[wtb][CLocalStorage::Initialize] disk full, bCycWrite [%d]", 1);
    } else {
        LogText("[wtb][CLocalStorage::Initialize] disk full, m_strCurRecDir [%s/], bCycWrite [%d]",
                m_objDisks.Current().c_str(), 0);
    }
}

bool CLocalStorage::StartSync() {
    const int nInterval = GetStorageOption(STORAGE_OPTION_SYNC_INTERVAL);
    for (const std::string& strRecDir : m_objDisks.All()) {
        if (m_objSyncs.Start(strRecDir, static_cast<std::uint32_t>(nInterval))) continue;
        StopDisks();
        return Fail(STORAGE_ERROR_THREAD,
                    "[wtb][CLocalStorage::Initialize] create sync thread fail");
    }
    return true;
}

bool CLocalStorage::StartDiskCheck() {
    m_objOverwriter.Start(*m_pIndexMgr, m_stStoreInfo.enumStoreFileType);
    m_bStopDiskCheck = false;
    OSL_ResetEvent(m_hDiskCheckEvent);
    m_hDiskCheckThread = OSL_Thread_Create(DiskCheckProc, this);
    if (m_hDiskCheckThread) return true;
    StopDisks();
    return Fail(STORAGE_ERROR_THREAD,
                "[wtb][CLocalStorage::Initialize] create disk check thread fail");
}

bool CLocalStorage::Release() try {
    if (!m_bInit) return Refuse("[wtb][CLocalStorage::Release] not initialized");
    std::set<std::string> setHung;
    CloseAllChannels(setHung);
    LogText("[wtb][CLocalStorage::Release] close all opened channel");
    m_bStopDiskCheck = true;
    m_objOverwriter.Stop();
    OSL_SetEvent(m_hDiskCheckEvent);
    OSL_Thread_Wait(m_hDiskCheckThread);
    m_hDiskCheckThread = nullptr;
    LogText("[wtb][CLocalStorage::Release] close disk check thread");
    TellLateRemovals();
    StopDisks(std::move(setHung));
    m_bInit = false;
    LogText("[wtb][CLocalStorage::Release] success");
    return true;
} catch (const std::exception&) {  // to be called again
    return OutOfMemory("Release");
}

namespace {

// The end of a channel whose file is closed on its disk's thread.
struct closingFile {
    struct Errors {
        int nWrite, nClose;
    };

    closingFile(CChannelTable& table, const recordChannel& channel)
        : strPath(channel.strRecFilePath),
          strCameraID(channel.strCameraID),
          pUser(channel.pUser),
          nFrontSize(channel.nFrontSize),
          objProtected(table, strPath) {}

    const std::string strPath, strCameraID;
    void* const pUser;
    const std::uint64_t nFrontSize;
    bool bFrameless = false;
    const CProtectedFile objProtected;
    std::string strRest;
    std::shared_ptr<CRecordDisk> pDisk;
    std::future<Errors> closed;
};

closingFile::Errors WriteAndClose(CRecordFile& objFile, const std::string& strRest) {
    closingFile::Errors stErrors = {0, 0};
    std::size_t nWritten = 0;
    if (!strRest.empty() && !objFile.Write(strRest.data(), strRest.size(), nWritten)) {
        stErrors.nWrite = OSL_GetSystemLastError();
    }
    stErrors.nClose = objFile.Close();
    return stErrors;
}

}  // namespace

void CLocalStorage::CloseAllChannels(std::set<std::string>& setHung) {
    std::list<closingFile> lsClosing;
    while (CChannelClaim claim = m_mapRecordChannel.ClaimAny()) {
        recordChannel& channel = claim.Channel();
        if (!channel.objRecFile.IsOpen()) {
            claim.Remove();
            continue;
        }
        try {
            closingFile& closing = lsClosing.emplace_back(m_mapRecordChannel, channel);
            closing.strRest = TakeRest(channel);
            closing.bFrameless = closing.strRest.empty() && HoldsNoFrame(channel);
            closing.pDisk = m_pIndexMgr->Disk(m_objDisks.DirectoryOf(closing.strPath));
            closing.closed = closing.pDisk->Calls().Post(
                DiskLane::Use,
                [pFile = std::make_shared<CRecordFile>(std::move(channel.objRecFile)),
                 strRest = closing.strRest] { return WriteAndClose(*pFile, strRest); });
        } catch (const std::exception&) {
            OutOfMemory("CloseChannelRecord");
        }
        claim.Remove();
    }
    for (closingFile& closing : lsClosing) {
        if (!closing.closed.valid()) continue;
        if (!closing.pDisk->Calls().Await(DiskLane::Use, closing.closed, LAST_PATIENCE)) {
            setHung.insert(closing.pDisk->Path());
            LogText(
                "[wtb][CLocalStorage::Release] the disk gives no answer, the file is left to be "
                "closed when it does, strRecFilePath[%s]",
                closing.strPath.c_str());
            continue;
        }
        const closingFile::Errors stErrors = closing.closed.get();
        if (stErrors.nWrite != 0) {
            ReportLoss(closing.strPath, closing.strCameraID, closing.pUser, stErrors.nWrite);
            LogFailedWrite("WriteRecord", closing.strCameraID, closing.strRest.data(),
                           closing.strRest.size(), stErrors.nWrite);
        }
        if (stErrors.nClose != 0) {
            ReportFailedClose(closing.strPath, closing.strCameraID, closing.pUser, stErrors.nClose);
        }
        if (closing.bFrameless) {
            RemoveFrameless(closing.strPath, closing.nFrontSize, LAST_PATIENCE);
        }
    }
}

void CLocalStorage::StopDisks(std::set<std::string> setHung) {
    {
        OSL_Guard guard(m_mtxRemovals);
        m_lsRemovals.clear();
    }
    m_objSyncs.Stop(setHung);
    if (m_pIndexMgr) m_pIndexMgr->Release(setHung);
    m_objDisks.Assign({}, false);
    m_pIndexMgr.reset();
}

int CLocalStorage::GetLastError() {
    OSL_Guard guard(m_mtxLastError);
    return m_nLastError;
}

void CLocalStorage::SetLastError(int nError) {
    t_stCallFailure = {nError, 0};
    OSL_Guard guard(m_mtxLastError);
    m_nLastError = nError;
}

bool CLocalStorage::Fail(int nError, const char* pFormat, ...) {
    SetLastError(nError);
    va_list args;
    va_start(args, pFormat);
    LogTextV(pFormat, args);
    va_end(args);
    return false;
}
