#include "host/Host.h"

#include <algorithm>
#include <cstring>

#include "RecordTree/DirectoryLock.h"
#include "RecordTree/RecordDirectory.h"
#include "base/Failure.h"
#include "base/Text.h"

namespace {

/// The engine hands its callback no context for messages that concern no channel.
CHost* g_pHost = nullptr;

template <std::size_t N>
std::string TextOf(const char (&szText)[N]) {
    return std::string(szText, strnlen(szText, N));
}

hostEvent ToEvent(int nMessage, const void* pData, unsigned nDataLen, void* pUser) {
    hostEvent st;
    st.nMessage = nMessage;
    st.pUser = pUser;
    if (nMessage == MESSAGEVALUE_CREATEFILE || nMessage == MESSAGEVALUE_CLOSEFILE) {
        const auto& stFile = *static_cast<const recFileEvent*>(pData);
        st.strCamera = TextOf(stFile.szCameraID);
        st.strPath = TextOf(stFile.szFileName);
    } else if (nMessage == MESSAGEVALUE_SWITCHDISK) {
        const auto& stDisk = *static_cast<const diskSwitchEvent*>(pData);
        st.strPath = TextOf(stDisk.szDisk);
        st.nUsableMiB = stDisk.nUsableSpace;
    } else if (nMessage == MESSAGEVALUE_DELETEFILE) {
        st.strPath.assign(static_cast<const char*>(pData), nDataLen);
    } else if (nMessage == MESSAGEVALUE_WRITEFAIL) {
        const auto& stFail = *static_cast<const writeFailEvent*>(pData);
        st.strCamera = TextOf(stFail.szCameraID);
        st.nError = stFail.nError;
    }
    return st;
}

/// Each record directory with its free space.
std::string SpaceOf(const hostSettings& stSettings) {
    std::vector<std::string> vSpaces;
    for (const std::string& strDir : stSettings.vDirs) {
        const bool bMissing = stSettings.bRequireMount && LiesOnRootDisk(strDir);
        const auto nMiB = DiskRoomOf(strDir).nFreeBytes >> 20;
        vSpaces.push_back(bMissing ? "no disk is mounted at " + strDir
                                   : strDir + " has " + std::to_string(nMiB) + " MiB");
    }
    return Joined(vSpaces, ", ");
}

/// The first record directory that another host has; empty when none is.
std::string DirInUse(const std::vector<std::string>& vDirs) {
    const auto it = std::find_if(vDirs.begin(), vDirs.end(), IsInUse);
    return it == vDirs.end() ? "" : *it;
}

std::string StartFault(int nError, const hostSettings& stSettings) {
    const std::string strDirs = Joined(stSettings.vDirs, ", ");
    const std::string strInUse = DirInUse(stSettings.vDirs);
    if (!strInUse.empty()) return strInUse + " is in use: another program records into it";
    switch (nError) {
        case STORAGE_ERROR_INDEX:
            return "cannot start on " + strDirs + ": the index cannot be read; the log tells where";
        case STORAGE_ERROR_INDEX_REPAIR:
            return "cannot start on " + strDirs +
                   ": the index does not match the recordings and could not be repaired; see "
                   "\"localstorage check\"";
        case STORAGE_ERROR_PARAM:
            return "cannot start on " + strDirs + ": a setting is out of its bounds";
        default:
            return "cannot start on " + strDirs + ": not enough memory or threads";
    }
}

std::string OpenFault(int nError, const hostSettings& stSettings) {
    switch (nError) {
        case STORAGE_ERROR_DISK_FULL:
            return "no record directory has room, each needs more than " +
                   std::to_string(LOCALSTORAGE_DISK_FULL_SPACE) +
                   " MiB free: " + SpaceOf(stSettings);
        case STORAGE_ERROR_CHANNEL_OPEN:
            return "this recording is open already";
        case STORAGE_ERROR_OPEN_FILE:
            return "the file could not be made below " + Joined(stSettings.vDirs, ", ") +
                   "; the log tells which";
        case STORAGE_ERROR_PARAM:
            return "the camera's name or the path of its file is not allowed here (too long, or "
                   "numbers that do not read back, as in cam_01_2)";
        default:
            return "error " + std::to_string(nError);
    }
}

}  // namespace

CHost::CHost(hostSettings stSettings, EventHandler fnEvent)
    : m_stSettings(std::move(stSettings)), m_fnEvent(std::move(fnEvent)) {
    if (!NewLocalStorageClass(&m_pEngine)) throw CFailure("no memory for the storage engine");
    g_pHost = this;
    try {
        Start();
    } catch (...) {
        DelLocalStorageClass(&m_pEngine);
        g_pHost = nullptr;
        throw;
    }
}

CHost::~CHost() {
    DelLocalStorageClass(&m_pEngine);
    g_pHost = nullptr;
}

void CHost::Start() {
    SetStorageOption(STORAGE_OPTION_SYNC_INTERVAL, static_cast<int>(m_stSettings.nSyncEvery));
    SetStorageOption(STORAGE_OPTION_REQUIRE_MOUNT, m_stSettings.bRequireMount);
    tagStoreInfo st;
    st.nMaxChannels = m_stSettings.nChannels;
    st.bAnalyze = m_stSettings.bAnalyze;
    st.bCycWrite = m_stSettings.bCyclic;
    st.pFunCallback = OnMessage;
    st.enumStorageType = m_stSettings.eLayout;
    st.nFileSize = m_stSettings.nFileSize;
    st.bAutoDelete = m_stSettings.bAutoDelete;
    st.enumStoreFileType = m_stSettings.eDeleteKind;
    for (const std::string& strDir : m_stSettings.vDirs) {
        pathNode stNode;
        if (strDir.size() + 1 >= sizeof(stNode.szPath)) {
            throw CFailure("record directory " + strDir + ": the path is too long");
        }
        std::memcpy(stNode.szPath, strDir.data(), strDir.size());
        st.lsRecDir.push_back(stNode);
    }
    if (!m_pEngine->Initialize(st)) {
        throw CFailure(StartFault(m_pEngine->GetLastError(), m_stSettings));
    }
}

int CHost::OnMessage(int nMessage, void* pData, unsigned int nDataLen, void* pUser) {
    try {
        g_pHost->m_fnEvent(ToEvent(nMessage, pData, nDataLen, pUser));
    } catch (const std::exception&) {
        // The engine must not see it; a message that cannot be told is lost, no recording is.
    }
    return 0;
}

void CHost::Open(std::string& strCamera, void* pUser, recFileInfo& stFile) {
    const std::lock_guard stLock(m_mtxOpen);
    if (m_pEngine->OpenChannelRecord(strCamera.data(), pUser, stFile)) return;
    throw CFailure("cannot record: " + OpenFault(m_pEngine->GetLastError(), m_stSettings));
}

CHostChannel::CHostChannel(CHost& objHost, std::string strCamera, void* pUser, recFileInfo stFile)
    : m_objHost(objHost), m_strCamera(std::move(strCamera)), m_stFile(stFile) {
    m_objHost.Open(m_strCamera, pUser, m_stFile);
    char szNoHeader[1] = {};
    m_objHost.Engine().WriteData(m_strCamera.data(), 1, szNoHeader, 0, m_stFile);
}

CHostChannel::~CHostChannel() {
    m_objHost.Engine().CloseChannelRecord(m_strCamera.data(), m_stFile);
}

bool CHostChannel::Write(Bytes stBytes) {
    // The interface takes no constant pieces, but only reads them.
    char* pBytes = reinterpret_cast<char*>(const_cast<std::uint8_t*>(stBytes.data()));
    return m_objHost.Engine().WriteData(m_strCamera.data(), 0, pBytes,
                                        static_cast<unsigned>(stBytes.size()), m_stFile);
}

void RunIndexRepair(const std::string& strDir) {
    hostSettings st;
    st.vDirs = {strDir};
    st.nChannels = 1;
    CHost objHost(std::move(st), [](const hostEvent&) {});
}

void RefuseOtherLayout(const std::vector<std::string>& vDirs, LocalStorageType eLayout) {
    const bool bClient = eLayout == LOCAL_STORAGE_CLIENT;
    const LocalStorageType eOther = bClient ? LOCAL_STORAGE_REMOTE_BACKUP : LOCAL_STORAGE_CLIENT;
    for (const std::string& strDir : vDirs) {
        const auto strFound = FindLayout(strDir, eOther);
        if (!strFound) continue;
        throw CFailure(strDir + " holds recordings of the " +
                       (bClient ? "remote-backup layout (made by import), such as "
                                : "client layout (made by record), such as ") +
                       *strFound +
                       "; they would be taken for foreign files and deleted, so nothing was "
                       "written: use another directory");
    }
}

void MakeRecordDirs(const std::vector<std::string>& vDirs) {
    for (const std::string& strDir : vDirs) {
        if (const int nError = MakeRecordDirectory(strDir)) {
            throw CFailure("cannot make record directory " + strDir + ": " + ErrorText(nError));
        }
    }
}
