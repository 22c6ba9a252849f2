#include "media/FrameTimes.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr double USUAL_RATE = 25;
constexpr double HIGHEST_RATE = 121;

/// Places one sequence, frames nBegin to nEnd, by their order counts.
void PlaceSequence(const std::vector<codedFrame>& vFrames, std::size_t nBegin, std::size_t nEnd,
                   std::vector<std::size_t>& vPlaces) {
    std::vector<std::size_t> vByOrder(nEnd - nBegin);
    std::iota(vByOrder.begin(), vByOrder.end(), nBegin);
    std::stable_sort(vByOrder.begin(), vByOrder.end(), [&](std::size_t a, std::size_t b) {
        return vFrames[a].nOrder < vFrames[b].nOrder;
    });
    for (std::size_t n = 0; n < vByOrder.size(); ++n) vPlaces[vByOrder[n]] = nBegin + n;
}

}  // namespace

std::vector<std::size_t> DisplayPlaces(const std::vector<codedFrame>& vFrames) {
    std::vector<std::size_t> vPlaces(vFrames.size());
    std::size_t nBegin = 0;
    int nHighest = 0;
    for (std::size_t n = 0; n < vFrames.size(); ++n) {
        // A key frame that does not count on begins a sequence of its own.
        if (n > nBegin && vFrames[n].bKey && vFrames[n].nOrder <= nHighest) {
            PlaceSequence(vFrames, nBegin, n, vPlaces);
            nBegin = n;
        }
        nHighest = n == nBegin ? vFrames[n].nOrder : std::max(nHighest, vFrames[n].nOrder);
    }
    PlaceSequence(vFrames, nBegin, vFrames.size(), vPlaces);
    return vPlaces;
}

double FrameStep(std::size_t nFrames, Seconds nLength, double fRate) {
    const double fOwnStep = 1 / (fRate > 0 ? fRate : USUAL_RATE);
    if (nFrames == 0) return fOwnStep;
    const double fLength = static_cast<double>(nLength.count());
    const double fOwnLength = fOwnStep * static_cast<double>(nFrames);
    // Names and change times count in whole seconds, at both ends.
    if (std::abs(fOwnLength - fLength) <= std::max(2.0, fLength / 50)) return fOwnStep;
    const double fSpread = fLength / static_cast<double>(nFrames);
    return fSpread < 1 / HIGHEST_RATE ? fOwnStep : fSpread;
}

UtcTime fileTimes::TimeOf(std::size_t nPlace) const {
    return tStart +
           std::chrono::microseconds(std::llround(static_cast<double>(nPlace) * fStep * 1e6));
}

fileTimes TimesOf(std::size_t nFrames, const std::vector<stampedFrame>& vStamped, UtcTime tStart,
                  UtcTime tEnd, double fRate) {
    fileTimes st{tStart, FrameStep(nFrames, std::chrono::round<Seconds>(tEnd - tStart), fRate)};
    if (vStamped.empty()) return st;
    const stampedFrame &stFirst = vStamped.front(), &stLast = vStamped.back();
    if (stLast.nPlace > stFirst.nPlace && stLast.tTime > stFirst.tTime) {
        const std::chrono::duration<double> nSpan = stLast.tTime - stFirst.tTime;
        st.fStep = nSpan.count() / static_cast<double>(stLast.nPlace - stFirst.nPlace);
    } else {
        st.fStep = 1 / (fRate > 0 ? fRate : USUAL_RATE);
    }
    st.tStart = {};
    st.tStart = stFirst.tTime - (st.TimeOf(stFirst.nPlace) - st.tStart);
    return st;
}

frameRange SelectFrames(const std::vector<codedFrame>& vFrames,
                        const std::vector<std::size_t>& vPlaces, double fStep, double fFrom,
                        double fTo) {
    frameRange st{vFrames.size(), vFrames.size()};
    for (std::size_t n = 0; n < vFrames.size(); ++n) {
        if (!vFrames[n].bKey) continue;
        const bool bLater = static_cast<double>(vPlaces[n]) * fStep > fFrom;
        if (bLater && st.nFirst < vFrames.size()) break;
        st.nFirst = n;
        if (bLater) break;
    }
    std::size_t nHighest = 0;
    for (std::size_t n = st.nFirst; n < vFrames.size(); ++n) {
        const bool bNoneMissing = n > 0 && nHighest < n;
        if (static_cast<double>(n) * fStep >= fTo && bNoneMissing) {
            st.nEnd = n;
            break;
        }
        nHighest = std::max(nHighest, vPlaces[n]);
    }
    return st;
}
