// Gives each input to the analyser, twice over, whole and cut in many ways; aborts when anything
// but the size of the packets differs.

#include <cstdio>
#include <cstdlib>

#include "StreamProbe/Streams.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strInput(reinterpret_cast<const char*>(pData), nSize);
    const std::string strDifference = DifferenceWhenCut(strInput + strInput);
    if (strDifference.empty()) return 0;
    std::fprintf(stderr, "%s\n", strDifference.c_str());
    std::abort();
}
