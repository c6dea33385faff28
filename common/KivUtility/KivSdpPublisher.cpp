// Checking, writing and announcing of SDP files.
#include "KivSdpPublisher.h"

#include "AsciiCase.h"
#include "KivRegistryMgr.h"
#include "platform/file.h"
#include "platform/service.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <random>
#include <string>
#include <string_view>

namespace {

namespace platform = kiv::platform;

constexpr char          kKey[]          = "SOFTWARE\\Halvorn\\Common\\Server\\StreamingService";
constexpr std::size_t   kMostNameBytes  = 200; // leaves a file system's limit of 255 room
constexpr std::uint32_t kStartTimeoutMs = 30'000;

// Names of devices: on Windows, whatever stands behind the first dot, such a file is the device.
constexpr std::string_view kDevices[] = {"con",  "prn",  "aux",  "nul",  "com1", "com2", "com3", "com4",
                                         "com5", "com6", "com7", "com8", "com9", "lpt1", "lpt2", "lpt3",
                                         "lpt4", "lpt5", "lpt6", "lpt7", "lpt8", "lpt9"};

bool IsFileName(std::string_view name) {
    const auto isAllowed = [](char c) {
        return static_cast<unsigned char>(c) >= 0x20 && c != 0x7F
               && std::string_view("/\\:*?\"<>|").find(c) == std::string_view::npos;
    };
    const std::string_view stem   = name.substr(0, name.find('.'));
    const std::string_view device = stem.substr(0, stem.find_last_not_of(' ') + 1);
    return !name.empty() && name[0] != '.' && name.size() <= kMostNameBytes
           && std::ranges::all_of(name, isAllowed)
           && std::ranges::none_of(kDevices, [&](auto each) { return kiv::EqualIgnoringCase(each, device); });
}

bool IsSdpName(std::string_view name) {
    constexpr std::string_view kExtension = ".sdp";
    return IsFileName(name) && name.size() > kExtension.size()
           && kiv::EqualIgnoringCase(name.substr(name.size() - kExtension.size()), kExtension);
}

// RFC 8866, 5.1, and 9 on the ends of lines.
bool IsSdp(std::string_view text) { return text.starts_with("v=0\n") || text.starts_with("v=0\r\n"); }

// Of a file beside the others: no SDP file to the service, and hidden where a dot hides. Drawn anew for each,
// as a process that was forked off has its parent's variables.
std::string TemporaryName() {
    std::random_device random;
    return ".kiv-" + std::to_string(random()) + '-' + std::to_string(random()) + ".tmp";
}

std::string In(const char* folder, const std::string& name) { return std::string(folder) + '/' + name; }

// Whoever opens `path` finds the file that was there or the whole new one. `temporary` must be free, and is
// again afterwards.
bool WriteWhole(const std::string& path, const std::string& temporary, std::string_view text) {
    using platform::OutputFile;
    auto file =
        OutputFile::Open(temporary.c_str(), OutputFile::Existing::Refuse, OutputFile::Readers::Everybody);
    if (!file) return false;
    const bool isWritten = file->Write(text) && file->Commit();
    file.reset();
    if (isWritten && platform::MoveIntoPlace(temporary.c_str(), path.c_str())) return true;
    std::remove(temporary.c_str());
    return false;
}

} // namespace

CKivSdpPublisher::CKivSdpPublisher()
    : CKivSdpPublisher(platform::kDefaultMediaFolder, platform::kDefaultStreamingService) {
    CKivRegistryMgr node(HKEY_LOCAL_MACHINE);
    if (node.OpenNode(kKey, 0) == 0) return;
    const auto read = [&](const char* name, CKivString& into) {
        CKivString text;
        if (node.ReadValue(name, text, "") == 1 && text != "") into = text;
    };
    read("MediaFolder", m_mediaFolder);
    read("ServiceName", m_serviceName);
}

CKivSdpPublisher::CKivSdpPublisher(const char* mediaFolder, const char* serviceName)
    : m_mediaFolder(mediaFolder), m_serviceName(serviceName) {}

CKivSdpPublisher::Result CKivSdpPublisher::Publish(const char* name, const char* sdp) const {
    if (name == nullptr || !IsSdpName(name)) return kSdp_BadName;
    if (sdp == nullptr || !IsSdp(sdp)) return kSdp_BadContent;
    if (m_mediaFolder == "") return kSdp_NotWritten;
    try {
        const bool done = WriteWhole(In(m_mediaFolder, name), In(m_mediaFolder, TemporaryName()), sdp);
        return done ? kSdp_Done : kSdp_NotWritten;
    } catch (const std::exception&) {
        return kSdp_NotWritten;
    }
}

int CKivSdpPublisher::StartStreaming() const {
    return platform::StartSystemService(m_serviceName, kStartTimeoutMs) ? 1 : 0;
}
