#include "base/System.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::atomic<bool> g_bStop = false, g_bReload = false;
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers may set it");

void OnSignal(int) {
    g_bStop = true;
}

void OnReloadSignal(int) {
    g_bReload = true;
}

int DescriptorOf(outputStream eStream) {
    return eStream == outputStream::OUT ? STDOUT_FILENO : STDERR_FILENO;
}

}  // namespace

const std::atomic<bool>& CatchStopSignals() {
    struct sigaction st = {};
    st.sa_handler = OnSignal;
    st.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &st, nullptr);
    sigaction(SIGTERM, &st, nullptr);
    sigaction(SIGHUP, &st, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return g_bStop;
}

void CatchReloadSignal() {
    std::signal(SIGHUP, OnReloadSignal);
}

bool TakeReloadSignal() {
    return g_bReload.exchange(false);
}

bool IsTerminal(outputStream eStream) {
    return isatty(DescriptorOf(eStream)) == 1;
}

bool IsReadByJournal(outputStream eStream) {
    const char* pStream = std::getenv("JOURNAL_STREAM");
    struct stat st = {};
    if (!pStream || fstat(DescriptorOf(eStream), &st) != 0) return false;
    return pStream == std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino);
}

terminalSize TerminalSize(outputStream eStream, terminalSize stElse) {
    winsize st = {};
    if (ioctl(DescriptorOf(eStream), TIOCGWINSZ, &st) != 0) return stElse;
    return {st.ws_col ? st.ws_col : stElse.nColumns, st.ws_row ? st.ws_row : stElse.nLines};
}

bool MakeDurable(const std::string& strPath) {
    const int nFile = open(strPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (nFile < 0) return false;
    const bool bDone = fsync(nFile) == 0;
    close(nFile);
    return bDone;
}

void BecomeProgram(const std::string& strPath, char* const* ppArguments) {
    execv(strPath.c_str(), ppArguments);
}

int StartShell(const std::string& strCommand, const Environment& vMore) {
    std::vector<std::string> vTexts;
    for (const auto& [strName, strValue] : vMore) vTexts.push_back(strName + "=" + strValue);
    std::vector<char*> vVariables;
    for (char** pp = environ; *pp; ++pp) vVariables.push_back(*pp);
    for (std::string& str : vTexts) vVariables.push_back(str.data());
    vVariables.push_back(nullptr);

    posix_spawn_file_actions_t stFiles;
    posix_spawn_file_actions_init(&stFiles);
    posix_spawn_file_actions_addopen(&stFiles, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawnattr_t stAttributes;
    posix_spawnattr_init(&stAttributes);
    sigset_t stDefault;
    sigemptyset(&stDefault);
    sigaddset(&stDefault, SIGPIPE);  // what this program ignores, a command may not expect
    posix_spawnattr_setsigdefault(&stAttributes, &stDefault);
    posix_spawnattr_setflags(&stAttributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);

    std::string strShell = "sh", strOption = "-c", strText = strCommand;
    char* const apArguments[] = {strShell.data(), strOption.data(), strText.data(), nullptr};
    pid_t nProcess = -1;
    const int nError =
        posix_spawn(&nProcess, "/bin/sh", &stFiles, &stAttributes, apArguments, vVariables.data());
    posix_spawn_file_actions_destroy(&stFiles);
    posix_spawnattr_destroy(&stAttributes);
    errno = nError;
    return nError == 0 ? nProcess : -1;
}

void AwaitProcess(int nProcess) {
    siginfo_t stInfo;
    while (waitid(P_PID, static_cast<id_t>(nProcess), &stInfo, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
}

void CollectProcess(int nProcess) {
    while (waitpid(nProcess, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void EndProcess(int nProcess) {
    kill(-nProcess, SIGKILL);
}

std::string UserAtHost() {
    char szBuffer[1024], szHost[256] = "";
    passwd stEntry, *pEntry = nullptr;
    getpwuid_r(getuid(), &stEntry, szBuffer, sizeof(szBuffer), &pEntry);
    gethostname(szHost, sizeof(szHost) - 1);
    return (pEntry ? std::string(pEntry->pw_name) : std::to_string(getuid())) + "@" + szHost;
}
