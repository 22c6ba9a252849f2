#include "RecordTree/Names.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsNumber(std::string_view strText) {
    return !strText.empty() && std::all_of(strText.begin(), strText.end(), IsDigit);
}

// Digits only, fits the field, and no leading zeros: what std::to_string gives back.
template <typename T>
bool ParseExact(std::string_view strText, T& value) {
    if (!IsNumber(strText) || (strText.size() > 1 && strText[0] == '0')) return false;
    return std::from_chars(strText.data(), strText.data() + strText.size(), value).ec ==
           std::errc();
}

// The number of exactly `nDigits` digits at `pText`; the caller has made sure that they are digits.
unsigned FixedNumber(const char* pText, int nDigits) {
    unsigned nValue = 0;
    for (int i = 0; i < nDigits; ++i) nValue = nValue * 10 + static_cast<unsigned>(pText[i] - '0');
    return nValue;
}

dateInfo FixedDate(const char* pText) {
    return {static_cast<std::uint16_t>(FixedNumber(pText, 4)),
            static_cast<std::uint8_t>(FixedNumber(pText + 4, 2)),
            static_cast<std::uint8_t>(FixedNumber(pText + 6, 2))};
}

// Eight digits at `pDay` and six at `pClock`.
fileTimeInfo FixedTime(const char* pDay, const char* pClock) {
    const dateInfo stDate = FixedDate(pDay);
    return {stDate.wYear,
            stDate.byMonth,
            stDate.byDay,
            static_cast<std::uint8_t>(FixedNumber(pClock, 2)),
            static_cast<std::uint8_t>(FixedNumber(pClock + 2, 2)),
            static_cast<std::uint8_t>(FixedNumber(pClock + 4, 2)),
            0};
}

std::string Text(const char* pBegin, const char* pEnd) {
    return std::string(pBegin, static_cast<std::size_t>(pEnd - pBegin));
}

// The parts of a channel folder's name around its first and last "_".
struct ChannelParts {
    std::string_view strText, strNum1, strNum2;
};

// False when the name has not the shape text_number_number at all.
bool SplitChannel(std::string_view strName, ChannelParts& stParts) {
    const std::size_t nFirst = strName.find('_');
    const std::size_t nLast = strName.rfind('_');
    if (nFirst == nLast) return false;  // none, or only one
    stParts.strText = strName.substr(0, nFirst);
    stParts.strNum1 = strName.substr(nFirst + 1, nLast - nFirst - 1);
    stParts.strNum2 = strName.substr(nLast + 1);
    return IsNumber(stParts.strNum1) && IsNumber(stParts.strNum2);
}

void SetCameraID(indexLevel2Body& stBody, std::string_view strText) {
    std::memcpy(stBody.szCameraID, strText.data(), strText.size());
}

}  // namespace

bool IsFolderName(std::string_view strName) {
    const auto isRefused = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return c == '/' || c == '\\' || byte < 0x20 || byte == 0x7F;
    };
    return !strName.empty() && strName.size() <= CAMERA_ID_MAX && strName != "." &&
           strName != ".." && std::none_of(strName.begin(), strName.end(), isRefused);
}

bool IsIndexName(std::string_view strName) {
    if (strName == INDEX_DIRTY_MARKER) return true;
    if (strName.ends_with(INDEX_NEW_SUFFIX)) strName.remove_suffix(sizeof(INDEX_NEW_SUFFIX) - 1);
    return strName == INDEX_FILE_LEVEL1 || strName == INDEX_FILE_LEVEL2 ||
           strName == INDEX_FILE_LEVEL3;
}

bool IsCameraID(std::string_view strName) {
    return IsFolderName(strName) && !IsIndexName(strName);
}

ChannelForm ClassifyChannel(std::string_view strName) {
    ChannelParts stParts;
    if (!IsFolderName(strName)) return ChannelForm::NotStorable;
    if (!SplitChannel(strName, stParts)) return ChannelForm::Bare;
    std::uint16_t wNum1;
    std::uint8_t byNum2;
    return ParseExact(stParts.strNum1, wNum1) && ParseExact(stParts.strNum2, byNum2)
               ? ChannelForm::Numbered
               : ChannelForm::NotStorable;
}

bool VerifyDateDir(std::string_view strName) {
    return strName.size() == DAY_NAME_SIZE && IsNumber(strName);
}

bool VerifyChannelDir(std::string_view strName) {
    return ClassifyChannel(strName) == ChannelForm::Numbered;
}

bool VerifyRecFile(std::string_view strName) {
    return strName.size() == REC_FILE_NAME_SIZE && strName[14] == '_' && strName[29] == '_' &&
           IsNumber(strName.substr(0, 14)) && IsNumber(strName.substr(15, 14)) &&
           IsDigit(strName[30]) && strName.substr(31) == RECORDING_EXTENSION;
}

bool IsScannedDateDir(std::string_view strName) {
    return strName.size() == DAY_NAME_SIZE;
}

bool IsScannedFile(std::string_view strName, std::string_view strExtension) {
    return strName.size() > DAY_NAME_SIZE && strName[DAY_NAME_SIZE] == '_' &&
           strName.ends_with(strExtension);
}

bool ConvertStrDateToIndexLevel1Body(std::string_view strName, indexLevel1Body& stBody) {
    if (!VerifyDateDir(strName)) return false;
    stBody.stDate = FixedDate(strName.data());
    return true;
}

bool ConvertStrChannelToIndexLevel2Body(std::string_view strName, indexLevel2Body& stBody) {
    const ChannelForm eForm = ClassifyChannel(strName);
    if (eForm == ChannelForm::NotStorable) return false;
    stBody = indexLevel2Body();
    if (eForm == ChannelForm::Bare) {
        SetCameraID(stBody, strName);
        stBody.byRes1 = INDEX_BARE_IDENTIFIER;
        return true;
    }
    ChannelParts stParts;
    SplitChannel(strName, stParts);
    SetCameraID(stBody, stParts.strText);
    ParseExact(stParts.strNum1, stBody.wDirNum1);
    ParseExact(stParts.strNum2, stBody.byDirNum2);
    return true;
}

bool ConvertStrRecFileToIndexLevel3Body(std::string_view strName, indexLevel3Body& stBody) {
    if (!VerifyRecFile(strName)) return false;
    stBody = indexLevel3Body();
    stBody.stStartTime = FixedTime(strName.data(), strName.data() + 8);
    stBody.stEndTime = FixedTime(strName.data() + 15, strName.data() + 23);
    stBody.enumRecFileType = static_cast<RecFileType>(FixedNumber(strName.data() + 30, 1));
    return true;
}

bool ConvertStrSecondToFileTime(std::string_view strName, std::string_view strExtension,
                                fileTimeInfo& stTime) {
    if (strName.size() != 15 + strExtension.size() || !IsScannedFile(strName, strExtension) ||
        !IsNumber(strName.substr(0, 8)) || !IsNumber(strName.substr(9, 6))) {
        return false;
    }
    stTime = FixedTime(strName.data(), strName.data() + 9);
    return true;
}

std::string GetDirName(const dateInfo& stDate) {
    char szName[TIME_DIGITS_BUFFER];
    return Text(szName, stDate.PutDigits(szName));
}

std::string GetDirName(const indexLevel2Body& stChannel) {
    std::string strName(stChannel.szCameraID,
                        strnlen(stChannel.szCameraID, sizeof(stChannel.szCameraID)));
    if (!stChannel.IsBare()) {
        strName += '_';
        strName += std::to_string(stChannel.wDirNum1);
        strName += '_';
        strName += std::to_string(stChannel.byDirNum2);
    }
    return strName;
}

std::string GetRecFileName(const indexLevel3Body& stFile) {
    char szName[REC_FILE_NAME_BUFFER];
    return std::string(szName, FormatRecFileName(stFile, szName));
}

std::string GetSecondName(const fileTimeInfo& stTime, std::string_view strExtension) {
    std::string strName = GetDirName(stTime.GetDate());
    char szTime[TIME_DIGITS_BUFFER];
    const char* const pClock = szTime + strName.size();
    const char* const pEnd = stTime.PutDigits(szTime);
    return strName.append("_").append(pClock, pEnd).append(strExtension);
}

std::size_t FormatRecFileName(const indexLevel3Body& stFile, char* pName) {
    char* pEnd = stFile.stStartTime.PutDigits(pName);
    *pEnd++ = '_';
    pEnd = stFile.stEndTime.PutDigits(pEnd);
    *pEnd++ = '_';
    const int nType = static_cast<int>(stFile.enumRecFileType);
    pEnd = std::to_chars(pEnd, pName + REC_FILE_NAME_BUFFER, nType).ptr;
    pEnd = std::copy_n(RECORDING_EXTENSION, sizeof(RECORDING_EXTENSION) - 1, pEnd);
    return static_cast<std::size_t>(pEnd - pName);
}
