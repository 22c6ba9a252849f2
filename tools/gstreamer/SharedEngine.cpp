#include "gstreamer/SharedEngine.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <unistd.h>
#include <utility>

#include "localstorage/LocalStorageLog.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned MOST_CHANNELS = 64;

std::string Joined(const std::vector<std::string>& vDirs) {
    std::string strJoined;
    for (const std::string& strDir : vDirs) strJoined += (strJoined.empty() ? "" : ", ") + strDir;
    return strJoined;
}

/// The layout of the first recording that is found below a record directory.
std::optional<LocalStorageType> LayoutOf(const std::string& strDir) {
    constexpr std::size_t CLIENT_NAME = std::string_view("20240305_080000.mp4").size(),
                          BACKUP_NAME =
                              std::string_view("20240305080000_20240305083000_1.mp4").size();
    std::error_code error;
    fs::recursive_directory_iterator it(strDir + "/RecordFile", error), end;
    for (; !error && it != end; it.increment(error)) {
        const fs::path name = it->path().filename();
        if (name.extension() != ".mp4") continue;
        if (name.native().size() == CLIENT_NAME) return LOCAL_STORAGE_CLIENT;
        if (name.native().size() == BACKUP_NAME) return LOCAL_STORAGE_REMOTE_BACKUP;
    }
    return std::nullopt;
}

void Verify(const engineSettings& st) {
    for (const std::string& strDir : st.vDirs) {
        if (strDir.size() + 1 >= LOCALSTORAGE_PATH_SIZE) {
            throw CFault(GST_RESOURCE_ERROR_SETTINGS, strDir + ": the path is too long");
        }
        if (LayoutOf(strDir).value_or(st.eLayout) == st.eLayout) continue;
        throw CFault(GST_RESOURCE_ERROR_SETTINGS,
                     strDir +
                         " holds recordings of the other layout, which would be taken for "
                         "foreign files and deleted; use another directory");
    }
}

CFault StartFault(int nError, const engineSettings& st) {
    const std::string strWhat = "cannot start on " + Joined(st.vDirs) + ": ";
    switch (nError) {
        case STORAGE_ERROR_INDEX:
            return {GST_RESOURCE_ERROR_BUSY,
                    strWhat +
                        "the index cannot be read, or a directory is in use by another "
                        "program, or by an element here whose settings differ"};
        case STORAGE_ERROR_INDEX_REPAIR:
            return {GST_RESOURCE_ERROR_OPEN_READ_WRITE,
                    strWhat + "the index does not match the recordings and could not be repaired"};
        case STORAGE_ERROR_PARAM:
            return {GST_RESOURCE_ERROR_SETTINGS,
                    strWhat + "a setting is out of its bounds, or a directory is named twice"};
        default:
            return {GST_RESOURCE_ERROR_FAILED, strWhat + "not enough memory or threads"};
    }
}

/// Why no directory can be written to; empty when one can.
std::string DirsFault(const std::vector<std::string>& vDirs) {
    std::string strFault;
    for (const std::string& strDir : vDirs) {
        if (::access(strDir.c_str(), W_OK) == 0) return {};
        strFault += (strFault.empty() ? "" : ", ") + strDir + ": " + std::strerror(errno);
    }
    return strFault;
}

CFault OpenFault(int nError, const std::string& strCamera, const std::vector<std::string>& vDirs) {
    const std::string strWhat = "cannot record " + strCamera + ": ";
    const std::string strDirs = DirsFault(vDirs);
    if (!strDirs.empty()) return {GST_RESOURCE_ERROR_OPEN_WRITE, strWhat + strDirs};
    switch (nError) {
        case STORAGE_ERROR_DISK_FULL:
            return {GST_RESOURCE_ERROR_NO_SPACE_LEFT, strWhat + "no record directory has room"};
        case STORAGE_ERROR_CHANNEL_OPEN:
            return {GST_RESOURCE_ERROR_BUSY, strWhat + "it is being recorded already"};
        case STORAGE_ERROR_PARAM:
            return {GST_RESOURCE_ERROR_SETTINGS,
                    strWhat + "the camera's name, or the path of its file, is not allowed here"};
        default:
            return {GST_RESOURCE_ERROR_OPEN_WRITE,
                    strWhat + "no file could be made below " + Joined(vDirs)};
    }
}

}  // namespace

class CEngine {
public:
    explicit CEngine(const engineSettings& st);
    CEngine(const CEngine&) = delete;
    CEngine& operator=(const CEngine&) = delete;

    void Open(CRecording& objRecording);
    CLocalStorageInterface& Storage() { return *m_pStorage; }

private:
    /// DelLocalStorageClass would stop the log of the others too.
    struct Stop {
        void operator()(CLocalStorageInterface* pStorage) const {
            pStorage->Release();
            delete pStorage;
        }
    };

    static int OnMessage(int nMessage, void* pData, unsigned int nSize, void* pUser);

    const std::vector<std::string> m_vDirs;
    const bool m_bClientLayout;
    std::mutex m_mtxOpen;  ///< the engine keeps one error code for all threads
    std::unique_ptr<CLocalStorageInterface, Stop> m_pStorage;
};

CEngine::CEngine(const engineSettings& st)
    : m_vDirs(st.vDirs), m_bClientLayout(st.eLayout == LOCAL_STORAGE_CLIENT) {
    tagStoreInfo stInfo;
    stInfo.nMaxChannels = MOST_CHANNELS;
    // Where the engine cuts the files, it must know the key frames; else all is stored as it comes.
    stInfo.bAnalyze = m_bClientLayout;
    stInfo.bCycWrite = st.bCyclic;
    stInfo.pFunCallback = OnMessage;
    stInfo.enumStorageType = st.eLayout;
    stInfo.nFileSize = st.nFileSize;
    stInfo.bAutoDelete = st.bAutoDelete;
    stInfo.enumStoreFileType = st.eDeleteKind;
    for (const std::string& strDir : st.vDirs) {
        pathNode stNode;
        std::memcpy(stNode.szPath, strDir.data(), strDir.size());
        stInfo.lsRecDir.push_back(stNode);
    }
    CLocalStorageInterface* pStorage = nullptr;
    if (!NewLocalStorageClass(&pStorage)) throw std::bad_alloc();
    m_pStorage.reset(pStorage);
    if (!m_pStorage->Initialize(stInfo)) throw StartFault(m_pStorage->GetLastError(), st);
}

// In the remote-backup layout a recording whose times are there already is continued: local times
// may come twice, and beginning it anew would empty it.
void CEngine::Open(CRecording& objRecording) {
    std::string& strCamera = objRecording.m_strCamera;
    recFileInfo& stFile = objRecording.m_stFile;
    const auto open = [&](bool bContinue) {
        const std::lock_guard guard(m_mtxOpen);
        stFile.bOpenFlag = bContinue;
        return m_pStorage->OpenChannelRecord(strCamera.data(), &objRecording, stFile)
                   ? int{STORAGE_ERROR_NONE}
                   : m_pStorage->GetLastError();
    };
    int nError = open(!m_bClientLayout);
    if (!m_bClientLayout && nError == STORAGE_ERROR_OPEN_FILE) nError = open(false);
    if (nError != STORAGE_ERROR_NONE) throw OpenFault(nError, strCamera, m_vDirs);
}

int CEngine::OnMessage(int nMessage, void* pData, unsigned int, void* pUser) try {
    const auto pRecording = static_cast<CRecording*>(pUser);
    if (!pRecording) return 0;
    const auto eMessage = static_cast<StorageMessage>(nMessage);
    if (eMessage == MESSAGEVALUE_CREATEFILE || eMessage == MESSAGEVALUE_CLOSEFILE) {
        pRecording->Note({eMessage, static_cast<recFileEvent*>(pData)->szFileName});
    } else if (eMessage == MESSAGEVALUE_WRITEFAIL) {
        pRecording->Note({eMessage, {}, static_cast<writeFailEvent*>(pData)->nError});
    }
    return 0;
} catch (const std::bad_alloc&) {
    return 0;  // a message that cannot be told is lost, no recording is
}

namespace {

/// Guards what is below, and the start and stop of engines: an engine that stops has its
/// directories until it is gone.
std::mutex s_mtxEngines;
std::map<engineSettings, std::weak_ptr<CEngine>> s_mEngines;
bool s_bLogChosen = false;

/// By itself the library would log below the root of the file system.
void ChooseLog(const std::string& strLogDir) {
    if (strLogDir.empty()) {
        if (!s_bLogChosen) DisableTarget(LOG_TARGET_FILE);
    } else if (EnableTarget(LOG_TARGET_FILE, strLogDir.c_str(), 0, 1) == LOG_OK) {
        s_bLogChosen = true;
    } else {
        throw CFault(GST_RESOURCE_ERROR_SETTINGS, "cannot log to " + strLogDir);
    }
}

}  // namespace

CEngineUse::CEngineUse(const engineSettings& stSettings, const std::string& strLogDir) {
    Verify(stSettings);  // without the lock: a disk that hangs is to keep nobody else waiting
    const std::lock_guard guard(s_mtxEngines);
    ChooseLog(strLogDir);
    std::erase_if(s_mEngines, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<CEngine>& pRunning = s_mEngines[stSettings];
    m_pEngine = pRunning.lock();
    if (!m_pEngine) pRunning = m_pEngine = std::make_shared<CEngine>(stSettings);
}

CEngineUse::~CEngineUse() {
    const std::lock_guard guard(s_mtxEngines);
    m_pEngine.reset();
}

CRecording::CRecording(CEngine& objEngine, const std::string& strCamera, const recFileInfo& stFile)
    : m_objEngine(objEngine), m_strCamera(strCamera), m_stFile(stFile) {
    objEngine.Open(*this);
    m_bOpen = true;
    char szNoHeader[1] = {};
    objEngine.Storage().WriteData(m_strCamera.data(), 1, szNoHeader, 0, m_stFile);
}

bool CRecording::Write(std::string_view strPiece) {
    if (strPiece.empty()) return true;  // it may have no address
    // The interface takes no constant pieces, but only reads them.
    return m_objEngine.Storage().WriteData(m_strCamera.data(), 0,
                                           const_cast<char*>(strPiece.data()),
                                           static_cast<unsigned int>(strPiece.size()), m_stFile);
}

void CRecording::Close() {
    if (m_bOpen) m_objEngine.Storage().CloseChannelRecord(m_strCamera.data(), m_stFile);
    m_bOpen = false;
}

void CRecording::Note(recordingEvent stEvent) {
    const std::lock_guard guard(m_mtxEvents);
    m_vEvents.push_back(std::move(stEvent));
}

std::vector<recordingEvent> CRecording::TakeEvents() {
    const std::lock_guard guard(m_mtxEvents);
    return std::exchange(m_vEvents, {});
}
