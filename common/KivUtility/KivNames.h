// The identifiers of subsystems, streaming services, applications and client protocols, and their names.
//
// Values travel in records and stand in stored configuration. Everything here is constant; any thread may
// call it. Names are compared without regard to the case of ASCII letters.
#ifndef KIVUTILITY_KIVNAMES_H
#define KIVUTILITY_KIVNAMES_H

#include "KivExport.h"
#include "KivString.h"

// A subsystem of the servers; one bit each.
enum Kiv_SUBSYSTEM : int {
    kKivSys_Unknown               = 0,
    kKivSys_ServerReception       = 0x1,
    kKivSys_ServerManager         = 0x2,
    kKivSys_FileSystemMaster      = 0x4,
    kKivSys_StreamingSystemMaster = 0x8,
    kKivSys_UserManager           = 0x10,
    kKivSys_AnsiFs                = 0x100,
    kKivSys_StreamingFs           = 0x200,
    kKivSys_WindowStreamingFs     = 0x400,
    kKivSys_NetShowFs             = 0x800,
    kKivSys_LiveStreamingFs       = 0x1000,
    kKivSys_MediaEncoderFs        = 0x2000,
    kKivSys_KivStreaming          = 0x20000,
    kKivSys_NetShowStreaming      = 0x80000
};

// A streaming service.
enum SVR_APP_SVC_ID : int {
    kKivSvc_Unknown      = 0,
    kKivSvc_Broadband    = 1,
    kKivSvc_Internet     = 2,
    kKivSvc_Live         = 3,
    kKivSvc_Mp3          = 4,
    kKivSvc_MediaEncoder = 5
};

// An application of the product suite.
enum SVR_APP_ID : int {
    kKivApp_Unknown = 0,
    kKivApp_Server  = 1,
    kKivApp_Live    = 2,
    kKivApp_Mailer  = 3,
    kKivApp_Tune    = 4,
    kKivApp_Cluster = 5
};

// How a client receives a stream.
enum Kiv_STM_PROTOCOL_ID : int {
    kKivProt_Unknown = 0,
    kKivProt_RtspTcp = 1,
    kKivProt_Http    = 2,
    kKivProt_Http2   = 3,
    kKivProt_Ftp     = 5,
    kKivProt_RtspUdp = 6
};

// The short name, such as "SFS"; "UNDSYS" for a value that is no subsystem.
KIV_API CKivString KivConvertSubSystemIdToShortName(Kiv_SUBSYSTEM id);

// The file system with that letter, in either case; kKivSys_Unknown for a blank and any other character.
KIV_API Kiv_SUBSYSTEM KivConvertCharNameToSubSystemId(char name);

// The name of a service. For a value that is none BOTH give the short "UNDSVC".
KIV_API CKivString KivConvertSvcIdToLongName(SVR_APP_SVC_ID id);
KIV_API CKivString KivConvertSvcIdToShortName(SVR_APP_SVC_ID id);

// The service of that name; kKivSvc_Unknown for none or a null name.
KIV_API SVR_APP_SVC_ID KivConvertShortNameToSvcId(const char* name);
KIV_API SVR_APP_SVC_ID KivConvertLongNameToSvcId(const char* name);

// The name of an application; "UNDAPP" or "Undefined Application" for a value that is none.
KIV_API CKivString KivConvertAppIdToShortName(SVR_APP_ID id);
KIV_API CKivString KivConvertAppIdToLongName(SVR_APP_ID id);

// The application of that name; kKivApp_Unknown for none or a null name.
KIV_API SVR_APP_ID KivConvertShortNameToAppId(const char* name);
KIV_API SVR_APP_ID KivConvertLongNameToAppId(const char* name);

// The protocol's name, such as "rtsp/tcp"; "unkp" for a value that is none.
KIV_API CKivString KivConvertProtocolIdToName(Kiv_STM_PROTOCOL_ID id);

// The protocol of that name; kKivProt_Unknown for none or a null name.
KIV_API Kiv_STM_PROTOCOL_ID KivConvertProtocolNameToId(const char* name);

#endif
