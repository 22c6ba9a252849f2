// Writes completion for shells and the manual pages of the tool into a folder; run while building.

#include <filesystem>
#include <fstream>
#include <iostream>

#include "commands/Commands.h"

namespace {

void Put(const std::filesystem::path& path, const std::string& strText) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream stFile(path);
    stFile << strText;
    stFile.close();
    if (!stFile) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) throw std::runtime_error(std::string("usage: ") + argv[0] + " FOLDER");
    const std::filesystem::path folder = argv[1];
    programOptions stOptions;
    const program stProgram = LocalStorageProgram(stOptions, AllCommands());
    Put(folder / "localstorage.bash", MakeBashCompletion(stProgram));
    Put(folder / "localstorage.zsh", MakeZshCompletion(stProgram));
    Put(folder / "localstorage.fish", MakeFishCompletion(stProgram));
    Put(folder / "man1/localstorage.1", MakeManPage(stProgram));
    for (const command& st : stProgram.vCommands) {
        Put(folder / "man1" / (PageName(stProgram, st) + ".1"), MakeManPage(stProgram, st));
    }
    return 0;
} catch (const std::exception& e) {
    std::cerr << e.what() << "\n";
    return 1;
}
