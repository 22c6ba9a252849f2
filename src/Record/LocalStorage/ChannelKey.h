// What a channel is found by with every piece that is written: its key, hashed without a copy of
// the camera's name.

#ifndef LOCALSTORAGE_RECORD_CHANNELKEY_H
#define LOCALSTORAGE_RECORD_CHANNELKEY_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

/// What identifies a channel. In the client layout the camera alone does; the numbers are 0.
template <typename Text>
struct basicChannelKey {
    Text strCameraID;
    std::uint64_t nStart = 0;  ///< times as fileTimeInfo::Number
    std::uint64_t nEnd = 0;
    std::uint32_t nType = 0;
};
using channelKey = basicChannelKey<std::string>;
/// A key on the caller's text, to look up without a copy.
using channelKeyView = basicChannelKey<std::string_view>;

struct channelKeyHash {
    using is_transparent = void;
    template <typename Text>
    std::size_t operator()(const basicChannelKey<Text>& key) const {
        return Mix(Mix(HashText(key.strCameraID), key.nStart), key.nEnd ^ key.nType);
    }

private:
    static std::uint64_t Mix(std::uint64_t nHash, std::uint64_t nPart) {
        nHash = (nHash ^ nPart) * 0x9E3779B97F4A7C15u;
        return nHash ^ nHash >> 32;
    }
    template <typename Part>
    static std::uint64_t Load(const char* pText) {
        Part nPart;
        std::memcpy(&nPart, pText, sizeof(nPart));
        return nPart;
    }
    // Whole words; the last one overlaps the one before it where the length is no multiple.
    static std::uint64_t HashText(std::string_view strText) {
        const char* const pText = strText.data();
        const std::size_t nSize = strText.size();
        std::uint64_t nHash = nSize;
        if (nSize < 4) {
            for (const char c : strText) nHash = nHash << 8 | static_cast<unsigned char>(c);
            return nHash;
        }
        if (nSize < 8) {
            return nHash ^ Load<std::uint32_t>(pText) << 32 ^
                   Load<std::uint32_t>(pText + nSize - 4);
        }
        for (std::size_t i = 0; i + 8 < nSize; i += 8) {
            nHash = Mix(nHash, Load<std::uint64_t>(pText + i));
        }
        return nHash ^ Load<std::uint64_t>(pText + nSize - 8);
    }
};

struct channelKeyEqual {
    using is_transparent = void;
    template <typename A, typename B>
    bool operator()(const basicChannelKey<A>& a, const basicChannelKey<B>& b) const {
        return a.nStart == b.nStart && a.nEnd == b.nEnd && a.nType == b.nType &&
               a.strCameraID == b.strCameraID;
    }
};

#endif  // LOCALSTORAGE_RECORD_CHANNELKEY_H
