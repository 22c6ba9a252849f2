#include "base/Address.h"

#include <algorithm>

namespace {

constexpr const char* SCHEME_END = "://";
constexpr const char* LEFT_OUT = "...";

/// Cameras take passwords in the path, too: user=admin&password=secret.
std::string WithoutValues(const std::string& strText) {
    const std::size_t nValues = strText.find_first_of("?&=;");
    return nValues == std::string::npos ? strText : strText.substr(0, nValues) + LEFT_OUT;
}

}  // namespace

std::string WithoutPassword(const std::string& strAddress) {
    const std::size_t nScheme = strAddress.find(SCHEME_END);
    if (nScheme == std::string::npos) return strAddress;
    const std::size_t nHost = nScheme + 3, nUser = strAddress.rfind('@');
    const std::string strScheme = strAddress.substr(0, nHost);
    if (nUser == std::string::npos || nUser < nHost) {
        return strScheme + WithoutValues(strAddress.substr(nHost));
    }
    // An "@" behind a slash ends a password that holds one, or is part of the path.
    const bool bUnclear = strAddress.find_first_of("/?", nHost) < nUser;
    return strScheme + (bUnclear ? LEFT_OUT : "") + WithoutValues(strAddress.substr(nUser + 1));
}

std::string WithoutPasswords(const std::string& strText) {
    std::string strShown;
    for (std::size_t nBegin = 0; nBegin < strText.size();) {
        const std::size_t nEnd = std::min(strText.find(' ', nBegin), strText.size() - 1) + 1;
        const std::string strWord = strText.substr(nBegin, nEnd - nBegin);
        // The blank behind a word that is cut short is kept.
        const bool bBlank = strWord.back() == ' ';
        strShown += WithoutPassword(strWord.substr(0, strWord.size() - bBlank));
        if (bBlank) strShown += ' ';
        nBegin = nEnd;
    }
    return strShown;
}
