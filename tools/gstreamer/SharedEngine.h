// The engines of this process, which sinks share, and the recordings in them.

#ifndef LOCALSTORAGE_GSTREAMER_SHAREDENGINE_H
#define LOCALSTORAGE_GSTREAMER_SHAREDENGINE_H

#include <compare>
#include <gst/gst.h>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "localstorage/LocalStorage.h"

/// What failed, in words for the user and as GStreamer sorts it.
class CFault : public std::runtime_error {
public:
    CFault(GstResourceError eCode, const std::string& strText)
        : std::runtime_error(strText), m_eCode(eCode) {}
    GstResourceError Code() const { return m_eCode; }

private:
    GstResourceError m_eCode;
};

struct engineSettings {
    std::vector<std::string> vDirs;  ///< absolute, without "/" at their ends
    LocalStorageType eLayout = LOCAL_STORAGE_CLIENT;
    unsigned nFileSize = 256;  ///< MiB
    bool bCyclic = true;
    bool bAutoDelete = true;
    StoreFileType eDeleteKind = STORE_FILE_RECORD;

    auto operator<=>(const engineSettings&) const = default;
};

class CEngine;

/// Use of the one running engine with these settings: the first starts it, the last stops it.
class CEngineUse {
public:
    /// `strLogDir` is where the engines of the process log from now on; empty: as before, at first
    /// nowhere. Throws CFault. Any thread; waits while another one starts or stops an engine.
    CEngineUse(const engineSettings& stSettings, const std::string& strLogDir);
    ~CEngineUse();
    CEngineUse(const CEngineUse&) = delete;
    CEngineUse& operator=(const CEngineUse&) = delete;

    CEngine& Engine() { return *m_pEngine; }

private:
    std::shared_ptr<CEngine> m_pEngine;
};

/// What the engine told of a recording.
struct recordingEvent {
    StorageMessage eMessage;
    std::string strPath;  ///< of MESSAGEVALUE_CREATEFILE and MESSAGEVALUE_CLOSEFILE
    int nError = 0;       ///< of MESSAGEVALUE_WRITEFAIL: the system's error number
};

/// One open recording. Used by one thread; the use of its engine outlives it.
class CRecording {
public:
    /// Throws CFault when it cannot be opened.
    CRecording(CEngine& objEngine, const std::string& strCamera, const recFileInfo& stFile);
    ~CRecording() { Close(); }
    CRecording(const CRecording&) = delete;
    CRecording& operator=(const CRecording&) = delete;

    /// Appends a piece of the stream; false when the engine could not write all of it. Takes as
    /// long as the disk does.
    bool Write(std::string_view strPiece);
    void Close();

    /// What was told since the last call. Posting it is not left to the engine's callback, under
    /// whose lock no code of the application's may run.
    std::vector<recordingEvent> TakeEvents();

private:
    friend class CEngine;
    void Note(recordingEvent stEvent);

    CEngine& m_objEngine;
    std::string m_strCamera;
    recFileInfo m_stFile;
    bool m_bOpen = false;
    std::mutex m_mtxEvents;
    std::vector<recordingEvent>
        m_vEvents;  ///< guarded by m_mtxEvents: failed syncs come at any time
};

#endif  // LOCALSTORAGE_GSTREAMER_SHAREDENGINE_H
