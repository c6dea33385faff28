// The one class through which the servers read and write their settings.
#ifndef KIVUTILITY_KIVREGISTRYMGR_H
#define KIVUTILITY_KIVREGISTRYMGR_H

#include "KivExport.h"
#include "KivPlatform.h"
#include "KivString.h"

#include <string>
#include <vector>

// Keeps one key of the registry open, the current node, and reads and writes its values: the Windows registry
// there, elsewhere a store of the same shape in one file, which any number of processes share. Paths are
// relative to the root and delimited by backslashes; key and value names are compared without regard to case;
// a null or empty value name is the node's default value.
//
// Every operation returns 1 for success and 0 for failure, unless it says otherwise; why it failed is not
// told, and memory that runs out is one more failure. Without a node open, reads, writes and deletions fail.
// A write is seen by everybody once it has returned; a node that somebody deletes while it is open fails from
// then on. One thread at a time uses a manager; managers on the same root are independent of each other.
class KIV_API CKivRegistryMgr {
public:
    // root: one of the HKEY_ roots, which is never closed. No node is open.
    CKivRegistryMgr(HKEY root);

    CKivRegistryMgr(const CKivRegistryMgr&)            = delete;
    CKivRegistryMgr& operator=(const CKivRegistryMgr&) = delete;

    ~CKivRegistryMgr();

    // Closes the current node and opens the one at `path`, which is made first when it is missing and
    // `create` is not 0. The empty path is the root itself. After a failure no node is open.
    int OpenNode(const char* path, int create);

    // Opens the node at `path`, making it and those above it where they are missing. After a failure the node
    // that was open stays the current one; after a success it is current no more, and closed with the
    // manager.
    int CreateNode(const char* path);

    // Also succeeds when no node is open.
    int CloseNode();

    // OpenNode, also by a manager that was switched off: it is on from here.
    int OpenOtherReg(const char* path, int create);

    // Write a text, a 32-bit number (higher bits are dropped), or `size` bytes as they are.
    int Update(const char* name, const char* text);
    int Update(const char* name, long value);
    int UpdateEx(const char* name, const unsigned char* data, unsigned int size);

    // Deletes a value; a missing one is a failure.
    int Delete(const char* name);

    // Deletes the current node with its values and closes it, unless it lies directly under the root. While
    // it has sub-keys that fails, unless `recursive` is not 0: then they go first, as far as they can be
    // deleted.
    int DeleteNode(int recursive);

    // Text reads. A value that is missing gives the default and 0; one that is no text gives the default
    // and 1. A null default leaves `out` as it was. The first form takes a text of any length on trust: `out`
    // must have room for it.
    int ReadValue(const char* name, char* out, const char* def);
    int ReadValue(const char* name, CKivString& out, const char* def);

    // The same for a buffer of `size` bytes. Only a text stored in fewer than `size` bytes, its terminator
    // counted, is taken; anything else, missing or not, gives the default and 1. When the default does not
    // fit either, or is null, 0 is returned and `out` stays as it was.
    int ReadValue(const char* name, char* out, unsigned int size, const char* def);

    // Number reads, which also take a block of 4 bytes in the machine's order. A value that is missing gives
    // the default and 0; one that is no number gives the default and 1.
    int ReadValue(const char* name, unsigned long& out, unsigned long def);
    int ReadValue(const char* name, int& out, int def);
    int ReadValue(const char* name, unsigned int& out, unsigned int def);

    // Reads the bytes of a value of any type into the caller's buffer *data, which has room for `size` bytes,
    // and sets `size` to their number. A value that does not fit is a failure; `size` is then left as it was
    // and what the buffer holds is not defined.
    int ReadValueEx(const char* name, unsigned char** data, unsigned int& size);

    // The length of a value that is a block of bytes; otherwise 0, and `size` is 0.
    int GetKeyBytes(const char* name, unsigned int& size);

    // The registry's number for the type of a value (1 text, 3 block of bytes, 4 number; on Windows also
    // others), and its length in bytes, which for a text counts the terminator. Both are left as they were on
    // failure.
    int GetValueType(const char* name, unsigned long& type, unsigned int& size);

    // Replace the list by the names of the current node's sub-keys, or values, in the registry's order.
    // Always 1: a node that has none, or cannot be read, gives an empty list.
    int GetSubKeys(CKivStringList& list);
    int GetValueNames(CKivStringList& list);

    // Does nothing; servers in the field still call it.
    int ArrangeNodeName(const char* in, char* out);

protected:
    HKEY          m_root;
    HKEY          m_node = nullptr;
    std::string   m_nodePath; // of the current node, as it was given
    unsigned char m_enabled =
        1; // while 0 the registry is not touched: OpenNode fails, all else succeeds at once
    std::vector<HKEY> m_replaced; // nodes that CreateNode took the place of
};

// What a transaction is for; only the last one makes a registry that is not there yet.
enum Kiv_REGISTRY_USE : int { kKivRegistry_Read, kKivRegistry_Change, kKivRegistry_Create };

// Makes one operation of all that managers do in this thread while it lives: they see the registry as it is
// at one moment, and what they change is seen by others, and kept, all at once or not at all. Other threads
// that want the registry wait meanwhile: keep it short, and start no process. One within another is a part of
// it. It ends in the thread that made it.
//
// The registry of Windows has no such thing: there everything succeeds, and each change stays for itself.
class KIV_API CKivRegistryTransaction {
public:
    explicit CKivRegistryTransaction(Kiv_REGISTRY_USE use);

    CKivRegistryTransaction(const CKivRegistryTransaction&)            = delete;
    CKivRegistryTransaction& operator=(const CKivRegistryTransaction&) = delete;

    // Undoes everything, also what an outer transaction did, unless it was committed.
    ~CKivRegistryTransaction();

    // 0 when the registry could not be had: then every change stands for itself.
    int IsOpen() const { return m_isOpen ? 1 : 0; }

    // Ends it. 1 when all changes are kept, or will be together with those of the outer transaction; 0 when
    // none is, as after any change that ran out of disk.
    int Commit();

    // Whether there is anything to undo with: 0 on Windows.
    static int CanUndo();

private:
    bool m_isOpen;
};

#endif
