#include "base/OpenFile.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"

namespace {

// Opening a pipe that took the place of a file shall not wait for its writer.
constexpr int TO_READ = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

int MakeUnnamed(const std::string& strDir) {
    const int nNameless = OpenNamelessFile(strDir);
    if (nNameless >= 0) return nNameless;
    std::string strPath = strDir + "/localstorage-XXXXXX";
    const int nFile = mkstemp(strPath.data());
    if (nFile < 0) return nFile;
    fcntl(nFile, F_SETFD, FD_CLOEXEC);
    unlink(strPath.c_str());
    return nFile;
}

}  // namespace

COpenFile::COpenFile(const std::string& strPath)
    : m_strPath(strPath), m_nFile(open(strPath.c_str(), TO_READ)) {
    struct stat st = {};
    if (m_nFile < 0) Fail("open");
    if (fstat(m_nFile, &st) == 0 && S_ISREG(st.st_mode)) return;
    close(m_nFile);
    throw CFailure(strPath + " is no file");
}

COpenFile::COpenFile(const std::string& strDir, std::uint64_t nMost)
    : m_strPath("a file in " + strDir), m_nMost(nMost), m_nFile(MakeUnnamed(strDir)) {
    if (m_nFile < 0) Fail("make");
}

COpenFile::~COpenFile() {
    close(m_nFile);
}

std::uint64_t COpenFile::Size() const {
    return static_cast<std::uint64_t>(Look().st_size);
}

UtcTime COpenFile::LastChange() const {
    const struct stat st = Look();
    return UtcTime(std::chrono::seconds(st.st_mtime) +
                   std::chrono::microseconds(NanosecondsOfChange(st) / 1000));
}

struct stat COpenFile::Look() const {
    struct stat st = {};
    if (fstat(m_nFile, &st) != 0) Fail("look at");
    return st;
}

std::size_t COpenFile::Read(std::uint64_t nAt, std::span<char> stBuffer) const {
    for (;;) {
        const ssize_t nRead =
            pread(m_nFile, stBuffer.data(), stBuffer.size(), static_cast<off_t>(nAt));
        if (nRead >= 0) return static_cast<std::size_t>(nRead);
        if (errno != EINTR) Fail("read");
    }
}

void COpenFile::Write(std::uint64_t nAt, std::span<const char> stBytes) {
    if (nAt + stBytes.size() > m_nMost) {
        throw CFailure(m_strPath + " would take more than the " + FormatBytes(m_nMost) +
                       " that it may have");
    }
    while (!stBytes.empty()) {
        const ssize_t nWritten =
            pwrite(m_nFile, stBytes.data(), stBytes.size(), static_cast<off_t>(nAt));
        if (nWritten < 0 && errno != EINTR) Fail("write");
        if (nWritten < 0) continue;
        nAt += static_cast<std::uint64_t>(nWritten);
        stBytes = stBytes.subspan(static_cast<std::size_t>(nWritten));
    }
}

void COpenFile::Fail(const char* pWhat) const {
    throw CFailure(std::string("cannot ") + pWhat + " " + m_strPath + ": " + ErrorText(errno));
}
