#include "help/Command.h"

#include <sstream>

std::vector<std::string> option::Names() const {
    std::vector<std::string> vNames;
    std::istringstream stNames(strNames);
    for (std::string strName; std::getline(stNames, strName, ',');) {
        vNames.push_back(strName.substr(strName.front() == '!'));
    }
    return vNames;
}

std::string option::Key() const {
    const std::string strName = Names().front();
    return strName.substr(strName.find_first_not_of('-'));
}

optionValue ValueOf(const option& st) {
    if (st.strValue == "DIR") return {valueKind::DIRECTORY};
    if (st.strValue == "FILE" || st.IsPositional()) return {valueKind::PATH};
    if (st.strValue == "TIME")
        return {valueKind::WORDS, {"now", "today", "yesterday", "-1h", "-1d"}};
    if (st.strValue.find('|') == std::string::npos) return {};
    optionValue stValue{valueKind::WORDS};
    std::istringstream stWords(st.strValue);
    for (std::string str; std::getline(stWords, str, '|');) stValue.vWords.push_back(str);
    return stValue;
}

option HelpOption() {
    return {"-h,--help", static_cast<bool*>(nullptr), "Print this help and exit"};
}

option VersionOption() {
    return {"--version", static_cast<bool*>(nullptr), "Print the version and exit"};
}

std::vector<option> AllOptions(const command& stCommand) {
    std::vector<option> vOptions = {HelpOption()};
    vOptions.insert(vOptions.end(), stCommand.vOptions.begin(), stCommand.vOptions.end());
    return vOptions;
}

std::vector<option> AllOptions(const program& stProgram) {
    std::vector<option> vOptions = {VersionOption(), HelpOption()};
    vOptions.insert(vOptions.end(), stProgram.vOptions.begin(), stProgram.vOptions.end());
    return vOptions;
}
