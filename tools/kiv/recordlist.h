// What the record types look like, for a reader and for a program.
#ifndef KIVTOOL_RECORDLIST_H
#define KIVTOOL_RECORDLIST_H

#include "KivUtility.h"
#include "names.h"

#include <string>

namespace tool {

// A line for each record type, under a heading.
std::string RecordTypeTable();

// A line for each field of the type, under a heading; those of a record that it holds stand below it,
// indented. Offsets are from the start of the outermost record, in an array those of its first element.
std::string RecordFieldTable(const KivRecordType& type);

// The same facts as one object.
Json RecordTypeJson(const KivRecordType& type);

} // namespace tool

#endif
