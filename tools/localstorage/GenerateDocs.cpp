// Prints the completion for a shell or the man page of the tool; run while building.

#include <iostream>
#include <string_view>

#include "commands/Commands.h"

int main(int argc, char** argv) {
    programOptions stOptions;
    const program stProgram = LocalStorageProgram(stOptions);
    const std::string_view strWhat = argc == 2 ? argv[1] : "";
    if (strWhat == "bash") {
        std::cout << MakeBashCompletion(stProgram);
    } else if (strWhat == "zsh") {
        std::cout << MakeZshCompletion(stProgram);
    } else if (strWhat == "fish") {
        std::cout << MakeFishCompletion(stProgram);
    } else if (strWhat == "man") {
        std::cout << MakeManPage(stProgram);
    } else {
        std::cerr << "usage: " << argv[0] << " bash|zsh|fish|man\n";
        return 2;
    }
    return std::cout.flush() ? 0 : 1;
}
