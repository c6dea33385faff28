// The wire layout of every management record, declared once: size, writing, reading and the conversions of
// byte order all walk these lists. Numbers travel in network order once they were converted and character
// arrays whole; what is out of the ordinary stands beside its field.
#ifndef KIVUTILITY_RECORDLAYOUTS_H
#define KIVUTILITY_RECORDLAYOUTS_H

#include "KivRecords.h"
#include "RecordLayout.h"

namespace kiv {

template <> struct Wire<Kiv_APP_SERVICE_STATE> {
    using R      = Kiv_APP_SERVICE_STATE;
    using Fields = Layout<&R::serviceId, &R::state, &R::sessions>;
};

static_assert(WireSizeOf<Kiv_APP_SERVICE_STATE>() == 12);

template <> struct Wire<Kiv_APP_INFO> : LengthAtLeast {
    using R = Kiv_APP_INFO;
    using Fields =
        Layout<&R::appId, &R::version, &R::state, &R::startedAt, &R::sessions, &R::maxSessions, &R::services>;
};

static_assert(WireSizeOf<Kiv_APP_INFO>() == 84);

template <> struct Wire<Kiv_SYSTEM_STATUS> : LengthAtLeast {
    // the conversion stops before the up time, kept: consoles expect it in the sender's byte order
    using R      = Kiv_SYSTEM_STATUS;
    using Fields = Layout<&R::cpuLoad, &R::memoryLoad, kUnconverted<&R::upTime>, &R::hostName>;
};

static_assert(WireSizeOf<Kiv_SYSTEM_STATUS>() == 76);

template <> struct Wire<Kiv_DISK_LOAD> {
    using R      = Kiv_DISK_LOAD;
    using Fields = Layout<&R::diskName, &R::readRate, &R::writeRate>;
};

static_assert(WireSizeOf<Kiv_DISK_LOAD>() == 24);

template <> struct Wire<Kiv_FS_PERFORMANCE> : LengthAtLeast {
    using R      = Kiv_FS_PERFORMANCE;
    using Fields = Layout<&R::sessions, &R::openFiles, &R::readRate, &R::writeRate, &R::maxRate, &R::disks>;
};

static_assert(WireSizeOf<Kiv_FS_PERFORMANCE>() == 788);

template <> struct Wire<Kiv_NIC_LOAD> {
    using R      = Kiv_NIC_LOAD;
    using Fields = Layout<&R::nicName, &R::ipAddress, &R::bandwidth, &R::sendRate, &R::sessions>;
};

static_assert(WireSizeOf<Kiv_NIC_LOAD>() == 76);

template <> struct Wire<Kiv_STM_PERFORMANCE> : LengthAtLeast {
    using R = Kiv_STM_PERFORMANCE;
    using Fields =
        Layout<&R::sessions, &R::peakSessions, &R::maxSessions, &R::acceptedSessions, &R::refusedSessions,
               &R::brokenSessions, &R::sendRate, &R::maxSendRate, &R::lostPackets, &R::nics>;
};

static_assert(WireSizeOf<Kiv_STM_PERFORMANCE>() == 1252);

template <> struct Wire<Kiv_FILE_KEY> : LengthAtLeast {
    using R      = Kiv_FILE_KEY;
    using Fields = Layout<&R::fileSystem, &R::path, &R::host, &R::protocolName>;
};

static_assert(WireSizeOf<Kiv_FILE_KEY>() == 340);

template <> struct Wire<Kiv_FILE_ADDRESS> : LengthAtLeast {
    // the reader takes the key from the start of the record, kept: peers rely on what it makes of one
    using R      = Kiv_FILE_ADDRESS;
    using Fields = Layout<&R::ipAddress, kReadFromStart<&R::key>>;
};

static_assert(WireSizeOf<Kiv_FILE_ADDRESS>() == 372);

template <> struct Wire<Kiv_FILE_INFO_STATIC> : LengthAtLeast {
    using R = Kiv_FILE_INFO_STATIC;
    using Fields =
        Layout<&R::format, &R::isDirectory, &R::bitRate, &R::duration, &R::frames, &R::size, &R::createdAt>;
};

static_assert(WireSizeOf<Kiv_FILE_INFO_STATIC>() == 29);

template <> struct Wire<Kiv_FILE_INFO_DYNAMIC> : LengthAtLeast {
    using R      = Kiv_FILE_INFO_DYNAMIC;
    using Fields = Layout<&R::sessions, &R::playCount, &R::lastPlayed, &R::servedBytes>;
};

static_assert(WireSizeOf<Kiv_FILE_INFO_DYNAMIC>() == 20);

template <> struct Wire<Kiv_FILE_INFO_UPDATABLE> : LengthAtLeast {
    using R = Kiv_FILE_INFO_UPDATABLE;
    using Fields =
        Layout<&R::ownerId, &R::groupId, &R::accessRights, &R::maxSessions, &R::priority, &R::validFrom,
               &R::validUntil, &R::rating, &R::title, &R::author, &R::copyright, &R::category>;
};

static_assert(WireSizeOf<Kiv_FILE_INFO_UPDATABLE>() == 192);

template <> struct Wire<Kiv_FILE_INFO> : LengthAtLeast {
    using R      = Kiv_FILE_INFO;
    using Fields = Layout<&R::key, &R::fixed, &R::dynamic, &R::updatable>;
};

static_assert(WireSizeOf<Kiv_FILE_INFO>() == 581);

template <> struct Wire<Kiv_FS_SESSION_INFO> : LengthAtLeast {
    using R      = Kiv_FS_SESSION_INFO;
    using Fields = Layout<&R::sessionId, &R::state, &R::key, &R::userId, &R::bitRate, &R::openedAt>;
};

static_assert(WireSizeOf<Kiv_FS_SESSION_INFO>() == 360);

template <> struct Wire<Kiv_STM_TARGET> : LengthAtLeast {
    using R      = Kiv_STM_TARGET;
    using Fields = Layout<&R::clientAddress, &R::serverAddress, &R::protocol, &R::controlPort, &R::sessionId,
                          &R::bitRate, &R::packetSize, &R::timeToLive, &R::multicastAddress, &R::nicAddress,
                          &R::videoPort, &R::audioPort, kLow16<&R::videoControlPort>,
                          kLow16<&R::audioControlPort>, &R::userName>;
};

static_assert(WireSizeOf<Kiv_STM_TARGET>() == 178);

template <> struct Wire<Kiv_STM_CONNECT_INFO> : LengthAtLeast {
    using R      = Kiv_STM_CONNECT_INFO;
    using Fields = Layout<&R::clientAddress, &R::serverAddress, &R::clientPort, &R::protocol, &R::userName,
                          &R::connectedAt>;
};

static_assert(WireSizeOf<Kiv_STM_CONNECT_INFO>() == 90);

template <> struct Wire<Kiv_STM_SESSION_INFO> : LengthAtLeast {
    using R = Kiv_STM_SESSION_INFO;
    using Fields =
        Layout<&R::sessionId, &R::state, &R::appId, &R::serviceId, &R::protocol, &R::userId, &R::userName,
               &R::clientAddress, &R::serverAddress, &R::clientPort, &R::bitRate, &R::key, &R::sentBytes,
               &R::startedAt, &R::endedAt, &R::position, &R::lostPackets, &R::returnCode, &R::clientName>;
};

static_assert(WireSizeOf<Kiv_STM_SESSION_INFO>() == 548);

template <> struct Wire<Kiv_SIMPLE_STM_SESSION_INFO> : LengthAtLeast {
    // the key goes out without a block of its own, kept: derived classes count on what their put() sees
    using R      = Kiv_SIMPLE_STM_SESSION_INFO;
    using Fields = Layout<&R::sessionId, &R::state, &R::serviceId, &R::userName, kWrittenDirectly<&R::key>,
                          &R::protocol, &R::clientAddress, &R::clientPort, &R::bitRate, &R::startedAt,
                          &R::endedAt, &R::lostPackets, &R::sentBytes>;
};

static_assert(WireSizeOf<Kiv_SIMPLE_STM_SESSION_INFO>() == 432);

template <> struct Wire<Kiv_LOGIN_INFO> : LengthAtLeast {
    using R      = Kiv_LOGIN_INFO;
    using Fields = Layout<&R::userName, &R::password>;
};

static_assert(WireSizeOf<Kiv_LOGIN_INFO>() == 32);

template <> struct Wire<Kiv_FILE_HANDLE> : LengthAtLeast {
    using R      = Kiv_FILE_HANDLE;
    using Fields = Layout<&R::sessionId, &R::fileId>;
};

static_assert(WireSizeOf<Kiv_FILE_HANDLE>() == 8);

template <> struct Wire<Kiv_EVENTLOG_INFO> : LengthAtLeast {
    // `reserved` travels before the text, kept: consoles read it there
    using R      = Kiv_EVENTLOG_INFO;
    using Fields = Layout<&R::subsystem, &R::eventId, &R::eventType, &R::time, &R::reserved, &R::text>;
};

static_assert(WireSizeOf<Kiv_EVENTLOG_INFO>() == 84);

template <> struct Wire<Kiv_DISK_INFO> : LengthAtLeast {
    using R      = Kiv_DISK_INFO;
    using Fields = Layout<&R::diskName, &R::fileSystemName, kLow16<&R::diskIndex>, &R::state, &R::mountPath,
                          &R::volumeLabel, &R::serialNumber, &R::totalBytes, &R::freeBytes, &R::blockSize,
                          &R::fileEntries, &R::maxFileEntries, &R::maxRate>;
};

static_assert(WireSizeOf<Kiv_DISK_INFO>() == 264);

template <> struct Wire<Kiv_USER_DISK_QUOTA> : LengthAtLeast {
    using R      = Kiv_USER_DISK_QUOTA;
    using Fields = Layout<&R::isLimited, &R::limit, &R::used>;
};

static_assert(WireSizeOf<Kiv_USER_DISK_QUOTA>() == 9);

template <> struct Wire<Kiv_USER_INFO> : LengthAtLeast {
    using R = Kiv_USER_INFO;
    using Fields =
        Layout<&R::userId, &R::userName, &R::fullName, &R::password, &R::groupId, &R::accessRights,
               &R::isActive, &R::mayBrowse, &R::maxSessions, &R::isLimited, &R::diskQuota, &R::createdAt,
               &R::expiresAt, &R::email, &R::broadbandDirectory, &R::internetDirectory, &R::description>;
};

static_assert(WireSizeOf<Kiv_USER_INFO>() == 927);

template <> struct Wire<Kiv_GROUP_INFO> : LengthAtLeastThis {
    using R      = Kiv_GROUP_INFO;
    using Fields = Layout<&R::groupId, &R::groupName, &R::accessRights, &R::users, &R::description>;
};

static_assert(WireSizeOf<Kiv_GROUP_INFO>() == 108);

template <> struct Wire<Kiv_SIMPLE_USER_GRP_INFO> : LengthAtLeastThis {
    using R      = Kiv_SIMPLE_USER_GRP_INFO;
    using Fields = Layout<&R::userId, &R::groups, &R::groupIds>;
};

static_assert(WireSizeOf<Kiv_SIMPLE_USER_GRP_INFO>() == 408);

template <> struct Wire<sLiveChannelInfo> : LengthExact {
    static constexpr bool kCachesSize =
        false; // kept: classes derived from its wrapper use the cache themselves
    // both numbers travel before both texts, kept: players read them there
    using R      = sLiveChannelInfo;
    using Fields = Layout<&R::channelId, &R::state, &R::channelName, &R::sourceAddress, &R::videoPort,
                          &R::audioPort, &R::width, &R::height, &R::bitRate>;
};

static_assert(WireSizeOf<sLiveChannelInfo>() == 148);

template <> struct Wire<sUploadFileInfo> : LengthExact {
    using R      = sUploadFileInfo;
    using Fields = Layout<&R::path, &R::userName, &R::format, &R::sizeKiB, &R::bitRate, &R::duration,
                          &R::width, &R::height, &R::uploadId>;
};

static_assert(WireSizeOf<sUploadFileInfo>() == 344);

template <> struct Wire<_UpLoad_Time_> : LengthExact {
    using R      = _UpLoad_Time_;
    using Fields = Layout<&R::startedAt, &R::endedAt>;
};

static_assert(WireSizeOf<_UpLoad_Time_>() == 8);

} // namespace kiv

#endif
