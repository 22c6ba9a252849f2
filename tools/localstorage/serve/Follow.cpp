#include "serve/Follow.h"

#include <algorithm>

#include "Catalogue/Status.h"
#include "serve/Parameters.h"

namespace {

/// After so much silence a recording may be done.
constexpr auto LOOK_AGAIN = std::chrono::milliseconds(300);

}  // namespace

bool CFollow::Grows(const recording& st, UtcTime tChange) {
    const UtcTime::duration nSilence = Now() - tChange;
    if (nSilence > CAMERA_SILENCE) return false;
    const auto tNow = std::chrono::steady_clock::now();
    if (nSilence < LOOK_AGAIN || tNow < m_tNextLook) return true;
    m_tNextLook = tNow + LOOK_AGAIN;
    return !FindBehind(st);
}

std::optional<recording> CFollow::Next() {
    auto optNext = FindBehind(m_stLast);
    if (optNext) m_stLast = *optNext;
    return optNext;
}

std::optional<recording> CFollow::FindBehind(const recording& st) const {
    const auto vFound = m_fnFind({st.tStart, ALL_DAYS.tEnd});
    const auto it = std::find_if(vFound.begin(), vFound.end(), [&](const recording& stOther) {
        return stOther.tStart > st.tStart && stOther.Path() != st.Path();
    });
    return it == vFound.end() ? std::nullopt : std::optional(*it);
}
