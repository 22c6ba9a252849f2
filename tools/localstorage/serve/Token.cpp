#include "serve/Token.h"

#include <fstream>

#include "base/Failure.h"
#include "serve/Parameters.h"

namespace {

constexpr std::size_t SHORTEST = 16;
constexpr std::string_view SCHEME = "Bearer ";

/// Looks at every byte that was given, whatever it finds.
bool AreEqual(std::string_view strGiven, std::string_view strSecret) {
    volatile unsigned nDifferent = strGiven.size() != strSecret.size();
    for (std::size_t n = 0; n < strGiven.size(); ++n) {
        const char c = strSecret[n % strSecret.size()];
        nDifferent = nDifferent | static_cast<unsigned>(strGiven[n] ^ c);
    }
    return nDifferent == 0;
}

}  // namespace

CToken::CToken(const std::string& strFile) {
    std::ifstream file(strFile);
    std::getline(file, m_strSecret);
    m_strSecret.erase(m_strSecret.find_last_not_of(" \t\r") + 1);
    if (!file.is_open()) throw CFailure("cannot read the token file " + strFile);
    if (m_strSecret.size() < SHORTEST) {
        throw CFailure("the token in " + strFile + " is too short: its first line has to have " +
                       std::to_string(SHORTEST) + " characters or more");
    }
}

bool CToken::Admits(std::string_view strAuthorization) const {
    if (!IsWanted()) return true;
    if (!strAuthorization.starts_with(SCHEME)) return false;
    return Is(strAuthorization.substr(SCHEME.size()));
}

bool CToken::Is(std::string_view strGiven) const {
    return IsWanted() && AreEqual(strGiven, m_strSecret);
}

bool CToken::IsCookie(std::string_view strGiven) const {
    return IsWanted() && AreEqual(strGiven, Cookie());
}

std::string CToken::Cookie() const {
    return UrlEncoded(m_strSecret);
}
