#include "base/System.h"

#include <csignal>
#include <fcntl.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

std::atomic<bool> g_bStop = false;
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers may set it");

void OnSignal(int) {
    g_bStop = true;
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
    std::signal(SIGPIPE, SIG_IGN);
    return g_bStop;
}

void RequestStop() {
    g_bStop = true;
}

bool IsTerminal(outputStream eStream) {
    return isatty(DescriptorOf(eStream)) == 1;
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

std::string UserAtHost() {
    char szBuffer[1024], szHost[256] = "";
    passwd stEntry, *pEntry = nullptr;
    getpwuid_r(getuid(), &stEntry, szBuffer, sizeof(szBuffer), &pEntry);
    gethostname(szHost, sizeof(szHost) - 1);
    return (pEntry ? std::string(pEntry->pw_name) : std::to_string(getuid())) + "@" + szHost;
}

std::tm LocalClock(std::time_t nTime) {
    tzset();  // localtime_r alone would never learn that the machine's time zone was changed
    std::tm st = {};
    localtime_r(&nTime, &st);
    return st;
}
