#include "serve/Assets.h"

#include <algorithm>

const asset* FindAsset(std::string_view strPath) {
    const auto it = std::find_if(PAGE.begin(), PAGE.end(),
                                 [&](const namedAsset& st) { return st.strPath == strPath; });
    return it == PAGE.end() ? nullptr : &it->stAsset;
}
