#include "serve/Search.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <memory>

namespace {

template <typename T>
void AddTo(found<T>& st, found<T> stMore) {
    std::move(stMore.vFound.begin(), stMore.vFound.end(), std::back_inserter(st.vFound));
    st.mUnread.merge(stMore.mUnread);
}

/// A step of a search in each of these directories at once, but in those that fail.
void RunStep(const CDisks& objDisks, std::vector<std::string>& vDirs, const SearchStep& fnStep,
             found<recording>& stFound) {
    std::map<std::string, std::shared_ptr<std::vector<recording>>> mHere;
    for (const std::string& strDir : vDirs) {
        mHere[strDir] = std::make_shared<std::vector<recording>>();
    }
    for (recording& st : stFound.vFound) {
        if (const auto it = mHere.find(st.strDir); it != mHere.end()) {
            it->second->push_back(std::move(st));
        }
    }
    stFound.vFound.clear();
    const auto Work = [=](const std::string& strDir) {
        found<recording> stHere{std::move(*mHere.at(strDir))};
        fnStep({strDir}, stHere);
        return stHere;
    };
    for (found<recording>& stHere : objDisks.Ask(vDirs, Work)) AddTo(stFound, std::move(stHere));
}

}  // namespace

void CSearch::NoteSilent(const std::vector<std::string>& vAnswered, UnreadFolders& mUnread) const {
    for (const std::string& strDir : m_objDisks.AllBut(vAnswered)) mUnread.emplace(strDir, EIO);
}

found<recording> CSearch::RecordingsIn(std::vector<std::string>& vDirs,
                                       const recordingFilter& stFilter) const {
    auto st = SearchRecordings(stFilter, [&](const SearchStep& fnStep, auto& stFound) {
        RunStep(m_objDisks, vDirs, fnStep, stFound);
    });
    NoteSilent(vDirs, st.mUnread);
    return st;
}

found<recording> CSearch::Recordings(const recordingFilter& stFilter) const {
    auto vDirs = m_objDisks.Readable();
    return RecordingsIn(vDirs, stFilter);
}

/// What `fnSearch` finds in each of the directories.
template <typename Function>
auto CSearch::SearchEach(const Function& fnSearch) const {
    auto vDirs = m_objDisks.Readable();
    std::invoke_result_t<Function, const std::string&> stFound;
    for (auto& stHere : m_objDisks.Ask(vDirs, fnSearch)) AddTo(stFound, std::move(stHere));
    NoteSilent(vDirs, stFound.mUnread);
    return stFound;
}

found<picture> CSearch::Pictures(const std::string& strCamera, const timeSpan& stRange) const {
    auto st = SearchEach(
        [=](const std::string& strDir) { return SearchPictures({strDir}, {strCamera}, stRange); });
    std::ranges::stable_sort(st.vFound, {}, &picture::tTaken);
    return st;
}

found<std::string> CSearch::Days() const {
    auto st = SearchEach([](const std::string& strDir) { return SearchDays({strDir}); });
    std::ranges::sort(st.vFound);
    st.vFound.erase(std::unique(st.vFound.begin(), st.vFound.end()), st.vFound.end());
    return st;
}
