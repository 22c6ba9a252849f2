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

#endif  // LOCALSTORAGE_TESTS_SUPPORT_TEST_H
