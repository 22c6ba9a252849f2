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
