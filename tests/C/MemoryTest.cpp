// Memory that runs out below the C interface: no exception may reach a host in C.

#include "Support/AllocationFault.h"
#include "Support/Host.h"
#include "Support/Test.h"
#include "localstorage/localstorage.h"

namespace {

TEST(CMemory, WantOfItIsAnErrorAndNothingIsLeftOpen) {
    constexpr ls_time BEGIN = {2024, 3, 5, 8, 0, 0, 0}, END = {2024, 3, 5, 9, 0, 0, 0};
    const CTempDir dir;
    EnableTarget(LOG_TARGET_FILE, (dir / "log").c_str(), 0, 1);
    SetStorageOption(STORAGE_OPTION_FULL_SPACE, 64);
    const std::string strDir = dir / "disk";
    const char *const pDir = strDir.c_str(), *const pCamera = "door";
    ls_settings stSettings{};
    stSettings.size = sizeof(stSettings);
    stSettings.directories = &pDir;
    stSettings.directory_count = 1;
    ls_engine* pEngine = nullptr;
    ASSERT_EQ(ls_engine_open(&stSettings, &pEngine), LS_OK);
    ls_filter stFilter{};
    stFilter.size = sizeof(stFilter);
    stFilter.cameras = &pCamera;
    stFilter.camera_count = 1;
    ls_channel_settings stChannel{};
    stChannel.size = sizeof(stChannel);
    stChannel.camera = pCamera;
    stChannel.begin = BEGIN;
    stChannel.end = END;
    const auto record = [&] {
        ls_channel* pChannel = nullptr;
        const ls_error eError = ls_channel_open(pEngine, &stChannel, &pChannel, nullptr);
        EXPECT_EQ(pChannel != nullptr, eError == LS_OK);
        if (!pChannel) return eError;
        ls_write(pChannel, "picture", 7, nullptr);
        return ls_channel_close(pChannel, nullptr) ? ls_channel_close(pChannel, nullptr) : LS_OK;
    };

    ls_query* pQuery = nullptr;
    const std::pair<const char*, std::function<ls_error()>> CALLS[] = {
        {"channel", record},
        {"snapshot", [&] { return ls_snapshot(pEngine, pCamera, "jpeg", 4, nullptr, 0, nullptr); }},
        {"find", [&] { return ls_engine_find(pEngine, pCamera, 0, &BEGIN, &END, &pQuery); }},
        {"recordings", [&] { return ls_find_recordings(&pDir, 1, &stFilter, &pQuery, nullptr); }},
        {"coverage", [&] { return ls_find_coverage(&pDir, 1, &stFilter, &pQuery, nullptr); }},
        {"pictures", [&] { return ls_find_pictures(&pDir, 1, &stFilter, &pQuery, nullptr); }},
        {"disks", [&] { return ls_find_disks(&pDir, 1, &pQuery, nullptr); }},
        {"cameras", [&] { return ls_find_cameras(&pDir, 1, &pQuery, nullptr); }},
    };
    for (const auto& [pName, fnCall] : CALLS) {
        bool bFailed = true;
        for (int n = 1; bFailed && n < 1000; ++n) {
            ls_error eError = LS_OK;
            pQuery = nullptr;
            {
                const CAllocationFault fault(n, bFailed);
                eError = fnCall();
            }
            EXPECT_NE(eError, LS_ERROR_INTERNAL) << pName << " " << n;
            EXPECT_TRUE(eError == LS_OK || !pQuery) << pName << " " << n;
            EXPECT_TRUE(bFailed || eError == LS_OK) << pName << " " << ls_error_text(eError);
            ls_query_close(pQuery);
        }
        EXPECT_FALSE(bFailed) << pName;
    }
    ls_engine_close(pEngine);
}

}  // namespace
