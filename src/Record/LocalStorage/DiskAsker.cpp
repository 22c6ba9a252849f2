#include "LocalStorage/DiskAsker.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

#include "Log/LogText.h"
#include "Osl/Osl.h"

struct CDiskAsker::State {
    State(std::string strDir, Look lookAt)
        : strRecDir(std::move(strDir)), look(std::move(lookAt)) {}

    void Answer();

    const std::string strRecDir;
    const Look look;
    std::atomic<std::int64_t> nLastSilence{std::numeric_limits<std::int64_t>::min()};

    OSL_Mutex mtx{OSL_LockRank::DiskAnswer, "disk answer"};
    std::condition_variable_any answered;
    diskLook stLook OSL_GUARDED_BY(mtx);
    // Numbers of questions.
    std::uint64_t nAsked OSL_GUARDED_BY(mtx) = 0;
    std::uint64_t nBegun OSL_GUARDED_BY(mtx) = 0;
    std::uint64_t nAnswered OSL_GUARDED_BY(mtx) = 0;
};

CDiskAsker::CDiskAsker(std::shared_ptr<CDiskCalls> pCalls, std::string strRecDir, Look look,
                       std::int64_t nPatience)
    : m_pCalls(std::move(pCalls)),
      m_nPatience(nPatience),
      m_pState(std::make_shared<State>(std::move(strRecDir), std::move(look))) {}

std::uint64_t CDiskAsker::Ask() {
    OSL_Guard guard(m_pState->mtx);
    if (m_pState->nAsked == m_pState->nBegun) {
        const auto asked = m_pCalls->Post(DiskLane::Use, [pState = m_pState] { pState->Answer(); });
        if (asked.valid()) ++m_pState->nAsked;
    }
    return m_pState->nAsked;
}

// The disk is asked without the lock, and what fails meanwhile is not forgotten. Without the memory
// to ask, the last answer stands.
void CDiskAsker::State::Answer() {
    std::uint64_t nQuestion = 0;
    int nFailure = 0;
    diskLook stNew;
    {
        OSL_Guard guard(mtx);
        nQuestion = nBegun = nAsked;
        stNew = stLook;
        nFailure = stLook.nFailure;
    }
    try {
        stNew = look(nFailure);
    } catch (const std::exception&) {
        LogText("[wtb][CDiskAsker::Answer] out of memory, strRecDir [%s]", strRecDir.c_str());
    }
    if (nFailure != 0 && stNew.nFailure == 0) {
        LogText("[wtb][CLocalStorage::RetryFailedDisks] disk can be written again, strRecDir [%s/]",
                strRecDir.c_str());
    }
    OSL_Guard guard(mtx);
    if (stLook.nFailure != nFailure) stNew.nFailure = stLook.nFailure;
    stLook = stNew;
    nAnswered = nQuestion;
    answered.notify_all();
}

void CDiskAsker::Await(std::uint64_t nQuestion, Clock::time_point end) {
    constexpr std::chrono::seconds LONGEST{1};  // between two looks at the silence
    OSL_Guard guard(m_pState->mtx);
    OSL_WaitLock lock{m_pState->mtx};
    while (m_pState->nAnswered < nQuestion && Clock::now() < end && !IsSilent()) {
        const std::chrono::milliseconds left(m_nPatience - m_pCalls->Silence());
        m_pState->answered.wait_until(
            lock, std::min(end, Clock::now() + std::min<std::chrono::milliseconds>(left, LONGEST)));
    }
}

diskLook CDiskAsker::LastLook() const {
    OSL_Guard guard(m_pState->mtx);
    diskLook stLook = m_pState->stLook;
    stLook.bSilent = IsSilent();
    if (stLook.bSilent) m_pState->nLastSilence = OSL_TickMilliseconds();
    return stLook;
}

bool CDiskAsker::NoteFailure(int nError) {
    OSL_Guard guard(m_pState->mtx);
    if (m_pState->stLook.nFailure != 0) return false;
    m_pState->stLook.nFailure = nError;
    return true;
}

std::shared_ptr<const std::atomic<std::int64_t>> CDiskAsker::LastSilence() const {
    return {m_pState, &m_pState->nLastSilence};
}
