// The naming tables and the look-ups in them.
#include "KivNames.h"

#include "AsciiCase.h"

#include <algorithm>
#include <iterator>

namespace {

using kiv::EqualIgnoringCase;
using kiv::ToLower;

struct SubSystemRow {
    Kiv_SUBSYSTEM id;
    char          charName;
    char          shortName[16];
    char          longName[67];
};

template <class Id> struct NamedRow {
    Id   id;
    char shortName[16];
    char longName[64];
};

using ServiceRow     = NamedRow<SVR_APP_SVC_ID>;
using ApplicationRow = NamedRow<SVR_APP_ID>;

struct ProtocolRow {
    Kiv_STM_PROTOCOL_ID id;
    char                shortName[16];
};

// The last row of each table is what a look-up falls back to; it is never matched itself.
constexpr SubSystemRow kSubSystems[] = {
    {kKivSys_Unknown, ' ', "UNKSYS", "Unknown Subsystem"},
    {kKivSys_ServerReception, ' ', "SVRREC", "Server Reception"},
    {kKivSys_ServerManager, ' ', "SVRMGR", "Server Manager"},
    {kKivSys_FileSystemMaster, ' ', "FSMAST", "File System Master"},
    {kKivSys_StreamingSystemMaster, ' ', "STMMAST", "Streaming System Master"},
    {kKivSys_UserManager, ' ', "USRMGR", "User Manager"},
    {kKivSys_AnsiFs, 'A', "ANSI", "ANSI File System"},
    {kKivSys_StreamingFs, 'S', "SFS", "Streaming File System"},
    {kKivSys_WindowStreamingFs, 'W', "WFS", "Window Streaming File System"},
    {kKivSys_NetShowFs, 'N', "NFS", "NetShow File System"},
    {kKivSys_LiveStreamingFs, 'L', "LFS", "Live Streamin File System"}, // spelt so, kept
    {kKivSys_MediaEncoderFs, 'M', "MFS", "Media Encoder File System"},
    {kKivSys_KivStreaming, ' ', "KivSTM", "Kiv Streaming System"},
    {kKivSys_NetShowStreaming, ' ', "NETSTM", "NetShow Streaming System"},
    {kKivSys_Unknown, ' ', "UNDSYS", "Undefined Subsystem"},
};

constexpr ServiceRow kServices[] = {
    {kKivSvc_Unknown, "UNKSVC", "Unknown Service"},
    {kKivSvc_Broadband, "HBR", "Broadband Streaming Service"},
    {kKivSvc_Internet, "LBR", "Internet Streaming Service"},
    {kKivSvc_Live, "LSRT", "Live Streaming Service"},
    {kKivSvc_Mp3, "MP3", "MP3 Streaming Service"},
    {kKivSvc_MediaEncoder, "MSME", "Media Encoder Streaming Service"},
    {kKivSvc_Unknown, "UNDSVC", "Undefined Streaming Service"},
};

constexpr ApplicationRow kApplications[] = {
    {kKivApp_Unknown, "UNKAPP", "Unknown Application"},
    {kKivApp_Server, "VServer", "KivServer"},
    {kKivApp_Live, "VCaster", "KivLive"},
    {kKivApp_Mailer, "VMailer", "KivMailer"},
    {kKivApp_Tune, "VTuneSvr", "KivTune"},
    {kKivApp_Cluster, "VRouter", "KivCluster"},
    {kKivApp_Unknown, "UNDAPP", "Undefined Application"},
};

constexpr ProtocolRow kProtocols[] = {
    {kKivProt_RtspTcp, "rtsp/tcp"}, {kKivProt_Http, "http"},        {kKivProt_Http2, "http2"},
    {kKivProt_Ftp, "ftp"},          {kKivProt_RtspUdp, "rtsp/udp"}, {kKivProt_Unknown, "unkp"},
};

static_assert(std::size(kSubSystems) == 15 && std::size(kServices) == 7 && std::size(kApplications) == 7);

// Identifiers that rise over all rows but the last are each there once.
template <class Row, std::size_t N> constexpr bool IdsRise(const Row (&table)[N]) {
    const auto* last = std::prev(std::end(table));
    return std::ranges::adjacent_find(std::begin(table), last, std::ranges::greater_equal{}, &Row::id) == last
           && last->id == 0;
}

static_assert(IdsRise(kSubSystems) && IdsRise(kServices) && IdsRise(kApplications) && IdsRise(kProtocols));

// The first row that matches, else the last.
template <class Row, std::size_t N, class Predicate>
const Row& FirstRow(const Row (&table)[N], Predicate matches) {
    return *std::find_if(std::begin(table), std::prev(std::end(table)), matches);
}

template <class Row, std::size_t N> const Row& RowOfId(const Row (&table)[N], decltype(Row::id) id) {
    return FirstRow(table, [id](const Row& row) { return row.id == id; });
}

template <class Row, std::size_t N, std::size_t Length>
auto IdOfName(const Row (&table)[N], char (Row::*field)[Length], const char* name) {
    const auto matches = [&](const Row& row) {
        return name != nullptr && EqualIgnoringCase(row.*field, name);
    };
    return FirstRow(table, matches).id;
}

} // namespace

CKivString KivConvertSubSystemIdToShortName(Kiv_SUBSYSTEM id) { return RowOfId(kSubSystems, id).shortName; }

Kiv_SUBSYSTEM KivConvertCharNameToSubSystemId(char name) {
    const auto matches = [name](const SubSystemRow& row) { return ToLower(row.charName) == ToLower(name); };
    return FirstRow(kSubSystems, matches).id;
}

CKivString KivConvertSvcIdToLongName(SVR_APP_SVC_ID id) {
    const ServiceRow& row = RowOfId(kServices, id);
    // the short name where there is no row, unlike an application's, kept: callers know it so
    return &row == std::prev(std::end(kServices)) ? row.shortName : row.longName;
}

CKivString KivConvertSvcIdToShortName(SVR_APP_SVC_ID id) { return RowOfId(kServices, id).shortName; }

SVR_APP_SVC_ID KivConvertShortNameToSvcId(const char* name) {
    return IdOfName(kServices, &ServiceRow::shortName, name);
}

SVR_APP_SVC_ID KivConvertLongNameToSvcId(const char* name) {
    return IdOfName(kServices, &ServiceRow::longName, name);
}

CKivString KivConvertAppIdToShortName(SVR_APP_ID id) { return RowOfId(kApplications, id).shortName; }

SVR_APP_ID KivConvertShortNameToAppId(const char* name) {
    return IdOfName(kApplications, &ApplicationRow::shortName, name);
}

CKivString KivConvertAppIdToLongName(SVR_APP_ID id) { return RowOfId(kApplications, id).longName; }

SVR_APP_ID KivConvertLongNameToAppId(const char* name) {
    return IdOfName(kApplications, &ApplicationRow::longName, name);
}

CKivString KivConvertProtocolIdToName(Kiv_STM_PROTOCOL_ID id) { return RowOfId(kProtocols, id).shortName; }

Kiv_STM_PROTOCOL_ID KivConvertProtocolNameToId(const char* name) {
    return IdOfName(kProtocols, &ProtocolRow::shortName, name);
}
