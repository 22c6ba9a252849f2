// Runs a fuzz target once over each file of the folders named: the seeds as an ordinary test.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize);

int main(int argc, char** argv) {
    int nFiles = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& objEntry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream is(objEntry.path(), std::ios::binary);
            const std::string strInput{std::istreambuf_iterator<char>(is), {}};
            std::fprintf(stderr, "%s\n", objEntry.path().c_str());
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(strInput.data()),
                                   strInput.size());
            ++nFiles;
        }
    }
    std::printf("%d inputs\n", nFiles);
    return nFiles > 0 ? 0 : 1;
}
