// Handing session descriptions to the streaming service on the same host.
#ifndef KIVUTILITY_KIVSDPPUBLISHER_H
#define KIVUTILITY_KIVSDPPUBLISHER_H

#include "KivExport.h"
#include "KivString.h"

// Places SDP files (RFC 8866) in the media folder of the local streaming service, Darwin Streaming Server,
// where its clients ask for them by name, and starts that service. Constant once made: any number of threads
// may use it. Memory that runs out is a failure as any other.
class KIV_API CKivSdpPublisher {
public:
    enum Result : int {
        kSdp_Done       = 0,
        kSdp_BadName    = 1,
        kSdp_BadContent = 2,
        kSdp_NotWritten = 3 // no such folder, no right to write there, no room
    };

    // The folder and the service as they are configured, in the texts "MediaFolder" and "ServiceName" of
    // "SOFTWARE\Halvorn\Common\Server\StreamingService" below HKEY_LOCAL_MACHINE. Those that are missing or
    // empty are "/usr/local/movies" and "dss.service", on Windows
    // "C:\Program Files\Darwin Streaming Server\Movies" and "Darwin Streaming Server".
    CKivSdpPublisher();

    // mediaFolder: spelt as the system's narrow file calls take it. serviceName: as the service manager
    // knows it. Neither is looked at before it is used.
    CKivSdpPublisher(const char* mediaFolder, const char* serviceName);

    // Makes the file `name` of the media folder, or replaces it: the service finds the old file or the whole
    // new one. name: of a file, ends in ".sdp" in either case, does not begin with a dot, has at most 200
    // bytes, and is one that both platforms take. sdp: a text that begins with the line "v=0" and its end;
    // the rest is not looked at and goes out as it is. After a failure the folder is as it was.
    Result Publish(const char* name, const char* sdp) const;

    // Has the system's service manager start the service and waits until it runs, at most half a minute. 1
    // when it does, also when it did before; otherwise 0. On Linux a process that ignores SIGCHLD, or
    // reaps every child elsewhere, gets 0.
    int StartStreaming() const;

    const CKivString& GetMediaFolder() const { return m_mediaFolder; }

    const CKivString& GetServiceName() const { return m_serviceName; }

private:
    CKivString m_mediaFolder;
    CKivString m_serviceName;
};

#endif
