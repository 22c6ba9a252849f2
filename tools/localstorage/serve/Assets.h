// The page and what it is made of. The build makes it a part of the program:
// tools/localstorage/page.

#ifndef LOCALSTORAGE_TOOL_SERVE_ASSETS_H
#define LOCALSTORAGE_TOOL_SERVE_ASSETS_H

#include <span>
#include <string_view>

struct asset {
    std::string_view strBytes;
    const char* pType;  ///< for the header Content-Type
};

struct namedAsset {
    std::string_view strPath;  ///< "/" for the page itself, else "/page/NAME"
    asset stAsset;
};

extern const std::span<const namedAsset> PAGE;

/// What stands at a path of the server; null when that is nothing of the page's. Any thread.
const asset* FindAsset(std::string_view strPath);

#endif  // LOCALSTORAGE_TOOL_SERVE_ASSETS_H
