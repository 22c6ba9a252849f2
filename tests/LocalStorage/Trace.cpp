#include "LocalStorage/Trace.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "Log/LogText.h"
#include "localstorage/LocalStorageLog.h"

namespace {

struct Recorder {
    std::mutex m_mtx;
    Trace m_lsLine;
    std::vector<HostMessage> m_vMessage;
    std::function<void(const HostMessage&)> m_run;
    bool m_bKeepLines = true;
};

// Never destroyed: the log owner logs until the process ends.
Recorder& TheRecorder() {
    static Recorder& s_recorder = *new Recorder;
    return s_recorder;
}

std::string Digits(const tagBlockTime& stTime) {
    char szTime[32];
    std::snprintf(szTime, sizeof(szTime), "%04d%02d%02d%02d%02d%02d", stTime.wYear, stTime.byMonth,
                  stTime.byDay, stTime.byHour, stTime.byMinute, stTime.bySecond);
    return szTime;
}

std::string Word(const std::string& strText) {
    return strText.empty() ? strText : " " + strText;
}

// What the host gets with a message; `strPath` takes the path in it.
std::string Content(int nMsgType, const void* pData, unsigned nDataLen, std::string& strPath) {
    const std::string strLength = " [" + std::to_string(nDataLen) + "]";
    switch (nMsgType) {
        case MESSAGEVALUE_CREATEFILE:
        case MESSAGEVALUE_CLOSEFILE: {
            const auto& stEvent = *static_cast<const recFileEvent*>(pData);
            strPath = stEvent.szFileName;
            return Word(stEvent.szCameraID) + Word(strPath) + Word(Digits(stEvent.stTime)) +
                   strLength;
        }
        case MESSAGEVALUE_DELETEFILE:
            strPath.assign(static_cast<const char*>(pData), nDataLen);
            return Word(strPath);
        case MESSAGEVALUE_SWITCHDISK: {
            const auto& stEvent = *static_cast<const diskSwitchEvent*>(pData);
            strPath = stEvent.szDisk;
            return Word(strPath) + Word(std::to_string(stEvent.nUsableSpace)) + strLength;
        }
        case MESSAGEVALUE_WRITEFAIL: {
            const auto& stEvent = *static_cast<const writeFailEvent*>(pData);
            return Word(stEvent.szCameraID) + Word(std::to_string(stEvent.nError)) + strLength;
        }
        default:
            return std::string();
    }
}

bool IsOfEngine(const std::string& strLine) {
    return strLine.starts_with("->") || strLine.find("[CLocalStorage::") != std::string::npos ||
           strLine.find("[CIndexMgr::Initialize]") != std::string::npos ||
           strLine.find("LocalStorageClass]") != std::string::npos;
}

std::string WithoutDir(std::string strLine, const std::string& strDir) {
    for (std::size_t nAt = 0; (nAt = strLine.find(strDir, nAt)) != std::string::npos; ++nAt) {
        strLine.replace(nAt, strDir.size(), "$");
    }
    return strLine;
}

}  // namespace

int RecordMessage(int nMsgType, void* pData, unsigned int nDataLen, void* pUser) {
    HostMessage stMessage{nMsgType, std::string()};
    const std::string strLine = "-> " + std::to_string(nMsgType) +
                                Content(nMsgType, pData, nDataLen, stMessage.strPath) +
                                Word(pUser ? static_cast<const char*>(pUser) : "");
    Recorder& recorder = TheRecorder();
    std::function<void(const HostMessage&)> run;
    {
        const std::lock_guard<std::mutex> guard(recorder.m_mtx);
        recorder.m_vMessage.push_back(stMessage);
        if (recorder.m_bKeepLines) recorder.m_lsLine.push_back(strLine);
        run = recorder.m_run;
    }
    if (run) run(stMessage);
    return 0;
}

void OnMessage(std::function<void(const HostMessage&)> run) {
    Recorder& recorder = TheRecorder();
    const std::lock_guard<std::mutex> guard(recorder.m_mtx);
    recorder.m_run = std::move(run);
}

Trace TakeTrace(const std::string& strDir) {
    Recorder& recorder = TheRecorder();
    const std::lock_guard<std::mutex> guard(recorder.m_mtx);
    Trace lsTrace;
    for (const std::string& strLine : recorder.m_lsLine) {
        if (IsOfEngine(strLine)) lsTrace.push_back(WithoutDir(strLine, strDir));
    }
    recorder.m_lsLine.clear();
    return lsTrace;
}

Trace LinesWith(const std::string& strPart) {
    Recorder& recorder = TheRecorder();
    const std::lock_guard<std::mutex> guard(recorder.m_mtx);
    Trace lsFound;
    for (const std::string& strLine : recorder.m_lsLine) {
        if (!strLine.starts_with("->") && strLine.find(strPart) != std::string::npos) {
            lsFound.push_back(strLine);
        }
    }
    return lsFound;
}

std::vector<HostMessage> Messages() {
    Recorder& recorder = TheRecorder();
    const std::lock_guard<std::mutex> guard(recorder.m_mtx);
    return recorder.m_vMessage;
}

Trace PathsOf(int nMsgType) {
    Trace lsPath;
    for (const HostMessage& stMessage : Messages()) {
        if (stMessage.nType == nMsgType) lsPath.push_back(stMessage.strPath);
    }
    return lsPath;
}

void ClearTrace() {
    Recorder& recorder = TheRecorder();
    const std::lock_guard<std::mutex> guard(recorder.m_mtx);
    recorder.m_lsLine.clear();
    recorder.m_vMessage.clear();
}

void KeepLines(bool bKeep) {
    Recorder& recorder = TheRecorder();
    const std::lock_guard<std::mutex> guard(recorder.m_mtx);
    recorder.m_bKeepLines = bKeep;
}

// --- In place of the log room ------------------------------------------------------------------

void LogTextV(const char* pFormat, std::va_list args) {
    char szLine[4096];
    std::vsnprintf(szLine, sizeof(szLine), pFormat, args);
    Recorder& recorder = TheRecorder();
    const std::lock_guard<std::mutex> guard(recorder.m_mtx);
    if (recorder.m_bKeepLines) recorder.m_lsLine.emplace_back(szLine);
}

void LogText(const char* pFormat, ...) {
    std::va_list args;
    va_start(args, pFormat);
    LogTextV(pFormat, args);
    va_end(args);
}

int WriteLog(log_level, const char*, int, const char* pFormat, ...) {
    std::va_list args;
    va_start(args, pFormat);
    LogTextV(pFormat, args);
    va_end(args);
    return LOG_OK;
}

int EnableTarget(log_services, const void*, std::uint32_t, std::uint32_t) {
    return LOG_OK;
}

int StartLogService() {
    return LOG_OK;
}

int StopLogService(bool) {
    LogText("-> log stopped");
    return LOG_OK;
}
