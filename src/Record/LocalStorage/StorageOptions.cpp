#include "LocalStorage/StorageOptions.h"

#include <algorithm>
#include <atomic>
#include <iterator>

#include "Log/LogText.h"
#include "Osl/Osl.h"

namespace {

struct storageOption {
    int nOption;
    int nLeast, nMost;
    std::atomic<int> nValue;
};

constinit storageOption g_aOptions[] = {
    {STORAGE_OPTION_SYNC_INTERVAL, 0, 3600000, 1000},
    {STORAGE_OPTION_RESERVE_STEP, 0, 1024, 32},
    {STORAGE_OPTION_FULL_SPACE, 64, 1 << 30, LOCALSTORAGE_DISK_FULL_SPACE},
    {STORAGE_OPTION_PRIVATE_MODES, 0, 1, 0},
    {STORAGE_OPTION_REQUIRE_MOUNT, 0, 1, 0},
};

storageOption* FindOption(int nOption) {
    const auto it =
        std::find_if(std::begin(g_aOptions), std::end(g_aOptions),
                     [nOption](const storageOption& st) { return st.nOption == nOption; });
    return it == std::end(g_aOptions) ? nullptr : &*it;
}

}  // namespace

int GetStorageOption(StorageOption eOption) {
    return FindOption(eOption)->nValue.load(std::memory_order_relaxed);
}

std::int32_t SetStorageOption(int nOption, int nValue) {
    storageOption* const pOption = FindOption(nOption);
    if (!pOption || nValue < pOption->nLeast || nValue > pOption->nMost) {
        LogText("[wtb][SetStorageOption] %s, nOption [%d], nValue [%d]",
                pOption ? "value out of range" : "no such option", nOption, nValue);
        return 0;
    }
    pOption->nValue.store(nValue, std::memory_order_relaxed);
    // At once: the log may begin before an engine does.
    if (nOption == STORAGE_OPTION_PRIVATE_MODES) OSL_SetPrivateModes(nValue != 0);
    return 1;
}
