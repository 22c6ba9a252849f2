// The settings of a configuration file, taken and shown by the table of options.

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <optional>

#include "base/Failure.h"
#include "base/Text.h"
#include "help/ConfigFile.h"
#include "help/OptionParser.h"

namespace {

const option* FindSetting(const std::vector<option>& vOptions, const std::string& strKey) {
    const auto it = std::find_if(vOptions.begin(), vOptions.end(), [&](const option& st) {
        const auto vNames = st.Names();
        return st.bInConfig &&
               std::find(vNames.begin(), vNames.end(), "--" + strKey) != vNames.end();
    });
    return it == vOptions.end() ? nullptr : &*it;
}

/// Options that settings go into.
class CSettings {
public:
    /// The command's own.
    CSettings(CLI::App& stApp, const std::vector<option>& vOptions)
        : m_stApp(stApp), m_vOptions(vOptions) {
        for (const option& st : vOptions) m_vGiven.push_back(OptionOf(st)->count() > 0);
    }

    void Take(const configStatement& st) {
        const option* pOption = FindSetting(m_vOptions, st.strKey);
        if (!pOption) {
            throw CUsageError(
                st.strWhere + ": there is no setting \"" + st.strKey + "\"" +
                (st.strTable.empty() ? "" : " in [" + st.strTable + "." + st.strId + "]"));
        }
        if (m_vGiven[static_cast<std::size_t>(pOption - m_vOptions.data())]) return;
        CLI::Option& stTarget = *OptionOf(*pOption);
        try {
            if (pOption->IsFlag()) {
                const std::string strValue = CLI::ConfigTOML().to_flag({{}, st.strKey, st.vValues});
                stTarget.add_result(stTarget.get_flag_value(st.strKey, strValue));
            } else {
                stTarget.add_result(st.vValues);
            }
            stTarget.run_callback();
        } catch (const CLI::ParseError& error) {
            throw CUsageError(st.strWhere + ": " + error.what());
        }
    }

    void RefuseIncomplete(const std::string& strWhere) const {
        for (const option& st : m_vOptions) {
            if (!st.bRequired || OptionOf(st)->count() > 0) continue;
            throw CUsageError(strWhere + ": " + st.Key() + " is missing");
        }
    }

private:
    CLI::Option* OptionOf(const option& st) const { return m_stApp.get_option(st.Names().front()); }

    CLI::App& m_stApp;
    const std::vector<option>& m_vOptions;
    std::vector<bool> m_vGiven;  ///< on the command line
};

/// The settings of one table, from its beginning on.
class CTableSettings {
public:
    CTableSettings(const command& stCommand, const configStatement& st)
        : m_strWhere(st.strWhere), m_vOptions(OptionsOf(stCommand, st)) {
        for (const option& stOption : m_vOptions) AddOption(m_stApp, stOption);
        m_optSettings.emplace(m_stApp, m_vOptions);
    }

    void Take(const configStatement& st) { m_optSettings->Take(st); }
    void End() { m_optSettings->RefuseIncomplete(m_strWhere); }

private:
    static std::vector<option> OptionsOf(const command& stCommand, const configStatement& st) {
        if (st.strTable != stCommand.stTable.strName) {
            throw CUsageError(st.strWhere + ": there is no table \"" + st.strTable + "\"");
        }
        return stCommand.stTable.fnOptions(st.strId, st.strWhere);
    }

    const std::string m_strWhere;
    const std::vector<option> m_vOptions;
    CLI::App m_stApp;
    std::optional<CSettings> m_optSettings;
};

std::vector<configStatement> ReadFile(const std::string& strPath) {
    std::ifstream file(strPath);
    if (!file) throw CUsageError("cannot read " + strPath + ": " + ErrorText(errno));
    auto vStatements = ReadConfig(file, strPath);
    if (file.bad()) throw CUsageError("cannot read " + strPath + ": " + ErrorText(errno));
    return vStatements;
}

/// The options that were given, as they can be given again.
std::vector<std::string> ArgumentsOf(const CLI::App& stApp, const std::vector<option>& vOptions) {
    std::vector<std::string> vArguments;
    for (const option& st : vOptions) {
        const std::string strName = st.Names().front();
        for (const std::string& strValue : stApp.get_option(strName)->results()) {
            vArguments.push_back(strName + "=" + strValue);
        }
    }
    return vArguments;
}

std::string Quoted(const std::string& strText) {
    const char cQuote = strText.find_first_of("\"\\") == std::string::npos ? '"' : '\'';
    return cQuote + strText + cQuote;
}

/// What an option holds, as TOML has it; empty when that is nothing.
std::string ValueText(const option& st, const std::function<std::string(std::string)>& fnShown) {
    if (const auto ppFlag = std::get_if<bool*>(&st.target)) return **ppFlag ? "true" : "false";
    if (const auto ppNumber = std::get_if<unsigned*>(&st.target)) return std::to_string(**ppNumber);
    if (const auto ppNumber = std::get_if<std::uint64_t*>(&st.target)) {
        return std::to_string(**ppNumber);
    }
    if (const auto ppText = std::get_if<std::string*>(&st.target)) {
        return (*ppText)->empty() ? "" : Quoted(fnShown(**ppText));
    }
    std::vector<std::string> vTexts;
    for (const std::string& str : *std::get<std::vector<std::string>*>(st.target)) {
        vTexts.push_back(Quoted(fnShown(str)));
    }
    return vTexts.empty() ? "" : "[" + Joined(vTexts, ", ") + "]";
}

}  // namespace

std::string ConfigText(const std::vector<option>& vOptions) {
    std::string strText;
    for (const option& st : vOptions) {
        if (!st.bInConfig) continue;
        const std::string strValue = ValueText(st, [](std::string str) { return str; });
        const std::string strShown = st.fnShown ? ValueText(st, st.fnShown) : strValue;
        if (strShown != strValue) strText += "# What may be secret is left out here:\n";
        if (!strShown.empty()) strText += st.Key() + " = " + strShown + "\n";
    }
    return strText;
}

void TakeConfig(CLI::App& stApp, const command& stCommand, configFile& stFile) {
    stFile.vArguments = ArgumentsOf(stApp, stCommand.vOptions);
    CSettings objSettings(stApp, stCommand.vOptions);
    std::optional<CTableSettings> optTable;
    for (const configStatement& st : ReadFile(stFile.strPath)) {
        if (st.strTable.empty()) {
            objSettings.Take(st);
        } else if (st.strKey.empty()) {
            if (optTable) optTable->End();
            optTable.emplace(stCommand, st);
        } else {
            optTable->Take(st);
        }
    }
    if (optTable) optTable->End();
}
