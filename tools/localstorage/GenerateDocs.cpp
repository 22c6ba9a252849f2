// Prints the bash completion or the man page of the tool; run while building.

#include <iostream>
#include <string_view>

#include "commands/Commands.h"

int main(int argc, char** argv) {
    std::string strLogDir;
    const program stProgram = LocalStorageProgram(strLogDir);
    const std::string_view strWhat = argc == 2 ? argv[1] : "";
    if (strWhat == "bash") {
        std::cout << MakeBashCompletion(stProgram);
    } else if (strWhat == "man") {
        std::cout << MakeManPage(stProgram);
    } else {
        std::cerr << "usage: " << argv[0] << " bash|man\n";
        return 2;
    }
    return std::cout.flush() ? 0 : 1;
}
