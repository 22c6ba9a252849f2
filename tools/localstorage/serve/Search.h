// What lies in the record directories, looked for in all at once: in those that can be read. Those
// that cannot, and those that give no answer, are told with what was found.

#ifndef LOCALSTORAGE_TOOL_SERVE_SEARCH_H
#define LOCALSTORAGE_TOOL_SERVE_SEARCH_H

#include <string>
#include <vector>

#include "Catalogue/Catalogue.h"
#include "serve/Disks.h"

/// Any thread.
class CSearch {
public:
    explicit CSearch(const CDisks& objDisks) : m_objDisks(objDisks) {}

    /// As SearchRecordings.
    found<recording> Recordings(const recordingFilter& stFilter) const;
    /// In these directories. Those that give no answer leave `vDirs`.
    found<recording> RecordingsIn(std::vector<std::string>& vDirs,
                                  const recordingFilter& stFilter) const;
    /// Of one camera, the oldest first.
    found<picture> Pictures(const std::string& strCamera, const timeSpan& stRange) const;
    /// "20240305", each once, sorted.
    found<std::string> Days() const;

    /// Those of all directories that are not among these hold what is missing, too.
    void NoteSilent(const std::vector<std::string>& vAnswered, UnreadFolders& mUnread) const;

private:
    template <typename Function>
    auto SearchEach(const Function& fnSearch) const;

    const CDisks& m_objDisks;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_SEARCH_H
