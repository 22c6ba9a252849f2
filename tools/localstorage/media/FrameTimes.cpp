#include "media/FrameTimes.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr double USUAL_RATE = 25;
constexpr double HIGHEST_RATE = 121;

/// Places one sequence, frames nBegin to nEnd, by their order counts.
void PlaceSequence(const std::vector<codedFrame>& vecFrames, std::size_t nBegin, std::size_t nEnd,
                   std::vector<std::size_t>& vecPlaces) {
    std::vector<std::size_t> vecByOrder(nEnd - nBegin);
    std::iota(vecByOrder.begin(), vecByOrder.end(), nBegin);
    std::stable_sort(vecByOrder.begin(), vecByOrder.end(), [&](std::size_t a, std::size_t b) {
        return vecFrames[a].nOrder < vecFrames[b].nOrder;
    });
    for (std::size_t n = 0; n < vecByOrder.size(); ++n) vecPlaces[vecByOrder[n]] = nBegin + n;
}

}  // namespace

std::vector<std::size_t> DisplayPlaces(const std::vector<codedFrame>& vecFrames) {
    std::vector<std::size_t> vecPlaces(vecFrames.size());
    std::size_t nBegin = 0;
    int nHighest = 0;
    for (std::size_t n = 0; n < vecFrames.size(); ++n) {
        // A key frame that does not count on begins a sequence of its own.
        if (n > nBegin && vecFrames[n].bKey && vecFrames[n].nOrder <= nHighest) {
            PlaceSequence(vecFrames, nBegin, n, vecPlaces);
            nBegin = n;
        }
        nHighest = n == nBegin ? vecFrames[n].nOrder : std::max(nHighest, vecFrames[n].nOrder);
    }
    PlaceSequence(vecFrames, nBegin, vecFrames.size(), vecPlaces);
    return vecPlaces;
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

frameRange SelectFrames(const std::vector<codedFrame>& vecFrames,
                        const std::vector<std::size_t>& vecPlaces, double fStep, double fFrom,
                        double fTo) {
    frameRange st{vecFrames.size(), vecFrames.size()};
    for (std::size_t n = 0; n < vecFrames.size(); ++n) {
        if (!vecFrames[n].bKey) continue;
        const bool bLater = static_cast<double>(vecPlaces[n]) * fStep > fFrom;
        if (bLater && st.nFirst < vecFrames.size()) break;
        st.nFirst = n;
        if (bLater) break;
    }
    std::size_t nHighest = 0;
    for (std::size_t n = st.nFirst; n < vecFrames.size(); ++n) {
        const bool bNoneMissing = n > 0 && nHighest < n;
        if (static_cast<double>(n) * fStep >= fTo && bNoneMissing) {
            st.nEnd = n;
            break;
        }
        nHighest = std::max(nHighest, vecPlaces[n]);
    }
    return st;
}
