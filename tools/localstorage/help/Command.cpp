#include "help/Command.h"

#include <sstream>

std::vector<std::string> option::Names() const {
    std::vector<std::string> vecNames;
    std::istringstream stNames(strNames);
    for (std::string strName; std::getline(stNames, strName, ',');) {
        vecNames.push_back(strName.substr(strName.front() == '!'));
    }
    return vecNames;
}

option HelpOption() {
    return {"-h,--help", static_cast<bool*>(nullptr), "Print this help and exit"};
}

option VersionOption() {
    return {"--version", static_cast<bool*>(nullptr), "Print the version and exit"};
}

std::vector<option> AllOptions(const command& stCommand) {
    std::vector<option> vecOptions = {HelpOption()};
    vecOptions.insert(vecOptions.end(), stCommand.vecOptions.begin(), stCommand.vecOptions.end());
    return vecOptions;
}

std::vector<option> AllOptions(const program& stProgram) {
    std::vector<option> vecOptions = {VersionOption(), HelpOption()};
    vecOptions.insert(vecOptions.end(), stProgram.vecOptions.begin(), stProgram.vecOptions.end());
    return vecOptions;
}
