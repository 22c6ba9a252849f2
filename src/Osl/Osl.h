// The portable runtime: everything the library asks of the operating system.
//
// This page is the contract that each platform's files must keep. No other room calls the operating
// system. Common rules:
//   - Paths are NUL-terminated text with "/" separators, never null.
//   - Results: 0 is success unless a function says otherwise; after a failure
//     OSL_GetSystemLastError returns the system's error number on the same thread.
//   - Nothing is retried but an interrupted call (EINTR): a full or failing disk is reported as it
//     is, because the caller must learn of it.
//   - Every handle is closed on exec. Functions may be called from any thread; one handle is used
//     by one thread at a time.
//   - No function throws.

#ifndef LOCALSTORAGE_OSL_OSL_H
#define LOCALSTORAGE_OSL_OSL_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>

#include "Osl/OslMutex.h"

// --- Lifecycle and errors (OslSystem.cpp) ------------------------------------------------------

/// Begins / ends the use of the runtime. Nothing on these platforms needs either.
int OSL_Init();
void OSL_Fini();

/// The system's error number of the last failed OSL call of this thread.
int OSL_GetSystemLastError();

/// Whether an error number tells of the process or the machine (no handle or memory to spare,
/// interrupted), and nothing of the disk.
bool OSL_IsShortage(int nError);

/// The system's words for an error number, in the caller's buffer; returns `pText`.
const char* OSL_ErrorText(int nError, char* pText, std::size_t nSize);

/// Debug output: standard error. The second prints one line and ends it.
void OSL_OutputDebugString(const char* pText);
void OSL_OutputDebug(const char* pFormat, ...) __attribute__((format(printf, 1, 2)));
/// Whether it is read by the system's journal, which notes the time of each line by itself.
bool OSL_IsDebugOutputJournal();

// --- Files (OslFile.cpp) -----------------------------------------------------------------------

using OSL_FileHandle = std::int64_t;
constexpr OSL_FileHandle OSL_INVALID_FILE = -1;

/// Flags of OSL_OpenFile.
enum : unsigned {
    OSL_OPEN_READ = 1,
    OSL_OPEN_WRITE = 2,
    OSL_OPEN_CREATE = 4,
    OSL_OPEN_APPEND = 8,
    OSL_OPEN_TRUNCATE = 16,
    OSL_OPEN_EXCLUSIVE = 32  ///< with CREATE: fails with EEXIST where something has the name
};
/// The sets of flags that the library uses.
constexpr unsigned OSL_OPEN_CONTINUE = OSL_OPEN_WRITE | OSL_OPEN_APPEND;                     // 10
constexpr unsigned OSL_OPEN_NEW = OSL_OPEN_WRITE | OSL_OPEN_CREATE | OSL_OPEN_TRUNCATE;      // 22
constexpr unsigned OSL_OPEN_UNIQUE = OSL_OPEN_WRITE | OSL_OPEN_CREATE | OSL_OPEN_EXCLUSIVE;  // 38
constexpr unsigned OSL_OPEN_LOG =
    OSL_OPEN_READ | OSL_OPEN_WRITE | OSL_OPEN_CREATE | OSL_OPEN_APPEND;  // 15
/// Attribute of OSL_OpenFile: the file is given the mode of OSL_SetPrivateModes through its handle.
constexpr unsigned OSL_FILE_SHARED = 0x2000;

/// Whether what the process makes from now on is for its user and group alone: files and
/// directories are given the modes 0640 and 0750, else 0777.
void OSL_SetPrivateModes(bool bPrivate);

/// What becomes of a link in the last component of a path; those in front of it are followed.
enum class OSL_LastLink : std::uint8_t { Fails, IsFollowed };

/// Opens a file; a link in the last component is not followed but fails. OSL_INVALID_FILE on
/// failure.
OSL_FileHandle OSL_OpenFile(const char* pPath, unsigned nFlags, unsigned nAttribute);
int OSL_CloseFile(OSL_FileHandle hFile);

/// Closes a file, however its scope is left, where nobody asks whether that failed.
class OSL_OwnFile {
public:
    explicit OSL_OwnFile(OSL_FileHandle hFile) : m_hFile(hFile) {}
    ~OSL_OwnFile() {
        if (m_hFile != OSL_INVALID_FILE) OSL_CloseFile(m_hFile);
    }
    OSL_OwnFile(const OSL_OwnFile&) = delete;
    OSL_OwnFile& operator=(const OSL_OwnFile&) = delete;

    OSL_FileHandle Get() const { return m_hFile; }

private:
    const OSL_FileHandle m_hFile;
};

/// Reads up to `nSize` bytes. With `pRead`, 0 also at the end of the file, where fewer arrive; with
/// a null `pRead`, fewer bytes are a failure.
int OSL_ReadFile(OSL_FileHandle hFile, void* pBuf, std::size_t nSize, std::size_t* pRead);

/// Writes `nSize` bytes; 0 only when all of them are written. `pWritten` (may be null) receives how
/// many were, also on failure.
int OSL_WriteFile(OSL_FileHandle hFile, const void* pBuf, std::size_t nSize, std::size_t* pWritten);

/// Moves the position: `nWhence` 0 from the start, 1 from here, 2 from the end. `pPosition` (may be
/// null) receives the new one.
int OSL_FileSeek(OSL_FileHandle hFile, std::int64_t nOffset, int nWhence, std::int64_t* pPosition);

/// Makes the file `nSize` bytes long; the position stays.
int OSL_TruncateFile(OSL_FileHandle hFile, std::int64_t nSize);

/// Makes a file's content durable, or a directory's list of names. 0 also on a file system that has
/// no such call for it.
int OSL_SyncFile(const char* pPath, OSL_LastLink eLink = OSL_LastLink::Fails);

/// Another handle on the same open file; OSL_INVALID_FILE on failure.
OSL_FileHandle OSL_DuplicateFile(OSL_FileHandle hFile);

/// Makes the content of an open file durable.
int OSL_SyncData(OSL_FileHandle hFile);

/// Reserves so many bytes of disk behind the end of a file, or none: nobody sees them but the disk,
/// size and content stay. Nobody may write to the file meanwhile.
int OSL_ReserveSpace(OSL_FileHandle hFile, std::uint64_t nBytes);
/// Gives back what is reserved behind the end. Nobody may write to the file meanwhile.
int OSL_GiveBackSpace(OSL_FileHandle hFile);

int OSL_DeleteFile(const char* pPath);
/// 0 when the path exists (mode 0) or may be used so (1 execute, 2 write, 4 read, or'ed).
int OSL_AccessFile(const char* pPath, int nMode);
/// Renames within one file system, replacing the target in one step.
int OSL_RenameFile(const char* pFrom, const char* pTo);

/// Attributes of a directory entry.
struct OSL_FINFO_S {
    std::uint64_t nSize = 0;       ///< bytes
    std::uint64_t nAllocated = 0;  ///< bytes of disk, what is reserved behind the end included
    std::int64_t tModify = 0;      ///< last change of the content, seconds since 1970
    std::int64_t nModifyNano = 0;  ///< and its nanoseconds
    std::uint64_t nDevice = 0;     ///< the file system it lies on
    std::uint64_t nInode = 0;
    std::uint16_t wFileType = 0;  ///< OSL_TYPE_DIR, OSL_TYPE_FILE, ...
};
/// Types of directory entries; a link is OSL_TYPE_LINK whatever it points to.
constexpr std::uint16_t OSL_TYPE_DIR = 0x100;
constexpr std::uint16_t OSL_TYPE_FILE = 0x200;
constexpr std::uint16_t OSL_TYPE_LINK = 0x400;
constexpr std::uint16_t OSL_TYPE_OTHER = 0x800;

/// Attributes of what a path names; the first does not follow a link in the last component, the
/// second does.
int OSL_GetFileInfo(const char* pPath, OSL_FINFO_S& stInfo);
int OSL_GetTargetInfo(const char* pPath, OSL_FINFO_S& stInfo);

// --- Directories (OslDirectory.cpp) ------------------------------------------------------------

using OSL_DirHandle = struct OSL_Dir*;

/// One entry; the name is valid until the next call on the same handle. The type comes without a
/// system call where the file system tells it.
struct OSL_FIND_DATA {
    const char* szName = nullptr;
    std::uint16_t wFileType = 0;
};

constexpr int OSL_DIR_END = -1;
constexpr int OSL_DIR_ERROR = -2;

/// Opens a directory for listing; null on failure.
OSL_DirHandle OSL_OpenDir(const char* pPath, OSL_LastLink eLink = OSL_LastLink::Fails);
/// 0: one more entry ("." and ".." among them); OSL_DIR_END: all were told; OSL_DIR_ERROR: the walk
/// broke off, so what it told so far is not the whole directory.
int OSL_FindFileInDir(OSL_DirHandle hDir, OSL_FIND_DATA& stData);
/// OSL_GetTargetInfo and OSL_DeleteFile of the file of that bare name in the directory.
int OSL_GetTargetInfoInDir(OSL_DirHandle hDir, const char* pName, OSL_FINFO_S& stInfo);
int OSL_DeleteFileInDir(OSL_DirHandle hDir, const char* pName);
int OSL_CloseDir(OSL_DirHandle hDir);

/// Closes a directory, however its scope is left.
struct OSL_DirCloser {
    void operator()(OSL_DirHandle hDir) const { OSL_CloseDir(hDir); }
};
using OSL_OwnDir = std::unique_ptr<struct OSL_Dir, OSL_DirCloser>;

/// 0: made; 1: was there already (as whatever); -1: failed.
int OSL_MakeDir(const char* pPath);
/// Removes an empty directory.
int OSL_RemoveDir(const char* pPath);
/// Gives a directory the mode of OSL_SetPrivateModes, through a handle; a link in the last
/// component fails.
int OSL_OpenAccess(const char* pPath);

// --- Disks (OslDisk.cpp, and a file per platform) ----------------------------------------------

struct OSL_DISK_SPACE {
    std::uint64_t nFreeBlocks = 0;
    std::uint64_t nBlockSize = 0;  ///< bytes
};
/// Free blocks that this process may use of the file system that holds `pPath`: those reserved for
/// root are among them for a process of root (effective user 0) only.
int OSL_GetDiskSpace(const char* pPath, OSL_DISK_SPACE& stSpace);

/// Makes everything written so far to the file system of directory `pPath` durable.
int OSL_SyncFileSystem(const char* pPath);
/// The same for the file system of an open file or directory. Fails too when something that was
/// written since the handle was opened could not be made durable.
int OSL_SyncFileSystemOf(OSL_FileHandle hFile);
/// Whether that does what it says there. Elsewhere, as on network and user-space file systems, each
/// file and each folder is to be synced by itself.
bool OSL_CanSyncFileSystem(const char* pPath);

/// A path that leads to an open file or directory although something is mounted over its own; empty
/// where the system has none.
std::string OSL_PathOfHandle(OSL_FileHandle hFile);

/// Takes an advisory lock on an open file or directory, shared with nobody (other opens of this
/// process included), without waiting; one that this handle has is taken once more. Fails with
/// EWOULDBLOCK where somebody holds it.
int OSL_LockFile(OSL_FileHandle hFile);
/// Gives the lock back and closes the file.
void OSL_UnlockFile(OSL_FileHandle hFile);

// --- Threads (OslThread.cpp) -------------------------------------------------------------------

using OSL_ThreadHandle = struct OSL_Thread*;
using OSL_ThreadProc = std::uint32_t (*)(void*);

/// Starts a thread, on which no signal handler of the host runs. `nStackSize` 0: the default. Null
/// on failure.
OSL_ThreadHandle OSL_Thread_Create(OSL_ThreadProc pProc, void* pArg, std::size_t nStackSize = 0);
/// Waits until the thread has ended and frees the handle; every handle must be waited for. In a
/// process forked from the creator, where the thread never ran, it fails at once.
int OSL_Thread_Wait(OSL_ThreadHandle hThread);
/// Frees the handle of a thread that nobody waits for; it has begun to run.
void OSL_Thread_Leave(OSL_ThreadHandle hThread);
/// Whether this process was forked from the creator, so that the thread never ran here.
bool OSL_IsOfAnotherProcess(OSL_ThreadHandle hThread);
void OSL_Sleep(std::uint32_t nMilliseconds);
/// Whether this process was forked from one that had asked this before. Then it has none of that
/// one's threads, and locks that they held stay locked for good.
bool OSL_IsForked();

// --- Events (OslEvent.cpp) ---------------------------------------------------------------------

using OSL_EventHandle = struct OSL_Event*;

constexpr std::uint32_t OSL_WAIT_OBJECT = 0;
constexpr std::uint32_t OSL_WAIT_TIMEOUT = 0x7FFFFFFF;
constexpr std::uint32_t OSL_WAIT_FAILED = 0xFFFFFFFF;
constexpr std::uint32_t OSL_INFINITE = 0xFFFFFFFF;

/// Makes an event that is not set and stays set until it is reset; null on failure.
OSL_EventHandle OSL_CreateEvent();
int OSL_SetEvent(OSL_EventHandle hEvent);
int OSL_ResetEvent(OSL_EventHandle hEvent);
int OSL_CloseEvent(OSL_EventHandle hEvent);
/// OSL_WAIT_OBJECT when the event is set, OSL_WAIT_TIMEOUT after so long, OSL_WAIT_FAILED for null.
std::uint32_t OSL_WaitForSingleObject(OSL_EventHandle hEvent, std::uint32_t nMilliseconds);

// --- Time (OslTime.cpp) ------------------------------------------------------------------------

/// Seconds since 1970, and milliseconds since 1970.
std::time_t OSL_Time();
std::int64_t OSL_TimeMilliseconds();
/// Milliseconds on a clock that nobody sets: for spans of time.
std::int64_t OSL_TickMilliseconds();
/// How new the machine's time zone is by which local times are told.
enum class OSL_Zone {
    AskedNow,
    AskedLately  ///< at most a second ago: for many times, since asking takes longer than the rest
};
/// Broken-down local time; false (and `stTime` untouched) when the system cannot tell it.
bool OSL_LocalTime(std::time_t t, std::tm& stTime, OSL_Zone eZone = OSL_Zone::AskedNow);

#endif  // LOCALSTORAGE_OSL_OSL_H
