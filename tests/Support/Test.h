// What every test may use without asking for it: GoogleTest, the standard library's containers and
// tools, and directories of its own. What is the system's, a test includes itself.

#ifndef LOCALSTORAGE_TESTS_SUPPORT_TEST_H
#define LOCALSTORAGE_TESTS_SUPPORT_TEST_H

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/TempDir.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre, testing::UnorderedElementsAre, testing::Each, testing::IsEmpty,
    testing::SizeIs, testing::HasSubstr, testing::StartsWith, testing::EndsWith;

using Texts = std::vector<std::string>;

/// Waits for what is about to happen, twenty seconds at most.
inline bool Await(const std::function<bool()>& isSo) {
    for (int n = 0; n < 2000 && !isSo(); ++n) std::this_thread::sleep_for(10ms);
    return isSo();
}

/// Threads that do this again and again while they live, each with its number.
inline std::vector<std::jthread> BusyThreads(int nThreads, const std::function<void(int)>& work) {
    std::vector<std::jthread> vThreads;
    for (int n = 0; n < nThreads; ++n) {
        vThreads.emplace_back([n, work](const std::stop_token& stop) {
            while (!stop.stop_requested()) work(n);
        });
    }
    return vThreads;
}

/// The names below a directory, files and folders, sorted.
inline Texts Tree(const std::string& strDir) {
    Texts vNames;
    for (const auto& entry : fs::recursive_directory_iterator(strDir)) {
        vNames.push_back(entry.path().lexically_relative(strDir));
    }
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

#endif  // LOCALSTORAGE_TESTS_SUPPORT_TEST_H
