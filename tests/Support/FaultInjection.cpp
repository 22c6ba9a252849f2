#include "Support/FaultInjection.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Osl/OslCalls.h"

namespace {

constexpr std::uint64_t WITHOUT_END = std::numeric_limits<std::uint64_t>::max();

/// How a call ends: failed with an error number, or as the system says, with so many bytes at most.
struct Verdict {
    int m_nError = 0;
    std::size_t m_nMostBytes = std::numeric_limits<std::size_t>::max();
};

struct Rule {
    Op m_eOp;
    PathMatch m_match;
    Verdict m_stVerdict = {};
    std::optional<std::uint64_t> m_nRoom = {};  ///< bytes that writes still find
    std::function<void()> m_run = {};           ///< in place of a verdict
    std::uint64_t m_nFrom = 1;
    std::uint64_t m_nTimes = WITHOUT_END;
    std::uint64_t m_nSeen = 0;

    /// Counts the call when it matches; true when it is one that is meant.
    bool Applies(Op eOp, const std::vector<std::string>& vecPath) {
        if (eOp != m_eOp || std::none_of(vecPath.begin(), vecPath.end(), m_match)) return false;
        ++m_nSeen;
        return m_nSeen >= m_nFrom && m_nSeen - m_nFrom < m_nTimes;
    }

    Verdict Decide(std::size_t nBytes) {
        if (!m_nRoom) return m_stVerdict;
        if (*m_nRoom == 0) return {ENOSPC, 0};
        const auto nFits = static_cast<std::size_t>(std::min<std::uint64_t>(nBytes, *m_nRoom));
        *m_nRoom -= nFits;
        return {0, nFits};
    }
};

/// All that the wrappers know. Never destroyed: a thread may still be inside a wrapper when the
/// object that installed it is gone.
struct State {
    std::mutex m_mutex;
    bool m_bInstalled = false;
    std::map<int, std::string> m_mPathOfFile;
    std::vector<Rule> m_vecRule;
    std::map<std::string, std::uint64_t> m_mFreeMiB;
    std::map<std::string, std::uint64_t> m_mDevice;
    bool m_bClockStopped = false;
    std::int64_t m_nNow = 0;  ///< milliseconds
    bool m_bShowTypes = true;
};

State& TheState() {
    static State& s_state = *new State;
    return s_state;
}

std::string Clean(const std::string& strPath) {
    std::string strClean;
    for (const char c : strPath) {
        if (c != '/' || strClean.empty() || strClean.back() != '/') strClean += c;
    }
    if (strClean.size() > 1 && strClean.back() == '/') strClean.pop_back();
    return strClean;
}

bool IsBelow(const std::string& strPath, const std::string& strDir) {
    if (strPath.compare(0, strDir.size(), strDir) != 0) return false;
    return strPath.size() == strDir.size() || strPath[strDir.size()] == '/' || strDir == "/";
}

/// What has been set for the longest directory that holds the path; null when nothing has.
const std::uint64_t* Find(const std::map<std::string, std::uint64_t>& mValue,
                          const std::string& strPath) {
    // Of directories that hold one path, the longer ones sort later.
    for (auto it = mValue.rbegin(); it != mValue.rend(); ++it) {
        if (IsBelow(strPath, it->first)) return &it->second;
    }
    return nullptr;
}

std::string PathOf(int nFile) {
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.m_mutex);
    const auto it = state.m_mPathOfFile.find(nFile);
    return it == state.m_mPathOfFile.end() ? std::string() : it->second;
}

/// Finds the rule for the call and runs what stands in front of it.
Verdict Judge(Op eOp, const std::vector<std::string>& vecPath, std::size_t nBytes = 0) {
    State& state = TheState();
    std::vector<std::function<void()>> vecRun;
    std::optional<Verdict> verdict;
    {
        const std::lock_guard<std::mutex> guard(state.m_mutex);
        for (Rule& rule : state.m_vecRule) {
            if (!rule.Applies(eOp, vecPath)) continue;
            if (rule.m_run) {
                vecRun.push_back(rule.m_run);
            } else if (!verdict) {
                verdict = rule.Decide(nBytes);
            }
        }
    }
    for (const auto& run : vecRun) run();
    return verdict.value_or(Verdict());
}

/// True when the call may go on to the system; else errno is set.
bool Allow(Op eOp, const std::vector<std::string>& vecPath) {
    const int nError = Judge(eOp, vecPath).m_nError;
    if (nError != 0) errno = nError;
    return nError == 0;
}

bool Allow(Op eOp, const char* pPath) {
    return Allow(eOp, {Clean(pPath)});
}
bool Allow(Op eOp, int nFile) {
    return Allow(eOp, {PathOf(nFile)});
}

const OSL_Calls& System() {
    return OSL_SYSTEM_CALLS;
}

int Open(const char* pPath, int nFlags, mode_t nMode) {
    if (!Allow(Op::Open, pPath)) return -1;
    const int nFile = System().pfnOpen(pPath, nFlags, nMode);
    if (nFile < 0) return nFile;
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.m_mutex);
    state.m_mPathOfFile[nFile] = Clean(pPath);
    return nFile;
}

void Forget(int nFile) {
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.m_mutex);
    state.m_mPathOfFile.erase(nFile);
}

int Close(int nFile) {
    const Verdict stVerdict = Judge(Op::Close, {PathOf(nFile)});
    Forget(nFile);
    const int nResult = System().pfnClose(nFile);  // a close that fails has closed all the same
    if (stVerdict.m_nError == 0) return nResult;
    errno = stVerdict.m_nError;
    return -1;
}

ssize_t Read(int nFile, void* pBuf, std::size_t nSize) {
    return Allow(Op::Read, nFile) ? System().pfnRead(nFile, pBuf, nSize) : -1;
}

ssize_t Write(int nFile, const void* pBuf, std::size_t nSize) {
    const Verdict stVerdict = Judge(Op::Write, {PathOf(nFile)}, nSize);
    if (stVerdict.m_nError == 0) {
        return System().pfnWrite(nFile, pBuf, std::min(nSize, stVerdict.m_nMostBytes));
    }
    errno = stVerdict.m_nError;
    return -1;
}

off_t Seek(int nFile, off_t nOffset, int nWhence) {
    return Allow(Op::Seek, nFile) ? System().pfnSeek(nFile, nOffset, nWhence) : -1;
}

int FileMode(int nFile, mode_t nMode) {
    return Allow(Op::FileMode, nFile) ? System().pfnFileMode(nFile, nMode) : -1;
}

int Access(const char* pPath, int nMode) {
    return Allow(Op::Access, pPath) ? System().pfnAccess(pPath, nMode) : -1;
}

int Unlink(const char* pPath) {
    return Allow(Op::Unlink, pPath) ? System().pfnUnlink(pPath) : -1;
}

int Rename(const char* pFrom, const char* pTo) {
    const bool bAllowed = Allow(Op::Rename, {Clean(pFrom), Clean(pTo)});
    return bAllowed ? System().pfnRename(pFrom, pTo) : -1;
}

int StatAt(int nDir, const char* pPath, struct stat* pStat, int nFlags) {
    const bool bInDir = nDir != AT_FDCWD && pPath[0] != '/';
    const std::string strPath = Clean(bInDir ? PathOf(nDir) + "/" + pPath : std::string(pPath));
    if (!Allow(Op::Stat, {strPath})) return -1;
    const int nResult = System().pfnStatAt(nDir, pPath, pStat, nFlags);
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.m_mutex);
    const std::uint64_t* pDevice = Find(state.m_mDevice, strPath);
    if (nResult == 0 && pDevice) pStat->st_dev = static_cast<dev_t>(*pDevice);
    return nResult;
}

struct dirent* ReadDir(DIR* pDir) {
    if (!Allow(Op::ReadDir, ::dirfd(pDir))) return nullptr;
    errno = 0;  // the end of the directory is told from a failure by it
    struct dirent* pEntry = System().pfnReadDir(pDir);
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.m_mutex);
    if (pEntry && !state.m_bShowTypes) pEntry->d_type = DT_UNKNOWN;
    return pEntry;
}

int CloseDir(DIR* pDir) {
    Forget(::dirfd(pDir));
    return System().pfnCloseDir(pDir);
}

int MakeDir(const char* pPath, mode_t nMode) {
    return Allow(Op::MakeDir, pPath) ? System().pfnMakeDir(pPath, nMode) : -1;
}

int RemoveDir(const char* pPath) {
    return Allow(Op::RemoveDir, pPath) ? System().pfnRemoveDir(pPath) : -1;
}

int StatVfs(const char* pPath, struct statvfs* pStat) {
    if (!Allow(Op::StatVfs, pPath)) return -1;
    const int nResult = System().pfnStatVfs(pPath, pStat);
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.m_mutex);
    const std::uint64_t* pFreeMiB = Find(state.m_mFreeMiB, Clean(pPath));
    if (nResult != 0 || !pFreeMiB) return nResult;
    pStat->f_frsize = 1 << 20;
    pStat->f_bfree = *pFreeMiB;
    return 0;
}

int Sync(int nFile) {
    return Allow(Op::Sync, nFile) ? System().pfnSyncFileSystem(nFile) : -1;
}

int Lock(int nFile, int nOperation) {
    return Allow(Op::Lock, nFile) ? System().pfnLock(nFile, nOperation) : -1;
}

int ThreadCreate(pthread_t* pThread, const pthread_attr_t* pAttr, void* (*pProc)(void*),
                 void* pArg) {
    if (!Allow(Op::ThreadCreate, "")) return errno;
    return System().pfnThreadCreate(pThread, pAttr, pProc, pArg);
}

int Clock(clockid_t nClock, struct timespec* pTime) {
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.m_mutex);
    if (!state.m_bClockStopped) return System().pfnClock(nClock, pTime);
    pTime->tv_sec = static_cast<std::time_t>(state.m_nNow / 1000);
    pTime->tv_nsec = static_cast<long>(state.m_nNow % 1000) * 1000000;
    return 0;
}

constinit const OSL_Calls FAULTY_CALLS = {
    .pfnOpen = Open,
    .pfnClose = Close,
    .pfnRead = Read,
    .pfnWrite = Write,
    .pfnSeek = Seek,
    .pfnFileMode = FileMode,
    .pfnAccess = Access,
    .pfnUnlink = Unlink,
    .pfnRename = Rename,
    .pfnStatAt = StatAt,
    .pfnOpenDir = ::fdopendir,
    .pfnReadDir = ReadDir,
    .pfnCloseDir = CloseDir,
    .pfnMakeDir = MakeDir,
    .pfnRemoveDir = RemoveDir,
    .pfnStatVfs = StatVfs,
    .pfnSyncFileSystem = Sync,
    .pfnLock = Lock,
    .pfnThreadCreate = ThreadCreate,
    .pfnClock = Clock,
};

/// Runs `change` on the state of the wrappers.
template <typename Change>
auto Locked(Change change) {
    State& state = TheState();
    const std::lock_guard<std::mutex> guard(state.m_mutex);
    return change(state);
}

std::size_t AddRule(Rule rule) {
    return Locked([&rule](State& state) {
        state.m_vecRule.push_back(std::move(rule));
        return state.m_vecRule.size() - 1;
    });
}

}  // namespace

PathMatch Any() {
    return [](const std::string&) { return true; };
}

PathMatch Is(const std::string& strPath) {
    return [strWanted = Clean(strPath)](const std::string& str) { return str == strWanted; };
}

PathMatch Below(const std::string& strDir) {
    return [strWanted = Clean(strDir)](const std::string& str) { return IsBelow(str, strWanted); };
}

PathMatch Ends(const std::string& strSuffix) {
    return [strSuffix](const std::string& str) { return str.ends_with(strSuffix); };
}

CFaultInjection::CFaultInjection() {
    Locked([](State& state) {
        if (state.m_bInstalled) throw std::logic_error("one fault injection at a time");
        state.m_bInstalled = true;
    });
    g_pOslCalls.store(&FAULTY_CALLS);
}

CFaultInjection::~CFaultInjection() {
    g_pOslCalls.store(&OSL_SYSTEM_CALLS);
    Locked([](State& state) {
        state.m_bInstalled = state.m_bClockStopped = false;
        state.m_bShowTypes = true;
        state.m_vecRule.clear();
        state.m_mPathOfFile.clear();
        state.m_mFreeMiB.clear();
        state.m_mDevice.clear();
    });
}

CFaultInjection::CRule& CFaultInjection::CRule::From(std::uint64_t n) {
    Locked([&](State& state) { state.m_vecRule.at(m_nRule).m_nFrom = n; });
    return *this;
}

CFaultInjection::CRule& CFaultInjection::CRule::Times(std::uint64_t n) {
    Locked([&](State& state) { state.m_vecRule.at(m_nRule).m_nTimes = n; });
    return *this;
}

std::uint64_t CFaultInjection::CRule::Seen() const {
    return Locked([&](State& state) { return state.m_vecRule.at(m_nRule).m_nSeen; });
}

CFaultInjection::CRule CFaultInjection::Fail(Op eOp, PathMatch match, int nError) {
    return CRule(AddRule({.m_eOp = eOp, .m_match = std::move(match), .m_stVerdict = {nError, 0}}));
}

CFaultInjection::CRule CFaultInjection::ShortWrite(PathMatch match, std::size_t nBytes) {
    return CRule(
        AddRule({.m_eOp = Op::Write, .m_match = std::move(match), .m_stVerdict = {0, nBytes}}));
}

CFaultInjection::CRule CFaultInjection::Before(Op eOp, PathMatch match, std::function<void()> run) {
    return CRule(AddRule({.m_eOp = eOp, .m_match = std::move(match), .m_run = std::move(run)}));
}

CFaultInjection::CRule CFaultInjection::Watch(Op eOp, PathMatch match) {
    return Before(eOp, std::move(match), [] {});
}

void CFaultInjection::FillDiskAfter(PathMatch match, std::uint64_t nBytes) {
    AddRule({.m_eOp = Op::Write, .m_match = std::move(match), .m_nRoom = nBytes});
}

void CFaultInjection::ClearRules() {
    Locked([](State& state) { state.m_vecRule.clear(); });
}

void CFaultInjection::SetFreeSpace(const std::string& strDir, std::uint64_t nMiB) {
    Locked([&](State& state) { state.m_mFreeMiB[Clean(strDir)] = nMiB; });
}

void CFaultInjection::SetDevice(const std::string& strDir, std::uint64_t nDevice) {
    Locked([&](State& state) { state.m_mDevice[Clean(strDir)] = nDevice; });
}

void CFaultInjection::ClearDevices() {
    Locked([](State& state) { state.m_mDevice.clear(); });
}

void CFaultInjection::SetTime(std::time_t tSeconds, int nMilliseconds) {
    Locked([&](State& state) {
        state.m_bClockStopped = true;
        state.m_nNow = std::int64_t{tSeconds} * 1000 + nMilliseconds;
    });
}

void CFaultInjection::AdvanceTime(std::int64_t nMilliseconds) {
    Locked([&](State& state) { state.m_nNow += nMilliseconds; });
}

void CFaultInjection::ShowEntryTypes(bool bShow) {
    Locked([&](State& state) { state.m_bShowTypes = bShow; });
}
