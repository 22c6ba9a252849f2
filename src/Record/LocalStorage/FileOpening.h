// Files are opened on their disk's own thread, so that a disk that hangs holds nobody up for good.
// Who gives up an opening leaves it to that thread, which closes what it gets at last, and removes
// it if it has made it itself.

#ifndef LOCALSTORAGE_RECORD_FILEOPENING_H
#define LOCALSTORAGE_RECORD_FILEOPENING_H

#include <atomic>
#include <cstdint>
#include <ctime>
#include <future>
#include <memory>
#include <string>

#include "IndexMgr/RecordDisk.h"
#include "LocalStorage/ChannelTable.h"
#include "LocalStorage/DiskSync.h"
#include "LocalStorage/RecordFile.h"
#include "RecordTree/RecordPath.h"

/// What is to be opened, where and for whom. It owns all that the disk's thread needs for it.
struct fileOrder {
    std::shared_ptr<CRecordDisk> pDisk;
    std::shared_ptr<CDiskSync> pSync;  ///< null: it is not synced
    recordPath stPath;
    unsigned nFlags = 0;  ///< OSL_OPEN_CONTINUE, _NEW or _UNIQUE
    bool bIndexed = false;
    std::uint64_t nReserveStep = 0;  ///< bytes
    std::string strCameraID = {};
    void* pUser = nullptr;
};

/// Whether somebody still waits for it.
using WantedFlag = std::shared_ptr<std::atomic<bool>>;

/// A file that was opened on its disk's thread, or why it was not. Unless it is taken it is closed,
/// and removed if it was made.
class COpenedFile {
public:
    COpenedFile() = default;
    COpenedFile(COpenedFile&& other) noexcept = default;
    COpenedFile& operator=(COpenedFile&& other) = delete;
    ~COpenedFile();

    bool IsOpen() const { return m_objFile.IsOpen(); }
    /// The system's error number; 0 too when the directory is not there.
    int Error() const { return m_nError; }
    /// For the caller to keep.
    CRecordFile Take();

    /// Makes the folder and opens the file; makes the folder again when a clean-up took it in
    /// between. Makes nothing below a missing disk, and nothing that is not wanted any more. On the
    /// disk's thread.
    static COpenedFile Open(const fileOrder& stOrder, const WantedFlag& pbWanted);

private:
    void OpenInFolder(const fileOrder& stOrder, const WantedFlag& pbWanted);
    OSL_FileHandle OpenFile(const std::string& strPath, unsigned nFlags,
                            const WantedFlag& pbWanted);

    // Ends after the others: a crash before a file is entered, or removed again, is repaired.
    std::unique_ptr<CIndexChange> m_pChange;
    CRecordFile m_objFile;
    std::string m_strMade;  // its path, when it was made and is not taken
    int m_nError = 0;
};

/// An opening under way; given up when it is destroyed.
class CFileOpening {
public:
    explicit CFileOpening(const fileOrder& stOrder);
    ~CFileOpening();
    CFileOpening(const CFileOpening&) = delete;
    CFileOpening& operator=(const CFileOpening&) = delete;

    const recordPath& Path() const { return m_stPath; }
    /// False: the disk has been silent for so many milliseconds.
    bool Await(std::int64_t nPatience) const;
    /// Once, after Await. Throws what the opening threw.
    COpenedFile Get() { return m_opened.get(); }

private:
    const std::shared_ptr<CRecordDisk> m_pDisk;
    const recordPath m_stPath;
    const WantedFlag m_pbWanted = std::make_shared<std::atomic<bool>>(true);
    std::future<COpenedFile> m_opened;
};

/// The file that a channel is about to go over to. No clean-up takes it.
struct nextFile {
    nextFile(CChannelTable& table, const fileOrder& stOrder, std::time_t tTime)
        : objProtected(table, stOrder.stPath.strPath), tNamed(tTime), objOpening(stOrder) {}

    const CProtectedFile objProtected;
    const std::time_t tNamed;
    CFileOpening objOpening;
};

#endif  // LOCALSTORAGE_RECORD_FILEOPENING_H
