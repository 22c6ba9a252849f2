// localstorage serve: what is recorded, over HTTP.

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <thread>

#include "base/Failure.h"
#include "base/System.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "screen/Terminal.h"
#include "serve/Api.h"
#include "serve/HttpServer.h"

namespace {

constexpr const char* SERVE_EXAMPLES =
    "  localstorage serve --dir /mnt/disk1 --dir /mnt/disk2\n"
    "  localstorage serve --dir /mnt/disk1 --listen 192.0.2.7:9996 --token-file /etc/cctv/token "
    "\\\n"
    "      --tls-cert /etc/cctv/cert.pem --tls-key /etc/cctv/key.pem\n"
    "  curl 'http://127.0.0.1:9996/list?path=door'\n\n"
    "Nothing is changed, and a host may be recording meanwhile. It serves until it gets SIGINT,\n"
    "SIGTERM or SIGHUP. An address that other machines reach wants a token; clients send it in "
    "the\n"
    "header \"Authorization: Bearer TOKEN\". Where TLS ends at a proxy, the proxy's own address "
    "is\n"
    "the one to listen on.";

std::string DefaultTempDir() {
    const char* pDir = std::getenv("TMPDIR");
    return pDir && *pDir ? pDir : "/tmp";
}

struct serveOptions {
    std::vector<std::string> vDirs;
    std::string strListen = "127.0.0.1:9996";
    std::string strTokenFile, strCertificate, strKey, strBasePath;
    std::string strTempDir = DefaultTempDir();
    bool bNoToken = false;
};

std::string ListenFault(const std::string& strText) {
    if (ParseListenAddress(strText)) return {};
    return "\"" + strText + "\" is no address; write it as 127.0.0.1:9996 or [::1]:9996";
}

std::string BasePathFault(const std::string& strText) {
    if (strText.size() > 1 && strText.front() == '/' && strText.back() != '/') return {};
    return "\"" + strText + "\" is no base path; write it as /footage";
}

std::string ReadPem(const std::string& strPath) {
    if (strPath.empty()) return {};
    std::ifstream file(strPath, std::ios::binary);
    std::string strText{std::istreambuf_iterator<char>(file), {}};
    if (strText.empty()) throw CFailure("cannot read " + strPath);
    return strText;
}

serverOptions ServerOptions(const serveOptions& st) {
    if (!st.strKey.empty() && st.strCertificate.empty()) {
        throw CUsageError("--tls-key needs --tls-cert");
    }
    serverOptions stServer;
    stServer.stListen = ParseListenAddress(st.strListen).value();
    if (!st.strTokenFile.empty()) stServer.objToken = CToken(st.strTokenFile);
    stServer.bAnybody = st.bNoToken;
    stServer.strCertificate = ReadPem(st.strCertificate);
    stServer.strKey = ReadPem(st.strKey);
    stServer.strBasePath = st.strBasePath;
    if (stServer.stListen.bLoopback || st.bNoToken || stServer.objToken.IsWanted()) return stServer;
    throw CUsageError(st.strListen +
                      " can be reached by other machines: --token-file is needed, or "
                      "--insecure-no-token if everybody there may watch");
}

int Run(const serveOptions& stOptions) {
    serverOptions stServer = ServerOptions(stOptions);
    const std::atomic<bool>& bStop = CatchStopSignals();
    CApi objApi(stOptions.vDirs, stOptions.strTempDir, bStop);
    for (const CApi::route& st : objApi.Routes()) {
        if (st.bOpen) stServer.setOpenPaths.insert(st.strPath);
    }
    CHttpServer objServer(
        std::move(stServer), [&](const httpRequest& st) { return objApi.Answer(st); },
        [&](const std::string& strPath, httpStatus eStatus, double fSeconds) {
            objApi.Count(strPath, eStatus, fSeconds);
        });
    PrintLine("listening on " + objServer.Url());
    std::cout.flush();  // whoever started it waits for this line
    for (const std::string& strDir : objApi.Unreadable()) {
        PrintMessage(strDir + " cannot be read; what it holds is left out until it can");
    }
    while (!bStop) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    // Deliberate: what a disk that hangs still holds uses these objects, and ends with the process.
    if (!objServer.End(std::chrono::seconds(3))) std::_Exit(EXIT_OK);
    return EXIT_OK;
}

}  // namespace

command ServeCommand() {
    const auto pOptions = std::make_shared<serveOptions>();
    serveOptions& st = *pOptions;
    return {
        "serve",
        "Show what is recorded over HTTP",
        SERVE_EXAMPLES,
        {DirsOption(st.vDirs),
         {.strNames = "--listen",
          .target = &st.strListen,
          .strDescription = "Address and port to listen on, in numbers",
          .strValue = "ADDRESS",
          .strDefault = st.strListen,
          .fnFault = ListenFault},
         {"--token-file", &st.strTokenFile,
          "File whose first line clients have to know, 16 characters or more", "FILE"},
         {"--tls-key", &st.strKey, "The certificate's key in PEM", "FILE"},
         {.strNames = "--tls-cert",
          .target = &st.strCertificate,
          .strDescription = "Certificate in PEM, with those that vouch for it: serve HTTPS",
          .strValue = "FILE",
          .strNeeds = "--tls-key"},
         {.strNames = "--base-path",
          .target = &st.strBasePath,
          .strDescription = "Path in front of all others, where a proxy passes one on",
          .strValue = "PATH",
          .fnFault = BasePathFault},
         {.strNames = "--temp-dir",
          .target = &st.strTempDir,
          .strDescription = "Where clips are made that are downloaded whole; unless given $TMPDIR, "
                            "else /tmp",
          .strValue = "DIR"},
         {"--insecure-no-token", &st.bNoToken, "Let everybody watch who can reach the address"}},
        [pOptions] { return Run(*pOptions); }};
}
