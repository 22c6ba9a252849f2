// The storage engine: the one implementation of the public interface.
//
// One source file per theme: Factory, Lifecycle, Naming, ChannelOpenClose, StreamWriting,
// FileSwitching, DiskMonitor, Overwriting, Snapshots, QueryFront. What has a state of its own is a
// class of its own: the disks (CDisks), the open channels (CChannelTable), the index (CIndexMgr),
// what the host is told (CHostEvents).
//
// Locks, in the order in which they may be held together: disk check, channel map and record files
// (inside m_mapRecordChannel), callback (inside m_objEvents), current directory (inside
// m_objDisks), last error. None but the disk-check lock is held while a file is touched. Beside
// them every channel has its claim, taken with none of these held but the disk-check lock; while a
// claim is held, the others may be taken.

#ifndef LOCALSTORAGE_RECORD_ENGINE_H
#define LOCALSTORAGE_RECORD_ENGINE_H

#include <atomic>
#include <ctime>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "IndexMgr/IndexMgr.h"
#include "LocalStorage/ChannelTable.h"
#include "LocalStorage/DiskSync.h"
#include "LocalStorage/Disks.h"
#include "LocalStorage/HostEvents.h"
#include "Osl/Osl.h"
#include "localstorage/LocalStorage.h"

class CFileDeleter;

class CLocalStorage final : public CLocalStorageInterface {
public:
    /// Starts nothing. Throws std::bad_alloc.
    CLocalStorage();
    /// Does not call Release; whoever deletes the engine does that first.
    ~CLocalStorage() override;

    bool Initialize(tagStoreInfo& stStoreInfo) override;
    bool Release() override;
    bool OpenChannelRecord(char* pCameraID, void* pUser, recFileInfo& stRecFileInfo) override;
    bool CloseChannelRecord(char* pCameraID, recFileInfo& stRecFileInfo) override;
    bool WriteData(char* pCameraID, unsigned int nDataType, char* pBuf, unsigned int nSize,
                   recFileInfo& stRecFileInfo) override;
    bool QueryRecFile(recQueryParam& stQueryParam, CVexList<pathNode>** ppRecFileList) override;
    std::uint32_t GetDiskWriteSpeed() override;
    int GetLastError() override;
    bool WriteImage(const char* pCameraID, const char* pBuf, unsigned int nSize,
                    char* pImgPath) override;
    bool DeleteImagesByDay(const tagBlockTime& stDay) override;

private:
    // Lifecycle
    bool StartIndex(const std::list<std::string>& lsRecDir);
    void ChooseFirstDisk(std::list<std::string> lsRecDir);
    bool StartSync();
    bool StartDiskCheck();
    void StopIndex();
    void SetLastError(int nError);
    /// Sets the last error, logs, and returns false.
    bool Fail(int nError, const char* pFormat, ...) __attribute__((format(printf, 3, 4)));

    // Naming
    bool IsClientLayout() const;
    /// The channel's name in the log; its key stands for the same.
    std::string GetUniqMAPID(const std::string& strCameraID,
                             const recFileInfo& stRecFileInfo) const;
    /// A view on `pCameraID`.
    channelKeyView GetChannelKey(const char* pCameraID, const recFileInfo& stRecFileInfo) const;
    /// A camera's folder below the current record directory, in the tree "RecordFile" or
    /// "ImageFile".
    CChannelFolder GetFolder(const std::string& strTree, const tagBlockTime& stDay,
                             const std::string& strCameraID) const;
    recordPath BuildSpanPath(const std::string& strCameraID,
                             const recFileInfo& stRecFileInfo) const;
    recordPath BuildSecondPath(const std::string& strCameraID, std::time_t tTime) const;
    /// The path of the first second from now on that no file of its folder has; nothing when that
    /// second lies more than `nMaxAhead` ahead, or cannot be told.
    std::optional<recordPath> BuildFreeSecondPath(const std::string& strCameraID,
                                                  int nMaxAhead) const;

    // ChannelOpenClose
    bool VerifyOpenRequest(const char* pCameraID, const recFileInfo& stRecFileInfo);
    bool VerifyRecordPath(const std::string& strCameraID, const recFileInfo& stRecFileInfo);
    bool OpenChannel(const std::string& strCameraID, void* pUser, const recFileInfo& stRecFileInfo)
        OSL_REQUIRES(m_mtxDiskCheck);
    recordPath ChooseOpenPath(const std::string& strCameraID,
                              const recFileInfo& stRecFileInfo) const;
    /// For a new file of the client layout.
    recordPath ChooseNewPath(const std::string& strCameraID) const;
    /// Makes the folder and opens the file; makes the folder again when a clean-up took it in
    /// between. Makes nothing below a missing disk. A failure is held against the disk.
    OSL_FileHandle OpenInFolder(const recordPath& stPath, unsigned nFlags);
    /// The same; the file is synced, and reserves so many MiB ahead.
    CRecordFile OpenRecFile(const recordPath& stPath, unsigned nFlags,
                            const std::string& strCameraID, void* pUser, int nReserveStep);
    /// Writes what the analyser still holds and closes, without a message but for what is lost.
    void CloseChannelRecord(CChannelClaim& claim) noexcept;
    /// Closes its file; a failure counts as a failed write.
    void CloseRecFile(recordChannel& channel);

    // StreamWriting
    bool WriteHeader(recordChannel& channel, const char* pBuf, std::uint32_t nSize);
    bool WriteStream(recordChannel& channel, const char* pBuf, std::size_t nSize);
    bool WriteAnalysed(recordChannel& channel, const char* pBuf, std::size_t nSize);
    /// Writes what the analyser holds back at the end of the stream, to the current file.
    void WriteRest(recordChannel& channel);
    /// Whether a key frame may begin a new file.
    enum class Switching { AtKeyFrames, Never };
    bool WritePackets(recordChannel& channel, Switching eSwitching);
    bool WriteAllPackets(recordChannel& channel, Switching eSwitching);
    void NoteKeyFrame(recordChannel& channel);
    bool WriteRecord(recordChannel& channel, const char* pBuf, std::size_t nSize);
    void ReportFailedWrite(const recordChannel& channel, const char* pBuf, std::size_t nSize);
    /// What a sync could not make durable is lost as by a failed write.
    void ReportUnsynced(const CSyncedFile& file, void* pUser, int nError);
    /// Tells the host, and holds it against the disk.
    void ReportLoss(const recordChannel& channel, int nError);

    // FileSwitching
    /// Whether the channel's file is to be followed by a new one, `nPending` bytes counted as
    /// written to it.
    bool IsNeedSwitchRecFile(const recordChannel& channel, std::size_t nPending) const;
    void SwitchRecFile(recordChannel& channel);
    static bool IsNewPathTooLong(recordChannel& channel, const recordPath& stPath);
    void CloseOldFile(recordChannel& channel);
    void OpenNewFile(recordChannel& channel);

    // DiskMonitor
    static std::uint32_t DiskCheckProc(void* pEngine);
    /// False: no check, the engine stops.
    bool AwaitDiskCheck();
    /// One disk check: moves to another disk, reports a full one, overwrites the oldest day.
    void CheckDisk() OSL_REQUIRES(m_mtxDiskCheck);
    void ReportSwitch();
    void ReportFullDisk();

    // Overwriting
    /// Runs a deletion pass, unless the last one brought no room and is a moment ago.
    void MakeRoom() OSL_REQUIRES(m_mtxDiskCheck);
    /// One deletion pass: the oldest day from which something can be deleted. True when a file was
    /// deleted, or a disk has room meanwhile.
    bool DeleteFile(StoreFileType enumStoreFileType) OSL_REQUIRES(m_mtxDiskCheck);
    /// Waits until a pass has made room. False: the disks gain none any more, or not in time.
    bool AwaitFreedSpace() OSL_REQUIRES(m_mtxDiskCheck);
    /// Deletes these files of a day and tidies the folders. True when a file went.
    bool DeleteRecordFile(const oldestDay& day);
    /// Deletes one of them, reports it and takes it out of the index. True when it is gone.
    bool DeleteRecordFile(CFileDeleter& deleter, const recordPath& stPath);
    bool DeleteImageFile(const oldestDay& day);
    bool IsRecFileWritting(const std::string& strPath) const;

    // Snapshots
    bool VerifyImageRequest(const char* pCameraID, const char* pBuf, const char* pImgPath) const;
    bool VerifyImagePath(const std::string& strPath) const;
    recordPath BuildImagePath(const std::string& strCameraID) const;
    CRecordFile OpenImageFile(const std::string& strCameraID, std::string& strPath)
        OSL_REQUIRES(m_mtxDiskCheck);
    bool WriteImageData(CRecordFile& objFile, const std::string& strCameraID,
                        const std::string& strPath, const char* pBuf, std::uint32_t nSize);

    tagStoreInfo m_stStoreInfo;
    bool m_bInit = false;
    CHostEvents m_objEvents;
    std::unique_ptr<CIndexMgr> m_pIndexMgr;
    CDisks m_objDisks;  ///< asks m_pIndexMgr
    CDiskSyncs m_objSyncs;
    CChannelTable m_mapRecordChannel;
    OSL_ThreadHandle m_hDiskCheckThread = nullptr;
    OSL_EventHandle m_hDiskCheckEvent;  ///< set to wake the thread
    std::atomic<bool> m_bStopDiskCheck{false};
    CVexList<pathNode> m_lsRecFile;  ///< result of the last query; not locked
    OSL_Mutex m_mtxLastError{OSL_LockRank::LastError, "last error"};
    int m_nLastError OSL_GUARDED_BY(m_mtxLastError) = STORAGE_ERROR_NONE;
    /// Serialises disk checks with whatever makes a file at a place that a check could clean up.
    OSL_Mutex m_mtxDiskCheck{OSL_LockRank::DiskCheck, "disk check"};
    std::int64_t m_nNextPass OSL_GUARDED_BY(m_mtxDiskCheck) = 0;  ///< not before; in ticks
};

#endif  // LOCALSTORAGE_RECORD_ENGINE_H
