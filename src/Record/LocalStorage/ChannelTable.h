// The open recordings: one recordChannel each, and the table that owns and finds them.
//
// Two things protect a channel. The table's mutex, never held across a file access, guards which
// channels there are. The claim lets one thread at a time work on a channel, without a lock: a
// close that meets a write waits for that write only, and channels never wait for each other.
// Nothing but a claim leads to a channel, and only a claimant takes it out of the table, so a
// claimed channel stays.
//
// A write finds its channel without the mutex, by a hint: the entry that was last found for a key
// of this hash. That may be another's by now, or nobody's; but entries are never freed, and one
// that is claimed tells whose it is. Nobody's stay claimed.
//
// The files being written have a set and a mutex of their own: a deletion pass asks for every file
// that it deletes, and a writer must not wait for it then.

#ifndef LOCALSTORAGE_RECORD_CHANNELTABLE_H
#define LOCALSTORAGE_RECORD_CHANNELTABLE_H

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "LocalStorage/ChannelKey.h"
#include "LocalStorage/RecordFile.h"
#include "Osl/OslMutex.h"
#include "StreamProbe/StreamProbe.h"

/// Bytes of a stream header that a channel can keep.
constexpr std::uint32_t STREAM_HEAD_SIZE = 128;

struct nextFile;

/// One open recording. Its fields belong to the claimant, but for those marked.
struct recordChannel {
    recordChannel(const std::string& strCamera, void* pHostUser);
    ~recordChannel();
    recordChannel(const recordChannel&) = delete;
    recordChannel& operator=(const recordChannel&) = delete;

    CRecordFile objRecFile;
    VEXANA_Handle hStream = nullptr;  ///< made by the first header, when streams are analysed
    bool bGotIFrame = false;          ///< the first key frame has come
    bool bWriteFailed = false;        ///< the last write to the current file failed
    bool bHasHole = false;            ///< some write to the current file did
    std::uint64_t nFrontSize = 0;     ///< bytes in the current file in front of the first frame
    bool bHeadSaved = false;          ///< a stream header has come
    std::time_t tNoneFree = -1;       ///< in this second no name was free for the next file
    bool bTooLongTold = false;        ///< that the next file's path is too long

    // Written by the claimant, read by any thread.
    std::atomic<std::uint64_t> nWrittenSize = 0;  ///< bytes in the current file, header included
    std::atomic<std::time_t> tCreateTime = 0;     ///< when the current file was opened

    const std::string strCameraID;
    void* const pUser;  ///< comes back in this channel's messages

    std::string strRecFilePath;           ///< the open file; empty when there is none
    std::unique_ptr<nextFile> pNextFile;  ///< that a switch is about to make; null: none
    /// When the disk of the open file was last found silent, and when that was opened: ticks.
    std::shared_ptr<const std::atomic<std::int64_t>> pLastSilence;
    std::int64_t nOpened = 0;

    std::uint32_t nStreamHeadLen = 0;
    char byStreamHead[STREAM_HEAD_SIZE] = {};
};

/// Where a channel is kept while it is open; later another, under another key. All but the atomic
/// fields belongs to the claimant.
struct channelEntry {
    static constexpr std::uint32_t FREE = 0;
    static constexpr std::uint32_t HELD = 1;     ///< also while there is no channel
    static constexpr std::uint32_t AWAITED = 2;  ///< held, and somebody waits for it

    channelKeyView Key() const { return {key.strCameraID, key.nStart, key.nEnd, key.nType}; }

    std::atomic<std::uint32_t> nClaim = HELD;
    std::atomic<std::uint64_t> nHash = 0;  ///< of the key
    channelKey key;
    std::optional<recordChannel> channel;
};

struct channelEntryHash : channelKeyHash {
    using channelKeyHash::operator();
    std::size_t operator()(const channelEntry* pEntry) const {
        return pEntry->nHash.load(std::memory_order_relaxed);
    }
};

struct channelEntryEqual : channelKeyEqual {
    bool operator()(const channelEntry* pA, const channelEntry* pB) const { return pA == pB; }
    template <typename Text>
    bool operator()(const basicChannelKey<Text>& key, const channelEntry* pEntry) const {
        return channelKeyEqual::operator()(key, pEntry->key);
    }
};

using EntrySet = std::unordered_set<channelEntry*, channelEntryHash, channelEntryEqual>;
using KeySet = std::unordered_set<channelKey, channelKeyHash, channelKeyEqual>;

class CChannelClaim;
class CProtectedFile;

/// The open channels. Any thread.
class CChannelTable {
public:
    /// Waits until no other thread has the channel, then claims it; null when there is none, or it
    /// is gone by then. No thread claims a second channel while it has one.
    CChannelClaim Claim(const channelKeyView& key);
    /// The entry of a channel; null when there is none. It stays the channel's until somebody
    /// removes that.
    channelEntry* Find(const channelKeyView& key) const;
    /// The same for a channel that nobody removes meanwhile.
    CChannelClaim Claim(channelEntry& entry);
    /// Claims some channel; null when there is none left.
    CChannelClaim ClaimAny();

    /// Adds a channel that has this file open, and from now on protects it. Its key is reserved.
    CChannelClaim Insert(const channelKey& key, void* pUser, CRecordFile objRecFile,
                         CProtectedFile& objProtected, std::time_t tNow);

    /// The channel's file is this one, if it has one open now; otherwise it has none. The file
    /// before it is protected until then.
    void EndSwitch(recordChannel& channel, const std::string& strPath);
    /// Whether some channel has this file open or is about to make it, or it is protected.
    bool IsWriting(const std::string& strPath) const;

    /// Sum over the channels of each one's mean rate since its file began, in KiB/s.
    std::uint32_t WriteSpeed(std::time_t tNow) const;

private:
    friend class CChannelClaim;
    friend class CProtectedFile;
    friend class CReservedChannel;

    /// Enough that few of some hundred cameras share one, in 8 KiB.
    static constexpr std::size_t HINTS = 1024;

    std::atomic<channelEntry*>& HintOf(std::size_t nHash) { return m_aHint[nHash % HINTS]; }
    static bool TryClaim(channelEntry& entry);
    channelEntry* ClaimHinted(const channelKeyView& key, std::size_t nHash);
    CChannelClaim ClaimUnhinted(const channelKeyView& key, std::size_t nHash);
    /// Null `pKey`: any channel.
    channelEntry* WaitForClaim(const channelKeyView* pKey);
    void Unclaim(channelEntry& entry);
    void WakeWaiters();
    channelEntry& GetFree() OSL_REQUIRES(m_mtxChannel);
    void Remove(channelEntry& entry);
    void ForgetFile(const std::string& strPath) OSL_REQUIRES(m_mtxFiles);

    mutable OSL_Mutex m_mtxFiles{OSL_LockRank::RecordFiles, "record files"};
    std::unordered_multiset<std::string> m_setWriting OSL_GUARDED_BY(m_mtxFiles);  ///< paths

    mutable OSL_Mutex m_mtxChannel{OSL_LockRank::ChannelMap, "channel map"};
    std::condition_variable_any m_cvUnclaimed;  ///< with m_mtxChannel; for all channels
    std::list<channelEntry> m_lsEntries OSL_GUARDED_BY(m_mtxChannel);  ///< all there ever were
    std::vector<channelEntry*> m_vFree OSL_GUARDED_BY(m_mtxChannel);   ///< without a channel
    EntrySet m_setOpen OSL_GUARDED_BY(m_mtxChannel);
    KeySet m_setReserved OSL_GUARDED_BY(m_mtxChannel);  ///< of channels that are being opened

    std::array<std::atomic<channelEntry*>, HINTS> m_aHint{};  ///< by hash: the last found
};

/// A claimed channel, for the time of its life.
class CChannelClaim {
public:
    CChannelClaim(CChannelTable& table, channelEntry* pEntry) : m_table(table), m_pEntry(pEntry) {}
    CChannelClaim(const CChannelClaim&) = delete;
    CChannelClaim& operator=(const CChannelClaim&) = delete;
    ~CChannelClaim() {
        if (m_pEntry) m_table.Unclaim(*m_pEntry);
    }

    explicit operator bool() const { return m_pEntry != nullptr; }
    recordChannel& Channel() const { return *m_pEntry->channel; }

    /// Takes the channel out of the table and destroys it.
    void Remove() { m_table.Remove(*std::exchange(m_pEntry, nullptr)); }

private:
    CChannelTable& m_table;
    channelEntry* m_pEntry;
};

/// Lives while a channel is being opened: of two that open one, one has it.
class CReservedChannel {
public:
    CReservedChannel(CChannelTable& table, const channelKey& key);
    ~CReservedChannel();
    CReservedChannel(const CReservedChannel&) = delete;
    CReservedChannel& operator=(const CReservedChannel&) = delete;

    /// False: it is open, or another thread opens it.
    explicit operator bool() const { return m_bReserved; }

private:
    CChannelTable& m_table;
    const channelKey m_key;
    bool m_bReserved = false;
};

/// Keeps clean-ups from a file while it lives, as if some channel had it open.
class CProtectedFile {
public:
    CProtectedFile(CChannelTable& table, const std::string& strPath);
    ~CProtectedFile();
    CProtectedFile(const CProtectedFile&) = delete;
    CProtectedFile& operator=(const CProtectedFile&) = delete;

private:
    friend class CChannelTable;

    CChannelTable& m_table;
    std::string m_strPath;  ///< empty: a channel has taken it over
};

inline bool CChannelTable::TryClaim(channelEntry& entry) {
    std::uint32_t nState = channelEntry::FREE;
    return entry.nClaim.compare_exchange_strong(nState, channelEntry::HELD,
                                                std::memory_order_acquire);
}

// The way of every piece that is written; only a claimed channel makes it longer.
inline CChannelClaim CChannelTable::Claim(const channelKeyView& key) {
    const std::size_t nHash = channelKeyHash()(key);
    if (channelEntry* const pEntry = ClaimHinted(key, nHash)) return {*this, pEntry};
    return ClaimUnhinted(key, nHash);
}

inline channelEntry* CChannelTable::ClaimHinted(const channelKeyView& key, std::size_t nHash) {
    channelEntry* const pEntry = HintOf(nHash).load(std::memory_order_acquire);
    if (!pEntry || pEntry->nHash.load(std::memory_order_relaxed) != nHash || !TryClaim(*pEntry)) {
        return nullptr;
    }
    if (channelKeyEqual()(key, pEntry->key)) return pEntry;
    Unclaim(*pEntry);
    return nullptr;
}

inline CChannelClaim CChannelTable::Claim(channelEntry& entry) {
    if (TryClaim(entry)) return {*this, &entry};
    const channelKeyView key = entry.Key();
    return {*this, WaitForClaim(&key)};
}

inline void CChannelTable::Unclaim(channelEntry& entry) {
    if (entry.nClaim.exchange(channelEntry::FREE, std::memory_order_release) ==
        channelEntry::AWAITED) {
        WakeWaiters();
    }
}

#endif  // LOCALSTORAGE_RECORD_CHANNELTABLE_H
