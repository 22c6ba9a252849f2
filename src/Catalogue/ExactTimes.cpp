#include "Catalogue/ExactTimes.h"

#include <algorithm>
#include <map>

#include "Catalogue/StreamTimes.h"
#include "RecordTree/DirectoryLock.h"

namespace {

/// Whether the file was closed when the camera's next one began.
bool IsClosedBy(const recording& st, UtcTime tNext) {
    return Agree(st.IsClient() ? st.tChange : st.tEnd, tNext);
}

void EndByLastChange(recording& st) {
    st.eEnd = endSource::LAST_CHANGE;
    st.tEnd = std::min(st.tEnd, st.tChange);
    // A clock that was wrong, then or now.
    if (st.tEnd < st.tStart || st.tEnd > st.tStart + LONGEST_RECORDING) st.tEnd = st.tStart;
}

void EndBehind(recording& st, UtcTime::duration nLength) {
    st.tEnd = std::min(st.tEnd, st.tStart + nLength);
    st.eEnd = endSource::STREAM;
}

/// Asks the bytes of recordings.
class CExactTimes {
public:
    void Ask(recording& st) {
        const streamTimes stTimes = ReadStreamTimes(st.Path(), st.nBytes);
        if (st.IsClient()) {
            AskClient(st, stTimes);
        } else if (stTimes.tStart && stTimes.tEnd && Agree(*stTimes.tStart, st.tStart)) {
            st.tStart = *stTimes.tStart;
            st.tEnd = *stTimes.tEnd;
            st.eEnd = endSource::STAMP;
        }
    }

private:
    void AskClient(recording& st, const streamTimes& stTimes) {
        st.tStart = stTimes.tStart.value_or(st.tStart);
        if (stTimes.tEnd) {
            st.tEnd = *stTimes.tEnd;
            st.eEnd = endSource::STAMP;
        } else if (stTimes.nLength) {
            EndBehind(st, *stTimes.nLength);
        } else if (stTimes.eKind == streamKind::RAW && !IsChangeBelieved(st)) {
            EndBehind(st, CountFrames(st.Path(), st.nBytes));
        } else {
            EndByLastChange(st);
        }
    }

    /// Whether the last change was made when the next one began, or just now by a host at work.
    bool IsChangeBelieved(const recording& st) {
        if (st.tEnd != UtcTime::max()) return IsClosedBy(st, st.tEnd);
        if (st.tChange < m_tNow - std::chrono::seconds(10)) return false;
        const auto [it, bNew] = m_mInUse.try_emplace(st.strDir, false);
        if (bNew) it->second = IsInUse(st.strDir);
        return it->second;
    }

    const UtcTime m_tNow = Now();
    std::map<std::string, bool> m_mInUse;  ///< of the directories that were asked
};

/// Whether both were closed since they were large enough. A camera that falls silent is noticed
/// later, when its file is closed and it may be back at once.
bool AreFilled(const recording& st, const recording& stNext) {
    const std::uint64_t nLarger = std::max(st.nBytes, stNext.nBytes);
    return std::min(st.nBytes, stNext.nBytes) >= nLarger - nLarger / 32;
}

bool Adjoin(const recording& st, const recording& stNext) {
    return IsClosedBy(st, stNext.tStart) && (!st.IsClient() || AreFilled(st, stNext));
}

/// Which recordings have another one of their camera directly before and directly behind them.
std::vector<bool> FindAdjoined(const std::vector<recording>& vRecordings) {
    std::vector<bool> vBefore(vRecordings.size()), vBehind(vRecordings.size());
    std::map<std::string_view, std::size_t> mPrevious;
    for (std::size_t n = 0; n < vRecordings.size(); ++n) {
        const auto [it, bFirst] = mPrevious.try_emplace(vRecordings[n].strCamera, n);
        if (bFirst) continue;
        vBefore[n] = Adjoin(vRecordings[it->second], vRecordings[n]);
        vBehind[it->second] = vBefore[n];
        it->second = n;
    }
    for (std::size_t n = 0; n < vRecordings.size(); ++n) vBefore[n] = vBefore[n] && vBehind[n];
    return vBefore;
}

bool IsInside(const timeSpan& st, const timeSpan& stOuter) {
    return st.tStart >= stOuter.tStart && st.tEnd <= stOuter.tEnd;
}

}  // namespace

bool Agree(UtcTime tTime, UtcTime tName) {
    return tTime > tName - GAP_TOLERANCE && tTime < tName + GAP_TOLERANCE;
}

void ChooseAsked(std::vector<recording>& vRecordings, const std::optional<timeSpan>& stWhere,
                 bool bEach) {
    const std::vector<bool> vAdjoined = FindAdjoined(vRecordings);
    for (std::size_t n = 0; n < vRecordings.size(); ++n) {
        recording& st = vRecordings[n];
        const bool bSaidByName = !bEach && vAdjoined[n];
        st.bAsked = st.nBytes > 0 && stWhere &&
                    Overlap(st.Span(), Widened(*stWhere, GAP_TOLERANCE)) &&
                    !(bSaidByName && IsInside(st.Span(), Widened(*stWhere, -GAP_TOLERANCE)));
        if (!st.bAsked && st.IsClient()) EndByLastChange(st);
    }
}

void AskExactTimes(std::vector<recording>& vRecordings) {
    CExactTimes objExact;
    for (recording& st : vRecordings) {
        if (st.bAsked) objExact.Ask(st);
    }
}
