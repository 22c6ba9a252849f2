// Stands in for the fuzzer in ordinary builds: gives a target all seeds of a folder, whole and with
// more and more bytes changed and missing.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize);

int main(int, char** argv) {
    std::mt19937 objRandom(7);
    for (const auto& seed : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(seed.path(), std::ios::binary);
        std::string strInput{std::istreambuf_iterator<char>(file), {}};
        for (int nFaults = 0; nFaults < 60 && !strInput.empty(); ++nFaults) {
            std::printf("%s with %d faults\n", seed.path().c_str(), nFaults);
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(strInput.data()),
                                   strInput.size());
            char& chFault = strInput[objRandom() % strInput.size()];
            chFault = static_cast<char>(chFault ^ 1 << objRandom() % 8);
            strInput.erase(objRandom() % strInput.size(), nFaults % 8 == 7 ? 1 : 0);
        }
    }
}
