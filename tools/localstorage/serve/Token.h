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
    /// Whether a request with this header `Authorization` (empty: none) may pass: always where no
    /// token is wanted. How long it takes tells nothing of the token.
    bool Admits(std::string_view strAuthorization) const;
    /// Whether a client knows it, or has the cookie that stands for it. As above.
    bool Is(std::string_view strGiven) const;
    bool IsCookie(std::string_view strGiven) const;
    /// The value of that cookie: the token in letters that a cookie may have.
    std::string Cookie() const;

private:
    std::string m_strSecret;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_TOKEN_H
