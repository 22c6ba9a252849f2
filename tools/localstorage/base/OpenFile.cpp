#include "base/OpenFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"

namespace {

// Opening a pipe that took the place of a file shall not wait for its writer.
constexpr int TO_READ = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

}  // namespace

COpenFile::COpenFile(const std::string& strPath)
    : m_strPath(strPath), m_nFile(open(strPath.c_str(), TO_READ)) {
    struct stat st = {};
    if (m_nFile < 0) Fail("open");
    if (fstat(m_nFile, &st) == 0 && S_ISREG(st.st_mode)) return;
    close(m_nFile);
    throw CFailure(strPath + " is no file");
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

void COpenFile::Fail(const char* pWhat) const {
    throw CFailure(std::string("cannot ") + pWhat + " " + m_strPath + ": " + ErrorText(errno));
}
