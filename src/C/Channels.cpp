// Recordings of hosts in C: opened, written and closed by their handles.

#include <algorithm>

#include "C/CallError.h"
#include "C/Conversion.h"
#include "C/Guard.h"
#include "C/Handles.h"
#include "LocalStorage/Conversion.h"
#include "RecordTree/Names.h"

namespace {

constexpr unsigned HEADER = 1, PIECE = 0;  // what WriteData is given

/// What identifies a recording; its times do not count in the client layout.
ls_error TakeRecording(const ls_engine& stEngine, const ls_channel_settings& st,
                       recFileInfo& stFile) {
    if (st.type > RECORD_TYPE_8) return LS_ERROR_ARGUMENT;
    const auto eType = static_cast<RecordType>(st.type);
    stFile.enumRecordType = eType == RECORD_TYPE_ALL ? RECORD_TYPE_1 : eType;
    stFile.bOpenFlag = st.go_on;
    if (stEngine.bClientLayout) return LS_OK;
    const bool bSpan = TakeSpan(st.begin, st.end, stFile.stStartTime, stFile.stEndTime);
    return bSpan ? LS_OK : LS_ERROR_TIME;
}

bool IsStorable(const ls_engine& stEngine, const char* pCamera) {
    return IsCameraID(pCamera) &&
           (stEngine.bClientLayout || ClassifyChannel(pCamera) != ChannelForm::NotStorable);
}

bool IsHeader(const void* pData, std::size_t nSize) {
    return nSize <= STREAM_HEAD_SIZE && (pData || nSize == 0);
}

ls_error Write(ls_channel& stChannel, unsigned nKind, const void* pData, std::size_t nSize,
               int* pSystemError) {
    ForgetCallError();
    const bool bDone = stChannel.stEngine.objStorage.WriteData(
        *stChannel.pEntry, nKind, static_cast<const char*>(pData), nSize);
    return bDone ? LS_OK : CallError(LS_ERROR_STREAM, pSystemError);
}

/// The analyser needs a header, be it an empty one.
ls_error WriteFirstHeader(ls_channel& stChannel, const ls_channel_settings& st, int* pSystemError) {
    if (st.header_size == 0 && !stChannel.stEngine.bAnalyse) return LS_OK;
    return Write(stChannel, HEADER, st.header ? st.header : "", st.header_size, pSystemError);
}

bool IsSameRecording(const recFileInfo& a, const recFileInfo& b) {
    return ConvertBlockTimeToFileTime(a.stStartTime) == ConvertBlockTimeToFileTime(b.stStartTime) &&
           ConvertBlockTimeToFileTime(a.stEndTime) == ConvertBlockTimeToFileTime(b.stEndTime) &&
           a.enumRecordType == b.enumRecordType;
}

void Free(ls_channel& stChannel) {
    ls_engine& stEngine = stChannel.stEngine;
    OSL_Guard guard(stEngine.mtx);
    stEngine.lsChannels.remove_if([&](const ls_channel& st) { return &st == &stChannel; });
}

ls_error OpenChannel(ls_engine& stEngine, const ls_channel_settings& st, ls_channel** channel,
                     int* pSystemError) {
    std::list<ls_channel> lsNew{ls_channel{stEngine, st.camera, {}, nullptr}};
    ls_channel& stNew = lsNew.front();
    if (const ls_error eError = TakeRecording(stEngine, st, stNew.stFile)) return eError;
    ForgetCallError();
    if (!stEngine.objStorage.OpenChannelRecord(stNew.strCamera.data(), st.user, stNew.stFile)) {
        return CallError(LS_ERROR_ARGUMENT, pSystemError);
    }
    stNew.pEntry = stEngine.objStorage.FindChannel(stNew.strCamera.c_str(), stNew.stFile);
    {
        OSL_Guard guard(stEngine.mtx);
        stEngine.lsChannels.splice(stEngine.lsChannels.end(), lsNew);
    }
    if (const ls_error eError = WriteFirstHeader(stNew, st, pSystemError)) {
        ls_channel_close(&stNew, nullptr);
        return eError;
    }
    *channel = &stNew;
    return LS_OK;
}

}  // namespace

ls_error ls_channel_open(ls_engine* engine, const ls_channel_settings* settings,
                         ls_channel** channel, int* system_error) {
    if (channel) *channel = nullptr;
    return Guarded(system_error, [&] {
        const auto st = TakeRecord(settings);
        if (!engine || !st || !st->camera || !channel) return LS_ERROR_ARGUMENT;
        if (!IsHeader(st->header, st->header_size)) return LS_ERROR_ARGUMENT;
        if (!IsStorable(*engine, st->camera)) return LS_ERROR_CAMERA;
        return OpenChannel(*engine, *st, channel, system_error);
    });
}

ls_error ls_channel_find(ls_engine* engine, const ls_channel_settings* settings,
                         ls_channel** channel) {
    if (channel) *channel = nullptr;
    return Guarded(nullptr, [&] {
        const auto st = TakeRecord(settings);
        if (!engine || !st || !st->camera || !channel) return LS_ERROR_ARGUMENT;
        recFileInfo stFile;
        if (const ls_error eError = TakeRecording(*engine, *st, stFile)) return eError;
        ls_error eFound = LS_ERROR_NO_CHANNEL;
        OSL_Guard guard(engine->mtx);
        for (ls_channel& stOpen : engine->lsChannels) {
            if (stOpen.strCamera != st->camera) continue;
            eFound = LS_ERROR_TIMES_CHANGED;
            if (!engine->bClientLayout && !IsSameRecording(stOpen.stFile, stFile)) continue;
            *channel = &stOpen;
            return LS_OK;
        }
        return eFound;
    });
}

ls_error ls_write(ls_channel* channel, const void* data, size_t size, int* system_error) {
    return Guarded(system_error, [&] {
        if (!channel || !data) return LS_ERROR_ARGUMENT;
        return Write(*channel, PIECE, data, size, system_error);
    });
}

ls_error ls_write_header(ls_channel* channel, const void* data, size_t size, int* system_error) {
    return Guarded(system_error, [&] {
        if (!channel || !data || !IsHeader(data, size)) return LS_ERROR_ARGUMENT;
        return Write(*channel, HEADER, data, size, system_error);
    });
}

ls_error ls_channel_close(ls_channel* channel, int* system_error) {
    return Guarded(system_error, [&] {
        if (!channel) return LS_OK;
        CLocalStorage& objStorage = channel->stEngine.objStorage;
        ForgetCallError();
        const bool bClosed =
            objStorage.CloseChannelRecord(channel->strCamera.data(), channel->stFile);
        if (!bClosed && objStorage.FindChannel(channel->strCamera.c_str(), channel->stFile)) {
            return CallError(LS_ERROR_INTERNAL, system_error);  // to be called again
        }
        Free(*channel);
        const bool bLost = t_stCallFailure.nCode == CALL_FAILED_WRITE;
        return bLost ? CallError(LS_ERROR_WRITE, system_error) : LS_OK;
    });
}
