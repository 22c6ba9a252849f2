// LocalStorage: stores the video and the snapshots of many cameras on local disks.
//
// A host creates one engine, initialises it once, records, queries, releases it:
//
//     CLocalStorageInterface* pStorage = 0;
//     NewLocalStorageClass(&pStorage);
//     tagStoreInfo stInfo;                     // then fill in lsRecDir at least
//     pStorage->Initialize(stInfo);
//     pStorage->OpenChannelRecord(szCamera, pUser, stFile);
//     pStorage->WriteData(szCamera, 1, pHeader, nHeader, stFile);
//     pStorage->WriteData(szCamera, 0, pPiece, nPiece, stFile);   // ... many times
//     pStorage->CloseChannelRecord(szCamera, stFile);
//     pStorage->Release();
//     DelLocalStorageClass(&pStorage);
//
// The record folder ("RecordFile") below every record directory belongs to the engine: a repair of
// its index removes whatever does not follow the naming rules there, and a full disk makes the
// engine delete the oldest day. Never keep anything of your own in it.
//
// This header is the whole contract between separately built modules. It compiles as C++11, every
// record has a fixed layout, and no exception leaves any function.

#ifndef LOCALSTORAGE_LOCALSTORAGE_H
#define LOCALSTORAGE_LOCALSTORAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#if defined(_WIN32)
#error "LocalStorage runs on Linux"
#else
#define LOCALSTORAGE_API __attribute__((visibility("default")))
#endif

// ---------------------------------------------------------------------------------------------
// Records and codes
// ---------------------------------------------------------------------------------------------

/// Size of every path field in bytes, the terminating NUL included.
enum { LOCALSTORAGE_PATH_SIZE = 260 };
/// Size of every camera identifier field that crosses the interface, the NUL included. An
/// identifier itself has at most 63 bytes.
enum { LOCALSTORAGE_CAMERA_ID_SIZE = 128 };
/// A record directory with so many MiB of free space or less is full. What its file system keeps
/// for root counts for hosts of root only.
enum { LOCALSTORAGE_DISK_FULL_SPACE = 2048 };

/// Broken-down local time, 8 bytes.
struct tagBlockTime {
    std::uint16_t wYear;      ///< full year, for example 2024
    std::uint8_t byMonth;     ///< 1-12
    std::uint8_t byDay;       ///< 1-31
    std::uint8_t byHour;      ///< 0-23
    std::uint8_t byMinute;    ///< 0-59
    std::uint8_t bySecond;    ///< 0-59; a leap second 60 passes through
    std::uint8_t byReserved;  ///< never written by the engine

    tagBlockTime()
        : wYear(0), byMonth(0), byDay(0), byHour(0), byMinute(0), bySecond(0), byReserved(0) {}
};

/// One element of a path list: a NUL-terminated path.
struct pathNode {
    char szPath[LOCALSTORAGE_PATH_SIZE];  ///< the path

    pathNode() { std::memset(szPath, 0, sizeof(szPath)); }
};

template <typename T>
struct _vex_list_node {
    T data;
    _vex_list_node* next;
    _vex_list_node* prev;

    _vex_list_node() : data(), next(0), prev(0) {}
};

template <typename T>
class _vex_list_iterator {
public:
    explicit _vex_list_iterator(_vex_list_node<T>* pNode = 0) : m_pNode(pNode) {}

    T& operator*() const { return m_pNode->data; }
    _vex_list_iterator& operator++() {
        m_pNode = m_pNode->next;
        return *this;
    }
    bool operator!=(const _vex_list_iterator& other) const { return m_pNode != other.m_pNode; }

private:
    template <typename U>
    friend class CVexList;

    _vex_list_node<T>* m_pNode;
};

/// The list that crosses the interface: circular, doubly linked, with a heap-allocated sentinel.
///
/// Layout: pointer to the sentinel, then the element count. Nodes are allocated without throwing;
/// an element for which there is no memory is left out. A list whose very sentinel could not be
/// allocated must not be used. Not synchronised. Copy with operator=; there is no copy constructor.
template <typename T>
class CVexList {
public:
    /// An element and its neighbours.
    typedef _vex_list_node<T> node;
    /// A position: `*it` is the element there, `++it` goes on.
    typedef _vex_list_iterator<T> iterator;

    CVexList() : m_pSentinel(new (std::nothrow) node), m_nSize(0) {
        if (m_pSentinel) Close();
    }
    ~CVexList() {
        if (m_pSentinel) clear();
        delete m_pSentinel;
    }

    iterator begin() const { return iterator(m_pSentinel->next); }  ///< the first element
    iterator end() const { return iterator(m_pSentinel); }          ///< behind the last
    unsigned int size() const { return m_nSize; }                   ///< number of elements

    /// Inserts a copy of `value` in front of `pos` and returns its position; without memory nothing
    /// changes and `pos` comes back.
    iterator insert(iterator pos, const T& value) {
        node* pNode = new (std::nothrow) node;
        if (!pNode) return pos;
        pNode->data = value;
        pNode->next = pos.m_pNode;
        pNode->prev = pos.m_pNode->prev;
        pos.m_pNode->prev->next = pNode;
        pos.m_pNode->prev = pNode;
        ++m_nSize;
        return iterator(pNode);
    }

    /// Inserts a copy of `value` behind the last element.
    void push_back(const T& value) { insert(end(), value); }

    /// Frees all elements.
    void clear() {
        node* pNode = m_pSentinel->next;
        while (pNode != m_pSentinel) {
            node* pNext = pNode->next;
            delete pNode;
            pNode = pNext;
        }
        Close();
        m_nSize = 0;
    }

    /// Deliberate: clears before it copies, so that a list assigned to itself ends empty.
    CVexList& operator=(const CVexList& other) {
        clear();
        for (iterator it = other.begin(); it != other.end(); ++it) push_back(*it);
        return *this;
    }

private:
    CVexList(const CVexList&);

    void Close() { m_pSentinel->next = m_pSentinel->prev = m_pSentinel; }

    node* m_pSentinel;
    std::uint32_t m_nSize;
};

/// Kind of recording. The host gives 1 to 8 their meaning; the number stands in the file name. In a
/// query 0 asks for every kind. A value above 8 counts as 0.
enum RecordType : std::uint32_t {
    RECORD_TYPE_ALL = 0,
    RECORD_TYPE_1 = 1,
    RECORD_TYPE_2 = 2,
    RECORD_TYPE_3 = 3,
    RECORD_TYPE_4 = 4,
    RECORD_TYPE_5 = 5,
    RECORD_TYPE_6 = 6,
    RECORD_TYPE_7 = 7,
    RECORD_TYPE_8 = 8
};

/// Layout of the storage. A value above 1 counts as 0.
enum LocalStorageType : std::uint32_t {
    /// Recordings carry the host's start and end times in their names and stand in the index.
    LOCAL_STORAGE_REMOTE_BACKUP = 0,
    /// Recordings are named from the clock, split by size and found by scanning the directories.
    LOCAL_STORAGE_CLIENT = 1
};

/// Kind of files that a full disk makes the engine delete. Any other value deletes nothing.
enum StoreFileType : std::uint32_t {
    STORE_FILE_RECORD = 0,  ///< recordings
    STORE_FILE_IMAGE = 1    ///< snapshot pictures
};

/// Kind of the incoming stream.
enum StreamType : std::uint32_t {
    STREAM_TYPE_VIDEO = 0,  ///< H.264 or H.265 byte stream, MPEG program or transport stream
    STREAM_TYPE_RAW = 1     ///< stored as it comes; may not be combined with bAnalyze
};

/// Messages of the host callback.
enum StorageMessage {
    MESSAGEVALUE_DISKFULL = 1,    ///< no data; pUser of the channel where there is one
    MESSAGEVALUE_SWITCHDISK = 2,  ///< diskSwitchEvent
    MESSAGEVALUE_CREATEFILE = 3,  ///< recFileEvent
    MESSAGEVALUE_DELETEFILE = 4,  ///< the path's characters; nDataLen of them
    MESSAGEVALUE_CLOSEFILE = 5,   ///< recFileEvent
    MESSAGEVALUE_WRITEFAIL = 6    ///< writeFailEvent
};

/// Codes of GetLastError.
enum StorageError {
    STORAGE_ERROR_NONE = 0,
    STORAGE_ERROR_NO_MEMORY = -1,      ///< either: no memory
    STORAGE_ERROR_INDEX = -2,          ///< Initialize: the index could not be read, or a directory
                                       ///< is in use by another engine
    STORAGE_ERROR_INDEX_REPAIR = -3,   ///< Initialize: the index could not be repaired
    STORAGE_ERROR_THREAD = -4,         ///< Initialize: no thread for the disk check
    STORAGE_ERROR_DISK_FULL = -10,     ///< OpenChannelRecord: no disk has room
    STORAGE_ERROR_NOT_INIT = -11,      ///< OpenChannelRecord: the engine is not initialised
    STORAGE_ERROR_CHANNEL_OPEN = -13,  ///< OpenChannelRecord: the channel is open already
    STORAGE_ERROR_OPEN_FILE = -14,     ///< OpenChannelRecord: the file could not be opened
    STORAGE_ERROR_PARAM = -20          ///< either: a parameter is out of bounds
};

/// Options of SetStorageOption, for every engine of the process.
enum StorageOption {
    /// Milliseconds between two syncs of what is recorded, 0 to 3,600,000; 0: never, the operating
    /// system writes when it likes. Default 1000: a power cut costs at most the last 2 seconds.
    STORAGE_OPTION_SYNC_INTERVAL = 1,
    /// MiB of disk that an open recording reserves ahead, 0 to 1024, so that it stays in few pieces
    /// although it is synced often; 0, or without syncs: none. Given back when the file was closed
    /// and synced. Default 32.
    STORAGE_OPTION_RESERVE_STEP = 2,
    /// A record directory with so many MiB of free space or less is full: 64 to 1,073,741,824.
    /// Default LOCALSTORAGE_DISK_FULL_SPACE.
    STORAGE_OPTION_FULL_SPACE = 3,
    /// 1: files and folders, those of the log too, are made for the user and the group of the host
    /// from now on, with the modes 0640 and 0750; 0: for everybody, 0777. What is there already
    /// keeps its mode. Default 0.
    STORAGE_OPTION_PRIVATE_MODES = 4,
    /// 1: a record directory that lies on the root's file system at Initialize only marks where a
    /// disk is going to be mounted: nothing is made or read there, and the disk is taken over when
    /// it is. Default 0.
    STORAGE_OPTION_REQUIRE_MOUNT = 5
};

/// Data of MESSAGEVALUE_CREATEFILE and MESSAGEVALUE_CLOSEFILE, 396 bytes.
struct recFileEvent {
    char szCameraID[LOCALSTORAGE_CAMERA_ID_SIZE];  ///< of which camera
    char szFileName[LOCALSTORAGE_PATH_SIZE];       ///< full path
    tagBlockTime stTime;                           ///< local time of the event
};

/// Data of MESSAGEVALUE_SWITCHDISK, 272 bytes.
struct diskSwitchEvent {
    char szDisk[LOCALSTORAGE_PATH_SIZE];  ///< the new current record directory, ending in "/"
    std::uint32_t nReserved;              ///< 0
    std::uint64_t nUsableSpace;           ///< its usable space in MiB
};

/// Data of MESSAGEVALUE_WRITEFAIL, 132 bytes.
struct writeFailEvent {
    char szCameraID[LOCALSTORAGE_CAMERA_ID_SIZE];  ///< of which camera
    std::int32_t nError;                           ///< the system's error number
};

/// Host callback. `pData` is valid during the call only; the result is ignored. Calls never
/// overlap: the engine holds its callback lock around each. They come from the host's own thread
/// (inside OpenChannelRecord, CloseChannelRecord, WriteData, WriteImage) and from the engine's
/// disk-check and sync threads. A failed sync comes as MESSAGEVALUE_WRITEFAIL of each channel that
/// it hits; its pUser is null when the channel was closed meanwhile. The callback must not call
/// back into the engine and must not throw.
typedef int (*StorageMsgCallback)(int nMsgType, void* pData, unsigned int nDataLen, void* pUser);

/// Settings of an engine; Initialize copies them whole.
struct tagStoreInfo {
    std::uint32_t nMaxChannels;  ///< channels the host means to record, at most 64
    StreamType enumStreamType;   ///< kind of the stream; data of any kind above 1 is ignored
    bool bAnalyze;   ///< find key frames: recording begins at one, files are cut in front of one
    bool bCycWrite;  ///< a full disk makes the engine look for another one
    StorageMsgCallback pFunCallback;   ///< may be null: no messages
    CVexList<pathNode> lsRecDir;       ///< record directories, one per disk, best first
    LocalStorageType enumStorageType;  ///< layout
    std::uint32_t nFileSize;           ///< MiB per file in the client layout, at most 2048
    bool bAutoDelete;                  ///< full disks make the engine delete the oldest day
    StoreFileType enumStoreFileType;   ///< of these files

    tagStoreInfo()
        : nMaxChannels(0),
          enumStreamType(STREAM_TYPE_VIDEO),
          bAnalyze(false),
          bCycWrite(false),
          pFunCallback(0),
          lsRecDir(),
          enumStorageType(LOCAL_STORAGE_REMOTE_BACKUP),
          nFileSize(256),
          bAutoDelete(true),
          enumStoreFileType(STORE_FILE_RECORD) {}

    /// Copies everything, the list of directories too.
    tagStoreInfo& operator=(const tagStoreInfo& other) {
        nMaxChannels = other.nMaxChannels;
        enumStreamType = other.enumStreamType;
        bAnalyze = other.bAnalyze;
        bCycWrite = other.bCycWrite;
        pFunCallback = other.pFunCallback;
        lsRecDir = other.lsRecDir;
        enumStorageType = other.enumStorageType;
        nFileSize = other.nFileSize;
        bAutoDelete = other.bAutoDelete;
        enumStoreFileType = other.enumStoreFileType;
        return *this;
    }

private:
    tagStoreInfo(const tagStoreInfo&);
};

/// One recording of a camera. In the remote-backup layout camera, times and type together identify
/// the channel, so every call for it passes the same values; in the client layout the camera does.
struct recFileInfo {
    tagBlockTime stStartTime;   ///< first second
    tagBlockTime stEndTime;     ///< last second; not before the start
    RecordType enumRecordType;  ///< kind of recording
    /// True continues an existing file, false makes or empties it. Warning, remote-backup layout:
    /// local times come twice in the hour in which summer time ends, and after the clock was set
    /// back. With false the second recording of the same camera, times and type empties the first;
    /// a host that takes its times from the clock gives true then, and the two become one file.
    bool bOpenFlag;

    recFileInfo() : stStartTime(), stEndTime(), enumRecordType(RECORD_TYPE_1), bOpenFlag(false) {}
};

/// A query by camera, kind and time; local times.
struct recQueryParam {
    tagBlockTime stQueryStartTime;                 ///< first second of interest
    tagBlockTime stQueryEndTime;                   ///< not before the start
    RecordType enumRecordType;                     ///< RECORD_TYPE_ALL: every kind
    char szCameraID[LOCALSTORAGE_CAMERA_ID_SIZE];  ///< of this camera

    recQueryParam() : stQueryStartTime(), stQueryEndTime(), enumRecordType(RECORD_TYPE_ALL) {
        std::memset(szCameraID, 0, sizeof(szCameraID));
    }
};

// ---------------------------------------------------------------------------------------------
// The engine
// ---------------------------------------------------------------------------------------------

/// One storage engine. The order of the virtual operations is fixed.
///
/// Threads: Initialize and Release must not overlap any other call on the same engine. Channel
/// operations may come from any threads, one thread at a time for one channel. Queries must be
/// serialised by the host, since they share one result list.
///
/// Camera identifiers: 1 to 63 bytes, without "/", "\" and control characters, not "." or "..", and
/// not the name of a file of the index ("index01.bin" to "index03.bin", also with ".new" behind,
/// and "index.dirty").
class CLocalStorageInterface {
public:
    /// Call Release first: it does not stop a running engine's threads. DelLocalStorageClass does
    /// both, and stops the log; after Release and delete the log goes on, for other engines.
    virtual ~CLocalStorageInterface() {}

    /// Starts the engine. False: GetLastError tells why, and Initialize may be called again. On a
    /// running engine it returns true and changes nothing. Full disks are no error here.
    virtual bool Initialize(tagStoreInfo& stStoreInfo) = 0;

    /// Closes every open channel (without messages, unless something of a stream is lost with it),
    /// stops the engine's threads and writes the index. False when the engine was not initialised.
    /// The last query's result dies with it.
    virtual bool Release() = 0;

    /// Begins a recording of a camera. `pUser` comes back in the channel's messages. The record is
    /// only read. False: GetLastError tells why, nothing is open.
    virtual bool OpenChannelRecord(char* pCameraID, void* pUser, recFileInfo& stRecFileInfo) = 0;

    /// Ends a recording. False when no such channel is open. A file that cannot be closed properly
    /// is a failed write (MESSAGEVALUE_WRITEFAIL, before MESSAGEVALUE_CLOSEFILE). With analysis, in
    /// the client layout, one into which no frame came is removed (MESSAGEVALUE_DELETEFILE, after
    /// MESSAGEVALUE_CLOSEFILE).
    virtual bool CloseChannelRecord(char* pCameraID, recFileInfo& stRecFileInfo) = 0;

    /// Appends a piece of the stream. `nDataType` 1 is the stream header (at most 128 bytes, may be
    /// empty): it goes in front of every file of the channel. Any other value is stream data, in
    /// pieces of any size. With analysis, data needs a header first, and what precedes the first
    /// key frame is dropped.
    ///
    /// False: refused, not analysable, or a write failed (MESSAGEVALUE_WRITEFAIL tells the error);
    /// the channel stays open and later calls try again.
    virtual bool WriteData(char* pCameraID, unsigned int nDataType, char* pBuf, unsigned int nSize,
                           recFileInfo& stRecFileInfo) = 0;

    /// Finds recordings that overlap a time range; remote-backup layout only. One that ends as it
    /// starts, for a host that does not know the end yet, lasts one second. `*ppRecFileList`
    /// receives the engine's own list of full paths, sorted by path, valid until the next query or
    /// Release; never free it. True exactly when at least one file was found; on a refused query
    /// (null list, not initialised, start after end) `*ppRecFileList` is left alone.
    virtual bool QueryRecFile(recQueryParam& stQueryParam, CVexList<pathNode>** ppRecFileList) = 0;

    /// Sum over the open channels of each one's mean write rate since its current file began, in
    /// KiB/s.
    virtual std::uint32_t GetDiskWriteSpeed() = 0;

    /// The code stored last by Initialize or OpenChannelRecord, by any thread (StorageError).
    virtual int GetLastError() = 0;

    /// Stores a snapshot picture of a camera, named by the current second; a second picture of that
    /// second replaces the first. `pImgPath` must have room for LOCALSTORAGE_PATH_SIZE bytes and
    /// receives the stored file's path. False when refused, full, or not written.
    virtual bool WriteImage(const char* pCameraID, const char* pBuf, unsigned int nSize,
                            char* pImgPath) = 0;

    /// Deletes the pictures of that day and of every earlier day on the current disk. Always true.
    virtual bool DeleteImagesByDay(const tagBlockTime& stDay) = 0;
};

extern "C" {

/// Creates an engine. 1: `*ppLocalStorage` is the engine; 0: null argument, or no memory (then
/// `*ppLocalStorage` is null). Any thread.
LOCALSTORAGE_API std::int32_t NewLocalStorageClass(CLocalStorageInterface** ppLocalStorage);

/// Releases and destroys an engine and stops the library's log, also for engines that remain: a
/// host that has several ends all but the last with Release and delete. 1: done; 0: null argument
/// or null engine (a null engine stops the log all the same). `*ppLocalStorage` keeps its old
/// value, which must not be used again.
LOCALSTORAGE_API std::int32_t DelLocalStorageClass(CLocalStorageInterface** ppLocalStorage);

/// Sets an option (StorageOption) for the engines that are initialised afterwards. 1: set; 0, and a
/// line in the log: there is no such option, or the value is out of its range. Any thread.
LOCALSTORAGE_API std::int32_t SetStorageOption(int nOption, int nValue);

/// Name of the record folder below every record directory: "RecordFile", or "BackupFile" while a
/// record folder cannot be used. It is that of the engine that started last; an engine keeps its
/// own from Initialize to Release. Read it; do not change it while engines run.
LOCALSTORAGE_API extern const char* g_pRecDirName;
}

#endif  // LOCALSTORAGE_LOCALSTORAGE_H
