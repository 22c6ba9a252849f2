// Engines of hosts in C: made and freed, what they tell, pictures, options.

#include <algorithm>
#include <cstdio>
#include <memory>

#include "C/CallError.h"
#include "C/Conversion.h"
#include "C/Guard.h"
#include "C/Handles.h"
#include "RecordTree/DirectoryLock.h"
#include "RecordTree/Names.h"

static_assert(static_cast<int>(LS_EVENT_DISK_FULL) == MESSAGEVALUE_DISKFULL &&
              static_cast<int>(LS_EVENT_DISK_SWITCH) == MESSAGEVALUE_SWITCHDISK &&
              static_cast<int>(LS_EVENT_FILE_CREATED) == MESSAGEVALUE_CREATEFILE &&
              static_cast<int>(LS_EVENT_FILE_DELETED) == MESSAGEVALUE_DELETEFILE &&
              static_cast<int>(LS_EVENT_FILE_CLOSED) == MESSAGEVALUE_CLOSEFILE &&
              static_cast<int>(LS_EVENT_WRITE_FAILED) == MESSAGEVALUE_WRITEFAIL);
static_assert(static_cast<int>(LS_OPTION_SYNC_INTERVAL) == STORAGE_OPTION_SYNC_INTERVAL &&
              static_cast<int>(LS_OPTION_RESERVE_STEP) == STORAGE_OPTION_RESERVE_STEP &&
              static_cast<int>(LS_OPTION_FULL_SPACE) == STORAGE_OPTION_FULL_SPACE &&
              static_cast<int>(LS_OPTION_PRIVATE_MODES) == STORAGE_OPTION_PRIVATE_MODES &&
              static_cast<int>(LS_OPTION_REQUIRE_MOUNT) == STORAGE_OPTION_REQUIRE_MOUNT);

namespace {

/// A message of the engine as an event. Nothing is allocated: the engine may be out of memory.
void Tell(void* pEngine, int nMsgType, void* pData, unsigned int nDataLen, void* pUser) {
    const ls_engine& stEngine = *static_cast<ls_engine*>(pEngine);
    char szPath[LOCALSTORAGE_PATH_SIZE] = "";
    ls_event st{};
    st.size = sizeof(st);
    st.kind = static_cast<ls_event_kind>(nMsgType);
    st.channel_user = pUser;
    switch (nMsgType) {
        case MESSAGEVALUE_CREATEFILE:
        case MESSAGEVALUE_CLOSEFILE: {
            const auto& stFile = *static_cast<const recFileEvent*>(pData);
            st.camera = stFile.szCameraID;
            st.path = stFile.szFileName;
            st.time = GiveTime(stFile.stTime);
            break;
        }
        case MESSAGEVALUE_DELETEFILE:
            std::snprintf(szPath, sizeof(szPath), "%.*s", static_cast<int>(nDataLen),
                          static_cast<const char*>(pData));
            st.path = szPath;
            break;
        case MESSAGEVALUE_SWITCHDISK: {
            const auto& stDisk = *static_cast<const diskSwitchEvent*>(pData);
            st.path = stDisk.szDisk;
            st.free_mib = stDisk.nUsableSpace;
            break;
        }
        case MESSAGEVALUE_WRITEFAIL: {
            const auto& stFail = *static_cast<const writeFailEvent*>(pData);
            st.camera = stFail.szCameraID;
            st.system_error = stFail.nError;
            break;
        }
        default:
            break;
    }
    stEngine.pfnOnEvent(&st, stEngine.pUser);
}

/// False where a path does not fit.
bool FillIn(tagStoreInfo& stInfo, const ls_settings& stSettings,
            const std::vector<std::string>& vDirs) {
    for (const std::string& strDir : vDirs) {
        pathNode stDir;
        if (strDir.size() >= sizeof(stDir.szPath)) return false;
        std::memcpy(stDir.szPath, strDir.c_str(), strDir.size() + 1);
        stInfo.lsRecDir.push_back(stDir);
    }
    stInfo.nMaxChannels = stSettings.max_channels;
    stInfo.enumStreamType = stSettings.raw ? STREAM_TYPE_RAW : STREAM_TYPE_VIDEO;
    stInfo.bAnalyze = stSettings.analyse;
    stInfo.bCycWrite = stSettings.next_disk;
    stInfo.enumStorageType = static_cast<LocalStorageType>(stSettings.layout);
    if (stSettings.file_size_mib > 0) stInfo.nFileSize = stSettings.file_size_mib;
    stInfo.bAutoDelete = !stSettings.keep_all;
    stInfo.enumStoreFileType = stSettings.delete_pictures ? STORE_FILE_IMAGE : STORE_FILE_RECORD;
    return true;
}

std::unique_ptr<ls_engine> MakeEngine(const ls_settings& stSettings,
                                      std::vector<std::string> vDirs) {
    auto pEngine = std::make_unique<ls_engine>();
    pEngine->vDirs = std::move(vDirs);
    pEngine->bClientLayout = stSettings.layout == LS_LAYOUT_CLIENT;
    pEngine->bAnalyse = stSettings.analyse;
    pEngine->pfnOnEvent = stSettings.on_event;
    pEngine->pUser = stSettings.user;
    if (stSettings.on_event) pEngine->objStorage.SetListener(Tell, pEngine.get());
    return pEngine;
}

ls_error Open(const ls_settings* settings, ls_engine** engine) {
    const auto stSettings = TakeRecord(settings);
    if (!stSettings || !stSettings->directories) return LS_ERROR_ARGUMENT;
    const auto vDirs = TakeTexts(stSettings->directories, stSettings->directory_count);
    const bool bLayout =
        stSettings->layout == LS_LAYOUT_REMOTE_BACKUP || stSettings->layout == LS_LAYOUT_CLIENT;
    tagStoreInfo stInfo;
    if (!bLayout || !vDirs || !FillIn(stInfo, *stSettings, *vDirs)) return LS_ERROR_ARGUMENT;
    auto pEngine = MakeEngine(*stSettings, *vDirs);
    ForgetCallError();
    if (!pEngine->objStorage.Initialize(stInfo)) {
        const ls_error eError = CallError(LS_ERROR_ARGUMENT, nullptr);
        const bool bInUse =
            eError == LS_ERROR_DIRECTORY && std::any_of(vDirs->begin(), vDirs->end(), IsInUse);
        return bInUse ? LS_ERROR_IN_USE : eError;
    }
    *engine = pEngine.release();
    return LS_OK;
}

}  // namespace

ls_error ls_engine_open(const ls_settings* settings, ls_engine** engine) {
    if (!engine) return LS_ERROR_ARGUMENT;
    *engine = nullptr;
    return Guarded(nullptr, [&] { return Open(settings, engine); });
}

// The log of the process stays: other engines may use it, and it ends by itself.
void ls_engine_close(ls_engine* engine) {
    if (!engine) return;
    engine->objStorage.Release();
    delete engine;
}

uint32_t ls_engine_write_speed(ls_engine* engine) {
    return engine ? engine->objStorage.GetDiskWriteSpeed() : 0;
}

ls_error ls_set_option(int option, int32_t value) {
    return SetStorageOption(option, value) ? LS_OK : LS_ERROR_ARGUMENT;
}

ls_error ls_snapshot(ls_engine* engine, const char* camera, const void* data, size_t size,
                     char* path, size_t path_size, int* system_error) {
    if (path && path_size > 0) *path = '\0';
    return Guarded(system_error, [&] {
        const bool bSize = size > 0 && size <= UINT32_MAX;
        if (!engine || !camera || !data || !bSize) return LS_ERROR_ARGUMENT;
        if (!IsCameraID(camera)) return LS_ERROR_CAMERA;
        char szPath[LOCALSTORAGE_PATH_SIZE] = "";
        ForgetCallError();
        const bool bDone = engine->objStorage.WriteImage(camera, static_cast<const char*>(data),
                                                         static_cast<unsigned int>(size), szPath);
        if (path && path_size > 0) std::snprintf(path, path_size, "%s", szPath);
        return bDone ? LS_OK : CallError(LS_ERROR_ARGUMENT, system_error);
    });
}

ls_error ls_delete_pictures(ls_engine* engine, const ls_time* day) {
    if (!engine || !day) return LS_ERROR_ARGUMENT;
    const auto stDay = TakeTime(*day);
    if (!stDay) return LS_ERROR_TIME;
    engine->objStorage.DeleteImagesByDay(*stDay);
    return LS_OK;
}
