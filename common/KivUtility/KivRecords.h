// The management records that servers and their consoles exchange: plain structures in host byte order.
//
// A record travels packed, in the layout that its wrapper writes and reads (KivStructWrapper.h); here the
// fields lie as the compiler aligns them. Times are seconds since 1970-01-01 UTC, unsigned 32-bit. Character
// arrays hold NUL-terminated text and travel whole, with whatever stands behind the NUL: clear a record
// before it is filled, or old memory goes out with it. A received text need not be terminated: never read it
// beyond its array. Identifiers of subsystems, services, applications and protocols are those of KivNames.h;
// media formats those of KivMediaFormat.h. What is called a rate or a bandwidth is in kbit/s, a bitRate in
// bit/s. Addresses are dotted IPv4 texts.
#ifndef KIVUTILITY_KIVRECORDS_H
#define KIVUTILITY_KIVRECORDS_H

#include <cstdint>

// One streaming service of an application.
struct Kiv_APP_SERVICE_STATE {
    std::uint32_t serviceId; // SVR_APP_SVC_ID
    std::uint32_t state;     // 0 stopped, 1 running
    std::uint32_t sessions;  // being served now
};

// An application of the suite, as it runs on one server.
struct Kiv_APP_INFO {
    std::uint32_t         appId;       // SVR_APP_ID
    std::uint32_t         version;     // major in the upper 16 bits, minor in the lower
    std::uint32_t         state;       // 0 stopped, 1 running
    std::uint32_t         startedAt;   // time
    std::uint32_t         sessions;    // being served now, by all services
    std::uint32_t         maxSessions; // that the licence allows
    Kiv_APP_SERVICE_STATE services[5]; // unused entries are zero
};

// How a server's machine is doing.
struct Kiv_SYSTEM_STATUS {
    std::uint32_t cpuLoad;    // percent
    std::uint32_t memoryLoad; // percent
    std::uint32_t upTime;     // seconds since the machine was started; travels in the sender's byte order
    char          hostName[64];
};

// The load of one disk.
struct Kiv_DISK_LOAD {
    char          diskName[16];
    std::uint32_t readRate;
    std::uint32_t writeRate;
};

// The load of a file system.
struct Kiv_FS_PERFORMANCE {
    std::uint32_t sessions;  // open now
    std::uint32_t openFiles; // open now
    std::uint32_t readRate;  // over all disks
    std::uint32_t writeRate; // over all disks
    std::uint32_t maxRate;   // reading and writing together
    Kiv_DISK_LOAD disks[32]; // unused entries are zero
};

// The load of one network card.
struct Kiv_NIC_LOAD {
    char          nicName[32];
    char          ipAddress[32];
    std::uint32_t bandwidth; // as configured
    std::uint32_t sendRate;
    std::uint32_t sessions; // being served now through this card
};

// The load of a streaming system.
struct Kiv_STM_PERFORMANCE {
    std::uint32_t sessions;         // being served now
    std::uint32_t peakSessions;     // the most at one time since the start
    std::uint32_t maxSessions;      // that the server accepts
    std::uint32_t acceptedSessions; // since the start
    std::uint32_t refusedSessions;  // since the start
    std::uint32_t brokenSessions;   // ended by an error since the start
    std::uint32_t sendRate;         // over all cards
    std::uint32_t maxSendRate;      // over all cards
    std::uint32_t lostPackets;      // reported by clients since the start
    Kiv_NIC_LOAD  nics[16];         // unused entries are zero
};

// What names a media file throughout the servers.
struct Kiv_FILE_KEY {
    std::uint32_t fileSystem; // Kiv_SUBSYSTEM of the file system that keeps the file
    char          path[256];  // within that file system
    char          host[64];   // name or address of the server, with ":port" where it is not the usual one
    char          protocolName[16]; // of the client protocol, as KivConvertProtocolIdToName gives it
};

// Where a media file can be fetched. The reader takes the key from the start of the record, kept for peers
// that rely on it: in a record that was read, the key's first 32 bytes are the address.
struct Kiv_FILE_ADDRESS {
    char         ipAddress[32]; // of the server that holds the file
    Kiv_FILE_KEY key;
};

// What stays true of a file as long as it exists.
struct Kiv_FILE_INFO_STATIC {
    std::uint32_t format;      // Kiv_MEDIA_FORMAT_TYPE
    std::uint8_t  isDirectory; // 0 or 1
    std::uint32_t bitRate;
    std::uint32_t duration;  // seconds
    std::uint32_t frames;    // pictures, or frames of audio where there are no pictures
    std::uint64_t size;      // bytes
    std::uint32_t createdAt; // time
};

// What changes as a file is used.
struct Kiv_FILE_INFO_DYNAMIC {
    std::uint32_t sessions;    // that have the file open now
    std::uint32_t playCount;   // since the file was stored
    std::uint32_t lastPlayed;  // time
    std::uint64_t servedBytes; // since the file was stored
};

// What an operator may change of a file.
struct Kiv_FILE_INFO_UPDATABLE {
    std::uint32_t ownerId;      // user
    std::uint32_t groupId;      // group
    std::uint32_t accessRights; // bits: 1 play, 2 browse, 4 change, 8 delete
    std::uint32_t maxSessions;  // of all users that may have the file open at one time, 0 no limit
    std::uint32_t priority;     // 0 first
    std::uint32_t validFrom;    // time, 0 always
    std::uint32_t validUntil;   // time, 0 for ever
    std::uint32_t rating;       // youngest age of viewers in years
    char          title[64];
    char          author[32];
    char          copyright[32];
    char          category[32];
};

// All about one file.
struct Kiv_FILE_INFO {
    Kiv_FILE_KEY            key;
    Kiv_FILE_INFO_STATIC    fixed;
    Kiv_FILE_INFO_DYNAMIC   dynamic;
    Kiv_FILE_INFO_UPDATABLE updatable;
};

// A file that a session of the file system has open.
struct Kiv_FS_SESSION_INFO {
    std::uint32_t sessionId;
    std::uint32_t state; // 0 closed, 1 reading, 2 writing, 3 paused
    Kiv_FILE_KEY  key;
    std::uint32_t userId;
    std::uint32_t bitRate;  // reserved for the session
    std::uint32_t openedAt; // time
};

// Where a stream is sent.
struct Kiv_STM_TARGET {
    char          clientAddress[32];
    char          serverAddress[32];
    std::uint32_t protocol;    // Kiv_STM_PROTOCOL_ID
    std::uint16_t controlPort; // of the client
    std::uint32_t sessionId;
    std::uint32_t bitRate;
    std::uint32_t packetSize;           // bytes of payload in a packet
    std::uint32_t timeToLive;           // hops of a multicast packet
    char          multicastAddress[32]; // empty for unicast
    char          nicAddress[32];       // of the card that sends
    std::uint16_t videoPort;            // RTP, of the client or the multicast group
    std::uint16_t audioPort;
    std::uint32_t videoControlPort; // 16 bits used: RTCP of the video
    std::uint32_t audioControlPort; // 16 bits used: RTCP of the audio
    char          userName[16];
};

// A client's connection to a streaming server.
struct Kiv_STM_CONNECT_INFO {
    char          clientAddress[32];
    char          serverAddress[32];
    std::uint16_t clientPort;
    std::uint32_t protocol; // Kiv_STM_PROTOCOL_ID
    char          userName[16];
    std::uint32_t connectedAt; // time
};

// A streaming session, as a server reports it to its console.
struct Kiv_STM_SESSION_INFO {
    std::uint32_t sessionId;
    std::uint32_t state;     // 0 ended, 1 opening, 2 playing, 3 paused
    std::uint32_t appId;     // SVR_APP_ID
    std::uint32_t serviceId; // SVR_APP_SVC_ID
    std::uint32_t protocol;  // Kiv_STM_PROTOCOL_ID
    std::uint32_t userId;
    char          userName[16];
    char          clientAddress[32];
    char          serverAddress[32];
    std::uint32_t clientPort;
    std::uint32_t bitRate;
    Kiv_FILE_KEY  key;
    std::uint64_t sentBytes;      // of the file, without packet headers
    std::uint32_t startedAt;      // time
    std::uint32_t endedAt;        // time, 0 while it lasts
    std::uint64_t position;       // bytes into the file
    std::uint32_t lostPackets;    // as the client reports them
    std::uint32_t returnCode;     // why it ended: see KivReturnCodes.h; 0 while it lasts and for a good end
    char          clientName[64]; // the player, as it introduces itself
};

// The short form of a streaming session, for lists.
struct Kiv_SIMPLE_STM_SESSION_INFO {
    std::uint32_t sessionId;
    std::uint32_t state;     // as in Kiv_STM_SESSION_INFO
    std::uint32_t serviceId; // SVR_APP_SVC_ID
    char          userName[16];
    Kiv_FILE_KEY  key;
    std::uint32_t protocol; // Kiv_STM_PROTOCOL_ID
    char          clientAddress[32];
    std::uint32_t clientPort;
    std::uint32_t bitRate;
    std::uint32_t startedAt;   // time
    std::uint32_t endedAt;     // time, 0 while it lasts
    std::uint32_t lostPackets; // as the client reports them
    std::uint64_t sentBytes;   // of the file, without packet headers
};

// How somebody logs in. The password travels as it is: send it through an encrypted connection.
struct Kiv_LOGIN_INFO {
    char userName[16];
    char password[16];
};

// An open file, as a client names it.
struct Kiv_FILE_HANDLE {
    std::uint32_t sessionId;
    std::uint32_t fileId; // within the session
};

// An entry of the event log. On the wire `reserved` stands before the text.
struct Kiv_EVENTLOG_INFO {
    std::uint32_t subsystem; // Kiv_SUBSYSTEM
    std::int32_t  eventId;
    std::uint32_t eventType; // Kiv_EVENT_TYPE
    std::uint32_t time;
    char          text[64];
    std::uint32_t reserved; // 0
};

// A disk that holds media files.
struct Kiv_DISK_INFO {
    char          diskName[16];
    char          fileSystemName[16]; // short name of a Kiv_SUBSYSTEM
    std::uint32_t diskIndex;          // 16 bits used
    std::uint32_t state;              // 0 offline, 1 online, 2 not formatted
    char          mountPath[64];
    char          volumeLabel[64];
    char          serialNumber[64];
    std::uint64_t totalBytes;
    std::uint64_t freeBytes;
    std::uint32_t blockSize;      // bytes
    std::uint32_t fileEntries;    // in use
    std::uint32_t maxFileEntries; // that the disk has room for
    std::uint32_t maxRate;        // reading and writing together
};

// How much a user may store now; Kiv_USER_INFO has the same as it is configured.
struct Kiv_USER_DISK_QUOTA {
    std::uint8_t  isLimited; // 0: the figures below only inform
    std::uint32_t limit;     // MiB
    std::uint32_t used;      // MiB
};

// An account. What is said of the password in Kiv_LOGIN_INFO holds here too.
struct Kiv_USER_INFO {
    std::uint32_t userId;
    char          userName[16];
    char          fullName[32];
    char          password[16];
    std::uint32_t groupId;      // the user's first group
    std::uint32_t accessRights; // as in Kiv_FILE_INFO_UPDATABLE
    std::uint8_t  isActive;     // 0 or 1
    std::uint8_t  mayBrowse;    // 0 or 1
    std::uint32_t maxSessions;  // of this user at one time, 0 no limit
    std::uint8_t  isLimited;    // 0: the quota below only informs
    std::uint32_t diskQuota;    // MiB
    std::uint32_t createdAt;    // time
    std::uint32_t expiresAt;    // time, 0 never
    char          email[64];
    char          broadbandDirectory[256]; // home of the user at the HBR service, below its media folder
    char          internetDirectory[256];  // the same at the LBR service
    char          description[256];
};

// A group of accounts.
struct Kiv_GROUP_INFO {
    std::uint32_t groupId;
    char          groupName[32];
    std::uint32_t accessRights; // as in Kiv_FILE_INFO_UPDATABLE
    std::uint32_t users;        // in the group
    char          description[64];
};

// The groups that a user belongs to.
struct Kiv_SIMPLE_USER_GRP_INFO {
    std::uint32_t userId;
    std::uint32_t groups;        // entries in use below, 0 to 100
    std::uint32_t groupIds[100]; // unused entries are zero
};

// A channel of live streaming. On the wire both leading numbers stand before both texts.
struct sLiveChannelInfo {
    std::uint32_t channelId;
    char          channelName[64];
    std::uint32_t state;             // 0 stopped, 1 live
    char          sourceAddress[64]; // of the encoder
    std::uint16_t videoPort;         // RTP, at which the server listens to the encoder
    std::uint16_t audioPort;
    std::uint16_t width;  // pixels
    std::uint16_t height; // pixels
    std::uint32_t bitRate;
};

// A file that a client is about to upload.
struct sUploadFileInfo {
    char          path[256]; // at the server
    char          userName[64];
    std::uint32_t format;  // Kiv_MEDIA_FORMAT_TYPE
    std::uint32_t sizeKiB; // rounded up
    std::uint32_t bitRate;
    std::uint32_t duration; // seconds
    std::uint16_t width;    // pixels
    std::uint16_t height;   // pixels
    std::uint32_t uploadId;
};

// When an upload ran. The name is the one that servers and clients compile against.
struct _UpLoad_Time_ {       // NOLINT(bugprone-reserved-identifier)
    std::uint32_t startedAt; // time
    std::uint32_t endedAt;   // time
};

#endif
