// A small real disk of the tests' own: a mounted file system that can be filled, emptied, remounted
// and pulled. Linux; remounting and pulling take root.

#ifndef LOCALSTORAGE_TESTS_DISKS_DISK_H
#define LOCALSTORAGE_TESTS_DISKS_DISK_H

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/mount.h>
#include <system_error>
#include <unistd.h>

constexpr std::uint64_t MIB = 1024 * 1024;

inline void Check(bool bDone, const std::string& strWhat) {
    if (!bDone) throw std::system_error(errno, std::generic_category(), strWhat);
}

/// Makes a file longer by so many bytes; false when there is no room for them.
inline bool Extend(const std::string& strPath, std::uint64_t nBytes) {
    const int nFile = ::open(strPath.c_str(), O_WRONLY | O_CREAT, 0644);
    if (nFile < 0) return false;
    const bool bDone =
        ::fallocate(nFile, 0, ::lseek(nFile, 0, SEEK_END), static_cast<off_t>(nBytes)) == 0;
    ::close(nFile);
    return bDone;
}

class CDisk {
public:
    /// The file system mounted at `strPath`. For root it keeps the device open, so that it does not
    /// go away with a pulled disk, until the process ends.
    explicit CDisk(const std::string& strPath) : m_strPath(strPath) {
        std::ifstream mounts("/proc/self/mounts");
        std::string strMountPoint, strRest;
        while (strMountPoint != strPath && mounts >> m_strDevice >> strMountPoint >> m_strType) {
            std::getline(mounts, strRest);
        }
        Check(strMountPoint == strPath, strPath + " is no disk");
        if (::geteuid() != 0) return;
        Check(::open(m_strDevice.c_str(), O_RDONLY | O_CLOEXEC) >= 0, m_strDevice);
    }

    const std::string& Path() const { return m_strPath; }
    std::string operator/(const std::string& strName) const { return m_strPath + "/" + strName; }

    /// Removes everything. Cuts files first: xfs gives the room of a removed one back later.
    void Clear() const {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_strPath)) {
            if (entry.is_regular_file()) std::filesystem::resize_file(entry, 0);
        }
        for (const auto& entry : std::filesystem::directory_iterator(m_strPath)) {
            std::filesystem::remove_all(entry);
        }
    }
    /// Another process takes or gives back room until so many bytes are free; in ever smaller
    /// steps, since a file system needs some of its room for itself.
    void LeaveFree(std::uint64_t nBytes) const {
        const std::string strFiller = *this / "filler";
        ::truncate(strFiller.c_str(), 0);
        std::uint64_t nStep = Free();
        for (nStep -= nBytes; nStep >= 4096; nStep /= 2) {
            while (Free() >= nBytes + nStep && Extend(strFiller, nStep)) {
            }
        }
    }
    /// It gives back so many bytes of it.
    void GiveBack(std::uint64_t nBytes) const {
        const std::string strFiller = *this / "filler";
        std::filesystem::resize_file(strFiller, std::filesystem::file_size(strFiller) - nBytes);
    }
    /// With MS_RDONLY, or with 0 to have it writable again.
    void Remount(unsigned long nFlags) const {
        Check(::mount("", m_strPath.c_str(), "", MS_REMOUNT | nFlags, nullptr) == 0, "remount");
    }
    /// Takes the disk away under whoever uses it.
    void Pull() const { Check(::umount2(m_strPath.c_str(), MNT_DETACH) == 0, "umount"); }
    void PutBack() const {
        Check(::mount(m_strDevice.c_str(), m_strPath.c_str(), m_strType.c_str(), 0, nullptr) == 0,
              "mount " + m_strDevice);
    }

private:
    // That this user may fill.
    std::uint64_t Free() const {
        const auto stSpace = std::filesystem::space(m_strPath);
        return ::geteuid() == 0 ? stSpace.free : stSpace.available;
    }

    std::string m_strPath;
    std::string m_strDevice;
    std::string m_strType;
};

#endif  // LOCALSTORAGE_TESTS_DISKS_DISK_H
