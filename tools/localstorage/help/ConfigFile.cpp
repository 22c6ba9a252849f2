#include "help/ConfigFile.h"

#include <algorithm>
#include <sstream>

#include <CLI/CLI.hpp>

#include "base/Failure.h"

namespace {

/// The statements of a file, one by one.
class CConfigReader {
public:
    CConfigReader(std::istream& file, const std::string& strName)
        : m_file(file), m_strName(strName) {}

    std::vector<configStatement> ReadAll() {
        while (NextStatement()) {
            if (m_strText.front() == '[') {
                BeginTable();
            } else {
                ReadSetting();
            }
        }
        return std::move(m_vStatements);
    }

private:
    [[noreturn]] void Fail(const std::string& strText) const {
        throw CUsageError(Where() + ": " + strText);
    }
    std::string Where() const { return m_strName + ":" + std::to_string(m_nStatement); }

    /// The lines up to where every bracket is closed, without comments, as one.
    bool NextStatement() {
        m_strText.clear();
        m_nOpen = 0;
        for (std::string strLine; std::getline(m_file, strLine);) {
            ++m_nLine;
            if (m_strText.empty()) m_nStatement = m_nLine;
            TakeLine(CLI::detail::trim(strLine));
            if (!m_strText.empty() && m_nOpen <= 0) return true;
        }
        if (!m_strText.empty()) Fail("a bracket is not closed");
        return false;
    }

    void TakeLine(const std::string& strLine) {
        char cQuote = 0;
        for (const char c : strLine) {
            if (cQuote == 0 && c == '#') break;
            if (cQuote == '"' && c == '\\') Fail("a text with a backslash is written in '...'");
            if (cQuote == 0) m_nOpen += (c == '[') - (c == ']');
            if (cQuote == c) {
                cQuote = 0;
            } else if (cQuote == 0 && (c == '"' || c == '\'')) {
                cQuote = c;
            }
            m_strText += c;
        }
        if (cQuote != 0) Fail(std::string("a ") + cQuote + " is missing");
        CLI::detail::rtrim(m_strText);
    }

    void BeginTable() {
        const std::size_t nDot = m_strText.find('.');
        if (m_strText.back() != ']' || nDot == std::string::npos) {
            Fail("a table is written as [camera.NAME]");
        }
        m_strTable = m_strText.substr(1, nDot - 1);
        std::string strId = m_strText.substr(nDot + 1, m_strText.size() - nDot - 2);
        m_strId = CLI::detail::remove_quotes(strId);
        const bool bQuoted = m_strText[nDot + 1] != m_strId.front();
        if (!bQuoted && m_strId.find_first_of(". []\"'") != std::string::npos) {
            Fail("write this name in quotes: [" + m_strTable + ".\"" + m_strId + "\"]");
        }
        Add({Where(), m_strTable, m_strId, {}, {}});
    }

    void ReadSetting() {
        const std::size_t nEquals = m_strText.find('=');
        if (nEquals == std::string::npos || nEquals + 1 == m_strText.size()) {
            Fail("a setting is written as KEY = VALUE");
        }
        if (m_strText.find("\"\"\"") != std::string::npos ||
            m_strText.find("'''") != std::string::npos) {
            Fail("a text in three quotes is not understood; write it in one line");
        }
        std::istringstream statement(m_strText);
        CLI::ConfigTOML objToml;
        objToml.comment('\n');  // they are off by now; a # within quotes is none
        std::vector<CLI::ConfigItem> vItems = objToml.from_config(statement);
        if (vItems.size() != 1) Fail("this is not understood");
        CLI::ConfigItem& stItem = vItems.front();
        if (stItem.inputs.size() > 1 && stItem.inputs.back().empty()) stItem.inputs.pop_back();
        Add({Where(), m_strTable, m_strId, stItem.fullname(), std::move(stItem.inputs)});
    }

    void Add(configStatement stNew) {
        const auto it = std::find_if(
            m_vStatements.begin(), m_vStatements.end(), [&](const configStatement& st) {
                return st.strTable == stNew.strTable && st.strId == stNew.strId &&
                       st.strKey == stNew.strKey;
            });
        if (it != m_vStatements.end()) {
            const bool bTable = stNew.strKey.empty();
            Fail((bTable ? "[" + stNew.strTable + "." + stNew.strId + "]" : stNew.strKey) +
                 " is given twice, first in " + it->strWhere);
        }
        m_vStatements.push_back(std::move(stNew));
    }

    std::istream& m_file;
    const std::string m_strName;
    std::vector<configStatement> m_vStatements;
    std::string m_strTable, m_strId;  ///< in which we are
    std::string m_strText;            ///< the statement
    unsigned m_nLine = 0, m_nStatement = 0;
    int m_nOpen = 0;
};

}  // namespace

std::vector<configStatement> ReadConfig(std::istream& file, const std::string& strName) {
    return CConfigReader(file, strName).ReadAll();
}
