// The host's network interfaces and how each is configured for streaming.
#ifndef KIVUTILITY_KIVNETWORKINFO_H
#define KIVUTILITY_KIVNETWORKINFO_H

#include "KivExport.h"
#include "KivString.h"

#include <cstdint>

// Reads and writes the configuration of the host's network interfaces, which the servers have in the registry
// below HKEY_LOCAL_MACHINE. An interface is known by its IPv4 address.
//
// Nothing is kept between two calls: any number of threads may use one object. Lists are the caller's; a
// failed read leaves the records that it had filled so. Memory that runs out is a failure as any other.
class KIV_API NetworkInfo {
public:
    // One interface.
    struct NicInfo {
        std::uint32_t groupId = 0;
        CKivString    groupName;        // belongs to the group: all its interfaces share it
        CKivString    ipAddress;        // dotted decimal
        std::uint32_t bandwidth   = 0;  // kbit/s
        std::uint32_t utilization = 80; // percent of the bandwidth that streams may use
        std::uint32_t enabled     = 0;  // 0 or not

        // Two disabled interfaces are equal when their addresses are, whatever else they hold: nothing else
        // of them matters. Otherwise every field counts.
        KIV_API friend bool operator==(const NicInfo& a, const NicInfo& b);
    };

    enum NetworkInfoRC : int {
        kNic_Success        = 0,
        kNic_HostUnknown    = 1, // no sockets, or the host's name or addresses cannot be had
        kNic_NoAddress      = 2, // the host has no IP address
        kNic_RegistryFailed = 3, // a key could not be closed, or a write or deletion failed
        kNic_NotConfigured  = 4  // an interface has no configuration, or the list is not valid
    };

    // What makes a record invalid by itself.
    enum NicFault : int { kNic_NoFault, kNic_AddressMissing, kNic_BandwidthTooLow, kNic_UtilizationTooHigh };

    static constexpr int           kMostNics        = 16; // that a host's configuration is read of
    static constexpr std::uint32_t kLeastBandwidth  = 10;
    static constexpr std::uint32_t kMostUtilization = 100;

    // startSockets: whether the operations that use sockets start the socket library and stop it again;
    // otherwise the caller has started it. Only Windows has one to start.
    explicit NetworkInfo(bool startSockets);

    // The host's name, NUL-terminated, in a buffer of `len` bytes; a failure where it does not fit.
    NetworkInfoRC GetHostName(char* name, int len);

    // Sets the addresses of the first *count records, as many as the host has, and *count to their number;
    // the rest of each record stays. The order is that of the system: on Linux the interfaces that are
    // switched on by the kernel's number, and the loopback only where there is nothing else. Windows knows
    // no host whose name is longer than 31 characters.
    NetworkInfoRC GetNicIP(NicInfo* list, int* count);

    // Reads the record of the interface that has nic's address; a value that is missing is 0, also the
    // utilization, and the group's name is not read. The first of up to 16 that match counts.
    NetworkInfoRC GetNicRegistry(NicInfo& nic);

    // Reads the name of nic's group, empty for a group without one.
    NetworkInfoRC GetNicGroupName(NicInfo& nic);

    // Reads all configured interfaces, at most *count, in the order of their numbers, with the names of their
    // groups, and sets *count to how many it read; kNic_NotConfigured when there is none. The host may lack
    // their addresses. Changes nothing.
    NetworkInfoRC GetConfiguredNics(NicInfo* list, int* count);

    // Writes the records as NIC1, NIC2 and so on, however many: the readers never look behind NIC16.
    bool SetNicRegistry(const NicInfo* list, int count);

    // Writes the names of the records' groups; of records that share a group the last one wins.
    bool SetNicGroupName(const NicInfo* list, int count);

    // Deletes all records NIC1, NIC2 and so on up to the first that is missing, and their key. False also
    // when others are left behind a gap. True when there is nothing to delete.
    bool DeleteNicRegistry();

    // Deletes the names of all groups. True when there are none.
    bool DeleteNicGroupName();

    // Whether a record, looked at by itself, may stand in a list.
    static NicFault FindFault(const NicInfo& nic);

    // Whether servers can work with the list: no record has a fault, and at least one is enabled with a
    // utilization above 0.
    bool VerifyNicInfo(const NicInfo* list, int count);

    // The whole configuration of the host: its addresses as GetNicIP gives them, with what is configured for
    // each. WRITES it back when it is complete and valid, kept for servers that count on it: the records are
    // then NIC1 and so on in the order of the list, and those of addresses that the host lacks, or that
    // *count left no room for, are gone.
    NetworkInfoRC GetNicInfo(NicInfo* list, int* count);

    // Replaces the whole configuration. An invalid list changes nothing. Where the registry can undo
    // (CKivRegistryTransaction), others see the old configuration or the new one, and a failure changes
    // nothing; elsewhere it may leave a part.
    NetworkInfoRC SetNicInfo(const NicInfo* list, int count);

private:
    bool m_startSockets;
};

// The host's name; empty when it cannot be had or is longer than 63 characters. Any thread.
KIV_API CKivString KivGetHostName();

#endif
