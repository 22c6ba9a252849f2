#include "serve/Partial.h"

#include "base/Failure.h"

httpAnswer Marked(httpAnswer st, const UnreadFolders& mUnread) {
    if (!mUnread.empty()) {
        st.vHeaders.emplace_back("Localstorage-Unreadable", std::to_string(mUnread.size()));
    }
    return st;
}

void FindNothing(const UnreadFolders& mUnread) {
    if (mUnread.empty()) throw CHttpFailure(HTTP_NOT_FOUND, "nothing is recorded there");
    throw CFailure("not everything that is recorded can be read, and the rest holds nothing of it");
}
