// The secret that a client has to know.

#ifndef LOCALSTORAGE_TOOL_SERVE_TOKEN_H
#define LOCALSTORAGE_TOOL_SERVE_TOKEN_H

#include <string>
#include <string_view>

class CToken {
public:
    /// Nobody is asked for one.
    CToken() = default;
    /// The first line of a file. Throws CFailure when it cannot be read, and when it has fewer than
    /// 16 characters: anybody would guess it.
    explicit CToken(const std::string& strFile);

    bool IsWanted() const { return !m_strSecret.empty(); }
    /// Whether a request with this header `Authorization` (empty: none) may pass. How long it takes
    /// tells nothing of the token.
    bool Admits(std::string_view strAuthorization) const;

private:
    std::string m_strSecret;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_TOKEN_H
