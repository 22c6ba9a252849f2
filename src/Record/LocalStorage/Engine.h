// The storage engine: the one implementation of the public interface.
//
// One source file per theme: Factory, Lifecycle, Naming, ChannelOpenClose, StreamWriting,
// FileSwitching, DiskMonitor, Snapshots, QueryFront. What has a state of its own is a class of its
// own: the disks (CDisks), the open channels (CChannelTable), the index (CIndexMgr), the deletion
// passes (COverwriter), what the host is told (CHostEvents).
//
// Locks, in the order in which they may be held together: deletion pass (inside m_objOverwriter),
// disk check, channel map and record files (inside m_mapRecordChannel), callback (inside
// m_objEvents), current directory (inside m_objDisks), last error. Disks are called on their own
// threads, by who holds none of these but the first. Every disk has its turn (CDiskTurn), taken
// with none held but that. Beside them every channel has its claim, taken with none held; while a
// claim is held, all but the first may be taken.

#ifndef LOCALSTORAGE_RECORD_ENGINE_H
#define LOCALSTORAGE_RECORD_ENGINE_H

#include <atomic>
#include <ctime>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "IndexMgr/IndexMgr.h"
#include "LocalStorage/ChannelTable.h"
#include "LocalStorage/DiskSync.h"
#include "LocalStorage/Disks.h"
#include "LocalStorage/FileOpening.h"
#include "LocalStorage/HostEvents.h"
#include "LocalStorage/Overwriter.h"
#include "Osl/Osl.h"
#include "localstorage/LocalStorage.h"

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

    /// Before Initialize: somebody who is told what the callback is.
    void SetListener(CHostEvents::Listener pfnListener, void* pContext) {
        m_objEvents.SetListener(pfnListener, pContext);
    }
    /// An open channel, for a host that keeps it, so that nothing is looked up per piece. It stays
    /// until it is closed, or Release. Null when there is none.
    using ChannelEntry = channelEntry;
    ChannelEntry* FindChannel(const char* pCameraID, const recFileInfo& stRecFileInfo);
    /// WriteData of that channel.
    bool WriteData(ChannelEntry& entry, unsigned int nDataType, const char* pBuf,
                   std::size_t nSize) noexcept;

private:
    // Lifecycle
    bool StartIndex(const std::list<std::string>& lsRecDir);
    void ChooseFirstDisk(std::list<std::string> lsRecDir);
    bool StartSync();
    bool StartDiskCheck();
    /// Closes the files of all channels, each on its disk's thread. Disks that give no answer are
    /// logged and added to `setHung`.
    void CloseAllChannels(std::set<std::string>& setHung);
    /// Ends all that calls disks, but for those that hang: they are left behind.
    void StopDisks(std::set<std::string> setHung = {});
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
    /// A camera's folder in the tree "RecordFile" or "ImageFile".
    static CChannelFolder GetFolder(const std::string& strRecDir, const std::string& strTree,
                                    const tagBlockTime& stDay, const std::string& strCameraID);
    recordPath BuildSpanPath(const std::string& strRecDir, const std::string& strCameraID,
                             const recFileInfo& stRecFileInfo) const;
    recordPath BuildSecondPath(const std::string& strRecDir, const std::string& strCameraID) const;
    /// Looks, on the disk's thread, for the first second from now on that no file of its folder
    /// has: none when that lies more than `nMaxAhead` ahead, or cannot be told.
    std::future<std::optional<recordPath>> FindFreeSecond(const std::string& strRecDir,
                                                          const std::string& strCameraID,
                                                          int nMaxAhead) const;

    // ChannelOpenClose
    bool VerifyOpenRequest(const char* pCameraID, const recFileInfo& stRecFileInfo);
    bool VerifyRecordPath(const std::string& strRecDir, const std::string& strCameraID,
                          const recFileInfo& stRecFileInfo);
    /// What became of an attempt to use a disk.
    enum class Attempt { Done, Failed, GoElsewhere };
    Attempt OpenChannel(const std::string& strCameraID, void* pUser,
                        const recFileInfo& stRecFileInfo);
    /// The same on the disk of this directory.
    Attempt OpenChannelOn(const std::string& strRecDir, const channelKey& key, void* pUser,
                          const recFileInfo& stRecFileInfo);
    Attempt FailToOpen(const std::string& strRecDir, const std::string& strRecFilePath);
    Attempt EnterChannel(COpenedFile& opened, const fileOrder& stOrder, const channelKey& key,
                         CProtectedFile& objProtected);
    std::optional<recordPath> ChooseOpenPath(const std::string& strRecDir,
                                             const std::string& strCameraID,
                                             const recFileInfo& stRecFileInfo) const;
    /// Waits as long for a disk as it is worth: while it answers, and when it does not, the less
    /// long if there is another one. `await` takes milliseconds of silence.
    bool IsAnswered(const std::string& strRecDir,
                    const std::function<bool(std::int64_t nPatience)>& await) const;
    /// A recording of this path.
    fileOrder OrderFor(const recordPath& stPath, unsigned nFlags, const std::string& strCameraID,
                       void* pUser) const;
    /// Writes what the analyser still holds and closes, without a message but for what is lost.
    /// True: its file holds no frame.
    bool CloseChannelRecord(CChannelClaim& claim) noexcept;
    /// Closes its file; a failure counts as a failed write.
    void CloseRecFile(recordChannel& channel);
    /// Whether its file came to hold no frame; in the remote-backup layout, where the host has
    /// named it, and without analysis that is nobody's to judge.
    bool HoldsNoFrame(const recordChannel& channel) const;
    /// Removes a closed file of no more than so many bytes, and tells; later, when that takes
    /// longer than so many milliseconds of silence.
    void RemoveFrameless(const std::string& strRecFilePath, std::uint64_t nFrontSize,
                         std::int64_t nPatience);
    void TellRemoved(const std::string& strRecFilePath);
    void TellLateRemovals();

    // StreamWriting
    bool WriteClaimed(recordChannel& channel, unsigned int nDataType, const char* pBuf,
                      std::size_t nSize);
    bool WriteHeader(recordChannel& channel, const char* pBuf, std::uint32_t nSize);
    bool WriteStream(recordChannel& channel, const char* pBuf, std::size_t nSize);
    bool WriteAnalysed(recordChannel& channel, const char* pBuf, std::size_t nSize);
    /// What the analyser holds back at the end of the stream, for the current file.
    std::string TakeRest(recordChannel& channel);
    bool WritePackets(recordChannel& channel);
    bool WriteAllPackets(recordChannel& channel);
    void NoteKeyFrame(recordChannel& channel);
    bool WriteRecord(recordChannel& channel, const char* pBuf, std::size_t nSize);
    void ReportFailedWrite(const recordChannel& channel, const char* pBuf, std::size_t nSize);
    /// What a sync could not make durable is lost as by a failed write.
    void ReportUnsynced(const CSyncedFile& file, void* pUser, int nError);
    /// A close that failed is a failed write.
    void ReportFailedClose(const std::string& strRecFilePath, const std::string& strCameraID,
                           void* pUser, int nError);
    /// Tells the host, and holds it against the disk.
    void ReportLoss(const std::string& strRecFilePath, const std::string& strCameraID, void* pUser,
                    int nError);

    // FileSwitching
    /// Whether the channel's file is to be followed by a new one, `nPending` bytes counted as
    /// written to it.
    bool IsNeedSwitchRecFile(const recordChannel& channel, std::size_t nPending) const;
    void SwitchRecFile(recordChannel& channel);
    /// Chooses the next file and has it opened; waits for so many milliseconds of silence. False:
    /// not now.
    bool HaveNextFile(recordChannel& channel, std::int64_t nPatience);
    /// Whether the next file is still the one that would be chosen.
    bool IsNextFileCurrent(const recordChannel& channel) const;
    static bool IsNewPathTooLong(recordChannel& channel, const recordPath& stPath);
    void CloseOldFile(recordChannel& channel);
    void TakeNextFile(recordChannel& channel);
    bool BeginNewFile(recordChannel& channel, const std::string& strPath);

    // DiskMonitor
    static std::uint32_t DiskCheckProc(void* pEngine);
    /// False: no check, the engine stops.
    bool AwaitDiskCheck();
    /// One disk check: moves to another disk, reports a full one, overwrites the oldest day.
    void CheckDisk(COverwriter::Pace ePace);
    /// Decides by the last looks, and tells. True: the oldest day is to be overwritten.
    bool DecideAndTell();
    void ReportSwitch();
    void ReportFullDisk();

    // Snapshots
    bool VerifyImageRequest(const char* pCameraID, const char* pBuf, const char* pImgPath) const;
    bool VerifyImagePath(const std::string& strPath) const;
    recordPath BuildImagePath(const std::string& strRecDir, const std::string& strCameraID) const;
    Attempt StoreImage(const std::string& strCameraID, const char* pBuf, std::uint32_t nSize,
                       char* pImgPath);
    Attempt StoreImageOn(const std::string& strRecDir, const std::string& strCameraID,
                         const char* pBuf, std::uint32_t nSize, char* pImgPath);

    tagStoreInfo m_stStoreInfo;
    bool m_bInit = false;
    CHostEvents m_objEvents;
    std::unique_ptr<CIndexMgr> m_pIndexMgr;
    CDisks m_objDisks;  ///< asks those of m_pIndexMgr
    CDiskSyncs m_objSyncs;
    CChannelTable m_mapRecordChannel;
    COverwriter m_objOverwriter{m_objDisks, m_mapRecordChannel, m_objEvents};
    OSL_ThreadHandle m_hDiskCheckThread = nullptr;
    OSL_EventHandle m_hDiskCheckEvent;  ///< set to wake the thread
    std::atomic<bool> m_bStopDiskCheck{false};
    CVexList<pathNode> m_lsRecFile;  ///< result of the last query; not locked
    OSL_Mutex m_mtxLastError{OSL_LockRank::LastError, "last error"};
    int m_nLastError OSL_GUARDED_BY(m_mtxLastError) = STORAGE_ERROR_NONE;
    /// Files whose removal is under way, of which the host is to hear.
    using Removals = std::list<std::pair<std::string, std::future<bool>>>;
    OSL_Mutex m_mtxRemovals{OSL_LockRank::RecordFiles, "removals"};
    Removals m_lsRemovals OSL_GUARDED_BY(m_mtxRemovals);
    /// What a disk check decides it tells before another decides.
    OSL_Mutex m_mtxDiskCheck{OSL_LockRank::DiskCheck, "disk check"};
};

#endif  // LOCALSTORAGE_RECORD_ENGINE_H
