// A small real disk of the tests' own: a mounted file system that can be filled, emptied,
// remounted, pulled and broken. Linux, root.

#ifndef LOCALSTORAGE_TESTS_DISKS_DISK_H
#define LOCALSTORAGE_TESTS_DISKS_DISK_H

#include <cstdint>
#include <string>

constexpr std::uint64_t MIB = 1024 * 1024;

class CDisk {
public:
    /// The file system mounted at `strPath`. Keeps its device from going away with it.
    explicit CDisk(const std::string& strPath);
    ~CDisk();
    CDisk(const CDisk&) = delete;
    CDisk& operator=(const CDisk&) = delete;

    const std::string& Path() const { return m_strPath; }
    /// Something on it.
    std::string operator/(const std::string& strName) const { return m_strPath + "/" + strName; }

    /// Removes everything.
    void Clear() const;
    /// Another process takes or gives back room until so many bytes are free.
    void LeaveFree(std::uint64_t nBytes) const;

    /// With MS_RDONLY, or with 0 to have it writable again.
    void Remount(unsigned long nFlags) const;
    /// Takes the disk away under whoever uses it.
    void Pull() const;
    void PutBack() const;
    /// From now on every write fails, until the disk has been pulled and put back.
    void Break() const;

private:
    std::uint64_t Free() const;

    std::string m_strPath;
    std::string m_strDevice;
    std::string m_strType;
    int m_nDevice = -1;
};

/// A file of so many bytes, with the folders above it.
void PutFileOf(const std::string& strPath, std::uint64_t nBytes);

#endif  // LOCALSTORAGE_TESTS_DISKS_DISK_H
