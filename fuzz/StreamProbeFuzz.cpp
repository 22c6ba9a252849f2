// Gives each input to the analyser whole and cut in many ways; aborts when anything but the size of
// the packets differs.

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "Streams.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strInput(reinterpret_cast<const char*>(pData), nSize);
    const std::string strDifference = DifferenceWhenCut(strInput);
    if (strDifference.empty()) return 0;
    std::fprintf(stderr, "%s\n", strDifference.c_str());
    std::abort();
}
