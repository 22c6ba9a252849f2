// Answers from which something is missing, since a folder or a disk cannot be read.

#ifndef LOCALSTORAGE_TOOL_SERVE_PARTIAL_H
#define LOCALSTORAGE_TOOL_SERVE_PARTIAL_H

#include "Catalogue/Catalogue.h"
#include "serve/Http.h"

/// The answer, which says of itself when something is missing.
httpAnswer Marked(httpAnswer st, const UnreadFolders& mUnread);

/// Throws CHttpFailure that nothing is recorded there; where what was asked for may be in what
/// cannot be read, CFailure.
[[noreturn]] void FindNothing(const UnreadFolders& mUnread);
/// What was found, unless that is nothing.
template <typename T>
found<T> AtLeastOne(found<T> st) {
    if (st.vFound.empty()) FindNothing(st.mUnread);
    return st;
}

#endif  // LOCALSTORAGE_TOOL_SERVE_PARTIAL_H
