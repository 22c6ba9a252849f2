// Stands in for the fuzzer in ordinary builds: gives a target all seeds of a folder, whole and with
// more and more bytes changed and missing.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>

#include "Support/TempDir.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize);

int main(int, char** argv) {
    std::mt19937 random(7);
    for (const auto& seed : std::filesystem::directory_iterator(argv[1])) {
        const std::string strSeed = GetFile(seed.path());
        for (int n = 0; n < 120 && !strSeed.empty(); ++n) {
            std::string strInput = strSeed;
            for (int nFaults = n % 30; nFaults > 0; --nFaults) {
                char& chFault = strInput[random() % strInput.size()];
                chFault = static_cast<char>(n % 2 ? random() % 4 : chFault ^ 1 << random() % 8);
                if (n > 60) strInput.erase(random() % strInput.size(), random() % 4);
                if (strInput.empty()) break;
            }
            std::printf("%s with %d faults\n", seed.path().c_str(), n % 30);
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(strInput.data()),
                                   strInput.size());
        }
    }
}
