// SHA-256 of files, as evidence is told apart from what somebody changed.

#ifndef LOCALSTORAGE_TOOL_MEDIA_CHECKSUM_H
#define LOCALSTORAGE_TOOL_MEDIA_CHECKSUM_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>

/// In hexadecimal digits. `fnBytes` hears of every piece that was read. Throws CFailure when the
/// file cannot be read, or when stopped.
std::string Sha256Of(
    const std::string& strPath, const std::atomic<bool>& bStop,
    const std::function<void(std::size_t)>& fnBytes = [](std::size_t) {});

#endif  // LOCALSTORAGE_TOOL_MEDIA_CHECKSUM_H
