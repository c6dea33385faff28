// A description of the management records' wire layouts, for programs that show, log or build records of any
// type without naming their fields.
#ifndef KIVUTILITY_KIVRECORDCATALOG_H
#define KIVUTILITY_KIVRECORDCATALOG_H

#include "KivExport.h"

#include <span>

enum class KivFieldKind {
    Unsigned,
    Signed,
    Text,  // a character array: text up to the first NUL, or to its end
    Record // another record, packed like this one
};

enum class KivFieldOrder {
    Network,     // most significant byte first, once the record was converted with toNetByteOrder()
    Sender,      // never converted: as the sender's machine keeps it
    NetworkLow16 // a 16-bit value in a 32-bit slot: as Network in the first two bytes, then two zeros; a
                 // record that was not converted holds the slot as one 32-bit number
};

struct KivRecordType;

// One field, as it lies on the wire: so its wrapper writes it. The reader of Kiv_FILE_ADDRESS takes the key
// from elsewhere, see KivRecords.h.
struct KivRecordField {
    const char*          name;
    KivFieldKind         kind;
    KivFieldOrder        order;  // of a number
    int                  offset; // bytes from the start of the record
    int                  width;  // bytes of a number, a whole text, or one record
    int                  count;  // how many of them follow each other; 1 unless the field is an array
    const KivRecordType* record; // what kind Record holds, else null
};

// A record type. Its fields lie without a gap, in the order given.
struct KivRecordType {
    const char*                     name; // of the structure
    int                             wireSize;
    std::span<const KivRecordField> fields;
};

// All record types that have a wrapper. Static data, for any thread.
KIV_API std::span<const KivRecordType* const> KivGetRecordTypes();

// The record type of that name, exactly as written; null where there is none, and for null.
KIV_API const KivRecordType* KivFindRecordType(const char* name);

#endif
