// What is known of one disk, and the questions to it: whether it is present, has room, takes files.
//
// A question is answered on the disk's own thread, one at a time. Whoever wants a fresh answer
// waits for one that was begun after he asked, and for no longer than he likes: then the last one
// counts. A disk that has been silent for too long counts as full until it answers.

#ifndef LOCALSTORAGE_RECORD_DISKASKER_H
#define LOCALSTORAGE_RECORD_DISKASKER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "IndexMgr/DiskCalls.h"
#include "LocalStorage/DiskLook.h"
#include "Osl/OslMutex.h"

/// Any thread.
class CDiskAsker {
public:
    /// Looks at the disk, which failed with this error last (0: it did not). What it uses it owns.
    using Look = std::function<diskLook(int nFailure)>;
    using Clock = std::chrono::steady_clock;

    /// `strRecDir` is for the log; the disk counts as full after so many milliseconds of silence.
    CDiskAsker(std::shared_ptr<CDiskCalls> pCalls, std::string strRecDir, Look look,
               std::int64_t nPatience = DISK_PATIENCE);

    /// Asks, unless a question waits already. Returns its number, for Await.
    std::uint64_t Ask();
    /// Waits for the answer; not for one of a disk that counts as silent.
    void Await(std::uint64_t nQuestion, Clock::time_point end);
    /// The last answer, failures since then included.
    diskLook LastLook() const;

    /// The disk counts as failing until an answer says that it takes files again. False: it did.
    bool NoteFailure(int nError);

    /// When the disk was last found silent, by OSL_TickMilliseconds.
    std::shared_ptr<const std::atomic<std::int64_t>> LastSilence() const;

private:
    struct State;

    bool IsSilent() const { return m_pCalls->Silence() >= m_nPatience; }

    const std::shared_ptr<CDiskCalls> m_pCalls;
    const std::int64_t m_nPatience;
    const std::shared_ptr<State> m_pState;  // shared with what runs on the disk's thread
};

#endif  // LOCALSTORAGE_RECORD_DISKASKER_H
