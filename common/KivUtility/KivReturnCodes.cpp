// The return code table and the look-up in it.
#include "KivReturnCodes.h"

#include <algorithm>
#include <functional>
#include <iterator>

// Some texts are phrases, with capitals here and not there, where the others name the code, kept: they stand
// so in the logs of servers in the field.
constexpr KivReturnCodeRecord KivReturnCodeTable[] = {
    {0, "OK, no error"},

    // sockets: making, binding, connecting, listening
    {6001, "Kiv_NET_SocketOpenedAlready"},
    {6002, "Kiv_NET_SocketOpenError"},
    {6003, "Kiv_NET_SocketNotOpen"},
    {6004, "Kiv_NET_SocketBindError"},
    {6005, "Kiv_NET_SocketBoundAlready"},
    {6006, "Kiv_NET_SocketNotBound"},
    {6007, "Kiv_NET_SocketConnError"},
    {6008, "Kiv_NET_SocketSendError"},
    {6009, "Kiv_NET_SocketRecvError"},
    {6010, "Kiv_NET_SocketCanNotStart"},
    {6011, "Kiv_NET_SocketIOCtlError"},
    {6012, "Kiv_NET_SocketCanNotCThread"},
    {6013, "Kiv_NET_SocketPortInUse"},
    {6014, "Kiv_NET_SocketNotConnected"},
    {6015, "Kiv_NET_SocketSetOptionsError"},
    {6016, "Kiv_NET_SocketAcceptError"},
    {6017, "Kiv_NET_SocketListenError"},
    {6018, "Kiv_NET_SocketListening"},
    {6019, "Kiv_NET_SocketNotListening"},

    // message socket, file transfer, requests and responses
    {6100, "Kiv_NET_InvalidMessageSocket"},
    {6101, "Kiv_NET_InvalidFile"},
    {6102, "Kiv_NET_InvalidArgument"},
    {6103, "Kiv_NET_StreamManagerDown"},
    {6104, "Kiv_NET_SessionIDMismatch"},
    {6105, "Kiv_NET_WriteExceedFileSize"},
    {6106, "Kiv_NET_WriteIncomplete"},
    {6107, "Kiv_NET_WriteBufferFull"},
    {6108, "Kiv_NET_InvalidLocalFile"},
    {6109, "Kiv_NET_InvalidRemoteFile"},
    {6110, "Kiv_NET_InvalidRequest"},
    {6111, "Kiv_NET_InvalidResponse"},
    {6112, "Kiv_NET_NoMatchRequest"},
    {6113, "Kiv_NET_InvalidProtocol"},

    // a client's connection to a server and what it receives
    {7001, "Kiv_NET_AlreadyConnected"},
    {7002, "Kiv_NET_OutOfResource"},
    {7003, "Network Request Timeout"},
    {7004, "File Not Found"},
    {7005, "Connect Failed"},
    {7006, "IP Not Found"},
    {7007, "Network Not Connected"},
    {7008, "Server is down"},
    {7009, "Kiv_NET_InvalidSocket"},
    {7011, "Kiv_NET_EndOfStream"},
    {7012, "Server is not up"},
    {7013, "Stream stopped for 10 sec"},
    {7014, "Unicast Not Permit"},
    {7015, "Multicast Not Permit"},
    {7016, "Multicast Too Many Lost Packets"},

    // RTSP: state of the session, what is supported
    {7101, "Kiv_NET_NotStreaming"},
    {7102, "Kiv_NET_InvalidClient"},
    {7104, "Kiv_NET_InvalidState"},
    {7105, "Stream Broken"},
    {7106, "Kiv_NET_RTSPMessageTooLong"},
    {7107, "Kiv_NET_ServerBusy"},
    {7108, "Kiv_NET_MethodNotImplemented"},
    {7109, "Kiv_NET_CommandNotImplemented"},
    {7110, "Kiv_NET_VersionNotSupported"},

    // the server: limits, sessions, sockets, network cards
    {8000, "Exceed Maximum Streams"},
    {8001, "Exceed Maximum Sessions"},
    {8002, "Exceed Maximum Sockets"},
    {8003, "Kiv_SM_InvalidFSMaster"},
    {8004, "Kiv_SM_InvalidFSManager"},
    {8005, "Kiv_SM_InvalidFSType"},
    {8006, "Kiv_SM_InvalidSessionID"},
    {8007, "Kiv_SM_InvalidSessionPtr"},
    {8008, "Kiv_SM_InvalidStream"},
    {8009, "Kiv_SM_InvalidIPIndex"},
    {8010, "Kiv_SM_InvalidFileHandle"},
    {8011, "Kiv_SM_InvalidParameter"},
    {8012, "Kiv_SM_InvalidState"},
    {8013, "Kiv_SM_InvalidControlProtocol"},
    {8014, "Kiv_SM_InvalidControlSocket"},
    {8015, "Kiv_SM_InvalidSocket"},
    {8016, "Kiv_SM_SocketListenError"},
    {8017, "Kiv_SM_SocketSendError"},
    {8018, "Kiv_SM_SocketRecvError"},
    {8019, "Kiv_SM_SocketWouldBlock"},
    {8020, "Kiv_SM_SocketNotSock"},
    {8021, "Kiv_SM_SocketConnReset"},
    {8022, "Kiv_SM_NotInitialized"},
    {8023, "Kiv_SM_AlreadyInitialized"},
    {8024, "Kiv_SM_NotStarted"},
    {8025, "Kiv_SM_AlreadyStarted"},
    {8026, "Kiv_SM_SessionNotFound"},
    {8027, "Kiv_SM_SessionKilled"},
    {8028, "Kiv_SM_InvalidFile"},
    {8029, "Kiv_SM_ExceedFileSize"},
    {8030, "Kiv_SM_OutOfResource"},
    {8031, "Kiv_SM_ClientInfoNotFound"},
    {8032, "Kiv_SM_SocketPairNotFound"},
    {8033, "Kiv_SM_NegativeReturnLength"},
    {8034, "Kiv_SM_NeedLoginFirst"},
    {8035, "Kiv_SM_SocketError"},
    {8036, "Kiv_SM_CannotGetHostName"},
    {8037, "Kiv_SM_CannotGetNicInfo"},
    {8038, "Kiv_SM_CannotStartWinSock"},
    {8039, "Kiv_SM_NicNotFound"},
    {8040, "Kiv_SM_NicAllDisabled"},
    {8041, "Kiv_SM_ExceedNicBandwidth"},
    {8042, "Kiv_SM_SocketConnectError"},
    {8043, "Kiv_SM_TransmitError"},
    {8044, "Kiv_SM_ReachEndOfFile"},
    {8045, "Kiv_SM_MulticastChk"},

    // the relay's sockets
    {8200, "Kiv_RL_CannotStartWinSock"},
    {8201, "Kiv_RL_CannotGetHostName"},
    {8202, "Kiv_RL_OutOfResource"},
    {8203, "Kiv_RL_SocketSelectError"},
    {8204, "Kiv_RL_InvalidControlSocket"},
    {8205, "Kiv_RL_SocketSendError"},

    // uploads over RTP/UDP
    {8400, "Kiv_NET_RTPUDP_UploadNotAllowed"},
    {8401, "Kiv_NET_RTPUDP_ProtocolIsNotUDP"},
};
static_assert(std::size(KivReturnCodeTable) == 112);
static_assert(std::ranges::adjacent_find(KivReturnCodeTable, std::ranges::greater_equal{},
                                         &KivReturnCodeRecord::code)
              == std::end(KivReturnCodeTable));

const int KivReturnCodeRows = static_cast<int>(std::size(KivReturnCodeTable));

CKivString KivFindNetErrorMsg(unsigned long code) {
    const auto* row = std::ranges::find(KivReturnCodeTable, code, &KivReturnCodeRecord::code);
    return row == std::end(KivReturnCodeTable) ? "Unknown Error" : row->text;
}
