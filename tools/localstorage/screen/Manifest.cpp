#include "screen/Manifest.h"

#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "Catalogue/Tree.h"
#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "base/Times.h"
#include "media/Checksum.h"

using nlohmann::ordered_json;

namespace {

constexpr const char* KIND = "localstorage-manifest-1";

UtcTime ReadTime(const ordered_json& js) {
    const auto tTime = ParseTime(js.get<std::string>(), UtcTime());
    if (!tTime) throw CFailure("a time cannot be read: " + js.dump());
    return tTime->tFirst;
}

timeSpan ReadSpan(const ordered_json& js) {
    return {ReadTime(js.at("start")), ReadTime(js.at("end"))};
}

manifestFile ReadFile(const ordered_json& js) {
    manifestFile st;
    st.strName = js.at("name");
    if (st.strName.empty() || st.strName.find('/') != st.strName.npos || st.strName == "..") {
        throw CFailure("a file's name leads out of the folder: " + st.strName);
    }
    st.strSource = js.value("source", "");
    st.stSpan = ReadSpan(js);
    st.nBytes = js.at("bytes");
    st.strSha256 = js.at("sha256");
    return st;
}

ordered_json ToJson(const manifestFile& st) {
    ordered_json js = {{"name", st.strName}};
    if (!st.strSource.empty()) js["source"] = st.strSource;
    js.update({{"start", FormatIso(st.stSpan.tStart)},
               {"end", FormatIso(st.stSpan.tEnd)},
               {"bytes", st.nBytes},
               {"sha256", st.strSha256}});
    return js;
}

ordered_json ToJson(const std::vector<manifestFile>& vFiles) {
    ordered_json js = ordered_json::array();
    for (const manifestFile& st : vFiles) js.push_back(ToJson(st));
    return js;
}

std::string ToText(const manifest& st) {
    ordered_json js = {{"kind", KIND},
                       {"camera", st.strCamera},
                       {"start", FormatIso(st.stRange.tStart)},
                       {"end", FormatIso(st.stRange.tEnd)},
                       {"note", st.strNote},
                       {"made", FormatIso(st.tMade)},
                       {"made_by", st.strMadeBy},
                       {"files", ToJson(st.vFiles)}};
    if (!st.vRecordings.empty()) js["recordings"] = ToJson(st.vRecordings);
    // Names of files may be anything.
    return js.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace

manifestFile DescribeFile(const std::string& strPath, const timeSpan& stSpan,
                          const std::atomic<bool>& bStop,
                          const std::function<void(std::size_t)>& fnBytes) {
    manifestFile st;
    st.strName = std::filesystem::path(strPath).filename();
    st.stSpan = stSpan;
    st.nBytes = FileSize(strPath);
    st.strSha256 = Sha256Of(strPath, bStop, fnBytes);
    return st;
}

void WriteManifest(const std::string& strPath, const manifest& st) {
    const std::string strPart = strPath + ".part";
    std::ofstream file(strPart, std::ios::binary);
    file << ToText(st);
    file.close();
    std::error_code stError;
    if (!file || !MakeDurable(strPart)) stError.assign(errno, std::generic_category());
    if (!stError) std::filesystem::rename(strPart, strPath, stError);
    if (stError) throw CFailure("cannot write " + strPath + ": " + stError.message());
    MakeDurable(std::filesystem::absolute(strPath).parent_path());
}

manifest ReadManifest(const std::string& strPath) try {
    std::ifstream file(strPath, std::ios::binary);
    if (!file) throw CFailure(ErrorText(errno));
    const ordered_json js = ordered_json::parse(file);
    if (js.at("kind") != KIND) throw CFailure("it is of another kind");
    manifest st{js.at("camera"),         ReadSpan(js),     js.at("note"),
                ReadTime(js.at("made")), js.at("made_by"), {}};
    for (const ordered_json& jsFile : js.at("files")) st.vFiles.push_back(ReadFile(jsFile));
    return st;
} catch (const ordered_json::exception& error) {
    throw CFailure(strPath + " is no manifest: " + error.what());
} catch (const CFailure& error) {
    throw CFailure("cannot read " + strPath + ": " + error.what());
}
